// TIFF files of the still image filer: the header, the directory and its values read back by a small
// directory reader written here, the pixels against the image's lines, the palette against the one
// the bitmap writer stores for the same colour map, and the failures.
#include "stillimagetest.h"

#include <map>

using namespace lxtest;

namespace {

uint16_t LE16(const std::vector<uint8_t>& b, size_t at) { return uint16_t(b.at(at) | b.at(at + 1) << 8); }

struct Entry {
    uint16_t type;
    uint32_t count;
    uint32_t value;
};

struct Tiff {
    std::vector<uint16_t> tags; // in file order
    std::map<uint16_t, Entry> entries;
    const Entry& operator[](uint16_t tag) const { return entries.at(tag); }
};

Tiff ParseTiff(const std::vector<uint8_t>& f) {
    Tiff t;
    EXPECT_EQ(f.at(0), 'I');
    EXPECT_EQ(f.at(1), 'I');
    EXPECT_EQ(LE16(f, 2), 42);
    EXPECT_EQ(LE32(f, 4), 8u);
    const size_t n = LE16(f, 8);
    for (size_t i = 0; i < n; ++i) {
        const size_t at = 10 + 12 * i;
        t.tags.push_back(LE16(f, at));
        t.entries[LE16(f, at)] = {LE16(f, at + 2), LE32(f, at + 4), LE32(f, at + 8)};
    }
    EXPECT_EQ(LE32(f, 10 + 12 * n), 0u) << "one directory only";
    return t;
}

// The resolutions are 72 dots per inch, as 720000 / 10000.
void ExpectResolutions(const std::vector<uint8_t>& f, const Tiff& t) {
    for (uint16_t tag : {282, 283}) {
        EXPECT_EQ(t[tag].type, 5);
        EXPECT_EQ(LE32(f, t[tag].value), 720000u);
        EXPECT_EQ(LE32(f, t[tag].value + 4), 10000u);
    }
    EXPECT_EQ(t[296].value, 2u);
}

std::vector<uint8_t> Slice(const std::vector<uint8_t>& f, size_t at, size_t size) {
    return std::vector<uint8_t>(f.begin() + at, f.begin() + at + size);
}

struct Saved {
    std::vector<uint8_t> file;
    Tiff tiff;
};

Saved SaveTiff(StillFiler& f, const ScratchDir& dir, ILxImage* img) {
    const std::string name = dir / "image.tif";
    f.typed->Save(img, StillImageFileFormat_TIFF, name.c_str());
    Saved s{ReadFile(name), {}};
    s.tiff = ParseTiff(s.file);
    return s;
}

} // namespace

// Mono8 of 640 x 480 as grey: 11 entries, pixels right behind the two rationals at 162; with a colour
// map the palette file of 12 entries and the map before the pixels at 1710.
TEST(StillImageTiff, Mono8GreyAndPalette) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(640, 480, LxPixelFormat_Mono8, 640 + 24);
    Saved s = SaveTiff(f, dir, img->GetILxImage());
    EXPECT_EQ(s.tiff.tags, (std::vector<uint16_t>{256, 257, 258, 259, 262, 273, 278, 279, 282, 283, 296}));
    EXPECT_EQ(s.tiff[256].value, 640u);
    EXPECT_EQ(s.tiff[257].value, 480u);
    EXPECT_EQ(s.tiff[258].value, 8u);
    EXPECT_EQ(s.tiff[259].value, 1u);
    EXPECT_EQ(s.tiff[262].value, 1u);
    EXPECT_EQ(s.tiff[273].value, 162u);
    EXPECT_EQ(s.tiff[278].value, 480u);
    EXPECT_EQ(s.tiff[279].value, 307200u);
    ExpectResolutions(s.file, s.tiff);
    ASSERT_EQ(s.file.size(), 162u + 307200u);
    EXPECT_EQ(Slice(s.file, 162, 307200), LineBytesOf(img->GetILxImage()));

    f.typed->SetColorMapType(LxColorMapType_PseudoColor_BGRB);
    f.typed->SetColorMapPhase(10);
    s = SaveTiff(f, dir, img->GetILxImage());
    EXPECT_EQ(s.tiff.tags.size(), 12u);
    EXPECT_EQ(s.tiff.tags.back(), 320);
    EXPECT_EQ(s.tiff[262].value, 3u);
    EXPECT_EQ(s.tiff[273].value, 1710u);
    EXPECT_EQ(s.tiff[320].count, 768u);
    EXPECT_EQ(s.tiff[320].type, 3);
    ExpectResolutions(s.file, s.tiff);
    EXPECT_EQ(Slice(s.file, 1710, 307200), LineBytesOf(img->GetILxImage()));
    // The bitmap writer stores the same map as blue, green, red, 0: the TIFF tables are all reds, all
    // greens, all blues, each value widened to 16 bits by repeating it.
    const std::string bmp = dir / "image.bmp";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, bmp.c_str());
    const std::vector<uint8_t> palette = ReadFile(bmp);
    const size_t map = s.tiff[320].value;
    bool anyColour = false;
    for (size_t i = 0; i < 256; ++i)
        for (size_t c = 0; c < 3; ++c) {
            const uint8_t x = palette[54 + 4 * i + 2 - c];
            ASSERT_EQ(LE16(s.file, map + 512 * c + 2 * i), x * 257) << i << " c" << c;
            anyColour |= x != palette[54 + 4 * i];
        }
    EXPECT_TRUE(anyColour);
}

