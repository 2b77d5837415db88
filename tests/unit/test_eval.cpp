// Tests of the expression evaluator (vars/eval*.cpp): operator levels and
// the kept quirks, 64-bit integer operators, number forms, the output
// options and precision rules, errors, assignments, known values to 50 and
// 500 places, and the numeric text helpers.
#include <gtest/gtest.h>
#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>
#include <mpdecimal.h>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "scoped_state.h"
#include "vars/eval.h"

namespace {

// Every test starts from the default places and '.' / ',' as the decimal
// and thousands characters.
class Eval : public ::testing::Test {
protected:
    ScopedOptions options_;
    void SetUp() override {
        aIniFile.EvalMin = 0;
        aIniFile.EvalMax = 10;
        aIniFile.DecimalChar = 1;
        aIniFile.ThousandsChar = 2;
        aIniFile.CMDVariables = 0;
    }
};

// The result, or "error <hex code>".
std::wstring E(const wchar_t *text) {
    CString s = text;
    int rc = EvaluateExpressionQuiet(s);
    return rc ? std::wstring(FormatStr(L"error %X", rc)) : std::wstring(s);
}

const wchar_t *const SYNTAX = L"error 20000000", *const PARENS = L"error 20000026",
                     *const EMPTY = L"error 20000027", *const OVERFLOW_ = L"error 20000028",
                     *const DIV_ZERO = L"error 2000002A", *const DOMAIN = L"error 57",
                     *const ARRAY = L"error 20000053";

CString Env(const wchar_t *name) {
    CString value;
    return QueryEnvVar(name, &value) ? value : CString(L"<unset>");
}

}  // namespace

TEST_F(Eval, ArithmeticLevels) {
    EXPECT_EQ(E(L"1+2*3"), L"7");
    EXPECT_EQ(E(L"(1+2)*3"), L"9");
    EXPECT_EQ(E(L"10-4-3"), L"3");
    EXPECT_EQ(E(L"7\\2"), L"3");
    EXPECT_EQ(E(L"-7\\2"), L"-3");
    EXPECT_EQ(E(L"7 mod 2"), L"1");
    EXPECT_EQ(E(L"-7 % 2"), L"-1");
    EXPECT_EQ(E(L"10/4"), L"2.5");
    EXPECT_EQ(E(L"0.1+0.2"), L"0.3");
    EXPECT_EQ(E(L"50 % -10"), L"0");
    EXPECT_EQ(E(L"0e5"), L"0");
    EXPECT_EQ(E(L"2**3**2"), L"64");      // left-associative
    EXPECT_EQ(E(L"2*3**2"), L"18");
    EXPECT_EQ(E(L"-2**2"), L"4");         // the prefix binds tighter than **
    EXPECT_EQ(E(L"2**-1"), L"0.5");
    EXPECT_EQ(E(L"1+2&3"), L"3");         // (1+2)&3: bit operators are lowest
    EXPECT_EQ(E(L"1<2<3"), L"1");
    EXPECT_EQ(E(L"3>2>1"), L"0");
    EXPECT_EQ(E(L"1 shl 4 + 1"), L"32");
    EXPECT_EQ(E(L"1<<100"), L"1267650600228229401496703205376");
    EXPECT_EQ(E(L"-7>>1"), L"-3");        // integer division, not an arithmetic shift
    EXPECT_EQ(E(L"1.5<<1"), SYNTAX);
    EXPECT_EQ(E(L"1<<-1"), SYNTAX);
}

TEST_F(Eval, PrefixOperatorsAndNegation) {
    EXPECT_EQ(E(L"+(-3)"), L"3");         // prefix + is the absolute value
    EXPECT_EQ(E(L"+-3"), L"-3");          // abs(0) - 3
    EXPECT_EQ(E(L"--3"), L"-3");          // (-0) - 3
    EXPECT_EQ(E(L"-+3"), L"3");
    EXPECT_EQ(E(L"*3"), L"0");            // a leading operator gives no value of its own
    EXPECT_EQ(E(L"~0"), L"-1");
    EXPECT_EQ(E(L"NOT 5"), L"-6");
    EXPECT_EQ(E(L"!0"), L"1");
    EXPECT_EQ(E(L"!!7"), L"1");
    EXPECT_EQ(E(L"!0+5"), L"6");
    EXPECT_EQ(E(L"2*!0"), L"2");
}

