// The register declarations as the port serves them: widths, short reads and writes, boolean and write
// rules, constants, sign extension, and the walk's bounds. A small module of the test's own declares
// one register of each shape.
#include "lxipmodulebase.h"

#include "lxmoduletest.h"

#include <cstring>
#include <limits>

using lxip::BoolRule;
using lxip::RegisterAccess;
using lxip::RegisterKind;
using lxip::RegisterNode;
using lxip::WriteRule;
using lxtest::TextOf;

namespace {

constexpr RegisterNode ValueReg{"ValueReg", 0x10, 8, RegisterAccess::RW, RegisterKind::FloatReg};
constexpr RegisterNode CountReg{"CountReg", 0x18, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode OneOnlyReg{"OneOnlyReg", 0x1C, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode AnyReg{"AnyReg", 0x20, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode SelectorReg{"SelectorReg", 0x28, lxip::SizeTWidth, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode LimitReg{"LimitReg", 0x30, 4, RegisterAccess::RO, RegisterKind::IntReg};
constexpr RegisterNode FlagReg{"FlagReg", 0x34, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode PhaseReg{"PhaseReg", 0x38, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode Nodes[] = {ValueReg, CountReg, OneOnlyReg, AnyReg, SelectorReg, LimitReg, FlagReg, PhaseReg};

class CTestModule : public CLxIPModuleBase<ILxFilterReleasable> {
public:
    struct Registers;
    CTestModule();
    ILxFilterInfo* GetFilterInfo() override { return nullptr; }
    ILxImage* Filter(ILxImage* image) override { return image; }

    double m_value = 1.5;
    uint32_t m_count = 7;
    bool m_oneOnly = false;
    bool m_any = false;
    int32_t m_selector = -2;
    int32_t m_phase = 0;
};

struct CTestModule::Registers {
    using C = CTestModule;
    static constexpr auto Value =
        lxip::Bind<C>(ValueReg).Field(&C::m_value).Range(lxip::FloatBetween("value", 0.0, 4.0));
    static constexpr auto Count = lxip::Bind<C>(CountReg).Field(&C::m_count);
    static constexpr auto OneOnly = lxip::Bind<C>(OneOnlyReg).Field(&C::m_oneOnly).Bool(BoolRule::OneOnly);
    static constexpr auto Any = lxip::Bind<C>(AnyReg).Field(&C::m_any);
    // Read sign-extended to the full width; a write takes 4 bytes and reports the width.
    static constexpr auto Selector = lxip::Bind<C>(SelectorReg).Field(&C::m_selector).Takes(4);
    static constexpr auto Limit = lxip::Bind<C>(LimitReg).Constant(uint32_t{100});
    // Described as writable, served read-only.
    static constexpr auto Flag = lxip::Bind<C>(FlagReg).Constant(uint32_t{1});
    static constexpr auto Phase = lxip::Bind<C>(PhaseReg)
                                      .Field(&C::m_phase)
                                      .Range(lxip::IntegerBelow("nPhase", 0, 256))
                                      .Write(WriteRule::Checked)
                                      .LengthChecked();
    static constexpr auto File = lxip::MakeRegisterFile(Phase, Value, Count, OneOnly, Any, Selector, Limit, Flag);
    static_assert(lxip::Covers(File, Nodes));
};

CTestModule::CTestModule() : CLxIPModuleBase(0, Registers::File.View(), this) {}

template <class V>
V ReadAt(GenApi::IPort& port, int64_t address) {
    V v{};
    port.Read(&v, address, sizeof v);
    return v;
}
template <class V>
void WriteAt(GenApi::IPort& port, int64_t address, V v) {
    port.Write(&v, address, sizeof v);
}

// A declaration that does not serve its description fails to compile; these are the checks behind it.
constexpr RegisterNode OtherReg{"OtherReg", 0x40, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode RenamedCount{"Count", 0x18, 4, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode WiderCount{"CountReg", 0x18, 8, RegisterAccess::RW, RegisterKind::IntReg};
constexpr RegisterNode ReadOnlyAny{"AnyReg", 0x20, 4, RegisterAccess::RO, RegisterKind::IntReg};
constexpr RegisterNode Missing[] = {ValueReg, CountReg, OneOnlyReg, AnyReg, SelectorReg, LimitReg, FlagReg, PhaseReg,
                                    OtherReg};
constexpr RegisterNode Renamed[] = {ValueReg, RenamedCount, OneOnlyReg, AnyReg, SelectorReg, LimitReg, FlagReg, PhaseReg};
constexpr RegisterNode Wider[] = {ValueReg, WiderCount, OneOnlyReg, AnyReg, SelectorReg, LimitReg, FlagReg, PhaseReg};
constexpr RegisterNode ReadOnly[] = {ValueReg, CountReg, OneOnlyReg, ReadOnlyAny, SelectorReg, LimitReg, FlagReg,
                                     PhaseReg};
constexpr RegisterNode Fewer[] = {ValueReg, CountReg, OneOnlyReg, AnyReg, SelectorReg, LimitReg, FlagReg};
static_assert(!lxip::Covers(CTestModule::Registers::File, Missing), "a node without declaration");
static_assert(!lxip::Covers(CTestModule::Registers::File, Renamed), "a declaration of another name");
static_assert(!lxip::Covers(CTestModule::Registers::File, Wider), "a declaration of another width");
static_assert(!lxip::Covers(CTestModule::Registers::File, ReadOnly), "a write served on a read-only node");
static_assert(!lxip::Covers(CTestModule::Registers::File, Fewer), "a declaration without node");
static_assert(!lxip::MakeRegisterFile(lxip::Bind<CTestModule>(CountReg).Field(&CTestModule::m_value)).consistent,
              "a double in four bytes");

} // namespace

TEST(RegisterBinding, ValuesTravelInTheirWidthAndRules) {
    CTestModule m;
    GenApi::IPort& port = m;
    EXPECT_EQ(ReadAt<double>(port, 0x10), 1.5);
    EXPECT_EQ(ReadAt<uint32_t>(port, 0x18), 7u);
    // The selector is read sign-extended to 8 bytes; a write takes 4 bytes of it.
    EXPECT_EQ(ReadAt<int64_t>(port, 0x28), -2);
    WriteAt<int32_t>(port, 0x28, -5);
    EXPECT_EQ(m.m_selector, -5);
    // 1 only turns OneOnly on; anything non-zero turns Any on.
    WriteAt<uint32_t>(port, 0x1C, 2);
    WriteAt<uint32_t>(port, 0x20, 2);
    EXPECT_FALSE(m.m_oneOnly);
    EXPECT_TRUE(m.m_any);
    WriteAt<uint32_t>(port, 0x1C, 1);
    EXPECT_TRUE(m.m_oneOnly);
    EXPECT_EQ(ReadAt<uint32_t>(port, 0x1C), 1u);
    // A plain write has no range check (the node is the guard); a checked one refuses and keeps.
    WriteAt<double>(port, 0x10, 9.0);
    EXPECT_EQ(m.m_value, 9.0);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { WriteAt<int32_t>(port, 0x38, 300); }),
              "nPhase = 300 must be smaller than Max = 256");
    EXPECT_EQ(m.m_phase, 0);
    WriteAt<int32_t>(port, 0x38, 255);
    EXPECT_EQ(m.m_phase, 255);
}

TEST(RegisterBinding, ConstantsAndRefusedWritesAreSkipped) {
    CTestModule m;
    GenApi::IPort& port = m;
    // Writes across a read-only constant and a refused register leave both as they are and still
    // reach the register behind them.
    const uint32_t values[3] = {5, 5, 42};
    port.Write(values, 0x30, 12);
    EXPECT_EQ(ReadAt<uint32_t>(port, 0x30), 100u);
    EXPECT_EQ(ReadAt<uint32_t>(port, 0x34), 1u);
    EXPECT_EQ(m.m_phase, 42);
}

TEST(RegisterBinding, NoFragmentOfARegisterIsEverWritten) {
    CTestModule m;
    GenApi::IPort& port = m;
    const uint32_t half = 0x12345678;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { port.Write(&half, 0x10, 4); }),
              "Length = 4 must be equal or greater than Min = 8");
    EXPECT_EQ(m.m_value, 1.5);
    const uint16_t two = 3;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { port.Write(&two, 0x28, 2); }),
              "Length = 2 must be equal or greater than Min = 4");
    EXPECT_EQ(m.m_selector, -2);
    // A short read copies only the bytes asked for, unless the register checks lengths.
    uint8_t bytes[2] = {0xEE, 0xEE};
    port.Read(bytes, 0x18, 1);
    EXPECT_EQ(bytes[0], 7);
    EXPECT_EQ(bytes[1], 0xEE);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { port.Read(bytes, 0x38, 2); }),
              "Length = 2 must be equal or greater than Min = 4");
}

TEST(RegisterBinding, TypedSetChecksAndStoresOnlyChanges) {
    CTestModule m;
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { CTestModule::Registers::Value.Set(m, 4.5); }),
              "value = 4.500000 must be smaller than or equal 4.000000");
    // Not a number fails every comparison: it is refused, not stored.
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>(
                  [&] { CTestModule::Registers::Value.Set(m, std::numeric_limits<double>::quiet_NaN()); }),
              "value = nan must be greater than or equal 0.000000");
    EXPECT_EQ(m.m_value, 1.5);
    CTestModule::Registers::Value.Set(m, 4.0);
    EXPECT_EQ(CTestModule::Registers::Value.Get(m), 4.0);
}

TEST(RegisterBinding, WalkNeverOverflowsTheAddress) {
    CTestModule m;
    GenApi::IPort& port = m;
    const int64_t top = std::numeric_limits<int64_t>::max();
    uint8_t bytes[64];
    std::memset(bytes, 0x5A, sizeof bytes);
    port.Read(bytes, top - 2, 64);
    port.Write(bytes, top - 9, 64);
    port.Read(bytes, std::numeric_limits<int64_t>::min(), 64);
    for (uint8_t b : bytes) EXPECT_EQ(b, 0x5A);
}
