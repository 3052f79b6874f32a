// The baseline JPEG encoder: markers, tables, the MCU-row pipeline and the buffered output.
#include "jpegencoder.h"

#include "jpegtables.h"

#include <lxapi/lxpixelformat.h>

#include <algorithm>
#include <cstring>

namespace lxjpeg {

namespace {

constexpr int32_t kDone = 0, kNotImplemented = -1, kTooMany = -3, kNoMemory = -6;
constexpr uint32_t kMaxDimension = 65535; // SOF0 holds 16-bit sizes
constexpr int32_t kTableSelector[4] = {0, 1, 1, 0};

#define LXJPEG_TRY(expr)                                                                                               \
    do {                                                                                                               \
        const int32_t lxjpegResult_ = (expr);                                                                          \
        if (lxjpegResult_) return lxjpegResult_;                                                                       \
    } while (0)

void SetHuffman(CJPEGEncoderHuffmanTable& t, uint8_t tableClass, uint8_t id, const StandardHuffman& standard) noexcept {
    t.id = id;
    t.tableClass = tableClass;
    std::memcpy(t.counts, standard.counts, 16);
    std::memset(t.values, 0, sizeof t.values);
    std::memcpy(t.values, standard.values, standard.valueCount);
}

// Repeats the last of `filled` samples of each line up to `total`.
void PadRight(uint8_t* plane, size_t step, size_t lines, size_t filled, size_t total) noexcept {
    if (filled == 0 || filled >= total) return;
    for (size_t l = 0; l < lines; ++l) {
        uint8_t* p = plane + l * step;
        std::memset(p + filled, p[filled - 1], total - filled);
    }
}

} // namespace

CJPEGEncoder::CJPEGEncoder() = default;
CJPEGEncoder::~CJPEGEncoder() = default;

void CJPEGEncoder::SetSource(const void* pixels, uint32_t width, uint32_t height, size_t lineStep, uint32_t precision,
                             uint32_t channels, int32_t colour, int32_t sampling, bool planar) noexcept {
    m_pixels = static_cast<const uint8_t*>(pixels);
    m_width = width;
    m_height = height;
    m_lineStep = lineStep;
    m_precision = precision;
    m_channels = channels;
    m_sourceColour = colour;
    m_sourceSampling = sampling;
    m_planar = planar;
    m_ready = false;
}

int32_t CJPEGEncoder::AttachOutput(CBaseStream* stream, uint32_t bufferSize) noexcept {
    // The buffer must hold at least one coded block beside the marker bytes.
    return m_output.Attach(stream, std::max<uint32_t>(bufferSize, 2 * kMaxBlockBytes));
}

int32_t CJPEGEncoder::SetUp(int32_t jpegColour, int32_t jpegSampling, uint32_t quality) noexcept {
    m_ready = false;
    m_mode = 1;
    m_restartInterval = 0;
    m_jpegColour = jpegColour;
    m_quality = std::min<uint32_t>(quality, 100);
    m_jpegPrecision = 8;

    int32_t components = 0;
    switch (jpegColour) {
    case kColourGrey: components = 1; break;
    case kColourRgb:
    case kColourYCbCr: components = 3; break;
    case kColourCmyk:
    case kColourYcck: components = 4; break;
    default: components = static_cast<int32_t>(m_channels); break;
    }
    if (components > 4) return kTooMany;
    if (components < 1) return kNotImplemented;
    if (!m_pixels || m_width == 0 || m_height == 0 || m_width > kMaxDimension || m_height > kMaxDimension)
        return kNotImplemented;
    if (jpegSampling != kSampling444 && jpegSampling != kSampling422 && jpegSampling != kSampling420)
        return kNotImplemented;
    if (m_lineStep < SourceLineBytes()) return kNotImplemented; // the lines would overlap or be cut
    // A one-component scan is read block by block in raster order: an MCU of two blocks side by side
    // keeps that order only when the blocks across are even in number, and a 2 x 2 MCU never does.
    if (components == 1 && jpegSampling != kSampling444 && !(jpegSampling == kSampling422 && ((m_width + 7) / 8) % 2 == 0))
        jpegSampling = kSampling444;
    m_jpegSampling = jpegSampling;
    m_componentCount = components;

    m_mcuWidth = jpegSampling == kSampling444 ? 8 : 16;
    m_mcuHeight = jpegSampling == kSampling420 ? 16 : 8;
    m_mcusAcross = (m_width + m_mcuWidth - 1) / m_mcuWidth;
    m_mcusDown = (m_height + m_mcuHeight - 1) / m_mcuHeight;
    m_paddedWidth = m_mcusAcross * m_mcuWidth;
    m_paddedHeight = m_mcusDown * m_mcuHeight;
    m_padRight = m_paddedWidth - m_width;
    m_padBottom = m_paddedHeight - m_height;

    // Quant tables: luminance as 0, chrominance as 1 with more than one component.
    for (int t = 0; t < (components > 1 ? 2 : 1); ++t) {
        CJPEGEncoderQuantTable& q = m_quant[t];
        q.id = static_cast<uint8_t>(t);
        q.precision = 0;
        std::memcpy(q.values8, t == 0 ? kLuminanceQuant : kChrominanceQuant, 64);
        if (m_quality != 0) ScaleQuantTable(q.values8, m_quality);
        for (int i = 0; i < 64; ++i) q.values16[i] = q.values8[i];
        BuildForwardTable(q.values8, q.forward);
        q.initialised = true;
    }
    for (int t = components > 1 ? 2 : 1; t < 4; ++t) m_quant[t].initialised = false;

    SetHuffman(m_dc[0], 0, 0, kDcLuminance);
    SetHuffman(m_ac[0], 1, 0, kAcLuminance);
    SetHuffman(m_dc[1], 0, 1, kDcChrominance);
    SetHuffman(m_ac[1], 1, 1, kAcChrominance);
    for (int t = 0; t < (components > 1 ? 2 : 1); ++t) {
        if (!BuildHuffmanTable(m_dc[t].counts, m_dc[t].values, m_dc[t].table) ||
            !BuildHuffmanTable(m_ac[t].counts, m_ac[t].values, m_ac[t].table))
            return -2;
    }

    for (int i = 0; i < components; ++i) {
        CJPEGColorComponent& c = m_components[i];
        c.id = i;
        c.index = i;
        const bool luma = i == 0 || i == 3;
        c.hFactor = luma && jpegSampling != kSampling444 ? 2 : 1;
        c.vFactor = luma && jpegSampling == kSampling420 ? 2 : 1;
        c.hDecimation = !luma && jpegSampling != kSampling444 ? 2 : 1;
        c.vDecimation = !luma && jpegSampling == kSampling420 ? 2 : 1;
        c.blocksPerMcu = c.hFactor * c.vFactor;
        c.quantSelector = c.dcSelector = c.acSelector = kTableSelector[i];
    }
    m_ready = true;
    return kDone;
}

size_t CJPEGEncoder::SourceLineBytes() const noexcept {
    const size_t w = m_width;
    if (m_sourceColour == kColourYCbCr && m_sourceSampling == kSampling422) return 2 * w;
    if (m_sourceColour == kColourYCbCr && m_sourceSampling == kSampling420) return (3 * w + 1) / 2;
    return w * (m_channels ? m_channels : 1) * (m_precision > 8 ? 2 : 1);
}

int32_t CJPEGEncoder::Prepare() noexcept {
    size_t blocks = 0;
    for (int i = 0; i < m_componentCount; ++i) {
        CJPEGColorComponent& c = m_components[i];
        c.height = static_cast<int32_t>(m_mcuHeight);
        c.convertedStep = m_paddedWidth;
        c.convertedSize = c.convertedStep * m_mcuHeight;
        c.subsampledStep = m_paddedWidth / c.hDecimation;
        c.subsampledSize = c.subsampledStep * (m_mcuHeight / c.vDecimation);
        if (!c.buffers[0].Allocate(c.convertedSize) || !c.buffers[1].Allocate(c.subsampledSize)) return kNoMemory;
        blocks += static_cast<size_t>(c.blocksPerMcu) * m_mcusAcross;
    }
    if (!m_coefficients.Allocate(blocks * 64 * sizeof(int16_t))) return kNoMemory;
    int16_t* base = reinterpret_cast<int16_t*>(m_coefficients.Data());
    for (int i = 0; i < m_componentCount; ++i) {
        m_coefficientBase[i] = base;
        base += static_cast<size_t>(m_components[i].blocksPerMcu) * m_mcusAcross * 64;
    }
    m_huffman = HuffmanState{};
    return kDone;
}

int32_t CJPEGEncoder::PutMarker(uint8_t marker) noexcept {
    LXJPEG_TRY(m_output.PutByte(0xFF));
    return m_output.PutByte(marker);
}

int32_t CJPEGEncoder::PutBytes(const uint8_t* bytes, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i) LXJPEG_TRY(m_output.PutByte(bytes[i]));
    return kDone;
}

