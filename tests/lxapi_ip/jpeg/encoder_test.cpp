// The encoder against libjpeg-turbo as the independent reader and as the peer encoder.
#include "jpegtest.h"

#include "jpegtables.h"

#include <gtest/gtest.h>
#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

using namespace jpegtest;

namespace {

// The JFIF equations in floating point, to build YCbCr sources and to read them back.
void ToYcc(const uint8_t* rgb, double& y, double& cb, double& cr) {
    y = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
    cb = -0.168736 * rgb[0] - 0.331264 * rgb[1] + 0.5 * rgb[2] + 128;
    cr = 0.5 * rgb[0] - 0.418688 * rgb[1] - 0.081312 * rgb[2] + 128;
}
uint8_t Byte(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); }

// A source of `format` made from the RGB image `rgb` (chroma averaged over its pixels for the
// subsampled forms), with its pitch.
std::vector<uint8_t> SourceOf(uint32_t format, const Image& rgb, size_t& pitch) {
    const uint32_t w = rgb.width, h = rgb.height;
    std::vector<uint8_t> out;
    auto px = [&](uint32_t x, uint32_t y) { return &rgb.pixels[(size_t(y) * w + x) * 3]; };
    switch (format) {
    case LxPixelFormat_RGB8: pitch = 3 * w; return rgb.pixels;
    case LxPixelFormat_BGR8:
        pitch = 3 * w;
        out = rgb.pixels;
        for (size_t i = 0; i < out.size(); i += 3) std::swap(out[i], out[i + 2]);
        return out;
    case LxPixelFormat_YCbCr8:
        pitch = 3 * w;
        out.resize(pitch * h);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                double Y, B, R;
                ToYcc(px(x, y), Y, B, R);
                uint8_t* d = &out[y * pitch + 3 * x];
                d[0] = Byte(Y), d[1] = Byte(B), d[2] = Byte(R);
            }
        return out;
    case LxPixelFormat_YCbCr422_8:
        pitch = 2 * w + 2; // room behind the line
        out.assign(pitch * h, 0xEE);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; x += 2) {
                double Y0, B0, R0, Y1 = 0, B1 = 0, R1 = 0;
                ToYcc(px(x, y), Y0, B0, R0);
                const bool pair = x + 1 < w;
                if (pair) ToYcc(px(x + 1, y), Y1, B1, R1);
                uint8_t* d = &out[y * pitch + 2 * x];
                d[0] = Byte(Y0), d[1] = Byte(pair ? (B0 + B1) / 2 : B0);
                if (pair) d[2] = Byte(Y1), d[3] = Byte((R0 + R1) / 2);
            }
        return out;
    case LxPixelFormat_YCbCr411_8:
        pitch = (3 * w + 1) / 2 + 5;
        out.assign(pitch * h, 0xEE);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t g = 0; 4 * g < w; ++g) {
                static const int yo[4] = {0, 1, 3, 4};
                double sb = 0, sr = 0;
                int n = 0;
                uint8_t* d = &out[y * pitch + 6 * g];
                for (uint32_t j = 0; j < 4 && 4 * g + j < w; ++j, ++n) {
                    double Y, B, R;
                    ToYcc(px(4 * g + j, y), Y, B, R);
                    d[yo[j]] = Byte(Y), sb += B, sr += R;
                }
                if (6 * g + 2 < (3 * w + 1) / 2) d[2] = Byte(sb / n);
                if (6 * g + 5 < (3 * w + 1) / 2) d[5] = Byte(sr / n);
            }
        return out;
    }
    return out;
}

struct FormatCase {
    uint32_t format;
    const char* name;
};
const FormatCase kColourFormats[] = {{LxPixelFormat_RGB8, "RGB8"},
                                     {LxPixelFormat_BGR8, "BGR8"},
                                     {LxPixelFormat_YCbCr8, "YCbCr8"},
                                     {LxPixelFormat_YCbCr422_8, "YCbCr422_8"},
                                     {LxPixelFormat_YCbCr411_8, "YCbCr411_8"}};

const std::pair<uint32_t, uint32_t> kSizes[] = {{1, 1}, {2, 1}, {7, 3}, {24, 8}, {25, 9}, {33, 17}, {100, 37}, {257, 131}};
const uint32_t kQualities[] = {0, 1, 50, 75, 100};

} // namespace

