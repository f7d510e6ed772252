// Moments against sums of v * x^m * y^n and of the centred powers, written
// from their definitions, over random depths, ROIs, COIs, masks and tiles.
#include "measure_util.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>

namespace {

using zt::Participant;
using zt::Shape;

const int kOrders[10][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1},
                            {0, 2}, {3, 0}, {2, 1}, {1, 2}, {0, 3}};

// The samples of the moments' region: value and image position.
struct Sample {
    double v, x, y;
};

std::vector<Sample> regionSamples(const ZanImage* header, const ZanImage* content)
{
    zt::Rect r = zt::regionOf(header);
    const ZanImage* mask = header->maskROI;
    if (mask) {
        r.width = std::min(r.width, zt::regionOf(mask).width);
        r.height = std::min(r.height, zt::regionOf(mask).height);
    }
    const int channel = header->nChannels == 1 ? 0 : header->roi->coi - 1;
    std::vector<Sample> samples;
    for (int j = 0; j < r.height; ++j)
        for (int i = 0; i < r.width; ++i)
            if (!mask || mt::maskBit(mask, i, j))
                samples.push_back({zt::sampleAt(content, r.x + i, r.y + j, channel), double(r.x + i), double(r.y + j)});
    return samples;
}

// Sum of v * (x - cx)^m * (y - cy)^n, and the sum of its magnitudes that
// bounds the rounding of any order of additions.
struct Moment {
    double value;
    double magnitude;
};

Moment momentOf(const std::vector<Sample>& samples, int m, int n, double cx, double cy)
{
    long double value = 0, magnitude = 0;
    for (const Sample& s : samples) {
        const long double term = s.v * std::pow((long double)s.x - cx, m) * std::pow((long double)s.y - cy, n);
        value += term;
        magnitude += std::fabs(s.v) * std::pow(std::fabs(s.x) + std::fabs(cx), m) *
                     std::pow(std::fabs(s.y) + std::fabs(cy), n);
    }
    return {double(value), double(magnitude)};
}

Shape randomShape(std::mt19937& rng)
{
    Shape shape;
    shape.depth = zt::kAllDepths[mt::range(rng, 0, 6)];
    const bool bits = shape.depth == ZAN_DEPTH_1U;
    shape.channels = bits ? 1 : mt::range(rng, 1, 3);
    shape.order = bits ? ZAN_DATA_ORDER_PIXEL : mt::range(rng, 0, 1);
    shape.width = mt::range(rng, 1, 40);
    shape.height = mt::range(rng, 1, 30);
    return shape;
}

TEST(Moments, RandomImagesMatchTheDefinitions)
{
    std::mt19937 rng(77);
    for (int round = 0; round < 300; ++round) {
        const Shape shape = randomShape(rng);
        const bool tiled = mt::range(rng, 0, 2) == 0;
        Participant p = mt::makeParticipant(shape, tiled, rng);
        if (shape.channels > 1 || mt::range(rng, 0, 1))
            mt::randomRoi(p, mt::range(rng, 1, shape.channels), rng);
        if (mt::range(rng, 0, 2) == 0)
            zt::attachRandomMask(p.header(), mt::range(rng, 1, 45), mt::range(rng, 1, 35), rng);
        SCOPED_TRACE(zt::describe(shape) + (tiled ? " tiled" : "") + " round " + std::to_string(round));

        const std::vector<Sample> samples = regionSamples(p.header(), p.content());
        ZanMomentTable table{};
        zanMoments(p.header(), &table);
        const Moment m00 = momentOf(samples, 0, 0, 0, 0);
        const double cx = m00.value == 0 ? 0 : momentOf(samples, 1, 0, 0, 0).value / m00.value;
        const double cy = m00.value == 0 ? 0 : momentOf(samples, 0, 1, 0, 0).value / m00.value;
        for (const auto& o : kOrders) {
            const Moment spatial = momentOf(samples, o[0], o[1], 0, 0);
            const double tolerance = spatial.magnitude * 1e-13;
            EXPECT_NEAR(zanGetSpatialMoment(&table, o[0], o[1]), spatial.value, tolerance);
            EXPECT_NEAR(zanSpatialMoment(p.header(), o[0], o[1]), spatial.value, tolerance);
            if (m00.value == 0)
                continue;
            const Moment centred = momentOf(samples, o[0], o[1], cx, cy);
            const double centralTolerance = centred.magnitude * 1e-9;
            EXPECT_NEAR(zanGetCentralMoment(&table, o[0], o[1]), centred.value, centralTolerance);
            EXPECT_NEAR(zanCentralMoment(p.header(), o[0], o[1]), centred.value, centralTolerance);
            const double e = std::pow(m00.value, (o[0] + o[1] + 2) / 2);
            EXPECT_NEAR(zanNormalizedCentralMoment(p.header(), o[0], o[1]), centred.value / e,
                        centralTolerance / std::fabs(e));
            EXPECT_NEAR(zanNormalizedSpatialMoment(p.header(), o[0], o[1]), spatial.value / e,
                        tolerance / std::fabs(e));
        }
        if (tiled) {
            EXPECT_EQ(p.tiled->openCount(), p.tiled->releaseCount());
        }
    }
}