TEST_F(Eval, IntegerOperatorsWorkOn64Bits) {
    EXPECT_EQ(E(L"0x7FFFFFFFFFFFFFFF+1"), L"9223372036854775808");
    EXPECT_EQ(E(L"2**64"), L"18446744073709551616");
    EXPECT_EQ(E(L"9223372036854775807 & -1"), L"9223372036854775807");
    EXPECT_EQ(E(L"18446744073709551615 & 3"), L"3");  // 2**64-1 is -1 in 64 bits
    EXPECT_EQ(E(L"18446744073709551616 & 1"), OVERFLOW_);
    EXPECT_EQ(E(L"12 and 10"), L"8");
    EXPECT_EQ(E(L"12 | 3"), L"15");
    EXPECT_EQ(E(L"5 xor 3"), L"6");
    EXPECT_EQ(E(L"5^3"), L"6");
    EXPECT_EQ(E(L"7.9 & 7"), L"7");
    EXPECT_EQ(E(L"-1.5 < -1.2"), L"0");    // both are -1 as integers
}

TEST_F(Eval, HexadecimalAndBinary) {
    EXPECT_EQ(E(L"0x1F"), L"31");
    EXPECT_EQ(E(L"0X1f+0b101"), L"36");
    EXPECT_EQ(E(L"0x1e3"), L"483");        // e is a digit in a hexadecimal number
    EXPECT_EQ(E(L"0xFFFFFFFFFFFFFFFF"), L"-1");
    EXPECT_EQ(E(L"0x10000000000000000"), OVERFLOW_);
    EXPECT_EQ(E(L"0b"), SYNTAX);
    EXPECT_EQ(E(L"255=H"), L"FF");
    EXPECT_EQ(E(L"255=X"), L"0xFF");
    EXPECT_EQ(E(L"10=h"), L"A");
    EXPECT_EQ(E(L"255.9=H"), L"FF");
    EXPECT_EQ(E(L"-1=H"), L"FFFFFFFFFFFFFFFF");
    EXPECT_EQ(E(L"10=B"), L"1010");
    EXPECT_EQ(E(L"0=B"), L"0");
    EXPECT_EQ(E(L"2**70=H"), OVERFLOW_);
}

TEST_F(Eval, PlacesAreRoundedCutAndTrailingZerosRemoved) {
    EXPECT_EQ(E(L"1/3"), L"0.3333333333");
    EXPECT_EQ(E(L"2/3"), L"0.6666666667");     // a quotient is rounded at the places
    EXPECT_EQ(E(L"1/6=.3"), L"0.167");
    EXPECT_EQ(E(L"1/60=.3"), L"0.017");
    EXPECT_EQ(E(L"-2/3=.2"), L"-0.67");        // ties and halves away from zero
    EXPECT_EQ(E(L"1/8=.2"), L"0.13");
    EXPECT_EQ(E(L"0.125=.2"), L"0.12");         // a number as written is only cut
    EXPECT_EQ(E(L"10/2"), L"5");
    EXPECT_EQ(E(L"1/3=2"), L"0.33");
    EXPECT_EQ(E(L"pi=5"), L"3.14159");
    EXPECT_EQ(E(L"pi=.3"), L"3.142");
    EXPECT_EQ(E(L"pi=0"), L"3");
    EXPECT_EQ(E(L"1=2.2"), L"1.00");
    EXPECT_EQ(E(L"10/4=3.5"), L"2.500");
    EXPECT_EQ(E(L"1/3=5.2"), L"0.33333");       // maximum raised to the minimum
    EXPECT_EQ(E(L"-1/3=2"), L"-0.33");
    EXPECT_EQ(E(L"-1/3e20"), L"0");             // no "-0"
    EXPECT_EQ(E(L"1000000/3"), L"333333.3333333333");
    EXPECT_EQ(E(L"1e30/7"), L"142857142857142857142857142857.1428571429");
    aIniFile.EvalMax = 3;
    EXPECT_EQ(E(L"1/3"), L"0.333");
    aIniFile.EvalMin = 2;
    EXPECT_EQ(E(L"1"), L"1.00");
    EXPECT_EQ(E(L"1/8"), L"0.125");
    aIniFile.EvalMin = 4;                       // above EvalMax: the maximum follows
    EXPECT_EQ(E(L"1/3"), L"0.3333");
}

