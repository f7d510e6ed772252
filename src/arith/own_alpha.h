// Alpha composition: the scaled product and the composite operators of each
// depth, the tile stage that hands views of a rectangle of every image, and
// the row routines that run over those views.
#pragma once

#include "../color/own_color.h"
#include "../core/own_bits.h"
#include "../core/own_memory.h"

#include <algorithm>
#include <bit>
#include <cstdint>

// Full scale M, the scaled product m(x, y) = floor(x * y / M) in integers,
// and the constants of the floating path, for 8U and 16U samples.
template <class T>
struct OwnScale;

template <>
struct OwnScale<uint8_t> {
    static constexpr uint32_t M = 255;
    using Real = float;
    static Real k() { return std::bit_cast<float>(0x3B808081u); }
    static Real threshold() { return std::bit_cast<float>(0x37010183u); }
    static uint32_t m(uint32_t x, uint32_t y)
    {
        const uint32_t v = x * y;
        return (v + (v >> 8) + 1) >> 8;
    }
};

template <>
struct OwnScale<uint16_t> {
    static constexpr uint32_t M = 65535;
    using Real = double;
    static Real k() { return 1.5259021896696422e-05; }
    static Real threshold() { return 1.1641887462193043e-10; }
    static uint32_t m(uint32_t x, uint32_t y)
    {
        const uint32_t v = x * y;
        return (v + (v >> 16) + 1) >> 16;
    }
};

// A sum saturated at full scale.
template <class T>
inline uint32_t ownScaleSum(uint32_t x, uint32_t y)
{
    return std::min(x + y, OwnScale<T>::M);
}

// The composite operators by their codes.
enum OwnCompositeOp { OWN_OVER = 0, OWN_IN, OWN_OUT, OWN_ATOP, OWN_XOR, OWN_PLUS };

// Colour and result alpha of an operator on the integer path, from the
// premultiplied colours ap, bp and the alphas a, b.
template <class T, int Op>
inline uint32_t ownCompositeColor(uint32_t ap, uint32_t bp, uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    constexpr uint32_t M = S::M;
    if constexpr (Op == OWN_OVER)
        return ownScaleSum<T>(ap, S::m(M - a, bp));
    else if constexpr (Op == OWN_IN)
        return S::m(ap, b);
    else if constexpr (Op == OWN_OUT)
        return S::m(ap, M - b);
    else if constexpr (Op == OWN_ATOP)
        return ownScaleSum<T>(S::m(ap, b), S::m(M - a, bp));
    else if constexpr (Op == OWN_XOR)
        return ownScaleSum<T>(S::m(ap, M - b), S::m(M - a, bp));
    else
        return ownScaleSum<T>(ap, bp);
}

template <class T, int Op>
inline uint32_t ownCompositeAlpha(uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    constexpr uint32_t M = S::M;
    if constexpr (Op == OWN_OVER)
        return ownScaleSum<T>(a, S::m(M - a, b));
    else if constexpr (Op == OWN_IN)
        return S::m(a, b);
    else if constexpr (Op == OWN_OUT)
        return S::m(a, M - b);
    else if constexpr (Op == OWN_ATOP)
        return b;
    else if constexpr (Op == OWN_XOR)
        return ownScaleSum<T>(S::m(a, M - b), S::m(M - a, b));
    else
        return ownScaleSum<T>(a, b);
}

// Colour C and result R of an operator on the floating path, from the
// colours p, q (times their alphas unless premultiplied) and the alphas as
// fractions.
template <int Op, class Real>
inline Real ownCompositeColorReal(Real p, Real q, Real alpha, Real beta)
{
    if constexpr (Op == OWN_OVER)
        return p + (1 - alpha) * q;
    else if constexpr (Op == OWN_IN)
        return p * beta;
    else if constexpr (Op == OWN_OUT)
        return p * (1 - beta);
    else if constexpr (Op == OWN_ATOP)
        return p * beta + (1 - alpha) * q;
    else if constexpr (Op == OWN_XOR)
        return (1 - alpha) * q + (1 - beta) * p;
    else
        return p + q;
}

