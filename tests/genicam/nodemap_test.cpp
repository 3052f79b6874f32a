// The node-map engine against the test description and in-memory ports.
#include "test_support.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

using namespace GenApi;
using GenICam::AccessException;
using GenICam::InvalidArgumentException;
using GenICam::OutOfRangeException;
using GenICam::RuntimeException;
using enginetest::CTestPort;
using enginetest::TextOf;

namespace {

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        port.Poke<uint8_t>(0x00, 8);       // SizeTSize: 8-byte size_t
        port.Poke<double>(0x10, 1.0);      // Gamma
        port.Poke<double>(0x20, 0.0);      // gamma bounds
        port.Poke<double>(0x28, 4.0);
        port.Poke<uint64_t>(0x30, 640);    // Width
        port.Poke<double>(0x70, 2.0);      // matrix gain bounds
        port.Poke<double>(0x78, -2.0);
        port.Poke<double>(0x80, 255.0);    // matrix offset bounds
        port.Poke<double>(0x88, -255.0);
        result.Poke<uint64_t>(0x00, 3);    // PixelComponentCount, same address as SizeTSize
        result.Poke<double>(0x10, 42.5);   // Average, same address as Gamma
        ref._LoadXMLFromString(enginetest::ReadTestFile("engine_test.xml"));
        ref._Connect(&port, "IPPort");
        ref._Connect(&result, "IPResultPort");
        port.ResetCounts();
        result.ResetCounts();
    }

    INode* Node(const char* name) {
        INode* node = ref._GetNode(name);
        if (!node) ADD_FAILURE() << "no node " << name;
        return node;
    }

    CNodeMapRef ref;
    CTestPort port;
    CTestPort result;
};

std::vector<std::string> Names(const FeatureList_t& features) {
    std::vector<std::string> names;
    for (IValue* value : features) names.push_back(value->GetNode()->GetName().str());
    return names;
}

} // namespace

// ------------------------------------------------------------------ structure

TEST_F(EngineTest, NodesCarryTheTextsAndPropertiesOfTheDescription) {
    CFloatPtr gamma = Node("Gamma");
    EXPECT_EQ(gamma->GetNode()->GetName(), "Gamma");
    EXPECT_EQ(gamma->GetNode()->GetDisplayName(), "Gamma");
    EXPECT_EQ(gamma->GetNode()->GetToolTip(), "Controls the gamma correction of pixel intensity.");
    EXPECT_EQ(gamma->GetNode()->GetDescription(),
              "This is typically used to compensate for non-linearity of the display system (such as CRT).");
    EXPECT_EQ(gamma->GetNode()->GetVisibility(), Beginner);
    EXPECT_EQ(gamma->GetNode()->GetNameSpace(), Standard);
    EXPECT_TRUE(gamma->GetNode()->IsStreamable());
    EXPECT_TRUE(gamma->GetNode()->IsFeature());
    EXPECT_EQ(gamma->GetRepresentation(), Linear);

    EXPECT_EQ(Node("AnalogControl")->GetDisplayName(), "Analog Control");
    EXPECT_EQ(Node("FilterInformation")->GetDisplayName(), "FilterInformation"); // no DisplayName: the name
    EXPECT_EQ(Node("FilterInformation")->GetNameSpace(), Custom);
    EXPECT_EQ(Node("SizeTSize")->GetVisibility(), Guru);
    EXPECT_FALSE(Node("SizeTSize")->IsFeature());
    EXPECT_FALSE(Node("GammaReg")->IsStreamable());

    INode* cb = Node("EnumEntry_BalanceRatioSelector_Cb");
    EXPECT_EQ(cb->GetNameSpace(), Custom);
    EXPECT_EQ(Node("EnumEntry_BalanceWhiteAuto_Continuous")->GetDisplayName(), "Continuous mode");
    EXPECT_EQ(ref._GetNodeMap()->GetDeviceName(), "Device");
    EXPECT_EQ(ref._GetNode("NoSuchNode"), nullptr);

    NodeList_t all;
    ref._GetNodeMap()->GetNodes(all);
    EXPECT_EQ(all.size(), ref._GetNodeMap()->GetNumNodes());
    EXPECT_NE(std::find(all.begin(), all.end(), cb), all.end());
}

TEST_F(EngineTest, EveryNodeKindReportsItsPrincipalInterface) {
    const std::pair<const char*, EInterfaceType> kinds[] = {
        {"Root", intfICategory},
        {"Width", intfIInteger},
        {"WidthReg", intfIInteger},
        {"CalibrationBit", intfIInteger},
        {"IsOffset", intfIInteger},
        {"ThresholdTargetSelectorConv", intfIInteger},
        {"Gamma", intfIFloat},
        {"GammaReg", intfIFloat},
        {"MinMatrixValue", intfIFloat},
        {"ThresholdRatioConv", intfIFloat},
        {"ReverseY", intfIBoolean},
        {"ClearGrabbedImage", intfICommand},
        {"BalanceWhiteAuto", intfIEnumeration},
        {"EnumEntry_BalanceWhiteAuto_Once", intfIEnumEntry},
        {"Motto", intfIString},
        {"DeviceLabel", intfIString},
        {"IPPort", intfIPort},
    };
    for (const auto& [name, type] : kinds) EXPECT_EQ(Node(name)->GetPrincipalInterfaceType(), type) << name;
}

TEST_F(EngineTest, CategoriesListTheirFeaturesInDescriptionOrder) {
    FeatureList_t features;
    CCategoryPtr(Node("Root"))->GetFeatures(features);
    EXPECT_EQ(Names(features), (std::vector<std::string>{"AnalogControl", "FilterInformation", "FileFormat"}));
    CCategoryPtr analog = Node("AnalogControl");
    analog->GetFeatures(features);
    EXPECT_EQ(Names(features), (std::vector<std::string>{"Gamma", "BalanceRatioSelector", "BalanceRatio",
                                                         "OffsetLevel", "BalanceWhiteAuto"}));
    EXPECT_EQ(analog->GetAccessMode(), RO);
    EXPECT_THROW(analog->FromString("x"), AccessException);
}

