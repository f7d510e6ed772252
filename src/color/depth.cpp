// Depth conversion: zanConvert keeps values and saturates them, zanScale
// maps whole integer ranges onto each other, zanScaleFP maps between an
// integer range and a float interval, zanBitonalToGray turns bits into two
// values.
#include "own_color.h"

#include "../arith/own_saturate.h"
#include "../arith/own_simd.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <type_traits>

namespace {

template <class A, class B>
constexpr bool kIs = std::is_same_v<A, B>;

// Calls f(OwnType<T>{}) for the integer sample types above one bit.
template <class F>
bool withIntegerType(uint32_t depth, F&& f)
{
    return depth != ZAN_DEPTH_32F && ownWithSampleType(depth, [&](auto type) {
               if constexpr (!kIs<typename decltype(type)::type, Own32f>)
                   f(type);
           });
}

// Channels that a piece maps: the first of each image and how many.
struct ChannelMap {
    int srcFirst;
    int dstFirst;
    int count;
};

// A contiguous run: the functor's vector kernel, if it has one, takes what
// it can and the functor finishes.
template <class S, class D, class Fn>
void mapRun(D* d, const S* s, int n, const Fn& fn)
{
    int i = 0;
    if constexpr (requires { fn.run(d, s, n); })
        i = static_cast<int>(fn.run(d, s, n));
    for (; i < n; ++i)
        d[i] = fn(s[i]);
}

// Applies fn to every mapped sample of a piece. Runs whose samples lie next
// to each other go through mapRun.
template <class S, class D, class Fn>
void mapSamples(const OwnView& src, const OwnView& dst, const ChannelMap& map, int width, int height,
                const Fn& fn)
{
    auto dense = [&](const OwnView& v, std::size_t size, int count) {
        return v.pixelStep == static_cast<std::ptrdiff_t>(size) * count;
    };
    int planes = map.count;
    int run = width;
    if (map.srcFirst == 0 && map.dstFirst == 0 && dense(src, sizeof(S), map.count) &&
        dense(dst, sizeof(D), map.count)) {
        planes = 1;
        run = width * map.count;
    }
    const bool contiguous = dense(src, sizeof(S), planes == 1 ? map.count : 1) &&
                            dense(dst, sizeof(D), planes == 1 ? map.count : 1);
    for (int y = 0; y < height; ++y) {
        for (int c = 0; c < planes; ++c) {
            const S* s = ownRowAt<const S>(src, y, map.srcFirst + c);
            D* d = ownRowAt<D>(dst, y, map.dstFirst + c);
            if (contiguous) {
                mapRun(d, s, run, fn);
            } else {
                for (int x = 0; x < width; ++x)
                    *ownPixelAt(d, dst, x) = fn(*ownPixelAt(s, src, x));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// zanConvert and zanBitonalToGray

// A value saturated into the destination's range, with no scaling.
template <class S, class D>
struct Saturate {
    D operator()(S x) const { return ownSaturate<D>(x); }
};

// A sample becomes a set bit when it is above 0 (signed) or not 0.
template <class S>
void samplesToBits(const OwnView& src, int channel, const OwnView& dst, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const S* s = ownRowAt<const S>(src, y, channel);
        auto* d = reinterpret_cast<uint8_t*>(ownRowAt<char>(dst, y, 0));
        for (int x = 0; x < width; ++x) {
            const S v = *ownPixelAt(s, src, x);
            ownSetBit(d, dst.bitOffset + x, std::is_signed_v<S> ? v > 0 : v != 0);
        }
    }
}

// Pieces of 1-bit images start at whole bytes: tiles are multiples of 8 wide.
void copyBits(const OwnView& src, const OwnView& dst, int width, int height)
{
    const std::size_t bytes = (static_cast<std::size_t>(width) + 7) / 8;
    for (int y = 0; y < height; ++y)
        std::memcpy(ownRowAt<char>(dst, y, 0), ownRowAt<const char>(src, y, 0), bytes);
}

template <class D>
void bitsToSamples(const OwnView& src, const OwnView& dst, int channels, D zero, D one, int width,
                   int height)
{
    for (int y = 0; y < height; ++y) {
        const auto* s = reinterpret_cast<const uint8_t*>(ownRowAt<const char>(src, y, 0));
        for (int c = 0; c < channels; ++c) {
            D* d = ownRowAt<D>(dst, y, c);
            for (int x = 0; x < width; ++x)
                *ownPixelAt(d, dst, x) = ownGetBit(s, src.bitOffset + x) ? one : zero;
        }
    }
}

OwnPairArea wholeArea(const ZanImage* src, const ZanImage* dst)
{
    return OwnPairArea{0, 0, 0, 0, dst->width, dst->height, src->origin != dst->origin};
}

void convertToBits(OwnSite site, const ZanImage* src, ZanImage* dst)
{
    const int channel = src->nChannels > 1 ? src->roi->coi - 1 : 0;
    withIntegerType(src->depth, [&](auto type) {
        using S = typename decltype(type)::type;
        ownPairWalk(site, src, dst, wholeArea(src, dst), true,
                    [&](const OwnView& s, const OwnView& d, int, int, int w, int h) {
                        samplesToBits<S>(s, channel, d, w, h);
                    });
    });
}

void convertSamples(OwnSite site, const ZanImage* src, ZanImage* dst)
{
    const ChannelMap map{0, 0, src->nChannels};
    withIntegerType(src->depth, [&](auto sourceType) {
        withIntegerType(dst->depth, [&](auto targetType) {
            using S = typename decltype(sourceType)::type;
            using D = typename decltype(targetType)::type;
            ownPairWalk(site, src, dst, wholeArea(src, dst), true,
                        [&](const OwnView& s, const OwnView& d, int, int, int w, int h) {
                            mapSamples<S, D>(s, d, map, w, h, Saturate<S, D>{});
                        });
        });
    });
}

// The range tests of zanBitonalToGray for one destination depth, in the
// order upper then lower bound, ZeroScale before OneScale.
bool scalesRefused(OwnSite site, uint32_t depth, int zeroScale, int oneScale)
{
    struct Range {
        uint32_t depth;
        int low;
        int high;
        const char* texts[4];
    };
    static const Range kRanges[] = {
        {ZAN_DEPTH_8S, -128, 127,
         {"((dstImage->depth == (0x80000000| 8)) && (ZeroScale > 127))",
          "((dstImage->depth == (0x80000000| 8)) && (ZeroScale < -128))",
          "((dstImage->depth == (0x80000000| 8)) && (OneScale > 127))",
          "((dstImage->depth == (0x80000000| 8)) && (OneScale < -128))"}},
        {ZAN_DEPTH_8U, 0, 255,
         {"((dstImage->depth == 8) && (ZeroScale > 255))", "((dstImage->depth == 8) && (ZeroScale < 0))",
          "((dstImage->depth == 8) && (OneScale > 255))", "((dstImage->depth == 8) && (OneScale < 0))"}},
        {ZAN_DEPTH_16S, -32768, 32767,
         {"((dstImage->depth == (0x80000000|16)) && (ZeroScale > 32767))",
          "((dstImage->depth == (0x80000000|16)) && (ZeroScale < -32768))",
          "((dstImage->depth == (0x80000000|16)) && (OneScale > 32767))",
          "((dstImage->depth == (0x80000000|16)) && (OneScale < -32768))"}},
        {ZAN_DEPTH_16U, 0, 65535,
         {"((dstImage->depth == 16) && (ZeroScale > 65535))", "((dstImage->depth == 16) && (ZeroScale < 0))",
          "((dstImage->depth == 16) && (OneScale > 65535))", "((dstImage->depth == 16) && (OneScale < 0))"}},
    };
    for (const Range& range : kRanges) {
        if (range.depth != depth)
            continue;
        const OwnTest tests[] = {
            {zeroScale > range.high, range.texts[0]},
            {zeroScale < range.low, range.texts[1]},
            {oneScale > range.high, range.texts[2]},
            {oneScale < range.low, range.texts[3]},
        };
        return ownRefused(site, tests);
    }
    return false;
}

// ---------------------------------------------------------------------------
// zanScale and zanScaleFP

// The channels an image takes part with: its COI alone, its colour
// channels, or all of them.
struct Channels {
    int first;
    int count;
};

Channels channelsOf(const ZanImage* image)
{
    if (image->roi && image->roi->coi > 0)
        return Channels{image->roi->coi - 1, 1};
    return Channels{0, image->nChannels - (image->alphaChannel > 0 ? 1 : 0)};
}

// After the header checks of zanScale and zanScaleFP: their tests, the case
// of nothing to do and the channel counts. Gives the result to return, or
// nothing when the rows run over area with map.
template <std::size_t N>
std::optional<ZanStatus> planScale(OwnSite site, const ZanImage* src, const ZanImage* dst,
                                   const OwnTest (&tests)[N], OwnPairArea* area, ChannelMap* map)
{
    if (ownRefused(site, tests))
        return ZAN_STATUS_BAD_ARGUMENT;
    *area = ownRegionArea(src, dst);
    const Channels from = channelsOf(src);
    const Channels to = channelsOf(dst);
    if (area->width < 1 || area->height < 1 || from.count == 0 || to.count == 0)
        return ZAN_STATUS_OK;
    if (from.count != to.count) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(srcChannels != dstChannels)");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    *map = ChannelMap{from.first, to.first, from.count};
    return std::nullopt;
}

const char* const kScaleOrderText = "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))";
const char* const kScaleOriginText = "(srcImage->origin != dstImage->origin)";

bool layoutsDiffer(const ZanImage* src, const ZanImage* dst)
{
    return src->dataOrder != dst->dataOrder && src->nChannels != 1 && dst->nChannels != 1;
}

// One integer range mapped onto another. Results are taken in the width of
// the destination; each end of the source's range meets the same end of the
// destination's.
template <class S, class D>
struct RangeScale {
    D operator()(S x) const
    {
        const int64_t v = x;
        if constexpr (kIs<S, Own8s>) {
            if constexpr (kIs<D, Own8u>) return ownWrap<D>(v + 128);
            if constexpr (kIs<D, Own16s>) return ownWrap<D>(257 * v + 128);
            if constexpr (kIs<D, Own16u>) return ownWrap<D>(257 * v + 128 + 32768);
            if constexpr (kIs<D, Own32s>) return v == -128 ? INT32_MIN : ownWrap<D>(16843009 * v + 8421504);
        } else if constexpr (kIs<S, Own8u>) {
            if constexpr (kIs<D, Own8s>) return ownWrap<D>(v - 128);
            if constexpr (kIs<D, Own16s>) return ownWrap<D>(257 * v - 32768);
            if constexpr (kIs<D, Own16u>) return ownWrap<D>(257 * v);
            if constexpr (kIs<D, Own32s>) return v == 0 ? INT32_MIN : ownWrap<D>(16843009 * (v - 128) + 8421504);
        } else if constexpr (kIs<S, Own16s> || kIs<S, Own16u>) {
            const int64_t y = kIs<S, Own16u> ? v - 32768 : v; // the signed form
            if constexpr (kIs<D, Own8s>) return ownWrap<D>((y - (y >> 8)) >> 8);
            if constexpr (kIs<D, Own8u>) return ownWrap<D>(((y - (y >> 8)) >> 8) + 128);
            if constexpr (kIs<S, Own16s> && kIs<D, Own16u>) return ownWrap<D>(v + 32768);
            if constexpr (kIs<S, Own16u> && kIs<D, Own16s>) return ownWrap<D>(v - 32768);
            if constexpr (kIs<S, Own16s> && kIs<D, Own32s>) return v == -32768 ? INT32_MIN : ownWrap<D>(65537 * v + 32768);
            if constexpr (kIs<S, Own16u> && kIs<D, Own32s>) return v == 0 ? INT32_MIN : ownWrap<D>(65537 * v - 2147483648LL);
        } else {
            if constexpr (kIs<D, Own8s>) return ownWrap<D>((v - (v >> 8)) >> 24);
            if constexpr (kIs<D, Own8u>) return ownWrap<D>(((v - (v >> 8)) >> 24) + 128);
            if constexpr (kIs<D, Own16s>) return ownWrap<D>((v - (v >> 16)) >> 16);
            if constexpr (kIs<D, Own16u>) return ownWrap<D>(((v - (v >> 16)) >> 16) + 32768);
        }
        return D{};
    }
};

// The floor of v + 0.5 with ties to even, under round-to-nearest, for
// |v| below 2^51: adding and taking away 1.5 * 2^52 leaves the nearest
// integer.
inline double roundHalfEven(double v)
{
    constexpr double shifter = 6755399441055744.0;
    return (v + shifter) - shifter;
}

// Float samples to an integer range: below minVal and above maxVal go to
// the ends, the rest to x * scale + offset rounded half to even.
template <class D>
struct FloatToRange {
    float minVal;
    float maxVal;
    double scale;
    double offset;

    D operator()(float x) const
    {
        if (x < minVal)
            return std::numeric_limits<D>::min();
        if (x > maxVal)
            return std::numeric_limits<D>::max();
        return ownTruncSat<D>(roundHalfEven(x * scale + offset));
    }

#if OWN_HAVE_SSE2
    // 16 samples a step to 8U: the conversion of doubles to integers rounds
    // by the processor's mode, which is to-nearest here, and the packs
    // saturate as ownTruncSat does.
    std::size_t run(Own8u* d, const float* s, int n) const
        requires std::is_same_v<D, Own8u>
    {
        const __m128 low = _mm_set1_ps(minVal);
        const __m128 high = _mm_set1_ps(maxVal);
        const __m128d k = _mm_set1_pd(scale);
        const __m128d b = _mm_set1_pd(offset);
        const __m128i ones = _mm_set1_epi32(255);
        auto four = [&](const float* p) {
            const __m128 x = _mm_loadu_ps(p);
            const __m128i lo = _mm_cvtpd_epi32(_mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(x), k), b));
            const __m128i hi = _mm_cvtpd_epi32(
                _mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(x, x)), k), b));
            __m128i v = _mm_unpacklo_epi64(lo, hi);
            v = _mm_andnot_si128(_mm_castps_si128(_mm_cmplt_ps(x, low)), v);
            const __m128i above = _mm_castps_si128(_mm_cmpgt_ps(x, high));
            return _mm_or_si128(_mm_andnot_si128(above, v), _mm_and_si128(above, ones));
        };
        int i = 0;
        for (; i + 16 <= n; i += 16) {
            const __m128i a = _mm_packs_epi32(four(s + i), four(s + i + 4));
            const __m128i c = _mm_packs_epi32(four(s + i + 8), four(s + i + 12));
            ownStore(d + i, _mm_packus_epi16(a, c));
        }
        return static_cast<std::size_t>(i);
    }