int32_t CJPEGEncoder::WriteHeader() noexcept {
    if (!m_ready) return kNotImplemented;
    LXJPEG_TRY(Prepare());
    LXJPEG_TRY(PutMarker(0xD8)); // SOI
    if (m_jpegColour == kColourGrey || m_jpegColour == kColourYCbCr) {
        static const uint8_t app0[] = {'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0};
        LXJPEG_TRY(PutMarker(0xE0));
        LXJPEG_TRY(m_output.PutWord(0x0010));
        LXJPEG_TRY(PutBytes(app0, sizeof app0));
    } else if (m_jpegColour == kColourRgb || m_jpegColour == kColourCmyk || m_jpegColour == kColourYcck) {
        const uint8_t transform = m_jpegColour == kColourYCbCr ? 1 : m_jpegColour == kColourYcck ? 2 : 0;
        const uint8_t app14[] = {'A', 'd', 'o', 'b', 'e', 0x00, 0x64, 0, 0, 0, 0, transform};
        LXJPEG_TRY(PutMarker(0xEE));
        LXJPEG_TRY(m_output.PutWord(0x000E));
        LXJPEG_TRY(PutBytes(app14, sizeof app14));
    }
    for (int t = 0; t < (m_componentCount > 1 ? 2 : 1); ++t) {
        const CJPEGEncoderQuantTable& q = m_quant[t];
        LXJPEG_TRY(PutMarker(0xDB));
        LXJPEG_TRY(m_output.PutWord(q.precision ? 131 : 67));
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>((q.precision << 4) | q.id)));
        for (int i = 0; i < 64; ++i)
            LXJPEG_TRY(q.precision ? m_output.PutWord(q.values16[i]) : m_output.PutByte(q.values8[i]));
    }
    LXJPEG_TRY(PutMarker(0xC0));
    LXJPEG_TRY(m_output.PutWord(static_cast<uint16_t>(8 + 3 * m_componentCount)));
    LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(m_jpegPrecision)));
    LXJPEG_TRY(m_output.PutWord(static_cast<uint16_t>(m_height)));
    LXJPEG_TRY(m_output.PutWord(static_cast<uint16_t>(m_width)));
    LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(m_componentCount)));
    for (int i = 0; i < m_componentCount; ++i) {
        const CJPEGColorComponent& c = m_components[i];
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(c.id)));
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>((c.hFactor << 4) | c.vFactor)));
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(c.quantSelector)));
    }
    for (int t = 0; t < (m_componentCount > 1 ? 2 : 1); ++t) {
        for (const CJPEGEncoderHuffmanTable* h : {&m_dc[t], &m_ac[t]}) {
            uint32_t total = 0;
            for (uint8_t n : h->counts) total += n;
            LXJPEG_TRY(PutMarker(0xC4));
            LXJPEG_TRY(m_output.PutWord(static_cast<uint16_t>(19 + total)));
            LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>((h->tableClass << 4) | h->id)));
            LXJPEG_TRY(PutBytes(h->counts, 16));
            LXJPEG_TRY(PutBytes(h->values, total));
        }
    }
    return m_output.Flush();
}

