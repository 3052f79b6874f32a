#include "nodebase.h"

#include "loadcontext.h"
#include "nodemap.h"
#include "numeric.h"

#include <algorithm>
#include <limits>

namespace GenApi {

EAccessMode CombineAccess(EAccessMode a, EAccessMode b) noexcept {
    if (a == NI || b == NI) return NI;
    if (a == NA || b == NA) return NA;
    if ((a == RO && b == WO) || (a == WO && b == RO)) return NA;
    if (a == RW) return b;
    return a;
}

CNodeBase::CNodeBase(CNodeMap& map, std::string name) : m_map(map), m_name(std::move(name)) {}

CNodeBase::~CNodeBase() = default;

CLock& CNodeBase::MapLock() const { return m_map.GetLock(); }

INodeMap* CNodeBase::GetNodeMap() const { return &m_map; }

GenICam::gcstring CNodeBase::GetName(bool) const { return m_name; }

GenICam::gcstring CNodeBase::GetDisplayName() const { return m_displayName.empty() ? m_name : m_displayName; }

void CNodeBase::GetChildren(NodeList_t& children) const {
    AutoLock lock(MapLock());
    children.assign(m_children.begin(), m_children.end());
}

void CNodeBase::GetParents(NodeList_t& parents) const {
    AutoLock lock(MapLock());
    parents.assign(m_parents.begin(), m_parents.end());
}

EAccessMode CNodeBase::GetAccessMode() const {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, false);
    return AccessMode();
}

// Not implemented wins over not available, which wins over everything else; a lock turns a
// writable node read-only (a write-only one unavailable).
EAccessMode CNodeBase::AccessMode() const {
    if (m_pIsImplemented && m_pIsImplemented->IntValue() == 0) return NI;
    if (m_pIsAvailable && m_pIsAvailable->IntValue() == 0) return NA;
    EAccessMode mode = CombineAccess(BaseAccessMode(), m_imposedAccess);
    if (m_pIsLocked && m_pIsLocked->IntValue() != 0) {
        if (mode == RW) mode = RO;
        else if (mode == WO) mode = NA;
    }
    return mode;
}

void CNodeBase::CheckReadable() const {
    const EAccessMode mode = AccessMode();
    if (!IsReadable(mode))
        throw ACCESS_EXCEPTION("Node '%s' is not readable (access mode %s)", m_name.c_str(), AccessModeName(mode));
}

void CNodeBase::CheckWritable() const {
    const EAccessMode mode = AccessMode();
    if (!IsWritable(mode))
        throw ACCESS_EXCEPTION("Node '%s' is not writable (access mode %s)", m_name.c_str(), AccessModeName(mode));
}

void CNodeBase::InvalidateNode() {
    AutoLock lock(MapLock());
    m_map.Invalidate(this);
}

void CNodeBase::Changed() { m_map.Invalidate(this); }

bool CNodeBase::ValueCacheValid() const {
    return std::all_of(m_children.begin(), m_children.end(),
                       [](const CNodeBase* child) { return child->ValueCacheValid(); });
}

int64_t CNodeBase::IntValue() {
    if (IsFloatValued()) return Num::RoundToInt64(FloatValue());
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' has no numeric value", m_name.c_str());
}

double CNodeBase::FloatValue() {
    if (!IsFloatValued()) return static_cast<double>(IntValue());
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' has no numeric value", m_name.c_str());
}

void CNodeBase::WriteInt(int64_t value, bool verify) {
    if (IsFloatValued()) return WriteFloat(static_cast<double>(value), verify);
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' takes no numeric value", m_name.c_str());
}

void CNodeBase::WriteFloat(double value, bool verify) {
    if (!IsFloatValued()) return WriteInt(Num::RoundToInt64(value), verify);
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' takes no numeric value", m_name.c_str());
}

int64_t CNodeBase::IntMin() {
    return IsFloatValued() ? Num::RoundToInt64(FloatMin()) : std::numeric_limits<int64_t>::min();
}
int64_t CNodeBase::IntMax() {
    return IsFloatValued() ? Num::RoundToInt64(FloatMax()) : std::numeric_limits<int64_t>::max();
}
int64_t CNodeBase::IntInc() { return 1; }
double CNodeBase::FloatMin() {
    return IsFloatValued() ? std::numeric_limits<double>::lowest() : static_cast<double>(IntMin());
}
double CNodeBase::FloatMax() {
    return IsFloatValued() ? std::numeric_limits<double>::max() : static_cast<double>(IntMax());
}

std::string CNodeBase::StringValue() {
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' has no text value", m_name.c_str());
}

void CNodeBase::WriteString(const std::string&) {
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' takes no text value", m_name.c_str());
}

int64_t CNodeBase::StringMaxLength() { return 0; }

bool CNodeBase::LoadElement(CLoadContext&, const pugi::xml_node&) { return false; }

void CNodeBase::LoadAttributes(CLoadContext&, const pugi::xml_node& element) {
    const pugi::xml_attribute nameSpace = element.attribute("NameSpace");
    if (!nameSpace) return;
    const std::string_view value = nameSpace.value();
    if (value == "Standard") m_nameSpace = Standard;
    else if (value == "Custom") m_nameSpace = Custom;
    else
        throw RUNTIME_EXCEPTION("Node '%s': NameSpace '%s' is neither Standard nor Custom", m_name.c_str(),
                                nameSpace.value());
}

void CNodeBase::FinishLoad(CLoadContext&) {}

bool CNodeBase::LoadCommonElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "ToolTip") m_toolTip = CLoadContext::Text(e);
    else if (name == "Description") m_description = CLoadContext::Text(e);
    else if (name == "DisplayName") m_displayName = CLoadContext::Text(e);
    else if (name == "Visibility")
        m_visibility = ctx.Keyword<EVisibility>(
            *this, e, {{"Beginner", Beginner}, {"Expert", Expert}, {"Guru", Guru}, {"Invisible", Invisible}});
    else if (name == "ImposedAccessMode") m_imposedAccess = ctx.Access(*this, e);
    else if (name == "Streamable") m_streamable = ctx.YesNo(*this, e);
    else if (name == "pIsImplemented") {
        if (m_pIsImplemented) ctx.Duplicate(*this, e);
        m_pIsImplemented = ctx.Ref(*this, e, ERefKind::Condition);
    } else if (name == "pIsAvailable") {
        if (m_pIsAvailable) ctx.Duplicate(*this, e);
        m_pIsAvailable = ctx.Ref(*this, e, ERefKind::Condition);
    } else if (name == "pIsLocked") {
        if (m_pIsLocked) ctx.Duplicate(*this, e);
        m_pIsLocked = ctx.Ref(*this, e, ERefKind::Condition);
    } else if (name == "pInvalidator") ctx.AddInvalidator(*this, e);
    else if (name == "pSelected") ctx.AddSelected(*this, e);
    else if (name == "Extension" || name == "EventID" || name == "pBlockPolling" || name == "pError" ||
             name == "pAlias" || name == "pCastAlias" || name == "DocuURL" || name == "IsDeprecated") {
        // Known to the schema, of no consequence here.
    } else return false;
    return true;
}

CReadScope::CReadScope(CNodeMap& map, bool ignoreCache) : m_map(map), m_ignoreCache(ignoreCache) {
    m_map.BeginRead(m_ignoreCache);
}

CReadScope::~CReadScope() { m_map.EndRead(m_ignoreCache); }

} // namespace GenApi
