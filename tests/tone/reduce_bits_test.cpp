// zanReduceBits against a reference written here from the rules of bit
// reduction: error diffusion with whole-image error planes and tap tables,
// the Bayer matrix, the noise generator and the narrowing table.
#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

using zt::Image;
using zt::Shape;

struct Pair {
    uint32_t src;
    uint32_t dst;
};

const Pair kPairs[] = {
    {ZAN_DEPTH_8U, ZAN_DEPTH_8U},    {ZAN_DEPTH_8U, ZAN_DEPTH_1U},   {ZAN_DEPTH_16U, ZAN_DEPTH_16U},
    {ZAN_DEPTH_16U, ZAN_DEPTH_8U},   {ZAN_DEPTH_16U, ZAN_DEPTH_1U},  {ZAN_DEPTH_32S, ZAN_DEPTH_32S},
    {ZAN_DEPTH_32S, ZAN_DEPTH_16U},  {ZAN_DEPTH_32S, ZAN_DEPTH_8U},  {ZAN_DEPTH_32S, ZAN_DEPTH_1U},
};

const int kDithers[] = {ZAN_DITHER_NONE, ZAN_DITHER_FS, ZAN_DITHER_JJH, ZAN_DITHER_STUCKEY,
                        ZAN_DITHER_BAYER};

double fullScale(uint32_t depth)
{
    return depth == ZAN_DEPTH_8U ? 255.0 : depth == ZAN_DEPTH_16U ? 65535.0 : 4294967295.0;
}

double topOf(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return 1;
    case ZAN_DEPTH_8U: return 255;
    case ZAN_DEPTH_16U: return 65535;
    default: return 2147483647.0;
    }
}

double bottomOf(uint32_t depth) { return depth == ZAN_DEPTH_32S ? -2147483648.0 : 0; }

// A sample as the unsigned value the levels count in.
double unsignedValue(uint32_t depth, double sample)
{
    return depth == ZAN_DEPTH_32S ? sample + 2147483648.0 : sample;
}

struct Noise {
    float values[1024];
    int index[1024];
    bool on = false;

    float term(int c, int x, int y) const { return values[(index[(c + x) % 1024] + 2 * y + x) % 1024]; }
};

Noise makeNoise(int dither, int noise, int L, uint32_t srcDepth)
{
    Noise n;
    n.on = noise != 0 && dither != ZAN_DITHER_NONE;
    uint32_t state = 1999;
    auto r = [&] {
        state = state * 214013u + 2531011u;
        return static_cast<int>((state >> 16) & 0x7FFF) % 1024;
    };
    const double p = noise * 0.01;
    for (float& v : n.values) {
        const int x = r();
        v = dither == ZAN_DITHER_BAYER ? static_cast<float>(x * (p / 512))
                                       : static_cast<float>((x * (p / 512) + 0.5 - p) * fullScale(srcDepth) / L);
    }
    for (int& i : n.index) {
        const int x = r();
        i = x % 2 == 0 ? x : x - 1;
    }
    return n;
}

double clampTo(uint32_t depth, double value)
{
    return std::min(std::max(value, bottomOf(depth)), topOf(depth));
}

// The stored value of level q (value f).
template <class R>
double levelOutput(const Pair& pair, int L, long long q, R f)
{
    if (pair.src == ZAN_DEPTH_32S) {
        R v;
        if (pair.dst == ZAN_DEPTH_32S)
            v = f - R(2147483648.0);
        else if (pair.dst == ZAN_DEPTH_16U)
            v = f * R(1.52587890625e-05) - R(0.5);
        else
            v = f * R(5.960464477539063e-08) - R(0.5);
        return clampTo(pair.dst, static_cast<double>(std::nearbyint(v)));
    }
    const double scaled = pair.src == ZAN_DEPTH_8U ? 65280.0 : 16776960.0;
    const long long s = static_cast<long long>(std::nearbyint(scaled / L - 0.5));
    const int shift = pair.src == ZAN_DEPTH_16U && pair.dst == ZAN_DEPTH_8U ? 16 : 8;
    return clampTo(pair.dst, static_cast<double>((q * s) >> shift));
}

template <class R>
R stepOf(uint32_t srcDepth, int L)
{
    if (srcDepth == ZAN_DEPTH_32S)
        return R(4294967295.0) / R(L);
    return R(srcDepth == ZAN_DEPTH_8U ? 65280.0 : 16776960.0) / R(L) / R(256);
}

