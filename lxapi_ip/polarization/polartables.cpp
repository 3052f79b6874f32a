#include "polartables.h"
#include "polarkernels.h"

#include <GenApi/Synch.h>

#include "support/lxhugepages.h"

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <numbers>

namespace lxpol {

double ReducedAngle(double theta) {
    if (!std::isfinite(theta)) return 0.0;
    theta = std::fmod(theta, 180.0);
    if (theta < 0.0) theta += 180.0;
    return theta >= 180.0 ? 0.0 : theta;
}

void AngleWeights(double theta, double weights[4]) {
    theta = ReducedAngle(theta);
    for (int k = 0; k < 4; ++k) weights[k] = 0.0;
    if (theta == 0.0 || theta == 45.0 || theta == 90.0 || theta == 135.0) {
        weights[int(theta / 45.0)] = 1.0;
        return;
    }
    // The cubic Lagrange weights on the four angles 45 (i - 1) .. 45 (i + 2), each standing for the
    // slot of its angle modulo 180.
    const int i = int(std::floor(theta / 45.0));
    double angles[4];
    for (int j = 0; j < 4; ++j) angles[j] = 45.0 * (i - 1 + j);
    for (int j = 0; j < 4; ++j) {
        double w = 1.0;
        for (int k = 0; k < 4; ++k)
            if (k != j) w *= (theta - angles[k]) / (angles[j] - angles[k]);
        weights[(i - 1 + j + 4) % 4] = w;
    }
}

PolarizerWeightTable* PolarizerWeightTable::Create(unsigned depth, double angle) {
    std::unique_ptr<PolarizerWeightTable, void (*)(PolarizerWeightTable*)> table(
        new PolarizerWeightTable(depth), [](PolarizerWeightTable* t) { t->Release(); });
    double w[4];
    AngleWeights(angle, w);
    const size_t n = size_t(1) << depth;
    for (unsigned k = 0; k < 4; ++k) {
        int32_t* out = table->Entries() + k * n;
        const double step = w[k] * 16384.0;
        double running = 0.0;
        for (size_t v = 0; v < n; ++v) {
            out[v] = int32_t(std::trunc(running));
            running += step;
        }
    }
    return table.release();
}

PolarizerWeightCache::Ref PolarizerWeightCache::Acquire(unsigned depth, double angle) {
    return m_tables.Acquire(Key{depth, angle}, [&] { return PolarizerWeightTable::Create(depth, angle); });
}

uint32_t StokesMagnitude(unsigned depth, int32_t x, int32_t y) {
    const double m = double((1u << depth) - 1);
    return uint32_t(std::trunc(std::sqrt(double(x) * x + double(y) * y) * 2.0 * m + 0.5));
}

uint32_t StokesAngle(unsigned depth, int32_t x, int32_t y) {
    if (x == 0 && y == 0) return 0;
    const double m = double((1u << depth) - 1);
    double t = std::atan2(double(y), double(x));
    if (t < 0) t += 2.0 * std::numbers::pi;
    return uint32_t(std::trunc(t * (m / (2.0 * std::numbers::pi)) + 0.5));
}

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
template <class T>
using TableArray = std::unique_ptr<T[], Free>;

// An array of n entries, not initialised. Arrays of a huge page or more are read at random, one entry per pixel:
// they start on a 2 MiB boundary and ask for large pages, so that the address translations of the
// whole table stay cached.
template <class T>
TableArray<T> AllocateTable(size_t n) {
    if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
    return TableArray<T>(static_cast<T*>(lxip::AllocateLargeBlock(n * sizeof(T), 64, lxip::HugePage)));
}

// The parts of one depth. The arrays and `built` (whose pointers tell which parts exist) are written
// under the lock only. A caller reads one of four views (nothing, magnitude, angle, both: bit 0 the magnitude, bit 1 the angle), each filled once,
// before its flag is set, and never written again: a caller of one part never reads a field that a
// later build of the other part writes.
struct StokesStore {
    TableArray<uint32_t> magnitude;
    TableArray<uint64_t> divisionMul;
    TableArray<uint8_t> divisionShift;
    TableArray<uint16_t> angle;
    StokesTables built;
    StokesTables views[4];
    std::atomic<bool> published[4] = {false, false, false, false};
};

void BuildMagnitude(StokesStore& store, unsigned depth) {
    const uint32_t n = 1u << depth, m = n - 1;
    auto magnitude = AllocateTable<uint32_t>(StokesTables::MagnitudeIndex(n, n) + 1);
    for (uint32_t h = 0; h <= n; ++h)
        for (uint32_t l = 0; l <= h; ++l) magnitude[StokesTables::MagnitudeIndex(h, l)] = StokesMagnitude(depth, h, l);
    // floor(v / s) = (v * mul) >> shift for every v below 2^bits, with shift = bits + ceil(log2 s) and
    // mul = floor(2^shift / s) + 1: then 2^shift <= mul * s <= 2^shift + 2^ceil(log2 s).
    const unsigned bits = unsigned(std::bit_width(magnitude[StokesTables::MagnitudeIndex(n, n)]));
    const size_t sums = size_t(4) * m + 1;
    auto mul = AllocateTable<uint64_t>(sums);
    auto shift = AllocateTable<uint8_t>(sums);
    mul[0] = 0;
    shift[0] = 0;
    for (size_t s = 1; s < sums; ++s) {
        const unsigned l = unsigned(std::bit_width(s - 1));
        shift[s] = uint8_t(bits + l);
        mul[s] = (uint64_t(1) << (bits + l)) / s + 1;
    }
    store.magnitude = std::move(magnitude);
    store.divisionMul = std::move(mul);
    store.divisionShift = std::move(shift);
    store.built.magnitude = store.magnitude.get();
    store.built.divisionMul = store.divisionMul.get();
    store.built.divisionShift = store.divisionShift.get();
    store.built.divisionBits = bits;
}

void BuildAngle(StokesStore& store, unsigned depth) {
    const uint32_t n = 1u << depth;
    const double scale = double(n - 1) / (2.0 * std::numbers::pi);
    auto angle = AllocateTable<uint16_t>(size_t(n) * n + 1);
    for (uint32_t y = 0; y < n; ++y) {
        uint16_t* row = angle.get() + size_t(y) * n;
        for (uint32_t x = 0; x < n; ++x) {
            // The formula's own operations: t in [0, pi / 2] needs no turn added.
            const double u = (x == 0 && y == 0) ? 0.0 : std::atan2(double(y), double(x)) * scale;
            const double floor = std::trunc(u);
            row[x] = uint16_t(2 * uint32_t(floor) + (std::trunc(u + 0.5) > floor ? 1 : 0));
        }
    }
    angle[size_t(n) * n] = 0;
    store.angle = std::move(angle);
    store.built.angle = store.angle.get();
    store.built.angleOfPi = StokesAngle(depth, -1, 0);
}

} // namespace

