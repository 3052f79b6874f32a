// What the commands share: the SDK's lifetime, module look-up by name, pixel format names, the still
// file formats, conversions, and the feature tree printer.
#pragma once

#include "capture.h"

#include <lxapi/ilxpixelformatconverter.h>
#include <lxapi/ilxstillimagefiler.h>
#include <lxapi/lxapi_ip.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace GenApi {
class INode;
}

namespace lxtool {

using FilterPtr = CLxAutoPtr<ILxFilterReleasable, ILxFilter>;
using ConverterPtr = CLxAutoPtr<ILxConverterReleasable, ILxConverter>;
using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;

// LxApiInitialize for the life of the object.
struct Sdk {
    Sdk();
    ~Sdk();
    Sdk(const Sdk&) = delete;
    Sdk& operator=(const Sdk&) = delete;
};

// Every pixel format code the SDK's public header names, in its order.
const std::vector<uint32_t>& AllPixelFormats();
std::string FormatName(uint32_t pixelFormat);
// The code of a format name ("BGR8", case-insensitive); throws UsageError naming `what` otherwise.
uint32_t PixelFormatByName(const std::string& name, const std::string& what);

struct StillFormat {
    const char* name;              // as --format takes it
    const char* extensions[2];     // lower case, with the dot
    ELxStillImageFileFormat_t id;
};
const std::vector<StillFormat>& StillFormats();
// By --format name or, when that is empty, by the extension of `path`; throws UsageError.
const StillFormat& StillFormatFor(const std::string& path, const std::string& formatName);

ELxBayerInterpolationMethod_t BayerMethodByName(const std::string& name);
const char* BayerMethodName(ELxBayerInterpolationMethod_t method);
ELxColorMapType_t ColorMapByName(const std::string& name);

// Converts `source` into `destination` in `pixelFormat`, demosaicing Bayer sources by `method` and
// colouring Mono8 by `map`.
void Convert(ILxImage* source, ILxImageBuffer* destination, uint32_t pixelFormat,
             ELxBayerInterpolationMethod_t method = LxBayerInterpolationMethod_Bilinear,
             ELxColorMapType_t map = LxColorMapType_Normal);

// Runs automatic white balance once on a colour image, or sets the given red, green, blue ratios.
void Balance(ILxImage* image, const std::optional<std::vector<double>>& ratios);
void Gamma(ILxImage* image, double gamma);

// Saves `image` as `format`, first converting it to a pixel format the file takes when it does not
// take the image's own. Returns the pixel format written.
uint32_t Save(ILxImage* image, const StillFormat& format, const std::string& path, int quality = -1);
void Load(ILxImageBuffer* buffer, const std::string& path);

// Modules by short name: gamma, balance, ..., converter, reverse, still, video.
struct ModuleName {
    const char* name;
    const char* kind;   // "filter", "converter", "filer"
    int type;
};
const std::vector<ModuleName>& ModuleNames();

// Prints a category and everything below it, one feature a line, with its value where readable.
void PrintTree(GenApi::INode* node, int depth);

} // namespace lxtool
