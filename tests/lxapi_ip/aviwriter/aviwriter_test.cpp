// The video filer to AVI 1.0 uncompressed files: the layout read back by the reader of avitest.h, frames
// equal to the sources bit for bit, frame numbering (gaps, wrap), rotation, and the parameters.
#include "avitest.h"

#include <GenApi/GenApi.h>
#include <lxdescriptions.h>

using namespace lxtest;

namespace {

void Configure(ILxVideoFiler* f, int64_t maxFrames = 600, double fps = 30.0) {
    f->SetFileFormat(AVI1);
    f->SetCodec(Uncompressed);
    f->SetFrameRate(fps);
    f->SetMaximumFrameCountPerFile(maxFrames);
}

// A DIB frame of the file back into top-down lines without padding.
std::vector<uint8_t> TopDown(const AviFile& a, const AviFile::Chunk& c, size_t bytesPerPixel) {
    const size_t line = a.width * bytesPerPixel, pitch = (line + 3) / 4 * 4;
    std::vector<uint8_t> out;
    for (size_t y = a.height; y-- > 0;) out.insert(out.end(), a.Data(c) + y * pitch, a.Data(c) + y * pitch + line);
    return out;
}

} // namespace

TEST(AviWriterUncompressed, BGR8FramesRoundTripWithHeaderAndIndex) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 600, 30.0);
    const std::string name = dir.File("sub/dir/bgr.avi"); // the directories are made
    v.typed->RegisterFileName(name.c_str());
    std::vector<BufferPtr> images;
    for (uint32_t i = 0; i < 5; ++i) {
        images.push_back(RandomImage(37, 23, LxPixelFormat_BGR8, i));
        v.typed->AddImage(images.back()->GetILxImage(), 100 + i);
    }
    v.typed->Stop(); // completes the open file
    const AviFile a = ParseAvi(name);
    ASSERT_TRUE(a.ok) << a.why;
    EXPECT_EQ(a.width, 37u);
    EXPECT_EQ(a.height, 23u);
    EXPECT_EQ(a.handler, "DIB ");
    EXPECT_EQ(a.rate, 10000u);
    EXPECT_EQ(a.scale, 333u); // 10000 / 30 truncated
    EXPECT_EQ(a.microSecPerFrame, 33300u);
    EXPECT_EQ(a.flags, 2064u);
    EXPECT_EQ(a.length, 5u);
    EXPECT_EQ(a.totalFrames, 5u);
    ASSERT_EQ(a.format.size(), 40u);
    EXPECT_EQ(Le32(&a.format[16]), 0u);            // BI_RGB
    EXPECT_EQ(a.format[14] | a.format[15] << 8, 24); // bits
    EXPECT_EQ(a.chunks.front().offset, 4104u);     // first chunk data behind the 4096-byte header
    ASSERT_EQ(a.chunks.size(), 5u);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(a.chunks[i].id, "00db");
        EXPECT_EQ(a.index[i].flags, 16u);
        EXPECT_EQ(a.chunks[i].size, 23u * 112u); // 37 * 3 = 111 -> 112
        EXPECT_EQ(TopDown(a, a.chunks[i], 3), Lines(images[i], 3)) << "frame " << i;
    }
    EXPECT_EQ(v.recorder.Events(), (std::vector<std::string>{"open " + name, "close " + name}));
    EXPECT_TRUE(v.typed->IsFinished());
}

TEST(AviWriterUncompressed, Mono8HasAGreyPaletteAndReverseYStoresTopDown) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed);
    v.typed->SetReverseY(true);
    const std::string name = dir.File("mono.avi");
    v.typed->RegisterFileName(name.c_str());
    BufferPtr image = RandomImage(30, 7, LxPixelFormat_Mono8, 9);
    v.typed->AddImage(image->GetILxImage(), 0);
    v.typed->Stop();
    const AviFile a = ParseAvi(name);
    ASSERT_TRUE(a.ok) << a.why;
    ASSERT_EQ(a.format.size(), 1064u);
    EXPECT_EQ(a.format[14], 8);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(Le32(&a.format[40 + 4 * i]), i * 0x010101u) << i;
    ASSERT_EQ(a.chunks.size(), 1u);
    // Reverse Y on a bottom-up file: the file holds the lines top down.
    const std::vector<uint8_t> expected = Lines(image, 1);
    for (size_t y = 0; y < 7; ++y)
        EXPECT_EQ(0, std::memcmp(a.Data(a.chunks[0]) + y * 32, expected.data() + y * 30, 30)) << y;
}