template <int Op, class Real>
inline Real ownCompositeAlphaReal(Real alpha, Real beta)
{
    if constexpr (Op == OWN_OVER)
        return alpha + (1 - alpha) * beta;
    else if constexpr (Op == OWN_IN)
        return alpha * beta;
    else if constexpr (Op == OWN_OUT)
        return alpha * (1 - beta);
    else if constexpr (Op == OWN_ATOP)
        return beta;
    else if constexpr (Op == OWN_XOR)
        return (1 - alpha) * beta + (1 - beta) * alpha;
    else
        return alpha + beta;
}

// A non-negative value below 2 to the 32nd rounded to the nearest integer,
// ties to even, whatever the thread's rounding mode, and saturated at full
// scale.
template <class T, class Real>
inline uint32_t ownRoundScaled(Real value)
{
    uint32_t whole = static_cast<uint32_t>(value);
    const Real fraction = value - static_cast<Real>(whole);
    if (fraction > static_cast<Real>(0.5) || (fraction == static_cast<Real>(0.5) && (whole & 1u)))
        ++whole;
    return std::min(whole, OwnScale<T>::M);
}

// Calls f(std::integral_constant<int, Op>{}) for an operator code 0..5.
template <class F>
inline void ownWithCompositeOp(int op, F&& f)
{
    switch (op) {
    case OWN_OVER: f(std::integral_constant<int, OWN_OVER>{}); break;
    case OWN_IN: f(std::integral_constant<int, OWN_IN>{}); break;
    case OWN_OUT: f(std::integral_constant<int, OWN_OUT>{}); break;
    case OWN_ATOP: f(std::integral_constant<int, OWN_ATOP>{}); break;
    case OWN_XOR: f(std::integral_constant<int, OWN_XOR>{}); break;
    default: f(std::integral_constant<int, OWN_PLUS>{}); break;
    }
}

// The stage of a walk over tiles: each image takes a slot, and for each
// rectangle of the common region the stage hands one view per slot, at the
// rectangle's place from the image's ROI offset. A rectangle that lies in
// one tile is seen in the tile; one across tiles is staged in a block of the
// grid's tile size and, for a written image, copied back.
class OwnAlphaStage {
public:
    static constexpr int kSlots = 7;

    OwnAlphaStage() = default;
    OwnAlphaStage(const OwnAlphaStage&) = delete;
    OwnAlphaStage& operator=(const OwnAlphaStage&) = delete;
    ~OwnAlphaStage();

    // The slot of an image, a new one or the one it already has (keeping its
    // first mode); -1 for a null image.
    int enter(const ZanImage* image, int mode);

    using Routine = OwnFunctionRef<void(const OwnView* views, int width, int height)>;

    // Runs the routine over the width by height region, whole when no image
    // is tiled, else rectangle by rectangle along the tiles of the first
    // tiled image. Reports a failure with the site; false after one.
    bool walk(OwnSite site, int width, int height, Routine routine);

private:
    struct Slot {
        const ZanImage* image = nullptr;
        int mode = 0;
        int uses = 0;
        int x = 0; // rectangle in the image
        int y = 0;
        int width = 0;
        int height = 0;
        char* tile = nullptr; // the open tile of a rectangle inside one tile
        OwnBuffer<char> staging;
        OwnBuffer<char*> tiles; // the open tiles of a staged rectangle
        OwnView view{};
    };

    void fetch(Slot& slot, int x, int y, int width, int height);
    void stage(Slot& slot);
    void release(Slot& slot);
    void copyTile(const Slot& slot, int column, int row, bool toTile) const;

    Slot slots_[kSlots];
    int count_ = 0;
    int gridWidth_ = 0;
    int gridHeight_ = 0;
    int stagingStep_ = 0;
    int status_ = 0;
};

// One channel read or written by a routine: a slot's view at a channel, or,
// for alphas, a constant or the complement M - a of the first alpha.
struct OwnAlphaOperand {
    enum Kind { kImage, kConstant, kComplement, kNone };
    Kind kind = kNone;
    int slot = -1;
    int channel = 0;
    uint32_t constant = 0;
};

// A channel of a view as a row of samples.
template <class T>
struct OwnLane {
    T* row = nullptr;
    std::ptrdiff_t stride = 0;
    T& operator[](int x) const { return row[x * stride]; }
};

