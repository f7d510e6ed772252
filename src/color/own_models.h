// The arithmetic of the colour-model conversions, one functor per
// conversion and a branch per depth. Each maps the three samples of a pixel
// (R, G, B or the other model's channels in the order of its letters) to
// three samples.
#pragma once

#include "own_color.h"

#include "../arith/own_simd.h"

#include <algorithm>
#include <cmath>

template <class A, class B>
constexpr bool kOwnIs = std::is_same_v<A, B>;

// Samples of the fixed-point forms, widened so that no sum overflows.
template <class T>
inline int64_t ownWide(T x)
{
    return static_cast<int64_t>(x);
}

template <class T>
inline T ownClampSample(int64_t v)
{
    return static_cast<T>(ownClamp(v, 0, std::numeric_limits<T>::max()));
}

// ---------------------------------------------------------------------------
// YUV

struct OwnRgbToYuv {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            const float r = in[0], g = in[1], b = in[2];
            out[0] = 0.299f * r + 0.587f * g + 0.114f * b;
            out[1] = -0.146f * r - 0.288f * g + 0.434f * b;
            out[2] = 0.617f * r - 0.517f * g - 0.1f * b;
        } else if constexpr (kOwnIs<T, Own32s>) {
            const double r = in[0], g = in[1], b = in[2];
            out[0] = ownTruncSat<T>(0.299 * r + 0.587 * g + 0.114 * b);
            out[1] = ownTruncSat<T>(-0.146 * r - 0.288 * g + 0.434 * b);
            out[2] = ownTruncSat<T>(0.617 * r - 0.517 * g - 0.1 * b);
        } else {
            const int64_t r = in[0], g = in[1], b = in[2];
            constexpr int64_t full = std::numeric_limits<T>::max();
            constexpr int64_t middle = full / 2;
            out[0] = static_cast<T>(std::min((9798 * r + 19235 * g + 3736 * b) >> 15, full));
            out[1] = ownClampSample<T>(((-4784 * r - 9437 * g + 14221 * b) >> 15) + middle);
            out[2] = ownClampSample<T>(((20218 * r - 16941 * g - 3277 * b) >> 15) + middle);
        }
    }
};

struct OwnYuvToRgb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            const float y = in[0], u = in[1], v = in[2];
            out[0] = y + 1.135920183f * v;
            out[1] = y - 0.3959190767f * u - 0.5782887929f * v;
            out[2] = y + 2.041101518f * u;
        } else if constexpr (kOwnIs<T, Own32s>) {
            const double y = in[0], u = in[1], v = in[2];
            out[0] = ownTruncSat<T>(y + 1.135920183 * v);
            out[1] = ownTruncSat<T>(y - 0.3959190767 * u - 0.5782887929 * v);
            out[2] = ownTruncSat<T>(y + 2.041101518 * u);
        } else {
            constexpr int64_t middle = std::numeric_limits<T>::max() / 2;
            const int64_t y = in[0], u = in[1] - middle, v = in[2] - middle;
            out[0] = ownClampSample<T>(y + ((37222 * v - 31 * u) >> 15));
            out[1] = ownClampSample<T>(y + ((-12974 * u - 18949 * v) >> 15));
            out[2] = ownClampSample<T>(y + ((66883 * u - 53 * v) >> 15));
        }
    }
};

// The 8U form between a pixel-ordered RGB image and a plane-ordered YUV
// image, with 16 fractional bits.
struct OwnRgbToYuvPlanes {
    void operator()(const Own8u (&in)[3], Own8u (&out)[3]) const
    {
        const int64_t r = in[0], g = in[1], b = in[2];
        const int64_t s = 7471 * b + 19595 * r + 38470 * g;
        out[0] = static_cast<Own8u>(s >> 16);
        out[1] = ownWrap<Own8u>(((((b << 16) - s + 32767) >> 16) * 32244 >> 16) + 128);
        out[2] = ownClampSample<Own8u>(((((r << 16) - s + 32767) >> 16) * 57475 >> 16) + 128);
    }
};

struct OwnYuvPlanesToRgb {
    void operator()(const Own8u (&in)[3], Own8u (&out)[3]) const
    {
        const int64_t y = ownWide(in[0]) << 16, u = in[1] - 128, v = in[2] - 128;
        out[0] = ownClampSample<Own8u>((y + 74710 * v) >> 16);
        out[1] = ownClampSample<Own8u>((y - 25820 * u - 38075 * v) >> 16);
        out[2] = ownClampSample<Own8u>((y + 133168 * u) >> 16);
    }
};