TEST_F(EngineTest, SmartPointersAreValidOnlyForTheirKind) {
    CFloatPtr notAFloat = Node("Width");
    EXPECT_FALSE(notAFloat.IsValid());
    EXPECT_EQ(TextOf<AccessException>([&] { notAFloat->GetValue(); }),
              "Feature not present (reference not valid)");
    CIntegerPtr missing = ref._GetNode("NoSuchNode");
    EXPECT_FALSE(missing.IsValid());
    EXPECT_FALSE(IsReadable(missing));

    CNodePtr node = Node("Width");
    CIntegerPtr width = node;
    CValuePtr value = node;
    ASSERT_TRUE(width.IsValid());
    EXPECT_EQ(value->ToString(), "640");
    EXPECT_TRUE(IsWritable(width));
    EXPECT_FALSE(CBooleanPtr(Node("Width")).IsValid());
    EXPECT_TRUE(CPortPtr(Node("IPPort")).IsValid());
}

TEST(NodeMapRef, HoldsOneMapAndReportsAnEmptyReference) {
    CNodeMapRef ref("Camera");
    CTestPort port;
    EXPECT_EQ(ref._GetNodeMap(), nullptr);
    EXPECT_EQ(TextOf<AccessException>([&] { ref._Connect(&port, "IPPort"); }),
              "Feature not present (reference not valid)");
    EXPECT_EQ(TextOf<AccessException>([&] { ref._Connect(&port); }), "Feature not present (reference not valid)");
    EXPECT_THROW(ref._GetNode("Gamma"), AccessException);

    const std::string xml = enginetest::ReadTestFile("engine_test.xml");
    ref._LoadXMLFromString(xml);
    EXPECT_EQ(ref._GetNodeMap()->GetDeviceName(), "Camera");
    EXPECT_EQ(TextOf<RuntimeException>([&] { ref._LoadXMLFromString(xml); }), "Node map already created");
    EXPECT_THROW(ref._Connect(&port, "NoSuchPort"), InvalidArgumentException);
    ref._Connect(&port); // the first port of the description: IPPort
    port.Poke<double>(0x10, 3.5);
    EXPECT_EQ(CFloatPtr(ref._GetNode("Gamma"))->GetValue(), 3.5);

    ref._Destroy();
    EXPECT_EQ(ref._GetNodeMap(), nullptr);
    ref._LoadXMLFromString("\xEF\xBB\xBF" + xml); // descriptions are stored with a byte order mark
    EXPECT_NE(ref._GetNode("Gamma"), nullptr);
}

// An Integer's bound may be a float swiss knife over integer registers: the bound is rounded.
TEST(NodeMapRef, IntegerBoundsMayComeFromFloatFormulas) {
    CNodeMapRef ref;
    ref._LoadXMLFromString(R"(<RegisterDescription ModelName="M" VendorName="V">
        <Integer Name="OffsetX"><Value>0</Value><Min>0</Min><pMax>OffsetXMax</pMax></Integer>
        <Integer Name="Width"><Value>100</Value></Integer>
        <Integer Name="WidthMax"><Value>8192</Value></Integer>
        <SwissKnife Name="OffsetXMax"><pVariable Name="Size">Width</pVariable><pVariable Name="SizeMax">WidthMax</pVariable>
          <Formula>(Size + 1 &lt; SizeMax) ? SizeMax - Size : 0</Formula></SwissKnife>
        </RegisterDescription>)");
    CIntegerPtr offset = ref._GetNode("OffsetX");
    EXPECT_EQ(offset->GetMax(), 8092);
    EXPECT_THROW(offset->SetValue(8093), OutOfRangeException);
    offset->SetValue(8092);
}

// ------------------------------------------------------------------ registers and ports

TEST_F(EngineTest, RegistersUseTheirDeclaredLengthSignAndByteOrder) {
    CIntegerPtr width = Node("Width");
    width->SetValue(1024);
    EXPECT_EQ(port.lastWriteAddress, 0x30);
    EXPECT_EQ(port.lastWriteLength, 8); // pLength from SizeTSize
    EXPECT_EQ(port.Peek<uint64_t>(0x30), 1024u);

    port.Poke<uint8_t>(0x44, 0xAA);
    CIntegerPtr(Node("OffsetLevel"))->SetValue(-3);
    EXPECT_EQ(port.lastWriteLength, 4);
    EXPECT_EQ(port.Peek<uint32_t>(0x40), 0xFFFFFFFDu);
    EXPECT_EQ(port.Peek<uint8_t>(0x44), 0xAA); // the byte behind the register stays
    EXPECT_EQ(CIntegerPtr(Node("OffsetLevel"))->GetValue(), -3);

    CIntegerPtr bigEndian = Node("BigEndianReg");
    port.memory[0xE0] = 0xFF;
    port.memory[0xE1] = 0xFE;
    EXPECT_EQ(bigEndian->GetValue(), -2); // 0xFFFE, signed 16 bits
    bigEndian->SetValue(0x1234);
    EXPECT_EQ(port.memory[0xE0], 0x12);
    EXPECT_EQ(port.memory[0xE1], 0x34);
    EXPECT_EQ(bigEndian->GetMin(), -32768);
    EXPECT_EQ(bigEndian->GetMax(), 32767);
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { bigEndian->SetValue(40000); }),
              "BigEndianReg = 40000 must be equal or smaller than Max = 32767");
    EXPECT_EQ(CIntegerPtr(Node("SizeTSize"))->GetMax(), 255);

    CFloatPtr float32 = Node("FloatReg32");
    float32->SetValue(1.5);
    EXPECT_EQ(port.lastWriteLength, 4);
    EXPECT_EQ(port.Peek<float>(0xF0), 1.5f);
    EXPECT_EQ(float32->GetValue(), 1.5);
    EXPECT_THROW(float32->SetValue(1e39), OutOfRangeException);
}