TEST(Moments, OnePixelKeepsItsImageCoordinates)
{
    zt::Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 40, 40});
    zt::setSampleAt(image.get(), 10, 20, 0, 1);
    zt::setRoi(image.get(), 0, 10, 20, 5, 5);
    ZanMomentTable table{};
    zanMoments(image.get(), &table);
    EXPECT_EQ(zanGetSpatialMoment(&table, 1, 0), 10.0);
    EXPECT_EQ(zanGetSpatialMoment(&table, 0, 1), 20.0);
    EXPECT_EQ(zanGetNormalizedSpatialMoment(&table, 1, 0), 10.0);
    EXPECT_EQ(table.entry[1][0].scale, 1.0 / 5);
    EXPECT_EQ(table.entry[0][1].scale, 1.0 / 5);
}

TEST(Moments, AllZeroImageCentresOnTheRegion)
{
    zt::Image image = zt::makeImage(Shape{ZAN_DEPTH_16S, 1, 6, 4});
    ZanMomentTable table{};
    zanMoments(image.get(), &table);
    for (const auto& o : kOrders)
        EXPECT_EQ(zanGetCentralMoment(&table, o[0], o[1]), 0.0) << o[0] << "," << o[1];
}

TEST(Moments, EmptyRegionLeavesTheTable)
{
    zt::Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 6, 4}, 3);
    zt::setRoi(image.get(), 0, 6, 0, 2, 2);
    ZanMomentTable table{};
    table.entry[0][0].value = 42;
    zanMoments(image.get(), &table);
    EXPECT_EQ(table.entry[0][0].value, 42);
    EXPECT_EQ(zanSpatialMoment(image.get(), 0, 0), 0.0);
}

TEST(Moments, RefusalsReportTheirTexts)
{
    zt::Image color = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    zt::Image gray = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    zt::setRoi(color.get(), 0, 0, 0, 4, 4);
    struct Case {
        const char* function;
        double (*call)(const ZanImage*, int, int);
        const ZanImage* image;
        int m, n;
        const char* context;
    };
    const Case cases[] = {
        {"zanSpatialMoment", zanSpatialMoment, nullptr, 0, 0, "Incorrect Image"},
        {"zanCentralMoment", zanCentralMoment, color.get(), 0, 0, "Only one channel can be proceed"},
        {"zanNormalizedSpatialMoment", zanNormalizedSpatialMoment, gray.get(), 2, 2, "Illegal order of moment"},
        {"zanNormalizedCentralMoment", zanNormalizedCentralMoment, gray.get(), -1, 1, "Illegal order of moment"},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter reporter;
        EXPECT_EQ(c.call(c.image, c.m, c.n), 0.0);
        ASSERT_EQ(reporter.reports().size(), 1u) << c.function;
        EXPECT_EQ(reporter.summary()[0], std::string(c.function) + ": " + c.context);
        EXPECT_EQ(reporter.reports()[0].source, "zanMoms");
    }
    ZanMomentTable table{};
    zt::RecordingReporter reporter;
    EXPECT_EQ(zanGetCentralMoment(&table, 3, 1), 0.0);
    zanMoments(color.get(), &table);
    EXPECT_EQ(reporter.summary(), (std::vector<std::string>{"zanGetCentralMoment: Illegal order of moment",
                                                            "zanMoments: Only one channel can be proceed"}));
}

} // namespace
