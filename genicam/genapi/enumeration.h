// Enumeration and EnumEntry nodes. The entries of an enumeration are nodes of their own, named
// "EnumEntry_<enumeration>_<entry>"; the enumeration finds them by value and by symbolic name
// through hash maps, so that lookups cost the same with 3 entries or with 179.
#pragma once

#include "numericfeature.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace GenApi {

class CEnumEntryNode final : public CValueNode<CNodeBase, IEnumEntry> {
public:
    CEnumEntryNode(CNodeMap& map, std::string name, std::string symbolic)
        : CValueNode<CNodeBase, IEnumEntry>(map, std::move(name)), m_symbolic(std::move(symbolic)) {}

    static std::string NodeName(const std::string& enumeration, const std::string& entry) {
        return "EnumEntry_" + enumeration + "_" + entry;
    }

    EValueKind ValueKind() const override { return EValueKind::EnumEntry; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIEnumEntry; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    int64_t IntValue() override { return m_value; }

    int64_t GetValue() override { return m_value; }
    GenICam::gcstring GetSymbolic() const override { return m_symbolic; }
    double GetNumericValue() override { return m_hasNumeric ? m_numeric : static_cast<double>(m_value); }
    bool IsSelfClearing() override { return m_selfClearing; }
    GenICam::gcstring ToString(bool, bool) override { return m_symbolic; }
    void FromString(const GenICam::gcstring& text, bool verify = true) override;

    const std::string& Symbolic() const noexcept { return m_symbolic; }
    bool Available() const { return IsAvailable(AccessMode()); }

protected:
    EAccessMode BaseAccessMode() const override { return RO; }

private:
    std::string m_symbolic;
    int64_t m_value = 0;
    double m_numeric = 0.0;
    bool m_hasValue = false;
    bool m_hasNumeric = false;
    bool m_selfClearing = false;
};

class CEnumerationNode final : public CValueNode<CNodeBase, IEnumeration> {
public:
    using CValueNode<CNodeBase, IEnumeration>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Enumeration; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIEnumeration; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    void GetChildren(NodeList_t& children) const override;
    int64_t IntValue() override { return m_value.Get(); }
    // Refuses a value without an entry, or whose entry is not available now.
    void WriteInt(int64_t value, bool verify) override;
    int64_t IntMin() override;
    int64_t IntMax() override;
    bool ValueCacheValid() const override { return !m_value.node || m_value.node->ValueCacheValid(); }

    void GetSymbolics(StringList_t& symbolics) override;
    void GetEntries(NodeList_t& entries) override;
    IEnumeration& operator=(const GenICam::gcstring& text) override {
        FromString(text);
        return *this;
    }
    void SetIntValue(int64_t value, bool verify = true) override;
    GenICam::gcstring operator*() override { return ToString(); }
    int64_t GetIntValue(bool verify = false, bool ignoreCache = false) override;
    IEnumEntry* GetEntryByName(const GenICam::gcstring& symbolic) override;
    IEnumEntry* GetEntry(const int64_t value) override;
    IEnumEntry* GetCurrentEntry(bool verify = false, bool ignoreCache = false) override;
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override;
    void FromString(const GenICam::gcstring& text, bool verify = true) override;

protected:
    EAccessMode BaseAccessMode() const override { return m_value.node ? m_value.node->AccessMode() : RW; }

private:
    CEnumEntryNode* FindByValue(int64_t value) const;

    CIntSource m_value;
    std::vector<CEnumEntryNode*> m_entries;
    std::unordered_map<int64_t, CEnumEntryNode*> m_byValue;
    std::unordered_map<std::string, CEnumEntryNode*> m_bySymbolic;
};

} // namespace GenApi
