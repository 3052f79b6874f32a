// The SN measurement filter through the exported factory: gathering, the worker's result and its
// time-out, ROI changes that recompute without new frames, the node map with its result port, texts,
// and a filter that goes while it gathers or computes.
#include "lxdescriptions.h"
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxsnmeasurementfilter.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <random>

using namespace lxtest;

namespace {

struct SN {
    FilterPtr filter{CreateILxFilter(LxFilterType_SNMeasurement)};
    ILxSNMeasurementFilter* sn = dynamic_cast<ILxSNMeasurementFilter*>(filter.Get());
};

BufferPtr Constant(size_t w, size_t h, uint32_t format, uint8_t value) {
    BufferPtr b = MakeImage(w, h, format);
    FillBytes(b, value);
    return b;
}

struct Figures {
    uint32_t component = 0;
    uint64_t count = 0;
    double average = 0, temporal = 0, frame = 0;
};
Figures At(ILxSNMeasurementResult* r, int64_t i) {
    Figures f;
    r->GetResult(i, &f.component, &f.count, &f.average, &f.temporal, &f.frame);
    return f;
}

// Random samples of `bits` in an image with `pad` bytes after each line.
BufferPtr RandomImage(std::mt19937& rng, size_t w, size_t h, uint32_t format, unsigned bits, size_t pad) {
    const size_t bytes = bits > 8 ? 2 : 1;
    BufferPtr b = MakeImage(w, h, format, w * bytes + pad);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            const uint16_t v = uint16_t(rng() & ((1u << bits) - 1));
            std::memcpy(Bytes(b) + y * Pitch(b) + x * bytes, &v, bytes);
        }
    return b;
}

// The lines of `from` written into `to` (same size and format, any pitch).
void CopyLines(const BufferPtr& from, const BufferPtr& to, size_t lineBytes, size_t h) {
    for (size_t y = 0; y < h; ++y) std::memcpy(Bytes(to) + y * Pitch(to), Bytes(from) + y * Pitch(from), lineBytes);
}

// All records with their figures' bits.
std::vector<uint64_t> BitsOf(ILxSNMeasurementResult* r) {
    std::vector<uint64_t> bits;
    if (!r) return bits;
    for (size_t i = 0; i < r->GetPixelComponentCount(); ++i) {
        const Figures f = At(r, int64_t(i));
        uint64_t v[3];
        std::memcpy(&v[0], &f.average, 8);
        std::memcpy(&v[1], &f.temporal, 8);
        std::memcpy(&v[2], &f.frame, 8);
        bits.insert(bits.end(), {f.component, f.count, v[0], v[1], v[2]});
    }
    return bits;
}

} // namespace

TEST(SNMeasurement, ThreeConstantFramesAndTheFramesAfterThem) {
    SN m;
    m.sn->SetFrameCount(3);
    EXPECT_EQ(m.sn->RetrieveILxSNMeasurementResult(0, 0), nullptr);
    EXPECT_EQ(TextOf<GenICam::TimeoutException>([&] { m.sn->RetrieveILxSNMeasurementResult(0, 1); }),
              "A timeout occurred during the processing of "
              "ILxSNMeasurementFilter::RetrieveILxSNMeasurementResult(0, 1)");
    for (uint8_t v : {10, 20, 30}) {
        BufferPtr image = Constant(8, 6, LxPixelFormat_Mono8, v);
        EXPECT_EQ(m.filter->Filter(image->GetILxImage()), image->GetILxImage());
        EXPECT_EQ(Bytes(image)[0], v); // untouched
    }
    ILxSNMeasurementResult* r = m.sn->RetrieveILxSNMeasurementResult(10000, 1);
    ASSERT_NE(r, nullptr);
    ASSERT_EQ(r->GetPixelComponentCount(), 1u);
    Figures f = At(r, 0);
    EXPECT_EQ(f.component, 0x01080000u);
    EXPECT_EQ(f.count, 48u);
    EXPECT_DOUBLE_EQ(f.average, 20);
    EXPECT_NEAR(f.temporal, std::sqrt(200.0 / 3), 1e-12); // the mean of 48 equal deviations
    EXPECT_EQ(f.frame, 0);
    // A fourth frame is ignored; the result stays ready.
    BufferPtr late = Constant(8, 6, LxPixelFormat_Mono8, 200);
    m.filter->Filter(late->GetILxImage());
    r = m.sn->RetrieveILxSNMeasurementResult(0, 1);
    EXPECT_DOUBLE_EQ(At(r, 0).average, 20);
    // A region change recomputes from the kept frames.
    m.sn->SetFilterROIMode(1);
    m.sn->SetWidth(2);
    m.sn->SetHeight(3);
    m.sn->SetOffsetX(100); // moved back inside
    r = m.sn->RetrieveILxSNMeasurementResult(10000, 1);
    EXPECT_EQ(At(r, 0).count, 6u);
    EXPECT_DOUBLE_EQ(At(r, 0).average, 20);
    // Clearing empties the records and the frames.
    m.sn->ClearGrabbedImage();
    EXPECT_EQ(r->GetPixelComponentCount(), 0u);
    EXPECT_EQ(m.sn->RetrieveILxSNMeasurementResult(0, 0), nullptr);
}

