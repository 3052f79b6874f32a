#include "header.h"

#include <cstdio>

namespace lxtool {
namespace {

uint64_t Le(const uint8_t* b, size_t at, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v |= uint64_t(b[at + i]) << (8 * i);
    return v;
}
uint64_t Be(const uint8_t* b, size_t at, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v = (v << 8) | b[at + i];
    return v;
}

} // namespace

FileHeader ReadHeader(const uint8_t* b, size_t size) {
    FileHeader h;
    auto field = [&](const char* name, long long v) { h.fields.emplace_back(name, std::to_string(v)); };
    auto ufield = [&](const char* name, uint64_t v) { h.fields.emplace_back(name, std::to_string(v)); };
    // Each kind is read only when the bytes hold its whole header.
    if (size >= 72 && b[0] == 'L' && b[1] == 'X' && b[2] == 'R' && b[3] == 'W') {
        h.kind = "raw";
        ufield("header size", Le(b, 24, 8));
        ufield("pixel block size", Le(b, 32, 8));
        ufield("width", Le(b, 40, 8));
        ufield("height", Le(b, 48, 8));
        ufield("line pitch", Le(b, 56, 8));
        h.pixelFormat = static_cast<uint32_t>(Le(b, 64, 4));
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", h.pixelFormat);
        h.fields.emplace_back("pixel format", code);
    } else if (size >= 54 && b[0] == 'B' && b[1] == 'M') {
        h.kind = "BMP";
        ufield("file size", Le(b, 2, 4));
        ufield("pixel data offset", Le(b, 10, 4));
        ufield("info header size", Le(b, 14, 4));
        field("width", static_cast<int32_t>(Le(b, 18, 4)));
        field("height", static_cast<int32_t>(Le(b, 22, 4)));
        ufield("planes", Le(b, 26, 2));
        ufield("bits per pixel", Le(b, 28, 2));
        ufield("compression", Le(b, 30, 4));
        ufield("image size", Le(b, 34, 4));
        ufield("palette colours", Le(b, 46, 4));
    } else if (size >= 33 && b[0] == 0x89 && b[1] == 'P' && b[2] == 'N' && b[3] == 'G') {
        h.kind = "PNG IHDR";
        ufield("width", Be(b, 16, 4));
        ufield("height", Be(b, 20, 4));
        ufield("bit depth", b[24]);
        ufield("colour type", b[25]);
        ufield("interlace", b[28]);
    }
    return h;
}

} // namespace lxtool
