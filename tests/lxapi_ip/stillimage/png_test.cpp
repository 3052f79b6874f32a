// PNG files of the still image filer: the chunks and samples of every written format checked by a
// small decoder written here (zlib inflate and PNG's five row filters), the images read back, files of
// other kinds made with libpng directly, and hostile files: broken CRCs, bad compressed data, every
// truncation, huge dimensions.
#include "stillimagetest.h"

#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstdlib>

using namespace lxtest;

namespace {

uint32_t BE32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b.at(at)) << 24 | uint32_t(b.at(at + 1)) << 16 | uint32_t(b.at(at + 2)) << 8 | b.at(at + 3);
}
void PutBE32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.at(at + i) = uint8_t(v >> (24 - 8 * i));
}

struct Chunk {
    std::string type;
    size_t at; // of its data
    std::vector<uint8_t> data;
};

// The chunks of a file, each CRC checked.
std::vector<Chunk> Chunks(const std::vector<uint8_t>& f) {
    std::vector<Chunk> out;
    static const uint8_t sig[8] = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};
    EXPECT_TRUE(f.size() >= 8 && std::equal(sig, sig + 8, f.begin()));
    for (size_t at = 8; at + 12 <= f.size();) {
        const uint32_t length = BE32(f, at);
        Chunk c{std::string(f.begin() + at + 4, f.begin() + at + 8), at + 8,
                std::vector<uint8_t>(f.begin() + at + 8, f.begin() + at + 8 + length)};
        EXPECT_EQ(BE32(f, at + 8 + length), crc32(0, f.data() + at + 4, 4 + length)) << c.type;
        out.push_back(c);
        at += 12 + length;
    }
    return out;
}

// Recomputes the CRC of the chunk whose data starts at `at`.
void FixCrc(std::vector<uint8_t>& f, size_t at) {
    const uint32_t length = BE32(f, at - 8);
    PutBE32(f, at + length, uint32_t(crc32(0, f.data() + at - 4, 4 + length)));
}

struct Decoded {
    uint32_t width, height;
    int depth, colorType;
    std::vector<std::string> types;
    std::vector<uint8_t> palette;
    std::vector<uint8_t> samples; // rows back to back, 16-bit samples big endian as in the file
};

// A reference decoder for the files the writer makes: not interlaced, depth 8 or 16.
Decoded Decode(const std::vector<uint8_t>& f) {
    Decoded d{};
    std::vector<uint8_t> z;
    for (const Chunk& c : Chunks(f)) {
        d.types.push_back(c.type);
        if (c.type == "IHDR") {
            d.width = BE32(c.data, 0);
            d.height = BE32(c.data, 4);
            d.depth = c.data[8];
            d.colorType = c.data[9];
            EXPECT_EQ(c.data[10], 0);
            EXPECT_EQ(c.data[11], 0);
            EXPECT_EQ(c.data[12], 0) << "not interlaced";
        } else if (c.type == "PLTE") {
            d.palette = c.data;
        } else if (c.type == "IDAT") {
            z.insert(z.end(), c.data.begin(), c.data.end());
        }
    }
    const size_t channels = d.colorType == 2 ? 3 : d.colorType == 6 ? 4 : 1;
    const size_t bpp = channels * size_t(d.depth) / 8, row = bpp * d.width;
    std::vector<uint8_t> raw((row + 1) * d.height);
    uLongf size = uLongf(raw.size());
    EXPECT_EQ(uncompress(raw.data(), &size, z.data(), uLong(z.size())), Z_OK);
    EXPECT_EQ(size, raw.size());
    d.samples.assign(row * d.height, 0);
    for (size_t y = 0; y < d.height; ++y) {
        const uint8_t filter = raw[y * (row + 1)];
        const uint8_t* in = raw.data() + y * (row + 1) + 1;
        uint8_t* out = d.samples.data() + y * row;
        const uint8_t* up = y ? out - row : nullptr;
        for (size_t i = 0; i < row; ++i) {
            const int a = i >= bpp ? out[i - bpp] : 0, b = up ? up[i] : 0, c = up && i >= bpp ? up[i - bpp] : 0;
            int pred = 0;
            switch (filter) {
            case 0: pred = 0; break;
            case 1: pred = a; break;
            case 2: pred = b; break;
            case 3: pred = (a + b) / 2; break;
            case 4: {
                const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
                pred = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
                break;
            }
            default: ADD_FAILURE() << "filter " << int(filter); return d;
            }
            out[i] = uint8_t(in[i] + pred);
        }
    }
    return d;
}

