// One declaration per register. A module states, for each register node of its description, where
// the value lives (a field, a pair of accessors, or a constant), how a typed setter checks it, which
// node a typed change invalidates, how a register write is taken, and how a boolean turns on. The
// module base then serves the register port from these declarations, and the typed setters call
// `Set`, so the two roads to a parameter cannot drift apart.
//
//   struct CLxFoo::Registers {
//       static constexpr auto Phase = lxip::Bind<CLxFoo>(R::PhaseReg)
//           .Field(&CLxFoo::m_phase).Range(lxip::IntegerBelow("nPhase", 0, 256)).Write(lxip::WriteRule::Checked);
//       static constexpr auto File = lxip::MakeRegisterFile(Phase, ...);
//   };
//   static_assert(lxip::Covers(CLxFoo::Registers::File, R::RegisterNodes));
//
// Values travel in host order, which is little endian as the descriptions declare.
#pragma once

#include "frame/lxregisternode.h"
#include "lxiputil.h"

#include <GenApi/Synch.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

namespace lxip {

static_assert(std::endian::native == std::endian::little, "registers are little endian in host order");

// How a register write of a boolean turns it on.
enum class BoolRule : uint8_t { NonZero, OneOnly };

// How a register write is taken. The node map has already checked the value against its bounds, so
// by default it is stored as it comes and no node is invalidated (the node itself is the writer).
enum class WriteRule : uint8_t {
    Store,   // stored without a range check
    Checked, // through the typed setter's range check, still without invalidation
    Refused, // the register answers reads only: a write is not served
};

// The range check of a typed setter, with the library's texts.
class RangeRule {
public:
    enum class Texts : uint8_t { None, Integer, Float };
    enum class Upper : uint8_t { None, Below, AtMost };

    constexpr RangeRule() = default;
    constexpr RangeRule(Texts texts, const char* name, bool lower, double minimum, Upper upper, double maximum)
        : m_texts(texts), m_upper(upper), m_lower(lower), m_name(name), m_minimum(minimum), m_maximum(maximum) {}

    template <class V>
    void Check(V value) const {
        if (m_texts == Texts::Integer) {
            const long long v = static_cast<long long>(value);
            const long long lo = static_cast<long long>(m_minimum), hi = static_cast<long long>(m_maximum);
            if (m_lower && v < lo) ThrowBelowMin(m_name, v, lo);
            if (m_upper == Upper::Below && v >= hi) ThrowNotBelowEnd(m_name, v, hi);
            if (m_upper == Upper::AtMost && v > hi) ThrowAboveMax(m_name, v, hi);
        } else if (m_texts == Texts::Float) {
            CheckRangeDouble(m_name, static_cast<double>(value), m_minimum, m_maximum);
        }
    }

private:
    Texts m_texts = Texts::None;
    Upper m_upper = Upper::None;
    bool m_lower = false;
    const char* m_name = nullptr;
    double m_minimum = 0; // integer bounds are small and held exactly
    double m_maximum = 0;
};

// Below `minimum`: "... must be equal or greater than Min = ..."; from `end` up: "... must be smaller
// than Max = ..." with `end`.
constexpr RangeRule IntegerBelow(const char* name, long long minimum, long long end) {
    return {RangeRule::Texts::Integer, name, true, double(minimum), RangeRule::Upper::Below, double(end)};
}
// Below `minimum` as above; above `maximum`: "... must be equal or smaller than Max = ...".
constexpr RangeRule IntegerBetween(const char* name, long long minimum, long long maximum) {
    return {RangeRule::Texts::Integer, name, true, double(minimum), RangeRule::Upper::AtMost, double(maximum)};
}
// Only the upper bound, "... must be equal or smaller than Max = ...".
constexpr RangeRule IntegerAtMost(const char* name, long long maximum) {
    return {RangeRule::Texts::Integer, name, false, 0.0, RangeRule::Upper::AtMost, double(maximum)};
}
// The %f texts, both bounds allowed; not-a-number is refused with the lower text.
constexpr RangeRule FloatBetween(const char* name, double minimum, double maximum) {
    return {RangeRule::Texts::Float, name, true, minimum, RangeRule::Upper::AtMost, maximum};
}

// A type-erased view of one declaration, for the port.
struct RegisterEntry {
    const char* name;
    int64_t address;
    int64_t width;
    bool writable;
    const void* binding;
    bool (*read)(const void* binding, void* module, void* buffer, int64_t* length);
    bool (*write)(const void* binding, void* module, const void* buffer, int64_t* length);
};

struct RegisterFileView {
    const RegisterEntry* entries = nullptr;
    size_t count = 0;

