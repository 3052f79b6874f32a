// The files read back by an independent reader: ImageMagick's identify and convert, where they are
// installed (the install script installs them with LXAPI_WITH_ORACLES=1); skipped otherwise. Every
// format of the bitmap table, at an odd width and with a line pitch wider than the row.
#include "oracletools.h"
#include "stillimagetest.h"

using namespace lxtest;

namespace {

class BitmapOracle : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveTool("identify") || !HaveTool("convert")) GTEST_SKIP() << "ImageMagick is not installed";
    }
    // Saves, checks that identify sees the size, and returns convert's samples (`map` such as "gray"
    // or "rgb", at `depth` bits, 16-bit ones little endian).
    std::vector<uint8_t> SaveAndConvert(ILxImage* image, const std::string& map, int depth) {
        const std::string name = m_dir / "image.bmp";
        m_filer.typed->Save(image, StillImageFileFormat_Bitmap, name.c_str());
        const std::vector<uint8_t> size = Output("identify -format '%w %h' " + Quoted(name));
        EXPECT_EQ(std::string(size.begin(), size.end()),
                  std::to_string(image->GetImageWidth()) + " " + std::to_string(image->GetImageHeight()));
        return Output("convert " + Quoted(name) + " -endian LSB -depth " + std::to_string(depth) + " " + map + ":-");
    }

    StillFiler m_filer;
    ScratchDir m_dir;
};

constexpr size_t W = 7, H = 5, Extra = 13;

BufferPtr PaddedImage(uint32_t format, unsigned bits = 0) {
    BufferPtr probe = MakeImage(W, H, format);
    return RandomImage(W, H, format, Pitch(probe) + Extra, bits, format);
}

} // namespace

TEST_F(BitmapOracle, Mono8) {
    BufferPtr img = PaddedImage(LxPixelFormat_Mono8);
    const std::vector<uint8_t> gray = SaveAndConvert(img->GetILxImage(), "gray", 8);
    ASSERT_EQ(gray.size(), W * H);
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W; ++x) ASSERT_EQ(gray[y * W + x], Bytes(img)[y * Pitch(img) + x]) << x << "," << y;
}

TEST_F(BitmapOracle, Mono10To16) {
    for (auto [format, bits] : {std::pair{LxPixelFormat_Mono10, 10u}, std::pair{LxPixelFormat_Mono12, 12u},
                                std::pair{LxPixelFormat_Mono14, 14u}, std::pair{LxPixelFormat_Mono16, 16u}}) {
        SCOPED_TRACE(bits);
        BufferPtr img = PaddedImage(format, bits);
        const std::vector<uint8_t> gray = SaveAndConvert(img->GetILxImage(), "gray", 16);
        ASSERT_EQ(gray.size(), 2 * W * H);
        for (size_t y = 0; y < H; ++y)
            for (size_t x = 0; x < W; ++x) {
                const uint32_t q = gray[2 * (y * W + x)] | gray[2 * (y * W + x) + 1] << 8;
                ASSERT_TRUE(QuantumHolds(q, Word(img, y, x), bits)) << q << " " << Word(img, y, x) << " at " << x << "," << y;
            }
    }
}

TEST_F(BitmapOracle, Bgr8AndBgra8) {
    for (auto [format, step] : {std::pair{LxPixelFormat_BGR8, 3u}, std::pair{LxPixelFormat_BGRa8, 4u}}) {
        SCOPED_TRACE(step);
        BufferPtr img = PaddedImage(format);
        // The fourth byte of a 32-bit BI_RGB bitmap has no defined meaning: the colours are compared.
        const std::vector<uint8_t> rgb = SaveAndConvert(img->GetILxImage(), "rgb", 8);
        ASSERT_EQ(rgb.size(), 3 * W * H);
        for (size_t y = 0; y < H; ++y)
            for (size_t x = 0; x < W; ++x)
                for (size_t c = 0; c < 3; ++c)
                    ASSERT_EQ(rgb[3 * (y * W + x) + c], Bytes(img)[y * Pitch(img) + step * x + 2 - c]) << x << "," << y;
    }
}

TEST_F(BitmapOracle, Cbgr10p32) {
    BufferPtr img = PaddedImage(LxPixelFormat_CBGR10p32);
    const std::vector<uint8_t> rgb = SaveAndConvert(img->GetILxImage(), "rgb", 16);
    ASSERT_EQ(rgb.size(), 6 * W * H);
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W; ++x) {
            uint32_t word;
            std::memcpy(&word, Bytes(img) + y * Pitch(img) + 4 * x, 4);
            const uint32_t expected[3] = {word >> 20 & 0x3FF, word >> 10 & 0x3FF, word & 0x3FF}; // red, green, blue
            for (size_t c = 0; c < 3; ++c) {
                const size_t at = 2 * (3 * (y * W + x) + c);
                ASSERT_TRUE(QuantumHolds(rgb[at] | rgb[at + 1] << 8, expected[c], 10)) << x << "," << y << " c" << c;
            }
        }
}
