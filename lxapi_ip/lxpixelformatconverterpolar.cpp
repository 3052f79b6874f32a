// The polarization members of the pixel format converter. The transform is chosen by
// PolarizationImageTransformationMethod and the source's group (polarized mono or polarized mosaic);
// a transform that is defined through another format runs as a chain through a pooled buffer.
#include "colorinterpolation/colorinterpolation.h"
#include "lxpixelformatconverter.h"
#include "lxpixelformatname.h"
#include "polarization/polarkernels.h"
#include "polarization/polartables.h"
#include "support/lxinside.h"

#include <includeinside/ilxpixelformatinfoinside.h>

#include <cmath>
#include <numbers>

namespace {

using lxpol::Op;
using lxpol::Plane;

enum Method : int32_t {
    Off = 0, EachAngle = 1, SpecifiedAngle = 2, Average = 3, Degree = 4, Angle = 5, AngleAndDegree = 6,
    Maximum = 7, Minimum = 8, Difference = 9,
};

[[noreturn]] void ThrowNotSupported(uint32_t from, uint32_t to) {
    throw RUNTIME_EXCEPTION("Converting a pixelformat from  %s to %s is not supported.",
                            lxip::PixelFormatName(from).c_str(), lxip::PixelFormatName(to).c_str());
}

uint32_t MonoOfDepth(size_t depth) {
    return depth == 8 ? LxPixelFormat_Mono8 : depth == 10 ? LxPixelFormat_Mono10 : LxPixelFormat_Mono12;
}
uint32_t BGRaOfDepth(size_t depth) {
    return depth == 8 ? LxPixelFormat_BGRa8 : depth == 10 ? LxPixelFormat_BGRa10 : LxPixelFormat_BGRa12;
}
uint32_t BayerOf(uint32_t filter, size_t depth) {
    const size_t d = depth == 8 ? 0 : depth == 10 ? 1 : 2;
    static const uint32_t formats[4][3] = {
        {LxPixelFormat_BayerRG8, LxPixelFormat_BayerRG10, LxPixelFormat_BayerRG12},
        {LxPixelFormat_BayerGR8, LxPixelFormat_BayerGR10, LxPixelFormat_BayerGR12},
        {LxPixelFormat_BayerGB8, LxPixelFormat_BayerGB10, LxPixelFormat_BayerGB12},
        {LxPixelFormat_BayerBG8, LxPixelFormat_BayerBG10, LxPixelFormat_BayerBG12},
    };
    const size_t row = filter == LxColorFilter_Red ? 0 : filter == LxColorFilter_GreenR ? 1
                     : filter == LxColorFilter_GreenB ? 2 : 3;
    return formats[row][d];
}

// The Bayer phase of the temporary mosaic of the half-size and EachAngle paths, by layout (1..4
// plain, X, Y, XY; 5..8 C, XC, YC, XYC) and flip. The two paths have the XC and YC rows the other way
// round.
uint32_t TemporaryPhase(uint32_t layout, bool reverse, bool eachAngle) {
    constexpr uint32_t RG = LxColorFilter_Red, GR = LxColorFilter_GreenR, GB = LxColorFilter_GreenB,
                       BG = LxColorFilter_Blue;
    static const uint32_t halfSize[9][2] = {{RG, GB}, {RG, GB}, {GR, BG}, {GB, RG}, {BG, GR},
                                            {GR, BG}, {RG, GB}, {BG, GR}, {GB, RG}};
    static const uint32_t quadrants[9][2] = {{RG, GB}, {RG, GB}, {GR, BG}, {GB, RG}, {BG, GR},
                                             {GR, BG}, {BG, GR}, {RG, GB}, {GB, RG}};
    const uint32_t l = layout <= 8 ? layout : 0;
    return (eachAngle ? quadrants : halfSize)[l][reverse ? 1 : 0];
}

ILxPixelFormatInfoInside* InfoOf(ILxImage* image) { return lxip::FormatInside(image->GetImagePixelFormat()); }

// The plane of an image; with `reverse` its last line first, the pitch negative.
Plane PlaneOf(ILxImage* image, bool reverse = false) {
    Plane p;
    p.data = static_cast<uint8_t*>(image->GetImageBuffer());
    p.pitch = ptrdiff_t(image->GetImageLinePitch());
    p.width = uint32_t(image->GetImageWidth());
    p.height = uint32_t(image->GetImageHeight());
    p.words = InfoOf(image)->GetComponentBits() > 8;
    if (reverse && p.height > 0) {
        p.data += ptrdiff_t(p.height - 1) * p.pitch;
        p.pitch = -p.pitch;
    }
    return p;
}

// A rectangle of a plane; `samples` per pixel.
Plane Part(const Plane& p, uint32_t x, uint32_t y, uint32_t w, uint32_t h, unsigned samples = 1) {
    Plane q = p;
    q.data = p.data + ptrdiff_t(y) * p.pitch + ptrdiff_t(x) * samples * (p.words ? 2 : 1);
    q.width = w;
    q.height = h;
    return q;
}

} // namespace

