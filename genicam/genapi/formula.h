// Formulas of swiss knives and converters. A formula is parsed once, at load, into a tree of
// operations; evaluation walks the tree and reads a variable's node only when the walk reaches it
// (the untaken branch of "c ? a : b" and the right side of a decided && or || cost nothing).
//
// Numbers are int64 or double. In an integer formula (IntSwissKnife, IntConverter) integers stay
// integers: "/" divides with truncation and "%" is the remainder, arithmetic wraps around on
// overflow; a double operand (a float literal, a float-valued variable, SQRT, ...) makes the
// operation floating. In a float formula (SwissKnife, Converter) every value is a double.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace GenApi {

class CNodeBase;

struct CNumber {
    bool isInt = true;
    int64_t i = 0;
    double d = 0.0;

    static CNumber Int(int64_t v) noexcept { return {true, v, 0.0}; }
    static CNumber Float(double v) noexcept { return {false, 0, v}; }
    double AsDouble() const noexcept { return isInt ? static_cast<double>(i) : d; }
    // Truncation toward zero, saturated; NaN gives 0.
    int64_t AsInt() const noexcept;
    bool IsTrue() const noexcept { return isInt ? i != 0 : d != 0.0; }
};

// Names a formula may use besides the standard functions and constants.
struct CFormulaSymbols {
    std::vector<std::pair<std::string, CNodeBase*>> variables;   // pVariable Name="X"
    std::vector<std::pair<std::string, std::string>> constants;  // Constant Name="C", literal text
    std::vector<std::pair<std::string, std::string>> expressions;// Expression Name="E", formula text
    std::vector<std::string> implicit;                          // FROM or TO of a converter
};

class CFormula {
public:
    // Parses `text`; throws RuntimeException naming `owner` on a syntax error or unknown name.
    void Compile(const std::string& text, const CFormulaSymbols& symbols, bool integerMode,
                 const std::string& owner);
    // `implicitValues` holds one value per CFormulaSymbols::implicit name.
    CNumber Evaluate(const CNumber* implicitValues = nullptr) const;
    // The nodes the formula reads, each once.
    std::vector<CNodeBase*> Variables() const;
    bool Empty() const noexcept { return m_ops.empty(); }

    enum class Op : uint8_t;
    struct Node {
        Op op;
        int32_t a = -1, b = -1, c = -1; // operands
        CNumber literal;
        CNodeBase* variable = nullptr;
        int32_t slot = -1; // implicit value index
    };

private:
    CNumber Leaf(const Node& n, const CNumber* implicitValues) const;
    CNumber Apply(const Node& n, const CNumber& a, const CNumber& b) const;
    CNumber Normalize(CNumber n) const noexcept { return m_integerMode || !n.isInt ? n : CNumber::Float(n.AsDouble()); }

    friend class CFormulaParser;
    std::vector<Node> m_ops;
    int32_t m_root = -1;
    bool m_integerMode = true;
    std::string m_owner;
};

} // namespace GenApi
