// Every accepted format against an independent per-pixel count: random images, converted into the
// working format by a converter of the test's own, counted pixel by pixel here and compared with the
// filter's series, their element counts and their numbers, for whole, odd and even regions.
#include "graphdatatest.h"

#include "graphdata/graphdataformats.h"

#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/ilxpixelformatconverter.h>

#include <random>

using namespace lxtest;

namespace {

struct Reference {
    std::vector<std::vector<uint32_t>> series;
    std::vector<uint64_t> columns, lines; // of each series' phase inside the region
};

// A random image of `format` whose samples stay within the valid bits.
BufferPtr RandomImage(uint32_t format, size_t width, size_t height, uint32_t seed) {
    BufferPtr b = MakeImage(width, height, format);
    ILxPixelFormatInfoInside* info = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(format));
    std::mt19937 rng(seed);
    ILxImage* img = b->GetILxImage();
    const size_t bytes = info->GetPlaneCount() * img->GetImagePlaneSize();
    uint8_t* p = Bytes(b);
    for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    if (info->GetStorageBits() > 8 && info->GetPackingKind() == LxPacking_None) {
        const uint16_t mask = uint16_t((1u << info->GetComponentBits()) - 1);
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            uint16_t v;
            std::memcpy(&v, p + i, 2);
            v &= mask;
            std::memcpy(p + i, &v, 2);
        }
    }
    return b;
}

BufferPtr Converted(const BufferPtr& source, uint32_t working) {
    if (source->GetILxImage()->GetImagePixelFormat() == working) return BufferPtr();
    ConverterPtr c(CreateILxConverter(LxConverterType_PixelFormat));
    dynamic_cast<ILxPixelFormatConverter*>(c.Get())->SetDestinationPixelFormat(working);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    c->Convert(source->GetILxImage(), out.Get());
    return out;
}

// Counts the region of `image` (a working format) sample by sample.
Reference Count(ILxImage* image, ELxGraphDataType_t type, size_t x0, size_t y0, size_t w, size_t h) {
    ILxPixelFormatInfoInside* info =
        dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(image->GetImagePixelFormat()));
    const bool colour = info->IsColor() && !info->IsBayer();
    const size_t grid = info->IsPolarized() ? (info->IsBayer() ? 4 : 2) : (info->IsBayer() ? 2 : 1);
    const size_t n = colour ? 3 : grid * grid;
    const size_t spp = info->GetComponentCount();
    const size_t wide = info->GetStorageBits() > 8 ? 2 : 1;
    const unsigned bits = unsigned(info->GetComponentBits());
    Reference r;
    r.series.resize(n);
    r.columns.assign(n, 0);
    r.lines.assign(n, 0);
    for (size_t j = 0; j < n; ++j) {
        const size_t px = colour ? 0 : j % grid, py = colour ? 0 : j / grid;
        for (size_t x = x0; x < x0 + w; ++x) r.columns[j] += x % grid == px;
        for (size_t y = y0; y < y0 + h; ++y) r.lines[j] += y % grid == py;
        size_t size = type == LxGraphDataType_Histogram ? size_t(1) << bits
                      : type == LxGraphDataType_VerticalIntegration ? r.columns[j]
                                                                    : r.lines[j];
        // On the 2 x 2 grid a phase without a line (column) in the region has no sums at all.
        if (grid == 2 && type == LxGraphDataType_VerticalIntegration && r.lines[j] == 0) size = 0;
        if (grid == 2 && type == LxGraphDataType_HorizontalIntegration && r.columns[j] == 0) size = 0;
        r.series[j].assign(size, 0);
    }
    const auto* base = static_cast<const uint8_t*>(image->GetImageBuffer());
    for (size_t y = y0; y < y0 + h; ++y) {
        for (size_t x = x0; x < x0 + w; ++x) {
            for (size_t c = 0; c < (colour ? 3 : 1); ++c) {
                const uint8_t* p = base + y * image->GetImageLinePitch() + (x * spp + c) * wide;
                const uint32_t s = wide == 2 ? uint32_t(p[0] | p[1] << 8) : p[0];
                const size_t j = colour ? c : (y % grid) * grid + x % grid;
                if (type == LxGraphDataType_Histogram) r.series[j][s] += 1;
                if (type == LxGraphDataType_VerticalIntegration) r.series[j][(x - x0) / grid] += s;
                if (type == LxGraphDataType_HorizontalIntegration) r.series[j][(y - y0) / grid] += s;
            }
        }
    }
    return r;
}