TEST_F(Eval, OptionForms) {
    EXPECT_EQ(E(L"5=+"), L"+5");
    EXPECT_EQ(E(L"-5=+"), L"-5");
    EXPECT_EQ(E(L"1/4=+.2"), L"+0.25");
    EXPECT_EQ(E(L"255=X+"), L"0xFF");
    EXPECT_EQ(E(L"2+2="), L"");                 // an empty option text: an empty result
    EXPECT_EQ(E(L"1+1=2 +3"), L"5");            // text behind the options goes back
    EXPECT_EQ(E(L"\"1+1\""), L"2");
    EXPECT_EQ(E(L"1234.5=E"), L"1.2345E+3");
    EXPECT_EQ(E(L"1/3=E"), L"3.3333333333E-1");
    EXPECT_EQ(E(L"2**200=E"), L"1.6069380443E+60");
    EXPECT_EQ(E(L"0.000123=E"), L"1.23E-4");
    EXPECT_EQ(E(L"1=E2.2"), L"1.00E+0");
    EXPECT_EQ(E(L"-0=E"), L"0E+0");
    EXPECT_EQ(E(L"sin(1e-30)=E"), L"1E-30");
}

TEST_F(Eval, CountryCharacters) {
    aIniFile.DecimalChar = 2;
    aIniFile.ThousandsChar = 1;
    EXPECT_EQ(E(L"1,5*2"), L"3");
    EXPECT_EQ(E(L"1/4"), L"0,25");
    EXPECT_EQ(E(L"1.000,5+1"), L"1001,5");
    EXPECT_EQ(E(L"1/3=2,2"), L"0,33");
    ScopedEnvironment environment{L"EVT_COMMA"};
    SetEnvironmentVariableW(L"EVT_COMMA", L"2,5");
    EXPECT_EQ(E(L"EVT_COMMA*2"), L"5");
}

TEST_F(Eval, ErrorCodes) {
    EXPECT_EQ(E(L""), EMPTY);
    EXPECT_EQ(E(L"  \t "), EMPTY);
    EXPECT_EQ(E(L"1/0"), DIV_ZERO);
    EXPECT_EQ(E(L"1\\0"), DIV_ZERO);
    EXPECT_EQ(E(L"5%0"), DIV_ZERO);
    EXPECT_EQ(E(L"recip(0)"), DIV_ZERO);
    EXPECT_EQ(E(L"0**-1"), DIV_ZERO);
    EXPECT_EQ(E(L"(1+2"), PARENS);
    EXPECT_EQ(E(L"1+2)"), PARENS);
    EXPECT_EQ(E(L"sin(1"), PARENS);
    EXPECT_EQ(E(L"1 2"), SYNTAX);
    EXPECT_EQ(E(L"2#3"), SYNTAX);
    EXPECT_EQ(E(L"1+"), SYNTAX);
    EXPECT_EQ(E(L"()"), SYNTAX);
    EXPECT_EQ(E(L"2(3)"), SYNTAX);
    EXPECT_EQ(E(L"nosuchfunction(1)"), SYNTAX);
    EXPECT_EQ(E(L"1e"), SYNTAX);
    EXPECT_EQ(E(L"10**2000000"), OVERFLOW_);
    EXPECT_EQ(E(L"exp(1e7)"), OVERFLOW_);
    EXPECT_EQ(E(L"fact(1e7)"), OVERFLOW_);
    EXPECT_EQ(E(L"log(0)"), DOMAIN);
    EXPECT_EQ(E(L"log(-1)"), DOMAIN);
    EXPECT_EQ(E(L"asin(1.0001)"), DOMAIN);
    EXPECT_EQ(E(L"atanh(1)"), DOMAIN);
    EXPECT_EQ(E(L"(-8)**(1/3)"), DOMAIN);
    EXPECT_EQ(E(L"fact(2.5)"), DOMAIN);
    EXPECT_EQ(E(L"fact(-1)"), DOMAIN);
    EXPECT_EQ(E(L"name[1]+1"), ARRAY);
    CString text = L"1/0";
    EXPECT_EQ(EvaluateExpression(text), 2);     // reported, and the text left alone
    EXPECT_EQ(text, L"1/0");
}