#endif
};

template <class D>
FloatToRange<D> floatToRange(float minVal, float maxVal)
{
    const double d = static_cast<float>(maxVal - minVal);
    const double low = std::numeric_limits<D>::min();
    const double scale = (std::numeric_limits<D>::max() - low) / d; // 255, 65535 or 4294967295 over d
    return FloatToRange<D>{minVal, maxVal, scale, low - minVal * scale};
}

// An integer range to the float interval: (float)x * scale + offset in
// single precision.
template <class S>
struct RangeToFloat {
    float scale;
    float offset;
    float operator()(S x) const { return static_cast<float>(x) * scale + offset; }
};

template <class S>
RangeToFloat<S> rangeToFloat(float minVal, float maxVal)
{
    const double d = static_cast<float>(maxVal - minVal);
    const double k = sizeof(S) == 1   ? 0.00392156862745098
                     : sizeof(S) == 2 ? 1.5259021896696422e-05
                                      : 2.3283064370807974e-10;
    const double scale = k * d;
    const double half = -static_cast<double>(std::numeric_limits<S>::min());
    const double offset = std::is_signed_v<S> ? minVal + half * scale : minVal;
    return RangeToFloat<S>{static_cast<float>(scale), static_cast<float>(offset)};
}

// The two 8-bit cases that read a table of the 256 fractions.
struct ByteTable {
    float values[256];
    float operator()(Own8u x) const { return values[x]; }
    float operator()(Own8s x) const { return values[static_cast<uint8_t>(x)]; }
};

