// A small Matroska/WebM muxer for one video track, under the names of libwebm's mkvmuxer so that
// libwebm's own muxer can take its place where it is packaged.
//
// File layout, written front to back with fixed-size placeholders patched by Finalize:
//   EBML header (DocType "webm")
//   Segment, size patched
//     SeekHead in a reserved block (positions of Info, Tracks, Cues), rest of the block a Void
//     Info: TimecodeScale, Duration (patched), MuxingApp, WritingApp, SegmentUID
//     Tracks: one TrackEntry with Video (PixelWidth, PixelHeight, optional display size)
//     Clusters: Timecode and SimpleBlocks; a new cluster at each key frame and before a block's
//               relative time would leave the 16-bit range; each cluster's size is patched
//     Cues: one CuePoint for each cluster that starts with a key frame
#pragma once

#include "mkvwriter.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace mkvmuxer {

class Track {
public:
    virtual ~Track() = default;
    uint64_t number() const { return m_number; }
    void set_codec_id(const char* codecId) { m_codecId = codecId ? codecId : ""; }
    const char* codec_id() const { return m_codecId.c_str(); }
    uint64_t uid() const { return m_uid; }

protected:
    Track(uint64_t number, uint64_t uid) : m_number(number), m_uid(uid) {}

private:
    uint64_t m_number;
    uint64_t m_uid;
    std::string m_codecId;
};

class VideoTrack final : public Track {
public:
    VideoTrack(uint64_t number, uint64_t uid, uint64_t width, uint64_t height)
        : Track(number, uid), m_width(width), m_height(height) {}
    uint64_t width() const { return m_width; }
    uint64_t height() const { return m_height; }
    // 0 leaves the display size out: players then show the pixel size.
    void set_display_width(uint64_t w) { m_displayWidth = w; }
    void set_display_height(uint64_t h) { m_displayHeight = h; }
    uint64_t display_width() const { return m_displayWidth; }
    uint64_t display_height() const { return m_displayHeight; }

private:
    uint64_t m_width, m_height;
    uint64_t m_displayWidth = 0, m_displayHeight = 0;
};

class SegmentInfo {
public:
    void set_timecode_scale(uint64_t scale) { m_timecodeScale = scale; }
    uint64_t timecode_scale() const { return m_timecodeScale; }
    void set_muxing_app(const char* app) { m_muxingApp = app ? app : ""; }
    void set_writing_app(const char* app) { m_writingApp = app ? app : ""; }
    const char* muxing_app() const { return m_muxingApp.c_str(); }
    const char* writing_app() const { return m_writingApp.c_str(); }
    // In time code units; Finalize fills it from the frames when it was not set.
    void set_duration(double duration) { m_duration = duration; }
    double duration() const { return m_duration; }

private:
    uint64_t m_timecodeScale = 1000000;
    double m_duration = 0;
    std::string m_muxingApp = "libwebm-0.2.1.0";
    std::string m_writingApp;
};

class Segment {
public:
    enum Mode { kLive = 1, kFile = 2 };

    Segment();
    ~Segment();
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    // Binds the output; nothing is written before the first frame or Finalize.
    bool Init(IMkvWriter* writer);
    void set_mode(Mode mode) { m_mode = mode; }
    Mode mode() const { return m_mode; }
    // Seeds the segment and track UIDs.
    void set_uid_seed(uint64_t seed) { m_seed = seed; }
    SegmentInfo* GetSegmentInfo() { return &m_info; }

    // Adds a video track; `number` 0 takes the next free number. Answers the number, 0 on failure
    // (after the first frame, or a size of 0).
    uint64_t AddVideoTrack(int32_t width, int32_t height, int32_t number);
    Track* GetTrackByNumber(uint64_t number) const;

    // One frame as a SimpleBlock. `timestamp` in nanoseconds, not below the last frame's.
    bool AddFrame(const uint8_t* data, uint64_t length, uint64_t trackNumber, uint64_t timestamp, bool isKey);

    // Closes the last cluster, writes the cues and fills in the sizes, positions and duration.
    bool Finalize();

private:
    struct CuePoint {
        uint64_t time;           // time code units
        uint64_t track;
        uint64_t clusterOffset;  // from the segment's payload
    };
    bool WriteHeaders();
    bool StartCluster(uint64_t timecode, bool withCue, uint64_t track);
    bool CloseCluster();
    bool Patch(int64_t position, const std::vector<uint8_t>& bytes);

    IMkvWriter* m_writer = nullptr;
    Mode m_mode = kFile;
    uint64_t m_seed = 0;
    SegmentInfo m_info;
    std::vector<std::unique_ptr<VideoTrack>> m_tracks;
    std::vector<CuePoint> m_cues;

    bool m_headerWritten = false;
    bool m_finalized = false;
    int64_t m_segmentSizePos = 0;   // the 8-byte size of the Segment
    int64_t m_payloadPos = 0;       // first byte inside the Segment
    int64_t m_seekHeadPos = 0;      // the reserved block
    int64_t m_durationPos = 0;      // the 8-byte float inside Info
    int64_t m_infoPos = 0, m_tracksPos = 0;

    bool m_clusterOpen = false;
    int64_t m_clusterSizePos = 0;
    uint64_t m_clusterTimecode = 0;
    uint64_t m_frameCount = 0;
    uint64_t m_lastTimestamp = 0, m_previousTimestamp = 0;  // nanoseconds
};

} // namespace mkvmuxer
