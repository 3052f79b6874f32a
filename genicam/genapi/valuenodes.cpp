#include "valuenodes.h"

#include "loadcontext.h"

#include <algorithm>
#include <cctype>
#include <limits>

namespace GenApi {

// ---------------------------------------------------------------- Integer

// Bounds may come from a float node too (a SwissKnife over integer registers); they are rounded.
bool CIntegerNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    return ctx.MatchInt(*this, e, "Value", "pValue", m_value) ||
           ctx.MatchInt(*this, e, "Min", "pMin", m_min, ERefKind::Numeric) ||
           ctx.MatchInt(*this, e, "Max", "pMax", m_max, ERefKind::Numeric) ||
           ctx.MatchInt(*this, e, "Inc", "pInc", m_inc, ERefKind::Numeric) || LoadNumberElement(ctx, e);
}

// An increment of 0 or below makes no grid of values (and would divide by zero in a client that
// steps through the range): refused at load, and when a pInc node gives one.
void CIntegerNode::FinishLoad(CLoadContext& ctx) {
    if (!m_value.present) ctx.Missing(*this, "Value");
    if (m_inc.present && !m_inc.node && m_inc.constant <= 0)
        throw LOGICAL_ERROR_EXCEPTION("Node '%s': <Inc> is %lld, an increment must be 1 or more", m_name.c_str(),
                                      static_cast<long long>(m_inc.constant));
}

// Without bounds of its own the node takes those of the node that holds its value.
int64_t CIntegerNode::IntMin() {
    if (m_min.present) return m_min.Get();
    return m_value.node ? m_value.node->IntMin() : std::numeric_limits<int64_t>::min();
}

int64_t CIntegerNode::IntMax() {
    if (m_max.present) return m_max.Get();
    return m_value.node ? m_value.node->IntMax() : std::numeric_limits<int64_t>::max();
}

int64_t CIntegerNode::IntInc() {
    if (!m_inc.present) return m_value.node ? m_value.node->IntInc() : 1;
    const int64_t inc = m_inc.Get();
    if (inc <= 0)
        throw LOGICAL_ERROR_EXCEPTION("Node '%s': the increment is %lld, an increment must be 1 or more",
                                      m_name.c_str(), static_cast<long long>(inc));
    return inc;
}

void CIntegerNode::WriteInt(int64_t value, bool verify) {
    if (verify) CheckIntRange(m_name, value, IntMin(), IntMax(), IntInc());
    if (m_value.node) return m_value.node->WriteInt(value, verify);
    m_value.constant = value;
    Changed();
}

// ---------------------------------------------------------------- Float

bool CFloatNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    return ctx.MatchFloat(*this, e, "Value", "pValue", m_value) || ctx.MatchFloat(*this, e, "Min", "pMin", m_min) ||
           ctx.MatchFloat(*this, e, "Max", "pMax", m_max) || ctx.MatchFloat(*this, e, "Inc", "pInc", m_inc) ||
           LoadNumberElement(ctx, e);
}

void CFloatNode::FinishLoad(CLoadContext& ctx) {
    if (!m_value.present) ctx.Missing(*this, "Value");
    if (m_inc.present && !m_inc.node && !(m_inc.constant > 0.0))
        throw LOGICAL_ERROR_EXCEPTION("Node '%s': <Inc> is %f, an increment must be above 0", m_name.c_str(),
                                      m_inc.constant);
}

double CFloatNode::FloatMin() {
    if (m_min.present) return m_min.Get();
    return m_value.node ? m_value.node->FloatMin() : std::numeric_limits<double>::lowest();
}

double CFloatNode::FloatMax() {
    if (m_max.present) return m_max.Get();
    return m_value.node ? m_value.node->FloatMax() : std::numeric_limits<double>::max();
}

double CFloatNode::GetInc() {
    AutoLock lock(MapLock());
    if (!m_inc.present) return 0.0;
    const double inc = m_inc.Get();
    if (!(inc > 0.0))
        throw LOGICAL_ERROR_EXCEPTION("Node '%s': the increment is %f, an increment must be above 0", m_name.c_str(),
                                      inc);
    return inc;
}

void CFloatNode::WriteFloat(double value, bool verify) {
    if (verify) CheckFloatRange(m_name, value, FloatMin(), FloatMax());
    if (m_value.node) return m_value.node->WriteFloat(value, verify);
    m_value.constant = value;
    Changed();
}

// ---------------------------------------------------------------- Boolean

bool CBooleanNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "OnValue") m_on = ctx.Int(*this, e);
    else if (name == "OffValue") m_off = ctx.Int(*this, e);
    else return ctx.MatchInt(*this, e, "Value", "pValue", m_value);
    return true;
}

void CBooleanNode::FinishLoad(CLoadContext& ctx) {
    if (!m_value.present) ctx.Missing(*this, "Value");
    if (m_on == m_off)
        throw RUNTIME_EXCEPTION("Node '%s': OnValue and OffValue are both %lld", m_name.c_str(),
                                static_cast<long long>(m_on));
}

int64_t CBooleanNode::IntValue() {
    const int64_t value = m_value.Get();
    if (value == m_on) return 1;
    if (value == m_off) return 0;
    throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %lld is neither OnValue %lld nor OffValue %lld", m_name.c_str(),
                                 static_cast<long long>(value), static_cast<long long>(m_on),
                                 static_cast<long long>(m_off));
}

void CBooleanNode::WriteInt(int64_t value, bool verify) {
    const int64_t raw = value != 0 ? m_on : m_off;
    if (m_value.node) return m_value.node->WriteInt(raw, verify);
    m_value.constant = raw;
    Changed();
}