bool fillByteTable(uint32_t depth, float minVal, float maxVal, ByteTable* table)
{
    if (depth == ZAN_DEPTH_8U && minVal == 0.0f && maxVal == 1.0f) {
        for (int i = 0; i < 256; ++i)
            table->values[i] = static_cast<float>(i / 255.0);
        return true;
    }
    if (depth == ZAN_DEPTH_8S && minVal == -1.0f && maxVal == 1.0f) {
        for (int i = -128; i < 128; ++i)
            table->values[static_cast<uint8_t>(i)] = static_cast<float>((2 * i + 1) / 255.0);
        return true;
    }
    return false;
}

// Walks a scaling over the area with a per-sample functor, rounding to
// nearest within each piece; -4 when a tile failed.
template <class S, class D, class Fn>
ZanStatus walkScaling(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnPairArea& area,
                      const ChannelMap& map, const Fn& fn)
{
    const bool walked = ownPairWalk(site, src, dst, area, true,
                                    [&](const OwnView& s, const OwnView& d, int, int, int w, int h) {
                                        const OwnRoundNearest nearest;
                                        mapSamples<S, D>(s, d, map, w, h, fn);
                                    });
    return walked ? ZAN_STATUS_OK : ZAN_STATUS_NO_MEMORY;
}

ZanStatus scaleFromFloat(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnPairArea& area,
                         const ChannelMap& map, float minVal, float maxVal)
{
    ZanStatus status = ZAN_STATUS_OK;
    withIntegerType(dst->depth, [&](auto type) {
        using D = typename decltype(type)::type;
        FloatToRange<D> fn;
        {
            const OwnRoundNearest nearest;
            fn = floatToRange<D>(minVal, maxVal);
        }
        status = walkScaling<Own32f, D>(site, src, dst, area, map, fn);
    });
    return status;
}

