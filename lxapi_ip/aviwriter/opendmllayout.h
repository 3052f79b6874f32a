// The OpenDML (AVI 2.0) file layout behind CAVIFile20 (avifile20.h): a header block reserved at the
// start and written last, a super index of 65536 entries, a chain of RIFF segments ("AVI " first, then "AVIX") of at most 1 GiB or
// 4028 index entries, each with its standard index `ix00`, and an `idx1` in the first segment for older
// readers. Every write lies on 2048-byte boundaries, so that frames go from their buffers to the disk
// by direct I/O with no copy.
//
//   0          the header block H (RIFF, LIST hdrl, avih, LIST strl, strh, strf [, strn]), from the codec
//   H          indx, 0x100020 bytes
//   H+0x100020 LIST odml / dmlh, 268 bytes
//   then       JUNK up to 0x100FEC, where LIST movi, and the empty chunk "00dc" of 0 bytes, begin
//   0x101000   the first chunk
//
// Failures are errno values; 0 is success.
#pragma once

#include "directfile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lxavi {

// "abcd" as the little-endian 32-bit value that a RIFF file holds.
constexpr uint32_t FourCC(const char (&text)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(text[0])) | static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(text[3])) << 24;
}

// Offsets of the fields of the header block that the writer fills when the file is closed; the codec
// classes lay out the rest.
namespace header20 {
constexpr size_t RiffSize = 4;
constexpr size_t AvihTotalFrames = 48;
constexpr size_t AvihSuggestedBuffer = 60;
constexpr size_t StrhLength = 140;
constexpr size_t StrhSuggestedBuffer = 144;
constexpr size_t StrfImageSize = 192;
constexpr size_t MinimumSize = 212;
} // namespace header20

// What the header of a stream tells: geometry, rate and what the codec needs.
struct StreamFormat20 {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pitch = 0; // bytes per line of an uncompressed frame
    uint16_t bitCount = 24;
    uint32_t rate = 1; // frames per second = rate / scale
    uint32_t scale = 1;
    uint32_t maxFrames = 600; // the frame total in the header until the file is closed
    uint32_t quality = 75;
    const uint8_t* palette = nullptr; // 256 entries of B, G, R, 0 for 8 bits; grey when null
};

class COpenDMLWriter {
public:
    static constexpr uint64_t SuperIndexBytes = 0x100020;  // the indx chunk, header included
    static constexpr uint32_t SuperIndexEntries = 0x10000; // segments a file can have
    static constexpr uint64_t OdmlListBytes = 268;
    static constexpr uint64_t MoviListStart = 0x100FEC;
    static constexpr uint64_t DataStart = 0x101000;
    static constexpr uint64_t MaxSegmentBytes = 0x40000000;
    static constexpr uint32_t MaxSegmentEntries = 4028;
    static constexpr uint32_t MissingFrame = 0x80000000; // the size of an index entry of a lost frame
    static constexpr size_t RoomInFront = 8;              // the chunk header
    static constexpr size_t RoomBehind = 2056;            // the pad byte and the JUNK fill
    static constexpr uint64_t DefaultSizeLimit = 0x10000000000;

    // `chunkId` is "00db" for uncompressed frames, "00dc" for compressed ones.
    explicit COpenDMLWriter(uint32_t chunkId);
    ~COpenDMLWriter();
    COpenDMLWriter(const COpenDMLWriter&) = delete;
    COpenDMLWriter& operator=(const COpenDMLWriter&) = delete;

    // The header block as the codec lays it out; the fields of header20 are filled at close. Its
    // length must leave room for the super index and the odml list in front of 0x100FEC, and at least
    // header20::MinimumSize; false otherwise.
    bool SetHeader(std::vector<uint8_t> header);

    // Creates `name`. 0 or an errno. The size limit (SetSizeLimit) is the caller's, probed before.
    int Open(const std::string& name, bool allowDirect = true);
    bool IsOpen() const noexcept { return m_file.IsOpen(); }
    bool IsDirect() const noexcept { return m_file.IsDirect(); }

