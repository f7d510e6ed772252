// Packed kernels for contiguous runs of 8- and 16-bit samples. Each kernel
// does whole 16-byte blocks and returns how many values it did; the scalar
// functor of the operation finishes the run. SSE2 is part of every x86-64
// processor, so these need no dispatch; other targets do everything in the
// scalar functor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define OWN_HAVE_SSE2 1
#else
#define OWN_HAVE_SSE2 0
#endif

// The sample types that the packed kernels handle.
template <class T>
concept OwnPacked = bool(OWN_HAVE_SSE2) && std::is_integral_v<T> && (sizeof(T) == 1 || sizeof(T) == 2);

#if OWN_HAVE_SSE2

inline __m128i ownLoad(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void ownStore(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// Runs a two-source block operation over n values; returns the values done.
template <class T, class Block>
inline std::size_t ownPackedRun(T* d, const T* a, const T* b, std::size_t n, Block block)
{
    constexpr std::size_t lanes = 16 / sizeof(T);
    std::size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m128i r0 = block(ownLoad(a + i), ownLoad(b + i));
        const __m128i r1 = block(ownLoad(a + i + lanes), ownLoad(b + i + lanes));
        ownStore(d + i, r0);
        ownStore(d + i + lanes, r1);
    }
    for (; i + lanes <= n; i += lanes)
        ownStore(d + i, block(ownLoad(a + i), ownLoad(b + i)));
    return i;
}

// Runs a one-source block operation over n values; returns the values done.
template <class T, class Block>
inline std::size_t ownPackedRun(T* d, const T* a, std::size_t n, Block block)
{
    constexpr std::size_t lanes = 16 / sizeof(T);
    std::size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m128i r0 = block(ownLoad(a + i));
        const __m128i r1 = block(ownLoad(a + i + lanes));
        ownStore(d + i, r0);
        ownStore(d + i + lanes, r1);
    }
    for (; i + lanes <= n; i += lanes)
        ownStore(d + i, block(ownLoad(a + i)));
    return i;
}

// Saturating add and subtract of the sample width.
template <class T>
inline __m128i ownAddsPacked(__m128i a, __m128i b)
{
    if constexpr (std::is_same_v<T, uint8_t>)
        return _mm_adds_epu8(a, b);
    else if constexpr (std::is_same_v<T, int8_t>)
        return _mm_adds_epi8(a, b);
    else if constexpr (std::is_same_v<T, uint16_t>)
        return _mm_adds_epu16(a, b);
    else
        return _mm_adds_epi16(a, b);
}

template <class T>
inline __m128i ownSubsPacked(__m128i a, __m128i b)
{
    if constexpr (std::is_same_v<T, uint8_t>)
        return _mm_subs_epu8(a, b);
    else if constexpr (std::is_same_v<T, int8_t>)
        return _mm_subs_epi8(a, b);
    else if constexpr (std::is_same_v<T, uint16_t>)
        return _mm_subs_epu16(a, b);
    else
        return _mm_subs_epi16(a, b);
}

#endif
