// The still image filer end to end: round trips through raw and BMP files, the bytes of the files
// against the layouts written out here, hostile files, parameters and every failure text.
#include "stillimagetest.h"

#include "lxdescriptions.h"

#include <GenApi/GenApi.h>

#include <functional>
#include <thread>

using namespace lxtest;

namespace {

// The grey ramp palette a Mono8 bitmap carries with the map Normal.
void ExpectGreyPalette(const std::vector<uint8_t>& file) {
    for (size_t i = 0; i < 256; ++i) {
        const size_t e = 54 + 4 * i;
        ASSERT_EQ(file[e], i);
        ASSERT_EQ(file[e + 1], i);
        ASSERT_EQ(file[e + 2], i);
        ASSERT_EQ(file[e + 3], 0);
    }
}

void ExpectSameImage(ILxImage* a, ILxImage* b) {
    EXPECT_EQ(a->GetImageWidth(), b->GetImageWidth());
    EXPECT_EQ(a->GetImageHeight(), b->GetImageHeight());
    EXPECT_EQ(a->GetImagePixelFormat(), b->GetImagePixelFormat());
    EXPECT_EQ(LineBytesOf(a), LineBytesOf(b));
}

struct BitmapCase {
    uint32_t format;
    unsigned bits; // valid bits of the 16-bit samples, 0 for the rest
    uint16_t bitCount;
    uint32_t compression;
    uint32_t offset;
};

const BitmapCase kBitmapCases[] = {
    {LxPixelFormat_Mono8, 0, 8, 0, 1078},      {LxPixelFormat_Mono10, 10, 16, 3, 66},
    {LxPixelFormat_Mono12, 12, 16, 3, 66},     {LxPixelFormat_Mono14, 14, 16, 3, 66},
    {LxPixelFormat_Mono16, 16, 16, 3, 66},     {LxPixelFormat_BGR8, 0, 24, 0, 54},
    {LxPixelFormat_BGRa8, 0, 32, 0, 54},       {LxPixelFormat_CBGR10p32, 0, 32, 3, 66},
};

} // namespace

// Every format of the bitmap table, at an odd width and with a line pitch wider than the row: the
// header fields, the rows bottom up padded to 4 bytes with zeros, and the image read back.
TEST(StillImageBitmap, EveryFormatRoundTripsWithItsHeader) {
    StillFiler f;
    ScratchDir dir;
    for (const BitmapCase& c : kBitmapCases) {
        for (size_t extra : {size_t{0}, size_t{13}}) {
            SCOPED_TRACE(testing::Message() << std::hex << c.format << " extra pitch " << extra);
            const size_t w = 7, h = 5;
            BufferPtr probe = MakeImage(w, h, c.format);
            BufferPtr img = RandomImage(w, h, c.format, Pitch(probe) + extra, c.bits, unsigned(c.format + extra));
            const std::string name = dir / "image.bmp";
            f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
            const std::vector<uint8_t> file = ReadFile(name);
            const size_t rowBytes = w * (c.bitCount / 8), padded = (rowBytes + 3) / 4 * 4;
            ASSERT_EQ(file.size(), c.offset + padded * h);
            EXPECT_EQ(file[0], 'B');
            EXPECT_EQ(file[1], 'M');
            EXPECT_EQ(LE32(file, 2), file.size());
            EXPECT_EQ(LE32(file, 10), c.offset);
            EXPECT_EQ(LE32(file, 14), 40u);
            EXPECT_EQ(LE32(file, 18), w);
            EXPECT_EQ(LE32(file, 22), h);
            EXPECT_EQ(file[28], c.bitCount);
            EXPECT_EQ(LE32(file, 30), c.compression);
            EXPECT_EQ(LE32(file, 34), padded * h);
            EXPECT_EQ(LE32(file, 46), c.format == LxPixelFormat_Mono8 ? 256u : 0u);
            if (c.bits) {
                for (size_t i = 0; i < 3; ++i) EXPECT_EQ(LE32(file, 54 + 4 * i), (1u << c.bits) - 1);
            }
            if (c.format == LxPixelFormat_Mono8) ExpectGreyPalette(file);
            // Row y of the image is file row h - 1 - y.
            for (size_t y = 0; y < h; ++y) {
                const uint8_t* row = file.data() + c.offset + (h - 1 - y) * padded;
                ASSERT_EQ(0, std::memcmp(row, Bytes(img) + y * Pitch(img), rowBytes)) << y;
                for (size_t k = rowBytes; k < padded; ++k) ASSERT_EQ(row[k], 0) << y;
            }
            BufferPtr back(CreateILxImageBuffer(nullptr));
            f.typed->Load(back.Get(), name.c_str());
            ExpectSameImage(img->GetILxImage(), back->GetILxImage());
        }
    }
}

