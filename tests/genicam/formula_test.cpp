// Formulas of swiss knives, each in a small description of its own: A is an Integer of 7, B a
// Float of 2.5. Expected values are worked out by hand from the operator rules.
#include "test_support.h"

#include <cmath>
#include <limits>
#include <numbers>

using namespace GenApi;
using GenICam::RuntimeException;
using enginetest::ThrownText;

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
    EXPECT_EQ(ThrownText<RuntimeException>([&] { CIntegerPtr(ref._GetNode("F"))->GetValue(); }),
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
                ThrownText<RuntimeException>([&] { ref._LoadXMLFromString(Description(kind, formula)); });
            EXPECT_EQ(text.rfind("Node 'F': ", 0), 0u) << kind << " \"" << formula << "\": " << text;
        }
    }
    CNodeMapRef ref;
    const std::string text = ThrownText<RuntimeException>([&] {
        ref._LoadXMLFromString(Description("IntSwissKnife", "X",
                                           R"(<Expression Name="X">Y + 1</Expression>
                                              <Expression Name="Y">X + 1</Expression>)"));
    });
    EXPECT_NE(text.find("refers to itself"), std::string::npos) << text;
}
