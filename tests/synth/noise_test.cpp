// Noise images: the generator's sequence, the samples of whole images
// against a reference that follows the walk's order, their statistics, and
// the clamping and failures.
#include "zan_test.h"

#include "../arith/reference.h"

#include "synth/own_noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;

// ---------------------------------------------------------------------------
// The generator, written here from its recurrence. Two congruential steps at
// once use the combined multiplier and addend, so the Gaussian draws check
// those constants too.

struct ReferenceGenerator {
    uint32_t lcg = 0x436CBAE9u;
    uint32_t lag1, lag2, lag3;
    uint32_t borrow = 1;
    bool havePending = false;
    double pendingValue = 0;

    explicit ReferenceGenerator(uint32_t seed)
        : lag1(seed), lag2(seed * 69069u + 1013904243u), lag3(lag2 * 69069u + 1013904243u)
    {
    }

    uint32_t lagged()
    {
        const uint32_t t = lag2 - lag3 - borrow;
        borrow = t >> 31;
        const uint32_t x = borrow ? t - 18u : t;
        lag3 = lag2;
        lag2 = lag1;
        lag1 = x;
        return x;
    }

    uint32_t next()
    {
        const uint32_t x = lagged();
        lcg = lcg * 69069u + 1013904243u;
        return x + lcg;
    }

    // A sample of the polar method, without the deviation.
    double gaussian()
    {
        if (havePending) {
            havePending = false;
            return pendingValue;
        }
        for (;;) {
            const uint32_t x1 = lagged();
            const uint32_t x2 = lagged();
            const uint32_t lcg1 = lcg * 69069u + 1013904243u;
            lcg = lcg * 0x1C587629u + 0x3717BD8Au;
            const double a = static_cast<int32_t>(x1 + lcg1) * 4.656612873077e-10;
            const double e = static_cast<int32_t>(x2 + lcg) * 4.656612873077e-10;
            const double s = e * e + a * a;
            if (s >= 1.0 || s == 0.0)
                continue;
            const double factor = std::sqrt((-2.0 / s) * std::log(s));
            havePending = true;
            pendingValue = factor * a;
            return factor * e;
        }
    }
};