TEST(AviWriterUncompressed, ColourMappedMonoAndBayerAreStoredAsBGR8AndOtherMonoAsMono8) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed);
    v.typed->SetColorMapType(LxColorMapType_PseudoColor_BGR);
    for (const char* n : {"a.avi", "b.avi", "c.avi"}) v.typed->RegisterFileName(dir.File(n).c_str());
    BufferPtr mono = RandomImage(16, 4, LxPixelFormat_Mono8, 1);
    BufferPtr bayer = RandomImage(16, 4, LxPixelFormat_BayerRG8, 2);
    BufferPtr mono12 = RandomImage(16, 4, LxPixelFormat_Mono12, 3);
    v.typed->AddImage(mono->GetILxImage(), 0);
    v.typed->AddImage(bayer->GetILxImage(), 1); // same size and target: the same file
    v.typed->SetColorMapType(LxColorMapType_Normal);
    v.typed->AddImage(mono12->GetILxImage(), 2); // Mono8 target: a new file object, the next name
    v.typed->Stop();
    const AviFile a = ParseAvi(dir.File("a.avi")), b = ParseAvi(dir.File("b.avi"));
    ASSERT_TRUE(a.ok) << a.why;
    ASSERT_TRUE(b.ok) << b.why;
    EXPECT_EQ(a.format[14], 24);
    EXPECT_EQ(a.chunks.size(), 2u);
    EXPECT_EQ(b.format[14], 8);
    EXPECT_EQ(b.chunks.size(), 1u);
}

// 5, 6, 9: two empty chunks for 7 and 8. 4294967295 then 0: consecutive.
TEST(AviWriterUncompressed, GapsGiveEmptyChunksAndTheCounterWraps) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed);
    v.typed->RegisterFileName(dir.File("gap.avi").c_str());
    BufferPtr image = RandomImage(8, 2, LxPixelFormat_BGR8, 4);
    for (uint32_t n : {5u, 6u, 9u}) v.typed->AddImage(image->GetILxImage(), n);
    v.typed->Stop();
    AviFile a = ParseAvi(dir.File("gap.avi"));
    ASSERT_TRUE(a.ok) << a.why;
    std::vector<uint32_t> sizes;
    for (auto& e : a.index) sizes.push_back(e.size);
    EXPECT_EQ(sizes, (std::vector<uint32_t>{48, 48, 0, 0, 48}));
    EXPECT_EQ(a.length, 5u);

    v.typed->RegisterFileName(dir.File("wrap.avi").c_str());
    for (uint32_t n : {4294967294u, 4294967295u, 0u, 1u}) v.typed->AddImage(image->GetILxImage(), n);
    v.typed->Stop();
    a = ParseAvi(dir.File("wrap.avi"));
    ASSERT_TRUE(a.ok) << a.why;
    EXPECT_EQ(a.index.size(), 4u);
    for (auto& e : a.index) EXPECT_EQ(e.size, 48u);
}

// 1,000 frames, 300 a file: four files of 300, 300, 300 and 100 frames, every frame in exactly one of
// them, in order.
TEST(AviWriterUncompressed, RotationByFrameSpanLosesNoFrame) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 300);
    for (int i = 0; i < 4; ++i) v.typed->RegisterFileName(dir.File("r" + std::to_string(i) + ".avi").c_str());
    BufferPtr image = MakeImage(8, 2, LxPixelFormat_Mono8);
    for (uint32_t n = 0; n < 1000; ++n) {
        // The frame number in the first bytes, so that each frame can be found again.
        std::memcpy(Bytes(image), &n, 4);
        std::memcpy(Bytes(image) + Pitch(image), &n, 4);
        v.typed->AddImage(image->GetILxImage(), n);
    }
    ASSERT_TRUE(v.recorder.WaitFor("close", 3));
    v.typed->Stop();
    uint32_t next = 0;
    const size_t expected[] = {300, 300, 300, 100};
    for (int i = 0; i < 4; ++i) {
        const AviFile a = ParseAvi(dir.File("r" + std::to_string(i) + ".avi"));
        ASSERT_TRUE(a.ok) << a.why;
        EXPECT_EQ(a.chunks.size(), expected[i]);
        EXPECT_EQ(a.length, expected[i]);
        for (auto& c : a.chunks) {
            uint32_t n;
            std::memcpy(&n, a.Data(c), 4);
            EXPECT_EQ(n, next++);
        }
    }
    EXPECT_EQ(next, 1000u);
    EXPECT_EQ(v.recorder.Count("open"), 4u);
    EXPECT_EQ(v.recorder.Count("error"), 0u);
}