template <class T>
inline OwnLane<T> ownLaneOf(const OwnView* views, const OwnAlphaOperand& operand, int y, int channelOffset = 0)
{
    if (operand.kind != OwnAlphaOperand::kImage)
        return {};
    const OwnView& view = views[operand.slot];
    return {ownRowAt<T>(view, y, operand.channel + channelOffset),
            view.pixelStep / static_cast<std::ptrdiff_t>(sizeof(T))};
}

// The mask bits of a row of a view; all set when there is no mask.
struct OwnMaskRow {
    const uint8_t* row = nullptr;
    int bitOffset = 0;
    bool operator[](int x) const { return !row || ownGetBit(row, bitOffset + x); }
};

inline OwnMaskRow ownMaskRowOf(const OwnView* views, int slot, int y)
{
    if (slot < 0)
        return {};
    const OwnView& view = views[slot];
    return {reinterpret_cast<const uint8_t*>(view.data + static_cast<std::ptrdiff_t>(y) * view.rowStep),
            view.bitOffset};
}

// Products of fractions: dst = m(a, b) over count channels from the
// operands' channels, b a channel or a constant, where the mask allows.
// An alpha b is one channel for all; with fill, the fill operand's channel
// then takes b's constant.
struct OwnScaleJob {
    OwnAlphaOperand a;
    OwnAlphaOperand b;
    bool alphaB;
    OwnAlphaOperand dst;
    OwnAlphaOperand fill;
    int count;
    int mask;
};

template <class T>
void ownScaleRows(const OwnScaleJob& job, const OwnView* views, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const OwnMaskRow mask = ownMaskRowOf(views, job.mask, y);
        for (int c = 0; c < job.count; ++c) {
            const OwnLane<const T> a = ownLaneOf<const T>(views, job.a, y, c);
            const OwnLane<const T> b = ownLaneOf<const T>(views, job.b, y, job.alphaB ? 0 : c);
            const OwnLane<T> d = ownLaneOf<T>(views, job.dst, y, c);
            for (int x = 0; x < width; ++x) {
                if (!mask[x])
                    continue;
                const uint32_t scale = b.row ? b[x] : job.b.constant;
                d[x] = static_cast<T>(OwnScale<T>::m(a[x], scale));
            }
        }
        const OwnLane<T> fill = ownLaneOf<T>(views, job.fill, y);
        for (int x = 0; fill.row && x < width; ++x) {
            if (mask[x])
                fill[x] = static_cast<T>(job.b.constant);
        }
    }
}

// A composite: colours of A and B into the destination's count channels,
// then, if there is one, the result alpha, row by row.
struct OwnCompositeJob {
    OwnAlphaOperand srcA;
    OwnAlphaOperand srcB;
    OwnAlphaOperand dst;
    OwnAlphaOperand alphaA;
    OwnAlphaOperand alphaB;
    OwnAlphaOperand alphaDst;
    int count;
    int mask;
    int op;
    bool premultiplied;
    bool divide;
};

// The alphas a and b of pixels x0 .. x0 + n - 1 of row y: from a channel,
// a constant, or b as M - a.
template <class T>
void ownAlphaSpan(const OwnCompositeJob& job, const OwnView* views, int y, int x0, int n, uint32_t* a,
                  uint32_t* b)
{
    const OwnLane<const T> laneA = ownLaneOf<const T>(views, job.alphaA, y);
    const OwnLane<const T> laneB = ownLaneOf<const T>(views, job.alphaB, y);
    for (int i = 0; i < n; ++i)
        a[i] = laneA.row ? laneA[x0 + i] : job.alphaA.constant;
    for (int i = 0; i < n; ++i) {
        if (job.alphaB.kind == OwnAlphaOperand::kComplement)
            b[i] = OwnScale<T>::M - a[i];
        else
            b[i] = laneB.row ? laneB[x0 + i] : job.alphaB.constant;
    }
}

