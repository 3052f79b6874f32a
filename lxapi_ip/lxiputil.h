// Small helpers shared by all modules: range checks with the library's texts and the guard that turns
// std::bad_alloc into BadAllocException.
#pragma once

#include <GenICam/GCException.h>

#include <cstdint>
#include <new>

namespace lxip {

// The library's range texts. `name` is the argument's name as the caller knows it.
[[noreturn]] inline void ThrowBelowMin(const char* name, long long value, long long minimum) {
    throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or greater than Min = %lld", name, value, minimum);
}
[[noreturn]] inline void ThrowNotBelowEnd(const char* name, long long value, long long end) {
    throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be smaller than Max = %lld", name, value, end);
}
[[noreturn]] inline void ThrowAboveMax(const char* name, long long value, long long maximum) {
    throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or smaller than Max = %lld", name, value, maximum);
}

// "%s = %f must be greater than or equal %f" / "%s = %f must be smaller than or equal %f": the bounds
// themselves are allowed. A value that is not a number fails the lower test.
inline void CheckRangeDouble(const char* name, double value, double minimum, double maximum) {
    if (!(value >= minimum))
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be greater than or equal %f", name, value, minimum);
    if (!(value <= maximum))
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be smaller than or equal %f", name, value, maximum);
}

// "%s = %lld must be equal or greater than Min = %lld" / "%s = %lld must be smaller than Max = %lld":
// `end` is the first value refused.
inline void CheckRangeInteger(const char* name, long long value, long long minimum, long long end) {
    if (value < minimum) ThrowBelowMin(name, value, minimum);
    if (value >= end) ThrowNotBelowEnd(name, value, end);
}

// Runs `f`, turning std::bad_alloc into BadAllocException with the allocator's text.
template <class F>
decltype(auto) TranslateBadAlloc(F&& f) {
    try {
        return f();
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}

} // namespace lxip
