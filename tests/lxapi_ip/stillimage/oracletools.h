// Running the independent readers of the oracle tests: whether a tool is installed, its output, and
// how ImageMagick's 16-bit quantum holds a sample of fewer bits.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace lxtest {

inline bool HaveTool(const char* tool) {
    const std::string command = std::string("command -v ") + tool + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

// The standard output of `command`, or an empty vector if it fails.
inline std::vector<uint8_t> Output(const std::string& command) {
    std::vector<uint8_t> out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return out;
    uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) out.insert(out.end(), chunk, chunk + n);
    if (::pclose(pipe) != 0) out.clear();
    return out;
}

// Whether `command` succeeds (its output and messages discarded).
inline bool Succeeds(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

inline std::string Quoted(const std::string& path) { return "'" + path + "'"; }

// Whether ImageMagick's 16-bit quantum q holds the field value v of `bits` bits: ImageMagick 6 moves a
// bit field to the top of the quantum (v << (16 - bits)); a reader that scales to the full range gives
// v * 65535 / max, rounded. Either way v comes back exactly.
inline bool QuantumHolds(uint32_t q, uint32_t v, unsigned bits) {
    const double max = double((1u << bits) - 1);
    return q >> (16 - bits) == v || uint32_t(std::lround(q * max / 65535.0)) == v;
}

} // namespace lxtest
