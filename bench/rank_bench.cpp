// zanMedianFilter and zanMaxFilter with 3 by 3 and 5 by 5 windows on
// 2048 x 2048 8U images, against plain scalar loops over the interior.
#include "bench_util.h"

#include <algorithm>
#include <vector>

namespace {

constexpr int kSide = 2048;

// The plain loop: every interior window gathered and ranked at its position
// (the middle for the median, the last for the maximum).
void scalarRank(benchmark::State& state, bool median)
{
    const int size = static_cast<int>(state.range(0));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    const int half = size / 2;
    const int step = src->widthStep;
    std::vector<uint8_t> window(static_cast<std::size_t>(size) * size);
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int y = half; y < kSide - half; ++y) {
            for (int x = half; x < kSide - half; ++x) {
                std::size_t k = 0;
                for (int r = -half; r <= half; ++r)
                    for (int c = -half; c <= half; ++c)
                        window[k++] = s[(y + r) * step + x + c];
                d[y * step + x] = median ? (std::nth_element(window.begin(),
                                                             window.begin() + k / 2, window.end()),
                                            window[k / 2])
                                         : *std::max_element(window.begin(), window.end());
            }
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}

void BM_RankScalarMedian8U(benchmark::State& state) { scalarRank(state, true); }
BENCHMARK(BM_RankScalarMedian8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

void BM_RankScalarMax8U(benchmark::State& state) { scalarRank(state, false); }
BENCHMARK(BM_RankScalarMax8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

void libraryRank(benchmark::State& state,
                 void (*filter)(const ZanImage*, ZanImage*, int, int, int, int))
{
    const int size = static_cast<int>(state.range(0));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        filter(src.get(), dst.get(), size, size, size / 2, size / 2);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}

void BM_RankMedianFilter8U(benchmark::State& state) { libraryRank(state, zanMedianFilter); }
BENCHMARK(BM_RankMedianFilter8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

void BM_RankMaxFilter8U(benchmark::State& state) { libraryRank(state, zanMaxFilter); }
BENCHMARK(BM_RankMaxFilter8U)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

} // namespace
