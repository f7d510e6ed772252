// Row routines of bit reduction: plain narrowing, ordered (Bayer) dither
// and error diffusion, one instance for each depth pair.
//
// A level is found the same way by the ordered dither (in doubles) and by
// error diffusion (in single precision for 8- and 16-bit sources, extended
// for 32-bit ones): q is v * L / F - 0.5 rounded to even, f is q * step, and
// both go up by one step if v lies more than the threshold t above f. The
// caller keeps the rounding mode at nearest for the time of the rows.
#include "arith/own_saturate.h"
#include "own_dither.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace {

// The destination type of a 1-bit image: bits gathered eight to a byte.
struct Bit {};

template <class D>
using Value = std::conditional_t<std::is_same_v<D, Bit>, bool, D>;

// Facts of a source depth: full scale F, its multiple by 256 from which the
// step and the output scale are formed, the unsigned value of a sample, and
// the precision of error diffusion.
template <class S>
struct Source;

template <>
struct Source<uint8_t> {
    using Diffuse = float;
    static constexpr double full = 255.0;
    static constexpr double scaled = 65280.0;
    static uint32_t value(uint8_t x) { return x; }
};

template <>
struct Source<uint16_t> {
    using Diffuse = float;
    static constexpr double full = 65535.0;
    static constexpr double scaled = 16776960.0;
    static uint32_t value(uint16_t x) { return x; }
};

// A 32-bit sample counts as the unsigned value x + 2147483648.
template <>
struct Source<int32_t> {
    using Diffuse = long double;
    static constexpr double full = 4294967295.0;
    static uint32_t value(int32_t x) { return static_cast<uint32_t>(x) ^ 0x80000000u; }
};

// Rounding to nearest with ties to even. Floats of these magnitudes (below
// 2^22) round by adding and taking away 1.5 * 2^23.
template <class R>
R roundEven(R x)
{
    if constexpr (std::is_same_v<R, float>) {
        return (x + 12582912.0f) - 12582912.0f;
    } else {
        return std::rint(x);
    }
}

template <class S, class R>
struct Levels {
    R count; // L
    R full;  // F
    R step;
    int64_t scale; // s of the integer outputs

    explicit Levels(int levels) : count(static_cast<R>(levels)), full(static_cast<R>(Source<S>::full))
    {
        if constexpr (sizeof(S) == 4) {
            step = full / count;
            scale = 0;
        } else {
            step = static_cast<R>(Source<S>::scaled) / count / static_cast<R>(256);
            scale = static_cast<int64_t>(std::rint(Source<S>::scaled / levels - 0.5));
        }
    }

    // The level q below v and its value f, raised by one step if v lies
    // more than t above f.
    void find(R v, R t, int64_t* q, R* f) const
    {
        R level = roundEven(v * count / full - static_cast<R>(0.5));
        R value = level * step;
        if (v - value > t) {
            level += 1;
            value += step;
        }
        *q = static_cast<int64_t>(level);
        *f = value;
    }
};

// The stored value of level q (value f) in the destination.
template <class S, class D, class R>
D levelValue(const Levels<S, R>& levels, int64_t q, R f)
{
    if constexpr (sizeof(S) == 4) {
        R value;
        if constexpr (sizeof(D) == 4)
            value = f - static_cast<R>(2147483648.0);
        else if constexpr (sizeof(D) == 2)
            value = f * static_cast<R>(1.52587890625e-05) - static_cast<R>(0.5);
        else
            value = f * static_cast<R>(5.960464477539063e-08) - static_cast<R>(0.5);
        return ownSaturate<D>(static_cast<int64_t>(roundEven(value)));
    } else {
        constexpr int shift = sizeof(S) > sizeof(D) ? 16 : 8;
        return ownSaturate<D>((q * levels.scale) >> shift);
    }
}

template <class D>
constexpr Value<D> topValue()
{
    if constexpr (std::is_same_v<D, Bit>)
        return true;
    else
        return std::numeric_limits<D>::max();
}

template <class D>
constexpr Value<D> bottomValue()
{
    if constexpr (std::is_same_v<D, Bit>)
        return false;
    else
        return std::numeric_limits<D>::min();
}

