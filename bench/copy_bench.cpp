// Pixel movement and working rectangles against memcpy of the same bytes
// and a plain loop.
#include "bench_util.h"

#include "core/own_rect.h"

#include <vector>

namespace {

constexpr int kSide = 4096;

// A plain byte loop over the same images.
void BM_ScalarCopy8U(benchmark::State& state)
{
    auto s = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto d = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        for (int i = 0; i < d->imageSize; ++i) {
            d->imageData[i] = s->imageData[i];
            benchmark::DoNotOptimize(d->imageData);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 2);
}
BENCHMARK(BM_ScalarCopy8U)->Unit(benchmark::kMillisecond);

void BM_Copy8U(benchmark::State& state)
{
    auto s = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto d = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    if (state.range(0))
        d->roi = zanCreateROI(0, 1, 1, kSide - 2, kSide - 2);
    for (auto _ : state) {
        zanCopy(s.get(), d.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 2);
}
BENCHMARK(BM_Copy8U)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Set8U(benchmark::State& state)
{
    auto d = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        zanSet(d.get(), 7);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 1);
}
BENCHMARK(BM_Set8U)->Unit(benchmark::kMillisecond);

void BM_Exchange8U(benchmark::State& state)
{
    auto s = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto d = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        zanExchange(s.get(), d.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 4);
}
BENCHMARK(BM_Exchange8U)->Unit(benchmark::kMillisecond);

constexpr int kBlock = 512;
constexpr int kBorder = 8;
constexpr int kRect = kBlock + 2 * kBorder;

// memcpy of the bytes of a working rectangle, row by row from a larger image.
void BM_MemcpyRect(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    auto s = zb::makeImage(ZAN_DEPTH_8U, channels, kRect, kRect, 1);
    const std::size_t row = static_cast<std::size_t>(kRect) * channels;
    std::vector<char> block(row * kRect);
    for (auto _ : state) {
        for (int y = 0; y < kRect; ++y)
            std::memcpy(block.data() + y * row, s->imageData + static_cast<std::ptrdiff_t>(y) * s->widthStep, row);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * row * kRect * 2);
}
BENCHMARK(BM_MemcpyRect)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

// A 512 x 512 image fetched with a border of 8 on every side, each side in
// the benchmark's mode.
void BM_GetRect(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    auto s = zb::makeImage(ZAN_DEPTH_8U, channels, kBlock, kBlock, 1);
    zanSetBorderMode(s.get(), static_cast<int>(state.range(1)), ZAN_SIDE_ALL, 9);
    const std::size_t row = static_cast<std::size_t>(kRect) * channels;
    for (auto _ : state) {
        int step;
        char* block = ownGetRect(s.get(), -kBorder, -kBorder, kRect, kRect, &step);
        benchmark::DoNotOptimize(block);
        zanFree(block);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * row * kRect * 2);
}
BENCHMARK(BM_GetRect)
    ->ArgsProduct({{1, 3},
                   {ZAN_BORDER_CONSTANT, ZAN_BORDER_REPLICATE, ZAN_BORDER_REFLECT, ZAN_BORDER_WRAP}})
    ->Unit(benchmark::kMicrosecond);

} // namespace