// The parameters and tables one polarization step reads, taken once at its start.
struct CLxPixelFormatConverter::PolarStep {
    ILxImage* source;
    ILxImage* destination;
    ILxPixelFormatInfoInside* sourceInfo;
    ILxPixelFormatInfoInside* destinationInfo;
    unsigned depth;
    uint32_t layout;
    int32_t method;
    lxconv::BitConversionTableRef depthTable;
    lxpol::PolarizerWeightCache::Ref weights;
    lxpol::Context context;
};

void CLxPixelFormatConverter::BeginPolarStep(PolarStep& step, ILxImage* s, ILxImageBuffer* d) {
    step.source = s;
    step.destination = d->GetILxImage();
    step.sourceInfo = InfoOf(s);
    step.destinationInfo = InfoOf(step.destination);
    step.depth = unsigned(step.sourceInfo->GetComponentBits());
    step.layout = step.sourceInfo->GetPolarizerLayout();
    step.method = GetPolarizationImageTransformationMethod();
    if ((step.depth != 8 && step.depth != 10 && step.depth != 12) || step.method < 0 || step.method > 9 ||
        step.layout < 1 || step.layout > 8)
        ThrowNotSupported(s->GetImagePixelFormat(), step.destination->GetImagePixelFormat());
    if (s->GetImageWidth() > UINT32_MAX || s->GetImageHeight() > UINT32_MAX)
        throw INVALID_ARGUMENT_EXCEPTION("Image size %zu x %zu is too large.", s->GetImageWidth(),
                                         s->GetImageHeight());
}

// The operation of a method and its tables; the depth table from the source's depth to `dstBits`.
void CLxPixelFormatConverter::PreparePolarOp(PolarStep& step, Op op, unsigned dstBits) {
    lxpol::Context& c = step.context;
    c.op = op;
    c.depth = step.depth;
    step.depthTable = lxconv::BitConversionTableRef(m_bitConversionCache, step.depth, dstBits);
    c.depthTable = step.depthTable ? step.depthTable->Entries() : nullptr;
    if (op == Op::Linear || op == Op::Cosine) {
        bool cosine;
        double angle;
        {
            GenApi::AutoLock lock(ParameterLock());
            cosine = m_polarizationSpecifiedAngleInterpolationMethod ==
                     LxPolarizationSpecifiedAngleInterpolationMethod_Cosine;
            angle = m_polarizationSpecifiedAngle;
        }
        if (cosine) {
            c.op = Op::Cosine;
            const double radians = lxpol::ReducedAngle(angle) * std::numbers::pi / 180.0;
            const double phi = radians + radians;
            c.cosPhi = std::cos(phi);
            c.sinPhi = std::sin(phi);
        } else {
            step.weights = m_polarizerWeights.Acquire(step.depth, angle);
            for (unsigned k = 0; k < 4; ++k) c.weights[k] = step.weights->Slot(k);
        }
    }
    if (op == Op::Degree || op == Op::Angle || op == Op::Color)
        c.stokes = &lxpol::AcquireStokesTables(step.depth, op != Op::Angle, op != Op::Degree);
    if (op == Op::Color) {
        GenApi::AutoLock lock(ParameterLock());
        c.colorInversion = m_adolpColorInversion;
        c.darkMode = m_adolpDarkMode;
        c.colorPhase = m_adolpColorPhase;
        c.dstStep = unsigned(step.destinationInfo->GetComponentCount());
        c.blueFirst = step.destinationInfo->IsBlueFirst();
    }
}

