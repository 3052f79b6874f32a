// The WebM side of a VP8 file: the muxer on an open stream, its header with one VP8 track, and the
// encoder's packets as frames with their time in nanoseconds.
#pragma once

#include "mkvmuxer/mkvmuxer.h"

#include <vpx/vpx_encoder.h>

#include <cstdint>
#include <cstdio>
#include <memory>

class CVpxWebMWriter {
public:
    // Muxing and writing application texts of the segment.
    static constexpr const char* WritingApp = "vpxenc v1.9.0";
    static const char* MuxingApp();

    // The writer does not own `stream`.
    explicit CVpxWebMWriter(FILE* stream);
    ~CVpxWebMWriter();

    // Makes the writer and the segment and adds the video track: "V_VP8" for the fourcc "VP80",
    // "V_VP9" for any other. Throws RuntimeException when the muxer refuses.
    void WriteHeader(size_t width, size_t height, uint32_t fourcc, uint64_t seed);
    bool HeaderWritten() const { return m_segment != nullptr; }

    // One encoder packet as a frame of track 1. A time not above the last one's is moved to 1 ms
    // behind it, so that every frame keeps its own time.
    void WritePacket(const vpx_codec_cx_pkt_t& packet, const vpx_rational_t& timebase);

    // Bytes written so far.
    int64_t Position() const;
    // Completes the file: cues, sizes, duration. The stream stays open.
    void Finalize();
    int64_t LastTimestamp() const { return m_lastTimestamp; }

private:
    FILE* m_stream;
    std::unique_ptr<mkvmuxer::MkvWriter> m_writer;
    std::unique_ptr<mkvmuxer::Segment> m_segment;
    int64_t m_lastTimestamp = -1;
    uint32_t m_aspectNum = 1, m_aspectDen = 1;
};
