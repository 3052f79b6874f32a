#include "enumeration.h"

#include "loadcontext.h"

#include <algorithm>
#include <limits>

namespace GenApi {

// ---------------------------------------------------------------- EnumEntry

bool CEnumEntryNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Value") {
        if (m_hasValue) ctx.Duplicate(*this, e);
        m_value = ctx.Int(*this, e);
        m_hasValue = true;
    } else if (name == "NumericValue") {
        m_numeric = ctx.Float(*this, e);
        m_hasNumeric = true;
    } else if (name == "Symbolic") m_symbolic = CLoadContext::Text(e);
    else if (name == "IsSelfClearing") m_selfClearing = ctx.YesNo(*this, e);
    else return false;
    return true;
}

void CEnumEntryNode::FinishLoad(CLoadContext& ctx) {
    if (!m_hasValue) ctx.Missing(*this, "Value");
}

void CEnumEntryNode::FromString(const GenICam::gcstring&, bool) {
    throw ACCESS_EXCEPTION("Node '%s' is not writable (access mode RO)", m_name.c_str());
}

// ---------------------------------------------------------------- Enumeration

bool CEnumerationNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "EnumEntry") {
        // The loader made the entry node before any element was read.
        auto* entry = static_cast<CEnumEntryNode*>(
            ctx.Map().Find(CEnumEntryNode::NodeName(m_name, e.attribute("Name").value())));
        ctx.LoadNode(*entry, e);
        m_entries.push_back(entry);
        m_byValue.emplace(entry->GetValue(), entry);
        if (!m_bySymbolic.emplace(entry->Symbolic(), entry).second)
            throw RUNTIME_EXCEPTION("Node '%s': two entries are named '%s'", m_name.c_str(), entry->Symbolic().c_str());
        return true;
    }
    if (name == "PollingTime") return true;
    return ctx.MatchInt(*this, e, "Value", "pValue", m_value);
}

void CEnumerationNode::FinishLoad(CLoadContext& ctx) {
    if (!m_value.present) ctx.Missing(*this, "Value");
}

void CEnumerationNode::GetChildren(NodeList_t& children) const {
    CNodeBase::GetChildren(children);
    AutoLock lock(MapLock());
    children.insert(children.end(), m_entries.begin(), m_entries.end());
}

CEnumEntryNode* CEnumerationNode::FindByValue(int64_t value) const {
    const auto it = m_byValue.find(value);
    return it == m_byValue.end() ? nullptr : it->second;
}

// Bounds of the entry values, for a formula or converter that asks an enumeration for them.
int64_t CEnumerationNode::IntMin() {
    int64_t min = std::numeric_limits<int64_t>::max();
    for (CEnumEntryNode* entry : m_entries) min = std::min(min, entry->GetValue());
    return m_entries.empty() ? 0 : min;
}

int64_t CEnumerationNode::IntMax() {
    int64_t max = std::numeric_limits<int64_t>::min();
    for (CEnumEntryNode* entry : m_entries) max = std::max(max, entry->GetValue());
    return m_entries.empty() ? 0 : max;
}

void CEnumerationNode::WriteInt(int64_t value, bool verify) {
    const CEnumEntryNode* entry = FindByValue(value);
    if (!entry)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': %lld is the value of no entry", m_name.c_str(),
                                     static_cast<long long>(value));
    if (!entry->Available())
        throw ACCESS_EXCEPTION("Node '%s': entry '%s' is not available", m_name.c_str(), entry->Symbolic().c_str());
    if (m_value.node) return m_value.node->WriteInt(value, verify);
    m_value.constant = value;
    Changed();
}

void CEnumerationNode::SetIntValue(int64_t value, bool verify) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, false);
    CheckWritable();
    WriteInt(value, verify);
}

int64_t CEnumerationNode::GetIntValue(bool verify, bool ignoreCache) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, ignoreCache);
    CheckReadable();
    const int64_t value = IntValue();
    if (verify && !FindByValue(value))
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': %lld is the value of no entry", m_name.c_str(),
                                     static_cast<long long>(value));
    return value;
}

void CEnumerationNode::GetSymbolics(StringList_t& symbolics) {
    AutoLock lock(MapLock());
    symbolics.clear();
    for (const CEnumEntryNode* entry : m_entries)
        if (entry->Available()) symbolics.push_back(entry->Symbolic());
}

void CEnumerationNode::GetEntries(NodeList_t& entries) {
    AutoLock lock(MapLock());
    entries.assign(m_entries.begin(), m_entries.end());
}

IEnumEntry* CEnumerationNode::GetEntryByName(const GenICam::gcstring& symbolic) {
    AutoLock lock(MapLock());
    const auto it = m_bySymbolic.find(symbolic.str());
    return it == m_bySymbolic.end() ? nullptr : it->second;
}

IEnumEntry* CEnumerationNode::GetEntry(const int64_t value) {
    AutoLock lock(MapLock());
    return FindByValue(value);
}

IEnumEntry* CEnumerationNode::GetCurrentEntry(bool verify, bool ignoreCache) {
    AutoLock lock(MapLock());
    return FindByValue(GetIntValue(verify, ignoreCache));
}

GenICam::gcstring CEnumerationNode::ToString(bool verify, bool ignoreCache) {
    AutoLock lock(MapLock());
    const int64_t value = GetIntValue(verify, ignoreCache);
    const CEnumEntryNode* entry = FindByValue(value);
    if (!entry)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': %lld is the value of no entry", m_name.c_str(),
                                     static_cast<long long>(value));
    return entry->Symbolic();
}

void CEnumerationNode::FromString(const GenICam::gcstring& text, bool verify) {
    AutoLock lock(MapLock());
    const auto it = m_bySymbolic.find(text.str());
    if (it == m_bySymbolic.end())
        throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not an entry", m_name.c_str(), text.c_str());
    SetIntValue(it->second->GetValue(), verify);
}

} // namespace GenApi
