// Variable functions: the table and its dispatch, user-defined function
// parameters, the string families and the command family members.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "scoped_state.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

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
    ScopedOptions options_;
    ScopedThreadState thread_;
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

TEST_F(Functions, StringFamiliesAreComplete) {
    const wchar_t *position[] = {L"left", L"right", L"substr", L"subst", L"instr", L"insert", L"repeat", L"reverse",
                                 L"len", L"index", L"count", L"char", L"unichar", L"ascii", L"unicode"};
    const wchar_t *content[] = {L"word", L"words", L"field", L"fields", L"line", L"lines", L"replace", L"strip",
                                L"trim", L"trimall", L"ltrim", L"rtrim", L"filter", L"upper", L"lower", L"caps",
                                L"quote", L"unquote", L"unquotes", L"similar", L"lcs", L"wild", L"compare",
                                L"altname", L"email", L"numeric", L"digits"};
    for (const wchar_t *n : position) EXPECT_EQ(QueryFunctionFamily(FindFunctionCase(n)), FF_StringPosition) << n;
    for (const wchar_t *n : content) EXPECT_EQ(QueryFunctionFamily(FindFunctionCase(n)), FF_StringContent) << n;
    int members = 0;
    for (const DefRow &row : kRows) {
        if (row.family != FF_StringPosition && row.family != FF_StringContent) continue;
        members++;
        EXPECT_FALSE(row.pending) << row.name;
    }
    EXPECT_EQ(members, 42);
}

TEST_F(Functions, UnknownAndSpecialNames) {
    EXPECT_EQ(Rc(L"@nosuch", L"x"), 1);
    EXPECT_EQ(Rc(L"@", L"x"), 1);
    EXPECT_EQ(Rc(L"@everything", L"x"), 1);
    EXPECT_EQ(Rc(L"@MOUSE", L"x"), 1);
    EXPECT_EQ(Rc(L"@left_64", L"2,abc"), 1);  // only the registry functions take a view suffix
    EXPECT_EQ(Rc(L"@regquery_64", L"hkcu\\x"), ERROR_BD_NO_SUCH_KEY);
    EXPECT_EQ(Rc(L"@regquery_16", L"hkcu\\x"), 1);
    EXPECT_EQ(V(L"@arrayize", L"a b, c"), L"a b, c");
    EXPECT_EQ(V(L"@smart", L"c:"), L"c:");
    EXPECT_EQ(V(L"@WSLNAME", L"x y"), L"x y");
    EXPECT_EQ(V(L"@LeFt", L"2,abc"), L"ab");
    // Text quoted twice over (from @eval) loses one quote at each end.
    EXPECT_EQ(V(L"@len", L"\"\"abc\"\""), L"5");
}

// @INC and @DEC go through the evaluator: exact at any length, on any
// expression, with the evaluator's errors.
TEST_F(Functions, IncAndDec) {
    EXPECT_EQ(V(L"@inc", L"41"), L"42");
    EXPECT_EQ(V(L"@dec", L"0"), L"-1");
    EXPECT_EQ(V(L"@dec", L"-5"), L"-6");
    EXPECT_EQ(V(L"@inc", L"1.25"), L"2.25");
    EXPECT_EQ(V(L"@inc", L"99999999999999999999"), L"100000000000000000000");
    EXPECT_EQ(V(L"@dec", L"2*3"), L"5");
    CString errors = Captured([] {
        EXPECT_EQ(Rc(L"@inc", L"(1"), -2);
        EXPECT_EQ(Rc(L"@dec", L"1/0"), -2);
    });
    EXPECT_NE(errors.find(L"Unbalanced parentheses"), CString::npos);
    EXPECT_NE(errors.find(L"Division by zero"), CString::npos);
}

