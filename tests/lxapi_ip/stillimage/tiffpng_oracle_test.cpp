// TIFF and PNG files read back by independent readers, where they are installed (LXAPI_WITH_ORACLES=1
// installs them; each test skips without its tools): tiffinfo and tiffdump accept every TIFF, pngcheck
// every PNG, and ImageMagick reads the samples of the image the writer received, for every format of
// both tables, at an odd width and a wide line pitch. 10 to 14 bit samples are in PNG files scaled to
// 16 bits by repeating their bits; TIFF files hold the 16-bit samples of the conversion.
#include "oracletools.h"
#include "stillimagetest.h"

#include <lxapi/ilxpixelformatconverter.h>

#include <map>

using namespace lxtest;

namespace {

#define PF(name) LxPixelFormat_##name
constexpr uint32_t Same = 0xFFFFFFFFu;
// Each pair: a format of the file format's table and the format it is converted to first.
const std::pair<uint32_t, uint32_t> kTiffPairs[] = {
    {PF(Mono8), Same},         {PF(Mono16), Same},         {PF(RGB8), Same},          {PF(RGBa8), Same},
    {PF(RGB8_Planar), Same},   {PF(RGB16_Planar), Same},   {PF(RGB16), Same},         {PF(Mono10), PF(Mono16)},
    {PF(Mono12), PF(Mono16)},  {PF(Mono14), PF(Mono16)},   {PF(RGB10_Planar), PF(RGB16_Planar)},
    {PF(RGB12_Planar), PF(RGB16_Planar)},                  {PF(BGR8), PF(RGB8)},      {PF(BGRa8), PF(RGBa8)},
    {PF(BGR10), PF(RGB16)},    {PF(BGRa10), PF(RGB16)},    {PF(BGR12), PF(RGB16)},    {PF(BGRa12), PF(RGB16)},
    {PF(BGR14), PF(RGB16)},    {PF(BGRa14), PF(RGB16)},    {PF(BGR16), PF(RGB16)},    {PF(BGRa16), PF(RGB16)},
};
const std::pair<uint32_t, uint32_t> kPngPairs[] = {
    {PF(Mono8), Same},  {PF(Mono10), Same},         {PF(Mono12), Same},         {PF(Mono14), Same},
    {PF(Mono16), Same}, {PF(BGR8), Same},           {PF(BGR10), Same},          {PF(BGR12), Same},
    {PF(BGR14), Same},  {PF(BGR16), Same},          {PF(RGB8), Same},           {PF(RGB16), Same},
    {PF(BGRa8), PF(BGR8)}, {PF(BGRa10), PF(BGR10)}, {PF(BGRa12), PF(BGR12)},    {PF(BGRa14), PF(BGR14)},
    {PF(BGRa16), PF(BGR16)}, {PF(RGBa8), PF(RGB8)},
};
#undef PF

constexpr size_t W = 7, H = 5, Extra = 13;

BufferPtr Converted(ILxImage* source, uint32_t target) {
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(converter.Get())->SetDestinationPixelFormat(target);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    converter->Convert(source, out.Get());
    return out;
}

// The samples of `img` red first (or grey), pixel after pixel, the first `take` components of each;
// samples of fewer than 16 bits widened as libpng's shift does when `widen`.
std::vector<uint32_t> SamplesOf(ILxImage* img, size_t take, bool widen) {
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(img->GetImagePixelFormat());
    const size_t c = info->GetComponentCount(), bits = info->GetComponentBits();
    const size_t bytes = bits > 8 ? 2 : 1;
    const bool planar = info->IsPlanar();
    const bool bgr = std::string(info->GetName().c_str()).rfind("BGR", 0) == 0;
    const auto* p = static_cast<const uint8_t*>(img->GetImageBuffer());
    const size_t pitch = img->GetImageLinePitch(), h = img->GetImageHeight();
    std::vector<uint32_t> out;
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < img->GetImageWidth(); ++x)
            for (size_t k = 0; k < take; ++k) {
                const size_t comp = bgr && k < 3 ? 2 - k : k;
                const uint8_t* s = planar ? p + (comp * h + y) * pitch + x * bytes : p + y * pitch + (x * c + comp) * bytes;
                uint32_t v = bytes == 2 ? uint32_t(s[0] | s[1] << 8) : s[0];
                if (widen && bits > 8 && bits < 16) v = (v << (16 - bits) | v >> (2 * bits - 16)) & 0xFFFF;
                out.push_back(v);
            }
    return out;
}

std::vector<uint32_t> Words(const std::vector<uint8_t>& bytes, int depth) {
    std::vector<uint32_t> out;
    for (size_t i = 0; i < bytes.size(); i += depth / 8) out.push_back(depth == 16 ? uint32_t(bytes[i] | bytes[i + 1] << 8) : bytes[i]);
    return out;
}

