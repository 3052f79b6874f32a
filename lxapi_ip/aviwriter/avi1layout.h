// The AVI 1.0 layout shared by the uncompressed and the Motion JPEG writer: the header block in front
// of the movi list, the list of chunk sizes that becomes idx1, and the completion of a file at closing.
#pragma once

#include "avifile.h"

#include <cstdint>
#include <vector>

namespace lxavi {

struct AVI1Header {
    bool motionJpeg = false;       // 2048-byte MJPG header, else 4096-byte DIB header
    uint32_t width = 0, height = 0;
    uint32_t rate = 1, scale = 1;
    uint32_t maxBytesPerSecond = 0;
    uint32_t frames = 0;           // frames in the index (strh length, avih total frames)
    uint32_t largestChunk = 0;
    uint32_t quality = 0;          // strh quality
    const uint8_t* info = nullptr; // BITMAPINFOHEADER and palette, for the DIB header
    uint32_t infoLength = 40;
    uint32_t riffSize = 0;
    uint32_t moviSize = 0;
};

// Where the first chunk of each layout lies.
constexpr uint64_t MotionJpegDataStart = 2048;
constexpr uint64_t UncompressedDataStart = 4096;

// Fills `block` (2048 or 4096 bytes, as the layout) with the header.
std::vector<uint8_t> BuildAVI1Header(const AVI1Header& h);

// The chunks of the movi list, in order: the index and the totals come from it.
class CChunkList {
public:
    void Clear() { m_sizes.clear(); }
    void Add(uint32_t size) { m_sizes.push_back(size); }
    size_t Count() const { return m_sizes.size(); }
    uint32_t Largest() const;
    // The idx1 chunk, every entry with `chunkId`, the key frame flag and its offset from the "movi" word;
    // `moviSize` receives the size of the movi list.
    std::vector<uint8_t> BuildIndex(uint32_t chunkId, uint32_t* moviSize) const;

private:
    std::vector<uint32_t> m_sizes;
};

// Writes idx1 at `position`, cuts the file behind it, writes the header at 0 and closes the file.
// Answers 0 or the first errno.
uint32_t CompleteAVI1File(CFileContext& context, uint64_t position, const CChunkList& chunks, uint32_t chunkId,
                          AVI1Header header);

} // namespace lxavi
