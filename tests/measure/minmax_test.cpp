// zanMinMaxFP against a scan of the region written from its definition.
#include "measure_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using zt::Shape;

struct Expected {
    float low;
    float high;
};

// The extremes of the selected channels of the region of an image's twin.
Expected referenceExtremes(const ZanImage* header, const ZanImage* content)
{
    const zt::Rect r = zt::regionOf(header);
    const int first = zt::firstChannel(header);
    const int count = zt::channelCount(header);
    Expected e{std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()};
    for (int c = first; c < first + count; ++c)
        for (int y = r.y; y < r.y + r.height; ++y)
            for (int x = r.x; x < r.x + r.width; ++x) {
                const float s = static_cast<float>(zt::sampleAt(content, x, y, c));
                e.low = std::min(e.low, s);
                e.high = std::max(e.high, s);
            }
    return e;
}

TEST(MinMaxFP, RandomLayoutsRoisAndTilesMatchTheReference)
{
    std::mt19937 rng(71);
    for (int round = 0; round < 300; ++round) {
        Shape shape;
        shape.depth = ZAN_DEPTH_32F;
        shape.channels = mt::range(rng, 1, 4);
        shape.alpha = shape.channels > 1 && mt::range(rng, 0, 1) ? shape.channels : 0;
        shape.order = mt::range(rng, 0, 1);
        shape.width = mt::range(rng, 1, 40);
        shape.height = mt::range(rng, 1, 40);
        const bool tiled = mt::range(rng, 0, 1) == 1;
        zt::Participant p = mt::makeParticipant(shape, tiled, rng);
        if (mt::range(rng, 0, 2) > 0)
            mt::randomRoi(p, mt::range(rng, 0, shape.channels), rng);
        SCOPED_TRACE(zt::describe(shape) + (tiled ? " tiled" : ""));

        const Expected e = referenceExtremes(p.header(), p.content());
        float low = 0, high = 0;
        EXPECT_EQ(zanMinMaxFP(p.header(), &low, &high), ZAN_STATUS_OK);
        EXPECT_EQ(low, e.low);
        EXPECT_EQ(high, e.high);
        if (tiled) {
            EXPECT_EQ(p.tiled->openCount(), p.tiled->releaseCount());
            EXPECT_FALSE(p.tiled->misuse);
        }
    }
}

TEST(MinMaxFP, TilesOpenRowByRowForReading)
{
    std::mt19937 rng(5);
    zt::TiledImage image(Shape{ZAN_DEPTH_32F, 1, 20, 20}, 8, 8);
    zt::fillRandom(image.plain(), rng);
    image.load();
    zt::setRoi(image.header(), 0, 6, 7, 4, 2);
    float low, high;
    ASSERT_EQ(zanMinMaxFP(image.header(), &low, &high), ZAN_STATUS_OK);
    using Call = zt::TiledImage::Call;
    const std::vector<Call> expected{{0, 0, ZAN_TILE_READ}, {0, 0, ZAN_TILE_RELEASE},
                                     {1, 0, ZAN_TILE_READ}, {1, 0, ZAN_TILE_RELEASE},
                                     {0, 1, ZAN_TILE_READ}, {0, 1, ZAN_TILE_RELEASE},
                                     {1, 1, ZAN_TILE_READ}, {1, 1, ZAN_TILE_RELEASE}};
    EXPECT_EQ(image.calls, expected);
}

TEST(MinMaxFP, NaNWinsOnlyAsTheFirstSample)
{
    zt::Image image = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 3, 1});
    const float nan = std::numeric_limits<float>::quiet_NaN();
    float low, high;
    zt::setSampleAt(image.get(), 0, 0, 0, 2.0);
    zt::setSampleAt(image.get(), 1, 0, 0, nan);
    zt::setSampleAt(image.get(), 2, 0, 0, -1.0);
    ASSERT_EQ(zanMinMaxFP(image.get(), &low, &high), ZAN_STATUS_OK);
    EXPECT_EQ(low, -1.0f);
    EXPECT_EQ(high, 2.0f);
    zt::setSampleAt(image.get(), 0, 0, 0, nan);
    ASSERT_EQ(zanMinMaxFP(image.get(), &low, &high), ZAN_STATUS_OK);
    EXPECT_TRUE(std::isnan(low));
    EXPECT_TRUE(std::isnan(high));
}

TEST(MinMaxFP, NothingToScanLeavesTheFiguresAlone)
{
    zt::Image alphaOnly = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 4, 4, 0, 1}, 3);
    zt::Image beyond = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 4, 4}, 3);
    zt::setRoi(beyond.get(), 0, 4, 0, 2, 2);
    for (const ZanImage* image : {alphaOnly.get(), beyond.get()}) {
        zt::RecordingReporter reporter;
        float low = 7, high = 8;
        EXPECT_EQ(zanMinMaxFP(image, &low, &high), ZAN_STATUS_OK);
        EXPECT_EQ(low, 7);
        EXPECT_EQ(high, 8);
        EXPECT_TRUE(reporter.reports().empty());
    }
}

TEST(MinMaxFP, RefusalsReportTheirTexts)
{
    zt::Image gray = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    zt::Image real = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 4, 4});
    float v;
    struct Case {
        const ZanImage* image;
        float* min;
        float* max;
        int status;
        const char* summary;
    };
    const Case cases[] = {
        {nullptr, &v, &v, ZAN_STATUS_BAD_ARGUMENT, "zanMinMaxFP: Incorrect Image"},
        {real.get(), nullptr, &v, ZAN_STATUS_BAD_ARGUMENT, "zanMinMaxFP: ((min == 0)||(max == 0))"},
        {real.get(), &v, nullptr, ZAN_STATUS_BAD_ARGUMENT, "zanMinMaxFP: ((min == 0)||(max == 0))"},
        {gray.get(), &v, &v, ZAN_STATUS_BAD_ARGUMENT, "zanMinMaxFP: (srcImage->depth != 32)"},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter reporter;
        EXPECT_EQ(zanMinMaxFP(c.image, c.min, c.max), c.status);
        ASSERT_FALSE(reporter.reports().empty());
        EXPECT_EQ(reporter.summary().back(), c.summary);
        EXPECT_EQ(reporter.reports().back().source, "zanmnmxf");
    }
}

TEST(MinMaxFP, AFailedTileStopsTheScan)
{
    zt::TiledImage image(Shape{ZAN_DEPTH_32F, 2, 20, 10}, 8, 8);
    image.failOpenAt = 1;
    zt::RecordingReporter reporter;
    float low = 7, high = 8;
    EXPECT_EQ(zanMinMaxFP(image.header(), &low, &high), ZAN_STATUS_NO_MEMORY);
    EXPECT_EQ(reporter.summary(),
              std::vector<std::string>{"zanMinMaxFP: (srcImage->tileInfo->tileData == NULL)"});
    EXPECT_EQ(reporter.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(low, 7);
    EXPECT_EQ(high, 8);
}

} // namespace
