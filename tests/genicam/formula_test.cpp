// Formulas of swiss knives, each in a small description of its own: A is an Integer of 7, B a
// Float of 2.5. Expected values are worked out by hand from the operator rules.
#include "test_support.h"

#include <cmath>
#include <limits>
#include <numbers>

using namespace GenApi;
using GenICam::RuntimeException;
using enginetest::TextOf;

namespace {

std::string XmlEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else out += c;
    }
    return out;
}

std::string Description(const char* kind, const std::string& formula, const std::string& extra = "") {
    return std::string(R"(<RegisterDescription ModelName="F" VendorName="V"
        xmlns="http://www.genicam.org/GenApi/Version_1_1">
      <)") + kind + R"( Name="F">
        <pVariable Name="A">A</pVariable>
        <pVariable Name="B">B</pVariable>)" +
           extra + "<Formula>" + XmlEscape(formula) + "</Formula></" + kind + R"(>
      <Integer Name="A"><Value>7</Value></Integer>
      <Float Name="B"><Value>2.5</Value></Float>
      <Port Name="Device"/>
    </RegisterDescription>)";
}

int64_t IntFormula(const std::string& formula) {
    CNodeMapRef ref;
    ref._LoadXMLFromString(Description("IntSwissKnife", formula));
    return CIntegerPtr(ref._GetNode("F"))->GetValue();
}

double FloatFormula(const std::string& formula) {
    CNodeMapRef ref;
    ref._LoadXMLFromString(Description("SwissKnife", formula));
    return CFloatPtr(ref._GetNode("F"))->GetValue();
}

struct Case {
    const char* formula;
    int64_t asInteger;  // IntSwissKnife: integers stay integers, a floating result is truncated
    double asFloat;     // SwissKnife: everything is a double
};

// Precedence, loosest first: ?:, ||, &&, |, ^, &, = <>, < > <= >=, << >>, + -, * / %, unary, **.
const Case kCases[] = {
    {"1 + 2 * 3", 7, 7},
    {"(1 + 2) * 3", 9, 9},
    {"7 / 2", 3, 3.5},
    {"-7 / 2", -3, -3.5},
    {"7 % 4", 3, 3},
    {"-7 % 4", -3, -3},
    {"2 ** 3 ** 2", 512, 512},
    {"-2 ** 2", -4, -4},
    {"2 ** -1", 0, 0.5},
    {"6 & 3", 2, 2},
    {"6 | 3", 7, 7},
    {"6 ^ 3", 5, 5},
    {"~0", -1, -1},
    {"1 << 4", 16, 16},
    {"-16 >> 2", -4, -4},
    {"1 + 2 << 1", 6, 6},
    {"1 | 2 = 2", 1, 1},
    {"3 = 3", 1, 1},
    {"3 <> 3", 0, 0},
    {"2 < 3", 1, 1},
    {"5 > 4", 1, 1},
    {"3 <= 3", 1, 1},
    {"4 >= 5", 0, 0},
    {"2 * 3 > 5 && 1", 1, 1},
    {"1 && 0", 0, 0},
    {"0 || 2", 1, 1},
    {"!0", 1, 1},
    {"!5", 0, 0},
    {"1 ? 2 : 3", 2, 2},
    {"0 ? 2 : 0 ? 4 : 5", 5, 5},
    {"A * 2 + B", 16, 16.5},
    {"A / 2", 3, 3.5},
    {"A = 7 ? B : 0", 2, 2.5},
    {"SGN(-5)", -1, -1},
    {"NEG(4)", -4, -4},
    {"ABS(-3)", 3, 3},
    {"SQRT(16)", 4, 4},
    {"TRUNC(-2.7)", -2, -2},
    {"FLOOR(-2.5)", -3, -3},
    {"CEIL(2.1)", 3, 3},
    {"ROUND(2.5)", 3, 3},
    {"ROUND(-2.5)", -3, -3},
    {"ROUND(3.14159, 2)", 3, 3.14},
    {"EXP(0)", 1, 1},
    {"COS(0)", 1, 1},
    {"0x10 + 1", 17, 17},
    {"1.5 * 2", 3, 3},
    {"10 / 4.0", 2, 2.5},
    {".5 + .5", 1, 1},
    {"1e3", 1000, 1000},
};

} // namespace

