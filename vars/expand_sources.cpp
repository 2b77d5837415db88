// The stores that variable expansion reads: the process environment, the
// arguments of the running batch file, FOR variables and GOSUB parameters.
#include <algorithm>
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/expand.h"
#include "vars/expand_internal.h"

// The one read of the process environment.  The named-list code keeps the
// process environment in step with the shell's own list, so this is always
// the current value.
bool EnvironmentValue(const CString &name, CString *value) {
    if (name.empty()) return false;
    return QueryEnvVar(name.c_str(), value);
}

namespace {

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// Arguments first..end-1 joined by blanks, each quoted when asked and not
// quoted already.
CString JoinArguments(const std::vector<CString> &argv, size_t first, size_t end, bool quote) {
    CString out;
    for (size_t i = first; i < end && i < argv.size(); i++) {
        if (!out.empty()) out += L' ';
        if (quote && argv[i].At(0) != L'"') out += L"\"" + argv[i] + L"\"";
        else out += argv[i];
    }
    return out;
}

// %*: the arguments as they were typed, or, after a SHIFT, those that are
// left.
CString ArgumentLine(const BATCHFRAME &frame, size_t first) {
    if (frame.nArgShift == 0) return frame.sArgs.TrimLeftCopy();
    return JoinArguments(frame.Argv, first, frame.Argv.size(), false);
}

}  // namespace

bool BatchArgumentValue(const CString &name, const CString *modifiers, CString *value) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || name.empty()) return false;
    const std::vector<CString> &argv = frame->Argv;
    size_t shift = (size_t)std::max(frame->nArgShift, 0);
    if (name == L"#") {
        long long count = (long long)argv.size() - (long long)shift - 1;
        *value = std::to_wstring(std::max(count, 0LL));
        return true;
    }
    wchar_t pc = ParameterCharValue();
    for (wchar_t c : name)
        if (!IsDigit(c) && c != pc && c != L'-' && c != L'*' && c != L'@') return false;
    wchar_t first = name[0], suffix = name.back();
    if (suffix != L'*' && suffix != L'@' && suffix != pc) suffix = 0;
    bool before = first == L'-';   // %-n$: the arguments before the n-th
    size_t number = 0;
    for (size_t i = before ? 1 : 0; i < name.size() && IsDigit(name[i]); i++) number = number * 10 + (name[i] - L'0');
    size_t index = (first == L'*' || first == L'@' || first == pc || before) ? 1 : number;
    index = std::min(index + shift, argv.size());
    size_t end = before ? std::min(number + shift, argv.size()) : argv.size();

    if (modifiers) {
        // %~f0 and the like name the batch file itself.
        *value = (index == 0 && !modifiers->empty()) ? frame->sBatchName
                 : index < argv.size()                ? argv[index]
                                                      : CString();
        return true;
    }
    if (suffix == L'*') *value = ArgumentLine(*frame, index);
    else if (suffix == L'@') *value = JoinArguments(argv, index, end, true);
    else if (suffix == pc) *value = JoinArguments(argv, index, end, false);
    else *value = index < argv.size() ? argv[index] : CString();
    return true;
}

CString GosubVariableName(const wchar_t *name) {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *frame = CurrentFrame();
    CString key;
    key += (wchar_t)(tls->nBatchFrame + 1);
    key += (wchar_t)((frame ? frame->nGosubVarLevel : 0) + 1);
    return key + name;
}

bool GosubVariableValue(const CString &name, CString *value) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || frame->nGosubVarLevel <= 0) return false;
    if (!EnvironmentValue(GosubVariableName(name.c_str()), value)) return false;
    if (*value == CString(1, GOSUB_EMPTY_VALUE)) value->clear();
    return true;
}

CString ForVariableName(const wchar_t *name) {
    if (name[0] && !name[1]) return CString(1, FOR_VARIABLE_PREFIX) + name;
    return name;
}

int SetForVariable(const wchar_t *name, const wchar_t *value) {
    CString key = ForVariableName(name);
    bool single = key[0] == FOR_VARIABLE_PREFIX;
    // The environment holds no empty values: a single-letter variable keeps
    // its marker, a long name is removed.
    CString stored = *value ? CString(value) : single ? CString(1, FOR_EMPTY_VALUE) : CString();
    if (!SetEnvironmentVariableW(key.c_str(), stored.empty() ? nullptr : stored.c_str()) && !stored.empty())
        return BDError(0, name);
    return 0;
}

bool QueryForVariable(wchar_t c, CString *value) {
    if (!c) return false;
    CString stored;
    if (!EnvironmentValue(ForVariableName(CString(1, c).c_str()), &stored)) return false;
    if (value) *value = stored == CString(1, FOR_EMPTY_VALUE) ? CString() : stored;
    return true;
}

void DeleteForVariable(const wchar_t *name) { SetEnvironmentVariableW(ForVariableName(name).c_str(), nullptr); }
