// Build-time generator for the module descriptions. From the list of descriptions and their resource
// ids it writes
//   - a C++ source that embeds every description as a byte array, looked up by resource id, and
//   - a header that names, per description, its resource id and every register node it declares
//     (name, address, length, access), so that the modules bind their registers to these constants
//     and never write an address of their own.
// Usage: lxresgen <out.cpp> <out.h> <id>=<path.xml> ...
#include <pugixml.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Register {
    std::string name;
    std::string kind; // the element: IntReg, FloatReg, ...
    long long address = 0;
    long long length = 0; // 0 when the length comes from another node (pLength)
    std::string access;
    std::string port; // empty for the module's own port IPPort
};

struct Description {
    int id = 0;
    std::string path;
    std::string stem; // the namespace: the file name without its extension
    std::string modelName;
    std::vector<unsigned char> bytes;
    std::vector<Register> registers;
    std::vector<Register> otherPorts; // registers of further ports (a result port), by port
};

[[noreturn]] void Fail(const std::string& text) { throw std::runtime_error(text); }

long long ParseNumber(const std::string& text, const std::string& where) {
    try {
        size_t used = 0;
        const long long v = std::stoll(text, &used, 0);
        if (used == text.size()) return v;
    } catch (const std::exception&) {
    }
    Fail(where + ": \"" + text + "\" is not a number");
}

std::string Trimmed(const char* text) {
    std::string s(text);
    const auto first = s.find_first_not_of(" \t\r\n");
    const auto last = s.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : s.substr(first, last - first + 1);
}

// Every node with a literal <Address> is a register of the module's port, or, with a <pPort> naming
// another port, of that port (addresses are unique per port). Nodes inside <Group> elements count too.
void CollectRegisters(Description& d, const pugi::xml_node& parent, std::set<std::pair<std::string, long long>>& addresses) {
    for (const pugi::xml_node& node : parent.children()) {
        if (std::string(node.name()) == "Group") CollectRegisters(d, node, addresses);
        if (!node.child("Address")) continue;
        Register r;
        r.name = node.attribute("Name").value();
        r.kind = node.name();
        const std::string where = d.path + ": " + r.name;
        if (r.name.empty()) Fail(d.path + ": a register without a name");
        if (node.child("pAddress") || std::next(node.children("Address").begin()) != node.children("Address").end())
            Fail(where + ": a register has exactly one literal <Address>");
        r.address = ParseNumber(Trimmed(node.child_value("Address")), where);
        if (node.child("Length"))
            r.length = ParseNumber(Trimmed(node.child_value("Length")), where);
        else if (!node.child("pLength"))
            Fail(where + ": no <Length> or <pLength>");
        r.access = node.child("AccessMode") ? Trimmed(node.child_value("AccessMode")) : "RO";
        if (r.access != "RO" && r.access != "RW" && r.access != "WO") Fail(where + ": access " + r.access);
        const std::string port = node.child("pPort") ? Trimmed(node.child_value("pPort")) : "IPPort";
        if (!addresses.insert({port, r.address}).second) Fail(where + ": a second register at the same address");
        if (port == "IPPort") {
            d.registers.push_back(r);
        } else {
            r.port = port;
            d.otherPorts.push_back(r);
        }
    }
}

Description Load(const std::string& pair) {
    const auto eq = pair.find('=');
    if (eq == std::string::npos) Fail("expected <id>=<path>, got " + pair);
    Description d;
    d.id = static_cast<int>(ParseNumber(pair.substr(0, eq), pair));
    d.path = pair.substr(eq + 1);
    d.stem = std::filesystem::path(d.path).stem().string();
    std::ifstream in(d.path, std::ios::binary);
    if (!in) Fail(d.path + ": cannot be read");
    d.bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    pugi::xml_document doc;
    const pugi::xml_parse_result result = doc.load_buffer(d.bytes.data(), d.bytes.size());
    if (!result) Fail(d.path + ": " + result.description());
    const pugi::xml_node root = doc.child("RegisterDescription");
    if (!root) Fail(d.path + ": no RegisterDescription");
    d.modelName = root.attribute("ModelName").value();
    std::set<std::pair<std::string, long long>> addresses;
    CollectRegisters(d, root, addresses);
    return d;
}

std::string Hex(long long v) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%04llX", v);
    return text;
}

