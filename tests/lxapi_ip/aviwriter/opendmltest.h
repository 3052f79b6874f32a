// Shared pieces of the OpenDML tests: a scratch folder, frames of random samples written through the
// layout writer, and an independent reader of the RIFF structure that follows the super index to
// every chunk.
#pragma once

#include "lxapi_ip/aviwriter/opendmllayout.h"
#include "lxapi_ip/aviwriter/avifile20header.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace odmltest {

class ScratchDir {
public:
    explicit ScratchDir(const std::filesystem::path& root = std::filesystem::temp_directory_path()) {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_path = root / ("lxodml_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name());
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

inline std::vector<uint8_t> ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline uint32_t U32(const std::vector<uint8_t>& f, uint64_t at) {
    if (at + 4 > f.size()) {
        ADD_FAILURE() << "read past the end at " << at;
        return 0;
    }
    return uint32_t(f[at]) | uint32_t(f[at + 1]) << 8 | uint32_t(f[at + 2]) << 16 | uint32_t(f[at + 3]) << 24;
}
inline uint64_t U64(const std::vector<uint8_t>& f, uint64_t at) { return U32(f, at) | uint64_t{U32(f, at + 4)} << 32; }
inline std::string Tag(const std::vector<uint8_t>& f, uint64_t at) {
    return at + 4 <= f.size() ? std::string(f.begin() + long(at), f.begin() + long(at) + 4) : std::string("????");
}

// Frames of random bytes, each in a buffer with the room the writer needs around it.
struct Frames {
    uint32_t bytes;
    std::vector<std::vector<uint8_t>> data;
    Frames(uint32_t frameBytes, size_t count, uint32_t seed = 7) : bytes(frameBytes), data(count) {
        std::mt19937 random(seed);
        for (auto& frame : data) {
            frame.resize(frameBytes);
            for (auto& b : frame) b = static_cast<uint8_t>(random());
        }
    }
};

// Writes data[i] as frame index indices[i] (i by default) into `path`; returns the writer's first
// error, of the chunks or of the close.
inline int WriteFile(const std::string& path, const std::vector<uint8_t>& header, uint32_t chunkId,
                     const std::vector<std::vector<uint8_t>>& data, std::vector<uint32_t> indices = {},
                     bool allowDirect = true) {
    if (indices.empty())
        for (uint32_t i = 0; i < data.size(); ++i) indices.push_back(i);
    lxavi::COpenDMLWriter writer(chunkId);
    EXPECT_TRUE(writer.SetHeader(header));
    if (int error = writer.Open(path, allowDirect)) return error;
    size_t largest = 0;
    for (const auto& d : data) largest = std::max(largest, d.size());
    // Two buffers in turn: the one written last stays untouched until the next chunk is started.
    lxavi::CAlignedBlock buffers[2] = {lxavi::CAlignedBlock(largest + 8 + 2056), lxavi::CAlignedBlock(largest + 8 + 2056)};
    int error = 0;
    for (size_t i = 0; i < data.size() && !error; ++i) {
        uint8_t* chunk = buffers[i % 2].Data() + lxavi::COpenDMLWriter::RoomInFront;
        std::memcpy(chunk, data[i].data(), data[i].size());
        error = writer.WriteChunk(chunk, static_cast<uint32_t>(data[i].size()), indices[i]);
    }
    const int closed = writer.Close();
    return error ? error : closed;
}

inline lxavi::StreamFormat20 Bgr8Format(uint32_t width, uint32_t height) {
    lxavi::StreamFormat20 f;
    f.width = width;
    f.height = height;
    f.pitch = (width * 3 + 3) & ~3u;
    f.bitCount = 24;
    f.rate = 10000;
    f.scale = 400; // 25 frames per second
    return f;
}

// What an independent walk of the file finds.
struct Walk {
    uint32_t riffCount = 0;                         // RIFF "AVI " and "AVIX" in a chain that ends at the file's end
    uint32_t strhLength = 0, avihTotal = 0, dmlhTotal = 0;
    std::vector<uint32_t> segmentEntries;           // ix00 entries per segment
    std::vector<std::optional<std::vector<uint8_t>>> frames; // by index, nullopt for a lost frame
    std::vector<uint32_t> idx1Sizes;                // sizes of the idx1 entries for frames (after the empty chunk)
};

// Follows the RIFF chain, the super index and every ix00 to the chunks, checking each header on the
// way. `headerBytes` is H.
inline Walk WalkFile(const std::vector<uint8_t>& f, uint32_t chunkId, size_t headerBytes) {
    Walk w;
    uint64_t at = 0;
    while (at < f.size()) {
        EXPECT_EQ(Tag(f, at), "RIFF") << "at " << at;
        EXPECT_EQ(Tag(f, at + 8), w.riffCount == 0 ? "AVI " : "AVIX");
        const uint64_t size = U32(f, at + 4);
        if (w.riffCount > 0) {
            EXPECT_EQ(Tag(f, at + 12), "LIST");
            EXPECT_EQ(Tag(f, at + 20), "movi");
            EXPECT_EQ(Tag(f, at + 24), "JUNK");
            EXPECT_EQ(U32(f, at + 28), 0u);
            EXPECT_EQ(U32(f, at + 16) + 12, size);
        }
        at += 8 + size + (size & 1);
        ++w.riffCount;
        if (::testing::Test::HasFailure()) return w;
    }
    EXPECT_EQ(at, f.size()) << "the RIFF chain runs past the end of the file";
    w.avihTotal = U32(f, 48);
    w.strhLength = U32(f, 140);
    const uint64_t indx = headerBytes;
    EXPECT_EQ(Tag(f, indx), "indx");
    EXPECT_EQ(Tag(f, indx + 16), std::string(reinterpret_cast<const char*>(&chunkId), 4));
    const uint64_t odml = indx + lxavi::COpenDMLWriter::SuperIndexBytes;
    EXPECT_EQ(Tag(f, odml + 8), "odml");
    EXPECT_EQ(Tag(f, odml + 12), "dmlh");
    w.dmlhTotal = U32(f, odml + 20);
    EXPECT_EQ(Tag(f, odml + 268), "JUNK");
    EXPECT_EQ(odml + 268 + 8 + U32(f, odml + 272), 0x100FECu);
    EXPECT_EQ(Tag(f, 0x100FEC), "LIST");
    EXPECT_EQ(Tag(f, 0x100FF4), "movi");
    const uint32_t segments = U32(f, indx + 12);
    for (uint32_t s = 0; s < segments; ++s) {
        const uint64_t ix = U64(f, indx + 32 + 16 * s);
        const uint32_t count = U32(f, ix + 12);
        EXPECT_EQ(Tag(f, ix), "ix00");
        EXPECT_EQ(U32(f, indx + 32 + 16 * s + 12), count);
        EXPECT_EQ(U32(f, ix + 4), count * 8 + 24);
        EXPECT_EQ(U32(f, ix + 16), chunkId);
        const uint64_t base = U64(f, ix + 20);
        w.segmentEntries.push_back(count);
        for (uint32_t e = 0; e < count; ++e) {
            const uint32_t offset = U32(f, ix + 32 + 8 * e), size = U32(f, ix + 36 + 8 * e);
            if (size == 0x80000000u) {
                EXPECT_EQ(offset, 0u);
                w.frames.emplace_back(std::nullopt);
                continue;
            }
            const uint64_t chunk = base + offset - 8;
            EXPECT_EQ(chunk % 2048, 0u) << "chunk off the 2048 grid";
            EXPECT_EQ(U32(f, chunk), chunkId);
            EXPECT_EQ(U32(f, chunk + 4), size);
            if (chunk + 8 + size > f.size()) {
                ADD_FAILURE() << "chunk past the end";
                return w;
            }
            w.frames.emplace_back(std::vector<uint8_t>(f.begin() + long(chunk + 8), f.begin() + long(chunk + 8 + size)));
            // The pad byte and the fill up to the next chunk.
            uint64_t end = chunk + 8 + size;
            if (size & 1) {
                EXPECT_EQ(f[end], '0');
                ++end;
            }
            if (end % 2048) {
                EXPECT_EQ(Tag(f, end), "JUNK");
                EXPECT_EQ((end + 8 + U32(f, end + 4)) % 2048, 0u);
            }
        }
        if (::testing::Test::HasFailure()) return w;
    }
    // idx1 behind the first movi list.
    const uint64_t idx1 = 0x100FF4 + U32(f, 0x100FF0);
    EXPECT_EQ(Tag(f, idx1), "idx1");
    EXPECT_EQ(Tag(f, idx1 + 24), "JUNK"); // the empty chunk in front of the first frame
    EXPECT_EQ(U32(f, idx1 + 32), 0x100FF8u);
    const uint32_t firstCount = w.segmentEntries.empty() ? 0 : w.segmentEntries[0];
    for (uint32_t e = 0; e < firstCount; ++e) {
        const uint64_t entry = idx1 + 40 + 16 * e;
        const uint32_t size = U32(f, entry + 12);
        w.idx1Sizes.push_back(size);
        if (size) {
            EXPECT_EQ(U32(f, entry), chunkId);
            EXPECT_EQ(U32(f, U32(f, entry + 8)), chunkId); // points at the chunk header
            EXPECT_EQ(U32(f, U32(f, entry + 8) + 4), size);
        }
    }
    return w;
}

inline bool HaveTool(const char* tool) {
    const std::string command = std::string("command -v ") + tool + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

// The standard output of `command`; nullopt when it fails.
inline std::optional<std::vector<uint8_t>> Output(const std::string& command) {
    std::vector<uint8_t> out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return std::nullopt;
    uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) out.insert(out.end(), chunk, chunk + n);
    if (::pclose(pipe) != 0) return std::nullopt;
    return out;
}

inline std::string Text(const std::optional<std::vector<uint8_t>>& bytes) {
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string("<failed>");
}

} // namespace odmltest