class TiffPngOracle : public ::testing::Test {
protected:
    // Saves every pair of `pairs` as `fileFormat` to a file of its own, has `check` accept each file,
    // and compares ImageMagick's samples with those of the image the writer received. ImageMagick
    // starts slowly: the files of one kind of output (grey or RGB, 8 or 16 bits) go to one convert,
    // which writes their samples one after the other.
    void EveryFormat(const std::pair<uint32_t, uint32_t>* pairs, size_t count, ELxStillImageFileFormat_t fileFormat,
                     const std::string& check) {
        struct Group {
            std::string files, names;
            std::vector<uint32_t> expected;
        };
        std::map<std::pair<bool, int>, Group> groups; // by (mono, depth)
        const bool png = fileFormat == StillImageFileFormat_PNG;
        for (size_t i = 0; i < count; ++i) {
            const auto [format, target] = pairs[i];
            const std::string formatName = GetILxPixelFormatInfo(format)->GetName().c_str();
            SCOPED_TRACE(formatName);
            const size_t bits = GetILxPixelFormatInfo(format)->GetComponentBits();
            BufferPtr probe = MakeImage(W, H, format);
            BufferPtr img = RandomImage(W, H, format, Pitch(probe) + Extra, bits > 8 ? unsigned(bits) : 0, format);
            const std::string name = m_dir / (formatName + (png ? ".png" : ".tif"));
            m_filer.typed->Save(img->GetILxImage(), fileFormat, name.c_str());
            EXPECT_TRUE(Succeeds(check + " " + Quoted(name))) << check;

            BufferPtr written = target == Same ? BufferPtr() : Converted(img->GetILxImage(), target);
            ILxImage* w = target == Same ? img->GetILxImage() : written->GetILxImage();
            ILxPixelFormatInfo* wi = GetILxPixelFormatInfo(w->GetImagePixelFormat());
            const bool mono = wi->GetComponentCount() == 1;
            Group& g = groups[{mono, wi->GetComponentBits() > 8 ? 16 : 8}];
            g.files.append(" ").append(Quoted(name));
            g.names.append(" ").append(formatName);
            // Colour is compared as RGB: the fourth sample of an RGBa8 TIFF is an unspecified extra.
            const std::vector<uint32_t> samples = SamplesOf(w, mono ? 1 : 3, png);
            g.expected.insert(g.expected.end(), samples.begin(), samples.end());
        }
        for (const auto& [key, g] : groups) {
            SCOPED_TRACE(g.names);
            const auto [mono, depth] = key;
            // libtiff's warnings about the directory's order go to the error output, not into the samples.
            std::string command = "convert";
            command.append(g.files).append(" -endian LSB -depth ").append(std::to_string(depth));
            command.append(mono ? " gray:-" : " rgb:-").append(" 2>/dev/null");
            const std::vector<uint8_t> out = Output(command);
            EXPECT_EQ(Words(out, depth), g.expected);
        }
    }

    void SetUp() override {
        if (!HaveTool("convert")) GTEST_SKIP() << "ImageMagick is not installed";
    }

    StillFiler m_filer;
    ScratchDir m_dir;
};

} // namespace

TEST_F(TiffPngOracle, EveryTiffFormat) {
    if (!HaveTool("tiffinfo") || !HaveTool("tiffdump")) GTEST_SKIP() << "libtiff-tools are not installed";
    EveryFormat(kTiffPairs, std::size(kTiffPairs), StillImageFileFormat_TIFF, "tiffinfo -D");
    // tiffdump walks the directory of one of each layout.
    for (uint32_t format : {LxPixelFormat_Mono8, LxPixelFormat_RGBa8, LxPixelFormat_RGB16_Planar}) {
        BufferPtr img = RandomImage(W, H, format);
        m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_TIFF, (m_dir / "d.tif").c_str());
        EXPECT_TRUE(Succeeds("tiffdump " + Quoted(m_dir / "d.tif")));
    }
}

TEST_F(TiffPngOracle, EveryPngFormat) {
    if (!HaveTool("pngcheck")) GTEST_SKIP() << "pngcheck is not installed";
    EveryFormat(kPngPairs, std::size(kPngPairs), StillImageFileFormat_PNG, "pngcheck -q");
}

// Palette files: ImageMagick gives the colours of the map, the same as the bitmap's palette.
TEST_F(TiffPngOracle, PaletteFiles) {
    BufferPtr img = RandomImage(W, H, LxPixelFormat_Mono8, W + Extra);
    m_filer.typed->SetColorMapType(LxColorMapType_PseudoColor_BGR);
    m_filer.typed->SetColorMapPhase(77);
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_Bitmap, (m_dir / "p.bmp").c_str());
    const std::vector<uint8_t> bmp = ReadFile(m_dir / "p.bmp");
    std::vector<uint8_t> expected;
    for (size_t y = 0; y < H; ++y)
        for (size_t x = 0; x < W; ++x)
            for (size_t c = 0; c < 3; ++c) expected.push_back(bmp[54 + 4 * Bytes(img)[y * Pitch(img) + x] + 2 - c]);
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_TIFF, (m_dir / "p.tif").c_str());
    m_filer.typed->Save(img->GetILxImage(), StillImageFileFormat_PNG, (m_dir / "p.png").c_str());
    std::vector<uint8_t> both = expected;
    both.insert(both.end(), expected.begin(), expected.end());
    EXPECT_EQ(Output("convert " + Quoted(m_dir / "p.tif") + " " + Quoted(m_dir / "p.png") + " -depth 8 rgb:-"), both);
}
