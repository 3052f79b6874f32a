#include "registers.h"

#include "loadcontext.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <limits>

namespace GenApi {

namespace {

uint64_t LoadBytes(const uint8_t* bytes, size_t length, bool bigEndian) noexcept {
    uint64_t v = 0;
    for (size_t i = 0; i < length; ++i) {
        const size_t significance = bigEndian ? length - 1 - i : i;
        v |= static_cast<uint64_t>(bytes[i]) << (8 * significance);
    }
    return v;
}

void StoreBytes(uint8_t* bytes, size_t length, uint64_t v, bool bigEndian) noexcept {
    for (size_t i = 0; i < length; ++i) {
        const size_t significance = bigEndian ? length - 1 - i : i;
        bytes[i] = static_cast<uint8_t>(v >> (8 * significance));
    }
}

uint64_t LowMask(unsigned bits) noexcept { return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1; }

} // namespace

// ---------------------------------------------------------------- port

bool CPortNode::LoadElement(CLoadContext&, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    // Chunk ports are not served by this engine; their elements are accepted and ignored.
    return name == "ChunkID" || name == "SwapEndianess" || name == "CacheChunkData";
}

void CPortNode::Connect(IPort* port) {
    m_port = port;
    // Whatever the registers of this port cached came from another port, or from none.
    m_map.Invalidate(this);
}

void CPortNode::Read(void* buffer, int64_t address, int64_t length) {
    AutoLock lock(MapLock());
    if (!m_port) throw ACCESS_EXCEPTION("Port '%s' is not connected", m_name.c_str());
    m_port->Read(buffer, address, length);
}

void CPortNode::Write(const void* buffer, int64_t address, int64_t length) {
    AutoLock lock(MapLock());
    if (!m_port) throw ACCESS_EXCEPTION("Port '%s' is not connected", m_name.c_str());
    m_port->Write(buffer, address, length);
}

void CPortNode::BytesWritten(int64_t address, size_t length) {
    for (CRegisterBase* reg : m_registers)
        if (reg->CacheOverlaps(address, length)) m_map.Invalidate(reg);
}

void CPortNode::ReadFor(const CNodeBase& reg, uint8_t* buffer, int64_t address, int64_t length) {
    if (!m_port)
        throw ACCESS_EXCEPTION("Node '%s': port '%s' is not connected", reg.Name().c_str(), m_name.c_str());
    m_port->Read(buffer, address, length);
}

void CPortNode::WriteFor(const CNodeBase& reg, const uint8_t* buffer, int64_t address, int64_t length) {
    if (!m_port)
        throw ACCESS_EXCEPTION("Node '%s': port '%s' is not connected", reg.Name().c_str(), m_name.c_str());
    m_port->Write(buffer, address, length);
}

// ---------------------------------------------------------------- register base

bool CRegisterBase::LoadRegisterElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Address") m_address.push_back({true, ctx.Int(*this, e), nullptr});
    else if (name == "pAddress") m_address.push_back({true, 0, ctx.Ref(*this, e, ERefKind::IntValue)});
    else if (name == "IntSwissKnife") m_address.push_back({true, 0, ctx.CreateInlineSwissKnife(*this, e)});
    else if (ctx.MatchInt(*this, e, "Length", "pLength", m_length)) {
    } else if (name == "AccessMode") m_declaredAccess = ctx.Access(*this, e);
    else if (name == "pPort") {
        if (m_port) ctx.Duplicate(*this, e);
        m_port = static_cast<CPortNode*>(ctx.Ref(*this, e, ERefKind::Port));
    } else if (name == "Cachable")
        m_caching = ctx.Keyword<ECachingMode>(
            *this, e, {{"NoCache", NoCache}, {"WriteThrough", WriteThrough}, {"WriteAround", WriteAround}});
    else if (name == "Endianess")
        m_endianess = ctx.Keyword<EEndianess>(*this, e, {{"LittleEndian", LittleEndian}, {"BigEndian", BigEndian}});
    else if (name == "PollingTime") {
        // Polling is the client's business.
    } else return false;
    return true;
}