TEST_F(EngineTest, MaskedRegistersChangeOnlyTheirBits) {
    port.Poke<uint32_t>(0x94, 0x12345678);
    CBooleanPtr calibration = Node("CalibrationEnable");
    CIntegerPtr mode = Node("ModeBits");
    EXPECT_FALSE(calibration->GetValue()); // bit 0 of 0x78
    EXPECT_EQ(mode->GetValue(), 7);        // bits 4..7 of 0x78
    calibration->SetValue(true);
    EXPECT_EQ(port.Peek<uint32_t>(0x94), 0x12345679u);
    mode->SetValue(0xA);
    EXPECT_EQ(port.Peek<uint32_t>(0x94), 0x123456A9u);
    EXPECT_EQ(mode->GetMax(), 15);
    EXPECT_THROW(mode->SetValue(16), OutOfRangeException);

    // Big endian: bits count from the most significant bit, so MSB 8 .. LSB 11 of a 16-bit
    // register are the value bits 7..4.
    port.memory[0x98] = 0x12;
    port.memory[0x99] = 0x34;
    CIntegerPtr field = Node("BigEndianField");
    EXPECT_EQ(field->GetValue(), 0x3);
    field->SetValue(0xC);
    EXPECT_EQ(port.memory[0x98], 0x12);
    EXPECT_EQ(port.memory[0x99], 0xC4);

    CIntegerPtr signedField = Node("SignedField");
    port.Poke<uint32_t>(0x9C, 0xFFFFFF0E);
    EXPECT_EQ(signedField->GetValue(), -2);
    EXPECT_EQ(signedField->GetMin(), -8);
    signedField->SetValue(-8);
    EXPECT_EQ(port.Peek<uint32_t>(0x9C), 0xFFFFFF08u);
    EXPECT_THROW(signedField->SetValue(8), OutOfRangeException);
}

TEST_F(EngineTest, ACachedReadCostsNoPortAccess) {
    CFloatPtr gamma = Node("Gamma");
    EXPECT_FALSE(gamma->IsValueCacheValid());
    EXPECT_EQ(gamma->GetValue(), 1.0);
    EXPECT_EQ(port.reads, 1);
    EXPECT_TRUE(gamma->IsValueCacheValid());
    EXPECT_EQ(gamma->GetValue(), 1.0);
    EXPECT_EQ(gamma->ToString(), "1");
    EXPECT_EQ(port.reads, 1);
    EXPECT_EQ(gamma->GetMax(), 4.0);
    EXPECT_EQ(gamma->GetMax(), 4.0);
    EXPECT_EQ(port.readsAt[0x28], 1);

    // Formulas over cached registers cost nothing either.
    CIntegerPtr locked = Node("BalanceRatioLocked");
    locked->GetValue();
    const int reads = port.reads;
    EXPECT_EQ(locked->GetValue(), 0);
    EXPECT_EQ(CFloatPtr(Node("BalanceRatio"))->GetAccessMode(), RW);
    EXPECT_EQ(port.reads, reads);
}

// WriteThrough (the default) keeps the value written; WriteAround reads back once after a write, for
// a device that clamps; NoCache reads the port at every read.
TEST_F(EngineTest, TheCachingModeDecidesWhatAWriteLeavesInTheCache) {
    CIntegerPtr width = Node("Width");
    EXPECT_EQ(width->GetNode()->GetCachingMode(), WriteThrough);
    width->SetValue(720);
    port.ResetCounts();
    EXPECT_EQ(width->GetValue(), 720);
    EXPECT_TRUE(width->IsValueCacheValid());
    EXPECT_EQ(port.reads, 0);

    port.onWrite = [&](const void* buffer, int64_t address, int64_t) {
        if (address != 0xF4) return false;
        uint32_t v;
        std::memcpy(&v, buffer, sizeof v);
        port.Poke<uint32_t>(0xF4, std::min<uint32_t>(v, 100)); // the module clamps
        return true;
    };
    CIntegerPtr around = Node("WriteAroundReg");
    EXPECT_EQ(around->GetNode()->GetCachingMode(), WriteAround);
    around->SetValue(300);
    EXPECT_FALSE(around->IsValueCacheValid());
    EXPECT_EQ(around->GetValue(), 100);
    EXPECT_EQ(around->GetValue(), 100);
    EXPECT_EQ(port.readsAt[0xF4], 1);

    CIntegerPtr noCache = Node("NoCacheRWReg");
    noCache->SetValue(5);
    EXPECT_FALSE(noCache->IsValueCacheValid());
    EXPECT_EQ(noCache->GetValue(), 5);
    port.Poke<uint32_t>(0xF8, 6);
    EXPECT_EQ(noCache->GetValue(), 6);
    EXPECT_EQ(port.readsAt[0xF8], 2);
    // A formula over it, and a formula over that one, read it anew each time as well.
    CIntegerPtr derived = Node("NoCacheTwicePlusOne");
    EXPECT_EQ(derived->GetValue(), 13);
    port.Poke<uint32_t>(0xF8, 7);
    EXPECT_EQ(derived->GetValue(), 15);
    EXPECT_EQ(port.readsAt[0xF8], 4);
}

TEST_F(EngineTest, NoCacheRegistersAndIgnoreCacheReadThePortEachTime) {
    CIntegerPtr noCache = Node("NoCacheReg");
    port.Poke<uint32_t>(0xD0, 5);
    EXPECT_EQ(noCache->GetValue(), 5);
    port.Poke<uint32_t>(0xD0, 6);
    EXPECT_EQ(noCache->GetValue(), 6);
    EXPECT_EQ(port.readsAt[0xD0], 2);
    EXPECT_EQ(noCache->GetNode()->GetCachingMode(), NoCache);

    CFloatPtr gamma = Node("Gamma");
    EXPECT_EQ(gamma->GetValue(), 1.0);
    port.Poke<double>(0x10, 2.0);
    EXPECT_EQ(gamma->GetValue(), 1.0);
    EXPECT_EQ(gamma->GetValue(false, true), 2.0);
    EXPECT_EQ(gamma->GetValue(), 2.0); // the fresh value is cached again
    EXPECT_EQ(port.readsAt[0x10], 2);
}

