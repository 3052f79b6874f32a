#include "graphdata/graphdatafile.h"

#include <GenICam/GCException.h>
#include <lxapi/lxapi_tl.h>
#include <lxsdkcommon/lxdirectory.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace lxgraph {
namespace {

constexpr uint32_t kUintKeys = 5;

// A file closed on every way out.
class CFile {
public:
    CFile(const char* name, const char* mode) : m_file(std::fopen(name, mode)) {}
    ~CFile() {
        if (m_file) std::fclose(m_file);
    }
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    explicit operator bool() const { return m_file != nullptr; }
    FILE* Get() const { return m_file; }
    // Closes now and tells whether everything written reached the file.
    bool Close() {
        FILE* f = m_file;
        m_file = nullptr;
        const bool clean = std::ferror(f) == 0;
        return std::fclose(f) == 0 && clean;
    }

private:
    FILE* m_file;
};

[[noreturn]] void Unwritable(const char* name) { throw RUNTIME_EXCEPTION("File %s is unwritable.", name); }
[[noreturn]] void Unreadable(const char* name) { throw RUNTIME_EXCEPTION("File %s is unreadable.", name); }

void Put32(std::string& out, uint32_t v) {
    const char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.append(b, 4);
}
void Put64(std::string& out, uint64_t v) {
    Put32(out, static_cast<uint32_t>(v));
    Put32(out, static_cast<uint32_t>(v >> 32));
}
uint32_t Get32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint64_t Get64(const uint8_t* p) { return Get32(p) | uint64_t(Get32(p + 4)) << 32; }

bool Write(FILE* f, const void* data, size_t size) { return size == 0 || std::fwrite(data, 1, size, f) == size; }

struct Row {
    uint32_t dataType, count, dataSize, graphDataType, uintEntries, floatEntries;
};

} // namespace

// The header is made and every series checked before the file is opened: a list that cannot be
// saved leaves no file behind.
void SaveBinary(const CLxGraphDataBufferList& list, const char* fileName) {
    const size_t n = list.GetCount();
    std::string header;
    header.reserve(kFileHeadSize + kRowSize * n);
    uint64_t dataTotal = 0;
    for (size_t i = 0; i < n; ++i) {
        const CLxGraphDataBuffer& b = list.Buffer(i);
        b.GetILxGraphData(); // "There is no available graph data." for a series without elements
        // A row holds the count and the size in 32 bits.
        if (b.GetSize() > UINT32_MAX) Unwritable(fileName);
        dataTotal += b.GetSize();
    }
    Put32(header, kMagic);
    Put32(header, 1);
    Put32(header, 1);
    Put32(header, 2);
    Put32(header, 0x10000);
    Put32(header, 1);
    Put64(header, kFileHeadSize + uint64_t(kRowSize) * n);
    Put64(header, dataTotal);
    Put32(header, kTableHeadSize);
    Put32(header, kRowSize);
    Put32(header, static_cast<uint32_t>(n));
    if (n > UINT32_MAX) Unwritable(fileName);
    for (size_t i = 0; i < n; ++i) {
        const CLxGraphDataBuffer& b = list.Buffer(i);
        Put32(header, static_cast<uint32_t>(b.GetDataType()));
        Put32(header, static_cast<uint32_t>(b.GetCount()));
        Put32(header, static_cast<uint32_t>(b.GetSize()));
        Put32(header, b.GetGraphDataType());
        Put32(header, static_cast<uint32_t>(b.InformationUint().size()));
        Put32(header, static_cast<uint32_t>(b.InformationFloat().size()));
    }

    CreateDirectoryOfPath(fileName);
    CFile file(fileName, "wb");
    if (!file) Unwritable(fileName);
    bool ok = Write(file.Get(), header.data(), header.size());
    std::string entries;
    for (size_t i = 0; ok && i < n; ++i) {
        const CLxGraphDataBuffer& b = list.Buffer(i);
        entries.clear();
        for (const auto& [key, value] : b.InformationUint()) {
            Put32(entries, key);
            Put32(entries, value);
        }
        for (const auto& [key, value] : b.InformationFloat()) {
            uint64_t bits;
            std::memcpy(&bits, &value, 8);
            Put32(entries, key);
            Put64(entries, bits);
        }
        ok = Write(file.Get(), b.GetData(), b.GetSize()) && Write(file.Get(), entries.data(), entries.size());
    }
    if (!file.Close() || !ok) Unwritable(fileName);
}