TEST(JpegEncoder, ColourSourcesDecodeAtEverySizeAndQuality) {
    for (const auto& f : kColourFormats)
        for (auto [w, h] : kSizes) {
            const Image rgb = Photo(w, h, 3, w * 31 + h);
            size_t pitch = 0;
            const std::vector<uint8_t> src = SourceOf(f.format, rgb, pitch);
            for (uint32_t q : kQualities) {
                SCOPED_TRACE(std::string(f.name) + " " + std::to_string(w) + "x" + std::to_string(h) + " q" + std::to_string(q));
                int32_t r = 1;
                const auto jpeg = Encode(f.format, src.data(), w, h, pitch, q, &r);
                ASSERT_EQ(r, 0);
                const Decoded d = Decode(jpeg, 3);
                ASSERT_TRUE(d.ok);
                EXPECT_EQ(d.width, int(w));
                EXPECT_EQ(d.height, int(h));
                // Bounds from the quality alone: coarse tables at q 1 still keep the mean.
                // A 4:1:1 source has lost chroma detail before the encoder sees it.
                const double floor = q == 1 ? 8 : f.format == LxPixelFormat_YCbCr411_8 ? 20 : q == 100 ? 30 : 20;
                if (w * h >= 64) {
                    EXPECT_GT(Psnr(d.pixels, rgb.pixels), floor);
                }
            }
        }
}

TEST(JpegEncoder, GreySourcesDecodeAtEverySizeAndQuality) {
    for (uint32_t w : {1u, 8u, 9u, 16u, 24u, 25u, 31u, 40u, 41u, 130u})
        for (uint32_t h : {1u, 8u, 13u})
            for (uint32_t q : kQualities) {
                SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " q" + std::to_string(q));
                const Image g = Photo(w, h, 1, w + 7 * h);
                // Mono10 holds the same picture four times as deep, plus two low bits that must not count.
                std::vector<uint16_t> deep(size_t(w) * h);
                for (size_t i = 0; i < deep.size(); ++i) deep[i] = uint16_t(g.pixels[i] * 4 + (i & 3));
                for (bool ten : {false, true}) {
                    int32_t r = 1;
                    const auto jpeg = ten ? Encode(LxPixelFormat_Mono10, deep.data(), w, h, 2 * w, q, &r)
                                          : Encode(LxPixelFormat_Mono8, g.pixels.data(), w, h, w, q, &r);
                    ASSERT_EQ(r, 0);
                    const Decoded d = Decode(jpeg, 1);
                    ASSERT_TRUE(d.ok);
                    EXPECT_EQ(d.width, int(w));
                    EXPECT_EQ(d.height, int(h));
                    if (q == 100) {
                        EXPECT_GT(Psnr(d.pixels, g.pixels), 40);
                    }
                }
            }
}

TEST(JpegEncoder, FullSizeFramesDecode) {
    const uint32_t w = 2448, h = 2048;
    const Image rgb = Photo(w, h, 3, 5);
    size_t pitch = 0;
    const auto bgr = SourceOf(LxPixelFormat_BGR8, rgb, pitch);
    const Decoded d = Decode(Encode(LxPixelFormat_BGR8, bgr.data(), w, h, pitch, 75), 3);
    ASSERT_TRUE(d.ok);
    EXPECT_GT(Psnr(d.pixels, rgb.pixels), 30);
    const Image g = Photo(w, h, 1, 6);
    const Decoded m = Decode(Encode(LxPixelFormat_Mono8, g.pixels.data(), w, h, w, 75), 1);
    ASSERT_TRUE(m.ok);
    EXPECT_GT(Psnr(m.pixels, g.pixels), 30);
}

// Same quality and sampling as libjpeg-turbo's encoder: PSNR within 0.3 dB, size within 3 %.
TEST(JpegEncoder, MatchesLibjpegTurboInQualityAndSize) {
    for (bool noise : {false, true})
        for (int q : {50, 75, 100}) {
            for (int channels : {1, 3}) {
                SCOPED_TRACE(std::string(noise ? "noise" : "photo") + " q" + std::to_string(q) + " c" + std::to_string(channels));
                const uint32_t w = 640, h = 480;
                const Image im = noise ? Noise(w, h, channels) : Photo(w, h, channels);
                const auto ours = channels == 1 ? Encode(LxPixelFormat_Mono8, im.pixels.data(), w, h, w, q)
                                                : Encode(LxPixelFormat_RGB8, im.pixels.data(), w, h, 3 * w, q);
                const auto peer = TurboEncode(im, channels == 1 ? TJPF_GRAY : TJPF_RGB,
                                              channels == 1 ? TJSAMP_GRAY : TJSAMP_422, q);
                const Decoded a = Decode(ours, channels), b = Decode(peer, channels);
                ASSERT_TRUE(a.ok && b.ok);
                EXPECT_NEAR(Psnr(a.pixels, im.pixels), Psnr(b.pixels, im.pixels), 0.3);
                EXPECT_NEAR(double(ours.size()) / double(peer.size()), 1.0, 0.03);
            }
        }
}

