// A file past 1 GiB: uncompressed BGR8 at 2448 x 2048 in two RIFF segments cut by size, played end
// to end by ffmpeg, every frame compared. Labelled slow (about 1.2 GB written and read back).
#include "opendmltest.h"

using namespace odmltest;
using lxavi::COpenDMLWriter;

namespace {

TEST(OpenDMLSlow, AFilePastOneGibibytePlaysEndToEnd) {
    if (!HaveTool("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    const auto format = Bgr8Format(2448, 2048);
    const uint32_t frameBytes = format.pitch * format.height;
    const uint32_t count = 80; // 80 chunks of 14.3 MiB: two segments
    ASSERT_GT(COpenDMLWriter::EstimateFileSize(frameBytes, count), uint64_t{1} << 30);
    // Two random frames, each copy stamped with its number in the first line.
    const Frames base(frameBytes, 2);
    auto frame = [&](uint32_t i) {
        std::vector<uint8_t> f = base.data[i % 2];
        std::memcpy(f.data(), &i, sizeof i);
        return f;
    };
    ScratchDir dir;
    const std::string name = dir / "large.avi";
    {
        COpenDMLWriter writer(lxavi::FourCC("00db"));
        ASSERT_TRUE(writer.SetHeader(lxavi::NotCompressedHeader20(format)));
        ASSERT_EQ(writer.Open(name), 0);
        lxavi::CAlignedBlock buffers[2] = {lxavi::CAlignedBlock(frameBytes + 2064), lxavi::CAlignedBlock(frameBytes + 2064)};
        for (uint32_t i = 0; i < count; ++i) {
            const auto f = frame(i);
            std::memcpy(buffers[i % 2].Data() + 8, f.data(), frameBytes);
            ASSERT_EQ(writer.WriteChunk(buffers[i % 2].Data() + 8, frameBytes, i), 0);
        }
        ASSERT_EQ(writer.Close(), 0);
    }
    EXPECT_EQ(std::filesystem::file_size(name), COpenDMLWriter::EstimateFileSize(frameBytes, count));
    FILE* pipe = ::popen(("ffmpeg -v error -i '" + name + "' -f rawvideo -pix_fmt bgr24 -").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    const uint32_t line = format.width * 3;
    std::vector<uint8_t> decoded(size_t{line} * format.height);
    uint32_t frames = 0;
    while (std::fread(decoded.data(), 1, decoded.size(), pipe) == decoded.size()) {
        const auto f = frame(frames);
        bool same = true;
        for (uint32_t y = 0; y < format.height && same; ++y) // bottom-up in the file
            same = std::memcmp(decoded.data() + size_t{y} * line, f.data() + size_t{format.height - 1 - y} * format.pitch, line) == 0;
        EXPECT_TRUE(same) << "frame " << frames;
        ++frames;
    }
    EXPECT_EQ(::pclose(pipe), 0);
    EXPECT_EQ(frames, count);
}

} // namespace
