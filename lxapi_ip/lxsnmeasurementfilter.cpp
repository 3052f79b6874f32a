#include "lxsnmeasurementfilter.h"

#include "conversion/conversionkernels.h"
#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lxhandlertable.h"
#include "lxpixelformatconverter.h"
#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <GenApi/GenApi.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>

namespace {
namespace R = lxres::lxsnmeasurementfilter;

// Bytes of memory the system can still give without swapping: MemAvailable, or the free pages where
// the kernel does not report it.
uint64_t AvailableMemory() {
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    uint64_t value = 0;
    while (meminfo >> key >> value) {
        if (key == "MemAvailable:") return value * 1024;
        meminfo.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    const long pages = sysconf(_SC_AVPHYS_PAGES), size = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || size <= 0) return std::numeric_limits<uint64_t>::max();
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(size);
}

// Bytes of one stored frame of `format`, or the largest value when it does not fit 64 bits.
uint64_t FrameBytes(uint32_t format, uint64_t width, uint64_t height) {
    const uint64_t line = lxip::FormatInside(format)->GetLineBytes(static_cast<size_t>(width));
    if (height && line > std::numeric_limits<uint64_t>::max() / height) return std::numeric_limits<uint64_t>::max();
    return line * height;
}

// `bytes` of the register `value` repeated until `length` is used up; a shorter length takes a part.
void FillRepeated(void* buffer, int64_t length, const void* value, size_t width) {
    auto* out = static_cast<uint8_t*>(buffer);
    const auto* in = static_cast<const uint8_t*>(value);
    for (int64_t i = 0; i < length; ++i) out[i] = in[static_cast<size_t>(i) % width];
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Registers

struct CLxSNMeasurementFilter::Registers {
    using C = CLxSNMeasurementFilter;
    static constexpr auto FrameCount =
        lxip::Bind<C>(R::FrameCountReg)
            .Accessor(&C::FrameCountValue, &C::StoreFrameCount)
            .Range(lxip::IntegerBetween("value", 1, static_cast<long long>(FrameCountMaximum)))
            .Write(lxip::WriteRule::Checked);
    static constexpr auto FrameCountMax = lxip::Bind<C>(R::FrameCountMaxReg).Constant<uint64_t>(FrameCountMaximum);
    static constexpr auto RoiMode = lxip::Bind<C>(R::FilterROIModeReg)
                                        .Accessor(&C::RoiModeValue, &C::StoreRoiMode)
                                        .Range(lxip::IntegerBelow("eRM", 0, 3));
    static constexpr auto OffsetX = lxip::Bind<C>(R::OffsetXReg).Accessor(&C::OffsetXValue, &C::StoreOffsetX);
    static constexpr auto OffsetY = lxip::Bind<C>(R::OffsetYReg).Accessor(&C::OffsetYValue, &C::StoreOffsetY);
    static constexpr auto Width = lxip::Bind<C>(R::WidthReg).Accessor(&C::WidthValue, &C::StoreWidth);
    static constexpr auto Height = lxip::Bind<C>(R::HeightReg).Accessor(&C::HeightValue, &C::StoreHeight);
    static constexpr auto WidthMax = lxip::Bind<C>(R::WidthMax).Accessor(&C::ImageWidthValue, &C::StoreNothing);
    static constexpr auto HeightMax = lxip::Bind<C>(R::HeightMax).Accessor(&C::ImageHeightValue, &C::StoreNothing);
    static constexpr auto Clear = lxip::Bind<C>(R::ClearGrabbedImageReg).Accessor(&C::ClearValue, &C::StoreClear);
    static constexpr auto BitExpansion = lxip::Bind<C>(R::BitExpansionModeReg).Field(&C::m_bitExpansionMode);
    static constexpr auto File = lxip::MakeRegisterFile(FrameCount, FrameCountMax, RoiMode, OffsetX, OffsetY, Width,
                                                        Height, WidthMax, HeightMax, Clear, BitExpansion);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

// ---------------------------------------------------------------------------------------------------
// Life

CLxSNMeasurementFilter::CLxSNMeasurementFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this), CWorker("LxApi_IP_SN"),
      m_converter(new CLxPixelFormatConverter()) {
    CWorker::Start();
}

// The thread goes first: a running calculation is told to end, then the thread is joined, before any
// member it uses is gone.
CLxSNMeasurementFilter::~CLxSNMeasurementFilter() {
    m_cancel.store(true);
    CWorker::Stop();
    ReleaseImages(false);
    ReleaseSpares();
}

ILxFilterInfo* CLxSNMeasurementFilter::GetFilterInfo() { return &CFilterInfo<CLxSNMeasurementFilter>::Instance(); }

// The result port is connected once, right after the description is loaded.
GenApi::INodeMap* CLxSNMeasurementFilter::GetINodeMap() {
    GenApi::INodeMap* map = CLxIPModuleBase::GetINodeMap();
    if (!m_resultPortConnected) {
        m_nodeMap._Connect(&m_resultPort, "IPResultPort");
        m_resultPortConnected = true;
    }
    return map;
}

void CLxSNMeasurementFilter::ReleaseImages(bool keep) noexcept {
    for (ILxImageBufferReleasable* image : m_images) {
        if (keep && m_spares.size() < m_spares.capacity()) {
            m_spares.push_back(image); // within the capacity: no allocation, no throw
            continue;
        }
        try {
            image->Release();
        } catch (...) {
        }
    }
    m_images.clear();
}

void CLxSNMeasurementFilter::ReleaseSpares() noexcept {
    for (ILxImageBufferReleasable* image : m_spares) {
        try {
            image->Release();
        } catch (...) {
        }
    }
    m_spares.clear();
}

bool CLxSNMeasurementFilter::FramesFit(uint64_t frames, uint64_t frameBytes, uint64_t available) {
    if (frameBytes && frames > available / frameBytes) return false;
    return frames * frameBytes <= available;
}

// ---------------------------------------------------------------------------------------------------
// Gathering

void CLxSNMeasurementFilter::ConvertInto(ILxImage* image, ILxImageBuffer* buffer, uint32_t working) {
    auto* typed = lxip::InsideOf<ILxPixelFormatConverter>(m_converter.Get());
    typed->SetReverseY(false);
    typed->SetDestinationPixelFormat(working);
    GenApi::CEnumerationPtr mode(m_converter->GetINodeMap()->GetNode("BitExpansionMode"));
    if (!mode.IsValid()) throw LOGICAL_ERROR_EXCEPTION("NULL pointer dereferenced");
    uint32_t expansion;
    {
        GenApi::AutoLock guard(ParameterLock());
        expansion = m_bitExpansionMode;
    }
    mode->SetIntValue(expansion);
    m_converter->Convert(image, buffer);
}

// A frame in its working format: its lines copied as they are, without the converter's set-up.
void CLxSNMeasurementFilter::CopyInto(ILxImage* image, ILxImageBuffer* buffer) {
    const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
    const uint32_t format = image->GetImagePixelFormat();
    buffer->CreateBuffer(width, height, format);
    ILxImage* stored = buffer->GetILxImage();
    if (!stored) return; // the caller refuses a buffer without its image
    lxconv::SourceImage src;
    src.data = image->GetImageBuffer();
    src.pitch = image->GetImageLinePitch();
    lxconv::DestImage dst;
    dst.data = stored->GetImageBuffer();
    dst.pitch = stored->GetImageLinePitch();
    lxconv::ConvertCopy(src, dst, lxip::FormatInside(format)->GetLineBytes(width), height, 1, false);
}

ILxImage* CLxSNMeasurementFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const uint32_t format = image->GetImagePixelFormat();
    const uint32_t working = lxsn::WorkingFormatOf(format);
    if (working == NoFormat)
        throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(format).c_str());
    const uint64_t width = image->GetImageWidth(), height = image->GetImageHeight();