TEST_F(Functions, NotAvailableHasItsOwnMessage) {
    ASSERT_NE(aGlobals.hLanguage, nullptr);
    CString text = ErrorMessage(ERROR_BD_FUNC_NOT_AVAILABLE, L"%@lua[x]");
    EXPECT_EQ(text, L"This function is not available yet \"%@lua[x]\"\r\n");
    EXPECT_EQ(V(L"@errtext", L"0x200000F2"), L"This function is not available yet");
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

TEST_F(Functions, LeftAndRight) {
    EXPECT_EQ(V(L"@left", L"100,abc"), L"abc");
    EXPECT_EQ(V(L"@left", L"-1,abc"), L"ab");
    EXPECT_EQ(V(L"@left", L"-5,abc"), L"");
    EXPECT_EQ(V(L"@left", L"0,abc"), L"");
    EXPECT_EQ(V(L"@left", L"0x2,abcd"), L"ab");
    EXPECT_EQ(V(L"@left", L"2, abc"), L" a");
    EXPECT_EQ(V(L"@left", L"3,\"a b\""), L"\"a ");
    EXPECT_EQ(V(L"@left", L"2,^,xy"), L",x");
    EXPECT_EQ(V(L"@left", L"2,"), L"");
    EXPECT_EQ(V(L"@right", L"-1,abc"), L"bc");
    EXPECT_EQ(V(L"@right", L"2,abc"), L"bc");
    EXPECT_EQ(V(L"@right", L"100,abc"), L"abc");
    EXPECT_EQ(V(L"@right", L"-100,abc"), L"");
    EXPECT_EQ(Rc(L"@left", L""), 87);
    EXPECT_EQ(Rc(L"@left", L"x,abc"), 87);
    EXPECT_EQ(Rc(L"@left", L"2abc"), 87);
}

TEST_F(Functions, SubstrAndInstr) {
    EXPECT_EQ(V(L"@substr", L"abcdef,2,3"), L"cde");
    EXPECT_EQ(V(L"@substr", L"abcdef,2"), L"cdef");
    EXPECT_EQ(V(L"@substr", L"abcdef,4,-3"), L"bcd");  // a negative length: left of the start
    EXPECT_EQ(V(L"@substr", L"abcdef,2,-3"), L"ab");
    EXPECT_EQ(V(L"@substr", L"abcdef,2,0"), L"");
    EXPECT_EQ(V(L"@substr", L"abc,10"), L"");
    EXPECT_EQ(V(L"@substr", L"\"a,b\",1,2"), L"a,");
    EXPECT_EQ(Rc(L"@substr", L"abcdef,-1,2"), 87);
    EXPECT_EQ(Rc(L"@substr", L"abcdef,x"), 87);
    EXPECT_EQ(Rc(L"@substr", L"a,b,1,2"), 87);  // the string ends at the first comma
    EXPECT_EQ(Rc(L"@substr", L"abc"), 87);
    EXPECT_EQ(V(L"@instr", L"1,2,abcdef"), L"bc");
    EXPECT_EQ(V(L"@instr", L"-2,,abcdef"), L"ef");
    EXPECT_EQ(V(L"@instr", L"0,-2,abcdef"), L"");
    EXPECT_EQ(V(L"@instr", L"4,-2,abcdef"), L"cd");
    EXPECT_EQ(V(L"@instr", L"-1,-3,abcdef"), L"cde");
    EXPECT_EQ(V(L"@instr", L"10,2,abc"), L"");
    EXPECT_EQ(V(L"@instr", L"0,3,a,b,c"), L"a,b");
    EXPECT_EQ(Rc(L"@instr", L"x,2,abc"), 87);
    EXPECT_EQ(Rc(L"@instr", L"1"), 87);
}

TEST_F(Functions, InsertSubstRepeatReverse) {
    EXPECT_EQ(V(L"@insert", L"1,XY,abc"), L"aXYbc");
    EXPECT_EQ(V(L"@insert", L"10,XY,abc"), L"abcXY");
    EXPECT_EQ(V(L"@insert", L"0,^c,abc"), L",abc");
    EXPECT_EQ(Rc(L"@insert", L"-1,X,abc"), 87);
    EXPECT_EQ(Rc(L"@insert", L"1,X"), 87);
    EXPECT_EQ(V(L"@subst", L"1,XY,abcd"), L"aXYd");
    EXPECT_EQ(V(L"@subst", L"2,XYZ,abc"), L"abXYZ");
    EXPECT_EQ(V(L"@repeat", L"ab,3"), L"aaa");
    EXPECT_EQ(V(L"@repeat", L" ,2"), L"  ");
    EXPECT_EQ(V(L"@repeat", L",,3"), L",,,");
    EXPECT_EQ(V(L"@repeat", L"^q,2"), L"\"\"");
    EXPECT_EQ(V(L"@repeat", L"x,0"), L"");
    EXPECT_EQ(Rc(L"@repeat", L"x,-1"), 87);
    EXPECT_EQ(Rc(L"@repeat", L"x"), 87);
    EXPECT_EQ(V(L"@reverse", L"abc"), L"cba");
    EXPECT_EQ(V(L"@reverse", L"a\U0001F600b"), L"b\U0001F600a");
    EXPECT_EQ(V(L"@reverse", L""), L"");
}

TEST_F(Functions, LengthIndexCount) {
    EXPECT_EQ(V(L"@len", L""), L"0");
    EXPECT_EQ(V(L"@len", L"a^,b"), L"3");
    EXPECT_EQ(V(L"@len", L"\"a b\""), L"5");
    EXPECT_EQ(V(L"@index", L"abcabc,B"), L"1");
    EXPECT_EQ(V(L"@index", L"abcabc,b,2"), L"4");
    EXPECT_EQ(V(L"@index", L"abcabc,b,-1"), L"4");
    EXPECT_EQ(V(L"@index", L"abcabc,b,-2"), L"1");
    EXPECT_EQ(V(L"@index", L"abcabc,b,3"), L"-1");
    EXPECT_EQ(V(L"@index", L"aaaa,aa,2"), L"2");
    EXPECT_EQ(V(L"@index", L"a^,b,^c"), L"1");
    EXPECT_EQ(Rc(L"@index", L"abc,"), 87);
    EXPECT_EQ(Rc(L"@index", L"abc"), 87);
    EXPECT_EQ(Rc(L"@index", L"abc,b,x"), 87);
    EXPECT_EQ(V(L"@count", L"ab,abcabAB"), L"2");
    EXPECT_EQ(V(L"@count", L"aa,aaaaa"), L"2");
    EXPECT_EQ(Rc(L"@count", L",abc"), 87);
}

TEST_F(Functions, CharacterCodes) {
    EXPECT_EQ(V(L"@char", L"65 66,0x43"), L"ABC");
    EXPECT_EQ(Rc(L"@char", L"0"), 87);
    EXPECT_EQ(Rc(L"@char", L"70000"), 87);
    EXPECT_EQ(Rc(L"@char", L"65 x"), 87);
    EXPECT_EQ(Rc(L"@char", L""), 87);
    EXPECT_EQ(V(L"@unichar", L"128512"), L"\U0001F600");
    EXPECT_EQ(Rc(L"@unichar", L"0xD800"), 87);
    EXPECT_EQ(V(L"@ascii", L"A^s"), L"65 32");
    EXPECT_EQ(V(L"@ascii", L""), L"");
    EXPECT_EQ(V(L"@ascii", L"\U0001F600"), L"55357 56832");
    EXPECT_EQ(V(L"@unicode", L"\U0001F600a"), L"128512 97");
}

TEST_F(Functions, WordsAndFields) {
    EXPECT_EQ(V(L"@word", L"1,a b c"), L"b");
    EXPECT_EQ(V(L"@word", L"-0,a b c"), L"c");
    EXPECT_EQ(V(L"@word", L"\"=\",1,a==b"), L"b");
    EXPECT_EQ(V(L"@field", L"\"=\",1,a==b"), L"");
    EXPECT_EQ(V(L"@field", L"\"=\",2,a==b"), L"b");
    EXPECT_EQ(V(L"@word", L"1,  a   b  "), L"b");
    EXPECT_EQ(V(L"@word", L"5,a b c"), L"");
    EXPECT_EQ(V(L"@word", L"1,3,a b  c d e"), L"b  c d");
    EXPECT_EQ(V(L"@word", L"0+1,a b c"), L"a b");
    EXPECT_EQ(V(L"@word", L"1,+1,a b c d"), L"b c");
    EXPECT_EQ(V(L"@word", L"-1,+1,a b c d"), L"b c");
    EXPECT_EQ(V(L"@word", L"1,2 3 4"), L"3");
    EXPECT_EQ(V(L"@word", L"1,a \"b c\" d"), L"\"b c\"");
    EXPECT_EQ(V(L"@word", L"0,a^ b c"), L"a b");
    EXPECT_EQ(V(L"@word", L"\"^t\",1,a b\tc"), L"c");
    EXPECT_EQ(Rc(L"@word", L"x,a b"), 87);
    EXPECT_EQ(Rc(L"@word", L"1"), 87);
    EXPECT_EQ(V(L"@words", L""), L"0");
    EXPECT_EQ(V(L"@words", L"  a  b "), L"2");
    EXPECT_EQ(V(L"@words", L"\"-\",a-b--c"), L"3");
    EXPECT_EQ(V(L"@fields", L""), L"0");
    EXPECT_EQ(V(L"@fields", L"a,,b"), L"3");
    EXPECT_EQ(V(L"@fields", L"\"-\",a-b--c"), L"4");
}

TEST_F(Functions, EscapesTurnedOff) {
    aIniFile.ParseFlags = PF_NO_ESCAPES;
    EXPECT_EQ(V(L"@len", L"a^,b"), L"4");
    EXPECT_EQ(V(L"@word", L"0,a^ b"), L"a^");
    EXPECT_EQ(V(L"@trimall", L" a^  b "), L"a^ b");
    EXPECT_EQ(V(L"@repeat", L"^q,2"), L"^^");
}

TEST_F(Functions, ReplaceStripFilter) {
    EXPECT_EQ(V(L"@replace", L"a,b,AAA"), L"AAA");
    EXPECT_EQ(V(L"@replace", L"a,b,aXa"), L"bXb");
    EXPECT_EQ(V(L"@replace", L",,;,a,b"), L"a;b");
    EXPECT_EQ(V(L"@replace", L"^,,;,a^,b"), L"a;b");
    EXPECT_EQ(V(L"@replace", L"a,aa,aa"), L"aaaa");  // no rescan of the inserted text
    EXPECT_EQ(V(L"@replace", L"aa,a,aaaaa"), L"aaa");
    EXPECT_EQ(V(L"@replace", L"a,,banana"), L"bnn");
    EXPECT_EQ(Rc(L"@replace", L"a,b"), 87);
    EXPECT_EQ(Rc(L"@replace", L""), 87);
    EXPECT_EQ(V(L"@strip", L"ab,abcabc"), L"cc");
    EXPECT_EQ(V(L"@filter", L"ab,abcabc"), L"abab");
    EXPECT_EQ(V(L"@strip", L"\" ,\",a b,c"), L"abc");
    EXPECT_EQ(V(L"@strip", L"^q,\"a\""), L"a");
    EXPECT_EQ(Rc(L"@strip", L"abc"), 87);
}

TEST_F(Functions, TrimsAndCase) {
    EXPECT_EQ(V(L"@trim", L" \t a b  "), L"a b");
    EXPECT_EQ(V(L"@trim", L""), L"");
    EXPECT_EQ(V(L"@trim", L" a^ "), L"a ");
    EXPECT_EQ(V(L"@trimall", L"  a   b \t c "), L"a b c");
    EXPECT_EQ(V(L"@ltrim", L"x,xxaxx"), L"axx");
    EXPECT_EQ(V(L"@rtrim", L"x,xxaxx"), L"xxa");
    EXPECT_EQ(V(L"@ltrim", L"\" \",  a"), L"a");
    EXPECT_EQ(Rc(L"@ltrim", L"abc"), 87);
    EXPECT_EQ(V(L"@upper", L"abc^s"), L"ABC ");
    EXPECT_EQ(V(L"@lower", L"ÄBC"), L"äbc");
    EXPECT_EQ(V(L"@caps", L"hello big  WORLD"), L"Hello Big  WORLD");
    EXPECT_EQ(V(L"@caps", L"\"-\",a-b c"), L"A-B c");
}

TEST_F(Functions, Quotes) {
    EXPECT_EQ(V(L"@quote", L"a b"), L"\"a b\"");
    EXPECT_EQ(V(L"@quote", L"ab"), L"ab");
    EXPECT_EQ(V(L"@quote", L""), L"\"\"");
    EXPECT_EQ(V(L"@quote", L"\"a b\""), L"\"a b\"");
    EXPECT_EQ(V(L"@unquote", L"\"a b\""), L"a b");
    EXPECT_EQ(V(L"@unquote", L"\"a\" \"b\""), L"a\" \"b");
    EXPECT_EQ(V(L"@unquotes", L"\"a\" \"b\""), L"a b");
    EXPECT_EQ(V(L"@unquotes", L"\"x^q\""), L"x\"");
}

TEST_F(Functions, ComparisonsAndTests) {
    EXPECT_EQ(V(L"@similar", L"Robert,Rupert"), L"1");
    EXPECT_EQ(V(L"@similar", L"Ashcraft,Ashcroft"), L"1");
    EXPECT_EQ(V(L"@similar", L"Robert,Rubin"), L"0");
    EXPECT_EQ(V(L"@similar", L",x"), L"0");
    EXPECT_EQ(V(L"@lcs", L"abcdef,zcdez"), L"cde");
    EXPECT_EQ(V(L"@lcs", L"abc,xyz"), L"");
    EXPECT_EQ(V(L"@wild", L"file.txt,*.TXT"), L"1");
    EXPECT_EQ(V(L"@wild", L"file.txt,f?le.*"), L"1");
    EXPECT_EQ(V(L"@wild", L"abc,a[a-c]c"), L"1");
    EXPECT_EQ(V(L"@wild", L"abc,a[!b]c"), L"0");
    EXPECT_EQ(V(L"@wild", L"abc,*d"), L"0");
    EXPECT_EQ(V(L"@wild", L"aXbXc,*X*c"), L"1");
    EXPECT_EQ(V(L"@compare", L"a,A"), L"0");
    EXPECT_EQ(V(L"@compare", L"a^,b,a^,b"), L"1");
    EXPECT_EQ(Rc(L"@compare", L"a"), 87);
    EXPECT_EQ(V(L"@email", L"john.doe+x@mail.example.com"), L"1");
    EXPECT_EQ(V(L"@email", L"a@b"), L"0");
    EXPECT_EQ(V(L"@email", L"a..b@x.com"), L"0");
    EXPECT_EQ(V(L"@email", L"@x.com"), L"0");
    EXPECT_EQ(V(L"@email", L"a@-x.com"), L"0");
    EXPECT_EQ(V(L"@email", L"a@ex_ample.com"), L"0");
    EXPECT_EQ(V(L"@email", L"a@example.c0m"), L"0");
    EXPECT_EQ(V(L"@email", L"a b@example.com"), L"0");
    EXPECT_EQ(V(L"@numeric", L"-1,234.5"), L"1");
    EXPECT_EQ(V(L"@numeric", L" .5 "), L"1");
    EXPECT_EQ(V(L"@numeric", L"1.2.3"), L"0");
    EXPECT_EQ(V(L"@numeric", L"1,,2"), L"0");
    EXPECT_EQ(V(L"@numeric", L""), L"0");
    EXPECT_EQ(V(L"@numeric", L"-"), L"0");
    EXPECT_EQ(V(L"@digits", L"0123"), L"1");
    EXPECT_EQ(V(L"@digits", L"-1"), L"0");
    EXPECT_EQ(V(L"@digits", L""), L"0");
}

void WriteBytes(const CString &name, const std::string &bytes) {
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    DWORD done = 0;
    WriteFile(h, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
    CloseHandle(h);
}

TEST_F(Functions, LinesOfFiles) {
    CString dir(MAX_PATH + 1, L'\0');
    dir.resize(GetTempPathW(MAX_PATH + 1, dir.data()));
    CString name = dir + L"bdx lines test.txt", wide = dir + L"bdx_lines_w.txt";
    WriteBytes(name, std::string("one\r\ntw\xC3\xA9\nthree"));
    WriteBytes(wide, std::string("\xFF\xFE" "a\0\r\0\n\0b\0", 10));
    CString quoted = L"\"" + name + L"\"";
    EXPECT_EQ(V(L"@lines", quoted.c_str()), L"3");
    EXPECT_EQ(V(L"@line", (quoted + L",0").c_str()), L"one");
    EXPECT_EQ(V(L"@line", (quoted + L",1").c_str()), L"tw\u00E9");
    EXPECT_EQ(V(L"@line", (quoted + L", 2").c_str()), L"three");
    EXPECT_EQ(V(L"@line", (quoted + L",3").c_str()), L"**EOF**");
    EXPECT_EQ(Rc(L"@line", (quoted + L",-1").c_str()), 87);
    EXPECT_EQ(V(L"@line", (wide + L",1").c_str()), L"b");
    EXPECT_EQ(V(L"@lines", wide.c_str()), L"2");
    EXPECT_FALSE(V(L"@altname", quoted.c_str()).empty());
    DeleteFileW(name.c_str());
    DeleteFileW(wide.c_str());
    EXPECT_EQ(Rc(L"@lines", name.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Rc(L"@altname", name.c_str()), ERROR_FILE_NOT_FOUND);
}

namespace {

unsigned seenParseFlags;
HANDLE seenStdOut;

int ReportFive(CString &) {
    seenParseFlags = aIniFile.ParseFlags;
    seenStdOut = GetStdHandle(STD_OUTPUT_HANDLE);
    return 5;
}

int CountCaptureFiles() {
    CString dir(MAX_PATH + 1, L'\0');
    dir.resize(GetTempPathW(MAX_PATH + 1, dir.data()));
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW((dir + L"EXE*.tmp").c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return 0;
    int n = 1;
    while (FindNextFileW(h, &data)) n++;
    FindClose(h);
    return n;
}

}  // namespace

TEST_F(Functions, ExecRunsACommandAndRestoresState) {
    ScopedCommandTable table;
    table.Replace(L"beep", ReportFive);
    aIniFile.ParseFlags = PF_NO_REDIRECTION | PF_NO_ALIASES;
    HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    EXPECT_EQ(V(L"@exec", L"beep"), L"5");
    EXPECT_EQ(seenParseFlags, (unsigned)PF_NO_ALIASES);
    EXPECT_EQ(aIniFile.ParseFlags, (unsigned)(PF_NO_REDIRECTION | PF_NO_ALIASES));
    EXPECT_EQ(Rc(L"@exec", L"  "), 87);
    int before = CountCaptureFiles();
    EXPECT_EQ(V(L"@execstr", L"beep"), L"");
    EXPECT_NE(seenStdOut, out);  // the command wrote into the capture file
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), out);
    EXPECT_EQ(CountCaptureFiles(), before);
}

TEST_F(Functions, ExecstrTakesALineOfOutput) {
    EXPECT_EQ(V(L"@execstr", L"echo hello"), L"hello");
    EXPECT_EQ(V(L"@execstr", L"1,echo a & echo b \u00E9"), L"b \u00E9");
    EXPECT_EQ(V(L"@execstr", L"-2,echo a & echo b & echo c"), L"b");
    EXPECT_EQ(V(L"@execstr", L"5,echo a"), L"");
    EXPECT_EQ(V(L"@execstr", L"echo 1,2"), L"1,2");
    EXPECT_EQ(Rc(L"@execstr", L""), 87);
}

TEST_F(Functions, ListEntriesAndErrorTexts) {
    EXPECT_EQ(Call(L"@alias", L"nosuch").rc, FUNC_NO_RESCAN);
    EXPECT_EQ(Call(L"@alias", L"nosuch").value, L"");
    EXPECT_EQ(Call(L"@function", L"nosuch").rc, FUNC_NO_RESCAN);
    CString text = V(L"@errtext", L"2");
    EXPECT_FALSE(text.empty());
    EXPECT_NE(text.back(), L'\n');
    EXPECT_FALSE(V(L"@errtext", L"0").empty());
    EXPECT_EQ(Rc(L"@errtext", L"x"), 87);
    int sysError = GetTLS()->nSysError;
    V(L"@errtext", L"5");
    EXPECT_EQ(GetTLS()->nSysError, sysError);
}