// libpng's shift of a sample of `bits` bits to 16: the bits repeated downwards.
uint16_t Widened(uint16_t v, unsigned bits) {
    return bits >= 16 ? v : uint16_t(v << (16 - bits) | v >> (2 * bits - 16));
}

struct PngCase {
    uint32_t format;
    unsigned bits;    // significant bits of a component
    unsigned c;       // components in memory
    bool bgr;
    int colorType;    // in the file
    uint32_t back;    // the format read back
};

const PngCase kPngCases[] = {
    {LxPixelFormat_Mono8, 8, 1, false, 0, LxPixelFormat_Mono8},
    {LxPixelFormat_Mono10, 10, 1, false, 0, LxPixelFormat_Mono8},
    {LxPixelFormat_Mono12, 12, 1, false, 0, LxPixelFormat_Mono8},
    {LxPixelFormat_Mono14, 14, 1, false, 0, LxPixelFormat_Mono8},
    {LxPixelFormat_Mono16, 16, 1, false, 0, LxPixelFormat_Mono8},
    {LxPixelFormat_RGB8, 8, 3, false, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_BGR8, 8, 3, true, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_RGB16, 16, 3, false, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_BGR10, 10, 3, true, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_BGR12, 12, 3, true, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_BGR14, 14, 3, true, 2, LxPixelFormat_RGB8},
    {LxPixelFormat_BGR16, 16, 3, true, 2, LxPixelFormat_RGB8},
};

// Sample (x, component) of line y of the image as a number.
uint32_t Sample(const BufferPtr& img, size_t y, size_t x, size_t c, unsigned components, unsigned bits) {
    const size_t i = x * components + c;
    return bits > 8 ? Word(img, y, i) : Bytes(img)[y * Pitch(img) + i];
}

// A file made by libpng itself with the given rows (already in the file's sample layout).
std::vector<uint8_t> LibpngFile(const std::string& path, uint32_t w, uint32_t h, int colorType, int depth,
                                const std::vector<uint8_t>& rows, bool interlaced = false, bool transparency = false) {
    FILE* out = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        ADD_FAILURE() << "libpng failed";
    } else {
        png_init_io(png, out);
        png_set_IHDR(png, info, w, h, depth, colorType, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_color palette[256];
        for (int i = 0; i < 256; ++i) palette[i] = {png_byte(i), png_byte(255 - i), png_byte(i / 2)};
        if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, palette, 1 << depth);
        png_byte alpha[4] = {0, 128, 255, 7};
        if (transparency) png_set_tRNS(png, info, alpha, 4, nullptr);
        png_write_info(png, info);
        const size_t row = rows.size() / h;
        const int passes = png_set_interlace_handling(png);
        for (int pass = 0; pass < passes; ++pass)
            for (uint32_t y = 0; y < h; ++y) png_write_row(png, rows.data() + y * row);
        png_write_end(png, info);
    }
    png_destroy_write_struct(&png, &info);
    std::fclose(out);
    return ReadFile(path);
}

std::vector<uint8_t> RandomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = uint8_t(rng());
    return v;
}

class PngFiles : public ::testing::Test {
protected:
    std::string Unreadable(const std::string& path) { return "File " + path + " is unreadable."; }
    // Loads `bytes` as a file and returns the failure text, or "" when it loaded.
    std::string LoadText(const std::vector<uint8_t>& bytes) {
        const std::string path = m_dir / "in.png";
        WriteFile(path, bytes);
        std::string text;
        try {
            m_filer.typed->Load(m_back.Get(), path.c_str());
        } catch (const GenICam::GenericException& e) {
            text = e.GetDescription();
        }
        return text;
    }
    // A buffer loaded from a file made here.
    ILxImage* Loaded(const std::vector<uint8_t>& bytes) {
        const std::string text = LoadText(bytes);
        EXPECT_EQ(text, "");
        return m_back->GetILxImage();
    }