const StokesTables& AcquireStokesTables(unsigned depth, bool magnitude, bool angle) {
    static GenApi::CLock lock;
    static StokesStore stores[3];
    if (depth != 8 && depth != 10 && depth != 12)
        throw INVALID_ARGUMENT_EXCEPTION("Stokes tables are made for 8, 10 and 12 bits, not %u.", depth);
    StokesStore& store = stores[(depth - 8) / 2];
    const unsigned which = (magnitude ? 1u : 0u) | (angle ? 2u : 0u);
    if (!store.published[which].load(std::memory_order_acquire)) {
        GenApi::AutoLock guard(lock);
        if (!store.published[which].load(std::memory_order_relaxed)) {
            store.built.depth = depth;
            if (magnitude && !store.built.magnitude) lxip::TranslateBadAlloc([&] { BuildMagnitude(store, depth); });
            if (angle && !store.built.angle) lxip::TranslateBadAlloc([&] { BuildAngle(store, depth); });
            StokesTables view = store.built;
            if (!magnitude) {
                view.magnitude = nullptr, view.divisionMul = nullptr, view.divisionShift = nullptr;
                view.divisionBits = 0;
            }
            if (!angle) view.angle = nullptr, view.angleOfPi = 0;
            store.views[which] = view;
            store.published[which].store(true, std::memory_order_release);
        }
    }
    return store.views[which];
}

} // namespace lxpol
