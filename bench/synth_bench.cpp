// Noise images, the Jaehne image and application functions on 2048 x 2048
// 8U images, against memcpy of the same bytes and plain scalar loops that
// do the same work without the library's walk.
#include "bench_util.h"

#include "synth/own_noise.h"

#include <cmath>
#include <numbers>

namespace {

constexpr int kSide = 2048;

void BM_SynthMemcpy8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_SynthMemcpy8U)->Unit(benchmark::kMillisecond);

// Adds noise(s) to every byte, saturated, in a plain loop.
template <class Noise>
void scalarNoiseBenchmark(benchmark::State& state, Noise noise)
{
    auto image = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    for (auto _ : state) {
        OwnNoiseState s = ownNoiseStart(1);
        auto* p = reinterpret_cast<uint8_t*>(image->imageData);
        for (int i = 0; i < image->imageSize; ++i) {
            const int v = p[i] + noise(s);
            p[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 2);
}

// Uniform noise over 0 .. 99.
void BM_SynthScalarUniform8U(benchmark::State& state)
{
    scalarNoiseBenchmark(state, [](OwnNoiseState& s) {
        return static_cast<int>(ownNoiseStep(s) * (100 * 2.3283064365386963e-10));
    });
}
BENCHMARK(BM_SynthScalarUniform8U)->Unit(benchmark::kMillisecond);

void noiseBenchmark(benchmark::State& state, uint32_t depth, int kind)
{
    auto image = zb::makeImage(depth, 1, kSide, kSide);
    ZanNoiseParam param{};
    zanNoiseUniformInit(&param, 1, 0, 100);
    zanNoiseUniformInitFP(&param, 1, 0.0f, 1.0f);
    for (auto _ : state) {
        zanNoiseImage(image.get(), &param, kind);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 2);
}

void BM_SynthNoiseUniform8U(benchmark::State& state) { noiseBenchmark(state, ZAN_DEPTH_8U, ZAN_NOISE_UNIFORM); }
BENCHMARK(BM_SynthNoiseUniform8U)->Unit(benchmark::kMillisecond);

void BM_SynthNoiseUniform32F(benchmark::State& state) { noiseBenchmark(state, ZAN_DEPTH_32F, ZAN_NOISE_UNIFORM); }
BENCHMARK(BM_SynthNoiseUniform32F)->Unit(benchmark::kMillisecond);

// Gaussian noise of deviation 100.
void BM_SynthScalarGaussian8U(benchmark::State& state)
{
    scalarNoiseBenchmark(state, [](OwnNoiseState& s) { return static_cast<int>(ownNoiseGaussian(s) * 100); });
}
BENCHMARK(BM_SynthScalarGaussian8U)->Unit(benchmark::kMillisecond);

void BM_SynthNoiseGaussian8U(benchmark::State& state) { noiseBenchmark(state, ZAN_DEPTH_8U, ZAN_NOISE_GAUSSIAN); }
BENCHMARK(BM_SynthNoiseGaussian8U)->Unit(benchmark::kMillisecond);

int invert(int value) { return 255 - value; }

// The application's function called for every byte by a plain loop.
void BM_SynthScalarUserFunction8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 2);
    ZanUserFunc fn = invert;
    benchmark::DoNotOptimize(fn);
    for (auto _ : state) {
        const auto* s = reinterpret_cast<const uint8_t*>(src->imageData);
        auto* d = reinterpret_cast<uint8_t*>(dst->imageData);
        for (int i = 0; i < dst->imageSize; ++i) {
            const int v = fn(s[i]);
            d[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}
BENCHMARK(BM_SynthScalarUserFunction8U)->Unit(benchmark::kMillisecond);

// Runs call(src, dst) on two 8U images of the given channels.
template <class Call>
void pairBenchmark(benchmark::State& state, int channels, Call call)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, channels, kSide, kSide, 1);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, channels, kSide, kSide, 2);
    for (auto _ : state) {
        call(src.get(), dst.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 2);
}

void BM_SynthUserProcess8U(benchmark::State& state)
{
    pairBenchmark(state, 1, [](ZanImage* src, ZanImage* dst) { zanUserProcess(src, dst, invert); });
}
BENCHMARK(BM_SynthUserProcess8U)->Unit(benchmark::kMillisecond);

int invertPixel(const ZanImage*, const void* src, const ZanImage*, void* dst)
{
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    for (int c = 0; c < 3; ++c)
        d[c] = static_cast<uint8_t>(255 - s[c]);
    return 0;
}

void BM_SynthUserProcessPixel8UC3(benchmark::State& state)
{
    pairBenchmark(state, 3, [](ZanImage* src, ZanImage* dst) { zanUserProcessPixel(src, dst, invertPixel); });
}
BENCHMARK(BM_SynthUserProcessPixel8UC3)->Unit(benchmark::kMillisecond);

// The zone pattern by a plain loop: one sine per pixel.
void BM_SynthScalarJaehne8U(benchmark::State& state)
{
    auto image = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    const double k = 2.0 * std::numbers::pi / (4.0 * kSide);
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            auto* row = reinterpret_cast<uint8_t*>(image->imageData) + y * image->widthStep;
            for (int x = 0; x < kSide; ++x) {
                const int dx = x - kSide / 2;
                const int dy = y - kSide / 2;
                row[x] = static_cast<uint8_t>((std::sin((dx * dx + dy * dy) * k) + 1.0) * 127.99999);
            }
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 1);
}
BENCHMARK(BM_SynthScalarJaehne8U)->Unit(benchmark::kMillisecond);

void BM_SynthJaehne8U(benchmark::State& state)
{
    int64_t bytes = 0;
    for (auto _ : state) {
        zb::Image image(zanCreateImageJaehne(ZAN_DEPTH_8U, kSide, kSide));
        bytes += image->imageSize;
        benchmark::DoNotOptimize(image->imageData);
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_SynthJaehne8U)->Unit(benchmark::kMillisecond);

} // namespace
