// Line input: GetNextLine for files, pipes and the console, the console
// line reader, single-key questions and the prompt.
#include <cwchar>
#include "base/breaks.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/state.h"
#include "console/console.h"

namespace {

// Bytes of one line from a pipe, read a unit at a time so that nothing
// past the line end is taken from the pipe.
int ReadPipeLine(HANDLE h, CString &line, bool wide, int maxChars) {
    std::string bytes;
    std::wstring units;
    int consumed = 0;
    for (;;) {
        wchar_t unit = 0;
        DWORD got = 0;
        if (!ReadFile(h, &unit, wide ? 2 : 1, &got, nullptr) || !got) break;
        consumed++;
        if (unit == L'\n') break;
        if (unit == L'\r') continue;
        if (wide) units += unit;
        else bytes += (char)unit;
        if ((int)(units.size() + bytes.size()) >= maxChars) break;
    }
    if (wide) line += units;
    else line += FromCodePage(bytes.data(), (int)bytes.size(), GetTLS()->nOutputEncoding == 2 ? CP_UTF8 : GetACP());
    return consumed;
}

// A line from a file: read in chunks, stop at the line end, and seek back
// to just behind it.
int ReadFileLine(HANDLE h, CString &line, bool wide, bool utf8, int maxChars) {
    LARGE_INTEGER zero{}, start{};
    SetFilePointerEx(h, zero, &start, FILE_CURRENT);
    std::string chunk(wide ? 16384 : 8192, '\0');
    std::string taken;
    long long consumed = 0;
    bool ended = false;
    const int unit = wide ? 2 : 1;
    while (!ended) {
        DWORD got = 0;
        if (!ReadFile(h, chunk.data(), (DWORD)chunk.size(), &got, nullptr) || !got) break;
        DWORD i = 0;
        for (; i + unit <= got; i += unit) {
            wchar_t c = wide ? *(wchar_t *)&chunk[i] : (unsigned char)chunk[i];
            if (c == 0x1A) { ended = true; break; }
            if (c == L'\n') { consumed += unit; ended = true; break; }
            if (c == L'\r') {
                consumed += unit;
                // CR, CR LF and CR CR LF are each one line end.
                auto at = [&](DWORD k) -> wchar_t { return k + unit <= got ? (wide ? *(wchar_t *)&chunk[k] : (unsigned char)chunk[k]) : 0; };
                if (at(i + unit) == L'\n') consumed += unit;
                else if (at(i + unit) == L'\r' && at(i + 2 * unit) == L'\n') consumed += 2 * unit;
                ended = true;
                break;
            }
            taken.append(&chunk[i], unit);
            consumed += unit;
            if ((int)(taken.size() / unit) >= maxChars) { ended = true; break; }
        }
        if (!ended && got < chunk.size()) break;
    }
    if (wide) line.append((const wchar_t *)taken.data(), taken.size() / 2);
    else line += FromCodePage(taken.data(), (int)taken.size(), utf8 ? CP_UTF8 : GetACP());
    LARGE_INTEGER to;
    to.QuadPart = start.QuadPart + consumed;
    SetFilePointerEx(h, to, nullptr, FILE_BEGIN);
    return (int)consumed;
}

// Wait, alertably, until the console holds a key press.  A Ctrl+C comes as
// an asynchronous procedure that ends the wait, so an interrupt at an idle
// prompt is seen at once; ReadConsoleW itself is no alertable wait.  Events
// that ReadConsoleW passes over (key releases, focus, mouse, size) are
// dropped here: a read that found only those would block until Enter.
void WaitForKeyPress(HANDLE in) {
    for (;;) {
        CheckBreak();
        DWORD wait = WaitForSingleObjectEx(in, INFINITE, TRUE);
        if (wait == WAIT_IO_COMPLETION) continue;
        if (wait != WAIT_OBJECT_0) return;
        INPUT_RECORD record;
        DWORD n = 0;
        if (!PeekConsoleInputW(in, &record, 1, &n) || !n) return;
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown) return;
        ReadConsoleInputW(in, &record, 1, &n);
    }
}

}  // namespace

