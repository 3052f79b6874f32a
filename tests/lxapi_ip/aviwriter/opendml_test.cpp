// The OpenDML layout read back by an independent walk of the file: segments and their indexes, lost
// frames, pads and fills, the size estimate against real files, and the write path's two forms.
#include "opendmltest.h"

#include <csignal>
#include <sys/resource.h>

using namespace odmltest;
using lxavi::COpenDMLWriter;
using lxavi::FourCC;

namespace {

constexpr uint32_t kDB = FourCC("00db");
constexpr uint32_t kDC = FourCC("00dc");

void ExpectFrames(const Walk& w, const Frames& frames, const std::vector<uint32_t>& indices) {
    ASSERT_EQ(w.frames.size(), indices.back() + 1u);
    size_t next = 0;
    for (uint32_t i = 0; i < w.frames.size(); ++i) {
        if (next < indices.size() && indices[next] == i) {
            ASSERT_TRUE(w.frames[i].has_value()) << "frame " << i;
            EXPECT_TRUE(*w.frames[i] == frames.data[next]) << "frame " << i << " differs";
            ++next;
        } else {
            EXPECT_FALSE(w.frames[i].has_value()) << "frame " << i << " should be lost";
        }
    }
}

TEST(OpenDMLLayout, OneFrameHasOneSegmentAnIdx1AndTotalsOfOne) {
    ScratchDir dir;
    const auto format = Bgr8Format(33, 17);
    const Frames frames(format.pitch * format.height, 1);
    const std::string name = dir / "one.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), kDB, frames.data), 0);
    const auto f = ReadAll(name);
    const Walk w = WalkFile(f, kDB, 212);
    EXPECT_EQ(w.riffCount, 1u);
    EXPECT_EQ(w.avihTotal, 1u);
    EXPECT_EQ(w.strhLength, 1u);
    EXPECT_EQ(w.dmlhTotal, 1u);
    ExpectFrames(w, frames, {0});
    EXPECT_EQ(w.idx1Sizes, std::vector<uint32_t>{frames.bytes});
    EXPECT_EQ(U32(f, 0x101000), kDB); // the first chunk at its fixed place
    EXPECT_EQ(U32(f, 192), frames.bytes);         // strf's image size: the largest chunk
    EXPECT_EQ(U32(f, 60), frames.bytes + 8);      // avih's suggested buffer
    EXPECT_EQ(f.size(), COpenDMLWriter::EstimateFileSize(frames.bytes, 1));
}

TEST(OpenDMLLayout, LostFramesAreEntriesOfNoDataInIx00AndIdx1) {
    ScratchDir dir;
    const auto format = Bgr8Format(16, 8);
    const Frames frames(format.pitch * format.height, 3);
    const std::string name = dir / "gaps.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), kDB, frames.data, {0, 1, 4}), 0);
    const auto f = ReadAll(name);
    const Walk w = WalkFile(f, kDB, 212);
    ExpectFrames(w, frames, {0, 1, 4});
    EXPECT_EQ(w.strhLength, 5u);
    EXPECT_EQ(w.dmlhTotal, 5u);
    EXPECT_EQ(w.idx1Sizes, (std::vector<uint32_t>{frames.bytes, frames.bytes, 0, 0, frames.bytes}));
}

TEST(OpenDMLLayout, SegmentsCloseAt4028EntriesAndTheEstimateIsTheFileSize) {
    ScratchDir dir;
    const auto format = Bgr8Format(16, 8); // chunks of one 2048-byte unit
    const size_t count = 2 * COpenDMLWriter::MaxSegmentEntries + 5;
    const Frames frames(format.pitch * format.height, count);
    const std::string name = dir / "segments.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), kDB, frames.data), 0);
    const auto f = ReadAll(name);
    const Walk w = WalkFile(f, kDB, 212);
    EXPECT_EQ(w.riffCount, 3u);
    EXPECT_EQ(w.segmentEntries, (std::vector<uint32_t>{4028, 4028, 5}));
    EXPECT_EQ(w.avihTotal, 4028u); // the first RIFF's frames, for readers that know only idx1
    EXPECT_EQ(w.strhLength, count);
    std::vector<uint32_t> all(count);
    for (uint32_t i = 0; i < count; ++i) all[i] = i;
    ExpectFrames(w, frames, all);
    EXPECT_EQ(f.size(), COpenDMLWriter::EstimateFileSize(frames.bytes, count));
}

TEST(OpenDMLLayout, AGapLongerThanASegmentSpansSegmentsOfLostFramesOnly) {
    ScratchDir dir;
    const auto format = Bgr8Format(16, 8);
    const Frames frames(format.pitch * format.height, 2);
    const std::string name = dir / "longgap.avi";
    ASSERT_EQ(WriteFile(name, lxavi::NotCompressedHeader20(format), kDB, frames.data, {0, 9000}), 0);
    const Walk w = WalkFile(ReadAll(name), kDB, 212);
    EXPECT_EQ(w.segmentEntries, (std::vector<uint32_t>{4028, 4028, 945}));
    ExpectFrames(w, frames, {0, 9000});
}

TEST(OpenDMLLayout, OddChunksGetThePadByteAndTheTrueSizeInTheIndex) {
    // Sizes around the fill of fewer than 8 bytes, which takes 2048 more.
    EXPECT_EQ(COpenDMLWriter::ChunkBytes(2040), 2048u);
    EXPECT_EQ(COpenDMLWriter::ChunkBytes(2039), 2048u);  // pad byte, no fill
    EXPECT_EQ(COpenDMLWriter::ChunkBytes(2033), 4096u);  // 2042 used: a fill of 6 cannot hold JUNK
    EXPECT_EQ(COpenDMLWriter::ChunkBytes(2032), 2048u);  // 2040 used, a fill of exactly 8
    EXPECT_EQ(COpenDMLWriter::ChunkBytes(0), 2048u);

    ScratchDir dir;
    lxavi::StreamFormat20 format = Bgr8Format(64, 48);
    std::vector<std::vector<uint8_t>> chunks;
    for (uint32_t size : {2033u, 1001u, 2040u, 4095u, 2u}) chunks.push_back(Frames(size, 1, size).data[0]);
    const std::string name = dir / "odd.avi";
    ASSERT_EQ(WriteFile(name, lxavi::MJPEGHeader20(format), kDC, chunks), 0);
    const auto f = ReadAll(name);
    const Walk w = WalkFile(f, kDC, 284);
    ASSERT_EQ(w.frames.size(), chunks.size());
    for (size_t i = 0; i < chunks.size(); ++i) EXPECT_TRUE(w.frames[i] && *w.frames[i] == chunks[i]);
    EXPECT_EQ(U32(f, 192), 4095u); // the largest chunk
    EXPECT_EQ(Tag(f, 212), "strn");
}

TEST(OpenDMLLayout, EstimateCountsSegmentsByBytesAndByEntries) {
    // No frames: the header and the empty movi list.
    EXPECT_EQ(COpenDMLWriter::EstimateFileSize(1000, 0), 0x101000u);
    // A chunk of 15 MiB: a segment holds as many as stay within 1 GiB.
    const uint64_t frame = 2448ull * 2048 * 3;
    const uint64_t chunk = COpenDMLWriter::ChunkBytes(frame);
    const uint64_t perSegment = 0x40000000 / chunk;
    const uint64_t one = COpenDMLWriter::EstimateFileSize(frame, perSegment);
    const uint64_t two = COpenDMLWriter::EstimateFileSize(frame, perSegment + 1);
    // The second segment: its head (2048), one chunk, and a standard index of one unit.
    EXPECT_EQ(two - one, 2048 + chunk + 2048);
}

TEST(OpenDMLLayout, AFileWithoutFramesIsAnEmptyButValidAvi) {
    ScratchDir dir;
    const std::string name = dir / "empty.avi";
    COpenDMLWriter writer(kDB);
    ASSERT_TRUE(writer.SetHeader(lxavi::NotCompressedHeader20(Bgr8Format(8, 8))));
    ASSERT_EQ(writer.Open(name), 0);
    ASSERT_EQ(writer.Close(), 0);
    const auto f = ReadAll(name);
    EXPECT_EQ(f.size(), 0x101000u);
    EXPECT_EQ(U32(f, 4), 0x101000u - 8);
    EXPECT_EQ(U32(f, 0x100FF0), 12u); // movi and the empty chunk
}

TEST(OpenDMLLayout, HeadersThatLeaveNoRoomAreRefused) {
    COpenDMLWriter writer(kDB);
    EXPECT_FALSE(writer.SetHeader(std::vector<uint8_t>(100)));
    EXPECT_FALSE(writer.SetHeader(std::vector<uint8_t>(0x100FEC - 0x100020 - 268 - 7)));
    EXPECT_TRUE(writer.SetHeader(std::vector<uint8_t>(0x100FEC - 0x100020 - 268 - 8)));
    EXPECT_EQ(writer.WriteChunk(nullptr, 0, 0), EBADF); // not open
}

// Direct I/O, the page cache, and a file system of memory give the same bytes.
TEST(OpenDMLWritePath, DirectAndBufferedWritesGiveTheSameFile) {
    ScratchDir dir;
    const auto format = Bgr8Format(101, 37);
    const Frames frames(format.pitch * format.height, 40);
    const auto header = lxavi::NotCompressedHeader20(format);
    const std::vector<uint32_t> indices = [] {
        std::vector<uint32_t> v;
        for (uint32_t i = 0; i < 40; ++i) v.push_back(i + i / 7); // a lost frame every seventh
        return v;
    }();
    ASSERT_EQ(WriteFile(dir / "direct.avi", header, kDB, frames.data, indices, true), 0);
    ASSERT_EQ(WriteFile(dir / "buffered.avi", header, kDB, frames.data, indices, false), 0);
    const auto direct = ReadAll(dir / "direct.avi");
    EXPECT_TRUE(direct == ReadAll(dir / "buffered.avi"));
    ExpectFrames(WalkFile(direct, kDB, 212), frames, indices);
    if (std::filesystem::is_directory("/dev/shm")) {
        ScratchDir shm("/dev/shm");
        ASSERT_EQ(WriteFile(shm / "memory.avi", header, kDB, frames.data, indices, true), 0);
        EXPECT_TRUE(direct == ReadAll(shm / "memory.avi"));
    }
}

TEST(OpenDMLWritePath, BlocksNotAlignedInMemoryGoThroughThePageCache) {
    ScratchDir dir;
    lxavi::CDirectFile file;
    ASSERT_EQ(file.Open(dir / "unaligned.bin"), 0);
    lxavi::CAlignedBlock block(2048 * 3);
    for (size_t i = 0; i < block.Size(); ++i) block.Data()[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(file.Start(block.Data() + 8, 2048, 0), 0);
    ASSERT_EQ(file.Start(block.Data(), 2048, 2048), 0);
    ASSERT_EQ(file.Close(), 0);
    const auto f = ReadAll(dir / "unaligned.bin");
    ASSERT_EQ(f.size(), 4096u);
    EXPECT_EQ(std::memcmp(f.data(), block.Data() + 8, 2048), 0);
    EXPECT_EQ(std::memcmp(f.data() + 2048, block.Data(), 2048), 0);
}

// A block at an odd 2048-byte position, from page-aligned memory: a head piece to the file block's
// edge, whole blocks staged through aligned memory, and a tail piece. The file holds the block's bytes.
TEST(OpenDMLWritePath, BlocksOffTheFileBlockGridKeepTheirBytes) {
    ScratchDir dir;
    lxavi::CDirectFile file;
    ASSERT_EQ(file.Open(dir / "grid.bin"), 0);
    const size_t size = (size_t(5) << 20) + 2048 * 3;
    lxavi::CAlignedBlock block(size);
    for (size_t i = 0; i < size; ++i) block.Data()[i] = static_cast<uint8_t>(i * 131 + (i >> 11));
    ASSERT_EQ(file.Start(block.Data(), 2048, 0), 0);
    ASSERT_EQ(file.Start(block.Data(), size, 2048), 0);
    ASSERT_EQ(file.Close(), 0);
    const auto f = ReadAll(dir / "grid.bin");
    ASSERT_EQ(f.size(), 2048 + size);
    EXPECT_EQ(std::memcmp(f.data() + 2048, block.Data(), size), 0);
}

// A write that fails (here the file size limit of the process, as a full disk would) ends the file
// in front of the failed chunk, with its index and header.
TEST(OpenDMLFaults, AFailedWriteLeavesAValidFileOfTheFramesBefore) {
    ScratchDir dir;
    const auto format = Bgr8Format(64, 64); // 12 KiB chunks
    const Frames frames(format.pitch * format.height, 20);
    const uint64_t chunk = COpenDMLWriter::ChunkBytes(frames.bytes);
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small = old;
    small.rlim_cur = COpenDMLWriter::DataStart + 5 * chunk + chunk / 2;
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string name = dir / "full.avi";
    const int error = WriteFile(name, lxavi::NotCompressedHeader20(format), kDB, frames.data);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(error, EFBIG);
    const auto f = ReadAll(name);
    const Walk w = WalkFile(f, kDB, 212);
    ExpectFrames(w, frames, {0, 1, 2, 3, 4});
    EXPECT_EQ(w.strhLength, 5u);
    EXPECT_LE(f.size(), small.rlim_cur);
}

TEST(OpenDMLFaults, IsFullStopsBeforeTheSizeLimit) {
    ScratchDir dir;
    const auto format = Bgr8Format(64, 64);
    const Frames frames(format.pitch * format.height, 1);
    COpenDMLWriter writer(kDB);
    ASSERT_TRUE(writer.SetHeader(lxavi::NotCompressedHeader20(format)));
    const std::string name = dir / "limit.avi";
    ASSERT_EQ(writer.Open(name), 0);
    const uint64_t limit = COpenDMLWriter::DataStart + 200000;
    writer.SetSizeLimit(limit);
    lxavi::CAlignedBlock buffers[2] = {lxavi::CAlignedBlock(frames.bytes + 2064), lxavi::CAlignedBlock(frames.bytes + 2064)};
    uint32_t written = 0;
    while (!writer.IsFull(frames.bytes)) {
        uint8_t* chunk = buffers[written % 2].Data() + 8;
        std::memcpy(chunk, frames.data[0].data(), frames.bytes);
        ASSERT_EQ(writer.WriteChunk(chunk, frames.bytes, written), 0);
        ASSERT_LT(++written, 1000u);
    }
    ASSERT_EQ(writer.Close(), 0);
    EXPECT_GT(written, 10u);
    EXPECT_LE(ReadAll(name).size(), limit);
    EXPECT_EQ(ReadAll(name).size(), COpenDMLWriter::EstimateFileSize(frames.bytes, written));
}

TEST(OpenDMLFaults, AFileThatCannotBeCreatedIsReported) {
    COpenDMLWriter writer(kDB);
    ASSERT_TRUE(writer.SetHeader(lxavi::NotCompressedHeader20(Bgr8Format(8, 8))));
    EXPECT_NE(writer.Open("/nonexistent-dir/x/y.avi"), 0);
    EXPECT_EQ(writer.Close(), 0);
}

} // namespace
