// The row engine of convolution: for every output row, each kernel's
// response (16-bit, 32-bit or float sums by its class), its shift, the
// combination of the responses and the conversion to the depth.
#include "../core/own_bits.h"
#include "../core/own_memory.h"
#include "own_convolve.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// A column of the lane: jStep 1 lets the compiler work on whole vectors.
template <class T, class Add>
inline void overColumns(const T* s, int jStep, int n, Add add)
{
    if (jStep == 1) {
        for (int j = 0; j < n; ++j)
            add(j, s[j]);
    } else {
        for (int j = 0; j < n; ++j)
            add(j, s[static_cast<std::ptrdiff_t>(j) * jStep]);
    }
}

// Integer sums of classes 0 and 1: exact by the class, in Acc lanes.
template <class Acc, class T>
void sumInteger(Acc* acc, int n, const OwnConvStage& k, const OwnLaneRows<T>& src, int y)
{
    std::fill_n(acc, n, Acc{0});
    for (int r = 0; r < k.nRows; ++r) {
        for (int c = 0; c < k.nCols; ++c) {
            const Acc coefficient = static_cast<Acc>(k.values[r * k.nCols + c]);
            if (coefficient == 0)
                continue;
            overColumns(src.at(y - k.anchorY + r, c - k.anchorX), src.jStep, n,
                        [acc, coefficient](int j, T s) {
                            acc[j] = static_cast<Acc>(acc[j] + coefficient * static_cast<Acc>(s));
                        });
        }
    }
}

// Float sums of an integer kernel: coefficient by coefficient in stored
// order, one single-precision rounding per addition.
template <class T>
void sumFloat(float* acc, int n, const OwnConvStage& k, const OwnLaneRows<T>& src, int y)
{
    std::fill_n(acc, n, 0.0f);
    for (int r = 0; r < k.nRows; ++r) {
        for (int c = 0; c < k.nCols; ++c) {
            const double coefficient = k.values[r * k.nCols + c];
            if (coefficient == 0)
                continue;
            overColumns(src.at(y - k.anchorY + r, c - k.anchorX), src.jStep, n,
                        [acc, coefficient](int j, T s) {
                            acc[j] = static_cast<float>(
                                acc[j] + coefficient * static_cast<double>(static_cast<float>(s)));
                        });
        }
    }
}

// Float sums of a float kernel: kernel rows in pairs, each pair's two
// products summed in double and added with one rounding.
void sumFP(float* acc, int n, const OwnConvStage& k, const OwnLaneRows<float>& src, int y)
{
    std::fill_n(acc, n, 0.0f);
    const int jStep = src.jStep;
    int r = 0;
    for (; r + 1 < k.nRows; r += 2) {
        for (int c = 0; c < k.nCols; ++c) {
            const double k0 = k.valuesFP[r * k.nCols + c];
            const double k1 = k.valuesFP[(r + 1) * k.nCols + c];
            const float* s0 = src.at(y - k.anchorY + r, c - k.anchorX);
            const float* s1 = src.at(y - k.anchorY + r + 1, c - k.anchorX);
            for (int j = 0; j < n; ++j) {
                const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(j) * jStep;
                acc[j] = static_cast<float>(acc[j] + (s0[at] * k0 + s1[at] * k1));
            }
        }
    }
    if (r < k.nRows) {
        for (int c = 0; c < k.nCols; ++c) {
            const double k0 = k.valuesFP[r * k.nCols + c];
            overColumns(src.at(y - k.anchorY + r, c - k.anchorX), jStep, n,
                        [acc, k0](int j, float s) { acc[j] = static_cast<float>(acc[j] + s * k0); });
        }
    }
}

