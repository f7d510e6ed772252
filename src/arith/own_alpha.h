// Alpha composition: the scaled product and the composite operators of each
// depth, the tile stage that hands views of a rectangle of every image, and
// the row routines that run over those views.
#pragma once

#include "../color/own_color.h"
#include "../core/own_bits.h"
#include "../core/own_memory.h"
#include "own_simd.h"

#include <algorithm>
#include <bit>
#include <type_traits>
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

// The integer arithmetic of a depth over one value: m, the saturated sum
// and the complement M - x.
template <class T>
struct OwnScalarMath {
    using V = uint32_t;
    static V m(V x, V y) { return OwnScale<T>::m(x, y); }
    static V sum(V x, V y) { return std::min(x + y, OwnScale<T>::M); }
    static V complement(V x) { return OwnScale<T>::M - x; }
};

#if OWN_HAVE_SSE2
// The same arithmetic over eight 16-bit lanes. At 8 bits the product and
// (v + (v >> 8) + 1) fit a lane; at 16 bits m is the high half h of the
// product, plus 1 when the low half l and h reach 65535 together.
template <class T>
struct OwnPackedMath;

template <>
struct OwnPackedMath<uint8_t> {
    using V = __m128i;
    static V m(V x, V y)
    {
        const V v = _mm_mullo_epi16(x, y);
        return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(v, _mm_srli_epi16(v, 8)), _mm_set1_epi16(1)), 8);
    }
    static V sum(V x, V y) { return _mm_min_epi16(_mm_add_epi16(x, y), _mm_set1_epi16(255)); }
    static V complement(V x) { return _mm_sub_epi16(_mm_set1_epi16(255), x); }
};

template <>
struct OwnPackedMath<uint16_t> {
    using V = __m128i;
    static V m(V x, V y)
    {
        const V high = _mm_mulhi_epu16(x, y);
        const V low = _mm_mullo_epi16(x, y);
        const V carry = _mm_cmpeq_epi16(_mm_adds_epu16(low, high), _mm_set1_epi16(-1));
        return _mm_sub_epi16(high, carry);
    }
    static V sum(V x, V y) { return _mm_adds_epu16(x, y); }
    static V complement(V x) { return _mm_xor_si128(x, _mm_set1_epi16(-1)); }
};
#endif

// The composite operators by their codes.
enum OwnCompositeOp { OWN_OVER = 0, OWN_IN, OWN_OUT, OWN_ATOP, OWN_XOR, OWN_PLUS };

// Colour of an operator on the integer path, from the premultiplied
// colours ap, bp and the alphas a, b, in the arithmetic of Math.
template <class Math, int Op, class V = typename Math::V>
inline V ownCompositeColor(std::type_identity_t<V> ap, std::type_identity_t<V> bp, std::type_identity_t<V> a,
                           std::type_identity_t<V> b)
{
    if constexpr (Op == OWN_OVER)
        return Math::sum(ap, Math::m(Math::complement(a), bp));
    else if constexpr (Op == OWN_IN)
        return Math::m(ap, b);
    else if constexpr (Op == OWN_OUT)
        return Math::m(ap, Math::complement(b));
    else if constexpr (Op == OWN_ATOP)
        return Math::sum(Math::m(ap, b), Math::m(Math::complement(a), bp));
    else if constexpr (Op == OWN_XOR)
        return Math::sum(Math::m(ap, Math::complement(b)), Math::m(Math::complement(a), bp));
    else
        return Math::sum(ap, bp);
}

// The result alpha is the colour formula over the alphas themselves, save
// under ATOP, whose result is b.
template <class Math, int Op, class V = typename Math::V>
inline V ownCompositeAlpha(std::type_identity_t<V> a, std::type_identity_t<V> b)
{
    if constexpr (Op == OWN_ATOP)
        return b;
    else
        return ownCompositeColor<Math, Op>(a, b, a, b);
}

