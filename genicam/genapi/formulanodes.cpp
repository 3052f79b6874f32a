#include "formulanodes.h"

#include "loadcontext.h"
#include "nodemap.h"

#include <cmath>
#include <limits>

namespace GenApi {

namespace {

// The integer result of an integer formula: a floating result is truncated toward zero.
int64_t IntResult(const CNodeBase& owner, const CNumber& n) {
    if (!n.isInt && std::isnan(n.d))
        throw RUNTIME_EXCEPTION("Node '%s': formula result is not a number", owner.Name().c_str());
    return n.AsInt();
}

std::string NameAttribute(const CNodeBase& owner, const pugi::xml_node& e) {
    const std::string name = e.attribute("Name").value();
    if (name.empty())
        throw RUNTIME_EXCEPTION("Node '%s': <%s> has no Name attribute", owner.Name().c_str(), e.name());
    return name;
}

} // namespace

bool CFormulaDeclarations::LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "pVariable")
        symbols.variables.emplace_back(NameAttribute(owner, e), ctx.Ref(owner, e, ERefKind::Variable));
    else if (name == "Constant")
        symbols.constants.emplace_back(NameAttribute(owner, e), std::string(CLoadContext::Text(e)));
    else if (name == "Expression")
        symbols.expressions.emplace_back(NameAttribute(owner, e), std::string(CLoadContext::Text(e)));
    else return false;
    return true;
}

// ---------------------------------------------------------------- swiss knives

bool CSwissKnifeCore::LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e) {
    if (std::string_view(e.name()) == "Formula") {
        if (hasFormula) ctx.Duplicate(owner, e);
        text = CLoadContext::Text(e);
        hasFormula = true;
        return true;
    }
    return declarations.LoadElement(owner, ctx, e);
}

void CSwissKnifeCore::Finish(CNodeBase& owner, CLoadContext& ctx, bool integerMode) {
    if (!hasFormula) ctx.Missing(owner, "Formula");
    formula.Compile(text, declarations.symbols, integerMode, owner.Name());
}

bool CSwissKnifeCore::CacheUsable(const CNodeBase& owner, const CNodeMap& map) const {
    if (!cacheValid) return false;
    if (!map.IgnoringCache() && !owner.m_readsDeviceEachTime) return true;
    const uint64_t read = map.ReadNumber();
    return read != 0 && cachedInRead == read;
}

CNumber CSwissKnifeCore::Value(const CNodeBase& owner, const CNodeMap& map) {
    if (CacheUsable(owner, map)) return cached;
    const CNumber value = formula.Evaluate();
    cached = value;
    cachedInRead = map.ReadNumber();
    cacheValid = !owner.m_readsDeviceEachTime || cachedInRead != 0;
    return value;
}

int64_t CIntSwissKnifeNode::IntValue() { return IntResult(*this, m_core.Value(*this, m_map)); }

// ---------------------------------------------------------------- converters

bool CConverterCore::LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e, ERefKind valueKind) {
    const std::string_view name = e.name();
    if (name == "FormulaTo") {
        if (hasTo) ctx.Duplicate(owner, e);
        toText = CLoadContext::Text(e);
        hasTo = true;
    } else if (name == "FormulaFrom") {
        if (hasFrom) ctx.Duplicate(owner, e);
        fromText = CLoadContext::Text(e);
        hasFrom = true;
    } else if (name == "pValue") {
        if (value) ctx.Duplicate(owner, e);
        value = ctx.Ref(owner, e, valueKind);
    } else if (name == "Slope")
        slope = ctx.Keyword<ESlope>(owner, e, {{"Increasing", Increasing}, {"Decreasing", Decreasing},
                                               {"Varying", Varying}, {"Automatic", Automatic}});
    else return declarations.LoadElement(owner, ctx, e);
    return true;
}

