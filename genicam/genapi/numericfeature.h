// The public IInteger and IFloat behaviour shared by every integer- and float-valued node kind:
// locking, access checks, bound checks and text forms. A node kind supplies only the internal
// value access of CNodeBase (IntValue/WriteInt/IntMin... or FloatValue/WriteFloat/FloatMin...).
#pragma once

#include "nodebase.h"
#include "loadcontext.h"
#include "nodemap.h"
#include "numeric.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string>

namespace GenApi {

// Throws OutOfRangeException unless min <= value <= max and value - min is a multiple of inc.
void CheckIntRange(const std::string& name, int64_t value, int64_t min, int64_t max, int64_t inc);
// Throws OutOfRangeException unless min <= value <= max (NaN is never in range).
void CheckFloatRange(const std::string& name, double value, double min, double max);

template <class Base>
class CIntegerFeature : public CValueNode<Base, IInteger> {
public:
    using CValueNode<Base, IInteger>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Integer; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIInteger; }

    void SetValue(int64_t value, bool verify = true) override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        this->CheckWritable();
        this->WriteInt(value, verify);
    }
    IInteger& operator=(int64_t value) override {
        SetValue(value);
        return *this;
    }
    int64_t GetValue(bool verify = false, bool ignoreCache = false) override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), ignoreCache);
        this->CheckReadable();
        const int64_t value = this->IntValue();
        if (verify) CheckIntRange(this->Name(), value, this->IntMin(), this->IntMax(), this->IntInc());
        return value;
    }
    int64_t operator()() override { return GetValue(); }
    int64_t operator*() override { return GetValue(); }
    int64_t GetMin() override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        return this->IntMin();
    }
    int64_t GetMax() override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        return this->IntMax();
    }
    int64_t GetInc() override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        return this->IntInc();
    }
    ERepresentation GetRepresentation() override { return m_representation; }
    GenICam::gcstring GetUnit() const override { return m_unit; }

    // Addresses are shown in their own forms; FromString takes those forms or a plain integer.
    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override {
        const int64_t value = GetValue(verify, ignoreCache);
        if (m_representation == IPV4Address) return Num::FormatIPv4(value);
        if (m_representation == MACAddress) return Num::FormatMAC(value);
        char text[32];
        if (m_representation == HexNumber)
            std::snprintf(text, sizeof text, "0x%" PRIX64, static_cast<uint64_t>(value));
        else
            std::snprintf(text, sizeof text, "%" PRId64, value);
        return text;
    }
    void FromString(const GenICam::gcstring& text, bool verify = true) override {
        std::optional<int64_t> value;
        if (m_representation == IPV4Address) value = Num::ParseIPv4(text.str());
        else if (m_representation == MACAddress) value = Num::ParseMAC(text.str());
        if (!value) value = Num::ParseInt64(text.str());
        if (!value)
            throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not an integer", this->Name().c_str(), text.c_str());
        SetValue(*value, verify);
    }

protected:
    // Representation and Unit, common to all integer kinds.
    bool LoadNumberElement(CLoadContext& ctx, const pugi::xml_node& e);

    ERepresentation m_representation = PureNumber;
    std::string m_unit;
};

template <class Base>
class CFloatFeature : public CValueNode<Base, IFloat> {
public:
    using CValueNode<Base, IFloat>::CValueNode;

    EValueKind ValueKind() const override { return EValueKind::Float; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIFloat; }

    void SetValue(double value, bool verify = true) override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        this->CheckWritable();
        this->WriteFloat(value, verify);
    }
    IFloat& operator=(double value) override {
        SetValue(value);
        return *this;
    }
    double GetValue(bool verify = false, bool ignoreCache = false) override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), ignoreCache);
        this->CheckReadable();
        const double value = this->FloatValue();
        if (verify) CheckFloatRange(this->Name(), value, this->FloatMin(), this->FloatMax());
        return value;
    }
    double operator()() override { return GetValue(); }
    double operator*() override { return GetValue(); }
    double GetMin() override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        return this->FloatMin();
    }
    double GetMax() override {
        AutoLock lock(this->MapLock());
        CReadScope scope(this->Map(), false);
        return this->FloatMax();
    }
    bool HasInc() override { return false; }
    double GetInc() override { return 0.0; }
    ERepresentation GetRepresentation() override { return m_representation; }
    GenICam::gcstring GetUnit() const override { return m_unit; }

    GenICam::gcstring ToString(bool verify = false, bool ignoreCache = false) override {
        return Num::FormatDouble(GetValue(verify, ignoreCache));
    }
    void FromString(const GenICam::gcstring& text, bool verify = true) override {
        const auto value = Num::ParseDouble(text.str());
        if (!value)
            throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not a number", this->Name().c_str(), text.c_str());
        SetValue(*value, verify);
    }

protected:
    bool LoadNumberElement(CLoadContext& ctx, const pugi::xml_node& e);

    ERepresentation m_representation = PureNumber;
    std::string m_unit;
};

ERepresentation ParseRepresentation(CLoadContext& ctx, const CNodeBase& owner, const pugi::xml_node& e);

template <class Base>
bool CIntegerFeature<Base>::LoadNumberElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Representation") m_representation = ParseRepresentation(ctx, *this, e);
    else if (name == "Unit") m_unit = CLoadContext::Text(e);
    else return false;
    return true;
}

template <class Base>
bool CFloatFeature<Base>::LoadNumberElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Representation") m_representation = ParseRepresentation(ctx, *this, e);
    else if (name == "Unit") m_unit = CLoadContext::Text(e);
    else if (name == "DisplayNotation" || name == "DisplayPrecision") {
        // Presentation hints without effect on values.
    } else return false;
    return true;
}

} // namespace GenApi
