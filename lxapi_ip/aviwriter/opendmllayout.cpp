#include "opendmllayout.h"

#include "../stillimage/lxfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lxavi {

using lxfile::StoreLE16;
using lxfile::StoreLE32;
using lxfile::StoreLE64;

namespace {

constexpr uint64_t kGranule = CDirectFile::Granule;
constexpr uint64_t kFirstSegmentHeader = 20; // LIST, size, movi, and the empty chunk 00dc
constexpr uint64_t kLaterSegmentHeader = 32; // RIFF, size, AVIX in front of those
constexpr uint32_t kKeyFrame = 16;           // AVIIF_KEYFRAME of idx1
constexpr uint32_t kEmptyChunk = FourCC("00dc"); // a lost frame in idx1
// The chunk of no bytes in front of the first chunk of every movi list. A stream chunk ("00dc") of
// no bytes there would count as a frame for readers that walk the list (ffmpeg does), and would
// shift every frame behind it by one frame time in each segment; a JUNK chunk is passed over.
constexpr uint32_t kLeadChunk = FourCC("JUNK");

constexpr uint64_t RoundUp(uint64_t value) { return (value + kGranule - 1) / kGranule * kGranule; }

// The standard index of `entries` entries with its header.
constexpr uint64_t StandardIndexBytes(uint64_t entries) { return 32 + 8 * entries; }

// A JUNK chunk of `bytes` (at least 8) at `at`, its body zero.
void PutJunk(uint8_t* at, uint64_t bytes) {
    StoreLE32(at, FourCC("JUNK"));
    StoreLE32(at + 4, static_cast<uint32_t>(bytes - 8));
    std::memset(at + 8, 0, bytes - 8);
}

// Writes all of `size` bytes at `position` through a plain descriptor.
int WriteAt(int fd, const uint8_t* data, size_t size, uint64_t position) {
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pwrite(fd, data + done, size - done, static_cast<off_t>(position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) return ENOSPC;
        done += static_cast<size_t>(n);
    }
    return 0;
}

} // namespace

COpenDMLWriter::COpenDMLWriter(uint32_t chunkId)
    : m_chunkId(chunkId), m_indexBlock(RoundUp(StandardIndexBytes(MaxSegmentEntries))),
      m_idx1Block(Idx1Bytes(MaxSegmentEntries)), m_fillBlock(kGranule) {
    m_entries.reserve(2 * MaxSegmentEntries);
}

COpenDMLWriter::~COpenDMLWriter() { Close(); }

bool COpenDMLWriter::SetHeader(std::vector<uint8_t> header) {
    if (header.size() < header20::MinimumSize || header.size() + SuperIndexBytes + OdmlListBytes + 8 > MoviListStart)
        return false;
    m_header = std::move(header);
    return true;
}

uint64_t COpenDMLWriter::ChunkBytes(uint64_t size) noexcept {
    const uint64_t used = 8 + size + (size & 1);
    uint64_t fill = RoundUp(used) - used;
    if (fill != 0 && fill < 8) fill += kGranule; // a JUNK chunk needs its 8-byte header
    return used + fill;
}

uint64_t COpenDMLWriter::Idx1Bytes(uint64_t entries) noexcept {
    // The header and one pseudo-entry "7Fxx" (24 bytes), the empty chunk in front of the first
    // frame and one entry per frame (16 bytes each), 8 bytes of zero at the end.
    return RoundUp(24 + 16 * (entries + 1) + 8);
}

uint64_t COpenDMLWriter::EstimateFileSize(uint64_t frameSize, uint64_t frames) noexcept {
    // The segments as WriteChunk cuts them: a segment closes once the next chunk of this size would
    // take it past 1 GiB, or at MaxSegmentEntries entries; later segments start with their header and
    // a fill to the next 2048 boundary.
    const uint64_t chunk = ChunkBytes(frameSize);
    uint64_t total = DataStart;
    bool first = true;
    while (frames > 0) {
        uint64_t segmentBytes = 0;
        if (!first) {
            total += kGranule;
            segmentBytes = kGranule - kLaterSegmentHeader;
        }
        uint64_t chunks = MaxSegmentBytes > segmentBytes ? (MaxSegmentBytes - segmentBytes) / chunk : 0;
        chunks = std::min<uint64_t>({std::max<uint64_t>(chunks, 1), MaxSegmentEntries, frames});
        total += chunks * chunk + RoundUp(StandardIndexBytes(chunks));
        if (first) total += Idx1Bytes(chunks);
        frames -= chunks;
        first = false;
    }
    return total;
}

int COpenDMLWriter::Open(const std::string& name, bool allowDirect) {
    if (int error = Close()) (void)error; // an earlier file's failure belongs to that file
    if (m_header.empty()) return EINVAL;
    const int error = m_file.Open(name, allowDirect, DataStart);
    if (error) return error;
    m_name = name;
    m_started = false;
    m_projected = DataStart;
    return 0;
}

