// Reading back the WebM files of the tests with libwebm's parser, an independent reader: the
// header facts, every frame with its time, key flag and bytes, the cues and the seek entries; and
// VP8 decoding and PSNR with libvpx's decoder.
#pragma once

#include <vpx/vp8dx.h>
#include <vpx/vpx_decoder.h>
#include <webm/buffer_reader.h>
#include <webm/callback.h>
#include <webm/webm_parser.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace webmtest {

inline std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

struct Frame {
    uint64_t track;
    int64_t timeNs;
    bool key;
    std::vector<uint8_t> bytes;
};

struct Walk {
    bool ok = false;
    std::string docType;
    uint64_t timecodeScale = 0;
    double duration = -1;
    std::string muxingApp, writingApp;
    std::string codecId;
    uint64_t trackNumber = 0, width = 0, height = 0;
    uint64_t segmentBodyStart = 0, segmentSize = 0;
    std::vector<std::pair<uint32_t, uint64_t>> seeks;   // id, position from the segment body
    std::vector<std::pair<uint64_t, uint64_t>> cues;    // time, cluster position from the segment body
    std::vector<uint64_t> clusterStarts;                // file offsets
    std::vector<Frame> frames;
};

class Collector : public webm::Callback {
public:
    explicit Collector(Walk& w) : m_w(w) {}
    webm::Status OnEbml(const webm::ElementMetadata&, const webm::Ebml& e) override {
        m_w.docType = e.doc_type.value();
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnSegmentBegin(const webm::ElementMetadata& m, webm::Action* a) override {
        m_w.segmentBodyStart = m.position + m.header_size;
        m_w.segmentSize = m.size;
        *a = webm::Action::kRead;
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnSeek(const webm::ElementMetadata&, const webm::Seek& s) override {
        m_w.seeks.emplace_back(uint32_t(s.id.value()), s.position.value());
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnInfo(const webm::ElementMetadata&, const webm::Info& i) override {
        m_w.timecodeScale = i.timecode_scale.value();
        m_w.duration = i.duration.is_present() ? i.duration.value() : -1;
        m_w.muxingApp = i.muxing_app.value();
        m_w.writingApp = i.writing_app.value();
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnTrackEntry(const webm::ElementMetadata&, const webm::TrackEntry& t) override {
        m_w.codecId = t.codec_id.value();
        m_w.trackNumber = t.track_number.value();
        m_w.width = t.video.value().pixel_width.value();
        m_w.height = t.video.value().pixel_height.value();
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnClusterBegin(const webm::ElementMetadata& m, const webm::Cluster& c, webm::Action* a) override {
        m_clusterTime = int64_t(c.timecode.value());
        m_w.clusterStarts.push_back(m.position);
        *a = webm::Action::kRead;
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnSimpleBlockBegin(const webm::ElementMetadata&, const webm::SimpleBlock& b, webm::Action* a) override {
        m_w.frames.push_back({b.track_number, (m_clusterTime + b.timecode) * int64_t(m_w.timecodeScale),
                              b.is_key_frame, {}});
        *a = webm::Action::kRead;
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnFrame(const webm::FrameMetadata&, webm::Reader* r, uint64_t* remaining) override {
        std::vector<uint8_t>& out = m_w.frames.back().bytes;
        while (*remaining) {
            const size_t at = out.size();
            out.resize(at + size_t(*remaining));
            uint64_t got = 0;
            const webm::Status s = r->Read(size_t(*remaining), out.data() + at, &got);
            out.resize(at + size_t(got));
            *remaining -= got;
            if (!s.ok()) return s;
        }
        return webm::Status(webm::Status::kOkCompleted);
    }
    webm::Status OnCuePoint(const webm::ElementMetadata&, const webm::CuePoint& c) override {
        for (const auto& p : c.cue_track_positions)
            m_w.cues.emplace_back(c.time.value(), p.value().cluster_position.value());
        return webm::Status(webm::Status::kOkCompleted);
    }

private:
    Walk& m_w;
    int64_t m_clusterTime = 0;
};

inline Walk WalkBytes(const std::vector<uint8_t>& bytes) {
    Walk w;
    Collector c(w);
    webm::BufferReader reader(bytes);
    webm::WebmParser parser;
    w.ok = parser.Feed(&c, &reader).completed_ok();
    return w;
}
inline Walk WalkFile(const std::string& path) { return WalkBytes(ReadFile(path)); }

// A decoded frame's luma, and the PSNR of luma against a reference, over the visible size.
struct Decoder {
    vpx_codec_ctx_t ctx{};
    bool ok = vpx_codec_dec_init(&ctx, vpx_codec_vp8_dx(), nullptr, 0) == VPX_CODEC_OK;
    ~Decoder() { vpx_codec_destroy(&ctx); }
    // Decodes one frame; answers its Y, U, V planes packed (w*h, then two (w/2)*(h/2)) or empty.
    std::vector<uint8_t> Decode(const std::vector<uint8_t>& data) {
        std::vector<uint8_t> out;
        if (vpx_codec_decode(&ctx, data.data(), unsigned(data.size()), nullptr, 0) != VPX_CODEC_OK) return out;
        vpx_codec_iter_t it = nullptr;
        if (vpx_image_t* img = vpx_codec_get_frame(&ctx, &it)) {
            for (int p = 0; p < 3; ++p) {
                const unsigned w = p ? img->d_w / 2 : img->d_w, h = p ? img->d_h / 2 : img->d_h;
                for (unsigned y = 0; y < h; ++y)
                    out.insert(out.end(), img->planes[p] + size_t(y) * img->stride[p],
                               img->planes[p] + size_t(y) * img->stride[p] + w);
            }
        }
        return out;
    }
};

inline double Psnr(const uint8_t* a, const uint8_t* b, size_t n) {
    double sum = 0;
    for (size_t i = 0; i < n; ++i) sum += double(a[i] - b[i]) * double(a[i] - b[i]);
    if (sum == 0) return 99.0;
    return 10 * std::log10(255.0 * 255.0 * double(n) / sum);
}

} // namespace webmtest
