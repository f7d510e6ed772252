// zanNorm against norms summed in double precision from their definitions,
// over random depths, layouts, ROIs, COIs, masks and tiles.
#include "measure_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <string>

namespace {

using zt::Participant;
using zt::Shape;

const int kTypes[] = {ZAN_NORM_INF,     ZAN_NORM_L1,     ZAN_NORM_L2,
                      ZAN_NORM_REL_INF, ZAN_NORM_REL_L1, ZAN_NORM_REL_L2};

struct Sums {
    double maxA = 0, sumA = 0, sqA = 0; // of a - b (or a)
    double maxB = 0, sumB = 0, sqB = 0; // of b
};

void account(double m, double* max, double* sum, double* sq)
{
    *max = std::max(*max, m);
    *sum += m;
    *sq += m * m;
}

// The sums over the common region that both masks admit.
Sums referenceSums(const ZanImage* headerA, const ZanImage* contentA, const ZanImage* headerB,
                   const ZanImage* contentB)
{
    const zt::Rect ra = zt::regionOf(headerA);
    int width = ra.width, height = ra.height;
    zt::Rect rb{};
    const ZanImage* masks[2] = {headerA->maskROI, headerB ? headerB->maskROI : nullptr};
    if (headerB) {
        rb = zt::regionOf(headerB);
        width = std::min(width, rb.width);
        height = std::min(height, rb.height);
    }
    for (const ZanImage* mask : masks)
        if (mask) {
            width = std::min(width, zt::regionOf(mask).width);
            height = std::min(height, zt::regionOf(mask).height);
        }
    Sums s;
    const int count = zt::channelCount(headerA);
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            if ((masks[0] && !mt::maskBit(masks[0], i, j)) || (masks[1] && !mt::maskBit(masks[1], i, j)))
                continue;
            for (int k = 0; k < count; ++k) {
                const double a = zt::sampleAt(contentA, ra.x + i, ra.y + j, zt::firstChannel(headerA) + k);
                const double b = headerB ? zt::sampleAt(contentB, rb.x + i, rb.y + j, zt::firstChannel(headerB) + k) : 0.0;
                account(std::fabs(a - b), &s.maxA, &s.sumA, &s.sqA);
                account(std::fabs(b), &s.maxB, &s.sumB, &s.sqB);
            }
        }
    return s;
}

double ratio(double num, double den) { return den > DBL_MIN ? num / den : -1.0; }

double referenceNorm(const Sums& s, int type)
{
    switch (type) {
    case ZAN_NORM_INF: return s.maxA;
    case ZAN_NORM_L1: return s.sumA;
    case ZAN_NORM_L2: return std::sqrt(s.sqA);
    case ZAN_NORM_REL_INF: return ratio(s.maxA, s.maxB);
    case ZAN_NORM_REL_L1: return ratio(s.sumA, s.sumB);
    default: return ratio(std::sqrt(s.sqA), std::sqrt(s.sqB));
    }
}

Shape randomShape(std::mt19937& rng)
{
    Shape shape;
    shape.depth = zt::kAllDepths[mt::range(rng, 0, 6)];
    const bool bits = shape.depth == ZAN_DEPTH_1U;
    shape.channels = bits ? 1 : mt::range(rng, 1, 4);
    shape.alpha = shape.channels > 1 && mt::range(rng, 0, 2) == 0 ? shape.channels : 0;
    shape.order = bits ? ZAN_DATA_ORDER_PIXEL : mt::range(rng, 0, 1);
    shape.width = mt::range(rng, 1, 40);
    shape.height = mt::range(rng, 1, 30);
    return shape;
}

void maybeMask(const Participant& p, std::mt19937& rng)
{
    if (mt::range(rng, 0, 2) > 0)
        return;
    ZanImage* mask = zt::attachRandomMask(p.header(), mt::range(rng, 1, 45), mt::range(rng, 1, 35), rng);
    if (mt::range(rng, 0, 1))
        zt::setRoi(mask, 0, mt::range(rng, 0, mask->width - 1), mt::range(rng, 0, mask->height - 1),
                   mt::range(rng, 1, mask->width), mt::range(rng, 1, mask->height));
}