namespace {

struct Segment {
    uint8_t marker;
    std::vector<uint8_t> body; // after the length
};

// Splits a stream into its marker segments up to SOS; `scanEnd` gets the offset of the final marker.
std::vector<Segment> Segments(const std::vector<uint8_t>& s) {
    std::vector<Segment> out;
    size_t p = 2;
    while (p + 4 <= s.size() && s[p] == 0xFF) {
        const uint8_t m = s[p + 1];
        const size_t len = size_t(s[p + 2]) << 8 | s[p + 3];
        out.push_back({m, std::vector<uint8_t>(s.begin() + p + 4, s.begin() + p + 2 + len)});
        p += 2 + len;
        if (m == 0xDA) break;
    }
    return out;
}

std::vector<Segment> Only(const std::vector<Segment>& all, uint8_t marker) {
    std::vector<Segment> out;
    for (const auto& s : all)
        if (s.marker == marker) out.push_back(s);
    return out;
}

std::vector<uint8_t> Dht(uint8_t classId, const lxjpeg::StandardHuffman& h) {
    std::vector<uint8_t> v(17 + h.valueCount);
    v[0] = classId;
    std::memcpy(v.data() + 1, h.counts, 16);
    std::memcpy(v.data() + 17, h.values, h.valueCount);
    return v;
}

} // namespace

