// Noise images: uniform or Gaussian noise added in place to an image's
// region, drawn from the library's own generator in the memory order of the
// walk, so that a seed gives the same image on every platform.
#include "arith/own_saturate.h"
#include "core/own_bits.h"
#include "core/own_frame.h"
#include "core/own_rows.h"
#include "own_noise.h"

#include <algorithm>
#include <type_traits>

namespace {

const OwnWalkTexts kWalkTexts = {
    {nullptr, nullptr, "(image->tileInfo->tileData == 0)"},
    {nullptr, nullptr, nullptr},
};

constexpr double kTwoToMinus32 = 2.3283064365386963e-10;

// Each distribution draws the amount that one sample receives, and adds it
// to the sample at the sample's depth. kDrawAhead marks the distributions
// whose draws are long enough to be worth drawing a block ahead.

// Uniform noise at an integer depth: p + lo + trunc(r * scale), saturated.
template <class T>
struct UniformInt {
    using Amount = int64_t;
    static constexpr bool kDrawAhead = false;
    int64_t lo;
    double scale;
    Amount noise(OwnNoiseState& s) const
    {
        const double r = ownNoiseStep(s);
        return lo + static_cast<int64_t>(r * scale);
    }
    T apply(T p, Amount amount) const { return ownSaturate<T>(p + amount); }
};

// Uniform noise at 32F: p + (r * scale + lo), rounded once to a float.
struct UniformFloat {
    using Amount = double;
    static constexpr bool kDrawAhead = false;
    double lo;
    double scale;
    Amount noise(OwnNoiseState& s) const
    {
        const double r = ownNoiseStep(s);
        return r * scale + lo;
    }
    float apply(float p, Amount amount) const { return static_cast<float>(p + amount); }
};

// Gaussian noise at an integer depth: p + mean + trunc(noise), saturated.
template <class T>
struct GaussianInt {
    using Amount = int64_t;
    static constexpr bool kDrawAhead = true;
    int64_t mean;
    double stDev;
    Amount noise(OwnNoiseState& s) const
    {
        return mean + static_cast<int64_t>(ownNoiseGaussian(s) * stDev);
    }
    T apply(T p, Amount amount) const { return ownSaturate<T>(p + amount); }
};

// Gaussian noise at 32F: noise + mean + p, rounded once to a float.
struct GaussianFloat {
    using Amount = double;
    static constexpr bool kDrawAhead = true;
    double mean;
    double stDev;
    Amount noise(OwnNoiseState& s) const { return ownNoiseGaussian(s) * stDev + mean; }
    float apply(float p, Amount amount) const { return static_cast<float>(amount + p); }
};

// A run of values that lie next to each other. Long draws go a block ahead
// of the additions, so that their chains never wait on the stores of the
// samples.
template <class T, class Draw>
void addToRun(T* values, int count, OwnNoiseState& state, const Draw& draw)
{
    if constexpr (!Draw::kDrawAhead) {
        for (int i = 0; i < count; ++i)
            values[i] = draw.apply(values[i], draw.noise(state));
    } else {
        constexpr int kBlock = 64;
        typename Draw::Amount amounts[kBlock];
        for (int start = 0; start < count; start += kBlock) {
            const int n = std::min(kBlock, count - start);
            for (int i = 0; i < n; ++i)
                amounts[i] = draw.noise(state);
            for (int i = 0; i < n; ++i)
                values[start + i] = draw.apply(values[start + i], amounts[i]);
        }
    }
}

// The row routine: draws a sample for each planned value of the piece's
// region in memory order, skipping pixels whose mask bit is clear. The
// state is held in locals for the piece and written back at the end.
template <class T, bool Masked, class Draw>
void addNoise(const OwnPiece& piece, OwnNoiseState& shared, const Draw& given)
{
    const Draw draw = given; // a local copy, which stores to samples can't touch
    using namespace own_rows;
    const OwnChannelPlan& plan = *piece.plan;
    const Region out = regionOf(piece.dst, plan.firstChannel[OWN_DST]);
    int width = out.width;
    int height = out.height;
    Region mask{};
    if constexpr (Masked) {
        mask = regionOf(piece.mask, 0);
        width = std::min(width, mask.width);
        height = std::min(height, mask.height);
    }
    const bool planes = piece.dst->dataOrder == ZAN_DATA_ORDER_PLANE;
    const int planeCount = planes ? plan.channelCount : 1;
    const int perPixel = planes ? 1 : plan.channelCount;
    // Unmasked rows whose planned values lie next to each other are one run.
    const bool runs = !Masked && out.pixelStride == perPixel;
    const int runLength = width * perPixel;
    OwnNoiseState state = shared;
    for (int plane = 0; plane < planeCount; ++plane) {
        for (int y = 0; y < height; ++y) {
            T* row = rowOf<T>(out, plane, y);
            if (runs) {
                addToRun(row, runLength, state, draw);
                continue;
            }
            for (int x = 0; x < width; ++x) {
                if constexpr (Masked) {
                    if (!ownGetBit(rowOf<uint8_t>(mask, 0, y), mask.bitOffset + x))
                        continue;
                }
                T* p = row + static_cast<std::ptrdiff_t>(x) * out.pixelStride;
                for (int c = 0; c < perPixel; ++c)
                    p[c] = draw.apply(p[c], draw.noise(state));
            }
        }
    }
    shared = state;
}

// Walks the image's region with one row routine, carrying the generator's
// state from piece to piece. False when a tile could not be opened.
template <class T, class Draw>
bool walkNoise(ZanImage* image, uint32_t seed, const Draw& draw)
{
    OwnChannelPlan plan{};
    ownImageChannels(image, &plan.channelCount, &plan.firstChannel[OWN_DST]);
    const OwnWalkSetup setup{{"zanNoiseImage", "zannoise"}, {nullptr, nullptr}, image,
                             image->maskROI, &plan, &kWalkTexts};
    OwnNoiseState state = ownNoiseStart(seed);
    if (image->maskROI)
        return ownFrameWalk(setup, [&](const OwnPiece& piece) { addNoise<T, true>(piece, state, draw); });
    return ownFrameWalk(setup, [&](const OwnPiece& piece) { addNoise<T, false>(piece, state, draw); });
}

// The uniform range at an 8- or 16-bit depth, M being the largest unsigned
// value of the sample's size: a range wholly at or above M first sets the
// region to M XOR s (s the sign bit of a signed depth), one wholly at or
// below -M to s; the noise is added all the same. Then both ends are held
// within -M .. M.
template <class T>
void limitRange(ZanImage* image, int64_t* lo, int64_t* hi)
{
    constexpr int bits = 8 * sizeof(T);
    constexpr int64_t M = (int64_t{1} << bits) - 1;
    constexpr int64_t s = std::is_signed_v<T> ? int64_t{1} << (bits - 1) : 0;
    if (*lo >= M)
        zanSet(image, static_cast<int>(M ^ s));
    if (*hi <= -M)
        zanSet(image, static_cast<int>(s));
    *hi = std::min(*hi, M);
    *lo = std::max(*lo, -M);
}

template <class T>
bool uniformNoise(ZanImage* image, const ZanNoiseParam& param)
{
    if constexpr (std::is_floating_point_v<T>) {
        const float lo = std::min(param.lowFP, param.highFP);
        const float hi = std::max(param.lowFP, param.highFP);
        const float scale = (hi - lo) * static_cast<float>(kTwoToMinus32);
        return walkNoise<T>(image, param.seed, UniformFloat{lo, scale});
    } else {
        int64_t lo = std::min(param.lowInt, param.highInt);
        int64_t hi = std::max(param.lowInt, param.highInt);
        if constexpr (sizeof(T) < 4)
            limitRange<T>(image, &lo, &hi);
        const double scale = static_cast<double>(hi - lo) * kTwoToMinus32;
        return walkNoise<T>(image, param.seed, UniformInt<T>{lo, scale});
    }
}

template <class T>
bool gaussianNoise(ZanImage* image, const ZanNoiseParam& param)
{
    if constexpr (std::is_floating_point_v<T>)
        return walkNoise<T>(image, param.seed, GaussianFloat{param.lowFP, param.highFP});
    else
        return walkNoise<T>(image, param.seed, GaussianInt<T>{param.lowInt, static_cast<double>(param.highInt)});
}

void initNoise(ZanNoiseParam* param, uint32_t seed, int low, int high)
{
    param->seed = seed;
    param->lowInt = low;
    param->highInt = high;
}

void initNoiseFP(ZanNoiseParam* param, uint32_t seed, float low, float high)
{
    param->seed = seed;
    param->lowFP = low;
    param->highFP = high;
}

} // namespace

