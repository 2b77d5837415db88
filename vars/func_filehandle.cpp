// File handles (@FILEOPEN, @FILECLOSE, @FILEREAD, @FILEREADB, @FILEWRITE,
// @FILEWRITEB, @FILESEEK, @FILESEEKL, @FILELOCK, @TRUNCATE, @FILEHANDLE,
// @HANDLEINFO) and serial ports (@SERIALPORTOPEN, ...READ, ...WRITE,
// ...FLUSH, ...CLOSE).
//
// A handle is the number of the system handle, which the user keeps in a
// variable.  Only the handles these functions opened are taken: a number
// that was never opened here, or has been closed, is refused with "The
// handle is invalid" instead of reaching some other part of the program.
//
// Text is read line by line in the file's coding: UTF-16 or UTF-8 with a
// mark, else each line as UTF-8 when it is valid UTF-8, else as the ANSI
// code page.  Lines are written in UTF-16 to a file that has that mark,
// else in UTF-8.
#include <map>
#include <mutex>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/coding.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

namespace {

enum FileCoding { CODING_BYTES, CODING_UTF8, CODING_UTF16 };
enum FileKind { KIND_FILE, KIND_PIPE, KIND_CONSOLE, KIND_SERIAL };

struct OPENFILE {
    HANDLE h = INVALID_HANDLE_VALUE;
    CString sName;
    wchar_t cMode = L'r';       // r, w or a
    bool fBinary = false;
    FileKind nKind = KIND_FILE;
    FileCoding nCoding = CODING_BYTES;
};

const wchar_t kEndOfFile[] = L"**EOF**";
constexpr size_t kLinePiece = 4096;

std::mutex fileLock;
std::map<long long, OPENFILE> &Files() {
    static std::map<long long, OPENFILE> files;
    return files;
}

long long HandleNumber(HANDLE h) { return (long long)(intptr_t)h; }

int FindFile(long long number, OPENFILE *file) {
    std::lock_guard<std::mutex> hold(fileLock);
    auto it = Files().find(number);
    if (it == Files().end()) return ERROR_INVALID_HANDLE;
    *file = it->second;
    return 0;
}

// The first argument as a handle of an open file, and the rest.
int ReadHandleArgs(const CString &args, OPENFILE *file, std::vector<CString> *rest, bool serial = false) {
    std::vector<CString> parts = SplitArguments(args);
    long long number = 0;
    if (parts.empty() || !ReadWholeNumber(parts[0], &number)) return ERROR_INVALID_PARAMETER;
    if (int rc = FindFile(number, file)) return rc;
    if (serial != (file->nKind == KIND_SERIAL)) return ERROR_INVALID_HANDLE;
    if (rest) rest->assign(parts.begin() + 1, parts.end());
    return 0;
}

long long Position(HANDLE h) {
    LARGE_INTEGER zero{}, at{};
    return SetFilePointerEx(h, zero, &at, FILE_CURRENT) ? at.QuadPart : -1;
}

bool Seek(HANDLE h, long long offset, DWORD origin = FILE_BEGIN) {
    LARGE_INTEGER at;
    at.QuadPart = offset;
    return SetFilePointerEx(h, at, nullptr, origin);
}

bool Seekable(const OPENFILE &file) { return file.nKind == KIND_FILE; }

// The coding mark at the start of a file; the position is kept.
FileCoding ReadMark(HANDLE h) {
    long long at = Position(h);
    unsigned char mark[3] = {};
    DWORD got = 0;
    Seek(h, 0);
    ReadFile(h, mark, 3, &got, nullptr);
    Seek(h, at);
    if (got >= 2 && mark[0] == 0xFF && mark[1] == 0xFE) return CODING_UTF16;
    if (got == 3 && mark[0] == 0xEF && mark[1] == 0xBB && mark[2] == 0xBF) return CODING_UTF8;
    return CODING_BYTES;
}

// Where the text begins: behind a mark.
long long TextStart(const OPENFILE &file) {
    return file.nCoding == CODING_UTF16 ? 2 : file.nCoding == CODING_UTF8 ? 3 : 0;
}

// The bytes of one line (line end included) from the current position;
// the position ends behind them.  False at the end of the input.
bool ReadLineBytes(const OPENFILE &file, std::string *bytes) {
    bytes->clear();
    bool wide = file.nCoding == CODING_UTF16;
    if (!Seekable(file)) {
        // One unit at a time: what follows the line stays in the pipe.
        char unit[2];
        DWORD got = 0;
        while (ReadFile(file.h, unit, wide ? 2 : 1, &got, nullptr) && got) {
            bytes->append(unit, got);
            if (unit[0] == '\n' && (!wide || unit[1] == 0)) break;
        }
        return !bytes->empty();
    }
    long long start = Position(file.h);
    std::string piece(kLinePiece, '\0');
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(file.h, piece.data(), (DWORD)piece.size(), &got, nullptr) || !got) break;
        size_t from = bytes->size();
        bytes->append(piece.data(), got);
        for (size_t i = from - from % (wide ? 2 : 1); i < bytes->size(); i += wide ? 2 : 1) {
            if ((*bytes)[i] == '\n' && (!wide || (i + 1 < bytes->size() && (*bytes)[i + 1] == 0))) {
                bytes->resize(i + (wide ? 2 : 1));
                Seek(file.h, start + (long long)bytes->size());
                return true;
            }
        }
        if (bytes->size() > kMaxFunctionValue * 4) break;
    }
    return !bytes->empty();
}

