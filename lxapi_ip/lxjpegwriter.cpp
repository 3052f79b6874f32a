#include "lxjpegwriter.h"

#include "jpeg/jpegencoder.h"
#include "lxpixelformatname.h"

#include <GenICam/GCException.h>
#include <lxapi/lxpixelformat.h>

#include <new>

namespace lxjpegwriter {

namespace {

// The encoder's stream over the file layer: a failed write becomes the encoder's short-write code,
// so that no exception crosses the encoder.
class CFileStream : public lxjpeg::CBaseStreamOutput {
public:
    explicit CFileStream(lxfile::CFile& file) noexcept : m_file(file) {}
    int32_t Close() override { return 0; }
    int32_t Write(const void* buffer, uint32_t size, uint32_t& written) override {
        try {
            m_file.Write(buffer, size);
            written = size;
            return 0;
        } catch (...) {
            written = 0;
            return -5;
        }
    }

private:
    lxfile::CFile& m_file;
};

} // namespace

bool IsJpegFormat(uint32_t pixelFormat) noexcept {
    lxjpeg::JpegSource s;
    return lxjpeg::DescribeSource(pixelFormat, 16, s);
}

void WriteJpeg(ILxImage* image, lxfile::CFile& file, uint32_t quality) {
    const uint32_t format = image->GetImagePixelFormat();
    lxjpeg::JpegSource s;
    if (!lxjpeg::DescribeSource(format, 16, s))
        throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
    // The frame header holds 16-bit sizes.
    if (image->GetImageWidth() > 65535 || image->GetImageHeight() > 65535) lxfile::ThrowUnwritable(file.Name());
    const uint32_t width = static_cast<uint32_t>(image->GetImageWidth());
    const uint32_t height = static_cast<uint32_t>(image->GetImageHeight());
    lxjpeg::DescribeSource(format, width, s);
    CFileStream stream(file);
    lxjpeg::CJPEGEncoder encoder;
    encoder.SetSource(image->GetImageBuffer(), width, height, image->GetImageLinePitch(), s.precision, s.channels,
                      s.colour, s.sampling);
    int32_t r = encoder.AttachOutput(&stream);
    if (!r) r = encoder.SetUp(s.jpegColour, s.jpegSampling, quality > 100 ? 100 : quality);
    if (!r) r = encoder.WriteHeader();
    if (!r) r = encoder.WriteData();
    // A stream cut short would be a file other programs misread: tell the caller instead.
    if (r == -6) throw std::bad_alloc();
    if (r) lxfile::ThrowUnwritable(file.Name());
}

} // namespace lxjpegwriter
