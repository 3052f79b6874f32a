#include "lxcolortransformationfilter.h"

#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"
#include "lxpixelformatname.h"
#include "support/lxinside.h"

#include <includeinside/ilximageinside.h>
#include <lxapi/lxpixelformat.h>

#include <cmath>
#include <cstring>

namespace {
namespace R = lxres::lxcolortransformationfilter;

constexpr double HueMin = -180.0, HueMax = 180.0;
constexpr double SaturationMin = 0.0, SaturationMax = 4.0;
constexpr double GainMin = -16.0, GainMax = 16.0;
constexpr double OffsetMin = -65535.0, OffsetMax = 65535.0;

constexpr bool IsOffset(size_t index) { return index == 3 || index == 7 || index == 11; }

// "eCTVS = n must be ..." for a selector that names no matrix value.
void CheckSelector(long long index) {
    lxip::CheckRangeInteger("eCTVS", index, 0, CLxColorTransformationFilter::ValueCount);
}

// Truncation towards zero to a signed 32-bit integer. A value that has none (out of range, or not a
// number, which only a raw register write can bring) gives 0x80000000, as the processor's own
// conversion does, instead of undefined behaviour.
uint32_t TruncateToInt32(double v) {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<uint32_t>(static_cast<int32_t>(v));
    return 0x80000000u;
}
} // namespace

const CLxHandlerTable<CLxColorTransformationFilter::Handler>& CLxColorTransformationFilter::Handlers() {
    using F = CLxColorTransformationFilter;
    static const CLxHandlerTable<Handler> table{
        {LxPixelFormat_BGR8, &F::FilterPixels<uint8_t>},    {LxPixelFormat_BGRa8, &F::FilterPixels<uint8_t>},
        {LxPixelFormat_RGB8, &F::FilterPixels<uint8_t>},    {LxPixelFormat_RGBa8, &F::FilterPixels<uint8_t>},
        {LxPixelFormat_BGR10, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa10, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR12, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa12, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR14, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa14, &F::FilterPixels<uint16_t>},
        {LxPixelFormat_BGR16, &F::FilterPixels<uint16_t>},  {LxPixelFormat_BGRa16, &F::FilterPixels<uint16_t>},
    };
    return table;
}

namespace {
// Filled at library load, as every handler table is.
const auto& g_colorTransformationHandlers = CLxColorTransformationFilter::Handlers();
} // namespace

// Enable, the value selector and the value it selects, hue, saturation, and the read-only bounds.
// Register writes of hue and saturation are stored unchecked; the matrix value keeps its bounds
// check on the register route too (in StoreSelectedValue, as its bounds follow the selector).
struct CLxColorTransformationFilter::Registers {
    using C = CLxColorTransformationFilter;
    static constexpr auto Enable =
        lxip::Bind<C>(R::ColorTransformationEnableReg).Field(&C::m_enable).Bool(lxip::BoolRule::OneOnly);
    static constexpr auto Selector = lxip::Bind<C>(R::ColorTransformationValueSelectorReg).Field(&C::m_selector);
    static constexpr auto Value =
        lxip::Bind<C>(R::ColorTransformationValueReg).Accessor(&C::SelectedValue, &C::StoreSelectedValue);
    static constexpr auto Hue = lxip::Bind<C>(R::HueCorrectionReg)
                                    .Accessor(&C::GetHueCorrection, &C::StoreHue)
                                    .Range(lxip::FloatBetween("value", HueMin, HueMax));
    static constexpr auto Saturation = lxip::Bind<C>(R::SaturationCorrectionReg)
                                           .Accessor(&C::GetSaturationCorrection, &C::StoreSaturation)
                                           .Range(lxip::FloatBetween("value", SaturationMin, SaturationMax));
    static constexpr auto GainMaximum = lxip::Bind<C>(R::MaxMatrixGainValue).Constant(GainMax);
    static constexpr auto GainMinimum = lxip::Bind<C>(R::MinMatrixGainValue).Constant(GainMin);
    static constexpr auto HueMaximum = lxip::Bind<C>(R::MaxHueValue).Constant(HueMax);
    static constexpr auto HueMinimum = lxip::Bind<C>(R::MinHueValue).Constant(HueMin);
    static constexpr auto SaturationMaximum = lxip::Bind<C>(R::MaxSaturationValue).Constant(SaturationMax);
    static constexpr auto SaturationMinimum = lxip::Bind<C>(R::MinSaturationValue).Constant(SaturationMin);
    static constexpr auto OffsetMaximum = lxip::Bind<C>(R::MaxMatrixOffsetValue).Constant(OffsetMax);
    static constexpr auto OffsetMinimum = lxip::Bind<C>(R::MinMatrixOffsetValue).Constant(OffsetMin);
    static constexpr auto File =
        lxip::MakeRegisterFile(Enable, Selector, Value, Hue, Saturation, GainMaximum, GainMinimum, HueMaximum,
                               HueMinimum, SaturationMaximum, SaturationMinimum, OffsetMaximum, OffsetMinimum);
    static_assert(lxip::Covers(File, R::RegisterNodes), "the declarations must serve the description");
};

