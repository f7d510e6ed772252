// Norms and moments of 2048 x 2048 8U images against plain scalar loops and
// memcpy of the source bytes.
#include "bench_util.h"

#include <cmath>

namespace {

constexpr int kSide = 2048;

void BM_MeasureMemcpy8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_MeasureMemcpy8U)->Unit(benchmark::kMillisecond);

// The L2 norm of a difference as a plain loop over the same bytes.
void BM_ScalarNormL2_8U(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto b = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        const auto* pa = reinterpret_cast<const uint8_t*>(a->imageData);
        const auto* pb = reinterpret_cast<const uint8_t*>(b->imageData);
        uint64_t sum = 0;
        for (int i = 0; i < a->imageSize; ++i) {
            const int d = pa[i] - pb[i];
            sum += static_cast<uint64_t>(d * d);
        }
        benchmark::DoNotOptimize(std::sqrt(static_cast<double>(sum)));
    }
    zb::setBytes(state, a.get(), 2);
}
BENCHMARK(BM_ScalarNormL2_8U)->Unit(benchmark::kMillisecond);

void BM_NormL2_8U(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto b = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(zanNorm(a.get(), b.get(), ZAN_NORM_L2));
    zb::setBytes(state, a.get(), 2);
}
BENCHMARK(BM_NormL2_8U)->Unit(benchmark::kMillisecond);

void BM_NormL2_8U_OneImage(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(zanNorm(a.get(), nullptr, ZAN_NORM_L2));
    zb::setBytes(state, a.get(), 1);
}
BENCHMARK(BM_NormL2_8U_OneImage)->Unit(benchmark::kMillisecond);

// The ten moments as a plain loop: sums of v * x^k per row, then the powers
// of y.
void BM_ScalarMoments8U(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    for (auto _ : state) {
        double m[10] = {};
        for (int y = 0; y < kSide; ++y) {
            const auto* row = reinterpret_cast<const uint8_t*>(a->imageData + y * a->widthStep);
            double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
            for (int x = 0; x < kSide; ++x) {
                const double v = row[x], fx = x;
                s0 += v, s1 += v * fx, s2 += v * fx * fx, s3 += v * fx * fx * fx;
            }
            const double fy = y;
            m[0] += s0, m[1] += s1, m[2] += fy * s0, m[3] += s2, m[4] += fy * s1;
            m[5] += fy * fy * s0, m[6] += s3, m[7] += fy * s2, m[8] += fy * fy * s1;
            m[9] += fy * fy * fy * s0;
        }
        benchmark::DoNotOptimize(m);
    }
    zb::setBytes(state, a.get(), 1);
}
BENCHMARK(BM_ScalarMoments8U)->Unit(benchmark::kMillisecond);

void BM_Moments8U(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    ZanMomentTable table{};
    for (auto _ : state) {
        zanMoments(a.get(), &table);
        benchmark::DoNotOptimize(table);
    }
    zb::setBytes(state, a.get(), 1);
}
BENCHMARK(BM_Moments8U)->Unit(benchmark::kMillisecond);

} // namespace