void Compare(const ILxGraphDataBufferList* list, const Reference& r, ELxGraphDataType_t type, unsigned bits) {
    ASSERT_EQ(list->GetCount(), r.series.size());
    for (size_t j = 0; j < r.series.size(); ++j) {
        SCOPED_TRACE("series " + std::to_string(j));
        const std::vector<uint32_t>& want = r.series[j];
        EXPECT_EQ(list->GetILxGraphDataBuffer(int64_t(j))->GetSize(), want.size() * 4);
        EXPECT_EQ(Elements(list, j), want);
        if (want.empty()) continue;
        uint32_t peak = 0;
        size_t at = 0;
        for (size_t i = 0; i < want.size(); ++i)
            if (peak < want[i]) peak = want[i], at = i;
        const uint64_t top = (uint64_t(1) << bits) - 1;
        const uint64_t total = type == LxGraphDataType_Histogram             ? r.columns[j] * r.lines[j]
                               : type == LxGraphDataType_VerticalIntegration ? top * r.lines[j]
                                                                             : top * r.columns[j];
        EXPECT_EQ(Info(list, j, LxGraphDataInformationUint_Total), uint32_t(total));
        EXPECT_EQ(Info(list, j, LxGraphDataInformationUint_PeakIndex), at);
        EXPECT_EQ(Info(list, j, LxGraphDataInformationUint_PeakValue), peak);
        if (type == LxGraphDataType_Histogram) {
            EXPECT_NE(lxtest::TextOf<GenICam::RuntimeException>(
                          [&] { Info(list, j, LxGraphDataInformationUint_SummedPixelCount); }),
                      "<no exception>");
        } else {
            EXPECT_EQ(Info(list, j, LxGraphDataInformationUint_SummedPixelCount),
                      type == LxGraphDataType_VerticalIntegration ? r.lines[j] : r.columns[j]);
        }
    }
}

} // namespace

TEST(GraphDataReference, EveryFormatEveryMeasureEveryRegion) {
    struct Region {
        ELxFilterROIMode_t mode;
        size_t x, y, w, h;
    };
    // Odd and even offsets, a region running past the edges (clipped), single lines and columns.
    const Region regions[] = {
        {LxFilterROIMode_WholeImage, 0, 0, 0, 0}, {LxFilterROIMode_Manual, 3, 1, 13, 7},
        {LxFilterROIMode_Manual, 2, 2, 9, 5},     {LxFilterROIMode_Manual, 5, 6, 100, 100},
        {LxFilterROIMode_Manual, 7, 3, 2, 3},     {LxFilterROIMode_CenterOfImage, 0, 0, 6, 5},
    };
    const size_t width = 21, height = 11;
    GraphFilter f;
    size_t formats = 0;
    for (const auto& [input, row] : lxgraph::FormatTable().Rows()) {
        SCOPED_TRACE(GetILxPixelFormatInfo(input)->GetName().c_str());
        ++formats;
        const BufferPtr image = RandomImage(input, width, height, input);
        const BufferPtr converted = Converted(image, row->working);
        ILxImage* working = converted ? converted->GetILxImage() : image->GetILxImage();
        const unsigned bits = unsigned(GetILxPixelFormatInfo(row->working)->GetComponentBits());
        for (const Region& g : regions) {
            size_t x = g.x, y = g.y, w = g.w, h = g.h;
            if (g.mode == LxFilterROIMode_WholeImage) w = width, h = height;
            if (g.mode == LxFilterROIMode_CenterOfImage) x = (width - w) / 2, y = (height - h) / 2;
            w = std::min(w, width - x);
            h = std::min(h, height - y);
            for (ELxGraphDataType_t type : {LxGraphDataType_Histogram, LxGraphDataType_VerticalIntegration,
                                            LxGraphDataType_HorizontalIntegration}) {
                SCOPED_TRACE(testing::Message() << "type " << type << " roi " << x << "," << y << " " << w << "x" << h);
                const Reference want = Count(working, type, x, y, w, h);
                const bool bayer = GetILxPixelFormatInfo(row->working)->IsBayer() &&
                                   !dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(row->working))
                                        ->IsPolarized();
                bool emptyBayer = false;
                for (const auto& s : want.series) emptyBayer |= bayer && s.empty();
                if (emptyBayer) {
                    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.Run(image, type, g.mode, g.x, g.y, g.w, g.h); }),
                              "There is no available graph data.");
                    continue;
                }
                const ILxGraphDataBufferList* list = f.Run(image, type, g.mode, g.x, g.y, g.w, g.h);
                Compare(list, want, type, bits);
            }
        }
    }
    EXPECT_GE(formats, 100u);
}