TEST(StillImageBitmap, RgbIsWrittenThroughBgr) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr rgb = RandomImage(5, 3, LxPixelFormat_RGBa8);
    f.typed->Save(rgb->GetILxImage(), StillImageFileFormat_Bitmap, (dir / "a.bmp").c_str());
    BufferPtr back(CreateILxImageBuffer(nullptr));
    f.typed->Load(back.Get(), (dir / "a.bmp").c_str());
    ASSERT_EQ(back->GetILxImage()->GetImagePixelFormat(), LxPixelFormat_BGRa8);
    for (size_t y = 0; y < 3; ++y)
        for (size_t x = 0; x < 5; ++x)
            for (size_t c = 0; c < 4; ++c)
                ASSERT_EQ(Bytes(back)[y * Pitch(back) + 4 * x + c], Bytes(rgb)[y * Pitch(rgb) + 4 * x + (c < 3 ? 2 - c : 3)])
                    << x << "," << y << " c" << c;
}

// The palette is the colour map of the parameters; the reader refuses a palette other than the grey
// ramp, so a pseudo-colour bitmap does not come back as Mono8.
TEST(StillImageBitmap, Mono8CarriesTheColourMapAsItsPalette) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(3, 2, LxPixelFormat_Mono8);
    f.typed->SetColorMapType(LxColorMapType_PseudoColor_BGR);
    f.typed->SetColorMapPhase(17);
    const std::string name = dir / "pseudo.bmp";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
    const std::vector<uint8_t> file = ReadFile(name);
    bool grey = true;
    for (size_t i = 0; i < 256; ++i) grey = grey && file[54 + 4 * i] == i && file[55 + 4 * i] == i && file[56 + 4 * i] == i;
    EXPECT_FALSE(grey);
    // Width 3: rows of 4 bytes, image size 4 x height.
    EXPECT_EQ(LE32(file, 34), 8u);
    BufferPtr back(CreateILxImageBuffer(nullptr));
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Load(back.Get(), name.c_str()); }),
              "File " + name + " is unreadable.");
    f.typed->SetColorMapType(LxColorMapType_Normal);
    f.typed->SetColorMapPhase(0);
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
    ExpectGreyPalette(ReadFile(name));
    f.typed->Load(back.Get(), name.c_str());
    ExpectSameImage(img->GetILxImage(), back->GetILxImage());
}

