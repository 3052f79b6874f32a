// OpenDML (AVI 2.0) files in the RIFF file loop: the layout of opendmllayout.h written through direct
// I/O, the size limit probed per file, and the header filled by the codec class.
#pragma once

#include "avifile.h"
#include "opendmllayout.h"

#include <vector>

class CAVIFile20 : public CAVIFile {
public:
    static constexpr uint64_t DefaultSizeLimit20 = lxavi::COpenDMLWriter::DefaultSizeLimit;

    // `chunkId` is "00db" for uncompressed frames, "00dc" for compressed ones.
    CAVIFile20(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener, uint32_t chunkId);
    ~CAVIFile20() override { Stop(); }

    uint64_t GetMaxFileSize() override { return m_layout.SizeLimit(); }
    uint64_t EstimateFileSize(uint64_t frameSize, uint64_t frames) override {
        return lxavi::COpenDMLWriter::EstimateFileSize(frameSize, frames);
    }

protected:
    uint32_t OpenFile(const std::string& name, lxavi::CFileContext& context) override;
    uint32_t CloseFile(lxavi::CFileContext& context) override;
    bool IsFull() override { return m_layout.IsFull(m_frameBytes); }

    // The codec's header block for the present format.
    virtual std::vector<uint8_t> BuildHeader() = 0;
    // What the header tells, from the format and rate of this object.
    lxavi::StreamFormat20 StreamFormat() const;
    // Writes `size` bytes at `data` (8 bytes of room in front, 2056 behind) as the frame `frameIndex`.
    uint32_t WriteChunk(uint8_t* data, uint32_t size, uint32_t frameIndex);

    lxavi::COpenDMLWriter m_layout;
};
