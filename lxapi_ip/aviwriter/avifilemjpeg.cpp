#include "avifilemjpeg.h"

#include "jpegencoder.h"
#include "jpegstream.h"

#include <lxapi/lxpixelformat.h>

#include <cerrno>
#include <new>
#include <vector>

namespace {
constexpr uint32_t kFrameChunk = FourCC("00dc");
// The encoder's answer for a stream that outgrew its block.
constexpr int32_t kShortWrite = -5;
} // namespace

CAVIFileMJPEG::CAVIFileMJPEG(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener)
    : CAVIFile(freeFrames, filledFrames, listener) {
    // The encoder reads blue-first pixels itself: the worker never swaps.
    m_encoderSwaps = true;
}

CAVIFileMJPEG::~CAVIFileMJPEG() {
    Stop();
    Cleanup();
}

uint32_t CAVIFileMJPEG::Prepare() {
    try {
        m_encoder = std::make_unique<lxjpeg::CJPEGEncoder>();
        // The raw frame size bounds a JPEG of natural images; noise at high quality can pass it, so the
        // block holds twice that and a margin, with the chunk header in front and the pad byte behind.
        m_blockSize = 8 + 2 * m_frameBytes + 65536 + 1;
        m_block.reset(new uint8_t[m_blockSize]);
    } catch (const std::bad_alloc&) {
        Cleanup();
        return ENOMEM;
    }
    return 0;
}

uint32_t CAVIFileMJPEG::Cleanup() {
    m_encoder.reset();
    m_block.reset();
    m_blockSize = 0;
    return 0;
}

uint32_t CAVIFileMJPEG::OpenFile(const std::string& name, lxavi::CFileContext& context) {
    if (context.file.Open(name) != 0) return ErrorOpen;
    m_sizeLimit = lxavi::ProbeFileSizeLimit(name, DefaultSizeLimit);
    m_chunks.Clear();
    m_position = lxavi::MotionJpegDataStart;
    return 0;
}

uint32_t CAVIFileMJPEG::WriteFrame(lxavi::CFileContext& context, ILxImage* image, uint32_t frameIndex) {
    if (!m_encoder || !m_block) return ENOMEM;
    if (frameIndex == 0) {
        m_chunks.Clear();
        m_position = lxavi::MotionJpegDataStart;
    }
    const uint32_t width = Width(), height = Height();
    const uint32_t format = BitCount() == 8 ? LxPixelFormat_Mono8 : LxPixelFormat_BGR8;
    if (image->GetImageWidth() != width || image->GetImageHeight() != height) return EINVAL;
    lxjpeg::JpegSource s;
    if (!lxjpeg::DescribeSource(format, width, s)) return EINVAL;
    lxjpeg::CMemoryOutput out(m_block.get() + 8, m_blockSize - 9);
    m_encoder->SetSource(image->GetImageBuffer(), width, height, m_linePitch, s.precision, s.channels, s.colour,
                         s.sampling);
    int32_t r = m_encoder->AttachOutput(&out);
    if (!r) r = m_encoder->SetUp(s.jpegColour, s.jpegSampling, m_quality);
    if (!r) r = m_encoder->WriteHeader();
    if (!r) r = m_encoder->WriteData();
    if (r) return r == kShortWrite ? EOVERFLOW : EIO;

    if (frameIndex > m_chunks.Count()) {
        const size_t missing = frameIndex - m_chunks.Count();
        std::vector<uint8_t> empty(8 * missing, 0);
        for (size_t i = 0; i < missing; ++i) lxavi::Put32(empty.data() + 8 * i, kFrameChunk);
        if (const int e = context.file.WriteAt(m_position, empty.data(), empty.size())) return static_cast<uint32_t>(e);
        for (size_t i = 0; i < missing; ++i) m_chunks.Add(0);
        m_position += empty.size();
    }
    const uint32_t size = static_cast<uint32_t>(out.Size());
    lxavi::Put32(m_block.get(), kFrameChunk);
    lxavi::Put32(m_block.get() + 4, size);
    if (size & 1u) m_block[8 + size] = '0';
    const size_t total = 8 + size + (size & 1u);
    if (const int e = context.file.WriteAt(m_position, m_block.get(), total)) return static_cast<uint32_t>(e);
    m_chunks.Add(size);
    m_position += total;
    m_projectedSize = m_position + 8 + 16 * m_chunks.Count();
    return 0;
}

uint32_t CAVIFileMJPEG::CloseFile(lxavi::CFileContext& context) {
    lxavi::AVI1Header h;
    h.motionJpeg = true;
    h.width = Width();
    h.height = Height();
    h.rate = m_rate;
    h.scale = m_scale;
    h.maxBytesPerSecond = (m_rate / m_scale + 1) * (h.width * h.height * 3);
    h.quality = m_quality * 100;
    return lxavi::CompleteAVI1File(context, m_position, m_chunks, kFrameChunk, h);
}
