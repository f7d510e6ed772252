// The colour-model formulas computed here, sample by sample, for the tests:
// fixed point by exact integer arithmetic with floor division, doubles and
// floats as the formulas state them.
#pragma once

#include "zan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace ct {

using Px = std::array<double, 3>;

// v / 2^n rounded down: an arithmetic right shift.
inline double floorShift(double v, int n) { return std::floor(v / std::ldexp(1.0, n)); }

inline double clampTo(double v, double low, double high) { return std::min(std::max(v, low), high); }

// Clamped to the signed 32-bit range and truncated.
inline double trunc32(double v) { return std::trunc(clampTo(v, -2147483648.0, 2147483647.0)); }

inline double fullScale(uint32_t depth)
{
    return depth == ZAN_DEPTH_8U ? 255.0 : depth == ZAN_DEPTH_16U ? 65535.0 : 4294967295.0;
}

// A 32S sample as HSV, HLS and XYZ count it.
inline double unsignedOf(uint32_t depth, double x) { return depth == ZAN_DEPTH_32S ? x + 2147483648.0 : x; }

inline Px rgbToYuv(uint32_t depth, const Px& p)
{
    if (depth == ZAN_DEPTH_32F) {
        const float r = float(p[0]), g = float(p[1]), b = float(p[2]);
        return {0.299f * r + 0.587f * g + 0.114f * b, -0.146f * r - 0.288f * g + 0.434f * b,
                0.617f * r - 0.517f * g - 0.1f * b};
    }
    const double r = p[0], g = p[1], b = p[2];
    if (depth == ZAN_DEPTH_32S)
        return {trunc32(0.299 * r + 0.587 * g + 0.114 * b), trunc32(-0.146 * r - 0.288 * g + 0.434 * b),
                trunc32(0.617 * r - 0.517 * g - 0.1 * b)};
    const double m = fullScale(depth);
    const double mid = depth == ZAN_DEPTH_8U ? 127 : 32767;
    return {std::min(floorShift(9798 * r + 19235 * g + 3736 * b, 15), m),
            clampTo(floorShift(-4784 * r - 9437 * g + 14221 * b, 15) + mid, 0, m),
            clampTo(floorShift(20218 * r - 16941 * g - 3277 * b, 15) + mid, 0, m)};
}

inline Px yuvToRgb(uint32_t depth, const Px& p)
{
    if (depth == ZAN_DEPTH_32F) {
        const float y = float(p[0]), u = float(p[1]), v = float(p[2]);
        return {y + 1.135920183f * v, y - 0.3959190767f * u - 0.5782887929f * v, y + 2.041101518f * u};
    }
    if (depth == ZAN_DEPTH_32S)
        return {trunc32(p[0] + 1.135920183 * p[2]), trunc32(p[0] - 0.3959190767 * p[1] - 0.5782887929 * p[2]),
                trunc32(p[0] + 2.041101518 * p[1])};
    const double m = fullScale(depth);
    const double mid = depth == ZAN_DEPTH_8U ? 127 : 32767;
    const double y = p[0], u = p[1] - mid, v = p[2] - mid;
    return {clampTo(y + floorShift(37222 * v - 31 * u, 15), 0, m),
            clampTo(y + floorShift(-12974 * u - 18949 * v, 15), 0, m),
            clampTo(y + floorShift(66883 * u - 53 * v, 15), 0, m)};
}

// The 8U pixel-to-plane form with 16 fractional bits.
inline Px rgbToYuvPlanes(const Px& p)
{
    const double r = p[0], g = p[1], b = p[2];
    const double s = 7471 * b + 19595 * r + 38470 * g;
    const double u = floorShift(floorShift(b * 65536 - s + 32767, 16) * 32244, 16) + 128;
    return {floorShift(s, 16), double(uint8_t(int(u) & 0xFF)),
            clampTo(floorShift(floorShift(r * 65536 - s + 32767, 16) * 57475, 16) + 128, 0, 255)};
}

inline Px yuvPlanesToRgb(const Px& p)
{
    const double y = p[0] * 65536, u = p[1] - 128, v = p[2] - 128;
    return {clampTo(floorShift(y + 74710 * v, 16), 0, 255), clampTo(floorShift(y - 25820 * u - 38075 * v, 16), 0, 255),
            clampTo(floorShift(y + 133168 * u, 16), 0, 255)};
}