int32_t CJPEGEncoder::WriteData() noexcept {
    if (!m_ready || !m_coefficients.Data()) return kNotImplemented;
    m_kernels = &Forms().Get();
    for (int i = 0; i < m_componentCount; ++i) m_components[i].lastDc = 0;
    m_huffman = HuffmanState{};
    m_restartCounter = 0;
    m_nextRestart = 0;

    LXJPEG_TRY(PutMarker(0xDA));
    LXJPEG_TRY(m_output.PutWord(static_cast<uint16_t>(2 * m_componentCount + 6)));
    LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(m_componentCount)));
    for (int i = 0; i < m_componentCount; ++i) {
        const CJPEGColorComponent& c = m_components[i];
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>(c.index)));
        LXJPEG_TRY(m_output.PutByte(static_cast<uint8_t>((c.dcSelector << 4) | c.acSelector)));
    }
    LXJPEG_TRY(m_output.PutByte(0));
    LXJPEG_TRY(m_output.PutByte(63));
    LXJPEG_TRY(m_output.PutByte(0));

    for (uint32_t row = 0; row < m_mcusDown; ++row) {
        const uint32_t lines = std::min(m_mcuHeight, m_height - row * m_mcuHeight);
        LXJPEG_TRY(ColourStep(row, lines));
        LXJPEG_TRY(SubsampleStep(lines));
        TransformStep();
        LXJPEG_TRY(EntropyStep());
    }
    LXJPEG_TRY(m_output.Flush(128));
    m_output.SetUsed(static_cast<uint32_t>(FlushBits(m_output.Data(), m_output.Used(), m_huffman)));
    LXJPEG_TRY(PutMarker(0xD9));
    return m_output.Flush();
}

