// Shared pieces of the filter benchmarks: the SDK, a random 5-megapixel image (2448 x 2048) of a
// format, and the memcpy floor.
#pragma once

#include <lxapi/clxautoptr.h>
#include <lxapi/lxapi_ip.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

namespace lxbench {

constexpr size_t W = 2448, H = 2048;

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;

inline void InitializeSdk() {
    static const bool done = [] {
        LxApiInitialize();
        return true;
    }();
    (void)done;
}

// Random samples below 2^bits.
inline BufferPtr RandomImage(uint32_t format, unsigned bits, uint32_t seed = 1) {
    InitializeSdk();
    BufferPtr b(CreateILxImageBuffer(nullptr));
    b->CreateBuffer(W, H, format);
    ILxImage* img = b->GetILxImage();
    std::mt19937 rng(seed);
    const size_t bytes = img->GetImageLinePitch() * H;
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    if (bits == 8) {
        for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    } else {
        for (size_t i = 0; i < bytes / 2; ++i) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(p + 2 * i, &v, 2);
        }
    }
    return b;
}

inline void Memcpy(benchmark::State& state, size_t bytesPerPixel) {
    std::vector<uint8_t> a(W * H * bytesPerPixel, 1), b(W * H * bytesPerPixel);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(a.size()));
}

} // namespace lxbench
