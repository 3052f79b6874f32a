// The still image filer: one image to one file, and raw, BMP and PNG files back into an image buffer. It
// owns four parameters, the table of which pixel format goes to which file format through which
// writer (and into which format it is converted first), the directory creation and the dispatch on
// reading; the format writers get an open file.
#pragma once

#include "lxipmodulebase.h"
#include "stillimage/lxfilerinfo.h"

#include <includeinside/ilxstillimagefilerinside.h>

#include <map>
#include <string>

class CLxStillImageWriter : public CLxIPModuleBase<ILxStillImageFilerInside> {
public:
    static constexpr ELxFilerType_t FilerType = LxFilerType_StillImage;
    struct Registers; // the register declarations

    // A writer of one file format: opens the file, writes the image, closes the file.
    using FileWriter = void (CLxStillImageWriter::*)(ILxImage* image, const std::string& fileName);
    // The target 0xFFFFFFFF means: written as it is.
    static constexpr uint32_t NoConversion = 0xFFFFFFFFu;
    struct WriterRecord {
        FileWriter writer; // null for a file format whose writer this build does not hold
        uint32_t target;
    };
    // (pixel format, file format), both compared as signed 32-bit numbers.
    struct WriterKey {
        uint32_t pixelFormat;
        int32_t fileFormat;
        friend bool operator<(const WriterKey& a, const WriterKey& b) {
            if (a.pixelFormat != b.pixelFormat)
                return static_cast<int32_t>(a.pixelFormat) < static_cast<int32_t>(b.pixelFormat);
            return a.fileFormat < b.fileFormat;
        }
    };
    using WriterTable = std::map<WriterKey, WriterRecord>;
    // The 155 pairs of file formats 1 to 5; raw files are not in it (RawRecord takes every format).
    static const WriterTable& StillImageWriterTable();
    static const WriterRecord RawRecord;

    CLxStillImageWriter();

    ILxFilerInfo* GetFilerInfo() override { return &CFilerInfo<CLxStillImageWriter>::Instance(); }
    bool IsSupported(uint32_t pixelFormat, ELxStillImageFileFormat_t fileFormat) override;
    bool IsPixelFormatIndependent(uint32_t pixelFormat, ELxStillImageFileFormat_t fileFormat) override;
    void Save(const ILxImage* image, ELxStillImageFileFormat_t fileFormat, const GenICam::gcstring& fileName) override;
    void Load(ILxImageBuffer* imageBuffer, const GenICam::gcstring& fileName) override;
    uint32_t GetQuality() override;
    void SetQuality(uint32_t nValue) override;
    ELxColorMapType_t GetColorMapType() override;
    void SetColorMapType(ELxColorMapType_t eCMT) override;
    bool GetColorMapInversion() override;
    void SetColorMapInversion(bool value) override;
    int32_t GetColorMapPhase() override;
    void SetColorMapPhase(int32_t nPhase) override;

private:
    void SaveImage(ILxImage* image, ELxStillImageFileFormat_t fileFormat, const std::string& fileName);
    // Converts `image` into `format` (through the colour map when `colorMap`) and saves the result.
    void SaveConverted(ILxImage* image, uint32_t format, bool colorMap, ELxStillImageFileFormat_t fileFormat,
                       const std::string& fileName);

    void WriteRawFile(ILxImage* image, const std::string& fileName);
    void WriteBitmapFile(ILxImage* image, const std::string& fileName);
    void WriteJpegFile(ILxImage* image, const std::string& fileName);
    void WriteTiffFile(ILxImage* image, const std::string& fileName);
    void WritePngFile(ILxImage* image, const std::string& fileName);
    void WriteCsvFile(ILxImage* image, const std::string& fileName);

    uint32_t m_quality = 75;
    int32_t m_colorMapType = 0;
    bool m_colorMapInversion = false;
    int32_t m_colorMapPhase = 0;
};
