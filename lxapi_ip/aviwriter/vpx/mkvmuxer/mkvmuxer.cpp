#include "mkvmuxer.h"

#include <cstring>
#include <limits>
#include <random>

namespace mkvmuxer {
namespace {

// Element ids, with their length markers, as they stand in the file.
enum : uint32_t {
    kEbml = 0x1A45DFA3, kEbmlVersion = 0x4286, kEbmlReadVersion = 0x42F7, kEbmlMaxIdLength = 0x42F2,
    kEbmlMaxSizeLength = 0x42F3, kDocType = 0x4282, kDocTypeVersion = 0x4287, kDocTypeReadVersion = 0x4285,
    kSegment = 0x18538067, kSeekHead = 0x114D9B74, kSeek = 0x4DBB, kSeekId = 0x53AB, kSeekPosition = 0x53AC,
    kInfo = 0x1549A966, kTimecodeScale = 0x2AD7B1, kDuration = 0x4489, kMuxingApp = 0x4D80, kWritingApp = 0x5741,
    kSegmentUid = 0x73A4, kTracks = 0x1654AE6B, kTrackEntry = 0xAE, kTrackNumber = 0xD7, kTrackUid = 0x73C5,
    kTrackType = 0x83, kCodecId = 0x86, kVideo = 0xE0, kPixelWidth = 0xB0, kPixelHeight = 0xBA,
    kDisplayWidth = 0x54B0, kDisplayHeight = 0x54BA, kCluster = 0x1F43B675, kTimecode = 0xE7,
    kSimpleBlock = 0xA3, kCues = 0x1C53BB6B, kCuePoint = 0xBB, kCueTime = 0xB3, kCueTrackPositions = 0xB7,
    kCueTrack = 0xF7, kCueClusterPosition = 0xF1, kVoid = 0xEC,
};

// The reserved block for the SeekHead: three entries of 21 bytes behind a 5-byte head, 68 bytes,
// and a Void over the rest.
constexpr size_t kSeekHeadBlock = 96;
constexpr uint64_t kUnknownSize = 0x01FFFFFFFFFFFFFFull;

using Bytes = std::vector<uint8_t>;

void PutId(Bytes& b, uint32_t id) {
    int n = id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1;
    while (n--) b.push_back(uint8_t(id >> (8 * n)));
}
// Size as the shortest variable-length integer; the all-ones value of a length is reserved.
void PutSize(Bytes& b, uint64_t size) {
    int n = 1;
    while (n < 8 && size >= (uint64_t(1) << (7 * n)) - 1) ++n;
    const uint64_t v = size | (uint64_t(1) << (7 * n));
    for (int i = n - 1; i >= 0; --i) b.push_back(uint8_t(v >> (8 * i)));
}
// Size in the fixed 8-byte form, for values patched later.
void PutSize8(Bytes& b, uint64_t size) {
    b.push_back(0x01);
    for (int i = 6; i >= 0; --i) b.push_back(uint8_t(size >> (8 * i)));
}
void PutUInt(Bytes& b, uint32_t id, uint64_t value, int fixed = 0) {
    int n = fixed;
    if (!n)
        for (n = 1; n < 8 && (value >> (8 * n)); ++n) {}
    PutId(b, id);
    PutSize(b, uint64_t(n));
    for (int i = n - 1; i >= 0; --i) b.push_back(uint8_t(value >> (8 * i)));
}
void PutFloat(Bytes& b, uint32_t id, double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    PutId(b, id);
    PutSize(b, 8);
    for (int i = 7; i >= 0; --i) b.push_back(uint8_t(bits >> (8 * i)));
}
void PutBytes(Bytes& b, uint32_t id, const void* data, size_t length) {
    PutId(b, id);
    PutSize(b, length);
    const auto* p = static_cast<const uint8_t*>(data);
    b.insert(b.end(), p, p + length);
}
void PutString(Bytes& b, uint32_t id, const std::string& s) { PutBytes(b, id, s.data(), s.size()); }
void PutMaster(Bytes& b, uint32_t id, const Bytes& children) { PutBytes(b, id, children.data(), children.size()); }
void PutVoid(Bytes& b, size_t total) {  // total >= 2 and below 128
    b.push_back(uint8_t(kVoid));
    b.push_back(uint8_t(0x80 | (total - 2)));
    b.insert(b.end(), total - 2, 0);
}

bool WriteAll(IMkvWriter* w, const Bytes& b) { return w->Write(b.data(), b.size()); }

} // namespace

Segment::Segment() = default;
Segment::~Segment() = default;

bool Segment::Init(IMkvWriter* writer) {
    if (!writer || m_writer) return false;
    m_writer = writer;
    return true;
}

uint64_t Segment::AddVideoTrack(int32_t width, int32_t height, int32_t number) {
    if (m_headerWritten || width <= 0 || height <= 0 || number < 0 || number > 126) return 0;
    uint64_t n = uint64_t(number);
    if (n == 0) {
        n = 1;
        while (GetTrackByNumber(n)) ++n;
    }
    if (n > 126 || GetTrackByNumber(n)) return 0;
    std::mt19937_64 uid(m_seed + n);
    auto track = std::make_unique<VideoTrack>(n, uid() | 1, uint64_t(width), uint64_t(height));
    track->set_codec_id("V_VP8");
    m_tracks.push_back(std::move(track));
    return n;
}

Track* Segment::GetTrackByNumber(uint64_t number) const {
    for (const auto& t : m_tracks)
        if (t->number() == number) return t.get();
    return nullptr;
}

bool Segment::Patch(int64_t position, const Bytes& bytes) {
    const int64_t end = m_writer->Position();
    return end >= 0 && m_writer->Position(position) && WriteAll(m_writer, bytes) && m_writer->Position(end);
}

bool Segment::WriteHeaders() {
    if (!m_writer || m_info.timecode_scale() == 0) return false;
    Bytes ebml, b;
    PutUInt(ebml, kEbmlVersion, 1);
    PutUInt(ebml, kEbmlReadVersion, 1);
    PutUInt(ebml, kEbmlMaxIdLength, 4);
    PutUInt(ebml, kEbmlMaxSizeLength, 8);
    PutString(ebml, kDocType, "webm");
    PutUInt(ebml, kDocTypeVersion, 4);
    PutUInt(ebml, kDocTypeReadVersion, 2);
    PutMaster(b, kEbml, ebml);
    const int64_t start = m_writer->Position();
    if (start < 0) return false;
    PutId(b, kSegment);
    m_segmentSizePos = start + int64_t(b.size());
    PutSize8(b, kUnknownSize);
    m_payloadPos = start + int64_t(b.size());

    m_seekHeadPos = m_payloadPos;
    PutVoid(b, kSeekHeadBlock);

    Bytes info;
    PutUInt(info, kTimecodeScale, m_info.timecode_scale());
    const size_t durationAt = info.size();
    PutFloat(info, kDuration, m_info.duration());
    PutString(info, kMuxingApp, m_info.muxing_app());
    PutString(info, kWritingApp, m_info.writing_app());
    std::mt19937_64 uid(m_seed);
    const uint64_t u[2] = {uid(), uid()};
    uint8_t uidBytes[16];
    std::memcpy(uidBytes, u, 16);
    PutBytes(info, kSegmentUid, uidBytes, 16);
    m_infoPos = start + int64_t(b.size());
    PutId(b, kInfo);
    PutSize(b, info.size());
    m_durationPos = start + int64_t(b.size() + durationAt) + 3;  // behind the 2-byte id and 1-byte size
    b.insert(b.end(), info.begin(), info.end());

    Bytes tracks;
    for (const auto& t : m_tracks) {
        Bytes entry, video;
        PutUInt(entry, kTrackNumber, t->number());
        PutUInt(entry, kTrackUid, t->uid());
        PutUInt(entry, kTrackType, 1);
        PutString(entry, kCodecId, t->codec_id());
        PutUInt(video, kPixelWidth, t->width());
        PutUInt(video, kPixelHeight, t->height());
        if (t->display_width()) PutUInt(video, kDisplayWidth, t->display_width());
        if (t->display_height()) PutUInt(video, kDisplayHeight, t->display_height());
        PutMaster(entry, kVideo, video);
        PutMaster(tracks, kTrackEntry, entry);
    }
    m_tracksPos = start + int64_t(b.size());
    PutMaster(b, kTracks, tracks);
    if (!WriteAll(m_writer, b)) return false;
    m_headerWritten = true;
    return true;
}

bool Segment::StartCluster(uint64_t timecode, bool withCue, uint64_t track) {
    if (m_clusterOpen && !CloseCluster()) return false;
    const int64_t at = m_writer->Position();
    if (at < 0) return false;
    Bytes b;
    PutId(b, kCluster);
    m_clusterSizePos = at + int64_t(b.size());
    PutSize8(b, kUnknownSize);
    PutUInt(b, kTimecode, timecode);
    if (!WriteAll(m_writer, b)) return false;
    if (withCue) m_cues.push_back({timecode, track, uint64_t(at - m_payloadPos)});
    m_clusterOpen = true;
    m_clusterTimecode = timecode;
    return true;
}

bool Segment::CloseCluster() {
    const int64_t end = m_writer->Position();
    if (end < 0) return false;
    Bytes size;
    PutSize8(size, uint64_t(end - (m_clusterSizePos + 8)));
    if (!Patch(m_clusterSizePos, size)) return false;
    m_clusterOpen = false;
    return true;
}

bool Segment::AddFrame(const uint8_t* data, uint64_t length, uint64_t trackNumber, uint64_t timestamp, bool isKey) {
    if (!m_writer || m_finalized || (!data && length) || !GetTrackByNumber(trackNumber)) return false;
    if (m_frameCount && timestamp < m_lastTimestamp) return false;
    if (length > (uint64_t(1) << 50)) return false;
    if (!m_headerWritten && !WriteHeaders()) return false;
    const uint64_t timecode = timestamp / m_info.timecode_scale();
    // A block's time is a signed 16-bit offset from its cluster's; key frames open clusters so
    // that every cue leads to a decodable start.
    if (!m_clusterOpen || (isKey && m_frameCount) || timecode - m_clusterTimecode > 32767) {
        if (!StartCluster(timecode, isKey, trackNumber)) return false;
    }
    Bytes b;
    PutId(b, kSimpleBlock);
    PutSize(b, length + 4);
    b.push_back(uint8_t(0x80 | trackNumber));
    const uint64_t relative = timecode - m_clusterTimecode;
    b.push_back(uint8_t(relative >> 8));
    b.push_back(uint8_t(relative));
    b.push_back(isKey ? 0x80 : 0x00);
    if (!WriteAll(m_writer, b) || !m_writer->Write(data, length)) return false;
    m_previousTimestamp = m_frameCount ? m_lastTimestamp : timestamp;
    m_lastTimestamp = timestamp;
    ++m_frameCount;
    return true;
}

bool Segment::Finalize() {
    if (!m_writer || m_finalized) return false;
    if (!m_headerWritten && !WriteHeaders()) return false;
    if (m_clusterOpen && !CloseCluster()) return false;
    if (m_mode == kFile && !m_writer->Seekable()) return false;

    int64_t cuesPos = -1;
    if (!m_cues.empty()) {
        Bytes cues, b;
        for (const CuePoint& c : m_cues) {
            Bytes point, positions;
            PutUInt(positions, kCueTrack, c.track);
            PutUInt(positions, kCueClusterPosition, c.clusterOffset);
            PutUInt(point, kCueTime, c.time);
            PutMaster(point, kCueTrackPositions, positions);
            PutMaster(cues, kCuePoint, point);
        }
        PutMaster(b, kCues, cues);
        cuesPos = m_writer->Position();
        if (cuesPos < 0 || !WriteAll(m_writer, b)) return false;
    }

    // Duration: the last frame's time plus one frame interval, so that N evenly spaced frames last
    // N intervals.
    double duration = m_info.duration();
    if (duration <= 0 && m_frameCount) {
        const uint64_t end = m_lastTimestamp + (m_lastTimestamp - m_previousTimestamp);
        duration = double(end) / double(m_info.timecode_scale());
    }
    Bytes d;
    uint64_t bits;
    std::memcpy(&bits, &duration, 8);
    for (int i = 7; i >= 0; --i) d.push_back(uint8_t(bits >> (8 * i)));
    if (!Patch(m_durationPos, d)) return false;

    Bytes seeks, head;
    auto seek = [&](uint32_t id, int64_t at) {
        Bytes s;
        Bytes idBytes;
        PutId(idBytes, id);
        PutBytes(s, kSeekId, idBytes.data(), idBytes.size());
        PutUInt(s, kSeekPosition, uint64_t(at - m_payloadPos), 8);
        PutMaster(seeks, kSeek, s);
    };
    seek(kInfo, m_infoPos);
    seek(kTracks, m_tracksPos);
    if (cuesPos >= 0) seek(kCues, cuesPos);
    PutMaster(head, kSeekHead, seeks);
    PutVoid(head, kSeekHeadBlock - head.size());
    if (!Patch(m_seekHeadPos, head)) return false;

    const int64_t end = m_writer->Position();
    if (end < 0) return false;
    Bytes size;
    PutSize8(size, uint64_t(end - m_payloadPos));
    if (!Patch(m_segmentSizePos, size)) return false;
    m_finalized = true;
    return true;
}

} // namespace mkvmuxer