// The first sample of row y of the block's channel in one image.
template <class T>
T* rowAt(const OwnDitherPlane& plane, const OwnDitherBlock& block, int y)
{
    char* row = plane.data + static_cast<std::ptrdiff_t>(y) * plane.step;
    if (block.planes)
        row += block.channel * plane.planeStride;
    else
        row += block.channel * static_cast<std::ptrdiff_t>(sizeof(T));
    return reinterpret_cast<T*>(row);
}

// Where a routine puts the values of one destination row.
template <class D>
class RowOut {
public:
    RowOut(const OwnDitherBlock& block, int y)
        : row_(rowAt<D>(block.dst, block, y)), stride_(block.sampleStep)
    {
    }
    void put(int x, D value) { row_[static_cast<std::ptrdiff_t>(x) * stride_] = value; }
    void finish(int) {}

private:
    D* row_;
    int stride_;
};

// Bits are gathered eight at a time, the first in the most significant bit;
// a row's last partial byte gets 0 in its low bits.
template <>
class RowOut<Bit> {
public:
    RowOut(const OwnDitherBlock& block, int y) : row_(rowAt<uint8_t>(block.dst, block, y)) {}
    void put(int x, bool bit)
    {
        gathered_ = (gathered_ << 1) | static_cast<unsigned>(bit);
        if ((x & 7) == 7) {
            row_[x >> 3] = static_cast<uint8_t>(gathered_);
            gathered_ = 0;
        }
    }
    void finish(int width)
    {
        if (width & 7)
            row_[width >> 3] = static_cast<uint8_t>(gathered_ << (8 - (width & 7)));
    }

private:
    uint8_t* row_;
    unsigned gathered_ = 0;
};

inline float noiseTerm(const OwnDitherParams& params, int channel, int x, int y)
{
    const int entry = params.noiseIndex[(channel + x) % kOwnNoiseEntries] + 2 * y + x;
    return params.noiseValues[entry % kOwnNoiseEntries];
}

// ZAN_DITHER_NONE: bits dropped from below; 32S loses its sign by offset.
template <class S, class D>
Value<D> narrowed(S x)
{
    if constexpr (std::is_same_v<D, Bit>) {
        if constexpr (std::is_signed_v<S>)
            return x >= 0;
        else
            return (x >> (8 * sizeof(S) - 1)) != 0;
    } else if constexpr (sizeof(S) == sizeof(D)) {
        return x;
    } else {
        const uint32_t u = Source<S>::value(x);
        return static_cast<D>(u >> (8 * (sizeof(S) - sizeof(D))));
    }
}

template <class S, class D>
struct Narrow {
    static void run(const OwnDitherBlock& block, const OwnDitherParams&, OwnErrorRows*)
    {
        for (int y = 0; y < block.height; ++y) {
            const S* s = rowAt<S>(block.src, block, y);
            RowOut<D> out(block, y);
            for (int x = 0; x < block.width; ++x)
                out.put(x, narrowed<S, D>(s[static_cast<std::ptrdiff_t>(x) * block.sampleStep]));
            out.finish(block.width);
        }
    }
};

constexpr int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};

// Ordered dither, in doubles: the threshold of each pixel comes from the
// Bayer matrix at its image position, shifted by the noise term.
template <class S, class D>
struct Bayer {
    static void run(const OwnDitherBlock& block, const OwnDitherParams& params, OwnErrorRows*)
    {
        const Levels<S, double> levels(params.levels);
        const double p = params.noise * 0.01;
        // A 1-bit destination compares with the threshold over full scale.
        const double step = std::is_same_v<D, Bit> ? levels.full : levels.step;
        for (int y = 0; y < block.height; ++y) {
            const int imageY = block.y0 + y;
            const S* s = rowAt<S>(block.src, block, y);
            RowOut<D> out(block, y);
            for (int x = 0; x < block.width; ++x) {
                const int imageX = block.x0 + x;
                const double v = Source<S>::value(s[static_cast<std::ptrdiff_t>(x) * block.sampleStep]);
                const double b = kBayer[imageY & 3][imageX & 3] / 15.0;
                const double t =
                    params.noiseValues
                        ? (static_cast<double>(noiseTerm(params, block.channel, imageX, imageY)) + b - p) * step
                        : b * step;
                if constexpr (std::is_same_v<D, Bit>) {
                    out.put(x, v >= levels.full || v > t);
                } else {
                    int64_t q;
                    double f;
                    levels.find(v, t, &q, &f);
                    out.put(x, levelValue<S, D>(levels, q, f));
                }
            }
            out.finish(block.width);
        }
    }
};

