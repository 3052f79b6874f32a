// CSV files: every value of every layout against an unpacking written here from the layouts' own
// definitions (bit i of a bit-packed line is bit i % 8 of byte i / 8), line counts and the header.
#include "stillimagetest.h"

#include <GenApi/GenApi.h>

#include <sstream>

using namespace lxtest;

namespace {

std::vector<std::string> Lines(const std::string& path) {
    const std::vector<uint8_t> bytes = ReadFile(path);
    std::vector<std::string> lines;
    std::string line;
    for (uint8_t c : bytes) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line.push_back(char(c));
        }
    }
    EXPECT_TRUE(line.empty()) << "the file ends with a line feed";
    return lines;
}

std::string Join(const std::vector<uint32_t>& values) {
    std::string s;
    for (uint32_t v : values) s += std::to_string(v) + ",";
    return s;
}

// Value i of a low-first bit stream of `bits` bits a value.
uint32_t BitField(const uint8_t* line, size_t i, unsigned bits) {
    uint32_t v = 0;
    for (unsigned k = 0; k < bits; ++k) {
        const size_t bit = i * bits + k;
        v |= uint32_t(line[bit / 8] >> (bit % 8) & 1) << k;
    }
    return v;
}

// 10Packed / 12Packed: bytes 0 and 2 hold the upper 8 bits of pixels 0 and 1; byte 1 holds the low
// bits of pixel 0 in its low nibble and of pixel 1 in its high nibble.
uint32_t PackedPixel(const uint8_t* line, size_t x, unsigned bits) {
    const uint8_t* g = line + x / 2 * 3;
    const unsigned low = bits - 8;
    const uint32_t mask = (1u << low) - 1;
    return x % 2 == 0 ? (uint32_t(g[0]) << low | (g[1] & mask)) : (uint32_t(g[2]) << low | (g[1] >> 4 & mask));
}

struct CsvCase {
    uint32_t format;
    std::function<std::vector<uint32_t>(const uint8_t* line, size_t width)> row;
    size_t rowsPerHeight = 1;
};

std::vector<uint32_t> BytesRow(const uint8_t* line, size_t n) { return std::vector<uint32_t>(line, line + n); }
std::vector<uint32_t> WordsRow(const uint8_t* line, size_t n) {
    std::vector<uint32_t> v;
    for (size_t i = 0; i < n; ++i) v.push_back(line[2 * i] | line[2 * i + 1] << 8);
    return v;
}
auto Bits(unsigned bits, size_t perPixel) {
    return [=](const uint8_t* line, size_t w) {
        std::vector<uint32_t> v;
        for (size_t i = 0; i < w * perPixel; ++i) v.push_back(BitField(line, i, bits));
        return v;
    };
}
auto Packed(unsigned bits) {
    return [=](const uint8_t* line, size_t w) {
        std::vector<uint32_t> v;
        for (size_t x = 0; x < w; ++x) v.push_back(PackedPixel(line, x, bits));
        return v;
    };
}

} // namespace