// The colours (or, with no colours, the result alphas) of n pixels on the
// integer path from contiguous runs: eight lanes at a time where SSE2 is
// there, the rest one by one.
template <class T, int Op, bool Premultiplied>
void ownCompositeRun(uint16_t* out, const uint16_t* colorA, const uint16_t* colorB, const uint16_t* a,
                     const uint16_t* b, int n)
{
    int i = 0;
#if OWN_HAVE_SSE2
    using P = OwnPackedMath<T>;
    for (; i + 8 <= n; i += 8) {
        const __m128i va = ownLoad(a + i);
        const __m128i vb = ownLoad(b + i);
        __m128i result;
        if (!colorA) {
            result = ownCompositeAlpha<P, Op>(va, vb);
        } else {
            __m128i ap = ownLoad(colorA + i);
            __m128i bp = ownLoad(colorB + i);
            if constexpr (!Premultiplied) {
                ap = P::m(ap, va);
                bp = P::m(bp, vb);
            }
            result = ownCompositeColor<P, Op>(ap, bp, va, vb);
        }
        ownStore(out + i, result);
    }
#endif
    using S = OwnScalarMath<T>;
    for (; i < n; ++i) {
        if (!colorA) {
            out[i] = static_cast<uint16_t>(ownCompositeAlpha<S, Op>(a[i], b[i]));
            continue;
        }
        const uint32_t ap = Premultiplied ? colorA[i] : S::m(colorA[i], a[i]);
        const uint32_t bp = Premultiplied ? colorB[i] : S::m(colorB[i], b[i]);
        out[i] = static_cast<uint16_t>(ownCompositeColor<S, Op>(ap, bp, a[i], b[i]));
    }
}

// Colour C of an operator on the floating path, from the colours p, q
// (times their alphas unless premultiplied) and the alphas as fractions,
// and its result R.
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
    if constexpr (Op == OWN_ATOP)
        return beta;
    else
        return ownCompositeColorReal<Op>(alpha, beta, alpha, beta);
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

// m(a, b) of a contiguous run, b a run or (null) the constant, in whole
// blocks of 16 bytes; returns the values done.
template <class T>
int ownScalePacked(T* d, const T* a, const T* b, uint32_t constant, int n)
{
    int i = 0;
#if OWN_HAVE_SSE2
    using P = OwnPackedMath<T>;
    constexpr int lanes = 16 / static_cast<int>(sizeof(T));
    const __m128i fixed = sizeof(T) == 1 ? _mm_set1_epi8(static_cast<char>(constant))
                                         : _mm_set1_epi16(static_cast<short>(constant));
    const __m128i zero = _mm_setzero_si128();
    for (; i + lanes <= n; i += lanes) {
        const __m128i va = ownLoad(a + i);
        const __m128i vb = b ? ownLoad(b + i) : fixed;
        if constexpr (sizeof(T) == 1) {
            const __m128i low = P::m(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vb, zero));
            const __m128i high = P::m(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vb, zero));
            ownStore(d + i, _mm_packus_epi16(low, high));
        } else {
            ownStore(d + i, P::m(va, vb));
        }
    }
#else
    (void)d, (void)a, (void)b, (void)constant, (void)n;
#endif
    return i;
}