void CRegisterBase::FinishLoad(CLoadContext& ctx) {
    if (m_address.empty()) ctx.Missing(*this, "Address");
    if (!m_length.present) ctx.Missing(*this, "Length");
    if (!m_port) ctx.Missing(*this, "pPort");
    m_port->AddRegister(this);
    if (!m_length.node && !IsValidLength(m_length.constant))
        throw RUNTIME_EXCEPTION("Node '%s': register length %lld is not valid, it must be %s", m_name.c_str(),
                                static_cast<long long>(m_length.constant), ValidLengthText());
}

// A register of a port that is not connected has nothing to read or write: NA, as the port reports.
EAccessMode CRegisterBase::BaseAccessMode() const {
    if (!m_port) return NA;
    return CombineAccess(m_declaredAccess, m_port->AccessMode());
}

bool CRegisterBase::ValueCacheValid() const {
    return m_caching != NoCache && m_cacheValid && CNodeBase::ValueCacheValid();
}

int64_t CRegisterBase::Address() const {
    int64_t address = 0;
    for (const CIntSource& part : m_address) address = Num::WrapAdd(address, part.Get());
    if (address < 0)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': address %lld is negative", m_name.c_str(),
                                     static_cast<long long>(address));
    return address;
}

size_t CRegisterBase::Length() const {
    const int64_t length = m_length.Get();
    if (!IsValidLength(length))
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': register length %lld is not valid, it must be %s", m_name.c_str(),
                                     static_cast<long long>(length), ValidLengthText());
    return static_cast<size_t>(length);
}

void CRegisterBase::ReadBytes(uint8_t* buffer, size_t length, int64_t address) {
    const bool cachable = m_caching != NoCache;
    if (cachable && m_cacheValid && !m_map.IgnoringCache() && m_cacheAddress == address && m_cache.size() == length) {
        std::memcpy(buffer, m_cache.data(), length);
        return;
    }
    // A read that passes a valid cache (IgnoreCache) may find other bytes: whatever was computed from
    // the old ones is invalidated.
    const bool hadCache = cachable && m_cacheValid && m_cacheAddress == address && m_cache.size() == length;
    // A port leaves the bytes of an address it does not serve as they are: they read as zero.
    std::memset(buffer, 0, length);
    m_cacheValid = false;
    m_port->ReadFor(*this, buffer, address, static_cast<int64_t>(length));
    if (cachable) {
        if (hadCache && std::memcmp(m_cache.data(), buffer, length) != 0) m_map.Invalidate(this);
        m_cache.assign(buffer, buffer + length);
        m_cacheAddress = address;
        m_cacheValid = true;
    }
}

bool CRegisterBase::CacheOverlaps(int64_t address, size_t length) const noexcept {
    if (!m_cacheValid) return false;
    const uint64_t cacheStart = static_cast<uint64_t>(m_cacheAddress);
    const uint64_t start = static_cast<uint64_t>(address);
    return cacheStart < start + length && start < cacheStart + m_cache.size();
}

// Other registers of the port may cover the same bytes (bit fields of one word, a register seen
// at two widths): their caches go too.
void CRegisterBase::WriteBytes(const uint8_t* buffer, size_t length, int64_t address) {
    m_cacheValid = false;
    auto afterWrite = [&] {
        m_port->BytesWritten(address, length);
        Changed();
    };
    try {
        m_port->WriteFor(*this, buffer, address, static_cast<int64_t>(length));
    } catch (...) {
        // The device may have taken part of the write: nothing is kept.
        afterWrite();
        throw;
    }
    afterWrite();
    if (m_caching == WriteThrough) {
        m_cache.assign(buffer, buffer + length);
        m_cacheAddress = address;
        m_cacheValid = true;
    }
}

// ---------------------------------------------------------------- IntReg

bool CIntRegNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    if (std::string_view(e.name()) == "Sign") {
        m_sign = ctx.Keyword<ESign>(*this, e, {{"Signed", Signed}, {"Unsigned", Unsigned}});
        return true;
    }
    return LoadRegisterElement(ctx, e) || LoadNumberElement(ctx, e);
}

bool CIntRegNode::IsValidLength(int64_t length) const {
    return length == 1 || length == 2 || length == 4 || length == 8;
}