TEST(StillImageCsv, ValuesOfEveryLayoutAgainstAnIndependentUnpacking) {
    StillFiler f;
    ScratchDir dir;
    const CsvCase cases[] = {
        {LxPixelFormat_Mono8, [](auto* l, size_t w) { return BytesRow(l, w); }},
        {LxPixelFormat_YCbCr411_8, [](auto* l, size_t w) { return BytesRow(l, w + w / 2); }},
        {LxPixelFormat_YUV422_8, [](auto* l, size_t w) { return BytesRow(l, 2 * w); }},
        {LxPixelFormat_BGR8, [](auto* l, size_t w) { return BytesRow(l, 3 * w); }},
        {LxPixelFormat_RGBa8, [](auto* l, size_t w) { return BytesRow(l, 4 * w); }},
        {LxPixelFormat_RGB8_Planar, [](auto* l, size_t w) { return BytesRow(l, w); }, 3},
        {LxPixelFormat_BayerGB12, [](auto* l, size_t w) { return WordsRow(l, w); }},
        {LxPixelFormat_RGB16, [](auto* l, size_t w) { return WordsRow(l, 3 * w); }},
        {LxPixelFormat_BGRa14, [](auto* l, size_t w) { return WordsRow(l, 4 * w); }},
        {LxPixelFormat_RGB10_Planar, [](auto* l, size_t w) { return WordsRow(l, w); }, 3},
        {LxPixelFormat_Mono1p, Bits(1, 1)},
        {LxPixelFormat_Mono2p, Bits(2, 1)},
        {LxPixelFormat_BayerBG4p, Bits(4, 1)},
        {LxPixelFormat_Mono10p, Bits(10, 1)},
        {LxPixelFormat_BayerRG12p, Bits(12, 1)},
        {LxPixelFormat_Mono14p, Bits(14, 1)},
        {LxPixelFormat_BGR10p, Bits(10, 3)},
        {LxPixelFormat_RGB12p, Bits(12, 3)},
        {LxPixelFormat_Mono10Packed, Packed(10)},
        {LxPixelFormat_BayerGR12Packed, Packed(12)},
        {LxPixelFormat_CBGR10p32,
         [](auto* l, size_t w) {
             std::vector<uint32_t> v;
             for (size_t x = 0; x < w; ++x) {
                 const uint32_t word = l[4 * x] | l[4 * x + 1] << 8 | l[4 * x + 2] << 16 | uint32_t(l[4 * x + 3]) << 24;
                 for (unsigned k = 0; k < 3; ++k) v.push_back(word >> (10 * k) & 0x3FF);
             }
             return v;
         }},
    };
    for (const CsvCase& c : cases) {
        for (size_t w : {size_t{1}, size_t{7}, size_t{37}}) {
            SCOPED_TRACE(testing::Message() << std::hex << c.format << std::dec << " width " << w);
            const size_t h = 3;
            BufferPtr probe = MakeImage(w, h, c.format);
            BufferPtr img = RandomImage(w, h, c.format, Pitch(probe) + 3, 0, unsigned(c.format + w));
            const std::string name = dir / "img.csv";
            f.typed->Save(img->GetILxImage(), StillImageFileFormat_CSV, name.c_str());
            const std::vector<std::string> lines = Lines(name);
            ASSERT_EQ(lines.size(), 3 + h * c.rowsPerHeight);
            EXPECT_EQ(lines[0], "Width=" + std::to_string(w));
            EXPECT_EQ(lines[1], "Height=" + std::to_string(h));
            EXPECT_EQ(lines[2], "PixelFormat=" + std::string(GetILxPixelFormatInfo(c.format)->GetName().c_str()));
            for (size_t y = 0; y < h * c.rowsPerHeight; ++y)
                ASSERT_EQ(lines[3 + y], Join(c.row(Bytes(img) + y * Pitch(img), w))) << "row " << y;
        }
    }
}

TEST(StillImageCsv, SmallMono8AndThePlanar420Layout) {
    StillFiler f;
    ScratchDir dir;
    BufferPtr img = MakeImage(3, 2, LxPixelFormat_Mono8);
    for (size_t i = 0; i < 6; ++i) Bytes(img)[i] = uint8_t(i);
    f.typed->Save(img->GetILxImage(), StillImageFileFormat_CSV, (dir / "m.csv").c_str());
    const std::vector<std::string> lines = Lines(dir / "m.csv");
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[3], "0,1,2,");
    EXPECT_EQ(lines[4], "3,4,5,");

    // 4:2:0: height lines of the Y plane, then height / 2 of Cb and of Cr.
    const size_t w = 6, h = 4;
    BufferPtr yuv = RandomImage(w, h, LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
    f.typed->Save(yuv->GetILxImage(), StillImageFileFormat_CSV, (dir / "y.csv").c_str());
    const std::vector<std::string> planes = Lines(dir / "y.csv");
    ASSERT_EQ(planes.size(), 3 + h + 2 * (h / 2));
    const uint8_t* p = Bytes(yuv);
    for (size_t y = 0; y < h; ++y) EXPECT_EQ(planes[3 + y], Join(BytesRow(p + y * w, w)));
    const uint8_t* chroma = p + yuv->GetILxImage()->GetImagePlaneSize();
    for (size_t y = 0; y < h; ++y) EXPECT_EQ(planes[3 + h + y], Join(BytesRow(chroma + y * (w / 2), w / 2)));

    BufferPtr empty = MakeImage(0, 0, LxPixelFormat_Mono16);
    f.typed->Save(empty->GetILxImage(), StillImageFileFormat_CSV, (dir / "e.csv").c_str());
    EXPECT_EQ(Lines(dir / "e.csv").size(), 3u);
}

// The CSV table is the writer's: 99 formats, none converted first, and every one of them written.
TEST(StillImageCsv, EveryFormatOfTheTableIsWritten) {
    StillFiler f;
    ScratchDir dir;
    size_t supported = 0;
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    GenApi::CEnumerationPtr destination = converter->GetINodeMap()->GetNode("DestinationPixelFormat");
    GenApi::NodeList_t entries;
    destination->GetEntries(entries);
    for (GenApi::INode* node : entries) {
        const auto format = uint32_t(GenApi::CEnumEntryPtr(node)->GetValue());
        if (!f.typed->IsSupported(format, StillImageFileFormat_CSV)) continue;
        ++supported;
        BufferPtr img = RandomImage(5, 2, format);
        EXPECT_NO_THROW(f.typed->Save(img->GetILxImage(), StillImageFileFormat_CSV, (dir / "a.csv").c_str()))
            << std::hex << format;
    }
    EXPECT_EQ(supported, 99u);
}