// Mono16 is written as it lies; Mono10 to Mono14 reach the file as Mono16. A line pitch shorter than
// a full row of the file cannot happen for buffers, so every line is taken whole.
TEST(StillImageTiff, Mono16) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(33, 7, LxPixelFormat_Mono16, 80);
    Saved s = SaveTiff(f, dir, img->GetILxImage());
    EXPECT_EQ(s.tiff.tags.size(), 11u);
    EXPECT_EQ(s.tiff[258].value, 16u);
    EXPECT_EQ(s.tiff[262].value, 1u);
    EXPECT_EQ(s.tiff[279].value, 33u * 7u * 2u);
    EXPECT_EQ(Slice(s.file, 162, 33 * 7 * 2), LineBytesOf(img->GetILxImage()));
    // A colour map does not make a 16-bit palette.
    f.typed->SetColorMapPhase(3);
    s = SaveTiff(f, dir, img->GetILxImage());
    EXPECT_EQ(s.tiff[262].value, 1u);

    BufferPtr twelve = RandomImage(5, 3, LxPixelFormat_Mono12, 0, 12);
    s = SaveTiff(f, dir, twelve->GetILxImage());
    EXPECT_EQ(s.tiff[258].value, 16u);
    EXPECT_EQ(s.file.size(), 162u + 5 * 3 * 2);
}