TEST(Norm, RandomImagesMatchTheReference)
{
    std::mt19937 rng(2024);
    for (int round = 0; round < 600; ++round) {
        Shape shape = randomShape(rng);
        const bool two = mt::range(rng, 0, 3) > 0;
        const bool useCoi = shape.channels > 1 && mt::range(rng, 0, 2) == 0;
        Participant a = mt::makeParticipant(shape, mt::range(rng, 0, 2) == 0, rng);
        Shape other = shape;
        other.width = mt::range(rng, 1, 40);
        other.height = mt::range(rng, 1, 30);
        Participant b;
        if (two)
            b = mt::makeParticipant(other, mt::range(rng, 0, 2) == 0, rng);
        for (Participant* p : {&a, &b}) {
            if (!p->header())
                continue;
            if (useCoi || mt::range(rng, 0, 1))
                mt::randomRoi(*p, useCoi ? mt::range(rng, 1, shape.channels) : 0, rng);
            maybeMask(*p, rng);
        }
        const int type = two ? kTypes[mt::range(rng, 0, 5)] : kTypes[mt::range(rng, 0, 2)];
        SCOPED_TRACE(zt::describe(shape) + " type " + std::to_string(type) + " round " + std::to_string(round));

        const Sums sums = referenceSums(a.header(), a.content(), b.header(), two ? b.content() : nullptr);
        const double expected = referenceNorm(sums, type);
        zt::RecordingReporter reporter;
        const double got = zanNorm(a.header(), b.header(), type);
        EXPECT_NEAR(got, expected, std::fabs(expected) * 1e-12);
        EXPECT_EQ(reporter.reports().empty(), expected != -1.0);
        for (const Participant* p : {&a, &b}) {
            if (p->tiled) {
                EXPECT_EQ(p->tiled->openCount(), p->tiled->releaseCount());
            }
        }
    }
}

TEST(Norm, TiledAndPlainImagesAgree)
{
    std::mt19937 rng(9);
    for (int round = 0; round < 60; ++round) {
        Shape shape = randomShape(rng);
        Participant a = mt::makeParticipant(shape, true, rng);
        Participant b = mt::makeParticipant(shape, true, rng);
        mt::randomRoi(a, 0, rng);
        zt::RecordingReporter reporter;
        for (int type : kTypes) {
            const double tiled = zanNorm(a.header(), b.header(), type);
            const double plain = zanNorm(a.content(), b.content(), type);
            EXPECT_NEAR(tiled, plain, std::fabs(plain) * 1e-12) << zt::describe(shape) << " type " << type;
        }
    }
}

TEST(Norm, EdgeCasesGiveTheirFigures)
{
    zt::Image zeroA = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5});
    zt::Image zeroB = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5});
    zt::Image ones = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5}, 1);
    zt::Image low = zt::makeImage(Shape{ZAN_DEPTH_8S, 1, 3, 1}, -128);
    zt::Image high = zt::makeImage(Shape{ZAN_DEPTH_8S, 1, 3, 1}, 127);
    zt::Image closed = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5}, 9);
    zt::Image maskNone = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 5, 5});
    closed->maskROI = maskNone.get();
    struct Case {
        const char* name;
        const ZanImage* a;
        const ZanImage* b;
        int type;
        double result;
        std::vector<std::string> reports;
    };
    const Case cases[] = {
        {"relative of one image", ones.get(), nullptr, ZAN_NORM_REL_L1, 0.0, {"zanNorm:  "}},
        {"relative L1 by zero", ones.get(), zeroB.get(), ZAN_NORM_REL_L1, -1.0, {"zanNorm: Zero divided"}},
        {"zero by zero", zeroA.get(), zeroB.get(), ZAN_NORM_REL_INF, -1.0, {"zanNorm: Zero divided"}},
        {"8S extremes", low.get(), high.get(), ZAN_NORM_INF, 255.0, {}},
        {"8S L1 of one image", low.get(), nullptr, ZAN_NORM_L1, 384.0, {}},
        {"mask admits nothing", closed.get(), nullptr, ZAN_NORM_L1, 0.0, {}},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter reporter;
        EXPECT_EQ(zanNorm(c.a, c.b, c.type), c.result) << c.name;
        EXPECT_EQ(reporter.summary(), c.reports) << c.name;
    }
    closed->maskROI = nullptr;
}

