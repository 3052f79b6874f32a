#include "lxstillimagewriter.h"

#include "lxbmpwriter.h"
#include "lxjpegwriter.h"
#include "lxcsvwriter.h"
#include "colormap/lxcolormapregisters.h"
#include "lxdescriptions.h"
#include "lxpixelformatconverter.h"
#include "lxpixelformatname.h"
#include "lxpngwriter.h"
#include "lxrawwriter.h"
#include "lxtiffwriter.h"
#include "stillimage/lxfile.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>
#include <lxapi/lxpixelformat.h>

#include <cstring>

namespace {

namespace R = lxres::lxstillimagewriter;
using lxip::WriteRule;
using C = CLxStillImageWriter;


#define PF(name) LxPixelFormat_##name
struct TableRow {
    uint32_t pixelFormat;
    uint32_t target;
};
constexpr uint32_t Same = C::NoConversion;

// Bitmap: mono and BGR as they are, RGB through BGR.
constexpr TableRow kBitmapRows[] = {
    {PF(Mono8), Same},  {PF(Mono10), Same}, {PF(Mono12), Same},    {PF(Mono14), Same},      {PF(Mono16), Same},
    {PF(BGR8), Same},   {PF(BGRa8), Same},  {PF(CBGR10p32), Same}, {PF(RGB8), PF(BGR8)}, {PF(RGBa8), PF(BGRa8)},
};
// JPEG: alpha dropped.
constexpr TableRow kJpegRows[] = {
    {PF(Mono8), Same},        {PF(BGR8), Same},          {PF(RGB8), Same},
    {PF(YCbCr422_8), Same}, {PF(BGRa8), PF(BGR8)}, {PF(RGBa8), PF(RGB8)},
};
// TIFF: alpha kept at 8 bits, dropped from 10 to 16 bits; BGR through RGB.
constexpr TableRow kTiffRows[] = {
    {PF(Mono8), Same},
    {PF(Mono16), Same},
    {PF(RGB8), Same},
    {PF(RGBa8), Same},
    {PF(RGB8_Planar), Same},
    {PF(RGB16_Planar), Same},
    {PF(RGB16), Same},
    {PF(Mono10), PF(Mono16)},
    {PF(Mono12), PF(Mono16)},
    {PF(Mono14), PF(Mono16)},
    {PF(RGB10_Planar), PF(RGB16_Planar)},
    {PF(RGB12_Planar), PF(RGB16_Planar)},
    {PF(BGR8), PF(RGB8)},
    {PF(BGRa8), PF(RGBa8)},
    {PF(BGR10), PF(RGB16)},
    {PF(BGRa10), PF(RGB16)},
    {PF(BGR12), PF(RGB16)},
    {PF(BGRa12), PF(RGB16)},
    {PF(BGR14), PF(RGB16)},
    {PF(BGRa14), PF(RGB16)},
    {PF(BGR16), PF(RGB16)},
    {PF(BGRa16), PF(RGB16)},
};
// PNG: alpha dropped.
constexpr TableRow kPngRows[] = {
    {PF(Mono8), Same},        {PF(Mono10), Same},        {PF(Mono12), Same},        {PF(Mono14), Same},
    {PF(Mono16), Same},       {PF(BGR8), Same},          {PF(BGR10), Same},         {PF(BGR12), Same},
    {PF(BGR14), Same},        {PF(BGR16), Same},         {PF(RGB8), Same},          {PF(RGB16), Same},
    {PF(BGRa8), PF(BGR8)},   {PF(BGRa10), PF(BGR10)}, {PF(BGRa12), PF(BGR12)}, {PF(BGRa14), PF(BGR14)},
    {PF(BGRa16), PF(BGR16)}, {PF(RGBa8), PF(RGB8)},
};
#undef PF

// The converter leaves the alpha bytes of its destination as the buffer held them. Where the table
// keeps alpha (RGBa8 to BGRa8), the source's alpha is carried over, so that no stale byte of a pooled
// buffer reaches the file.
void CarryAlpha(ILxImage* source, ILxImage* converted) {
    ILxPixelFormatInfo* from = lxip::FindPixelFormatInfo(source->GetImagePixelFormat());
    ILxPixelFormatInfo* to = lxip::FindPixelFormatInfo(converted->GetImagePixelFormat());
    auto alpha8 = [](ILxPixelFormatInfo* i) { return i && i->HasAlpha() && i->GetPixelBits() == 32 && i->GetComponentCount() == 4; };
    if (!alpha8(from) || !alpha8(to) || source->GetImageWidth() != converted->GetImageWidth() ||
        source->GetImageHeight() != converted->GetImageHeight())
        return;
    const size_t width = source->GetImageWidth(), height = source->GetImageHeight();
    const auto* s = static_cast<const uint8_t*>(source->GetImageBuffer());
    auto* d = static_cast<uint8_t*>(converted->GetImageBuffer());
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* sl = s + y * source->GetImageLinePitch();
        uint8_t* dl = d + y * converted->GetImageLinePitch();
        for (size_t x = 0; x < width; ++x) dl[4 * x + 3] = sl[4 * x + 3];
    }
}

