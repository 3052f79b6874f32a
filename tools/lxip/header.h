// The header fields of a raw, BMP or PNG file, read from its first bytes by the tool itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace lxtool {

struct FileHeader {
    std::string kind;   // "raw", "BMP", "PNG IHDR"; empty when the bytes are none of these
    std::vector<std::pair<std::string, std::string>> fields;
    uint32_t pixelFormat = 0;   // raw files: the code in the header
};

// Bytes a header can take at most; ReadHeader looks at no more.
constexpr size_t HeaderBytes = 72;

FileHeader ReadHeader(const uint8_t* data, size_t size);

} // namespace lxtool
