// Pixelwise arithmetic against memcpy of the same bytes and a plain loop.
#include "bench_util.h"

#include "arith/own_saturate.h"

namespace {

constexpr int kSide = 4096;

void BM_Memcpy8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_Memcpy8U)->Unit(benchmark::kMillisecond);

// A plain scalar loop of saturated 8-bit sums over the same images.
void BM_ScalarAdd8U(benchmark::State& state)
{
    auto a = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto b = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    auto d = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 3);
    for (auto _ : state) {
        const auto* pa = reinterpret_cast<const uint8_t*>(a->imageData);
        const auto* pb = reinterpret_cast<const uint8_t*>(b->imageData);
        auto* pd = reinterpret_cast<uint8_t*>(d->imageData);
        for (int i = 0; i < d->imageSize; ++i) {
            const int sum = pa[i] + pb[i];
            pd[i] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
            benchmark::DoNotOptimize(pd);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 3);
}
BENCHMARK(BM_ScalarAdd8U)->Unit(benchmark::kMillisecond);

template <uint32_t Depth, class Op>
void binaryBench(benchmark::State& state, Op op, bool withRoi)
{
    auto a = zb::makeImage(Depth, 1, kSide, kSide, 1);
    auto b = zb::makeImage(Depth, 1, kSide, kSide, 2);
    auto d = zb::makeImage(Depth, 1, kSide, kSide, 3);
    if (withRoi)
        d->roi = zanCreateROI(0, 1, 1, kSide - 2, kSide - 2);
    for (auto _ : state) {
        op(a.get(), b.get(), d.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 3);
}

void BM_Add8U(benchmark::State& state) { binaryBench<ZAN_DEPTH_8U>(state, zanAdd, false); }
void BM_Add8U_Roi(benchmark::State& state) { binaryBench<ZAN_DEPTH_8U>(state, zanAdd, true); }
void BM_Add16U(benchmark::State& state) { binaryBench<ZAN_DEPTH_16U>(state, zanAdd, false); }
void BM_Add16U_Roi(benchmark::State& state) { binaryBench<ZAN_DEPTH_16U>(state, zanAdd, true); }
BENCHMARK(BM_Add8U)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Add8U_Roi)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Add16U)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Add16U_Roi)->Unit(benchmark::kMillisecond);

} // namespace