CLxColorTransformationFilter::CLxColorTransformationFilter()
    : CLxIPModuleBase(lxip::RecordOf(FilterType).resourceId, Registers::File.View(), this) {
    (void)g_colorTransformationHandlers;
}

ILxFilterInfo* CLxColorTransformationFilter::GetFilterInfo() {
    return &CFilterInfo<CLxColorTransformationFilter>::Instance();
}

// A disabled filter does not look at the image at all. Of the formats without a handler, colour ones
// (Bayer, YCbCr, RGB deeper than 8 bits) pass untouched and only the others are refused.
ILxImage* CLxColorTransformationFilter::Filter(ILxImage* image) {
    if (!image) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    if (!GetColorTransformationEnable()) return image;
    const uint32_t format = image->GetImagePixelFormat();
    const Handler handler = Handlers().Find(format);
    if (!handler) {
        ILxPixelFormatInfo* info = lxip::FindPixelFormatInfo(format);
        if (info && info->IsColor()) return image;
        Handlers().Require(format); // throws "Not supported pixelformat %s"
    }
    lxip::InsideOf<ILxImageInside>(image);
    (this->*handler)(image);
    return image;
}

// ---------------------------------------------------------------------------------------------------
// Parameters: all of them under the parameter lock; the table cache reads them there too.

bool CLxColorTransformationFilter::GetColorTransformationEnable() { return Registers::Enable.Get(*this); }
void CLxColorTransformationFilter::SetColorTransformationEnable(bool value) { Registers::Enable.Set(*this, value); }

double CLxColorTransformationFilter::GetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS) {
    CheckSelector(eCTVS);
    GenApi::AutoLock guard(m_parameterLock);
    return m_values[eCTVS];
}

void CLxColorTransformationFilter::SetColorTransformationValue(ELxColorTransformationValueSelector_t eCTVS,
                                                               double value) {
    CheckSelector(eCTVS);
    if (StoreValue(static_cast<size_t>(eCTVS), value)) NotifyRegisterChanged(R::ColorTransformationValueReg.name);
}

bool CLxColorTransformationFilter::StoreValue(size_t index, double value) {
    if (IsOffset(index))
        lxip::CheckRangeDouble("value", value, OffsetMin, OffsetMax);
    else
        lxip::CheckRangeDouble("value", value, GainMin, GainMax);
    GenApi::AutoLock guard(m_parameterLock);
    if (lxip::SameBits(m_values[index], value)) return false;
    m_values[index] = value;
    return true;
}

// The register route: a selector of 12 or more (only a raw port write stores one) names no value and
// is refused with the typed route's text, on reads and writes alike.
double CLxColorTransformationFilter::SelectedValue() {
    size_t index;
    {
        GenApi::AutoLock guard(m_parameterLock);
        index = m_selector;
    }
    CheckSelector(static_cast<long long>(index));
    return GetColorTransformationValue(static_cast<ELxColorTransformationValueSelector_t>(index));
}

void CLxColorTransformationFilter::StoreSelectedValue(double value) {
    size_t index;
    {
        GenApi::AutoLock guard(m_parameterLock);
        index = m_selector;
    }
    CheckSelector(static_cast<long long>(index));
    StoreValue(index, value);
}

double CLxColorTransformationFilter::GetHueCorrection() {
    GenApi::AutoLock guard(m_parameterLock);
    return m_hue;
}
void CLxColorTransformationFilter::SetHueCorrection(double value) { Registers::Hue.Set(*this, value); }
void CLxColorTransformationFilter::StoreHue(double value) {
    GenApi::AutoLock guard(m_parameterLock);
    m_hue = value;
}

double CLxColorTransformationFilter::GetSaturationCorrection() {
    GenApi::AutoLock guard(m_parameterLock);
    return m_saturation;
}
void CLxColorTransformationFilter::SetSaturationCorrection(double value) { Registers::Saturation.Set(*this, value); }
void CLxColorTransformationFilter::StoreSaturation(double value) {
    GenApi::AutoLock guard(m_parameterLock);
    m_saturation = value;
}

// ---------------------------------------------------------------------------------------------------
// The table

