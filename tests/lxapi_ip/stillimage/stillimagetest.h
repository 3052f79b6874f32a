// Shared pieces of the still image filer tests: the module, a scratch folder per test, files as bytes,
// and images filled with random samples.
#pragma once

#include "lxmoduletest.h"

#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/ilxstillimagefiler.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace lxtest {

using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;

struct StillFiler {
    FilerPtr filer{CreateILxFiler(LxFilerType_StillImage)};
    ILxStillImageFiler* typed = dynamic_cast<ILxStillImageFiler*>(filer.Get());
};

// A folder of its own for each test, removed at the end.
class ScratchDir {
public:
    ScratchDir() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::temp_directory_path() /
                 ("lxstill_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name());
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

inline std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
inline void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline uint32_t LE32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
}
inline void PutLE32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.at(at + i) = uint8_t(v >> (8 * i));
}

// Every byte of the image's planes random, padding included; 16-bit samples below 2^bits when `bits`
// is given (an image of valid samples of its depth).
inline BufferPtr RandomImage(size_t width, size_t height, uint32_t format, size_t pitch = 0, unsigned bits = 0,
                             unsigned seed = 1) {
    BufferPtr b = MakeImage(width, height, format, pitch);
    ILxImage* img = b->GetILxImage();
    const size_t planes = GetILxPixelFormatInfo(format)->GetPlaneCount();
    const size_t bytes = planes * img->GetImagePlaneSize();
    std::mt19937 rng(seed);
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t(rng());
    if (bits && bits < 16) {
        const size_t pitch = img->GetImageLinePitch();
        for (size_t y = 0; y < bytes / pitch; ++y)
            for (size_t i = 0; i + 1 < pitch; i += 2) p[y * pitch + i + 1] &= uint8_t((1u << (bits - 8)) - 1);
    }
    return b;
}

// The bytes of each line that belong to pixels, line after line (no padding), of every plane.
inline std::vector<uint8_t> LineBytesOf(ILxImage* img) {
    const uint32_t format = img->GetImagePixelFormat();
    auto* info = dynamic_cast<ILxPixelFormatInfoInside*>(GetILxPixelFormatInfo(format));
    const size_t rowBytes = info->GetLineBytes(img->GetImageWidth());
    const size_t rows = img->GetImageHeight() * info->GetPlaneCount();
    std::vector<uint8_t> out;
    const auto* p = static_cast<const uint8_t*>(img->GetImageBuffer());
    for (size_t y = 0; y < rows; ++y) out.insert(out.end(), p + y * img->GetImageLinePitch(), p + y * img->GetImageLinePitch() + rowBytes);
    return out;
}

} // namespace lxtest