TEST_F(Eval, Variables) {
    ScopedEnvironment environment{L"EVT_A", L"EVT_Q", L"EVT_BIG", L"EVT_WORD", L"EVT_NEG", L"ORDER"};
    SetEnvironmentVariableW(L"EVT_A", L"5");
    SetEnvironmentVariableW(L"EVT_Q", L"\" 7 \"");
    SetEnvironmentVariableW(L"EVT_BIG", L"1,000.5");
    SetEnvironmentVariableW(L"EVT_WORD", L"abc");
    SetEnvironmentVariableW(L"EVT_NEG", L"-4");
    SetEnvironmentVariableW(L"ORDER", nullptr);
    EXPECT_EQ(E(L"EVT_A*2"), L"10");
    EXPECT_EQ(E(L"evt_a+1"), L"6");
    EXPECT_EQ(E(L"EVT_UNSET+1"), L"1");
    EXPECT_EQ(E(L"EVT_Q+1"), L"8");
    EXPECT_EQ(E(L"EVT_BIG+1"), L"1001.5");
    EXPECT_EQ(E(L"2**EVT_NEG"), L"0.0625");     // a value is one number, sign and all
    EXPECT_EQ(E(L"3-EVT_NEG"), L"7");
    EXPECT_EQ(E(L"EVT_WORD+1"), SYNTAX);
    EXPECT_EQ(E(L"order+1"), L"1");             // operator words are whole words only
    EXPECT_EQ(E(L"PI*2=4"), L"6.2832");          // pi rounded to 3.1416 first
}

TEST_F(Eval, Assignments) {
    ScopedEnvironment environment{L"EVT_A", L"EVT_B", L"EVT_C", L"EVT_G", L"EVT_X", L"EVT_Y", L"EVT_Z"};
    SetEnvironmentVariableW(L"EVT_C", nullptr);
    CString part = L"EVT_X = 6*7";
    EXPECT_EQ(EvaluateAssignment(part, 0), 0);
    EXPECT_EQ(part, L"42");
    EXPECT_EQ(Env(L"EVT_X"), L"42");
    auto Assign = [](const wchar_t *text, unsigned flags = 0) {
        CString p = text;
        return EvaluateAssignment(p, flags) ? CString(L"failed") : p;
    };
    EXPECT_EQ(Assign(L"EVT_X += 8"), L"50");
    EXPECT_EQ(Assign(L"EVT_X*=1+1"), L"100");   // the right side is one operand
    EXPECT_EQ(Assign(L"EVT_X/=3", EVAL_INTEGER_DIVISION), L"33");
    EXPECT_EQ(Assign(L"EVT_X<<=2"), L"132");
    EXPECT_EQ(Assign(L"EVT_X**=2"), L"17424");
    EXPECT_EQ(Assign(L"EVT_C+=1"), L"1");       // unset counts as 0
    EXPECT_EQ(Assign(L"7/2", EVAL_INTEGER_DIVISION), L"3");
    EXPECT_EQ(Assign(L"EVT_Y = EVT_Z = 5"), L"5");
    EXPECT_EQ(Env(L"EVT_Y"), L"5");
    EXPECT_EQ(Env(L"EVT_Z"), L"5");
    EXPECT_EQ(Assign(L"EVT_G=gcd(12, 18)"), L"6");

    std::vector<CString> values;
    EXPECT_EQ(EvaluateAssignmentList(L"EVT_A=1, EVT_B=EVT_A+1,", 0, &values), 0);
    EXPECT_EQ(values, (std::vector<CString>{L"1", L"2"}));
    EXPECT_EQ(Env(L"EVT_B"), L"2");

    // A failure assigns nothing.
    EXPECT_EQ(Assign(L"EVT_X=1/0"), L"failed");
    EXPECT_EQ(Assign(L"EVT_X+=(1"), L"failed");
    EXPECT_EQ(Assign(L"EVT_Y=EVT_Z=1+"), L"failed");
    EXPECT_EQ(Env(L"EVT_X"), L"17424");
    EXPECT_EQ(Env(L"EVT_Y"), L"5");
    EXPECT_EQ(Env(L"EVT_Z"), L"5");
    EXPECT_NE(EvaluateAssignmentList(L"EVT_A=9, EVT_B=1/0, EVT_C=7", 0, nullptr), 0);
    EXPECT_EQ(Env(L"EVT_A"), L"9");
    EXPECT_EQ(Env(L"EVT_B"), L"2");
    EXPECT_EQ(Env(L"EVT_C"), L"1");
    EXPECT_EQ(Assign(L"EVT_ARR[1]=5"), L"failed");
    EXPECT_EQ(Assign(L"EVT_X+1=5"), L"failed");  // not a name
    EXPECT_NE(EvaluateAssignmentList(L" , ", 0, nullptr), 0);
    aIniFile.CMDVariables = 1;
    EXPECT_EQ(Assign(L"(1, 2+3)"), L"5");
}

