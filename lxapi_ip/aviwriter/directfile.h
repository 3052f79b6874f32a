// The write path of the OpenDML files: blocks of whole 2048-byte units written at 2048-aligned
// positions, one write in flight on a writer thread of the file's own, so that the next frame is
// prepared while the last one goes to disk.
//
// Writes bypass the page cache (O_DIRECT) where the file system takes them with 2048-byte alignment.
// A file system that refuses direct I/O (at the open, or with EINVAL at a write), a device whose
// logical block is larger than 2048, or a block in memory that is not aligned for direct I/O, is
// written through the page cache instead: the bytes in the file are the same either way.
//
// Failures are errno values; 0 is success.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace lxavi {

// Memory aligned for direct I/O, a multiple of 2048 bytes long. Zeroed.
class CAlignedBlock {
public:
    static constexpr size_t Alignment = 4096;
    CAlignedBlock() = default;
    explicit CAlignedBlock(size_t size);
    ~CAlignedBlock();
    CAlignedBlock(const CAlignedBlock&) = delete;
    CAlignedBlock& operator=(const CAlignedBlock&) = delete;
    CAlignedBlock(CAlignedBlock&& other) noexcept;
    CAlignedBlock& operator=(CAlignedBlock&& other) noexcept;

    uint8_t* Data() const noexcept { return m_data; }
    size_t Size() const noexcept { return m_size; }

private:
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

class CDirectFile {
public:
    static constexpr size_t Granule = 2048;

    CDirectFile() = default;
    // Waits for the write in flight and closes.
    ~CDirectFile();
    CDirectFile(const CDirectFile&) = delete;
    CDirectFile& operator=(const CDirectFile&) = delete;

    // Creates or empties `name` for writing, and takes the disk space of its first `reserve` bytes
    // where the file system can. With `allowDirect` false every write goes through the page cache.
    // Returns 0 or the errno of the open.
    int Open(const std::string& name, bool allowDirect = true, uint64_t reserve = 0);
    bool IsOpen() const noexcept { return m_fd >= 0; }
    // Whether writes currently bypass the page cache.
    bool IsDirect() const noexcept;

    // Waits for the write in flight, then starts writing `size` bytes from `data` at `position`. Both
    // are multiples of 2048. The block must stay untouched until the next Start, Wait or Close has
    // returned. Returns 0, or the error of the earlier write, and then starts nothing: the error of
    // this one comes with the next call.
    int Start(const void* data, size_t size, uint64_t position);
    // Waits for the write in flight; returns the first error of the writes since the last Wait.
    int Wait();
    // Waits, ends the writer thread and closes; returns the first error not yet returned.
    int Close();

private:
    void Loop();
    // The size of the direct write at `at` of a block that ends at `end`.
    size_t NextPiece(uint64_t at, uint64_t end) const;
    int WriteBlock(const void* data, size_t size, uint64_t position);
    int WriteBuffered(const uint8_t* data, size_t size, uint64_t position);

    int m_fd = -1;         // the file through which writes go
    int m_bufferedFd = -1; // the same file through the page cache, for the writes direct I/O refuses
    std::atomic<bool> m_direct{false}; // m_fd bypasses the page cache
    size_t m_memoryAlign = CAlignedBlock::Alignment;
    uint64_t m_fileBlock = Granule; // the file system's block, when it is a multiple of Granule
    CAlignedBlock m_staging;        // whole blocks of a chunk whose memory lies off the file's block grid
    std::string m_name;

    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    const void* m_data = nullptr; // the block of the write in flight, null when none is
    size_t m_size = 0;
    uint64_t m_position = 0;
    bool m_quit = false;
    int m_error = 0; // first failure since the last Wait
};

} // namespace lxavi
