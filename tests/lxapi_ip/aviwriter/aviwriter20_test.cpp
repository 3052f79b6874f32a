// The video filer writing OpenDML files: every frame reaches the file bit for bit although it goes to
// the disk from the pool's memory while the caller fills the next ones, files rotate by frame span,
// lost frame numbers keep their times, and a failing disk is reported through callback 8 with a
// file that still plays. Read back by ffprobe and ffmpeg (skipped when missing).
#include "avitest.h"

#include <csignal>
#include <sys/resource.h>

using namespace lxtest;

namespace {

class Avi2Filer : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveTool("ffprobe") || !HaveTool("ffmpeg")) GTEST_SKIP() << "ffprobe or ffmpeg not installed";
        m_filer.typed->SetFileFormat(AVI2);
        m_filer.typed->SetCodec(Uncompressed);
        m_filer.typed->SetFrameRate(25.0);
    }
    static std::string Frames(const std::string& file) {
        return RunCommand("ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames "
                          "-of csv=p=0 " + Quoted(file));
    }
    static std::vector<uint8_t> Decode(const std::string& file, const char* pixFmt) {
        const std::string out = RunCommand("ffmpeg -v error -i " + Quoted(file) +
                                           " -fps_mode passthrough -f rawvideo -pix_fmt " + pixFmt + " -");
        return {out.begin(), out.end()};
    }
    VideoFiler m_filer;
    ScratchDir m_dir;
};

TEST_F(Avi2Filer, FramesInFlightAreNotOverwrittenAndDecodeBitExact) {
    // Frames large enough that writes are still running while the caller converts the next image.
    const std::string name = m_dir.File("bgr.avi");
    m_filer.typed->RegisterFileName(name.c_str());
    std::vector<uint8_t> expected;
    for (uint32_t i = 0; i < 40; ++i) {
        BufferPtr image = RandomImage(641, 480, LxPixelFormat_BGR8, 100 + i);
        const std::vector<uint8_t> lines = Lines(image, 3);
        expected.insert(expected.end(), lines.begin(), lines.end());
        m_filer.typed->AddImage(image->GetILxImage(), i);
    }
    m_filer.typed->Stop();
    EXPECT_EQ(Frames(name), "40\n");
    EXPECT_TRUE(Decode(name, "bgr24") == expected);
    EXPECT_EQ(m_filer.recorder.Count("error"), 0u);
}

TEST_F(Avi2Filer, Mono8WithLostFramesAndRotationByFrameSpan) {
    m_filer.typed->SetMaximumFrameCountPerFile(5);
    const std::string first = m_dir.File("a.avi"), second = m_dir.File("b.avi");
    m_filer.typed->RegisterFileName(first.c_str());
    m_filer.typed->RegisterFileName(second.c_str());
    std::vector<uint8_t> expectedFirst, expectedSecond;
    for (uint32_t number : {0u, 1u, 4u, 5u, 6u}) { // 2 and 3 lost; 5 opens the second file
        BufferPtr image = RandomImage(33, 17, LxPixelFormat_Mono8, number);
        for (uint8_t b : Lines(image, 1)) (number < 5 ? expectedFirst : expectedSecond).insert(
            (number < 5 ? expectedFirst : expectedSecond).end(), 3, b);
        m_filer.typed->AddImage(image->GetILxImage(), number);
    }
    ASSERT_TRUE(m_filer.recorder.WaitFor("close", 1));
    m_filer.typed->Stop();
    EXPECT_EQ(Frames(first), "3\n");
    EXPECT_EQ(Frames(second), "2\n");
    // The packets' times (ffprobe adds the palette's side data to the first: only the digits count).
    const std::string times = RunCommand("ffprobe -v error -select_streams v:0 -show_entries packet=pts -of csv=p=0 " +
                                         Quoted(first) + " | tr -cd '0-9\\n' | sed '/^$/d'");
    EXPECT_EQ(times, "0\n1\n4\n");
    EXPECT_TRUE(Decode(first, "rgb24") == expectedFirst);
    EXPECT_TRUE(Decode(second, "rgb24") == expectedSecond);
}

TEST_F(Avi2Filer, AFailingWriteIsReportedAndTheFileSoFarPlays) {
    // The process's file size limit stands in for a full disk, past the fourth frame.
    const uint64_t frameBytes = 64 * 64 * 3;
    const uint64_t chunk = (frameBytes + 8 + 2047) / 2048 * 2048;
    struct rlimit old {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto previous = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limited = old;
    limited.rlim_cur = 0x101000 + 4 * chunk + chunk / 2;
    const std::string name = m_dir.File("full.avi");
    m_filer.typed->RegisterFileName(name.c_str());
    // The limit comes after the open, so that the file's size probe does not see it: the disk
    // fills up while the file is written.
    BufferPtr first = RandomImage(64, 64, LxPixelFormat_BGR8, 0);
    m_filer.typed->AddImage(first->GetILxImage(), 0);
    ASSERT_TRUE(m_filer.recorder.WaitFor("open", 1));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    for (uint32_t i = 1; i < 12; ++i) {
        BufferPtr image = RandomImage(64, 64, LxPixelFormat_BGR8, i);
        m_filer.typed->AddImage(image->GetILxImage(), i);
    }
    const bool closed = m_filer.recorder.WaitFor("close", 1);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    ASSERT_TRUE(closed);
    m_filer.typed->Stop();
    EXPECT_EQ(m_filer.recorder.Count("error"), 1u); // once, not again at the close
    // The chunk that failed is not in the file; the four before it play.
    EXPECT_EQ(Frames(name), "4\n");
}

} // namespace

namespace {

TEST_F(Avi2Filer, MotionJpegFramesPlayAtTheirSizeAndCount) {
    m_filer.typed->SetCodec(MotionJPEG);
    m_filer.typed->SetQuality(90);
    const std::string name = m_dir.File("mjpeg.avi");
    m_filer.typed->RegisterFileName(name.c_str());
    for (uint32_t i = 0; i < 12; ++i) {
        // Odd sizes of the compressed chunks come with the random content.
        BufferPtr image = RandomImage(160, 120, LxPixelFormat_BGR8, 50 + i);
        m_filer.typed->AddImage(image->GetILxImage(), i == 11 ? 13 : i); // two lost before the last
    }
    m_filer.typed->Stop();
    EXPECT_EQ(RunCommand("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                         "stream=codec_name,width,height,nb_read_frames -of csv=p=0 " + Quoted(name)),
              "mjpeg,160,120,12\n");
    EXPECT_EQ(Decode(name, "bgr24").size(), 12u * 160 * 120 * 3);
    EXPECT_EQ(m_filer.recorder.Count("error"), 0u);
}

} // namespace