TEST(Formula, OperatorsFollowTheirPrecedenceInBothModes) {
    for (const Case& c : kCases) {
        EXPECT_EQ(IntFormula(c.formula), c.asInteger) << c.formula;
        EXPECT_DOUBLE_EQ(FloatFormula(c.formula), c.asFloat) << c.formula;
    }
}

TEST(Formula, TranscendentalFunctionsAndConstants) {
    const double pi = std::numbers::pi;
    EXPECT_DOUBLE_EQ(FloatFormula("LN(E)"), 1.0);
    EXPECT_DOUBLE_EQ(FloatFormula("LG(1000)"), 3.0);
    EXPECT_DOUBLE_EQ(FloatFormula("SIN(PI / 2)"), 1.0);
    EXPECT_DOUBLE_EQ(FloatFormula("TAN(PI / 4)"), 1.0);
    EXPECT_DOUBLE_EQ(FloatFormula("ASIN(1) * 2"), pi);
    EXPECT_DOUBLE_EQ(FloatFormula("ACOS(-1)"), pi);
    EXPECT_DOUBLE_EQ(FloatFormula("ATAN(1) * 4"), pi);
    EXPECT_EQ(FloatFormula("ASIN(1) * 2 = PI"), 1.0);
    EXPECT_EQ(IntFormula("PI * 1000"), 3141);
}