int32_t CJPEGEncoder::ColourStep(uint32_t row, uint32_t lines) noexcept {
    const uint8_t* src = m_pixels + static_cast<size_t>(row) * m_mcuHeight * m_lineStep;
    const size_t w = m_width;
    uint8_t* p0 = m_components[0].buffers[0].Data();
    const size_t step = m_components[0].convertedStep;
    const bool wide = m_precision > 8;

    if (m_sourceColour == kColourGrey && m_jpegColour == kColourGrey) {
        for (uint32_t l = 0; l < lines; ++l) {
            const uint8_t* s = src + l * m_lineStep;
            uint8_t* d = p0 + l * step;
            if (!wide) {
                std::memcpy(d, s, w);
            } else {
                // Baseline codes 8-bit samples: the upper 8 bits of a deeper sample.
                const uint32_t shift = std::min<uint32_t>(m_precision, 16) - 8;
                for (size_t x = 0; x < w; ++x) {
                    uint16_t v;
                    std::memcpy(&v, s + 2 * x, 2);
                    d[x] = static_cast<uint8_t>(std::min<uint32_t>(v >> shift, 255));
                }
            }
        }
        return kDone;
    }
    if (m_componentCount != 3 && !(m_sourceColour == kColourUnknown && m_jpegColour == kColourUnknown))
        return kNotImplemented;
    if (wide) return kNotImplemented;
    if ((m_sourceColour == kColourRgb || m_sourceColour == kColourBgr) && m_jpegColour == kColourYCbCr) {
        m_kernels->toYCbCr(src, m_lineStep, p0, m_components[1].buffers[0].Data(), m_components[2].buffers[0].Data(),
                           step, w, lines, m_sourceColour == kColourRgb ? 0 : 2);
        return kDone;
    }
    if (m_sourceColour == kColourYCbCr && m_jpegColour == kColourYCbCr && m_sourceSampling == kSampling422 &&
        m_jpegSampling == kSampling422) {
        // Y0 Cb Y1 Cr: luma to its plane, chroma straight to the half-width planes. An odd last pixel
        // has no Cr of its own and takes its left neighbour's.
        uint8_t* cb = m_components[1].buffers[1].Data();
        uint8_t* cr = m_components[2].buffers[1].Data();
        const size_t cstep = m_components[1].subsampledStep, pairs = w / 2;
        for (uint32_t l = 0; l < lines; ++l) {
            const uint8_t* s = src + l * m_lineStep;
            uint8_t *y = p0 + l * step, *b = cb + l * cstep, *r = cr + l * cstep;
            for (size_t i = 0; i < pairs; ++i, s += 4) {
                y[2 * i] = s[0];
                b[i] = s[1];
                y[2 * i + 1] = s[2];
                r[i] = s[3];
            }
            if (w & 1) {
                y[w - 1] = s[0];
                b[pairs] = s[1];
                r[pairs] = pairs ? r[pairs - 1] : 128;
            }
        }
        return kDone;
    }
    if (m_sourceColour == kColourYCbCr && m_jpegColour == kColourYCbCr && m_sourceSampling == kSampling420 &&
        m_jpegSampling == kSampling420) {
        // 4:1:1 packed as Y0 Y1 Cb Y2 Y3 Cr: luma to its plane, each chroma sample over its four pixels
        // (the 2 x 2 box then averages the line pairs). A last group cut by the width reads only the
        // bytes of its pixels; missing chroma is the left neighbour's.
        static constexpr uint8_t kYOffset[4] = {0, 1, 3, 4};
        uint8_t* cb = m_components[1].buffers[0].Data();
        uint8_t* cr = m_components[2].buffers[0].Data();
        const size_t lineBytes = (w * 3 + 1) / 2;
        for (uint32_t l = 0; l < lines; ++l) {
            const uint8_t* s = src + l * m_lineStep;
            uint8_t *y = p0 + l * step, *b = cb + l * step, *r = cr + l * step;
            for (size_t x = 0; x < w; ++x) {
                const size_t g = 6 * (x / 4);
                y[x] = s[g + kYOffset[x & 3]];
                b[x] = g + 2 < lineBytes ? s[g + 2] : x ? b[x - 1] : 128;
                r[x] = g + 5 < lineBytes ? s[g + 5] : x ? r[x - 1] : 128;
            }
        }
        return kDone;
    }
    if ((m_sourceColour == kColourYCbCr && m_jpegColour == kColourYCbCr && m_sourceSampling == kSampling444) ||
        (m_sourceColour == kColourUnknown && m_jpegColour == kColourUnknown)) {
        const uint32_t n = static_cast<uint32_t>(m_componentCount);
        if (m_channels != n) return kNotImplemented;
        for (uint32_t l = 0; l < lines; ++l) {
            const uint8_t* s = src + l * m_lineStep;
            for (uint32_t c = 0; c < n; ++c) {
                uint8_t* d = m_components[c].buffers[0].Data() + l * step;
                for (size_t x = 0; x < w; ++x) d[x] = s[x * n + c];
            }
        }
        return kDone;
    }
    return kNotImplemented;
}

