// Entry points of the demosaicing kernels: argument checks, the size rules that choose the method
// actually run, the phase normalisation, and the choice of instruction set.
#include "colorinterpolation.h"

#include "bayerframe.h"

#include <GenICam/GCException.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>
#include <vector>

namespace lxbayer {
namespace {

std::atomic<KernelSet> g_kernelSet{KernelSet::Best};

bool CpuHasAvx2() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool has = [] {
        __builtin_cpu_init(); // the answer may be wanted before the runtime has run it
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
#else
    return false;
#endif
}

bool UseAvx2() { return g_kernelSet.load(std::memory_order_relaxed) == KernelSet::Best && CpuHasAvx2(); }

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
    if (sizeof(T) > 1 && ((srcPitch | dstPitch) % sizeof(T) != 0 ||
                          reinterpret_cast<uintptr_t>(src) % sizeof(T) != 0 ||
                          reinterpret_cast<uintptr_t>(dst) % sizeof(T) != 0))
        throw INVALID_ARGUMENT_EXCEPTION("Word image buffers and pitches must be aligned to 2 bytes");
}

// Fills the phase-normalised frame. Returns false (with errno = EINVAL) for a filter outside
// RG, GR, GB, BG.
template <class T>
bool MakeFrame(detail::Frame<T>& f, uint32_t filter, uint32_t width, uint32_t height, const T* src,
               size_t srcPitch, T* dst, size_t dstPitch, uint32_t step, bool isBGR, bool reverse, uint32_t maxValue) {
    if (filter < FilterRG || filter > FilterBG) {
        errno = EINVAL;
        return false;
    }
    // Row 0 holds red for RG and GR, blue for GB and BG; on even columns for RG and BG.
    f.aIsRed = filter == FilterRG || filter == FilterGR;
    f.p0 = (filter == FilterRG || filter == FilterBG) ? 0 : 1;
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
    if (method > MethodBilinear3) return;
    detail::Frame<T> f;
    if (!MakeFrame(f, filter, width, height, src, srcPitch, dst, dstPitch, step, isBGR, reverse, maxValue)) return;
    method = EffectiveMethod(method, width, height);
    std::vector<detail::Lane<T>> scratch;
    if (method == MethodBilinear3) {
        // Line buffers, aligned to 64 bytes within the allocation.
        constexpr size_t perLine = 64 / sizeof(detail::Lane<T>);
        try {
            scratch.assign(detail::kBl3Lines * detail::Bl3Stride<T>(f.w) + perLine, 0);
        } catch (const std::bad_alloc& e) {
            throw BAD_ALLOC_EXCEPTION("%s", e.what());
        }
        const size_t misalign = reinterpret_cast<uintptr_t>(scratch.data()) / sizeof(detail::Lane<T>) % perLine;
        f.scratch = scratch.data() + (perLine - misalign) % perLine;
    }
    if (UseAvx2()) detail::avx2::Color(method, f);
    else detail::portable::Color(method, f);
}

template <class T>
void ToMono(uint32_t filter, uint32_t width, uint32_t height, const T* src, size_t srcPitch, T* dst,
            size_t dstPitch, bool reverse) {
    CheckSize(width, height);
    CheckBuffers(width, src, srcPitch, dst, dstPitch, 1);
    detail::Frame<T> f;
    if (!MakeFrame(f, filter, width, height, src, srcPitch, dst, dstPitch, 1, false, reverse, 0xFFFF)) return;
    if (UseAvx2()) detail::avx2::Luminance(f);
    else detail::portable::Luminance(f);
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

KernelSet SetKernelSet(KernelSet set) { return g_kernelSet.exchange(set); }

bool HasAvx2Kernels() { return CpuHasAvx2(); }

} // namespace lxbayer
