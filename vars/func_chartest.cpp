// Character tests: @IS... answers 1 when every character of the text
// passes (and the text is not empty), @T... answers with one digit, 1 or 0,
// for each character.  Letters, case, blanks, punctuation and control
// characters follow the system's Unicode tables; digits and hexadecimal
// digits are the ASCII ones, which is what a number is written with.
#include "base/args.h"
#include "vars/eval.h"
#include "vars/func_internal.h"

namespace {

enum CharClass { CC_ALNUM, CC_ALPHA, CC_ASCII, CC_CNTRL, CC_DIGIT, CC_LOWER, CC_PRINT, CC_PUNCT, CC_SPACE, CC_UPPER, CC_XDIGIT };

bool IsAsciiDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool InClass(wchar_t c, CharClass cls) {
    WORD type = 0;
    if (!GetStringTypeW(CT_CTYPE1, &c, 1, &type)) type = 0;
    switch (cls) {
    case CC_ALNUM: return (type & C1_ALPHA) || IsAsciiDigit(c);
    case CC_ALPHA: return type & C1_ALPHA;
    case CC_ASCII: return c < 0x80;
    case CC_CNTRL: return type & C1_CNTRL;
    case CC_DIGIT: return IsAsciiDigit(c);
    case CC_LOWER: return type & C1_LOWER;
    case CC_PRINT: return !(type & C1_CNTRL) && type != 0;
    case CC_PUNCT: return type & C1_PUNCT;
    case CC_SPACE: return type & (C1_SPACE | C1_BLANK);
    case CC_UPPER: return type & C1_UPPER;
    case CC_XDIGIT: return IsAsciiDigit(c) || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
    }
    return false;
}

struct TestRow {
    int nCase;
    CharClass cls;
    bool fEach;
};

const TestRow kTests[] = {
    {FC_isalnum, CC_ALNUM, false},   {FC_isalpha, CC_ALPHA, false}, {FC_isascii, CC_ASCII, false},
    {FC_iscntrl, CC_CNTRL, false},   {FC_isdigit, CC_DIGIT, false}, {FC_islower, CC_LOWER, false},
    {FC_isprint, CC_PRINT, false},   {FC_ispunct, CC_PUNCT, false}, {FC_isspace, CC_SPACE, false},
    {FC_isupper, CC_UPPER, false},   {FC_isxdigit, CC_XDIGIT, false}, {FC_talnum, CC_ALNUM, true},
    {FC_talpha, CC_ALPHA, true},     {FC_tascii, CC_ASCII, true},   {FC_tcntrl, CC_CNTRL, true},
    {FC_tdigit, CC_DIGIT, true},     {FC_tlower, CC_LOWER, true},   {FC_tprint, CC_PRINT, true},
    {FC_tpunct, CC_PUNCT, true},     {FC_tspace, CC_SPACE, true},   {FC_tupper, CC_UPPER, true},
    {FC_txdigit, CC_XDIGIT, true},
};

}  // namespace

// A floating-point number: an optional sign, digits with at most one
// decimal character (and thousands characters before it), at least one
// digit, and an optional exponent "e[+|-]digits".
bool QueryIsFloat(const CString &text) {
    size_t e = text.find_first_of(L"eE");
    CString mantissa = text.Left(e), exponent = e == CString::npos ? CString() : text.Mid(e + 1);
    if (!QueryIsNumeric(mantissa.c_str())) return false;
    if (e == CString::npos) return true;
    size_t digits = exponent.At(0) == L'+' || exponent.At(0) == L'-' ? 1 : 0;
    return digits < exponent.size() && exponent.find_first_not_of(L"0123456789", digits) == CString::npos;
}

// @ISFLOAT[text]: 1 when the text is a floating-point number.
int Func_IsFloat(FUNCCALL &call) {
    CString text = call.args;
    UnEscapeLine(text);
    text.Trim();
    return SetNumber(call.args, QueryIsFloat(text));
}

int Func_CharTest(FUNCCALL &call) {
    const TestRow *row = nullptr;
    for (const TestRow &t : kTests)
        if (t.nCase == call.nCase) row = &t;
    if (!row) return ERROR_INVALID_PARAMETER;
    CString text = call.args;
    UnEscapeLine(text);
    if (!row->fEach) {
        bool all = !text.empty();
        for (wchar_t c : text) all = all && InClass(c, row->cls);
        return SetNumber(call.args, all);
    }
    CString digits;
    for (wchar_t c : text) digits += InClass(c, row->cls) ? L'1' : L'0';
    call.args = digits;
    return 0;
}