TEST_F(Eval, GcdLcmAndRotations) {
    EXPECT_EQ(E(L"gcd(12 18)"), L"6");
    EXPECT_EQ(E(L"gcd(-12 18)"), L"6");
    EXPECT_EQ(E(L"gcd(0 5)"), L"5");
    EXPECT_EQ(E(L"gcd(4 6)*2"), L"4");
    EXPECT_EQ(E(L"lcm(4 6)"), L"12");
    EXPECT_EQ(E(L"lcm(0 5)"), L"0");
    EXPECT_EQ(E(L"(1+gcd(4 6)"), L"3");         // its ")" closes the group it stands in
    EXPECT_EQ(E(L"(gcd(4 6))"), PARENS);
    EXPECT_EQ(E(L"gcd(4)"), SYNTAX);
    EXPECT_EQ(E(L"lcm(9223372036854775807 2)"), OVERFLOW_);
    EXPECT_EQ(E(L"rol(1 4 8)"), L"16");
    EXPECT_EQ(E(L"rol(0x81 1 8)"), L"3");
    EXPECT_EQ(E(L"ror(3 1 8)"), L"129");
    EXPECT_EQ(E(L"rol(0x0F)"), L"15");
    EXPECT_EQ(E(L"rol(2+3 1)"), L"10");
    EXPECT_EQ(E(L"ror(1 1 64)"), L"9223372036854775808");
    EXPECT_EQ(E(L"rol(1 9 8)"), SYNTAX);
    EXPECT_EQ(E(L"log2(8)"), L"3");
    EXPECT_EQ(E(L"log2(1024)"), L"10");
    EXPECT_EQ(E(L"log2(3)=20"), L"1.58496250072115618145");
}

TEST_F(Eval, MathFunctions) {
    EXPECT_EQ(E(L"sqrt(2)"), L"1.4142135624");
    EXPECT_EQ(E(L"exp(0)"), L"1");
    EXPECT_EQ(E(L"log10(1000)"), L"3");
    EXPECT_EQ(E(L"acos(1)"), L"0");
    EXPECT_EQ(E(L"SIN(0)"), L"0");
    EXPECT_EQ(E(L"sin(pi)"), L"0");
    EXPECT_EQ(E(L"floor(-2.5)"), L"-3");
    EXPECT_EQ(E(L"ceil(-2.5)"), L"-2");
    EXPECT_EQ(E(L"abs(-2.5)"), L"2.5");
    EXPECT_EQ(E(L"fact(0)"), L"1");
    EXPECT_EQ(E(L"fact(20)"), L"2432902008176640000");
    EXPECT_EQ(E(L"recip(8)"), L"0.125");
    EXPECT_EQ(E(L"acos(-1)=20"), L"3.14159265358979323846");
    EXPECT_EQ(E(L"acos(-0.5)=20"), L"2.09439510239319549231");
    EXPECT_EQ(E(L"asin(-0.999999)=20"), L"-1.56938211311467236747");
    EXPECT_EQ(E(L"tan(1)=20"), L"1.55740772465490223051");
    EXPECT_EQ(E(L"tan(1.5707963267)=20"), L"10537783201.34231719814525664859");
    EXPECT_EQ(E(L"tanh(0.5)=20"), L"0.4621171572600097585");
    EXPECT_EQ(E(L"cosh(2)=20"), L"3.76219569108363145956");
    EXPECT_EQ(E(L"asinh(1)=20"), L"0.88137358701954302523");
    EXPECT_EQ(E(L"acosh(2)=20"), L"1.31695789692481670863");
    EXPECT_EQ(E(L"atanh(0.5)=20"), L"0.5493061443340548457");
    EXPECT_EQ(E(L"log10(2)=20"), L"0.30102999566398119521");
    EXPECT_EQ(E(L"exp(-1)=20"), L"0.3678794411714423216");
    EXPECT_EQ(E(L"sin(100)=20"), L"-0.50636564110975879366");
    EXPECT_EQ(E(L"cos(1e20)=20"), L"0.7639704044417283004");
    EXPECT_EQ(E(L"atan(-50)=20"), L"-1.55079899282174608617");
    EXPECT_EQ(E(L"pi**exp(1)=30"), L"22.459157718361045473427152204562");  // of pi and e rounded to 30 places
    EXPECT_EQ(E(L"1000*2**0.5"), L"1414.2135624");  // 2**0.5 rounded to 10 places first
}

