// zanThreshold: the two values of each depth at the threshold's boundary,
// every source and destination depth, and the frame's regions, masks and
// tiles through the randomised frame reference.
#include "frame_reference.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using zt::Image;
using zt::Shape;

const uint32_t kSources[] = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
const uint32_t kDestinations[] = {ZAN_DEPTH_1U,  ZAN_DEPTH_8U,  ZAN_DEPTH_8S,
                                  ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};

double lowest(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_8S: return -128;
    case ZAN_DEPTH_16S: return -32768;
    case ZAN_DEPTH_32S: return -2147483648.0;
    default: return 0;
    }
}

double highest(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return 1;
    case ZAN_DEPTH_8U: return 255;
    case ZAN_DEPTH_8S: return 127;
    case ZAN_DEPTH_16U: return 65535;
    case ZAN_DEPTH_16S: return 32767;
    default: return 2147483647.0;
    }
}

// A threshold inside each source range, away from its ends.
int thresholdFor(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_8U: return 100;
    case ZAN_DEPTH_8S: return -3;
    case ZAN_DEPTH_16U: return 30000;
    case ZAN_DEPTH_16S: return 5;
    default: return 12345;
    }
}

TEST(Threshold, MatchesTheFrameReference)
{
    zt::FrameCheck check;
    check.depths = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    check.twoSources = false;
    check.cases = 400;
    check.call = [](ZanImage* a, ZanImage*, ZanImage* d) { zanThreshold(a, d, thresholdFor(a->depth)); };
    check.expected = [](uint32_t depth, double a, double) {
        return a < thresholdFor(depth) ? lowest(depth) : highest(depth);
    };
    zt::checkAgainstReference(check);
}

// Samples at the ends of the range and on both sides of the threshold.
std::vector<double> boundaries(uint32_t depth, int threshold)
{
    std::vector<double> samples = {lowest(depth), threshold - 1.0, static_cast<double>(threshold),
                                   threshold + 1.0, highest(depth), threshold - 1.0,
                                   static_cast<double>(threshold), lowest(depth), highest(depth),
                                   threshold + 1.0, highest(depth)};
    for (double& s : samples)
        s = std::min(std::max(s, lowest(depth)), highest(depth));
    return samples;
}

TEST(Threshold, EveryDepthPairAtTheBoundary)
{
    zt::RecordingReporter recorder;
    for (const uint32_t from : kSources) {
        for (const uint32_t to : kDestinations) {
            for (const bool extreme : {false, true}) {
                // The threshold at the top of the range leaves only the top sample high.
                const int threshold = extreme ? static_cast<int>(highest(from)) : thresholdFor(from);
                const std::vector<double> samples = boundaries(from, threshold);
                Shape shape;
                shape.depth = from;
                shape.channels = to == ZAN_DEPTH_1U ? 3 : 1;
                shape.width = static_cast<int>(samples.size());
                shape.height = 2;
                Image src = zt::makeImage(shape);
                // In a 1-bit destination the COI picks the source's channel 2.
                if (to == ZAN_DEPTH_1U)
                    zt::setRoi(src.get(), 2, 0, 0, shape.width, 2);
                for (int y = 0; y < 2; ++y)
                    for (std::size_t x = 0; x < samples.size(); ++x)
                        zt::setSampleAt(src.get(), static_cast<int>(x), y, to == ZAN_DEPTH_1U ? 1 : 0,
                                        samples[x]);
                Shape dstShape = shape;
                dstShape.depth = to;
                dstShape.channels = 1;
                Image dst = zt::makeImage(dstShape, 1);
                zanThreshold(src.get(), dst.get(), threshold);
                ASSERT_TRUE(recorder.reports().empty()) << recorder.summary().front();
                for (int y = 0; y < 2; ++y)
                    for (std::size_t x = 0; x < samples.size(); ++x)
                        EXPECT_EQ(zt::sampleAt(dst.get(), static_cast<int>(x), y, 0),
                                  samples[x] < threshold ? lowest(to) : highest(to))
                            << zt::depthName(from) << " to " << zt::depthName(to) << " sample "
                            << samples[x] << " threshold " << threshold;
            }
        }
    }
}

