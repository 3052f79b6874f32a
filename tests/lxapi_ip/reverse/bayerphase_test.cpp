// The phase of a reversed Bayer image, proved through demosaicing: a mosaic reversed and then
// demosaiced equals the colour image of the mosaic, reversed. Only a result in the right phase puts
// red where red was sampled, so any phase error shows as swapped or smeared colours.
#include "reversetest.h"

#include <lxapi/ilxpixelformatconverter.h>

using namespace lxtest;

namespace {

BufferPtr Demosaic(const BufferPtr& mosaic, ELxBayerInterpolationMethod_t method) {
    ConverterPtr converter(CreateILxConverter(LxConverterType_PixelFormat));
    auto* typed = dynamic_cast<ILxPixelFormatConverter*>(converter.Get());
    typed->SetBayerInterpolationMethod(method);
    typed->SetDestinationPixelFormat(LxPixelFormat_BGR8);
    BufferPtr out(CreateILxImageBuffer(nullptr));
    converter->Convert(mosaic->GetILxImage(), out.Get());
    return out;
}

bool SamePixels(const BufferPtr& a, const BufferPtr& b) {
    ILxImage *x = a->GetILxImage(), *y = b->GetILxImage();
    if (x->GetImageWidth() != y->GetImageWidth() || x->GetImageHeight() != y->GetImageHeight()) return false;
    for (size_t l = 0; l < x->GetImageHeight(); ++l)
        if (std::memcmp(static_cast<uint8_t*>(x->GetImageBuffer()) + l * x->GetImageLinePitch(),
                        static_cast<uint8_t*>(y->GetImageBuffer()) + l * y->GetImageLinePitch(),
                        3 * x->GetImageWidth()))
            return false;
    return true;
}

} // namespace

// A method commutes with an operation only where its windows are symmetric under it: Bilinear and
// Bicubic (rows first, then columns, mirrored borders) under the three flips, NearestNeighbor2 and
// Bilinear2 (the 2x2 window at each pixel) under the transposition. The turns' phases are proved
// site by site in ReverseConverter.BayerResultKeepsEverySiteColour.
TEST(ReverseBayerPhase, DemosaicOfTheReversedMosaicIsTheReversedColourImage) {
    const struct {
        ELxBayerInterpolationMethod_t method;
        std::vector<int> codes;
    } cases[] = {{LxBayerInterpolationMethod_Bilinear, {1, 2, 3}},
                 {LxBayerInterpolationMethod_Bicubic, {1, 2, 3}},
                 {LxBayerInterpolationMethod_NearestNeighbor2, {6}},
                 {LxBayerInterpolationMethod_Bilinear2, {6}}};
    std::mt19937 rng(21);
    for (const auto& c : cases)
        for (uint32_t format :
             {LxPixelFormat_BayerRG8, LxPixelFormat_BayerGR8, LxPixelFormat_BayerGB8, LxPixelFormat_BayerBG8})
            for (const auto& [w, h] : {std::pair<size_t, size_t>{24, 16}, {25, 17}, {24, 17}}) {
                BufferPtr mosaic = MakeImage(w, h, format);
                FillRandom(mosaic, rng);
                const BufferPtr colour = Demosaic(mosaic, c.method);
                for (int code : c.codes) {
                    const Setting s = kSettingOfCode[code];
                    Reverser r;
                    r.Set(s.x, s.y, s.rotation);
                    const BufferPtr reversedMosaic = r.Run(mosaic);
                    EXPECT_TRUE(SamePixels(Demosaic(reversedMosaic, c.method), r.Run(colour)))
                        << "method " << c.method << " " << NameOf(format) << " " << w << " x " << h << " code "
                        << code << " as " << NameOf(FormatOf(reversedMosaic));
                }
            }
}