// With an offset of 1 the phases move: the record named R now holds the Gr sites.
TEST(SNMeasurement, BayerPhasesFollowTheRoi) {
    SN m;
    m.sn->SetFrameCount(1);
    m.sn->SetFilterROIMode(1);
    m.sn->SetWidth(4);
    m.sn->SetHeight(4);
    BufferPtr image = MakeImage(8, 8, LxPixelFormat_BayerRG8);
    for (size_t y = 0; y < 8; ++y)
        for (size_t x = 0; x < 8; ++x) Bytes(image)[y * Pitch(image) + x] = uint8_t(10 * (1 + (y & 1) * 2 + (x & 1)));
    m.filter->Filter(image->GetILxImage());
    ILxSNMeasurementResult* r = m.sn->RetrieveILxSNMeasurementResult(10000, 1);
    ASSERT_EQ(r->GetPixelComponentCount(), 4u);
    EXPECT_EQ(At(r, 0).component, 0x02080000u);
    EXPECT_DOUBLE_EQ(At(r, 0).average, 10);
    EXPECT_DOUBLE_EQ(At(r, 3).average, 40);
    EXPECT_EQ(At(r, 0).count, 4u);
    m.sn->SetOffsetX(1);
    r = m.sn->RetrieveILxSNMeasurementResult(10000, 1);
    EXPECT_EQ(At(r, 0).component, 0x02080000u);
    EXPECT_DOUBLE_EQ(At(r, 0).average, 20);
    EXPECT_DOUBLE_EQ(At(r, 1).average, 10);
}

// A packed source is measured unpacked: the same figures as its unpacked form.
TEST(SNMeasurement, PackedSourcesAreUnpacked) {
    auto measure = [](uint32_t format, auto fill) {
        SN m;
        m.sn->SetFrameCount(2);
        for (int k = 0; k < 2; ++k) {
            BufferPtr image = MakeImage(16, 4, format);
            fill(image, k);
            m.filter->Filter(image->GetILxImage());
        }
        return At(m.sn->RetrieveILxSNMeasurementResult(10000, 1), 0);
    };
    const Figures unpacked = measure(LxPixelFormat_Mono12, [](BufferPtr& b, int k) {
        for (size_t y = 0; y < 4; ++y)
            for (size_t x = 0; x < 16; ++x) SetWord(b, y, x, uint16_t((x * 200 + y * 7 + k * 300) & 0xFFF));
    });
    const Figures packed = measure(LxPixelFormat_Mono12p, [](BufferPtr& b, int k) {
        // Two 12-bit samples in three bytes, little end first.
        for (size_t y = 0; y < 4; ++y)
            for (size_t x = 0; x < 16; x += 2) {
                const uint32_t a = (x * 200 + y * 7 + k * 300) & 0xFFF, c = ((x + 1) * 200 + y * 7 + k * 300) & 0xFFF;
                uint8_t* p = Bytes(b) + y * Pitch(b) + x / 2 * 3;
                p[0] = uint8_t(a);
                p[1] = uint8_t((a >> 8) | (c << 4));
                p[2] = uint8_t(c >> 4);
            }
    });
    EXPECT_EQ(packed.component, 0x010C0000u);
    EXPECT_DOUBLE_EQ(packed.average, unpacked.average);
    EXPECT_DOUBLE_EQ(packed.temporal, unpacked.temporal);
    EXPECT_DOUBLE_EQ(packed.frame, unpacked.frame);
}