    StillFiler m_filer;
    ScratchDir m_dir;
    BufferPtr m_back{CreateILxImageBuffer(nullptr)};
};

} // namespace

// Every format of the writer's table, at an odd width with a wide line pitch: colour type, depth and
// the chunks IHDR, IDAT, IEND only; each 16-bit sample in the file is the image's sample scaled by
// libpng's shift; reading back gives the 8-bit image (the high bytes), red first.
TEST_F(PngFiles, EveryFormatByItsSamplesAndBack) {
    for (const PngCase& k : kPngCases) {
        SCOPED_TRACE(testing::Message() << std::hex << k.format);
        const size_t w = 13, h = 6;
        BufferPtr probe = MakeImage(w, h, k.format);
        BufferPtr img = RandomImage(w, h, k.format, Pitch(probe) + 7, k.bits > 8 ? k.bits : 0, k.format);
        const std::string path = m_dir / "image.png";
        m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, path.c_str());
        const Decoded d = Decode(ReadFile(path));
        EXPECT_EQ(d.types.front(), "IHDR");
        EXPECT_EQ(d.types.back(), "IEND");
        for (size_t i = 1; i + 1 < d.types.size(); ++i) EXPECT_EQ(d.types[i], "IDAT");
        EXPECT_EQ(d.width, w);
        EXPECT_EQ(d.height, h);
        EXPECT_EQ(d.colorType, k.colorType);
        EXPECT_EQ(d.depth, k.bits > 8 ? 16 : 8);
        ILxImage* back = Loaded(ReadFile(path));
        ASSERT_EQ(back->GetImagePixelFormat(), k.back);
        ASSERT_EQ(back->GetImageWidth(), w);
        ASSERT_EQ(back->GetImageHeight(), h);
        const auto* b = static_cast<const uint8_t*>(back->GetImageBuffer());
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x)
                for (size_t c = 0; c < k.c; ++c) {
                    const uint32_t v = Sample(img, y, x, k.bgr ? k.c - 1 - c : c, k.c, k.bits);
                    const size_t i = x * k.c + c;
                    uint32_t inFile = d.samples[y * w * k.c + i];
                    uint32_t expected = v;
                    if (k.bits > 8) {
                        inFile = uint32_t(d.samples[2 * (y * w * k.c + i)]) << 8 | d.samples[2 * (y * w * k.c + i) + 1];
                        expected = Widened(uint16_t(v), k.bits);
                    }
                    ASSERT_EQ(inFile, expected) << x << "," << y << " c" << c;
                    ASSERT_EQ(b[y * back->GetImageLinePitch() + i], expected >> (k.bits > 8 ? 8 : 0));
                }
    }
}

// Formats with alpha are converted to their partners without it; the colour is kept.
TEST_F(PngFiles, AlphaIsDropped) {
    BufferPtr img = RandomImage(5, 4, LxPixelFormat_BGRa8);
    const std::string path = m_dir / "a.png";
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, path.c_str());
    const Decoded d = Decode(ReadFile(path));
    EXPECT_EQ(d.colorType, 2);
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 0; x < 5; ++x)
            for (size_t c = 0; c < 3; ++c) ASSERT_EQ(d.samples[(y * 5 + x) * 3 + c], Bytes(img)[y * Pitch(img) + 4 * x + 2 - c]);
}

// Mono8 with the map's defaults is grey; any other map makes a palette file of 256 entries, the same
// colours as the bitmap's palette, and reading it back gives the indices: the image as it was.
TEST_F(PngFiles, Mono8PaletteFile) {
    BufferPtr img = RandomImage(11, 5, LxPixelFormat_Mono8, 16);
    m_filer.typed->SetColorMapPhase(10);
    m_filer.typed->SetColorMapInversion(true);
    const std::string path = m_dir / "p.png", bmp = m_dir / "p.bmp";
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, path.c_str());
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, bmp.c_str());
    const Decoded d = Decode(ReadFile(path));
    EXPECT_EQ(d.types, (std::vector<std::string>{"IHDR", "PLTE", "IDAT", "IEND"}));
    EXPECT_EQ(d.colorType, 3);
    const std::vector<uint8_t> b = ReadFile(bmp);
    ASSERT_EQ(d.palette.size(), 768u);
    for (size_t i = 0; i < 256; ++i)
        for (size_t c = 0; c < 3; ++c) ASSERT_EQ(d.palette[3 * i + c], b[54 + 4 * i + 2 - c]) << i;
    ILxImage* back = Loaded(ReadFile(path));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_Mono8);
    EXPECT_EQ(LineBytesOf(back), LineBytesOf(img->GetILxImage()));
}

