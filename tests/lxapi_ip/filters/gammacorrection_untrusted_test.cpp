// The gamma correction filter with images from outside: 16-bit lines at odd addresses, and format
// codes the sister library does not know.
#include "lxmoduletest.h"

#include <lxapi/ilxgammacorrectionfilter.h>

#include <cmath>
#include <vector>

using namespace lxtest;

namespace {

struct Gamma {
    FilterPtr filter{CreateILxFilter(LxFilterType_GammaCorrection)};
    ILxGammaCorrectionFilter* typed = dynamic_cast<ILxGammaCorrectionFilter*>(filter.Get());
};

// An image of the caller's own making: any code, pitch and address.
struct ForeignImage : ILxImage {
    uint32_t format = 0;
    size_t width = 0, height = 0, pitch = 0;
    uint8_t* data = nullptr;
    size_t GetImageWidth() override { return width; }
    size_t GetImageHeight() override { return height; }
    size_t GetImageLinePitch() override { return pitch; }
    size_t GetImagePlaneSize() override { return height * pitch; }
    uint32_t GetImagePixelFormat() override { return format; }
    void* GetImageBuffer() override { return data; }
};

} // namespace

// 16-bit samples on lines that start at odd addresses (an odd pitch, or an odd first byte) come out
// as on even lines; the padding and the alpha samples keep their bytes. (Loading such samples as
// uint16_t is what the sanitizer build catches.)
TEST(GammaOddWordLines, FilterAsOnEvenLines) {
    Gamma g;
    g.typed->SetGamma(0.45);
    struct Case {
        uint32_t format;
        size_t samplesPerPixel, mapped;
    };
    const Case cases[] = {{LxPixelFormat_Mono12, 1, 1}, {LxPixelFormat_BayerRG16, 1, 1}, {LxPixelFormat_BGR10, 3, 3},
                          {LxPixelFormat_BGRa16, 4, 3}};
    const size_t w = 5, h = 3;
    for (const Case& k : cases) {
        const size_t lineBytes = 2 * w * k.samplesPerPixel;
        const unsigned bits = unsigned(GetILxPixelFormatInfo(k.format)->GetComponentBits());
        auto sample = [&](size_t y, size_t i) { return uint16_t((y * 7919 + i * 104729) & ((1u << bits) - 1)); };
        // The reference: an image on even lines.
        BufferPtr even = MakeImage(w, h, k.format);
        for (size_t y = 0; y < h; ++y)
            for (size_t i = 0; i < w * k.samplesPerPixel; ++i) SetWord(even, y, i, sample(y, i));
        g.filter->Filter(even->GetILxImage());

        for (const auto& [offset, pitch] : {std::pair<size_t, size_t>{0, lineBytes + 1}, {1, lineBytes + 2},
                                            {1, lineBytes + 3}}) {
            std::vector<uint8_t> storage(offset + pitch * h, 0xEE);
            ForeignImage img;
            img.format = k.format;
            img.width = w;
            img.height = h;
            img.pitch = pitch;
            img.data = storage.data() + offset;
            for (size_t y = 0; y < h; ++y)
                for (size_t i = 0; i < w * k.samplesPerPixel; ++i) {
                    const uint16_t v = sample(y, i);
                    std::memcpy(img.data + y * pitch + 2 * i, &v, 2);
                }
            if (k.samplesPerPixel == 4) // alpha keeps a marker
                for (size_t y = 0; y < h; ++y)
                    for (size_t x = 0; x < w; ++x) std::memset(img.data + y * pitch + 8 * x + 6, 0xAB, 2);
            ASSERT_EQ(g.filter->Filter(&img), &img);
            for (size_t y = 0; y < h; ++y) {
                for (size_t x = 0; x < w; ++x)
                    for (size_t c = 0; c < k.samplesPerPixel; ++c) {
                        const size_t i = x * k.samplesPerPixel + c;
                        uint16_t got;
                        std::memcpy(&got, img.data + y * pitch + 2 * i, 2);
                        ASSERT_EQ(got, c < k.mapped ? Word(even, y, i) : 0xABAB)
                            << std::hex << k.format << std::dec << " offset " << offset << " line " << y
                            << " sample " << i;
                    }
                for (size_t b = lineBytes; b < pitch; ++b) ASSERT_EQ(img.data[y * pitch + b], 0xEE);
            }
            for (size_t b = 0; b < offset; ++b) ASSERT_EQ(storage[b], 0xEE);
        }
    }
}

// A code the sister library does not know is refused with the filter's own text, the code in hex,
// and the pixels stay as they were.
TEST(GammaUnknownFormatCodes, AreNamedInHex) {
    Gamma g;
    g.typed->SetGamma(2.0);
    std::vector<uint8_t> pixels(16, 42);
    ForeignImage img;
    img.format = 0x12345678u;
    img.width = img.height = img.pitch = 4;
    img.data = pixels.data();
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { g.filter->Filter(&img); }),
              "Not supported pixelformat 0x12345678");
    EXPECT_EQ(pixels, std::vector<uint8_t>(16, 42));
    // A code it knows but the filter has no handler for keeps its name.
    img.format = LxPixelFormat_Mono12p;
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { g.filter->Filter(&img); }), "Not supported pixelformat Mono12p");
    EXPECT_FALSE(g.filter->GetFilterInfo()->IsSupportedPixelFormat(0x12345678u));
}

// Not a number fails both comparisons of a range check: it must be refused with the range text, not
// stored (a stored NaN would also make every later Filter rebuild the table).
TEST(GammaUntrustedValues, NotANumberIsRefusedAndNothingChanges) {
    Gamma g;
    g.typed->SetGamma(2.0);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { g.typed->SetGamma(std::nan("")); }),
              "value = nan must be greater than or equal 0.000000");
    EXPECT_EQ(g.typed->GetGamma(), 2.0);
}
