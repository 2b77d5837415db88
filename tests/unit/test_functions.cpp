// Variable functions: the table and its dispatch, user-defined function
// parameters, the string families and the command family members.
#include <gtest/gtest.h>
#include "core/cmdtable.h"
#include "vars/func_internal.h"

namespace {

struct Result {
    int rc;
    CString value;
};

Result Call(const wchar_t *name, const wchar_t *args) {
    CString n(name), a(args);
    int rc = VariableFunction(n, a);
    return {rc, a};
}

// The value of a call that must succeed.
CString V(const wchar_t *name, const wchar_t *args) {
    Result r = Call(name, args);
    EXPECT_EQ(r.rc, 0) << "%" << name << "[" << args << "]";
    return r.value;
}

int Rc(const wchar_t *name, const wchar_t *args) { return Call(name, args).rc; }

class Functions : public ::testing::Test {
protected:
    void SetUp() override { IniClear(&aIniFile); }
};

struct DefRow {
    const wchar_t *name;
    int family;
    int index;
    bool pending;
};

const DefRow kRows[] = {
#define BD_FUNCTION(name, family, handler) {L"" #name, FF_##family, FC_##name, &handler == &Func_Pending},
#include "vars/functions.def"
#undef BD_FUNCTION
};

CString Upper(const wchar_t *s) {
    CString u(s);
    u.MakeUpper();
    return u;
}

}  // namespace

TEST_F(Functions, EveryRowIsFoundInAnyCase) {
    for (const DefRow &row : kRows) {
        CString mixed(row.name);
        mixed[0] = ToUpperChar(mixed[0]);
        EXPECT_EQ(FindFunctionCase(row.name), row.index) << row.name;
        EXPECT_EQ(FindFunctionCase(Upper(row.name).c_str()), row.index) << row.name;
        EXPECT_EQ(FindFunctionCase(mixed.c_str()), row.index) << row.name;
        EXPECT_EQ(QueryFunctionFamily(row.index), row.family) << row.name;
        EXPECT_STREQ(QueryFunctionName(row.index), row.name);
    }
    EXPECT_EQ(FindFunctionCase(L"nosuch"), -1);
    EXPECT_EQ(FindFunctionCase(L""), -1);
    EXPECT_EQ(FindFunctionCase(L"lef"), -1);
    EXPECT_EQ(FindFunctionCase(L"leftx"), -1);
}

// A row of a family not written yet reports so; every other row runs its
// own handler, which never answers "unknown".
TEST_F(Functions, EveryNameDispatchesToItsFamily) {
    for (const DefRow &row : kRows) {
        CString name = L"@" + Upper(row.name);
        int rc = Rc(name.c_str(), L"");
        bool noCase = !wcscmp(row.name, L"everything") || !wcscmp(row.name, L"mouse");
        if (noCase) EXPECT_EQ(rc, 1) << row.name;
        else if (row.pending) EXPECT_EQ(rc, ERROR_BD_FUNC_NOT_AVAILABLE) << row.name;
        else EXPECT_TRUE(rc != 1 && rc != ERROR_BD_FUNC_NOT_AVAILABLE) << row.name << " gave " << rc;
    }
}

TEST_F(Functions, UnknownAndSpecialNames) {
    EXPECT_EQ(Rc(L"@nosuch", L"x"), 1);
    EXPECT_EQ(Rc(L"@", L"x"), 1);
    EXPECT_EQ(Rc(L"@everything", L"x"), 1);
    EXPECT_EQ(Rc(L"@MOUSE", L"x"), 1);
    EXPECT_EQ(Rc(L"@left_64", L"2,abc"), 1);  // only the registry functions take a view suffix
    EXPECT_EQ(Rc(L"@regquery_64", L"hkcu\\x"), ERROR_BD_FUNC_NOT_AVAILABLE);
    EXPECT_EQ(Rc(L"@regquery_16", L"hkcu\\x"), 1);
    EXPECT_EQ(V(L"@arrayize", L"a b, c"), L"a b, c");
}

// The language module beside the test program.
void LoadLanguage() {
    if (aGlobals.hLanguage) return;
    CString path(MAX_PATH + 1, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH + 1));
    path = path.Left(path.find_last_of(L'\\') + 1) + L"English.dll";
    aGlobals.hLanguage = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
}

TEST_F(Functions, NotAvailableHasItsOwnMessage) {
    LoadLanguage();
    ASSERT_NE(aGlobals.hLanguage, nullptr);
    CString text = ErrorMessage(ERROR_BD_FUNC_NOT_AVAILABLE, L"%@lua[x]");
    EXPECT_EQ(text, L"This function is not available yet \"%@lua[x]\"\r\n");
}

TEST_F(Functions, UserFunctionParameters) {
    auto U = [](const wchar_t *body, const wchar_t *args) {
        CString a(args);
        EXPECT_EQ(ExpandUserFunction(body, L"@myf", a), FUNC_USER_RESULT);
        return a;
    };
    EXPECT_EQ(U(L"<%1|%2|%3>", L"a, b"), L"<a|b|>");
    EXPECT_EQ(U(L"%#", L"a,\"b,c\",d"), L"3");
    EXPECT_EQ(U(L"%#", L""), L"0");
    EXPECT_EQ(U(L"%2", L"a,\"b,c\",d"), L"\"b,c\"");
    EXPECT_EQ(U(L"%0(%1)", L"x"), L"myf(x)");
    EXPECT_EQ(U(L"[%2$]", L"a,b, c"), L"[b, c]");
    EXPECT_EQ(U(L"[%$]", L"a,b"), L"[a,b]");
    EXPECT_EQ(U(L"[%5$]", L"a,b"), L"[]");
    // %-n$ runs from the second argument to the start of the n-th.
    EXPECT_EQ(U(L"[%-3$]", L"a, b, c"), L"[b,]");
    EXPECT_EQ(U(L"%2|%3", L"a b,c"), L"b|c");  // blanks separate arguments too
    EXPECT_EQ(U(L"[%-9$]", L"a,b"), L"[]");
    EXPECT_EQ(U(L"%%1 %x %_y %-z", L"a"), L"%%1 %x %_y %-z");
    EXPECT_EQ(U(L"`%1` ^%1 %1", L"a"), L"`%1` ^%1 a");
    EXPECT_EQ(U(L"%1%2", L"%2,x"), L"%2x");  // inserted text is not searched again
    EXPECT_EQ(U(L"%12", L"a"), L"");
    EXPECT_EQ(U(L"", L"a"), L"");
    aIniFile.ParameterChar = L'&';
    EXPECT_EQ(U(L"[%2&]", L"a,b,c"), L"[b,c]");
}
