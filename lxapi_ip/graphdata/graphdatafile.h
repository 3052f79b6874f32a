// The two files of a graph data list.
//
// Binary, all integers little endian:
//   0   4  magic "LXRW" (0x5752584C)     24  8  header size, 52 + 24 n
//   4   4  1                             32  8  sum of the series' data sizes
//   8   4  1                             40  4  12, the size of the table head
//   12  4  2                             44  4  24, the size of a table row
//   16  4  0x10000                       48  4  n, the number of series
//   20  4  1 (checked when loading)      52     n rows: data type, element count, data size,
//                                               graph data type, unsigned and float entry counts
// then per series its elements, its unsigned entries (key, value: 4 + 4 bytes, in key order) and
// its float entries (key, value: 4 + 8 bytes).
//
// CSV: a head "Index" and one column per series named by its pixel component (or "Data_<index>"),
// then one line per element index up to the longest series; a series shorter than the line's index
// writes nothing in it, so the later columns move left.
#pragma once

#include "lxgraphdatabufferlist.h"

#include <memory>
#include <vector>

namespace lxgraph {

inline constexpr uint32_t kMagic = 0x5752584C; // "LXRW"
inline constexpr uint64_t kFileHeadSize = 52;
inline constexpr uint32_t kTableHeadSize = 12;
inline constexpr uint32_t kRowSize = 24;

void SaveBinary(const CLxGraphDataBufferList& list, const char* fileName);
void SaveCsv(const CLxGraphDataBufferList& list, const char* fileName);

// The series of a binary file, bound to the allocator of `list`, which the call leaves unchanged.
// Every size in the file is checked against the file's length before anything is allocated.
std::vector<std::unique_ptr<CLxGraphDataBuffer>> LoadBinary(const CLxGraphDataBufferList& list, const char* fileName);

} // namespace lxgraph
