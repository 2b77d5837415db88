// SETDOS: a handful of options set from the command line, one switch
// letter and its value per argument ("/C~ /X-3").  The switches are applied
// to a scratch copy of the block and kept only when all of them were good.
#include <cwchar>
#include <vector>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"

namespace {

constexpr unsigned kExpansionBits = 0x3FF;  // the bits that SETDOS /X0 clears

struct COMMANDSTATE {
    CString sName;  // empty: all commands
    bool fEnable;
};

struct SETDOSRUN {
    INIFILE *block;
    std::vector<COMMANDSTATE> aCommands;  // /I changes, made at the end
};

bool ReadDigits(const CString &text, long long *out) {
    if (text.empty() || text.size() > 10 || text.find_first_not_of(L"0123456789") != CString::npos) return false;
    return Sscanf(text.c_str(), L"%I64d", out) == 1;
}

// A yes/no switch: "0" or "1".
bool ReadFlag(const CString &value, int *out) {
    if (value != L"0" && value != L"1") return false;
    *out = value[0] - L'0';
    return true;
}

// /C, /E, /P: one character, or a digit string that gives its code.
bool ReadSpecialChar(const CString &value, wchar_t *out) {
    long long code = 0;
    if (ReadDigits(value, &code)) {
        if (code < 1 || code > 255) return false;
    } else if (value.size() == 1) {
        code = value[0];
    } else {
        return false;
    }
    if (code == L' ' || code == L'\t' || code > 255) return false;
    *out = (wchar_t)code;
    return true;
}

// /F: "min[sep max]", or ".max" / ",max" for the maximum alone.
bool SetEvalPrecision(INIFILE *block, const CString &value) {
    const long long limit = 2147483647;
    long long low = block->EvalMin, high = block->EvalMax;
    if (value.At(0) == L'.' || value.At(0) == L',') {
        if (!ReadDigits(value.Mid(1), &high)) return false;
    } else {
        size_t sep = value.find_first_not_of(L"0123456789");
        if (!ReadDigits(value.Left(sep), &low)) return false;
        if (sep != CString::npos && !ReadDigits(value.Mid(sep + 1), &high)) return false;
    }
    if (low > limit || high > limit) return false;
    if (high < low) high = low;
    block->EvalMin = (unsigned)low;
    block->EvalMax = (unsigned)high;
    return true;
}

// /G: the decimal and the thousands character ("./," or ",."), or a blank
// value for the automatic ones.
bool SetSeparators(INIFILE *block, CString value) {
    StripQuotes_S(value);
    if (value.find_first_not_of(L" \t") == CString::npos) {
        block->DecimalChar = block->ThousandsChar = 0;
        return true;
    }
    const OPTIONROW *decimal = FindOption(L"DecimalChar");
    const OPTIONROW *thousands = FindOption(L"ThousandsChar");
    if (value.size() != 2 || value[0] == value[1] || (value[0] != L'.' && value[0] != L',')) return false;
    int d = ChoiceIndex(*decimal, value.Left(1).c_str()), t = ChoiceIndex(*thousands, value.Mid(1).c_str());
    if (d <= 0 || t <= 0) return false;
    block->DecimalChar = d;
    block->ThousandsChar = t;
    return true;
}

// /I: "-name" disables, "+name" or "name" enables, "*" enables all.
int QueueCommandState(SETDOSRUN &run, const CString &value) {
    if (value == L"*") {
        run.aCommands.push_back({CString(), true});
        return 0;
    }
    bool enable = value.At(0) != L'-';
    CString name = value.At(0) == L'-' || value.At(0) == L'+' ? value.Mid(1) : value;
    CString rowName;
    if (name.empty() || aHooks.pfnFindCommand(name.c_str(), true, nullptr, &rowName) < 0 || !name.EqualsNoCase(rowName))
        return BDError(ERROR_BD_UNKNOWN_COMMAND, name.c_str());
    if (!enable && name.EqualsNoCase(L"SETDOS")) return 0;  // SETDOS never disables itself
    run.aCommands.push_back({name, enable});
    return 0;
}

// /X: "-" turns the features of the digits that follow off (sets their
// bits), "+" (the start state) turns them on; "0" turns all of them on.
bool SetExpansionFlags(INIFILE *block, const CString &value) {
    unsigned flags = block->ParseFlags;
    bool disable = false;
    for (wchar_t c : value) {
        c = ToUpperChar(c);
        int bit = -1;
        if (c == L'-' || c == L'+') disable = c == L'-';
        else if (c == L'0') flags &= ~kExpansionBits;
        else if (c >= L'1' && c <= L'9') bit = c - L'1';
        else if (c >= L'A' && c <= L'W') bit = c - L'A' + 9;
        else return false;
        if (bit < 0) continue;
        if (disable) flags |= 1u << bit;
        else flags &= ~(1u << bit);
    }
    block->ParseFlags = flags;
    return true;
}

bool SetCursorShapes(INIFILE *block, const CString &value) {
    int over = block->CursorOver, insert = block->CursorIns;
    int n = Sscanf(value.c_str(), L"%d%*1s%d", &over, &insert);
    if (n < 1 || over < -1 || over > 100 || insert < -1 || insert > 100) return false;
    block->CursorOver = over;
    block->CursorIns = insert;
    return true;
}

bool SetDescriptions(INIFILE *block, const CString &value) {
    if (ReadFlag(value, &block->Descriptions)) return true;
    if (value.size() < 3 || value[0] != L'"' || value.back() != L'"' || value.size() - 2 > 127) return false;
    SetStringOption(block, *FindOption(L"DescriptionName"), value.Mid(1, value.size() - 2).c_str());
    return true;
}

// One switch; 0, or the error already reported.
int SetdosSwitch(SETDOSRUN &run, const CString &arg) {
    INIFILE *block = run.block;
    CString value = arg.Mid(2);
    long long n = 0;
    bool good = false;
    switch (ToUpperChar(arg.At(1))) {
    case L'A': good = ReadFlag(value, &block->ANSI); break;
    case L'C': good = ReadSpecialChar(value, &block->CommandSep); break;
    case L'D': good = SetDescriptions(block, value); break;
    case L'E': good = ReadSpecialChar(value, &block->EscapeChar); break;
    case L'F': good = SetEvalPrecision(block, value); break;
    case L'G': good = SetSeparators(block, value); break;
    case L'I': return QueueCommandState(run, value);
    case L'M':
        good = ReadDigits(value, &n) && n <= 3;
        if (good) block->EditMode = (int)n;
        break;
    case L'N': good = ReadFlag(value, &block->NoClobber); break;
    case L'P': good = ReadSpecialChar(value, &block->ParameterChar); break;
    case L'S': good = SetCursorShapes(block, value); break;
    case L'V': good = ReadFlag(value, &block->BatchEcho); break;
    case L'X': good = SetExpansionFlags(block, value); break;
    default: break;
    }
    return good ? 0 : BDError(ERROR_INVALID_PARAMETER, arg.c_str());
}

// The digits of the expansion switches that are set ("0" for none).
CString ExpansionDigits(unsigned flags) {
    CString digits;
    for (int bit = 0; bit < 32; bit++)
        if (flags & (1u << bit)) digits += (wchar_t)(bit < 9 ? L'1' + bit : L'A' + bit - 9);
    return digits.empty() ? CString(L"0") : digits;
}

// The arguments, cut at blanks and tabs outside double quotes only: a
// value may be a comma ("/G,.") or hold one.
std::vector<CString> SplitAtBlanks(const CString &text) {
    std::vector<CString> words;
    CString word;
    bool quoted = false;
    for (wchar_t c : text) {
        if (c == L'"') quoted = !quoted;
        if (!quoted && (c == L' ' || c == L'\t')) {
            if (!word.empty()) words.push_back(word);
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty()) words.push_back(word);
    return words;
}

int ShowSetdos() {
    CString format = LoadLanguageString(IDS_SETDOS_STATE);
    format.Replace(L"\n", L"\r\n");
    if (format.empty() || format.back() != L'\n') format += L"\r\n";
    CString text = FormatStr(format.c_str(), aIniFile.ANSI, CommandSepChar(), aIniFile.Descriptions, EscapeCharValue(),
                             aIniFile.EvalMin, aIniFile.EvalMax, QueryDecimalChar(), QueryThousandsChar(),
                             aIniFile.EditMode, aIniFile.NoClobber, ParameterCharValue(), aIniFile.CursorOver,
                             aIniFile.CursorIns, aIniFile.BatchEcho, ExpansionDigits(aIniFile.ParseFlags).c_str());
    aHooks.pfnWriteText(StdOut(), text);
    return 0;
}

}  // namespace

int Setdos_Command(CString &args) {
    if (args.find_first_not_of(L" \t") == CString::npos) return ShowSetdos();
    INIFILE scratch{};
    CopyIniBlock(&scratch, &aIniFile);
    SETDOSRUN run{&scratch, {}};
    int rc = 0;
    for (const CString &arg : SplitAtBlanks(args)) {
        if (arg.size() < 3 || arg[0] != SwitchCharValue()) rc = BDError(ERROR_INVALID_PARAMETER, arg.c_str());
        else rc = SetdosSwitch(run, arg);
        if (rc) break;
    }
    if (!rc) {
        CopyIniBlock(&aIniFile, &scratch);
        for (const COMMANDSTATE &change : run.aCommands)
            aHooks.pfnEnableCommand(change.sName.empty() ? nullptr : change.sName.c_str(), change.fEnable);
    }
    FreeIniStrings(&scratch);
    SaveIniData();
    return rc;
}
