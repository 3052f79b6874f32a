// The one processor dispatcher: what it detects, how far the switch reaches, and which form a family
// runs at each level.
#include "colorinterpolation.h"
#include "conversionkernels.h"
#include "kernels/cpudispatch.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <string>

namespace {

using lxcpu::Level;

// The flags the kernel reports for the first processor, or an empty set where it reports none.
std::set<std::string> CpuInfoFlags() {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(line.substr(line.find(':') + 1));
            std::set<std::string> flags;
            for (std::string w; words >> w;) flags.insert(w);
            return flags;
        }
    return {};
}

TEST(CpuDispatch, DetectsTheLevelTheOperatingSystemReports) {
    const std::set<std::string> flags = CpuInfoFlags();
    if (flags.empty()) GTEST_SKIP() << "no /proc/cpuinfo";
    Level expected = Level::Portable;
    if (flags.count("avx2")) {
        expected = Level::Avx2;
        if (flags.count("avx512f") && flags.count("avx512bw") && flags.count("avx512vl") && flags.count("avx512vbmi"))
            expected = Level::Avx512;
    }
    EXPECT_EQ(lxcpu::Detected(), expected) << lxcpu::LevelName(lxcpu::Detected());
}

TEST(CpuDispatch, ForceCapsAtTheProcessorAndScopesRestore) {
    const Level detected = lxcpu::Detected();
    {
        lxcpu::ForcedLevel portable(Level::Portable);
        EXPECT_EQ(lxcpu::Active(), Level::Portable);
        {
            // Asking for more than the processor has gives the processor's level.
            lxcpu::ForcedLevel highest(Level::Avx512);
            EXPECT_EQ(lxcpu::Active(), detected);
        }
        EXPECT_EQ(lxcpu::Active(), Level::Portable);
        // A value outside the enumeration counts as the highest level, never as an index.
        const Level previous = lxcpu::Force(static_cast<Level>(7));
        EXPECT_EQ(previous, Level::Portable);
        EXPECT_EQ(lxcpu::Active(), detected);
        lxcpu::Force(previous);
    }
    EXPECT_EQ(lxcpu::Active(), detected);
}

struct Forms {
    int id;
};
const Forms kPortable{0}, kAvx512{2};

TEST(CpuDispatch, AFamilyRunsItsBestFormAtOrBelowTheAllowedLevel) {
    // A family with no AVX2 form: AVX2 falls back to portable, AVX-512 takes its own form.
    const lxcpu::KernelForms<Forms> forms(&kPortable, nullptr, &kAvx512);
    EXPECT_EQ(forms.LevelAt(Level::Portable), Level::Portable);
    EXPECT_EQ(forms.LevelAt(Level::Avx2), Level::Portable);
    EXPECT_EQ(forms.LevelAt(Level::Avx512), Level::Avx512);
    EXPECT_TRUE(forms.Has(Level::Avx512));
    EXPECT_FALSE(forms.Has(Level::Avx2));
    {
        lxcpu::ForcedLevel portable(Level::Portable);
        EXPECT_EQ(forms.Get().id, 0);
    }
    EXPECT_EQ(forms.Get().id, lxcpu::Detected() == Level::Avx512 ? 2 : 0);
    EXPECT_EQ(forms.InUse(), forms.LevelAt(lxcpu::Detected()));
}

TEST(CpuDispatch, OneSwitchSendsEveryFamilyDownItsPortablePath) {
    {
        lxcpu::ForcedLevel portable(Level::Portable);
        EXPECT_EQ(lxconv::KernelLevel(), Level::Portable);
        EXPECT_EQ(lxbayer::KernelLevel(), Level::Portable);
    }
    // Neither family has an AVX-512 form yet: on such a processor both run AVX2.
    const Level expected = lxcpu::Detected() == Level::Portable ? Level::Portable : Level::Avx2;
    EXPECT_EQ(lxconv::KernelLevel(), expected);
    EXPECT_EQ(lxbayer::KernelLevel(), expected);
    std::cout << "processor: " << lxcpu::LevelName(lxcpu::Detected())
              << ", conversion rows: " << lxcpu::LevelName(lxconv::KernelLevel())
              << ", demosaicing: " << lxcpu::LevelName(lxbayer::KernelLevel()) << "\n";
}

} // namespace
