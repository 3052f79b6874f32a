#include "video_writer.h"

#include <GenICam/GCException.h>

#include "clxvpx.h"

const char* CVpxWebMWriter::MuxingApp() {
    static char text[32];
    static const int done = std::snprintf(text, sizeof text, "libwebm-%d.%d.%d.%d", 0, 2, 1, 0);
    (void)done;
    return text;
}

CVpxWebMWriter::CVpxWebMWriter(FILE* stream) : m_stream(stream) {}

CVpxWebMWriter::~CVpxWebMWriter() = default;

void CVpxWebMWriter::WriteHeader(size_t width, size_t height, uint32_t fourcc, uint64_t seed) {
    m_writer = std::make_unique<mkvmuxer::MkvWriter>(m_stream);
    auto segment = std::make_unique<mkvmuxer::Segment>();
    segment->set_uid_seed(seed);
    if (!segment->Init(m_writer.get())) throw RUNTIME_EXCEPTION("Failed to initialize WebM segment.");
    segment->set_mode(mkvmuxer::Segment::kFile);
    mkvmuxer::SegmentInfo* info = segment->GetSegmentInfo();
    info->set_timecode_scale(1000000);
    info->set_muxing_app(MuxingApp());
    info->set_writing_app(WritingApp);
    const uint64_t number = segment->AddVideoTrack(int32_t(width), int32_t(height), 1);
    auto* track = static_cast<mkvmuxer::VideoTrack*>(segment->GetTrackByNumber(number));
    if (!number || !track) throw RUNTIME_EXCEPTION("Failed to add video track.");
    track->set_codec_id(fourcc == CLxVpx::FourccVP8 ? "V_VP8" : "V_VP9");
    if (m_aspectNum != m_aspectDen) {
        track->set_display_width(width * m_aspectNum / m_aspectDen);
        track->set_display_height(height);
    }
    m_segment = std::move(segment);
    m_lastTimestamp = -1;
}

void CVpxWebMWriter::WritePacket(const vpx_codec_cx_pkt_t& packet, const vpx_rational_t& timebase) {
    if (!m_segment) throw RUNTIME_EXCEPTION("Failed to write frame.");
    // num x pts x 1e9 / den in 128 bits: no overflow for any 64-bit time stamp the encoder hands back.
    const __int128 ns = __int128(timebase.num) * packet.data.frame.pts * 1000000000 / timebase.den;
    int64_t time = ns > INT64_MAX ? INT64_MAX : int64_t(ns);
    if (time <= m_lastTimestamp) time = m_lastTimestamp + 1000000;
    m_lastTimestamp = time;
    const bool key = (packet.data.frame.flags & VPX_FRAME_IS_KEY) != 0;
    if (!m_segment->AddFrame(static_cast<const uint8_t*>(packet.data.frame.buf), packet.data.frame.sz, 1,
                             uint64_t(time), key))
        throw RUNTIME_EXCEPTION("Failed to write frame.");
}

int64_t CVpxWebMWriter::Position() const { return m_writer ? m_writer->Position() : 0; }

void CVpxWebMWriter::Finalize() {
    if (!m_segment) return;
    const bool ok = m_segment->Finalize();
    m_segment.reset();
    m_writer.reset();
    if (!ok) throw RUNTIME_EXCEPTION("Failed to finalize WebM file.");
}
