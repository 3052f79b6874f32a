// JPEG files through the still image filer, read back by libjpeg-turbo.
#include "stillimagetest.h"

#include "lxtesttext.h"

#include <turbojpeg.h>

#include <gtest/gtest.h>

using namespace lxtest;

namespace {

struct Header {
    bool ok = false;
    int width = 0, height = 0, subsampling = -1, colorspace = -1;
};

Header HeaderOf(const std::vector<uint8_t>& jpeg, std::vector<uint8_t>* rgb = nullptr) {
    Header h;
    tjhandle t = tjInitDecompress();
    h.ok = tjDecompressHeader3(t, jpeg.data(), jpeg.size(), &h.width, &h.height, &h.subsampling, &h.colorspace) == 0;
    if (h.ok && rgb) {
        rgb->resize(size_t(h.width) * h.height * 3);
        h.ok = tjDecompress2(t, jpeg.data(), jpeg.size(), rgb->data(), h.width, 0, h.height, TJPF_RGB, 0) == 0;
    }
    tjDestroy(t);
    return h;
}

} // namespace

TEST(JpegWriter, EveryFilerFormatIsWrittenAndDecodes) {
    StillFiler f;
    ScratchDir dir;
    const std::pair<uint32_t, int> cases[] = {{LxPixelFormat_Mono8, TJSAMP_GRAY},   {LxPixelFormat_BGR8, TJSAMP_422},
                                              {LxPixelFormat_RGB8, TJSAMP_422},     {LxPixelFormat_YCbCr422_8, TJSAMP_422},
                                              {LxPixelFormat_BGRa8, TJSAMP_422},    {LxPixelFormat_RGBa8, TJSAMP_422}};
    for (auto [format, sampling] : cases) {
        SCOPED_TRACE(format);
        EXPECT_TRUE(f.typed->IsSupported(format, StillImageFileFormat_JPEG));
        BufferPtr img = RandomImage(37, 21, format);
        const std::string name = dir / "sub/a.jpg";
        f.typed->Save(img->GetILxImage(), StillImageFileFormat_JPEG, name.c_str());
        std::vector<uint8_t> rgb;
        const Header h = HeaderOf(ReadFile(name), &rgb);
        ASSERT_TRUE(h.ok);
        EXPECT_EQ(h.width, 37);
        EXPECT_EQ(h.height, 21);
        EXPECT_EQ(h.subsampling, sampling);
    }
}

// The quality register reaches the encoder: a higher quality gives a larger file of the same image.
TEST(JpegWriter, QualityReachesTheEncoder) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(64, 64, LxPixelFormat_BGR8);
    size_t last = 0;
    for (uint32_t q : {1u, 50u, 100u}) {
        f.typed->SetQuality(q);
        f.typed->Save(img->GetILxImage(), StillImageFileFormat_JPEG, (dir / "q.jpg").c_str());
        const size_t size = ReadFile(dir / "q.jpg").size();
        EXPECT_GT(size, last);
        last = size;
    }
}

// A pseudo-coloured Mono8 image becomes a colour file; without a colour map it stays grey.
TEST(JpegWriter, MappedMonoIsWrittenInColour) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(24, 8, LxPixelFormat_Mono8);
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_JPEG, (dir / "g.jpg").c_str());
    EXPECT_EQ(HeaderOf(ReadFile(dir / "g.jpg")).colorspace, TJCS_GRAY);
    f.typed->SetColorMapPhase(1);
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_JPEG, (dir / "c.jpg").c_str());
    const Header h = HeaderOf(ReadFile(dir / "c.jpg"));
    EXPECT_EQ(h.colorspace, TJCS_YCbCr);
    EXPECT_EQ(h.subsampling, TJSAMP_422);
}

TEST(JpegWriter, FailuresAreToldByName) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(8, 8, LxPixelFormat_BGR8);
    const std::string name = dir / "x.jpg";
    std::filesystem::create_directories(name); // a directory in the file's place
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_JPEG, name.c_str()); }),
              "File " + name + " is unwritable.");
    EXPECT_FALSE(f.typed->IsSupported(LxPixelFormat_BayerRG8, StillImageFileFormat_JPEG));
}