TEST(NoiseGenerator, StartsFromTheSeedAndFollowsTheRecurrence)
{
    const OwnNoiseState zero = ownNoiseStart(0);
    EXPECT_EQ(zero.b, 0u);
    EXPECT_EQ(zero.c, 0x3C6EF373u);
    EXPECT_EQ(zero.d, 0x3717BD8Au);
    EXPECT_EQ(zero.borrow, 1u);
    EXPECT_EQ(zero.lcg, 0x436CBAE9u);
    for (uint32_t seed : {0u, 1u, 12345u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(seed);
        OwnNoiseState state = ownNoiseStart(seed);
        ReferenceGenerator reference(seed);
        for (int i = 0; i < 5000; ++i)
            ASSERT_EQ(ownNoiseStep(state), reference.next()) << "step " << i;
        OwnNoiseState gaussState = ownNoiseStart(seed);
        ReferenceGenerator gaussReference(seed);
        for (int i = 0; i < 5000; ++i)
            ASSERT_EQ(ownNoiseGaussian(gaussState), gaussReference.gaussian()) << "sample " << i;
    }
}

// ---------------------------------------------------------------------------
// Whole images against a reference.

struct Position {
    int x, y, channel;
};

// The samples that receive noise, in the order of the walk: tile by tile in
// bands of tile rows, and within a piece plane by plane (plane order) or
// pixel by pixel, channel by channel (pixel order); a clear mask bit draws
// nothing.
std::vector<Position> drawOrder(const ZanImage* image)
{
    zt::Rect r = zt::regionOf(image);
    const ZanImage* mask = image->maskROI;
    zt::Rect m{};
    if (mask) {
        m = zt::regionOf(mask);
        r.width = std::min(r.width, m.width);
        r.height = std::min(r.height, m.height);
    }
    const int tw = image->tileInfo ? image->tileInfo->width : image->width;
    const int th = image->tileInfo ? image->tileInfo->height : image->height;
    const int count = zt::channelCount(image);
    const int first = zt::firstChannel(image);
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    std::vector<Position> order;
    if (r.width <= 0 || r.height <= 0)
        return order;
    for (int row = r.y / th; row * th < r.y + r.height; ++row) {
        for (int column = r.x / tw; column * tw < r.x + r.width; ++column) {
            const int x0 = std::max(r.x, column * tw), x1 = std::min(r.x + r.width, (column + 1) * tw);
            const int y0 = std::max(r.y, row * th), y1 = std::min(r.y + r.height, (row + 1) * th);
            for (int plane = 0; plane < (planes ? count : 1); ++plane)
                for (int y = y0; y < y1; ++y)
                    for (int x = x0; x < x1; ++x) {
                        if (mask && !zt::bitAt(mask, m.x + x - r.x, m.y + y - r.y))
                            continue;
                        for (int c = 0; c < (planes ? 1 : count); ++c)
                            order.push_back({x, y, first + plane + c});
                    }
        }
    }
    return order;
}

// The noisy sample for p, drawing from the generator as the kind says.
double noisy(uint32_t depth, int kind, const ZanNoiseParam& param, ReferenceGenerator& g, double p)
{
    if (kind == ZAN_NOISE_GAUSSIAN) {
        if (depth == ZAN_DEPTH_32F)
            return static_cast<float>(g.gaussian() * param.highFP + param.lowFP + p);
        const double noise = g.gaussian() * param.highInt;
        return ref::saturate(depth, p + param.lowInt + std::trunc(noise));
    }
    if (depth == ZAN_DEPTH_32F) {
        const float lo = std::min(param.lowFP, param.highFP);
        const float scale = (std::max(param.lowFP, param.highFP) - lo) * 2.3283064365386963e-10f;
        return static_cast<float>(p + (g.next() * static_cast<double>(scale) + lo));
    }
    double lo = std::min(param.lowInt, param.highInt);
    double hi = std::max(param.lowInt, param.highInt);
    if (depth != ZAN_DEPTH_32S) {
        const double m = (depth & 16) ? 65535 : 255;
        lo = std::max(lo, -m);
        hi = std::min(hi, m);
    }
    return ref::saturate(depth, p + lo + std::trunc(g.next() * ((hi - lo) * 2.3283064365386963e-10)));
}

// The image that noise makes of `image` (whose pixels `content` holds).
Image expectedNoise(const ZanImage* image, const ZanImage* content, int kind, const ZanNoiseParam& param)
{
    Image result(zanCloneImage(content));
    ReferenceGenerator g(param.seed);
    for (const Position& at : drawOrder(image)) {
        const double p = zt::sampleAt(content, at.x, at.y, at.channel);
        zt::setSampleAt(result.get(), at.x, at.y, at.channel, noisy(image->depth, kind, param, g, p));
    }
    return result;
}

ZanNoiseParam randomParam(std::mt19937& rng, uint32_t depth, int kind)
{
    auto any = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); };
    ZanNoiseParam param{};
    const int range = depth == ZAN_DEPTH_32S ? 2000000000 : any(0, 1) ? 400 : 70000;
    if (kind == ZAN_NOISE_UNIFORM) {
        zanNoiseUniformInit(&param, static_cast<uint32_t>(rng()), any(-range, range), any(-range, range));
        zanNoiseUniformInitFP(&param, param.seed, any(-500, 500) / 7.0f, any(-500, 500) / 3.0f);
    } else {
        zanNoiseGaussianInit(&param, static_cast<uint32_t>(rng()), any(-range, range), any(-range / 4, range / 4));
        zanNoiseGaussianInitFP(&param, param.seed, any(-500, 500) / 7.0f, any(-500, 500) / 3.0f);
    }
    return param;
}

