// Bitwise functors of the logic family. They work on the bits of samples of
// any integer width, and on bytes of 1-bit rows.
#pragma once

#include "../core/own_rows.h"
#include "own_simd.h"

#include <cstdint>

struct OwnAndFn {
    template <class U>
    U operator()(U a, U b) const { return static_cast<U>(a & b); }
#if OWN_HAVE_SSE2
    static __m128i packed(__m128i a, __m128i b) { return _mm_and_si128(a, b); }
#endif
};

struct OwnOrFn {
    template <class U>
    U operator()(U a, U b) const { return static_cast<U>(a | b); }
#if OWN_HAVE_SSE2
    static __m128i packed(__m128i a, __m128i b) { return _mm_or_si128(a, b); }
#endif
};

struct OwnXorFn {
    template <class U>
    U operator()(U a, U b) const { return static_cast<U>(a ^ b); }
#if OWN_HAVE_SSE2
    static __m128i packed(__m128i a, __m128i b) { return _mm_xor_si128(a, b); }
#endif
};

// a AND NOT b: the saturated difference of single bits.
struct OwnAndNotFn {
    template <class U>
    U operator()(U a, U b) const { return static_cast<U>(a & ~b); }
#if OWN_HAVE_SSE2
    static __m128i packed(__m128i a, __m128i b) { return _mm_andnot_si128(b, a); }
#endif
};

// Two sources combined bit by bit.
template <class T, class Fn>
struct OwnBitwiseOp {
    T operator()(T a, T b) const { return Fn{}(a, b); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, const T* b, std::size_t n) const
    {
        return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return Fn::packed(x, y); });
    }
#endif
};

// One source combined with a 32-bit pattern that repeats the constant in
// every sample of the word.
template <class T, class Fn>
struct OwnBitwisePatternOp {
    uint32_t pattern;
    T operator()(T a) const { return Fn{}(a, static_cast<T>(pattern)); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t n) const
    {
        const __m128i p = _mm_set1_epi32(static_cast<int>(pattern));
        return ownPackedRun(d, a, n, [p](__m128i x) { return Fn::packed(x, p); });
    }
#endif
};

using OwnAndBits = OwnBitwiseOp<uint8_t, OwnAndFn>;
using OwnOrBits = OwnBitwiseOp<uint8_t, OwnOrFn>;
using OwnXorBits = OwnBitwiseOp<uint8_t, OwnXorFn>;
using OwnAndNotBits = OwnBitwiseOp<uint8_t, OwnAndNotFn>;
