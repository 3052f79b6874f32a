#include "avifile20mjpeg.h"

#include "avifile20header.h"
#include "jpegencoder.h"

#include <lxapi/lxpixelformat.h>

#include <cerrno>
#include <new>

CAVIFile20MJPEG::CAVIFile20MJPEG(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener)
    : CAVIFile20(freeFrames, filledFrames, listener, FourCC("00dc")) {
    // The encoder reads the colour order as it is: no swap on the worker.
    m_encoderSwaps = true;
}

uint32_t CAVIFile20MJPEG::Prepare() {
    // The raw frame size, and room beyond it for the tables of small images and for noise that does
    // not compress: a JPEG that still does not fit is a failed write, never a cut chunk.
    m_capacity = static_cast<size_t>(m_frameBytes + m_frameBytes / 2 + 65536);
    const size_t block = lxavi::COpenDMLWriter::RoomInFront + m_capacity + lxavi::COpenDMLWriter::RoomBehind;
    try {
        m_blocks[0] = lxavi::CAlignedBlock(block);
        m_blocks[1] = lxavi::CAlignedBlock(block);
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
    m_next = 0;
    return 0;
}

std::vector<uint8_t> CAVIFile20MJPEG::BuildHeader() { return lxavi::MJPEGHeader20(StreamFormat()); }

uint32_t CAVIFile20MJPEG::WriteFrame(lxavi::CFileContext&, ILxImage* image, uint32_t frameIndex) {
    if (!m_blocks[0].Data() || image->GetImageLinePitch() != m_linePitch || image->GetImageHeight() != Height())
        return EINVAL;
    // The block used two frames ago: its write ended before the last one began.
    uint8_t* data = m_blocks[m_next].Data() + lxavi::COpenDMLWriter::RoomInFront;
    m_next ^= 1;
    const uint32_t format = BitCount() == 8 ? LxPixelFormat_Mono8 : m_swapColours ? LxPixelFormat_RGB8 : LxPixelFormat_BGR8;
    size_t bytes = 0;
    const int32_t code = lxjpeg::EncodeImage(format, image->GetImageBuffer(), Width(), Height(), m_linePitch, m_quality,
                                             data, m_capacity, bytes);
    if (code != 0) return code == -5 ? EFBIG : EIO;
    return WriteChunk(data, static_cast<uint32_t>(bytes), frameIndex);
}
