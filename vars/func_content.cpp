// String functions by content: @REPLACE, @STRIP, @FILTER, @TRIM, @TRIMALL,
// @LTRIM, @RTRIM, @UPPER, @LOWER, @QUOTE, @UNQUOTE and @UNQUOTES.  Each one
// resolves the escape characters of the text it returns, so that an escaped
// character passes as itself.
#include "base/args.h"
#include "vars/func_internal.h"

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// "chars,string": the character list (it may be quoted, and escapes work
// inside it) and the text, unescaped.  False without the comma.
bool ReadCharsAndText(const CString &args, CString *chars, CString *text) {
    if (!SplitAtComma(args, chars, text)) return false;
    *chars = WithoutEnclosingQuotes(*chars);
    UnEscapeLine(*chars);
    UnEscapeLine(*text);
    return true;
}

}  // namespace

// @REPLACE[old,new,string]: every occurrence of old, exactly as written, left
// to right; what was put in is not searched again.  The search for the first
// comma starts at the second character, so that old may be a comma.
int Func_Replace(FUNCCALL &call) {
    const CString &args = call.args;
    if (args.empty()) return ERROR_INVALID_PARAMETER;
    size_t from = args[0] == ActiveEscapeChar() ? 0 : 1;
    int at = ScanIndex(args.c_str() + from, L",", L"`\"");
    if (at < 0 || args.At(from + (size_t)at) != L',') return ERROR_INVALID_PARAMETER;
    CString old = args.Left(from + (size_t)at), with, text;
    if (!SplitAtComma(args.Mid(from + (size_t)at + 1), &with, &text)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(old);
    UnEscapeLine(with);
    UnEscapeLine(text);
    if (old.empty()) return ERROR_INVALID_PARAMETER;
    text.Replace(old.c_str(), with.c_str());
    call.args = text;
    return 0;
}

// @STRIP[chars,string] drops the listed characters; @FILTER[chars,string]
// keeps only them.
int Func_Strip(FUNCCALL &call) {
    CString chars, text;
    if (!ReadCharsAndText(call.args, &chars, &text)) return ERROR_INVALID_PARAMETER;
    bool keep = call.nCase == FC_filter;
    CString out;
    for (wchar_t c : text)
        if ((chars.find(c) != CString::npos) == keep) out += c;
    call.args = out;
    return 0;
}

// @TRIM[string]: blanks and tabs off both ends.  @TRIMALL[string]: the same,
// and every run of blanks and tabs inside becomes one blank.  An escaped
// blank is no blank here and is kept.
int Func_Trim(FUNCCALL &call) {
    const CString &text = call.args;
    wchar_t escape = ActiveEscapeChar();
    // Units: an escape pair or a single character; raw blanks are marked.
    std::vector<std::pair<CString, bool>> units;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == escape && i + 1 < text.size()) {
            units.push_back({text.substr(i, 2), false});
            i++;
        } else {
            units.push_back({CString(1, text[i]), IsBlank(text[i])});
        }
    }
    size_t first = 0, last = units.size();
    while (first < last && units[first].second) first++;
    while (last > first && units[last - 1].second) last--;
    CString out;
    bool inRun = false;
    for (size_t i = first; i < last; i++) {
        if (units[i].second && call.nCase == FC_trimall) {
            if (!inRun) out += L' ';
            inRun = true;
            continue;
        }
        out += units[i].first;
        inRun = false;
    }
    UnEscapeLine(out);
    call.args = out;
    return 0;
}

// @LTRIM[chars,string], @RTRIM[chars,string]: the listed characters off the
// left or the right end.
int Func_TrimChars(FUNCCALL &call) {
    CString chars, text;
    if (!ReadCharsAndText(call.args, &chars, &text)) return ERROR_INVALID_PARAMETER;
    if (chars.empty()) {
        call.args = text;
        return 0;
    }
    if (call.nCase == FC_ltrim) text.TrimLeft(chars.c_str());
    else text.TrimRight(chars.c_str());
    call.args = text;
    return 0;
}

int Func_Case(FUNCCALL &call) {
    UnEscapeLine(call.args);
    if (call.nCase == FC_upper) call.args.MakeUpper();
    else call.args.MakeLower();
    return 0;
}

// @QUOTE[string]: double quotes around a text that needs them (blanks or
// special characters) and has none yet; an empty text gives "".
int Func_Quote(FUNCCALL &call) {
    UnEscapeLine(call.args);
    if (call.args.empty()) call.args = L"\"\"";
    else AddQuotes_S(call.args);
    return 0;
}

// @UNQUOTE[string]: one pair of enclosing double quotes off; @UNQUOTES[string]:
// every double quote off.  An escaped quote (^q) stays.
int Func_Unquote(FUNCCALL &call) {
    if (call.nCase == FC_unquote) StripEnclosingQuotes_S(call.args);
    else StripQuotes_S(call.args);
    UnEscapeLine(call.args);
    return 0;
}
