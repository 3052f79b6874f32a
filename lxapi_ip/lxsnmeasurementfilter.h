// SN measurement: gathers a number of frames, keeps converted copies of them, and on its own thread
// computes per pixel component and inside a region of interest the mean level, the temporal noise of
// each pixel over the frames and the spatial noise within each frame. The images pass unchanged.
#pragma once

#include "lxipmodulebase.h"
#include "snformats.h"
#include "snstatistics.h"

#include <includeinside/ilxsnmeasurementfilterinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/ilxpixelformatconverter.h>
#include <lxsdkcommon/eventobject.h>
#include <lxsdkcommon/worker.h>

#include <atomic>
#include <vector>

class CLxSNMeasurementFilter : public CLxIPModuleBase<ILxSNMesurementFilterInside>,
                               public CWorker,
                               public ILxSNMeasurementResult {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_SNMeasurement;
    static constexpr uint32_t NoFormat = 0xFFFFFFFFu;
    static constexpr uint64_t FrameCountMaximum = lxsn::MaxFrames;

    // The accepted formats, for the info object.
    struct FormatSet {
        bool Contains(uint32_t format) const { return lxsn::WorkingFormatOf(format) != NoFormat; }
    };
    static const FormatSet& Handlers() {
        static const FormatSet set;
        return set;
    }
    struct Registers;

    CLxSNMeasurementFilter();
    ~CLxSNMeasurementFilter() override;

    // ILxFilter
    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    GenApi::INodeMap* GetINodeMap() override;

    // ILxSNMeasurementFilter
    void ClearGrabbedImage() override;
    uint64_t GetFrameCount() override { return m_frameCount.load(); }
    void SetFrameCount(uint64_t value) override;
    int32_t GetFilterROIMode() override { return m_roiMode.load(); }
    void SetFilterROIMode(int32_t eRM) override;
    uint64_t GetOffsetX() override { return m_offsetX.load(); }
    void SetOffsetX(uint64_t value) override;
    uint64_t GetOffsetY() override { return m_offsetY.load(); }
    void SetOffsetY(uint64_t value) override;
    uint64_t GetWidth() override { return m_width.load(); }
    void SetWidth(uint64_t value) override;
    uint64_t GetHeight() override { return m_height.load(); }
    void SetHeight(uint64_t value) override;
    ILxSNMeasurementResult* RetrieveILxSNMeasurementResult(uint32_t nTimeoutMS, uint32_t eTimeoutAction) override;

    // ILxSNMeasurementResult
    size_t GetPixelComponentCount() override;
    void GetResult(int64_t nIndex, uint32_t* pComponent, uint64_t* pnPixelCount, double* pdAverage,
                   double* pdTemporalStandardDeviation, double* pdFrameStandardDeviation) override;

    // The ROI inside an image of width x height, as the mode and the parameters place it.
    lxsn::Roi ResolveRoi(uint64_t imageWidth, uint64_t imageHeight) const;
    // Whether `frames` frames of `frameBytes` each fit in `available` bytes of memory.
    static bool FramesFit(uint64_t frames, uint64_t frameBytes, uint64_t available);

protected:
    uint32_t Run() override;

private:
    // The result port, "IPResultPort": the count at 0, the selected index at 8, the selected record's
    // fields from 0x10 on.
    class CSNMeasurementResult : public GenApi::IPort {
    public:
        explicit CSNMeasurementResult(CLxSNMeasurementFilter& owner) : m_owner(owner) {}
        void Read(void* buffer, int64_t address, int64_t length) override;
        void Write(const void* buffer, int64_t address, int64_t length) override;
        GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }

    private:
        CLxSNMeasurementFilter& m_owner;
    };

    // Register accessors.
    uint64_t FrameCountValue() { return m_frameCount.load(); }
    void StoreFrameCount(uint64_t value);
    int32_t RoiModeValue() { return m_roiMode.load(); }
    void StoreRoiMode(int32_t value) { StoreRoi(m_roiMode, value); }
    uint64_t OffsetXValue() { return m_offsetX.load(); }
    void StoreOffsetX(uint64_t value) { StoreRoi(m_offsetX, value); }
    uint64_t OffsetYValue() { return m_offsetY.load(); }
    void StoreOffsetY(uint64_t value) { StoreRoi(m_offsetY, value); }
    uint64_t WidthValue() { return m_width.load(); }
    void StoreWidth(uint64_t value) { StoreRoi(m_width, value); }
    uint64_t HeightValue() { return m_height.load(); }
    void StoreHeight(uint64_t value) { StoreRoi(m_height, value); }
    uint64_t ImageWidthValue() { return m_imageWidth.load(); }
    uint64_t ImageHeightValue() { return m_imageHeight.load(); }
    void StoreNothing(uint64_t) {}
    uint32_t ClearValue() { return 0; }
    void StoreClear(uint32_t value);

    // A change of the ROI: the result is no longer valid and is computed again.
    template <class V>
    void StoreRoi(std::atomic<V>& field, V value) {
        field.store(value);
        m_resultReady.Reset();
        m_recalculationRequest.Set();
    }
    // Drops the stored frames; with `keep` their buffers wait in the spares for the next series.
    void ReleaseImages(bool keep) noexcept;
    void ReleaseSpares() noexcept;
    void ConvertInto(ILxImage* image, ILxImageBuffer* buffer, uint32_t working);
    // A frame in its working format: its lines copied as they are.
    static void CopyInto(ILxImage* image, ILxImageBuffer* buffer);
    // One calculation of the records from the stored frames; under both locks.
    void Calculate();

    // Parameters: written by the setters without a lock, read by the worker.
    std::atomic<uint64_t> m_frameCount{50};
    std::atomic<int32_t> m_roiMode{2};
    std::atomic<uint64_t> m_offsetX{0}, m_offsetY{0};
    std::atomic<uint64_t> m_width{100}, m_height{100};
    uint32_t m_bitExpansionMode = 0;

    // Under the module lock (m_workLock).
    std::vector<ILxImageBufferReleasable*> m_images; // owned, oldest first
    // Buffers of a cleared series, of the same format and size, taken again before new ones are made so
    // that a repeated measurement does not fault its memory in anew. Given back when the frame count or
    // the image changes.
    std::vector<ILxImageBufferReleasable*> m_spares;
    uint32_t m_workingFormat = NoFormat;
    uint32_t m_sourceFormat = NoFormat; // the source format the layout was taken from
    std::atomic<uint64_t> m_imageWidth{4096}, m_imageHeight{4096};
    CLxAutoPtr<ILxConverterReleasable, ILxConverter> m_converter;

    CEventObject m_framesComplete;
    CEventObject m_recalculationRequest;
    CEventObject m_resultReady;
    std::atomic<bool> m_cancel{false}; // ends a running calculation when the filter goes

    // Under the result lock. Lock order: result lock, then module lock.
    GenApi::CLock m_resultLock;
    std::vector<lxsn::Record> m_records;
    std::atomic<int64_t> m_selectedIndex{0};
    CSNMeasurementResult m_resultPort{*this};
    bool m_resultPortConnected = false;
};