// Filled at library load.
const auto& g_writerTable = CLxStillImageWriter::StillImageWriterTable();

} // namespace

const CLxStillImageWriter::WriterRecord CLxStillImageWriter::RawRecord{&C::WriteRawFile, C::NoConversion};

const CLxStillImageWriter::WriterTable& CLxStillImageWriter::StillImageWriterTable() {
    static const WriterTable table = [] {
        WriterTable t;
        auto add = [&t](ELxStillImageFileFormat_t fileFormat, FileWriter writer, const auto& rows) {
            for (const TableRow& r : rows) t.emplace(WriterKey{r.pixelFormat, fileFormat}, WriterRecord{writer, r.target});
        };
        add(StillImageFileFormat_Bitmap, &C::WriteBitmapFile, kBitmapRows);
        add(StillImageFileFormat_JPEG, &C::WriteJpegFile, kJpegRows);
        add(StillImageFileFormat_TIFF, &C::WriteTiffFile, kTiffRows);
        add(StillImageFileFormat_PNG, &C::WritePngFile, kPngRows);
        for (uint32_t format : lxcsv::CsvFormats())
            t.emplace(WriterKey{format, StillImageFileFormat_CSV}, WriterRecord{&C::WriteCsvFile, C::NoConversion});
        return t;
    }();
    return table;
}

// Quality and its read-only bounds, and the colour map. A register write of Quality is stored without a
// range check; the colour map type and phase keep their setters' checks, and from 0x30 up short reads
// are refused.
struct CLxStillImageWriter::Registers
    : lxip::ColorMapRegisters<C, R::ColorMapTypeReg, R::ColorMapInversionReg, R::ColorMapPhaseReg, &C::m_colorMapType,
                              &C::m_colorMapInversion, &C::m_colorMapPhase> {
    static constexpr uint32_t QualityMin = 0;
    static constexpr uint32_t QualityMax = 100;
    static constexpr auto Quality =
        lxip::Bind<C>(R::QualityReg).Field(&C::m_quality).Range(lxip::IntegerAtMost("nValue", QualityMax));
    static constexpr auto QualityMinimum = lxip::Bind<C>(R::QualityMinReg).Constant(QualityMin);
    static constexpr auto QualityMaximum = lxip::Bind<C>(R::QualityMaxReg).Constant(QualityMax);
    static constexpr auto File =
        lxip::MakeRegisterFile(Quality, QualityMinimum, QualityMaximum, ColorMapType, ColorMapInversion, ColorMapPhase);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxStillImageWriter::CLxStillImageWriter()
    : CLxIPModuleBase(lxip::RecordOf(FilerType).resourceId, Registers::File.View(), this) {
    (void)g_writerTable;
}

bool CLxStillImageWriter::IsSupported(uint32_t pixelFormat, ELxStillImageFileFormat_t fileFormat) {
    if (fileFormat == StillImageFileFormat_Raw) return true;
    const auto it = StillImageWriterTable().find(WriterKey{pixelFormat, fileFormat});
    // A pair whose writer this build does not hold cannot be saved: it is not offered.
    return it != StillImageWriterTable().end() && it->second.writer;
}

bool CLxStillImageWriter::IsPixelFormatIndependent(uint32_t /*pixelFormat*/, ELxStillImageFileFormat_t fileFormat) {
    return fileFormat == StillImageFileFormat_Raw;
}

void CLxStillImageWriter::Save(const ILxImage* image, ELxStillImageFileFormat_t fileFormat,
                               const GenICam::gcstring& fileName) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    // ILxImage answers through non-const operations; nothing here writes to the image.
    lxip::TranslateBadAlloc([&] {
        SaveImage(const_cast<ILxImage*>(image), fileFormat, std::string(fileName.c_str()));
        return 0;
    });
}

