#include "avifile20.h"

CAVIFile20::CAVIFile20(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener,
                       uint32_t chunkId)
    : CAVIFile(freeFrames, filledFrames, listener), m_layout(chunkId) {
    m_sizeLimit = DefaultSizeLimit20;
}

lxavi::StreamFormat20 CAVIFile20::StreamFormat() const {
    lxavi::StreamFormat20 f;
    f.width = Width();
    f.height = Height();
    f.pitch = m_linePitch;
    f.bitCount = static_cast<uint16_t>(BitCount());
    f.rate = m_rate;
    f.scale = m_scale;
    f.maxFrames = m_maximumFrameCount;
    f.quality = m_quality;
    f.palette = m_infoLength > 40 ? m_info.data() + 40 : nullptr;
    return f;
}

uint32_t CAVIFile20::OpenFile(const std::string& name, lxavi::CFileContext&) {
    if (!m_layout.SetHeader(BuildHeader())) return ErrorOpen;
    // Probed before the file is created, so that a file of that name, about to be replaced, counts.
    m_layout.SetSizeLimit(lxavi::ProbeFileSizeLimit(name, DefaultSizeLimit20));
    if (m_layout.Open(name) != 0) return ErrorOpen;
    m_position = lxavi::COpenDMLWriter::DataStart;
    m_projectedSize = m_layout.ProjectedSize();
    return 0;
}

uint32_t CAVIFile20::WriteChunk(uint8_t* data, uint32_t size, uint32_t frameIndex) {
    const int error = m_layout.WriteChunk(data, size, frameIndex);
    m_projectedSize = m_layout.ProjectedSize();
    return static_cast<uint32_t>(error);
}

uint32_t CAVIFile20::CloseFile(lxavi::CFileContext&) { return static_cast<uint32_t>(m_layout.Close()); }
