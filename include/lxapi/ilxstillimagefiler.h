// The still image filer: one image to one file (raw, BMP, JPEG, TIFF, PNG, CSV) and, for raw, BMP and
// PNG files, one file back into an image buffer.
#pragma once

#include <lxapi/ilxfiler.h>
#include <lxapi/ilximage.h>
#include <lxapi/ilxpixelformatconverter.h>

enum ELxStillImageFileFormat_t : int32_t {
    StillImageFileFormat_Raw = 0,
    StillImageFileFormat_Bitmap = 1,
    StillImageFileFormat_JPEG = 2,
    StillImageFileFormat_TIFF = 3,
    StillImageFileFormat_PNG = 4,
    StillImageFileFormat_CSV = 5,
};

class LXAPI_INTERFACE ILxStillImageFiler : public virtual ILxFiler {
public:
    // Whether an image of `pixelFormat` can be saved as `fileFormat` (raw takes every format).
    virtual bool IsSupported(uint32_t pixelFormat, ELxStillImageFileFormat_t fileFormat) = 0;
    // True exactly for raw files, which take any pixel format as it is.
    virtual bool IsPixelFormatIndependent(uint32_t pixelFormat, ELxStillImageFileFormat_t fileFormat) = 0;
    // Writes `image` to the file `fileName` (a UTF-8 path), creating the missing directories of the path.
    virtual void Save(const ILxImage* image, ELxStillImageFileFormat_t fileFormat,
                      const GenICam::gcstring& fileName) = 0;
    // Reads a raw, BMP or PNG file, told apart by its first bytes, into `imageBuffer`.
    virtual void Load(ILxImageBuffer* imageBuffer, const GenICam::gcstring& fileName) = 0;
    // JPEG quality, 0 to 100.
    virtual uint32_t GetQuality() = 0;
    virtual void SetQuality(uint32_t nValue) = 0;
    // The false-colour map of Mono8 images (a palette in BMP, TIFF and PNG files, colours in JPEG).
    virtual ELxColorMapType_t GetColorMapType() = 0;
    virtual void SetColorMapType(ELxColorMapType_t eCMT) = 0;
    virtual bool GetColorMapInversion() = 0;
    virtual void SetColorMapInversion(bool value) = 0;
    // 0 to 255: rotation of the map.
    virtual int32_t GetColorMapPhase() = 0;
    virtual void SetColorMapPhase(int32_t nPhase) = 0;

protected:
    ~ILxStillImageFiler() override = default;
};