    constexpr const RegisterEntry* Find(int64_t address) const noexcept {
        const RegisterEntry* end = entries + count;
        const RegisterEntry* it =
            std::lower_bound(entries, end, address, [](const RegisterEntry& e, int64_t a) { return e.address < a; });
        return it != end && it->address == address ? it : nullptr;
    }
};

// "Length = n must be equal or greater than Min = width": a register is never served in part.
[[noreturn]] inline void ThrowShortLength(int64_t length, int64_t minimum) {
    ThrowBelowMin("Length", static_cast<long long>(length), static_cast<long long>(minimum));
}

template <class Module, class V>
class RegisterBinding {
    static_assert(std::is_arithmetic_v<V>, "registers hold numbers and booleans");

public:
    using ModuleType = Module;
    using ValueType = V;

    constexpr explicit RegisterBinding(const RegisterNode& node) : m_node(node), m_notify(node.name) {}

    // ---- where the value lives ----
    // A field of the module, read and written under the module's parameter lock.
    constexpr RegisterBinding Field(V Module::*field) const {
        RegisterBinding b = *this;
        b.m_source = Source::Field;
        b.m_field = field;
        return b;
    }
    // A getter and a raw store (the binding compares, stores only a change, and notifies).
    constexpr RegisterBinding Accessor(V (Module::*get)(), void (Module::*store)(V)) const {
        RegisterBinding b = *this;
        b.m_source = Source::Accessor;
        b.m_get = get;
        b.m_store = store;
        return b;
    }
    // A value that never changes; writes are not served.
    constexpr RegisterBinding Constant(V value) const {
        RegisterBinding b = *this;
        b.m_source = Source::Constant;
        b.m_constant = value;
        b.m_writeRule = WriteRule::Refused;
        return b;
    }

    // ---- rules ----
    constexpr RegisterBinding Range(RangeRule rule) const {
        RegisterBinding b = *this;
        b.m_range = rule;
        return b;
    }
    // The node a typed change invalidates, when it is not the register's own node. A name that the
    // description does not hold is allowed: the failed look-up is dropped and nothing is invalidated.
    constexpr RegisterBinding Notifies(const char* nodeName) const {
        RegisterBinding b = *this;
        b.m_notify = nodeName;
        return b;
    }
    constexpr RegisterBinding Write(WriteRule rule) const {
        RegisterBinding b = *this;
        b.m_writeRule = rule;
        return b;
    }
    constexpr RegisterBinding Bool(BoolRule rule) const {
        static_assert(std::is_same_v<V, bool>, "a boolean rule belongs to a boolean register");
        RegisterBinding b = *this;
        b.m_boolRule = rule;
        return b;
    }
    // Reads shorter than the register are refused with the "Length" text too (writes always are).
    constexpr RegisterBinding LengthChecked() const {
        RegisterBinding b = *this;
        b.m_lengthChecked = true;
        return b;
    }
    // A write takes only the first `bytes` bytes of the register, and reports the full width.
    constexpr RegisterBinding Takes(int64_t bytes) const {
        RegisterBinding b = *this;
        b.m_takes = bytes;
        return b;
    }

