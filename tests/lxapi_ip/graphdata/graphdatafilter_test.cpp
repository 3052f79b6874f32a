// The graph data filter as an application drives it: regions, refusals and their texts, the rotating
// lists and a reader on another thread.
#include "graphdatatest.h"

#include "lxdescriptions.h"

#include <GenApi/GenApi.h>

#include <atomic>
#include <numeric>
#include <thread>

using namespace lxtest;

namespace {

// A Mono16 image whose samples are their column (or line) number.
BufferPtr Coordinates(size_t width, size_t height, bool lines) {
    BufferPtr b = MakeImage(width, height, LxPixelFormat_Mono16);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) SetWord(b, y, x, uint16_t(lines ? y : x));
    return b;
}

uint64_t Sum(const std::vector<uint32_t>& v) { return std::accumulate(v.begin(), v.end(), uint64_t(0)); }

} // namespace

TEST(GraphDataFilter, DefaultsMeasureTheWholeImageAsAHistogram) {
    GraphFilter f;
    EXPECT_EQ(f.typed->GetGraphDataType(), LxGraphDataType_Histogram);
    EXPECT_EQ(f.typed->GetFilterROIMode(), LxFilterROIMode_WholeImage);
    EXPECT_EQ(f.typed->GetWidth(), 100u);
    EXPECT_EQ(f.filter->GetFilterInfo()->GetDisplayName(), "Graph Data");
    // Before any image the reader gets the empty list 0.
    EXPECT_EQ(f.typed->GetILxGraphDataBufferList()->GetCount(), 0u);

    BufferPtr image = MakeImage(640, 480, LxPixelFormat_Mono8);
    FillBytes(image, 7);
    const std::vector<uint8_t> before(Bytes(image), Bytes(image) + 640 * 480);
    EXPECT_EQ(f.filter->Filter(image->GetILxImage()), image->GetILxImage());
    EXPECT_EQ(std::vector<uint8_t>(Bytes(image), Bytes(image) + 640 * 480), before); // measured, not changed
    const ILxGraphDataBufferList* list = f.typed->GetILxGraphDataBufferList();
    ASSERT_EQ(list->GetCount(), 1u);
    const std::vector<uint32_t> bins = Elements(list, 0);
    EXPECT_EQ(bins.size(), 256u);
    EXPECT_EQ(Sum(bins), 307200u);
    EXPECT_EQ(bins[7], 307200u);
    EXPECT_EQ(Info(list, 0, LxGraphDataInformationUint_Total), 307200u);
    EXPECT_EQ(Info(list, 0, LxGraphDataInformationUint_PeakIndex), 7u);
    EXPECT_EQ(list->GetILxGraphDataBuffer(0)->GetILxGraphData()->GetGraphDataType(), 1u);
}

TEST(GraphDataFilter, CenterOfImagePlacesTheRegionOrTakesTheWholeImage) {
    GraphFilter f;
    // Column sums of column numbers: the first element tells the first column, its sum the lines.
    const ILxGraphDataBufferList* list =
        f.Run(Coordinates(640, 480, false), LxGraphDataType_VerticalIntegration, LxFilterROIMode_CenterOfImage);
    ASSERT_EQ(Elements(list, 0).size(), 100u);
    EXPECT_EQ(Elements(list, 0)[0], 270u * 100);
    EXPECT_EQ(Info(list, 0, LxGraphDataInformationUint_SummedPixelCount), 100u);
    EXPECT_EQ(Info(list, 0, LxGraphDataInformationUint_Total), 65535u * 100);
    list = f.Run(Coordinates(640, 480, true), LxGraphDataType_HorizontalIntegration, LxFilterROIMode_CenterOfImage);
    EXPECT_EQ(Elements(list, 0)[0], 190u * 100);
    list = f.Run(Coordinates(50, 50, false), LxGraphDataType_VerticalIntegration, LxFilterROIMode_CenterOfImage);
    ASSERT_EQ(Elements(list, 0).size(), 50u);
    EXPECT_EQ(Elements(list, 0)[0], 0u);
    EXPECT_EQ(Elements(list, 0)[49], 49u * 50);
}

TEST(GraphDataFilter, ARegionAtOrPastTheEdgeIsEmptyAndKeepsTheLastResult) {
    GraphFilter f;
    BufferPtr image = Coordinates(64, 32, false);
    ILxGraphDataBufferList* good = f.Run(image, LxGraphDataType_VerticalIntegration, LxFilterROIMode_Manual, 60, 0, 10, 5);
    EXPECT_EQ(Elements(good, 0), (std::vector<uint32_t>{300, 305, 310, 315})); // clipped to 4 columns
    for (const auto& corner : {std::pair<size_t, size_t>{64, 0}, {0, 32}, {SIZE_MAX, 0}}) {
        EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] {
                      f.Run(image, LxGraphDataType_Histogram, LxFilterROIMode_Manual, corner.first, corner.second, 10, 5);
                  }),
                  "ROI is empty.");
    }
    // A failed run leaves the newest list as it was.
    EXPECT_EQ(f.typed->GetILxGraphDataBufferList(), good);
    EXPECT_EQ(Elements(good, 0).size(), 4u);
    // Sizes far past the image are clipped without overflow.
    ILxGraphDataBufferList* big =
        f.Run(image, LxGraphDataType_VerticalIntegration, LxFilterROIMode_Manual, 1, 1, SIZE_MAX, SIZE_MAX);
    EXPECT_EQ(Elements(big, 0).size(), 63u);
}

