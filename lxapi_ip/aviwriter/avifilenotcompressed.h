// AVI 1.0 with uncompressed DIB frames: a 4096-byte header (with the palette of Mono8 frames), one "00db"
// chunk per frame number, bottom-up rows, and idx1.
#pragma once

#include "avi1layout.h"

class CAVIFileNotCompressed final : public CAVIFile {
public:
    using CAVIFile::CAVIFile;
    ~CAVIFileNotCompressed() override { Stop(); }

    bool IsBottomUp() override { return true; }

protected:
    uint32_t OpenFile(const std::string& name, lxavi::CFileContext& context) override;
    uint32_t WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) override;
    uint32_t CloseFile(lxavi::CFileContext& context) override;

private:
    lxavi::CChunkList m_chunks;
};