template <class T>
void ownScaleRows(const OwnScaleJob& job, const OwnView* views, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const OwnMaskRow mask = ownMaskRowOf(views, job.mask, y);
        for (int c = 0; c < job.count; ++c) {
            const OwnLane<const T> a = ownLaneOf<const T>(views, job.a, y, c);
            const OwnLane<const T> b = ownLaneOf<const T>(views, job.b, y, job.alphaB ? 0 : c);
            const OwnLane<T> d = ownLaneOf<T>(views, job.dst, y, c);
            int x = 0;
            if (!mask.row && a.stride == 1 && d.stride == 1 && (!b.row || b.stride == 1))
                x = ownScalePacked<T>(&d[0], &a[0], b.row ? &b[0] : nullptr, job.b.constant, width);
            for (; x < width; ++x) {
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
void ownAlphaSpan(const OwnCompositeJob& job, const OwnView* views, int y, int x0, int n, uint16_t* a,
                  uint16_t* b)
{
    const OwnLane<const T> laneA = ownLaneOf<const T>(views, job.alphaA, y);
    const OwnLane<const T> laneB = ownLaneOf<const T>(views, job.alphaB, y);
    for (int i = 0; i < n; ++i)
        a[i] = static_cast<uint16_t>(laneA.row ? laneA[x0 + i] : job.alphaA.constant);
    for (int i = 0; i < n; ++i) {
        if (job.alphaB.kind == OwnAlphaOperand::kComplement)
            b[i] = static_cast<uint16_t>(OwnScale<T>::M - a[i]);
        else
            b[i] = static_cast<uint16_t>(laneB.row ? laneB[x0 + i] : job.alphaB.constant);
    }
}

// One colour sample and the result alpha of a composite on the floating path.
template <class T, int Op, bool Premultiplied>
inline T ownCompositeSampleReal(uint32_t colorA, uint32_t colorB, uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    using Real = typename S::Real;
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
}

template <class T, int Op>
inline T ownCompositeResultReal(uint32_t a, uint32_t b)
{
    using S = OwnScale<T>;
    using Real = typename S::Real;
    return static_cast<T>(ownRoundScaled<T>(
        ownCompositeAlphaReal<Op>(static_cast<Real>(a) * S::k(), static_cast<Real>(b) * S::k()) *
        static_cast<Real>(S::M)));
}

// Pixels x0 .. x0 + n - 1 of row y: every colour channel, then the result
// alpha, each where the mask allows. The integer path gathers each channel
// into a contiguous run and computes it with ownCompositeRun.
template <class T, int Op, bool Divide, bool Premultiplied>
void ownCompositeSpan(const OwnCompositeJob& job, const OwnView* views, int y, int x0, int n)
{
    constexpr int kSpan = 256;
    alignas(16) uint16_t a[kSpan];
    alignas(16) uint16_t b[kSpan];
    alignas(16) uint16_t colorA[kSpan];
    alignas(16) uint16_t colorB[kSpan];
    alignas(16) uint16_t out[kSpan];
    ownAlphaSpan<T>(job, views, y, x0, n, a, b);
    const OwnMaskRow mask = ownMaskRowOf(views, job.mask, y);
    auto store = [&](const OwnLane<T>& lane, auto value) {
        for (int i = 0; i < n; ++i) {
            if (!mask.row || mask[x0 + i])
                lane[x0 + i] = static_cast<T>(value(i));
        }
    };
    for (int c = 0; c < job.count; ++c) {
        const OwnLane<const T> srcA = ownLaneOf<const T>(views, job.srcA, y, c);
        const OwnLane<const T> srcB = ownLaneOf<const T>(views, job.srcB, y, c);
        const OwnLane<T> dst = ownLaneOf<T>(views, job.dst, y, c);
        if constexpr (Divide) {
            store(dst, [&](int i) {
                return ownCompositeSampleReal<T, Op, Premultiplied>(srcA[x0 + i], srcB[x0 + i], a[i], b[i]);
            });
        } else {
            for (int i = 0; i < n; ++i) {
                colorA[i] = srcA[x0 + i];
                colorB[i] = srcB[x0 + i];
            }
            ownCompositeRun<T, Op, Premultiplied>(out, colorA, colorB, a, b, n);
            store(dst, [&](int i) { return out[i]; });
        }
    }
    const OwnLane<T> result = ownLaneOf<T>(views, job.alphaDst, y);
    if (!result.row)
        return;
    if constexpr (Divide) {
        store(result, [&](int i) { return ownCompositeResultReal<T, Op>(a[i], b[i]); });
    } else {
        ownCompositeRun<T, Op, Premultiplied>(out, nullptr, nullptr, a, b, n);
        store(result, [&](int i) { return out[i]; });
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
