// VP8 encoding of video frames through libvpx, one encoder for the life of a file writer's loop.
// Frames in CYCbCr420_8_YY_Cb_Cr_Planar go to the encoder as they are; any other format is first
// converted into a buffer of the encoder's own.
#pragma once

#include <lxapi/clxautoptr.h>
#include <lxapi/ilxconverter.h>
#include <lxapi/ilximage.h>

#include <vpx/vpx_encoder.h>

#include <cstddef>
#include <cstdint>
#include <functional>

class ILxPixelFormatConverter;

class CLxVpx {
public:
    static constexpr uint32_t FourccVP8 = 0x30385056;  // "VP80"
    static constexpr uint32_t KeyFrameInterval = 16;
    static constexpr unsigned long Deadline = 1;        // VPX_DL_REALTIME

    CLxVpx();
    ~CLxVpx();
    CLxVpx(const CLxVpx&) = delete;
    CLxVpx& operator=(const CLxVpx&) = delete;

    void SetFrameRate(double fps) { m_frameRate = fps; }
    void SetQuality(uint32_t quality) { m_quality = quality; }

    // The encoder configuration for a size, as Initialize sets it.
    static vpx_codec_enc_cfg_t Configuration(size_t width, size_t height, double fps, uint32_t quality);

    // Sets the encoder up for frames of this size; throws RuntimeException on an odd or empty size
    // and when libvpx refuses the configuration. On failure the object stays uninitialised.
    void Initialize(size_t width, size_t height, uint32_t fourcc = FourccVP8);
    bool IsInitialized() const { return m_fourcc != 0; }
    uint32_t Fourcc() const { return m_fourcc; }
    size_t Width() const { return m_image.d_w; }
    size_t Height() const { return m_image.d_h; }
    const vpx_codec_enc_cfg_t& Config() const { return m_config; }

    // Key frames are forced every KeyFrameInterval frames only when the encoder does not place them,
    // and on the first frame of every file: the encoder lives on from file to file, and a file that
    // began with an inter frame would not decode.
    vpx_enc_frame_flags_t FlagsFor(uint64_t index, bool firstOfFile) const;

    // Encodes one image with `pts` in frames (a null image drains the encoder) and hands each
    // compressed packet to `sink`. Answers whether any packet came.
    using PacketSink = std::function<void(const vpx_codec_cx_pkt_t&)>;
    bool Encode(ILxImage* image, int64_t pts, vpx_enc_frame_flags_t flags, const PacketSink& sink);

private:
    void Release();

    vpx_codec_ctx_t m_codec{};
    vpx_codec_enc_cfg_t m_config{};
    vpx_image_t m_image{};
    double m_frameRate = 60.0;
    uint32_t m_quality = 75;
    uint32_t m_fourcc = 0;
    unsigned long m_duration = 0;
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> m_converter;
    ILxPixelFormatConverter* m_converterTyped = nullptr;
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_buffer;
};