int COpenDMLWriter::BeginSegment() {
    // The block in flight may be the fill block of the segment before.
    int error = m_file.Wait();
    m_position += kLaterSegmentHeader;
    m_base = m_position;
    uint64_t fill = RoundUp(m_position) - m_position;
    if (fill < 8) fill += kGranule;
    // The segment header's place stays zero until the header is written at close.
    uint8_t* block = m_fillBlock.Data();
    std::memset(block, 0, kLaterSegmentHeader);
    PutJunk(block + kLaterSegmentHeader, fill);
    const int started = m_file.Start(block, kLaterSegmentHeader + fill, m_position - kLaterSegmentHeader);
    if (!error) error = started;
    m_position += fill;
    m_segmentBytes = fill;
    m_segmentBegun = true;
    return error;
}

int COpenDMLWriter::AddEntry(uint32_t offset, uint32_t size) {
    m_entries.push_back(offset);
    m_entries.push_back(size);
    return 0;
}

int COpenDMLWriter::WriteChunk(uint8_t* chunkData, uint32_t size, uint32_t frameIndex) {
    if (!m_file.IsOpen()) return EBADF;
    // The size field of an index entry keeps its top bit for the key-frame mark, and a chunk must fit
    // in a segment.
    if (size >= MaxSegmentBytes - 2 * kGranule) return EFBIG;
    int error = 0;
    auto keep = [&error](int e) {
        if (e && !error) error = e;
    };
    if (m_failure) return Told(m_failure);
    // Everything before this chunk is on disk once the last write has ended well.
    if (const int error = m_file.Wait()) return Told(Fail(error));
    m_snapshot = Take();
    const bool fresh = !m_started;
    if (fresh) {
        m_started = true;
        m_segmentBegun = true;
        m_firstSegment = true;
        m_position = m_base = DataStart;
        m_segmentBytes = 0;
        m_entries.clear();
        m_super.clear();
        m_segments.clear();
        m_lastIndex = 0;
        m_largestChunk = 0;
        m_riffSize = 0;
        m_firstSegmentFrames = 0;
        m_snapshot = Take();
    } else if (frameIndex <= m_lastIndex) {
        return EINVAL; // indices rise within a file
    }
    const uint64_t nextIndex = fresh ? 0 : uint64_t{m_lastIndex} + 1;
    m_largestChunk = std::max(m_largestChunk, size);

    // Each entry, a lost frame's included, must find room in the open segment's standard index.
    auto makeRoom = [&]() {
        if (!m_segmentBegun) keep(BeginSegment());
        if (m_entries.size() / 2 == MaxSegmentEntries) {
            keep(CloseSegment());
            keep(BeginSegment());
        }
    };
    for (uint64_t lost = nextIndex; lost < frameIndex; ++lost) {
        makeRoom();
        AddEntry(0, MissingFrame);
    }
    makeRoom();

    // Chunk header in front, the pad byte "0" behind an odd size, then JUNK up to the next 2048.
    uint8_t* block = chunkData - RoomInFront;
    StoreLE32(block, m_chunkId);
    StoreLE32(block + 4, size);
    uint64_t used = 8 + uint64_t{size};
    if (size & 1) block[used++] = '0';
    const uint64_t bytes = ChunkBytes(size);
    if (bytes > used) PutJunk(block + used, bytes - used);
    AddEntry(static_cast<uint32_t>(m_segmentBytes + 8), size);

    if (error) return Told(Fail(error));
    // An error here is that of a fill or index write in front of this chunk.
    if (const int started = m_file.Start(block, bytes, m_position)) return Told(Fail(started));
    m_position += bytes;
    m_segmentBytes += bytes;
    m_lastIndex = frameIndex;
    UpdateProjectedSize();
    if (m_segmentBytes + bytes > MaxSegmentBytes || m_entries.size() / 2 >= MaxSegmentEntries) keep(CloseSegment());
    return error;
}

COpenDMLWriter::Snapshot COpenDMLWriter::Take() const noexcept {
    return {m_position, m_segmentBytes, m_entries.size(), m_segments.size(), m_lastIndex, m_segmentBegun};
}

int COpenDMLWriter::Fail(int error) noexcept {
    if (m_failure) return m_failure;
    m_failure = error;
    // Within the segment of the snapshot the chunks since are dropped; a segment begun or closed
    // since keeps its state, and its index may name chunks that are not there.
    if (m_snapshot.segments == m_segments.size() && m_snapshot.entries <= m_entries.size()) {
        m_position = m_snapshot.position;
        m_segmentBytes = m_snapshot.segmentBytes;
        m_entries.resize(m_snapshot.entries);
        m_lastIndex = m_snapshot.lastIndex;
        m_segmentBegun = m_snapshot.segmentBegun;
        UpdateProjectedSize();
    }
    return error;
}