inline Px rgbToYCrCb(uint32_t depth, const Px& p)
{
    if (depth == ZAN_DEPTH_32F) {
        const float r = float(p[0]), g = float(p[1]), b = float(p[2]);
        return {0.299f * r + 0.587f * g + 0.114f * b, -0.1687359f * r - 0.331264f * g + 0.5f * b + 0.5f,
                0.5f * r - 0.41868759f * g - 0.08131241f * b + 0.5f};
    }
    const double r = p[0], g = p[1], b = p[2];
    if (depth == ZAN_DEPTH_32S)
        return {std::trunc(0.299 * r + 0.587 * g + 0.114 * b), std::trunc(-0.1687359 * r - 0.331264 * g + 0.5 * b),
                std::trunc(0.5 * r - 0.41868759 * g - 0.08131241 * b)};
    if (depth == ZAN_DEPTH_16U)
        return {floorShift(4899 * r + 9617 * g + 1868 * b + 8192, 14),
                floorShift(-2765 * r - 5427 * g + 8192 * b + 536870912, 14),
                floorShift(8192 * r - 6860 * g - 1332 * b + 536870912, 14)};
    const double y = floorShift(4898 * r + 9617 * g + 1867 * b + 8192, 14);
    return {y, floorShift((b - y) * 9246 + 2097152, 14), floorShift((r - y) * 11686 + 2097152, 14)};
}

inline Px yCrCbToRgb(uint32_t depth, const Px& p)
{
    const double y = p[0], cb = p[1], cr = p[2];
    if (depth == ZAN_DEPTH_32F) {
        const float fy = float(y), fb = float(cb), fr = float(cr);
        return {std::max(fy + 1.402f * fr - 0.701f, 0.0f),
                std::max(fy - 0.3441363f * fb - 0.7141363f * fr + 0.5291363f, 0.0f),
                std::max(fy + 1.772f * fb - 0.886f, 0.0f)};
    }
    if (depth == ZAN_DEPTH_32S)
        return {trunc32(y + 1.4019999991573 * cr), trunc32(y - 0.34413629776123 * cb - 0.71413631643017 * cr),
                trunc32(y + 1.7720000660742 * cb)};
    const double m = fullScale(depth);
    const bool wide = depth == ZAN_DEPTH_16U;
    return {clampTo(y + floorShift(22970 * cr - (wide ? 752669475 : 2928675), 14), 0, m),
            clampTo(y - floorShift(5638 * cb + 11700 * cr - (wide ? 568122915 : 2210595), 14), 0, m),
            clampTo(y + floorShift(29032 * cb - (wide ? 951306060 : 3701580), 14), 0, m)};
}

// Gamma table entry: 0.72197 i to nearest, at most 255, index held to 0..360.
inline double yccGamma(double index)
{
    const double i = clampTo(index, 0, 360);
    return std::min(std::floor(0.72197 * i + 0.5), 255.0);
}

inline Px yccToRgb(const Px& p)
{
    const double y = p[0], c1 = p[1], c2 = p[2];
    return {yccGamma(floorShift(22256 * y + 29844 * c2 - 4088627, 14)),
            yccGamma(floorShift(22256 * y - 7050 * c1 - 15190 * c2 + 3180809, 14)),
            yccGamma(floorShift(22256 * y + 36338 * c1 - 5668739, 14))};
}

inline std::array<float, 3> rgbToXyzFloat(float r, float g, float b)
{
    return {0.412453f * r + 0.35758f * g + 0.180423f * b, 0.212671f * r + 0.71516f * g + 0.072169f * b,
            0.019334f * r + 0.119193f * g + 0.950227f * b};
}

inline std::array<float, 3> xyzToRgbFloat(float x, float y, float z)
{
    return {3.240479f * x - 1.53715f * y - 0.498535f * z, -0.969256f * x + 1.875992f * y + 0.041556f * z,
            0.055648f * x - 0.204043f * y + 1.057311f * z};
}

