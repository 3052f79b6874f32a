#include "clxvpx.h"

#include "lxiputil.h"
#include "lxpixelformatconverter.h"
#include "support/lxinside.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <vpx/vp8cx.h>

CLxVpx::CLxVpx() = default;

CLxVpx::~CLxVpx() { Release(); }

void CLxVpx::Release() {
    if (m_fourcc) vpx_codec_destroy(&m_codec);
    m_fourcc = 0;
}

// Bit rate budget of 12 bits a pixel a second; quantizers from the quality, a window of 30 steps
// above the lowest, capped at the encoder's top of 63. With quality below 37 the lowest quantizer is
// above 63 and libvpx refuses the configuration.
vpx_codec_enc_cfg_t CLxVpx::Configuration(size_t width, size_t height, double fps, uint32_t quality) {
    vpx_codec_enc_cfg_t c{};
    if (vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &c, 0) != VPX_CODEC_OK)
        throw RUNTIME_EXCEPTION("Failed to get default codec config.");
    c.g_threads = 2;
    c.g_w = unsigned(width);
    c.g_h = unsigned(height);
    c.g_timebase.num = 100;
    c.g_timebase.den = int(fps * 100);
    c.g_error_resilient = 1;
    c.g_lag_in_frames = 0;
    c.rc_target_bitrate = unsigned(double(width) * double(height) * fps * 12 / 1000);
    c.rc_min_quantizer = 100 - quality;
    c.rc_max_quantizer = c.rc_min_quantizer < 33 ? c.rc_min_quantizer + 30 : 63;
    c.kf_mode = VPX_KF_AUTO;
    return c;
}

void CLxVpx::Initialize(size_t width, size_t height, uint32_t fourcc) {
    if (width == 0 || height == 0 || width % 2 || height % 2 || width > 16384 || height > 16384)
        throw RUNTIME_EXCEPTION("Invalid frame size: %zu x %zu.", width, height);
    Release();
    // The time base's denominator must be a positive int: frame rates of 0.01 and below, or beyond
    // what an int holds, are refused as libvpx would refuse them.
    if (!(m_frameRate * 100 >= 1) || m_frameRate * 100 > 2147483647.0) throw RUNTIME_EXCEPTION("Failed to initialize encoder.");
    vpx_codec_enc_cfg_t config = Configuration(width, height, m_frameRate, m_quality);
    if (vpx_codec_enc_init(&m_codec, vpx_codec_vp8_cx(), &config, 0) != VPX_CODEC_OK) {
        vpx_codec_destroy(&m_codec);
        m_codec = {};
        throw RUNTIME_EXCEPTION("Failed to initialize encoder.");
    }
    m_config = config;
    m_image = {};
    m_image.fmt = VPX_IMG_FMT_I420;
    m_image.range = VPX_CR_FULL_RANGE;
    m_image.w = m_image.d_w = unsigned(width);
    m_image.h = m_image.d_h = unsigned(height);
    m_image.bit_depth = 8;
    m_image.x_chroma_shift = m_image.y_chroma_shift = 1;
    m_image.bps = 12;
    m_image.stride[0] = int(width);
    m_image.stride[1] = m_image.stride[2] = int(width / 2);
    m_duration = unsigned(config.g_timebase.num);
    m_fourcc = fourcc ? fourcc : FourccVP8;
}

vpx_enc_frame_flags_t CLxVpx::FlagsFor(uint64_t index, bool firstOfFile) const {
    if (firstOfFile) return VPX_EFLAG_FORCE_KF;
    return m_config.kf_mode == VPX_KF_DISABLED && index % KeyFrameInterval == 0 ? VPX_EFLAG_FORCE_KF : 0;
}

bool CLxVpx::Encode(ILxImage* image, int64_t pts, vpx_enc_frame_flags_t flags, const PacketSink& sink) {
    if (!m_fourcc) throw RUNTIME_EXCEPTION("Failed to encode frame.");
    vpx_image_t* frame = nullptr;
    if (image) {
        if (image->GetImageWidth() != m_image.d_w || image->GetImageHeight() != m_image.d_h)
            throw RUNTIME_EXCEPTION("Invalid frame size: %zu x %zu.", image->GetImageWidth(), image->GetImageHeight());
        if (image->GetImagePixelFormat() != LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar) {
            lxip::TranslateBadAlloc([&] {
                if (!m_converter.Get()) {
                    m_buffer.Reset(CreateILxImageBuffer(nullptr));
                    m_converter.Reset(new CLxPixelFormatConverter());
                    m_converterTyped = lxip::InsideOf<ILxPixelFormatConverter>(m_converter.Get());
                    m_converterTyped->SetDestinationPixelFormat(LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar);
                }
                return 0;
            });
            m_converter->Convert(image, m_buffer.Get());
            image = m_buffer->GetILxImage();
        }
        // The converter's planar layout: the Y plane of `plane size` bytes at its line pitch, then
        // Cb and Cr planes of (width / 2) x (height / 2) bytes each.
        const size_t pitch = image->GetImageLinePitch(), plane = image->GetImagePlaneSize();
        const size_t w = m_image.d_w, h = m_image.d_h;
        if (pitch < w || plane / pitch < h || !image->GetImageBuffer())
            throw RUNTIME_EXCEPTION("Failed to encode frame.");
        auto* y = static_cast<uint8_t*>(image->GetImageBuffer());
        m_image.planes[0] = y;
        m_image.planes[1] = y + plane;
        m_image.planes[2] = y + plane + (w / 2) * (h / 2);
        m_image.stride[0] = int(pitch);
        m_image.stride[1] = m_image.stride[2] = int(w / 2);
        frame = &m_image;
    }
    if (vpx_codec_encode(&m_codec, frame, pts, m_duration, flags, Deadline) != VPX_CODEC_OK)
        throw RUNTIME_EXCEPTION("Failed to encode frame.");
    bool got = false;
    vpx_codec_iter_t iter = nullptr;
    while (const vpx_codec_cx_pkt_t* packet = vpx_codec_get_cx_data(&m_codec, &iter)) {
        if (packet->kind != VPX_CODEC_CX_FRAME_PKT) continue;
        got = true;
        sink(*packet);
    }
    return got;
}
