// One level of zanWtDecompose and zanWtReconstruct of a 2048 x 2048 8U image
// with 32F subbands (Daubechies, 4 and 8 taps), against a plain scalar loop
// of the same analysis: periodic lines, rows first, then columns.
#include "bench_util.h"

#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr int kHalf = kSide / 2;

struct Subbands {
    zb::Image band[4];
    Subbands()
    {
        for (zb::Image& b : band)
            b = zb::makeImage(ZAN_DEPTH_32F, 1, kHalf, kHalf);
    }
};

ZanWtKernel daubechies(int par1)
{
    ZanWtKernel k{};
    zanWtInit(ZAN_WAVELET_DAUBECHIES, par1, 0, &k);
    return k;
}

// Output i of a periodic line of n samples, read with a stride.
template <class T>
float analyse(const T* line, std::ptrdiff_t stride, int n, const ZanWtFilter& f, int i)
{
    double s = 0;
    for (int k = 0; k < f.length; ++k) {
        const int p = ((2 * i + f.offset - k) % n + n) % n;
        s += double(f.taps[k]) * double(line[p * stride]);
    }
    return static_cast<float>(s);
}

void BM_WaveletScalarDecompose(benchmark::State& state)
{
    const ZanWtKernel k = daubechies(static_cast<int>(state.range(0)));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    Subbands out;
    std::vector<float> lines[2] = {std::vector<float>(std::size_t(kHalf) * kSide),
                                   std::vector<float>(std::size_t(kHalf) * kSide)};
    const ZanWtFilter* filters[2] = {&k.filtDecLow, &k.filtDecHigh};
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            const auto* row = reinterpret_cast<const uint8_t*>(src->imageData + y * src->widthStep);
            for (int f = 0; f < 2; ++f)
                for (int i = 0; i < kHalf; ++i)
                    lines[f][std::size_t(y) * kHalf + i] = analyse(row, 1, kSide, *filters[f], i);
        }
        for (int b = 0; b < 4; ++b) {
            ZanImage* band = out.band[b].get();
            for (int x = 0; x < kHalf; ++x)
                for (int i = 0; i < kHalf; ++i)
                    reinterpret_cast<float*>(band->imageData + i * band->widthStep)[x] =
                        analyse(lines[b / 2].data() + x, kHalf, kSide, *filters[b % 2], i);
        }
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_WaveletScalarDecompose)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_WaveletDecompose(benchmark::State& state)
{
    const ZanWtKernel k = daubechies(static_cast<int>(state.range(0)));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    Subbands out;
    for (auto _ : state) {
        zanWtDecompose(&k, src.get(), out.band[0].get(), out.band[1].get(), out.band[2].get(),
                       out.band[3].get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, src.get(), 1);
}
BENCHMARK(BM_WaveletDecompose)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_WaveletReconstruct(benchmark::State& state)
{
    const ZanWtKernel k = daubechies(static_cast<int>(state.range(0)));
    auto src = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    auto dst = zb::makeImage(ZAN_DEPTH_8U, 1, kSide, kSide);
    Subbands bands;
    zanWtDecompose(&k, src.get(), bands.band[0].get(), bands.band[1].get(), bands.band[2].get(),
                   bands.band[3].get());
    for (auto _ : state) {
        zanWtReconstruct(&k, bands.band[0].get(), bands.band[1].get(), bands.band[2].get(),
                         bands.band[3].get(), dst.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, dst.get(), 1);
}
BENCHMARK(BM_WaveletReconstruct)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

} // namespace