TEST(SNMeasurement, RefusalsAndTheirTexts) {
    SN m;
    BufferPtr rgb16 = MakeImage(4, 4, LxPixelFormat_RGB16);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { m.filter->Filter(rgb16->GetILxImage()); }),
              "Not supported pixelformat RGB16");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { m.sn->SetFrameCount(0); }),
              "value = 0 must be equal or greater than Min = 1");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { m.sn->SetFrameCount(1025); }),
              "value = 1025 must be equal or smaller than Max = 1024");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { m.sn->SetFilterROIMode(3); }),
              "eRM = 3 must be smaller than Max = 3");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { m.sn->SetFilterROIMode(-1); }),
              "eRM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(m.sn->GetFrameCount(), 50u);
    EXPECT_EQ(m.sn->GetFilterROIMode(), 2);
    ILxSNMeasurementResult* r = dynamic_cast<ILxSNMeasurementResult*>(m.filter.Get());
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { r->GetResult(0, nullptr, nullptr, nullptr, nullptr, nullptr); }),
              "nIndex = 0 must be smaller than Max = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { r->GetResult(-1, nullptr, nullptr, nullptr, nullptr, nullptr); }),
              "nIndex = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(GetILxFilterInfo(LxFilterType_SNMeasurement)->GetDisplayName(), "SN Measurement");
    EXPECT_TRUE(GetILxFilterInfo(LxFilterType_SNMeasurement)->IsSupportedPixelFormat(LxPixelFormat_BayerBG14p));
    EXPECT_FALSE(GetILxFilterInfo(LxFilterType_SNMeasurement)->IsSupportedPixelFormat(LxPixelFormat_RGB16));
}

// The features: parameters on IPPort, the result on IPResultPort with its selector, the command, and
// the image size shown as WidthMax.
TEST(SNMeasurement, FeaturesOfBothPorts) {
    SN m;
    GenApi::INodeMap* map = m.filter->GetINodeMap();
    GenApi::CIntegerPtr frameCount(map->GetNode("FrameCount"));
    EXPECT_EQ(frameCount->GetValue(), 50);
    EXPECT_EQ(frameCount->GetMax(), 1024);
    frameCount->SetValue(2);
    EXPECT_EQ(m.sn->GetFrameCount(), 2u);
    GenApi::CIntegerPtr widthMax(map->GetNode("WidthMax"));
    EXPECT_EQ(widthMax->GetValue(), 4096);
    EXPECT_FALSE(GenApi::IsAvailable(map->GetNode("PixelComponentIndex")));
    for (uint16_t base : {100, 300}) {
        BufferPtr image = MakeImage(6, 2, LxPixelFormat_BGR10);
        for (size_t x = 0; x < 18; ++x) {
            SetWord(image, 0, x, uint16_t(base + x % 3));
            SetWord(image, 1, x, uint16_t(base + x % 3));
        }
        m.filter->Filter(image->GetILxImage());
    }
    EXPECT_EQ(widthMax->GetValue(), 6);
    ASSERT_NE(m.sn->RetrieveILxSNMeasurementResult(10000, 1), nullptr);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("PixelComponentCount"))->GetValue(), 3);
    GenApi::CIntegerPtr index(map->GetNode("PixelComponentIndex"));
    index->SetValue(2);
    EXPECT_EQ(GenApi::CEnumerationPtr(map->GetNode("PixelComponent"))->GetCurrentEntry()->GetSymbolic(), "R10");
    EXPECT_DOUBLE_EQ(GenApi::CFloatPtr(map->GetNode("Average"))->GetValue(), 202);
    EXPECT_DOUBLE_EQ(GenApi::CFloatPtr(map->GetNode("TemporalStandardDeviation"))->GetValue(), 100);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("PixelCount"))->GetValue(), 12);
    EXPECT_THROW(index->SetValue(3), GenICam::OutOfRangeException);
    GenApi::CCommandPtr(map->GetNode("ClearGrabbedImage"))->Execute();
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("PixelComponentCount"))->GetValue(), 0);
    // The selected index survives; with no records a field read fails.
    EXPECT_THROW(GenApi::CFloatPtr(map->GetNode("Average"))->GetValue(), GenICam::GenericException);
    GenApi::CEnumerationPtr mode(map->GetNode("FilterROIMode"));
    EXPECT_EQ(mode->GetCurrentEntry()->GetSymbolic(), "CenterOfImage");
    EXPECT_FALSE(GenApi::IsAvailable(map->GetNode("OffsetX")));
    mode->FromString("Manual");
    EXPECT_EQ(m.sn->GetFilterROIMode(), 1);
    EXPECT_TRUE(GenApi::IsAvailable(map->GetNode("OffsetX")));
}

