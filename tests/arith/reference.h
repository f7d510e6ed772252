// Reference arithmetic of the tests, written from the rules of each depth:
// exact results clamped to the depth's range, single-precision floats.
#pragma once

#include "zan.h"
#include "zan_test.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ref {

inline double lowest(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_8S: return -128;
    case ZAN_DEPTH_16S: return -32768;
    case ZAN_DEPTH_32S: return -2147483648.0;
    default: return 0;
    }
}

inline double highest(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return 1;
    case ZAN_DEPTH_8U: return 255;
    case ZAN_DEPTH_8S: return 127;
    case ZAN_DEPTH_16U: return 65535;
    case ZAN_DEPTH_16S: return 32767;
    default: return 2147483647.0;
    }
}

// An exact integer result brought into the depth's range; floats rounded to
// single precision.
inline double saturate(uint32_t depth, double exact)
{
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(exact);
    return std::clamp(exact, lowest(depth), highest(depth));
}

inline double add(uint32_t depth, double a, double b)
{
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(a) + static_cast<float>(b);
    return saturate(depth, a + b);
}

inline double subtract(uint32_t depth, double a, double b)
{
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(a) - static_cast<float>(b);
    return saturate(depth, a - b);
}

inline double multiply(uint32_t depth, double a, double b)
{
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(a) * static_cast<float>(b);
    // A product beyond 2^53 is inexact in a double, but then it is far
    // beyond the 32-bit range and clamps all the same.
    return saturate(depth, a * b);
}

inline int bitsOf(uint32_t depth) { return static_cast<int>(depth & ZAN_DEPTH_MASK); }

// The value of the low bits of v read as a sample of the depth.
inline double wrapTo(uint32_t depth, int64_t v)
{
    const int bits = bitsOf(depth);
    const uint64_t mask = bits == 64 ? ~0ull : (1ull << bits) - 1;
    const uint64_t low = static_cast<uint64_t>(v) & mask;
    if ((depth & ZAN_DEPTH_SIGN) && (low >> (bits - 1)))
        return static_cast<double>(static_cast<int64_t>(low) - (int64_t{1} << bits));
    return static_cast<double>(low);
}

// A case of an operation on one value: its name, depth, source value, the
// call, the result expected in every value and the reports "function: context".
struct RowCase {
    const char* name;
    uint32_t depth;
    double a;
    std::function<void(ZanImage*, ZanImage*)> call;
    double result;
    std::vector<std::string> reports;
};

// The results of call on a row of 70 values, every one of them a: long
// enough for packed blocks and a value-at-a-time tail.
inline std::vector<double> rowResults(uint32_t depth, double a,
                                      const std::function<void(ZanImage*, ZanImage*)>& call)
{
    zt::Image src = zt::makeImage(zt::Shape{depth, 1, 70, 1});
    zt::Image dst = zt::makeImage(zt::Shape{depth, 1, 70, 1});
    for (int x = 0; x < 70; ++x)
        zt::setSampleAt(src.get(), x, 0, 0, a);
    call(src.get(), dst.get());
    std::vector<double> results;
    for (int x = 0; x < 70; ++x)
        results.push_back(zt::sampleAt(dst.get(), x, 0, 0));
    return results;
}

} // namespace ref
