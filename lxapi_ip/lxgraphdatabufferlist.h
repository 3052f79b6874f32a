// The result container of graph measurements: a growable list of series, one per pixel component,
// saved as a binary or a CSV file and loaded back from the binary one.
#pragma once

#include "lxgraphdatabuffer.h"

#include <includeinside/ilxgraphdatainside.h>

#include <memory>
#include <vector>

class CLxGraphDataBufferList : public ILxGraphDataBufferListResizableReleasableInside, public ILxSpecificTypeAllocator {
public:
    // The series take their blocks from `allocator`; null makes the list the allocator, which gives
    // every series a block of its own from the heap.
    explicit CLxGraphDataBufferList(ILxSpecificTypeAllocator* allocator = nullptr);
    CLxGraphDataBufferList(const CLxGraphDataBufferList&) = delete;
    CLxGraphDataBufferList& operator=(const CLxGraphDataBufferList&) = delete;
    ~CLxGraphDataBufferList() override;

    void Release() override { delete this; }

    size_t GetCount() const override { return m_buffers.size(); }
    const ILxGraphDataBuffer* GetILxGraphDataBuffer(int64_t nIndex) const override;
    bool IsSaveSupported(ELxGraphDataFileFormat_t eSGDF) const override;
    void Save(ELxGraphDataFileFormat_t eSGDF, const GenICam::gcstring& strFileName) const override;
    bool IsLoadSupported(ELxGraphDataFileFormat_t eSGDF) const override;
    void Load(const GenICam::gcstring& strFileName) override;
    void Resize(size_t nCount) override;
    void CopyFrom(const ILxGraphDataBufferList* pList) override;
    ILxGraphDataBufferResizable* GetILxGraphDataBufferResizable(int64_t nIndex) override;

    // ILxSpecificTypeAllocator: a fresh heap block per series.
    void Allocate(void** ppData, uint16_t nBits, uint64_t nCount, uint64_t* pnContext) override;
    void Free(void* pData) override;
    void OnUserDestroyed() override {}

    // ---- inside ----
    CLxGraphDataBuffer& Buffer(size_t index) { return *m_buffers[index]; }
    const CLxGraphDataBuffer& Buffer(size_t index) const { return *m_buffers[index]; }
    ILxSpecificTypeAllocator* Allocator() const { return m_allocator; }
    // A new empty series bound to this list's allocator, not yet in the list.
    std::unique_ptr<CLxGraphDataBuffer> NewBuffer() const;
    // Takes `buffers` as the whole list, giving up the present ones.
    void Adopt(std::vector<std::unique_ptr<CLxGraphDataBuffer>>& buffers) noexcept { m_buffers.swap(buffers); }

private:
    size_t CheckedIndex(int64_t nIndex) const;

    ILxSpecificTypeAllocator* m_allocator;
    std::vector<std::unique_ptr<CLxGraphDataBuffer>> m_buffers;
};