    bool sizeChanged = false;
    {
        GenApi::AutoLock guard(m_workLock);
        const uint64_t frameCount = m_frameCount.load();
        if (m_images.size() >= frameCount) return image; // complete: later images wait for a clear
        const bool newSeries =
            working != m_workingFormat || width != m_imageWidth.load() || height != m_imageHeight.load();
        // Every frame of the series is kept: refuse a series the memory cannot hold before any is taken.
        // Spare buffers of the same image are memory the series already has.
        if (newSeries || m_images.empty()) {
            const uint64_t frameBytes = FrameBytes(working, width, height);
            const uint64_t have = newSeries ? 0 : m_spares.size();
            if (!FramesFit(frameCount - std::min(have, frameCount), frameBytes, AvailableMemory()))
                throw BAD_ALLOC_EXCEPTION("%s", "std::bad_alloc");
        }
        lxip::TranslateBadAlloc([&] {
            m_images.reserve(static_cast<size_t>(frameCount));
            m_spares.reserve(static_cast<size_t>(frameCount));
            return 0;
        });
        if (newSeries) {
            ReleaseImages(false);
            ReleaseSpares();
            m_framesComplete.Reset();
            m_recalculationRequest.Reset();
            m_resultReady.Reset();
            sizeChanged = width != m_imageWidth.load() || height != m_imageHeight.load();
            m_workingFormat = working;
            m_imageWidth.store(width);
            m_imageHeight.store(height);
        }
        m_sourceFormat = format;
        CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> buffer;
        if (!m_spares.empty()) {
            buffer.Reset(m_spares.back());
            m_spares.pop_back();
        } else {
            buffer.Reset(CreateILxImageBuffer(nullptr));
        }
        // A frame already in its working format (never a bit-packed or planar one) is copied as it is.
        if (format == working)
            CopyInto(image, buffer.Get());
        else
            ConvertInto(image, buffer.Get(), working);
        ILxImage* stored = buffer->GetILxImage();
        if (!stored || stored->GetImagePixelFormat() != working || stored->GetImageWidth() != width ||
            stored->GetImageHeight() != height)
            throw RUNTIME_EXCEPTION("Converting a pixelformat from  %s to %s is not supported.",
                                    lxip::PixelFormatName(format).c_str(), lxip::PixelFormatName(working).c_str());
        m_images.push_back(buffer.Detach()); // room was reserved: this cannot throw
        while (m_images.size() > frameCount) {
            m_images.front()->Release();
            m_images.erase(m_images.begin());
        }
        if (m_images.size() == frameCount) {
            m_framesComplete.Set();
            m_recalculationRequest.Set();
        }
    }
    if (sizeChanged) {
        NotifyRegisterChanged("WidthMax");
        NotifyRegisterChanged("HeightMax");
    }
    return image;
}