TEST(StillImageBitmap, NegativeHeightReadsTopDownAndHeightZeroHasNoRows) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(6, 4, LxPixelFormat_BGR8);
    const std::string name = dir / "img.bmp";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
    // Turn the file top down: rows reversed and the height negated.
    std::vector<uint8_t> file = ReadFile(name);
    const size_t padded = 20, offset = 54;
    std::vector<uint8_t> flipped(file);
    for (size_t r = 0; r < 4; ++r)
        std::memcpy(flipped.data() + offset + r * padded, file.data() + offset + (3 - r) * padded, padded);
    PutLE32(flipped, 22, uint32_t(-4));
    WriteFile(name, flipped);
    BufferPtr back(CreateILxImageBuffer(nullptr));
    f.typed->Load(back.Get(), name.c_str());
    ExpectSameImage(img->GetILxImage(), back->GetILxImage());

    BufferPtr empty = MakeImage(6, 0, LxPixelFormat_Mono16);
    f.typed->Save(empty->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
    EXPECT_EQ(ReadFile(name).size(), 66u);
    f.typed->Load(back.Get(), name.c_str());
    EXPECT_EQ(back->GetILxImage()->GetImageHeight(), 0u);
    EXPECT_EQ(back->GetILxImage()->GetImageWidth(), 6u);

    // Without columns there are no pixels: written and read back as 0 x 0.
    BufferPtr narrow = MakeImage(0, 5, LxPixelFormat_BGR8);
    f.typed->Save(narrow->GetILxImage(), StillImageFileFormat_Bitmap, name.c_str());
    f.typed->Load(back.Get(), name.c_str());
    EXPECT_EQ(back->GetILxImage()->GetImageWidth(), 0u);
    EXPECT_EQ(back->GetILxImage()->GetImageHeight(), 0u);
}

// Bitmaps the reader refuses, each made from a good file by one change; the buffer keeps the image it
// held.
TEST(StillImageBitmap, RefusedFilesLeaveTheBufferAsItWas) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr mono16 = RandomImage(4, 4, LxPixelFormat_Mono16);
    BufferPtr mono8 = RandomImage(4, 4, LxPixelFormat_Mono8);
    const std::string good16 = dir / "g16.bmp", good8 = dir / "g8.bmp", bad = dir / "bad.bmp";
    f.typed->Save(mono16->GetILxImage(), StillImageFileFormat_Bitmap, good16.c_str());
    f.typed->Save(mono8->GetILxImage(), StillImageFileFormat_Bitmap, good8.c_str());
    const std::vector<uint8_t> f16 = ReadFile(good16), f8 = ReadFile(good8);

    using Change = std::function<void(std::vector<uint8_t>&)>;
    const std::pair<const char*, Change> cases[] = {
        {"masks 555", [](auto& b) { PutLE32(b, 54, 0x7C00); PutLE32(b, 58, 0x3E0); PutLE32(b, 62, 0x1F); }},
        {"masks unequal", [](auto& b) { PutLE32(b, 58, 0xFF); }},
        {"16-bit BI_RGB", [](auto& b) { PutLE32(b, 30, 0); }},
        {"compression 1", [](auto& b) { PutLE32(b, 30, 1); }},
        {"offset below least", [](auto& b) { PutLE32(b, 10, 60); }},
        {"file size field short", [](auto& b) { PutLE32(b, 2, uint32_t(b.size() - 1)); }},
        {"truncated", [](auto& b) { b.resize(b.size() - 1); }},
        {"100000 x 100000", [](auto& b) { PutLE32(b, 18, 100000); PutLE32(b, 22, 100000); PutLE32(b, 2, 0xFFFFFFFF); }},
        {"width negative", [](auto& b) { PutLE32(b, 18, uint32_t(-4)); }},
        {"width 0, height 134283264", [](auto& b) { PutLE32(b, 18, 0); PutLE32(b, 22, uint32_t(-134283264)); }},
        {"height INT_MIN", [](auto& b) { PutLE32(b, 22, 0x80000000u); }},
        {"no info header", [](auto& b) { b.resize(30); }},
        {"type", [](auto& b) { b[1] = 'A'; }},
    };
    BufferPtr target = RandomImage(3, 3, LxPixelFormat_RGB8);
    const std::vector<uint8_t> before = LineBytesOf(target->GetILxImage());
    auto expectRefused = [&](const char* what, std::vector<uint8_t> bytes) {
        SCOPED_TRACE(what);
        WriteFile(bad, bytes);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Load(target.Get(), bad.c_str()); }),
                  "File " + bad + " is unreadable.");
        EXPECT_EQ(target->GetILxImage()->GetImagePixelFormat(), LxPixelFormat_RGB8);
        EXPECT_EQ(LineBytesOf(target->GetILxImage()), before);
    };
    for (const auto& [what, change] : cases) {
        std::vector<uint8_t> b = f16;
        change(b);
        expectRefused(what, b);
    }
    std::vector<uint8_t> b = f8;
    PutLE32(b, 50, 0); // colours used 256, colours important 0
    expectRefused("colours important 0", b);
    b = f8;
    b[54 + 4 * 7] = 8; // one palette entry off the ramp
    expectRefused("palette", b);
}

