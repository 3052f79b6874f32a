// Faults and load: failing disks and names, a size limit, stops and setters at awkward moments. Every
// frame handed over while a name was waiting is found in a file, or was lost with a failing write.
#include "avitest.h"

#include <csignal>
#include <sys/resource.h>

using namespace lxtest;
using Clock = std::chrono::steady_clock;

namespace {

void UseUncompressed(ILxVideoFiler* f, int64_t maxFrames) {
    f->SetFileFormat(AVI1);
    f->SetCodec(Uncompressed);
    f->SetFrameRate(25.0);
    f->SetMaximumFrameCountPerFile(maxFrames);
}

// The frame numbers written into the first 4 bytes of each frame of a file.
std::vector<uint32_t> Numbers(const AviFile& a) {
    std::vector<uint32_t> n;
    for (auto& c : a.chunks) {
        if (c.size == 0) continue;
        uint32_t v;
        std::memcpy(&v, a.Data(c), 4);
        n.push_back(v);
    }
    return n;
}

void Stamp(const BufferPtr& image, uint32_t n) {
    for (size_t y = 0; y < image->GetILxImage()->GetImageHeight(); ++y) std::memcpy(Bytes(image) + y * Pitch(image), &n, 4);
}

} // namespace

// A disk that refuses every write (/dev/full) between two good names, and a name whose directory cannot be
// made: both are reported through callback 8, the good files stay complete, the worker goes on.
TEST(AviWriterFaults, FailingWritesAndUnopenableNamesAreReportedAndSkipped) {
    ScratchDir dir;
    std::ofstream(dir.File("plainfile")) << "x";
    VideoFiler v;
    UseUncompressed(v.typed, 3);
    v.typed->RegisterFileName(dir.File("first.avi").c_str());
    v.typed->RegisterFileName("/dev/full");
    v.typed->RegisterFileName(dir.File("plainfile/sub/x.avi").c_str());
    v.typed->RegisterFileName(dir.File("last.avi").c_str());
    BufferPtr image = MakeImage(8, 4, LxPixelFormat_Mono8);
    for (uint32_t n = 0; n < 7; ++n) {
        Stamp(image, n);
        v.typed->AddImage(image->GetILxImage(), n);
    }
    ASSERT_TRUE(v.recorder.WaitFor("open " + dir.File("last.avi"), 1));
    auto t0 = Clock::now();
    v.typed->Stop();
    EXPECT_LT(Clock::now() - t0, std::chrono::seconds(1));
    const AviFile first = ParseAvi(dir.File("first.avi")), last = ParseAvi(dir.File("last.avi"));
    ASSERT_TRUE(first.ok) << first.why;
    ASSERT_TRUE(last.ok) << last.why;
    EXPECT_EQ(Numbers(first), (std::vector<uint32_t>{0, 1, 2}));
    // Frame 3 went down with /dev/full; the rest reached the last file.
    EXPECT_EQ(Numbers(last), (std::vector<uint32_t>{4, 5, 6}));
    const auto events = v.recorder.Events();
    bool unwritable = false, unopened = false;
    for (auto& e : events) {
        unwritable |= e.find("File /dev/full is unwritable.") != std::string::npos;
        unopened |= e == "error File " + dir.File("plainfile/sub/x.avi") + " could not be opened.";
    }
    EXPECT_TRUE(unwritable);
    EXPECT_TRUE(unopened);
}

