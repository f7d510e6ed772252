// Depth conversion: zanConvert, zanScale, zanScaleFP and zanBitonalToGray
// against values computed here, at the extremes of every range, with
// layouts, flipped origins, tiles and refusals.
#include "color_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

const uint32_t kIntegerDepths[] = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};

double lowest(uint32_t depth)
{
    const int bits = int(depth & ZAN_DEPTH_MASK);
    return depth & ZAN_DEPTH_SIGN ? -std::ldexp(1.0, bits - 1) : 0;
}

double highest(uint32_t depth)
{
    const int bits = int(depth & ZAN_DEPTH_MASK);
    return depth & ZAN_DEPTH_SIGN ? std::ldexp(1.0, bits - 1) - 1 : std::ldexp(1.0, bits) - 1;
}

// A value taken modulo the width of the depth, into its range.
double wrapTo(uint32_t depth, double v)
{
    const double span = highest(depth) - lowest(depth) + 1;
    return v - span * std::floor((v - lowest(depth)) / span);
}

double floorDiv(double v, double d) { return std::floor(v / d); }

// The extremes of a depth's range and the values next to them and to 0.
std::vector<double> extremesOf(uint32_t depth)
{
    std::vector<double> values;
    for (double v : {lowest(depth), lowest(depth) + 1, -1.0, 0.0, 1.0, highest(depth) - 1, highest(depth)})
        if (v >= lowest(depth) && v <= highest(depth))
            values.push_back(v);
    return values;
}

// Fills an image with the extremes in turn, then random samples.
void fillExtremes(ZanImage* image, std::mt19937& rng)
{
    zt::fillRandom(image, rng);
    const std::vector<double> values = extremesOf(image->depth);
    int i = 0;
    for (int y = 0; y < image->height && i < 4 * int(values.size()); ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c, ++i)
                if (i < 4 * int(values.size()))
                    zt::setSampleAt(image, x, y, c, values[i % values.size()]);
}

// Destination pixel (x, y) reads source row height - 1 - y when the
// origins differ.
int sourceRow(const ZanImage* src, const ZanImage* dst, int y)
{
    return src->origin != dst->origin ? src->height - 1 - y : y;
}

// ---------------------------------------------------------------------------
// zanConvert

TEST(DepthConvert, EveryIntegerPairSaturatesAtTheExtremes)
{
    std::mt19937 rng(3);
    for (uint32_t from : kIntegerDepths)
        for (uint32_t to : kIntegerDepths)
            for (int variant = 0; variant < 4; ++variant) {
                Shape in{from, 3, 19, 11};
                Shape out{to, 3, 19, 11};
                in.order = variant & 1 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
                out.origin = variant & 2 ? ZAN_ORIGIN_BOTTOM_LEFT : ZAN_ORIGIN_TOP_LEFT;
                out.alpha = variant == 3 ? 3 : 0; // alpha is converted like the others
                SCOPED_TRACE(zt::describe(in) + " -> " + zt::describe(out) + " origin " + std::to_string(out.origin));
                Image src = zt::makeImage(in);
                fillExtremes(src.get(), rng);
                Image dst = zt::makeImage(out);
                RecordingReporter recorder;
                ct::underRounding(FE_UPWARD, [&] { zanConvert(src.get(), dst.get()); });
                ASSERT_TRUE(recorder.reports().empty());
                for (int y = 0; y < 11; ++y)
                    for (int x = 0; x < 19; ++x)
                        for (int c = 0; c < 3; ++c) {
                            const double v = zt::sampleAt(src.get(), x, sourceRow(src.get(), dst.get(), y), c);
                            ASSERT_EQ(zt::sampleAt(dst.get(), x, y, c), std::clamp(v, lowest(to), highest(to)))
                                << x << "," << y << "," << c;
                        }
            }
}

