// The date functions that a script cannot drive by itself: the date picker
// dialog and its arguments, and the stopwatch function.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/options.h"
#include "config/config.h"
#include "system/system.h"
#include "vars/functions.h"

namespace {

int Call(const wchar_t *name, const wchar_t *args, CString *value = nullptr) {
    CString n(name), a(args);
    int rc = VariableFunction(n, a);
    if (value) *value = a;
    return rc;
}

}  // namespace

// Bad arguments are refused before any dialog opens.
TEST(DateFunctions, PickerArguments) {
    IniClear(&aIniFile);
    EXPECT_EQ(Call(L"@getdate", L"2024-13-45"), ERROR_BD_INVALID_DATE);
    EXPECT_EQ(Call(L"@getdatetime", L"2024-01-01,9"), ERROR_INVALID_PARAMETER);
}

// The picker closes by itself after its time (32000); with no desktop to
// show it on it says so (2), and the date stays as it was.
TEST(DateFunctions, PickerClosesItself) {
    SYSTEMTIME when{2024, 3, 2, 5, 10, 20, 30, 0};
    for (bool withTime : {false, true}) {
        int rc = AskDate(L"Date", &when, withTime, 1);
        EXPECT_TRUE(rc == 32000 || rc == 2) << rc;
        EXPECT_EQ(when.wYear * 10000 + when.wMonth * 100 + when.wDay, 20240305);
    }
}

TEST(DateFunctions, Stopwatch) {
    IniClear(&aIniFile);
    EXPECT_EQ(Call(L"@timer", L"0"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Call(L"@timer", L"x,ms"), ERROR_INVALID_PARAMETER);
    if (QueryTimerElapsed(kTimers) < 0) EXPECT_EQ(Call(L"@timer", L"9"), -2);
}
