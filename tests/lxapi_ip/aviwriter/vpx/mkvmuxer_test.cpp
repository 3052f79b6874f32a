// The WebM muxer against libwebm's parser: frames, key flags and times come back as written,
// clusters open at key frames and before 16-bit time offsets overflow, cues and seek entries point
// at the elements they name, sizes and duration are filled in; refusals leave the file usable.
#include "mkvmuxer/mkvmuxer.h"
#include "webmwalk.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

using namespace webmtest;

namespace {

struct TempFile {
    std::string path;
    FILE* f;
    TempFile() {
        char name[] = "/tmp/lxmkvXXXXXX";
        const int fd = mkstemp(name);
        path = name;
        f = fdopen(fd, "w+b");
    }
    ~TempFile() {
        if (f) std::fclose(f);
        std::remove(path.c_str());
    }
    std::vector<uint8_t> Close() {
        std::fclose(f);
        f = nullptr;
        return ReadFile(path);
    }
};

struct Written {
    uint64_t timeNs;
    bool key;
    std::vector<uint8_t> bytes;
};

std::vector<Written> Frames(size_t count, const std::vector<uint64_t>& timesMs, const std::vector<size_t>& keys) {
    std::mt19937 rng(7);
    std::vector<Written> out;
    for (size_t i = 0; i < count; ++i) {
        Written w{timesMs[i] * 1000000, false, std::vector<uint8_t>(1 + rng() % 3000)};
        for (auto& b : w.bytes) b = uint8_t(rng());
        for (size_t k : keys) w.key |= k == i;
        out.push_back(std::move(w));
    }
    return out;
}

uint32_t IdAt(const std::vector<uint8_t>& file, uint64_t at) {
    return uint32_t(file[at]) << 24 | uint32_t(file[at + 1]) << 16 | uint32_t(file[at + 2]) << 8 | file[at + 3];
}

} // namespace

TEST(MkvMuxer, FramesKeysTimesCuesAndSeeksComeBackAsWritten) {
    // Times with an equal pair, a gap beyond 32767 ms, and keys at 0, 5 and 9.
    std::vector<uint64_t> times{0, 16, 33, 50, 50, 66, 83, 40000, 40016, 40033, 40050, 40066};
    const auto frames = Frames(times.size(), times, {0, 5, 9});
    TempFile t;
    mkvmuxer::MkvWriter writer(t.f);
    mkvmuxer::Segment segment;
    ASSERT_TRUE(segment.Init(&writer));
    segment.GetSegmentInfo()->set_writing_app("test app");
    const uint64_t track = segment.AddVideoTrack(320, 240, 1);
    ASSERT_EQ(track, 1u);
    for (const auto& f : frames) ASSERT_TRUE(segment.AddFrame(f.bytes.data(), f.bytes.size(), track, f.timeNs, f.key));
    ASSERT_TRUE(segment.Finalize());
    const std::vector<uint8_t> file = t.Close();

    const Walk w = WalkBytes(file);
    ASSERT_TRUE(w.ok);
    EXPECT_EQ(w.docType, "webm");
    EXPECT_EQ(w.codecId, "V_VP8");
    EXPECT_EQ(w.width, 320u);
    EXPECT_EQ(w.height, 240u);
    EXPECT_EQ(w.timecodeScale, 1000000u);
    EXPECT_EQ(w.writingApp, "test app");
    EXPECT_EQ(w.segmentBodyStart + w.segmentSize, file.size());
    // Last time plus the last interval.
    EXPECT_DOUBLE_EQ(w.duration, 40066.0 + 16.0);
    ASSERT_EQ(w.frames.size(), frames.size());
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(w.frames[i].track, 1u);
        EXPECT_EQ(uint64_t(w.frames[i].timeNs), frames[i].timeNs) << i;
        EXPECT_EQ(w.frames[i].key, frames[i].key) << i;
        EXPECT_EQ(w.frames[i].bytes, frames[i].bytes) << i;
    }
    // Clusters: at 0, at the key 5, at the jump to 40000, at the key 9.
    ASSERT_EQ(w.clusterStarts.size(), 4u);
    ASSERT_EQ(w.cues.size(), 3u);
    const uint64_t cueTimes[] = {0, 66, 40033};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(w.cues[i].first, cueTimes[i]);
        EXPECT_EQ(IdAt(file, w.segmentBodyStart + w.cues[i].second), 0x1F43B675u);
    }
    ASSERT_EQ(w.seeks.size(), 3u);
    for (const auto& [id, position] : w.seeks) EXPECT_EQ(IdAt(file, w.segmentBodyStart + position) >> (id > 0xFFFFFF ? 0 : 8), id);
}

TEST(MkvMuxer, RefusalsLeaveTheSegmentWhole) {
    TempFile t;
    mkvmuxer::MkvWriter writer(t.f);
    mkvmuxer::Segment segment;
    EXPECT_EQ(segment.AddVideoTrack(0, 240, 1), 0u);
    ASSERT_TRUE(segment.Init(&writer));
    EXPECT_FALSE(segment.Init(&writer));
    ASSERT_EQ(segment.AddVideoTrack(64, 48, 0), 1u);
    EXPECT_EQ(segment.AddVideoTrack(64, 48, 1), 0u);  // number taken
    EXPECT_EQ(segment.GetTrackByNumber(2), nullptr);
    const uint8_t data[4] = {1, 2, 3, 4};
    EXPECT_FALSE(segment.AddFrame(data, 4, 2, 0, true));  // no such track
    EXPECT_TRUE(segment.AddFrame(data, 4, 1, 5000000, true));
    EXPECT_FALSE(segment.AddFrame(data, 4, 1, 4000000, false));  // earlier than the last
    EXPECT_EQ(segment.AddVideoTrack(64, 48, 2), 0u);  // after the first frame
    EXPECT_TRUE(segment.AddFrame(data, 4, 1, 5000000, false));
    ASSERT_TRUE(segment.Finalize());
    EXPECT_FALSE(segment.Finalize());
    EXPECT_FALSE(segment.AddFrame(data, 4, 1, 6000000, false));
    const Walk w = WalkBytes(t.Close());
    ASSERT_TRUE(w.ok);
    ASSERT_EQ(w.frames.size(), 2u);
    EXPECT_EQ(w.frames[1].timeNs, 5000000);
    EXPECT_EQ(w.cues.size(), 1u);
}

TEST(MkvMuxer, SegmentWithoutFramesIsStillAFile) {
    TempFile t;
    mkvmuxer::MkvWriter writer(t.f);
    mkvmuxer::Segment segment;
    ASSERT_TRUE(segment.Init(&writer));
    ASSERT_EQ(segment.AddVideoTrack(16, 16, 1), 1u);
    ASSERT_TRUE(segment.Finalize());
    const Walk w = WalkBytes(t.Close());
    ASSERT_TRUE(w.ok);
    EXPECT_EQ(w.frames.size(), 0u);
    EXPECT_EQ(w.seeks.size(), 2u);
    EXPECT_EQ(w.duration, 0.0);
}
