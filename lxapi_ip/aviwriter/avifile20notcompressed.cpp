#include "avifile20notcompressed.h"

#include "avifile20header.h"

#include <cerrno>
#include <utility>

CAVIFile20NotCompressed::CAVIFile20NotCompressed(CFrameQueue& freeFrames, CFrameQueue& filledFrames,
                                                 IAVIFileStatusListener& listener)
    : CAVIFile20(freeFrames, filledFrames, listener, FourCC("00db")) {}

CAVIFile20NotCompressed::~CAVIFile20NotCompressed() {
    Stop();
    // Run has closed the file, which gave the frame back; this is for a worker that never ran.
    if (m_inFlight) m_freeFrames.PushFront(std::exchange(m_inFlight, nullptr));
}

std::vector<uint8_t> CAVIFile20NotCompressed::BuildHeader() { return lxavi::NotCompressedHeader20(StreamFormat()); }

uint32_t CAVIFile20NotCompressed::WriteFrame(lxavi::CFileContext&, ILxImage* image, uint32_t frameIndex) {
    if (image->GetImageLinePitch() != m_linePitch || image->GetImageHeight() != Height()) return EINVAL;
    // No copy: the chunk header goes into the 8 bytes in front of the pixels, pad and fill behind them.
    return WriteChunk(static_cast<uint8_t*>(image->GetImageBuffer()), static_cast<uint32_t>(m_frameBytes), frameIndex);
}

CFrameData* CAVIFile20NotCompressed::KeepWhileWriting(CFrameData* frame) {
    // WriteChunk waited for the write before this one: the frame kept since is free again. With no
    // free frame left the caller may be waiting for one: this frame's write is waited for and the
    // frame given back at once (an error stays with the layout, for the next chunk or the close).
    if (m_freeFrames.Size() == 0) {
        m_layout.WaitLastWrite();
        if (m_inFlight) m_freeFrames.PushFront(std::exchange(m_inFlight, nullptr));
        return frame;
    }
    return std::exchange(m_inFlight, frame);
}

uint32_t CAVIFile20NotCompressed::CloseFile(lxavi::CFileContext& context) {
    const uint32_t result = CAVIFile20::CloseFile(context); // waits for the last write
    if (m_inFlight) m_freeFrames.PushFront(std::exchange(m_inFlight, nullptr));
    return result;
}
