#include "lxpngwriter.h"

#include "colormap/lxcolormap.h"
#include "lxpixelformatname.h"

#include <GenICam/GCException.h>
#include <lxapi/lxpixelformat.h>

#include <png.h>

#include <csetjmp>
#include <cstring>
#include <algorithm>
#include <vector>

// libpng reports its errors by a long jump back to the point armed with setjmp. The functions that
// arm it (Run...) hold no object with a destructor and touch only memory behind a pointer after the
// jump, so that the jump skips nothing; the structures are owned and destroyed outside them.

namespace lxpng {
namespace {

// One row of the writer's table.
struct Layout {
    uint32_t format;
    int colorType;
    int bitDepth;          // in the file
    uint8_t components;    // in memory
    uint8_t bits;          // significant bits per component
    bool bgr;              // blue first in memory
};

constexpr Layout kLayouts[] = {
    {LxPixelFormat_Mono8, PNG_COLOR_TYPE_GRAY, 8, 1, 8, false},
    {LxPixelFormat_Mono10, PNG_COLOR_TYPE_GRAY, 16, 1, 10, false},
    {LxPixelFormat_Mono12, PNG_COLOR_TYPE_GRAY, 16, 1, 12, false},
    {LxPixelFormat_Mono14, PNG_COLOR_TYPE_GRAY, 16, 1, 14, false},
    {LxPixelFormat_Mono16, PNG_COLOR_TYPE_GRAY, 16, 1, 16, false},
    {LxPixelFormat_RGB8, PNG_COLOR_TYPE_RGB, 8, 3, 8, false},
    {LxPixelFormat_BGR8, PNG_COLOR_TYPE_RGB, 8, 3, 8, true},
    {LxPixelFormat_RGB16, PNG_COLOR_TYPE_RGB, 16, 3, 16, false},
    {LxPixelFormat_BGR10, PNG_COLOR_TYPE_RGB, 16, 3, 10, true},
    {LxPixelFormat_BGR12, PNG_COLOR_TYPE_RGB, 16, 3, 12, true},
    {LxPixelFormat_BGR14, PNG_COLOR_TYPE_RGB, 16, 3, 14, true},
    {LxPixelFormat_BGR16, PNG_COLOR_TYPE_RGB, 16, 3, 16, true},
    // With alpha: the filer converts these to their three-component partners before writing.
    {LxPixelFormat_RGBa8, PNG_COLOR_TYPE_RGB_ALPHA, 8, 4, 8, false},
    {LxPixelFormat_BGRa8, PNG_COLOR_TYPE_RGB_ALPHA, 8, 4, 8, true},
    {LxPixelFormat_BGRa10, PNG_COLOR_TYPE_RGB_ALPHA, 16, 4, 10, true},
    {LxPixelFormat_BGRa12, PNG_COLOR_TYPE_RGB_ALPHA, 16, 4, 12, true},
    {LxPixelFormat_BGRa14, PNG_COLOR_TYPE_RGB_ALPHA, 16, 4, 14, true},
    {LxPixelFormat_BGRa16, PNG_COLOR_TYPE_RGB_ALPHA, 16, 4, 16, true},
};

const Layout* FindLayout(uint32_t format) noexcept {
    for (const Layout& l : kLayouts)
        if (l.format == format) return &l;
    return nullptr;
}

// libpng's failures come back to the armed point; its warnings are dropped (the library writes no
// log).
[[noreturn]] void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void OnWarning(png_structp, png_const_charp) {}

// ---- writing ----

void WriteData(png_structp png, png_bytep data, size_t size) {
    auto* file = static_cast<lxfile::CFile*>(png_get_io_ptr(png));
    bool written = true;
    try {
        file->Write(data, size);
    } catch (...) {
        written = false;
    }
    // Jumps only once the exception is over.
    if (!written) png_error(png, "write failed");
}
void FlushData(png_structp) {} // the file is flushed when it is closed

struct WriteJob {
    png_structp png;
    png_infop info;
    lxfile::CFile* file;
    const Layout* layout;
    uint32_t width, height;
    const uint8_t* pixels;
    size_t pitch;
    const png_color* palette; // 256 entries, or null for no palette
};

// The whole of libpng's writing; false when libpng failed.
bool RunWrite(WriteJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_structp png = job->png;
    const Layout& l = *job->layout;
    png_set_write_fn(png, job->file, WriteData, FlushData);
    png_set_IHDR(png, job->info, job->width, job->height, l.bitDepth, job->palette ? PNG_COLOR_TYPE_PALETTE : l.colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (job->palette) png_set_PLTE(png, job->info, job->palette, 256);
    png_write_info(png, job->info);
    png_set_packing(png); // nothing to pack at 8 and 16 bits
    if (l.bgr) png_set_bgr(png);
    if (l.bits > 8 && l.bits < 16) {
        // Samples of 10 to 14 bits are scaled to the file's 16 by libpng (no sBIT chunk is written).
        png_color_8 significant{};
        if (l.components == 1) {
            significant.gray = l.bits;
        } else {
            significant.red = significant.green = significant.blue = l.bits;
            if (l.components >= 4) significant.alpha = l.bits;
        }
        png_set_shift(png, &significant);
    }
    if (l.bitDepth == 16) png_set_swap(png); // samples lie little endian in memory
    png_set_packswap(png);
    for (uint32_t y = 0; y < job->height; ++y) png_write_row(png, job->pixels + size_t{y} * job->pitch);
    png_write_end(png, job->info);
    return true;
}

struct WriteStructs {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~WriteStructs() { png_destroy_write_struct(&png, &info); }
};

// ---- reading ----

void ReadData(png_structp png, png_bytep data, size_t size) {
    auto* file = static_cast<lxfile::CFile*>(png_get_io_ptr(png));
    if (file->Read(data, size) != size) png_error(png, "file ends early");
}

struct ReadJob {
    png_structp png;
    png_infop info;
    lxfile::CFile* file;
    // The header as in the file.
    png_uint_32 width, height;
    int bitDepth, colorType, interlace;
    // The rows as libpng hands them over.
    int channels, outDepth, outColorType;
    size_t rowBytes;
    png_bytepp rows;
};

// Reads up to the image data and sets the transforms: 16-bit samples cut to 8, smaller ones unpacked
// to bytes, interlaced files gathered into whole rows.
bool RunReadHeader(ReadJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_structp png = job->png;
    png_set_read_fn(png, job->file, ReadData);
    png_set_user_limits(png, kMaxSide, kMaxSide);
    png_set_chunk_cache_max(png, 1000);
    png_set_chunk_malloc_max(png, 8u << 20);
    // Text, profiles and the other ancillary chunks of variable length carry nothing the image needs.
    // They are skipped, read through a small buffer: libpng would otherwise allocate and clear as
    // many bytes as such a chunk's length claims (the limit above is only a warning on reading)
    // before it finds that the file ends.
    static const png_byte kSkipped[] = "tEXt\0zTXt\0iTXt\0iCCP\0sPLT\0eXIf\0pCAL\0sCAL";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kSkipped, static_cast<int>(sizeof kSkipped / 5));
    png_set_sig_bytes(png, 8);
    png_read_info(png, job->info);
    job->width = png_get_image_width(png, job->info);
    job->height = png_get_image_height(png, job->info);
    job->bitDepth = png_get_bit_depth(png, job->info);
    job->colorType = png_get_color_type(png, job->info);
    job->interlace = png_get_interlace_type(png, job->info);
    png_set_strip_16(png);
    png_set_packing(png);
    (void)png_set_interlace_handling(png);
    png_read_update_info(png, job->info);
    job->channels = png_get_channels(png, job->info);
    job->outDepth = png_get_bit_depth(png, job->info);
    job->outColorType = png_get_color_type(png, job->info);
    job->rowBytes = png_get_rowbytes(png, job->info);
    return true;
}

// An interlaced image: every pass over all rows at once.
bool RunReadImage(ReadJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_image(job->png, job->rows);
    return true;
}

// `count` rows of a file without interlacing, `rowBytes` apart from `first` on.
bool RunReadRows(ReadJob* job, uint8_t* first, size_t rowBytes, size_t count) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    for (size_t i = 0; i < count; ++i) png_read_row(job->png, first + i * rowBytes, nullptr);
    return true;
}

// The chunks behind the image data, up to IEND.
bool RunReadEnd(ReadJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_end(job->png, nullptr);
    return true;
}

struct ReadStructs {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~ReadStructs() { png_destroy_read_struct(&png, &info, nullptr); }
};

// The pixel format of the rows libpng hands over, or 0 for none.
uint32_t FormatOf(int colorType, int depth, int channels) {
    const bool is8 = depth == 8, is16 = depth == 16;
    uint32_t format = 0;
    switch (colorType) {
    case PNG_COLOR_TYPE_GRAY:
        if (channels == 1 && is8) format = LxPixelFormat_Mono8;
        if (channels == 1 && is16) format = LxPixelFormat_Mono16;
        break;
    case PNG_COLOR_TYPE_PALETTE: // the indices
        if (channels == 1 && is8) format = LxPixelFormat_Mono8;
        break;
    case PNG_COLOR_TYPE_RGB:
        if (channels == 3 && is8) format = LxPixelFormat_RGB8;
        if (channels == 3 && is16) format = LxPixelFormat_RGB16;
        break;
    case PNG_COLOR_TYPE_RGB_ALPHA:
        if (channels == 4 && is8) format = LxPixelFormat_RGBa8;
        break;
    default: break; // grey with alpha
    }
    return format;
}

// Samples per pixel of a colour type as stored in the file.
int FileChannels(int colorType) {
    switch (colorType) {
    case PNG_COLOR_TYPE_RGB: return 3;
    case PNG_COLOR_TYPE_GRAY_ALPHA: return 2;
    case PNG_COLOR_TYPE_RGB_ALPHA: return 4;
    default: return 1;
    }
}

// Deflate expands its input by at most 1032 times: a file cannot hold more image data than that.
constexpr uint64_t kInflateRatio = 1032;
// The rows of the first run of a file without interlacing; each next run doubles what is read.
constexpr size_t kFirstRunBytes = size_t{4} << 20;

} // namespace