extern "C" ZAN_API void zanNoiseUniformInit(ZanNoiseParam* noiseParam, uint32_t seed, int low, int high)
{
    initNoise(noiseParam, seed, low, high);
}

extern "C" ZAN_API void zanNoiseGaussianInit(ZanNoiseParam* noiseParam, uint32_t seed, int mean, int stDev)
{
    initNoise(noiseParam, seed, mean, stDev);
}

extern "C" ZAN_API void zanNoiseUniformInitFP(ZanNoiseParam* noiseParam, uint32_t seed, float low,
                                              float high)
{
    initNoiseFP(noiseParam, seed, low, high);
}

extern "C" ZAN_API void zanNoiseGaussianInitFP(ZanNoiseParam* noiseParam, uint32_t seed, float mean,
                                               float stDev)
{
    initNoiseFP(noiseParam, seed, mean, stDev);
}

extern "C" ZAN_API ZanStatus zanNoiseImage(ZanImage* image, const ZanNoiseParam* noiseParam, int noise)
{
    const OwnSite site{"zanNoiseImage", "zannoise"};
    if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
        const ZanStatus status = zanGetErrStatus();
        OWN_REPORT(site, status, "Incorrect Image");
        return status;
    }
    if (image->depth == ZAN_DEPTH_1U) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(image->depth == 1)");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    if (noise != ZAN_NOISE_UNIFORM && noise != ZAN_NOISE_GAUSSIAN) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "((noise != ZAN_NOISE_UNIFORM) && (noise != ZAN_NOISE_GAUSSIAN))");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    if (!noiseParam) {
        OWN_REPORT(site, ZAN_STATUS_NULL_POINTER, "(noiseParam == 0)");
        return ZAN_STATUS_NULL_POINTER;
    }
    bool walked = true;
    ownWithSampleType(image->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        walked = noise == ZAN_NOISE_UNIFORM ? uniformNoise<T>(image, *noiseParam)
                                            : gaussianNoise<T>(image, *noiseParam);
    });
    return walked ? ZAN_STATUS_OK : ZAN_STATUS_INTERNAL;
}