TEST_F(EngineTest, TwoPortsServeOverlappingAddresses) {
    EXPECT_EQ(CIntegerPtr(Node("SizeTSize"))->GetValue(), 8);
    EXPECT_EQ(CIntegerPtr(Node("PixelComponentCount"))->GetValue(), 3);
    EXPECT_EQ(result.lastReadLength, 8);
    EXPECT_EQ(CFloatPtr(Node("Gamma"))->GetValue(), 1.0);
    EXPECT_EQ(CFloatPtr(Node("Average"))->GetValue(), 42.5);

    port.Poke<uint64_t>(0x08, 0x5555);
    port.ResetCounts();
    CIntegerPtr index = Node("PixelComponentIndex");
    EXPECT_EQ(index->GetMax(), 2); // "(0 < Count) ? Count - 1 : 0"
    index->SetValue(2);
    EXPECT_EQ(result.Peek<uint64_t>(0x08), 2u);
    EXPECT_EQ(port.Peek<uint64_t>(0x08), 0x5555u);
    EXPECT_EQ(port.writes, 0);
    EXPECT_THROW(index->SetValue(3), OutOfRangeException);
}

// The registers of a port that is not connected are not available, as the port itself; a formula that
// reads one names the register and the port.
TEST_F(EngineTest, AnUnconnectedPortIsReportedWithTheNode) {
    CNodeMapRef other;
    other._LoadXMLFromString(enginetest::ReadTestFile("engine_test.xml"));
    other._Connect(&port, "IPPort");
    EXPECT_EQ(other._GetNode("IPResultPort")->GetAccessMode(), NA);
    EXPECT_EQ(other._GetNode("Average")->GetAccessMode(), NA);
    EXPECT_EQ(other._GetNode("PixelComponentIndexReg")->GetAccessMode(), NA);
    EXPECT_FALSE(IsReadable(CFloatPtr(other._GetNode("Average"))));
    EXPECT_EQ(TextOf<AccessException>([&] { CFloatPtr(other._GetNode("Average"))->GetValue(); }),
              "Node 'Average' is not readable (access mode NA)");
    EXPECT_EQ(TextOf<AccessException>([&] { CIntegerPtr(other._GetNode("IsResultAvailable"))->GetValue(); }),
              "Node 'PixelComponentCount': port 'IPResultPort' is not connected");
    EXPECT_EQ(other._GetNode("IPPort")->GetAccessMode(), RW);
    EXPECT_EQ(other._GetNode("GammaReg")->GetAccessMode(), RW);
    EXPECT_EQ(other._GetNode("SizeTSize")->GetAccessMode(), RO);
    other._Connect(&result, "IPResultPort");
    EXPECT_EQ(other._GetNode("Average")->GetAccessMode(), RO);
}

TEST_F(EngineTest, AnAddressThePortDoesNotServeReadsAsZero) {
    port.Poke<uint32_t>(0xE8, 7);
    port.onRead = [](void*, int64_t address, int64_t) { return address == 0xE8; }; // buffer untouched
    EXPECT_EQ(CIntegerPtr(Node("IndexReg"))->GetValue(), 0);
}

TEST_F(EngineTest, ComputedAddressesFollowTheirNodes) {
    port.Poke<uint32_t>(0x300, 11);
    port.Poke<uint32_t>(0x314, 22);
    CIntegerPtr indexed = Node("IndexedReg");
    EXPECT_EQ(indexed->GetValue(), 11); // 0x300 + 4 * 0
    CIntegerPtr(Node("IndexReg"))->SetValue(5);
    EXPECT_EQ(indexed->GetValue(), 22); // 0x300 + 4 * 5
    indexed->SetValue(33);
    EXPECT_EQ(port.lastWriteAddress, 0x314);
}

// ------------------------------------------------------------------ features

TEST_F(EngineTest, IntegersCheckBoundsAndIncrement) {
    CIntegerPtr width = Node("Width");
    EXPECT_EQ(width->GetMin(), 4);
    EXPECT_EQ(width->GetMax(), 8192);
    EXPECT_EQ(width->GetInc(), 4);
    EXPECT_EQ(width->GetUnit(), "px");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { width->SetValue(2); }),
              "Width = 2 must be equal or greater than Min = 4");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { width->SetValue(8196); }),
              "Width = 8196 must be equal or smaller than Max = 8192");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { width->SetValue(10); }),
              "Width = 10 must be Min = 4 plus a multiple of Inc = 4");
    EXPECT_EQ(port.writes, 0);
    width->SetValue(10, false); // no verification asked
    EXPECT_EQ(width->GetValue(), 10);
    EXPECT_THROW(width->GetValue(true), OutOfRangeException);
    width->FromString("0x40");
    EXPECT_EQ(width->ToString(), "64");
    EXPECT_THROW(width->FromString("sixty"), InvalidArgumentException);
    *width = 128;
    EXPECT_EQ((*width)(), 128);
    EXPECT_EQ(CIntegerPtr(Node("HexValue"))->ToString(), "0xFF");
}

TEST_F(EngineTest, FloatsCheckBounds) {
    CFloatPtr gamma = Node("Gamma");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { gamma->SetValue(4.5); }),
              "Gamma = 4.500000 must be smaller than or equal 4.000000");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { gamma->SetValue(-0.1); }),
              "Gamma = -0.100000 must be greater than or equal 0.000000");
    EXPECT_THROW(gamma->SetValue(std::numeric_limits<double>::quiet_NaN()), OutOfRangeException);
    gamma->SetValue(4.0);
    EXPECT_EQ(port.Peek<double>(0x10), 4.0);
    gamma->FromString("2.25");
    EXPECT_EQ(port.Peek<double>(0x10), 2.25);
    EXPECT_EQ(gamma->ToString(), "2.25");
    EXPECT_THROW(gamma->FromString("2.25x"), InvalidArgumentException);
}