bool IsPngFormat(uint32_t pixelFormat) noexcept { return FindLayout(pixelFormat) != nullptr; }

void WritePng(ILxImage* image, lxfile::CFile& file, int32_t colorMapType, bool colorMapInversion,
              int32_t colorMapPhase) {
    const uint32_t format = image->GetImagePixelFormat();
    const Layout* l = FindLayout(format);
    if (!l) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
    const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
    const size_t pitch = image->GetImageLinePitch();
    uint64_t rowBytes = 0;
    if (width > PNG_UINT_31_MAX || height > PNG_UINT_31_MAX ||
        !lxfile::MulAdd(width, uint64_t{l->components} * (l->bitDepth / 8), 0, &rowBytes) || rowBytes > pitch)
        lxfile::ThrowUnwritable(file.Name());

    // A palette when the map of a Mono8 image is anything but its defaults: red, green, blue of each
    // entry 0x00RRGGBB.
    png_color palette[256];
    const bool paletted =
        format == LxPixelFormat_Mono8 && (colorMapType != 0 || colorMapInversion || colorMapPhase != 0);
    if (paletted) {
        lxip::ColorMapEntry map[256];
        lxip::BuildColorMap(map, colorMapType, colorMapInversion, colorMapPhase);
        for (size_t i = 0; i < 256; ++i)
            palette[i] = {static_cast<png_byte>(map[i] >> 16), static_cast<png_byte>(map[i] >> 8), static_cast<png_byte>(map[i])};
    }

    WriteStructs s;
    s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (!s.png) lxfile::ThrowUnwritable(file.Name());
    s.info = png_create_info_struct(s.png);
    if (!s.info) lxfile::ThrowUnwritable(file.Name());
    WriteJob job{s.png,
                 s.info,
                 &file,
                 l,
                 static_cast<uint32_t>(width),
                 static_cast<uint32_t>(height),
                 static_cast<const uint8_t*>(image->GetImageBuffer()),
                 pitch,
                 paletted ? palette : nullptr};
    if (!RunWrite(&job)) lxfile::ThrowUnwritable(file.Name());
}