template <class R>
void findLevel(R v, R t, int L, R F, R step, long long* q, R* f)
{
    R level = std::nearbyint(v * R(L) / F - R(0.5));
    R value = level * step;
    if (v - value > t) {
        level += 1;
        value += step;
    }
    *q = static_cast<long long>(level);
    *f = value;
}

// Expected samples of the destination, indexed [c][y][x].
using Planes = std::vector<std::vector<std::vector<double>>>;

Planes allocate(int channels, int width, int height)
{
    return Planes(channels, std::vector<std::vector<double>>(height, std::vector<double>(width)));
}

int processedChannels(const ZanImage* image) { return image->nChannels - (image->alphaChannel ? 1 : 0); }

struct Tap {
    int row;
    int dx;
    int weight;
};

struct Kernel {
    std::vector<Tap> taps;
    float factor;
};

Kernel kernelOf(int dither)
{
    if (dither == ZAN_DITHER_FS)
        return {{{0, -1, 7}, {1, -1, 1}, {1, 0, 5}, {1, 1, 3}}, 0.0625f};
    if (dither == ZAN_DITHER_JJH)
        return {{{0, -1, 7}, {0, -2, 5}, {1, -2, 3}, {1, -1, 5}, {1, 0, 7}, {1, 1, 5}, {1, 2, 3},
                 {2, -2, 1}, {2, -1, 3}, {2, 0, 5}, {2, 1, 3}, {2, 2, 1}},
                0.02083333395421505f};
    return {{{0, -1, 8}, {0, -2, 4}, {1, -2, 2}, {1, -1, 4}, {1, 0, 8}, {1, 1, 4}, {1, 2, 2},
             {2, -2, 1}, {2, -1, 2}, {2, 0, 4}, {2, 1, 2}, {2, 2, 1}},
            0.02380952425301075f};
}

// Error diffusion over whole-image planes of error. The rows of all channels
// form one sequence, so that a channel's first rows see the last rows of
// the channel before.
template <class R>
Planes diffuse(const ZanImage* src, const Pair& pair, int dither, const Noise& noise, int L)
{
    const int channels = processedChannels(src);
    const int width = src->width;
    const int height = src->height;
    const Kernel kernel = kernelOf(dither);
    const R F = R(fullScale(pair.src));
    const R step = stepOf<R>(pair.src, L);
    const R half = pair.src == ZAN_DEPTH_8U ? R(127.5) : F / 2;
    std::vector<std::vector<float>> errors(static_cast<std::size_t>(channels) * height,
                                           std::vector<float>(width, 0.0f));
    auto error = [&](int row, int x) -> float {
        return row < 0 || x < 0 || x >= width ? 0.0f : errors[row][x];
    };
    Planes out = allocate(channels, width, height);
    for (int c = 0; c < channels; ++c) {
        for (int y = 0; y < height; ++y) {
            const int row = c * height + y;
            for (int x = 0; x < width; ++x) {
                R sum = 0;
                for (std::size_t i = 0; i < kernel.taps.size(); ++i) {
                    const Tap& tap = kernel.taps[i];
                    const R term = R(tap.weight) * R(error(row - tap.row, x + tap.dx));
                    sum = i == 0 ? term : sum + term;
                }
                const R v = R(unsignedValue(pair.src, zt::sampleAt(src, x, y, c))) + sum * R(kernel.factor);
                double result;
                float e;
                if (v >= F) {
                    result = topOf(pair.dst);
                    e = 0;
                } else if (v < 0) {
                    result = bottomOf(pair.dst);
                    e = 0;
                } else if (pair.dst == ZAN_DEPTH_1U) {
                    const R t = noise.on ? R(noise.term(c, x, y)) : half;
                    result = v > t;
                    e = static_cast<float>(v > t ? v - F : v);
                } else {
                    const R t = noise.on ? R(noise.term(c, x, y)) : step / 2;
                    long long q;
                    R f;
                    findLevel(v, t, L, F, step, &q, &f);
                    result = levelOutput(pair, L, q, f);
                    e = static_cast<float>(v - f);
                }
                out[c][y][x] = result;
                errors[row][x] = e;
            }
        }
    }
    return out;
}

const int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};