TEST(DepthConvert, ToBitsFromTheChannelOfInterest)
{
    std::mt19937 rng(8);
    for (uint32_t from : kIntegerDepths)
        for (int channels : {1, 3}) {
            SCOPED_TRACE(std::string(zt::depthName(from)) + " channels " + std::to_string(channels));
            Image src = zt::makeImage(Shape{from, channels, 21, 6});
            fillExtremes(src.get(), rng);
            if (channels > 1)
                zt::setRoi(src.get(), 2, 5, 5, 1, 1); // the rectangle plays no part
            Shape bits{ZAN_DEPTH_1U, 1, 21, 6};
            bits.origin = ZAN_ORIGIN_BOTTOM_LEFT;
            Image dst = zt::makeImage(bits, 1);
            RecordingReporter recorder;
            zanConvert(src.get(), dst.get());
            ASSERT_TRUE(recorder.reports().empty());
            const int channel = channels > 1 ? 1 : 0;
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 21; ++x) {
                    const double v = zt::sampleAt(src.get(), x, 5 - y, channel);
                    ASSERT_EQ(zt::bitAt(dst.get(), x, y), (from & ZAN_DEPTH_SIGN) ? v > 0 : v != 0) << x << "," << y;
                }
        }
    // Bits to bits: whole bytes of each row.
    Image a = zt::makeRandomImage(Shape{ZAN_DEPTH_1U, 1, 29, 5}, rng);
    Image b = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 29, 5});
    zanConvert(a.get(), b.get());
    EXPECT_TRUE(ct::sameSamples(a.get(), b.get(), 29, 5, 1));
}

TEST(DepthConvert, TiledImagesGiveTheUntiledResult)
{
    std::mt19937 rng(17);
    for (int variant = 0; variant < 8; ++variant) {
        Shape in{ZAN_DEPTH_16S, 2, 37, 29};
        Shape out{variant & 4 ? ZAN_DEPTH_16U : ZAN_DEPTH_8U, 2, 37, 29};
        in.order = variant & 1 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
        out.origin = variant & 2 ? ZAN_ORIGIN_BOTTOM_LEFT : ZAN_ORIGIN_TOP_LEFT;
        zt::TiledImage src(in, 16, 8);
        zt::TiledImage dst(out, 8, 24);
        fillExtremes(src.plain(), rng);
        src.load();
        Image expected = zt::makeImage(out);
        zanConvert(src.plain(), expected.get());
        RecordingReporter recorder;
        zanConvert(src.header(), dst.header());
        dst.store();
        EXPECT_TRUE(recorder.reports().empty());
        EXPECT_TRUE(ct::sameSamples(dst.plain(), expected.get(), 37, 29, 2)) << variant;
        EXPECT_FALSE(src.misuse || dst.misuse);
        EXPECT_EQ(src.openCount(), src.releaseCount());
        EXPECT_EQ(dst.openCount(), dst.releaseCount());
    }
}

using ct::Refusal;

std::shared_ptr<ZanImage> shared(const Shape& shape) { return ct::sharedImage(shape); }

