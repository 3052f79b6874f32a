// Flat field correction: keeps a reference image taken from the stream, derives from it one 32-bit
// correction entry per pixel, and corrects every later image of the same geometry and format in place.
#pragma once

#include "filters/flatfield/flatfieldkernels.h"
#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "support/lxsharedtable.h"

#include <includeinside/ilxflatfieldcorrectionfilterinside.h>

#include <atomic>
#include <memory>

// The reference image and its correction table, shared by the filter and the calls running on it: the
// filter holds one count, each running correction another, and the last release frees both. The table
// is built at the first need, once, with the law and target in force then.
class CLxFlatFieldCalibrationData {
public:
    // Copies `image` into a buffer of its own.
    static CLxFlatFieldCalibrationData* Capture(ILxImage* image);

    void AddRef() const noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
    void Release() const noexcept {
        if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

    ILxImage* Image() const { return m_image->GetILxImage(); }
    // The table for `law`, built now if it is not yet: lxff::Gain entries for Multiplication,
    // 32-bit differences for Addition. Null when the table there was built for the other law (the
    // correction then leaves the image as it is). Two calls at once build it once.
    const void* Table(lxff::Law law, uint32_t target, const lxff::LawConstants& k);
    bool HasTable() const noexcept { return m_table.load(std::memory_order_acquire) != nullptr; }

    CLxFlatFieldCalibrationData(const CLxFlatFieldCalibrationData&) = delete;
    CLxFlatFieldCalibrationData& operator=(const CLxFlatFieldCalibrationData&) = delete;

private:
    CLxFlatFieldCalibrationData() = default;
    ~CLxFlatFieldCalibrationData();

    mutable std::atomic<uint32_t> m_refs{1};
    ILxImageBufferReleasable* m_image = nullptr;
    std::atomic<void*> m_table{nullptr};
    lxff::Law m_tableLaw = lxff::Law::Off; // written before the table is published
    GenApi::CLock m_buildLock;
};

class CLxFlatFieldCorrectionFilter : public CLxIPModuleBase<ILxFlatFieldCorrectionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_FlatFieldCorrection;
    using Handler = void (CLxFlatFieldCorrectionFilter::*)(ILxImage*, CLxFlatFieldCalibrationData&, int32_t, uint32_t);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxFlatFieldCorrectionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;

    ELxFlatFieldCorrectionMode_t GetFlatFieldCorrectionMode() override;
    void SetFlatFieldCorrectionMode(ELxFlatFieldCorrectionMode_t eFFCM) override;
    bool GetCalibrationEnable() override;
    void SetCalibrationEnable(bool value) override;
    int64_t GetCalibrationTargetValue() override;
    void SetCalibrationTargetValue(int64_t value) override;

    // For tests: whether a reference is held, and whether its table was built.
    bool HasCalibration();
    bool HasCorrectionTable();

private:
    using DataRef = lxip::CLxSharedTableRef<CLxFlatFieldCalibrationData>;

    int32_t ModeValue();
    // A real change of mode drops the reference, under the module lock.
    void StoreMode(int32_t mode);

    template <class Sample>
    void Correct(ILxImage* image, CLxFlatFieldCalibrationData& data, int32_t mode, uint32_t target);

    int32_t m_mode = 0;
    bool m_calibrationEnable = false;
    uint32_t m_targetValue = 0;
    const lxff::LawConstants m_law{};
    DataRef m_data; // guarded by the work lock
};
