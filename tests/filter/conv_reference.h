// Reference convolution of the tests, pixel by pixel from the formulas: the
// border rule per coordinate, the kernel classes, the shift, the combination
// methods and the conversion to the depth.
#pragma once

#include "../arith/reference.h"
#include "zan.h"
#include "zan_test.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace cref {

// A kernel as the caller gives it.
struct Kernel {
    int nCols = 1;
    int nRows = 1;
    int anchorX = 0;
    int anchorY = 0;
    std::vector<int32_t> values;
    std::vector<float> valuesFP;
    int shift = 0;
};

using ref::highest;
using ref::lowest;

// A random image shape of a depth: small, with 1, 3 or 4 channels (maybe
// alpha) in either order above 1 bit.
inline zt::Shape randomShape(uint32_t depth, std::mt19937& rng)
{
    zt::Shape shape;
    shape.depth = depth;
    shape.width = 1 + static_cast<int>(rng() % 30);
    shape.height = 1 + static_cast<int>(rng() % 30);
    shape.align = rng() % 2 ? 4 : 8;
    if (depth != ZAN_DEPTH_1U) {
        const int channels[] = {1, 1, 3, 4};
        shape.channels = channels[rng() % 4];
        shape.order = rng() % 3 == 0 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
        shape.alpha = shape.channels == 4 && rng() % 2 ? 4 : 0;
    }
    return shape;
}

inline int classOf(const Kernel& k, uint32_t depth)
{
    if (depth == ZAN_DEPTH_32S || depth == ZAN_DEPTH_32F)
        return 2;
    double a = 0, b = 0;
    bool coefficients = true, products = true;
    auto in16 = [](double v) { return v >= -32768 && v <= 32767; };
    for (int32_t c : k.values) {
        const double p = c * lowest(depth), q = c * highest(depth);
        a += std::max(p, q);
        b += std::min(p, q);
        coefficients = coefficients && in16(c);
        products = products && in16(p) && in16(q);
    }
    int result = 2;
    if (b > -32768 && a < 32767 && coefficients)
        result = products ? 0 : 1;
    else if (b > -2147483648.0 && a < 2147483647.0 && coefficients)
        result = 1;
    if (result == 0 && (depth == ZAN_DEPTH_16U || depth == ZAN_DEPTH_16S))
        result = 1;
    return result;
}

inline int mapCoordinate(int c, int length, int mode)
{
    if (c >= 0 && c < length)
        return c;
    switch (mode) {
    case ZAN_BORDER_REPLICATE: return c < 0 ? 0 : length - 1;
    case ZAN_BORDER_REFLECT: {
        const int period = 2 * length;
        c = ((c + length) % period + period) % period - length;
        return c < 0 ? -c - 1 : c;
    }
    default: return (c % length + length) % length;
    }
}

// A sample anywhere: inside the image, or by the governing side's mode.
inline double borderSample(const ZanImage* image, int x, int y, int channel)
{
    int side = -1;
    if (y < 0)
        side = ZAN_SIDE_TOP_INDEX;
    else if (y >= image->height)
        side = ZAN_SIDE_BOTTOM_INDEX;
    else if (x < 0)
        side = ZAN_SIDE_LEFT_INDEX;
    else if (x >= image->width)
        side = ZAN_SIDE_RIGHT_INDEX;
    if (side >= 0) {
        const int mode = image->borderMode[side] & 3;
        if (mode == ZAN_BORDER_CONSTANT) {
            const double value = image->borderConst[side];
            if (image->depth == ZAN_DEPTH_1U)
                return value > 0 ? 1 : 0;
            if (image->depth == ZAN_DEPTH_32F || image->depth == ZAN_DEPTH_32S)
                return image->depth == ZAN_DEPTH_32F ? static_cast<float>(value) : value;
            return std::clamp(value, lowest(image->depth), highest(image->depth));
        }
        x = mapCoordinate(x, image->width, mode);
        y = mapCoordinate(y, image->height, mode);
    }
    return zt::sampleAt(image, x, y, channel);
}

// One kernel's response after its shift: exact integer or float.
struct Response {
    bool isInt;
    int64_t i;
    float f;
};

inline int32_t roundToInt(double v)
{
    const double r = std::nearbyint(v);
    if (!(r > -2147483648.0))
        return INT32_MIN;
    if (r > 2147483647.0)
        return INT32_MAX;
    return static_cast<int32_t>(r);
}