TEST(NoiseImage, MatchesTheReferenceOverDepthsLayoutsRoisMasksAndTiles)
{
    std::mt19937 rng(8);
    const uint32_t depths[] = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S,
                               ZAN_DEPTH_32F};
    auto any = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    for (int i = 0; i < 400; ++i) {
        const int kind = any(2);
        Shape shape{depths[any(6)], 1 + any(4), 3 + any(40), 3 + any(40), any(2)};
        shape.alpha = shape.channels > 1 && any(3) == 0 ? shape.channels : 0;
        std::unique_ptr<TiledImage> tiled;
        Image plain;
        if (any(2)) {
            tiled = std::make_unique<TiledImage>(shape, 8 * (1 + any(3)), 8 * (1 + any(3)));
            zt::fillRandom(tiled->plain(), rng);
            tiled->load();
        } else {
            plain = zt::makeRandomImage(shape, rng);
        }
        ZanImage* image = tiled ? tiled->header() : plain.get();
        ZanImage* content = tiled ? tiled->plain() : plain.get();
        if (any(2))
            zt::setRoi(image, any(3) == 0 ? 1 + any(shape.channels) : 0, any(shape.width / 2),
                       any(shape.height / 2), 1 + any(shape.width), 1 + any(shape.height));
        if (any(3) == 0) {
            ZanImage* mask = zt::attachRandomMask(image, 2 + any(40), 2 + any(40), rng);
            if (any(2))
                zt::setRoi(mask, 0, any(3), any(3), 1 + any(mask->width), 1 + any(mask->height));
        }
        const ZanNoiseParam param = randomParam(rng, shape.depth, kind);
        std::ostringstream trace;
        trace << "case " << i << ": " << zt::describe(shape) << (tiled ? " tiled" : "")
              << (image->maskROI ? " mask" : "") << " kind " << kind << " seed " << param.seed << " ints "
              << param.lowInt << "," << param.highInt << " floats " << param.lowFP << "," << param.highFP;
        SCOPED_TRACE(trace.str());

        const Image expected = expectedNoise(image, content, kind, param);
        const ZanNoiseParam before = param;
        RecordingReporter recorder;
        ASSERT_EQ(zanNoiseImage(image, &param, kind), ZAN_STATUS_OK);
        ASSERT_TRUE(recorder.reports().empty());
        ASSERT_EQ(std::memcmp(&before, &param, sizeof param), 0);
        if (tiled) {
            tiled->store();
            ASSERT_EQ(tiled->openCount(), tiled->releaseCount());
            ASSERT_FALSE(tiled->misuse);
        }
        ASSERT_EQ(zt::bytesOf(content), zt::bytesOf(expected.get()));
    }
}

// ---------------------------------------------------------------------------
// Statistics of large images.

struct Moments {
    double mean;
    double variance;
};

Moments momentsOf(const ZanImage* image)
{
    double sum = 0;
    double squares = 0;
    const double n = static_cast<double>(image->width) * image->height;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x) {
            const double v = zt::sampleAt(image, x, y, 0);
            sum += v;
            squares += v * v;
        }
    return {sum / n, squares / n - (sum / n) * (sum / n)};
}

struct Distribution {
    const char* name;
    uint32_t depth;
    int kind;
    ZanNoiseParam param;
    double mean;
    double variance;
};

TEST(NoiseImage, LargeImagesHaveTheDistributionsMeanAndVariance)
{
    const int side = 256;
    const Distribution cases[] = {
        // 20 + an integer uniform over 0 .. 199.
        {"uniform 8U", ZAN_DEPTH_8U, ZAN_NOISE_UNIFORM, {7, 20, 220, 0, 0}, 119.5, (200.0 * 200 - 1) / 12},
        {"uniform 32F", ZAN_DEPTH_32F, ZAN_NOISE_UNIFORM, {9, 0, 0, -2.0f, 6.0f}, 2.0, 64.0 / 12},
        {"gaussian 32F", ZAN_DEPTH_32F, ZAN_NOISE_GAUSSIAN, {3, 0, 0, 3.0f, 2.0f}, 3.0, 4.0},
        {"gaussian 16S", ZAN_DEPTH_16S, ZAN_NOISE_GAUSSIAN, {11, 1000, 50, 0, 0}, 1000.0, 2500.0},
    };
    for (const Distribution& d : cases) {
        SCOPED_TRACE(d.name);
        Image image = zt::makeImage(Shape{d.depth, 1, side, side});
        ASSERT_EQ(zanNoiseImage(image.get(), &d.param, d.kind), ZAN_STATUS_OK);
        const Moments m = momentsOf(image.get());
        const double n = side * side;
        // Five standard errors of the mean, and 4% of the variance (its
        // relative standard error is about 0.6% for these distributions).
        EXPECT_NEAR(m.mean, d.mean, 5 * std::sqrt(d.variance / n));
        EXPECT_NEAR(m.variance, d.variance, 0.04 * d.variance);
    }
}

// ---------------------------------------------------------------------------
// Limits of the integer depths.

