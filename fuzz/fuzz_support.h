// Pieces shared by the fuzz harnesses: a reader that turns the fuzzer's bytes into decisions, an
// in-memory port of bounded size, and a walk that reads every feature of a node map and writes some.
// Every harness caps what it allocates: lengths and sizes taken from the input are bounded here or in
// the harness before anything is allocated.
#pragma once

#include <GenApi/GenApi.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace lxfuzz {

// Reads decisions from the front of the input; once the input is used up every read gives 0.
class CInput {
public:
    CInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool Empty() const noexcept { return m_pos >= m_size; }
    size_t Remaining() const noexcept { return m_size - m_pos; }
    uint8_t Byte() noexcept { return m_pos < m_size ? m_data[m_pos++] : 0; }
    bool Bool() noexcept { return Byte() & 1; }
    template <class T>
    T Raw() noexcept {
        T value{};
        const size_t n = std::min(sizeof(T), Remaining());
        if (n) std::memcpy(&value, m_data + m_pos, n);
        m_pos += n;
        return value;
    }
    // A value in [low, high], both included.
    uint64_t Range(uint64_t low, uint64_t high) noexcept {
        const uint64_t span = high - low;
        if (span == 0) return low;
        const uint64_t raw = span < 0x100 ? Byte() : span < 0x10000 ? Raw<uint16_t>() : Raw<uint64_t>();
        return span == std::numeric_limits<uint64_t>::max() ? raw : low + raw % (span + 1);
    }
    // Up to `max` bytes, fewer if the input ends first.
    std::string_view Bytes(size_t max) noexcept {
        const size_t n = std::min(max, Remaining());
        const std::string_view out(reinterpret_cast<const char*>(m_data + m_pos), n);
        m_pos += n;
        return out;
    }
    std::string_view Rest() noexcept { return Bytes(Remaining()); }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

// A device of kMemory bytes behind a port. Like a module, it leaves the buffer as it is for bytes it
// does not serve; address and length are checked without overflow.
class CMemoryPort final : public GenApi::IPort {
public:
    static constexpr size_t kMemory = 0x4000;

    CMemoryPort() : m_memory(kMemory, 0) {}
    void Fill(std::string_view pattern) {
        if (pattern.empty()) return;
        for (size_t i = 0; i < m_memory.size(); ++i) m_memory[i] = static_cast<uint8_t>(pattern[i % pattern.size()]);
    }
    GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        if (Inside(address, length)) std::memcpy(buffer, m_memory.data() + address, static_cast<size_t>(length));
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        if (Inside(address, length)) std::memcpy(m_memory.data() + address, buffer, static_cast<size_t>(length));
    }

private:
    bool Inside(int64_t address, int64_t length) const noexcept {
        return address >= 0 && length > 0 && static_cast<uint64_t>(address) <= m_memory.size() &&
               static_cast<uint64_t>(length) <= m_memory.size() - static_cast<uint64_t>(address);
    }
    std::vector<uint8_t> m_memory;
};

// Runs one engine call; the GenICam exceptions are the engine's answer to bad input, anything else
// escapes and is a finding.
template <class F>
void Try(F&& f) {
    try {
        f();
    } catch (const GenICam::GenericException&) {
    }
}

// Connects `port` to every port node of the map.
inline void ConnectAllPorts(GenApi::INodeMap& map, GenApi::IPort& port) {
    GenApi::NodeList_t nodes;
    map.GetNodes(nodes);
    for (GenApi::INode* node : nodes)
        if (node->GetPrincipalInterfaceType() == GenApi::intfIPort) Try([&] { map.Connect(&port, node->GetName()); });
}

// Reads every node the way a feature tree browser does: access mode, texts, value, bounds, entries.
inline void ReadEveryNode(GenApi::INodeMap& map) {
    using namespace GenApi;
    NodeList_t nodes;
    map.GetNodes(nodes);
    for (INode* node : nodes) {
        Try([&] {
            const EAccessMode mode = node->GetAccessMode();
            node->GetDisplayName();
            node->IsCachable();
            NodeList_t related;
            node->GetChildren(related);
            node->GetParents(related);
            CValuePtr value = node;
            if (value.IsValid()) {
                value->IsValueCacheValid();
                if (IsReadable(mode)) Try([&] { value->ToString(true); });
            }
            if (CIntegerPtr i = node; i.IsValid()) {
                Try([&] { i->GetMin(); });
                Try([&] { i->GetMax(); });
                Try([&] { i->GetInc(); });
            } else if (CFloatPtr f = node; f.IsValid()) {
                Try([&] { f->GetMin(); });
                Try([&] { f->GetMax(); });
                Try([&] { f->GetInc(); });
            } else if (CEnumerationPtr e = node; e.IsValid()) {
                StringList_t symbolics;
                Try([&] { e->GetSymbolics(symbolics); });
                Try([&] { e->GetCurrentEntry(); });
            } else if (CStringPtr s = node; s.IsValid()) {
                Try([&] { s->GetMaxLength(); });
            } else if (CCategoryPtr c = node; c.IsValid()) {
                FeatureList_t features;
                c->GetFeatures(features);
            } else if (CCommandPtr command = node; command.IsValid()) {
                Try([&] { command->IsDone(); });
            }
        });
    }
}

// Writes to nodes chosen by the input: a value from the input, the bounds, a text written back,
// an invalidation. At most `count` operations.
inline void WriteSomeNodes(GenApi::INodeMap& map, CInput& in, int count) {
    using namespace GenApi;
    NodeList_t nodes;
    map.GetNodes(nodes);
    if (nodes.empty()) return;
    for (int k = 0; k < count && !in.Empty(); ++k) {
        INode* node = nodes[in.Range(0, nodes.size() - 1)];
        const uint8_t op = in.Byte();
        Try([&] {
            switch (op % 8) {
            case 0:
                if (CIntegerPtr i = node; i.IsValid()) i->SetValue(in.Raw<int64_t>(), op & 8);
                else if (CFloatPtr f = node; f.IsValid()) f->SetValue(in.Raw<double>(), op & 8);
                else if (CBooleanPtr b = node; b.IsValid()) b->SetValue(in.Bool());
                else if (CEnumerationPtr e = node; e.IsValid()) e->SetIntValue(in.Raw<int8_t>());
                else if (CStringPtr s = node; s.IsValid()) s->SetValue(std::string(in.Bytes(in.Byte())));
                else if (CCommandPtr c = node; c.IsValid()) c->Execute();
                break;
            case 1:
                if (CIntegerPtr i = node; i.IsValid()) i->SetValue(op & 8 ? i->GetMax() : i->GetMin());
                else if (CFloatPtr f = node; f.IsValid()) f->SetValue(op & 8 ? f->GetMax() : f->GetMin());
                break;
            case 2:
                if (CValuePtr v = node; v.IsValid()) v->FromString(v->ToString());
                break;
            case 3:
                if (CValuePtr v = node; v.IsValid()) v->FromString(std::string(in.Bytes(in.Byte() % 32)));
                break;
            case 4:
                if (CEnumerationPtr e = node; e.IsValid()) {
                    NodeList_t entries;
                    e->GetEntries(entries);
                    if (!entries.empty()) {
                        CEnumEntryPtr entry = entries[in.Range(0, entries.size() - 1)];
                        if (entry.IsValid()) e->FromString(entry->GetSymbolic());
                    }
                }
                break;
            case 5: node->InvalidateNode(); break;
            case 6:
                if (CValuePtr v = node; v.IsValid()) v->ToString(op & 8, true);
                break;
            default: map.InvalidateNodes(); break;
            }
        });
    }
}

} // namespace lxfuzz