TEST(Threshold, TiledBitsWithAMaskMatchThePlainCall)
{
    std::mt19937 rng(5);
    Shape shape;
    shape.depth = ZAN_DEPTH_16S;
    shape.width = 37;
    shape.height = 21;
    Shape bitShape = shape;
    bitShape.depth = ZAN_DEPTH_1U;
    Image src = zt::makeRandomImage(shape, rng);
    Image plain = zt::makeRandomImage(bitShape, rng);
    zt::TiledImage tiled(bitShape, 16, 8);
    std::memcpy(tiled.plain()->imageData, plain->imageData, plain->imageSize);
    tiled.load();
    for (ZanImage* dst : {plain.get(), tiled.header()}) {
        zt::setRoi(dst, 0, 3, 2, 30, 17);
        zt::attachRandomMask(dst, 40, 30, rng);
    }
    // The same mask bits on both.
    std::memcpy(tiled.header()->maskROI->imageData, plain->maskROI->imageData, plain->maskROI->imageSize);
    zt::RecordingReporter recorder;
    zanThreshold(src.get(), plain.get(), 0);
    zanThreshold(src.get(), tiled.header(), 0);
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(tiled.openCount(), tiled.releaseCount());
    tiled.store();
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            ASSERT_EQ(zt::bitAt(tiled.plain(), x, y), zt::bitAt(plain.get(), x, y)) << x << "," << y;
}

TEST(Threshold, RefusesInOrder)
{
    auto make = [](Shape shape) { return zt::makeImage(shape); };
    Image g8 = make({}), f32 = make({.depth = ZAN_DEPTH_32F}), bits = make({.depth = ZAN_DEPTH_1U});
    Image rgb = make({.channels = 3}), rgbPlanes = make({.channels = 3, .order = ZAN_DATA_ORDER_PLANE});
    Image bottom = make({.origin = ZAN_ORIGIN_BOTTOM_LEFT}), s8 = make({.depth = ZAN_DEPTH_8S});
    Image s16 = make({.depth = ZAN_DEPTH_16S}), u16 = make({.depth = ZAN_DEPTH_16U});
    Image masked = make({}), maskedDst = make({});
    std::mt19937 rng(1);
    zt::attachRandomMask(masked.get(), 8, 8, rng)->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    zt::attachRandomMask(maskedDst.get(), 8, 8, rng)->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    struct Case {
        const ZanImage* src;
        ZanImage* dst;
        int threshold;
        const char* text;
    };
    const Case cases[] = {
        {nullptr, g8.get(), 0, "Incorrect Image"},
        {f32.get(), g8.get(), 0, "(srcImage->depth == 32)"},
        {g8.get(), f32.get(), 0, "(dstImage->depth == 32)"},
        {bits.get(), g8.get(), 0, "(srcImage->depth == 1)"},
        {rgb.get(), rgbPlanes.get(), 0,
         "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))"},
        {g8.get(), bottom.get(), 0, "(srcImage->origin != dstImage->origin)"},
        {masked.get(), g8.get(), 0, "(srcImage->origin != srcImage->maskROI->origin)"},
        {g8.get(), maskedDst.get(), 0, "(dstImage->origin != dstImage->maskROI->origin)"},
        {s8.get(), g8.get(), 128, "((srcImage->depth == (0x80000000| 8)) && (Threshold > 127))"},
        {s8.get(), g8.get(), -129, "((srcImage->depth == (0x80000000| 8)) && (Threshold < -128))"},
        {g8.get(), g8.get(), 256, "((srcImage->depth == 8) && (Threshold > 255))"},
        {g8.get(), g8.get(), -1, "((srcImage->depth == 8) && (Threshold < 0))"},
        {s16.get(), g8.get(), 32768, "((srcImage->depth == (0x80000000|16)) && (Threshold > 32767))"},
        {s16.get(), g8.get(), -32769, "((srcImage->depth == (0x80000000|16)) && (Threshold < -32768))"},
        {u16.get(), g8.get(), 65536, "((srcImage->depth == 16) && (Threshold > 65535))"},
        {u16.get(), g8.get(), -1, "((srcImage->depth == 16) && (Threshold < 0))"},
        {rgb.get(), bits.get(), 0, "(srcChannels != dstChannels)"},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter recorder;
        zanThreshold(c.src, c.dst, c.threshold);
        ASSERT_EQ(recorder.summary(), std::vector<std::string>{std::string("zanThreshold: ") + c.text});
    }
    // A one-channel image with alpha and no COI has nothing to process.
    Shape alphaShape;
    alphaShape.alpha = 1;
    Image alphaOnly = zt::makeImage(alphaShape, 7);
    zt::RecordingReporter recorder;
    zanThreshold(g8.get(), alphaOnly.get(), 0);
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(zt::sampleAt(alphaOnly.get(), 0, 0, 0), 7);
}

} // namespace