std::string Source(const std::vector<Description>& all) {
    std::ostringstream s;
    s << "// Generated at build time from resources/ by tools/lxresgen: do not edit.\n"
         "#include \"lxresources.h\"\n\nnamespace lxip {\nnamespace {\n";
    for (const Description& d : all) {
        s << "const unsigned char resource_" << d.id << "[] = {";
        for (size_t i = 0; i < d.bytes.size(); ++i) s << (i % 24 ? "" : "\n") << unsigned(d.bytes[i]) << ',';
        s << "\n};\n";
    }
    s << "struct Entry {\n    int32_t id;\n    const char* data;\n    size_t size;\n};\nconst Entry entries[] = {\n";
    for (const Description& d : all)
        s << "    {" << d.id << ", reinterpret_cast<const char*>(resource_" << d.id << "), " << d.bytes.size()
          << "},\n";
    s << "};\n} // namespace\n\n"
         "LxResource FindDescriptionResource(int32_t resourceId) noexcept {\n"
         "    for (const Entry& e : entries)\n"
         "        if (e.id == resourceId) return {e.data, e.size};\n"
         "    return {nullptr, 0};\n}\n\n} // namespace lxip\n";
    return s.str();
}

std::string Header(const std::vector<Description>& all) {
    std::ostringstream s;
    s << "// Generated at build time from resources/ by tools/lxresgen: do not edit.\n"
         "// Per module description: its resource id, model name, and every register of its port.\n"
         "#pragma once\n\n#include \"frame/lxregisternode.h\"\n\nnamespace lxres {\n";
    for (const Description& d : all) {
        s << "\nnamespace " << d.stem << " {\n"
          << "inline constexpr int32_t ResourceId = " << d.id << ";\n"
          << "inline constexpr const char* ModelName = \"" << d.modelName << "\";\n";
        for (const Register& r : d.registers) {
            s << "inline constexpr lxip::RegisterNode " << r.name << "{\"" << r.name << "\", " << Hex(r.address)
              << ", " << (r.length ? std::to_string(r.length) : "lxip::SizeTWidth") << ", lxip::RegisterAccess::"
              << r.access << ", lxip::RegisterKind::" << r.kind << "};\n";
        }
        // Registers of further ports: named in a namespace of their port, outside RegisterNodes, as the
        // module serves them through another object.
        for (const Register& r : d.otherPorts) {
            s << "namespace " << r.port << " { inline constexpr lxip::RegisterNode " << r.name << "{\"" << r.name
              << "\", " << Hex(r.address) << ", "
              << (r.length ? std::to_string(r.length) : "lxip::SizeTWidth") << ", lxip::RegisterAccess::" << r.access
              << ", lxip::RegisterKind::" << r.kind << "}; }\n";
        }
        // A description without registers (a module driven by typed calls alone) has no list: a C++
        // array cannot be empty.
        if (d.registers.empty()) {
            s << "inline constexpr const lxip::RegisterNode* RegisterNodes = nullptr;\n";
        } else {
            s << "inline constexpr lxip::RegisterNode RegisterNodes[] = {";
            for (size_t i = 0; i < d.registers.size(); ++i) s << (i ? ", " : "") << d.registers[i].name;
            s << "};\n";
        }
        s << "} // namespace " << d.stem << "\n";
    }
    s << "\n// Every embedded description, for the tests that walk them all.\n"
         "struct DescriptionRegisters {\n    int32_t resourceId;\n    const char* modelName;\n"
         "    const lxip::RegisterNode* registers;\n    size_t count;\n};\n"
         "inline constexpr DescriptionRegisters AllDescriptions[] = {\n";
    for (const Description& d : all) {
        s << "    {" << d.stem << "::ResourceId, " << d.stem << "::ModelName, " << d.stem << "::RegisterNodes, ";
        if (d.registers.empty())
            s << "0},\n";
        else
            s << "std::size(" << d.stem << "::RegisterNodes)},\n";
    }
    s << "};\n\n} // namespace lxres\n";
    return s.str();
}

// Writes only when the text changed, so that an unchanged description rebuilds nothing.
void WriteIfChanged(const std::string& path, const std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (in && std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()) == text) return;
    in.close();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) Fail(path + ": cannot be written");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: lxresgen <out.cpp> <out.h> <id>=<path.xml> ...\n");
        return 2;
    }
    try {
        std::vector<Description> all;
        std::set<int> ids;
        for (int i = 3; i < argc; ++i) {
            all.push_back(Load(argv[i]));
            if (!ids.insert(all.back().id).second) Fail(all.back().path + ": resource id used twice");
        }
        WriteIfChanged(argv[1], Source(all));
        WriteIfChanged(argv[2], Header(all));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "lxresgen: %s\n", e.what());
        return 1;
    }
    return 0;
}
