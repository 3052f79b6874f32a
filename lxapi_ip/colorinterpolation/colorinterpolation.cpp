// Entry points of the demosaicing kernels: argument checks, the size rules that choose the method
// actually run, the phase normalisation, and the choice of instruction set.
#include "colorinterpolation.h"

#include "bayerframe.h"
#include "lxiputil.h"
#include "support/lxalignedlines.h"
#include "support/lxcolorfilter.h"

#include <GenICam/GCException.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace lxbayer {
namespace {

// The kernels of one instruction-set level.
struct BayerKernels {
    void (*color8)(uint32_t method, const detail::Frame<uint8_t>& f);
    void (*color16)(uint32_t method, const detail::Frame<uint16_t>& f);
    void (*luminance8)(const detail::Frame<uint8_t>& f);
    void (*luminance16)(const detail::Frame<uint16_t>& f);
};

constexpr BayerKernels kPortable = {detail::portable::Color<uint8_t>, detail::portable::Color<uint16_t>,
                                    detail::portable::Luminance<uint8_t>, detail::portable::Luminance<uint16_t>};
#if defined(__x86_64__) || defined(__i386__)
constexpr BayerKernels kAvx2 = {detail::avx2::Color<uint8_t>, detail::avx2::Color<uint16_t>,
                                detail::avx2::Luminance<uint8_t>, detail::avx2::Luminance<uint16_t>};
constexpr const BayerKernels* kAvx2Form = &kAvx2;
#else
constexpr const BayerKernels* kAvx2Form = nullptr;
#endif
// Portable and AVX2 forms (no AVX-512 form yet).
constexpr lxcpu::KernelForms<BayerKernels> kForms(&kPortable, kAvx2Form);

template <class T>
void RunColor(uint32_t method, const detail::Frame<T>& f) {
    const BayerKernels& k = kForms.Get();
    if constexpr (sizeof(T) == 1) k.color8(method, f);
    else k.color16(method, f);
}

template <class T>
void RunLuminance(const detail::Frame<T>& f) {
    const BayerKernels& k = kForms.Get();
    if constexpr (sizeof(T) == 1) k.luminance8(f);
    else k.luminance16(f);
}

// Largest width or height accepted: keeps every index and row offset far inside int and ptrdiff_t.
constexpr uint32_t kMaxSide = 1u << 28;

void CheckSize(uint32_t width, uint32_t height) {
    if (width < 2 || height < 2 || width > kMaxSide || height > kMaxSide)
        throw RUNTIME_EXCEPTION("Not supported image size %u x %u", width, height);
}

template <class T>
void CheckBuffers(uint32_t width, const T* src, size_t srcPitch, T* dst, size_t dstPitch, uint32_t step) {
    if (!src || !dst) throw INVALID_ARGUMENT_EXCEPTION("Image buffer is NULL");
    if (step != 1 && step != 3 && step != 4)
        throw INVALID_ARGUMENT_EXCEPTION("Destination pixel step %u is not 3 or 4", step);
    const uint64_t srcLine = uint64_t(width) * sizeof(T);
    const uint64_t dstLine = uint64_t(width) * step * sizeof(T);
    if (srcPitch < srcLine)
        throw INVALID_ARGUMENT_EXCEPTION("Source pitch %zu is smaller than a line of %llu bytes", srcPitch,
                                         static_cast<unsigned long long>(srcLine));
    if (dstPitch < dstLine)
        throw INVALID_ARGUMENT_EXCEPTION("Destination pitch %zu is smaller than a line of %llu bytes", dstPitch,
                                         static_cast<unsigned long long>(dstLine));
    if (srcPitch > size_t(PTRDIFF_MAX) / kMaxSide || dstPitch > size_t(PTRDIFF_MAX) / kMaxSide)
        throw INVALID_ARGUMENT_EXCEPTION("Pitch %zu / %zu is out of range", srcPitch, dstPitch);
}

// True when every line of a side starts on a whole sample: the kernels load and store T directly.
template <class T>
bool LinesAligned(const void* data, size_t pitch) {
    return (reinterpret_cast<uintptr_t>(data) | pitch) % alignof(T) == 0;
}

// Word images with an odd pitch or address run on aligned copies of their lines: the source's, and
// the destination's (taken in first, so that an alpha sample keeps what the buffer holds, and given
// back afterwards). `run` is called with the aligned source and destination and their pitches.
template <class T, class Run>
void OnAlignedLines(uint32_t width, uint32_t height, const T* src, size_t srcPitch, T* dst, size_t dstPitch,
                    uint32_t step, Run&& run) {
    const lxip::CAlignedLines in(const_cast<T*>(src), ptrdiff_t(srcPitch), size_t(width) * sizeof(T), height,
                                 sizeof(T), false);
    const lxip::CAlignedLines out(dst, ptrdiff_t(dstPitch), size_t(width) * step * sizeof(T), height, sizeof(T), true);
    run(reinterpret_cast<const T*>(in.Data()), size_t(in.Pitch()), reinterpret_cast<T*>(out.Data()),
        size_t(out.Pitch()));
}

// A method outside 0..7 (a value written through the register port) interpolates nothing: the colour
// samples of every pixel become 0, an alpha sample and the line padding stay as the buffer holds
// them. The result is defined whatever the buffer held before.
template <class T>
void ZeroColour(uint32_t width, uint32_t height, T* dst, size_t dstPitch, uint32_t step) {
    auto* line = reinterpret_cast<uint8_t*>(dst);
    if (step == 3) {
        for (size_t y = 0; y < height; ++y, line += dstPitch) std::memset(line, 0, size_t(width) * 3 * sizeof(T));
        return;
    }
    for (size_t y = 0; y < height; ++y, line += dstPitch)
        for (size_t x = 0; x < width; ++x) std::memset(line + x * step * sizeof(T), 0, 3 * sizeof(T));
}

// Fills the phase-normalised frame. Returns false (with errno = EINVAL) for a filter outside
// RG, GR, GB, BG.
template <class T>
bool MakeFrame(detail::Frame<T>& f, uint32_t filter, uint32_t width, uint32_t height, const T* src,
               size_t srcPitch, T* dst, size_t dstPitch, uint32_t step, bool isBGR, bool reverse, uint32_t maxValue) {
    if (!lxip::IsBayerPhase(filter)) {
        errno = EINVAL;
        return false;
    }
    // The colour other than green on row 0 (red for RG and GR, blue for GB and BG) and its column
    // (even for RG and BG).
    f.aIsRed = lxip::RedRow(filter) == 0;
    f.p0 = int(f.aIsRed ? lxip::RedColumn(filter) : 1 - lxip::RedColumn(filter));
    const int offRed = isBGR ? 2 : 0;
    f.offA = f.aIsRed ? offRed : 2 - offRed;
    f.offB = 2 - f.offA;
    f.src = src;
    f.srcStride = ptrdiff_t(srcPitch / sizeof(T));
    f.dst = dst;
    f.dstStride = ptrdiff_t(dstPitch / sizeof(T));
    f.w = int(width);
    f.h = int(height);
    f.step = int(step);
    f.maxv = int(maxValue);
    f.reverse = reverse;
    return true;
}

// The method actually run for the image size.
uint32_t EffectiveMethod(uint32_t method, uint32_t width, uint32_t height) {
    if ((width < 4 || height < 4) && method != MethodOff && method != MethodMono) method = MethodNearestNeighbor;
    if (method == MethodBicubic && (width < 7 || height < 3)) method = MethodBilinear2;
    return method;
}

template <class T>
void ToColor(uint32_t method, uint32_t filter, uint32_t width, uint32_t height, const T* src, size_t srcPitch,
             T* dst, size_t dstPitch, uint32_t step, bool isBGR, bool reverse, uint32_t maxValue) {
    CheckSize(width, height);
    if (step == 1) throw INVALID_ARGUMENT_EXCEPTION("Destination pixel step %u is not 3 or 4", step);
    CheckBuffers(width, src, srcPitch, dst, dstPitch, step);
    if (!LinesAligned<T>(src, srcPitch) || !LinesAligned<T>(dst, dstPitch)) {
        OnAlignedLines(width, height, src, srcPitch, dst, dstPitch, step,
                       [&](const T* s, size_t sp, T* d, size_t dp) {
                           ToColor(method, filter, width, height, s, sp, d, dp, step, isBGR, reverse, maxValue);
                       });
        return;
    }
    detail::Frame<T> f;
    if (!MakeFrame(f, filter, width, height, src, srcPitch, dst, dstPitch, step, isBGR, reverse, maxValue)) return;
    // The size rules come first: a small image runs as NearestNeighbor whatever the method number.
    method = EffectiveMethod(method, width, height);
    if (method > MethodBilinear3) {
        ZeroColour(width, height, dst, dstPitch, step);
        return;
    }
    std::vector<detail::Lane<T>> scratch;
    if (method == MethodBilinear3) {
        // Line buffers, aligned to 64 bytes within the allocation.
        constexpr size_t perLine = 64 / sizeof(detail::Lane<T>);
        lxip::TranslateBadAlloc([&] { scratch.assign(detail::kBl3Lines * detail::Bl3Stride<T>(f.w) + perLine, 0); });
        const size_t misalign = reinterpret_cast<uintptr_t>(scratch.data()) / sizeof(detail::Lane<T>) % perLine;
        f.scratch = scratch.data() + (perLine - misalign) % perLine;
    }
    RunColor(method, f);
}

template <class T>
void ToMono(uint32_t filter, uint32_t width, uint32_t height, const T* src, size_t srcPitch, T* dst,
            size_t dstPitch, bool reverse) {
    CheckSize(width, height);
    CheckBuffers(width, src, srcPitch, dst, dstPitch, 1);
    if (!LinesAligned<T>(src, srcPitch) || !LinesAligned<T>(dst, dstPitch)) {
        OnAlignedLines(width, height, src, srcPitch, dst, dstPitch, 1, [&](const T* s, size_t sp, T* d, size_t dp) {
            ToMono(filter, width, height, s, sp, d, dp, reverse);
        });
        return;
    }
    detail::Frame<T> f;
    if (!MakeFrame(f, filter, width, height, src, srcPitch, dst, dstPitch, 1, false, reverse, 0xFFFF)) return;
    RunLuminance(f);
}

} // namespace

