// The measuring of one image of a working format into a list: shaping the list (one series per
// component, its element count from the region and the measure), counting the region in one pass,
// and the numbers of each series.
#pragma once

#include "graphdata/graphdataformats.h"
#include "lxgraphdatabufferlist.h"

#include <lxapi/ilximage.h>

#include <vector>

namespace lxgraph {

// A region inside the image: x0 + w and y0 + h are at most the image's width and height.
struct Roi {
    size_t x0, y0, w, h;
};

// `graphDataType` is 1 (histogram), 2 (column sums) or 3 (row sums). `scratch` is working memory
// the caller keeps from image to image. Throws RuntimeException "There is no available graph data."
// when a Bayer series would hold no element or a series got no block.
void MeasureImage(const Shape& shape, ILxImage* image, const Roi& roi, uint32_t graphDataType,
                  CLxGraphDataBufferList& list, std::vector<uint32_t>& scratch);

// The number of positions p in [first, first + size) with p % grid == phase.
constexpr size_t PhaseCount(size_t first, size_t size, unsigned grid, unsigned phase) {
    const size_t start = first + ((phase - first) & (grid - 1)); // the first position of the phase
    return start < first + size ? (first + size - start + grid - 1) / grid : 0;
}

} // namespace lxgraph