TEST(JpegEncoder, ColourHeaderHoldsEveryFieldInOrder) {
    const Image rgb = Photo(25, 9, 3);
    const auto s = Encode(LxPixelFormat_RGB8, rgb.pixels.data(), 25, 9, 75, 80);
    ASSERT_GE(s.size(), 4u);
    EXPECT_EQ(s[0], 0xFF);
    EXPECT_EQ(s[1], 0xD8);
    EXPECT_EQ(s[s.size() - 2], 0xFF);
    EXPECT_EQ(s[s.size() - 1], 0xD9);
    const auto seg = Segments(s);
    std::vector<uint8_t> order;
    for (const auto& g : seg) order.push_back(g.marker);
    EXPECT_EQ(order, (std::vector<uint8_t>{0xE0, 0xDB, 0xDB, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA}));
    EXPECT_EQ(seg[0].body, (std::vector<uint8_t>{'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0}));
    // DQT: id, then the scaled tables in file order (quality 80: scale 40).
    for (int t = 0; t < 2; ++t) {
        ASSERT_EQ(seg[1 + t].body.size(), 65u);
        EXPECT_EQ(seg[1 + t].body[0], t);
        const uint8_t* base = t ? lxjpeg::kChrominanceQuant : lxjpeg::kLuminanceQuant;
        for (int i = 0; i < 64; ++i) EXPECT_EQ(seg[1 + t].body[1 + i], std::clamp((base[i] * 40 + 50) / 100, 1, 255));
    }
    EXPECT_EQ(seg[3].body, (std::vector<uint8_t>{8, 0, 9, 0, 25, 3, 0, 0x21, 0, 1, 0x11, 1, 2, 0x11, 1}));
    EXPECT_EQ(seg[4].body, Dht(0x00, lxjpeg::kDcLuminance));
    EXPECT_EQ(seg[5].body, Dht(0x10, lxjpeg::kAcLuminance));
    EXPECT_EQ(seg[6].body, Dht(0x01, lxjpeg::kDcChrominance));
    EXPECT_EQ(seg[7].body, Dht(0x11, lxjpeg::kAcChrominance));
    EXPECT_EQ(seg[8].body, (std::vector<uint8_t>{3, 0, 0x00, 1, 0x11, 2, 0x11, 0, 63, 0}));
}

TEST(JpegEncoder, GreyHeaderFollowsTheWidthRule) {
    for (uint32_t w : {24u, 25u, 16u, 8u, 9u, 2448u}) {
        SCOPED_TRACE(w);
        const Image g = Photo(w, 3, 1);
        const auto seg = Segments(Encode(LxPixelFormat_Mono8, g.pixels.data(), w, 3, w, 75));
        EXPECT_EQ(Only(seg, 0xDB).size(), 1u);
        EXPECT_EQ(Only(seg, 0xC4).size(), 2u);
        const auto sof = Only(seg, 0xC0);
        ASSERT_EQ(sof.size(), 1u);
        const uint8_t factors = ((w & 15) >= 1 && (w & 15) <= 8) ? 0x11 : 0x21;
        EXPECT_EQ(sof[0].body, (std::vector<uint8_t>{8, 0, 3, uint8_t(w >> 8), uint8_t(w), 1, 0, factors, 0}));
        EXPECT_EQ(Only(seg, 0xDA)[0].body, (std::vector<uint8_t>{1, 0, 0x00, 0, 63, 0}));
    }
}

TEST(JpegEncoder, QualityZeroAndFiftyGiveTheSameTables) {
    const Image g = Photo(40, 16, 3);
    const auto a = Segments(Encode(LxPixelFormat_RGB8, g.pixels.data(), 40, 16, 120, 0));
    const auto b = Segments(Encode(LxPixelFormat_RGB8, g.pixels.data(), 40, 16, 120, 50));
    const auto c = Segments(Encode(LxPixelFormat_RGB8, g.pixels.data(), 40, 16, 120, 100));
    const auto qa = Only(a, 0xDB), qb = Only(b, 0xDB), qc = Only(c, 0xDB);
    ASSERT_EQ(qa.size(), 2u);
    ASSERT_EQ(qc.size(), 2u);
    for (int t = 0; t < 2; ++t) {
        EXPECT_EQ(qa[t].body, qb[t].body);
        const uint8_t* base = t ? lxjpeg::kChrominanceQuant : lxjpeg::kLuminanceQuant;
        EXPECT_EQ(std::vector<uint8_t>(qa[t].body.begin() + 1, qa[t].body.end()), std::vector<uint8_t>(base, base + 64));
        EXPECT_EQ(std::vector<uint8_t>(qc[t].body.begin() + 1, qc[t].body.end()), std::vector<uint8_t>(64, 1));
    }
    // Above 100 counts as 100.
    EXPECT_EQ(Encode(LxPixelFormat_RGB8, g.pixels.data(), 40, 16, 120, 250),
              Encode(LxPixelFormat_RGB8, g.pixels.data(), 40, 16, 120, 100));
}

TEST(JpegEncoder, RefusesWhatItCannotCode) {
    uint8_t px[16] = {};
    int32_t r = 0;
    Encode(LxPixelFormat_BayerRG8, px, 2, 2, 2, 75, &r);
    EXPECT_EQ(r, -1);
    Encode(LxPixelFormat_Mono8, px, 0, 2, 2, 75, &r);
    EXPECT_EQ(r, -1);
    Encode(LxPixelFormat_Mono8, nullptr, 2, 2, 2, 75, &r);
    EXPECT_EQ(r, -1);
    Encode(LxPixelFormat_RGB8, px, 2, 2, 5, 75, &r); // a line step shorter than a line
    EXPECT_EQ(r, -1);
    Encode(LxPixelFormat_Mono10, px, 2, 2, 3, 75, &r);
    EXPECT_EQ(r, -1);
    size_t bytes = 0;
    std::vector<uint8_t> big(70000);
    EXPECT_EQ(lxjpeg::EncodeImage(LxPixelFormat_Mono8, big.data(), 70000, 1, 70000, 75, big.data(), 100, bytes), -1);
}

// A stream too small for the image: the short write is reported and nothing lands behind the block.
TEST(JpegEncoder, ShortOutputIsReportedWithoutOverrun) {
    const Image g = Noise(256, 256, 1);
    std::vector<uint8_t> block(3000 + 64, 0xA5);
    size_t bytes = 0;
    EXPECT_EQ(lxjpeg::EncodeImage(LxPixelFormat_Mono8, g.pixels.data(), 256, 256, 256, 90, block.data(), 3000, bytes), -5);
    EXPECT_EQ(bytes, 3000u);
    for (size_t i = 3000; i < block.size(); ++i) ASSERT_EQ(block[i], 0xA5);
    // The same through a C stream whose writes fail.
    std::FILE* ro = std::fopen("/dev/null", "r");
    ASSERT_NE(ro, nullptr);
    lxjpeg::CStdFileOutput2 out(ro);
    uint64_t written = 0;
    EXPECT_EQ(lxjpeg::EncodeImage(LxPixelFormat_Mono8, g.pixels.data(), 256, 256, 256, 90, out, written), -5);
    EXPECT_EQ(out.Close(), 0);
    EXPECT_EQ(std::fclose(ro), 0); // Close left the stream open
}
