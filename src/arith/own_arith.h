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

#if OWN_HAVE_SSE2
// Products of 16-bit samples from their low and high halves: unsigned ones
// saturate wherever the high half is not zero; signed ones are rebuilt as
// 32-bit products and packed with saturation.
template <class T>
inline __m128i ownMul16Packed(__m128i a, __m128i b)
{
    const __m128i low = _mm_mullo_epi16(a, b);
    if constexpr (std::is_same_v<T, uint16_t>) {
        const __m128i high = _mm_mulhi_epu16(a, b);
        const __m128i fits = _mm_cmpeq_epi16(high, _mm_setzero_si128());
        return _mm_or_si128(low, _mm_andnot_si128(fits, _mm_set1_epi16(-1)));
    } else {
        const __m128i high = _mm_mulhi_epi16(a, b);
        return _mm_packs_epi32(_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high));
    }
}
#endif

template <class T>
struct OwnMulOp {
    T operator()(T a, T b) const { return ownMulSat(a, b); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, const T* b, std::size_t n) const
        requires OwnPacked<T>
    {
        if constexpr (sizeof(T) == 1)
            return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return ownMul8Packed<T>(x, y); });
        else
            return ownPackedRun(d, a, b, n, [](__m128i x, __m128i y) { return ownMul16Packed<T>(x, y); });
    }
#endif
};

// The constant of a constant operation: exact for integer depths, a float
// for 32F.
template <class T>
using OwnConstant = std::conditional_t<std::is_floating_point_v<T>, float, int64_t>;

#if OWN_HAVE_SSE2
// Signed 8-bit samples widened to 16 bits, and 16-bit ones to 32 bits.
inline __m128i ownWidenLow8(__m128i a) { return _mm_srai_epi16(_mm_unpacklo_epi8(a, a), 8); }
inline __m128i ownWidenHigh8(__m128i a) { return _mm_srai_epi16(_mm_unpackhi_epi8(a, a), 8); }
inline __m128i ownWidenLow16(__m128i a) { return _mm_srai_epi32(_mm_unpacklo_epi16(a, a), 16); }
inline __m128i ownWidenHigh16(__m128i a) { return _mm_srai_epi32(_mm_unpackhi_epi16(a, a), 16); }
inline __m128i ownZeroWidenLow8(__m128i a) { return _mm_unpacklo_epi8(a, _mm_setzero_si128()); }
inline __m128i ownZeroWidenHigh8(__m128i a) { return _mm_unpackhi_epi8(a, _mm_setzero_si128()); }
#endif

// a - value, or value - a when reversed, saturated.
template <class T>
struct OwnSubConstOp {
    OwnConstant<T> value;
    bool reverse;
    T operator()(T a) const
    {
        if constexpr (std::is_floating_point_v<T>)
            return reverse ? value - a : a - value;
        else
            return ownSaturate<T>(reverse ? value - a : a - value);
    }
#if OWN_HAVE_SSE2
    // The constant is within twice the depth's range here, so the exact
    // difference fits the doubled width (8-bit depths, 16S) or two saturating
    // 16-bit steps give it (16U).
    std::size_t run(T* d, const T* a, std::size_t n) const
        requires OwnPacked<T>
    {
        if constexpr (sizeof(T) == 1) {
            const __m128i v = _mm_set1_epi16(static_cast<int16_t>(value));
            auto diff = [this, v](__m128i x) { return reverse ? _mm_sub_epi16(v, x) : _mm_sub_epi16(x, v); };
            if constexpr (std::is_same_v<T, uint8_t>)
                return ownPackedRun(d, a, n, [diff](__m128i x) {
                    return _mm_packus_epi16(diff(ownZeroWidenLow8(x)), diff(ownZeroWidenHigh8(x)));
                });
            else
                return ownPackedRun(d, a, n, [diff](__m128i x) {
                    return _mm_packs_epi16(diff(ownWidenLow8(x)), diff(ownWidenHigh8(x)));
                });
        } else if constexpr (std::is_same_v<T, int16_t>) {
            const __m128i v = _mm_set1_epi32(static_cast<int32_t>(value));
            auto diff = [this, v](__m128i x) { return reverse ? _mm_sub_epi32(v, x) : _mm_sub_epi32(x, v); };
            return ownPackedRun(d, a, n, [diff](__m128i x) {
                return _mm_packs_epi32(diff(ownWidenLow16(x)), diff(ownWidenHigh16(x)));
            });
        } else {
            return subtractConst16u(d, a, n);
        }
    }

private:
    std::size_t subtractConst16u(T* d, const T* a, std::size_t n) const
    {
        const __m128i ones = _mm_set1_epi16(-1);
        if (!reverse) {
            const __m128i v = _mm_set1_epi16(static_cast<int16_t>(value >= 0 ? value : -value));
            if (value >= 0)
                return ownPackedRun(d, a, n, [v](__m128i x) { return _mm_subs_epu16(x, v); });
            return ownPackedRun(d, a, n, [v](__m128i x) { return _mm_adds_epu16(x, v); });
        }
        if (value <= 65535) {
            const __m128i v = _mm_set1_epi16(static_cast<int16_t>(value));
            return ownPackedRun(d, a, n, [v](__m128i x) { return _mm_subs_epu16(v, x); });
        }
        // value - a = (65535 - a) + (value - 65535), saturated.
        const __m128i rest = _mm_set1_epi16(static_cast<int16_t>(value - 65535));
        return ownPackedRun(d, a, n, [=](__m128i x) { return _mm_adds_epu16(_mm_xor_si128(x, ones), rest); });
    }
#endif
};

// a + value, saturated.
template <class T>
struct OwnAddConstOp {
    OwnConstant<T> value;
    T operator()(T a) const
    {
        if constexpr (std::is_floating_point_v<T>)
            return a + value;
        else
            return ownSaturate<T>(a + value);
    }
};

// a * value, saturated.
template <class T>
struct OwnMulConstOp {
    OwnConstant<T> value;
    T operator()(T a) const
    {
        if constexpr (std::is_floating_point_v<T>)
            return a * value;
        else
            return ownSaturate<T>(a * value);
    }
#if OWN_HAVE_SSE2
    // 8-bit products fit 16 bits: |a * value| is at most 255 * 255 or 128 * 128.
    std::size_t run(T* d, const T* a, std::size_t n) const
        requires(OwnPacked<T> && sizeof(T) == 1)
    {
        const __m128i v = _mm_set1_epi16(static_cast<int16_t>(value));
        if constexpr (std::is_same_v<T, uint8_t>) {
            const __m128i limit = _mm_set1_epi16(255);
            auto product = [=](__m128i x) {
                const __m128i p = _mm_mullo_epi16(x, v);
                return _mm_sub_epi16(p, _mm_subs_epu16(p, limit));
            };
            return ownPackedRun(d, a, n, [product](__m128i x) {
                return _mm_packus_epi16(product(ownZeroWidenLow8(x)), product(ownZeroWidenHigh8(x)));
            });
        } else {
            return ownPackedRun(d, a, n, [v](__m128i x) {
                return _mm_packs_epi16(_mm_mullo_epi16(ownWidenLow8(x), v),
                                       _mm_mullo_epi16(ownWidenHigh8(x), v));
            });
        }
    }
#endif
};
