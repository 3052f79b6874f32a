// The one choice of instruction set for every kernel family of the library.
//
// The processor is examined once. A family (the conversion rows, the demosaicing kernels, ...) keeps
// one table of function pointers per instruction-set level it has a form for, and asks
// KernelForms::Get() for the table to run at each call: the best form at or below the level the
// dispatcher allows. That level is the processor's, unless Force() lowered it; one call of
// Force(Level::Portable) sends every family down its portable path, which is how the tests prove each
// fast form bit-exact with the portable one and how the benchmarks measure both.
//
// Forms compiled with instruction-set flags live in their own source files, built with those flags
// alone; nothing else in the library is compiled for more than the baseline processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lxcpu {

// Instruction-set levels; each includes the ones below it.
enum class Level : uint32_t {
    Portable = 0, // plain C++ for any processor
    Avx2 = 1,     // AVX2, with the operating system saving the 256-bit registers
    Avx512 = 2,   // AVX-512 F, BW, VL and VBMI, with the operating system saving the 512-bit state
};
constexpr size_t kLevelCount = 3;

// "portable", "AVX2", "AVX-512".
const char* LevelName(Level level) noexcept;

// The best level this processor and operating system support. Examined at the first call only.
Level Detected() noexcept;

// The level kernels may use now: Detected(), or less after Force().
Level Active() noexcept;

// Caps the level of every kernel family, process-wide, from the next kernel call on; a level above
// the processor's counts as the processor's. Returns the cap that was set before. Meant for tests
// and benchmarks, between conversions: a call running meanwhile finishes on the forms it picked.
Level Force(Level level) noexcept;

// Force() for a scope: sets the cap and puts the previous one back at the end.
class ForcedLevel {
public:
    explicit ForcedLevel(Level level) noexcept : m_previous(Force(level)) {}
    ~ForcedLevel() { Force(m_previous); }
    ForcedLevel(const ForcedLevel&) = delete;
    ForcedLevel& operator=(const ForcedLevel&) = delete;

private:
    Level m_previous;
};

// The forms of one kernel family: a table of function pointers per level, null where the family (or
// this build) has no form of that level. The portable form must exist.
template <class Table>
class KernelForms {
public:
    constexpr KernelForms(const Table* portable, const Table* avx2 = nullptr, const Table* avx512 = nullptr) noexcept
        : m_forms{portable, avx2, avx512} {}

    // The level of the form that runs when `allowed` is the dispatcher's level.
    Level LevelAt(Level allowed) const noexcept {
        size_t i = static_cast<size_t>(allowed);
        if (i >= kLevelCount) i = kLevelCount - 1;
        while (i > 0 && !m_forms[i]) --i;
        return static_cast<Level>(i);
    }
    // The level of the form in use now.
    Level InUse() const noexcept { return LevelAt(Active()); }
    // The form to run now.
    const Table& Get() const noexcept { return *m_forms[static_cast<size_t>(InUse())]; }
    // Whether the family has a form of its own at `level` in this build (the processor aside).
    bool Has(Level level) const noexcept {
        return static_cast<size_t>(level) < kLevelCount && m_forms[static_cast<size_t>(level)] != nullptr;
    }

private:
    const Table* m_forms[kLevelCount];
};

// The levels above portable at which a family has a form of its own that this processor runs;
// `levelAt` answers as KernelForms::LevelAt. Tests prove each of them against the portable form.
template <class LevelAt>
std::vector<Level> FastLevels(LevelAt&& levelAt) {
    std::vector<Level> levels;
    for (uint32_t i = 1; i <= static_cast<uint32_t>(Detected()); ++i)
        if (levelAt(static_cast<Level>(i)) == static_cast<Level>(i)) levels.push_back(static_cast<Level>(i));
    return levels;
}

} // namespace lxcpu
