// Number conversions and text forms shared by the node families. Conversions from double never
// invoke undefined behaviour: values beyond the int64 range saturate, NaN is reported to the caller.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace GenApi::Num {

// Truncation toward zero, saturated to the int64 range; NaN gives 0.
int64_t TruncToInt64(double v) noexcept;
// Rounding half away from zero, saturated to the int64 range; NaN gives 0.
int64_t RoundToInt64(double v) noexcept;

// Wrapping arithmetic on int64 (two's complement), as registers and formulas need it.
inline int64_t WrapAdd(int64_t a, int64_t b) noexcept {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline int64_t WrapSub(int64_t a, int64_t b) noexcept {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
inline int64_t WrapMul(int64_t a, int64_t b) noexcept {
    return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// Parses a whole integer literal: decimal with optional sign, or 0x hexadecimal. Surrounding
// blanks are allowed. Empty result on any other text or on overflow.
std::optional<int64_t> ParseInt64(std::string_view text) noexcept;
// Parses a whole floating-point literal (decimal, exponent allowed, 0x hexadecimal integers too).
std::optional<double> ParseDouble(std::string_view text) noexcept;

// Shortest text that reads back as the same double.
std::string FormatDouble(double v);

// Address forms of an integer: the low 32 bits as "192.168.0.1" (most significant byte first) and
// the low 48 bits as "00:1A:2B:3C:4D:5E". The parsers take exactly those forms (hexadecimal digits
// of either case, ':' or '-' between the bytes of a MAC address) and give nothing for any other text.
std::string FormatIPv4(int64_t v);
std::optional<int64_t> ParseIPv4(std::string_view text) noexcept;
std::string FormatMAC(int64_t v);
std::optional<int64_t> ParseMAC(std::string_view text) noexcept;

// Text without leading and trailing blanks (space, tab, CR, LF).
std::string_view Trim(std::string_view text) noexcept;

} // namespace GenApi::Num
