// Test support of the JPEG encoder: source images, encoding into memory, decoding with libjpeg-turbo
// (the independent reader), PSNR.
#pragma once

#include "jpegencoder.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace jpegtest {

struct Image {
    uint32_t width = 0, height = 0, channels = 1;
    std::vector<uint8_t> pixels; // tightly packed
};

// A photograph-like image: smooth shading, a few hard edges and fine texture, with sensor noise.
inline Image Photo(uint32_t w, uint32_t h, uint32_t channels, uint32_t seed = 1) {
    Image im{w, h, channels, std::vector<uint8_t>(size_t(w) * h * channels)};
    std::mt19937 rng(seed);
    std::normal_distribution<double> noise(0.0, 2.0);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < channels; ++c) {
                double v = 128 + 70 * std::sin(x * 0.013 + c) * std::cos(y * 0.017 - c * 0.5);
                if (((x / 97) + (y / 61)) % 3 == 0) v += 40;
                v += 20 * std::sin(x * 0.9 + y * 0.3 + c);
                v += noise(rng);
                im.pixels[(size_t(y) * w + x) * channels + c] = static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0)));
            }
    return im;
}

inline Image Noise(uint32_t w, uint32_t h, uint32_t channels, uint32_t seed = 2) {
    Image im{w, h, channels, std::vector<uint8_t>(size_t(w) * h * channels)};
    std::mt19937 rng(seed);
    for (auto& p : im.pixels) p = static_cast<uint8_t>(rng());
    return im;
}

// Encodes with our encoder; fails the calling test on a nonzero result.
inline std::vector<uint8_t> Encode(uint32_t format, const void* pixels, uint32_t w, uint32_t h, size_t pitch, uint32_t q,
                                   int32_t* result = nullptr) {
    std::vector<uint8_t> out(size_t(w) * h * 8 + 4096);
    size_t bytes = 0;
    const int32_t r = lxjpeg::EncodeImage(format, pixels, w, h, pitch, q, out.data(), out.size(), bytes);
    if (result) *result = r;
    out.resize(bytes);
    return out;
}

struct Decoded {
    bool ok = false;
    int width = 0, height = 0, subsampling = -1;
    std::vector<uint8_t> pixels;
};

// Decodes with libjpeg-turbo to grey (channels 1) or RGB (channels 3).
inline Decoded Decode(const std::vector<uint8_t>& jpeg, int channels) {
    Decoded d;
    tjhandle h = tjInitDecompress();
    int colorspace = 0;
    if (tjDecompressHeader3(h, jpeg.data(), jpeg.size(), &d.width, &d.height, &d.subsampling, &colorspace) == 0) {
        d.pixels.resize(size_t(d.width) * d.height * channels);
        d.ok = tjDecompress2(h, jpeg.data(), jpeg.size(), d.pixels.data(), d.width, 0, d.height,
                             channels == 1 ? TJPF_GRAY : TJPF_RGB, 0) == 0;
        if (d.ok && tjGetErrorCode(h) == TJERR_WARNING) d.ok = false;
    }
    tjDestroy(h);
    return d;
}

// libjpeg-turbo's own encoder, the peer the quality is measured against.
inline std::vector<uint8_t> TurboEncode(const Image& im, int pixelFormat, int subsampling, int quality, int flags = 0) {
    tjhandle h = tjInitCompress();
    unsigned char* buf = nullptr;
    unsigned long size = 0;
    tjCompress2(h, im.pixels.data(), int(im.width), 0, int(im.height), pixelFormat, &buf, &size, subsampling, quality,
                flags);
    std::vector<uint8_t> out(buf, buf + size);
    tjFree(buf);
    tjDestroy(h);
    return out;
}

inline double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double se = 0;
    for (size_t i = 0; i < a.size(); ++i) se += double(int(a[i]) - int(b[i])) * (int(a[i]) - int(b[i]));
    if (se == 0) return 99;
    return 10 * std::log10(255.0 * 255.0 * a.size() / se);
}

} // namespace jpegtest
