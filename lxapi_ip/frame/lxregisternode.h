// The facts of one register node of a module description: generated from the description at build
// time (see tools/lxresgen), so that the code binds to them and never states an address itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace lxip {

enum class RegisterAccess : uint8_t { RO, WO, RW };
enum class RegisterKind : uint8_t { IntReg, MaskedIntReg, FloatReg, StringReg, Register, StructReg };

// Registers whose length the description takes from SizeTSize are as wide as size_t in this build.
inline constexpr int64_t SizeTWidth = static_cast<int64_t>(sizeof(size_t));

struct RegisterNode {
    const char* name;
    int64_t address;
    int64_t length;
    RegisterAccess access;
    RegisterKind kind;
};

} // namespace lxip
