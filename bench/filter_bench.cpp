// zanConvolve2D with a 3 by 3 and a 5 by 5 kernel on 2048 x 2048 8U images,
// against a plain scalar loop over the interior with the same kernel.
#include "bench_util.h"

#include <algorithm>
#include <vector>

namespace {

constexpr int kSide = 2048;

std::vector<int32_t> kernelValues(int size)
{
    std::vector<int32_t> values(static_cast<std::size_t>(size) * size);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<int32_t>(i % 3) - 1 + (i == values.size() / 2 ? 4 : 0);
    return values;
}

// The plain loop: every interior pixel, the sum of products, shift and clamp.
void BM_FilterScalarConvolve8U(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const std::vector<int32_t> values = kernelValues(size);
    const int half = size / 2;
    const int step = src->widthStep;
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int y = half; y < kSide - half; ++y) {
            for (int x = half; x < kSide - half; ++x) {
                int sum = 0;
                for (int r = 0; r < size; ++r)
                    for (int c = 0; c < size; ++c)
                        sum += values[r * size + c] * s[(y + half - r) * step + x + half - c];
                d[y * step + x] = static_cast<uint8_t>(std::clamp(sum >> 1, 0, 255));
            }
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_FilterScalarConvolve8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

void BM_FilterConvolve2D8U(benchmark::State& state)
{
    const int size = static_cast<int>(state.range(0));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const std::vector<int32_t> values = kernelValues(size);
    ZanConvKernel kernel = zanCreateConvKernel(size, size, size / 2, size / 2, values.data(), 1);
    for (auto _ : state) {
        zanConvolve2D(src.get(), dst.get(), &kernel, 1, ZAN_COMBINE_SUM);
        benchmark::ClobberMemory();
    }
    zanDeleteConvKernel(kernel);
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_FilterConvolve2D8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

} // namespace

namespace {

// The same 3-tap smoothing on both axes: two passes of a plain loop over
// the interior against zanConvolveSep2D over the whole image.
void BM_FilterScalarSeparable8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    std::vector<int32_t> rows(static_cast<std::size_t>(kSide) * kSide);
    const int step = src->widthStep;
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int y = 1; y < kSide - 1; ++y)
            for (int x = 0; x < kSide; ++x)
                rows[y * kSide + x] = s[(y - 1) * step + x] + 2 * s[y * step + x] + s[(y + 1) * step + x];
        for (int y = 1; y < kSide - 1; ++y) {
            for (int x = 1; x < kSide - 1; ++x) {
                const int32_t* r = &rows[y * kSide + x];
                d[y * step + x] = static_cast<uint8_t>(std::clamp((r[-1] + 2 * r[0] + r[1]) >> 4, 0, 255));
            }
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_FilterScalarSeparable8U)->Unit(benchmark::kMillisecond);

void BM_FilterConvolveSep2D8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const int32_t taps[3] = {1, 2, 1};
    ZanConvKernel x = zanCreateConvKernel(3, 1, 1, 0, taps, 2);
    ZanConvKernel y = zanCreateConvKernel(1, 3, 0, 1, taps, 2);
    for (auto _ : state) {
        zanConvolveSep2D(src.get(), dst.get(), x, y);
        benchmark::ClobberMemory();
    }
    zanDeleteConvKernel(x);
    zanDeleteConvKernel(y);
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_FilterConvolveSep2D8U)->Unit(benchmark::kMillisecond);

} // namespace