void BayerToColor(uint32_t method, uint32_t filter, uint32_t width, uint32_t height, const uint8_t* src,
                  size_t srcPitch, uint8_t* dst, size_t dstPitch, uint32_t dstStep, bool isBGR, bool reverse) {
    ToColor(method, filter, width, height, src, srcPitch, dst, dstPitch, dstStep, isBGR, reverse, 0xFFu);
}

void BayerToColor(uint32_t method, uint32_t filter, uint32_t width, uint32_t height, const uint16_t* src,
                  size_t srcPitch, uint16_t* dst, size_t dstPitch, uint32_t dstStep, bool isBGR, bool reverse,
                  uint32_t maxValue) {
    if (maxValue < 1 || maxValue > 0xFFFF)
        throw INVALID_ARGUMENT_EXCEPTION("maxValue = %u must lie in 1..65535", maxValue);
    ToColor(method, filter, width, height, src, srcPitch, dst, dstPitch, dstStep, isBGR, reverse, maxValue);
}

void Bayer8ToMono8(uint32_t filter, uint32_t width, uint32_t height, const uint8_t* src, size_t srcPitch,
                   uint8_t* dst, size_t dstPitch, bool reverse) {
    ToMono(filter, width, height, src, srcPitch, dst, dstPitch, reverse);
}

void Bayer16ToMono16(uint32_t filter, uint32_t width, uint32_t height, const uint16_t* src, size_t srcPitch,
                     uint16_t* dst, size_t dstPitch, bool reverse) {
    ToMono(filter, width, height, src, srcPitch, dst, dstPitch, reverse);
}

lxcpu::Level KernelLevel() noexcept { return kForms.InUse(); }

lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return kForms.LevelAt(allowed); }

} // namespace lxbayer