TEST(DepthConvert, RefusalsGiveTheirStatusAndText)
{
    auto u8 = shared(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    auto f32 = shared(Shape{ZAN_DEPTH_32F, 3, 4, 4});
    auto tall = shared(Shape{ZAN_DEPTH_8U, 3, 4, 5});
    auto wide = shared(Shape{ZAN_DEPTH_8U, 3, 5, 4});
    auto bits = shared(Shape{ZAN_DEPTH_1U, 1, 4, 4});
    auto one = shared(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    auto roiNoCoi = shared(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    zt::setRoi(roiNoCoi.get(), 0, 0, 0, 4, 4);
    auto four = shared(Shape{ZAN_DEPTH_16U, 4, 4, 4});
    const std::vector<Refusal> refusals = {
        {"header", [&] { zanConvert(u8.get(), nullptr); }, -9, "zanConvert: Incorrect Image"},
        {"32F source", [&] { zanConvert(f32.get(), u8.get()); }, -5, "zanConvert: (srcImage->depth == 32)"},
        {"32F destination", [&] { zanConvert(u8.get(), f32.get()); }, -5, "zanConvert: (dstImage->depth == 32)"},
        {"heights", [&] { zanConvert(u8.get(), tall.get()); }, -5, "zanConvert: (srcImage->height != dstImage->height)"},
        {"widths", [&] { zanConvert(u8.get(), wide.get()); }, -5, "zanConvert: (srcImage->width != dstImage->width)"},
        {"bits without ROI", [&] { zanConvert(u8.get(), bits.get()); }, -5, "zanConvert: (srcImage->roi == 0)"},
        {"bits without COI", [&] { zanConvert(roiNoCoi.get(), bits.get()); }, -5, "zanConvert: (srcImage->roi->coi == 0)"},
        {"channels", [&] { zanConvert(four.get(), u8.get()); }, -5, "zanConvert: srcImage->nChannels != dstImage->nChannels"},
        {"bits to bytes", [&] { zanConvert(bits.get(), one.get()); }, -5,
         "zanConvert: ((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))"},
    };
    ct::expectRefusals(refusals);
    // The same image: nothing is done and nothing reported.
    RecordingReporter recorder;
    zanConvert(u8.get(), u8.get());
    EXPECT_TRUE(recorder.reports().empty());
}

// ---------------------------------------------------------------------------
// zanBitonalToGray

TEST(DepthBitonal, BitsSelectTheTwoValuesOutsideAlpha)
{
    std::mt19937 rng(4);
    const uint32_t targets[] = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    for (uint32_t to : targets)
        for (int variant = 0; variant < 3; ++variant) {
            Shape out{to, variant == 2 ? 4 : 1, 27, 7};
            out.alpha = variant == 2 ? 4 : 0;
            out.order = variant == 1 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
            out.origin = variant == 1 ? ZAN_ORIGIN_BOTTOM_LEFT : ZAN_ORIGIN_TOP_LEFT;
            zt::TiledImage src(Shape{ZAN_DEPTH_1U, 1, 27, 7}, 8, 8);
            zt::fillRandom(src.plain(), rng);
            src.load();
            Image dst = zt::makeImage(out, 9);
            const int zero = int(lowest(to));
            const int one = int(highest(to));
            RecordingReporter recorder;
            zanBitonalToGray(variant == 0 ? src.header() : src.plain(), dst.get(), zero, one);
            ASSERT_TRUE(recorder.reports().empty());
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 27; ++x)
                    for (int c = 0; c < out.channels; ++c) {
                        const bool bit = zt::bitAt(src.plain(), x, sourceRow(src.plain(), dst.get(), y));
                        const double want = c == 3 ? 9 : bit ? one : zero;
                        ASSERT_EQ(zt::sampleAt(dst.get(), x, y, c), want) << x << "," << y << "," << c;
                    }
        }
}

TEST(DepthBitonal, RefusalsGiveTheirStatusAndText)
{
    auto bits = shared(Shape{ZAN_DEPTH_1U, 1, 4, 4});
    auto u8 = shared(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    auto tall = shared(Shape{ZAN_DEPTH_8U, 1, 4, 5});
    auto wide = shared(Shape{ZAN_DEPTH_8U, 1, 5, 4});
    auto f32 = shared(Shape{ZAN_DEPTH_32F, 1, 4, 4});
    auto s32 = shared(Shape{ZAN_DEPTH_32S, 1, 4, 4});
    auto s8 = shared(Shape{ZAN_DEPTH_8S, 1, 4, 4});
    auto u16 = shared(Shape{ZAN_DEPTH_16U, 1, 4, 4});
    auto s16 = shared(Shape{ZAN_DEPTH_16S, 1, 4, 4});
    auto two = shared(Shape{ZAN_DEPTH_8U, 2, 4, 4});
    std::vector<Refusal> refusals = {
        {"heights", [&] { zanBitonalToGray(bits.get(), tall.get(), 0, 1); }, -5, "zanBitonalToGray: (srcImage->height != dstImage->height)"},
        {"widths", [&] { zanBitonalToGray(bits.get(), wide.get(), 0, 1); }, -5, "zanBitonalToGray: (srcImage->width != dstImage->width)"},
        {"source channels", [&] { zanBitonalToGray(two.get(), u8.get(), 0, 1); }, -5, "zanBitonalToGray: (srcImage->nChannels != 1)"},
        {"source depth", [&] { zanBitonalToGray(u8.get(), u8.get(), 0, 1); }, -5, "zanBitonalToGray: (srcImage->depth != 1)"},
        {"32F", [&] { zanBitonalToGray(bits.get(), f32.get(), 0, 1); }, -5, "zanBitonalToGray: (dstImage->depth == 32)"},
        {"1U", [&] { zanBitonalToGray(bits.get(), bits.get(), 0, 1); }, -5, "zanBitonalToGray: (dstImage->depth == 1)"},
    };
    struct Range {
        std::shared_ptr<ZanImage> image;
        const char* tag;
        int low;
        int high;
    };
    const Range ranges[] = {{s8, "(0x80000000| 8)", -128, 127}, {u8, "8", 0, 255},
                            {s16, "(0x80000000|16)", -32768, 32767}, {u16, "16", 0, 65535}};
    for (const Range& r : ranges) {
        const std::string head = std::string("zanBitonalToGray: ((dstImage->depth == ") + r.tag + ") && (";
        ZanImage* dst = r.image.get();
        refusals.push_back({"zero high", [=] { zanBitonalToGray(bits.get(), dst, r.high + 1, r.high + 5); }, -5,
                            head + "ZeroScale > " + std::to_string(r.high) + "))"});
        refusals.push_back({"zero low", [=] { zanBitonalToGray(bits.get(), dst, r.low - 1, r.high + 5); }, -5,
                            head + "ZeroScale < " + std::to_string(r.low) + "))"});
        refusals.push_back({"one high", [=] { zanBitonalToGray(bits.get(), dst, r.low, r.high + 1); }, -5,
                            head + "OneScale > " + std::to_string(r.high) + "))"});
        refusals.push_back({"one low", [=] { zanBitonalToGray(bits.get(), dst, r.high, r.low - 1); }, -5,
                            head + "OneScale < " + std::to_string(r.low) + "))"});
    }
    ct::expectRefusals(refusals);
    RecordingReporter recorder;
    zanBitonalToGray(bits.get(), s32.get(), INT32_MIN, INT32_MAX);
    EXPECT_TRUE(recorder.reports().empty());
}

// ---------------------------------------------------------------------------
// zanScale

// The whole range of `from` onto the whole range of `to`, by the table of
// the operation, in floor arithmetic and wrapped to the destination.
double rangeScale(uint32_t from, uint32_t to, double x)
{
    const int fromBits = int(from & ZAN_DEPTH_MASK);
    const int toBits = int(to & ZAN_DEPTH_MASK);
    double v;
    if (toBits > fromBits) {
        // Widening: the source's bit pattern as an unsigned value, repeated.
        const double u = x - lowest(from);
        const double repeat = toBits == 32 ? (fromBits == 8 ? 16843009 : 65537) : 257;
        v = u * repeat + lowest(to);
        if (to == ZAN_DEPTH_32S && x == lowest(from))
            v = -2147483648.0;
    } else if (toBits == fromBits) {
        v = x - lowest(from) + lowest(to);
    } else {
        // Narrowing: the signed form y less y >> 8 (or >> 16), then shifted.
        const double y = x - lowest(from) - std::ldexp(1.0, fromBits - 1);
        const double small = fromBits == 16 ? 256 : toBits == 8 ? 256 : 65536;
        const double shift = fromBits == 16 ? 256 : toBits == 8 ? 16777216 : 65536;
        v = floorDiv(y - floorDiv(y, small), shift) + (to & ZAN_DEPTH_SIGN ? 0 : std::ldexp(1.0, toBits - 1));
    }
    return wrapTo(to, v);
}

TEST(DepthScale, EveryPairMapsRangeOntoRange)
{
    std::mt19937 rng(6);
    for (uint32_t from : kIntegerDepths)
        for (uint32_t to : kIntegerDepths) {
            if (from == to)
                continue;
            SCOPED_TRACE(std::string(zt::depthName(from)) + " -> " + zt::depthName(to));
            const bool all = (from & ZAN_DEPTH_MASK) <= 16;
            const int width = all ? int(highest(from) - lowest(from) + 1) : 64;
            Image src = zt::makeImage(Shape{from, 1, width, 1});
            if (all)
                for (int x = 0; x < width; ++x)
                    zt::setSampleAt(src.get(), x, 0, 0, lowest(from) + x);
            else
                fillExtremes(src.get(), rng);
            Image dst = zt::makeImage(Shape{to, 1, width, 1});
            RecordingReporter recorder;
            ZanStatus status = 1;
            ct::underRounding(FE_DOWNWARD, [&] { status = zanScale(src.get(), dst.get()); });
            EXPECT_EQ(status, 0);
            EXPECT_TRUE(recorder.reports().empty());
            double previous = -1e300;
            for (int x = 0; x < width; ++x) {
                const double in = zt::sampleAt(src.get(), x, 0, 0);
                const double out = zt::sampleAt(dst.get(), x, 0, 0);
                ASSERT_EQ(out, rangeScale(from, to, in)) << "sample " << in;
                if (all) {
                    ASSERT_GE(out, previous) << "sample " << in;
                    previous = out;
                }
                // The ends of one range go to the ends of the other.
                if (in == lowest(from)) {
                    ASSERT_EQ(out, lowest(to));
                }
                if (in == highest(from)) {
                    ASSERT_EQ(out, highest(to));
                }
            }
        }
}

TEST(DepthScale, ChannelsRegionsAndTiles)
{
    std::mt19937 rng(9);
    // A COI on the source against a one-channel plane destination of
    // another order; the regions start at their own corners.
    Image src = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 20, 10}, rng);
    zt::setRoi(src.get(), 3, 4, 2, 30, 30);
    Shape planeShape{ZAN_DEPTH_16U, 1, 12, 9};
    planeShape.order = ZAN_DATA_ORDER_PLANE;
    Image dst = zt::makeImage(planeShape, 5);
    zt::setRoi(dst.get(), 0, 1, 1, 11, 8);
    RecordingReporter recorder;
    EXPECT_EQ(zanScale(src.get(), dst.get()), 0);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 12; ++x) {
            const bool inside = x >= 1 && y >= 1 && y - 1 < 8;
            const double want = inside ? 257 * zt::sampleAt(src.get(), 4 + x - 1, 2 + y - 1, 2) : 5;
            ASSERT_EQ(zt::sampleAt(dst.get(), x, y, 0), want) << x << "," << y;
        }
    // Alpha channels are skipped; tiled images give the plain result.
    Shape in{ZAN_DEPTH_16S, 4, 33, 21};
    in.alpha = 4;
    Shape out{ZAN_DEPTH_8S, 3, 33, 21};
    zt::TiledImage tsrc(in, 8, 16);
    zt::TiledImage tdst(out, 16, 8);
    zt::fillRandom(tsrc.plain(), rng);
    tsrc.load();
    Image expected = zt::makeImage(out);
    EXPECT_EQ(zanScale(tsrc.plain(), expected.get()), 0);
    EXPECT_EQ(zanScale(tsrc.header(), tdst.header()), 0);
    tdst.store();
    EXPECT_TRUE(ct::sameSamples(tdst.plain(), expected.get(), 33, 21, 3));
    for (int x = 0; x < 33; ++x)
        ASSERT_EQ(zt::sampleAt(expected.get(), x, 3, 2), rangeScale(ZAN_DEPTH_16S, ZAN_DEPTH_8S, zt::sampleAt(tsrc.plain(), x, 3, 2)));
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(tsrc.openCount(), tsrc.releaseCount());
    EXPECT_EQ(tdst.openCount(), tdst.releaseCount());
}