int egets(CString &line, int maxChars, int, const wchar_t *) {
    HANDLE in = StdIn();
    CString text, chunk(256, L'\0');
    int consumed = 0;
    for (;;) {
        // The rest of a long line waits in the console's own line buffer.
        if (text.empty()) WaitForKeyPress(in);
        DWORD got = 0;
        SetLastError(0);
        BOOL ok = ReadConsoleW(in, chunk.data(), (DWORD)chunk.size(), &got, nullptr);
        if (ok && !got && GetLastError() == ERROR_OPERATION_ABORTED) {
            // Ctrl+C ended the read; its procedure is on its way from the
            // handler thread.
            SleepEx(100, TRUE);
            continue;
        }
        if (!ok || !got) break;
        consumed += (int)got;
        text.append(chunk.c_str(), got);
        if (text.back() == L'\n') break;
    }
    // A Ctrl+C typed while the line was read ends the line unseen.
    SleepEx(0, TRUE);
    CheckBreak();
    text.TrimRight(L"\r\n");
    if (text.size() == 1 && text[0] == 0x1A) return 0;
    if ((int)text.size() > maxChars) text.Truncate(maxChars);
    line += text;
    return consumed;
}

namespace {

// Split one line off a buffer of bytes at offset at.  0x1A ends the text
// without being consumed; CR (with a following LF) or LF ends a line, and
// with crcrlf a CR CR LF too.  *ended is false when the buffer ran out
// before a line end (more may follow in the file).  Returns the bytes
// consumed, line end included.
size_t SplitLine(const std::string &buf, size_t at, bool wide, bool utf8, bool crcrlf, int maxChars, CString &line,
                 bool *ended) {
    size_t unit = wide ? 2 : 1, end = at, consumed = 0;
    auto charAt = [&](size_t k) -> int {
        if (k + unit > buf.size()) return -1;
        return wide ? ((unsigned char)buf[k] | ((unsigned char)buf[k + 1] << 8)) : (unsigned char)buf[k];
    };
    *ended = true;
    for (int count = 0;; end += unit, count++) {
        int c = charAt(end);
        if (c < 0) {
            *ended = false;
            break;
        }
        if (c == 0x1A || count >= maxChars) break;
        if (c == L'\n') {
            consumed = unit;
            break;
        }
        if (c == L'\r') {
            int next = charAt(end + unit);
            if (next < 0) *ended = false;
            consumed = next == L'\n' ? 2 * unit : unit;
            if (crcrlf && next == L'\r' && charAt(end + 2 * unit) == L'\n') consumed = 3 * unit;
            break;
        }
    }
    if (wide) line.append((const wchar_t *)(buf.data() + at), (end - at) / 2);
    else line += FromCodePage(buf.data() + at, (int)(end - at), utf8 ? CP_UTF8 : GetACP());
    return end - at + consumed;
}

int ReadImageLine(BATCHFRAME *f, CString &line, bool wide, bool utf8, int maxChars) {
    bool ended;
    size_t total = SplitLine(f->sBtmImage, (size_t)f->lOffset, wide, utf8, false, maxChars, line, &ended);
    f->lOffset += (long long)total;
    return (int)(total / (wide ? 2 : 1));
}

// Load the frame's read cache with the file's bytes from offset on.
bool LoadChunk(BATCHFRAME *f, size_t size) {
    LARGE_INTEGER to;
    to.QuadPart = f->lOffset;
    f->sChunk.assign(size, '\0');
    DWORD got = 0;
    if (!SetFilePointerEx(f->hFile, to, nullptr, FILE_BEGIN) ||
        !ReadFile(f->hFile, f->sChunk.data(), (DWORD)size, &got, nullptr))
        got = 0;
    f->sChunk.resize(got);
    f->lChunkStart = f->lOffset;
    f->fChunkAtEnd = got < size;
    return got > 0;
}

// A line of a batch file that is open.  The bytes are read in chunks that
// stay valid while the file stays open: anything that may change the file
// (an external program, a command that writes files) closes it first, and
// closing drops the chunk.
int ReadFrameLine(BATCHFRAME *f, CString &line, bool wide, bool utf8, int maxChars) {
    const size_t unit = wide ? 2 : 1, bigChunk = (size_t)maxChars * unit + 8;
    for (int attempt = 0; attempt < 3; attempt++) {
        long long rel = f->lOffset - f->lChunkStart;
        bool inChunk = !f->sChunk.empty() && rel >= 0 && rel < (long long)f->sChunk.size();
        if (!inChunk || attempt > 0) {
            if (attempt == 2) return 0;
            if (!LoadChunk(f, attempt ? bigChunk : 32768)) return 0;
            rel = 0;
        }
        CString text;
        bool ended;
        size_t total = SplitLine(f->sChunk, (size_t)rel, wide, utf8, true, maxChars, text, &ended);
        if (!ended && !f->fChunkAtEnd) continue;
        if (!total) return 0;
        line += text;
        f->lOffset += (long long)total;
        return (int)(total / unit);
    }
    return 0;
}

}  // namespace

