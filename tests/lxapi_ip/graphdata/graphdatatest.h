// Pieces shared by the graph data tests: owning pointers for lists and the graph data filter, and a
// look at one series of a list.
#pragma once

#include "lxmoduletest.h"

#include <lxapi/ilxgraphdatafilter.h>

#include <vector>

namespace lxtest {

using ListPtr = CLxAutoPtr<ILxGraphDataBufferListResizableReleasable, ILxGraphDataBufferListResizable>;

inline ListPtr MakeList(ILxSpecificTypeAllocator* allocator = nullptr) {
    return ListPtr(CreateILxGraphDataBufferListResizable(allocator));
}

// The elements of series `index` (empty when it has no data).
inline std::vector<uint32_t> Elements(const ILxGraphDataBufferList* list, size_t index) {
    const ILxGraphDataBuffer* b = list->GetILxGraphDataBuffer(static_cast<int64_t>(index));
    if (!b->GetData()) return {};
    const uint32_t* d = b->GetData();
    return std::vector<uint32_t>(d, d + b->GetSize() / 4);
}

inline uint32_t Info(const ILxGraphDataBufferList* list, size_t index, ELxGraphDataInformationUint_t key) {
    return list->GetILxGraphDataBuffer(static_cast<int64_t>(index))->GetILxGraphData()->GetInformationUint(key);
}

struct GraphFilter {
    FilterPtr filter{CreateILxGraphDataFilter(nullptr)};
    ILxGraphDataFilter* typed = dynamic_cast<ILxGraphDataFilter*>(filter.Get());

    // Measures `image` with the given settings and returns the finished list.
    ILxGraphDataBufferList* Run(const BufferPtr& image, ELxGraphDataType_t type,
                                ELxFilterROIMode_t mode = LxFilterROIMode_WholeImage, size_t x = 0, size_t y = 0,
                                size_t w = 100, size_t h = 100) {
        typed->SetGraphDataType(type);
        typed->SetFilterROIMode(mode);
        typed->SetOffsetX(x);
        typed->SetOffsetY(y);
        typed->SetWidth(w);
        typed->SetHeight(h);
        filter->Filter(image->GetILxImage());
        return typed->GetILxGraphDataBufferList();
    }
};

} // namespace lxtest
