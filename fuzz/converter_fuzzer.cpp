// Fuzzes the pixel format converter: random source and destination formats from the table (now and
// then any code), sizes 0..64, line pitches wider than needed, sources that are views of a larger
// image, conversion in place and from a view of the destination into it, and every converter
// parameter set through its typed setter, in range or not.
#include "module_support.h"

#include <cmath>
#include <functional>

namespace {

using lxfuzz::CInput;

// A double that is mostly a sensible parameter value, sometimes anything at all (NaN, infinities).
double PickDouble(CInput& in, double low, double high) {
    const uint8_t how = in.Byte();
    if (how < 0xE0) return low + (high - low) * in.Range(0, 1000) / 1000.0;
    return in.Raw<double>();
}

// An enumeration value one below and one above the declared range included.
template <class E>
E PickEnum(CInput& in, int count) {
    return static_cast<E>(static_cast<int>(in.Range(0, static_cast<uint64_t>(count) + 1)) - 1);
}

void SetParameters(ILxPixelFormatConverter& c, CInput& in) {
    const std::function<void()> setters[] = {
        [&] { c.SetDestinationPixelFormat(lxfuzz::PickFormat(in)); },
        [&] { c.SetReverseY(in.Bool()); },
        [&] { c.SetBayerInterpolationMethod(PickEnum<ELxBayerInterpolationMethod_t>(in, 8)); },
        [&] { c.SetGamma(PickDouble(in, 0.0, 4.0)); },
        [&] { c.SetBitExpansionMode(PickEnum<ELxBitExpansionMode_t>(in, 4)); },
        [&] { c.SetPolarizationImageTransformationMethod(PickEnum<ELxPolarizationImageTransformationMethod_t>(in, 10)); },
        [&] { c.SetPolarizationSpecifiedAngle(PickDouble(in, -10.0, 370.0)); },
        [&] { c.SetColorMapType(PickEnum<ELxColorMapType_t>(in, 3)); },
        [&] { c.SetColorMapInversion(in.Bool()); },
        [&] { c.SetColorMapPhase(in.Raw<int8_t>() * 3); },
        [&] {
            c.SetPolarizationSpecifiedAngleInterpolationMethod(
                PickEnum<ELxPolarizationSpecifiedAngleInterpolationMethod_t>(in, 2));
        },
        [&] { c.SetADOLPDarkMode(in.Bool()); },
        [&] { c.SetADOLPColorInversion(in.Bool()); },
        [&] { c.SetADOLPColorPhase(in.Raw<int8_t>() * 3); },
        // The line alignment of the destination: bounded, since it sizes what the converter allocates.
        [&] { c.SetDestinationBufferParameter(static_cast<int64_t>(in.Range(0, 4096)) - 1); },
        [&] { c.SetDestinationPixelFormatNodeLock(in.Bool()); },
    };
    // One bit per setter says whether it is called.
    const uint16_t which = in.Raw<uint16_t>();
    for (size_t i = 0; i < std::size(setters); ++i)
        if (which >> i & 1) lxfuzz::Try(setters[i]);
}

// A view of a rectangle of `parent` chosen by the input; null if the rectangle is refused.
lxfuzz::BufferPtr MakeView(ILxImage* parent, CInput& in) {
    const size_t width = parent->GetImageWidth(), height = parent->GetImageHeight();
    const size_t x = in.Range(0, width), y = in.Range(0, height);
    const size_t w = in.Range(0, width - x), h = in.Range(0, height - y);
    lxfuzz::BufferPtr view;
    lxfuzz::Try([&] { view.Reset(CreateILxImageView(parent, x, y, w, h)); });
    return view;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 64 * 1024) return 0;
    lxfuzz::InitSdk();
    CInput in(data, size);
    lxfuzz::ConverterPtr module(CreateILxConverter(LxConverterType_PixelFormat));
    auto* converter = dynamic_cast<ILxPixelFormatConverter*>(module.Get());
    if (!converter) __builtin_trap();

    const int conversions = 1 + in.Byte() % 3; // a second run reuses the pooled buffers
    for (int k = 0; k < conversions && !in.Empty(); ++k) {
        SetParameters(*converter, in);
        const uint8_t mode = in.Byte() % 4;
        lxfuzz::Try([&] {
            lxfuzz::BufferPtr source = lxfuzz::MakeImage(in, lxfuzz::PickFormat(in));
            lxfuzz::BufferPtr destination(CreateILxImageBuffer(nullptr));
            if (in.Bool()) // a destination that held another image before
                lxfuzz::Try([&] { destination = lxfuzz::MakeImage(in, lxfuzz::PickFormat(in)); });
            switch (mode) {
            case 0: module->Convert(source->GetILxImage(), destination.Get()); break;
            case 1: { // from a view of a larger image
                lxfuzz::BufferPtr view = MakeView(source->GetILxImage(), in);
                if (view.Get()) module->Convert(view->GetILxImage(), destination.Get());
                break;
            }
            case 2: // in place: the source is the destination's own image
                destination = std::move(source);
                module->Convert(destination->GetILxImage(), destination.Get());
                break;
            default: { // from a view of the destination into that destination
                destination = std::move(source);
                lxfuzz::BufferPtr view = MakeView(destination->GetILxImage(), in);
                if (view.Get()) module->Convert(view->GetILxImage(), destination.Get());
                break;
            }
            }
            lxfuzz::Touch(destination->GetILxImage());
        });
    }
    return 0;
}