// Float sums of a 3 by 3 or 5 by 5 float kernel: all products summed in
// double and stored once.
void sumFPWhole(float* acc, int n, const OwnConvStage& k, const OwnLaneRows<float>& src, int y)
{
    const int jStep = src.jStep;
    for (int j = 0; j < n; ++j) {
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(j) * jStep;
        double sum = 0;
        for (int r = 0; r < k.nRows; ++r)
            for (int c = 0; c < k.nCols; ++c)
                sum += k.valuesFP[r * k.nCols + c] * static_cast<double>(src.at(y - k.anchorY + r, c - k.anchorX)[at]);
        acc[j] = static_cast<float>(sum);
    }
}

// Rounds to the nearest integer, ties to even, whatever the caller's
// rounding mode, held to the 32-bit range.
int32_t roundToInt(double value)
{
    double r = std::floor(value);
    const double fraction = value - r;
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(r, 2.0) != 0))
        r += 1;
    if (!(r > -2147483648.0))
        return std::numeric_limits<int32_t>::min();
    if (r > 2147483647.0)
        return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(r);
}

int32_t shiftRight(int32_t value, int shift) { return value >> (shift & 31); }

int32_t wrapSquare(int32_t value)
{
    const uint32_t v = static_cast<uint32_t>(value);
    return static_cast<int32_t>(v * v);
}

int32_t wrapAbs(int32_t value)
{
    const uint32_t v = static_cast<uint32_t>(value);
    return static_cast<int32_t>(value < 0 ? 0u - v : v);
}

// One kernel's response row after its shift: integers or floats.
struct Response {
    int32_t* ints;
    float* floats;
};

// Saturation and rounding into the samples of a depth.
template <class Out>
Out fromInt(int32_t v)
{
    if constexpr (std::is_same_v<Out, float>) {
        return static_cast<float>(v);
    } else {
        using L = std::numeric_limits<Out>;
        return static_cast<Out>(std::clamp<int32_t>(v, L::min(), L::max()));
    }
}

template <class Out>
Out fromFloat(float v)
{
    if constexpr (std::is_same_v<Out, float>)
        return v;
    else if constexpr (std::is_same_v<Out, int32_t>)
        return roundToInt(v);
    else
        return fromInt<Out>(roundToInt(v));
}

// Working rows of one piece, and the pipeline of one output row.
template <class T>
class Engine {
public:
    Engine(const OwnConvPlan& plan, int columns) : plan_(plan), n_(columns)
    {
        const std::size_t size = static_cast<std::size_t>(columns) + 16;
        acc16_ = OwnBuffer<int16_t>(size);
        ints_ = OwnBuffer<int32_t>(size);
        floats_ = OwnBuffer<float>(size);
        combinedInts_ = OwnBuffer<int32_t>(size);
        combinedFloats_ = OwnBuffer<float>(size);
    }

    bool ok() const
    {
        return acc16_.ok() && ints_.ok() && floats_.ok() && combinedInts_.ok() &&
               combinedFloats_.ok();
    }

    // The final row of output row y: integers or floats.
    Response row(const OwnLaneRows<T>& src, int y, int n)
    {
        n_ = n;
        if (plan_.nKernels == 1)
            return single(plan_.stages[0], src, y);
        return combined(src, y);
    }

private:
    Response respond(const OwnConvStage& k, const OwnLaneRows<T>& src, int y)
    {
        int32_t* ints = ints_.data();
        float* floats = floats_.data();
        const int n = n_;
        if constexpr (std::is_same_v<T, float>) {
            if (k.wholeSum)
                sumFPWhole(floats, n, k, src, y);
            else
                sumFP(floats, n, k, src, y);
            return Response{nullptr, floats};
        } else {
            if (k.kernelClass == 2) {
                sumFloat(floats, n, k, src, y);
                if (k.shift != 0) {
                    for (int j = 0; j < n; ++j)
                        floats[j] = static_cast<float>(shiftRight(roundToInt(floats[j]), k.shift));
                }
                return Response{nullptr, floats};
            }
            if (k.kernelClass == 0) {
                int16_t* acc = acc16_.data();
                sumInteger(acc, n, k, src, y);
                const int shift = k.shift & 31;
                for (int j = 0; j < n; ++j)
                    ints[j] = acc[j] >> shift;
            } else {
                sumInteger(ints, n, k, src, y);
                if (k.shift != 0) {
                    for (int j = 0; j < n; ++j)
                        ints[j] = shiftRight(ints[j], k.shift);
                }
            }
            return Response{ints, nullptr};
        }
    }

