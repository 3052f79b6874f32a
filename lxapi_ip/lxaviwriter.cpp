#include "lxaviwriter.h"

#include "aviwriter/avifilemjpeg.h"
#include "aviwriter/avifile20mjpeg.h"
#include "aviwriter/avifile20notcompressed.h"
#include "aviwriter/avifilenotcompressed.h"
#include "aviwriter/vpx/vpxvideofile.h"
#include <lxsdkcommon/lxcallbackmanager.h>
#include "colormap/lxcolormapregisters.h"
#include "lxdescriptions.h"
#include "lxiputil.h"
#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>
#include <includeinside/ilxpixelformatinfoinside.h>
#include <lxapi/lxpixelformat.h>

namespace {

namespace R = lxres::lxaviwriter;
using lxip::WriteRule;
using C = CLxAVIWriter;

constexpr double kFrameRateMin = 0.001, kFrameRateMax = 65535.0;
constexpr int64_t kFrameCountMin = 1, kFrameCountMax = 100000;
// WebM files come from a writer of their own (aviwriter/vpx); the feature tree offers the format.
constexpr uint32_t kWebMSupported = 1;

class CParamOpen : public CLxCallbackParamBase<ILxCallbackParamLxApiIPVideoFilerOpen> {
public:
    explicit CParamOpen(const std::string& name) : CLxCallbackParamBase(LxCallbackType_VideoFilerOpen), m_name(name.c_str()) {}
    GenICam::gcstring GetFileName() override { return m_name; }

private:
    GenICam::gcstring m_name;
};

class CParamClose : public CLxCallbackParamBase<ILxCallbackParamLxApiIPVideoFilerClose> {
public:
    explicit CParamClose(const std::string& name) : CLxCallbackParamBase(LxCallbackType_VideoFilerClose), m_name(name.c_str()) {}
    GenICam::gcstring GetFileName() override { return m_name; }

private:
    GenICam::gcstring m_name;
};

class CParamError : public CLxCallbackParamBase<ILxCallbackParamLxApiIPVideoFilerError> {
public:
    explicit CParamError(const GenICam::GenericException& e) : CLxCallbackParamBase(LxCallbackType_VideoFilerError), m_exception(e) {}
    const GenICam::GenericException& GetException() override { return m_exception; }

private:
    GenICam::GenericException m_exception;
};

} // namespace