namespace {
struct KnownValue {
    const wchar_t *pszExpression;
    const wchar_t *pszValue;
};

const KnownValue aKnown50[] = {
    {L"pi",
     L"3.14159265358979323846264338327950288419716939937511"},
    {L"exp(1)",
     L"2.71828182845904523536028747135266249775724709369996"},
    {L"2**0.5",
     L"1.41421356237309504880168872420969807856967187537695"},
    {L"log(2)",
     L"0.69314718055994530941723212145817656807550013436026"},
    {L"sin(1)",
     L"0.84147098480789650665250232163029899962256306079837"},
    {L"cos(1)",
     L"0.54030230586813971740093660744297660373231042061792"},
    {L"atan(1)",
     L"0.78539816339744830961566084581987572104929234984378"},
    {L"asin(0.5)",
     L"0.52359877559829887307710723054658381403286156656252"},
    {L"sinh(1)",
     L"1.1752011936438014568823818505956008151557179813341"},
};
const KnownValue aKnown500[] = {
    {L"pi",
     L"3.1415926535897932384626433832795028841971693993751058209749445923078164062862089986280348"
     L"253421170679821480865132823066470938446095505822317253594081284811174502841027019385211055"
     L"596446229489549303819644288109756659334461284756482337867831652712019091456485669234603486"
     L"104543266482133936072602491412737245870066063155881748815209209628292540917153643678925903"
     L"600113305305488204665213841469519415116094330572703657595919530921861173819326117931051185"
     L"4807446237996274956735188575272489122793818301194913"},
    {L"exp(1)",
     L"2.7182818284590452353602874713526624977572470936999595749669676277240766303535475945713821"
     L"785251664274274663919320030599218174135966290435729003342952605956307381323286279434907632"
     L"338298807531952510190115738341879307021540891499348841675092447614606680822648001684774118"
     L"537423454424371075390777449920695517027618386062613313845830007520449338265602976067371132"
     L"007093287091274437470472306969772093101416928368190255151086574637721112523897844250569536"
     L"9677078544996996794686445490598793163688923009879313"},
    {L"2**0.5",
     L"1.4142135623730950488016887242096980785696718753769480731766797379907324784621070388503875"
     L"343276415727350138462309122970249248360558507372126441214970999358314132226659275055927557"
     L"999505011527820605714701095599716059702745345968620147285174186408891986095523292304843087"
     L"143214508397626036279952514079896872533965463318088296406206152583523950547457502877599617"
     L"298355752203375318570113543746034084988471603868999706990048150305440277903164542478230684"
     L"9293691862158057846311159666871301301561856898723724"},
    {L"log(2)",
     L"0.6931471805599453094172321214581765680755001343602552541206800094933936219696947156058633"
     L"269964186875420014810205706857336855202357581305570326707516350759619307275708283714351903"
     L"070386238916734711233501153644979552391204751726815749320651555247341395258829504530070953"
     L"263666426541042391578149520437404303855008019441706416715186447128399681717845469570262716"
     L"310645461502572074024816377733896385506952606683411372738737229289564935470257626520988596"
     L"9320196505855476470330679365443254763274495125040607"},
    {L"sin(1)",
     L"0.8414709848078965066525023216302989996225630607983710656727517099919104043912396689486397"
     L"435430526958543490379079206742932591189209918988811934103277292124094807919558267666069999"
     L"077640119784087827325663474848028702986561570179624553948935729246701270864862810533820305"
     L"613772182038684496677616742662390133827533979567642555654779639897648243286902756964291206"
     L"300583036515230312782552898532648513981934521359709559620621721148144417810576010756741366"
     L"480550089167266058041400780623930703718779562612888"},
    {L"cos(1)",
     L"0.5403023058681397174009366074429766037323104206179222276700972553811003947744717645179518"
     L"560871830893435717311600300890978606337600216634564065122654173185847179711644744794942331"
     L"179245513932543359435177567028925963757361543275496417544917751151312227301006313570782322"
     L"367714015174689959366787306742276202450776374406758749816178427202164558511156329688905710"
     L"812427293316986852471456894904342375433094423024093596239583182454728173664078071243433621"
     L"7481003220271297578822917644683598726994264913443918"},
    {L"atan(1)",
     L"0.7853981633974483096156608458198757210492923498437764552437361480769541015715522496570087"
     L"063355292669955370216283205766617734611523876455579313398520321202793625710256754846302763"
     L"899111557372387325954911072027439164833615321189120584466957913178004772864121417308650871"
     L"526135816620533484018150622853184311467516515788970437203802302407073135229288410919731475"
     L"900028326326372051166303460367379853779023582643175914398979882730465293454831529482762796"
     L"3701861559499068739183797143818122280698454575298728"},
    {L"asin(0.5)",
     L"0.5235987755982988730771072305465838140328615665625176368291574320513027343810348331046724"
     L"708903528446636913477522137177745156407682584303719542265680214135195750473504503230868509"
     L"266074371581591550636607381351626109889076880792747056311305275452003181909414278205767247"
     L"684090544413688989345433748568789540978344343859313624802534868271382090152858940613154317"
     L"266685550884248034110868973578253235852682388428783942932653255153643528969887686321841864"
     L"2467907706332712492789198095878748187132303050199152"},
    {L"sinh(1)",
     L"1.1752011936438014568823818505956008151557179813340958702295654130133075673043238956071174"
     L"520896233918404195333275795323567852189019194572821368403528832484238229689806253026878572"
     L"974193778037894530156457975748559863812033933000211943571349392767479287838086397780915943"
     L"822887094379183712322502306432683489821868659007368597138765536487737915436208491950598400"
     L"985696957504601707347646045559914877642254885845736315892502135438245978143162874775249565"
     L"9351867988619685770941703900991138727161771527802625"},
};
}  // namespace