    // ---- the typed interface ----
    V Get(Module& m) const {
        switch (m_source) {
        case Source::Constant: return m_constant;
        case Source::Accessor: return (m.*m_get)();
        default: {
            GenApi::AutoLock guard(m.ParameterLock());
            return m.*m_field;
        }
        }
    }
    // The typed setter: range check, then store a change and invalidate the node.
    void Set(Module& m, V value) const {
        m_range.Check(value);
        Store(m, value, true);
    }
    // The internal setter shared by both roads: an equal value changes nothing; a change is stored
    // and, if asked, announced to the node map.
    void Store(Module& m, V value, bool notify) const {
        if (m_source == Source::Accessor) {
            if ((m.*m_get)() == value) return;
            (m.*m_store)(value);
        } else {
            GenApi::AutoLock guard(m.ParameterLock());
            if (m.*m_field == value) return;
            m.*m_field = value;
        }
        if (notify && m_notify) m.NotifyRegisterChanged(m_notify);
    }
    void Check(V value) const { m_range.Check(value); }
    constexpr const RegisterNode& Node() const { return m_node; }
    constexpr const char* NotifiedNode() const { return m_notify; }

    // ---- the port ----
    // Serves the register's bytes; a caller's buffer shorter than the register gets only its own
    // bytes (unless the register checks lengths), and the reported length is always the width.
    bool Read(Module& m, void* buffer, int64_t* length) const {
        if (m_node.access == RegisterAccess::WO) return false;
        const int64_t width = m_node.length;
        if (m_lengthChecked && *length < width) ThrowShortLength(*length, width);
        const V value = Get(m);
        uint8_t bytes[8] = {};
        if constexpr (std::is_floating_point_v<V>) {
            std::memcpy(bytes, &value, sizeof value);
        } else {
            // Integers in the register's width, sign-extended; booleans read 0 or 1.
            const int64_t wide = static_cast<int64_t>(value);
            std::memcpy(bytes, &wide, sizeof wide);
        }
        std::memcpy(buffer, bytes, static_cast<size_t>(std::min(*length, width)));
        *length = width;
        return true;
    }
    // Takes a whole register: a write shorter than what the register takes is refused, so that no
    // fragment of a value is ever applied.
    bool Write(Module& m, const void* buffer, int64_t* length) const {
        if (!Writable()) return false;
        const int64_t takes = Taken();
        if (*length < takes) ThrowShortLength(*length, takes);
        V value;
        if constexpr (std::is_floating_point_v<V>) {
            std::memcpy(&value, buffer, sizeof value);
        } else {
            uint64_t raw = 0;
            std::memcpy(&raw, buffer, static_cast<size_t>(takes));
            if constexpr (std::is_same_v<V, bool>) {
                value = m_boolRule == BoolRule::OneOnly ? raw == 1 : raw != 0;
            } else {
                const unsigned unused = 64 - 8 * static_cast<unsigned>(takes);
                if (std::is_signed_v<V> && unused) // sign-extend what was taken
                    raw = static_cast<uint64_t>(static_cast<int64_t>(raw << unused) >> unused);
                value = static_cast<V>(raw);
            }
        }
        if (m_writeRule == WriteRule::Checked) m_range.Check(value);
        Store(m, value, false);
        *length = m_node.length;
        return true;
    }

    constexpr bool Writable() const {
        return m_writeRule != WriteRule::Refused && m_node.access != RegisterAccess::RO && m_source != Source::None;
    }
    constexpr int64_t Taken() const { return m_takes ? m_takes : m_node.length; }

    // What a declaration must hold to serve its node: checked at compile time by MakeRegisterFile.
    constexpr bool Consistent() const {
        const int64_t w = m_node.length;
        if (m_source == Source::None) return false;
        if (w != 1 && w != 2 && w != 4 && w != 8) return false;
        if (std::is_floating_point_v<V> && (w != 8 || sizeof(V) != 8 || m_takes)) return false;
        // (The member pointers are not compared with null here: with -fsanitize=null such a comparison
        // is no constant expression for g++.)
        return Taken() >= 1 && Taken() <= w;
    }

private:
    enum class Source : uint8_t { None, Field, Accessor, Constant };