// The shaping settings go through accessors, whose stores end the file object; quality and the colour
// map are plain fields. Bounds and the WebM flag read as constants.
struct CLxAVIWriter::Registers
    : lxip::ColorMapRegisters<C, R::ColorMapTypeReg, R::ColorMapInversionReg, R::ColorMapPhaseReg, &C::m_colorMapType,
                              &C::m_colorMapInversion, &C::m_colorMapPhase> {
    static constexpr auto Quality = lxip::Bind<C>(R::QualityReg)
                                        .Field(&C::m_quality)
                                        .Range(lxip::IntegerAtMost("nValue", 100))
                                        .Notifies("QualityValueReg");
    static constexpr auto QualityMinimum = lxip::Bind<C>(R::QualityMinReg).Constant(uint32_t{0});
    static constexpr auto QualityMaximum = lxip::Bind<C>(R::QualityMaxReg).Constant(uint32_t{100});
    static constexpr auto FileFormat = lxip::Bind<C>(R::FileFormatValueReg)
                                           .Accessor(&C::FileFormatValue, &C::StoreFileFormat)
                                           .Range(lxip::IntegerBelow("eAVIFileFormat", 0, 3));
    static constexpr auto Codec =
        lxip::Bind<C>(R::CodecValueReg).Accessor(&C::CodecValue, &C::StoreCodec).Range(lxip::IntegerBelow("eAVICodec", 0, 3));
    static constexpr auto ReverseY = lxip::Bind<C>(R::ReverseYValueReg).Accessor(&C::ReverseYValue, &C::StoreReverseY);
    static constexpr auto FrameRate = lxip::Bind<C>(R::FrameRateValueReg)
                                          .Accessor(&C::FrameRateValue, &C::StoreFrameRate)
                                          .Range(lxip::FloatBetween("FPS", kFrameRateMin, kFrameRateMax));
    static constexpr auto FrameRateMinimum = lxip::Bind<C>(R::FrameRateMinValueReg).Constant(kFrameRateMin);
    static constexpr auto FrameRateMaximum = lxip::Bind<C>(R::FrameRateMaxValueReg).Constant(kFrameRateMax);
    static constexpr auto MaximumFrameCount = lxip::Bind<C>(R::MaximumFrameCountPerFileValueReg)
                                                  .Accessor(&C::MaximumFrameCountValue, &C::StoreMaximumFrameCount)
                                                  .Range(lxip::IntegerBetween("nValue", kFrameCountMin, kFrameCountMax));
    static constexpr auto MaximumFrameCountMinimum =
        lxip::Bind<C>(R::MaximumFrameCountPerFileMinValueReg).Constant(kFrameCountMin);
    static constexpr auto MaximumFrameCountMaximum =
        lxip::Bind<C>(R::MaximumFrameCountPerFileMaxValueReg).Constant(kFrameCountMax);
    static constexpr auto WebMSupported =
        lxip::Bind<C>(R::IsWebMSupportedReg).Constant(kWebMSupported).LengthChecked();
    static constexpr auto File = lxip::MakeRegisterFile(
        Quality, QualityMinimum, QualityMaximum, FileFormat, Codec, ReverseY, FrameRate, FrameRateMinimum,
        FrameRateMaximum, MaximumFrameCount, MaximumFrameCountMinimum, MaximumFrameCountMaximum, ColorMapType,
        ColorMapInversion, ColorMapPhase, WebMSupported);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxAVIWriter::CLxAVIWriter()
    : CLxIPModuleBase(lxip::RecordOf(FilerType).resourceId, Registers::File.View(), this),
      m_pixelFormat(LxPixelFormat_BGR8) {}

CLxAVIWriter::~CLxAVIWriter() {
    try {
        Stop();
    } catch (...) {
    }
}

// ---- parameters ----

eAVIFileFormat CLxAVIWriter::GetFileFormat() { return static_cast<eAVIFileFormat>(Registers::FileFormat.Get(*this)); }
void CLxAVIWriter::SetFileFormat(eAVIFileFormat eAVIFF) { Registers::FileFormat.Set(*this, eAVIFF); }
eAVICodec CLxAVIWriter::GetCodec() { return static_cast<eAVICodec>(Registers::Codec.Get(*this)); }
void CLxAVIWriter::SetCodec(eAVICodec eAVIC) { Registers::Codec.Set(*this, eAVIC); }
uint32_t CLxAVIWriter::GetQuality() { return Registers::Quality.Get(*this); }
void CLxAVIWriter::SetQuality(uint32_t nValue) { Registers::Quality.Set(*this, nValue); }
bool CLxAVIWriter::GetReverseY() { return Registers::ReverseY.Get(*this); }
void CLxAVIWriter::SetReverseY(bool value) { Registers::ReverseY.Set(*this, value); }
double CLxAVIWriter::GetFrameRate() { return Registers::FrameRate.Get(*this); }
void CLxAVIWriter::SetFrameRate(double FPS) { Registers::FrameRate.Set(*this, FPS); }
int64_t CLxAVIWriter::GetMaximumFrameCountPerFile() { return Registers::MaximumFrameCount.Get(*this); }
void CLxAVIWriter::SetMaximumFrameCountPerFile(int64_t nValue) { Registers::MaximumFrameCount.Set(*this, nValue); }
ELxColorMapType_t CLxAVIWriter::GetColorMapType() {
    return static_cast<ELxColorMapType_t>(Registers::ColorMapType.Get(*this));
}
void CLxAVIWriter::SetColorMapType(ELxColorMapType_t eCMT) { Registers::ColorMapType.Set(*this, eCMT); }
bool CLxAVIWriter::GetColorMapInversion() { return Registers::ColorMapInversion.Get(*this); }
void CLxAVIWriter::SetColorMapInversion(bool value) { Registers::ColorMapInversion.Set(*this, value); }
int32_t CLxAVIWriter::GetColorMapPhase() { return Registers::ColorMapPhase.Get(*this); }
void CLxAVIWriter::SetColorMapPhase(int32_t nPhase) { Registers::ColorMapPhase.Set(*this, nPhase); }

int32_t CLxAVIWriter::FileFormatValue() {
    GenApi::AutoLock guard(ParameterLock());
    return m_fileFormat;
}
void CLxAVIWriter::StoreFileFormat(int32_t value) {
    CExclusive exclusive(*this);
    DropFileObject();
    GenApi::AutoLock guard(ParameterLock());
    m_fileFormat = value;
    // The AVI containers take uncompressed and Motion JPEG frames, WebM takes VP8.
    if (value == WebM)
        m_codec = VP8;
    else if (m_codec > MotionJPEG)
        m_codec = MotionJPEG;
}
int32_t CLxAVIWriter::CodecValue() {
    GenApi::AutoLock guard(ParameterLock());
    return m_codec;
}
void CLxAVIWriter::StoreCodec(int32_t value) {
    CExclusive exclusive(*this);
    DropFileObject();
    GenApi::AutoLock guard(ParameterLock());
    m_codec = value;
}
bool CLxAVIWriter::ReverseYValue() {
    GenApi::AutoLock guard(ParameterLock());
    return m_reverseY;
}
void CLxAVIWriter::StoreReverseY(bool value) {
    CExclusive exclusive(*this);
    DropFileObject();
    GenApi::AutoLock guard(ParameterLock());
    m_reverseY = value;
}
double CLxAVIWriter::FrameRateValue() {
    GenApi::AutoLock guard(ParameterLock());
    return m_frameRate;
}
void CLxAVIWriter::StoreFrameRate(double value) {
    CExclusive exclusive(*this);
    DropFileObject();
    GenApi::AutoLock guard(ParameterLock());
    m_frameRate = value;
}
int64_t CLxAVIWriter::MaximumFrameCountValue() {
    GenApi::AutoLock guard(ParameterLock());
    return m_maximumFrameCountPerFile;
}
void CLxAVIWriter::StoreMaximumFrameCount(int64_t value) {
    CExclusive exclusive(*this);
    DropFileObject();
    GenApi::AutoLock guard(ParameterLock());
    m_maximumFrameCountPerFile = value;
}

// ---- names and state ----

CLxAVIWriter::CExclusive::CExclusive(CLxAVIWriter& owner) : m_owner(owner) {
    m_owner.m_abort.Set();
    m_lock = std::unique_lock<std::mutex>(m_owner.m_addLock);
}
CLxAVIWriter::CExclusive::~CExclusive() {
    m_owner.m_abort.Reset();
}

void CLxAVIWriter::RegisterFileName(const GenICam::gcstring& fileName) {
    lxip::TranslateBadAlloc([&] {
        std::lock_guard<std::mutex> lock(m_nameLock);
        m_fileNames.emplace_back(fileName.c_str());
        m_namesAvailable.Set();
        m_stopped.Reset();
        return 0;
    });
}

bool CLxAVIWriter::IsFinished() {
    std::lock_guard<std::mutex> lock(m_nameLock);
    return m_fileNames.empty() && m_stopped.IsSet();
}

void CLxAVIWriter::Stop() {
    CExclusive exclusive(*this);
    DropFileObject();
    m_imageCount = 0;
    {
        std::lock_guard<std::mutex> lock(m_nameLock);
        m_fileNames.clear();
        m_stopped.Set();
        m_namesAvailable.Reset();
    }
    FreeFramePool();
}

size_t CLxAVIWriter::GetFramePoolSize() {
    CExclusive exclusive(*this);
    return m_allFrames.size();
}

bool CLxAVIWriter::GetNextFileName(std::string& name) {
    std::lock_guard<std::mutex> lock(m_nameLock);
    if (m_fileNames.empty()) {
        m_namesAvailable.Reset();
        return false;
    }
    name = std::move(m_fileNames.front());
    m_fileNames.pop_front();
    if (m_fileNames.empty()) m_namesAvailable.Reset();
    return true;
}

void CLxAVIWriter::OnFileOpened(const std::string& name) {
    try {
        CParamOpen param(name);
        m_callbackManager.FireCallback(&param);
    } catch (...) {
    }
}

void CLxAVIWriter::OnFileClosed(const std::string& name) {
    {
        std::lock_guard<std::mutex> lock(m_nameLock);
        if (m_fileNames.empty()) m_stopped.Set();
    }
    try {
        CParamClose param(name);
        m_callbackManager.FireCallback(&param);
    } catch (...) {
    }
}

void CLxAVIWriter::OnException(const GenICam::GenericException& exception) {
    {
        std::lock_guard<std::mutex> lock(m_nameLock);
        if (m_fileNames.empty()) m_stopped.Set();
    }
    try {
        CParamError param(exception);
        m_callbackManager.FireCallback(&param);
    } catch (...) {
    }
}

// ---- file object and frames ----

void CLxAVIWriter::DropFileObject() {
    if (m_fileObject) {
        // A callback runs on the worker's thread: it cannot end the worker it runs on.
        if (m_fileObject->IsWorkerThread())
            throw LOGICAL_ERROR_EXCEPTION("The video filer cannot be stopped or reshaped from its own callback.");
        m_fileObject->Stop();
        m_fileObject.reset();
    }
    m_imageCount = 0;
    // Frames still queued are given back unwritten.
    m_filledFrames.Clear();
    m_freeFrames.Clear();
    for (auto& frame : m_allFrames) m_freeFrames.Push(frame.get());
}

void CLxAVIWriter::FreeFramePool() {
    m_filledFrames.Clear();
    m_freeFrames.Clear();
    m_allFrames.clear();
}

void CLxAVIWriter::RebuildFramePool(uint32_t height, uint32_t pitch, uint32_t width, uint32_t format) {
    const uint64_t available = AvailablePhysicalMemory();
    FreeFramePool();
    constexpr uint64_t kReserve = 52428800; // 50 MiB left to everything else
    const uint64_t budget = available > 0x3200000 ? available - kReserve : 0;
    uint64_t total = 0;
    for (uint32_t i = 0; i < m_maximumFrameBufferCount; ++i) {
        auto frame = std::make_unique<CFrameData>();
        // The memory of the geometry is taken here once; conversions reuse it.
        ILxImageBufferInside* buffer = lxip::InsideOf<ILxImageBufferInside>(frame->Buffer());
        buffer->CreateBuffer(width, height, format, pitch);
        m_allFrames.push_back(std::move(frame));
        total += static_cast<uint64_t>(pitch) * height;
        if (total > budget) break;
    }
    for (auto& frame : m_allFrames) m_freeFrames.Push(frame.get());
}

void CLxAVIWriter::SetUpFileObject(uint32_t width, uint32_t height, uint32_t pitch, uint32_t format) {
    DropFileObject();
    m_width = width;
    m_height = height;
    m_linePitch = pitch;
    m_pixelFormat = format;
    m_imageCount = 0;

    int32_t fileFormat, codec, mapType, phase;
    uint32_t quality;
    int64_t maximumFrameCount;
    double frameRate;
    bool inversion;
    {
        GenApi::AutoLock guard(ParameterLock());
        fileFormat = m_fileFormat;
        codec = m_codec;
        quality = m_quality;
        maximumFrameCount = m_maximumFrameCountPerFile;
        frameRate = m_frameRate;
        mapType = m_colorMapType;
        inversion = m_colorMapInversion;
        phase = m_colorMapPhase;
    }
    std::unique_ptr<CVideoFile> file;
    if (fileFormat == AVI1 && codec == Uncompressed)
        file = std::make_unique<CAVIFileNotCompressed>(m_freeFrames, m_filledFrames, *this);
    else if (fileFormat == AVI1 && codec == MotionJPEG)
        file = std::make_unique<CAVIFileMJPEG>(m_freeFrames, m_filledFrames, *this);
    else if (fileFormat == AVI2 && codec == Uncompressed)
        file = std::make_unique<CAVIFile20NotCompressed>(m_freeFrames, m_filledFrames, *this);
    else if (fileFormat == AVI2 && codec == MotionJPEG)
        file = std::make_unique<CAVIFile20MJPEG>(m_freeFrames, m_filledFrames, *this);
    else if (fileFormat == WebM && codec == VP8)
        file = std::make_unique<CVpxVideoFile>(m_freeFrames, m_filledFrames, *this);
    else
        throw INVALID_ARGUMENT_EXCEPTION("Invalid codec.");

    file->SetCompressor(codec == MotionJPEG ? FourCC("MJPG") : 0);
    if (codec != Uncompressed) file->SetQuality(quality);
    file->SetMaximumFrameCount(static_cast<uint32_t>(maximumFrameCount));
    file->SetFrameRate(frameRate);
    const uint32_t bits = static_cast<uint32_t>(lxip::FormatInside(format)->GetPixelBits());
    // Frames are BGR8 or Mono8: colour frames are stored blue first already.
    const bool swapColours = bits == 24 && format != LxPixelFormat_BGR8;
    file->SetFormat(width, height, pitch, bits, swapColours, mapType, inversion, phase);
    RebuildFramePool(height, pitch, width, format);
    file->FinishedEvent().Reset();
    // A file object that cannot ready itself would take frames and never give them back: refused here,
    // so that the caller does not block.
    if (const uint32_t prepared = file->Prepare())
        throw RUNTIME_EXCEPTION("The video file could not be prepared (error 0x%X).", prepared);
    m_fileObject = std::move(file);
    m_fileObject->Start();
}

void CLxAVIWriter::AddImage(ILxImage* image, uint32_t frameNumber) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    lxip::TranslateBadAlloc([&] {
        std::unique_lock<std::mutex> lock(m_addLock);
        AddImageLocked(image, frameNumber);
        return 0;
    });
}