struct Limit {
    const char* name;
    uint32_t depth;
    int kind;
    int low, high;
    int fill;
    double everywhere; // NaN: every sample is fill + low
};

TEST(NoiseImage, RangesBeyondTheDepthClampEverySample)
{
    const double plusLow = std::nan("");
    const Limit limits[] = {
        {"8U above", ZAN_DEPTH_8U, ZAN_NOISE_UNIFORM, 300, 400, 0, 255},
        {"8U below", ZAN_DEPTH_8U, ZAN_NOISE_UNIFORM, -400, -256, 255, 0},
        {"8S below", ZAN_DEPTH_8S, ZAN_NOISE_UNIFORM, -300, -260, 127, -128},
        {"8S above", ZAN_DEPTH_8S, ZAN_NOISE_UNIFORM, 260, 255, -128, 127},
        {"16U above", ZAN_DEPTH_16U, ZAN_NOISE_UNIFORM, 65535, 90000, 0, 65535},
        {"16S below", ZAN_DEPTH_16S, ZAN_NOISE_UNIFORM, -70000, -65535, 32767, -32768},
        {"32S above", ZAN_DEPTH_32S, ZAN_NOISE_UNIFORM, 2147483647, 2147483647, 5, 2147483647},
        {"8U equal ends", ZAN_DEPTH_8U, ZAN_NOISE_UNIFORM, 7, 7, 100, plusLow},
        {"16S equal ends", ZAN_DEPTH_16S, ZAN_NOISE_UNIFORM, -9, -9, -32760, -32768},
        {"8U gaussian no deviation", ZAN_DEPTH_8U, ZAN_NOISE_GAUSSIAN, 40, 0, 100, plusLow},
        {"32S gaussian no deviation", ZAN_DEPTH_32S, ZAN_NOISE_GAUSSIAN, -1000, 0, 3, plusLow},
    };
    for (const Limit& l : limits) {
        SCOPED_TRACE(l.name);
        Image image = zt::makeImage(Shape{l.depth, 3, 13, 9});
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x)
                for (int c = 0; c < 3; ++c)
                    zt::setSampleAt(image.get(), x, y, c, l.fill);
        ZanNoiseParam param{};
        if (l.kind == ZAN_NOISE_GAUSSIAN)
            zanNoiseGaussianInit(&param, 77, l.low, l.high);
        else
            zanNoiseUniformInit(&param, 77, l.low, l.high);
        RecordingReporter recorder;
        ASSERT_EQ(zanNoiseImage(image.get(), &param, l.kind), ZAN_STATUS_OK);
        const double want = std::isnan(l.everywhere) ? static_cast<double>(l.fill) + l.low : l.everywhere;
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(zt::sampleAt(image.get(), x, y, c), want) << x << "," << y << "," << c;
    }
}

TEST(NoiseImage, ARangeBeyondTheDepthFirstSetsTheRegion)
{
    using Call = TiledImage::Call;
    const std::vector<Call> walk = {{0, 0, ZAN_TILE_WRITE}, {0, 0, ZAN_TILE_RELEASE},
                                    {1, 0, ZAN_TILE_WRITE}, {1, 0, ZAN_TILE_RELEASE}};
    struct Range {
        int low, high;
        int walks; // the setting walk, then the noise walk
    };
    for (const Range& r : {Range{300, 400, 2}, Range{-400, -300, 2}, Range{-300, 300, 1}}) {
        SCOPED_TRACE(std::to_string(r.low) + ".." + std::to_string(r.high));
        TiledImage image(Shape{ZAN_DEPTH_8U, 1, 32, 16}, 16, 16);
        ZanNoiseParam param{};
        zanNoiseUniformInit(&param, 9, r.low, r.high);
        RecordingReporter recorder;
        EXPECT_EQ(zanNoiseImage(image.header(), &param, ZAN_NOISE_UNIFORM), ZAN_STATUS_OK);
        std::vector<Call> expected;
        for (int i = 0; i < r.walks; ++i)
            expected.insert(expected.end(), walk.begin(), walk.end());
        EXPECT_EQ(image.calls, expected);
    }
}

