// Node-map engine: load time of a description of about 200 nodes, and the cost of feature access.
#include <GenApi/GenApi.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

using namespace GenApi;

namespace {

// Registers live in memory; every address answers.
class CMemoryPort : public IPort {
public:
    EAccessMode GetAccessMode() const override { return RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        std::memcpy(buffer, m_memory.data() + address, static_cast<size_t>(length));
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        std::memcpy(m_memory.data() + address, buffer, static_cast<size_t>(length));
    }

private:
    // Address 0 is SizeTSize: 8-byte size_t.
    std::vector<uint8_t> m_memory = [] {
        std::vector<uint8_t> memory(0x10000, 0);
        memory[0] = 8;
        return memory;
    }();
};

std::string Reg(const char* kind, const std::string& name, int address, const char* length, const char* access) {
    std::string xml = "<";
    xml += kind;
    xml += " Name=\"";
    xml += name;
    xml += "\"><Address>";
    xml += std::to_string(address);
    xml += "</Address>";
    xml += length;
    xml += "<AccessMode>";
    xml += access;
    xml += "</AccessMode><pPort>IPPort</pPort></";
    xml += kind;
    xml += ">\n";
    return xml;
}

// Appends the pieces one by one.
void Append(std::string& xml, std::initializer_list<std::string_view> pieces) {
    for (std::string_view piece : pieces) xml += piece;
}

// A description shaped like the modules' own: float features with bound registers, integer
// features on size_t-wide registers, selectors, swiss knives, a converter, and the converter's
// 179-entry pixel format enumeration whose entries share one availability node.
std::string MakeDescription() {
    std::string xml = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Bench" VendorName="Lumarix" ToolTip="Lumarix Filter" StandardNameSpace="None"
  SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="1"
  SubMinorVersion="1" ProductGuid="00000000-0000-0000-0000-000000000001" VersionGuid="00000000-0000-0000-0000-000000000002"
  xmlns="http://www.genicam.org/GenApi/Version_1_1">
<Category Name="Root"><pFeature>Control</pFeature></Category>
<Category Name="Control">
)";
    for (int i = 0; i < 12; ++i) {
        const std::string n = std::to_string(i);
        Append(xml, {"<pFeature>F", n, "</pFeature><pFeature>I", n, "</pFeature>"});
    }
    xml += "<pFeature>PixelFormat</pFeature></Category>\n";
    xml += Reg("IntReg", "SizeTSize", 0, "<Length>1</Length>", "RO");
    int address = 0x10;
    for (int i = 0; i < 12; ++i) {
        const std::string n = std::to_string(i);
        Append(xml, {"<Float Name=\"F", n, "\"><ToolTip>Float feature ", n, ".</ToolTip><Streamable>Yes</Streamable>",
                     "<pValue>F", n, "Reg</pValue><pMin>F", n, "Min</pMin><pMax>F", n, "Max</pMax></Float>\n"});
        xml += Reg("FloatReg", "F" + n + "Reg", address, "<Length>8</Length>", "RW");
        xml += Reg("FloatReg", "F" + n + "Min", address + 8, "<Length>8</Length>", "RO");
        xml += Reg("FloatReg", "F" + n + "Max", address + 16, "<Length>8</Length>", "RO");
        Append(xml, {"<Integer Name=\"I", n, "\"><pIsAvailable>Avail", n, "</pIsAvailable><pValue>I", n,
                     "Reg</pValue><Min>0</Min><Max>1000</Max></Integer>\n"});
        xml += Reg("IntReg", "I" + n + "Reg", address + 24, "<pLength>SizeTSize</pLength>", "RW");
        Append(xml, {"<IntSwissKnife Name=\"Avail", n, "\"><pVariable Name=\"V\">I", n,
                     "Reg</pVariable><Formula>(V &lt; 900) &amp;&amp; (V &gt;= 0) ? 1 : 0</Formula></IntSwissKnife>\n"});
        address += 32;
    }
    xml += R"(<Integer Name="Available"><Visibility>Invisible</Visibility><Value>1</Value><Min>0</Min><Max>1</Max></Integer>
<Enumeration Name="PixelFormat"><pValue>PixelFormatReg</pValue>
)";
    for (int i = 0; i < 179; ++i)
        Append(xml, {"<EnumEntry Name=\"Format", std::to_string(i), "\"><pIsAvailable>Available</pIsAvailable><Value>",
                     std::to_string(0x01080001 + i), "</Value></EnumEntry>\n"});
    xml += "</Enumeration>\n";
    xml += Reg("IntReg", "PixelFormatReg", 0x800, "<Length>4</Length>", "RW");
    xml += R"(<SwissKnife Name="MaxValue"><pVariable Name="B">Bits</pVariable><Formula>(1 &lt;&lt; B) - 1</Formula></SwissKnife>
