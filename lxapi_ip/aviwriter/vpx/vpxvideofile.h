// The file object of WebM files: a CVideoFile with a file loop of its own that encodes each frame
// with VP8 (CLxVpx) and muxes it into a WebM file (CVpxWebMWriter). Frames come in
// CYCbCr420_8_YY_Cb_Cr_Planar, or Mono8, which the encoder converts itself.
#pragma once

#include "aviwriter/videofile.h"
#include "clxvpx.h"

#include <cstdint>

class CVpxVideoFile : public CVideoFile {
public:
    // Files end before they pass 1 TiB.
    static constexpr uint64_t SizeLimit = 0x10000000000ull;

    CVpxVideoFile(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener);
    ~CVpxVideoFile() override;

    void SetFrameRate(double fps) override { m_frameRate = fps; }
    double FrameRate() const { return m_frameRate; }
    uint32_t SetFormat(uint32_t width, uint32_t height, uint32_t pitch, uint32_t bitCount, bool swapColours,
                       int32_t mapType, bool inversion, int32_t phase) override;
    uint64_t EstimateFileSize(uint64_t, uint64_t) override { return SizeLimit; }

protected:
    uint32_t Run() override;

private:
    CLxVpx m_vpx;
    double m_frameRate = 60.0;
};