    // Writes the frame `frameIndex` (counted from 0 in this file, rising; the first chunk of a file has
    // the index 0), `size` bytes at `chunkData`, which has RoomInFront writable bytes in front and
    // RoomBehind behind, and which lies aligned to CAlignedBlock::Alignment less 8 for direct I/O. The
    // frames between the last index and this one are entered as lost. The block stays in use until
    // the next WriteChunk, WaitLastWrite or Close has returned. Returns the error of this or of the
    // previous write, or 0.
    int WriteChunk(uint8_t* chunkData, uint32_t size, uint32_t frameIndex);
    // Waits until the last chunk is written; returns the file's first failure, which also ends it as
    // a failed write in WriteChunk does.
    int WaitLastWrite() {
        if (const int error = m_file.Wait()) return Fail(error);
        return m_failure;
    }
    // Ends the open segment, writes the header through a second handle and closes. Returns the first
    // error; the file then holds what was written before it.
    int Close();

    // Whether a chunk of `frameBytes` would take the file past its size limit or the super index past
    // its last entry.
    bool IsFull(uint64_t frameBytes) const noexcept;
    // The size the file would have if it were closed now.
    uint64_t ProjectedSize() const noexcept { return m_projected; }
    uint64_t SizeLimit() const noexcept { return m_sizeLimit; }
    void SetSizeLimit(uint64_t limit) noexcept { m_sizeLimit = limit; }

    // The size of a file of `frames` chunks of `frameSize` bytes each.
    static uint64_t EstimateFileSize(uint64_t frameSize, uint64_t frames) noexcept;
    // The bytes a chunk of `size` takes in the file: header, data, pad byte and JUNK fill.
    static uint64_t ChunkBytes(uint64_t size) noexcept;

private:
    struct SuperEntry {
        uint64_t position;
        uint32_t size;
        uint32_t duration;
    };
    struct SegmentHeader {
        uint64_t position;
        uint64_t size;
        bool first;
    };

    // The state in front of a chunk, to which a failed write brings the file back.
    struct Snapshot {
        uint64_t position;
        uint64_t segmentBytes;
        size_t entries;
        size_t segments;
        uint32_t lastIndex;
        bool segmentBegun;
    };

    Snapshot Take() const noexcept;
    // Records the first failure and forgets what was written since the snapshot: the file ends
    // in front of the write that failed.
    int Fail(int error) noexcept;
    int BeginSegment();
    int AddEntry(uint32_t offset, uint32_t size);
    int CloseSegment();
    int WriteHeaders();
    void UpdateProjectedSize() noexcept;
    static uint64_t Idx1Bytes(uint64_t entries) noexcept;

    uint32_t m_chunkId;
    std::vector<uint8_t> m_header;
    std::string m_name;
    CDirectFile m_file;
    uint64_t m_sizeLimit = DefaultSizeLimit;

    bool m_started = false;      // a chunk was written to this file
    bool m_firstSegment = true;  // the open segment is the RIFF "AVI " one
    bool m_segmentBegun = false; // the open segment has its head in the file
    uint64_t m_position = 0;     // where the next write goes
    uint64_t m_base = 0;         // the data start of the open segment
    uint64_t m_segmentBytes = 0; // bytes of the open segment from its base up to m_position
    uint64_t m_projected = 0;
    uint32_t m_lastIndex = 0;
    uint32_t m_largestChunk = 0;
    uint64_t m_riffSize = 0;         // of the first segment
    uint32_t m_firstSegmentFrames = 0;
    std::vector<uint32_t> m_entries; // offset, size pairs of the open segment
    std::vector<SuperEntry> m_super;
    std::vector<SegmentHeader> m_segments;
    Snapshot m_snapshot{};
    int m_failure = 0; // the first failed write of this file
    bool m_failureTold = false; // WriteChunk has answered it
    int Told(int error) noexcept {
        m_failureTold = true;
        return error;
    }

    CAlignedBlock m_indexBlock; // ix00 with its fill
    CAlignedBlock m_idx1Block;
    CAlignedBlock m_fillBlock;  // the gap in front of a later segment's first chunk
};

} // namespace lxavi
