// Colour models and depth conversion against memcpy of the destination's
// bytes and plain scalar loops of the same arithmetic.
#include "bench_util.h"

#include <cmath>
#include <cstring>

namespace {

constexpr int kSide = 2048;

zb::Image rgbImage(uint32_t depth, const char* model)
{
    zb::Image image = zb::makeImage(depth, 3, kSide, kSide);
    char name[4] = {};
    std::memcpy(name, model, 3);
    std::memcpy(image->colorModel, name, 4);
    std::memcpy(image->channelSeq, name, 4);
    return image;
}

// Times a conversion; bytes are those of the destination.
template <class Call>
void conversionBench(benchmark::State& state, const zb::Image& dst, Call call)
{
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 1);
}

void BM_Memcpy_RGB8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 3); }
void BM_Memcpy_32F(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 4); }
void BM_Memcpy_16U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 2); }
void BM_Memcpy_8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_Memcpy_RGB8U)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy_32F)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy_16U)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy_8U)->Unit(benchmark::kMillisecond);

void BM_RGB2YCrCb_8U(benchmark::State& state)
{
    auto src = rgbImage(ZAN_DEPTH_8U, "RGB");
    auto dst = rgbImage(ZAN_DEPTH_8U, "YCr");
    conversionBench(state, dst, [&] { zanRGB2YCrCb(src.get(), dst.get()); });
}
BENCHMARK(BM_RGB2YCrCb_8U)->Unit(benchmark::kMillisecond);

// The fixed-point YCrCb rows as a plain loop over packed pixels.
void BM_ScalarYCrCb_8U(benchmark::State& state)
{
    auto src = rgbImage(ZAN_DEPTH_8U, "RGB");
    auto dst = rgbImage(ZAN_DEPTH_8U, "YCr");
    conversionBench(state, dst, [&] {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int i = 0; i < dst->imageSize; i += 3) {
            const int r = s[i], g = s[i + 1], b = s[i + 2];
            const int y = (4898 * r + 9617 * g + 1867 * b + 8192) >> 14;
            d[i] = static_cast<uint8_t>(y);
            d[i + 1] = static_cast<uint8_t>(((b - y) * 9246 + 2097152) >> 14);
            d[i + 2] = static_cast<uint8_t>(((r - y) * 11686 + 2097152) >> 14);
        }
    });
}
BENCHMARK(BM_ScalarYCrCb_8U)->Unit(benchmark::kMillisecond);

void BM_RGB2HSV_8U(benchmark::State& state)
{
    auto src = rgbImage(ZAN_DEPTH_8U, "RGB");
    auto dst = rgbImage(ZAN_DEPTH_8U, "HSV");
    conversionBench(state, dst, [&] { zanRGB2HSV(src.get(), dst.get()); });
}
BENCHMARK(BM_RGB2HSV_8U)->Unit(benchmark::kMillisecond);

// HSV in doubles as a plain loop over packed pixels.
void BM_ScalarHSV_8U(benchmark::State& state)
{
    auto src = rgbImage(ZAN_DEPTH_8U, "RGB");
    auto dst = rgbImage(ZAN_DEPTH_8U, "HSV");
    conversionBench(state, dst, [&] {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int i = 0; i < dst->imageSize; i += 3) {
            const double r = s[i], g = s[i + 1], b = s[i + 2];
            const double mx = std::max({r, g, b}), dd = mx - std::min({r, g, b});
            const double sat = mx != 0 ? dd / mx : 0;
            double h = 0;
            if (sat != 0) {
                h = r == mx ? 60 * (g - b) / dd : g == mx ? 60 * (b - r) / dd + 120 : 60 * (r - g) / dd + 240;
                if (h < 0)
                    h += 360;
            }
            d[i] = static_cast<uint8_t>(h * 0.7083333333333334);
            d[i + 1] = static_cast<uint8_t>(sat * 255);
            d[i + 2] = static_cast<uint8_t>(mx);
        }
    });
}
BENCHMARK(BM_ScalarHSV_8U)->Unit(benchmark::kMillisecond);

void BM_ScaleFP_8Uto32F(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_32F, 1, kSide, kSide);
    conversionBench(state, dst, [&] { zanScaleFP(src.get(), dst.get(), -1.0f, 3.0f); });
}
BENCHMARK(BM_ScaleFP_8Uto32F)->Unit(benchmark::kMillisecond);

void BM_ScalarScale_8Uto32F(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_32F, 1, kSide, kSide);
    const float scale = static_cast<float>(0.00392156862745098 * 4.0);
    conversionBench(state, dst, [&] {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<float*>(dst->imageData);
        for (int i = 0; i < kSide * kSide; ++i)
            d[i] = static_cast<float>(s[i]) * scale - 1.0f;
    });
}
BENCHMARK(BM_ScalarScale_8Uto32F)->Unit(benchmark::kMillisecond);

void BM_ScaleFP_32Fto8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_32F, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    float* p = reinterpret_cast<float*>(src->imageData);
    for (int i = 0; i < kSide * kSide; ++i)
        p[i] = static_cast<float>(i % 1000) / 400.0f - 0.5f;
    conversionBench(state, dst, [&] { zanScaleFP(src.get(), dst.get(), 0.0f, 2.0f); });
}
BENCHMARK(BM_ScaleFP_32Fto8U)->Unit(benchmark::kMillisecond);

// Float to 8U with clamping and rounding to nearest as a plain loop.
void BM_ScalarScale_32Fto8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_32F, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    float* p = reinterpret_cast<float*>(src->imageData);
    for (int i = 0; i < kSide * kSide; ++i)
        p[i] = static_cast<float>(i % 1000) / 400.0f - 0.5f;
    conversionBench(state, dst, [&] {
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int i = 0; i < kSide * kSide; ++i) {
            const float x = p[i];
            d[i] = x < 0 ? 0 : x > 2 ? 255 : static_cast<uint8_t>(std::nearbyint(x * 127.5));
        }
    });
}
BENCHMARK(BM_ScalarScale_32Fto8U)->Unit(benchmark::kMillisecond);

void BM_Convert_8Uto16U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_16U, 1, kSide, kSide);
    conversionBench(state, dst, [&] { zanConvert(src.get(), dst.get()); });
}
BENCHMARK(BM_Convert_8Uto16U)->Unit(benchmark::kMillisecond);

void BM_Convert_16Uto8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_16U, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    conversionBench(state, dst, [&] { zanConvert(src.get(), dst.get()); });
}
BENCHMARK(BM_Convert_16Uto8U)->Unit(benchmark::kMillisecond);

} // namespace