TEST_F(EngineTest, AccessModesFollowTheDescription) {
    EXPECT_EQ(TextOf<AccessException>([&] { CFloatPtr(Node("GammaMinReg"))->SetValue(1.0); }),
              "Node 'GammaMinReg' is not writable (access mode RO)");
    EXPECT_EQ(TextOf<AccessException>([&] { CIntegerPtr(Node("ClearGrabbedImageReg"))->GetValue(); }),
              "Node 'ClearGrabbedImageReg' is not readable (access mode WO)");
    EXPECT_EQ(Node("GammaReadOnly")->GetAccessMode(), RO); // imposed RO over a RW register
    EXPECT_EQ(Node("IsOffset")->GetAccessMode(), RO);
    EXPECT_THROW(CIntegerPtr(Node("IsOffset"))->SetValue(1), AccessException);
    EXPECT_EQ(Node("Unimplemented")->GetAccessMode(), NI);
    EXPECT_FALSE(IsImplemented(Node("Unimplemented")));

    CIntegerPtr phase = Node("ADOLPColorPhase"); // available when "REG = ADOLP", ADOLP = 6
    EXPECT_EQ(phase->GetAccessMode(), NA);
    EXPECT_THROW(phase->SetValue(1), AccessException);
    CIntegerPtr(Node("PolarizationReg"))->SetValue(6);
    EXPECT_EQ(phase->GetAccessMode(), RW);
    phase->SetValue(1);
    EXPECT_EQ(CIntegerPtr(Node("IsADOLP"))->GetValue(), 1);
}

// "(IBWA = 1) && (BRS <> 3) ? 1 : 0" locks the ratio while an auto mode runs, but for Y;
// "(IBWA = 1) && ((BRS = 4) || (BRS = 5)) ? 1 : 0" locks the offsets of Cb and Cr.
TEST_F(EngineTest, LocksFollowTheirFormulas) {
    CFloatPtr ratio = Node("BalanceRatio");
    CIntegerPtr offset = Node("OffsetLevel");
    CEnumerationPtr selector = Node("BalanceRatioSelector");
    CEnumerationPtr autoMode = Node("BalanceWhiteAuto");
    EXPECT_EQ(ratio->GetAccessMode(), RW);

    *autoMode = "Continuous";
    EXPECT_EQ(CIntegerPtr(Node("IsBalanceWhiteAuto"))->GetValue(), 1);
    EXPECT_EQ(ratio->GetAccessMode(), RO);
    EXPECT_EQ(TextOf<AccessException>([&] { ratio->SetValue(2.0); }),
              "Node 'BalanceRatio' is not writable (access mode RO)");
    EXPECT_EQ(offset->GetAccessMode(), RW);

    *selector = "Y";
    EXPECT_EQ(ratio->GetAccessMode(), RW);
    ratio->SetValue(2.0);
    *selector = "Cb";
    EXPECT_EQ(offset->GetAccessMode(), RO);
    EXPECT_THROW(offset->SetValue(5), AccessException);
    *selector = "Red";
    EXPECT_EQ(offset->GetAccessMode(), RW);

    *autoMode = "Off";
    *selector = "Cr";
    EXPECT_EQ(offset->GetAccessMode(), RW);
    EXPECT_EQ(ratio->GetAccessMode(), RW);
}

// " ISOFFSET ? OFFSET_VALUE : GAIN_VALUE" gives the matrix value the bounds of its kind.
TEST_F(EngineTest, BoundsFollowTheSelectorThroughSwissKnives) {
    CFloatPtr value = Node("MatrixValue");
    CIntegerPtr selector = Node("CTVSReg");
    EXPECT_EQ(value->GetMin(), -2.0);
    EXPECT_EQ(value->GetMax(), 2.0);
    EXPECT_THROW(value->SetValue(100.0), OutOfRangeException);
    for (int offsetIndex : {3, 7, 11}) {
        selector->SetValue(offsetIndex);
        EXPECT_EQ(value->GetMin(), -255.0) << offsetIndex;
        EXPECT_EQ(value->GetMax(), 255.0) << offsetIndex;
    }
    value->SetValue(100.0);
    selector->SetValue(4);
    EXPECT_EQ(value->GetMax(), 2.0);
}

// FormulaTo "FROM / MAX", FormulaFrom "TO * MAX", and "FROM / 100.0" with "TO * 100", on one register.
TEST_F(EngineTest, ConvertersTranslateBothWays) {
    CFloatPtr thresholdValue = Node("ThresholdValue");
    CFloatPtr thresholdRatio = Node("ThresholdRatio");
    EXPECT_EQ(CFloatPtr(Node("MaximumPixelValue"))->GetValue(), 255.0); // (1 << 8) - 1
    EXPECT_EQ(thresholdValue->GetMax(), 255.0);

    thresholdValue->SetValue(51.0);
    EXPECT_DOUBLE_EQ(port.Peek<double>(0x100), 0.2);
    EXPECT_DOUBLE_EQ(thresholdRatio->GetValue(), 20.0);
    thresholdRatio->SetValue(50.0);
    EXPECT_EQ(port.Peek<double>(0x100), 0.5);
    EXPECT_EQ(thresholdValue->GetValue(), 127.5);
    EXPECT_THROW(thresholdValue->SetValue(256.0), OutOfRangeException);
    EXPECT_THROW(thresholdRatio->SetValue(100.5), OutOfRangeException);
    EXPECT_EQ(thresholdRatio->GetUnit(), "%");

    CEnumerationPtr(Node("ExpectedPixelFormat"))->FromString("Mono12");
    EXPECT_EQ(thresholdValue->GetMax(), 4095.0);
    EXPECT_EQ(thresholdValue->GetValue(), 2047.5);
}

