// The frame every module shares: factories, the register port walk, invalidation of features after
// typed sets, and the callback registry.
#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxgammacorrectionfilter.h>

#include <cmath>
#include <cstring>

using namespace lxtest;

namespace {

FilterPtr MakeGamma() { return FilterPtr(CreateILxFilter(LxFilterType_GammaCorrection)); }
GenApi::IPort* PortOf(const FilterPtr& f) { return dynamic_cast<GenApi::IPort*>(f.Get()); }

} // namespace

TEST(Factories, RangeTextsNameTheExport) {
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([] { CreateILxFilter(ELxFilterType_t(11)); }),
              "CreateILxFilter = 11 must be smaller than Max = 11");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([] { CreateILxFilter(ELxFilterType_t(-1)); }),
              "CreateILxFilter = -1 must be equal or greater than Min = 0");
    // The info export keeps the factory's name in its text.
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([] { GetILxFilterInfo(ELxFilterType_t(11)); }),
              "CreateILxFilter = 11 must be smaller than Max = 11");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([] { CreateILxConverter(ELxConverterType_t(2)); }),
              "CreateILxConverter = 2 must be smaller than Max = 2");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([] { CreateILxFiler(ELxFilerType_t(-3)); }),
              "CreateILxFiler = -3 must be equal or greater than Min = 0");
}

TEST(Factories, UninitialisedSdkIsRefused) {
    LxApiTerminate();
    EXPECT_THROW(CreateILxFilter(LxFilterType_GammaCorrection), GenICam::GenericException);
    EXPECT_THROW(GetILxFilterInfo(LxFilterType_GammaCorrection), GenICam::GenericException);
    LxApiInitialize();
    EXPECT_NO_THROW(MakeGamma());
}

TEST(Factories, InfoIsTheFiltersOwnStaticObject) {
    FilterPtr f = MakeGamma();
    ILxFilterInfo* info = GetILxFilterInfo(LxFilterType_GammaCorrection);
    EXPECT_EQ(info, f->GetFilterInfo());
    EXPECT_EQ(std::string(info->GetDisplayName().c_str()), "Gamma Correction");
    EXPECT_EQ(info->GetFilterType(), LxFilterType_GammaCorrection);
    EXPECT_TRUE(info->IsSupportedPixelFormat(LxPixelFormat_BGR16));
    EXPECT_FALSE(info->IsSupportedPixelFormat(LxPixelFormat_RGB16));
}

TEST(RegisterPort, WalkSkipsUnknownStretchesToTheNextMultipleOfFour) {
    FilterPtr f = MakeGamma();
    dynamic_cast<ILxGammaCorrectionFilter*>(f.Get())->SetGamma(2.5);
    GenApi::IPort* port = PortOf(f);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->GetAccessMode(), GenApi::RW);

    // 0x10: Gamma (8 bytes), then 0x18..0x1f holds no register and stays as it was.
    uint8_t buf[16];
    std::memset(buf, 0xAB, sizeof buf);
    port->Read(buf, 0x10, 16);
    double gamma;
    std::memcpy(&gamma, buf, 8);
    EXPECT_EQ(gamma, 2.5);
    for (int i = 8; i < 16; ++i) EXPECT_EQ(buf[i], 0xAB) << i;

    // An unknown stretch in front of a register: 0x0c is skipped, 0x10 still arrives.
    std::memset(buf, 0xCD, sizeof buf);
    port->Read(buf, 0x0C, 12);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(buf[i], 0xCD);
    std::memcpy(&gamma, buf + 4, 8);
    EXPECT_EQ(gamma, 2.5);

    // Two registers back to back: the bounds.
    double bounds[2] = {-1, -1};
    port->Read(bounds, 0x20, 16);
    EXPECT_EQ(bounds[0], 0.0);
    EXPECT_EQ(bounds[1], 4.0);

    // Address 2 advances by 2 only; address 0 is the width of size_t, answered by the base.
    uint8_t two[2] = {7, 7};
    port->Read(two, 2, 2);
    EXPECT_EQ(two[0], 7);
    EXPECT_EQ(two[1], 7);
    uint8_t sizeT = 0;
    port->Read(&sizeT, 0, 1);
    EXPECT_EQ(sizeT, sizeof(size_t));
    port->Read(nullptr, 0, 0); // length 0 touches nothing
}