TEST(NoiseImage, EndsInEitherOrderGiveTheSameNoise)
{
    std::mt19937 rng(4);
    const Image original = zt::makeRandomImage(Shape{ZAN_DEPTH_16S, 2, 30, 20}, rng);
    Image a(zanCloneImage(original.get()));
    Image b(zanCloneImage(original.get()));
    ZanNoiseParam forward{};
    ZanNoiseParam backward{};
    zanNoiseUniformInit(&forward, 5, -1000, 3000);
    zanNoiseUniformInit(&backward, 5, 3000, -1000);
    zanNoiseImage(a.get(), &forward, ZAN_NOISE_UNIFORM);
    zanNoiseImage(b.get(), &backward, ZAN_NOISE_UNIFORM);
    EXPECT_EQ(zt::bytesOf(a.get()), zt::bytesOf(b.get()));
    EXPECT_NE(zt::bytesOf(a.get()), zt::bytesOf(original.get()));
}

TEST(NoiseImage, InitFunctionsStoreOnlyTheirOwnFields)
{
    ZanNoiseParam param{1, 2, 3, 4.0f, 5.0f};
    zanNoiseUniformInit(&param, 10, 20, 30);
    EXPECT_EQ(param.seed, 10u);
    EXPECT_EQ(param.lowInt, 20);
    EXPECT_EQ(param.highInt, 30);
    EXPECT_EQ(param.lowFP, 4.0f);
    zanNoiseGaussianInitFP(&param, 11, -1.5f, 2.5f);
    EXPECT_EQ(param.seed, 11u);
    EXPECT_EQ(param.lowInt, 20);
    EXPECT_EQ(param.lowFP, -1.5f);
    EXPECT_EQ(param.highFP, 2.5f);
    zanNoiseGaussianInit(&param, 12, -7, 8);
    zanNoiseUniformInitFP(&param, 13, 0.25f, 0.5f);
    const ZanNoiseParam want{13, -7, 8, 0.25f, 0.5f};
    EXPECT_EQ(std::memcmp(&param, &want, sizeof param), 0);
}

// ---------------------------------------------------------------------------
// Failures.

TEST(NoiseImage, RefusalsReturnTheirStatus)
{
    struct Refusal {
        const char* name;
        uint32_t depth;
        int noise;
        bool nullImage;
        ZanStatus status;
        const char* text;
    };
    const Refusal refusals[] = {
        {"null", ZAN_DEPTH_8U, 0, true, ZAN_STATUS_NULL_HEADER, "Incorrect Image"},
        {"1U", ZAN_DEPTH_1U, 0, false, ZAN_STATUS_BAD_ARGUMENT, "(image->depth == 1)"},
        {"kind", ZAN_DEPTH_8U, 2, false, ZAN_STATUS_BAD_ARGUMENT,
         "((noise != ZAN_NOISE_UNIFORM) && (noise != ZAN_NOISE_GAUSSIAN))"},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.name);
        Image image = zt::makeImage(Shape{r.depth, 1, 9, 9}, 1);
        const std::vector<uint8_t> before = zt::bytesOf(image.get());
        ZanNoiseParam param{};
        zanNoiseUniformInit(&param, 1, 0, 100);
        RecordingReporter recorder;
        EXPECT_EQ(zanNoiseImage(r.nullImage ? nullptr : image.get(), &param, r.noise), r.status);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, r.status);
        EXPECT_EQ(recorder.reports()[0].context, r.text);
        EXPECT_EQ(recorder.reports()[0].function, "zanNoiseImage");
        EXPECT_EQ(zt::bytesOf(image.get()), before);
    }
}

TEST(NoiseImage, ATileWithoutDataStopsTheWalkAndKeepsWhatIsDone)
{
    TiledImage image(Shape{ZAN_DEPTH_8U, 1, 32, 8}, 16, 8);
    image.failOpenAt = 1;
    ZanNoiseParam param{};
    zanNoiseUniformInit(&param, 3, 10, 10);
    RecordingReporter recorder;
    EXPECT_EQ(zanNoiseImage(image.header(), &param, ZAN_NOISE_UNIFORM), ZAN_STATUS_INTERNAL);
    ASSERT_EQ(recorder.reports().size(), 1u);
    EXPECT_EQ(recorder.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(recorder.reports()[0].context, "(image->tileInfo->tileData == 0)");
    image.store();
    EXPECT_EQ(zt::sampleAt(image.plain(), 15, 7, 0), 10);
    EXPECT_EQ(zt::sampleAt(image.plain(), 16, 0, 0), 0);
}

} // namespace