int32_t CJPEGEncoder::SubsampleStep(uint32_t lines) noexcept {
    const bool chromaDone = m_sourceSampling == kSampling422 && m_jpegSampling == kSampling422 &&
                            m_sourceColour == kColourYCbCr;
    for (int i = 0; i < m_componentCount; ++i) {
        CJPEGColorComponent& c = m_components[i];
        if (chromaDone && c.hDecimation == 2) {
            // The colour step wrote these planes at half width already.
            const size_t filled = (m_width + 1) / 2;
            uint8_t* plane = c.buffers[1].Data();
            PadRight(plane, c.subsampledStep, lines, filled, c.subsampledStep);
            for (uint32_t l = lines; l < m_mcuHeight; ++l)
                std::memcpy(plane + l * c.subsampledStep, plane + (lines - 1) * c.subsampledStep, c.subsampledStep);
            continue;
        }
        uint8_t* plane = c.buffers[0].Data();
        const size_t step = c.convertedStep;
        PadRight(plane, step, lines, m_width, m_paddedWidth);
        for (uint32_t l = lines; l < m_mcuHeight; ++l)
            std::memcpy(plane + l * step, plane + (lines - 1) * step, step);
        if (c.hDecimation == 1 && c.vDecimation == 1) continue; // the transform reads the converted plane
        uint8_t* sub = c.buffers[1].Data();
        const size_t outWidth = c.subsampledStep;
        if (c.vDecimation == 1) {
            for (uint32_t l = 0; l < m_mcuHeight; ++l) m_kernels->reduceLine(plane + l * step, sub + l * outWidth, outWidth);
        } else {
            for (uint32_t l = 0; l < m_mcuHeight / 2; ++l)
                m_kernels->reduceTwoLines(plane + 2 * l * step, plane + (2 * l + 1) * step, sub + l * outWidth, outWidth);
        }
    }
    return kDone;
}

void CJPEGEncoder::TransformStep() noexcept {
    const bool chromaDone = m_sourceSampling == kSampling422 && m_jpegSampling == kSampling422 &&
                            m_sourceColour == kColourYCbCr;
    for (int i = 0; i < m_componentCount; ++i) {
        const CJPEGColorComponent& c = m_components[i];
        const bool converted = c.hDecimation == 1 && c.vDecimation == 1 && !(chromaDone && c.hDecimation == 2);
        const uint8_t* plane = converted ? c.buffers[0].Data() : c.buffers[1].Data();
        const size_t step = converted ? c.convertedStep : c.subsampledStep;
        const size_t across = static_cast<size_t>(m_mcusAcross) * c.hFactor;
        const ForwardQuantTable& table = m_quant[c.quantSelector].forward;
        for (int v = 0; v < c.vFactor; ++v)
            m_kernels->forwardDct(plane + static_cast<size_t>(v) * 8 * step, step, across, table,
                                  m_coefficientBase[i] + static_cast<size_t>(v) * across * 64);
    }
}