TEST(Formula, IntegerArithmeticWrapsAndDivisionByZeroIsReported) {
    EXPECT_EQ(IntFormula("9223372036854775807 + 1"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(IntFormula("(0 - 9223372036854775807 - 1) / -1"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(IntFormula("1 << 64"), 0);
    EXPECT_EQ(IntFormula("-1 >> 70"), -1);
    EXPECT_EQ(IntFormula("3 ** 40"), static_cast<int64_t>(12157665459056928801ull)); // 3^40 mod 2^64
    EXPECT_EQ(IntFormula("1e300 * 1e300"), std::numeric_limits<int64_t>::max());      // saturates

    CNodeMapRef ref;
    ref._LoadXMLFromString(Description("IntSwissKnife", "A / (A - 7)"));
    EXPECT_EQ(TextOf<RuntimeException>([&] { CIntegerPtr(ref._GetNode("F"))->GetValue(); }),
              "Node 'F': division by zero in formula");
    EXPECT_TRUE(std::isinf(FloatFormula("B / 0")));
}

TEST(Formula, ConstantsAndExpressionsAreNamedParts) {
    CNodeMapRef ref;
    ref._LoadXMLFromString(Description("IntSwissKnife", "TWICE + K",
                                       R"(<Constant Name="K">100</Constant>
                                          <Expression Name="TWICE">A * 2</Expression>)"));
    EXPECT_EQ(CIntegerPtr(ref._GetNode("F"))->GetValue(), 114);
}

TEST(Formula, SyntaxErrorsAndUnknownNamesFailAtLoadNamingTheNode) {
    const char* bad[] = {"1 +", "(1 + 2", "1 + 2)", "FOO + 1", "SQRTX(4)", "1 ! 2", "", "1 ? 2",
                         "1..2", "A B", "ROUND(1, 2, 3)", "0x", "2 ** ", "* 3", "A != 1", "99999999999999999999"};
    for (const char* formula : bad) {
        for (const char* kind : {"IntSwissKnife", "SwissKnife"}) {
            CNodeMapRef ref;
            const std::string text =
                TextOf<RuntimeException>([&] { ref._LoadXMLFromString(Description(kind, formula)); });
            EXPECT_EQ(text.rfind("Node 'F': ", 0), 0u) << kind << " \"" << formula << "\": " << text;
        }
    }
    CNodeMapRef ref;
    const std::string text = TextOf<RuntimeException>([&] {
        ref._LoadXMLFromString(Description("IntSwissKnife", "X",
                                           R"(<Expression Name="X">Y + 1</Expression>
                                              <Expression Name="Y">X + 1</Expression>)"));
    });
    EXPECT_NE(text.find("refers to itself"), std::string::npos) << text;
}

// Formulas as long or as shared as a description can make them cost neither recursion nor repeated
// work: a chain of operators is evaluated without recursing per operand, an expression used twice is
// evaluated once per evaluation, and swiss knives reading swiss knives once each.
TEST(Formula, LongAndSharedFormulasEvaluateInLinearTime) {
    std::string sum = "1";
    for (int i = 1; i < 200000; ++i) sum += "+1";
    EXPECT_EQ(IntFormula(sum), 200000);
    EXPECT_DOUBLE_EQ(FloatFormula(sum), 200000.0);

    // E0 = 1, Ek = E(k-1) + E(k-1): E60 is 2^60, with 2^60 paths down to E0.
    std::string expressions = "<Expression Name=\"E0\">1</Expression>";
    for (int k = 1; k <= 60; ++k)
        expressions += "<Expression Name=\"E" + std::to_string(k) + "\">E" + std::to_string(k - 1) + " + E" +
                       std::to_string(k - 1) + "</Expression>";
    CNodeMapRef shared;
    shared._LoadXMLFromString(Description("IntSwissKnife", "E60 - A", expressions));
    EXPECT_EQ(CIntegerPtr(shared._GetNode("F"))->GetValue(), (int64_t{1} << 60) - 7);

    // K0 = 1, Kk = X + Y with X and Y both K(k-1), and Lk = X + X over L(k-1): 40 deep each. M0 is a
    // register read anew each time: nothing above it is kept between reads, yet one read of M40
    // evaluates each M once.
    std::string knives = R"(<Integer Name="K0"><Value>1</Value></Integer><Integer Name="L0"><Value>1</Value></Integer>
        <IntReg Name="M0"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
          <Cachable>NoCache</Cachable></IntReg>)";
    for (int k = 1; k <= 40; ++k) {
        const std::string below = std::to_string(k - 1);
        knives += "<IntSwissKnife Name=\"M" + std::to_string(k) + "\"><pVariable Name=\"X\">M" + below +
                  "</pVariable><pVariable Name=\"Y\">M" + below + "</pVariable><Formula>X + Y</Formula></IntSwissKnife>";
        knives += "<IntSwissKnife Name=\"K" + std::to_string(k) + "\"><pVariable Name=\"X\">K" + below +
                  "</pVariable><pVariable Name=\"Y\">K" + below + "</pVariable><Formula>X + Y</Formula></IntSwissKnife>";
        knives += "<SwissKnife Name=\"L" + std::to_string(k) + "\"><pVariable Name=\"X\">L" + below +
                  "</pVariable><Formula>X + X</Formula></SwissKnife>";
    }
    CNodeMapRef chain;
    chain._LoadXMLFromString(R"(<RegisterDescription ModelName="F" VendorName="V">)" + knives +
                             R"(<Port Name="Device"/></RegisterDescription>)");
    enginetest::CTestPort port;
    chain._Connect(&port);
    CIntegerPtr top = chain._GetNode("K40");
    EXPECT_EQ(top->GetValue(), int64_t{1} << 40);
    EXPECT_EQ(top->GetValue(false, true), int64_t{1} << 40); // IgnoreCache: each K evaluated once again
    CIntegerPtr volatileTop = chain._GetNode("M40");
    port.Poke<uint32_t>(0, 2);
    EXPECT_EQ(volatileTop->GetValue(), int64_t{2} << 40);
    port.Poke<uint32_t>(0, 3);
    EXPECT_EQ(volatileTop->GetValue(), int64_t{3} << 40);
    EXPECT_EQ(port.reads, 4); // M1 reads M0 once for X and once for Y, in each of the two reads
    EXPECT_DOUBLE_EQ(CFloatPtr(chain._GetNode("L40"))->GetValue(), std::ldexp(1.0, 40));
    // A change at the bottom reaches the top.
    CIntegerPtr(chain._GetNode("K0"))->SetValue(3);
    EXPECT_EQ(top->GetValue(), int64_t{3} << 40);
}