void CBooleanNode::SetValue(bool value, bool verify) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, false);
    CheckWritable();
    WriteInt(value ? 1 : 0, verify);
}

bool CBooleanNode::GetValue(bool, bool ignoreCache) const {
    AutoLock lock(MapLock());
    // Reading may fill register caches; the node itself stays as it is.
    auto& self = const_cast<CBooleanNode&>(*this);
    CReadScope scope(self.Map(), ignoreCache);
    CheckReadable();
    return self.IntValue() != 0;
}

GenICam::gcstring CBooleanNode::ToString(bool verify, bool ignoreCache) {
    return GetValue(verify, ignoreCache) ? "true" : "false";
}

void CBooleanNode::FromString(const GenICam::gcstring& text, bool verify) {
    std::string word(Num::Trim(text.str()));
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    if (word == "true" || word == "1") return SetValue(true, verify);
    if (word == "false" || word == "0") return SetValue(false, verify);
    throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not a boolean", m_name.c_str(), text.c_str());
}

// ---------------------------------------------------------------- Command

bool CCommandNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    if (std::string_view(e.name()) == "PollingTime") return true;
    return ctx.MatchInt(*this, e, "Value", "pValue", m_value) ||
           ctx.MatchInt(*this, e, "CommandValue", "pCommandValue", m_commandValue);
}

void CCommandNode::FinishLoad(CLoadContext& ctx) {
    if (!m_value.present) ctx.Missing(*this, "Value");
    if (!m_commandValue.present) ctx.Missing(*this, "CommandValue");
}

void CCommandNode::Execute(bool verify) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, false);
    CheckWritable();
    const int64_t command = m_commandValue.Get();
    if (m_value.node) return m_value.node->WriteInt(command, verify);
    m_value.constant = command;
    Changed();
}

// The device clears the command value when done. A command it cannot be asked about (write-only
// register, or no device at all) counts as done.
bool CCommandNode::IsDone(bool) {
    AutoLock lock(MapLock());
    CNodeBase* node = m_value.node;
    if (!node || !IsReadable(node->AccessMode())) return true;
    CReadScope scope(m_map, true);
    return node->IntValue() != m_commandValue.Get();
}

GenICam::gcstring CCommandNode::ToString(bool, bool) { return ""; }

void CCommandNode::FromString(const GenICam::gcstring& text, bool verify) {
    const std::string_view word = Num::Trim(text.str());
    if (word == "1" || word == "Execute") return Execute(verify);
    throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' does not execute a command", m_name.c_str(), text.c_str());
}

// ---------------------------------------------------------------- String

bool CStringNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Value") {
        if (m_hasValue || m_pValue) ctx.Duplicate(*this, e);
        m_value = CLoadContext::Text(e);
        m_hasValue = true;
    } else if (name == "pValue") {
        if (m_hasValue || m_pValue) ctx.Duplicate(*this, e);
        m_pValue = ctx.Ref(*this, e, ERefKind::String);
    } else return false;
    return true;
}

void CStringNode::FinishLoad(CLoadContext& ctx) {
    if (!m_hasValue && !m_pValue) ctx.Missing(*this, "Value");
}

void CStringNode::WriteString(const std::string& value) {
    if (m_pValue) return m_pValue->WriteString(value);
    m_value = value;
    Changed();
}

int64_t CStringNode::StringMaxLength() {
    return m_pValue ? m_pValue->StringMaxLength() : std::numeric_limits<int64_t>::max();
}

void CStringNode::SetValue(const GenICam::gcstring& value, bool) {
    AutoLock lock(MapLock());
    CheckWritable();
    WriteString(value.str());
}

GenICam::gcstring CStringNode::GetValue(bool, bool ignoreCache) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, ignoreCache);
    CheckReadable();
    return StringValue();
}

int64_t CStringNode::GetMaxLength() {
    AutoLock lock(MapLock());
    return StringMaxLength();
}

// ---------------------------------------------------------------- Category

bool CCategoryNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    if (std::string_view(e.name()) != "pFeature") return false;
    // A category lists its features without reading them: no edge of the dependency graph.
    CNodeBase* feature = ctx.Map().Find(std::string(CLoadContext::Text(e)));
    if (!feature)
        throw RUNTIME_EXCEPTION("Node '%s': <pFeature> refers to node '%s', which does not exist", m_name.c_str(),
                                std::string(CLoadContext::Text(e)).c_str());
    if (!AcceptsRef(*feature, ERefKind::Feature))
        throw RUNTIME_EXCEPTION("Node '%s': <pFeature> refers to node '%s', which is no feature", m_name.c_str(),
                                feature->Name().c_str());
    feature->MarkAsFeature();
    m_features.push_back(feature);
    return true;
}

void CCategoryNode::GetChildren(NodeList_t& children) const {
    AutoLock lock(MapLock());
    children.assign(m_features.begin(), m_features.end());
}

void CCategoryNode::GetFeatures(FeatureList_t& features) const {
    AutoLock lock(MapLock());
    features.clear();
    for (CNodeBase* node : m_features)
        if (auto* value = dynamic_cast<IValue*>(node)) features.push_back(value);
}

GenICam::gcstring CCategoryNode::ToString(bool, bool) { return ""; }

void CCategoryNode::FromString(const GenICam::gcstring&, bool) {
    throw ACCESS_EXCEPTION("Node '%s' is a category and takes no value", m_name.c_str());
}

} // namespace GenApi