TEST_F(Eval, KnownValuesTo50And500Places) {
    for (const KnownValue &k : aKnown50)
        EXPECT_EQ(E((CString(k.pszExpression) + L"=50").c_str()), k.pszValue) << k.pszExpression;
    for (const KnownValue &k : aKnown500)
        EXPECT_EQ(E((CString(k.pszExpression) + L"=500").c_str()), k.pszValue) << k.pszExpression;
    EXPECT_EQ(E(L"1/3=50"), L"0." + std::wstring(50, L'3'));
    EXPECT_EQ(E(L"fact(100)"),
              L"93326215443944152681699238856266700490715968264381621468592963895217599993229915608941463976"
              L"156518286253697920827223758251185210916864000000000000000000000000");
    EXPECT_EQ(E(L"2**200"), L"1606938044258990275541962092341162602522202993782792835301376");
    std::wstring big = E(L"2**100000");
    EXPECT_EQ(big.size(), 30103u);
    EXPECT_EQ(big.substr(0, 12), L"999002093014");
    EXPECT_EQ(big.substr(big.size() - 12), L"389883109376");
}

// The library's allocations are counted while the same expressions, good
// and failing, run again: every decimal they made must be freed.
namespace {
std::atomic<long> nLiveBlocks;
void *CountingMalloc(size_t n) {
    void *p = malloc(n);
    if (p) nLiveBlocks++;
    return p;
}
void *CountingCalloc(size_t n, size_t size) {
    void *p = calloc(n, size);
    if (p) nLiveBlocks++;
    return p;
}
void CountingFree(void *p) {
    if (p) nLiveBlocks--;
    free(p);
}
}  // namespace

