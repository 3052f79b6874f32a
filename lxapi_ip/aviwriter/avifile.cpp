#include "avifile.h"

#include "colormap/lxcolormap.h"
#include "stillimage/lxfile.h"

#include <GenICam/GCException.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace lxavi {

COutputFile::~COutputFile() { Close(); }

int COutputFile::Open(const std::string& name) noexcept {
    Close();
    m_fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return m_fd >= 0 ? 0 : errno;
}

int COutputFile::WriteAt(uint64_t offset, const iovec* pieces, int count) noexcept {
    if (m_fd < 0) return EBADF;
    iovec local[4];
    if (count > 4) return EINVAL;
    std::memcpy(local, pieces, sizeof(iovec) * static_cast<size_t>(count));
    iovec* p = local;
    while (count > 0) {
        const ssize_t n = ::pwritev(m_fd, p, count, static_cast<off_t>(offset));
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (n == 0) return ENOSPC;
        offset += static_cast<uint64_t>(n);
        size_t left = static_cast<size_t>(n);
        while (count > 0 && left >= p->iov_len) {
            left -= p->iov_len;
            ++p;
            --count;
        }
        if (count > 0) {
            p->iov_base = static_cast<uint8_t*>(p->iov_base) + left;
            p->iov_len -= left;
        }
    }
    return 0;
}

int COutputFile::Truncate(uint64_t size) noexcept {
    if (m_fd < 0) return EBADF;
    return ::ftruncate(m_fd, static_cast<off_t>(size)) == 0 ? 0 : errno;
}

int COutputFile::Close() noexcept {
    if (m_fd < 0) return 0;
    const int result = ::close(m_fd) == 0 ? 0 : errno;
    m_fd = -1;
    return result;
}

uint64_t ProbeFileSizeLimit(const std::string& path, uint64_t limit) noexcept {
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? std::string(".") : path.substr(0, slash + 1);
    struct statfs fs {};
    if (::statfs(directory.c_str(), &fs) != 0) return limit;
    // FAT file systems (msdos, vfat) cap a file at 4 GiB; those with 64-bit sizes leave the limit as it
    // is; anything not known caps at 2 GiB.
    constexpr long kMsdos = 0x4d44, kExt = 0xEF53, kXfs = 0x58465342, kBtrfs = 0x9123683E, kTmpfs = 0x01021994,
                   kNtfs = 0x5346544e, kExfat = 0x2011BAB0, kZfs = 0x2FC12FC1, kF2fs = static_cast<long>(0xF2F52010),
                   kOverlay = 0x794c7630;
    const long type = static_cast<long>(fs.f_type);
    if (type == kMsdos)
        limit = 0x100000000ull;
    else if (type != kExt && type != kXfs && type != kBtrfs && type != kTmpfs && type != kNtfs && type != kExfat &&
             type != kZfs && type != kF2fs && type != kOverlay)
        limit = 0x80000000ull;
    struct statvfs vfs {};
    if (::statvfs(directory.c_str(), &vfs) != 0) return limit;
    const uint64_t available = static_cast<uint64_t>(vfs.f_bavail) * vfs.f_frsize;
    if (available < limit) limit = available;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) limit += static_cast<uint64_t>(st.st_size);
    // The process's own file size limit ends a file as surely as a full disk.
    struct rlimit fileSize {};
    if (::getrlimit(RLIMIT_FSIZE, &fileSize) == 0 && fileSize.rlim_cur != RLIM_INFINITY && fileSize.rlim_cur < limit)
        limit = fileSize.rlim_cur;
    return limit;
}

} // namespace lxavi

void CAVIFile::SetFrameRate(double fps) {
    const double scale = 10000.0 / fps;
    if (scale >= 1.0 && scale < 4294967296.0) {
        m_scale = static_cast<uint32_t>(scale);
        m_rate = 10000;
    } else {
        m_scale = 1;
        m_rate = fps >= 1.0 && fps < 4294967296.0 ? static_cast<uint32_t>(fps) : 1;
    }
}

uint32_t CAVIFile::SetFormat(uint32_t width, uint32_t height, uint32_t pitch, uint32_t bitCount, bool swapColours,
                             int32_t mapType, bool inversion, int32_t phase) {
    if (IsStarted()) return ErrorRunning;
    m_swapColours = swapColours;
    m_linePitch = pitch;
    m_frameBytes = static_cast<uint64_t>(height) * pitch;
    m_info.fill(0);
    uint8_t* h = m_info.data();
    lxavi::Put32(h + 0, 40);
    lxavi::Put32(h + 4, width);
    lxavi::Put32(h + 8, height);
    lxavi::Put16(h + 12, 1);
    lxavi::Put16(h + 14, static_cast<uint16_t>(bitCount));
    lxavi::Put32(h + 16, 0);
    lxavi::Put32(h + 20, static_cast<uint32_t>(m_frameBytes));
    if (bitCount > 8) {
        m_infoLength = 40;
    } else {
        m_infoLength = static_cast<uint32_t>(InfoBlockSize);
        lxavi::Put32(h + 32, 256);
        lxavi::Put32(h + 36, 256);
        // Palette entries are blue, green, red and a zero byte: the colour map's own layout.
        lxip::ColorMapEntry map[256];
        lxip::BuildColorMap(map, mapType, inversion, phase);
        for (int i = 0; i < 256; ++i) lxavi::Put32(h + 40 + 4 * i, map[i]);
    }
    return 0;
}