int32_t CJPEGEncoder::EntropyStep() noexcept {
    const auto encode = m_kernels->encodeBlock;
    for (uint32_t m = 0; m < m_mcusAcross; ++m) {
        for (int i = 0; i < m_componentCount; ++i) {
            CJPEGColorComponent& c = m_components[i];
            const size_t across = static_cast<size_t>(m_mcusAcross) * c.hFactor;
            const HuffmanCodeTable& dc = m_dc[c.dcSelector].table;
            const HuffmanCodeTable& ac = m_ac[c.acSelector].table;
            for (int v = 0; v < c.vFactor; ++v) {
                for (int h = 0; h < c.hFactor; ++h) {
                    if (m_output.Free() < kMaxBlockBytes) LXJPEG_TRY(m_output.Flush());
                    const int16_t* block = m_coefficientBase[i] + (v * across + static_cast<size_t>(m) * c.hFactor + h) * 64;
                    const size_t pos = encode(block, m_output.Data(), m_output.Used(), c.lastDc, dc, ac, m_huffman);
                    m_output.SetUsed(static_cast<uint32_t>(pos));
                }
            }
        }
    }
    return kDone;
}

bool DescribeSource(uint32_t pixelFormat, uint32_t width, JpegSource& s) noexcept {
    // Grey: two blocks side by side per MCU where the blocks across are even in number.
    const int32_t greySampling = ((width & 15) >= 1 && (width & 15) <= 8) ? kSampling444 : kSampling422;
    switch (pixelFormat) {
    case LxPixelFormat_Mono8: s = {1, 8, kColourGrey, kSampling444, kColourGrey, greySampling}; return true;
    case LxPixelFormat_Mono10: s = {1, 10, kColourGrey, kSampling444, kColourGrey, greySampling}; return true;
    case LxPixelFormat_RGB8: s = {3, 8, kColourRgb, kSampling444, kColourYCbCr, kSampling422}; return true;
    case LxPixelFormat_BGR8: s = {3, 8, kColourBgr, kSampling444, kColourYCbCr, kSampling422}; return true;
    case LxPixelFormat_YCbCr8: s = {3, 8, kColourYCbCr, kSampling444, kColourYCbCr, kSampling444}; return true;
    case LxPixelFormat_YCbCr422_8: s = {3, 8, kColourYCbCr, kSampling422, kColourYCbCr, kSampling422}; return true;
    case LxPixelFormat_YCbCr411_8: s = {3, 8, kColourYCbCr, kSampling420, kColourYCbCr, kSampling420}; return true;
    default: return false;
    }
}

int32_t EncodeImage(uint32_t pixelFormat, const void* pixels, uint32_t width, uint32_t height, size_t pitch,
                    uint32_t quality, CBaseStream& stream, uint64_t& bytes) noexcept {
    bytes = 0;
    JpegSource s;
    if (!DescribeSource(pixelFormat, width, s)) return kNotImplemented;
    CJPEGEncoder encoder;
    encoder.SetSource(pixels, width, height, pitch, s.precision, s.channels, s.colour, s.sampling);
    int32_t r = encoder.AttachOutput(&stream);
    if (!r) r = encoder.SetUp(s.jpegColour, s.jpegSampling, quality);
    if (!r) r = encoder.WriteHeader();
    if (!r) r = encoder.WriteData();
    bytes = encoder.BytesWritten();
    return r;
}

int32_t EncodeImage(uint32_t pixelFormat, const void* pixels, uint32_t width, uint32_t height, size_t pitch,
                    uint32_t quality, void* block, size_t capacity, size_t& bytes) noexcept {
    CMemoryOutput out(block, capacity);
    uint64_t written = 0;
    const int32_t r = EncodeImage(pixelFormat, pixels, width, height, pitch, quality, out, written);
    bytes = out.Size();
    return r;
}

} // namespace lxjpeg
