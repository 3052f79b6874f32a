// Uncompressed BGR8 frames of 2448 x 2048 written into an OpenDML file through direct I/O, against
// dd writing as many bytes with oflag=direct in blocks of 2 MiB to the same folder in the same run.
// Each iteration writes a file of kFrames frames and closes it. The folder is LXAPI_BENCH_DIR, or the
// system's temporary folder.
#include "lxapi_ip/aviwriter/avifile20header.h"
#include "lxapi_ip/aviwriter/opendmllayout.h"

#include "filewritepeers.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>

namespace {

constexpr uint32_t W = 2448, H = 2048, kFrames = 16;
constexpr uint32_t kPitch = W * 3;
constexpr uint32_t kFrameBytes = kPitch * H;

void OpenDmlBgr8(benchmark::State& state, bool allowDirect) {
    lxavi::StreamFormat20 format;
    format.width = W;
    format.height = H;
    format.pitch = kPitch;
    format.bitCount = 24;
    format.rate = 10000;
    format.scale = 333;
    const auto header = lxavi::NotCompressedHeader20(format);
    // Two pooled frames in turn, as the filer hands them over.
    lxavi::CAlignedBlock frames[2] = {lxavi::CAlignedBlock(kFrameBytes + 2064), lxavi::CAlignedBlock(kFrameBytes + 2064)};
    std::mt19937 rng(1);
    for (auto& f : frames)
        for (size_t i = 8; i < 8 + kFrameBytes; ++i) f.Data()[i] = uint8_t(rng());
    const std::string name = lxbench::Folder() + "/lxodml_bench.avi";
    bool direct = false;
    for (auto _ : state) {
        lxavi::COpenDMLWriter writer(lxavi::FourCC("00db"));
        writer.SetHeader(header);
        if (writer.Open(name, allowDirect) != 0) {
            state.SkipWithError("cannot create the file");
            break;
        }
        direct = writer.IsDirect();
        for (uint32_t i = 0; i < kFrames; ++i)
            if (writer.WriteChunk(frames[i % 2].Data() + 8, kFrameBytes, i) != 0) state.SkipWithError("write failed");
        if (writer.Close() != 0) state.SkipWithError("close failed");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kFrames * kFrameBytes);
    state.SetLabel(direct ? "direct" : "page cache");
    std::filesystem::remove(name);
}

void BM_OpenDML_Bgr8_Direct(benchmark::State& state) { OpenDmlBgr8(state, true); }
void BM_OpenDML_Bgr8_PageCache(benchmark::State& state) { OpenDmlBgr8(state, false); }

// The peer: dd with direct I/O, the same bytes in blocks of 2 MiB.
void BM_dd_OflagDirect_2MiB(benchmark::State& state) { lxbench::DdOflagDirect2MiB(state, uint64_t{kFrames} * kFrameBytes); }

} // namespace

BENCHMARK(BM_OpenDML_Bgr8_Direct)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenDML_Bgr8_PageCache)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_dd_OflagDirect_2MiB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