// The response at pixel (x, y) of the image; sample(X, Y) reads the source.
template <class Sample>
Response respond(const Kernel& k, int kernelClass, bool fp, int x, int y, Sample sample,
                 bool wholeSum = false)
{
    const int n = k.nCols * k.nRows;
    auto at = [&](int index) { // caller's index -> source sample
        return sample(x + k.anchorX - index % k.nCols, y + k.anchorY - index / k.nCols);
    };
    if (fp && wholeSum) {
        double sum = 0;
        for (int i = n - 1; i >= 0; --i)
            sum += double(k.valuesFP[i]) * at(i);
        return {false, 0, static_cast<float>(sum)};
    }
    if (fp) {
        // Stored rows in pairs; stored index s is the caller's n - 1 - s.
        float acc = 0;
        int r = 0;
        for (; r + 1 < k.nRows; r += 2)
            for (int c = 0; c < k.nCols; ++c) {
                const int s0 = n - 1 - (r * k.nCols + c), s1 = n - 1 - ((r + 1) * k.nCols + c);
                acc = static_cast<float>(acc + (at(s0) * double(k.valuesFP[s0]) +
                                                at(s1) * double(k.valuesFP[s1])));
            }
        for (int c = 0; r < k.nRows && c < k.nCols; ++c) {
            const int s0 = n - 1 - (r * k.nCols + c);
            acc = static_cast<float>(acc + at(s0) * double(k.valuesFP[s0]));
        }
        return {false, 0, acc};
    }
    if (kernelClass < 2) {
        int64_t sum = 0;
        for (int i = 0; i < n; ++i)
            sum += static_cast<int64_t>(k.values[i]) * static_cast<int64_t>(at(i));
        return {true, static_cast<int32_t>(sum) >> (k.shift & 31), 0};
    }
    float acc = 0;
    for (int i = n - 1; i >= 0; --i)
        if (k.values[i] != 0)
            acc = static_cast<float>(acc + double(k.values[i]) * double(static_cast<float>(at(i))));
    if (k.shift != 0)
        acc = static_cast<float>(roundToInt(acc) >> (k.shift & 31));
    return {false, 0, acc};
}

// The value stored into a sample of the depth from an integer or a float.
inline double fromInt(int64_t v, uint32_t depth)
{
    if (depth == ZAN_DEPTH_1U)
        return v > 0 ? 1 : 0;
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(v);
    if (depth == ZAN_DEPTH_32S)
        return static_cast<int32_t>(v);
    return std::clamp<double>(static_cast<double>(v), lowest(depth), highest(depth));
}

inline double fromFloat(float v, uint32_t depth)
{
    if (depth == ZAN_DEPTH_32F)
        return v;
    if (depth == ZAN_DEPTH_1U)
        return v > 0.5f ? 1 : 0;
    return std::clamp<double>(roundToInt(v), lowest(depth), highest(depth));
}

// Whether a float kernel on images of this kind sums all its products in
// double: 3 by 3 or 5 by 5, planes or pixels of 1 or 3 samples, no COI, no
// alpha.
inline bool wholeSum(const Kernel& k, bool plainChannels)
{
    return plainChannels && k.nCols == k.nRows && (k.nCols == 3 || k.nCols == 5);
}

// The output sample of several kernels combined by method at one pixel.
template <class Sample>
double convolvePixel(const std::vector<Kernel>& kernels, int method, uint32_t depth, bool fp,
                     int x, int y, Sample sample, bool plainChannels = false)
{
    std::vector<int> classes;
    bool allNarrow = true;
    for (const Kernel& k : kernels) {
        classes.push_back(fp ? 2 : classOf(k, depth));
        allNarrow = allNarrow && classes.back() == 0;
    }
    const bool squares = method == 1 || method == 2;
    if (kernels.size() == 1) {
        Response r = respond(kernels[0], classes[0], fp, x, y, sample,
                             wholeSum(kernels[0], plainChannels));
        if (r.isInt) {
            int32_t v = static_cast<int32_t>(r.i);
            const uint32_t u = static_cast<uint32_t>(v);
            if (method == 1)
                v = classes[0] == 0 ? int16_t(uint16_t(u * u)) : int32_t(u * u);
            else if (method == 2)
                v = v < 0 ? int32_t(0u - u) : v;
            return fromInt(v, depth);
        }
        if (method == 1)
            r.f = r.f * r.f;
        else if (method == 2)
            r.f = std::fabs(r.f);
        return fromFloat(r.f, depth);
    }
    if (allNarrow) {
        uint32_t row = 0;
        for (std::size_t i = 0; i < kernels.size(); ++i) {
            const int32_t v = static_cast<int32_t>(respond(kernels[i], 0, false, x, y, sample).i);
            const int32_t term = squares ? v * v : v;
            if (i == 0)
                row = static_cast<uint32_t>(term);
            else if (method == 3)
                row = static_cast<uint32_t>(std::max(static_cast<int32_t>(row), term));
            else if (method == 4)
                row = static_cast<uint32_t>(std::min(static_cast<int32_t>(row), term));
            else
                row += static_cast<uint32_t>(term);
        }
        if (method == 2)
            return fromInt(roundToInt(std::sqrt(static_cast<double>(row))), depth);
        return fromInt(static_cast<int32_t>(row), depth);
    }
    float row = 0;
    for (std::size_t i = 0; i < kernels.size(); ++i) {
        const Response r = respond(kernels[i], classes[i], fp, x, y, sample,
                                   wholeSum(kernels[i], plainChannels));
        double term;
        if (r.isInt)
            term = squares ? double(r.i) * double(r.i) : double(r.i);
        else
            term = squares ? double(r.f * r.f) : double(r.f);
        if (i == 0)
            row = static_cast<float>(term);
        else if (method == 3)
            row = static_cast<float>(std::max<double>(row, term));
        else if (method == 4)
            row = static_cast<float>(std::min<double>(row, term));
        else
            row = static_cast<float>(row + term);
    }
    if (method == 2)
        row = std::sqrt(row);
    return fromFloat(row, depth);
}

} // namespace cref