<Integer Name="Bits"><Value>12</Value></Integer>
<Float Name="Ratio"><pValue>RatioConv</pValue><Min>0</Min><pMax>MaxValue</pMax></Float>
<Converter Name="RatioConv"><pVariable Name="MAX">MaxValue</pVariable><FormulaTo>FROM / MAX</FormulaTo>
  <FormulaFrom>TO * MAX</FormulaFrom><pValue>RatioReg</pValue></Converter>
)";
    xml += Reg("FloatReg", "RatioReg", 0x810, "<Length>8</Length>", "RW");
    xml += "<Port Name=\"IPPort\"/>\n</RegisterDescription>\n";
    return xml;
}

const std::string& Description() {
    static const std::string xml = MakeDescription();
    return xml;
}

void BM_LoadDescription(benchmark::State& state) {
    uint64_t nodes = 0;
    for (auto _ : state) {
        CNodeMapRef ref;
        ref._LoadXMLFromString(Description());
        nodes = ref._GetNodeMap()->GetNumNodes();
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["nodes"] = static_cast<double>(nodes);
    state.counters["xml_bytes"] = static_cast<double>(Description().size());
}
BENCHMARK(BM_LoadDescription)->Unit(benchmark::kMillisecond);

struct Loaded {
    Loaded() {
        ref._LoadXMLFromString(Description());
        ref._Connect(&port, "IPPort");
    }
    CNodeMapRef ref;
    CMemoryPort port;
};

void BM_CachedIntegerRead(benchmark::State& state) {
    Loaded map;
    CIntegerPtr feature = map.ref._GetNode("I3");
    for (auto _ : state) benchmark::DoNotOptimize(feature->GetValue());
}
BENCHMARK(BM_CachedIntegerRead);

void BM_ConverterRead(benchmark::State& state) {
    Loaded map;
    CFloatPtr ratio = map.ref._GetNode("Ratio");
    for (auto _ : state) benchmark::DoNotOptimize(ratio->GetValue());
}
BENCHMARK(BM_ConverterRead);

void BM_FloatWriteThenRead(benchmark::State& state) {
    Loaded map;
    CFloatPtr feature = map.ref._GetNode("F5");
    double v = 0.0;
    for (auto _ : state) {
        feature->SetValue(v, false);
        benchmark::DoNotOptimize(feature->GetValue());
        v += 1.0;
    }
}
BENCHMARK(BM_FloatWriteThenRead);

void BM_EnumerationBySymbolic(benchmark::State& state) {
    Loaded map;
    CEnumerationPtr format = map.ref._GetNode("PixelFormat");
    const GenICam::gcstring names[] = {"Format0", "Format90", "Format178"};
    size_t i = 0;
    for (auto _ : state) {
        format->FromString(names[i++ % 3]);
        benchmark::DoNotOptimize(format->GetIntValue());
    }
}
BENCHMARK(BM_EnumerationBySymbolic);

} // namespace

BENCHMARK_MAIN();
