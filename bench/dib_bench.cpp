// DIB interchange and the RLE codec against plain scalar loops over the same
// rows (and the memcpy baseline of the colour benchmarks).
#include "bench_util.h"

#include "color/own_rle.h"

#include <vector>

namespace {

constexpr int kSide = 2048;

// A one-block DIB: header, palette slots, then the pixels.
struct DibBlock {
    std::vector<uint8_t> bytes;
    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data()); }
    uint8_t* palette() { return bytes.data() + sizeof(BITMAPINFOHEADER); }
};

int64_t dibRowBytes(int width, int bits) { return (int64_t{width} * bits + 31) / 32 * 4; }

DibBlock makeDib(int bits, uint32_t compression, int slots)
{
    DibBlock dib;
    dib.bytes.assign(sizeof(BITMAPINFOHEADER) + 4 * slots + dibRowBytes(kSide, bits) * kSide, 0);
    BITMAPINFOHEADER* h = dib.header();
    h->biSize = sizeof(BITMAPINFOHEADER);
    h->biWidth = kSide;
    h->biHeight = kSide;
    h->biPlanes = 1;
    h->biBitCount = static_cast<uint16_t>(bits);
    h->biCompression = compression;
    return dib;
}

zb::Image bgrImage()
{
    zb::Image image = zb::makeImage(ZAN_DEPTH_8U, 3, kSide, kSide);
    std::memcpy(image->channelSeq, "BGR", 4);
    return image;
}

// Times zanConvertFromDIB of a bottom-up DIB of `bits` into a BGR image.
void fromDibBench(benchmark::State& state, int bits)
{
    DibBlock dib = makeDib(bits, BI_RGB, 0);
    zb::Image image = bgrImage();
    for (auto _ : state) {
        zanConvertFromDIB(dib.header(), image.get());
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 2);
}

// The same rows through a plain loop: convertRow(dibRow, imageRow).
template <class ConvertRow>
void scalarFromDibBench(benchmark::State& state, int bits, ConvertRow convertRow)
{
    DibBlock dib = makeDib(bits, BI_RGB, 0);
    zb::Image image = bgrImage();
    const int64_t step = dibRowBytes(kSide, bits);
    for (auto _ : state) {
        const uint8_t* pixels = dib.palette();
        for (int y = 0; y < kSide; ++y)
            convertRow(pixels + (kSide - 1 - y) * step,
                       reinterpret_cast<uint8_t*>(image->imageData + int64_t{y} * image->widthStep));
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 2);
}

void BM_ConvertFromDIB_24(benchmark::State& state) { fromDibBench(state, 24); }
BENCHMARK(BM_ConvertFromDIB_24)->Unit(benchmark::kMillisecond);

void BM_ScalarFromDIB_24(benchmark::State& state)
{
    scalarFromDibBench(state, 24, [](const uint8_t* s, uint8_t* d) {
        for (int x = 0; x < 3 * kSide; ++x)
            d[x] = s[x];
    });
}
BENCHMARK(BM_ScalarFromDIB_24)->Unit(benchmark::kMillisecond);

void BM_ConvertToDIB_24(benchmark::State& state)
{
    DibBlock dib = makeDib(24, BI_RGB, 0);
    zb::Image image = bgrImage();
    for (auto _ : state) {
        zanConvertToDIB(image.get(), dib.header(), ZAN_DITHER_NONE, ZAN_PALETTE_KEEP);
        benchmark::ClobberMemory();
    }
    zb::setBytes(state, image.get(), 2);
}
BENCHMARK(BM_ConvertToDIB_24)->Unit(benchmark::kMillisecond);

void BM_ConvertFromDIB_16(benchmark::State& state) { fromDibBench(state, 16); }
BENCHMARK(BM_ConvertFromDIB_16)->Unit(benchmark::kMillisecond);

// 5-5-5 words into bytes.
void BM_ScalarFromDIB_16(benchmark::State& state)
{
    scalarFromDibBench(state, 16, [](const uint8_t* s, uint8_t* d) {
        for (int x = 0; x < kSide; ++x) {
            const unsigned w = s[2 * x] | unsigned{s[2 * x + 1]} << 8;
            d[3 * x] = static_cast<uint8_t>((w & 0x1F) << 3);
            d[3 * x + 1] = static_cast<uint8_t>((w >> 5 & 0x1F) << 3);
            d[3 * x + 2] = static_cast<uint8_t>((w >> 10 & 0x1F) << 3);
        }
    });
}
BENCHMARK(BM_ScalarFromDIB_16)->Unit(benchmark::kMillisecond);

// An 8-bit picture of short runs and noise, compressed once.
DibBlock compressedRuns()
{
    DibBlock dib = makeDib(8, BI_RLE8, 256);
    uint8_t* pixels = dib.palette() + 4 * 256;
    std::mt19937 rng(3);
    for (int64_t i = 0; i < int64_t{kSide} * kSide; ++i)
        pixels[i] = (i % 16 < 12) ? static_cast<uint8_t>(i / 16) : static_cast<uint8_t>(rng());
    ownRLEEncode(dib.header(), "bench");
    return dib;
}

void BM_RLE8Decode(benchmark::State& state)
{
    DibBlock dib = compressedRuns();
    for (auto _ : state) {
        uint8_t* block = ownRLEDecode(dib.header(), "bench");
        benchmark::DoNotOptimize(block);
        zanFree(block);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_RLE8Decode)->Unit(benchmark::kMillisecond);

void BM_RLE8Encode(benchmark::State& state)
{
    DibBlock pattern = compressedRuns();
    DibBlock source = makeDib(8, BI_RLE8, 256);
    uint8_t* block = ownRLEDecode(pattern.header(), "bench");
    std::memcpy(source.palette() + 4 * 256, block, size_t{kSide} * kSide);
    zanFree(block);
    for (auto _ : state) {
        state.PauseTiming();
        DibBlock dib = source;
        state.ResumeTiming();
        ownRLEEncode(dib.header(), "bench");
        benchmark::DoNotOptimize(dib.bytes.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_RLE8Encode)->Unit(benchmark::kMillisecond);

} // namespace
