#include "directfile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <new>
#include <utility>

namespace lxavi {

namespace {
constexpr size_t kDirectPiece = size_t(2) << 20;
}

CAlignedBlock::CAlignedBlock(size_t size) {
    const size_t rounded = (size + CDirectFile::Granule - 1) / CDirectFile::Granule * CDirectFile::Granule;
    // aligned_alloc takes only whole multiples of the alignment.
    const size_t allocated = (rounded + Alignment) / Alignment * Alignment;
    m_data = static_cast<uint8_t*>(std::aligned_alloc(Alignment, allocated));
    if (!m_data) throw std::bad_alloc();
    std::memset(m_data, 0, allocated);
    m_size = rounded;
}

CAlignedBlock::~CAlignedBlock() { std::free(m_data); }

CAlignedBlock::CAlignedBlock(CAlignedBlock&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0)) {}

CAlignedBlock& CAlignedBlock::operator=(CAlignedBlock&& other) noexcept {
    if (this != &other) {
        std::free(m_data);
        m_data = std::exchange(other.m_data, nullptr);
        m_size = std::exchange(other.m_size, 0);
    }
    return *this;
}

CDirectFile::~CDirectFile() { Close(); }

bool CDirectFile::IsDirect() const noexcept { return m_direct.load(std::memory_order_relaxed); }

int CDirectFile::Open(const std::string& name, bool allowDirect, uint64_t reserve) {
    Close();
    m_name = name;
    m_bufferedFd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_bufferedFd < 0) return errno;
    m_fd = m_bufferedFd;
    m_direct = false;
    if (allowDirect) {
        // Direct I/O only where the file system takes 2048-byte positions and sizes, and memory of
        // our alignment. Kernels that do not report the alignment get a try: a refused write falls
        // back to the page cache.
        struct statx sx {};
        bool fits = true;
        if (::statx(m_bufferedFd, "", AT_EMPTY_PATH, STATX_DIOALIGN, &sx) == 0 && (sx.stx_mask & STATX_DIOALIGN)) {
            fits = sx.stx_dio_offset_align != 0 && sx.stx_dio_offset_align <= Granule &&
                   sx.stx_dio_mem_align != 0 && sx.stx_dio_mem_align <= CAlignedBlock::Alignment;
            if (fits) m_memoryAlign = sx.stx_dio_mem_align;
        }
        struct stat st {};
        m_fileBlock = Granule;
        if (::fstat(m_bufferedFd, &st) == 0 && st.st_blksize > 0 && st.st_blksize % Granule == 0 &&
            static_cast<size_t>(st.st_blksize) <= kDirectPiece)
            m_fileBlock = static_cast<uint64_t>(st.st_blksize);
        if (fits) {
            const int fd = ::open(name.c_str(), O_WRONLY | O_DIRECT | O_CLOEXEC);
            if (fd >= 0) {
                m_fd = fd;
                m_direct = true;
            }
        }
    }
    // The header is written last: its room is taken now, so that a disk that fills up on the way
    // still takes it.
    (void)::fallocate(m_bufferedFd, 0, 0, static_cast<off_t>(reserve));
    m_quit = false;
    m_error = 0;
    m_data = nullptr;
    try {
        m_thread = std::thread(&CDirectFile::Loop, this);
    } catch (const std::system_error& e) {
        const int error = e.code().value() ? e.code().value() : EAGAIN;
        if (m_fd != m_bufferedFd) ::close(m_fd);
        ::close(m_bufferedFd);
        m_fd = m_bufferedFd = -1;
        return error;
    }
    return 0;
}

int CDirectFile::Start(const void* data, size_t size, uint64_t position) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_data == nullptr; });
    const int error = std::exchange(m_error, 0);
    if (error) return error; // nothing more after a failure: the caller decides what stays
    if (m_fd < 0) return EBADF;
    if (size == 0) return 0;
    m_data = data;
    m_size = size;
    m_position = position;
    m_changed.notify_all();
    return error;
}

int CDirectFile::Wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_data == nullptr; });
    return std::exchange(m_error, 0);
}