TEST_F(Eval, RepeatedEvaluationFreesEverything) {
    const wchar_t *expressions[] = {L"sin(1)*cos(2)/3=30", L"fact(50)+2**100", L"atan(7)+asin(0.3)=40",
                                    L"1/0",                L"log(-1)",         L"(1+2",
                                    L"sinh(2)+tanh(0.1)",  L"rol(5 3 8)",      L"2**0.5=E"};
    for (const wchar_t *x : expressions) E(x);  // fills the pi cache
    auto *saveMalloc = mpd_mallocfunc;
    auto *saveCalloc = mpd_callocfunc;
    auto *saveFree = mpd_free;
    mpd_mallocfunc = CountingMalloc;
    mpd_callocfunc = CountingCalloc;
    mpd_free = CountingFree;
    nLiveBlocks = 0;
    for (int round = 0; round < 5; round++)
        for (const wchar_t *x : expressions) E(x);
    long live = nLiveBlocks;
    mpd_mallocfunc = saveMalloc;
    mpd_callocfunc = saveCalloc;
    mpd_free = saveFree;
    EXPECT_EQ(live, 0);
}

TEST_F(Eval, ThreadsShareTheLibrary) {
    std::atomic<int> wrong{0};
    auto work = [&] {
        for (int i = 0; i < 20; i++)
            if (E(L"sin(1)=50") != aKnown50[4].pszValue || E(L"fact(30)") != L"265252859812191058636308480000000")
                wrong++;
    };
    std::thread a(work), b(work), c(work);
    a.join(), b.join(), c.join();
    EXPECT_EQ(wrong, 0);
}

TEST(EvalHelpers, QueryIsNumeric) {
    for (const wchar_t *yes : {L"123", L"-1.5", L"+.5", L"1,000", L"1,000.25", L"0.", L".5", L"-0"})
        EXPECT_TRUE(QueryIsNumeric(yes)) << yes;
    for (const wchar_t *no : {L"", L"-", L"+", L".", L"-.", L"1.2.3", L"1.000,5", L"12a", L" 1", L"1e5", L"0x10"})
        EXPECT_FALSE(QueryIsNumeric(no)) << no;
}

TEST(EvalHelpers, AsciiToDouble) {
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"1,234.5"), 1234.5);
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"-2.5E2"), -250.0);
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"1e-3"), 0.001);
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"3E2.7"), 300.0);  // the exponent's fraction is skipped
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"  42abc"), 42.0);
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"0.123456789"), 0.123456789);
    EXPECT_DOUBLE_EQ(AsciiToDouble(L"x"), 0.0);
}

TEST(EvalHelpers, AddCommas) {
    auto Commas = [](const wchar_t *text) {
        CString s = text;
        AddCommas(s);
        return std::wstring(s);
    };
    EXPECT_EQ(Commas(L"1234567"), L"1,234,567");
    EXPECT_EQ(Commas(L"-1234567.891"), L"-1,234,567.891");
    EXPECT_EQ(Commas(L"123"), L"123");
    EXPECT_EQ(Commas(L"1234"), L"1,234");
    EXPECT_EQ(Commas(L"0001234"), L"0001,234");
    EXPECT_EQ(Commas(L"+ 12345.6789"), L"+ 12,345.6789");
    EXPECT_EQ(Commas(L""), L"");
}

TEST(EvalHelpers, GetRandomStaysInRange) {
    std::set<long long> seen;
    for (int i = 0; i < 300; i++) {
        long long r = GetRandom(1, 3);
        ASSERT_TRUE(r >= 1 && r <= 3) << r;
        seen.insert(r);
        long long s = GetRandom(5, -5);  // the bounds in either order
        ASSERT_TRUE(s >= -5 && s <= 5) << s;
    }
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_EQ(GetRandom(7, 7), 7);
    std::set<long long> wide;
    for (int i = 0; i < 8; i++) wide.insert(GetRandom(INT64_MIN, INT64_MAX));
    EXPECT_GT(wide.size(), 1u);
}