// Under a file size limit of 64 KiB the files are closed complete before they reach it, and every frame
// is in one of them.
TEST(AviWriterFaults, FileSizeLimitRotatesCompleteFiles) {
    ScratchDir dir;
    struct rlimit old {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limited = old;
    limited.rlim_cur = 64 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    std::vector<uint32_t> written;
    {
        VideoFiler v;
        UseUncompressed(v.typed, 100000);
        for (int i = 0; i < 8; ++i) v.typed->RegisterFileName(dir.File("part" + std::to_string(i) + ".avi").c_str());
        BufferPtr image = MakeImage(64, 32, LxPixelFormat_BGR8);
        for (uint32_t n = 0; n < 40; ++n) {
            Stamp(image, n);
            v.typed->AddImage(image->GetILxImage(), n);
        }
        v.typed->Stop();
        EXPECT_EQ(v.recorder.Count("error"), 0u);
    }
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    for (int i = 0; i < 8; ++i) {
        const std::string name = dir.File("part" + std::to_string(i) + ".avi");
        if (!std::filesystem::exists(name)) break;
        EXPECT_LE(std::filesystem::file_size(name), 64u * 1024u);
        const AviFile a = ParseAvi(name);
        ASSERT_TRUE(a.ok) << name << ": " << a.why;
        for (uint32_t n : Numbers(a)) written.push_back(n);
    }
    std::vector<uint32_t> all(40);
    for (uint32_t n = 0; n < 40; ++n) all[n] = n;
    EXPECT_EQ(written, all);
}

// A caller blocked for a free frame (the worker is held in the open callback) is released by Stop from
// another thread, and Stop returns within a second.
TEST(AviWriterFaults, StopReleasesABlockedCallerQuickly) {
    ScratchDir dir;
    VideoFiler v;
    UseUncompressed(v.typed, 1000);
    std::atomic<bool> release{false};
    v.recorder.onOpen = [&] {
        for (int i = 0; i < 300 && !release; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    v.typed->RegisterFileName(dir.File("held.avi").c_str());
    BufferPtr image = MakeImage(64, 8, LxPixelFormat_BGR8);
    std::atomic<int> added{0};
    std::thread caller([&] {
        for (uint32_t n = 0; n < 40; ++n) {
            v.typed->AddImage(image->GetILxImage(), n);
            ++added;
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    auto t0 = Clock::now();
    v.typed->Stop();
    release = true;
    EXPECT_LT(Clock::now() - t0, std::chrono::seconds(1));
    caller.join();
    EXPECT_EQ(added.load(), 40);
    const AviFile a = ParseAvi(dir.File("held.avi"));
    EXPECT_TRUE(a.ok) << a.why;
}

// A shaping setter while frames are queued ends the file (queued frames are dropped, the file stays
// complete), and the next image goes on in the next name; a size change does the same.
TEST(AviWriterFaults, SetterAndSizeChangeMidStream) {
    ScratchDir dir;
    VideoFiler v;
    UseUncompressed(v.typed, 1000);
    std::atomic<int> opens{0};
    v.recorder.onOpen = [&] {
        if (opens++ == 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    };
    for (const char* n : {"a.avi", "b.avi", "c.avi"}) v.typed->RegisterFileName(dir.File(n).c_str());
    BufferPtr small = MakeImage(16, 8, LxPixelFormat_Mono8), wide = MakeImage(24, 8, LxPixelFormat_Mono8);
    for (uint32_t n = 0; n < 6; ++n) v.typed->AddImage(small->GetILxImage(), n);
    v.typed->SetFrameRate(50.0);
    for (uint32_t n = 6; n < 9; ++n) v.typed->AddImage(small->GetILxImage(), n);
    for (uint32_t n = 9; n < 12; ++n) v.typed->AddImage(wide->GetILxImage(), n);
    v.typed->Stop();
    const AviFile a = ParseAvi(dir.File("a.avi")), b = ParseAvi(dir.File("b.avi")), c = ParseAvi(dir.File("c.avi"));
    ASSERT_TRUE(a.ok) << a.why;
    ASSERT_TRUE(b.ok) << b.why;
    ASSERT_TRUE(c.ok) << c.why;
    EXPECT_LE(a.chunks.size(), 6u);
    EXPECT_EQ(b.chunks.size(), 3u);
    EXPECT_EQ(b.scale, 200u);
    EXPECT_EQ(c.chunks.size(), 3u);
    EXPECT_EQ(c.width, 24u);
}

// The destructor while frames are being written completes the file.
TEST(AviWriterFaults, ReleaseWhileWriting) {
    ScratchDir dir;
    {
        VideoFiler v;
        UseUncompressed(v.typed, 1000);
        v.typed->RegisterFileName(dir.File("r.avi").c_str());
        BufferPtr image = RandomImage(320, 240, LxPixelFormat_BGR8, 5);
        for (uint32_t n = 0; n < 20; ++n) v.typed->AddImage(image->GetILxImage(), n);
    }
    const AviFile a = ParseAvi(dir.File("r.avi"));
    EXPECT_TRUE(a.ok) << a.why;
}