Planes bayer(const ZanImage* src, const Pair& pair, const Noise& noise, int L, int noisePercent)
{
    const double F = fullScale(pair.src);
    const double step = stepOf<double>(pair.src, L);
    const double p = noisePercent * 0.01;
    Planes out = allocate(processedChannels(src), src->width, src->height);
    for (int c = 0; c < processedChannels(src); ++c) {
        for (int y = 0; y < src->height; ++y) {
            for (int x = 0; x < src->width; ++x) {
                const double v = unsignedValue(pair.src, zt::sampleAt(src, x, y, c));
                const double b = kBayer[y % 4][x % 4] / 15.0;
                const double shifted = noise.on ? double(noise.term(c, x, y)) + b - p : b;
                if (pair.dst == ZAN_DEPTH_1U) {
                    out[c][y][x] = v >= F || v > shifted * F;
                    continue;
                }
                long long q;
                double f;
                findLevel(v, shifted * step, L, F, step, &q, &f);
                out[c][y][x] = levelOutput(pair, L, q, f);
            }
        }
    }
    return out;
}

double narrowed(const Pair& pair, double x)
{
    const double u = unsignedValue(pair.src, x);
    if (pair.src == pair.dst)
        return x;
    switch (pair.dst) {
    case ZAN_DEPTH_1U: return u >= fullScale(pair.src) / 2;
    case ZAN_DEPTH_8U: return std::floor(u / (fullScale(pair.src) + 1) * 256);
    case ZAN_DEPTH_16U: return std::floor(u / 65536);
    default: return x;
    }
}

Planes narrow(const ZanImage* src, const Pair& pair)
{
    Planes out = allocate(processedChannels(src), src->width, src->height);
    for (int c = 0; c < processedChannels(src); ++c)
        for (int y = 0; y < src->height; ++y)
            for (int x = 0; x < src->width; ++x)
                out[c][y][x] = narrowed(pair, zt::sampleAt(src, x, y, c));
    return out;
}

Planes expectedOf(const ZanImage* src, const Pair& pair, int dither, int noise, int levels)
{
    const Noise n = makeNoise(dither, noise, levels - 1, pair.src);
    if (dither == ZAN_DITHER_NONE)
        return narrow(src, pair);
    if (dither == ZAN_DITHER_BAYER)
        return bayer(src, pair, n, levels - 1, noise);
    if (pair.src == ZAN_DEPTH_32S)
        return diffuse<long double>(src, pair, dither, n, levels - 1);
    return diffuse<float>(src, pair, dither, n, levels - 1);
}

// Every processed sample as expected; a 1-bit row's bits past the width 0.
void expectImage(const ZanImage* dst, const Planes& expected)
{
    for (std::size_t c = 0; c < expected.size(); ++c) {
        for (int y = 0; y < dst->height; ++y) {
            for (int x = 0; x < dst->width; ++x) {
                const double got = zt::sampleAt(dst, x, y, static_cast<int>(c));
                ASSERT_EQ(got, expected[c][y][x]) << "at (" << x << ", " << y << ", channel " << c << ")";
            }
            if (dst->depth == ZAN_DEPTH_1U && dst->width % 8) {
                const auto last = static_cast<uint8_t>(dst->imageData[y * dst->widthStep + dst->width / 8]);
                ASSERT_EQ(last & (0xFF >> (dst->width % 8)), 0) << "row " << y;
            }
        }
    }
}

// A ramp over the whole range of the depth along each row, shifted by row
// and channel.
void fillRamp(ZanImage* image)
{
    const double low = bottomOf(image->depth);
    const double span = fullScale(image->depth);
    const int last = std::max(image->width - 1, 1);
    for (int c = 0; c < image->nChannels; ++c)
        for (int y = 0; y < image->height; ++y)
            for (int x = 0; x < image->width; ++x) {
                const double t = static_cast<double>((x + 3 * y + 7 * c) % image->width) / last;
                zt::setSampleAt(image, x, y, c, std::floor(low + t * span));
            }
}

int maxLevels(uint32_t dst)
{
    return dst == ZAN_DEPTH_1U ? 3 : dst == ZAN_DEPTH_8U ? 257 : dst == ZAN_DEPTH_16U ? 65537 : 1 << 30;
}

struct Config {
    int channels;
    int order;
    int alpha;
    bool ramp;
};