TEST(DepthScale, NothingToDoSucceedsAndWritesNothing)
{
    Image src = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8}, 200);
    Image dst = zt::makeImage(Shape{ZAN_DEPTH_16U, 1, 8, 8}, 7);
    zt::setRoi(dst.get(), 0, 20, 20, 4, 4); // wholly outside the image
    Shape alphaOnly{ZAN_DEPTH_16U, 1, 8, 8};
    alphaOnly.alpha = 1;
    Image alpha = zt::makeImage(alphaOnly, 7);
    RecordingReporter recorder;
    EXPECT_EQ(zanScale(src.get(), dst.get()), 0);
    EXPECT_EQ(zanScale(src.get(), alpha.get()), 0);
    Image fl = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 8, 8}, 7);
    zt::setRoi(fl.get(), 0, 8, 0, 1, 1);
    EXPECT_EQ(zanScaleFP(src.get(), fl.get(), 0, 1), 0);
    EXPECT_TRUE(recorder.reports().empty());
    for (const ZanImage* image : {dst.get(), alpha.get(), fl.get()})
        EXPECT_EQ(zt::sampleAt(image, 3, 3, 0), 7);
}

TEST(DepthScale, RefusalsGiveStatusTextAndResult)
{
    auto u8 = shared(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    auto u8b = shared(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    auto bits = shared(Shape{ZAN_DEPTH_1U, 1, 4, 4});
    auto f32 = shared(Shape{ZAN_DEPTH_32F, 3, 4, 4});
    auto f32b = shared(Shape{ZAN_DEPTH_32F, 3, 4, 4});
    auto u16 = shared(Shape{ZAN_DEPTH_16U, 3, 4, 4});
    auto u16two = shared(Shape{ZAN_DEPTH_16U, 2, 4, 4});
    Shape planeShape{ZAN_DEPTH_16U, 3, 4, 4};
    planeShape.order = ZAN_DATA_ORDER_PLANE;
    auto planes = shared(planeShape);
    auto bottom = shared(Shape{ZAN_DEPTH_16U, 3, 4, 4});
    bottom->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    auto bits8 = shared(Shape{ZAN_DEPTH_1U, 1, 4, 4});
    const char* order =
        "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))";
    auto scale = [](const std::shared_ptr<ZanImage>& a, const std::shared_ptr<ZanImage>& b) {
        return [a, b] { EXPECT_EQ(zanScale(a.get(), b.get()), -5); };
    };
    auto scaleFP = [](const std::shared_ptr<ZanImage>& a, const std::shared_ptr<ZanImage>& b, float lo, float hi) {
        return [a, b, lo, hi] { EXPECT_EQ(zanScaleFP(a.get(), b.get(), lo, hi), -5); };
    };
    const std::vector<Refusal> refusals = {
        {"header", [&] { EXPECT_EQ(zanScale(nullptr, u8.get()), -5); }, -9, "zanScale: Incorrect Image"},
        {"same depth", scale(u8, u8b), -5, "zanScale: (srcImage->depth == dstImage->depth)"},
        {"1U source", scale(bits, u8), -5, "zanScale: (srcImage->depth == 1)"},
        {"32F source", scale(f32, u8), -5, "zanScale: (srcImage->depth == 32)"},
        {"1U destination", scale(u8, bits), -5, "zanScale: (dstImage->depth == 1)"},
        {"32F destination", scale(u8, f32), -5, "zanScale: (dstImage->depth == 32)"},
        {"orders", scale(u8, planes), -5, std::string("zanScale: ") + order},
        {"origins", scale(u8, bottom), -5, "zanScale: (srcImage->origin != dstImage->origin)"},
        {"channels", scale(u8, u16two), -5, "zanScale: (srcChannels != dstChannels)"},
        {"no float", scaleFP(u8, u16, 0, 1), -5, "zanScaleFP: ((srcImage->depth != 32)&& (dstImage->depth != 32))"},
        {"two floats", scaleFP(f32, f32b, 0, 1), -5, "zanScaleFP: ((srcImage->depth == 32)&& (dstImage->depth == 32))"},
        {"bits", scaleFP(bits8, f32, 0, 1), -5, "zanScaleFP: ((srcImage->depth == 1)|| (dstImage->depth == 1))"},
        {"FP orders", scaleFP(f32, planes, 0, 1), -5, std::string("zanScaleFP: ") + order},
        {"FP origins", scaleFP(f32, bottom, 0, 1), -5, "zanScaleFP: (srcImage->origin != dstImage->origin)"},
        {"empty interval", scaleFP(f32, u16, 1, 1), -5, "zanScaleFP: ((maxVal - minVal) <= 0.0f)"},
        {"reversed interval", scaleFP(u16, f32, 1, 0), -5, "zanScaleFP: ((maxVal - minVal) <= 0.0f)"},
        {"FP channels", scaleFP(f32, u16two, 0, 1), -5, "zanScaleFP: (srcChannels != dstChannels)"},
    };
    ct::expectRefusals(refusals);
}

// A tile that isn't given, or a negative status left from before, ends a
// tiled walk; the result is -4.
TEST(DepthScale, TileFailureAndStaleStatusEndTheWalk)
{
    zt::TiledImage src(Shape{ZAN_DEPTH_8U, 1, 24, 24}, 8, 8);
    zt::TiledImage dst(Shape{ZAN_DEPTH_16U, 1, 24, 24}, 8, 8);
    src.failOpenAt = 3;
    {
        RecordingReporter recorder;
        EXPECT_EQ(zanScale(src.header(), dst.header()), ZAN_STATUS_NO_MEMORY);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{"zanScale: (srcImage->tileInfo->tileData == NULL)"});
    }
    EXPECT_EQ(src.openCount() - 1, src.releaseCount());
    EXPECT_EQ(dst.openCount(), dst.releaseCount());
    src.failOpenAt = -1;
    RecordingReporter recorder;
    Image fl = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 24, 24});
    dst.calls.clear();
    zanSetErrStatus(ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(zanScaleFP(fl.get(), dst.header(), 0, 1), ZAN_STATUS_NO_MEMORY);
    EXPECT_EQ(dst.calls.size(), 2u) << "one tile opened and released";
    EXPECT_TRUE(recorder.reports().empty());
}

