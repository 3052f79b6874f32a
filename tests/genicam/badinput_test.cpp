// Broken descriptions and bad register contents: each fails with a GenICam exception whose text
// names the node at fault, and nothing is read outside a buffer.
#include "test_support.h"

using namespace GenApi;
using GenICam::GenericException;
using enginetest::CTestPort;

namespace {

std::string Wrap(const std::string& body) {
    return R"(<?xml version="1.0"?><RegisterDescription ModelName="Bad" VendorName="V"
        xmlns="http://www.genicam.org/GenApi/Version_1_1">)" +
           body + R"(<Port Name="Device"/></RegisterDescription>)";
}

const char* kReg = R"(<Address>0</Address><AccessMode>RW</AccessMode><pPort>Device</pPort>)";

struct BadDescription {
    const char* what;
    std::string xml;
    const char* expectedText; // part of the exception text
};

std::vector<BadDescription> BadDescriptions() {
    const std::string reg = kReg;
    return {
        {"broken XML", "<RegisterDescription><Integer Name=\"A\">", "not well-formed XML"},
        {"wrong root", "<Description/>", "<Description>"},
        {"unknown node", Wrap(R"(<Integer Name="A"><pValue>Nope</pValue></Integer>)"),
         "Node 'A': <pValue> refers to node 'Nope', which does not exist"},
        {"node of the wrong kind", Wrap(R"(<Integer Name="A"><pValue>B</pValue></Integer><Float Name="B"><Value>1</Value></Float>)"),
         "Node 'A': <pValue> refers to node 'B', which is not an integer node"},
        {"cycle of values", Wrap(R"(<Integer Name="A"><pValue>B</pValue></Integer><Integer Name="B"><pValue>A</pValue></Integer>)"),
         "reference cycle A -> B -> A"},
        {"cycle through formulas", Wrap(R"(<IntSwissKnife Name="K1"><pVariable Name="X">K2</pVariable><Formula>X</Formula></IntSwissKnife>
                                           <IntSwissKnife Name="K2"><pVariable Name="X">K1</pVariable><Formula>X + 1</Formula></IntSwissKnife>)"),
         "reference cycle K1 -> K2 -> K1"},
        {"self reference", Wrap(R"(<Integer Name="A"><Value>1</Value><pMax>A</pMax></Integer>)"), "reference cycle A -> A"},
        {"formula syntax", Wrap(R"(<IntSwissKnife Name="K"><Formula>(1 + 2</Formula></IntSwissKnife>)"), "Node 'K': ')' expected"},
        {"unknown variable", Wrap(R"(<IntSwissKnife Name="K"><Formula>X + 1</Formula></IntSwissKnife>)"), "Node 'K': unknown name"},
        {"integer length 3", Wrap(R"(<IntReg Name="R"><Length>3</Length>)" + reg + "</IntReg>"),
         "Node 'R': register length 3 is not valid, it must be 1, 2, 4 or 8"},
        {"float length 2", Wrap(R"(<FloatReg Name="R"><Length>2</Length>)" + reg + "</FloatReg>"),
         "Node 'R': register length 2 is not valid, it must be 4 or 8"},
        {"no port", Wrap(R"(<IntReg Name="R"><Address>0</Address><Length>4</Length></IntReg>)"), "Node 'R': <pPort> is missing"},
        {"no address", Wrap(R"(<IntReg Name="R"><Length>4</Length><pPort>Device</pPort></IntReg>)"), "Node 'R': <Address> is missing"},
        {"misspelled element", Wrap(R"(<IntReg Name="R"><Length>4</Length><Endianness>LittleEndian</Endianness>)" + reg + "</IntReg>"),
         "Node 'R': element <Endianness> is not expected here"},
        {"bad keyword", Wrap(R"(<IntReg Name="R"><Length>4</Length><Sign>Maybe</Sign>)" + reg + "</IntReg>"),
         "Node 'R': <Sign> has the invalid value 'Maybe'"},
        {"bad number", Wrap(R"(<IntReg Name="R"><Length>0x4G</Length>)" + reg + "</IntReg>"), "Node 'R': <Length> has the invalid value '0x4G'"},
        {"element twice", Wrap(R"(<IntReg Name="R"><Length>4</Length><Length>4</Length>)" + reg + "</IntReg>"),
         "Node 'R': <Length> is given more than once"},
        {"bits beyond the register", Wrap(R"(<MaskedIntReg Name="M"><Length>4</Length><LSB>0</LSB><MSB>40</MSB>)" + reg + "</MaskedIntReg>"),
         "Node 'M': bits LSB = 0, MSB = 40 do not fit"},
        {"same name twice", Wrap(R"(<Integer Name="A"><Value>1</Value></Integer><Integer Name="A"><Value>2</Value></Integer>)"),
         "Node 'A' is declared more than once"},
        {"unknown node kind", Wrap(R"(<StructReg Name="S"/>)"), "Node 'S': <StructReg> is not a node kind"},
        {"no name", Wrap(R"(<Integer><Value>1</Value></Integer>)"), "A <Integer> element has no Name attribute"},
        {"entry without value", Wrap(R"(<Enumeration Name="E"><EnumEntry Name="X"/><Value>0</Value></Enumeration>)"),
         "Node 'EnumEntry_E_X': <Value> is missing"},
        {"boolean on equals off", Wrap(R"(<Boolean Name="B"><Value>1</Value><OnValue>1</OnValue><OffValue>1</OffValue></Boolean>)"),
         "Node 'B': OnValue and OffValue are both 1"},
        {"converter without formula", Wrap(R"(<Converter Name="C"><FormulaTo>FROM</FormulaTo><pValue>F</pValue></Converter><Float Name="F"><Value>1</Value></Float>)"),
         "Node 'C': <FormulaFrom> is missing"},
        {"bad name space", Wrap(R"(<Integer Name="A" NameSpace="Mine"><Value>1</Value></Integer>)"), "Node 'A': NameSpace 'Mine'"},
    };
}

} // namespace

