#include "lxgraphdatabuffer.h"

#include "lxiputil.h"

#include <GenICam/GCException.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr int64_t kUintKeys = 5; // PixelComponent .. SummedPixelCount

void CheckUintKey(ELxGraphDataInformationUint_t eGDIU) { lxip::CheckRangeInteger("eGDIU", eGDIU, 0, kUintKeys); }

// No float key is valid: the range asks for at least 0 and below 0.
[[noreturn]] void RefuseFloatKey(ELxGraphDataInformationFloat_t eGDIF) {
    lxip::CheckRangeInteger("eGDIF", static_cast<long long>(eGDIF), 0, 0);
    throw LOGICAL_ERROR_EXCEPTION("eGDIF is refused."); // not reached: the check above always throws
}

} // namespace

namespace lxgraph {
Peak FindPeak(const uint32_t* data, uint64_t count) noexcept {
    Peak peak;
    for (uint64_t i = 0; i < count; ++i) {
        if (peak.value < data[i]) {
            peak.value = data[i];
            peak.index = i;
        }
    }
    return peak;
}
} // namespace lxgraph

CLxGraphDataBuffer::CLxGraphDataBuffer(ILxSpecificTypeAllocator* allocator)
    : m_allocator(allocator ? allocator : this) {}

CLxGraphDataBuffer::~CLxGraphDataBuffer() {
    ReleaseBlock();
    if (m_allocator != this) {
        try {
            m_allocator->OnUserDestroyed();
        } catch (...) {
        }
    }
}

void CLxGraphDataBuffer::ReleaseBlock() noexcept {
    if (m_data) {
        try {
            m_allocator->Free(m_data);
        } catch (...) {
        }
    }
    m_data = nullptr;
}

uint32_t CLxGraphDataBuffer::GetInformationUint(ELxGraphDataInformationUint_t eGDIU) const {
    CheckUintKey(eGDIU);
    const auto it = m_informationUint.find(static_cast<uint32_t>(eGDIU));
    if (it != m_informationUint.end()) return it->second;
    // A series of no filter answers its peak from the elements, computed on demand.
    if (m_graphDataType == 0) {
        if (eGDIU == LxGraphDataInformationUint_PeakIndex)
            return static_cast<uint32_t>(lxgraph::FindPeak(m_data, m_data ? m_count : 0).index);
        if (eGDIU == LxGraphDataInformationUint_PeakValue)
            return lxgraph::FindPeak(m_data, m_data ? m_count : 0).value;
    }
    throw RUNTIME_EXCEPTION("Not supported information for this data type.");
}

double CLxGraphDataBuffer::GetInformationFloat(ELxGraphDataInformationFloat_t eGDIF) const { RefuseFloatKey(eGDIF); }

const ILxGraphData* CLxGraphDataBuffer::GetILxGraphData() const {
    if (!m_data) throw RUNTIME_EXCEPTION("There is no available graph data.");
    return this;
}

ILxGraphData* CLxGraphDataBuffer::GetILxGraphData() {
    if (!m_data) throw RUNTIME_EXCEPTION("There is no available graph data.");
    return this;
}

void CLxGraphDataBuffer::SetInformationUint(ELxGraphDataInformationUint_t eGDIU, uint32_t nValue) {
    CheckUintKey(eGDIU);
    lxip::TranslateBadAlloc([&] { return m_informationUint[static_cast<uint32_t>(eGDIU)] = nValue; });
}

void CLxGraphDataBuffer::SetInformationFloat(ELxGraphDataInformationFloat_t eGDIF, double) { RefuseFloatKey(eGDIF); }

// An unchanged shape keeps the block and zeroes it, so that a steady stream of images allocates
// nothing. A shape that kept no block (a failed allocation) tries again.
void CLxGraphDataBuffer::Initialize(ELxNumberDataType_t eDataType, uint64_t nCount, uint32_t nGraphDataType) {
    if (eDataType != LxNumberDataType_uint32)
        throw INVALID_ARGUMENT_EXCEPTION("eDataType isn't  LxNumberDataType_uint32.");
    const bool sameShape = m_bitsPerElement == 32 && nGraphDataType == m_graphDataType && nCount == m_count;
    if (!(sameShape && (m_data || nCount == 0))) {
        ReleaseBlock();
        void* block = nullptr;
        uint64_t context = 0;
        // A count whose size does not fit in 64 bits cannot be held: no block.
        if (nCount <= UINT64_MAX / 4) m_allocator->Allocate(&block, 32, nCount, &context);
        m_data = static_cast<uint32_t*>(block);
        m_context = context;
        m_bitsPerElement = 32;
        m_graphDataType = nGraphDataType;
        m_count = m_capacity = nCount;
        m_dataSize = nCount * 32 / 8;
    }
    if (m_data) std::memset(m_data, 0, m_dataSize);
    m_informationUint.clear();
    m_informationFloat.clear();
}

void CLxGraphDataBuffer::CopyFrom(const ILxGraphDataBuffer* pBuffer) {
    if (!pBuffer) throw INVALID_ARGUMENT_EXCEPTION("pBuffer is NULL.");
    const ILxGraphData* source = pBuffer->GetILxGraphData();
    const uint64_t bytes = pBuffer->GetSize();
    Initialize(source->GetDataType(), source->GetCount(), source->GetGraphDataType());
    // Copying a buffer onto itself leaves the zeroed block as it is.
    if (source == static_cast<const ILxGraphData*>(this)) return;
    if (m_data) std::memcpy(m_data, source->GetData(), std::min(bytes, m_dataSize));
    if (const auto* same = dynamic_cast<const CLxGraphDataBuffer*>(pBuffer)) {
        lxip::TranslateBadAlloc([&] {
            m_informationUint = same->m_informationUint;
            m_informationFloat = same->m_informationFloat;
            return 0;
        });
    }
}

void CLxGraphDataBuffer::Allocate(void** ppData, uint16_t nBits, uint64_t nCount, uint64_t* pnContext) {
    *ppData = nullptr;
    *pnContext = 0;
    const uint64_t bits = static_cast<uint64_t>(nBits) * nCount;
    if (nBits == 0 || bits / nBits != nCount || bits < 8) return;
    try {
        m_ownStore.assign((bits / 8 + 3) / 4, 0u);
        *ppData = m_ownStore.data();
    } catch (const std::exception&) {
        m_ownStore = {};
    }
}

void CLxGraphDataBuffer::Free(void* pData) {
    if (pData && pData == m_ownStore.data()) m_ownStore = {};
}