int CDirectFile::Close() {
    if (!m_thread.joinable()) return 0;
    int error = Wait();
    {
        std::lock_guard lock(m_mutex);
        m_quit = true;
    }
    m_changed.notify_all();
    m_thread.join();
    if (m_fd != m_bufferedFd && ::close(m_fd) != 0 && !error) error = errno;
    if (::close(m_bufferedFd) != 0 && !error) error = errno;
    m_fd = m_bufferedFd = -1;
    m_direct = false;
    return error;
}

void CDirectFile::Loop() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_quit || m_data != nullptr; });
        if (m_data == nullptr) return; // quit with nothing in flight
        const void* data = m_data;
        const size_t size = m_size;
        const uint64_t position = m_position;
        lock.unlock();
        const int error = WriteBlock(data, size, position);
        lock.lock();
        if (error && !m_error) m_error = error;
        m_data = nullptr;
        m_changed.notify_all();
    }
}

// Pieces of at most 2 MiB: one huge direct write is split by the kernel into requests that the device
// queues all at once, which measured several times slower than a steady stream of moderate writes.
// Chunks lie on 2048-byte boundaries, but a direct write that starts or ends inside a file system
// block takes the file system's slow path (ext4: 3 to 20 times slower on 4096-byte blocks); so the
// first and last pieces of a block that does not start or end on a whole file block are cut to the
// block's edge, and every other piece covers whole file blocks.
size_t CDirectFile::NextPiece(uint64_t at, uint64_t end) const {
    if (at % m_fileBlock != 0) return static_cast<size_t>(std::min(end, (at / m_fileBlock + 1) * m_fileBlock) - at);
    const uint64_t whole = end / m_fileBlock * m_fileBlock; // the last block boundary before the end
    if (whole <= at) return static_cast<size_t>(end - at);
    return static_cast<size_t>(std::min<uint64_t>(whole - at, kDirectPiece));
}

int CDirectFile::WriteBlock(const void* data, size_t size, uint64_t position) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    if (!m_direct || reinterpret_cast<uintptr_t>(bytes) % m_memoryAlign != 0 || size % Granule != 0 ||
        position % Granule != 0)
        return WriteBuffered(bytes, size, position);
    size_t done = 0;
    while (done < size) {
        const size_t piece = NextPiece(position + done, position + size);
        const uint8_t* from = bytes + done;
        // Memory and file offset off by part of a block (a chunk at an odd 2048-byte position) make
        // the device take each page in two pieces, measured about 15 times slower than a copy into
        // block-aligned memory followed by the write.
        if (piece % m_fileBlock == 0 && reinterpret_cast<uintptr_t>(from) % m_fileBlock != 0 &&
            m_fileBlock <= CAlignedBlock::Alignment) {
            if (m_staging.Size() < kDirectPiece) {
                try {
                    m_staging = CAlignedBlock(kDirectPiece);
                } catch (const std::bad_alloc&) {
                    return ENOMEM;
                }
            }
            std::memcpy(m_staging.Data(), from, piece);
            from = m_staging.Data();
        }
        const ssize_t n = ::pwrite(m_fd, from, piece, static_cast<off_t>(position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EINVAL) {
            // The file system refuses our alignment after all: from here on through the page cache.
            ::close(m_fd);
            m_fd = m_bufferedFd;
            m_direct = false;
            return WriteBuffered(bytes + done, size - done, position + done);
        }
        if (n < 0) return errno;
        if (n == 0) return ENOSPC;
        done += static_cast<size_t>(n);
        // A short write leaves an unaligned rest, which the page cache takes.
        if (done < size && done % Granule != 0) return WriteBuffered(bytes + done, size - done, position + done);
    }
    return 0;
}

int CDirectFile::WriteBuffered(const uint8_t* data, size_t size, uint64_t position) {
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pwrite(m_bufferedFd, data + done, size - done, static_cast<off_t>(position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) return ENOSPC;
        done += static_cast<size_t>(n);
    }
    return 0;
}

} // namespace lxavi