// Raw files keep the buffer as it lies in memory: formats of every family, padding included.
TEST(StillImageRaw, FormatsOfEveryFamilyRoundTripWithTheirPadding) {
    StillFiler f;
    ScratchDir dir;
    const uint32_t formats[] = {LxPixelFormat_Mono8,        LxPixelFormat_Mono12p,     LxPixelFormat_Mono10Packed,
                                LxPixelFormat_BayerRG16,    LxPixelFormat_BGRa16,      LxPixelFormat_RGB10p32,
                                LxPixelFormat_RGB12_Planar, LxPixelFormat_YCbCr411_8,  LxPixelFormat_YCbCr422_8,
                                LxPixelFormat_Pol1Mono12p,  LxPixelFormat_Pol1BayerRGXYC8, LxPixelFormat_CBGR10p32,
                                LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar};
    for (uint32_t format : formats) {
        for (size_t extra : {size_t{0}, size_t{9}}) {
            SCOPED_TRACE(testing::Message() << std::hex << format << " extra " << extra);
            BufferPtr probe = MakeImage(10, 6, format);
            BufferPtr img = RandomImage(10, 6, format, Pitch(probe) + extra, 0, format);
            const std::string name = dir / "img.raw";
            f.typed->Save(img->GetILxImage(), StillImageFileFormat_Raw, name.c_str());
            const std::vector<uint8_t> file = ReadFile(name);
            const size_t planes = GetILxPixelFormatInfo(format)->GetPlaneCount();
            const size_t block = planes * img->GetILxImage()->GetImagePlaneSize();
            ASSERT_EQ(file.size(), 72 + block);
            EXPECT_EQ(0, std::memcmp(file.data(), "LXRW", 4));
            EXPECT_EQ(LE32(file, 24), 72u);
            EXPECT_EQ(LE32(file, 32), block);
            EXPECT_EQ(LE32(file, 56), Pitch(img));
            EXPECT_EQ(LE32(file, 64), format);
            EXPECT_EQ(LE32(file, 68), format & 0x80000000u ? 0xFFFFFFFFu : 0u);
            EXPECT_EQ(0, std::memcmp(file.data() + 72, Bytes(img), block));
            BufferPtr back(CreateILxImageBuffer(nullptr));
            f.typed->Load(back.Get(), name.c_str());
            EXPECT_EQ(Pitch(back), Pitch(img));
            ASSERT_EQ(back->GetILxImage()->GetImagePlaneSize(), img->GetILxImage()->GetImagePlaneSize());
            EXPECT_EQ(0, std::memcmp(Bytes(back), Bytes(img), block));
            ExpectSameImage(img->GetILxImage(), back->GetILxImage());
        }
    }
}

