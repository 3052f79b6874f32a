// The portable forms of the lookup kernels, and the choice among the forms.
#include "lookupkernels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

namespace lxlookup {
namespace detail {
namespace {

// Lanes without a table go through the identity, so that the loop has no branch on the lane.
constexpr std::array<uint8_t, kByteTableSize> kIdentity = [] {
    std::array<uint8_t, kByteTableSize> t{};
    for (size_t i = 0; i < t.size(); ++i) t[i] = static_cast<uint8_t>(i);
    return t;
}();

template <size_t P>
void ByteLine(uint8_t* s, size_t count, const uint8_t* const* t) {
    const uint8_t* lane[P];
    for (size_t c = 0; c < P; ++c) lane[c] = t[c] ? t[c] : kIdentity.data();
    size_t i = 0;
    for (; i + P <= count; i += P, s += P)
        for (size_t c = 0; c < P; ++c) s[c] = lane[c][s[c]];
    for (size_t c = 0; i < count; ++i, ++c) s[c] = lane[c][s[c]];
}

// Words through memcpy: lines of word samples may start at odd addresses; the copies compile to
// plain loads and stores.
template <size_t P>
void WordLine(uint8_t* s, size_t count, const uint16_t* const* t) {
    auto map = [](uint8_t* p, const uint16_t* table) {
        uint16_t v;
        std::memcpy(&v, p, 2);
        v = table[v];
        std::memcpy(p, &v, 2);
    };
    size_t i = 0;
    for (; i + P <= count; i += P, s += 2 * P)
        for (size_t c = 0; c < P; ++c)
            if (t[c]) map(s + 2 * c, t[c]);
    for (size_t c = 0; i < count; ++i, ++c)
        if (t[c]) map(s + 2 * c, t[c]);
}

template <class Entry, class Line>
void Rows(const LookupImage<Entry>& image, Line line) {
    for (size_t y = 0; y < image.height; ++y) line(image.base + y * image.pitch, image.rows[y & 1]);
}

template <class F>
void ByPeriod(uint32_t period, F&& f) {
    switch (period) {
    case 1: f(std::integral_constant<size_t, 1>()); break;
    case 2: f(std::integral_constant<size_t, 2>()); break;
    case 3: f(std::integral_constant<size_t, 3>()); break;
    case 4: f(std::integral_constant<size_t, 4>()); break;
    case 5: f(std::integral_constant<size_t, 5>()); break;
    case 6: f(std::integral_constant<size_t, 6>()); break;
    default: break;
    }
}

} // namespace

void PortableBytes(const ByteImage& image) {
    Rows(image, [&](uint8_t* line, const ByteLanes& lanes) {
        ByPeriod(lanes.period, [&](auto p) { ByteLine<decltype(p)::value>(line, image.count, lanes.table); });
    });
}

void PortableWords(const WordImage& image) {
    Rows(image, [&](uint8_t* line, const WordLanes& lanes) {
        ByPeriod(lanes.period, [&](auto p) { WordLine<decltype(p)::value>(line, image.count, lanes.table); });
    });
}

namespace {
constexpr LookupKernels kPortable = {PortableBytes, PortableWords};

const lxcpu::KernelForms<LookupKernels>& Forms() noexcept {
    static const lxcpu::KernelForms<LookupKernels> forms(&kPortable, nullptr, Avx512Kernels());
    return forms;
}
} // namespace

} // namespace detail

void MapBytes(const ByteImage& image) {
    if (image.count && image.height) detail::Forms().Get().bytes(image);
}

void MapWords(const WordImage& image) {
    if (image.count && image.height) detail::Forms().Get().words(image);
}

void NarrowTable(const uint16_t* entries, uint8_t* bytes) noexcept {
    for (size_t i = 0; i < kByteTableSize; ++i) bytes[i] = static_cast<uint8_t>(entries[i]);
}

void ExtendWordTable(uint16_t* entries, size_t count) noexcept {
    std::fill(entries + count, entries + kWordTableSize, entries[count - 1]);
}

lxcpu::Level KernelLevel() noexcept { return detail::Forms().InUse(); }
lxcpu::Level KernelLevelAt(lxcpu::Level allowed) noexcept { return detail::Forms().LevelAt(allowed); }

} // namespace lxlookup