TEST(RegisterPort, WritesReachOnlyTheWritableRegister) {
    FilterPtr f = MakeGamma();
    auto* gamma = dynamic_cast<ILxGammaCorrectionFilter*>(f.Get());
    GenApi::IPort* port = PortOf(f);
    const double values[3] = {1.5, 9.0, 9.0}; // 0x10, then 0x18 (nothing), 0x20 (read-only)
    port->Write(values, 0x10, 24);
    EXPECT_EQ(gamma->GetGamma(), 1.5);
    double bounds[2];
    port->Read(bounds, 0x20, 16);
    EXPECT_EQ(bounds[0], 0.0);
    EXPECT_EQ(bounds[1], 4.0);
    // A register write has no range check of its own: the node is the guard.
    const double big = 7.0;
    port->Write(&big, 0x10, 8);
    EXPECT_EQ(gamma->GetGamma(), 7.0);
}

TEST(NodeMap, TypedSetInvalidatesOnlyOnChange) {
    FilterPtr f = MakeGamma();
    auto* typed = dynamic_cast<ILxGammaCorrectionFilter*>(f.Get());
    GenApi::INodeMap* map = f->GetINodeMap();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map, f->GetINodeMap()); // loaded once
    GenApi::CFloatPtr node = map->GetNode("Gamma");
    ASSERT_TRUE(node.IsValid());
    EXPECT_EQ(node->GetValue(), 1.0);
    EXPECT_EQ(node->GetMin(), 0.0);
    EXPECT_EQ(node->GetMax(), 4.0);

    // A register write stores without invalidating: the cached feature still shows 1.0.
    const double three = 3.0;
    PortOf(f)->Write(&three, 0x10, 8);
    EXPECT_EQ(typed->GetGamma(), 3.0);
    EXPECT_EQ(node->GetValue(), 1.0);
    // A typed set of the value the field already holds changes nothing and invalidates nothing.
    typed->SetGamma(3.0);
    EXPECT_EQ(node->GetValue(), 1.0);
    // A changed value invalidates the node.
    typed->SetGamma(2.5);
    EXPECT_EQ(node->GetValue(), 2.5);

    // Through the feature: the field follows, and the bounds hold.
    node->SetValue(0.5);
    EXPECT_EQ(typed->GetGamma(), 0.5);
    EXPECT_THROW(node->SetValue(4.5), GenICam::OutOfRangeException);
    EXPECT_EQ(typed->GetGamma(), 0.5);
}

TEST(NodeMap, DescriptionCarriesTheModelAndTexts) {
    FilterPtr f = MakeGamma();
    GenApi::INodeMap* map = f->GetINodeMap();
    GenApi::CCategoryPtr analog = map->GetNode("AnalogControl");
    ASSERT_TRUE(analog.IsValid());
    EXPECT_EQ(std::string(analog->GetNode()->GetDisplayName().c_str()), "Analog Control");
    GenApi::INode* gamma = map->GetNode("Gamma");
    ASSERT_NE(gamma, nullptr);
    EXPECT_EQ(std::string(gamma->GetToolTip().c_str()), "Controls the gamma correction of pixel intensity.");
    EXPECT_EQ(gamma->GetVisibility(), GenApi::Beginner);
    EXPECT_EQ(map->GetNode("SizeTSize"), nullptr);
}

namespace {
struct CountingCallback : ILxCallback {
    int* calls;
    int* releases;
    bool throws;
    CountingCallback(int* c, int* r, bool t) : calls(c), releases(r), throws(t) {}
    void OnCallback(ILxCallbackParamBase*) override {
        ++*calls;
        if (throws) throw std::runtime_error("callback fails");
    }
    void Release() override {
        ++*releases;
        delete this;
    }
};
} // namespace

TEST(Callbacks, HandlesAreCheckedAndEveryRegistrationEndsOnce) {
    int calls = 0, releases = 0;
    {
        FilterPtr f = MakeGamma();
        LX_CALLBACK_HANDLE h = f->RegisterCallback(new CountingCallback(&calls, &releases, false));
        f->RegisterCallback(new CountingCallback(&calls, &releases, true));
        f->DeregisterCallback(h);
        EXPECT_EQ(releases, 1);
        EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { f->DeregisterCallback(h); }),
                  "hCallback is invalid.");
    }
    // The module's end releases the registration still present.
    EXPECT_EQ(releases, 2);
    EXPECT_EQ(calls, 0); // filters never fire
}
