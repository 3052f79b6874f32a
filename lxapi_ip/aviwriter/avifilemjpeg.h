// AVI 1.0 with Motion JPEG frames: a 2048-byte header, one "00dc" chunk per frame number (empty for a
// missing number), and idx1. The file object owns one JPEG encoder, which codes each frame straight into
// a block behind room for the chunk header, so the compressed data are written with no copy.
#pragma once

#include "avi1layout.h"

#include <memory>

namespace lxjpeg {
class CJPEGEncoder;
}

class CAVIFileMJPEG final : public CAVIFile {
public:
    CAVIFileMJPEG(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener);
    ~CAVIFileMJPEG() override;

    uint32_t Prepare() override;

protected:
    uint32_t OpenFile(const std::string& name, lxavi::CFileContext& context) override;
    uint32_t WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) override;
    uint32_t CloseFile(lxavi::CFileContext& context) override;
    uint32_t Cleanup() override;

private:
    std::unique_ptr<lxjpeg::CJPEGEncoder> m_encoder;
    std::unique_ptr<uint8_t[]> m_block; // chunk header, JPEG data, pad byte
    size_t m_blockSize = 0;
    lxavi::CChunkList m_chunks;
};