TEST(AviWriterUncompressed, ImagesBeforeAnyNameAreDroppedAndAfterTheLastName) {
    ScratchDir dir;
    VideoFiler v;
    Configure(v.typed, 2);
    BufferPtr image = MakeImage(8, 2, LxPixelFormat_Mono8);
    for (uint32_t n = 0; n < 30; ++n) v.typed->AddImage(image->GetILxImage(), n); // never blocks
    EXPECT_TRUE(v.typed->IsFinished());
    v.typed->RegisterFileName(dir.File("one.avi").c_str());
    EXPECT_FALSE(v.typed->IsFinished());
    for (uint32_t n = 100; n < 130; ++n) v.typed->AddImage(image->GetILxImage(), n);
    ASSERT_TRUE(WaitFinished(v.typed));
    const AviFile a = ParseAvi(dir.File("one.avi"));
    ASSERT_TRUE(a.ok) << a.why;
    EXPECT_EQ(a.chunks.size(), 2u);
}

TEST(AviWriterParameters, RangesTextsAndCodecPairs) {
    VideoFiler v;
    EXPECT_EQ(v.typed->GetFileFormat(), AVI2);
    EXPECT_EQ(v.typed->GetCodec(), MotionJPEG);
    EXPECT_EQ(v.typed->GetQuality(), 75u);
    EXPECT_EQ(v.typed->GetMaximumFrameCountPerFile(), 600);
    EXPECT_DOUBLE_EQ(v.typed->GetFrameRate(), 1.0 / 60.0);
    EXPECT_EQ(std::string(v.filer->GetFilerInfo()->GetDisplayName().c_str()), "AVI");
    auto text = [](auto&& f) {
        try {
            f();
        } catch (const GenICam::GenericException& e) {
            return std::string(e.GetDescription());
        }
        return std::string("no exception");
    };
    EXPECT_EQ(text([&] { v.typed->SetFileFormat(static_cast<eAVIFileFormat>(3)); }),
              "eAVIFileFormat = 3 must be smaller than Max = 3");
    EXPECT_EQ(text([&] { v.typed->SetCodec(VP9); }), "eAVICodec = 3 must be smaller than Max = 3");
    EXPECT_EQ(text([&] { v.typed->SetQuality(101); }), "nValue = 101 must be equal or smaller than Max = 100");
    EXPECT_EQ(text([&] { v.typed->SetFrameRate(0.0001); }), "FPS = 0.000100 must be greater than or equal 0.001000");
    EXPECT_EQ(text([&] { v.typed->SetMaximumFrameCountPerFile(0); }),
              "nValue = 0 must be equal or greater than Min = 1");
    // WebM selects VP8; back to AVI1 the codec falls to Motion JPEG.
    v.typed->SetFileFormat(WebM);
    EXPECT_EQ(v.typed->GetCodec(), VP8);
    v.typed->SetFileFormat(AVI1);
    EXPECT_EQ(v.typed->GetCodec(), MotionJPEG);
    // AVI1 with VP8 through the register: the next image is refused.
    GenApi::INodeMap* map = v.filer->GetINodeMap();
    ASSERT_NE(map, nullptr);
    const uint32_t vp8 = VP8;
    GenApi::INode* codecReg = map->GetNode("CodecValueReg");
    ASSERT_NE(codecReg, nullptr);
    dynamic_cast<GenApi::IPort*>(v.filer.Get())->Write(&vp8, lxres::lxaviwriter::CodecValueReg.address, 4);
    EXPECT_EQ(v.typed->GetCodec(), VP8);
    BufferPtr image = MakeImage(8, 2, LxPixelFormat_Mono8);
    EXPECT_EQ(text([&] { v.typed->AddImage(image->GetILxImage(), 0); }), "Invalid codec.");
    // No file object was left behind: uncompressed works at once.
    v.typed->SetCodec(Uncompressed);
    EXPECT_NO_THROW(v.typed->AddImage(image->GetILxImage(), 0));
}