// The error-diffusion kernels: the weighted sum of the errors around x in
// the row being written (left1 and left2 at x - 1 and x - 2) and the rows
// above (e1, e2), in the order written, times the reciprocal of the
// weights' total.
struct FloydSteinberg {
    template <class R>
    static R sum(float left1, float, const float* e1, const float*, int x)
    {
        return (static_cast<R>(7) * left1 + static_cast<R>(e1[x - 1]) + static_cast<R>(5) * e1[x] +
                static_cast<R>(3) * e1[x + 1]) *
               static_cast<R>(0.0625f);
    }
};

// The kernels of twelve taps: two to the left in the row being written,
// five in each of the two rows above.
struct WideWeights {
    int left[2];   // x - 1, x - 2
    int above[5];  // x - 2 .. x + 2 in the row above
    int above2[5]; // x - 2 .. x + 2 two rows above
    float reciprocal;
};

constexpr WideWeights kJarvisJudiceNinke{{7, 5}, {3, 5, 7, 5, 3}, {1, 3, 5, 3, 1}, 0.02083333395421505f};
constexpr WideWeights kStucki{{8, 4}, {2, 4, 8, 4, 2}, {1, 2, 4, 2, 1}, 0.02380952425301075f};

template <const WideWeights& W>
struct WideKernel {
    template <class R>
    static R sum(float left1, float left2, const float* e1, const float* e2, int x)
    {
        R total = static_cast<R>(W.left[0]) * left1 + static_cast<R>(W.left[1]) * left2;
        for (int i = 0; i < 5; ++i)
            total += static_cast<R>(W.above[i]) * e1[x - 2 + i];
        for (int i = 0; i < 5; ++i)
            total += static_cast<R>(W.above2[i]) * e2[x - 2 + i];
        return total * static_cast<R>(W.reciprocal);
    }
};

// Error diffusion: each sample plus the diffused error goes to its level (or
// to a bit), and what it missed by becomes the error of its position. The
// rows of error go on from call to call.
template <class Kernel>
struct Diffuse {
    template <class S, class D>
    struct Pair {
        static void run(const OwnDitherBlock& block, const OwnDitherParams& params,
                        OwnErrorRows* errors)
        {
            using R = typename Source<S>::Diffuse;
            const Levels<S, R> levels(params.levels);
            // A bit is 1 above half of full scale, which is 127.5 at 8 bits.
            const R halfFull = sizeof(S) == 1 ? static_cast<R>(127.5) : levels.full / 2;
            const R halfStep = levels.step / 2;
            for (int y = 0; y < block.height; ++y) {
                const S* s = rowAt<S>(block.src, block, y);
                RowOut<D> out(block, y);
                float* e0 = errors->row(0);
                const float* e1 = errors->row(1);
                const float* e2 = errors->row(2);
                // The errors just written, kept at hand; the margins are 0.
                float left1 = 0;
                float left2 = 0;
                for (int x = 0; x < block.width; ++x) {
                    const R v = static_cast<R>(Source<S>::value(s[static_cast<std::ptrdiff_t>(x) * block.sampleStep])) +
                                Kernel::template sum<R>(left1, left2, e1, e2, x);
                    const bool noisy = params.noiseValues != nullptr;
                    const R noise = noisy ? static_cast<R>(noiseTerm(params, block.channel, block.x0 + x,
                                                                     block.y0 + y))
                                          : 0;
                    // Values at or above full scale, or below 0, keep no error.
                    const bool inside = v >= 0 && v < levels.full;
                    float error = 0;
                    if constexpr (std::is_same_v<D, Bit>) {
                        const bool bit = v >= levels.full || (v >= 0 && v > (noisy ? noise : halfFull));
                        out.put(x, bit);
                        if (inside)
                            error = static_cast<float>(bit ? v - levels.full : v);
                    } else if (inside) {
                        int64_t q;
                        R f;
                        levels.find(v, noisy ? noise : halfStep, &q, &f);
                        out.put(x, levelValue<S, D>(levels, q, f));
                        error = static_cast<float>(v - f);
                    } else {
                        out.put(x, v < 0 ? bottomValue<D>() : topValue<D>());
                    }
                    e0[x] = error;
                    left2 = left1;
                    left1 = error;
                }
                out.finish(block.width);
                errors->rotate();
            }
        }
    };
};