TEST(Norm, BitImagesCountSetBits)
{
    zt::Image bits = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 13, 3});
    const int set[][2] = {{0, 0}, {12, 0}, {5, 1}, {7, 2}};
    for (const auto& p : set)
        zt::setSampleAt(bits.get(), p[0], p[1], 0, 1);
    EXPECT_EQ(zanNorm(bits.get(), nullptr, ZAN_NORM_L1), 4.0);
    EXPECT_EQ(zanNorm(bits.get(), nullptr, ZAN_NORM_L2), 2.0);
    EXPECT_EQ(zanNorm(bits.get(), nullptr, ZAN_NORM_INF), 1.0);
}

TEST(Norm, RefusalsReportInOrder)
{
    zt::Image pixel3 = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    zt::Image plane3 = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 4, 4, ZAN_DATA_ORDER_PLANE});
    zt::Image short3 = zt::makeImage(Shape{ZAN_DEPTH_16S, 3, 4, 4});
    zt::Image pixel4 = zt::makeImage(Shape{ZAN_DEPTH_8U, 4, 4, 4});
    zt::Image alpha4 = zt::makeImage(Shape{ZAN_DEPTH_8U, 4, 4, 4, ZAN_DATA_ORDER_PIXEL, 4});
    zt::Image coi3 = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    zt::setRoi(coi3.get(), 2, 0, 0, 4, 4);
    struct Case {
        const ZanImage* a;
        const ZanImage* b;
        int type;
        int status;
        const char* summary;
    };
    const Case cases[] = {
        {nullptr, nullptr, ZAN_NORM_L1, ZAN_STATUS_NULL_HEADER, "zanNorm: Incorrect Image"},
        {pixel3.get(), plane3.get(), ZAN_NORM_L1, ZAN_STATUS_ORDER, "zanNorm: DataOrder_A!=DataOrder_B"},
        {pixel3.get(), short3.get(), ZAN_NORM_L1, ZAN_STATUS_BAD_ARGUMENT,
         "zanNorm: (srcImageA->depth!=srcImageB->depth)"},
        {pixel3.get(), nullptr, 3, ZAN_STATUS_BAD_ARGUMENT, "zanNorm: Unknown normType"},
        {pixel3.get(), pixel4.get(), ZAN_NORM_L2, ZAN_STATUS_CHANNELS, "zanNorm: <unknown>"},
        {coi3.get(), pixel3.get(), ZAN_NORM_L2, ZAN_STATUS_COI,
         "zanNorm: COI should be defined for second image if COI is defined for the first one"},
        {pixel4.get(), alpha4.get(), ZAN_NORM_INF, ZAN_STATUS_COI, "zanNorm: nChannelsA != nChannelsB"},
    };
    for (const Case& c : cases) {
        zt::RecordingReporter reporter;
        EXPECT_EQ(zanNorm(c.a, c.b, c.type), 0.0) << c.summary;
        ASSERT_FALSE(reporter.reports().empty()) << c.summary;
        EXPECT_EQ(reporter.summary().back(), c.summary);
        EXPECT_EQ(reporter.reports().back().status, c.status) << c.summary;
        EXPECT_EQ(reporter.reports().back().source, "zanNorm");
    }
}

} // namespace
