// zanErode with a 3 by 3 square and zanBlur with a 5 by 5 window on
// 2048 x 2048 8U images, each against a plain scalar loop over the interior.
#include "bench_util.h"

#include <algorithm>

namespace {

constexpr int kSide = 2048;

// The plain loop: every interior pixel, the minimum of its 3 by 3 square.
void BM_MorphScalarErode3x3_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const int step = src->widthStep;
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int y = 1; y < kSide - 1; ++y) {
            for (int x = 1; x < kSide - 1; ++x) {
                uint8_t m = 255;
                for (int r = -1; r <= 1; ++r)
                    for (int c = -1; c <= 1; ++c)
                        m = std::min(m, s[(y + r) * step + x + c]);
                d[y * step + x] = m;
            }
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_MorphScalarErode3x3_8U)->Unit(benchmark::kMillisecond);

void BM_MorphErode3x3_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        zanErode(src.get(), dst.get(), 1);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_MorphErode3x3_8U)->Unit(benchmark::kMillisecond);

// The plain loop: every interior pixel, the 5 by 5 sum times the reciprocal.
void BM_MorphScalarBlur5x5_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const int step = src->widthStep;
    const float scale = 1.0f / 25.0f;
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int y = 2; y < kSide - 2; ++y) {
            for (int x = 2; x < kSide - 2; ++x) {
                int sum = 0;
                for (int r = -2; r <= 2; ++r)
                    for (int c = -2; c <= 2; ++c)
                        sum += s[(y + r) * step + x + c];
                d[y * step + x] = static_cast<uint8_t>(static_cast<double>(sum) * scale);
            }
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_MorphScalarBlur5x5_8U)->Unit(benchmark::kMillisecond);

void BM_MorphBlur5x5_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        zanBlur(src.get(), dst.get(), 5, 5, 2, 2);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_MorphBlur5x5_8U)->Unit(benchmark::kMillisecond);

} // namespace