template <template <class, class> class Kind>
OwnDitherRoutine pairRoutine(uint32_t srcDepth, uint32_t dstDepth)
{
    switch (srcDepth) {
    case ZAN_DEPTH_8U:
        switch (dstDepth) {
        case ZAN_DEPTH_8U: return &Kind<uint8_t, uint8_t>::run;
        case ZAN_DEPTH_1U: return &Kind<uint8_t, Bit>::run;
        default: return nullptr;
        }
    case ZAN_DEPTH_16U:
        switch (dstDepth) {
        case ZAN_DEPTH_16U: return &Kind<uint16_t, uint16_t>::run;
        case ZAN_DEPTH_8U: return &Kind<uint16_t, uint8_t>::run;
        case ZAN_DEPTH_1U: return &Kind<uint16_t, Bit>::run;
        default: return nullptr;
        }
    case ZAN_DEPTH_32S:
        switch (dstDepth) {
        case ZAN_DEPTH_32S: return &Kind<int32_t, int32_t>::run;
        case ZAN_DEPTH_16U: return &Kind<int32_t, uint16_t>::run;
        case ZAN_DEPTH_8U: return &Kind<int32_t, uint8_t>::run;
        case ZAN_DEPTH_1U: return &Kind<int32_t, Bit>::run;
        default: return nullptr;
        }
    default:
        return nullptr;
    }
}

} // namespace

bool OwnErrorRows::init(int width, int ditherType)
{
    count_ = ditherType == ZAN_DITHER_FS ? 2 : 3;
    margin_ = ditherType == ZAN_DITHER_FS ? 1 : 2;
    const std::size_t length = static_cast<std::size_t>(width) + 2 * margin_;
    storage_ = OwnBuffer<float>(length * count_);
    if (!storage_.ok())
        return false;
    std::memset(storage_.data(), 0, length * count_ * sizeof(float));
    for (int i = 0; i < 3; ++i)
        rows_[i] = storage_.data() + length * (i % count_);
    return true;
}

void OwnErrorRows::rotate()
{
    if (count_ == 2) {
        std::swap(rows_[0], rows_[1]);
        return;
    }
    float* reused = rows_[2];
    rows_[2] = rows_[1];
    rows_[1] = rows_[0];
    rows_[0] = reused;
}

void ownDitherNoise(int ditherType, int noise, int levels, uint32_t srcDepth, float* values,
                    int* index)
{
    uint32_t state = 1999;
    auto draw = [&state] {
        state = state * 214013u + 2531011u;
        return static_cast<int>((state >> 16) & 0x7FFFu) % kOwnNoiseEntries;
    };
    const double p = noise * 0.01;
    const double full = srcDepth == ZAN_DEPTH_8U    ? Source<uint8_t>::full
                        : srcDepth == ZAN_DEPTH_16U ? Source<uint16_t>::full
                                                    : Source<int32_t>::full;
    for (int i = 0; i < kOwnNoiseEntries; ++i) {
        const int r = draw();
        values[i] = ditherType == ZAN_DITHER_BAYER
                        ? static_cast<float>(r * (p / 512))
                        : static_cast<float>((r * (p / 512) + 0.5 - p) * full / levels);
    }
    // r - 0.5 rounded to even: an odd r goes down by one.
    for (int i = 0; i < kOwnNoiseEntries; ++i)
        index[i] = draw() & ~1;
}

OwnDitherRoutine ownDitherRoutine(int ditherType, uint32_t srcDepth, uint32_t dstDepth)
{
    switch (ditherType) {
    case ZAN_DITHER_NONE: return pairRoutine<Narrow>(srcDepth, dstDepth);
    case ZAN_DITHER_FS: return pairRoutine<Diffuse<FloydSteinberg>::Pair>(srcDepth, dstDepth);
    case ZAN_DITHER_JJH: return pairRoutine<Diffuse<WideKernel<kJarvisJudiceNinke>>::Pair>(srcDepth, dstDepth);
    case ZAN_DITHER_STUCKEY: return pairRoutine<Diffuse<WideKernel<kStucki>>::Pair>(srcDepth, dstDepth);
    case ZAN_DITHER_BAYER: return pairRoutine<Bayer>(srcDepth, dstDepth);
    default: return nullptr;
    }
}