void SaveCsv(const CLxGraphDataBufferList& list, const char* fileName) {
    const size_t n = list.GetCount();
    // The column names first: the pixel component of each series, or its index.
    std::string head = "Index";
    uint64_t lines = 0;
    for (size_t i = 0; i < n; ++i) {
        const CLxGraphDataBuffer& b = list.Buffer(i);
        uint32_t component = 0;
        try {
            component = b.GetInformationUint(LxGraphDataInformationUint_PixelComponent);
        } catch (const GenICam::GenericException&) {
        }
        std::string name;
        if (component != 0) {
            try {
                name = GetILxPixelComponentInfo(component)->GetName().c_str();
            } catch (const GenICam::GenericException&) {
                // a component the sister library does not know is named by the index below
            }
        }
        if (name.empty()) name = "Data_" + std::to_string(i);
        head += "," + name;
        if (b.GetData() && b.GetCount() > lines) lines = b.GetCount();
    }
    head += "\n";

    CreateDirectoryOfPath(fileName);
    CFile file(fileName, "w");
    if (!file) Unwritable(fileName);
    bool ok = Write(file.Get(), head.data(), head.size());
    std::string line;
    char number[24];
    for (uint64_t e = 0; ok && e < lines; ++e) {
        line.clear();
        line.append(number, static_cast<size_t>(std::snprintf(number, sizeof number, "%" PRIu64, e)));
        for (size_t i = 0; i < n; ++i) {
            const CLxGraphDataBuffer& b = list.Buffer(i);
            if (!b.GetData() || b.GetCount() <= e) continue;
            number[0] = ',';
            line.append(number, 1 + static_cast<size_t>(std::snprintf(number + 1, sizeof number - 1, "%" PRIu32,
                                                                       b.GetData()[e])));
        }
        line += '\n';
        ok = Write(file.Get(), line.data(), line.size());
    }
    if (!file.Close() || !ok) Unwritable(fileName);
}

std::vector<std::unique_ptr<CLxGraphDataBuffer>> LoadBinary(const CLxGraphDataBufferList& list, const char* fileName) {
    CFile file(fileName, "rb");
    if (!file) throw RUNTIME_EXCEPTION("File %s could not be opened.", fileName);
    FILE* f = file.Get();
    // The length bounds every size the file claims.
    if (std::fseek(f, 0, SEEK_END) != 0) Unreadable(fileName);
    const long end = std::ftell(f);
    if (end < 0 || std::fseek(f, 0, SEEK_SET) != 0) Unreadable(fileName);
    uint64_t remaining = static_cast<uint64_t>(end);
    auto read = [&](void* into, uint64_t size) {
        if (size > remaining || (size && std::fread(into, 1, size, f) != size)) Unreadable(fileName);
        remaining -= size;
    };

    uint8_t head[kFileHeadSize];
    read(head, 40);
    const uint64_t headerSize = Get64(head + 24);
    if (Get32(head) != kMagic || Get32(head + 20) != 1 || headerSize < 40) Unreadable(fileName);
    if (headerSize < kFileHeadSize) Unreadable(fileName);
    read(head + 40, 12);
    const uint32_t tableHeadSize = Get32(head + 40), rowSize = Get32(head + 44), n = Get32(head + 48);
    // A row shorter than its six fields cannot be read; a longer one has its tail skipped.
    if (tableHeadSize != kTableHeadSize || rowSize < kRowSize) Unreadable(fileName);
    if (n > remaining / rowSize) Unreadable(fileName);

    std::vector<Row> rows(n);
    // Without rows the row size is never used, and is not allocated: only a read row is bounded by the
    // file's length.
    std::vector<uint8_t> raw(n ? rowSize : 0);
    uint64_t payload = 0;
    for (Row& r : rows) {
        read(raw.data(), rowSize);
        const uint8_t* p = raw.data();
        r = Row{Get32(p), Get32(p + 4), Get32(p + 8), Get32(p + 12), Get32(p + 16), Get32(p + 20)};
        // Only 32-bit elements exist; the unsigned keys are 0 to 4, each at most once, and no float
        // key is valid.
        if (r.dataType != LxNumberDataType_uint32 || r.uintEntries > kUintKeys || r.floatEntries != 0)
            Unreadable(fileName);
        payload += uint64_t(r.count) * 4 + uint64_t(r.uintEntries) * 8;
    }
    if (payload > remaining) Unreadable(fileName);

    std::vector<std::unique_ptr<CLxGraphDataBuffer>> buffers;
    buffers.reserve(n);
    for (const Row& r : rows) {
        buffers.push_back(list.NewBuffer());
        CLxGraphDataBuffer& b = *buffers.back();
        b.Initialize(LxNumberDataType_uint32, r.count, r.graphDataType);
        if (r.count && !b.GetData()) throw BAD_ALLOC_EXCEPTION("%s", "std::bad_alloc");
        read(b.GetData(), b.GetSize());
        std::map<uint32_t, uint32_t> uintTable;
        for (uint32_t k = 0; k < r.uintEntries; ++k) {
            uint8_t entry[8];
            read(entry, 8);
            const uint32_t key = Get32(entry);
            if (key >= kUintKeys || !uintTable.emplace(key, Get32(entry + 4)).second) Unreadable(fileName);
        }
        b.SetInformation(std::move(uintTable), {});
    }
    return buffers;
}

} // namespace lxgraph
