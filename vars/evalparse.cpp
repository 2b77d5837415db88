// The evaluator's tokenizer and recursive-descent parser.  Levels, from the
// lowest precedence: & | ^ < > << >> (one level); + -; * / \ %; ** (left
// associative); prefix + (absolute value), - and ~; primaries.
#include "base/args.h"
#include "base/errors.h"
#include "base/locale.h"
#include "vars/eval.h"
#include "vars/evalnum.h"
#include "vars/func_internal.h"

namespace {

enum TokenType { TOKEN_NONE, TOKEN_OPERATOR, TOKEN_NUMBER, TOKEN_FUNCTION, TOKEN_PAIR, TOKEN_ROTATE };

// Operator numbers; the first seven share the lowest level.
enum Operator {
    OP_AND, OP_OR, OP_XOR, OP_LESS, OP_GREATER, OP_SHL, OP_SHR, OP_PLUS, OP_MINUS, OP_NOT,
    OP_TIMES, OP_POWER, OP_DIVIDE, OP_INTDIV, OP_MOD, OP_OPEN, OP_CLOSE, OP_BANG,
};

struct OperatorText {
    const wchar_t *pszText;
    int nOperator;
};

// Longer forms first, so that "**" is not read as two "*".
const OperatorText aOperatorSymbols[] = {
    {L"**", OP_POWER}, {L"<<", OP_SHL}, {L">>", OP_SHR}, {L"\\\\", OP_INTDIV},
    {L"&", OP_AND},    {L"|", OP_OR},   {L"^", OP_XOR},  {L"<", OP_LESS},
    {L">", OP_GREATER}, {L"+", OP_PLUS}, {L"-", OP_MINUS}, {L"~", OP_NOT},
    {L"*", OP_TIMES},  {L"/", OP_DIVIDE}, {L"\\", OP_INTDIV}, {L"%", OP_MOD},
    {L"(", OP_OPEN},   {L")", OP_CLOSE}, {L"!", OP_BANG},
};

const OperatorText aOperatorWords[] = {
    {L"and", OP_AND}, {L"or", OP_OR},   {L"xor", OP_XOR}, {L"not", OP_NOT},
    {L"shl", OP_SHL}, {L"shr", OP_SHR}, {L"mod", OP_MOD},
};

struct Parser {
    CString text;               // a working copy; rol and ror cut their counts out of it
    size_t pos = 0;
    int places = 0;
    bool scientific = false;    // places count from the first significant digit
    int depth = 0;              // open groups and function arguments
    int type = TOKEN_NONE;
    int op = 0;
    Decimal number;             // value of a number token
    EvalMathFunction pfnFunction = nullptr;
    CString word;               // name of a function-like token
    wchar_t decimalChar = L'.', thousandsChar = L',';
};

// The result of a division, a power, pi or a math function, rounded at the
// working precision before anything else uses it.
Decimal AtWorkingPrecision(const Parser &P, const Decimal &v) {
    return P.scientific ? DecRoundSignificant(v, P.places) : DecRoundPlaces(v, P.places);
}

Decimal Level1(Parser &P);
Decimal Level5(Parser &P);

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsHexDigit(wchar_t c) { return IsDigit(c) || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F'); }
bool IsLetter(wchar_t c) { return IsCharAlphaW(c) != 0; }
bool IsWordChar(wchar_t c) { return IsLetter(c) || IsDigit(c) || c == L'_'; }

void SkipBlanks(Parser &P) {
    while (P.text.At(P.pos) == L' ' || P.text.At(P.pos) == L'\t') P.pos++;
}

bool InputLeft(Parser &P) {
    SkipBlanks(P);
    return P.pos < P.text.size();
}

void SetNumber(Parser &P, Decimal value) {
    P.type = TOKEN_NUMBER;
    P.number = std::move(value);
}

// 0x... or 0b...: at most 64 bits, read as a two's complement value.
void ReadRadixNumber(Parser &P, int bits) {
    P.pos += 2;
    uint64_t value = 0;
    int digits = 0, maxDigits = 64 / bits;
    for (wchar_t c; IsHexDigit(c = P.text.At(P.pos)) && (bits == 4 || c == L'0' || c == L'1'); P.pos++) {
        if (++digits > maxDigits) EvalFail(ERROR_BD_EVAL_OVERFLOW);
        int d = IsDigit(c) ? c - L'0' : (c | 0x20) - L'a' + 10;
        value = (value << bits) | (uint64_t)d;
    }
    SetNumber(P, DecFromInt((int64_t)value));
}

// A decimal number: digits, the decimal character once, an exponent
// behind; '.', ',' and the thousands character are otherwise stepped over.
void ReadDecimalNumber(Parser &P) {
    std::string ascii;
    bool point = false;
    for (wchar_t c; (c = P.text.At(P.pos)) != 0; P.pos++) {
        if (IsDigit(c)) {
            ascii += (char)c;
        } else if (c == P.decimalChar) {
            if (point) break;
            point = true;
            ascii += '.';
        } else if (c == L'.' || c == L',' || c == P.thousandsChar) {
            continue;
        } else if (c == L'e' || c == L'E') {
            size_t at = P.pos + 1;
            if (P.text.At(at) == L'+' || P.text.At(at) == L'-') at++;
            if (!IsDigit(P.text.At(at))) break;
            ascii += 'e';
            for (P.pos++; P.pos < at; P.pos++) ascii += (char)P.text[P.pos];
            while (IsDigit(P.text.At(P.pos))) ascii += (char)P.text[P.pos++];
            break;
        } else {
            break;
        }
    }
    SetNumber(P, DecFromText(ascii));
}

// A variable's value as a number: quotes stripped, blanks trimmed, empty
// or unset meaning 0; anything but a plain decimal number is an error.
void ReadVariable(Parser &P, const CString &name) {
    CString value;
    int rc = EvalGetVariable(name, value);
    if (rc > 0) EvalFail(rc, name.c_str());
    StripQuotes_S(value);
    value.Trim(L" \t");
    if (rc < 0 || value.empty()) value = L"0";
    if (!QueryIsNumeric(value.c_str())) EvalFail(ERROR_BD_EVAL_SYNTAX, name.c_str());
    std::string ascii;
    for (wchar_t c : value) {
        if (c == P.decimalChar) ascii += '.';
        else if (c != P.thousandsChar) ascii += (char)c;
    }
    SetNumber(P, DecFromText(ascii));
}

// A word: an operator word, a function before "(", pi, or a variable name
// (with an optional [index] part).
void ReadWord(Parser &P) {
    size_t start = P.pos;
    while (IsWordChar(P.text.At(P.pos))) P.pos++;
    CString word = P.text.Mid(start, P.pos - start);
    for (const OperatorText &w : aOperatorWords) {
        if (word.EqualsNoCase(w.pszText)) {
            P.type = TOKEN_OPERATOR;
            P.op = w.nOperator;
            return;
        }
    }
    size_t after = P.pos;
    while (P.text.At(after) == L' ' || P.text.At(after) == L'\t') after++;
    if (P.text.At(after) == L'(') {
        P.word = word;
        P.word.MakeLower();
        bool pair = P.word == L"gcd" || P.word == L"lcm", rotate = P.word == L"rol" || P.word == L"ror";
        P.pfnFunction = FindMathFunction(word);
        if (pair || rotate || P.pfnFunction) {
            P.type = pair ? TOKEN_PAIR : rotate ? TOKEN_ROTATE : TOKEN_FUNCTION;
            P.pos = after + 1;
            return;
        }
    }
    if (word.EqualsNoCase(L"pi")) return SetNumber(P, AtWorkingPrecision(P, DecPi(P.places)));
    if (P.text.At(P.pos) == L'[') {
        size_t close = P.text.find(L']', P.pos);
        if (close == CString::npos) EvalFail(ERROR_BD_EVAL_SYNTAX, word.c_str());
        P.pos = close + 1;
        word = P.text.Mid(start, P.pos - start);
    }
    ReadVariable(P, word);
}

// Reads the next token; at the end, or at a character that starts no
// token, the type is TOKEN_NONE.
void NextToken(Parser &P) {
    P.type = TOKEN_NONE;
    if (!InputLeft(P)) return;
    wchar_t c = P.text[P.pos], next = P.text.At(P.pos + 1);
    if (c == L'0' && (next == L'x' || next == L'X') && IsHexDigit(P.text.At(P.pos + 2)))
        return ReadRadixNumber(P, 4);
    if (c == L'0' && (next == L'b' || next == L'B') && (P.text.At(P.pos + 2) == L'0' || P.text.At(P.pos + 2) == L'1'))
        return ReadRadixNumber(P, 1);
    if (IsDigit(c) || (c == P.decimalChar && IsDigit(next))) return ReadDecimalNumber(P);
    if (IsLetter(c) || c == L'_') return ReadWord(P);
    for (const OperatorText &o : aOperatorSymbols) {
        size_t n = wcslen(o.pszText);
        if (P.text.compare(P.pos, n, o.pszText) == 0) {
            P.type = TOKEN_OPERATOR;
            P.op = o.nOperator;
            P.pos += n;
            return;
        }
    }
}

bool IsOperator(const Parser &P, int op) { return P.type == TOKEN_OPERATOR && P.op == op; }

// Behind a value only an operator or the end may stand.
void NextAfterValue(Parser &P) {
    NextToken(P);
    if (P.type == TOKEN_OPERATOR) return;
    if (P.type != TOKEN_NONE || InputLeft(P)) EvalFail(ERROR_BD_EVAL_SYNTAX);
}

// "(" has been read: an expression up to its ")", which is read too.
Decimal Group(Parser &P) {
    NextToken(P);
    P.depth++;
    Decimal v = Level1(P);
    if (!IsOperator(P, OP_CLOSE)) EvalFail(ERROR_BD_EVAL_PARENS);
    P.depth--;
    return v;
}

// A signed 64-bit integer in the text at the position, behind blanks.
bool ReadInteger(Parser &P, int64_t *value) {
    SkipBlanks(P);
    size_t at = P.pos;
    bool negative = P.text.At(at) == L'-';
    if (negative || P.text.At(at) == L'+') at++;
    if (!IsDigit(P.text.At(at))) return false;
    uint64_t v = 0;
    for (; IsDigit(P.text.At(at)); at++) {
        uint64_t d = (uint64_t)(P.text[at] - L'0');
        if (v > (UINT64_MAX - d) / 10) EvalFail(ERROR_BD_EVAL_OVERFLOW);
        v = v * 10 + d;
    }
    if (v > (uint64_t)INT64_MAX + (negative ? 1 : 0)) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    *value = negative ? (int64_t)(0 - v) : (int64_t)v;
    P.pos = at;
    return true;
}

uint64_t Magnitude(int64_t v) { return v < 0 ? 0 - (uint64_t)v : (uint64_t)v; }

uint64_t Gcd(uint64_t a, uint64_t b) {
    while (b) {
        uint64_t r = a % b;
        a = b;
        b = r;
    }
    return a;
}

// gcd(a b) and lcm(a b) of two integers written in the text.  Inside a
// group the ")" is left to be read next, so it closes that group.
Decimal PairFunction(Parser &P) {
    int64_t a, b;
    if (!ReadInteger(P, &a)) EvalFail(ERROR_BD_EVAL_SYNTAX, P.word.c_str());
    SkipBlanks(P);
    if (P.text.At(P.pos) == L',') P.pos++;
    if (!ReadInteger(P, &b)) EvalFail(ERROR_BD_EVAL_SYNTAX, P.word.c_str());
    uint64_t ua = Magnitude(a), ub = Magnitude(b), g = Gcd(ua, ub);
    Decimal r;
    if (P.word == L"gcd") {
        r = DecFromUnsigned(g);
    } else if (g) {
        uint64_t q = ua / g;
        if (q && ub > (uint64_t)INT64_MAX / q) EvalFail(ERROR_BD_EVAL_OVERFLOW, P.word.c_str());
        r = DecFromUnsigned(q * ub);
    }
    SkipBlanks(P);
    if (P.depth == 0) {
        if (P.text.At(P.pos) != L')') EvalFail(ERROR_BD_EVAL_PARENS);
        P.pos++;
    }
    return r;
}

// rol(x n w) and ror(x n w): x rotated by n within the low w bits
// (defaults 0 and 32).  x is one word, itself an expression; the two
// counts are cut out of the text, and x is read up to the ")".
Decimal RotateFunction(Parser &P) {
    SkipBlanks(P);
    size_t wordEnd = P.text.find_first_of(L" \t", P.pos);
    if (wordEnd == CString::npos) wordEnd = P.text.size();
    size_t start = P.pos;
    P.pos = wordEnd;
    int64_t n = 0, w = 32;
    if (ReadInteger(P, &n)) ReadInteger(P, &w);
    if (n < 0 || w < 1 || w > 64 || w < n) EvalFail(ERROR_BD_EVAL_SYNTAX, P.word.c_str());
    P.text.erase(wordEnd, P.pos - wordEnd);
    P.pos = start;
    Decimal v = Group(P);
    int64_t sx = DecToInt64(v);
    uint64_t x = (uint64_t)sx;
    auto shiftLeft = [](uint64_t value, int64_t by) { return by >= 64 ? 0 : value << by; };
    auto shiftRight = [](int64_t value, int64_t by) { return (uint64_t)(by >= 64 ? (value < 0 ? -1 : 0) : value >> by); };
    uint64_t mask = w == 64 ? UINT64_MAX : ((uint64_t)1 << w) - 1;
    uint64_t r = P.word == L"rol" ? (shiftRight(sx, w - n) | shiftLeft(x, n))
                                  : (shiftLeft(x, w - n) | shiftRight(sx, n));
    return DecFromUnsigned(r & mask);
}

// A math function: its argument up to the ")", then the function.
Decimal CallFunction(Parser &P) {
    EvalMathFunction f = P.pfnFunction;
    Decimal x = Group(P);
    return AtWorkingPrecision(P, f(x, P.places));
}

// A primary.  An operator other than "(" and "!" gives no value of its own
// and is left for the levels above: "--3" reads as (-0) - 3.
Decimal Primary(Parser &P) {
    Decimal v;
    switch (P.type) {
    case TOKEN_OPERATOR:
        if (P.op == OP_BANG) {
            NextToken(P);
            return DecFromInt(DecIsZero(Level5(P)) ? 1 : 0);
        }
        if (P.op == OP_CLOSE) EvalFail(ERROR_BD_EVAL_SYNTAX);
        if (P.op != OP_OPEN) return v;
        v = Group(P);
        break;
    case TOKEN_NUMBER: v = std::move(P.number); break;
    case TOKEN_FUNCTION: v = CallFunction(P); break;
    case TOKEN_PAIR: v = PairFunction(P); break;
    case TOKEN_ROTATE: v = RotateFunction(P); break;
    default: EvalFail(ERROR_BD_EVAL_SYNTAX);
    }
    NextAfterValue(P);
    return v;
}

// Prefix +, - and ~, applied once to a primary.
Decimal Level5(Parser &P) {
    if (P.type != TOKEN_OPERATOR || (P.op != OP_PLUS && P.op != OP_MINUS && P.op != OP_NOT)) return Primary(P);
    int op = P.op;
    NextToken(P);
    Decimal v = Primary(P);
    if (op == OP_PLUS) return DecAbs(v);
    if (op == OP_MINUS) return DecNegate(v);
    return DecFromInt(~DecToInt64(v));
}

Decimal Level4(Parser &P) {
    Decimal v = Level5(P);
    while (IsOperator(P, OP_POWER)) {
        NextToken(P);
        Decimal right = Level5(P);
        v = AtWorkingPrecision(P, DecPow(v, right, P.places));
    }
    return v;
}

Decimal Level3(Parser &P) {
    Decimal v = Level4(P);
    while (P.type == TOKEN_OPERATOR &&
           (P.op == OP_TIMES || P.op == OP_DIVIDE || P.op == OP_INTDIV || P.op == OP_MOD)) {
        int op = P.op;
        NextToken(P);
        Decimal right = Level4(P);
        switch (op) {
        case OP_TIMES: v = DecMul(v, right); break;
        case OP_DIVIDE: v = AtWorkingPrecision(P, DecDiv(v, right, P.places)); break;
        case OP_INTDIV: v = DecDivInt(v, right); break;
        default: v = DecRem(v, right); break;
        }
    }
    return v;
}

Decimal Level2(Parser &P) {
    Decimal v = Level3(P);
    while (IsOperator(P, OP_PLUS) || IsOperator(P, OP_MINUS)) {
        int op = P.op;
        NextToken(P);
        Decimal right = Level3(P);
        v = op == OP_PLUS ? DecAdd(v, right) : DecSub(v, right);
    }
    return v;
}

// The bitwise operators and comparisons work on 64-bit integers; the
// shifts multiply or integer-divide by powers of two, without a limit.
Decimal Bitwise(int op, const Decimal &a, const Decimal &b) {
    if (op == OP_SHL || op == OP_SHR) return DecShift(a, b, op == OP_SHL);
    int64_t x = DecToInt64(a), y = DecToInt64(b);
    switch (op) {
    case OP_AND: return DecFromInt(x & y);
    case OP_OR: return DecFromInt(x | y);
    case OP_XOR: return DecFromInt(x ^ y);
    case OP_LESS: return DecFromInt(x < y);
    default: return DecFromInt(x > y);
    }
}

Decimal Level1(Parser &P) {
    Decimal v = Level2(P);
    while (P.type == TOKEN_OPERATOR && P.op <= OP_SHR) {
        int op = P.op;
        NextToken(P);
        Decimal right = Level2(P);
        v = Bitwise(op, v, right);
    }
    return v;
}

}  // namespace

Decimal EvalParse(const CString &text, int places, bool scientific) {
    Parser P;
    P.text = text;
    P.places = places;
    P.scientific = scientific;
    P.decimalChar = QueryDecimalChar();
    P.thousandsChar = QueryThousandsChar();
    NextToken(P);
    if (P.type == TOKEN_NONE && !InputLeft(P)) EvalFail(ERROR_BD_EVAL_EMPTY);
    Decimal v = Level1(P);
    if (IsOperator(P, OP_CLOSE)) EvalFail(ERROR_BD_EVAL_PARENS);
    if (P.type != TOKEN_NONE || InputLeft(P)) EvalFail(ERROR_BD_EVAL_SYNTAX);
    return v;
}
