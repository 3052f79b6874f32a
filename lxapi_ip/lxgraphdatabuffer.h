// One series of graph data: unsigned 32-bit elements in a block from an allocator, the graph data
// type that produced them, and the tables of named numbers about them.
#pragma once

#include <includeinside/ilxgraphdatainside.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <vector>

class CLxGraphDataBuffer : public ILxGraphDataBufferResizableReleasableInside,
                           public ILxSpecificTypeAllocator,
                           public ILxGraphDataInside {
public:
    // The elements come from `allocator`; null makes the buffer its own allocator.
    explicit CLxGraphDataBuffer(ILxSpecificTypeAllocator* allocator = nullptr);
    CLxGraphDataBuffer(const CLxGraphDataBuffer&) = delete;
    CLxGraphDataBuffer& operator=(const CLxGraphDataBuffer&) = delete;
    ~CLxGraphDataBuffer() override;

    // ILxReleasable
    void Release() override { delete this; }

    // ILxGraphData
    uint32_t GetGraphDataType() const override { return m_graphDataType; }
    ELxNumberDataType_t GetDataType() const override { return static_cast<ELxNumberDataType_t>(m_bitsPerElement); }
    uint64_t GetCount() const override { return m_count; }
    const uint32_t* GetData() const override { return m_data; }
    uint32_t* GetData() override { return m_data; }
    uint64_t GetContext() const override { return m_context; }
    uint32_t GetInformationUint(ELxGraphDataInformationUint_t eGDIU) const override;
    double GetInformationFloat(ELxGraphDataInformationFloat_t eGDIF) const override;

    // ILxGraphDataBuffer
    const ILxGraphData* GetILxGraphData() const override;
    ILxGraphData* GetILxGraphData() override;
    uint64_t GetSize() const override { return m_dataSize; }

    // ILxGraphDataBufferResizable
    void CopyFrom(const ILxGraphDataBuffer* pBuffer) override;
    void Resize(ELxNumberDataType_t eDataType, uint64_t nCount) override { Initialize(eDataType, nCount, 0); }
    void SetInformationUint(ELxGraphDataInformationUint_t eGDIU, uint32_t nValue) override;
    void SetInformationFloat(ELxGraphDataInformationFloat_t eGDIF, double dValue) override;
    void Initialize(ELxNumberDataType_t eDataType, uint64_t nCount, uint32_t nGraphDataType) override;

    // ILxSpecificTypeAllocator: the buffer's own store.
    void Allocate(void** ppData, uint16_t nBits, uint64_t nCount, uint64_t* pnContext) override;
    void Free(void* pData) override;
    void OnUserDestroyed() override {}

    // ---- inside ----
    const std::map<uint32_t, uint32_t>& InformationUint() const { return m_informationUint; }
    const std::map<uint32_t, double>& InformationFloat() const { return m_informationFloat; }
    // Replaces both tables at once (a loaded payload); the keys are trusted to be valid.
    void SetInformation(std::map<uint32_t, uint32_t> uintTable, std::map<uint32_t, double> floatTable) noexcept {
        m_informationUint.swap(uintTable);
        m_informationFloat.swap(floatTable);
    }
    // Stores a number without the range check (the filter's keys are constants).
    void StoreInformationUint(uint32_t key, uint32_t value) { m_informationUint[key] = value; }

private:
    void ReleaseBlock() noexcept;

    ILxSpecificTypeAllocator* m_allocator;
    uint64_t m_count = 0;
    uint64_t m_capacity = 0;
    uint32_t m_bitsPerElement = 0;
    uint64_t m_dataSize = 0;
    std::vector<uint32_t> m_ownStore;
    uint32_t* m_data = nullptr;
    uint64_t m_context = 0;
    uint32_t m_graphDataType = 0;
    std::map<uint32_t, uint32_t> m_informationUint;
    std::map<uint32_t, double> m_informationFloat;
};

namespace lxgraph {
// The index and value of the first greatest element, from a running maximum of 0 with a strict
// less-than: an all-zero or empty series gives (0, 0).
struct Peak {
    uint64_t index = 0;
    uint32_t value = 0;
};
Peak FindPeak(const uint32_t* data, uint64_t count) noexcept;
} // namespace lxgraph
