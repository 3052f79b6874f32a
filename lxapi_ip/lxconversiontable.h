// The process-wide table of pixel format conversions: key (source, destination), value the member
// of CLxPixelFormatConverter that converts the pair. The registration list is generated from the
// format families; it holds direct conversions and chains through one intermediate format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class ILxImage;
class ILxImageBuffer;
class CLxPixelFormatConverter;

using ConversionHandler = void (CLxPixelFormatConverter::*)(ILxImage* source, ILxImageBuffer* destination,
                                                            bool reverse);

// The conversion members, the pixel work first and the five chains last.
enum class ConversionMember : uint8_t {
    Color8ToMono8, ColorNToMonoN, ColorNToMono8, Mono8ToPacked,
    Planar8ToColor8, Planar8ToColorN, PlanarNToColor8, PlanarNToColorN,
    Color8ToPlanar8, Color8ToPlanarN, ColorNToPlanar8, ColorNToPlanarN,
    Mono8ToPlanar8, Mono8ToPlanarN, MonoNToPlanar8, MonoNToPlanarN,
    Planar8ToPlanarN, PlanarNToPlanar8, PlanarNToPlanarN,
    Color8ToColorP, ColorNToColorP, ColorPToColor8, ColorPToColorN,
    Color8ToColor8, ColorNToColorN, ColorNToColor8, Color8ToColorN,
    Color8ToColor32, ColorNToColor32, Color32ToColor8, Color32ToColorN,
    Color8ToBayer8, ColorNToBayerN,
    UnpackedNToN, Unpacked8ToN, UnpackedNTo8,
    BitPackedToUnpacked, PackedToUnpacked, Unpacked8ToBitPacked,
    BayerToColor, Bayer8ToMono8, BayerNToMonoN,
    PolMono8ToMono8, PolMono8ToMono16, PolMonoNToMono8, PolMonoNToMonoN, PolMono8ToColor8, PolMonoNToColorN,
    PolBayer8ToMono8, PolBayer8ToMono16, PolBayerNToMono8, PolBayerNToMonoN, PolBayer8ToColor8, PolBayerNToColorN,
    Mono8ToColor8, Mono8ToColorN, MonoNToColorN,
    ToYCbCr, YCbCrToMono8OrColor8,
    ViaSourceFilter, ViaUnpacked, ViaBGRa, ViaBGRa8, ViaDestinationFilter,
    Count
};

constexpr bool IsChainMember(ConversionMember m) { return m >= ConversionMember::ViaSourceFilter; }

// The member functions of the converter, indexed by ConversionMember; null for a member this build
// does not implement. Defined with the converter's handlers.
extern const ConversionHandler g_conversionMemberHandlers[static_cast<size_t>(ConversionMember::Count)];
extern const ConversionHandler g_convertCopyHandler;

// Two codes, compared as signed 32-bit integers (the SDK's own codes from 0x80000000 up sort first),
// source before destination.
struct ConversionKey {
    uint32_t source;
    uint32_t destination;
    friend bool operator<(const ConversionKey& a, const ConversionKey& b) {
        const auto as = static_cast<int32_t>(a.source), bs = static_cast<int32_t>(b.source);
        if (as != bs) return as < bs;
        return static_cast<int32_t>(a.destination) < static_cast<int32_t>(b.destination);
    }
    friend bool operator==(const ConversionKey& a, const ConversionKey& b) {
        return a.source == b.source && a.destination == b.destination;
    }
};

struct ConversionRecord {
    ConversionKey key;
    ConversionMember member;
};

// The registration list in its order, generated from the family rules: every record, including the
// rows of members that this build does not implement, and the keys that stand twice.
const std::vector<ConversionRecord>& ConversionRegistry();

// The intermediate format a chain member goes through for (source, destination); the destination
// itself where the rules name none.
uint32_t IntermediateFormat(ConversionMember chain, uint32_t source, uint32_t destination);

// The map built from the registry: first record of a key wins; a key whose member this build does
// not implement, or a chain with a step that cannot be converted, is absent. Constant after load.
class ConversionMap {
public:
    static const ConversionMap& Instance();

    // ConvertCopy for equal formats, else the registered handler, else null.
    ConversionHandler Find(uint32_t source, uint32_t destination) const;
    // The member of a registered pair (equal formats excluded); false if the pair is absent.
    bool FindMember(uint32_t source, uint32_t destination, ConversionMember* member) const;
    size_t Size() const { return m_entries.size(); }

private:
    ConversionMap();
    struct Entry {
        ConversionKey key;
        ConversionMember member;
        ConversionHandler handler;
    };
    const Entry* Lookup(uint32_t source, uint32_t destination) const;
    std::vector<Entry> m_entries; // sorted by key
};

inline ConversionHandler FindConversion(uint32_t source, uint32_t destination) {
    return ConversionMap::Instance().Find(source, destination);
}
