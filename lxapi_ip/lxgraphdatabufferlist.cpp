#include "lxgraphdatabufferlist.h"

#include "graphdata/graphdatafile.h"
#include "lxiputil.h"

#include <lxsdkcommon/lxdirectory.h>

#include <cstdlib>

CLxGraphDataBufferList::CLxGraphDataBufferList(ILxSpecificTypeAllocator* allocator)
    : m_allocator(allocator ? allocator : this) {}

// The series go first: they give their blocks back to the allocator, which may be this list.
CLxGraphDataBufferList::~CLxGraphDataBufferList() { m_buffers.clear(); }

size_t CLxGraphDataBufferList::CheckedIndex(int64_t nIndex) const {
    lxip::CheckRangeInteger("nIndex", nIndex, 0, static_cast<long long>(m_buffers.size()));
    return static_cast<size_t>(nIndex);
}

const ILxGraphDataBuffer* CLxGraphDataBufferList::GetILxGraphDataBuffer(int64_t nIndex) const {
    return m_buffers[CheckedIndex(nIndex)].get();
}

ILxGraphDataBufferResizable* CLxGraphDataBufferList::GetILxGraphDataBufferResizable(int64_t nIndex) {
    return m_buffers[CheckedIndex(nIndex)].get();
}

bool CLxGraphDataBufferList::IsSaveSupported(ELxGraphDataFileFormat_t eSGDF) const {
    lxip::CheckRangeInteger("eSGDF", eSGDF, 0, 2);
    return true; // both formats have a writer
}

bool CLxGraphDataBufferList::IsLoadSupported(ELxGraphDataFileFormat_t eSGDF) const {
    lxip::CheckRangeInteger("eSGDF", eSGDF, 0, 2);
    return eSGDF == LxGraphDataFileFormat_Binary;
}

void CLxGraphDataBufferList::Save(ELxGraphDataFileFormat_t eSGDF, const GenICam::gcstring& strFileName) const {
    lxip::CheckRangeInteger("eSGDF", eSGDF, 0, 2);
    lxip::TranslateBadAlloc([&] {
        if (eSGDF == LxGraphDataFileFormat_Binary)
            lxgraph::SaveBinary(*this, strFileName.c_str());
        else
            lxgraph::SaveCsv(*this, strFileName.c_str());
        return 0;
    });
}

// Reads into new series and takes them only when the whole file has been read: a failed load
// leaves the list as it was.
void CLxGraphDataBufferList::Load(const GenICam::gcstring& strFileName) {
    lxip::TranslateBadAlloc([&] {
        std::vector<std::unique_ptr<CLxGraphDataBuffer>> loaded = lxgraph::LoadBinary(*this, strFileName.c_str());
        Adopt(loaded);
        return 0;
    });
}

std::unique_ptr<CLxGraphDataBuffer> CLxGraphDataBufferList::NewBuffer() const {
    return std::make_unique<CLxGraphDataBuffer>(m_allocator);
}

void CLxGraphDataBufferList::Resize(size_t nCount) {
    lxip::TranslateBadAlloc([&] {
        if (nCount < m_buffers.size()) {
            m_buffers.resize(nCount);
        } else {
            m_buffers.reserve(nCount);
            while (m_buffers.size() < nCount) m_buffers.push_back(NewBuffer());
        }
        return 0;
    });
}

// The non-empty series of `pList`, in order; empty ones are skipped, so indices may shift. A list
// copied onto itself stays as it is.
void CLxGraphDataBufferList::CopyFrom(const ILxGraphDataBufferList* pList) {
    if (!pList) throw INVALID_ARGUMENT_EXCEPTION("pList is NULL.");
    if (pList == this) return;
    const size_t count = pList->GetCount();
    size_t filled = 0;
    for (size_t i = 0; i < count; ++i)
        if (pList->GetILxGraphDataBuffer(static_cast<int64_t>(i))->GetSize() != 0) ++filled;
    if (filled == 0) {
        m_buffers.clear();
        return;
    }
    Resize(filled);
    size_t to = 0;
    for (size_t i = 0; i < count; ++i) {
        const ILxGraphDataBuffer* source = pList->GetILxGraphDataBuffer(static_cast<int64_t>(i));
        if (source->GetSize() != 0) m_buffers[to++]->CopyFrom(source);
    }
}

void CLxGraphDataBufferList::Allocate(void** ppData, uint16_t nBits, uint64_t nCount, uint64_t* pnContext) {
    *ppData = nullptr;
    *pnContext = 0;
    const uint64_t bits = static_cast<uint64_t>(nBits) * nCount;
    if (nBits == 0 || bits / nBits != nCount || bits < 8) return;
    *ppData = std::malloc((bits + 7) / 8);
}

void CLxGraphDataBufferList::Free(void* pData) { std::free(pData); }