TEST(ReduceBits, MatchesTheReferenceForEveryDitherAndPair)
{
    std::mt19937 rng(7);
    const Config configs[] = {
        {1, ZAN_DATA_ORDER_PIXEL, 0, true},  {1, ZAN_DATA_ORDER_PIXEL, 0, false},
        {3, ZAN_DATA_ORDER_PIXEL, 0, false}, {3, ZAN_DATA_ORDER_PLANE, 0, true},
        {4, ZAN_DATA_ORDER_PIXEL, 4, false},
    };
    zt::RecordingReporter recorder;
    for (const int dither : kDithers) {
        for (const Pair& pair : kPairs) {
            for (const Config& config : configs) {
                if (pair.dst == ZAN_DEPTH_1U && config.channels > 1)
                    continue;
                for (int noise : {0, 37, 100}) {
                    Shape shape;
                    shape.depth = pair.src;
                    shape.channels = config.channels;
                    shape.alpha = config.alpha;
                    shape.order = config.order;
                    shape.width = std::uniform_int_distribution<int>(1, 37)(rng);
                    shape.height = std::uniform_int_distribution<int>(1, 9)(rng);
                    const int levelChoices[] = {2, maxLevels(pair.dst),
                                                std::uniform_int_distribution<int>(2, std::min(maxLevels(pair.dst), 300))(rng)};
                    const int levels = levelChoices[std::uniform_int_distribution<int>(0, 2)(rng)];
                    Image src = zt::makeImage(shape);
                    if (config.ramp)
                        fillRamp(src.get());
                    else
                        zt::fillRandom(src.get(), rng);
                    Shape dstShape = shape;
                    dstShape.depth = pair.dst;
                    Image dst = zt::makeRandomImage(dstShape, rng);
                    SCOPED_TRACE(std::string("dither ") + std::to_string(dither) + " " + zt::describe(shape) +
                                 " to " + zt::depthName(pair.dst) + " noise " + std::to_string(noise) +
                                 " levels " + std::to_string(levels));
                    zanReduceBits(src.get(), dst.get(), noise, dither, levels);
                    ASSERT_TRUE(recorder.reports().empty()) << recorder.summary().front();
                    expectImage(dst.get(), expectedOf(src.get(), pair, dither, noise, levels));
                }
            }
        }
    }
}

// Pairs whose result by bands (dither at the source's depth, then narrowed)
// and by the direct routine agree: same depth, 16U to 8U, and bits from two
// levels. Ordered dither and narrowing go cell by cell for every pair.
bool bandsAgree(int dither, const Pair& pair, int levels)
{
    if (dither == ZAN_DITHER_NONE || dither == ZAN_DITHER_BAYER)
        return true;
    if (pair.dst == ZAN_DEPTH_1U)
        return levels == 2;
    return pair.src == pair.dst || pair.src == ZAN_DEPTH_16U;
}

TEST(ReduceBits, TiledImagesGiveTheUntiledResult)
{
    std::mt19937 rng(11);
    zt::RecordingReporter recorder;
    for (const int dither : kDithers) {
        for (const Pair& pair : kPairs) {
            for (int variant = 0; variant < 3; ++variant) {
                const int levels = pair.dst == ZAN_DEPTH_1U ? 2 : 5;
                if (!bandsAgree(dither, pair, levels))
                    continue;
                Shape shape;
                shape.depth = pair.src;
                shape.channels = pair.dst == ZAN_DEPTH_1U ? 1 : 3;
                shape.order = variant == 1 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
                shape.width = std::uniform_int_distribution<int>(9, 45)(rng);
                shape.height = std::uniform_int_distribution<int>(9, 30)(rng);
                Shape dstShape = shape;
                dstShape.depth = pair.dst;
                Image src = zt::makeRandomImage(shape, rng);
                Image plainDst = zt::makeImage(dstShape);
                zanReduceBits(src.get(), plainDst.get(), 20, dither, levels);

                // variant 0: both tiled; 1: only the source; 2: only the destination.
                zt::TiledImage tiledSrc(shape, 8, 16);
                std::memcpy(tiledSrc.plain()->imageData, src->imageData, src->imageSize);
                tiledSrc.load();
                zt::TiledImage tiledDst(dstShape, 16, 8);
                Image dst = zt::makeImage(dstShape);
                zanReduceBits(variant == 2 ? src.get() : tiledSrc.header(),
                              variant == 1 ? dst.get() : tiledDst.header(), 20, dither, levels);
                ASSERT_TRUE(recorder.reports().empty()) << recorder.summary().front();
                SCOPED_TRACE(std::string("dither ") + std::to_string(dither) + " " + zt::describe(shape) +
                             " to " + zt::depthName(pair.dst) + " variant " + std::to_string(variant));
                for (zt::TiledImage* t : {&tiledSrc, &tiledDst}) {
                    EXPECT_FALSE(t->misuse);
                    EXPECT_EQ(t->openCount(), t->releaseCount());
                }
                const ZanImage* result = dst.get();
                if (variant != 1) {
                    tiledDst.store();
                    result = tiledDst.plain();
                }
                for (int c = 0; c < shape.channels; ++c)
                    for (int y = 0; y < shape.height; ++y)
                        for (int x = 0; x < shape.width; ++x)
                            ASSERT_EQ(zt::sampleAt(result, x, y, c), zt::sampleAt(plainDst.get(), x, y, c))
                                << "at (" << x << ", " << y << ", " << c << ")";
            }
        }
    }
}