TEST(GraphDataFilter, BayerRowSumsOfOneColumnHaveNoDataPolarizedMonoLeavesASeriesEmpty) {
    GraphFilter f;
    BufferPtr bayer = MakeImage(16, 8, LxPixelFormat_BayerRG8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] {
                  f.Run(bayer, LxGraphDataType_HorizontalIntegration, LxFilterROIMode_Manual, 3, 0, 1, 8);
              }),
              "There is no available graph data.");
    // x0 odd: the phase of the first column gets (w + 1) >> 1 elements.
    const ILxGraphDataBufferList* list =
        f.Run(bayer, LxGraphDataType_VerticalIntegration, LxFilterROIMode_Manual, 3, 2, 5, 4);
    EXPECT_EQ(Elements(list, 1).size(), 3u); // Gr: columns 3, 5, 7
    EXPECT_EQ(Elements(list, 0).size(), 2u); // R: columns 4, 6
    BufferPtr pol = MakeImage(16, 8, LxPixelFormat_Pol1Mono8);
    list = f.Run(pol, LxGraphDataType_HorizontalIntegration, LxFilterROIMode_Manual, 3, 0, 1, 8);
    ASSERT_EQ(list->GetCount(), 4u);
    EXPECT_EQ(list->GetILxGraphDataBuffer(0)->GetSize(), 0u);
    EXPECT_EQ(Elements(list, 1).size(), 4u);
}

TEST(GraphDataFilter, PackedInputsAreConvertedFirst) {
    GraphFilter f;
    BufferPtr image = MakeImage(8, 4, LxPixelFormat_Mono10p);
    FillBytes(image, 0xFF); // every sample 1023
    const ILxGraphDataBufferList* list = f.Run(image, LxGraphDataType_Histogram);
    ASSERT_EQ(Elements(list, 0).size(), 1024u);
    EXPECT_EQ(Elements(list, 0)[1023], 32u);
    EXPECT_EQ(image->GetILxImage()->GetImagePixelFormat(), uint32_t(LxPixelFormat_Mono10p));
}

TEST(GraphDataFilter, RefusalsSayWhatWasWrong) {
    GraphFilter f;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetGraphDataType(ELxGraphDataType_t(0)); }),
              "eValue = 0 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetGraphDataType(ELxGraphDataType_t(4)); }),
              "eValue = 4 must be smaller than Max = 4");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetFilterROIMode(ELxFilterROIMode_t(-1)); }),
              "eRM = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.typed->SetFilterROIMode(ELxFilterROIMode_t(3)); }),
              "eRM = 3 must be smaller than Max = 3");
    BufferPtr yuv = MakeImage(8, 4, LxPixelFormat_YCbCr422_8);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { f.filter->Filter(yuv->GetILxImage()); }),
              "Not supported pixelformat YCbCr422_8");
    EXPECT_FALSE(GetILxFilterInfo(LxFilterType_GraphData)->IsSupportedPixelFormat(LxPixelFormat_YCbCr422_8));
    EXPECT_TRUE(GetILxFilterInfo(LxFilterType_GraphData)->IsSupportedPixelFormat(LxPixelFormat_Pol1BayerRGXC12p));
    // Written through the port the type is not checked until an image comes.
    auto* port = dynamic_cast<GenApi::IPort*>(f.filter.Get());
    const uint32_t zero = 0;
    port->Write(&zero, lxres::lxgraphdatafilter::GraphDataTypeReg.address, 4);
    BufferPtr mono = MakeImage(8, 4, LxPixelFormat_Mono8);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { f.filter->Filter(mono->GetILxImage()); }),
              "GraphDataType = 0 must be equal or greater than Min = 0");
}

TEST(GraphDataFilter, FeaturesReachTheSameFields) {
    GraphFilter f;
    GenApi::INodeMap* map = f.filter->GetINodeMap();
    GenApi::CEnumerationPtr type = map->GetNode("GraphDataType");
    type->FromString("HorizontalIntegration");
    EXPECT_EQ(f.typed->GetGraphDataType(), LxGraphDataType_HorizontalIntegration);
    GenApi::CIntegerPtr width = map->GetNode("Width");
    EXPECT_FALSE(GenApi::IsAvailable(width));
    f.typed->SetFilterROIMode(LxFilterROIMode_Manual);
    EXPECT_TRUE(GenApi::IsAvailable(GenApi::CIntegerPtr(map->GetNode("OffsetX"))));
    width->SetValue(640);
    EXPECT_EQ(f.typed->GetWidth(), 640u);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("OffsetX"))->GetMax(), 8192 - 640);
    f.typed->SetOffsetY(8000);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("Height"))->GetMax(), 192);
}

// A writer measures frames whose every sample is the frame's number while a reader takes the
// newest list again and again: the list it holds is always one whole frame, and stays so.
TEST(GraphDataFilter, AReaderIsNeverOvertakenByTheWriter) {
    GraphFilter f;
    std::atomic<bool> done{false};
    std::atomic<int> checked{0};
    std::thread writer([&] {
        BufferPtr image = MakeImage(64, 32, LxPixelFormat_Mono8);
        for (int frame = 0; frame < 3000; ++frame) {
            FillBytes(image, uint8_t(frame));
            f.filter->Filter(image->GetILxImage());
        }
        done = true;
    });
    while (!done || checked < 50) {
        const ILxGraphDataBufferList* list = f.typed->GetILxGraphDataBufferList();
        if (list->GetCount() == 0) continue;
        const std::vector<uint32_t> first = Elements(list, 0);
        const uint32_t peak = Info(list, 0, LxGraphDataInformationUint_PeakIndex);
        ASSERT_EQ(first[peak], 64u * 32);
        std::this_thread::yield();
        ASSERT_EQ(Elements(list, 0), first); // untouched while held
        ++checked;
        if (done && checked >= 50) break;
    }
    writer.join();
}
