// Shared pieces of the benchmarks: images that live for a whole benchmark,
// and the memcpy baseline of the same bytes.
#pragma once

#include "zan.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

namespace zb {

struct ImageDeleter {
    void operator()(ZanImage* image) const { zanDeallocate(image, ZAN_FREE_ALL); }
};
using Image = std::unique_ptr<ZanImage, ImageDeleter>;

inline Image makeImage(uint32_t depth, int channels, int width, int height, uint32_t seed = 1)
{
    Image image(zanCreateImageHeader(channels, 0, depth, "RGBA", "BGRA", ZAN_DATA_ORDER_PIXEL,
                                     ZAN_ORIGIN_TOP_LEFT, 32, width, height, nullptr, nullptr,
                                     nullptr, nullptr));
    if (depth == ZAN_DEPTH_32F)
        zanAllocateImageFP(image.get(), 1, 1.0f);
    else
        zanAllocateImage(image.get(), 1, 0);
    std::mt19937 rng(seed);
    if (depth != ZAN_DEPTH_32F)
        for (int i = 0; i < image->imageSize; ++i)
            image->imageData[i] = static_cast<char>(rng() & 0x7F);
    return image;
}

// Bytes moved by a call that reads `reads` images and writes one.
inline void setBytes(benchmark::State& state, const ZanImage* image, int images)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * image->imageSize * images);
}

// memcpy of one image's bytes into another: the bandwidth limit of a
// pixelwise operation over the same data.
inline void memcpyBaseline(benchmark::State& state, int width, int height, int bytesPerPixel)
{
    const std::size_t bytes = static_cast<std::size_t>(width) * height * bytesPerPixel;
    std::unique_ptr<char[]> from(new char[bytes]);
    std::unique_ptr<char[]> to(new char[bytes]);
    std::memset(from.get(), 1, bytes);
    std::memset(to.get(), 0, bytes);
    for (auto _ : state) {
        std::memcpy(to.get(), from.get(), bytes);
        benchmark::DoNotOptimize(to.get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes * 2);
}

} // namespace zb