    RegisterNode m_node;
    const char* m_notify;
    Source m_source = Source::None;
    V Module::*m_field = nullptr;
    V (Module::*m_get)() = nullptr;
    void (Module::*m_store)(V) = nullptr;
    V m_constant{};
    RangeRule m_range{};
    WriteRule m_writeRule = WriteRule::Store;
    BoolRule m_boolRule = BoolRule::NonZero;
    bool m_lengthChecked = false;
    int64_t m_takes = 0;
};

// The start of a declaration: the register node of the description it serves.
template <class Module>
struct Bind {
    const RegisterNode& node;

    constexpr explicit Bind(const RegisterNode& n) : node(n) {}
    template <class V>
    constexpr RegisterBinding<Module, V> Field(V Module::*field) const {
        return RegisterBinding<Module, V>(node).Field(field);
    }
    template <class V>
    constexpr RegisterBinding<Module, V> Accessor(V (Module::*get)(), void (Module::*store)(V)) const {
        return RegisterBinding<Module, V>(node).Accessor(get, store);
    }
    template <class V>
    constexpr RegisterBinding<Module, V> Constant(V value) const {
        return RegisterBinding<Module, V>(node).Constant(value);
    }
};

namespace detail {

template <class Binding>
bool ReadThunk(const void* binding, void* module, void* buffer, int64_t* length) {
    return static_cast<const Binding*>(binding)->Read(*static_cast<typename Binding::ModuleType*>(module), buffer,
                                                      length);
}
template <class Binding>
bool WriteThunk(const void* binding, void* module, const void* buffer, int64_t* length) {
    return static_cast<const Binding*>(binding)->Write(*static_cast<typename Binding::ModuleType*>(module), buffer,
                                                       length);
}

constexpr bool SameText(const char* a, const char* b) {
    while (*a && *a == *b) ++a, ++b;
    return *a == *b;
}

} // namespace detail

// All declarations of a module, ordered by address for the port.
template <size_t N>
struct RegisterFile {
    std::array<RegisterEntry, N> entries;
    bool consistent;

    constexpr RegisterFileView View() const { return {entries.data(), N}; }
};

// `bindings` must be objects of static storage (static constexpr members): the file points at them.
template <class... Bindings>
constexpr RegisterFile<sizeof...(Bindings)> MakeRegisterFile(const Bindings&... bindings) {
    RegisterFile<sizeof...(Bindings)> file{
        {RegisterEntry{bindings.Node().name, bindings.Node().address, bindings.Node().length, bindings.Writable(),
                       &bindings, &detail::ReadThunk<Bindings>, &detail::WriteThunk<Bindings>}...},
        (bindings.Consistent() && ...)};
    std::sort(file.entries.begin(), file.entries.end(),
              [](const RegisterEntry& a, const RegisterEntry& b) { return a.address < b.address; });
    return file;
}

// True when the declarations serve exactly the register nodes of the description: one declaration per
// node (the base answers SizeTSize at address 0), same name and width, no write served for a read-only
// node, and every declaration consistent in itself.
template <size_t N, size_t M>
constexpr bool Covers(const RegisterFile<N>& file, const RegisterNode (&nodes)[M]) {
    if (!file.consistent) return false;
    for (size_t i = 1; i < N; ++i)
        if (file.entries[i - 1].address == file.entries[i].address) return false;
    // Indices, not pointers: with -fsanitize=null g++ does not take pointer tests as constant.
    size_t served = 0;
    for (const RegisterNode& node : nodes) {
        if (node.address == 0) continue;
        size_t i = 0;
        while (i < N && file.entries[i].address != node.address) ++i;
        if (i == N) return false;
        const RegisterEntry& e = file.entries[i];
        if (!detail::SameText(e.name, node.name) || e.width != node.length) return false;
        if (node.access == RegisterAccess::RO && e.writable) return false;
        ++served;
    }
    return served == N;
}

} // namespace lxip