CString DecodeLine(const OPENFILE &file, const std::string &bytes) {
    CString text;
    if (file.nCoding == CODING_UTF16) {
        text.resize(bytes.size() / 2);
        memcpy(text.data(), bytes.data(), text.size() * 2);
    } else if (!FromUtf8(bytes, &text)) {
        text = FromCodePage(bytes.data(), (int)bytes.size(), CP_ACP);
    }
    text.TrimRight(L"\r\n");
    return text;
}

// The bytes that text takes in the file's coding.
std::string EncodeText(const OPENFILE &file, const CString &text) {
    if (file.nCoding == CODING_UTF16) return std::string((const char *)text.data(), text.size() * 2);
    return ToUtf8(text);
}

int WriteBytes(const OPENFILE &file, const std::string &bytes, DWORD *wrote) {
    *wrote = 0;
    if (bytes.empty()) return 0;
    return WriteFile(file.h, bytes.data(), (DWORD)bytes.size(), wrote, nullptr) ? 0 : SystemError();
}

// The low byte of each character, written; the value is the count of
// bytes written.
int WriteLowBytes(const OPENFILE &file, const CString &text, CString &value) {
    std::string bytes;
    for (wchar_t c : text) bytes += (char)(c & 0xFF);
    DWORD wrote = 0;
    if (int rc = WriteBytes(file, bytes, &wrote)) return rc;
    return SetNumber(value, wrote);
}

HANDLE OpenNamed(const CString &name, wchar_t mode, bool binary, FileKind *kind) {
    DWORD access = mode == L'r' ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    DWORD creation = mode == L'r' ? OPEN_EXISTING : mode == L'a' || binary ? OPEN_ALWAYS : CREATE_ALWAYS;
    CString path = name;
    *kind = KIND_FILE;
    if (name.EqualsNoCase(L"CON")) {
        *kind = KIND_CONSOLE;
        path = mode == L'r' ? L"CONIN$" : L"CONOUT$";
        access = mode == L'r' ? GENERIC_READ | GENERIC_WRITE : GENERIC_WRITE;
        creation = OPEN_EXISTING;
    } else if (name.StartsWithNoCase(L"\\\\.\\pipe\\")) {
        *kind = KIND_PIPE;
        creation = OPEN_EXISTING;
    }
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, creation,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

long long Register(const OPENFILE &file) {
    std::lock_guard<std::mutex> hold(fileLock);
    Files()[HandleNumber(file.h)] = file;
    return HandleNumber(file.h);
}

}  // namespace