namespace {

// The window operation of a method, for the methods that have one.
bool WindowOp(int32_t method, Op* op) {
    switch (method) {
    case SpecifiedAngle: *op = Op::Linear; return true;
    case Average: *op = Op::Average; return true;
    case Degree: *op = Op::Degree; return true;
    case Angle: *op = Op::Angle; return true;
    case Maximum: *op = Op::Maximum; return true;
    case Minimum: *op = Op::Minimum; return true;
    case Difference: *op = Op::Difference; return true;
    default: return false;
    }
}

} // namespace

void CLxPixelFormatConverter::ConvertPolMonoToMono(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    PolarStep step;
    BeginPolarStep(step, s, d);
    const unsigned dstBits = unsigned(step.destinationInfo->GetComponentBits());
    const Plane in = PlaneOf(s), out = PlaneOf(step.destination, reverse);
    Op op;
    if (step.method == AngleAndDegree) {
        ConvertViaIntermediate(s, d, BGRaOfDepth(step.depth), step.destination->GetImagePixelFormat(), reverse);
    } else if (step.method == Off || step.method == EachAngle) {
        PreparePolarOp(step, Op::Average, dstBits);
        if (step.method == Off) lxpol::CopySamples(step.context, in, out);
        else lxpol::SplitAngles(step.context, in, out);
    } else if (WindowOp(step.method, &op)) {
        PreparePolarOp(step, op, dstBits);
        lxpol::RunWindow(step.context, step.layout, in, out);
    }
}

void CLxPixelFormatConverter::ConvertPolMonoToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    PolarStep step;
    BeginPolarStep(step, s, d);
    if (step.method != AngleAndDegree) {
        ConvertViaIntermediate(s, d, MonoOfDepth(step.depth), step.destination->GetImagePixelFormat(), reverse);
        return;
    }
    PreparePolarOp(step, Op::Color, unsigned(step.destinationInfo->GetComponentBits()));
    lxpol::RunWindow(step.context, step.layout, PlaneOf(s), PlaneOf(step.destination, reverse));
}

// Per colour plane: the mosaic's four colour planes side by side in a pooled image, the operation on
// each of them into the same quadrant of the destination.
void CLxPixelFormatConverter::RunPerColorPlane(PolarStep& step, bool reverse) {
    ILxImage* s = step.source;
    TemporaryBuffer planes(*this);
    planes->CreateBuffer(s->GetImageWidth(), s->GetImageHeight(), MonoOfDepth(step.depth));
    const Plane all = PlaneOf(planes->GetILxImage());
    lxpol::Demultiplex(PlaneOf(s), all);
    const Plane out = PlaneOf(step.destination, reverse);
    const uint32_t w = all.width, h = all.height;
    const uint32_t left = lxpol::DemultiplexedFirstHalf(w), top = lxpol::DemultiplexedFirstHalf(h);
    const unsigned samples = step.context.op == Op::Color ? step.context.dstStep : 1;
    const uint32_t xs[2] = {0, left}, ws[2] = {left, w - left}, ys[2] = {0, top}, hs[2] = {top, h - top};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i)
            if (ws[i] && hs[j])
                lxpol::RunWindow(step.context, step.layout, Part(all, xs[i], ys[j], ws[i], hs[j]),
                                 Part(out, xs[i], ys[j], ws[i], hs[j], samples));
}