    // One kernel: the method acts on the response alone.
    Response single(const OwnConvStage& k, const OwnLaneRows<T>& src, int y)
    {
        Response r = respond(k, src, y);
        const int n = n_;
        if (plan_.method == ZAN_COMBINE_SUM_SQUARES) {
            if (r.floats) {
                for (int j = 0; j < n; ++j)
                    r.floats[j] = r.floats[j] * r.floats[j];
            } else if (k.kernelClass == 0) {
                for (int j = 0; j < n; ++j)
                    r.ints[j] = static_cast<int16_t>(static_cast<uint16_t>(wrapSquare(r.ints[j])));
            } else {
                for (int j = 0; j < n; ++j)
                    r.ints[j] = wrapSquare(r.ints[j]);
            }
        } else if (plan_.method == ZAN_COMBINE_ROOT_SUM_SQUARES) {
            if (r.floats) {
                for (int j = 0; j < n; ++j)
                    r.floats[j] = std::fabs(r.floats[j]);
            } else {
                for (int j = 0; j < n; ++j)
                    r.ints[j] = wrapAbs(r.ints[j]);
            }
        }
        return r;
    }

    Response combined(const OwnLaneRows<T>& src, int y)
    {
        const int method = plan_.method;
        const bool squares =
            method == ZAN_COMBINE_SUM_SQUARES || method == ZAN_COMBINE_ROOT_SUM_SQUARES;
        const int n = n_;
        if (plan_.integerCombine) {
            int32_t* row = combinedInts_.data();
            for (int i = 0; i < plan_.nKernels; ++i) {
                const int32_t* r = respond(plan_.stages[i], src, y).ints;
                for (int j = 0; j < n; ++j)
                    row[j] = combineInt(i == 0, method, row[j], squares ? r[j] * r[j] : r[j]);
            }
            if (method == ZAN_COMBINE_ROOT_SUM_SQUARES) {
                for (int j = 0; j < n; ++j)
                    row[j] = roundToInt(std::sqrt(static_cast<double>(static_cast<uint32_t>(row[j]))));
            }
            return Response{row, nullptr};
        }
        float* row = combinedFloats_.data();
        for (int i = 0; i < plan_.nKernels; ++i) {
            const Response r = respond(plan_.stages[i], src, y);
            for (int j = 0; j < n; ++j) {
                double term;
                if (r.ints)
                    term = squares ? static_cast<double>(r.ints[j]) * r.ints[j] : r.ints[j];
                else
                    term = squares ? r.floats[j] * r.floats[j] : r.floats[j];
                row[j] = combineFloat(i == 0, method, row[j], term);
            }
        }
        if (method == ZAN_COMBINE_ROOT_SUM_SQUARES) {
            for (int j = 0; j < n; ++j)
                row[j] = std::sqrt(row[j]);
        }
        return Response{nullptr, row};
    }

    static int32_t combineInt(bool first, int method, int32_t row, int32_t term)
    {
        if (first)
            return term;
        switch (method) {
        case ZAN_COMBINE_MAX: return std::max(row, term);
        case ZAN_COMBINE_MIN: return std::min(row, term);
        default: return static_cast<int32_t>(static_cast<uint32_t>(row) + static_cast<uint32_t>(term));
        }
    }

    static float combineFloat(bool first, int method, float row, double term)
    {
        if (first)
            return static_cast<float>(term);
        switch (method) {
        case ZAN_COMBINE_MAX: return static_cast<float>(std::max<double>(row, term));
        case ZAN_COMBINE_MIN: return static_cast<float>(std::min<double>(row, term));
        default: return static_cast<float>(row + term);
        }
    }

