// The file object of the video filer: a worker thread that takes converted frames from the filled
// queue, writes them into files named by the listener, and gives the frames back to the free queue.
// Subclasses by container and codec: CAVIFile (the RIFF file loop) with CAVIFileNotCompressed and
// CAVIFileMJPEG for AVI 1.0, the OpenDML classes beside them, and a WebM writer straight on CVideoFile.
#pragma once

#include "framequeue.h"

#include <GenICam/GCException.h>
#include <lxsdkcommon/worker.h>

#include <string>

// The module's side, called on the worker thread.
class IAVIFileStatusListener {
public:
    // Takes the next registered name; false when there is none.
    virtual bool GetNextFileName(std::string& name) = 0;
    // Set while names are waiting.
    virtual CEventObject* GetNameEvent() = 0;
    virtual void OnFileOpened(const std::string& name) = 0;
    virtual void OnFileClosed(const std::string& name) = 0;
    virtual void OnException(const GenICam::GenericException& exception) = 0;

protected:
    virtual ~IAVIFileStatusListener() = default;
};

class CVideoFile : public CWorker {
public:
    static constexpr uint64_t DefaultSizeLimit = 0x80000000ull;

    CVideoFile(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener)
        : CWorker("LxApi_IP_Video"), m_freeFrames(freeFrames), m_filledFrames(filledFrames), m_listener(listener) {}

    // The largest file this object writes.
    virtual uint64_t GetMaxFileSize() { return m_sizeLimit; }
    virtual void SetFrameRate(double fps) = 0;
    // True when frames are to be stored last line first.
    virtual bool IsBottomUp() { return false; }
    // Fixes the frames' geometry; answers 12 while the worker runs, else 0.
    virtual uint32_t SetFormat(uint32_t width, uint32_t height, uint32_t pitch, uint32_t bitCount, bool swapColours,
                               int32_t mapType, bool inversion, int32_t phase) = 0;
    // Readies encoder and buffers; the worker is started only when this answers 0.
    virtual uint32_t Prepare() { return 0; }
    virtual uint64_t EstimateFileSize(uint64_t frameSize, uint64_t frames) = 0;

    void SetCompressor(uint32_t fourcc) { m_compressor = fourcc; }
    void SetQuality(uint32_t quality) { m_quality = quality; }
    void SetMaximumFrameCount(uint32_t count) { m_maximumFrameCount = count; }
    // Set when Run has ended; cleared by the module before the worker starts.
    CEventObject& FinishedEvent() { return m_finished; }

protected:
    CFrameQueue& m_freeFrames;
    CFrameQueue& m_filledFrames;
    IAVIFileStatusListener& m_listener;
    uint32_t m_compressor = 0;
    uint32_t m_quality = 75;
    uint64_t m_sizeLimit = DefaultSizeLimit;
    uint32_t m_maximumFrameCount = 600;
    CEventObject m_finished{true, LxEventReset::Manual};
};

// FourCC codes, first character in the lowest byte.
constexpr uint32_t FourCC(const char (&s)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(s[0])) | static_cast<uint32_t>(static_cast<uint8_t>(s[1])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[2])) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(s[3])) << 24;
}