void CLxStillImageWriter::SaveImage(ILxImage* image, ELxStillImageFileFormat_t fileFormat,
                                    const std::string& fileName) {
    const uint32_t format = image->GetImagePixelFormat();
    const WriterRecord* record = &RawRecord;
    if (fileFormat != StillImageFileFormat_Raw) {
        const auto it = StillImageWriterTable().find(WriterKey{format, fileFormat});
        if (it == StillImageWriterTable().end())
            throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
        record = &it->second;
    }
    if (record->target != NoConversion) {
        SaveConverted(image, record->target, false, fileFormat, fileName);
        return;
    }
    // JPEG has no palette: a pseudo-coloured Mono8 image is written in colour.
    if (format == LxPixelFormat_Mono8 && fileFormat == StillImageFileFormat_JPEG &&
        (GetColorMapType() != LxColorMapType_Normal || GetColorMapInversion() || GetColorMapPhase() != 0)) {
        SaveConverted(image, LxPixelFormat_BGR8, true, fileFormat, fileName);
        return;
    }
    lxip::InsideOf<ILxImageInside>(image);
    lxfile::CreateParentDirectories(fileName);
    (this->*record->writer)(image, fileName);
}

void CLxStillImageWriter::SaveConverted(ILxImage* image, uint32_t format, bool colorMap,
                                        ELxStillImageFileFormat_t fileFormat, const std::string& fileName) {
    CLxPixelFormatConverter converter;
    converter.SetDestinationPixelFormat(format);
    if (colorMap) {
        converter.SetColorMapType(GetColorMapType());
        converter.SetColorMapInversion(GetColorMapInversion());
        converter.SetColorMapPhase(GetColorMapPhase());
    }
    TemporaryBuffer converted(*this);
    converter.Convert(image, converted.Get());
    CarryAlpha(image, converted->GetILxImage());
    SaveImage(converted->GetILxImage(), fileFormat, fileName);
}

void CLxStillImageWriter::WriteRawFile(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    lxraw::WriteRaw(image, file);
    file.Close();
}

void CLxStillImageWriter::WriteBitmapFile(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    lxbmp::WriteBitmap(image, file, GetColorMapType(), GetColorMapInversion(), GetColorMapPhase());
    file.Close();
}

void CLxStillImageWriter::WriteJpegFile(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    lxjpegwriter::WriteJpeg(image, file, GetQuality());
    file.Close();
}

void CLxStillImageWriter::WriteTiffFile(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    lxtiff::WriteTiff(image, file, GetColorMapType(), GetColorMapInversion(), GetColorMapPhase());
    file.Close();
}

void CLxStillImageWriter::WritePngFile(ILxImage* image, const std::string& fileName) {
    lxfile::CFile file;
    file.OpenForWriting(fileName);
    lxpng::WritePng(image, file, GetColorMapType(), GetColorMapInversion(), GetColorMapPhase());
    file.Close();
}

void CLxStillImageWriter::WriteCsvFile(ILxImage* image, const std::string& fileName) {
    lxcsv::WriteCsv(image, fileName);
}

void CLxStillImageWriter::Load(ILxImageBuffer* imageBuffer, const GenICam::gcstring& fileName) {
    if (!imageBuffer) throw INVALID_ARGUMENT_EXCEPTION("ILxImageBuffer pointer is NULL.");
    lxip::TranslateBadAlloc([&] {
        lxfile::CFile file;
        file.OpenForReading(std::string(fileName.c_str()));
        uint8_t magic[4];
        if (file.Read(magic, sizeof magic) != sizeof magic || !file.Seek(0)) lxfile::ThrowUnreadable(file.Name());
        static constexpr uint8_t kRaw[4] = {'L', 'X', 'R', 'W'};
        static constexpr uint8_t kPng[4] = {0x89, 'P', 'N', 'G'};
        if (std::memcmp(magic, kRaw, 4) == 0)
            lxraw::ReadRaw(imageBuffer, file);
        else if (magic[0] == 'B' && magic[1] == 'M')
            lxbmp::ReadBitmap(imageBuffer, file);
        else if (std::memcmp(magic, kPng, 4) == 0)
            lxpng::ReadPng(imageBuffer, file);
        else
            lxfile::ThrowUnreadable(file.Name());
        return 0;
    });
}

uint32_t CLxStillImageWriter::GetQuality() { return Registers::Quality.Get(*this); }
void CLxStillImageWriter::SetQuality(uint32_t nValue) { Registers::Quality.Set(*this, nValue); }

ELxColorMapType_t CLxStillImageWriter::GetColorMapType() {
    return static_cast<ELxColorMapType_t>(Registers::ColorMapType.Get(*this));
}
void CLxStillImageWriter::SetColorMapType(ELxColorMapType_t eCMT) { Registers::ColorMapType.Set(*this, eCMT); }

bool CLxStillImageWriter::GetColorMapInversion() { return Registers::ColorMapInversion.Get(*this); }
void CLxStillImageWriter::SetColorMapInversion(bool value) { Registers::ColorMapInversion.Set(*this, value); }

int32_t CLxStillImageWriter::GetColorMapPhase() { return Registers::ColorMapPhase.Get(*this); }
void CLxStillImageWriter::SetColorMapPhase(int32_t nPhase) { Registers::ColorMapPhase.Set(*this, nPhase); }
