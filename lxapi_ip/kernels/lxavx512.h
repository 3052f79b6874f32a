// The 512-bit intrinsics for units built with AVX-512 flags. GCC 12 takes the
// _mm512_undefined_epi32() operand of its own 512-bit intrinsics for an uninitialised variable and
// warns where they are inlined; the operand is a don't-care by definition, so those warnings are off
// in the units that include this header.
#pragma once

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