TEST(StillImageRaw, HostileHeadersAreUnreadable) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(8, 4, LxPixelFormat_Mono16);
    const std::string good = dir / "g.raw", bad = dir / "b.raw";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Raw, good.c_str());
    const std::vector<uint8_t> file = ReadFile(good);
    using Change = std::function<void(std::vector<uint8_t>&)>;
    const std::pair<const char*, Change> cases[] = {
        {"four bytes LXRW", [](auto& b) { b.resize(4); }},
        {"header size 40", [](auto& b) { PutLE32(b, 24, 40); }},
        {"header size 100", [](auto& b) { PutLE32(b, 24, 100); }},
        {"word at 20", [](auto& b) { b[20] = 1; }},
        {"block size", [](auto& b) { PutLE32(b, 32, LE32(b, 32) + 2); }},
        {"pitch other than the format makes", [](auto& b) { PutLE32(b, 56, 15); }},
        {"truncated block", [](auto& b) { b.pop_back(); }},
        {"100000 x 100000", [](auto& b) { PutLE32(b, 40, 100000); PutLE32(b, 48, 100000); PutLE32(b, 56, 200000); PutLE32(b, 32, 0x2A05F200); b[36] = 4; }},
        {"width 2^62", [](auto& b) { b[47] = 0x40; }},
        {"unknown format", [](auto& b) { PutLE32(b, 64, 0x01990099); }},
        {"format not sign-extended", [](auto& b) { PutLE32(b, 68, 1); }},
    };
    BufferPtr target = RandomImage(3, 3, LxPixelFormat_RGB8);
    const std::vector<uint8_t> before = LineBytesOf(target->GetILxImage());
    for (const auto& [what, change] : cases) {
        SCOPED_TRACE(what);
        std::vector<uint8_t> b = file;
        change(b);
        WriteFile(bad, b);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Load(target.Get(), bad.c_str()); }),
                  "File " + bad + " is unreadable.");
        EXPECT_EQ(LineBytesOf(target->GetILxImage()), before);
    }
    // A wider stored pitch is taken as it is.
    std::vector<uint8_t> wide = file;
    BufferPtr padded = RandomImage(8, 4, LxPixelFormat_Mono16, 20);
    f.typed->Save(padded->GetILxImage(), StillImageFileFormat_Raw, good.c_str());
    f.typed->Load(target.Get(), good.c_str());
    EXPECT_EQ(Pitch(target), 20u);
}

TEST(StillImageRaw, EmptyImageAndFormatsNoOtherFileTakes) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr empty = MakeImage(0, 0, LxPixelFormat_BayerGB12p);
    f.typed->Save(empty->GetILxImage(), StillImageFileFormat_Raw, (dir / "e.raw").c_str());
    const std::vector<uint8_t> file = ReadFile(dir / "e.raw");
    ASSERT_EQ(file.size(), 72u);
    EXPECT_EQ(LE32(file, 32), 0u);
    BufferPtr back(CreateILxImageBuffer(nullptr));
    f.typed->Load(back.Get(), (dir / "e.raw").c_str());
    EXPECT_EQ(back->GetILxImage()->GetImagePixelFormat(), LxPixelFormat_BayerGB12p);
    // Lines without bytes: written as no lines; a file that claims lines of no bytes is refused.
    BufferPtr narrow = MakeImage(0, 7, LxPixelFormat_Mono8);
    f.typed->Save(narrow->GetILxImage(), StillImageFileFormat_Raw, (dir / "n.raw").c_str());
    f.typed->Load(back.Get(), (dir / "n.raw").c_str());
    EXPECT_EQ(back->GetILxImage()->GetImageHeight(), 0u);
    std::vector<uint8_t> claims = ReadFile(dir / "n.raw");
    claims[48] = 0x48;
    claims[51] = 0x48; // 0x48000048 lines of 0 bytes
    WriteFile(dir / "n.raw", claims);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.typed->Load(back.Get(), (dir / "n.raw").c_str()); }),
              "File " + (dir / "n.raw") + " is unreadable.");
    EXPECT_TRUE(f.typed->IsSupported(LxPixelFormat_Pol1BayerRG10p, StillImageFileFormat_Raw));
    EXPECT_TRUE(f.typed->IsSupported(0x12345678, StillImageFileFormat_Raw));
    EXPECT_TRUE(f.typed->IsPixelFormatIndependent(LxPixelFormat_Mono8, StillImageFileFormat_Raw));
    EXPECT_FALSE(f.typed->IsPixelFormatIndependent(LxPixelFormat_Mono8, StillImageFileFormat_Bitmap));
}