int QueryOpenFile(long long number, HANDLE *h) {
    OPENFILE file;
    if (int rc = FindFile(number, &file)) return rc;
    *h = file.h;
    return 0;
}

// @FILEOPEN[name,mode[,b]]: mode r (read), w (write, a new file; with b an
// existing file is kept for writing over), a (append).  The value is the
// handle, or -1 when the file cannot be opened.
int Func_FileOpen(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.size() < 2 || args.size() > 3) return ERROR_INVALID_PARAMETER;
    CString name = args[0], mode = args[1], type = args.size() > 2 ? args[2] : CString();
    name = NameArgument(name);
    mode.Trim();
    type.Trim();
    wchar_t m = ToLowerChar(mode.At(0));
    if (name.empty() || (m != L'r' && m != L'w' && m != L'a') || (!type.empty() && !type.EqualsNoCase(L"b")))
        return ERROR_INVALID_PARAMETER;
    OPENFILE file;
    file.cMode = m;
    file.fBinary = !type.empty();
    file.h = OpenNamed(name, m, file.fBinary, &file.nKind);
    if (file.h == INVALID_HANDLE_VALUE) return SetNumber(call.args, -1);
    file.sName = file.nKind == KIND_FILE ? FullPathOf(name) : name;
    if (file.nKind == KIND_FILE) {
        file.nCoding = m == L'w' && !file.fBinary ? CODING_BYTES : ReadMark(file.h);
        if (m == L'a') Seek(file.h, 0, FILE_END);
    }
    return SetNumber(call.args, Register(file));
}

// @FILECLOSE[h] (and @SERIALPORTCLOSE[h]): the value is 0.
int Func_FileClose(FUNCCALL &call) {
    OPENFILE file;
    if (int rc = ReadHandleArgs(call.args, &file, nullptr, call.nCase == FC_serialportclose)) return rc;
    {
        std::lock_guard<std::mutex> hold(fileLock);
        Files().erase(HandleNumber(file.h));
    }
    return SetNumber(call.args, CloseHandle(file.h) ? 0 : (long long)GetLastError());
}

// @FILEREAD[h[,length]]: the next line without its line end, at most length
// characters of it; "**EOF**" at the end of the file.
int Func_FileRead(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest)) return rc;
    long long limit = -1;
    if (rest.size() > 1 || (rest.size() == 1 && (!ReadWholeNumber(rest[0], &limit) || limit < 0)))
        return ERROR_INVALID_PARAMETER;
    if (file.nKind == KIND_FILE && file.nCoding != CODING_BYTES && Position(file.h) < TextStart(file))
        Seek(file.h, TextStart(file));
    long long start = Seekable(file) ? Position(file.h) : 0;
    std::string bytes;
    if (!ReadLineBytes(file, &bytes)) {
        call.args = kEndOfFile;
        return 0;
    }
    CString line = DecodeLine(file, bytes);
    if (limit >= 0 && (size_t)limit < line.size() && Seekable(file)) {
        line.resize((size_t)limit);
        Seek(file.h, start + (long long)EncodeText(file, line).size());
    }
    if (line.size() > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    call.args = line;
    return FUNC_NO_RESCAN;
}