// ---------------------------------------------------------------------------
// zanScaleFP

double nearestEven(double v)
{
    std::fesetround(FE_TONEAREST);
    return std::nearbyint(v);
}

// Float to integer: ends outside the interval, x * scale + offset rounded
// half to even inside.
double floatToRange(uint32_t to, float minVal, float maxVal, float x)
{
    if (x < minVal)
        return lowest(to);
    if (x > maxVal)
        return highest(to);
    const double d = static_cast<float>(maxVal - minVal);
    const double scale = (highest(to) - lowest(to)) / d;
    const double offset = lowest(to) - double(minVal) * scale;
    return std::clamp(nearestEven(x * scale + offset), lowest(to), highest(to));
}

TEST(DepthScaleFP, FloatToIntegerInEveryRoundingMode)
{
    std::mt19937 rng(14);
    struct Interval {
        float minVal, maxVal;
    };
    const Interval intervals[] = {{0, 1}, {-1, 1}, {-3.25f, 1000.5f}, {0, 255}};
    int round = 0;
    for (uint32_t to : kIntegerDepths)
        for (const Interval& iv : intervals) {
            SCOPED_TRACE(std::string(zt::depthName(to)) + " [" + std::to_string(iv.minVal) + ", " +
                         std::to_string(iv.maxVal) + "]");
            Image src = zt::makeImage(Shape{ZAN_DEPTH_32F, 2, 41, 7});
            std::uniform_real_distribution<float> value(iv.minVal - 1, iv.maxVal + 1);
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 41; ++x)
                    for (int c = 0; c < 2; ++c) {
                        float v = value(rng);
                        if (y == 0)
                            v = x % 3 == 0 ? iv.minVal : x % 3 == 1 ? iv.maxVal : std::nextafter(iv.maxVal, 0.0f);
                        zt::setSampleAt(src.get(), x, y, c, v);
                    }
            Image dst = zt::makeImage(Shape{to, 2, 41, 7});
            ZanStatus status = 1;
            const int mode = ct::kRoundingModes[round++ % 4];
            RecordingReporter recorder;
            ct::underRounding(mode, [&] { status = zanScaleFP(src.get(), dst.get(), iv.minVal, iv.maxVal); });
            EXPECT_EQ(status, 0);
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 41; ++x)
                    for (int c = 0; c < 2; ++c) {
                        const float v = float(zt::sampleAt(src.get(), x, y, c));
                        ASSERT_EQ(zt::sampleAt(dst.get(), x, y, c), floatToRange(to, iv.minVal, iv.maxVal, v))
                            << "sample " << v << " mode " << mode;
                    }
        }
}