int64_t CIntRegNode::IntValue() {
    const size_t length = Length();
    const int64_t address = Address();
    uint8_t bytes[8];
    ReadBytes(bytes, length, address);
    const unsigned bits = ValueBits(length);
    uint64_t v = (LoadBytes(bytes, length, BigEndianOrder()) >> ValueShift(length)) & LowMask(bits);
    if (m_sign == Signed && bits < 64 && ((v >> (bits - 1)) & 1)) v |= ~LowMask(bits);
    return static_cast<int64_t>(v);
}

int64_t CIntRegNode::IntMin() {
    const unsigned bits = ValueBits(Length());
    if (m_sign == Unsigned) return 0;
    return bits >= 64 ? std::numeric_limits<int64_t>::min() : -static_cast<int64_t>(uint64_t{1} << (bits - 1));
}

int64_t CIntRegNode::IntMax() {
    const unsigned bits = ValueBits(Length());
    const unsigned valueBits = m_sign == Signed ? bits - 1 : bits;
    return valueBits >= 63 ? std::numeric_limits<int64_t>::max() : static_cast<int64_t>(LowMask(valueBits));
}

void CIntRegNode::WriteInt(int64_t value, bool) {
    const size_t length = Length();
    const int64_t address = Address();
    // The register cannot hold more than its bits, whatever the caller verified.
    CheckIntRange(m_name, value, IntMin(), IntMax(), 1);
    uint8_t bytes[8];
    StoreBytes(bytes, length, static_cast<uint64_t>(value) & LowMask(ValueBits(length)), BigEndianOrder());
    WriteBytes(bytes, length, address);
}

// ---------------------------------------------------------------- MaskedIntReg

bool CMaskedIntRegNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    const std::string_view name = e.name();
    if (name == "Bit") {
        if (m_lsb >= 0) ctx.Duplicate(*this, e);
        m_lsb = m_msb = ctx.Int(*this, e);
    } else if (name == "LSB") {
        if (m_lsb >= 0) ctx.Duplicate(*this, e);
        m_lsb = ctx.Int(*this, e);
    } else if (name == "MSB") {
        if (m_msb >= 0) ctx.Duplicate(*this, e);
        m_msb = ctx.Int(*this, e);
    } else return CIntRegNode::LoadElement(ctx, e);
    if (m_lsb > 63 || m_msb > 63 || (m_lsb < -1) || (m_msb < -1)) ctx.BadValue(*this, e);
    return true;
}

void CMaskedIntRegNode::FinishLoad(CLoadContext& ctx) {
    CIntRegNode::FinishLoad(ctx);
    if (m_lsb < 0) ctx.Missing(*this, "LSB");
    if (m_msb < 0) ctx.Missing(*this, "MSB");
    if (!m_length.node && !BitsFit(static_cast<size_t>(m_length.constant)))
        throw RUNTIME_EXCEPTION("Node '%s': bits LSB = %lld, MSB = %lld do not fit a %s register of %lld bytes",
                                m_name.c_str(), static_cast<long long>(m_lsb), static_cast<long long>(m_msb),
                                BigEndianOrder() ? "big-endian" : "little-endian",
                                static_cast<long long>(m_length.constant));
}

// Bits count from the least significant bit in a little-endian register and from the most
// significant one in a big-endian register, so LSB <= MSB in the first and MSB <= LSB in the second.
bool CMaskedIntRegNode::BitsFit(size_t length) const noexcept {
    const int64_t low = BigEndianOrder() ? m_msb : m_lsb;
    const int64_t high = BigEndianOrder() ? m_lsb : m_msb;
    return low <= high && high < static_cast<int64_t>(8 * length);
}

void CMaskedIntRegNode::CheckBits(size_t length) const {
    const int64_t registerBits = static_cast<int64_t>(8 * length);
    if (!BitsFit(length))
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': bits LSB = %lld, MSB = %lld do not fit a %s register of %lld bits",
                                     m_name.c_str(), static_cast<long long>(m_lsb), static_cast<long long>(m_msb),
                                     BigEndianOrder() ? "big-endian" : "little-endian",
                                     static_cast<long long>(registerBits));
}

unsigned CMaskedIntRegNode::ValueBits(size_t length) const {
    CheckBits(length);
    return static_cast<unsigned>((m_msb > m_lsb ? m_msb - m_lsb : m_lsb - m_msb) + 1);
}