ZanStatus scaleToFloat(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnPairArea& area,
                       const ChannelMap& map, float minVal, float maxVal)
{
    ZanStatus status = ZAN_STATUS_OK;
    withIntegerType(src->depth, [&](auto type) {
        using S = typename decltype(type)::type;
        if constexpr (sizeof(S) == 1) {
            ByteTable table;
            if (fillByteTable(src->depth, minVal, maxVal, &table)) {
                status = walkScaling<S, Own32f>(site, src, dst, area, map, table);
                return;
            }
        }
        RangeToFloat<S> fn;
        {
            const OwnRoundNearest nearest;
            fn = rangeToFloat<S>(minVal, maxVal);
        }
        status = walkScaling<S, Own32f>(site, src, dst, area, map, fn);
    });
    return status;
}

} // namespace

extern "C" {

ZAN_API void zanConvert(const ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanConvert", "zancvrt"};
    if (ownHeadersRefused(site, srcImage, dstImage) || srcImage == dstImage)
        return;
    const OwnTest sizeTests[] = {
        {srcImage->depth == ZAN_DEPTH_32F, "(srcImage->depth == 32)"},
        {dstImage->depth == ZAN_DEPTH_32F, "(dstImage->depth == 32)"},
        {srcImage->height != dstImage->height, "(srcImage->height != dstImage->height)"},
        {srcImage->width != dstImage->width, "(srcImage->width != dstImage->width)"},
    };
    if (ownRefused(site, sizeTests))
        return;
    if (dstImage->depth == ZAN_DEPTH_1U && srcImage->depth != ZAN_DEPTH_1U) {
        const bool several = srcImage->nChannels > 1;
        const OwnTest coiTests[] = {
            {several && !srcImage->roi, "(srcImage->roi == 0)"},
            {several && srcImage->roi && srcImage->roi->coi == 0, "(srcImage->roi->coi == 0)"},
        };
        if (!ownRefused(site, coiTests))
            convertToBits(site, srcImage, dstImage);
        return;
    }
    const OwnTest channelTests[] = {
        {srcImage->nChannels != dstImage->nChannels, "srcImage->nChannels != dstImage->nChannels"},
        {srcImage->depth == ZAN_DEPTH_1U && srcImage->depth != dstImage->depth,
         "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))"},
    };
    if (ownRefused(site, channelTests))
        return;
    if (srcImage->depth == ZAN_DEPTH_1U) {
        ownPairWalk(site, srcImage, dstImage, wholeArea(srcImage, dstImage), true,
                    [](const OwnView& s, const OwnView& d, int, int, int w, int h) { copyBits(s, d, w, h); });
        return;
    }
    convertSamples(site, srcImage, dstImage);
}

ZAN_API void zanBitonalToGray(const ZanImage* srcImage, ZanImage* dstImage, int ZeroScale, int OneScale)
{
    const OwnSite site{"zanBitonalToGray", "zanbitnl"};
    if (ownHeadersRefused(site, srcImage, dstImage))
        return;
    const OwnTest tests[] = {
        {srcImage->height != dstImage->height, "(srcImage->height != dstImage->height)"},
        {srcImage->width != dstImage->width, "(srcImage->width != dstImage->width)"},
        {srcImage->nChannels != 1, "(srcImage->nChannels != 1)"},
        {srcImage->depth != ZAN_DEPTH_1U, "(srcImage->depth != 1)"},
        {dstImage->depth == ZAN_DEPTH_32F, "(dstImage->depth == 32)"},
        {dstImage->depth == ZAN_DEPTH_1U, "(dstImage->depth == 1)"},
    };
    if (ownRefused(site, tests) || scalesRefused(site, dstImage->depth, ZeroScale, OneScale))
        return;
    const int channels = dstImage->nChannels - (dstImage->alphaChannel > 0 ? 1 : 0);
    withIntegerType(dstImage->depth, [&](auto type) {
        using D = typename decltype(type)::type;
        const D zero = static_cast<D>(ZeroScale);
        const D one = static_cast<D>(OneScale);
        ownPairWalk(site, srcImage, dstImage, wholeArea(srcImage, dstImage), true,
                    [&](const OwnView& s, const OwnView& d, int, int, int w, int h) {
                        bitsToSamples<D>(s, d, channels, zero, one, w, h);
                    });
    });
}

ZAN_API ZanStatus zanScale(const ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanScale", "zanscale"};
    if (ownHeadersRefused(site, srcImage, dstImage))
        return ZAN_STATUS_BAD_ARGUMENT;
    const OwnTest tests[] = {
        {srcImage->depth == dstImage->depth, "(srcImage->depth == dstImage->depth)"},
        {srcImage->depth == ZAN_DEPTH_1U, "(srcImage->depth == 1)"},
        {srcImage->depth == ZAN_DEPTH_32F, "(srcImage->depth == 32)"},
        {dstImage->depth == ZAN_DEPTH_1U, "(dstImage->depth == 1)"},
        {dstImage->depth == ZAN_DEPTH_32F, "(dstImage->depth == 32)"},
        {layoutsDiffer(srcImage, dstImage), kScaleOrderText},
        {srcImage->origin != dstImage->origin, kScaleOriginText},
    };
    OwnPairArea area;
    ChannelMap map;
    if (const std::optional<ZanStatus> result = planScale(site, srcImage, dstImage, tests, &area, &map))
        return *result;
    ZanStatus status = ZAN_STATUS_OK;
    withIntegerType(srcImage->depth, [&](auto sourceType) {
        withIntegerType(dstImage->depth, [&](auto targetType) {
            using S = typename decltype(sourceType)::type;
            using D = typename decltype(targetType)::type;
            if constexpr (!kIs<S, D>) {
                const bool walked = ownPairWalk(
                    site, srcImage, dstImage, area, true,
                    [&](const OwnView& s, const OwnView& d, int, int, int w, int h) {
                        mapSamples<S, D>(s, d, map, w, h, RangeScale<S, D>{});
                    });
                status = walked ? ZAN_STATUS_OK : ZAN_STATUS_NO_MEMORY;
            }
        });
    });
    return status;
}

ZAN_API ZanStatus zanScaleFP(const ZanImage* srcImage, ZanImage* dstImage, float minVal, float maxVal)
{
    const OwnSite site{"zanScaleFP", "zansclfp"};
    if (ownHeadersRefused(site, srcImage, dstImage))
        return ZAN_STATUS_BAD_ARGUMENT;
    const bool fromFloat = srcImage->depth == ZAN_DEPTH_32F;
    const bool toFloat = dstImage->depth == ZAN_DEPTH_32F;
    const OwnTest tests[] = {
        {!fromFloat && !toFloat, "((srcImage->depth != 32)&& (dstImage->depth != 32))"},
        {fromFloat && toFloat, "((srcImage->depth == 32)&& (dstImage->depth == 32))"},
        {srcImage->depth == ZAN_DEPTH_1U || dstImage->depth == ZAN_DEPTH_1U,
         "((srcImage->depth == 1)|| (dstImage->depth == 1))"},
        {layoutsDiffer(srcImage, dstImage), kScaleOrderText},
        {srcImage->origin != dstImage->origin, kScaleOriginText},
        {maxVal - minVal <= 0.0f, "((maxVal - minVal) <= 0.0f)"},
    };
    OwnPairArea area;
    ChannelMap map;
    if (const std::optional<ZanStatus> result = planScale(site, srcImage, dstImage, tests, &area, &map))
        return *result;
    return fromFloat ? scaleFromFloat(site, srcImage, dstImage, area, map, minVal, maxVal)
                     : scaleToFloat(site, srcImage, dstImage, area, map, minVal, maxVal);
}

} // extern "C"
