// Port and register nodes. A register reads and writes its bytes through a port node, which hands
// them to the IPort the client connected. How a register keeps its bytes follows its Cachable
// element: WriteThrough (the default) keeps what it read and what it wrote, WriteAround keeps what it
// read and reads back once after a write (for a device that may clamp or ignore what it is given),
// NoCache reads the port each time.
#pragma once

#include "numericfeature.h"

#include <vector>

namespace GenApi {

class CRegisterBase;

class CPortNode final : public CNodeBase, public IPort {
public:
    using CNodeBase::CNodeBase;

    // IPort: forwards to the connected port, under the map's lock.
    void Read(void* buffer, int64_t address, int64_t length) override;
    void Write(const void* buffer, int64_t address, int64_t length) override;

    EValueKind ValueKind() const override { return EValueKind::Port; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIPort; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;

    // Engine-internal.
    void Connect(IPort* port);
    bool IsConnected() const noexcept { return m_port != nullptr; }
    void AddRegister(CRegisterBase* reg) { m_registers.push_back(reg); }
    // Invalidates this port's registers whose cache holds any of the bytes written, with everything
    // computed from them.
    void BytesWritten(int64_t address, size_t length);
    void ReadFor(const CNodeBase& reg, uint8_t* buffer, int64_t address, int64_t length);
    void WriteFor(const CNodeBase& reg, const uint8_t* buffer, int64_t address, int64_t length);

protected:
    EAccessMode BaseAccessMode() const override { return m_port ? m_port->GetAccessMode() : NA; }

private:
    IPort* m_port = nullptr;
    std::vector<CRegisterBase*> m_registers;
};

// What all register kinds share: address, length, port, access mode, caching, byte order.
class CRegisterBase : public CNodeBase {
public:
    using CNodeBase::CNodeBase;

    ECachingMode GetCachingMode() const override { return m_caching; }
    void DropCache() override { m_cacheValid = false; }
    bool ValueCacheValid() const override;
    bool IsReadEachTime() const override { return m_caching == NoCache; }
    // True if the cache holds any of the `length` bytes at `address`.
    bool CacheOverlaps(int64_t address, size_t length) const noexcept;
    void FinishLoad(CLoadContext& ctx) override;

protected:
    EAccessMode BaseAccessMode() const override;
    bool LoadRegisterElement(CLoadContext& ctx, const pugi::xml_node& e);
    // Length checks of the kind: integers take 1, 2, 4 or 8 bytes, floats 4 or 8, texts up to a bound.
    virtual bool IsValidLength(int64_t length) const = 0;
    virtual const char* ValidLengthText() const = 0;

    int64_t Address() const;
    size_t Length() const;
    // Reads Length() bytes at Address(), from the cache when it holds them.
    void ReadBytes(uint8_t* buffer, size_t length, int64_t address);
    // Writes, invalidates every dependent node and, for WriteThrough, keeps the bytes written.
    void WriteBytes(const uint8_t* buffer, size_t length, int64_t address);
    bool BigEndianOrder() const noexcept { return m_endianess == BigEndian; }

    std::vector<CIntSource> m_address; // summed
    CIntSource m_length;
    CPortNode* m_port = nullptr;
    EAccessMode m_declaredAccess = RO;
    ECachingMode m_caching = WriteThrough;
    EEndianess m_endianess = LittleEndian;
    ESign m_sign = Unsigned;

private:
    std::vector<uint8_t> m_cache;
    int64_t m_cacheAddress = 0;
    bool m_cacheValid = false;
};

class CIntRegNode : public CIntegerFeature<CRegisterBase> {
public:
    using CIntegerFeature<CRegisterBase>::CIntegerFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    int64_t IntValue() override;
    void WriteInt(int64_t value, bool verify) override;
    int64_t IntMin() override;
    int64_t IntMax() override;

protected:
    bool IsValidLength(int64_t length) const override;
    const char* ValidLengthText() const override { return "1, 2, 4 or 8"; }
    // Bits of the value and their position in the register.
    virtual unsigned ValueBits(size_t length) const { return static_cast<unsigned>(8 * length); }
    virtual unsigned ValueShift(size_t) const { return 0; }
};

class CMaskedIntRegNode final : public CIntRegNode {
public:
    using CIntRegNode::CIntRegNode;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    void FinishLoad(CLoadContext& ctx) override;
    void WriteInt(int64_t value, bool verify) override;

protected:
    unsigned ValueBits(size_t length) const override;
    unsigned ValueShift(size_t length) const override;

private:
    bool BitsFit(size_t length) const noexcept;
    void CheckBits(size_t length) const;
    int64_t m_lsb = -1;
    int64_t m_msb = -1;
};

class CFloatRegNode final : public CFloatFeature<CRegisterBase> {
public:
    using CFloatFeature<CRegisterBase>::CFloatFeature;

    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    double FloatValue() override;
    void WriteFloat(double value, bool verify) override;

protected:
    bool IsValidLength(int64_t length) const override { return length == 4 || length == 8; }
    const char* ValidLengthText() const override { return "4 or 8"; }
};

class CStringRegNode final : public CValueNode<CRegisterBase, IString> {
public:
    using CValueNode<CRegisterBase, IString>::CValueNode;

    // Longest text register accepted, a bound on what a pLength may ask to allocate.
    static constexpr int64_t kMaxLength = 65536;

    EValueKind ValueKind() const override { return EValueKind::String; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIString; }
    bool LoadElement(CLoadContext& ctx, const pugi::xml_node& e) override;
    std::string StringValue() override;
    void WriteString(const std::string& value) override;
    int64_t StringMaxLength() override { return static_cast<int64_t>(Length()); }

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
    bool IsValidLength(int64_t length) const override { return length >= 1 && length <= kMaxLength; }
    const char* ValidLengthText() const override { return "1 to 65536"; }

private:
    std::vector<uint8_t> m_buffer;
};

} // namespace GenApi