// Files of kinds the writer does not make: RGBA (8 and 16 bits), 1-bit grey (values 0 and 1),
// 4-bit palette with transparency (the indices), interlaced RGB; grey with alpha is refused.
TEST_F(PngFiles, OtherKindsOfFiles) {
    const uint32_t w = 9, h = 5;
    const std::string path = m_dir / "made.png";
    const std::vector<uint8_t> rgba = RandomBytes(w * h * 4, 1);
    ILxImage* back = Loaded(LibpngFile(path, w, h, PNG_COLOR_TYPE_RGB_ALPHA, 8, rgba));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_RGBa8);
    EXPECT_EQ(LineBytesOf(back), rgba);

    const std::vector<uint8_t> rgba16 = RandomBytes(w * h * 8, 2);
    back = Loaded(LibpngFile(path, w, h, PNG_COLOR_TYPE_RGB_ALPHA, 16, rgba16));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_RGBa8);
    std::vector<uint8_t> high;
    for (size_t i = 0; i < rgba16.size(); i += 2) high.push_back(rgba16[i]); // big endian: the high byte first
    EXPECT_EQ(LineBytesOf(back), high);

    // 1 bit: 9 pixels take 2 bytes a row, the first pixel in the top bit.
    const std::vector<uint8_t> bits = RandomBytes(2 * h, 3);
    back = Loaded(LibpngFile(path, w, h, PNG_COLOR_TYPE_GRAY, 1, bits));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_Mono8);
    std::vector<uint8_t> unpacked;
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) unpacked.push_back(uint8_t(bits[y * 2 + x / 8] >> (7 - x % 8) & 1));
    EXPECT_EQ(LineBytesOf(back), unpacked);

    std::vector<uint8_t> nibbles = RandomBytes(5 * h, 4);
    back = Loaded(LibpngFile(path, w, h, PNG_COLOR_TYPE_PALETTE, 4, nibbles, false, true));
    std::vector<uint8_t> indices;
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) indices.push_back(uint8_t(nibbles[y * 5 + x / 2] >> (x % 2 ? 0 : 4) & 15));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_Mono8);
    EXPECT_EQ(LineBytesOf(back), indices);

    const std::vector<uint8_t> rgb = RandomBytes(w * h * 3, 5);
    back = Loaded(LibpngFile(path, w, h, PNG_COLOR_TYPE_RGB, 8, rgb, true));
    EXPECT_EQ(back->GetImagePixelFormat(), LxPixelFormat_RGB8);
    EXPECT_EQ(LineBytesOf(back), rgb);

    const std::vector<uint8_t> ga = LibpngFile(path, w, h, PNG_COLOR_TYPE_GRAY_ALPHA, 8, RandomBytes(w * h * 2, 6));
    EXPECT_EQ(LoadText(ga), Unreadable(m_dir / "in.png"));
}