inline Px rgbToXyz(uint32_t depth, const Px& p)
{
    const double r = p[0], g = p[1], b = p[2];
    if (depth == ZAN_DEPTH_32F) {
        const auto v = rgbToXyzFloat(float(r), float(g), float(b));
        return {v[0], v[1], v[2]};
    }
    if (depth == ZAN_DEPTH_32S)
        return {trunc32(0.412453 * r + 0.35758 * g + 0.180423 * b + 2041088718.143488 - 2147483648.0),
                trunc32(0.212671 * r + 0.71516 * g + 0.072169 * b),
                trunc32(0.019334 * r + 0.119193 * g + 0.950227 * b + 2338081411.694592 - 2147483648.0)};
    return {floorShift(6758 * r + 5859 * g + 2956 * b + 8192, 14), floorShift(3484 * r + 11717 * g + 1182 * b + 8192, 14),
            std::min(floorShift(317 * r + 1953 * g + 15569 * b + 8192, 14), fullScale(depth))};
}

inline Px xyzToRgb(uint32_t depth, const Px& p)
{
    if (depth == ZAN_DEPTH_32F) {
        const auto v = xyzToRgbFloat(float(p[0]), float(p[1]), float(p[2]));
        return {v[0], v[1], v[2]};
    }
    if (depth == ZAN_DEPTH_32S) {
        const double x = p[0], y = p[1], z = p[2];
        return {trunc32(3.2404813432005 * x - 1.5371515162713 * y - 0.49853632616889 * z + 2587274342.0994415 - 2147483648.0),
                trunc32(-0.96925494999657 * x + 1.8759900014899 * y + 0.041555926558293 * z + 2036439368.9117873 - 2147483648.0),
                trunc32(0.055646639135177 * x - 0.20404133836651 * y + 1.0573110696453 * z + 1951883042.8635051 - 2147483648.0)};
    }
    const bool wide = depth == ZAN_DEPTH_16U;
    const double x = wide ? floorShift(p[0], 8) : p[0];
    const double y = wide ? floorShift(p[1], 8) : p[1];
    const double z = wide ? floorShift(p[2], 8) : p[2];
    const int shift = wide ? 6 : 14;
    const double m = fullScale(depth);
    return {clampTo(floorShift(53092 * x - 25185 * y - 8168 * z + 8192, shift), 0, m),
            clampTo(floorShift(-15880 * x + 30736 * y + 681 * z + 8192, shift), 0, m),
            clampTo(floorShift(912 * x - 3343 * y + 17323 * z + 8192, shift), 0, m)};
}

inline Px rgbToLuv(uint32_t, const Px& p)
{
    const auto xyz = rgbToXyzFloat(float(p[0]), float(p[1]), float(p[2]));
    if (double(xyz[1]) <= 0.01)
        return {0, 0, 0};
    const long double x = xyz[0], y = xyz[1], z = xyz[2];
    const long double l = 116.0L * powl(y, 0.3333333432674408L) - 16.0L;
    const long double d = 1.0L / (x + 15.0L * y + 3.0L * z);
    const long double u = (4.0L * d * x - 0.1978394091129303L) * 13.0L * l;
    const long double v = (9.0L * d * y - 0.47076964378356934L) * 13.0L * l;
    return {float(l), float(u), float(v)};
}

inline Px luvToRgb(uint32_t, const Px& p)
{
    const double l = float(p[0]), u = float(p[1]), v = float(p[2]);
    if (l <= 8.7)
        return {0, 0, 0};
    const double w = 1 / (13 * l);
    const double y = std::pow((l + 16) * 0.008620689655172414, 3.0);
    const double t = y / (v * w + 0.46834220078579);
    const double x = 2.25 * t * (u * w + 0.19783940212891);
    const double z = 3 * t - 5 * y - x / 3;
    const auto rgb = xyzToRgbFloat(float(x), float(y), float(z));
    return {rgb[0], rgb[1], rgb[2]};
}

inline double hueOf(double r, double g, double b, double mx, double d)
{
    double h;
    if (r == mx)
        h = 60 * (g - b) / d;
    else if (g == mx)
        h = 60 * (b - r) / d + 120;
    else
        h = 60 * (r - g) / d + 240;
    return h < 0 ? h + 360 : h;
}

inline double toDegreesFactor(uint32_t depth)
{
    return depth == ZAN_DEPTH_8U ? 1.4117647058823528 : depth == ZAN_DEPTH_16U ? 0.005493247882810711 : 8.38190317349087e-08;
}

inline double fromDegreesFactor(uint32_t depth)
{
    return depth == ZAN_DEPTH_8U ? 0.7083333333333334 : depth == ZAN_DEPTH_16U ? 182.04166666666669 : 11930464.708333334;
}