void CLxSNMeasurementFilter::ClearGrabbedImage() {
    {
        GenApi::AutoLock result(m_resultLock);
        GenApi::AutoLock guard(m_workLock);
        ReleaseImages(true);
        m_framesComplete.Reset();
        m_recalculationRequest.Reset();
        m_resultReady.Reset();
        m_records.clear();
    }
    NotifyRegisterChanged("IPResultPort");
}

// ---------------------------------------------------------------------------------------------------
// Parameters

// The memory of the old count is given back.
void CLxSNMeasurementFilter::StoreFrameCount(uint64_t value) {
    m_frameCount.store(value);
    ClearGrabbedImage();
    GenApi::AutoLock guard(m_workLock);
    ReleaseSpares();
}
void CLxSNMeasurementFilter::StoreClear(uint32_t value) {
    if (value == 1) ClearGrabbedImage();
}

void CLxSNMeasurementFilter::SetFrameCount(uint64_t value) { Registers::FrameCount.Set(*this, value); }
void CLxSNMeasurementFilter::SetFilterROIMode(int32_t eRM) { Registers::RoiMode.Set(*this, eRM); }
void CLxSNMeasurementFilter::SetOffsetX(uint64_t value) { Registers::OffsetX.Set(*this, value); }
void CLxSNMeasurementFilter::SetOffsetY(uint64_t value) { Registers::OffsetY.Set(*this, value); }
void CLxSNMeasurementFilter::SetWidth(uint64_t value) { Registers::Width.Set(*this, value); }
void CLxSNMeasurementFilter::SetHeight(uint64_t value) { Registers::Height.Set(*this, value); }

// WholeImage takes the image; otherwise the size is kept to the image, centred, or placed at the offsets
// and moved back inside where it would pass the image's edge (it does not shrink).
lxsn::Roi CLxSNMeasurementFilter::ResolveRoi(uint64_t imageWidth, uint64_t imageHeight) const {
    lxsn::Roi roi;
    const int32_t mode = m_roiMode.load();
    if (mode == 0) {
        roi.width = imageWidth;
        roi.height = imageHeight;
        return roi;
    }
    roi.width = std::min(m_width.load(), imageWidth);
    roi.height = std::min(m_height.load(), imageHeight);
    if (mode == 1) {
        roi.x = std::min(m_offsetX.load(), imageWidth - roi.width);
        roi.y = std::min(m_offsetY.load(), imageHeight - roi.height);
    } else {
        roi.x = (imageWidth - roi.width) >> 1;
        roi.y = (imageHeight - roi.height) >> 1;
    }
    return roi;
}

// ---------------------------------------------------------------------------------------------------
// The worker

void CLxSNMeasurementFilter::Calculate() {
    if (m_images.empty()) return;
    const uint64_t width = m_imageWidth.load(), height = m_imageHeight.load();
    const lxsn::Roi roi = ResolveRoi(width, height);
    lxsn::Layout layout;
    if (!lxsn::LayoutOf(m_sourceFormat, roi.x, &layout)) {
        m_records.clear();
        return;
    }
    std::vector<lxsn::Frame> frames;
    frames.reserve(m_images.size());
    for (ILxImageBufferReleasable* buffer : m_images) {
        ILxImage* image = buffer->GetILxImage();
        frames.push_back({static_cast<const uint8_t*>(image->GetImageBuffer()), image->GetImageLinePitch()});
    }
    std::vector<lxsn::Record> records;
    if (lxsn::Compute(layout, frames, roi, &records, &m_cancel)) m_records.swap(records);
}