TEST(DepthScaleFP, HalvesRoundToEven)
{
    struct Case {
        uint32_t to;
        float minVal, maxVal, x;
        double want;
    };
    const Case cases[] = {
        {ZAN_DEPTH_8U, 0, 1, 0.5f, 128},    {ZAN_DEPTH_8U, 0, 1, 2.0f, 255},   {ZAN_DEPTH_8U, 0, 1, -1.0f, 0},
        {ZAN_DEPTH_8U, 0, 255, 2.5f, 2},    {ZAN_DEPTH_8U, 0, 255, 3.5f, 4},   {ZAN_DEPTH_8U, 0, 255, 254.5f, 254},
        {ZAN_DEPTH_8S, 0, 255, 2.5f, -126}, {ZAN_DEPTH_8S, 0, 255, 3.5f, -124}, {ZAN_DEPTH_16U, 0, 65535, 1.5f, 2},
        {ZAN_DEPTH_16U, 0, 65535, 0.5f, 0}, {ZAN_DEPTH_16S, 0, 65535, 0.5f, -32768}, {ZAN_DEPTH_16S, 0, 65535, 32768.5f, 0},
    };
    for (const Case& c : cases)
        for (int mode : ct::kRoundingModes) {
            Image src = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 1, 1});
            zt::setSampleAt(src.get(), 0, 0, 0, c.x);
            Image dst = zt::makeImage(Shape{c.to, 1, 1, 1});
            ct::underRounding(mode, [&] { zanScaleFP(src.get(), dst.get(), c.minVal, c.maxVal); });
            EXPECT_EQ(zt::sampleAt(dst.get(), 0, 0, 0), c.want) << zt::depthName(c.to) << " " << c.x << " mode " << mode;
        }
}