// Hostile files give "unreadable" and leave the buffer as it was: a broken CRC of a critical chunk,
// a broken compressed stream, every truncation, a wrong signature, dimensions beyond what the file
// can hold or beyond the reader's limits.
TEST_F(PngFiles, HostileFilesAreUnreadable) {
    BufferPtr img = RandomImage(40, 30, LxPixelFormat_RGB8);
    const std::string path = m_dir / "good.png";
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, path.c_str());
    const std::vector<uint8_t> good = ReadFile(path);
    m_back = MakeImage(3, 2, LxPixelFormat_Mono16);
    FillBytes(m_back, 0x5A);
    const std::string unreadable = Unreadable(m_dir / "in.png");
    auto expectUnreadable = [&](const std::vector<uint8_t>& bytes, const std::string& what) {
        EXPECT_EQ(LoadText(bytes), unreadable) << what;
        ILxImage* kept = m_back->GetILxImage();
        ASSERT_EQ(kept->GetImagePixelFormat(), LxPixelFormat_Mono16) << what;
        ASSERT_EQ(kept->GetImageWidth(), 3u);
        ASSERT_EQ(Bytes(m_back)[0], 0x5A);
    };
    const std::vector<Chunk> chunks = Chunks(good);
    const size_t ihdr = chunks.at(0).at, idat = chunks.at(1).at;

    std::vector<uint8_t> bad = good;
    bad[ihdr + 13] ^= 1; // the CRC of IHDR
    expectUnreadable(bad, "IHDR CRC");
    bad = good;
    bad[idat + 4] ^= 0xFF; // compressed data, CRC still wrong
    expectUnreadable(bad, "IDAT CRC");
    bad = good;
    bad[idat] = 0x12; // not a zlib header
    FixCrc(bad, idat);
    expectUnreadable(bad, "zlib header");
    bad = good;
    bad[5] = 'X';
    expectUnreadable(bad, "signature");
    for (size_t size = 4; size < good.size(); size += size < 64 ? 1 : 97)
        expectUnreadable(std::vector<uint8_t>(good.begin(), good.begin() + long(size)), "truncated to " + std::to_string(size));
    expectUnreadable(std::vector<uint8_t>(good.begin(), good.end() - 1), "no end");
    // Dimensions the data cannot fill (the reader allocates nothing for them), and dimensions over the
    // limits.
    for (auto [width, height] : {std::pair{1000000u, 1000000u}, std::pair{40u, 20000000u}, std::pair{0x7FFFFFFFu, 1u},
                                 std::pair{0u, 30u}}) {
        bad = good;
        PutBE32(bad, ihdr, width);
        PutBE32(bad, ihdr + 4, height);
        FixCrc(bad, ihdr);
        expectUnreadable(bad, std::to_string(width) + " x " + std::to_string(height));
    }
    // An unknown critical chunk before the data.
    bad = good;
    const std::vector<uint8_t> chunk = {0, 0, 0, 0, 'Q', 'X', 'Y', 'Z', 0, 0, 0, 0};
    bad.insert(bad.begin() + long(idat - 8), chunk.begin(), chunk.end());
    FixCrc(bad, idat);
    expectUnreadable(bad, "unknown critical chunk");
    // A text chunk whose length runs far past the file's end is refused; a short one is skipped.
    for (const uint32_t length : {973078535u, 5u}) {
        bad = good;
        std::vector<uint8_t> text = {0, 0, 0, 0, 't', 'E', 'X', 't', 'T', 'i', 't', 'l', 'e', 0, 0, 0, 0};
        PutBE32(text, 0, length);
        bad.insert(bad.begin() + long(idat - 8), text.begin(), text.end());
        if (length == 5) {
            FixCrc(bad, idat);
            EXPECT_EQ(LineBytesOf(Loaded(bad)), LineBytesOf(img->GetILxImage()));
        } else {
            expectUnreadable(bad, "text chunk past the end");
        }
    }
    // The file itself still loads.
    ILxImage* back = Loaded(good);
    EXPECT_EQ(LineBytesOf(back), LineBytesOf(img->GetILxImage()));
}

TEST_F(PngFiles, WriteFailures) {
    BufferPtr img = RandomImage(64, 64, LxPixelFormat_Mono16);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>(
                  [&] { m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, "/dev/full"); }),
              "File /dev/full is unwritable.");
    BufferPtr bayer = RandomImage(4, 4, LxPixelFormat_BayerGR8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] {
                  m_filer.typed->Save(bayer->GetILxImage(), StillImageFileFormat_PNG, (m_dir / "b.png").c_str());
              }),
              "Not supported pixelformat BayerGR8");
    // An empty image: libpng refuses a width of zero, and the file is unwritable.
    BufferPtr empty = MakeImage(0, 3, LxPixelFormat_Mono8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] {
                  m_filer.typed->Save(empty->GetILxImage(), StillImageFileFormat_PNG, (m_dir / "e.png").c_str());
              }),
              "File " + (m_dir / "e.png") + " is unwritable.");
}
