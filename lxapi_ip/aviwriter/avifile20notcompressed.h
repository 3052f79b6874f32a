// OpenDML files of uncompressed DIB frames, bottom-up, as chunks "00db". The frame goes to the disk
// from the pool's own memory: it stays out of the free queue until its write has ended.
#pragma once

#include "avifile20.h"

class CAVIFile20NotCompressed final : public CAVIFile20 {
public:
    CAVIFile20NotCompressed(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener);
    ~CAVIFile20NotCompressed() override;

    bool IsBottomUp() override { return true; }

protected:
    std::vector<uint8_t> BuildHeader() override;
    uint32_t WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) override;
    CFrameData* KeepWhileWriting(CFrameData* frame) override;
    uint32_t CloseFile(lxavi::CFileContext& context) override;

private:
    CFrameData* m_inFlight = nullptr; // the frame whose write may not have ended
};