// One colour sample of a composite from the colours and alphas.
template <class T, int Op, bool Divide, bool Premultiplied>
inline T ownCompositeSample(uint32_t colorA, uint32_t colorB, uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    using Real = typename S::Real;
    if constexpr (Divide) {
        const Real alpha = static_cast<Real>(a) * S::k();
        const Real beta = static_cast<Real>(b) * S::k();
        Real p = static_cast<Real>(colorA);
        Real q = static_cast<Real>(colorB);
        if constexpr (!Premultiplied) {
            p *= alpha;
            q *= beta;
        }
        Real color = ownCompositeColorReal<Op>(p, q, alpha, beta);
        const Real result = ownCompositeAlphaReal<Op>(alpha, beta);
        if (result > S::threshold())
            color = std::min(color / result, static_cast<Real>(S::M));
        return static_cast<T>(ownRoundScaled<T>(color));
    } else {
        const uint32_t ap = Premultiplied ? colorA : S::m(colorA, a);
        const uint32_t bp = Premultiplied ? colorB : S::m(colorB, b);
        return static_cast<T>(ownCompositeColor<T, Op>(ap, bp, a, b));
    }
}

// The result alpha of a composite.
template <class T, int Op, bool Divide>
inline T ownCompositeResult(uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    using Real = typename S::Real;
    if constexpr (Divide)
        return static_cast<T>(ownRoundScaled<T>(
            ownCompositeAlphaReal<Op>(static_cast<Real>(a) * S::k(), static_cast<Real>(b) * S::k()) *
            static_cast<Real>(S::M)));
    else
        return static_cast<T>(ownCompositeAlpha<T, Op>(a, b));
}

// Pixels x0 .. x0 + n - 1 of row y: every colour channel, then the result
// alpha, each where the mask allows.
template <class T, int Op, bool Divide, bool Premultiplied>
void ownCompositeSpan(const OwnCompositeJob& job, const OwnView* views, int y, int x0, int n)
{
    constexpr int kSpan = 256;
    uint32_t a[kSpan];
    uint32_t b[kSpan];
    ownAlphaSpan<T>(job, views, y, x0, n, a, b);
    const OwnMaskRow mask = ownMaskRowOf(views, job.mask, y);
    for (int c = 0; c < job.count; ++c) {
        const OwnLane<const T> srcA = ownLaneOf<const T>(views, job.srcA, y, c);
        const OwnLane<const T> srcB = ownLaneOf<const T>(views, job.srcB, y, c);
        const OwnLane<T> dst = ownLaneOf<T>(views, job.dst, y, c);
        for (int i = 0; i < n; ++i) {
            const int x = x0 + i;
            if (mask.row && !mask[x])
                continue;
            dst[x] = ownCompositeSample<T, Op, Divide, Premultiplied>(srcA[x], srcB[x], a[i], b[i]);
        }
    }
    const OwnLane<T> out = ownLaneOf<T>(views, job.alphaDst, y);
    for (int i = 0; out.row && i < n; ++i) {
        if (!mask.row || mask[x0 + i])
            out[x0 + i] = ownCompositeResult<T, Op, Divide>(a[i], b[i]);
    }
}

// Rows outer, channels next, pixels inner, in spans of pixels that are
// finished, result alpha included, before the next span begins.
template <class T, int Op, bool Divide, bool Premultiplied>
void ownCompositeRowsOf(const OwnCompositeJob& job, const OwnView* views, int width, int height)
{
    constexpr int kSpan = 256;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; x += kSpan)
            ownCompositeSpan<T, Op, Divide, Premultiplied>(job, views, y, x, std::min(kSpan, width - x));
    }
}

template <class T>
void ownCompositeRows(const OwnCompositeJob& job, const OwnView* views, int width, int height)
{
    ownWithCompositeOp(job.op, [&](auto op) {
        constexpr int Op = decltype(op)::value;
        if (job.divide && job.premultiplied)
            ownCompositeRowsOf<T, Op, true, true>(job, views, width, height);
        else if (job.divide)
            ownCompositeRowsOf<T, Op, true, false>(job, views, width, height);
        else if (job.premultiplied)
            ownCompositeRowsOf<T, Op, false, true>(job, views, width, height);
        else
            ownCompositeRowsOf<T, Op, false, false>(job, views, width, height);
    });
}
