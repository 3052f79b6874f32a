// Feature nodes that hold a value of their own or pass it on to another node (pValue):
// Integer, Float, Boolean, Command, String, and the Category that groups features.
#pragma once

#include "numericfeature.h"

#include <string>
#include <vector>

namespace GenApi {

class CIntegerNode final : public CIntegerFeature<CNodeBase> {
public:
    using CIntegerFeature<CNodeBase>::CIntegerFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    int64_t IntValue() override { return m_value.Get(); }
    void WriteInt(int64_t value, bool verify) override;
    int64_t IntMin() override;
    int64_t IntMax() override;
    int64_t IntInc() override;
    bool ValueCacheValid() const override { return !m_value.node || m_value.node->ValueCacheValid(); }

protected:
    EAccessMode BaseAccessMode() const override { return m_value.node ? m_value.node->AccessMode() : RW; }

private:
    CIntSource m_value, m_min, m_max, m_inc;
};

class CFloatNode final : public CFloatFeature<CNodeBase> {
public:
    using CFloatFeature<CNodeBase>::CFloatFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    double FloatValue() override { return m_value.Get(); }
    void WriteFloat(double value, bool verify) override;
    double FloatMin() override;
    double FloatMax() override;
    bool HasInc() override { return m_inc.present; }
    double GetInc() override;
    bool ValueCacheValid() const override { return !m_value.node || m_value.node->ValueCacheValid(); }

protected:
    EAccessMode BaseAccessMode() const override { return m_value.node ? m_value.node->AccessMode() : RW; }

private:
    CFloatSource m_value, m_min, m_max, m_inc;
};

class CBooleanNode final : public CValueNode<CNodeBase, IBoolean> {
public:
    using CValueNode<CNodeBase, IBoolean>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Boolean; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIBoolean; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    // 1 for OnValue, 0 for OffValue; any other value of the underlying node is an error.
    int64_t IntValue() override;
    // Non-zero writes OnValue, zero writes OffValue.
    void WriteInt(int64_t value, bool verify) override;
    bool ValueCacheValid() const override { return !m_value.node || m_value.node->ValueCacheValid(); }

    void SetValue(bool value, bool verify = true) override;
    IBoolean& operator=(bool value) override {
        SetValue(value);
        return *this;
    }
    bool GetValue(bool verify = false, bool ignoreCache = false) const override;
    bool operator()() const override { return GetValue(); }
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override;
    void FromString(const GenICam::gcstring& text, bool verify = true) override;

protected:
    EAccessMode BaseAccessMode() const override { return m_value.node ? m_value.node->AccessMode() : RW; }

private:
    CIntSource m_value;
    int64_t m_on = 1;
    int64_t m_off = 0;
};

class CCommandNode final : public CValueNode<CNodeBase, ICommand> {
public:
    using CValueNode<CNodeBase, ICommand>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Command; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfICommand; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;

    void Execute(bool verify = true) override;
    void operator()() override { Execute(); }
    bool IsDone(bool verify = true) override;
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override;
    // "1" or "Execute" executes the command.
    void FromString(const GenICam::gcstring& text, bool verify = true) override;

protected:
    EAccessMode BaseAccessMode() const override { return m_value.node ? m_value.node->AccessMode() : RW; }

private:
    CIntSource m_value, m_commandValue;
};

class CStringNode final : public CValueNode<CNodeBase, IString> {
public:
    using CValueNode<CNodeBase, IString>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::String; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIString; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    std::string StringValue() override { return m_pValue ? m_pValue->StringValue() : m_value; }
    void WriteString(const std::string& value) override;
    int64_t StringMaxLength() override;
    bool ValueCacheValid() const override { return !m_pValue || m_pValue->ValueCacheValid(); }

    void SetValue(const GenICam::gcstring& value, bool verify = true) override;
    IString& operator=(const GenICam::gcstring& value) override {
        SetValue(value);
        return *this;
    }
    GenICam::gcstring GetValue(bool verify = false, bool ignoreCache = false) override;
    GenICam::gcstring operator()() override { return GetValue(); }
    GenICam::gcstring operator*() override { return GetValue(); }
    int64_t GetMaxLength() override;
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override {
        return GetValue(verify, ignoreCache);
    }
    void FromString(const GenICam::gcstring& text, bool verify = true) override { SetValue(text, verify); }

protected:
    EAccessMode BaseAccessMode() const override { return m_pValue ? m_pValue->AccessMode() : RW; }

private:
    std::string m_value;
    CNodeBase* m_pValue = nullptr;
    bool m_hasValue = false;
};

class CCategoryNode final : public CValueNode<CNodeBase, ICategory> {
public:
    using CValueNode<CNodeBase, ICategory>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Category; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfICategory; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void GetChildren(NodeList_t& children) const override;

    void GetFeatures(FeatureList_t& features) const override;
    // A category has no value of its own: its text is empty and cannot be set.
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override;
    void FromString(const GenICam::gcstring& text, bool verify = true) override;

protected:
    EAccessMode BaseAccessMode() const override { return RO; }

private:
    std::vector<CNodeBase*> m_features;
};

} // namespace GenApi
