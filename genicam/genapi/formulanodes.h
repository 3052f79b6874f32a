// Nodes whose value is a formula over other nodes: IntSwissKnife and SwissKnife (read-only), and
// IntConverter and Converter, which translate between a feature value (FROM) and the value of the
// node behind them (TO) with a formula for each direction.
#pragma once

#include "formula.h"
#include "numericfeature.h"

#include <string>

namespace GenApi {

// The pVariable, Constant and Expression elements of a formula node.
struct CFormulaDeclarations {
    CFormulaSymbols symbols;
    bool LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e);
};

// What both swiss knife kinds share: the declarations, the one formula and its value. The value is
// kept until something the formula reads is invalidated, so that swiss knives reading swiss knives
// cost one evaluation each, not one per path through them. A formula over a register that is read
// anew each time (NoCache), and any formula during an IgnoreCache read, keeps its value for the one
// read of the public interface it was computed in (CReadScope).
struct CSwissKnifeCore {
    CFormulaDeclarations declarations;
    std::string text;
    bool hasFormula = false;
    CFormula formula;
    CNumber cached;
    bool cacheValid = false;
    uint64_t cachedInRead = 0; // the read the value was computed in, 0 outside any
    // True if the kept value may be used now.
    bool CacheUsable(const CNodeBase& owner, const CNodeMap& map) const;

    bool LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e);
    void Finish(CNodeBase& owner, CLoadContext& ctx, bool integerMode);
    CNumber Value(const CNodeBase& owner, const CNodeMap& map);
};

class CIntSwissKnifeNode final : public CIntegerFeature<CNodeBase> {
public:
    using CIntegerFeature<CNodeBase>::CIntegerFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override {
        return m_core.LoadElement(*this, ctx, e) || LoadNumberElement(ctx, e);
    }
    void FinishLoad(CLoadContext& ctx) override { m_core.Finish(*this, ctx, true); }
    int64_t IntValue() override;
    void DropCache() override { m_core.cacheValid = false; }
    bool ValueCacheValid() const override {
        return (m_core.cacheValid && !m_readsDeviceEachTime) || CNodeBase::ValueCacheValid();
    }

protected:
    EAccessMode BaseAccessMode() const override { return RO; }

private:
    CSwissKnifeCore m_core;
};

class CSwissKnifeNode final : public CFloatFeature<CNodeBase> {
public:
    using CFloatFeature<CNodeBase>::CFloatFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override {
        return m_core.LoadElement(*this, ctx, e) || LoadNumberElement(ctx, e);
    }
    void FinishLoad(CLoadContext& ctx) override { m_core.Finish(*this, ctx, false); }
    double FloatValue() override { return m_core.Value(*this, m_map).AsDouble(); }
    void DropCache() override { m_core.cacheValid = false; }
    bool ValueCacheValid() const override {
        return (m_core.cacheValid && !m_readsDeviceEachTime) || CNodeBase::ValueCacheValid();
    }

protected:
    EAccessMode BaseAccessMode() const override { return RO; }

private:
    CSwissKnifeCore m_core;
};

// What both converter kinds share: the two formulas, the converted node and the slope.
struct CConverterCore {
    CFormulaDeclarations declarations;
    std::string toText, fromText;
    bool hasTo = false, hasFrom = false;
    CFormula to, from;
    CNodeBase* value = nullptr;
    ESlope slope = Automatic;

    bool LoadElement(CNodeBase& owner, CLoadContext& ctx, const pugi::xml_node& e, ERefKind valueKind);
    void Finish(CNodeBase& owner, CLoadContext& ctx, bool integerMode);
    // TO read from the converted node.
    CNumber DeviceValue() const;
    // Feature value for a device value, and device value for a feature value.
    CNumber FromDevice(CNumber device) const { return from.Evaluate(&device); }
    CNumber ToDevice(CNumber feature) const { return to.Evaluate(&feature); }
    // Writes a value computed by FormulaTo to the converted node.
    void WriteDevice(const CNodeBase& owner, CNumber device, bool verify) const;
    // The feature's bounds from the converted node's bounds: none for a varying slope, else the
    // images of the node's bounds, in the order the slope gives. Kept for the read they were
    // computed in: a minimum and a maximum asked in one read cost one computation, and converters
    // over converters cost one each, not one per path.
    bool Bounds(const CNodeMap& map, CNumber& low, CNumber& high);
    void ForgetBounds() noexcept { m_boundsRead = 0; }

private:
    CNumber m_low, m_high;
    uint64_t m_boundsRead = 0;
};

class CIntConverterNode final : public CIntegerFeature<CNodeBase> {
public:
    using CIntegerFeature<CNodeBase>::CIntegerFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override { m_core.Finish(*this, ctx, true); }
    int64_t IntValue() override;
    void WriteInt(int64_t value, bool verify) override;
    int64_t IntMin() override;
    int64_t IntMax() override;
    void DropCache() override { m_core.ForgetBounds(); }

protected:
    EAccessMode BaseAccessMode() const override { return m_core.value ? m_core.value->AccessMode() : NA; }

private:
    CConverterCore m_core;
};

class CConverterNode final : public CFloatFeature<CNodeBase> {
public:
    using CFloatFeature<CNodeBase>::CFloatFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override { m_core.Finish(*this, ctx, false); }
    double FloatValue() override;
    void WriteFloat(double value, bool verify) override;
    double FloatMin() override;
    double FloatMax() override;
    void DropCache() override { m_core.ForgetBounds(); }

protected:
    EAccessMode BaseAccessMode() const override { return m_core.value ? m_core.value->AccessMode() : NA; }

private:
    CConverterCore m_core;
};

} // namespace GenApi