#if OWN_HAVE_SSE2
// Eight pixels of three 8-bit samples as three vectors of 16-bit lanes, one
// per channel. Masking the three words of 24 bytes by lane position mod 3
// gathers each channel, with lanes in the order 0 3 6 1 4 7 2 5 once the
// second and third are rotated by one and two lanes; the arithmetic is the
// same in every lane, and ownStoreRgb8 undoes the order.
struct OwnRgb8 {
    __m128i c[3];
};

inline __m128i ownLaneMask(int phase)
{
    const short on = -1;
    switch (phase) {
    case 0: return _mm_setr_epi16(on, 0, 0, on, 0, 0, on, 0);
    case 1: return _mm_setr_epi16(0, on, 0, 0, on, 0, 0, on);
    default: return _mm_setr_epi16(0, 0, on, 0, 0, on, 0, 0);
    }
}

// Lane i takes lane i + n (left) or lane i - n (right), around the end.
template <int N>
inline __m128i ownRotateLanesLeft(__m128i v)
{
    return _mm_or_si128(_mm_srli_si128(v, 2 * N), _mm_slli_si128(v, 16 - 2 * N));
}

template <int N>
inline __m128i ownRotateLanesRight(__m128i v)
{
    return _mm_or_si128(_mm_slli_si128(v, 2 * N), _mm_srli_si128(v, 16 - 2 * N));
}

inline OwnRgb8 ownLoadRgb8(const Own8u* p)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i a = ownLoad(p);
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16));
    const __m128i w[3] = {_mm_unpacklo_epi8(a, zero), _mm_unpackhi_epi8(a, zero), _mm_unpacklo_epi8(b, zero)};
    const __m128i m[3] = {ownLaneMask(0), ownLaneMask(1), ownLaneMask(2)};
    auto gather = [&](int k) {
        return _mm_or_si128(_mm_or_si128(_mm_and_si128(w[0], m[k % 3]), _mm_and_si128(w[1], m[(k + 1) % 3])),
                            _mm_and_si128(w[2], m[(k + 2) % 3]));
    };
    return OwnRgb8{{gather(0), ownRotateLanesLeft<1>(gather(1)), ownRotateLanesLeft<2>(gather(2))}};
}

inline void ownStoreRgb8(Own8u* p, const OwnRgb8& v)
{
    const __m128i c[3] = {v.c[0], ownRotateLanesRight<1>(v.c[1]), ownRotateLanesRight<2>(v.c[2])};
    const __m128i m[3] = {ownLaneMask(0), ownLaneMask(1), ownLaneMask(2)};
    __m128i w[3];
    for (int k = 0; k < 3; ++k)
        w[k] = _mm_or_si128(_mm_or_si128(_mm_and_si128(c[0], m[k]), _mm_and_si128(c[1], m[(k + 1) % 3])),
                            _mm_and_si128(c[2], m[(k + 2) % 3]));
    ownStore(p, _mm_packus_epi16(w[0], w[1]));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 16), _mm_packus_epi16(w[2], w[2]));
}

// a * ka + b * kb in 32 bits, then shifted right by 14, for 16-bit lanes.
inline __m128i ownMulAdd14(__m128i a, __m128i b, __m128i k)
{
    const __m128i lo = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), k), 14);
    const __m128i hi = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), k), 14);
    return _mm_packs_epi32(lo, hi);
}
#endif

// ---------------------------------------------------------------------------
// YCrCb: the second channel is the blue difference, the third the red one.

