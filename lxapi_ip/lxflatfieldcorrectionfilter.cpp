#include "lxflatfieldcorrectionfilter.h"

#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"

#include <lxapi/lxpixelformat.h>

#include <limits>

// ---------------------------------------------------------------------------------------------------
// The reference and its table

CLxFlatFieldCalibrationData* CLxFlatFieldCalibrationData::Capture(ILxImage* image) {
    return lxip::TranslateBadAlloc([&] {
        lxip::CLxSharedTableRef<CLxFlatFieldCalibrationData> data(new CLxFlatFieldCalibrationData());
        data->m_image = CreateILxImageBuffer(nullptr);
        data->m_image->CopyImage(image);
        return data.Detach();
    });
}

CLxFlatFieldCalibrationData::~CLxFlatFieldCalibrationData() {
    void* table = m_table.load(std::memory_order_acquire);
    if (m_tableLaw == lxff::Law::Multiplication)
        delete[] static_cast<lxff::Gain*>(table);
    else
        delete[] static_cast<uint32_t*>(table);
    if (m_image) m_image->Release();
}

const void* CLxFlatFieldCalibrationData::Table(lxff::Law law, uint32_t target, const lxff::LawConstants& k) {
    if (const void* table = m_table.load(std::memory_order_acquire)) return m_tableLaw == law ? table : nullptr;
    GenApi::AutoLock guard(m_buildLock);
    if (const void* table = m_table.load(std::memory_order_relaxed)) return m_tableLaw == law ? table : nullptr;
    ILxImage* img = Image();
    const uint32_t format = img->GetImagePixelFormat();
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(format);
    const lxff::Reference ref{static_cast<const uint8_t*>(img->GetImageBuffer()),
                              img->GetImageLinePitch(),
                              img->GetImageWidth(),
                              img->GetImageHeight(),
                              info->GetStorageBits() > 8 ? 2u : 1u,
                              info->IsBayer(),
                              static_cast<uint32_t>((uint64_t(1) << info->GetComponentBits()) - 1)};
    if (ref.height && ref.width > std::numeric_limits<size_t>::max() / sizeof(uint32_t) / ref.height)
        throw BAD_ALLOC_EXCEPTION("%s", std::bad_array_new_length().what());
    uint32_t T[4];
    lxff::PhaseTargets(ref, target, T);
    // A failed allocation leaves no table: the next correction tries again.
    const size_t n = ref.width * ref.height;
    void* table;
    if (law == lxff::Law::Multiplication) {
        std::unique_ptr<lxff::Gain[]> gains(lxip::TranslateBadAlloc([&] { return new lxff::Gain[n]; }));
        lxff::BuildGains(ref, T, k, gains.get());
        table = gains.release();
    } else {
        std::unique_ptr<uint32_t[]> differences(lxip::TranslateBadAlloc([&] { return new uint32_t[n]; }));
        lxff::BuildDifferences(ref, T, differences.get());
        table = differences.release();
    }
    m_tableLaw = law;
    m_table.store(table, std::memory_order_release);
    return table;
}

// ---------------------------------------------------------------------------------------------------
// The module

const CLxHandlerTable<CLxFlatFieldCorrectionFilter::Handler>& CLxFlatFieldCorrectionFilter::Handlers() {
    using F = CLxFlatFieldCorrectionFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_Mono8, &F::Correct<uint8_t>},       {LxPixelFormat_BayerGR8, &F::Correct<uint8_t>},
        {LxPixelFormat_BayerRG8, &F::Correct<uint8_t>},    {LxPixelFormat_BayerGB8, &F::Correct<uint8_t>},
        {LxPixelFormat_BayerBG8, &F::Correct<uint8_t>},

        {LxPixelFormat_Mono10, &F::Correct<uint16_t>},     {LxPixelFormat_Mono12, &F::Correct<uint16_t>},
        {LxPixelFormat_Mono14, &F::Correct<uint16_t>},     {LxPixelFormat_Mono16, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerGR10, &F::Correct<uint16_t>},  {LxPixelFormat_BayerGR12, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerGR14, &F::Correct<uint16_t>},  {LxPixelFormat_BayerGR16, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerRG10, &F::Correct<uint16_t>},  {LxPixelFormat_BayerRG12, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerRG14, &F::Correct<uint16_t>},  {LxPixelFormat_BayerRG16, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerGB10, &F::Correct<uint16_t>},  {LxPixelFormat_BayerGB12, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerGB14, &F::Correct<uint16_t>},  {LxPixelFormat_BayerGB16, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerBG10, &F::Correct<uint16_t>},  {LxPixelFormat_BayerBG12, &F::Correct<uint16_t>},
        {LxPixelFormat_BayerBG14, &F::Correct<uint16_t>},  {LxPixelFormat_BayerBG16, &F::Correct<uint16_t>},
    };
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_flatFieldHandlers = CLxFlatFieldCorrectionFilter::Handlers();
namespace R = lxres::lxflatfieldcorrectionfilter;
} // namespace