    const OwnConvPlan& plan_;
    int n_;
    OwnBuffer<int16_t> acc16_;
    OwnBuffer<int32_t> ints_;
    OwnBuffer<float> floats_;
    OwnBuffer<int32_t> combinedInts_;
    OwnBuffer<float> combinedFloats_;
};

template <class Out, class Value, class Convert>
void storeRow(Out* out, int jStep, const Value* values, int n, const uint8_t* mask, int maskX0,
              int group, Convert convert)
{
    if (!mask && jStep == 1) {
        for (int j = 0; j < n; ++j)
            out[j] = convert(values[j]);
        return;
    }
    for (int j = 0; j < n; ++j) {
        if (mask && !ownGetBit(mask, maskX0 + j / group))
            continue;
        out[static_cast<std::ptrdiff_t>(j) * jStep] = convert(values[j]);
    }
}

template <class Out>
void store(const OwnLaneOut<Out>& out, int y, const Response& r, int n, const OwnNbhdPiece& piece)
{
    const uint8_t* mask = piece.mask ? piece.mask->row(y) : nullptr;
    const int maskX0 = piece.mask ? piece.mask->x0 : 0;
    if (r.ints)
        storeRow(out.row(y), out.jStep, r.ints, n, mask, maskX0, out.group, fromInt<Out>);
    else
        storeRow(out.row(y), out.jStep, r.floats, n, mask, maskX0, out.group, fromFloat<Out>);
}

template <class T>
bool convolveSamples(const OwnConvPlan& plan, const OwnNbhdPiece& piece)
{
    const int groupMax = plan.lanes.interleaved ? plan.lanes.count : 1;
    Engine<T> engine(plan, piece.width * groupMax);
    if (!engine.ok())
        return false;
    for (int i = 0; i < plan.lanes.laneCount(); ++i) {
        const OwnLane lane = plan.lanes.lane(i);
        const OwnLaneRows<T> src = ownLaneRows<T>(piece.src, lane);
        const OwnLaneOut<T> out = ownLaneOut<T>(piece.dst, lane);
        const int n = piece.width * lane.group;
        for (int y = 0; y < piece.height; ++y)
            store(out, y, engine.row(src, y, n), n, piece);
    }
    return true;
}

// 1-bit images: the source with its margins expanded to bytes of 0 and 1,
// the byte pipeline, and the result packed back into bits.
bool convolveBits(const OwnConvPlan& plan, const OwnNbhdPiece& piece, const OwnMargins& margins)
{
    OwnExpandedBits bits;
    Engine<uint8_t> engine(plan, piece.width);
    if (!ownExpandBits(piece, margins, &bits) || !engine.ok())
        return false;
    const OwnLaneRows<uint8_t>& src = bits.rows;
    for (int y = 0; y < piece.height; ++y) {
        const Response r = engine.row(src, y, piece.width);
        auto* out = reinterpret_cast<uint8_t*>(piece.dst.row(y));
        const uint8_t* mask = piece.mask ? piece.mask->row(y) : nullptr;
        for (int x = 0; x < piece.width; ++x) {
            if (mask && !ownGetBit(mask, piece.mask->x0 + x))
                continue;
            ownSetBit(out, piece.dst.x0 + x, r.ints ? r.ints[x] > 0 : r.floats[x] > 0.5f);
        }
    }
    return true;
}

} // namespace

bool ownConvolvePiece(const OwnConvPlan& plan, const OwnNbhdPiece& piece)
{
    if (plan.depth == ZAN_DEPTH_1U)
        return convolveBits(plan, piece, plan.margins);
    bool done = true;
    ownWithSampleType(plan.depth, [&](auto type) {
        using T = typename decltype(type)::type;
        done = convolveSamples<T>(plan, piece);
    });
    return done;
}