// Missing directories of the path are made; a name without one makes none.
TEST(StillImageFiler, SaveCreatesTheMissingDirectories) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = RandomImage(2, 2, LxPixelFormat_Mono8);
    const std::string deep = dir / "a/b/c/d.raw";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Raw, deep.c_str());
    EXPECT_EQ(ReadFile(deep).size(), 72u + 4u);
    // UTF-8 names pass as they are.
    const std::string utf8 = dir / "Bild \xC3\xA4\xE2\x82\xAC/\xE5\x9B\xBE.bmp";
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, utf8.c_str());
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::u8path(utf8)));
}

TEST(StillImageFiler, FailureTexts) {
    StillFiler f;
    ScratchDir dir;
    using GenICam::OutOfRangeException;
    using GenICam::RuntimeException;
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { f.typed->SetQuality(101); }),
              "nValue = 101 must be equal or smaller than Max = 100");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { f.typed->SetColorMapType(ELxColorMapType_t(-1)); }),
              "eCMT = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { f.typed->SetColorMapType(ELxColorMapType_t(3)); }),
              "eCMT = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { f.typed->SetColorMapPhase(-1); }),
              "nPhase = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { f.typed->SetColorMapPhase(256); }),
              "nPhase = 256 must be smaller than Max = 256");
    auto* port = dynamic_cast<GenApi::IPort*>(f.filer.Get());
    uint8_t bytes[8] = {};
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { port->Write(bytes, lxres::lxstillimagewriter::ColorMapTypeReg.address, 2); }),
              "Length = 2 must be equal or greater than Min = 4");

    BufferPtr img = RandomImage(2, 2, LxPixelFormat_RGB8);
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_CSV, (dir / "x").c_str()); }),
              "<no exception>");
    BufferPtr bayer = RandomImage(2, 2, LxPixelFormat_BayerRG8);
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(bayer->GetILxImage(), StillImageFileFormat_Bitmap, (dir / "x").c_str()); }),
              "Not supported pixelformat BayerRG8");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { f.typed->Load(nullptr, (dir / "x").c_str()); }),
              "ILxImageBuffer pointer is NULL.");
    BufferPtr back(CreateILxImageBuffer(nullptr));
    const std::string missing = dir / "missing.raw";
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Load(back.Get(), missing.c_str()); }),
              "File " + missing + " could not be opened.");
    // A CSV file, three bytes, and a directory.
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Load(back.Get(), (dir / "x").c_str()); }),
              "File " + (dir / "x") + " is unreadable.");
    WriteFile(dir / "short", {'B', 'M', 0});
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Load(back.Get(), (dir / "short").c_str()); }),
              "File " + (dir / "short") + " is unreadable.");
    std::filesystem::create_directories(dir / "folder");
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Load(back.Get(), (dir / "folder").c_str()); }),
              "File " + (dir / "folder") + " could not be opened.");
    // A full disk, and a name that is a directory.
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_Raw, "/dev/full"); }),
                  "File /dev/full is unwritable.");
        EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, "/dev/full"); }),
                  "File /dev/full is unwritable.");
        EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_CSV, "/dev/full"); }),
                  "File /dev/full is unwritable.");
    }
    EXPECT_EQ(TextOf<RuntimeException>([&] { f.typed->Save(img->GetILxImage(), StillImageFileFormat_Raw, (dir / "folder").c_str()); }),
              "File " + (dir / "folder") + " is unwritable.");
    // An image of another implementation.
    struct ForeignImage : ILxImage {
        size_t GetImageWidth() override { return 1; }
        size_t GetImageHeight() override { return 1; }
        size_t GetImageLinePitch() override { return 1; }
        size_t GetImagePlaneSize() override { return 1; }
        uint32_t GetImagePixelFormat() override { return LxPixelFormat_Mono8; }
        void* GetImageBuffer() override { return &byte; }
        uint8_t byte = 0;
    } foreign;
    EXPECT_EQ(TextOf<GenICam::LogicalErrorException>([&] { f.typed->Save(&foreign, StillImageFileFormat_Raw, (dir / "f").c_str()); }),
              "Unexpected type in dynamic cast");
}

