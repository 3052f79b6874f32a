// Baseline JPEG encoder: one image to one JFIF stream per call, one MCU row at a time.
//
// Calling order: construct; SetSource; AttachOutput (buffer of 16384 bytes); SetUp (JPEG colour,
// sampling, quality); WriteHeader; WriteData. Each step answers an integer code:
//   0 done, -1 not implemented (a colour pair, sampling or size this encoder does not code),
//   -2 a primitive failed, -3 too many components or tables, -4 buffer overrun, -5 short write,
//   -6 out of memory.
// For one image in one call (the video filer's frames), use EncodeImage below.
#pragma once

#include "jpegkernels.h"
#include "jpegstream.h"

#include <cstddef>
#include <cstdint>

namespace lxjpeg {

// Colour codes.
enum : int32_t { kColourUnknown = 0, kColourGrey = 1, kColourRgb = 2, kColourBgr = 3, kColourYCbCr = 4,
                 kColourCmyk = 5, kColourYcck = 6 };
// Sampling codes: 4:4:4, 4:2:2 (2 by 1), 4:2:0 (2 by 2), and the constructor's "other".
enum : int32_t { kSampling444 = 0, kSampling422 = 1, kSampling420 = 3, kSamplingOther = 4 };

struct CJPEGColorComponent {
    int32_t id = 0;
    int32_t index = 0;
    int32_t hFactor = 1, vFactor = 1;
    int32_t hDecimation = 1, vDecimation = 1;
    int32_t blocksPerMcu = 1;
    int32_t height = 0;
    size_t convertedStep = 0;
    size_t convertedSize = 0;
    size_t subsampledStep = 0;
    size_t subsampledSize = 0;
    int32_t quantSelector = 0, dcSelector = 0, acSelector = 0;
    int16_t lastDc = 0;
    CMemoryBuffer buffers[5]; // [0] colour-converted plane, [1] subsampled plane
};

struct CJPEGEncoderQuantTable {
    uint8_t id = 0;        // 4 bits
    uint8_t precision = 0; // 0: 8-bit values
    bool initialised = false;
    alignas(32) uint8_t values8[64] = {};   // zigzag (file) order
    alignas(32) uint16_t values16[64] = {}; // the same, 16-bit
    ForwardQuantTable forward{};
};

struct CJPEGEncoderHuffmanTable {
    uint8_t id = 0;
    uint8_t tableClass = 0; // 0 DC, 1 AC
    uint8_t counts[16] = {};
    uint8_t values[256] = {};
    HuffmanCodeTable table{};
};

class CJPEGEncoder {
public:
    CJPEGEncoder();
    virtual ~CJPEGEncoder();
    CJPEGEncoder(const CJPEGEncoder&) = delete;
    CJPEGEncoder& operator=(const CJPEGEncoder&) = delete;

    // The source: `channels` bytes (precision 8) or 16-bit words (precision above 8) a pixel, except
    // the packed YCbCr sources (colour 4, sampling 1: 2 bytes a pixel; sampling 3: 12 bits a pixel).
    void SetSource(const void* pixels, uint32_t width, uint32_t height, size_t lineStep, uint32_t precision,
                   uint32_t channels, int32_t colour, int32_t sampling, bool planar = false) noexcept;
    // Borrows `stream` with an output buffer of `bufferSize` bytes, freeing an earlier buffer.
    int32_t AttachOutput(CBaseStream* stream, uint32_t bufferSize = CBitStreamOutput::kBufferSize) noexcept;
    int32_t SetUp(int32_t jpegColour, int32_t jpegSampling, uint32_t quality) noexcept;
    int32_t WriteHeader() noexcept;
    int32_t WriteData() noexcept;
    // Bytes handed to the stream since AttachOutput.
    uint64_t BytesWritten() const noexcept { return m_output.Written(); }

    int32_t ComponentCount() const noexcept { return m_componentCount; }
    const CJPEGColorComponent& Component(int i) const noexcept { return m_components[i]; }

private:
    // The bytes of one source line that the colour step reads.
    size_t SourceLineBytes() const noexcept;
    int32_t Prepare() noexcept;
    int32_t ColourStep(uint32_t row, uint32_t lines) noexcept;
    int32_t SubsampleStep(uint32_t lines) noexcept;
    void TransformStep() noexcept;
    int32_t EntropyStep() noexcept;
    int32_t PutMarker(uint8_t marker) noexcept;
    int32_t PutBytes(const uint8_t* bytes, size_t count) noexcept;

    // Source.
    const uint8_t* m_pixels = nullptr;
    uint32_t m_width = 0, m_height = 0;
    size_t m_lineStep = 0;
    uint32_t m_precision = 8, m_channels = 0;
    int32_t m_sourceColour = kColourUnknown, m_sourceSampling = kSampling444;
    bool m_planar = false;

    CBitStreamOutput m_output;

    // JPEG description.
    int32_t m_componentCount = 0;
    uint32_t m_jpegPrecision = 8;
    int32_t m_jpegSampling = kSamplingOther;
    int32_t m_jpegColour = kColourUnknown;
    uint32_t m_quality = 75;
    uint32_t m_restartInterval = 0;
    int32_t m_mode = 0;
    bool m_ready = false;

    uint32_t m_mcusAcross = 0, m_mcusDown = 0;
    uint32_t m_mcuWidth = 8, m_mcuHeight = 8;
    uint32_t m_paddedWidth = 0, m_paddedHeight = 0;
    uint32_t m_padRight = 0, m_padBottom = 0;
    uint32_t m_restartCounter = 0, m_nextRestart = 0;

    CJPEGColorComponent m_components[4];
    CJPEGEncoderQuantTable m_quant[4];
    CJPEGEncoderHuffmanTable m_dc[4], m_ac[4];
    HuffmanState m_huffman{};
    CMemoryBuffer m_coefficients;
    int16_t* m_coefficientBase[4] = {};
    const KernelTable* m_kernels = nullptr;
};

// How the still writer and the frame encoders describe a source of a given pixel format.
struct JpegSource {
    uint32_t channels;
    uint32_t precision;
    int32_t colour;
    int32_t sampling;
    int32_t jpegColour;
    int32_t jpegSampling;
};
// The description of `pixelFormat` at `width` (the grey sampling depends on it); false for a format
// the encoder does not take (Mono8, Mono10, RGB8, BGR8, YCbCr8, YCbCr422_8, YCbCr411_8 are taken).
bool DescribeSource(uint32_t pixelFormat, uint32_t width, JpegSource& source) noexcept;

// Encodes one image of `pixelFormat` into `stream` at `quality` (above 100 counts as 100); `bytes`
// receives the bytes written. Answers the encoder's code (-1 also for an unknown format).
int32_t EncodeImage(uint32_t pixelFormat, const void* pixels, uint32_t width, uint32_t height, size_t pitch,
                    uint32_t quality, CBaseStream& stream, uint64_t& bytes) noexcept;
// The same into a caller's block of `capacity` bytes; -5 when the stream does not fit.
int32_t EncodeImage(uint32_t pixelFormat, const void* pixels, uint32_t width, uint32_t height, size_t pitch,
                    uint32_t quality, void* block, size_t capacity, size_t& bytes) noexcept;

} // namespace lxjpeg
