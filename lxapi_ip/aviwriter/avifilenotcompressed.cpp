#include "avifilenotcompressed.h"

#include <cerrno>
#include <vector>

namespace {
constexpr uint32_t kFrameChunk = FourCC("00db");
}

uint32_t CAVIFileNotCompressed::OpenFile(const std::string& name, lxavi::CFileContext& context) {
    if (context.file.Open(name) != 0) return ErrorOpen;
    // The 2 GiB of a RIFF file, or less when the disk holds less: the file is closed complete before the
    // disk is full.
    m_sizeLimit = lxavi::ProbeFileSizeLimit(name, DefaultSizeLimit);
    m_chunks.Clear();
    m_position = lxavi::UncompressedDataStart;
    return 0;
}

uint32_t CAVIFileNotCompressed::WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) {
    if (frameIndex == 0) {
        m_chunks.Clear();
        m_position = lxavi::UncompressedDataStart;
    }
    if (image->GetImageLinePitch() != m_linePitch || image->GetImageHeight() != Height()) return EINVAL;
    // A gap in the frame numbers: one empty chunk per missing number, so that players keep the timing.
    if (frameIndex > m_chunks.Count()) {
        const size_t missing = frameIndex - m_chunks.Count();
        std::vector<uint8_t> empty(8 * missing, 0);
        for (size_t i = 0; i < missing; ++i) lxavi::Put32(empty.data() + 8 * i, kFrameChunk);
        if (const int e = context.file.WriteAt(m_position, empty.data(), empty.size())) return static_cast<uint32_t>(e);
        for (size_t i = 0; i < missing; ++i) m_chunks.Add(0);
        m_position += empty.size();
    }
    const uint32_t size = static_cast<uint32_t>(m_frameBytes);
    uint8_t head[8];
    lxavi::Put32(head, kFrameChunk);
    lxavi::Put32(head + 4, size);
    static const uint8_t pad = 0;
    iovec pieces[3] = {{head, 8}, {image->GetImageBuffer(), size}, {const_cast<uint8_t*>(&pad), size & 1u}};
    if (const int e = context.file.WriteAt(m_position, pieces, (size & 1u) ? 3 : 2)) return static_cast<uint32_t>(e);
    m_chunks.Add(size);
    m_position += 8 + size + (size & 1u);
    m_projectedSize = m_position + 8 + 16 * m_chunks.Count();
    return 0;
}

uint32_t CAVIFileNotCompressed::CloseFile(lxavi::CFileContext& context) {
    lxavi::AVI1Header h;
    h.motionJpeg = false;
    h.width = Width();
    h.height = Height();
    h.rate = m_rate;
    h.scale = m_scale;
    h.maxBytesPerSecond = static_cast<uint32_t>((m_rate / m_scale + 1) * static_cast<uint32_t>(m_frameBytes));
    h.quality = 0xFFFFFFFFu;
    h.info = m_info.data();
    h.infoLength = m_infoLength;
    return lxavi::CompleteAVI1File(context, m_position, m_chunks, kFrameChunk, h);
}
