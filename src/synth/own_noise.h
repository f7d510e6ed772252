// The noise generator: a subtract-with-borrow sequence with lags 2 and 3
// and modulus 2^32 - 18, added to a congruential sequence, and the polar
// method that turns its values into normally distributed samples. The
// sequence is fixed exactly, so a seed gives the same noise everywhere.
#pragma once

#include <cmath>
#include <cstdint>

// The generator's state for one call; integers wrap at 32 bits.
struct OwnNoiseState {
    uint32_t lcg;    // congruential term
    uint32_t b;      // last lagged value
    uint32_t c;      // the one before
    uint32_t d;      // the one before that
    uint32_t borrow; // 0 or 1
    bool fresh;      // Gaussian: the next sample needs a new pair
    double factor;   // Gaussian: scale of the pending sample
    double pending;  // Gaussian: the second sample of the pair
};

constexpr uint32_t kOwnLcgMultiplier = 69069u;
constexpr uint32_t kOwnLcgAddend = 1013904243u;

inline OwnNoiseState ownNoiseStart(uint32_t seed)
{
    OwnNoiseState state{};
    state.lcg = 0x436CBAE9u;
    state.b = seed;
    state.c = state.b * kOwnLcgMultiplier + kOwnLcgAddend;
    state.d = state.c * kOwnLcgMultiplier + kOwnLcgAddend;
    state.borrow = 1;
    state.fresh = true;
    return state;
}

// One step of the generator: its 32-bit result.
inline uint32_t ownNoiseStep(OwnNoiseState& s)
{
    const uint32_t t = s.c - s.d - s.borrow;
    const bool negative = (t & 0x80000000u) != 0;
    const uint32_t x = negative ? t - 18u : t;
    s.borrow = negative ? 1u : 0u;
    s.lcg = s.lcg * kOwnLcgMultiplier + kOwnLcgAddend;
    s.d = s.c;
    s.c = s.b;
    s.b = x;
    return x + s.lcg;
}

// A normally distributed sample of mean 0 and deviation 1: the pending one
// of the last pair, or the first of a new pair from two steps read as signed
// values (the second step's value comes out first).
inline double ownNoiseGaussian(OwnNoiseState& s)
{
    if (!s.fresh) {
        s.fresh = true;
        return s.factor * s.pending;
    }
    constexpr double kScale = 4.656612873077e-10;
    double a;
    double e;
    double sum;
    do {
        a = static_cast<int32_t>(ownNoiseStep(s)) * kScale;
        e = static_cast<int32_t>(ownNoiseStep(s)) * kScale;
        sum = e * e + a * a;
    } while (sum >= 1.0 || sum == 0.0);
    s.factor = std::sqrt((-2.0 / sum) * std::log(sum));
    s.fresh = false;
    s.pending = a;
    return s.factor * e;
}
