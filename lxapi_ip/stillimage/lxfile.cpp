#include "lxfile.h"

#include <GenICam/GCException.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace lxfile {

namespace {
// Small writes gather up to this many bytes before one call hands them over.
constexpr size_t kGatherBytes = size_t{1} << 20;
// Lines per gathered write of WriteRows: two pieces a line (the line and its padding).
constexpr size_t kRowsPerCall = IOV_MAX / 2;
const uint8_t kZeros[16] = {};

// Moves all `total` bytes of the `n` pieces through readv or writev, which may take part of the list
// at a time; false when the call fails or the file ends first.
bool TransferAll(int fd, iovec* pieces, size_t n, size_t total, ssize_t (*call)(int, const iovec*, int)) {
    size_t at = 0;
    while (total > 0) {
        const ssize_t moved = call(fd, pieces + at, static_cast<int>(n - at));
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) return false;
        size_t left = static_cast<size_t>(moved);
        total -= left;
        while (at < n && left >= pieces[at].iov_len) left -= pieces[at++].iov_len;
        if (left) {
            pieces[at].iov_base = static_cast<uint8_t*>(pieces[at].iov_base) + left;
            pieces[at].iov_len -= left;
        }
    }
    return true;
}
} // namespace

void ThrowUnwritable(const std::string& name) { throw RUNTIME_EXCEPTION("File %s is unwritable.", name.c_str()); }
void ThrowUnreadable(const std::string& name) { throw RUNTIME_EXCEPTION("File %s is unreadable.", name.c_str()); }
void ThrowNotOpened(const std::string& name) { throw RUNTIME_EXCEPTION("File %s could not be opened.", name.c_str()); }

void CreateParentDirectories(const std::string& name) noexcept {
    // The first character is not looked at: "/file" names the root, which exists.
    const size_t slash = name.size() > 1 ? name.find_last_of('/') : std::string::npos;
    if (slash == std::string::npos || slash == 0) return;
    try {
        std::error_code ignored;
        std::filesystem::create_directories(std::filesystem::path(name.substr(0, slash)), ignored);
    } catch (...) {
        // out of memory for the path: the open that follows tells
    }
}

CFile::~CFile() {
    if (m_fd >= 0) ::close(m_fd);
}

bool CFile::Open(const std::string& name, Mode mode) noexcept {
    if (m_fd >= 0) return false;
    try {
        m_name = name;
    } catch (...) {
        return false;
    }
    const int flags = mode == Mode::Read ? O_RDONLY | O_CLOEXEC : O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    int fd;
    do {
        fd = ::open(name.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return false;
    struct stat st;
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        ::close(fd);
        return false;
    }
    m_fd = fd;
    m_mode = mode;
    m_gathered = 0;
    return true;
}

void CFile::OpenForWriting(const std::string& name) {
    if (!Open(name, Mode::Write)) ThrowUnwritable(name);
}

void CFile::OpenForReading(const std::string& name) {
    if (!Open(name, Mode::Read)) ThrowNotOpened(name);
}

void CFile::WriteDirect(const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size > 0) {
        const ssize_t n = ::write(m_fd, p, std::min<size_t>(size, SSIZE_MAX));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ThrowUnwritable(m_name);
        p += n;
        size -= static_cast<size_t>(n);
    }
}

void CFile::Write(const void* data, size_t size) {
    if (m_fd < 0 || m_mode != Mode::Write) ThrowUnwritable(m_name);
    if (size >= kGatherBytes / 2) { // large blocks go as they are
        Flush();
        WriteDirect(data, size);
        return;
    }
    if (m_gather.empty()) m_gather.resize(kGatherBytes);
    if (m_gathered + size > m_gather.size()) Flush();
    std::memcpy(m_gather.data() + m_gathered, data, size);
    m_gathered += size;
}

void CFile::WriteRows(const uint8_t* first, ptrdiff_t step, size_t rows, size_t rowBytes, size_t padBytes) {
    if (m_fd < 0 || m_mode != Mode::Write || padBytes > sizeof kZeros) ThrowUnwritable(m_name);
    Flush();
    if (rowBytes == 0) { // nothing but padding
        for (size_t y = 0; y < rows; ++y) Write(kZeros, padBytes);
        Flush();
        return;
    }
    iovec pieces[2 * kRowsPerCall];
    for (size_t done = 0; done < rows;) {
        const size_t count = std::min(rows - done, kRowsPerCall);
        size_t n = 0, total = 0;
        for (size_t i = 0; i < count; ++i) {
            const uint8_t* row = first + static_cast<ptrdiff_t>(done + i) * step;
            pieces[n++] = {const_cast<uint8_t*>(row), rowBytes};
            if (padBytes) pieces[n++] = {const_cast<uint8_t*>(kZeros), padBytes};
            total += rowBytes + padBytes;
        }
        if (!TransferAll(m_fd, pieces, n, total, ::writev)) ThrowUnwritable(m_name);
        done += count;
    }
}

void CFile::Flush() {
    if (m_gathered == 0) return;
    const size_t n = m_gathered;
    m_gathered = 0;
    WriteDirect(m_gather.data(), n);
}

void CFile::Close() {
    if (m_fd < 0) return;
    const bool writing = m_mode == Mode::Write;
    bool failed = false;
    if (writing) {
        try {
            Flush();
        } catch (...) {
            failed = true;
        }
    }
    const int fd = m_fd;
    m_fd = -1;
    // close() reports late write errors of some file systems; it is not retried on EINTR on Linux.
    if (::close(fd) != 0 && errno != EINTR) failed = true;
    if (writing && failed) ThrowUnwritable(m_name);
}

size_t CFile::Read(void* data, size_t size) noexcept {
    if (m_fd < 0) return 0;
    auto* p = static_cast<uint8_t*>(data);
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::read(m_fd, p + done, std::min<size_t>(size - done, SSIZE_MAX));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    return done;
}

void CFile::ReadExact(void* data, size_t size) {
    if (Read(data, size) != size) ThrowUnreadable(m_name);
}

void CFile::ReadRows(uint8_t* first, ptrdiff_t step, size_t rows, size_t rowBytes, size_t padBytes) {
    uint8_t skipped[16];
    if (m_fd < 0 || padBytes > sizeof skipped) ThrowUnreadable(m_name);
    iovec pieces[2 * kRowsPerCall];
    for (size_t done = 0; done < rows;) {
        const size_t count = std::min(rows - done, kRowsPerCall);
        size_t n = 0, total = 0;
        for (size_t i = 0; i < count; ++i) {
            if (rowBytes) pieces[n++] = {first + static_cast<ptrdiff_t>(done + i) * step, rowBytes};
            if (padBytes) pieces[n++] = {skipped, padBytes};
            total += rowBytes + padBytes;
        }
        if (!TransferAll(m_fd, pieces, n, total, ::readv)) ThrowUnreadable(m_name);
        done += count;
    }
}

bool CFile::Seek(uint64_t offset) noexcept {
    if (m_fd < 0 || offset > static_cast<uint64_t>(INT64_MAX)) return false;
    return ::lseek(m_fd, static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset);
}

bool CFile::Length(uint64_t* length) const noexcept {
    struct stat st;
    if (m_fd < 0 || ::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0) return false;
    *length = static_cast<uint64_t>(st.st_size);
    return true;
}

} // namespace lxfile