struct CLxFlatFieldCorrectionFilter::Registers {
    using C = CLxFlatFieldCorrectionFilter;
    static constexpr uint32_t TargetMin = 0;
    static constexpr uint32_t TargetMax = 65535;
    // A mode written through the port is stored as it comes (the enumeration node is the guard); a
    // value that names no law corrects nothing.
    static constexpr auto Mode = lxip::Bind<C>(R::FlatFieldCorrectionModeReg)
                                     .Accessor(&C::ModeValue, &C::StoreMode)
                                     .Range(lxip::IntegerBelow("eFFCM", 0, 3));
    // Only a written 1 turns calibration on.
    static constexpr auto Enable =
        lxip::Bind<C>(R::CalibrationEnableReg).Field(&C::m_calibrationEnable).Bool(lxip::BoolRule::OneOnly);
    static constexpr lxip::RangeRule TargetRange = lxip::IntegerBetween("value", TargetMin, TargetMax);
    static constexpr auto Target = lxip::Bind<C>(R::CalibrationTargetValueReg).Field(&C::m_targetValue).Range(TargetRange);
    static constexpr auto TargetMinimum = lxip::Bind<C>(R::CalibrationTargetValueMin).Constant(TargetMin);
    static constexpr auto TargetMaximum = lxip::Bind<C>(R::CalibrationTargetValueMax).Constant(TargetMax);
    static constexpr auto File = lxip::MakeRegisterFile(Mode, Enable, Target, TargetMinimum, TargetMaximum);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxFlatFieldCorrectionFilter::CLxFlatFieldCorrectionFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_flatFieldHandlers;
}

ILxFilterInfo* CLxFlatFieldCorrectionFilter::GetFilterInfo() {
    return &CFilterInfo<CLxFlatFieldCorrectionFilter>::Instance();
}

ELxFlatFieldCorrectionMode_t CLxFlatFieldCorrectionFilter::GetFlatFieldCorrectionMode() {
    return static_cast<ELxFlatFieldCorrectionMode_t>(ModeValue());
}
void CLxFlatFieldCorrectionFilter::SetFlatFieldCorrectionMode(ELxFlatFieldCorrectionMode_t eFFCM) {
    Registers::Mode.Set(*this, static_cast<int32_t>(eFFCM));
}
bool CLxFlatFieldCorrectionFilter::GetCalibrationEnable() { return Registers::Enable.Get(*this); }
void CLxFlatFieldCorrectionFilter::SetCalibrationEnable(bool value) { Registers::Enable.Set(*this, value); }
int64_t CLxFlatFieldCorrectionFilter::GetCalibrationTargetValue() { return Registers::Target.Get(*this); }
void CLxFlatFieldCorrectionFilter::SetCalibrationTargetValue(int64_t value) {
    Registers::TargetRange.Check(value);
    Registers::Target.Store(*this, static_cast<uint32_t>(value), true);
}

int32_t CLxFlatFieldCorrectionFilter::ModeValue() {
    GenApi::AutoLock guard(m_workLock);
    return m_mode;
}

void CLxFlatFieldCorrectionFilter::StoreMode(int32_t mode) {
    GenApi::AutoLock guard(m_workLock);
    if (m_mode == mode) return;
    m_data.reset();
    m_mode = mode;
}

bool CLxFlatFieldCorrectionFilter::HasCalibration() {
    GenApi::AutoLock guard(m_workLock);
    return static_cast<bool>(m_data);
}
bool CLxFlatFieldCorrectionFilter::HasCorrectionTable() {
    GenApi::AutoLock guard(m_workLock);
    return m_data && m_data->HasTable();
}

// While calibration is enabled every image becomes the reference; the old one is released before the
// new one is made, so a failed capture leaves none. The correction runs outside the lock on a counted
// reference: a mode change meanwhile cannot free the data in use.
ILxImage* CLxFlatFieldCorrectionFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const Handler handler = Handlers().Require(image->GetImagePixelFormat());
    DataRef data;
    int32_t mode;
    uint32_t target;
    {
        GenApi::AutoLock guard(m_workLock);
        if (Registers::Enable.Get(*this)) {
            m_data.reset();
            m_data = DataRef(CLxFlatFieldCalibrationData::Capture(image));
        }
        if (!m_data) return image;
        m_data->AddRef();
        data = DataRef(m_data.get());
        mode = m_mode;
        target = Registers::Target.Get(*this);
    }
    (this->*handler)(image, *data, mode, target);
    return image;
}

// Corrects an image of the reference's geometry and format; any other image passes unchanged.
template <class Sample>
void CLxFlatFieldCorrectionFilter::Correct(ILxImage* image, CLxFlatFieldCalibrationData& data, int32_t mode,
                                           uint32_t target) {
    const auto law = static_cast<lxff::Law>(mode);
    if (law != lxff::Law::Multiplication && law != lxff::Law::Addition) return;
    ILxImage* ref = data.Image();
    const size_t width = image->GetImageWidth(), height = image->GetImageHeight(), pitch = image->GetImageLinePitch();
    const uint32_t format = image->GetImagePixelFormat();
    if (width != ref->GetImageWidth() || pitch != ref->GetImageLinePitch() || height != ref->GetImageHeight() ||
        format != ref->GetImagePixelFormat())
        return;
    const void* table = data.Table(law, target, m_law);
    if (!table) return;
    const uint32_t maximum = static_cast<uint32_t>((uint64_t(1) << GetILxPixelFormatInfo(format)->GetComponentBits()) - 1);
    const lxff::RowKernels& kernels = lxff::Kernels().Get();
    uint8_t* base = static_cast<uint8_t*>(image->GetImageBuffer());
    if (law == lxff::Law::Multiplication) {
        const auto* gains = static_cast<const lxff::Gain*>(table);
        const lxff::GainRow kernel = kernels.multiply[sizeof(Sample) - 1];
        for (size_t y = 0; y < height; ++y) kernel(base + y * pitch, gains + y * width, width, maximum, m_law);
    } else {
        const auto* differences = static_cast<const uint32_t*>(table);
        const lxff::DifferenceRow kernel = kernels.add[sizeof(Sample) - 1];
        for (size_t y = 0; y < height; ++y)
            kernel(base + y * pitch, differences + y * width, width, maximum, m_law);
    }
}
