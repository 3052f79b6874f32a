// Every pair the conversion map holds converts small random images of awkward sizes, with and
// without the flip, into a destination of exactly the size asked, and never touches memory outside
// the images (the sanitizer build makes that a failure).
#include "lxconversiontable.h"
#include "lxmoduletest.h"

#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/ilxpixelformatconverter.h>

#include <random>
#include <set>

using namespace lxtest;

namespace {

// Random samples that are valid for the format: words of 16-bit containers stay within the depth.
void FillValid(const BufferPtr& b, std::mt19937& rng) {
    ILxImage* img = b->GetILxImage();
    auto* info = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(img->GetImagePixelFormat()));
    const size_t bytes = info->GetPlaneCount() * img->GetImagePlaneSize();
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    const bool words = info->GetStorageBits() == 16 && info->GetPackingKind() == LxPacking_None;
    const uint32_t mask = words ? (1u << info->GetComponentBits()) - 1 : 0xFF;
    for (size_t i = 0; i < bytes; i += words ? 2 : 1) {
        const uint16_t v = uint16_t(rng() & mask);
        std::memcpy(p + i, &v, words && i + 1 < bytes ? 2 : 1);
    }
}

} // namespace

TEST(AllPairs, EveryRegisteredPairConverts) {
    ConverterPtr module(CreateILxConverter(LxConverterType_PixelFormat));
    auto* typed = dynamic_cast<ILxPixelFormatConverter*>(module.Get());
    typed->SetBayerInterpolationMethod(LxBayerInterpolationMethod_Bilinear3);
    std::mt19937 rng(7);
    std::set<std::pair<uint32_t, uint32_t>> done;
    size_t converted = 0;
    for (const ConversionRecord& r : ConversionRegistry()) {
        if (!FindConversion(r.key.source, r.key.destination)) continue;
        if (!done.insert({r.key.source, r.key.destination}).second) continue;
        for (const auto& [w, h] : {std::pair<size_t, size_t>{7, 5}, {4, 6}}) {
            BufferPtr src = MakeImage(w, h, r.key.source);
            FillValid(src, rng);
            for (bool reverse : {false, true}) {
                typed->SetReverseY(reverse);
                typed->SetDestinationPixelFormat(r.key.destination);
                BufferPtr out(CreateILxImageBuffer(nullptr));
                ASSERT_NO_THROW(module->Convert(src->GetILxImage(), out.Get()))
                    << GetILxPixelFormatInfo(r.key.source)->GetName().c_str() << " -> "
                    << GetILxPixelFormatInfo(r.key.destination)->GetName().c_str();
                EXPECT_EQ(out->GetILxImage()->GetImageWidth(), w);
                EXPECT_EQ(out->GetILxImage()->GetImageHeight(), h);
                ++converted;
            }
        }
    }
    EXPECT_EQ(done.size(), 4011u);
    EXPECT_EQ(converted, 4 * 4011u);
}
