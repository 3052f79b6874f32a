// OpenDML files of Motion JPEG frames, one JFIF image per chunk "00dc". Each frame is encoded into a
// block of the file object's own, with room for the chunk header in front and the fill behind; two
// blocks take turns, so that one is encoded while the other is being written.
#pragma once

#include "avifile20.h"

class CAVIFile20MJPEG final : public CAVIFile20 {
public:
    CAVIFile20MJPEG(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener);
    ~CAVIFile20MJPEG() override { Stop(); }

    uint32_t Prepare() override;

protected:
    std::vector<uint8_t> BuildHeader() override;
    uint32_t WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) override;

private:
    lxavi::CAlignedBlock m_blocks[2];
    size_t m_capacity = 0; // JPEG bytes a block takes
    unsigned m_next = 0;
};
