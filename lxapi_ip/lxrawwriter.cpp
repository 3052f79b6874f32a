#include "lxrawwriter.h"

#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>

#include <cstring>

namespace lxraw {
namespace {

using lxfile::LoadLE32;
using lxfile::LoadLE64;
using lxfile::StoreLE32;
using lxfile::StoreLE64;

constexpr uint8_t kMagic[4] = {'L', 'X', 'R', 'W'};
// The first read: enough for the magic, the zero word and the header size.
constexpr size_t kProbeBytes = 40;

// Planes of a format; a code the sister library does not know counts as one plane.
size_t PlaneCount(uint32_t format) {
    ILxPixelFormatInfo* info = lxip::FindPixelFormatInfo(format);
    return info && info->GetPlaneCount() > 1 ? info->GetPlaneCount() : 1;
}

} // namespace

void WriteRaw(ILxImage* image, lxfile::CFile& file) {
    const uint32_t format = image->GetImagePixelFormat();
    uint64_t blockBytes = 0;
    if (!lxfile::MulAdd(PlaneCount(format), image->GetImagePlaneSize(), 0, &blockBytes))
        lxfile::ThrowUnwritable(file.Name());
    uint8_t header[kHeaderBytes] = {};
    std::memcpy(header, kMagic, sizeof kMagic);
    // Offsets 4 to 19 have no meaning for the reader; they are written as these constants.
    StoreLE32(header + 4, 1);
    StoreLE32(header + 8, 1);
    StoreLE32(header + 12, 2);
    StoreLE32(header + 16, 0x00010000);
    StoreLE32(header + 20, 0);
    StoreLE64(header + 24, kHeaderBytes);
    StoreLE64(header + 32, blockBytes);
    StoreLE64(header + 40, image->GetImageWidth());
    // Lines of no bytes (an image without columns) are written as no lines, which the reader takes back.
    StoreLE64(header + 48, image->GetImageLinePitch() ? image->GetImageHeight() : 0);
    StoreLE64(header + 56, image->GetImageLinePitch());
    // Sign-extended: the SDK's own codes from 0x80000000 up read as negative.
    StoreLE64(header + 64, static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(format))));
    file.Write(header, sizeof header);
    if (blockBytes) file.Write(image->GetImageBuffer(), static_cast<size_t>(blockBytes));
    file.Flush();
}

void ReadRaw(ILxImageBuffer* buffer, lxfile::CFile& file) {
    const std::string& name = file.Name();
    uint8_t header[kHeaderBytes];
    if (!file.Seek(0)) lxfile::ThrowUnreadable(name);
    file.ReadExact(header, kProbeBytes);
    // 72 is the only header size the format defines: a shorter one would leave the fields below
    // unread.
    if (std::memcmp(header, kMagic, sizeof kMagic) != 0 || LoadLE32(header + 20) != 0 ||
        LoadLE64(header + 24) != kHeaderBytes)
        lxfile::ThrowUnreadable(name);
    file.ReadExact(header + kProbeBytes, kHeaderBytes - kProbeBytes);

    const uint64_t blockBytes = LoadLE64(header + 32);
    const uint64_t width = LoadLE64(header + 40), height = LoadLE64(header + 48), pitch = LoadLE64(header + 56);
    const int64_t formatField = static_cast<int64_t>(LoadLE64(header + 64));
    const auto format = static_cast<uint32_t>(formatField);
    if (formatField != static_cast<int32_t>(format)) lxfile::ThrowUnreadable(name);
    ILxPixelFormatInfo* info = lxip::FindPixelFormatInfo(format);
    if (!info) lxfile::ThrowUnreadable(name);

    // The geometry must hold one line of the format, agree with the block size, and the block must be
    // in the file, all before the buffer is made.
    uint64_t lineBytes = 0, planeBytes = 0, expected = 0, length = 0;
    try {
        lineBytes = lxip::FormatInside(format)->GetLineBytes(static_cast<size_t>(width));
    } catch (const GenICam::GenericException&) {
        lxfile::ThrowUnreadable(name); // a width too large for the format
    }
    const size_t planes = PlaneCount(format);
    // Lines of no bytes would leave the height unbounded by the file: such a file has no lines.
    if (width > SIZE_MAX || height > SIZE_MAX || pitch > SIZE_MAX || pitch < lineBytes || (pitch == 0 && height != 0) ||
        !lxfile::MulAdd(height, pitch, 0, &planeBytes) || !lxfile::MulAdd(planes, planeBytes, 0, &expected) ||
        blockBytes != expected || !file.Length(&length) || length < kHeaderBytes ||
        length - kHeaderBytes < blockBytes)
        lxfile::ThrowUnreadable(name);

    lxip::InsideOf<ILxImageBufferInside>(buffer)->CreateBuffer(static_cast<size_t>(width), static_cast<size_t>(height),
                                                                format, static_cast<size_t>(pitch));
    ILxImage* image = buffer->GetILxImage();
    if (image->GetImageLinePitch() != pitch || planes * image->GetImagePlaneSize() != blockBytes)
        lxfile::ThrowUnreadable(name);
    if (blockBytes) file.ReadExact(image->GetImageBuffer(), static_cast<size_t>(blockBytes));
}

} // namespace lxraw
