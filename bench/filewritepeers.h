// Peers and folder shared by the file-writing benchmarks.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace lxbench {

// The folder the benchmarks write to: LXAPI_BENCH_DIR, or the system's temporary folder.
inline std::string Folder() {
    const char* dir = std::getenv("LXAPI_BENCH_DIR");
    return dir ? dir : std::filesystem::temp_directory_path().string();
}

// dd with direct I/O in blocks of 2 MiB, at least `bytes` bytes per iteration into the folder.
inline void DdOflagDirect2MiB(benchmark::State& state, uint64_t bytes) {
    const std::string name = Folder() + "/lxbench_dd.bin";
    const uint64_t blocks = (bytes + (2u << 20) - 1) / (2u << 20);
    const std::string command =
        "dd if=/dev/zero of='" + name + "' bs=2M count=" + std::to_string(blocks) + " oflag=direct status=none";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError("dd failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    std::filesystem::remove(name);
}

} // namespace lxbench
