#include "bitconversiontable.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <future>
#include <limits>
#include <new>
#include <vector>

using namespace lxconv;

// Array allocations can be made to fail, to see the cache's answer to a lack of memory.
namespace {
thread_local bool g_failArrayNew = false;
}
void* operator new[](std::size_t size) {
    if (g_failArrayNew) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

std::vector<uint16_t> Build(unsigned s, unsigned d, double gamma, uint32_t mode) {
    std::vector<uint16_t> t(size_t(1) << s);
    BuildBitConversionTable(t.data(), s, d, gamma, mode);
    return t;
}

TEST(BitConversionTable, ExpansionFollowsTheMode) {
    const auto gamma = Build(8, 16, 1.0, BitExpansion_Gamma), zeros = Build(8, 16, 1.0, BitExpansion_LeftShiftBy0),
               ones = Build(8, 16, 1.0, BitExpansion_LeftShiftBy1), fixed = Build(8, 16, 1.0, BitExpansion_Fixed);
    EXPECT_EQ(gamma[255], 65535);
    EXPECT_EQ(zeros[255], 65280);
    EXPECT_EQ(ones[255], 65535);
    EXPECT_EQ(fixed[255], 255);
    EXPECT_EQ(zeros[1], 0x0100); // new low bits zero...
    EXPECT_EQ(ones[0], 0x00FF);  // ...or one
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(gamma[i], i * 257);
    // A mode above 3 (from the register) acts as LeftShiftBy0; gamma only acts in mode Gamma.
    EXPECT_EQ(Build(8, 16, 1.0, 7), zeros);
    EXPECT_EQ(Build(8, 16, 2.2, 0xFFFFFFFFu), zeros);
    // Mono10 -> Mono12 in Fixed keeps values at most 1023.
    const auto tenFixed = Build(10, 12, 1.0, BitExpansion_Fixed);
    for (unsigned i = 0; i < 1024; ++i) ASSERT_EQ(tenFixed[i], i);
    // Power curve at gamma 1 that is no multiple: 65535 / 4095 = 16.0037, rounded.
    const auto t12 = Build(12, 16, 1.0, BitExpansion_Gamma);
    EXPECT_EQ(t12[1], 16);
    EXPECT_EQ(t12[2048], 32776);
    // pow(128 / 255, 2.2) * 65535 + 0.5, computed independently.
    EXPECT_EQ(Build(8, 16, 2.2, BitExpansion_Gamma)[128], 14386);
}

TEST(BitConversionTable, ReductionTruncatesAtGammaOneAndFollowsTheCurveOtherwiseInEveryMode) {
    for (uint32_t mode : {0u, 1u, 2u, 3u, 9u}) {
        const auto t = Build(16, 8, 1.0, mode);
        EXPECT_EQ(t[0x01FF], 1);
        for (uint32_t i = 0; i < 65536; i += 97) ASSERT_EQ(t[i], i >> 8);
        // pow(i / 65535, 0.5) * 255 + 0.5, truncated: values computed independently.
        const auto c = Build(16, 8, 0.5, mode);
        EXPECT_EQ(c[1], 1);
        EXPECT_EQ(c[0x01FF], 23);
        EXPECT_EQ(c[0x4000], 128);
        EXPECT_EQ(c[0x8000], 180);
        EXPECT_EQ(c[0xFFFF], 255);
    }
}

TEST(BitConversionTable, ExtremeGammasStayInRangeAndBadDepthsAreRefused) {
    // Gamma reaches the table unchecked through the register: nothing may exceed D or trap.
    const double gammas[] = {0.0, -1.0, 1e-300, 1e300, std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
    for (double g : gammas)
        for (auto [s, d] : {std::pair{8u, 16u}, {16u, 8u}, {12u, 10u}, {1u, 8u}}) {
            const auto t = Build(s, d, g, BitExpansion_Gamma);
            for (uint16_t v : t) ASSERT_LE(v, (1u << d) - 1) << g << " " << s << "->" << d;
        }
    // A table of 2^32 entries must never be tried.
    using IA = GenICam::InvalidArgumentException;
    EXPECT_THROW(BitConversionTable::Create(32, 16, 1.0, 0), IA);
    EXPECT_THROW(BitConversionTable::Create(17, 8, 1.0, 0), IA);
    EXPECT_THROW(BitConversionTable::Create(0, 8, 1.0, 0), IA);
    EXPECT_THROW(BitConversionTable::Create(8, 17, 1.0, 0), IA);
    const std::vector<uint16_t> tooBig(256, 256); // entries must fit the destination depth
    EXPECT_THROW(BitConversionTable::CreateFromEntries(8, 8, tooBig.data()), IA);
    BitConversionTableCache cache;
    EXPECT_THROW(cache.Acquire(32, 8), IA);
    EXPECT_EQ(cache.Peek(), nullptr);
}

TEST(BitConversionTable, DefaultExpansionsAreComputedNotLookedUp) {
    // Growing depths from 8 bits up at gamma 1 run as arithmetic; the kernels' tests prove the
    // arithmetic equal to the entries.
    for (unsigned s = 8; s < 16; ++s)
        for (unsigned d = s + 1; d <= 16; ++d) {
            BitConversionTableRef t(BitConversionTable::Create(s, d, 1.0, BitExpansion_Gamma));
            EXPECT_NE(t->GetForm(), BitConversionTable::Form::Lookup) << s << "->" << d;
            EXPECT_EQ(t->Entries()[t->Size()], 0); // the spare entry behind the table
        }
    BitConversionTableRef curve(BitConversionTable::Create(16, 8, 0.5, BitExpansion_Gamma));
    EXPECT_EQ(curve->GetForm(), BitConversionTable::Form::Lookup);
}

TEST(BitConversionTableCache, ReusesTheTableByTheKeyRule) {
    BitConversionTableCache cache;
    BitConversionTableRef a(cache.Acquire(8, 16));
    EXPECT_EQ(a->RefCount(), 2u); // the cache's and ours
    {
        BitConversionTableRef again(cache.Acquire(8, 16));
        EXPECT_EQ(again.get(), a.get());
        EXPECT_EQ(a->RefCount(), 3u);
    }
    // The mode matters when the depth grows; our old reference outlives the replacement.
    cache.SetBitExpansionMode(BitExpansion_LeftShiftBy0);
    BitConversionTableRef c(cache.Acquire(8, 16));
    EXPECT_NE(c.get(), a.get());
    EXPECT_EQ(c->Entries()[255], 65280);
    EXPECT_EQ(a->RefCount(), 1u);
    EXPECT_EQ(a->Entries()[255], 65535);
    // It does not when the depth shrinks: the stored table is kept though the mode differs.
    BitConversionTableRef d(cache.Acquire(16, 8));
    cache.SetBitExpansionMode(BitExpansion_Fixed);
    BitConversionTableRef e(cache.Acquire(16, 8));
    EXPECT_EQ(d.get(), e.get());
    // Gamma is always part of the key.
    cache.SetGamma(0.5);
    BitConversionTableRef f(cache.Acquire(16, 8));
    EXPECT_NE(f.get(), d.get());
    EXPECT_EQ(f->Entries()[0x01FF], 23);
    // The holder acquires only for different depths.
    EXPECT_FALSE(BitConversionTableRef(cache, 12, 12));
    BitConversionTableRef moved(BitConversionTableRef(cache, 16, 8));
    EXPECT_EQ(moved.get(), f.get());
    // A NaN gamma (a register write stores what it is given) finds its table again: NaN == NaN is
    // false, so a key compared by value would build anew at every conversion.
    cache.SetGamma(std::nan(""));
    BitConversionTableRef n1(cache.Acquire(16, 8));
    BitConversionTableRef n2(cache.Acquire(16, 8));
    EXPECT_EQ(n1.get(), n2.get());
}

TEST(BitConversionTableCache, NoMemoryLeavesTheCacheEmptyAndUnlocked) {
    BitConversionTableCache cache;
    cache.Acquire(8, 12)->Release();
    ASSERT_NE(cache.Peek(), nullptr);
    g_failArrayNew = true;
    try {
        cache.Acquire(16, 8);
        g_failArrayNew = false;
        FAIL() << "no exception";
    } catch (const GenICam::BadAllocException& e) {
        g_failArrayNew = false;
        EXPECT_STREQ(e.GetDescription(), std::bad_alloc().what());
    }
    EXPECT_EQ(cache.Peek(), nullptr);
    // Another thread can take the lock and fill the cache again.
    auto other = std::async(std::launch::async, [&] { return BitConversionTableRef(cache, 16, 8)->Entries()[0x01FF]; });
    ASSERT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(other.get(), 1);
}

TEST(BitConversionTableCache, ConcurrentUsersAlwaysSeeTheTableTheyAskedFor) {
    BitConversionTableCache cache;
    auto worker = [&](unsigned s, unsigned d, uint32_t top) {
        for (int i = 0; i < 300; ++i) {
            BitConversionTableRef t(cache, s, d);
            if (t->Entries()[t->MaxIndex()] != top || t->SourceDepth() != s) return false;
        }
        return true;
    };
    auto a = std::async(std::launch::async, worker, 8u, 10u, 1023u);
    auto b = std::async(std::launch::async, worker, 10u, 8u, 255u);
    EXPECT_TRUE(a.get());
    EXPECT_TRUE(b.get());
}

} // namespace
