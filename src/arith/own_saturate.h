// Saturating arithmetic on samples, stated once per depth. The vector
// kernels of the arithmetic operations give the same values.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

// value clamped to the range of the integer sample type T.
template <class T>
constexpr T ownSaturate(int64_t value)
{
    constexpr int64_t low = std::numeric_limits<T>::min();
    constexpr int64_t high = std::numeric_limits<T>::max();
    return static_cast<T>(value < low ? low : value > high ? high : value);
}

// Sums, differences and products saturate at the limits of the depth; their
// exact values fit in 64 bits for every integer depth. Floats follow the
// processor's single-precision arithmetic.
template <class T>
constexpr T ownAddSat(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>)
        return a + b;
    else
        return ownSaturate<T>(static_cast<int64_t>(a) + b);
}

template <class T>
constexpr T ownSubSat(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>)
        return a - b;
    else
        return ownSaturate<T>(static_cast<int64_t>(a) - b);
}

template <class T>
constexpr T ownMulSat(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>)
        return a * b;
    else
        return ownSaturate<T>(static_cast<int64_t>(a) * b);
}