uint32_t CLxSNMeasurementFilter::Run() {
    for (;;) {
        if (CEventObject::WaitAny({GetStopEvent(), &m_recalculationRequest}, LxWaitInfinite) != 1) return 0;
        m_recalculationRequest.Reset();
        if (!m_framesComplete.IsSet()) continue;
        {
            GenApi::AutoLock result(m_resultLock);
            GenApi::AutoLock guard(m_workLock);
            try {
                Calculate();
            } catch (...) {
                // No memory for the sums: an empty result rather than none.
                m_records.clear();
            }
            if (m_cancel.load()) return 0;
        }
        // After the locks, as a reader of the node map holds the map's lock while it reads the result;
        // before the result is announced, so that a caller woken by it reads no cached value.
        NotifyRegisterChanged("IPResultPort");
        if (!m_recalculationRequest.IsSet()) m_resultReady.Set();
    }
}

// ---------------------------------------------------------------------------------------------------
// The result

ILxSNMeasurementResult* CLxSNMeasurementFilter::RetrieveILxSNMeasurementResult(uint32_t nTimeoutMS,
                                                                                uint32_t eTimeoutAction) {
    if (m_resultReady.Wait(nTimeoutMS)) return this;
    if (eTimeoutAction == 1)
        throw TIMEOUT_EXCEPTION("A timeout occurred during the processing of "
                                "ILxSNMeasurementFilter::RetrieveILxSNMeasurementResult(%u, %u)",
                                nTimeoutMS, 1u);
    return nullptr;
}

size_t CLxSNMeasurementFilter::GetPixelComponentCount() {
    GenApi::AutoLock result(m_resultLock);
    return m_records.size();
}

void CLxSNMeasurementFilter::GetResult(int64_t nIndex, uint32_t* pComponent, uint64_t* pnPixelCount,
                                       double* pdAverage, double* pdTemporalStandardDeviation,
                                       double* pdFrameStandardDeviation) {
    GenApi::AutoLock result(m_resultLock);
    lxip::CheckRangeInteger("nIndex", nIndex, 0, static_cast<long long>(m_records.size()));
    const lxsn::Record& r = m_records[static_cast<size_t>(nIndex)];
    if (pComponent) *pComponent = r.component;
    if (pnPixelCount) *pnPixelCount = r.pixelCount;
    if (pdAverage) *pdAverage = r.average;
    if (pdTemporalStandardDeviation) *pdTemporalStandardDeviation = r.temporalDeviation;
    if (pdFrameStandardDeviation) *pdFrameStandardDeviation = r.frameDeviation;
}

void CLxSNMeasurementFilter::CSNMeasurementResult::Read(void* buffer, int64_t address, int64_t length) {
    if (address == 0 && length < 1) lxip::ThrowShortLength(length, 1);
    if (length < 1) return;
    GenApi::AutoLock result(m_owner.m_resultLock);
    const std::vector<lxsn::Record>& records = m_owner.m_records;
    const int64_t index = m_owner.m_selectedIndex.load();
    uint8_t value[8] = {};
    size_t width = 8;
    if (address == 0) {
        const uint64_t count = records.size();
        std::memcpy(value, &count, 8);
    } else if (address == 8) {
        std::memcpy(value, &index, 8);
    } else if (address == 0x10 || address == 0x18 || address == 0x20 || address == 0x28 || address == 0x30) {
        lxip::CheckRangeInteger("PixelComponentSelector", index, 0, static_cast<long long>(records.size()));
        const lxsn::Record& r = records[static_cast<size_t>(index)];
        switch (address) {
        case 0x10:
            std::memcpy(value, &r.component, 4);
            width = 4;
            break;
        case 0x18: std::memcpy(value, &r.pixelCount, 8); break;
        case 0x20: std::memcpy(value, &r.average, 8); break;
        case 0x28: std::memcpy(value, &r.temporalDeviation, 8); break;
        default: std::memcpy(value, &r.frameDeviation, 8); break;
        }
    } else {
        return;
    }
    FillRepeated(buffer, length, value, width);
}

void CLxSNMeasurementFilter::CSNMeasurementResult::Write(const void* buffer, int64_t address, int64_t length) {
    if (address != 8 || length < 1) return;
    int64_t value = 0;
    std::memcpy(&value, buffer, static_cast<size_t>(std::min<int64_t>(length, 8)));
    GenApi::AutoLock result(m_owner.m_resultLock);
    lxip::CheckRangeInteger("PixelComponentSelector", value, 0, static_cast<long long>(m_owner.m_records.size()));
    m_owner.m_selectedIndex.store(value);
}