Image flatImage(uint32_t depth, int width, int height, double value)
{
    Shape shape;
    shape.depth = depth;
    shape.width = width;
    shape.height = height;
    Image image = zt::makeImage(shape);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            zt::setSampleAt(image.get(), x, y, 0, value);
    return image;
}

TEST(ReduceBits, BayerFollowsItsMatrix)
{
    // Two levels: 128 lies more than m / 15 * 255 = 17 m above 0 for m up to 7.
    Image src = flatImage(ZAN_DEPTH_8U, 8, 8, 128);
    Image dst = zt::makeImage(Shape{});
    zanReduceBits(src.get(), dst.get(), 0, ZAN_DITHER_BAYER, 2);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(zt::sampleAt(dst.get(), x, y, 0), kBayer[y % 4][x % 4] <= 7 ? 255 : 0)
                << x << "," << y;
}

TEST(ReduceBits, LevelOutputsAndFullScale)
{
    // Eight levels at 8 bits: s = 9325 and level q gives (q * 9325) >> 8; the
    // top level is 254, while a full-scale sample under diffusion gives 255.
    Shape shape;
    shape.width = 256;
    shape.height = 4;
    Image ramp = zt::makeImage(shape);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 256; ++x)
            zt::setSampleAt(ramp.get(), x, y, 0, x);
    Image dst = zt::makeImage(shape);
    zanReduceBits(ramp.get(), dst.get(), 0, ZAN_DITHER_BAYER, 8);
    const std::vector<double> outputs = {0, 36, 72, 109, 145, 182, 218, 254};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 256; ++x)
            EXPECT_NE(std::find(outputs.begin(), outputs.end(), zt::sampleAt(dst.get(), x, y, 0)), outputs.end());
    Image top = flatImage(ZAN_DEPTH_8U, 5, 3, 255);
    for (int dither : {ZAN_DITHER_FS, ZAN_DITHER_JJH, ZAN_DITHER_STUCKEY}) {
        zanReduceBits(top.get(), dst.get(), 0, dither, 8);
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(zt::sampleAt(dst.get(), x, 2, 0), 255);
    }
    // Two levels give 0 and 255 (s = 65280).
    zanReduceBits(ramp.get(), dst.get(), 0, ZAN_DITHER_FS, 2);
    for (int x = 0; x < 256; ++x) {
        const double v = zt::sampleAt(dst.get(), x, 1, 0);
        EXPECT_TRUE(v == 0 || v == 255) << v;
    }
}

TEST(ReduceBits, NoiseIsTheSameOnEveryCallIgnoresRoiAndKeepsTheRoundingMode)
{
    std::mt19937 rng(3);
    const Shape shape{.width = 40, .height = 20};
    Image src = zt::makeRandomImage(shape, rng);
    Image first = zt::makeImage(shape);
    Image second = zt::makeImage(shape);
    zanReduceBits(src.get(), first.get(), 60, ZAN_DITHER_STUCKEY, 4);
    // A ROI or a mask changes nothing.
    zt::setRoi(second.get(), 0, 5, 3, 10, 10);
    zt::attachRandomMask(second.get(), 40, 20, rng);
    std::fesetround(FE_DOWNWARD);
    zanReduceBits(src.get(), second.get(), 60, ZAN_DITHER_STUCKEY, 4);
    EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(zt::bytesOf(first.get()), zt::bytesOf(second.get()));
}