int COpenDMLWriter::CloseSegment() {
    m_segmentBegun = false;
    if (m_entries.empty()) {
        m_firstSegment = false;
        return 0;
    }
    if (m_super.size() >= SuperIndexEntries) return EFBIG;
    // The last chunk must be on disk before the index names it.
    int error = m_file.Wait();
    if (error) {
        Fail(error);
        if (m_entries.empty()) return error;
    }
    const uint32_t count = static_cast<uint32_t>(m_entries.size() / 2);
    auto keep = [&error](int e) {
        if (e && !error) error = e;
    };

    const uint64_t indexBytes = StandardIndexBytes(count);
    const uint64_t padded = RoundUp(indexBytes);
    uint8_t* ix = m_indexBlock.Data();
    StoreLE32(ix, FourCC("ix00"));
    StoreLE32(ix + 4, static_cast<uint32_t>(indexBytes - 8));
    StoreLE16(ix + 8, 2); // longs per entry
    ix[10] = 0;           // sub type
    ix[11] = 1;           // AVI_INDEX_OF_CHUNKS
    StoreLE32(ix + 12, count);
    StoreLE32(ix + 16, m_chunkId);
    StoreLE64(ix + 20, m_base);
    StoreLE32(ix + 28, 0);
    for (size_t i = 0; i < m_entries.size(); ++i) StoreLE32(ix + 32 + 4 * i, m_entries[i]);
    if (padded > indexBytes) PutJunk(ix + indexBytes, padded - indexBytes);
    m_super.push_back({m_position, static_cast<uint32_t>(indexBytes), count});
    keep(m_file.Start(ix, padded, m_position));
    m_position += padded;
    const uint64_t segmentSize = m_position - m_base + 4;

    if (m_firstSegment) {
        // idx1 behind the first segment, for readers that know no OpenDML index. Offsets are file
        // positions of the chunk headers; a lost frame points at the last frame before it.
        const uint64_t length = Idx1Bytes(count);
        uint8_t* idx = m_idx1Block.Data();
        std::memset(idx, 0, length);
        StoreLE32(idx, FourCC("idx1"));
        StoreLE32(idx + 4, static_cast<uint32_t>(length - 8));
        StoreLE32(idx + 8, FourCC("7Fxx"));
        StoreLE32(idx + 16, 32768);
        uint8_t* entry = idx + 24;
        uint32_t remembered = static_cast<uint32_t>(m_base - 8);
        StoreLE32(entry, kLeadChunk);
        StoreLE32(entry + 8, remembered);
        entry += 16;
        for (uint32_t i = 0; i < count; ++i, entry += 16) {
            const uint32_t offset = m_entries[2 * i], size = m_entries[2 * i + 1];
            if (size != MissingFrame) {
                remembered = static_cast<uint32_t>(m_base - 8 + offset);
                StoreLE32(entry, m_chunkId);
                StoreLE32(entry + 4, kKeyFrame);
                StoreLE32(entry + 8, remembered);
                StoreLE32(entry + 12, size);
            } else {
                StoreLE32(entry, kEmptyChunk);
                StoreLE32(entry + 8, remembered);
            }
        }
        for (; entry + 16 <= idx + length - 8; entry += 16) StoreLE32(entry, FourCC("7Fxx"));
        keep(m_file.Start(idx, length, m_position));
        keep(m_file.Wait());
        m_position += length;
        m_riffSize = m_position - 8;
        m_firstSegmentFrames = count;
    }
    m_segments.push_back({m_base - (m_firstSegment ? kFirstSegmentHeader : kLaterSegmentHeader), segmentSize, m_firstSegment});
    m_entries.clear();
    m_firstSegment = false;
    m_segmentBytes = 0;
    UpdateProjectedSize();
    return error;
}

void COpenDMLWriter::UpdateProjectedSize() noexcept {
    const uint64_t count = m_entries.size() / 2;
    m_projected = m_position;
    if (count) m_projected += RoundUp(StandardIndexBytes(count));
    if (m_firstSegment) m_projected += Idx1Bytes(count);
}

bool COpenDMLWriter::IsFull(uint64_t frameBytes) const noexcept {
    // The open segment takes a super index entry, a new one would take another.
    if (m_super.size() + 2 > SuperIndexEntries) return true;
    // The next chunk, a new segment's head, and the growth of ix00 and idx1 across a boundary each.
    const uint64_t next = ChunkBytes(frameBytes) + 3 * kGranule;
    return m_sizeLimit < m_projected + next;
}