// FormulaFrom "IsBayer ? ((TO < 1) ? 1 : TO) : (IsMono ? 0 : TO)" with a varying slope.
TEST_F(EngineTest, AnIntConverterWithVaryingSlopeSteersAnEnumeration) {
    CEnumerationPtr format = Node("ExpectedPixelFormat");
    CEnumerationPtr target = Node("ThresholdTargetSelector");
    StringList_t symbolics;
    target->GetSymbolics(symbolics);
    EXPECT_EQ(symbolics.size(), 5u); // Unknown format: every entry
    *target = "BayerGb";
    EXPECT_EQ(target->GetIntValue(), 3);

    *format = "Mono8";
    EXPECT_EQ(target->ToString(), "Mono"); // IsMono ? 0
    target->GetSymbolics(symbolics);
    EXPECT_EQ(symbolics, (StringList_t{"Mono"}));
    EXPECT_EQ(TextOf<AccessException>([&] { *target = "BayerR"; }),
              "Node 'ThresholdTargetSelector': entry 'BayerR' is not available");

    *target = "Mono";
    *format = "BayerRG8";
    EXPECT_EQ(target->ToString(), "BayerR"); // (TO < 1) ? 1
    port.Poke<double>(0x110, 0.75);          // ThresholdRatioReg of target 1
    EXPECT_EQ(CFloatPtr(Node("ThresholdRatio"))->GetValue(), 75.0);
    EXPECT_THROW(target->SetIntValue(0), AccessException);
}

TEST_F(EngineTest, EnumerationsFindEntriesByNameAndValue) {
    CEnumerationPtr autoMode = Node("BalanceWhiteAuto");
    NodeList_t entries;
    autoMode->GetEntries(entries);
    EXPECT_EQ(entries.size(), 3u);
    EXPECT_TRUE(autoMode->GetEntryByName("Once")->IsSelfClearing());
    EXPECT_EQ(autoMode->GetEntryByName("Once")->GetValue(), 1);
    EXPECT_FALSE(autoMode->GetEntryByName("Off")->IsSelfClearing());
    EXPECT_EQ(autoMode->GetEntry(2)->GetSymbolic(), "Continuous");
    EXPECT_EQ(autoMode->GetEntry(9), nullptr);
    EXPECT_EQ(autoMode->GetEntryByName("Auto"), nullptr);

    autoMode->FromString("Once");
    EXPECT_EQ(port.Peek<uint32_t>(0x48), 1u);
    EXPECT_EQ(port.lastWriteLength, 4);
    EXPECT_EQ(autoMode->ToString(), "Once");
    EXPECT_EQ(**autoMode, "Once");
    EXPECT_EQ(autoMode->GetCurrentEntry()->GetSymbolic(), "Once");
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { autoMode->SetIntValue(7); }),
              "Node 'BalanceWhiteAuto': 7 is the value of no entry");
    EXPECT_EQ(TextOf<InvalidArgumentException>([&] { autoMode->FromString("Auto"); }),
              "Node 'BalanceWhiteAuto': 'Auto' is not an entry");

    port.Poke<uint32_t>(0x48, 9);
    Node("BWAReg")->InvalidateNode();
    EXPECT_EQ(autoMode->GetIntValue(), 9);
    EXPECT_EQ(autoMode->GetCurrentEntry(), nullptr);
    EXPECT_THROW(autoMode->ToString(), OutOfRangeException);
    EXPECT_THROW(autoMode->GetIntValue(true), OutOfRangeException);
}

// "Reg <> 0" makes the WebM entry available; "Format = WebM" with the constant WebM = 2.
TEST_F(EngineTest, EntryAvailabilityFollowsARegister) {
    CEnumerationPtr format = Node("FileFormat");
    StringList_t symbolics;
    format->GetSymbolics(symbolics);
    EXPECT_EQ(symbolics, (StringList_t{"AVI", "OpenDML"}));
    EXPECT_THROW(*format = "WebM", AccessException);
    EXPECT_EQ(port.writes, 0);

    CIntegerPtr(Node("IsWebMSupportedReg"))->SetValue(1);
    *format = "WebM";
    EXPECT_EQ(CIntegerPtr(Node("IsWebM"))->GetValue(), 1);
    EXPECT_EQ(format->GetEntryByName("WebM")->GetNode()->GetAccessMode(), RO);
}

TEST_F(EngineTest, BooleansMapOnAndOffValues) {
    CBooleanPtr reverse = Node("ReverseY");
    reverse->SetValue(true);
    EXPECT_EQ(port.Peek<uint32_t>(0x90), 1u);
    EXPECT_TRUE(reverse->GetValue());
    port.Poke<uint32_t>(0x90, 2);
    Node("ReverseYReg")->InvalidateNode();
    EXPECT_EQ(TextOf<OutOfRangeException>([&] { reverse->GetValue(); }),
              "Node 'ReverseY': value 2 is neither OnValue 1 nor OffValue 0");

    CBooleanPtr odd = Node("OddFlag"); // OnValue 5, OffValue 7, local value 7
    EXPECT_FALSE(odd->GetValue());
    *odd = true;
    EXPECT_TRUE((*odd)());
    EXPECT_EQ(odd->ToString(), "true");
    odd->FromString("FALSE");
    EXPECT_FALSE(odd->GetValue());
    EXPECT_THROW(odd->FromString("maybe"), InvalidArgumentException);
}

TEST_F(EngineTest, CommandsWriteTheirValueAndAskWhetherDone) {
    CCommandPtr clear = Node("ClearGrabbedImage");
    clear->Execute();
    EXPECT_EQ(port.lastWriteAddress, 0xA0);
    EXPECT_EQ(port.lastWriteLength, 4);
    EXPECT_EQ(port.Peek<uint32_t>(0xA0), 1u);
    EXPECT_TRUE(clear->IsDone()); // a write-only register cannot tell

    CCommandPtr start = Node("Start");
    start->Execute();
    EXPECT_EQ(port.Peek<uint32_t>(0xA4), 3u);
    EXPECT_FALSE(start->IsDone());
    port.Poke<uint32_t>(0xA4, 0); // the device is done
    EXPECT_TRUE(start->IsDone());
    EXPECT_EQ(port.readsAt[0xA4], 2);
}

