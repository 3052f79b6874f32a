#include "numeric.h"

#include <charconv>
#include <cstdio>
#include <cmath>
#include <limits>

namespace GenApi::Num {

namespace {
// 2^63, the first double beyond the int64 range.
constexpr double kTwo63 = 9223372036854775808.0;

int64_t SaturatedIntegral(double integral) noexcept {
    if (std::isnan(integral)) return 0;
    if (integral >= kTwo63) return std::numeric_limits<int64_t>::max();
    if (integral < -kTwo63) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(integral);
}
} // namespace

int64_t TruncToInt64(double v) noexcept { return SaturatedIntegral(std::trunc(v)); }
int64_t RoundToInt64(double v) noexcept { return SaturatedIntegral(std::round(v)); }

std::string_view Trim(std::string_view text) noexcept {
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

std::optional<int64_t> ParseInt64(std::string_view text) noexcept {
    text = Trim(text);
    if (text.empty()) return std::nullopt;
    bool negative = false;
    if (text.front() == '+' || text.front() == '-') {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return std::nullopt;
    uint64_t magnitude = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (negative) {
        // The magnitude of INT64_MIN is 2^63, one above INT64_MAX.
        if (magnitude > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1) return std::nullopt;
        return static_cast<int64_t>(0 - magnitude);
    }
    // Hexadecimal literals may spell the full 64-bit pattern (0xFFFFFFFFFFFFFFFF is -1).
    if (base == 10 && magnitude > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
    return static_cast<int64_t>(magnitude);
}

std::optional<double> ParseDouble(std::string_view text) noexcept {
    text = Trim(text);
    if (text.empty()) return std::nullopt;
    std::string_view body = text;
    if (body.front() == '+' || body.front() == '-') body.remove_prefix(1);
    if (body.size() > 2 && body[0] == '0' && (body[1] == 'x' || body[1] == 'X')) {
        if (auto i = ParseInt64(text)) return static_cast<double>(*i);
        return std::nullopt;
    }
    // from_chars refuses a leading '+'.
    if (text.front() == '+') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string FormatIPv4(int64_t v) {
    const uint64_t u = static_cast<uint64_t>(v);
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", unsigned(u >> 24 & 0xFF), unsigned(u >> 16 & 0xFF),
                  unsigned(u >> 8 & 0xFF), unsigned(u & 0xFF));
    return text;
}

std::optional<int64_t> ParseIPv4(std::string_view text) noexcept {
    text = Trim(text);
    uint64_t value = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (text.empty() || text.front() != '.') return std::nullopt;
            text.remove_prefix(1);
        }
        size_t digits = 0;
        unsigned byte = 0;
        while (digits < text.size() && digits < 4 && text[digits] >= '0' && text[digits] <= '9')
            byte = byte * 10 + unsigned(text[digits++] - '0');
        if (digits == 0 || digits > 3 || byte > 255) return std::nullopt;
        text.remove_prefix(digits);
        value = value << 8 | byte;
    }
    if (!text.empty()) return std::nullopt;
    return static_cast<int64_t>(value);
}

std::string FormatMAC(int64_t v) {
    const uint64_t u = static_cast<uint64_t>(v);
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", unsigned(u >> 40 & 0xFF),
                  unsigned(u >> 32 & 0xFF), unsigned(u >> 24 & 0xFF), unsigned(u >> 16 & 0xFF),
                  unsigned(u >> 8 & 0xFF), unsigned(u & 0xFF));
    return text;
}

std::optional<int64_t> ParseMAC(std::string_view text) noexcept {
    text = Trim(text);
    if (text.size() != 17) return std::nullopt;
    const char separator = text[2];
    if (separator != ':' && separator != '-') return std::nullopt;
    uint64_t value = 0;
    for (size_t i = 0; i < 17; ++i) {
        const char c = text[i];
        if (i % 3 == 2) {
            if (c != separator) return std::nullopt;
            continue;
        }
        unsigned digit;
        if (c >= '0' && c <= '9') digit = unsigned(c - '0');
        else if (c >= 'a' && c <= 'f') digit = unsigned(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F') digit = unsigned(c - 'A' + 10);
        else return std::nullopt;
        value = value << 4 | digit;
    }
    return static_cast<int64_t>(value);
}

std::string FormatDouble(double v) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
    if (ec != std::errc()) return "nan";
    return std::string(buffer, end);
}

} // namespace GenApi::Num