int COpenDMLWriter::Close() {
    if (!m_file.IsOpen()) return 0;
    // After a failure the index is still written, for the chunks in front of the failed write:
    // writes that fail now are reported, but the header goes out regardless.
    // A failure that WriteChunk has answered already is not answered again.
    int error = m_failureTold ? 0 : m_failure;
    const int closedSegment = m_started ? CloseSegment() : 0;
    if (!error && closedSegment != m_failure) error = closedSegment;
    if (!error && !m_failureTold) error = m_failure;
    const int closed = m_file.Close();
    if (!error) error = closed;
    const int headers = WriteHeaders();
    if (!error) error = headers;
    m_started = false;
    m_failure = 0;
    m_failureTold = false;
    m_entries.clear();
    return error;
}

int COpenDMLWriter::WriteHeaders() {
    // A second, plain handle: the header block is written once, at the end, and is not aligned.
    const int fd = ::open(m_name.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) return errno;
    const uint32_t total = m_started ? m_lastIndex + 1 : 0;
    const uint64_t headerBytes = m_header.size();
    std::vector<uint8_t> head(headerBytes + SuperIndexBytes + OdmlListBytes + 8, 0);
    std::memcpy(head.data(), m_header.data(), headerBytes);
    StoreLE32(head.data() + header20::RiffSize, static_cast<uint32_t>(m_segments.empty() ? DataStart - 8 : m_riffSize));
    StoreLE32(head.data() + header20::AvihTotalFrames, m_firstSegmentFrames);
    StoreLE32(head.data() + header20::AvihSuggestedBuffer, m_largestChunk + 8);
    StoreLE32(head.data() + header20::StrhLength, total);
    StoreLE32(head.data() + header20::StrhSuggestedBuffer, m_largestChunk + 8);
    StoreLE32(head.data() + header20::StrfImageSize, m_largestChunk);

    uint8_t* indx = head.data() + headerBytes;
    StoreLE32(indx, FourCC("indx"));
    StoreLE32(indx + 4, static_cast<uint32_t>(SuperIndexBytes - 8));
    StoreLE16(indx + 8, 4); // longs per entry
    indx[10] = 0;           // sub type
    indx[11] = 0;           // AVI_INDEX_OF_INDEXES
    StoreLE32(indx + 12, static_cast<uint32_t>(m_super.size()));
    StoreLE32(indx + 16, m_chunkId);
    for (size_t i = 0; i < m_super.size(); ++i) {
        uint8_t* entry = indx + 32 + 16 * i;
        StoreLE64(entry, m_super[i].position);
        StoreLE32(entry + 8, m_super[i].size);
        StoreLE32(entry + 12, m_super[i].duration);
    }
    uint8_t* odml = indx + SuperIndexBytes;
    StoreLE32(odml, FourCC("LIST"));
    StoreLE32(odml + 4, static_cast<uint32_t>(OdmlListBytes - 8));
    StoreLE32(odml + 8, FourCC("odml"));
    StoreLE32(odml + 12, FourCC("dmlh"));
    StoreLE32(odml + 16, static_cast<uint32_t>(OdmlListBytes - 20));
    StoreLE32(odml + 20, total);
    uint8_t* junk = odml + OdmlListBytes;
    StoreLE32(junk, FourCC("JUNK"));
    StoreLE32(junk + 4, static_cast<uint32_t>(MoviListStart - (headerBytes + SuperIndexBytes + OdmlListBytes) - 8));
    int error = WriteAt(fd, head.data(), head.size(), 0);

    // A file without frames still gets its movi list, with the empty chunk alone.
    std::vector<SegmentHeader> segments = m_segments;
    if (segments.empty()) segments.push_back({MoviListStart, 4, true});
    for (const SegmentHeader& segment : segments) {
        uint8_t bytes[kLaterSegmentHeader] = {};
        uint8_t* at = bytes;
        if (!segment.first) {
            StoreLE32(at, FourCC("RIFF"));
            StoreLE32(at + 4, static_cast<uint32_t>(segment.size + 20));
            StoreLE32(at + 8, FourCC("AVIX"));
            at += 12;
        }
        StoreLE32(at, FourCC("LIST"));
        StoreLE32(at + 4, static_cast<uint32_t>(segment.size + 8));
        StoreLE32(at + 8, FourCC("movi"));
        StoreLE32(at + 12, kLeadChunk);
        const size_t length = static_cast<size_t>(at + 20 - bytes);
        const int written = WriteAt(fd, bytes, length, segment.position);
        if (written && !error) error = written;
    }
    // After a failure the file ends with its last index, not with the remains of the failed write.
    const uint64_t end = m_started ? m_position : DataStart;
    if (m_failure && ::ftruncate(fd, static_cast<off_t>(end)) != 0 && !error) error = errno;
    if (::close(fd) != 0 && !error) error = errno;
    return error;
}

} // namespace lxavi