void ReadPng(ILxImageBuffer* buffer, lxfile::CFile& file) {
    const std::string& name = file.Name();
    png_byte signature[8];
    if (file.Read(signature, sizeof signature) != sizeof signature || png_sig_cmp(signature, 0, sizeof signature) != 0)
        lxfile::ThrowUnreadable(name);
    uint64_t length = 0;
    if (!file.Length(&length)) lxfile::ThrowUnreadable(name);

    ReadStructs s;
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (!s.png) lxfile::ThrowUnreadable(name);
    s.info = png_create_info_struct(s.png);
    if (!s.info) lxfile::ThrowUnreadable(name);
    ReadJob job{};
    job.png = s.png;
    job.info = s.info;
    job.file = &file;
    if (!RunReadHeader(&job)) lxfile::ThrowUnreadable(name);

    // Everything is checked before the rows are allocated: the pixel format, and that the file is long
    // enough to inflate to the image data its header claims.
    const uint32_t format = FormatOf(job.outColorType, job.outDepth, job.channels);
    const uint64_t lineBytes = uint64_t{job.width} * static_cast<unsigned>(job.channels) * static_cast<unsigned>(job.outDepth) / 8;
    const uint64_t fileLineBits = uint64_t{job.width} * static_cast<unsigned>(FileChannels(job.colorType)) *
                                  static_cast<unsigned>(job.bitDepth);
    uint64_t fileData = 0, rowData = 0, inflatable = 0;
    if (!format || job.rowBytes != lineBytes || !lxfile::MulAdd(fileLineBits / 8, job.height, 0, &fileData) ||
        !lxfile::MulAdd(length, kInflateRatio, 0, &inflatable) || fileData > inflatable ||
        !lxfile::MulAdd(lineBytes, job.height, 0, &rowData) || rowData > SIZE_MAX)
        lxfile::ThrowUnreadable(name);

    const size_t rowBytes = static_cast<size_t>(lineBytes);
    std::vector<uint8_t> data;
    if (job.interlace != PNG_INTERLACE_NONE) {
        data.resize(static_cast<size_t>(rowData));
        std::vector<png_bytep> rows(job.height);
        for (size_t y = 0; y < job.height; ++y) rows[y] = data.data() + y * rowBytes;
        job.rows = rows.data();
        if (!RunReadImage(&job)) lxfile::ThrowUnreadable(name);
    } else {
        // The rows are read in runs into storage that grows with what the file really holds, so that
        // a header that claims more than its data allocates no more than a few megabytes.
        size_t done = 0;
        while (done < job.height) {
            const size_t run = std::min<size_t>(job.height - done, std::max<size_t>(done, kFirstRunBytes / std::max<size_t>(rowBytes, 1) + 1));
            data.resize((done + run) * rowBytes);
            if (!RunReadRows(&job, data.data() + done * rowBytes, rowBytes, run)) lxfile::ThrowUnreadable(name);
            done += run;
        }
    }
    if (!RunReadEnd(&job)) lxfile::ThrowUnreadable(name);

    buffer->CreateBuffer(job.width, job.height, format);
    ILxImage* image = buffer->GetILxImage();
    const size_t pitch = image->GetImageLinePitch();
    if (pitch < rowBytes) lxfile::ThrowUnreadable(name);
    auto* pixels = static_cast<uint8_t*>(image->GetImageBuffer());
    for (size_t y = 0; y < job.height; ++y) std::memcpy(pixels + y * pitch, data.data() + y * rowBytes, rowBytes);
}

} // namespace lxpng