struct OwnRgbToYCrCb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            const float r = in[0], g = in[1], b = in[2];
            out[0] = 0.299f * r + 0.587f * g + 0.114f * b;
            out[1] = -0.1687359f * r - 0.331264f * g + 0.5f * b + 0.5f;
            out[2] = 0.5f * r - 0.41868759f * g - 0.08131241f * b + 0.5f;
        } else if constexpr (kOwnIs<T, Own32s>) {
            const double r = in[0], g = in[1], b = in[2];
            out[0] = ownTruncSat<T>(0.299 * r + 0.587 * g + 0.114 * b);
            out[1] = ownTruncSat<T>(-0.1687359 * r - 0.331264 * g + 0.5 * b);
            out[2] = ownTruncSat<T>(0.5 * r - 0.41868759 * g - 0.08131241 * b);
        } else if constexpr (kOwnIs<T, Own16u>) {
            const int64_t r = in[0], g = in[1], b = in[2];
            out[0] = static_cast<T>((4899 * r + 9617 * g + 1868 * b + 8192) >> 14);
            out[1] = static_cast<T>((-2765 * r - 5427 * g + 8192 * b + 536870912) >> 14);
            out[2] = static_cast<T>((8192 * r - 6860 * g - 1332 * b + 536870912) >> 14);
        } else {
            // Integer forms can't leave the range; the differences build on
            // the truncated Y.
            const int32_t r = in[0], g = in[1], b = in[2];
            const int32_t y = (4898 * r + 9617 * g + 1867 * b + 8192) >> 14;
            out[0] = static_cast<T>(y);
            out[1] = static_cast<T>(((b - y) * 9246 + 2097152) >> 14);
            out[2] = static_cast<T>(((r - y) * 11686 + 2097152) >> 14);
        }
    }

#if OWN_HAVE_SSE2
    // Eight packed 8U pixels a step; swapped when the source holds B first.
    // The constants 8192 and 2097152 enter as 1 * 8192 and 128 * 16384.
    std::size_t run(const Own8u* src, Own8u* dst, int n, bool swapped) const
    {
        const __m128i kRg = _mm_setr_epi16(4898, 9617, 4898, 9617, 4898, 9617, 4898, 9617);
        const __m128i kB = _mm_setr_epi16(1867, 8192, 1867, 8192, 1867, 8192, 1867, 8192);
        const __m128i kCb = _mm_setr_epi16(9246, 16384, 9246, 16384, 9246, 16384, 9246, 16384);
        const __m128i kCr = _mm_setr_epi16(11686, 16384, 11686, 16384, 11686, 16384, 11686, 16384);
        const __m128i one = _mm_set1_epi16(1);
        const __m128i half = _mm_set1_epi16(128);
        int i = 0;
        for (; i + 8 <= n; i += 8) {
            const OwnRgb8 in = ownLoadRgb8(src + 3 * i);
            const __m128i r = in.c[swapped ? 2 : 0];
            const __m128i g = in.c[1];
            const __m128i b = in.c[swapped ? 0 : 2];
            // Y: the (R, G) pairs and the (B, 1) pairs, each through madd.
            const __m128i rg = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(r, g), kRg),
                                             _mm_madd_epi16(_mm_unpacklo_epi16(b, one), kB));
            const __m128i rgHi = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(r, g), kRg),
                                               _mm_madd_epi16(_mm_unpackhi_epi16(b, one), kB));
            const __m128i y = _mm_packs_epi32(_mm_srai_epi32(rg, 14), _mm_srai_epi32(rgHi, 14));
            const OwnRgb8 out{{y, ownMulAdd14(_mm_sub_epi16(b, y), half, kCb),
                               ownMulAdd14(_mm_sub_epi16(r, y), half, kCr)}};
            ownStoreRgb8(dst + 3 * i, out);
        }
        return static_cast<std::size_t>(i);
    }
#endif
};

struct OwnYCrCbToRgb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            const float y = in[0], cb = in[1], cr = in[2];
            out[0] = std::max(y + 1.402f * cr - 0.701f, 0.0f);
            out[1] = std::max(y - 0.3441363f * cb - 0.7141363f * cr + 0.5291363f, 0.0f);
            out[2] = std::max(y + 1.772f * cb - 0.886f, 0.0f);
        } else if constexpr (kOwnIs<T, Own32s>) {
            const double y = in[0], cb = in[1], cr = in[2];
            out[0] = ownTruncSat<T>(y + 1.4019999991573 * cr);
            out[1] = ownTruncSat<T>(y - 0.34413629776123 * cb - 0.71413631643017 * cr);
            out[2] = ownTruncSat<T>(y + 1.7720000660742 * cb);
        } else {
            constexpr bool wide = kOwnIs<T, Own16u>;
            const int64_t y = in[0], cb = in[1], cr = in[2];
            out[0] = ownClampSample<T>(y + ((22970 * cr - (wide ? 752669475 : 2928675)) >> 14));
            out[1] = ownClampSample<T>(y - ((5638 * cb + 11700 * cr - (wide ? 568122915 : 2210595)) >> 14));
            out[2] = ownClampSample<T>(y + ((29032 * cb - (wide ? 951306060 : 3701580)) >> 14));
        }
    }
};