void CLxAVIWriter::AddImageLocked(ILxImage* image, uint32_t frameNumber) {
    const uint32_t sourceFormat = image->GetImagePixelFormat();
    ILxPixelFormatInfo* info = lxip::FindPixelFormatInfo(sourceFormat);
    if (!info) throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(sourceFormat).c_str());
    int32_t fileFormat, mapType, phase;
    bool inversion, reverseY;
    {
        GenApi::AutoLock guard(ParameterLock());
        fileFormat = m_fileFormat;
        mapType = m_colorMapType;
        inversion = m_colorMapInversion;
        phase = m_colorMapPhase;
        reverseY = m_reverseY;
    }
    // Colour images (Bayer included) are stored as BGR8, a Mono8 image with a colour map as well; every
    // other image as Mono8.
    const bool mapped = mapType != 0 || inversion || phase != 0;
    uint32_t target = fileFormat == WebM ? LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar : LxPixelFormat_BGR8;
    if (!info->IsColor() && !(sourceFormat == LxPixelFormat_Mono8 && mapped)) target = LxPixelFormat_Mono8;

    const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
    if (width == 0 || height == 0 || width > 0xFFFF || height > 0xFFFF)
        throw INVALID_ARGUMENT_EXCEPTION("Not supported image size %zu x %zu", width, height);
    if (!m_fileObject || width != m_width || height != m_height || target != m_pixelFormat) {
        const size_t line = lxip::FormatInside(target)->GetLineBytes(width);
        // A frame is one RIFF chunk: its size must fit the chunk's 32-bit field with room to spare.
        if ((line + 3) / 4 * 4 * height > 0x7FFFFFFFu)
            throw INVALID_ARGUMENT_EXCEPTION("Not supported image size %zu x %zu", width, height);
        SetUpFileObject(static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                        static_cast<uint32_t>((line + 3) / 4 * 4), target);
    }

    // The caller's numbers: a number not above the last one counts as a wrap of the 32-bit counter.
    if (m_imageCount == 0) {
        m_firstFrameNumber = frameNumber;
        m_frameNumberWrap = 0;
    } else if (frameNumber <= m_lastFrameNumber) {
        m_frameNumberWrap += 0x100000000ull;
    }
    m_lastFrameNumber = frameNumber;
    const uint64_t number = m_frameNumberWrap - m_firstFrameNumber + frameNumber;

    // Back-pressure: wait for a free frame, unless no file is to be written or a setter wants the lock.
    const int answer = CEventObject::WaitAny({&m_stopped, &m_abort, m_freeFrames.GetEvent()}, LxWaitInfinite);
    if (answer != 2) return;
    CFrameData* frame = m_freeFrames.Pop();
    if (!frame) return;
    try {
        m_converter.SetDestinationBufferParameter(4);
        m_converter.SetReverseY(reverseY != m_fileObject->IsBottomUp());
        m_converter.SetDestinationPixelFormat(target);
        m_converter.SetColorMapType(static_cast<ELxColorMapType_t>(mapType));
        m_converter.SetColorMapInversion(inversion);
        m_converter.SetColorMapPhase(phase);
        m_converter.Convert(image, frame->Buffer());
    } catch (...) {
        m_freeFrames.PushFront(frame);
        throw;
    }
    frame->frameNumber = number;
    m_filledFrames.Push(frame);
    ++m_imageCount;
}
