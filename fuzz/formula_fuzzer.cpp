// Fuzzes formulas. The input's first line is a formula, each further line "Name=text" a named
// expression, a bare line an expression named E<n>. The formula goes into every formula node kind
// (IntSwissKnife, SwissKnife, IntConverter, Converter) over variables of every kind: local integer
// and float values, registers cached and not, an enumeration and a Boolean; their values come from the
// bytes after the first zero byte of the input.
#include "fuzz_support.h"

#include <initializer_list>
#include <string>

namespace {

// Formula text inside an element: the XML specials escaped, control and non-ASCII bytes as blanks.
std::string Escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '"') out += "&quot;";
        else if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F) out += ' ';
        else out += c;
    }
    return out;
}

const char* const kVariables = R"(
    <pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><pVariable Name="R">R</pVariable>
    <pVariable Name="N">N</pVariable><pVariable Name="F">F</pVariable><pVariable Name="S">S</pVariable>
    <pVariable Name="Q">Q</pVariable><pVariable Name="AA">A</pVariable>
    <Constant Name="C">3</Constant><Constant Name="H">0.5</Constant>)";

const char* const kNodes = R"(
    <Integer Name="A"><Value>7</Value></Integer>
    <Float Name="B"><Value>2.5</Value></Float>
    <IntReg Name="R"><Address>0</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <Sign>Signed</Sign></IntReg>
    <IntReg Name="N"><Address>8</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <Cachable>NoCache</Cachable></IntReg>
    <FloatReg Name="F"><Address>16</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></FloatReg>
    <Enumeration Name="S"><EnumEntry Name="Zero"><Value>0</Value></EnumEntry>
      <EnumEntry Name="Five"><Value>5</Value></EnumEntry><Value>5</Value></Enumeration>
    <Boolean Name="Q"><pValue>R</pValue></Boolean>
    <Integer Name="Target"><pValue>R</pValue></Integer>
    <Float Name="FloatTarget"><pValue>F</pValue></Float>
    <Port Name="Device"/>)";

// Texts are put together by appending: GCC 12 warns wrongly (-Wrestrict) on some chains of operator+.
std::string Join(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (const std::string_view part : parts) out.append(part);
    return out;
}

std::string Description(const std::string& body) {
    return Join({R"(<RegisterDescription ModelName="Fuzz" VendorName="V">)", body, kNodes, "</RegisterDescription>"});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 64 * 1024) return 0;
    std::string_view all(reinterpret_cast<const char*>(data), size);
    const size_t zero = all.find('\0');
    const std::string_view text = all.substr(0, zero);
    lxfuzz::CInput values(zero == std::string_view::npos ? nullptr : data + zero + 1,
                          zero == std::string_view::npos ? 0 : size - zero - 1);

    std::string formula, declarations;
    size_t start = 0;
    for (int line = 0; start <= text.size(); ++line) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        const std::string_view part = text.substr(start, end - start);
        start = end + 1;
        if (line == 0) {
            formula = Escape(part);
            continue;
        }
        const size_t eq = part.find('=');
        const bool named = eq != std::string_view::npos && eq > 0 && eq < 32;
        const std::string name = named ? Escape(part.substr(0, eq)) : Join({"E", std::to_string(line - 1)});
        declarations += Join({"<Expression Name=\"", name, "\">", Escape(named ? part.substr(eq + 1) : part),
                              "</Expression>"});
    }

    lxfuzz::CMemoryPort port;
    port.Fill(values.Bytes(24));
    const int64_t written = values.Raw<int64_t>();
    const double writtenFloat = values.Raw<double>();

    const std::string knives =
        Join({"<IntSwissKnife Name=\"K\">", kVariables, declarations, "<Formula>", formula,
              "</Formula></IntSwissKnife><SwissKnife Name=\"G\">", kVariables, declarations, "<Formula>", formula,
              "</Formula></SwissKnife>"});
    lxfuzz::Try([&] {
        GenApi::CNodeMapRef ref;
        ref._LoadXMLFromString(Description(knives));
        ref._Connect(&port);
        lxfuzz::Try([&] { GenApi::CIntegerPtr(ref._GetNode("K"))->GetValue(true); });
        lxfuzz::Try([&] { GenApi::CFloatPtr(ref._GetNode("G"))->GetValue(true); });
        lxfuzz::Try([&] { GenApi::CIntegerPtr(ref._GetNode("A"))->SetValue(written); });
        lxfuzz::Try([&] { GenApi::CIntegerPtr(ref._GetNode("K"))->GetValue(); });
        lxfuzz::Try([&] { GenApi::CFloatPtr(ref._GetNode("G"))->GetValue(false, true); });
    });

    // The same text as both directions of the converters, where FROM and TO are known names.
    const std::string converters =
        Join({"<IntConverter Name=\"IC\">", kVariables, declarations, "<FormulaTo>", formula, "</FormulaTo><FormulaFrom>",
              formula, "</FormulaFrom><pValue>Target</pValue></IntConverter><Converter Name=\"FC\">", kVariables,
              declarations, "<FormulaTo>", formula, "</FormulaTo><FormulaFrom>", formula,
              "</FormulaFrom><pValue>FloatTarget</pValue><Slope>Automatic</Slope></Converter>"});
    lxfuzz::Try([&] {
        GenApi::CNodeMapRef ref;
        ref._LoadXMLFromString(Description(converters));
        ref._Connect(&port);
        GenApi::CIntegerPtr ic = ref._GetNode("IC");
        GenApi::CFloatPtr fc = ref._GetNode("FC");
        lxfuzz::Try([&] { ic->GetValue(); });
        lxfuzz::Try([&] { ic->GetMin(); });
        lxfuzz::Try([&] { ic->GetMax(); });
        lxfuzz::Try([&] { ic->SetValue(written); });
        lxfuzz::Try([&] { fc->GetValue(); });
        lxfuzz::Try([&] { fc->GetMin(); });
        lxfuzz::Try([&] { fc->GetMax(); });
        lxfuzz::Try([&] { fc->SetValue(writtenFloat); });
        lxfuzz::Try([&] { fc->GetValue(true); });
    });
    return 0;
}