// ---------------------------------------------------------------------------
// YCC (8U, one way): indices into a gamma table.

// Entry i of the gamma table: 0.72197 i rounded to nearest, at most 255.
constexpr Own8u ownYccGamma(int64_t index)
{
    const int64_t i = ownClamp(index, 0, 360);
    return static_cast<Own8u>(std::min<int64_t>((72197 * i + 50000) / 100000, 255));
}

struct OwnYccToRgb {
    void operator()(const Own8u (&in)[3], Own8u (&out)[3]) const
    {
        const int64_t y = in[0], c1 = in[1], c2 = in[2];
        out[0] = ownYccGamma((22256 * y + 29844 * c2 - 4088627) >> 14);
        out[1] = ownYccGamma((22256 * y - 7050 * c1 - 15190 * c2 + 3180809) >> 14);
        out[2] = ownYccGamma((22256 * y + 36338 * c1 - 5668739) >> 14);
    }
};

// ---------------------------------------------------------------------------
// XYZ

// The 32F rows of both directions, in single precision.
inline void ownRgbToXyzFloat(float r, float g, float b, float (&out)[3])
{
    out[0] = 0.412453f * r + 0.35758f * g + 0.180423f * b;
    out[1] = 0.212671f * r + 0.71516f * g + 0.072169f * b;
    out[2] = 0.019334f * r + 0.119193f * g + 0.950227f * b;
}

inline void ownXyzToRgbFloat(float x, float y, float z, float (&out)[3])
{
    out[0] = 3.240479f * x - 1.53715f * y - 0.498535f * z;
    out[1] = -0.969256f * x + 1.875992f * y + 0.041556f * z;
    out[2] = 0.055648f * x - 0.204043f * y + 1.057311f * z;
}

struct OwnRgbToXyz {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            ownRgbToXyzFloat(in[0], in[1], in[2], out);
        } else if constexpr (kOwnIs<T, Own32s>) {
            // The matrix acts on unsigned samples: the offsets are the row
            // sums times 2^31, less 2^31.
            const double r = in[0], g = in[1], b = in[2];
            out[0] = ownTruncSat<T>(0.412453 * r + 0.35758 * g + 0.180423 * b + 2041088718.143488 - 2147483648.0);
            out[1] = ownTruncSat<T>(0.212671 * r + 0.71516 * g + 0.072169 * b);
            out[2] = ownTruncSat<T>(0.019334 * r + 0.119193 * g + 0.950227 * b + 2338081411.694592 - 2147483648.0);
        } else {
            const int64_t r = in[0], g = in[1], b = in[2];
            out[0] = static_cast<T>((6758 * r + 5859 * g + 2956 * b + 8192) >> 14);
            out[1] = static_cast<T>((3484 * r + 11717 * g + 1182 * b + 8192) >> 14);
            out[2] = ownClampSample<T>((317 * r + 1953 * g + 15569 * b + 8192) >> 14);
        }
    }
};

struct OwnXyzToRgb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        if constexpr (kOwnIs<T, Own32f>) {
            ownXyzToRgbFloat(in[0], in[1], in[2], out);
        } else if constexpr (kOwnIs<T, Own32s>) {
            const double x = in[0], y = in[1], z = in[2];
            out[0] = ownTruncSat<T>(3.2404813432005 * x - 1.5371515162713 * y - 0.49853632616889 * z +
                                    2587274342.0994415 - 2147483648.0);
            out[1] = ownTruncSat<T>(-0.96925494999657 * x + 1.8759900014899 * y + 0.041555926558293 * z +
                                    2036439368.9117873 - 2147483648.0);
            out[2] = ownTruncSat<T>(0.055646639135177 * x - 0.20404133836651 * y + 1.0573110696453 * z +
                                    1951883042.8635051 - 2147483648.0);
        } else {
            // 16U keeps the top 8 bits of each sample.
            constexpr int drop = kOwnIs<T, Own16u> ? 8 : 0;
            constexpr int shift = 14 - drop;
            const int64_t x = in[0] >> drop, y = in[1] >> drop, z = in[2] >> drop;
            out[0] = ownClampSample<T>((53092 * x - 25185 * y - 8168 * z + 8192) >> shift);
            out[1] = ownClampSample<T>((-15880 * x + 30736 * y + 681 * z + 8192) >> shift);
            out[2] = ownClampSample<T>((912 * x - 3343 * y + 17323 * z + 8192) >> shift);
        }
    }
};