// @FILEREADB[h,length[,kind]]: up to length bytes as numbers separated by
// blanks: kind h (or 0) "1f", x (or 1) "0x1f", d (or 2) "31".  "**EOF**" at
// the end of the file.
int Func_FileReadBinary(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest)) return rc;
    long long length = 0;
    if (rest.empty() || rest.size() > 2 || !ReadWholeNumber(rest[0], &length) || length < 0)
        return ERROR_INVALID_PARAMETER;
    CString kind = rest.size() > 1 ? rest[1] : CString(L"h");
    kind.Trim();
    const wchar_t *format = kind.EqualsNoCase(L"h") || kind == L"0" ? L"%02x"
                            : kind.EqualsNoCase(L"x") || kind == L"1" ? L"0x%02x"
                            : kind.EqualsNoCase(L"d") || kind == L"2" ? L"%u" : nullptr;
    if (!format) return ERROR_INVALID_PARAMETER;
    if ((unsigned long long)length * 5 > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    std::string bytes((size_t)length, '\0');
    DWORD got = 0;
    if (length && !ReadFile(file.h, bytes.data(), (DWORD)length, &got, nullptr)) return SystemError();
    if (length && !got) {
        call.args = kEndOfFile;
        return 0;
    }
    CString out;
    for (DWORD i = 0; i < got; i++) {
        if (i) out += L' ';
        out.AppendFormat(format, (unsigned char)bytes[i]);
    }
    call.args = out;
    return 0;
}

// @FILEWRITE[h,text]: the text and a line end; the value is the count of
// characters written, the line end included.
int Func_FileWrite(FUNCCALL &call) {
    OPENFILE file;
    CString number, text;
    if (!SplitAtComma(call.args, &number, &text)) return ERROR_INVALID_PARAMETER;
    if (int rc = ReadHandleArgs(number, &file, nullptr)) return rc;
    if (file.cMode == L'r' && file.nKind != KIND_CONSOLE) return ERROR_ACCESS_DENIED;
    UnEscapeLine(text);
    text += L"\r\n";
    DWORD wrote = 0;
    if (int rc = WriteBytes(file, EncodeText(file, text), &wrote)) return rc;
    return SetNumber(call.args, (long long)text.size());
}

// @FILEWRITEB[h,length,text]: the low byte of each of the first length
// characters (all of them when length is -1); the value is the count of
// bytes written.
int Func_FileWriteBinary(FUNCCALL &call) {
    OPENFILE file;
    long long length = 0;
    int offset = -1;
    CString number, rest;
    if (!SplitAtComma(call.args, &number, &rest)) return ERROR_INVALID_PARAMETER;
    if (int rc = ReadHandleArgs(number, &file, nullptr)) return rc;
    if (Sscanf(rest.c_str(), L" %I64i ,%n", &length, &offset) != 2 || length < -1) return ERROR_INVALID_PARAMETER;
    if (file.cMode == L'r') return ERROR_ACCESS_DENIED;
    CString text = rest.Mid((size_t)offset);
    UnEscapeLine(text);
    if (length >= 0 && (size_t)length < text.size()) text.resize((size_t)length);
    return WriteLowBytes(file, text, call.args);
}

// @FILESEEK[h,offset,origin]: origin 0 the start, 1 the current position,
// 2 the end; the value is the new position.
int Func_FileSeek(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest)) return rc;
    long long offset = 0, origin = 0;
    if (rest.size() != 2 || !ReadWholeNumber(rest[0], &offset) || !ReadWholeNumber(rest[1], &origin) || origin < 0 ||
        origin > 2)
        return ERROR_INVALID_PARAMETER;
    if (!Seekable(file)) return ERROR_SEEK_ON_DEVICE;
    if (!Seek(file.h, offset, (DWORD)origin)) return SystemError();
    return SetNumber(call.args, Position(file.h));
}

// @FILESEEKL[h,line[,relative]]: to the start of line n (from 0), or n lines
// on from here when relative is 1; the value is the new position, -1 when
// the file has fewer lines.
int Func_FileSeekLine(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest)) return rc;
    long long lines = 0, relative = 0;
    if (rest.empty() || rest.size() > 2 || !ReadWholeNumber(rest[0], &lines) || lines < 0 ||
        (rest.size() == 2 && (!ReadWholeNumber(rest[1], &relative) || relative < 0 || relative > 1)))
        return ERROR_INVALID_PARAMETER;
    if (!Seekable(file)) return ERROR_SEEK_ON_DEVICE;
    if (!relative || Position(file.h) < TextStart(file)) Seek(file.h, TextStart(file));
    std::string bytes;
    for (long long i = 0; i < lines; i++) {
        if (!ReadLineBytes(file, &bytes)) return SetNumber(call.args, -1);
        CheckBreak();
    }
    return SetNumber(call.args, Position(file.h));
}