TEST_F(EngineTest, StringsHoldTextInRegistersAndNodes) {
    std::fill(port.memory.begin() + 0xB0, port.memory.begin() + 0xC0, uint8_t{0xEE});
    CStringPtr label = Node("DeviceLabel");
    EXPECT_EQ(label->GetMaxLength(), 16);
    label->SetValue("cam-01");
    EXPECT_EQ(port.lastWriteLength, 16);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&port.memory[0xB0]), 6), "cam-01");
    for (int i = 6; i < 16; ++i) EXPECT_EQ(port.memory[0xB0 + i], 0) << i;
    EXPECT_EQ(label->GetValue(), "cam-01");
    EXPECT_EQ(CStringPtr(Node("LabelAlias"))->GetValue(), "cam-01");

    EXPECT_THROW(label->SetValue("seventeen chars!!"), OutOfRangeException);
    label->SetValue("sixteen chars!!!");
    EXPECT_EQ(label->GetValue(), "sixteen chars!!!"); // no terminator needed at full length

    CStringPtr motto = Node("Motto");
    EXPECT_EQ(motto->GetValue(), "hello");
    *motto = "bye";
    EXPECT_EQ(motto->ToString(), "bye");
}

// ------------------------------------------------------------------ invalidation routes

TEST_F(EngineTest, InvalidatingARegisterRefreshesTheFeaturesOverIt) {
    CFloatPtr gamma = Node("Gamma");
    EXPECT_EQ(gamma->GetValue(), 1.0);
    port.Poke<double>(0x10, 2.0); // changed by the module's typed setter
    EXPECT_EQ(gamma->GetValue(), 1.0);
    Node("GammaReg")->InvalidateNode();
    EXPECT_FALSE(gamma->IsValueCacheValid());
    EXPECT_EQ(gamma->GetValue(), 2.0);
    EXPECT_EQ(port.readsAt[0x10], 2);
}

TEST_F(EngineTest, InvalidatingAFormulaVariableRefreshesTheFormula) {
    CIntegerPtr isAuto = Node("IsBalanceWhiteAuto");
    EXPECT_EQ(isAuto->GetValue(), 0);
    port.Poke<uint32_t>(0x48, 2);
    EXPECT_EQ(isAuto->GetValue(), 0);
    Node("BWAReg")->InvalidateNode();
    EXPECT_EQ(isAuto->GetValue(), 1);
}

TEST_F(EngineTest, APInvalidatorRefreshesTheRegisterThatNamesIt) {
    CIntegerPtr derived = Node("DerivedReg");
    port.Poke<uint32_t>(0xD4, 5);
    EXPECT_EQ(derived->GetValue(), 5);
    port.Poke<uint32_t>(0xD4, 6);
    EXPECT_EQ(derived->GetValue(), 5);
    CIntegerPtr(Node("TriggerReg"))->SetValue(1);
    EXPECT_EQ(derived->GetValue(), 6);
    port.Poke<uint32_t>(0xD4, 7);
    Node("TriggerReg")->InvalidateNode();
    EXPECT_EQ(derived->GetValue(), 7);
}

TEST_F(EngineTest, APortInvalidatorRefreshesEveryRegisterOfThePort) {
    CFloatPtr average = Node("Average");
    CIntegerPtr count = Node("PixelComponentCount");
    EXPECT_EQ(average->GetValue(), 42.5);
    EXPECT_EQ(count->GetValue(), 3);
    result.Poke<double>(0x10, 43.5);
    result.Poke<uint64_t>(0x00, 4);
    EXPECT_EQ(average->GetValue(), 42.5);
    CCommandPtr(Node("ClearGrabbedImage"))->Execute();
    EXPECT_EQ(average->GetValue(), 43.5);
    EXPECT_EQ(count->GetValue(), 4);
    result.Poke<double>(0x10, 44.5);
    CIntegerPtr(Node("FrameCountReg"))->SetValue(10);
    EXPECT_EQ(average->GetValue(), 44.5);
    EXPECT_EQ(CFloatPtr(Node("Gamma"))->GetValue(), 1.0); // IPPort's registers are not concerned
}

TEST_F(EngineTest, ASelectorRefreshesTheNodesItSelects) {
    // The module answers the selected channel's ratio at one address.
    const double bank[] = {1.0, 1.25, 1.5, 1.75, 2.0, 2.25};
    port.onRead = [&](void* buffer, int64_t address, int64_t) {
        if (address != 0x58) return false;
        std::memcpy(buffer, &bank[port.Peek<uint64_t>(0x50) % 6], sizeof(double));
        return true;
    };
    CFloatPtr ratio = Node("BalanceRatio");
    CEnumerationPtr selector = Node("BalanceRatioSelector");
    EXPECT_EQ(ratio->GetValue(), 1.0);
    *selector = "Blue";
    EXPECT_EQ(ratio->GetValue(), 1.5);
    selector->SetIntValue(5);
    EXPECT_EQ(ratio->GetValue(), 2.25);

    // Integer selector on the result port: PixelComponentIndex selects Average.
    result.onRead = [&](void* buffer, int64_t address, int64_t) {
        if (address != 0x10) return false;
        const double average = 100.0 + static_cast<double>(result.Peek<uint64_t>(0x08));
        std::memcpy(buffer, &average, sizeof average);
        return true;
    };
    CFloatPtr average = Node("Average");
    EXPECT_EQ(average->GetValue(), 100.0);
    CIntegerPtr(Node("PixelComponentIndex"))->SetValue(2);
    EXPECT_EQ(average->GetValue(), 102.0);
}