inline double inverseScale(uint32_t depth)
{
    return depth == ZAN_DEPTH_8U ? 0.00392156862745098 : depth == ZAN_DEPTH_16U ? 1.5259021896696422e-05 : 2.3283064370807974e-10;
}

inline Px rgbToHsv(uint32_t depth, const Px& p)
{
    const double r = unsignedOf(depth, p[0]), g = unsignedOf(depth, p[1]), b = unsignedOf(depth, p[2]);
    const double mx = std::max({r, g, b}), mn = std::min({r, g, b}), d = mx - mn;
    double s = 0, h = 0;
    if (mx != 0)
        s = d / mx;
    if (s != 0)
        h = hueOf(r, g, b, mx, d);
    if (depth == ZAN_DEPTH_32S)
        return {std::trunc(h * 11930464.708333334 - 2147483648.0 - 0.5), std::trunc(s * 4294967295.0 - 2147483648.0 - 0.5),
                std::trunc(mx - 2147483648.0 - 0.5)};
    return {std::trunc(h * fromDegreesFactor(depth)), std::trunc(s * fullScale(depth)), mx};
}

inline Px hsvToRgb(uint32_t depth, const Px& p)
{
    if (unsignedOf(depth, p[1]) == 0)
        return {p[2], p[2], p[2]};
    double h = unsignedOf(depth, p[0]) * toDegreesFactor(depth);
    if (h >= 360)
        h = 0;
    const double s = unsignedOf(depth, p[1]) * inverseScale(depth);
    const double v = unsignedOf(depth, p[2]);
    const int i = int(h / 60);
    const double f = h / 60 - i;
    auto out = [&](double x) {
        return depth == ZAN_DEPTH_32S ? std::trunc(x - 2147483648.0 - 0.5) : std::trunc(x);
    };
    const double pp = out((1 - s) * v), q = out((1 - f * s) * v), t = out((1 - (1 - f) * s) * v), vv = p[2];
    switch (i) {
    case 0: return {vv, t, pp};
    case 1: return {q, vv, pp};
    case 2: return {pp, vv, t};
    case 3: return {pp, q, vv};
    case 4: return {t, pp, vv};
    default: return {vv, pp, q};
    }
}

inline Px rgbToHls(uint32_t depth, const Px& p)
{
    const double m = fullScale(depth);
    const double r = unsignedOf(depth, p[0]), g = unsignedOf(depth, p[1]), b = unsignedOf(depth, p[2]);
    const double mx = std::max({r, g, b}), mn = std::min({r, g, b}), d = mx - mn, sum = mx + mn;
    const double l = 0.5 * sum;
    double h = 0, s = 0;
    if (d != 0) {
        s = l > m / 2 ? d / (2 * m - sum) : d / sum;
        h = hueOf(r, g, b, mx, d);
    }
    if (depth == ZAN_DEPTH_32S)
        return {std::trunc(h * 11930464.708333334 - 2147483648.0), std::trunc(l - 2147483648.0),
                std::trunc(s * 4294967295.0 - 2147483648.0)};
    return {std::trunc(h * fromDegreesFactor(depth)), std::trunc(l), std::trunc(s * m)};
}

inline Px hlsToRgb(uint32_t depth, const Px& p)
{
    double h = unsignedOf(depth, p[0]) * toDegreesFactor(depth);
    if (h >= 360)
        h = 0;
    const double l = unsignedOf(depth, p[1]) * inverseScale(depth);
    const double s = unsignedOf(depth, p[2]) * inverseScale(depth);
    if (s == 0)
        return {p[1], p[1], p[1]};
    const double m2 = l <= 0.5 ? l * (1 + s) : l + s - l * s;
    const double m1 = 2 * l - m2;
    auto channel = [&](double x) {
        double v;
        if (x < 60)
            v = m1 + (m2 - m1) * x / 60;
        else if (x < 180)
            v = m2;
        else if (x < 240)
            v = m1 + (m2 - m1) * (240 - x) / 60;
        else
            v = m1;
        return depth == ZAN_DEPTH_32S ? std::trunc(v * 4294967295.0 - 2147483648.0) : std::trunc(v * fullScale(depth));
    };
    double red = h + 120, blue = h - 120;
    if (red > 360)
        red -= 360;
    if (blue < 0)
        blue += 360;
    return {channel(red), channel(h), channel(blue)};
}

} // namespace ct