// Every file format has its writer; a pair outside the table is not offered.
TEST(StillImageFiler, SupportFollowsTheTable) {
    StillFiler f;
    EXPECT_TRUE(f.typed->IsSupported(LxPixelFormat_BGR8, StillImageFileFormat_Bitmap));
    EXPECT_TRUE(f.typed->IsSupported(LxPixelFormat_BGR8, StillImageFileFormat_CSV));
    EXPECT_FALSE(f.typed->IsSupported(LxPixelFormat_BayerRG8, StillImageFileFormat_Bitmap));
    for (auto format : {StillImageFileFormat_JPEG, StillImageFileFormat_TIFF, StillImageFileFormat_PNG})
        EXPECT_TRUE(f.typed->IsSupported(LxPixelFormat_BGR8, format));
}

TEST(StillImageFiler, ParametersThroughFeaturesAndSetters) {
    StillFiler f;
    EXPECT_EQ(std::string(f.filer->GetFilerInfo()->GetDisplayName().c_str()), "Still Image");
    EXPECT_EQ(f.filer->GetFilerInfo()->GetFilerType(), LxFilerType_StillImage);
    GenApi::INodeMap* map = f.filer->GetINodeMap();
    GenApi::CIntegerPtr quality = map->GetNode("Quality");
    EXPECT_EQ(quality->GetValue(), 75);
    EXPECT_EQ(quality->GetMin(), 0);
    EXPECT_EQ(quality->GetMax(), 100);
    f.typed->SetQuality(90);
    EXPECT_EQ(quality->GetValue(), 90);
    quality->SetValue(10);
    EXPECT_EQ(f.typed->GetQuality(), 10u);
    GenApi::CEnumerationPtr type = map->GetNode("ColorMapType");
    type->FromString("PseudoColor_BGRB");
    EXPECT_EQ(f.typed->GetColorMapType(), LxColorMapType_PseudoColor_BGRB);
    GenApi::CBooleanPtr inversion = map->GetNode("ColorMapInversion");
    inversion->SetValue(true);
    EXPECT_TRUE(f.typed->GetColorMapInversion());
    GenApi::CIntegerPtr phase = map->GetNode("ColorMapPhase");
    f.typed->SetColorMapPhase(200);
    EXPECT_EQ(phase->GetValue(), 200);
    // A register write of Quality is stored without the setter's check.
    auto* port = dynamic_cast<GenApi::IPort*>(f.filer.Get());
    const uint32_t big = 500;
    port->Write(&big, lxres::lxstillimagewriter::QualityReg.address, 4);
    EXPECT_EQ(f.typed->GetQuality(), 500u);
}

// Two threads save through one module at once, each through the converter and the pooled buffers.
TEST(StillImageFiler, TwoThreadsSaveThroughOneModule) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr images[2] = {RandomImage(33, 17, LxPixelFormat_RGB8, 0, 0, 1), RandomImage(33, 17, LxPixelFormat_RGB8, 0, 0, 2)};
    const std::string names[2] = {dir / "t0.bmp", dir / "t1.bmp"};
    auto work = [&](int t) {
        for (int i = 0; i < 20; ++i) f.typed->Save(images[t]->GetILxImage(), StillImageFileFormat_Bitmap, names[t].c_str());
    };
    std::thread a(work, 0), b(work, 1);
    a.join();
    b.join();
    for (int t = 0; t < 2; ++t) {
        BufferPtr back(CreateILxImageBuffer(nullptr));
        f.typed->Load(back.Get(), names[t].c_str());
        for (size_t y = 0; y < 17; ++y)
            for (size_t x = 0; x < 33; ++x)
                for (size_t c = 0; c < 3; ++c)
                    ASSERT_EQ(Bytes(back)[y * Pitch(back) + 3 * x + c], Bytes(images[t])[y * Pitch(images[t]) + 3 * x + 2 - c]);
    }
}