// @TRUNCATE[h]: the file ends at the current position; the value is 0.
int Func_Truncate(FUNCCALL &call) {
    OPENFILE file;
    if (int rc = ReadHandleArgs(call.args, &file, nullptr)) return rc;
    if (!Seekable(file)) return ERROR_SEEK_ON_DEVICE;
    if (!SetEndOfFile(file.h)) return SystemError();
    return SetNumber(call.args, 0);
}

// @FILELOCK[h,offset,length[,u]]: lock a range of bytes for this handle
// alone (u: unlock it).  The value is 0; a range another handle holds gives
// the lock error.
int Func_FileLock(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest)) return rc;
    long long offset = 0, length = 0;
    if (rest.size() < 2 || rest.size() > 3 || !ReadWholeNumber(rest[0], &offset) ||
        !ReadWholeNumber(rest[1], &length) || offset < 0 || length <= 0)
        return ERROR_INVALID_PARAMETER;
    CString mode = rest.size() > 2 ? rest[2] : CString();
    mode.Trim();
    if (!mode.empty() && !mode.EqualsNoCase(L"u")) return ERROR_INVALID_PARAMETER;
    OVERLAPPED at{};
    at.Offset = (DWORD)offset;
    at.OffsetHigh = (DWORD)(offset >> 32);
    BOOL ok = mode.empty()
                  ? LockFileEx(file.h, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, (DWORD)length,
                               (DWORD)(length >> 32), &at)
                  : UnlockFileEx(file.h, 0, (DWORD)length, (DWORD)(length >> 32), &at);
    return ok ? SetNumber(call.args, 0) : SystemError();
}

// @FILEHANDLE[name]: the handle under which a file is open here, or -1.
int Func_FileHandle(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    CString full = FullPathOf(name);
    std::lock_guard<std::mutex> hold(fileLock);
    for (const auto &[number, file] : Files())
        if (file.sName.EqualsNoCase(full.c_str()) || file.sName.EqualsNoCase(name.c_str()))
            return SetNumber(call.args, number);
    return SetNumber(call.args, -1);
}

// @HANDLEINFO[h]: "mode,coding,kind,position,size,name": mode r, w or a;
// t (text) or b (binary); file, pipe, console or serial.
int Func_HandleInfo(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> parts = SplitArguments(call.args);
    long long number = 0;
    if (parts.size() != 1 || !ReadWholeNumber(parts[0], &number)) return ERROR_INVALID_PARAMETER;
    if (int rc = FindFile(number, &file)) return rc;
    static const wchar_t *const kinds[] = {L"file", L"pipe", L"console", L"serial"};
    LARGE_INTEGER size{};
    bool sized = Seekable(file) && GetFileSizeEx(file.h, &size);
    call.args = FormatStr(L"%c,%c,%s,%I64d,%I64d,%s", file.cMode, file.fBinary ? L'b' : L't', kinds[file.nKind],
                          Seekable(file) ? Position(file.h) : 0LL, sized ? size.QuadPart : 0LL, file.sName.c_str());
    return 0;
}