TEST(ReduceBits, RefusesBadArgumentsInOrder)
{
    auto make = [](Shape shape) { return zt::makeImage(shape); };
    Image g8 = make({}), g16 = make({.depth = ZAN_DEPTH_16U}), bits = make({.depth = ZAN_DEPTH_1U});
    Image rgb8 = make({.channels = 3}), rgb8b = make({.channels = 3}), rgba8 = make({.channels = 4, .alpha = 4});
    Image planes8 = make({.order = ZAN_DATA_ORDER_PLANE}), s8 = make({.depth = ZAN_DEPTH_8S});
    Image s16 = make({.depth = ZAN_DEPTH_16S}), two8 = make({.channels = 2}), narrow8 = make({.width = 4});
    Image f32 = make({.depth = ZAN_DEPTH_32F}), i32 = make({.depth = ZAN_DEPTH_32S});
    struct Case {
        const ZanImage* src;
        ZanImage* dst;
        int noise, dither, levels;
        int status;
        const char* text;
    };
    const Case cases[] = {
        {nullptr, g8.get(), 0, 1, 2, ZAN_STATUS_NULL_HEADER, "Incorrect Image"},
        {bits.get(), bits.get(), 0, 1, 2, -5, "( (srcImage->depth == ZAN_DEPTH_1U ))"},
        {g8.get(), g16.get(), 0, 1, 2, -5, "((srcImage->depth& ZAN_DEPTH_MASK) < (dstImage->depth& ZAN_DEPTH_MASK))"},
        {g8.get(), planes8.get(), 0, 1, 2, -5, "(srcImage->dataOrder!=dstImage->dataOrder)"},
        {g8.get(), bits.get(), 101, 1, 2, -5, "(( noise < 0 ) || ( noise > 100 ))"},
        {rgba8.get(), rgb8.get(), 0, 1, 2, -5, "(srcImage->alphaChannel!=dstImage->alphaChannel)"},
        {g8.get(), rgb8.get(), 0, 1, 2, -5, "(srcImage->nChannels < dstImage->nChannels)"},
        {g8.get(), bits.get(), 0, 3, 2, -5,
         "ditherType != ZAN_DITHER_NONE && ditherType != ZAN_DITHER_FS && ditherType != ZAN_DITHER_JJH && "
         "ditherType != ZAN_DITHER_STUCKEY && ditherType != ZAN_DITHER_BAYER"},
        {s16.get(), g8.get(), 0, 1, 2, -5,
         "!( ( srcImage->depth == ZAN_DEPTH_32S ) || ((srcImage->depth & ZAN_DEPTH_SIGN)==0))"},
        {g16.get(), s8.get(), 0, 1, 2, -5,
         "!( ( dstImage->depth == ZAN_DEPTH_32S ) || ((dstImage->depth & ZAN_DEPTH_SIGN)==0))"},
        {f32.get(), g8.get(), 0, 1, 2, -5, "(srcImage->depth == ZAN_DEPTH_32F)"},
        {i32.get(), f32.get(), 0, 1, 2, -5, "(dstImage->depth == ZAN_DEPTH_32F)"},
        {g8.get(), g8.get(), 0, 1, 2, -5, "This function isn`t in-plase function"},
        {g8.get(), bits.get(), 0, 2, 1, -5, "You incorrectly have set an amount of levels"},
        {g8.get(), bits.get(), 0, 2, 4, -5, "You incorrectly have set an amount of levels"},
        {g16.get(), g8.get(), 0, 16, 258, -5, "You incorrectly have set an amount of levels"},
        {rgb8.get(), bits.get(), 0, 1, 2, -5, " Depth 1u is for Gray, only"},
        {rgb8.get(), two8.get(), 0, 1, 2, -5, "(srcImage->nChannels != dstImage->nChannels)"},
        {g8.get(), narrow8.get(), 0, 1, 2, -5,
         "((dstImage->width < srcImage->width) || (dstImage->height < srcImage->height))"},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter recorder;
        zanReduceBits(c.src, c.dst, c.noise, c.dither, c.levels);
        ASSERT_EQ(recorder.reports().size(), 1u) << c.text;
        EXPECT_EQ(recorder.reports()[0].status, c.status);
        EXPECT_EQ(recorder.reports()[0].function, "zanReduceBits");
        EXPECT_EQ(recorder.reports()[0].context, c.text);
    }
    zt::RecordingReporter recorder;
    // Levels are not read without dither; 257 levels fit 8 bits.
    zanReduceBits(rgb8.get(), rgb8b.get(), 0, ZAN_DITHER_NONE, INT_MIN);
    zanReduceBits(g16.get(), g8.get(), 0, ZAN_DITHER_FS, 257);
    EXPECT_TRUE(recorder.reports().empty());
    // A status left from before ends the call after the dither test, quietly.
    zanSetErrStatus(ZAN_STATUS_BAD_ARGUMENT);
    zanReduceBits(g16.get(), g8.get(), 0, ZAN_DITHER_FS, 1);
    EXPECT_TRUE(recorder.reports().empty());
}

} // namespace