// ---------------------------------------------------------------------------
// LUV (32F)

struct OwnRgbToLuv {
    void operator()(const float (&in)[3], float (&out)[3]) const
    {
        float xyz[3];
        ownRgbToXyzFloat(in[0], in[1], in[2], xyz);
        const long double x = xyz[0], y = xyz[1], z = xyz[2];
        if (!(xyz[1] > 0.01)) {
            out[0] = out[1] = out[2] = 0.0f;
            return;
        }
        // Extended precision; each result is rounded when stored.
        const long double l = 116.0L * std::pow(y, 0.3333333432674408L) - 16.0L;
        const long double d = 1.0L / (x + 15.0L * y + 3.0L * z);
        out[0] = static_cast<float>(l);
        out[1] = static_cast<float>((4.0L * d * x - 0.1978394091129303L) * 13.0L * l);
        out[2] = static_cast<float>((9.0L * d * y - 0.47076964378356934L) * 13.0L * l);
    }
};

struct OwnLuvToRgb {
    void operator()(const float (&in)[3], float (&out)[3]) const
    {
        const double l = in[0], u = in[1], v = in[2];
        if (!(l > 8.7)) {
            out[0] = out[1] = out[2] = 0.0f;
            return;
        }
        const double w = 1.0 / (13.0 * l);
        const double y = std::pow((l + 16.0) * 0.008620689655172414, 3.0);
        const double t = y / (v * w + 0.46834220078579);
        const double x = 2.25 * t * (u * w + 0.19783940212891);
        const double z = 3.0 * t - 5.0 * y - x / 3.0;
        ownXyzToRgbFloat(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z), out);
    }
};

// ---------------------------------------------------------------------------
// HSV and HLS, in doubles at every depth. A 32S sample counts as the
// unsigned value x + 2^31, and M is the full scale of the depth.

template <class T>
struct OwnHueScale;

template <>
struct OwnHueScale<Own8u> {
    static constexpr double full = 255.0;
    static constexpr double toDegrees = 1.4117647058823528;
    static constexpr double fromDegrees = 0.7083333333333334;
    static constexpr double inverse = 0.00392156862745098;
};

template <>
struct OwnHueScale<Own16u> {
    static constexpr double full = 65535.0;
    static constexpr double toDegrees = 0.005493247882810711;
    static constexpr double fromDegrees = 182.04166666666669;
    static constexpr double inverse = 1.5259021896696422e-05;
};

template <>
struct OwnHueScale<Own32s> {
    static constexpr double full = 4294967295.0;
    static constexpr double toDegrees = 8.38190317349087e-08;
    static constexpr double fromDegrees = 11930464.708333334;
    static constexpr double inverse = 2.3283064370807974e-10;
};

constexpr double kOwnHalfRange = 2147483648.0;

template <class T>
inline double ownUnsigned(T x)
{
    return kOwnIs<T, Own32s> ? x + kOwnHalfRange : x;
}

// The hue in degrees, 0 to below 360, of a colour whose largest sample is
// mx and whose spread d isn't 0.
inline double ownHue(double r, double g, double b, double mx, double d)
{
    double h;
    if (r == mx)
        h = 60.0 * (g - b) / d;
    else if (g == mx)
        h = 60.0 * (b - r) / d + 120.0;
    else
        h = 60.0 * (r - g) / d + 240.0;
    return h < 0.0 ? h + 360.0 : h;
}

// The degrees of a hue sample; 360 and beyond count as 0.
template <class T>
inline double ownDegrees(T hue)
{
    const double h = ownUnsigned(hue) * OwnHueScale<T>::toDegrees;
    return h >= 360.0 ? 0.0 : h;
}

