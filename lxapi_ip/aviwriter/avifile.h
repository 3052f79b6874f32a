// The RIFF file loop shared by the AVI writers: wait for a name, create its directory, open the file,
// write frames until the span of frame numbers reaches the maximum, the next frame would not fit or a
// write fails, complete and close the file, go on with the next name. The concrete classes lay out the
// file (OpenFile, WriteFrame, CloseFile) and keep the projected size: what the file would measure if it
// were closed now, index included.
#pragma once

#include "videofile.h"

#include <sys/uio.h>

#include <array>
#include <cstdint>
#include <string>

namespace lxavi {

// A file written at explicit offsets. Every call answers 0 or the errno of the failure; a short write
// (a full disk, a size limit) counts as ENOSPC or the error the system gave.
class COutputFile {
public:
    COutputFile() = default;
    ~COutputFile();
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    // Creates or empties `name` for writing.
    int Open(const std::string& name) noexcept;
    bool IsOpen() const noexcept { return m_fd >= 0; }
    // Writes the pieces one after the other from `offset` on.
    int WriteAt(uint64_t offset, const iovec* pieces, int count) noexcept;
    int WriteAt(uint64_t offset, const void* data, size_t size) noexcept {
        iovec piece{const_cast<void*>(data), size};
        return WriteAt(offset, &piece, 1);
    }
    int Truncate(uint64_t size) noexcept;
    int Close() noexcept;

private:
    int m_fd = -1;
};

// What a file being written needs: its name and its handle.
struct CFileContext {
    std::string name;
    COutputFile file;
};

// The size limit of a file about to replace `path`: the kind of its file system caps it (2 GiB, 4 GiB for
// FAT32, `limit` unchanged for file systems without a practical cap), the bytes free to the caller cap it
// further, and the size of an existing file of that name is added, since it is being replaced.
// The process's file size limit (RLIMIT_FSIZE) caps it last. Answers `limit` itself when the file system
// cannot be asked.
uint64_t ProbeFileSizeLimit(const std::string& path, uint64_t limit) noexcept;

// Little-endian stores into a header block.
inline void Put32(uint8_t* p, uint32_t v) noexcept {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
    p[3] = static_cast<uint8_t>(v >> 24);
}
inline void Put16(uint8_t* p, uint16_t v) noexcept {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

} // namespace lxavi

class CAVIFile : public CVideoFile {
public:
    // BITMAPINFOHEADER and 256 palette entries.
    static constexpr size_t InfoBlockSize = 1064;
    static constexpr uint32_t ErrorOpen = 0xE0000009u;
    static constexpr uint32_t ErrorRunning = 12;

    using CVideoFile::CVideoFile;

    void SetFrameRate(double fps) override;
    uint32_t SetFormat(uint32_t width, uint32_t height, uint32_t pitch, uint32_t bitCount, bool swapColours,
                       int32_t mapType, bool inversion, int32_t phase) override;
    uint64_t EstimateFileSize(uint64_t frameSize, uint64_t frames) override { return (frameSize + 24) * frames + 4128; }

    uint32_t GetRate() const { return m_rate; }
    uint32_t GetScale() const { return m_scale; }
    // The worker's last result (0, or the code of the last failure).
    uint32_t GetResult() const { return m_result; }

protected:
    uint32_t Run() override;
    // Each answers 0 or an error code (an errno, or ErrorOpen).
    virtual uint32_t OpenFile(const std::string& name, lxavi::CFileContext& context) = 0;
    virtual uint32_t WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) = 0;
    virtual uint32_t CloseFile(lxavi::CFileContext& context) = 0;
    virtual uint32_t Cleanup() { return 0; }
    // Called with a frame just handed to WriteFrame without failure; answers the frame that may go back
    // to the free queue now (null for none). A writer whose write is still in flight keeps the frame
    // and gives back the one before it.
    virtual CFrameData* KeepWhileWriting(CFrameData* frame) { return frame; }
    virtual bool IsFull() { return GetMaxFileSize() < m_frameBytes + 24 + m_projectedSize; }

    uint32_t Width() const;
    uint32_t Height() const;
    uint32_t BitCount() const;

    uint32_t m_rate = 1;
    uint32_t m_scale = 1;
    uint32_t m_infoLength = 40;
    std::array<uint8_t, InfoBlockSize> m_info{};
    uint64_t m_frameBytes = 0;
    uint64_t m_position = 0;
    uint64_t m_projectedSize = 0;
    uint32_t m_linePitch = 0;
    bool m_swapColours = false;
    bool m_encoderSwaps = false;
    uint32_t m_result = 0;

private:
    // Reports a failure of the file `name` through callback 8, with the system's text for `code`.
    void ReportWriteFailure(const std::string& name, uint32_t code);
    void SwapRedBlue(ILxImage* image) const;
};