int GetNextLine(HANDLE handle, CString &line, int flags, const wchar_t *prompt, int maxChars) {
    if (!(flags & GNL_APPEND)) line.clear();
    if (handle == StdIn() && QueryIsConsole(handle)) return egets(line, maxChars, flags & GNL_EDITOR_FLAGS, prompt);
    bool wide = (flags & GNL_UTF16) || (handle && handle == GetTLS()->hUnicodeInput);
    bool utf8 = (flags & GNL_UTF8) != 0;
    BATCHFRAME *frame = CurrentFrame();
    if (handle == BTM_IN_MEMORY) return frame ? ReadImageLine(frame, line, wide, utf8, maxChars) : 0;
    if (frame && handle == frame->hFile) return ReadFrameLine(frame, line, wide, utf8, maxChars);
    if (!(flags & GNL_NO_PIPE_TEST) && GetFileType(handle) == FILE_TYPE_PIPE)
        return ReadPipeLine(handle, line, wide || GetTLS()->nOutputEncoding == 3, maxChars);
    int consumed = ReadFileLine(handle, line, wide, utf8, maxChars);
    return wide ? consumed / 2 : consumed;
}

// Ask for one key out of allowed (case ignored); returns it in upper case.
int QueryInputChar(const wchar_t *prompt, const wchar_t *allowed) {
    if (prompt && *prompt) QPuts(prompt);
    HANDLE in = StdIn();
    for (;;) {
        CheckBreak();
        DWORD wait = WaitForSingleObjectEx(in, INFINITE, TRUE);
        if (wait == WAIT_IO_COMPLETION) continue;
        INPUT_RECORD record;
        DWORD got = 0;
        if (wait != WAIT_OBJECT_0 || !ReadConsoleInputW(in, &record, 1, &got) || !got) return 0;
        if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown) continue;
        wchar_t c = ToUpperChar(record.Event.KeyEvent.uChar.UnicodeChar);
        if (c == 3) BreakHandler(1);  // Ctrl+C read as a key (processed input off)
        if (!c) continue;
        if (!allowed || !*allowed || wcschr(CString(allowed).c_str(), c) ||
            wcschr(CString(allowed).c_str(), ToLowerChar(c))) {
            Printf(L"%c\r\n", c);
            return c;
        }
        honk();
    }
}

// Drop everything typed ahead on the console.
void EatKeystrokes() {
    HANDLE in = aGlobals.hConIn && aGlobals.hConIn != INVALID_HANDLE_VALUE ? aGlobals.hConIn : StdIn();
    FlushConsoleInputBuffer(in);
}

namespace {

// The $ codes of a prompt that need nothing beyond the directory, the
// result and the version.
void AppendPromptCode(CString &out, wchar_t code) {
    CString dir;
    switch (code) {
    case L'$': out += L'$'; break;
    case L'A': case L'a': out += L'&'; break;
    case L'B': case L'b': out += L'|'; break;
    case L'C': case L'c': out += L'('; break;
    case L'E': case L'e': out += (wchar_t)27; break;
    case L'F': case L'f': out += L')'; break;
    case L'G': case L'g': out += L'>'; break;
    case L'H': case L'h': if (!out.empty()) out.pop_back(); break;
    case L'L': case L'l': out += L'<'; break;
    case L'N': case L'n': dir = CurrentDirectory(); if (dir.At(1) == L':') out += dir[0]; break;
    case L'P': out += CurrentDirectory(); break;
    case L'p': dir = CurrentDirectory(); dir.MakeLower(); out += dir; break;
    case L'Q': case L'q': out += L'='; break;
    case L'R': case L'r': out += FormatStr(L"%d", GetTLS()->nLastResult); break;
    case L'S': case L's': out += L' '; break;
    case L'V': case L'v': out += aGlobals.sVersion; break;
    case L'Z': case L'z': out += FormatStr(L"%d", aGlobals.nNestingLevel); break;
    case L'_': out += L"\r\n"; break;
    default: out += L'$'; out += code; break;
    }
}

}  // namespace

CString ExpandPromptCodes(const CString &text) {
    CString out;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] != L'$' || i + 1 >= text.size()) {
            out += text[i];
            continue;
        }
        AppendPromptCode(out, text[++i]);
    }
    return out;
}

int ShowPrompt(const wchar_t *variableName) {
    CString text;
    if (!QueryEnvVar(variableName ? variableName : L"PROMPT", &text)) text = L"[$P]";
    else aHooks.pfnExpandVariables(text, 1);
    QPuts(ExpandPromptCodes(text).c_str());
    return 0;
}
