// Bitwise functors of the logic family. They work on the bits of samples of
// any integer width, and on bytes of 1-bit rows.
#pragma once

#include "../core/own_rows.h"
#include "own_simd.h"

#include <cstdint>
#include <type_traits>

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

// One source combined with the constant's pattern word, whose low sample
// applies to every sample.
template <class T, class Fn>
struct OwnBitwisePatternOp {
    uint32_t pattern;
    T operator()(T a) const { return Fn{}(a, static_cast<T>(pattern)); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t n) const
    {
        const T sample = static_cast<T>(pattern);
        __m128i p;
        if constexpr (sizeof(T) == 1)
            p = _mm_set1_epi8(static_cast<char>(sample));
        else if constexpr (sizeof(T) == 2)
            p = _mm_set1_epi16(static_cast<short>(sample));
        else
            p = _mm_set1_epi32(static_cast<int>(sample));
        return ownPackedRun(d, a, n, [p](__m128i x) { return Fn::packed(x, p); });
    }
#endif
};

// Samples shifted left by n (1 .. width - 1); bits run out at the top.
template <class T>
struct OwnLeftShiftOp {
    int n;
    T operator()(T a) const
    {
        using U = std::make_unsigned_t<T>;
        return static_cast<T>(static_cast<U>(static_cast<U>(a) << n));
    }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t count) const
    {
        const __m128i shift = _mm_cvtsi32_si128(n);
        if constexpr (sizeof(T) == 1) {
            const __m128i keep = _mm_set1_epi8(static_cast<char>((0xFF << n) & 0xFF));
            return ownPackedRun(d, a, count, [=](__m128i x) {
                return _mm_and_si128(_mm_sll_epi16(x, shift), keep);
            });
        } else if constexpr (sizeof(T) == 2) {
            return ownPackedRun(d, a, count, [=](__m128i x) { return _mm_sll_epi16(x, shift); });
        } else {
            return ownPackedRun(d, a, count, [=](__m128i x) { return _mm_sll_epi32(x, shift); });
        }
    }
#endif
};

// Samples shifted right by n (1 .. width - 1): right shifts fill with zeros in unsigned depths and with the sign in
// signed ones.
template <class T>
struct OwnRightShiftOp {
    int n;
    T operator()(T a) const { return static_cast<T>(a >> n); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t count) const
    {
        const __m128i shift = _mm_cvtsi32_si128(n);
        if constexpr (std::is_same_v<T, uint8_t>) {
            const __m128i keep = _mm_set1_epi8(static_cast<char>(0xFF >> n));
            return ownPackedRun(d, a, count, [=](__m128i x) {
                return _mm_and_si128(_mm_srl_epi16(x, shift), keep);
            });
        } else if constexpr (std::is_same_v<T, int8_t>) {
            const __m128i wide = _mm_cvtsi32_si128(n + 8);
            return ownPackedRun(d, a, count, [=](__m128i x) {
                return _mm_packs_epi16(_mm_sra_epi16(_mm_unpacklo_epi8(x, x), wide),
                                       _mm_sra_epi16(_mm_unpackhi_epi8(x, x), wide));
            });
        } else if constexpr (std::is_same_v<T, uint16_t>) {
            return ownPackedRun(d, a, count, [=](__m128i x) { return _mm_srl_epi16(x, shift); });
        } else if constexpr (std::is_same_v<T, int16_t>) {
            return ownPackedRun(d, a, count, [=](__m128i x) { return _mm_sra_epi16(x, shift); });
        } else {
            return ownPackedRun(d, a, count, [=](__m128i x) { return _mm_sra_epi32(x, shift); });
        }
    }
#endif
};

using OwnAndBits = OwnBitwiseOp<uint8_t, OwnAndFn>;
using OwnOrBits = OwnBitwiseOp<uint8_t, OwnOrFn>;
using OwnXorBits = OwnBitwiseOp<uint8_t, OwnXorFn>;
using OwnAndNotBits = OwnBitwiseOp<uint8_t, OwnAndNotFn>;
