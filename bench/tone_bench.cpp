// Threshold, histogram and Floyd-Steinberg bit reduction on 2048 x 2048 8U
// images, against memcpy of the same bytes and plain scalar loops.
#include "bench_util.h"

#include <vector>

namespace {

constexpr int kSide = 2048;

void BM_ToneMemcpy8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_ToneMemcpy8U)->Unit(benchmark::kMillisecond);

void BM_ToneScalarThreshold8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int i = 0; i < dst->imageSize; ++i) {
            d[i] = s[i] < 64 ? 0 : 255;
            benchmark::DoNotOptimize(d);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_ToneScalarThreshold8U)->Unit(benchmark::kMillisecond);

void BM_ToneThreshold8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    for (auto _ : state) {
        zanThreshold(src.get(), dst.get(), 64);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_ToneThreshold8U)->Unit(benchmark::kMillisecond);

void BM_ToneScalarHisto8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    std::vector<uint32_t> counts(256);
    for (auto _ : state) {
        std::fill(counts.begin(), counts.end(), 0);
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        for (int i = 0; i < src->imageSize; ++i)
            ++counts[s[i]];
        benchmark::DoNotOptimize(counts.data());
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_ToneScalarHisto8U)->Unit(benchmark::kMillisecond);

void BM_ToneComputeHisto8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    std::vector<int> keys(257), values(257);
    for (int k = 0; k <= 256; ++k)
        keys[k] = k;
    ZanLUT lut{257, keys.data(), values.data(), nullptr, ZAN_LUT_STEP};
    ZanLUT* luts[1] = {&lut};
    for (auto _ : state) {
        zanComputeHisto(src.get(), luts);
        benchmark::DoNotOptimize(values.data());
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_ToneComputeHisto8U)->Unit(benchmark::kMillisecond);

// A plain Floyd-Steinberg loop to one bit: float error rows, no noise.
void BM_ToneScalarFloydSteinberg8U1(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    std::vector<uint8_t> bits(static_cast<std::size_t>(kSide / 8) * kSide);
    std::vector<float> rows(2 * (kSide + 2));
    for (auto _ : state) {
        std::fill(rows.begin(), rows.end(), 0.0f);
        float* above = rows.data() + 1;
        float* current = rows.data() + kSide + 3;
        for (int y = 0; y < kSide; ++y) {
            const auto* s = reinterpret_cast<const uint8_t*>(src->imageData + y * src->widthStep);
            for (int x = 0; x < kSide; ++x) {
                const float v = s[x] + (7 * current[x - 1] + above[x - 1] + 5 * above[x] + 3 * above[x + 1]) * 0.0625f;
                const bool bit = v > 127.5f;
                current[x] = bit ? v - 255.0f : v;
                uint8_t& byte = bits[static_cast<std::size_t>(y) * (kSide / 8) + x / 8];
                byte = static_cast<uint8_t>((byte << 1) | bit);
            }
            std::swap(above, current);
        }
        benchmark::DoNotOptimize(bits.data());
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_ToneScalarFloydSteinberg8U1)->Unit(benchmark::kMillisecond);

void BM_ToneReduceBitsFS8U1(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    zb::Image dst(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G", ZAN_DATA_ORDER_PIXEL,
                                       ZAN_ORIGIN_TOP_LEFT, 32, kSide, kSide, nullptr, nullptr,
                                       nullptr, nullptr));
    zanAllocateImage(dst.get(), 1, 0);
    for (auto _ : state) {
        zanReduceBits(src.get(), dst.get(), 0, ZAN_DITHER_FS, 2);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_ToneReduceBitsFS8U1)->Unit(benchmark::kMillisecond);

} // namespace
