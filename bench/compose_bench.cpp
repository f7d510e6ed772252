// Alpha composition and comparison against memcpy of the same bytes and a
// plain scalar loop.
#include "bench_util.h"

namespace {

constexpr int kSide = 2048;

void BM_Memcpy_RGBA8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 4); }
BENCHMARK(BM_Memcpy_RGBA8U)->Unit(benchmark::kMillisecond);

zb::Image rgbaImage(uint32_t seed)
{
    zb::Image image = zb::makeImage(ZAN_DEPTH_8U, 4, kSide, kSide, seed);
    image->alphaChannel = 4;
    return image;
}

// zanAlphaComposite OVER of two RGBA images with their own alphas; the
// result alpha goes into the destination's alpha channel.
void BM_AlphaCompositeOver_RGBA8U(benchmark::State& state)
{
    auto a = rgbaImage(1);
    auto b = rgbaImage(2);
    auto d = rgbaImage(3);
    for (auto _ : state) {
        zanAlphaComposite(a.get(), b.get(), d.get(), ZAN_COMPOSITE_OVER, nullptr, nullptr, nullptr, 0, 0);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 3);
}
BENCHMARK(BM_AlphaCompositeOver_RGBA8U)->Unit(benchmark::kMillisecond);

inline uint32_t scaled(uint32_t x, uint32_t y)
{
    const uint32_t v = x * y;
    return (v + (v >> 8) + 1) >> 8;
}

// The same OVER as a plain loop over packed RGBA pixels.
void BM_ScalarOver_RGBA8U(benchmark::State& state)
{
    auto a = rgbaImage(1);
    auto b = rgbaImage(2);
    auto d = rgbaImage(3);
    for (auto _ : state) {
        const auto* pa = reinterpret_cast<const uint8_t*>(a->imageData);
        const auto* pb = reinterpret_cast<const uint8_t*>(b->imageData);
        auto* pd = reinterpret_cast<uint8_t*>(d->imageData);
        for (int i = 0; i < d->imageSize; i += 4) {
            const uint32_t alpha = pa[i + 3];
            const uint32_t beta = pb[i + 3];
            for (int c = 0; c < 3; ++c) {
                const uint32_t sum = scaled(pa[i + c], alpha) + scaled(255 - alpha, scaled(pb[i + c], beta));
                pd[i + c] = static_cast<uint8_t>(sum > 255 ? 255 : sum);
            }
            const uint32_t result = alpha + scaled(255 - alpha, beta);
            pd[i + 3] = static_cast<uint8_t>(result > 255 ? 255 : result);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, d.get(), 3);
}
BENCHMARK(BM_ScalarOver_RGBA8U)->Unit(benchmark::kMillisecond);

void BM_Memcpy_8U(benchmark::State& state) { zb::memcpyBaseline(state, kSide, kSide, 1); }
BENCHMARK(BM_Memcpy_8U)->Unit(benchmark::kMillisecond);

zb::Image bitImage()
{
    zb::Image image(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G", ZAN_DATA_ORDER_PIXEL,
                                         ZAN_ORIGIN_TOP_LEFT, 32, kSide, kSide, nullptr, nullptr, nullptr,
                                         nullptr));
    zanAllocateImage(image.get(), 1, 0);
    return image;
}

// zanGreaterS of one 8U channel into bits; bytes are the source's and the
// result's.
void BM_GreaterS_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 4);
    auto res = bitImage();
    for (auto _ : state) {
        zanGreaterS(src.get(), 63, res.get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (src->imageSize + res->imageSize));
}
BENCHMARK(BM_GreaterS_8U)->Unit(benchmark::kMillisecond);

// The same comparison as a plain loop that packs eight results into a byte.
void BM_ScalarGreaterS_8U(benchmark::State& state)
{
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide, 4);
    auto res = bitImage();
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            const auto* s = reinterpret_cast<const uint8_t*>(src->imageData + y * src->widthStep);
            auto* r = reinterpret_cast<uint8_t*>(res->imageData + y * res->widthStep);
            for (int x = 0; x < kSide; x += 8) {
                unsigned bits = 0;
                for (int k = 0; k < 8; ++k)
                    bits = (bits << 1) | (s[x + k] > 63);
                r[x / 8] = static_cast<uint8_t>(bits);
            }
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (src->imageSize + res->imageSize));
}
BENCHMARK(BM_ScalarGreaterS_8U)->Unit(benchmark::kMillisecond);

} // namespace