// A swiss knife keeps its value until something it reads is invalidated, by every route a register's
// bytes can change: a write, a write to another register over the same bytes, an IgnoreCache read.
TEST_F(EngineTest, SwissKnivesKeepTheirValueUntilAVariableChanges) {
    CIntegerPtr locked = Node("BalanceRatioLocked");
    EXPECT_EQ(locked->GetValue(), 0);
    EXPECT_TRUE(locked->IsValueCacheValid());
    CIntegerPtr(Node("BWAReg"))->SetValue(2);
    EXPECT_FALSE(locked->IsValueCacheValid());
    EXPECT_EQ(locked->GetValue(), 1);

    CIntegerPtr fields = Node("BothModeFields");
    EXPECT_EQ(fields->GetValue(), 0);
    port.Poke<uint32_t>(0x94, 0x31); // changed behind the engine: the cached value stays
    EXPECT_EQ(fields->GetValue(), 0);
    EXPECT_EQ(CIntegerPtr(Node("ModeBits"))->GetValue(false, true), 3); // a fresh read refreshes the knife
    EXPECT_EQ(fields->GetValue(), 6);
    EXPECT_EQ(CIntegerPtr(Node("CalibrationBit"))->GetValue(false, true), 1);
    EXPECT_EQ(fields->GetValue(), 7);
    CIntegerPtr(Node("ModeBits"))->SetValue(5); // rewrites the word that CalibrationBit cached
    EXPECT_EQ(port.Peek<uint32_t>(0x94), 0x51u);
    EXPECT_EQ(fields->GetValue(), 11);
    CIntegerPtr(Node("CalibrationBit"))->SetValue(0);
    EXPECT_EQ(fields->GetValue(), 10);
    port.Poke<uint32_t>(0x94, 0x21);
    EXPECT_EQ(fields->GetValue(false, true), 5); // IgnoreCache passes the knife's value too
}

TEST_F(EngineTest, AddressRepresentationsShowAndTakeTheirOwnForms) {
    CIntegerPtr ip = Node("CameraIPReg");
    EXPECT_EQ(ip->GetRepresentation(), IPV4Address);
    ip->FromString("192.168.0.1");
    EXPECT_EQ(ip->GetValue(), 0xC0A80001);
    EXPECT_EQ(port.Peek<uint32_t>(0xFC), 0x0100A8C0u); // big endian on the port: 192 first
    EXPECT_EQ(ip->ToString(), "192.168.0.1");
    ip->SetValue(0xFFFFFFFF);
    EXPECT_EQ(ip->ToString(), "255.255.255.255");
    ip->FromString("3232235778"); // a plain number is still taken
    EXPECT_EQ(ip->ToString(), "192.168.1.2");
    for (const char* bad : {"192.168.0", "192.168.0.256", "1.2.3.4.5", "1..2.3", "a.b.c.d", "192.168.0.1x"})
        EXPECT_THROW(ip->FromString(bad), InvalidArgumentException) << bad;
    EXPECT_EQ(ip->ToString(), "192.168.1.2");

    CIntegerPtr mac = Node("CameraMAC");
    mac->FromString("00:11:22:33:44:55");
    EXPECT_EQ(mac->GetValue(), 0x001122334455);
    EXPECT_EQ(mac->ToString(), "00:11:22:33:44:55");
    mac->FromString("0a-1B-2c-3D-4e-5F");
    EXPECT_EQ(mac->ToString(), "0A:1B:2C:3D:4E:5F");
    for (const char* bad : {"00:11:22:33:44", "00:11:22:33:44:5G", "00:11-22:33:44:55", "0:11:22:33:44:55:"})
        EXPECT_THROW(mac->FromString(bad), InvalidArgumentException) << bad;
    EXPECT_EQ(mac->GetValue(), 0x0A1B2C3D4E5F);
}

TEST_F(EngineTest, ALocalValueChangeRefreshesItsDependents) {
    CIntegerPtr bits = Node("ConvedBitCountOfEachComponent");
    EXPECT_EQ(bits->GetValue(), 8);
    CEnumerationPtr(Node("ExpectedPixelFormat"))->SetIntValue(0x01100005);
    EXPECT_EQ(bits->GetValue(), 12);
    CIntegerPtr max = Node("WidthMax");
    max->SetValue(1000);
    EXPECT_EQ(CIntegerPtr(Node("Width"))->GetMax(), 1000);
    EXPECT_DOUBLE_EQ(CFloatPtr(Node("HalfPlusOne"))->GetValue(), 500.0 + 250.0 + 1.0);
}

TEST_F(EngineTest, InvalidateNodesAndReconnectingDropEveryCache) {
    CFloatPtr gamma = Node("Gamma");
    CFloatPtr average = Node("Average");
    gamma->GetValue();
    average->GetValue();
    port.Poke<double>(0x10, 3.0);
    result.Poke<double>(0x10, 7.0);
    ref._GetNodeMap()->InvalidateNodes();
    EXPECT_EQ(gamma->GetValue(), 3.0);
    EXPECT_EQ(average->GetValue(), 7.0);

    CTestPort other;
    other.Poke<double>(0x10, 0.5);
    ref._Connect(&other, "IPPort");
    EXPECT_EQ(gamma->GetValue(), 0.5);
    EXPECT_EQ(average->GetValue(), 7.0);
}

// ------------------------------------------------------------------ threads

TEST_F(EngineTest, SeveralThreadsShareOneNodeMap) {
    std::atomic<int> failures{0};
    auto worker = [&](int seed) {
        try {
            CIntegerPtr width = Node("Width");
            CFloatPtr gamma = Node("Gamma");
            CEnumerationPtr selector = Node("BalanceRatioSelector");
            for (int i = 0; i < 2000; ++i) {
                width->SetValue(4 * (1 + (i + seed) % 100));
                if (width->GetValue() % 4 != 0) ++failures;
                gamma->SetValue(0.5 + (i % 7) * 0.5);
                selector->SetIntValue((i + seed) % 6);
                if (selector->ToString().empty()) ++failures;
            }
        } catch (const GenICam::GenericException&) {
            ++failures;
        }
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back(worker, t);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}
