// A memcpy peer shared by the benchmarks that take frames as a camera delivers them.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace lxbench {

// memcpy of `frames` distinct buffers of `bytes` into as many others, so that sources and copies come
// from memory rather than the cache; the memory is faulted in before the timing. Items are frames.
inline void CopyDistinctFrames(benchmark::State& state, size_t bytes, int frames) {
    std::vector<std::vector<uint8_t>> sources(size_t(frames), std::vector<uint8_t>(bytes, 1));
    std::vector<std::vector<uint8_t>> copies(size_t(frames), std::vector<uint8_t>(bytes, 2));
    for (auto _ : state) {
        for (int f = 0; f < frames; ++f) std::memcpy(copies[size_t(f)].data(), sources[size_t(f)].data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * frames);
    state.SetBytesProcessed(int64_t(state.iterations()) * frames * int64_t(bytes));
}

} // namespace lxbench