// Runs of every length from every start offset: the packed float to 8U
// kernel and the scalar finish give the same values.
TEST(DepthScaleFP, RunsOfEveryLengthAndOffset)
{
    std::mt19937 rng(71);
    std::uniform_int_distribution<int> quarter(-8, 4 * 257);
    Image src = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 102, 1});
    for (int x = 0; x < 102; ++x)
        zt::setSampleAt(src.get(), x, 0, 0, quarter(rng) / 4.0);
    Image dst = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 102, 1});
    RecordingReporter recorder;
    for (int length = 1; length <= 70; ++length)
        for (int offset = 0; offset < 32; ++offset) {
            zt::setRoi(src.get(), 0, offset, 0, length, 1);
            zt::setRoi(dst.get(), 0, 31 - offset, 0, length, 1);
            std::memset(dst->imageData, 7, dst->imageSize);
            ct::underRounding(FE_UPWARD, [&] { zanScaleFP(src.get(), dst.get(), 0, 255); });
            for (int x = 0; x < 102; ++x) {
                const int i = x - (31 - offset);
                const double want = i >= 0 && i < length
                                        ? floatToRange(ZAN_DEPTH_8U, 0, 255, float(zt::sampleAt(src.get(), offset + i, 0, 0)))
                                        : 7;
                ASSERT_EQ(zt::sampleAt(dst.get(), x, 0, 0), want) << "length " << length << " offset " << offset << " x " << x;
            }
        }
    EXPECT_TRUE(recorder.reports().empty());
}