// The colour layouts: entries in their fixed order (ExtraSamples before RowsPerStrip, the planar
// configuration typed LONG), the arrays behind the rationals, the pixels of every plane.
TEST(StillImageTiff, ColourLayouts) {
    struct Case {
        uint32_t format;
        uint32_t c, p, bits;
    };
    for (const Case& k : {Case{LxPixelFormat_RGB8, 3, 1, 8}, Case{LxPixelFormat_RGBa8, 4, 1, 8},
                          Case{LxPixelFormat_RGB16, 3, 1, 16}, Case{LxPixelFormat_RGB8_Planar, 3, 3, 8},
                          Case{LxPixelFormat_RGB16_Planar, 3, 3, 16}}) {
        SCOPED_TRACE(testing::Message() << std::hex << k.format);
        StillFiler f;
        ScratchDir dir;
        const size_t w = 9, h = 4;
        BufferPtr probe = MakeImage(w, h, k.format);
        BufferPtr img = RandomImage(w, h, k.format, Pitch(probe) + 10);
        Saved s = SaveTiff(f, dir, img->GetILxImage());
        std::vector<uint16_t> tags{256, 257, 258, 259, 262, 273, 277};
        if (k.c == 4) tags.push_back(338);
        tags.insert(tags.end(), {278, 279, 282, 283, 284, 296});
        EXPECT_EQ(s.tiff.tags, tags);
        const uint32_t n = uint32_t(tags.size()), next = 10 + 12 * n;
        const uint32_t pixels = 12 * n + 54 + 2 * k.c;
        const uint32_t rowBytes = uint32_t(w) * (k.p == 1 ? k.c : 1) * k.bits / 8;
        const uint32_t planeBytes = rowBytes * uint32_t(h);
        EXPECT_EQ(s.tiff[258].count, k.c);
        EXPECT_EQ(s.tiff[258].value, next + 44);
        for (uint32_t i = 0; i < k.c; ++i) EXPECT_EQ(LE16(s.file, next + 44 + 2 * i), k.bits);
        EXPECT_EQ(s.tiff[262].value, 2u);
        EXPECT_EQ(s.tiff[277].value, k.c);
        if (k.c == 4) {
            EXPECT_EQ(s.tiff[338].value, 0u);
        }
        EXPECT_EQ(s.tiff[278].value, h);
        EXPECT_EQ(s.tiff[284].type, 4);
        EXPECT_EQ(s.tiff[284].value, k.p == 1 ? 1u : 2u);
        EXPECT_EQ(s.tiff[273].count, k.p);
        EXPECT_EQ(s.tiff[279].count, k.p);
        ExpectResolutions(s.file, s.tiff);
        for (uint32_t i = 0; i < 3; ++i) {
            EXPECT_EQ(LE32(s.file, next + 20 + 4 * i), k.p == 3 ? planeBytes : 0u);
            EXPECT_EQ(LE32(s.file, next + 32 + 4 * i), k.p == 3 ? pixels + i * planeBytes : 0u);
        }
        if (k.p == 1) {
            EXPECT_EQ(s.tiff[273].value, pixels);
            EXPECT_EQ(s.tiff[279].value, planeBytes);
        } else {
            EXPECT_EQ(s.tiff[273].value, next + 32);
            EXPECT_EQ(s.tiff[279].value, next + 20);
        }
        ASSERT_EQ(s.file.size(), size_t{pixels} + size_t{planeBytes} * k.p);
        EXPECT_EQ(Slice(s.file, pixels, planeBytes * k.p), LineBytesOf(img->GetILxImage()));
    }
}

// BGR8 goes through RGB8 and BGRa8 through RGBa8, alpha kept: the file holds red first.
TEST(StillImageTiff, BlueFirstFormatsAreWrittenRedFirst) {
    StillFiler f;
    ScratchDir dir;
    for (auto [format, step] : {std::pair{LxPixelFormat_BGR8, 3u}, std::pair{LxPixelFormat_BGRa8, 4u}}) {
        BufferPtr img = RandomImage(6, 3, format);
        Saved s = SaveTiff(f, dir, img->GetILxImage());
        EXPECT_EQ(s.tiff[277].value, step);
        const size_t at = s.tiff[273].value;
        for (size_t y = 0; y < 3; ++y)
            for (size_t x = 0; x < 6; ++x)
                for (size_t c = 0; c < step; ++c) {
                    const size_t from = c < 3 ? 2 - c : 3;
                    ASSERT_EQ(s.file[at + (y * 6 + x) * step + c], Bytes(img)[y * Pitch(img) + x * step + from]);
                }
    }
}

TEST(StillImageTiff, Failures) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr bayer = RandomImage(4, 4, LxPixelFormat_BayerRG8);
    EXPECT_FALSE(f.typed->IsSupported(LxPixelFormat_BayerRG8, StillImageFileFormat_TIFF));
    EXPECT_TRUE(f.typed->IsSupported(LxPixelFormat_BGRa12, StillImageFileFormat_TIFF));
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] {
                  f.typed->Save(bayer->GetILxImage(), StillImageFileFormat_TIFF, (dir / "b.tif").c_str());
              }),
              "Not supported pixelformat BayerRG8");
    // A full disk: the one write of the block fails.
    BufferPtr img = RandomImage(64, 64, LxPixelFormat_RGB8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>(
                  [&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_TIFF, "/dev/full"); }),
              "File /dev/full is unwritable.");
    EXPECT_EQ(TextOf<GenICam::RuntimeException>(
                  [&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_TIFF, "/proc/self/none/x.tif"); }),
              "File /proc/self/none/x.tif is unwritable.");
    // A TIFF file is not read back.
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_TIFF, (dir / "i.tif").c_str());
    BufferPtr back(CreateILxImageBuffer(nullptr));
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Load(back.Get(), (dir / "i.tif").c_str()); }),
              "File " + (dir / "i.tif") + " is unreadable.");
}
