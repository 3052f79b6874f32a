// Pixel format and pixel component facts: process-wide objects over the constant format table.
#include "pixelformattable.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace lxtl {
namespace {

class CLxPixelFormatInfo final : public ILxPixelFormatInfoInside {
public:
    CLxPixelFormatInfo() = default;
    explicit CLxPixelFormatInfo(const FormatRecord* r) : m_r(r) {}
    ~CLxPixelFormatInfo() override = default;

    uint32_t GetPixelFormat() override { return m_r->code; }
    GenICam::gcstring GetName() override { return m_r->name; }
    size_t GetPixelBits() override { return m_r->pixelBits; }
    size_t GetStorageBits() override { return m_r->storageBits; }
    bool IsPacked() override { return m_r->packing != LxPacking_None; }
    size_t GetComponentBits() override { return m_r->depth; }
    size_t GetComponentCount() override { return m_r->components; }
    size_t GetPlaneCount() override { return m_r->planes; }
    bool IsPlanar() override { return m_r->planes > 1; }
    bool IsYCbCr() override { return m_r->ycbcr; }
    bool IsColor() override { return m_r->color; }
    bool IsMono() override { return m_r->mono; }
    bool IsBayer() override { return m_r->bayer; }
    bool HasAlpha() override { return m_r->alpha; }
    uint32_t GetPixelComponent(size_t x, size_t y) override { return ComponentAt(*m_r, x, y); }

    size_t GetDepth() override { return m_r->depth; }
    bool IsBlueFirst() override { return m_r->blueFirst; }
    bool IsPolarized() override { return m_r->polarized; }
    uint32_t GetPolarizerLayout() override { return m_r->layout; }
    ELxPackingKind_t GetPackingKind() override { return m_r->packing; }
    size_t GetLineBytes(size_t width) override { return LineBytes(*m_r, width); }
    uint32_t GetColorFilter() override { return m_r->filter; }

    const FormatRecord& Record() const { return *m_r; }

private:
    const FormatRecord* m_r = nullptr;
};

// One info object per record, and the codes in ascending order for a binary search.
struct FormatIndex {
    static constexpr size_t N = 180;
    std::array<CLxPixelFormatInfo, N> infos;
    std::array<uint32_t, N> codes{};
    std::array<uint16_t, N> order{}; // order[i]: the record of the i-th smallest code

    FormatIndex() {
        const auto table = FormatTable();
        for (size_t i = 0; i < N; ++i) {
            infos[i] = CLxPixelFormatInfo(&table[i]);
            order[i] = static_cast<uint16_t>(i);
        }
        std::sort(order.begin(), order.end(), [&](uint16_t a, uint16_t b) { return table[a].code < table[b].code; });
        for (size_t i = 0; i < N; ++i) codes[i] = table[order[i]].code;
    }

    CLxPixelFormatInfo* Find(uint32_t code) {
        const auto it = std::lower_bound(codes.begin(), codes.end(), code);
        if (it == codes.end() || *it != code) return nullptr;
        return &infos[order[static_cast<size_t>(it - codes.begin())]];
    }
};

FormatIndex& Index() {
    static FormatIndex index; // built once, thread-safe, lives until process exit
    return index;
}

// Component ids: (colour << 24) | (bits << 16) | polarization. Names follow the component
// enumeration of the measuring modules: colour, bits, and an angle suffix, e.g. "Mono8",
// "R10_POL_045", "Gb12_POL_135".
constexpr const char* kColourNames[] = {"Mono", "R", "G", "B", "Gr", "Gb", "Y", "Cb", "Cr", "U", "V"};
constexpr const char* kPolarizationSuffix[] = {"", "_POL_000", "_POL_045", "_POL_090", "_POL_135"};
constexpr unsigned kColours = 11, kMaxBits = 32, kPolarizations = 5;

class CLxPixelComponentInfo final : public ILxPixelComponentInfo {
public:
    CLxPixelComponentInfo() = default;
    ~CLxPixelComponentInfo() override = default;
    void Set(uint32_t id) { m_id = id; }

    uint32_t GetPixelComponent() override { return m_id; }
    GenICam::gcstring GetName() override {
        char text[32];
        std::snprintf(text, sizeof text, "%s%u%s", kColourNames[(m_id >> 24) - 1], GetBitsOf(m_id),
                      kPolarizationSuffix[m_id & 0xFFFFu]);
        return text;
    }
    size_t GetBits() override { return GetBitsOf(m_id); }

    static unsigned GetBitsOf(uint32_t id) { return (id >> 16) & 0xFFu; }

private:
    uint32_t m_id = 0;
};

// Every valid id has its object: 11 colours x 32 depths x 5 polarizations, 1760 small objects.
struct ComponentIndex {
    std::array<CLxPixelComponentInfo, kColours * kMaxBits * kPolarizations> infos;
    ComponentIndex() {
        for (uint32_t c = 1; c <= kColours; ++c)
            for (uint32_t b = 1; b <= kMaxBits; ++b)
                for (uint32_t p = 0; p < kPolarizations; ++p) infos[Slot(c, b, p)].Set(c << 24 | b << 16 | p);
    }
    static size_t Slot(uint32_t c, uint32_t b, uint32_t p) {
        return ((c - 1) * kMaxBits + (b - 1)) * kPolarizations + p;
    }
};

CLxPixelFormatInfo& Lookup(uint32_t code) {
    if (CLxPixelFormatInfo* info = Index().Find(code)) return *info;
    throw INVALID_ARGUMENT_EXCEPTION("Not supported pixelformat 0x%08X", static_cast<unsigned>(code));
}

} // namespace

const FormatRecord& FindFormat(uint32_t code) { return Lookup(code).Record(); }

} // namespace lxtl

ILxPixelFormatInfo* GetILxPixelFormatInfo(uint32_t pixelFormat) { return &lxtl::Lookup(pixelFormat); }

ILxPixelComponentInfo* GetILxPixelComponentInfo(uint32_t component) {
    using namespace lxtl;
    const uint32_t c = component >> 24, b = (component >> 16) & 0xFFu, p = component & 0xFFFFu;
    if (c < 1 || c > kColours || b < 1 || b > kMaxBits || p >= kPolarizations)
        throw INVALID_ARGUMENT_EXCEPTION("Pixel component 0x%08X is unknown", static_cast<unsigned>(component));
    static ComponentIndex index;
    return &index.infos[ComponentIndex::Slot(c, b, p)];
}