TEST(DepthScaleFP, IntegerToFloatAndTheTwoTables)
{
    std::mt19937 rng(15);
    for (uint32_t from : kIntegerDepths)
        for (float minVal : {0.0f, -1.0f, 2.5f})
            for (float maxVal : {1.0f, 7.75f}) {
                if (maxVal <= minVal)
                    continue;
                SCOPED_TRACE(std::string(zt::depthName(from)) + " [" + std::to_string(minVal) + ", " + std::to_string(maxVal) + "]");
                const bool bytes = (from & ZAN_DEPTH_MASK) == 8;
                Image src = zt::makeImage(Shape{from, 1, bytes ? 256 : 64, 1});
                fillExtremes(src.get(), rng);
                if (bytes)
                    for (int x = 0; x < 256; ++x)
                        zt::setSampleAt(src.get(), x, 0, 0, lowest(from) + x);
                Image dst = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, src->width, 1});
                ZanStatus status = 1;
                ct::underRounding(FE_UPWARD, [&] { status = zanScaleFP(src.get(), dst.get(), minVal, maxVal); });
                EXPECT_EQ(status, 0);
                const double d = static_cast<float>(maxVal - minVal);
                const double k = (from & ZAN_DEPTH_MASK) == 8 ? 0.00392156862745098
                                 : (from & ZAN_DEPTH_MASK) == 16 ? 1.5259021896696422e-05
                                                                 : 2.3283064370807974e-10;
                const float scale = float(k * d);
                const float offset = float(minVal - lowest(from) * (k * d));
                const bool table = (from == ZAN_DEPTH_8U && minVal == 0 && maxVal == 1) ||
                                   (from == ZAN_DEPTH_8S && minVal == -1 && maxVal == 1);
                for (int x = 0; x < src->width; ++x) {
                    const double s = zt::sampleAt(src.get(), x, 0, 0);
                    const double got = zt::sampleAt(dst.get(), x, 0, 0);
                    if (table) {
                        const double exact = from == ZAN_DEPTH_8U ? s / 255 : (2 * s + 1) / 255;
                        const float f = float(exact);
                        ASSERT_LE(std::abs(got - exact), std::nextafter(f, 2.0f) - f) << "sample " << s;
                        // The ends of the interval are met exactly.
                        if (s == lowest(from) || s == highest(from)) {
                            ASSERT_EQ(got, s == lowest(from) ? minVal : maxVal);
                        }
                    } else {
                        std::fesetround(FE_TONEAREST);
                        ASSERT_EQ(got, float(float(s) * scale + offset)) << "sample " << s;
                    }
                }
            }
}

TEST(DepthScaleFP, TiledImagesGiveTheUntiledResult)
{
    std::mt19937 rng(33);
    for (bool toFloat : {false, true}) {
        Shape a{toFloat ? ZAN_DEPTH_16S : ZAN_DEPTH_32F, 3, 30, 27};
        Shape b{toFloat ? ZAN_DEPTH_32F : ZAN_DEPTH_16S, 3, 30, 27};
        zt::TiledImage src(a, 8, 16);
        zt::TiledImage dst(b, 24, 8);
        zt::fillRandom(src.plain(), rng);
        src.load();
        Image expected = zt::makeImage(b);
        EXPECT_EQ(zanScaleFP(src.plain(), expected.get(), -700, 900), 0);
        ct::underRounding(FE_TOWARDZERO, [&] { EXPECT_EQ(zanScaleFP(src.header(), dst.header(), -700, 900), 0); });
        dst.store();
        EXPECT_TRUE(ct::sameSamples(dst.plain(), expected.get(), 30, 27, 3));
        EXPECT_EQ(src.openCount(), src.releaseCount());
        EXPECT_EQ(dst.openCount(), dst.releaseCount());
    }
}

} // namespace