struct OwnRgbToHsv {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        using Scale = OwnHueScale<T>;
        const double r = ownUnsigned(in[0]), g = ownUnsigned(in[1]), b = ownUnsigned(in[2]);
        const double mx = std::max({r, g, b});
        const double d = mx - std::min({r, g, b});
        const double s = mx != 0.0 ? d / mx : 0.0;
        const double h = s != 0.0 ? ownHue(r, g, b, mx, d) : 0.0;
        if constexpr (kOwnIs<T, Own32s>) {
            // The last 0.5 moves positive results down by one.
            out[0] = ownTruncSat<T>(h * Scale::fromDegrees - kOwnHalfRange - 0.5);
            out[1] = ownTruncSat<T>(s * Scale::full - kOwnHalfRange - 0.5);
            out[2] = ownTruncSat<T>(mx - kOwnHalfRange - 0.5);
        } else {
            out[0] = ownTruncSat<T>(h * Scale::fromDegrees);
            out[1] = ownTruncSat<T>(s * Scale::full);
            out[2] = ownTruncSat<T>(mx);
        }
    }
};

// A computed HSV or HLS channel value back to a sample.
template <class T>
inline T ownHueSample(double value, double lower)
{
    return ownTruncSat<T>(kOwnIs<T, Own32s> ? value - kOwnHalfRange - lower : value);
}

struct OwnHsvToRgb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        using Scale = OwnHueScale<T>;
        if (ownUnsigned(in[1]) == 0.0) {
            out[0] = out[1] = out[2] = in[2];
            return;
        }
        const double h = ownDegrees(in[0]) / 60.0;
        const double s = ownUnsigned(in[1]) * Scale::inverse;
        const double v = ownUnsigned(in[2]);
        const int i = static_cast<int>(h);
        const double f = h - i;
        const T p = ownHueSample<T>((1.0 - s) * v, 0.5);
        const T q = ownHueSample<T>((1.0 - f * s) * v, 0.5);
        const T t = ownHueSample<T>((1.0 - (1.0 - f) * s) * v, 0.5);
        const T vs = in[2];
        const T table[6][3] = {{vs, t, p}, {q, vs, p}, {p, vs, t}, {p, q, vs}, {t, p, vs}, {vs, p, q}};
        for (int c = 0; c < 3; ++c)
            out[c] = table[i][c];
    }
};

struct OwnRgbToHls {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        using Scale = OwnHueScale<T>;
        const double r = ownUnsigned(in[0]), g = ownUnsigned(in[1]), b = ownUnsigned(in[2]);
        const double mx = std::max({r, g, b});
        const double mn = std::min({r, g, b});
        const double d = mx - mn;
        const double sum = mx + mn;
        const double l = 0.5 * sum;
        double h = 0.0;
        double s = 0.0;
        if (d != 0.0) {
            s = l > Scale::full / 2 ? d / (2.0 * Scale::full - sum) : d / sum;
            h = ownHue(r, g, b, mx, d);
        }
        out[0] = ownHueSample<T>(h * Scale::fromDegrees, 0.0);
        out[1] = ownHueSample<T>(l, 0.0);
        out[2] = ownHueSample<T>(s * Scale::full, 0.0);
    }
};

// One channel of HLS to RGB at hue x (degrees).
inline double ownHlsChannel(double m1, double m2, double x)
{
    if (x < 60.0)
        return m1 + (m2 - m1) * x / 60.0;
    if (x < 180.0)
        return m2;
    if (x < 240.0)
        return m1 + (m2 - m1) * (240.0 - x) / 60.0;
    return m1;
}

struct OwnHlsToRgb {
    template <class T>
    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        using Scale = OwnHueScale<T>;
        const double h = ownDegrees(in[0]);
        const double l = ownUnsigned(in[1]) * Scale::inverse;
        const double s = ownUnsigned(in[2]) * Scale::inverse;
        if (s == 0.0) {
            out[0] = out[1] = out[2] = in[1];
            return;
        }
        const double m2 = l <= 0.5 ? l * (1.0 + s) : l + s - l * s;
        const double m1 = 2.0 * l - m2;
        const double red = h + 120.0 > 360.0 ? h + 120.0 - 360.0 : h + 120.0;
        const double blue = h - 120.0 < 0.0 ? h - 120.0 + 360.0 : h - 120.0;
        const double hues[3] = {red, h, blue};
        for (int c = 0; c < 3; ++c)
            out[c] = ownHueSample<T>(ownHlsChannel(m1, m2, hues[c]) * Scale::full, 0.0);
    }
};