// @SERIALPORTOPEN[port[,baud[,parity[,data bits[,stop bits]]]]]: open COMn
// ("COM3" or "3"), 9600 N 8 1 unless told.  The value is the handle.  A
// port that this machine does not have is reported as such.
int Func_SerialOpen(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.empty() || args.size() > 5) return ERROR_INVALID_PARAMETER;
    CString port = args[0];
    port.Trim();
    long long n = 0, baud = 9600, bits = 8;
    if (!ReadWholeNumber(port.StartsWithNoCase(L"COM") ? port.Mid(3) : port, &n) || n < 1 || n > 255)
        return ERROR_INVALID_PARAMETER;
    CString parity = args.size() > 2 ? args[2] : CString(L"N"), stop = args.size() > 4 ? args[4] : CString(L"1");
    parity.Trim();
    stop.Trim();
    const wchar_t *parities = L"NOEMS";
    const wchar_t *p = parity.size() == 1 ? wcschr(parities, ToUpperChar(parity[0])) : nullptr;
    if ((args.size() > 1 && (!ReadWholeNumber(args[1], &baud) || baud <= 0)) ||
        (args.size() > 3 && (!ReadWholeNumber(args[3], &bits) || bits < 5 || bits > 8)) || !p ||
        (stop != L"1" && stop != L"1.5" && stop != L"2"))
        return ERROR_INVALID_PARAMETER;
    CString name = FormatStr(L"COM%d", (int)n);
    HANDLE h = CreateFileW((L"\\\\.\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        DWORD e = GetLastError();
        return e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND ? ERROR_BD_NO_SUCH_DEVICE : SystemError(e);
    }
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    COMMTIMEOUTS timeouts{MAXDWORD, 0, 1000, 0, 1000};
    bool set = GetCommState(h, &dcb);
    if (set) {
        dcb.BaudRate = (DWORD)baud;
        dcb.ByteSize = (BYTE)bits;
        dcb.Parity = (BYTE)(p - parities);
        dcb.StopBits = stop == L"1" ? ONESTOPBIT : stop == L"2" ? TWOSTOPBITS : ONE5STOPBITS;
        set = SetCommState(h, &dcb) && SetCommTimeouts(h, &timeouts);
    }
    if (!set) {
        // Something answers to the name, but it is no serial port.
        CloseHandle(h);
        return ERROR_BD_NO_SUCH_DEVICE;
    }
    OPENFILE file;
    file.h = h;
    file.sName = name;
    file.cMode = L'w';
    file.fBinary = true;
    file.nKind = KIND_SERIAL;
    return SetNumber(call.args, Register(file));
}

// @SERIALPORTREAD[h[,count]]: what arrives within a second, at most count
// bytes (256 when not told), as characters.
int Func_SerialRead(FUNCCALL &call) {
    OPENFILE file;
    std::vector<CString> rest;
    if (int rc = ReadHandleArgs(call.args, &file, &rest, true)) return rc;
    long long count = 256;
    if (rest.size() > 1 || (rest.size() == 1 && (!ReadWholeNumber(rest[0], &count) || count <= 0)))
        return ERROR_INVALID_PARAMETER;
    if ((size_t)count > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    std::string bytes((size_t)count, '\0');
    DWORD got = 0;
    if (!ReadFile(file.h, bytes.data(), (DWORD)count, &got, nullptr)) return SystemError();
    bytes.resize(got);
    call.args = BytesAsText(bytes);
    return FUNC_NO_RESCAN;
}

// @SERIALPORTWRITE[h,text]: the low byte of each character; the value is
// the count of bytes written.
int Func_SerialWrite(FUNCCALL &call) {
    OPENFILE file;
    CString number, text;
    if (!SplitAtComma(call.args, &number, &text)) return ERROR_INVALID_PARAMETER;
    if (int rc = ReadHandleArgs(number, &file, nullptr, true)) return rc;
    UnEscapeLine(text);
    return WriteLowBytes(file, text, call.args);
}

// @SERIALPORTFLUSH[h]: send what waits, drop what has arrived; the value is 0.
int Func_SerialFlush(FUNCCALL &call) {
    OPENFILE file;
    if (int rc = ReadHandleArgs(call.args, &file, nullptr, true)) return rc;
    if (!FlushFileBuffers(file.h) || !PurgeComm(file.h, PURGE_RXCLEAR)) return SystemError();
    return SetNumber(call.args, 0);
}