void CConverterCore::Finish(CNodeBase& owner, CLoadContext& ctx, bool integerMode) {
    if (!hasTo) ctx.Missing(owner, "FormulaTo");
    if (!hasFrom) ctx.Missing(owner, "FormulaFrom");
    if (!value) ctx.Missing(owner, "pValue");
    CFormulaSymbols symbols = declarations.symbols;
    symbols.implicit = {"FROM"};
    to.Compile(toText, symbols, integerMode, owner.Name());
    symbols.implicit = {"TO"};
    from.Compile(fromText, symbols, integerMode, owner.Name());
}

CNumber CConverterCore::DeviceValue() const {
    return value->IsFloatValued() ? CNumber::Float(value->FloatValue()) : CNumber::Int(value->IntValue());
}

void CConverterCore::WriteDevice(const CNodeBase& owner, CNumber device, bool verify) const {
    if (!device.isInt && std::isnan(device.d))
        throw RUNTIME_EXCEPTION("Node '%s': FormulaTo gives no number", owner.Name().c_str());
    if (value->IsFloatValued()) value->WriteFloat(device.AsDouble(), verify);
    else value->WriteInt(device.isInt ? device.i : Num::RoundToInt64(device.d), verify);
}

bool CConverterCore::Bounds(const CNodeMap& map, CNumber& low, CNumber& high) {
    if (slope == Varying) return false;
    const uint64_t read = map.ReadNumber();
    if (read != 0 && read == m_boundsRead) {
        low = m_low;
        high = m_high;
        return true;
    }
    m_boundsRead = 0;
    const bool floating = value->IsFloatValued();
    const CNumber a = FromDevice(floating ? CNumber::Float(value->FloatMin()) : CNumber::Int(value->IntMin()));
    const CNumber b = FromDevice(floating ? CNumber::Float(value->FloatMax()) : CNumber::Int(value->IntMax()));
    const bool ascending = slope == Increasing || (slope == Automatic && a.AsDouble() <= b.AsDouble());
    low = ascending ? a : b;
    high = ascending ? b : a;
    m_low = low;
    m_high = high;
    m_boundsRead = read;
    return true;
}

bool CIntConverterNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    return m_core.LoadElement(*this, ctx, e, ERefKind::IntValue) || LoadNumberElement(ctx, e);
}

int64_t CIntConverterNode::IntValue() { return IntResult(*this, m_core.FromDevice(m_core.DeviceValue())); }

// The bounds of a converter are images of its node's bounds, which an integer formula may wrap
// around; the node behind the converter checks the converted value against its own bounds instead.
void CIntConverterNode::WriteInt(int64_t value, bool verify) {
    m_core.WriteDevice(*this, m_core.ToDevice(CNumber::Int(value)), verify);
}

int64_t CIntConverterNode::IntMin() {
    CNumber low, high;
    return m_core.Bounds(m_map, low, high) ? IntResult(*this, low) : std::numeric_limits<int64_t>::min();
}

int64_t CIntConverterNode::IntMax() {
    CNumber low, high;
    return m_core.Bounds(m_map, low, high) ? IntResult(*this, high) : std::numeric_limits<int64_t>::max();
}

bool CConverterNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    return m_core.LoadElement(*this, ctx, e, ERefKind::Numeric) || LoadNumberElement(ctx, e);
}

double CConverterNode::FloatValue() { return m_core.FromDevice(m_core.DeviceValue()).AsDouble(); }

void CConverterNode::WriteFloat(double value, bool verify) {
    if (std::isnan(value)) throw OUT_OF_RANGE_EXCEPTION("Node '%s': value is not a number", m_name.c_str());
    m_core.WriteDevice(*this, m_core.ToDevice(CNumber::Float(value)), verify);
}

double CConverterNode::FloatMin() {
    CNumber low, high;
    return m_core.Bounds(m_map, low, high) ? low.AsDouble() : std::numeric_limits<double>::lowest();
}

double CConverterNode::FloatMax() {
    CNumber low, high;
    return m_core.Bounds(m_map, low, high) ? high.AsDouble() : std::numeric_limits<double>::max();
}

} // namespace GenApi