void CLxPixelFormatConverter::ConvertPolBayerToMono(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    PolarStep step;
    BeginPolarStep(step, s, d);
    const unsigned dstBits = unsigned(step.destinationInfo->GetComponentBits());
    if (step.method == Off) {
        PreparePolarOp(step, Op::Average, dstBits);
        lxpol::CopySamples(step.context, PlaneOf(s), PlaneOf(step.destination, reverse));
    } else if (step.method == Degree || step.method == Angle) {
        PreparePolarOp(step, step.method == Degree ? Op::Degree : Op::Angle, dstBits);
        RunPerColorPlane(step, reverse);
    } else {
        ConvertViaIntermediate(s, d, BGRaOfDepth(step.depth), step.destination->GetImagePixelFormat(), reverse);
    }
}

void CLxPixelFormatConverter::ConvertPolBayerToColor(ILxImage* s, ILxImageBuffer* d, bool reverse) {
    PolarStep step;
    BeginPolarStep(step, s, d);
    const uint32_t requested = step.destination->GetImagePixelFormat();
    const unsigned dstBits = unsigned(step.destinationInfo->GetComponentBits());
    Op op;
    if (step.method == Off || step.method == Degree || step.method == Angle) {
        ConvertViaIntermediate(s, d, MonoOfDepth(step.depth), requested, reverse);
    } else if (step.method == AngleAndDegree) {
        PreparePolarOp(step, Op::Color, dstBits);
        RunPerColorPlane(step, reverse);
    } else if (step.method == EachAngle) {
        // The four angle images as quadrants of one mosaic, each demosaiced on its own.
        PreparePolarOp(step, Op::Average, step.depth);
        const uint32_t filter = TemporaryPhase(step.layout, reverse, true);
        TemporaryBuffer mosaic(*this);
        mosaic->CreateBuffer(s->GetImageWidth(), s->GetImageHeight(), BayerOf(filter, step.depth));
        ILxImage* m = mosaic->GetILxImage();
        lxpol::SplitAngles(step.context, PlaneOf(s), PlaneOf(m, reverse));
        const Plane in = PlaneOf(m), out = PlaneOf(step.destination);
        const uint32_t w = in.width, h = in.height;
        const uint32_t left = (w + 1) / 2, top = reverse ? h / 2 : (h + 1) / 2;
        const uint32_t xs[2] = {0, left}, ws[2] = {left, w - left}, ys[2] = {0, top}, hs[2] = {top, h - top};
        const uint32_t method = static_cast<uint32_t>(GetBayerInterpolationMethod());
        const uint32_t samples = uint32_t(step.destinationInfo->GetComponentCount());
        const bool isBGR = step.destinationInfo->IsBlueFirst();
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i) {
                if (!ws[i] || !hs[j]) continue;
                const Plane a = Part(in, xs[i], ys[j], ws[i], hs[j]);
                const Plane b = Part(out, xs[i], ys[j], ws[i], hs[j], samples);
                if (step.depth <= 8)
                    lxbayer::BayerToColor(method, filter, a.width, a.height, a.data, size_t(a.pitch), b.data,
                                          size_t(b.pitch), samples, isBGR, false);
                else
                    lxbayer::BayerToColor(method, filter, a.width, a.height, reinterpret_cast<uint16_t*>(a.data),
                                          size_t(a.pitch), reinterpret_cast<uint16_t*>(b.data), size_t(b.pitch),
                                          samples, isBGR, false, (1u << dstBits) - 1);
            }
    } else if (WindowOp(step.method, &op)) {
        // Half size: one value per group into a mosaic of half the size, demosaiced into the
        // destination, which is made again at half size.
        PreparePolarOp(step, op, step.depth);
        const uint32_t filter = TemporaryPhase(step.layout, reverse, false);
        TemporaryBuffer mosaic(*this);
        mosaic->CreateBuffer(s->GetImageWidth() / 2, s->GetImageHeight() / 2, BayerOf(filter, step.depth));
        lxpol::RunGroups(step.context, step.layout, PlaneOf(s), PlaneOf(mosaic->GetILxImage(), reverse));
        ConvertImage(mosaic->GetILxImage(), d, requested, false);
    }
}
