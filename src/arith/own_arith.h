// Per-value functors of the image arithmetic, with packed kernels where the
// depth allows. The functor states the arithmetic; the kernel gives the same
// values for whole blocks of a run.
#pragma once

#include "../core/own_rows.h"
#include "own_saturate.h"
#include "own_simd.h"

template <class T>
struct OwnAddOp {
    T operator()(T a, T b) const { return ownAddSat(a, b); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, const T* b, std::size_t n) const
        requires OwnPacked<T>
    {
        return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return ownAddsPacked<T>(x, y); });
    }
#endif
};

template <class T>
struct OwnSubOp {
    T operator()(T a, T b) const { return ownSubSat(a, b); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, const T* b, std::size_t n) const
        requires OwnPacked<T>
    {
        return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return ownSubsPacked<T>(x, y); });
    }
#endif
};

#if OWN_HAVE_SSE2
// Products of 8-bit samples: widened to 16 bits, multiplied, and packed
// back with saturation. Unsigned products reach 65025, beyond the signed
// range of the pack, so they are first limited to 255.
template <class T>
inline __m128i ownMul8Packed(__m128i a, __m128i b)
{
    if constexpr (std::is_same_v<T, uint8_t>) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i limit = _mm_set1_epi16(255);
        __m128i lo = _mm_mullo_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
        __m128i hi = _mm_mullo_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
        lo = _mm_sub_epi16(lo, _mm_subs_epu16(lo, limit));
        hi = _mm_sub_epi16(hi, _mm_subs_epu16(hi, limit));
        return _mm_packus_epi16(lo, hi);
    } else {
        const __m128i lo = _mm_mullo_epi16(_mm_srai_epi16(_mm_unpacklo_epi8(a, a), 8),
                                           _mm_srai_epi16(_mm_unpacklo_epi8(b, b), 8));
        const __m128i hi = _mm_mullo_epi16(_mm_srai_epi16(_mm_unpackhi_epi8(a, a), 8),
                                           _mm_srai_epi16(_mm_unpackhi_epi8(b, b), 8));
        return _mm_packs_epi16(lo, hi);
    }
}
#endif

template <class T>
struct OwnMulOp {
    T operator()(T a, T b) const { return ownMulSat(a, b); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, const T* b, std::size_t n) const
        requires(OwnPacked<T> && sizeof(T) == 1)
    {
        return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return ownMul8Packed<T>(x, y); });
    }
#endif
};
