// Files other programs play: ffprobe reads codec, size, frame rate and frame count of each file, and
// ffmpeg decodes every frame, equal to the source bit for bit. Skipped when the tools are missing.
#include "avitest.h"

#include <algorithm>

using namespace lxtest;

namespace {

class AviOracle : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveTool("ffprobe") || !HaveTool("ffmpeg")) GTEST_SKIP() << "ffprobe or ffmpeg not installed";
    }
};

std::string Probe(const std::string& file) {
    std::string command = "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                          "stream=codec_name,width,height,r_frame_rate,nb_read_frames -of default=nw=1 ";
    command.append(Quoted(file));
    return RunCommand(command);
}

std::vector<uint8_t> Decode(const std::string& file, const char* pixFmt) {
    std::string command = "ffmpeg -v error -i ";
    command.append(Quoted(file)).append(" -fps_mode passthrough -f rawvideo -pix_fmt ").append(pixFmt).append(" -");
    const std::string out = RunCommand(command);
    return {out.begin(), out.end()};
}

void Configure(ILxVideoFiler* f, int64_t maxFrames) {
    f->SetFileFormat(AVI1);
    f->SetCodec(Uncompressed);
    f->SetFrameRate(30.0);
    f->SetMaximumFrameCountPerFile(maxFrames);
}

} // namespace

TEST_F(AviOracle, UncompressedBGR8AndMono8DecodeBitExact) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 600);
    struct Case {
        uint32_t format;
        const char* pixFmt;
        size_t bytes;
    } cases[] = {{LxPixelFormat_BGR8, "bgr24", 3}, {LxPixelFormat_Mono8, "rgb24", 1}};
    for (const Case& c : cases) {
        const std::string name = dir.File(Numbered("frames", static_cast<int>(c.bytes)));
        v.typed->RegisterFileName(name.c_str());
        std::vector<uint8_t> expected;
        for (uint32_t i = 0; i < 6; ++i) {
            BufferPtr image = RandomImage(37, 23, c.format, 10 + i);
            // Mono8 files carry a grey palette: each sample decodes to three equal bytes (the palette is
            // applied exactly; a conversion to grey would round).
            for (uint8_t b : Lines(image, c.bytes)) expected.insert(expected.end(), c.bytes == 1 ? 3 : 1, b);
            v.typed->AddImage(image->GetILxImage(), i);
        }
        v.typed->Stop();
        EXPECT_EQ(Probe(name), "codec_name=rawvideo\nwidth=37\nheight=23\nr_frame_rate=10000/333\nnb_read_frames=6\n")
            << c.pixFmt;
        const std::vector<uint8_t> decoded = Decode(name, c.pixFmt);
        ASSERT_EQ(decoded.size(), expected.size()) << c.pixFmt;
        const auto diff = std::mismatch(decoded.begin(), decoded.end(), expected.begin());
        EXPECT_TRUE(diff.first == decoded.end()) << c.pixFmt << ": first difference at byte " << (diff.first - decoded.begin());
    }
}

TEST_F(AviOracle, RotatedFilesAndGapsPlay) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 300);
    for (int i = 0; i < 4; ++i) v.typed->RegisterFileName(dir.File(Numbered("r", i)).c_str());
    BufferPtr image = RandomImage(16, 8, LxPixelFormat_Mono8, 1);
    for (uint32_t n = 0; n < 1000; ++n) v.typed->AddImage(image->GetILxImage(), n);
    ASSERT_TRUE(v.recorder.WaitFor("close", 3));
    v.typed->Stop();
    const int counts[] = {300, 300, 300, 100};
    for (int i = 0; i < 4; ++i) {
        const std::string probe = Probe(dir.File(Numbered("r", i)));
        EXPECT_NE(probe.find(std::string("nb_read_frames=").append(std::to_string(counts[i])).append("\n")), std::string::npos) << probe;
    }
    // 5, 6, 9: three frames decoded; the gap keeps their times (9 lies three frame times after 6).
    const std::string gap = dir.File("gap.avi");
    v.typed->RegisterFileName(gap.c_str());
    for (uint32_t n : {5u, 6u, 9u}) v.typed->AddImage(image->GetILxImage(), n);
    v.typed->Stop();
    EXPECT_NE(Probe(gap).find("nb_read_frames=3\n"), std::string::npos) << Probe(gap);
    const std::string times =
        RunCommand(std::string("ffprobe -v error -select_streams v:0 -show_entries packet=pts -of default=nw=1:nk=1 ").append(Quoted(gap)));
    EXPECT_EQ(times, "0\n1\n4\n");
}