// The filter goes while it waits for frames, and while a long calculation runs: neither hangs.
TEST(SNMeasurement, ReleaseDuringGatheringAndDuringACalculation) {
    {
        SN m;
        m.sn->SetFrameCount(5);
        BufferPtr image = Constant(32, 32, LxPixelFormat_Mono8, 1);
        m.filter->Filter(image->GetILxImage());
    }
    const auto start = std::chrono::steady_clock::now();
    {
        SN m;
        m.sn->SetFrameCount(16);
        m.sn->SetFilterROIMode(0);
        BufferPtr image = Constant(2448, 2048, LxPixelFormat_Mono16, 3);
        for (int k = 0; k < 16; ++k) m.filter->Filter(image->GetILxImage());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

// ROI changes while frames arrive, from another thread than the one that reads the result.
TEST(SNMeasurement, RoiChangesWhileTheWorkerRuns) {
    SN m;
    m.sn->SetFrameCount(4);
    BufferPtr image = Constant(64, 64, LxPixelFormat_Mono8, 9);
    for (int k = 0; k < 4; ++k) m.filter->Filter(image->GetILxImage());
    for (uint64_t w = 1; w <= 40; ++w) {
        m.sn->SetWidth(w);
        if (w % 8 == 0) m.filter->GetINodeMap();
    }
    ILxSNMeasurementResult* r = m.sn->RetrieveILxSNMeasurementResult(10000, 1);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(At(r, 0).count, 40u * 64);
    EXPECT_DOUBLE_EQ(At(r, 0).average, 9);
}

// Frames in their working format are copied as they are: the same samples at other line pitches give
// the same bits, and so does one image rewritten with each frame's samples before it is handed over
// (what the filter keeps is its own copy, not the caller's memory).
TEST(SNMeasurement, FramesInTheirWorkingFormatGiveTheSameBitsAtAnyPitch) {
    for (const auto& [format, bits] : {std::pair{LxPixelFormat_Mono8, 8u}, std::pair{LxPixelFormat_Mono12, 12u},
                                       std::pair{LxPixelFormat_BayerGR8, 8u}}) {
        SCOPED_TRACE(format);
        const size_t w = 61, h = 37, lineBytes = w * (bits > 8 ? 2 : 1), count = 11;
        std::mt19937 rng(format);
        std::vector<BufferPtr> padded, tight, wide;
        for (size_t k = 0; k < count; ++k) {
            padded.push_back(RandomImage(rng, w, h, format, bits, 5));
            tight.push_back(MakeImage(w, h, format, lineBytes));
            wide.push_back(MakeImage(w, h, format, lineBytes + 67));
            CopyLines(padded.back(), tight.back(), lineBytes, h);
            CopyLines(padded.back(), wide.back(), lineBytes, h);
        }
        auto measure = [&](const std::vector<BufferPtr>& frames, bool rewrite) {
            SN m;
            m.sn->SetFrameCount(count);
            m.sn->SetFilterROIMode(0);
            BufferPtr one = MakeImage(w, h, format, lineBytes + 3);
            for (const BufferPtr& frame : frames) {
                if (!rewrite) {
                    m.filter->Filter(frame->GetILxImage());
                    continue;
                }
                CopyLines(frame, one, lineBytes, h);
                m.filter->Filter(one->GetILxImage());
            }
            return BitsOf(m.sn->RetrieveILxSNMeasurementResult(10000, 1));
        };
        const std::vector<uint64_t> expected = measure(padded, false);
        ASSERT_FALSE(expected.empty());
        uint64_t samples = 0;
        for (size_t i = 1; i < expected.size(); i += 5) samples += expected[i];
        EXPECT_EQ(samples, w * h);
        EXPECT_EQ(measure(tight, false), expected);
        EXPECT_EQ(measure(wide, false), expected);
        EXPECT_EQ(measure(padded, true), expected);
    }
}
