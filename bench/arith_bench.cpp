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

// Runs call(a, b, d) over 4096 x 4096 images, whole or with a ROI one pixel
// in from every edge (so that no whole-block run applies).
template <class Call>
void imageBench(benchmark::State& state, uint32_t depth, bool withRoi, int images, Call call)
{
    auto a = zb::makeImage(depth, 1, kSide, kSide, 1);
    auto b = zb::makeImage(depth, 1, kSide, kSide, 2);
    auto d = zb::makeImage(depth, 1, kSide, kSide, 3);
    if (withRoi)
        d->roi = zanCreateROI(0, 1, 1, kSide - 2, kSide - 2);
    for (auto _ : state) {
        call(a.get(), b.get(), d.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), images);
}

void BM_Memcpy16U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 2); }
BENCHMARK(BM_Memcpy16U)->Unit(benchmark::kMillisecond);

#define ZAN_IMAGE_BENCH(name, images, expr)                                                          \
    void BM_##name##8U(benchmark::State& state)                                                      \
    {                                                                                                \
        imageBench(state, ZAN_DEPTH_8U, false, images, [](auto a, auto b, auto d) { expr; });        \
    }                                                                                                \
    void BM_##name##8U_Roi(benchmark::State& state)                                                  \
    {                                                                                                \
        imageBench(state, ZAN_DEPTH_8U, true, images, [](auto a, auto b, auto d) { expr; });         \
    }                                                                                                \
    void BM_##name##16U(benchmark::State& state)                                                     \
    {                                                                                                \
        imageBench(state, ZAN_DEPTH_16U, false, images, [](auto a, auto b, auto d) { expr; });       \
    }                                                                                                \
    void BM_##name##16U_Roi(benchmark::State& state)                                                 \
    {                                                                                                \
        imageBench(state, ZAN_DEPTH_16U, true, images, [](auto a, auto b, auto d) { expr; });        \
    }                                                                                                \
    BENCHMARK(BM_##name##8U)->Unit(benchmark::kMillisecond);                                         \
    BENCHMARK(BM_##name##8U_Roi)->Unit(benchmark::kMillisecond);                                     \
    BENCHMARK(BM_##name##16U)->Unit(benchmark::kMillisecond);                                        \
    BENCHMARK(BM_##name##16U_Roi)->Unit(benchmark::kMillisecond)

ZAN_IMAGE_BENCH(Add, 3, (void)b; zanAdd(a, b, d));
ZAN_IMAGE_BENCH(Subtract, 3, zanSubtract(a, b, d));
ZAN_IMAGE_BENCH(Multiply, 3, zanMultiply(a, b, d));
ZAN_IMAGE_BENCH(And, 3, zanAnd(a, b, d));
ZAN_IMAGE_BENCH(AddS, 2, (void)b; zanAddS(a, d, 7));
ZAN_IMAGE_BENCH(RShiftS, 2, (void)b; zanRShiftS(a, d, 3));

} // namespace