// The order of the series: the components the documentation names for each layout.
TEST(GraphDataReference, SeriesFollowTheComponentsOfTheFormat) {
    auto ids = [](uint32_t format) {
        GraphFilter f;
        const BufferPtr image = RandomImage(format, 8, 8, 1);
        const ILxGraphDataBufferList* list = f.Run(image, LxGraphDataType_Histogram);
        std::vector<uint32_t> out;
        for (size_t j = 0; j < list->GetCount(); ++j) out.push_back(Info(list, j, LxGraphDataInformationUint_PixelComponent));
        return out;
    };
    auto id = [](uint32_t colour, uint32_t bits, uint32_t pol = 0) { return colour << 24 | bits << 16 | pol; };
    enum { Mono = 1, R = 2, G = 3, B = 4, Gr = 5, Gb = 6 };
    EXPECT_EQ(ids(LxPixelFormat_Mono12p), (std::vector<uint32_t>{id(Mono, 12)}));
    EXPECT_EQ(ids(LxPixelFormat_BGR8), (std::vector<uint32_t>{id(B, 8), id(G, 8), id(R, 8)}));
    EXPECT_EQ(ids(LxPixelFormat_BGRa8), (std::vector<uint32_t>{id(B, 8), id(G, 8), id(R, 8)}));
    EXPECT_EQ(ids(LxPixelFormat_RGB8), (std::vector<uint32_t>{id(R, 8), id(G, 8), id(B, 8)}));
    EXPECT_EQ(ids(LxPixelFormat_RGB16), (std::vector<uint32_t>{id(R, 16), id(G, 16), id(B, 16)}));
    EXPECT_EQ(ids(LxPixelFormat_RGB8_Planar), (std::vector<uint32_t>{id(B, 8), id(G, 8), id(R, 8)}));
    EXPECT_EQ(ids(LxPixelFormat_BayerRG8), (std::vector<uint32_t>{id(R, 8), id(Gr, 8), id(Gb, 8), id(B, 8)}));
    EXPECT_EQ(ids(LxPixelFormat_BayerGR12), (std::vector<uint32_t>{id(Gr, 12), id(R, 12), id(B, 12), id(Gb, 12)}));
    EXPECT_EQ(ids(LxPixelFormat_BayerGB10p), (std::vector<uint32_t>{id(Gb, 10), id(B, 10), id(R, 10), id(Gr, 10)}));
    EXPECT_EQ(ids(LxPixelFormat_BayerBG16), (std::vector<uint32_t>{id(B, 16), id(Gb, 16), id(Gr, 16), id(R, 16)}));
    // Polarization 1: 0 degrees, 2: 45, 3: 90, 4: 135.
    EXPECT_EQ(ids(LxPixelFormat_Pol1Mono8), (std::vector<uint32_t>{id(Mono, 8, 3), id(Mono, 8, 2), id(Mono, 8, 4), id(Mono, 8, 1)}));
    EXPECT_EQ(ids(LxPixelFormat_Pol1MonoXYC12), (std::vector<uint32_t>{id(Mono, 12, 2), id(Mono, 12, 1), id(Mono, 12, 3), id(Mono, 12, 4)}));
    EXPECT_EQ(ids(LxPixelFormat_Pol1MonoC10), (std::vector<uint32_t>{id(Mono, 10, 4), id(Mono, 10, 3), id(Mono, 10, 1), id(Mono, 10, 2)}));
    // Polarized Bayer: colour blocks of 2 x 2 sites, the angles inside each block.
    auto tile = [&](std::array<uint32_t, 4> colours, std::array<uint32_t, 4> angles, uint32_t bits) {
        std::vector<uint32_t> out;
        for (unsigned y = 0; y < 4; ++y)
            for (unsigned x = 0; x < 4; ++x)
                out.push_back(id(colours[(y >> 1) * 2 + (x >> 1)], bits, angles[(y & 1) * 2 + (x & 1)]));
        return out;
    };
    EXPECT_EQ(ids(LxPixelFormat_Pol1BayerRG8), tile({R, Gr, Gb, B}, {3, 2, 4, 1}, 8));
    EXPECT_EQ(ids(LxPixelFormat_Pol1BayerRGX10), tile({Gr, R, B, Gb}, {2, 3, 1, 4}, 10));
    EXPECT_EQ(ids(LxPixelFormat_Pol1BayerRGYC12), tile({R, Gr, Gb, B}, {3, 4, 2, 1}, 12));
}
