// The video filer: converts each image on the caller's thread into a pooled frame and hands it to the
// file object's worker, which writes the frames into the files the caller has named, one after the
// other. The file object is chosen by file format and codec when the first image fixes the geometry;
// a change of a shaping setting or of the image size ends it, and the next image makes a new one.
#pragma once

#include "aviwriter/videofile.h"
#include "lxipmodulebase.h"
#include "lxpixelformatconverter.h"
#include "stillimage/lxfilerinfo.h"

#include <includeinside/ilxvideofilerinside.h>

#include <deque>
#include <memory>
#include <mutex>
#include <string>

class CLxAVIWriter : public CLxIPModuleBase<ILxVideoFilerInside>, public IAVIFileStatusListener {
public:
    static constexpr ELxFilerType_t FilerType = LxFilerType_Video;
    struct Registers; // the register declarations

    CLxAVIWriter();
    ~CLxAVIWriter() override;

    ILxFilerInfo* GetFilerInfo() override { return &CFilerInfo<CLxAVIWriter>::Instance(); }
    eAVIFileFormat GetFileFormat() override;
    void SetFileFormat(eAVIFileFormat eAVIFF) override;
    eAVICodec GetCodec() override;
    void SetCodec(eAVICodec eAVIC) override;
    uint32_t GetQuality() override;
    void SetQuality(uint32_t nValue) override;
    bool GetReverseY() override;
    void SetReverseY(bool value) override;
    double GetFrameRate() override;
    void SetFrameRate(double FPS) override;
    void RegisterFileName(const GenICam::gcstring& fileName) override;
    void AddImage(ILxImage* image, uint32_t frameNumber) override;
    bool IsFinished() override;
    int64_t GetMaximumFrameCountPerFile() override;
    void SetMaximumFrameCountPerFile(int64_t nValue) override;
    void Stop() override;
    ELxColorMapType_t GetColorMapType() override;
    void SetColorMapType(ELxColorMapType_t eCMT) override;
    bool GetColorMapInversion() override;
    void SetColorMapInversion(bool value) override;
    int32_t GetColorMapPhase() override;
    void SetColorMapPhase(int32_t nPhase) override;

    // ---- IAVIFileStatusListener, on the worker thread ----
    bool GetNextFileName(std::string& name) override;
    CEventObject* GetNameEvent() override { return &m_namesAvailable; }
    void OnFileOpened(const std::string& name) override;
    void OnFileClosed(const std::string& name) override;
    void OnException(const GenICam::GenericException& exception) override;

    // Frames in the pool of the present geometry (0 before the first image).
    size_t GetFramePoolSize();

private:
    // Stores of the shaping registers: each ends the file object first.
    int32_t FileFormatValue();
    void StoreFileFormat(int32_t value);
    int32_t CodecValue();
    void StoreCodec(int32_t value);
    bool ReverseYValue();
    void StoreReverseY(bool value);
    double FrameRateValue();
    void StoreFrameRate(double value);
    int64_t MaximumFrameCountValue();
    void StoreMaximumFrameCount(int64_t value);

    // Ends a caller blocked in AddImage and takes the add lock: the holder may change the file object.
    class CExclusive {
    public:
        explicit CExclusive(CLxAVIWriter& owner);
        ~CExclusive();

    private:
        CLxAVIWriter& m_owner;
        std::unique_lock<std::mutex> m_lock;
    };
    // Stops and deletes the file object; queued frames go back to the free queue unwritten. Under the add
    // lock.
    void DropFileObject();
    void SetUpFileObject(uint32_t width, uint32_t height, uint32_t pitch, uint32_t format);
    void RebuildFramePool(uint32_t height, uint32_t pitch, uint32_t width, uint32_t format);
    void FreeFramePool();
    void AddImageLocked(ILxImage* image, uint32_t frameNumber);

    // Parameters, under the parameter lock.
    int32_t m_fileFormat = AVI2;
    int32_t m_codec = MotionJPEG;
    uint32_t m_quality = 75;
    int64_t m_maximumFrameCountPerFile = 600;
    bool m_reverseY = false;
    double m_frameRate = 1.0 / 60.0;
    int32_t m_colorMapType = 0;
    bool m_colorMapInversion = false;
    int32_t m_colorMapPhase = 0;

    // The caller's side, under the add lock.
    std::mutex m_addLock;
    CEventObject m_abort{false, LxEventReset::Manual}; // set while a setter or Stop waits for the add lock
    std::unique_ptr<CVideoFile> m_fileObject;
    uint32_t m_pixelFormat;
    uint32_t m_width = 640, m_height = 480, m_linePitch = 1920;
    uint64_t m_imageCount = 0;
    uint32_t m_firstFrameNumber = 0, m_lastFrameNumber = 0;
    uint64_t m_frameNumberWrap = 0;
    uint32_t m_maximumFrameBufferCount = 10;
    CFramePool m_allFrames;
    CFrameQueue m_freeFrames, m_filledFrames;
    CLxPixelFormatConverter m_converter;

    // The names not yet used.
    std::mutex m_nameLock;
    std::deque<std::string> m_fileNames;
    CEventObject m_namesAvailable{false, LxEventReset::Manual};
    CEventObject m_stopped{true, LxEventReset::Manual};
};