TEST(BadInput, BrokenDescriptionsFailAtLoadNamingTheNode) {
    for (const BadDescription& bad : BadDescriptions()) {
        CNodeMapRef ref;
        try {
            ref._LoadXMLFromString(bad.xml);
            ADD_FAILURE() << bad.what << ": loaded";
        } catch (const GenericException& e) {
            EXPECT_STREQ(e.GetExceptionType(), "RuntimeException") << bad.what;
            EXPECT_NE(std::string(e.GetDescription()).find(bad.expectedText), std::string::npos)
                << bad.what << ": " << e.GetDescription();
        }
        EXPECT_EQ(ref._GetNodeMap(), nullptr) << bad.what; // a failed load leaves the reference empty
    }
}

// Register contents come from clients: a size or an address read from a register is checked
// before it is used.
TEST(BadInput, SizesAndAddressesFromRegistersAreChecked) {
    CNodeMapRef ref;
    ref._LoadXMLFromString(Wrap(R"(
        <IntReg Name="Size"><Address>0</Address><Length>1</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="Sized"><Address>8</Address><pLength>Size</pLength><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <StringReg Name="Text"><Address>8</Address><pLength>Big</pLength><AccessMode>RW</AccessMode><pPort>Device</pPort></StringReg>
        <IntReg Name="Big"><Address>0x10</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="Offset"><Address>0x18</Address><Length>4</Length><Sign>Signed</Sign><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="Moved"><Address>0x20</Address><pAddress>Offset</pAddress><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <MaskedIntReg Name="Bits"><Address>0x28</Address><pLength>Size</pLength><LSB>0</LSB><MSB>15</MSB><AccessMode>RW</AccessMode><pPort>Device</pPort></MaskedIntReg>)"));
    CTestPort port;
    ref._Connect(&port);
    port.Poke<uint8_t>(0, 3);
    EXPECT_EQ(enginetest::TextOf<GenICam::OutOfRangeException>([&] { CIntegerPtr(ref._GetNode("Sized"))->GetValue(); }),
              "Node 'Sized': register length 3 is not valid, it must be 1, 2, 4 or 8");
    port.Poke<uint32_t>(0x10, 0x7FFFFFFF);
    EXPECT_THROW(CStringPtr(ref._GetNode("Text"))->GetValue(), GenICam::OutOfRangeException);
    port.Poke<int32_t>(0x18, -0x40);
    EXPECT_EQ(enginetest::TextOf<GenICam::OutOfRangeException>([&] { CIntegerPtr(ref._GetNode("Moved"))->GetValue(); }),
              "Node 'Moved': address -32 is negative");
    // 16 bits do not fit a register of 1 byte.
    port.Poke<uint8_t>(0, 1);
    ref._GetNode("Size")->InvalidateNode();
    EXPECT_THROW(CIntegerPtr(ref._GetNode("Bits"))->GetValue(), GenICam::OutOfRangeException);
    port.Poke<uint8_t>(0, 2);
    ref._GetNode("Size")->InvalidateNode();
    port.Poke<uint16_t>(0x28, 0xBEEF);
    EXPECT_EQ(CIntegerPtr(ref._GetNode("Bits"))->GetValue(), 0xBEEF);
}

// Nesting that a recursive loader or reader would follow on the machine stack: groups load at any
// depth, a read through a chain of nodes deeper than the engine follows is refused at load.
TEST(BadInput, DeepNestingNeitherOverflowsTheStackNorLoadsUnbounded) {
    const int groups = 200000;
    std::string nested;
    nested.reserve(16 * groups + 64);
    for (int i = 0; i < groups; ++i) nested += "<Group>";
    nested += R"(<Integer Name="Deep"><Value>5</Value></Integer>)";
    for (int i = 0; i < groups; ++i) nested += "</Group>";
    CNodeMapRef deep;
    deep._LoadXMLFromString(Wrap(nested));
    EXPECT_EQ(CIntegerPtr(deep._GetNode("Deep"))->GetValue(), 5);

    auto chain = [](int length) {
        std::string body;
        for (int i = 0; i < length; ++i)
            body += "<Integer Name=\"N" + std::to_string(i) + "\"><pValue>N" + std::to_string(i + 1) +
                    "</pValue></Integer>";
        body += "<Integer Name=\"N" + std::to_string(length) + "\"><Value>9</Value></Integer>";
        return Wrap(body);
    };
    CNodeMapRef fine;
    fine._LoadXMLFromString(chain(200));
    EXPECT_EQ(CIntegerPtr(fine._GetNode("N0"))->GetValue(), 9);
    CIntegerPtr(fine._GetNode("N0"))->SetValue(4);
    EXPECT_EQ(CIntegerPtr(fine._GetNode("N200"))->GetValue(), 4);

    CNodeMapRef tooDeep;
    const std::string text =
        enginetest::TextOf<GenICam::RuntimeException>([&] { tooDeep._LoadXMLFromString(chain(100000)); });
    EXPECT_NE(text.find("a read of it passes through more than 256 nodes"), std::string::npos) << text;
    EXPECT_EQ(text.rfind("Node 'N", 0), 0u) << text;
    EXPECT_EQ(tooDeep._GetNodeMap(), nullptr);
}

// An increment that makes no grid of values is a broken description (LogicalErrorException naming the
// node); one read from a node is refused when it is used.
TEST(BadInput, IncrementsBelowOneAreRefused) {
    const std::pair<const char*, const char*> bad[] = {
        {R"(<Integer Name="W"><Value>4</Value><Inc>0</Inc></Integer>)", "Node 'W': <Inc> is 0, an increment must be 1 or more"},
        {R"(<Integer Name="W"><Value>4</Value><Inc>-4</Inc></Integer>)", "Node 'W': <Inc> is -4, an increment must be 1 or more"},
        {R"(<Float Name="G"><Value>1</Value><Inc>0</Inc></Float>)", "Node 'G': <Inc> is 0.000000, an increment must be above 0"},
        {R"(<Float Name="G"><Value>1</Value><Inc>-0.5</Inc></Float>)", "Node 'G': <Inc> is -0.500000, an increment must be above 0"},
    };
    for (const auto& [body, expected] : bad) {
        CNodeMapRef ref;
        const char* text = body;
        EXPECT_EQ(enginetest::TextOf<GenICam::LogicalErrorException>([&] { ref._LoadXMLFromString(Wrap(text)); }),
                  expected);
        EXPECT_EQ(ref._GetNodeMap(), nullptr);
    }

    CNodeMapRef ref;
    ref._LoadXMLFromString(Wrap(R"(<Integer Name="W"><Value>4</Value><pInc>Step</pInc></Integer>
                                   <IntReg Name="Step"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode>
                                     <pPort>Device</pPort><Sign>Signed</Sign></IntReg>)"));
    CTestPort port;
    ref._Connect(&port);
    CIntegerPtr w = ref._GetNode("W");
    port.Poke<int32_t>(0, 2);
    EXPECT_EQ(w->GetInc(), 2);
    w->SetValue(6);
    CIntegerPtr(ref._GetNode("Step"))->SetValue(0);
    EXPECT_EQ(enginetest::TextOf<GenICam::LogicalErrorException>([&] { w->GetInc(); }),
              "Node 'W': the increment is 0, an increment must be 1 or more");
    EXPECT_THROW(w->SetValue(8), GenICam::LogicalErrorException);
    EXPECT_EQ(w->GetValue(), 6);
}
