// The video filer: a stream of images to a sequence of video files (AVI 1.0, OpenDML AVI, WebM), named
// ahead of time by the caller. Images are converted on the caller's thread; a worker thread encodes and
// writes them, and reports each file opened and closed and every failure through callbacks 6, 7 and 8.
#pragma once

#include <GenICam/GCException.h>
#include <GenICam/GCString.h>
#include <lxapi/ilxcallback.h>
#include <lxapi/ilxfiler.h>
#include <lxapi/ilximage.h>
#include <lxapi/ilxpixelformatconverter.h>

enum eAVIFileFormat : int32_t {
    AVI1 = 0,
    AVI2 = 1,
    WebM = 2,
};

enum eAVICodec : int32_t {
    Uncompressed = 0,
    MotionJPEG = 1,
    VP8 = 2,
    VP9 = 3,
};

// The event kinds of the video filer's callbacks.
enum ELxVideoFilerCallbackType_t : uint32_t {
    LxCallbackType_VideoFilerOpen = 6,
    LxCallbackType_VideoFilerClose = 7,
    LxCallbackType_VideoFilerError = 8,
};

// Kind 6: a file was opened; its name as it was registered.
class LXAPI_INTERFACE ILxCallbackParamLxApiIPVideoFilerOpen : public ILxCallbackParamBase {
public:
    virtual GenICam::gcstring GetFileName() = 0;

protected:
    ~ILxCallbackParamLxApiIPVideoFilerOpen() override = default;
};

// Kind 7: a file was completed and closed.
class LXAPI_INTERFACE ILxCallbackParamLxApiIPVideoFilerClose : public ILxCallbackParamBase {
public:
    virtual GenICam::gcstring GetFileName() = 0;

protected:
    ~ILxCallbackParamLxApiIPVideoFilerClose() override = default;
};

// Kind 8: a file could not be made or written; the exception tells why.
class LXAPI_INTERFACE ILxCallbackParamLxApiIPVideoFilerError : public ILxCallbackParamBase {
public:
    virtual const GenICam::GenericException& GetException() = 0;

protected:
    ~ILxCallbackParamLxApiIPVideoFilerError() override = default;
};

class LXAPI_INTERFACE ILxVideoFiler : public virtual ILxFiler {
public:
    virtual eAVIFileFormat GetFileFormat() = 0;
    // 0 to 2; AVI1 and AVI2 with a codec above MotionJPEG take MotionJPEG, WebM takes VP8.
    virtual void SetFileFormat(eAVIFileFormat eAVIFF) = 0;
    virtual eAVICodec GetCodec() = 0;
    // 0 to 2.
    virtual void SetCodec(eAVICodec eAVIC) = 0;
    virtual uint32_t GetQuality() = 0;
    // 0 to 100, read by Motion JPEG and VP8.
    virtual void SetQuality(uint32_t nValue) = 0;
    virtual bool GetReverseY() = 0;
    virtual void SetReverseY(bool value) = 0;
    virtual double GetFrameRate() = 0;
    // 0.001 to 65535.0 frames per second.
    virtual void SetFrameRate(double FPS) = 0;
    // Appends a file name (a UTF-8 path); each file takes the next name.
    virtual void RegisterFileName(const GenICam::gcstring& fileName) = 0;
    // Converts `image` and queues it with the caller's `frameNumber`; blocks while every pooled frame is
    // in use, and drops the image while no file name is waiting.
    virtual void AddImage(ILxImage* image, uint32_t frameNumber) = 0;
    // True when every registered name has been used and its file closed.
    virtual bool IsFinished() = 0;
    virtual int64_t GetMaximumFrameCountPerFile() = 0;
    // 1 to 100000.
    virtual void SetMaximumFrameCountPerFile(int64_t nValue) = 0;
    // Ends the worker (the open file is completed), forgets the names and frees the frames.
    virtual void Stop() = 0;
    virtual ELxColorMapType_t GetColorMapType() = 0;
    virtual void SetColorMapType(ELxColorMapType_t eCMT) = 0;
    virtual bool GetColorMapInversion() = 0;
    virtual void SetColorMapInversion(bool value) = 0;
    virtual int32_t GetColorMapPhase() = 0;
    virtual void SetColorMapPhase(int32_t nPhase) = 0;

protected:
    ~ILxVideoFiler() override = default;
};