uint32_t CAVIFile::Width() const { return static_cast<uint32_t>(m_info[4] | m_info[5] << 8 | m_info[6] << 16 | m_info[7] << 24); }
uint32_t CAVIFile::Height() const {
    return static_cast<uint32_t>(m_info[8] | m_info[9] << 8 | m_info[10] << 16 | m_info[11] << 24);
}
uint32_t CAVIFile::BitCount() const { return static_cast<uint32_t>(m_info[14] | m_info[15] << 8); }

void CAVIFile::SwapRedBlue(ILxImage* image) const {
    auto* base = static_cast<uint8_t*>(image->GetImageBuffer());
    const uint32_t width = Width(), height = Height();
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t* p = base + static_cast<size_t>(y) * m_linePitch;
        for (uint32_t x = 0; x < width; ++x, p += 3) std::swap(p[0], p[2]);
    }
}

void CAVIFile::ReportWriteFailure(const std::string& name, uint32_t code) {
    try {
        m_listener.OnException(RUNTIME_EXCEPTION("File %s is unwritable. (%s)", name.c_str(),
                                                 std::strerror(static_cast<int>(code))));
    } catch (...) {
    }
}

uint32_t CAVIFile::Run() {
    CEventObject* stop = GetStopEvent();
    for (;;) {
        m_position = 0;
        m_projectedSize = 0;
        // A stop ends the loop once the frames already queued are written, as far as names last.
        if (stop->IsSet() && m_filledFrames.Size() == 0) break;
        if (CEventObject::WaitAny({m_listener.GetNameEvent(), stop}, LxWaitInfinite) != 0) break;
        std::string name;
        try {
            if (!m_listener.GetNextFileName(name)) continue;
            lxfile::CreateParentDirectories(name);
        } catch (const std::bad_alloc& e) {
            m_listener.OnException(GenICam::GenericException(e.what(), __FILE__, __LINE__, "BadAllocException"));
            continue;
        }
        lxavi::CFileContext context;
        context.name = name;
        if (OpenFile(name, context) != 0) {
            m_listener.OnException(
                GenICam::GenericException(("File " + name + " could not be opened.").c_str(), __FILE__, __LINE__,
                                          "RuntimeException"));
            continue;
        }
        m_listener.OnFileOpened(name);
        m_projectedSize = m_position;

        bool stopped = false;
        bool haveBase = false;
        uint64_t base = 0;
        for (;;) {
            // Queued frames come before the stop: what the caller handed over reaches the file.
            if (CEventObject::WaitAny({m_filledFrames.GetEvent(), stop}, LxWaitInfinite) != 0) {
                stopped = true;
                break;
            }
            CFrameData* frame = m_filledFrames.Pop();
            if (!frame) continue;
            if (!haveBase) {
                base = frame->frameNumber;
                haveBase = true;
            }
            // The span is measured in 64 bits: a jump of 2^32 numbers or more is never taken for a small index.
            const uint64_t span = frame->frameNumber - base;
            if (span >= m_maximumFrameCount) {
                m_filledFrames.PushFront(frame);
                break;
            }
            uint32_t code = 0;
            try {
                if (m_swapColours && !m_encoderSwaps && BitCount() == 24) SwapRedBlue(frame->Image());
                code = WriteFrame(context, frame->Image(), static_cast<uint32_t>(span));
            } catch (const GenICam::GenericException& e) {
                code = EIO;
                m_listener.OnException(e);
            } catch (const std::exception& e) {
                code = ENOMEM;
                m_listener.OnException(GenICam::GenericException(e.what(), __FILE__, __LINE__, "BadAllocException"));
            }
            if (code == 0) frame = KeepWhileWriting(frame);
            if (frame) m_freeFrames.PushFront(frame);
            if (code != 0) {
                m_result = code;
                if (code != EIO && code != ENOMEM) ReportWriteFailure(name, code);
                break;
            }
            if (IsFull()) break;
        }
        const uint32_t closed = CloseFile(context);
        if (closed != 0) {
            m_result = closed;
            ReportWriteFailure(name, closed);
        }
        m_listener.OnFileClosed(name);
        if (stopped) break;
    }
    if (const uint32_t cleaned = Cleanup()) m_result = cleaned;
    m_finished.Set();
    return m_result;
}