bool CLxColorTransformationFilter::TableKey::operator==(const TableKey& o) const {
    if (bits != o.bits || !lxip::SameBits(hue, o.hue) || !lxip::SameBits(saturation, o.saturation)) return false;
    for (size_t i = 0; i < ValueCount; ++i)
        if (!lxip::SameBits(values[i], o.values[i])) return false;
    return true;
}

// The hue and saturation matrix H (rows R, G, B) is a rotation about the grey axis, with the
// luminance weights below (single-precision values widened to double); its middle row follows from
// the other two. M = H * G with G the gain matrix. Record i of each block holds its column of M times
// t = i + 1, as running sums: input 0 maps as if it were 1, so that the identity raises every
// sample by one. The offsets go into the red block, once.
CLxColorTransformationFilter::SharedTable* CLxColorTransformationFilter::BuildTable(const TableKey& k) {
    const double x = k.hue * 3.141592653589793 / 180.0;
    const double s = std::sin(x), c = std::cos(x), S = k.saturation;
    const double a = 0.7010999917984009, b = 0.2989000082015991, d = 0.1145000010728836, e = 0.8854999989271164,
                 g = 0.5866000056266785;
    double H[3][3];
    H[0][0] = (c * a + s * b) * S + b;
    H[0][1] = ((s - c) * S + 1.0) * g;
    H[0][2] = d - (c * d + s * e) * S;
    H[2][0] = (s * a - c * b) * S + b;
    H[2][1] = (1.0 - (c + s) * S) * g;
    H[2][2] = (c * e - s * d) * S + d;
    H[1][0] = (1.0 - H[0][0]) * b / g - H[2][0] * d / g;
    H[1][1] = 1.0 - H[0][1] * b / g - H[2][1] * d / g;
    H[1][2] = (1.0 - H[2][2]) * d / g - H[0][2] * b / g;
    double M[3][3];
    for (int r = 0; r < 3; ++r)
        for (int col = 0; col < 3; ++col)
            M[r][col] = H[r][0] * k.values[col] + H[r][1] * k.values[4 + col] + H[r][2] * k.values[8 + col];

    const size_t count = size_t(1) << k.bits;
    lxip::CLxSharedTableRef<SharedTable> table(SharedTable::Create(3 * count));
    lxct::Record* blocks[3] = {table->Entries(), table->Entries() + count, table->Entries() + 2 * count};
    // Input channel j (0 red, 1 green, 2 blue) fills block 2 - j with column j of M; output row r (0
    // red, 1 green, 2 blue) goes to word 2 - r.
    for (int j = 0; j < 3; ++j) {
        lxct::Record* block = blocks[2 - j];
        double sum[3];
        for (int r = 0; r < 3; ++r) sum[r] = j == 0 ? k.values[4 * r + 3] : 0.0;
        for (size_t i = 0; i < count; ++i) {
            lxct::Record& rec = block[i];
            for (int r = 0; r < 3; ++r) {
                sum[r] += M[r][j];
                rec.word[2 - r] = TruncateToInt32(sum[r]);
            }
            rec.word[3] = 0;
        }
    }
    return table.Detach();
}

CLxColorTransformationFilter::TableRef CLxColorTransformationFilter::AcquireTable(size_t bits) {
    // The parameters are read under the cache's lock, so that the table made is the one of the key.
    GenApi::AutoLock cacheGuard(m_tables.Lock());
    TableKey key;
    {
        GenApi::AutoLock guard(m_parameterLock);
        key.bits = bits;
        std::memcpy(key.values, m_values, sizeof key.values);
        key.hue = m_hue;
        key.saturation = m_saturation;
    }
    return m_tables.Acquire(key, [&] { return BuildTable(key); });
}

// The table is taken for this call; the pixel loop runs with no lock, on this reference.
template <class Sample>
void CLxColorTransformationFilter::FilterPixels(ILxImage* image) {
    const uint32_t format = image->GetImagePixelFormat();
    ILxPixelFormatInfo* info = GetILxPixelFormatInfo(format);
    const size_t bits = sizeof(Sample) == 1 ? 8 : info->GetComponentBits();
    const bool rgb = format == LxPixelFormat_RGB8 || format == LxPixelFormat_RGBa8;
    const lxct::Image im{static_cast<uint8_t*>(image->GetImageBuffer()),
                         image->GetImageWidth(),
                         image->GetImageHeight(),
                         image->GetImageLinePitch(),
                         info->GetComponentCount(),
                         rgb ? size_t(2) : size_t(0),
                         rgb ? size_t(0) : size_t(2)};
    const TableRef table = AcquireTable(bits);
    if constexpr (sizeof(Sample) == 1)
        lxct::Transform8(im, table->Entries());
    else
        lxct::Transform16(im, table->Entries(), static_cast<unsigned>(bits));
}