unsigned CMaskedIntRegNode::ValueShift(size_t length) const {
    CheckBits(length);
    return static_cast<unsigned>(BigEndianOrder() ? static_cast<int64_t>(8 * length) - 1 - m_lsb : m_lsb);
}

void CMaskedIntRegNode::WriteInt(int64_t value, bool) {
    const size_t length = Length();
    const int64_t address = Address();
    CheckIntRange(m_name, value, IntMin(), IntMax(), 1);
    // The other bits of the register keep their value: read, merge, write back.
    uint8_t bytes[8];
    ReadBytes(bytes, length, address);
    const unsigned shift = ValueShift(length);
    const uint64_t mask = LowMask(ValueBits(length)) << shift;
    uint64_t raw = LoadBytes(bytes, length, BigEndianOrder());
    raw = (raw & ~mask) | ((static_cast<uint64_t>(value) << shift) & mask);
    StoreBytes(bytes, length, raw, BigEndianOrder());
    WriteBytes(bytes, length, address);
}

// ---------------------------------------------------------------- FloatReg

bool CFloatRegNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) {
    return LoadRegisterElement(ctx, e) || LoadNumberElement(ctx, e);
}

double CFloatRegNode::FloatValue() {
    const size_t length = Length();
    const int64_t address = Address();
    uint8_t bytes[8];
    ReadBytes(bytes, length, address);
    const uint64_t raw = LoadBytes(bytes, length, BigEndianOrder());
    if (length == 4) {
        const uint32_t raw32 = static_cast<uint32_t>(raw);
        float f;
        std::memcpy(&f, &raw32, sizeof f);
        return f;
    }
    double d;
    std::memcpy(&d, &raw, sizeof d);
    return d;
}

void CFloatRegNode::WriteFloat(double value, bool) {
    const size_t length = Length();
    const int64_t address = Address();
    if (std::isnan(value)) throw OUT_OF_RANGE_EXCEPTION("Node '%s': value is not a number", m_name.c_str());
    uint64_t raw;
    if (length == 4) {
        if (std::isfinite(value) && std::fabs(value) > FLT_MAX)
            throw OUT_OF_RANGE_EXCEPTION("%s = %f must be smaller than or equal %f", m_name.c_str(), value,
                                         static_cast<double>(FLT_MAX));
        const float f = static_cast<float>(value);
        uint32_t raw32;
        std::memcpy(&raw32, &f, sizeof raw32);
        raw = raw32;
    } else {
        std::memcpy(&raw, &value, sizeof raw);
    }
    uint8_t bytes[8];
    StoreBytes(bytes, length, raw, BigEndianOrder());
    WriteBytes(bytes, length, address);
}

// ---------------------------------------------------------------- StringReg

bool CStringRegNode::LoadElement(CLoadContext& ctx, const pugi::xml_node& e) { return LoadRegisterElement(ctx, e); }

std::string CStringRegNode::StringValue() {
    const size_t length = Length();
    const int64_t address = Address();
    m_buffer.resize(length);
    ReadBytes(m_buffer.data(), length, address);
    // The text ends at the first zero byte, or at the end of the register.
    const auto end = std::find(m_buffer.begin(), m_buffer.end(), uint8_t{0});
    return std::string(reinterpret_cast<const char*>(m_buffer.data()), static_cast<size_t>(end - m_buffer.begin()));
}

void CStringRegNode::WriteString(const std::string& value) {
    const size_t length = Length();
    const int64_t address = Address();
    if (value.size() > length)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': a text of %zu bytes does not fit the register of %zu bytes",
                                     m_name.c_str(), value.size(), length);
    m_buffer.assign(length, 0);
    std::memcpy(m_buffer.data(), value.data(), value.size());
    WriteBytes(m_buffer.data(), length, address);
}

GenICam::gcstring CStringRegNode::GetValue(bool, bool ignoreCache) {
    AutoLock lock(MapLock());
    CReadScope scope(m_map, ignoreCache);
    CheckReadable();
    return StringValue();
}

void CStringRegNode::SetValue(const GenICam::gcstring& value, bool) {
    AutoLock lock(MapLock());
    CheckWritable();
    WriteString(value.str());
}

int64_t CStringRegNode::GetMaxLength() {
    AutoLock lock(MapLock());
    return StringMaxLength();
}

} // namespace GenApi
