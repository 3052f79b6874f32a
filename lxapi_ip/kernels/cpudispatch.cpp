// Processor detection and the process-wide cap on the instruction-set level.
#include "cpudispatch.h"

#include <atomic>

namespace lxcpu {
namespace {

Level Examine() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    // The answers may be wanted by a static initialiser before the runtime has examined the
    // processor. __builtin_cpu_supports reports AVX and AVX-512 only where the operating system
    // saves their registers (XGETBV), so a reported feature is a usable one.
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2")) return Level::Portable;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi"))
        return Level::Avx512;
    return Level::Avx2;
#else
    return Level::Portable;
#endif
}

// The cap set by Force(); the highest level until then.
std::atomic<Level> g_cap{Level::Avx512};

Level Lower(Level a, Level b) noexcept { return static_cast<uint32_t>(a) < static_cast<uint32_t>(b) ? a : b; }

} // namespace

const char* LevelName(Level level) noexcept {
    switch (level) {
    case Level::Portable: return "portable";
    case Level::Avx2: return "AVX2";
    case Level::Avx512: return "AVX-512";
    }
    return "unknown";
}

Level Detected() noexcept {
    static const Level detected = Examine();
    return detected;
}

Level Active() noexcept { return Lower(g_cap.load(std::memory_order_relaxed), Detected()); }

Level Force(Level level) noexcept {
    if (static_cast<uint32_t>(level) >= kLevelCount) level = Level::Avx512;
    return g_cap.exchange(Lower(level, Detected()), std::memory_order_relaxed);
}

} // namespace lxcpu
