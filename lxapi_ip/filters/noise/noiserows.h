// The mono rank rows, written once and compiled once per instruction set: include after defining
// LXN_ISA to the namespace of the instruction set. Minimum and maximum only, so the compiler turns
// the loops into vector code of the set the unit is built for; every form gives the same values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifndef LXN_ISA
#error "LXN_ISA must name the instruction-set namespace"
#endif

namespace lxnoise::LXN_ISA {

template <class T>
inline T Load(const uint8_t* p, size_t i) {
    T v;
    std::memcpy(&v, p + i * sizeof(T), sizeof(T));
    return v;
}
template <class T>
inline T Mn(T a, T b) {
    return a < b ? a : b;
}
template <class T>
inline T Mx(T a, T b) {
    return a < b ? b : a;
}

// The third largest of five. Of the pairs (a, b) and (c, d), f is the larger minimum and g the smaller
// maximum: the smallest and the largest of the four lie outside [f, g], and neither can be the median
// of the five, which is then the median of e, f and g.
template <class T>
inline T Median5(T a, T b, T c, T d, T e) {
    const T f = Mx(Mn(a, b), Mn(c, d));
    const T g = Mn(Mx(a, b), Mx(c, d));
    return Mx(Mn(e, f), Mn(Mx(e, f), g));
}

template <class T>
void RowX(const uint8_t* up, const uint8_t* here, const uint8_t* down, uint8_t* out, size_t width) {
    for (size_t x = 1; x + 1 < width; ++x) {
        const T v = Median5(Load<T>(up, x - 1), Load<T>(up, x + 1), Load<T>(down, x - 1), Load<T>(down, x + 1),
                            Load<T>(here, x));
        std::memcpy(out + x * sizeof(T), &v, sizeof(T));
    }
}

} // namespace lxnoise::LXN_ISA
