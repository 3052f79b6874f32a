#include "avi1layout.h"

#include <algorithm>
#include <cstring>

namespace lxavi {
namespace {

void PutId(uint8_t* p, const char (&id)[5]) { std::memcpy(p, id, 4); }

} // namespace

std::vector<uint8_t> BuildAVI1Header(const AVI1Header& h) {
    const bool mj = h.motionJpeg;
    const bool palette = !mj && h.infoLength > 40;
    std::vector<uint8_t> block(mj ? MotionJpegDataStart : UncompressedDataStart, 0);
    uint8_t* b = block.data();
    PutId(b + 0, "RIFF");
    Put32(b + 4, h.riffSize);
    PutId(b + 8, "AVI ");
    PutId(b + 12, "LIST");
    Put32(b + 16, mj ? 264 : (palette ? 1216 : 192));
    PutId(b + 20, "hdrl");
    PutId(b + 24, "avih");
    Put32(b + 28, 56);
    Put32(b + 32, static_cast<uint32_t>(static_cast<uint64_t>(h.scale) * 1000000 / h.rate));
    Put32(b + 36, h.maxBytesPerSecond);
    Put32(b + 40, 0);
    Put32(b + 44, mj ? 16 : 2064);
    Put32(b + 48, h.frames);
    Put32(b + 52, 0);
    Put32(b + 56, 1);
    Put32(b + 60, h.largestChunk);
    Put32(b + 64, h.width);
    Put32(b + 68, h.height);
    PutId(b + 88, "LIST");
    Put32(b + 92, mj ? 188 : (palette ? 1140 : 116));
    PutId(b + 96, "strl");
    PutId(b + 100, "strh");
    Put32(b + 104, 56);
    PutId(b + 108, "vids");
    PutId(b + 112, mj ? "MJPG" : "DIB ");
    Put32(b + 128, h.scale);
    Put32(b + 132, h.rate);
    Put32(b + 140, h.frames);
    Put32(b + 144, h.largestChunk);
    Put32(b + 148, h.quality);
    Put16(b + 160, static_cast<uint16_t>(h.width));
    Put16(b + 162, static_cast<uint16_t>(h.height));
    PutId(b + 164, "strf");
    if (mj) {
        Put32(b + 168, 40);
        Put32(b + 172, 40);
        Put32(b + 176, h.width);
        Put32(b + 180, h.height);
        Put32(b + 184, 0x00180001);
        PutId(b + 188, "MJPG");
        Put32(b + 192, h.width * h.height * 3);
        PutId(b + 212, "strn");
        Put32(b + 216, 64);
        std::memcpy(b + 220, "MJPG Out", 8);
        PutId(b + 284, "JUNK");
        Put32(b + 288, 1744);
    } else {
        Put32(b + 168, h.infoLength);
        std::memcpy(b + 172, h.info, h.infoLength);
        const uint32_t junk = 172 + h.infoLength;
        PutId(b + junk, "JUNK");
        Put32(b + junk + 4, static_cast<uint32_t>(UncompressedDataStart - 12 - junk - 8));
    }
    const size_t movi = block.size() - 12;
    PutId(b + movi, "LIST");
    Put32(b + movi + 4, h.moviSize);
    PutId(b + movi + 8, "movi");
    return block;
}

uint32_t CChunkList::Largest() const {
    return m_sizes.empty() ? 0 : *std::max_element(m_sizes.begin(), m_sizes.end());
}

std::vector<uint8_t> CChunkList::BuildIndex(uint32_t chunkId, uint32_t* moviSize) const {
    std::vector<uint8_t> index(8 + 16 * m_sizes.size());
    uint8_t* p = index.data();
    PutId(p, "idx1");
    Put32(p + 4, static_cast<uint32_t>(16 * m_sizes.size()));
    p += 8;
    uint32_t offset = 4;
    for (uint32_t size : m_sizes) {
        Put32(p, chunkId);
        Put32(p + 4, 16); // AVIIF_KEYFRAME: every frame stands alone
        Put32(p + 8, offset);
        Put32(p + 12, size);
        p += 16;
        offset += size + 8 + (size & 1);
    }
    *moviSize = offset;
    return index;
}

uint32_t CompleteAVI1File(CFileContext& context, uint64_t position, const CChunkList& chunks, uint32_t chunkId,
                          AVI1Header header) {
    if (!context.file.IsOpen()) return 0;
    uint32_t moviSize = 0;
    const std::vector<uint8_t> index = chunks.BuildIndex(chunkId, &moviSize);
    const uint64_t end = position + index.size();
    header.moviSize = moviSize;
    header.riffSize = static_cast<uint32_t>(end - 8);
    header.frames = static_cast<uint32_t>(chunks.Count());
    header.largestChunk = chunks.Largest();
    const std::vector<uint8_t> block = BuildAVI1Header(header);
    uint32_t result = static_cast<uint32_t>(context.file.WriteAt(position, index.data(), index.size()));
    // Whatever a failed frame left behind the index goes.
    if (!result) result = static_cast<uint32_t>(context.file.Truncate(end));
    if (!result) result = static_cast<uint32_t>(context.file.WriteAt(0, block.data(), block.size()));
    const uint32_t closed = static_cast<uint32_t>(context.file.Close());
    return result ? result : closed;
}

} // namespace lxavi
