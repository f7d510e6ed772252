// Comparisons into a 1-bit result, against a reference written from their
// relations, over random layouts, masks and tiles.
#include "compose_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

namespace {

using zt::Participant;
using zt::Shape;

enum Form { kPair, kScalar, kScalarFP };

struct CompareOp {
    const char* name;
    Form form;
    bool floatOnly;
    std::function<ZanStatus(const ZanImage*, const ZanImage*, ZanImage*, double value)> call;
    std::function<bool(double a, double b)> holds; // b is the second image's sample or the value
};

constexpr float kEps = 1.5f;

const CompareOp kOps[] = {
    {"zanLess", kPair, false, [](auto a, auto b, auto r, double) { return zanLess(a, b, r); },
     [](double a, double b) { return a < b; }},
    {"zanGreater", kPair, false, [](auto a, auto b, auto r, double) { return zanGreater(a, b, r); },
     [](double a, double b) { return a > b; }},
    {"zanEqual", kPair, false, [](auto a, auto b, auto r, double) { return zanEqual(a, b, r); },
     [](double a, double b) { return a == b; }},
    {"zanEqualFPEps", kPair, true, [](auto a, auto b, auto r, double) { return zanEqualFPEps(a, b, r, kEps); },
     [](double a, double b) { return std::fabs(static_cast<float>(a) - static_cast<float>(b)) < kEps; }},
    {"zanLessS", kScalar, false, [](auto a, auto, auto r, double v) { return zanLessS(a, static_cast<int>(v), r); },
     [](double a, double v) { return a < v; }},
    {"zanGreaterS", kScalar, false,
     [](auto a, auto, auto r, double v) { return zanGreaterS(a, static_cast<int>(v), r); },
     [](double a, double v) { return a > v; }},
    {"zanEqualS", kScalar, false, [](auto a, auto, auto r, double v) { return zanEqualS(a, static_cast<int>(v), r); },
     [](double a, double v) { return a == v; }},
    {"zanLessSFP", kScalarFP, true,
     [](auto a, auto, auto r, double v) { return zanLessSFP(a, static_cast<float>(v), r); },
     [](double a, double v) { return a < v; }},
    {"zanGreaterSFP", kScalarFP, true,
     [](auto a, auto, auto r, double v) { return zanGreaterSFP(a, static_cast<float>(v), r); },
     [](double a, double v) { return a > v; }},
    {"zanEqualSFP", kScalarFP, true,
     [](auto a, auto, auto r, double v) { return zanEqualSFP(a, static_cast<float>(v), r); },
     [](double a, double v) { return a == v; }},
    {"zanEqualSFPEps", kScalarFP, true,
     [](auto a, auto, auto r, double v) { return zanEqualSFPEps(a, static_cast<float>(v), r, kEps); },
     [](double a, double v) { return std::fabs(static_cast<float>(a) - static_cast<float>(v)) < kEps; }},
};

std::vector<uint32_t> depthsOf(const CompareOp& op)
{
    if (op.floatOnly)
        return {ZAN_DEPTH_32F};
    if (op.form == kScalar)
        return {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    return {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S, ZAN_DEPTH_32F};
}

// Samples from a few values, so that every relation both holds and fails.
void fillSmall(const Participant& p, std::mt19937& rng)
{
    ZanImage* image = p.content();
    const bool bits = image->depth == ZAN_DEPTH_1U;
    for (int c = 0; c < image->nChannels; ++c)
        for (int y = 0; y < image->height; ++y)
            for (int x = 0; x < image->width; ++x)
                zt::setSampleAt(image, x, y, c, bits ? ct::range(rng, 0, 1) : ct::range(rng, -1, 2) + (image->depth & ZAN_DEPTH_SIGN ? 0 : 1));
    if (p.tiled)
        p.tiled->load();
}

struct RandomCompare {
    RandomCompare(const CompareOp& o, uint32_t d, std::mt19937& r) : op(o), depth(d), rng(r) {}
    const CompareOp& op;
    uint32_t depth;
    std::mt19937& rng;
    Participant img1, img2, res;
    double value = 0;

    Participant make(const Shape& shape, int coi, bool tiled)
    {
        Participant p = ct::makeParticipant(shape, rng, tiled);
        if (coi > 0 || ct::range(rng, 0, 1))
            ct::randomRoi(p.header(), rng, coi);
        if (ct::range(rng, 0, 3) == 0)
            zt::attachRandomMask(p.header(), ct::range(rng, 1, 45), ct::range(rng, 1, 35), rng);
        return p;
    }

    void build(bool tiled)
    {
        Shape shape{depth, 1, ct::range(rng, 1, 40), ct::range(rng, 1, 30), ct::range(rng, 0, 1)};
        if (depth != ZAN_DEPTH_1U) {
            shape.channels = ct::range(rng, 1, 3);
            shape.alpha = shape.channels > 1 && ct::range(rng, 0, 1) ? shape.channels : 0;
        } else {
            shape.order = 0;
        }
        const bool coi = shape.channels > 1 && ct::range(rng, 0, 2) == 0;
        auto coiOf = [&] { return coi ? ct::range(rng, 1, shape.channels - (shape.alpha ? 1 : 0)) : 0; };
        // Tiles on a random choice of the operands when asked.
        const int tiles = tiled ? ct::range(rng, 1, 7) : 0;
        img1 = make(shape, coiOf(), tiles & 1);
        fillSmall(img1, rng);
        if (op.form == kPair) {
            shape.width = ct::range(rng, 1, 40);
            shape.height = ct::range(rng, 1, 30);
            img2 = make(shape, coiOf(), tiles & 2);
            fillSmall(img2, rng);
        }
        res = make(Shape{ZAN_DEPTH_1U, 1, ct::range(rng, 1, 45), ct::range(rng, 1, 35)}, 0, tiles & 4);
        value = ct::range(rng, -1, 3) + (op.form == kScalarFP ? 0.5 * ct::range(rng, 0, 1) : 0);
    }

    const ZanImage* second() const { return img2.plain || img2.tiled ? img2.header() : nullptr; }

    zt::Image expect() const
    {
        zt::Image expected(zanCloneImage(res.content()));
        zt::Rect size = ct::commonSize({img1.header(), second(), res.header()});
        const ct::MaskSet masks({img1.header(), second(), res.header()});
        masks.lower(size.width, size.height);
        const ZanImage* a = img1.header();
        const bool coi = a->roi && a->roi->coi > 0;
        const int count = coi ? 1 : a->nChannels;
        const zt::Rect r1 = zt::regionOf(a), rr = zt::regionOf(res.header());
        const zt::Rect r2 = second() ? zt::regionOf(second()) : zt::Rect{};
        for (int j = 0; j < size.height; ++j)
            for (int i = 0; i < size.width; ++i) {
                if (!masks.at(i, j))
                    continue;
                bool all = true;
                for (int c = 0; c < count; ++c) {
                    const double s1 = zt::sampleAt(img1.content(), r1.x + i, r1.y + j, zt::firstChannel(a) + c);
                    const double s2 = second() ? zt::sampleAt(img2.content(), r2.x + i, r2.y + j, zt::firstChannel(second()) + c)
                                               : value;
                    all = all && op.holds(s1, s2);
                }
                zt::setSampleAt(expected.get(), rr.x + i, rr.y + j, 0, all);
            }
        return expected;
    }
};

TEST(Compare, EveryOperationAndDepthMatchesTheReferenceTiledAndUntiled)
{
    std::mt19937 rng(53);
    zt::RecordingReporter recorder;
    int checked = 0;
    for (const CompareOp& op : kOps)
        for (uint32_t depth : depthsOf(op))
            for (bool tiled : {false, true})
                for (int i = 0; i < 25; ++i) {
                    SCOPED_TRACE(std::string(op.name) + " " + zt::depthName(depth) + (tiled ? " tiled " : " ") + std::to_string(i));
                    RandomCompare t(op, depth, rng);
                    t.build(tiled);
                    const zt::Image expected = t.expect();
                    const ZanStatus status = op.call(t.img1.header(), t.second(), t.res.header(), t.value);
                    ASSERT_TRUE(recorder.reports().empty()) << recorder.reports().front().context;
                    ASSERT_EQ(status, 0);
                    ct::collect(t.res);
                    for (int y = 0; y < expected->height; ++y)
                        for (int x = 0; x < expected->width; ++x)
                            ASSERT_EQ(zt::bitAt(t.res.content(), x, y), zt::bitAt(expected.get(), x, y)) << x << " " << y;
                    for (const Participant* p : {&t.img1, &t.img2, &t.res})
                        ASSERT_FALSE(p->tiled && (p->tiled->misuse || p->tiled->openCount() != p->tiled->releaseCount()));
                    ++checked;
                }
    EXPECT_GT(checked, 500);
}

// A 32F image of one row holding the given values.
zt::Image row(std::initializer_list<float> values)
{
    zt::Image image = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, static_cast<int>(values.size()), 1});
    int x = 0;
    for (float v : values)
        zt::setSampleAt(image.get(), x++, 0, 0, v);
    return image;
}

std::string bitsOf(const ZanImage* res, int width)
{
    std::string bits;
    for (int x = 0; x < width; ++x)
        bits += zt::bitAt(res, x, 0) ? '1' : '0';
    return bits;
}

TEST(Compare, NaNAndEpsilonFollowTheRelations)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    zt::Image a = row({nan, 1.0f, 2.0f, 1.0f});
    zt::Image b = row({0.0f, nan, 3.5f, 1.0f});
    zt::Image res = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 4, 1});
    struct Case {
        std::function<ZanStatus()> call;
        const char* bits;
    };
    const Case cases[] = {
        {[&] { return zanLess(a.get(), b.get(), res.get()); }, "0010"},
        {[&] { return zanGreater(a.get(), b.get(), res.get()); }, "1100"},
        {[&] { return zanEqual(a.get(), b.get(), res.get()); }, "1101"},
        {[&] { return zanEqual(a.get(), a.get(), res.get()); }, "1111"},
        {[&] { return zanEqualFPEps(a.get(), b.get(), res.get(), 1.5f); }, "1101"},
        {[&] { return zanEqualFPEps(a.get(), b.get(), res.get(), 1.6f); }, "1111"},
        {[&] { return zanLessSFP(a.get(), 2.0f, res.get()); }, "1101"},
        {[&] { return zanGreaterSFP(a.get(), 0.5f, res.get()); }, "0111"},
        {[&] { return zanEqualSFP(a.get(), 1.0f, res.get()); }, "1101"},
        {[&] { return zanEqualSFPEps(a.get(), 2.0f, res.get(), 1.0f); }, "1010"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.call(), 0);
        EXPECT_EQ(bitsOf(res.get(), 4), c.bits);
    }
}

TEST(Compare, EdgeCasesOfTheFamily)
{
    // Constants outside the depth's range give a constant result.
    zt::Image s16 = zt::makeImage(Shape{ZAN_DEPTH_16S, 1, 9, 2}, 32767);
    zt::Image u8 = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 9, 2}, 255);
    zt::Image res = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 9, 2});
    EXPECT_EQ(zanLessS(s16.get(), 40000, res.get()), 0);
    EXPECT_EQ(bitsOf(res.get(), 9), "111111111");
    EXPECT_EQ(zanGreaterS(u8.get(), 255, res.get()), 0);
    EXPECT_EQ(bitsOf(res.get(), 9), "000000000");
    // 1-bit Greater: a is 1 and b is 0.
    zt::Image a = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 4, 1});
    zt::Image b = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 4, 1});
    a->imageData[0] = static_cast<char>(0xC0); // 1100
    b->imageData[0] = static_cast<char>(0xA0); // 1010
    EXPECT_EQ(zanGreater(a.get(), b.get(), res.get()), 0);
    EXPECT_EQ(bitsOf(res.get(), 4), "0100");
    // Channel 1 of one image against channel 3 of the other.
    std::mt19937 rng(59);
    zt::Image x = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 6, 1}, rng);
    zt::Image y = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 6, 1}, rng);
    for (int i = 0; i < 6; ++i)
        zt::setSampleAt(y.get(), i, 0, 2, (static_cast<int>(zt::sampleAt(x.get(), i, 0, 0)) + (i % 2 ? 0 : 1)) % 256);
    zt::setRoi(x.get(), 1, 0, 0, 6, 1);
    zt::setRoi(y.get(), 3, 0, 0, 6, 1);
    EXPECT_EQ(zanEqual(x.get(), y.get(), res.get()), 0);
    EXPECT_EQ(bitsOf(res.get(), 6), "010101");
    // A mask bit of 0 keeps the old bit, and res at a ROI keeps the rest.
    std::memset(res->imageData, 0xFF, static_cast<std::size_t>(res->imageSize));
    zt::setRoi(res.get(), 0, 2, 1, 3, 1);
    zt::Image mask = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 3, 1});
    mask->imageData[0] = static_cast<char>(0x40); // 010
    res->maskROI = mask.release();
    EXPECT_EQ(zanGreaterS(u8.get(), 255, res.get()), 0);
    zanSetROI(res->roi, 0, 0, 0, 9, 2);
    EXPECT_EQ(bitsOf(res.get(), 9), "111111111");
    EXPECT_EQ(zt::bitAt(res.get(), 2, 1), true);
    EXPECT_EQ(zt::bitAt(res.get(), 3, 1), false);
    EXPECT_EQ(zt::bitAt(res.get(), 4, 1), true);
}

// The walker's tiles go column by column, top to bottom in each column, each
// opened once and released before the next; a tile not given ends the walk.
TEST(Compare, TheWalkerGoesColumnByColumn)
{
    std::mt19937 rng(61);
    zt::TiledImage res(Shape{ZAN_DEPTH_1U, 1, 40, 20}, 16, 8);
    zt::setRoi(res.header(), 0, 5, 3, 30, 14);
    zt::Image img = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 1, 40, 20}, rng);
    EXPECT_EQ(zanGreaterS(img.get(), 100, res.header()), 0);
    std::vector<zt::TiledImage::Call> expected;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 3; ++row) {
            expected.push_back({column, row, ZAN_TILE_WRITE});
            expected.push_back({column, row, ZAN_TILE_RELEASE});
        }
    EXPECT_EQ(res.calls, expected);
    res.store();
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 40; ++x) {
            // Bits outside the ROI keep their 0.
            const bool inside = x >= 5 && x < 35 && y >= 3 && y < 17;
            ASSERT_EQ(zt::bitAt(res.plain(), x, y), inside && zt::sampleAt(img.get(), x - 5, y - 3, 0) > 100)
                << x << " " << y;
        }

    zt::RecordingReporter recorder;
    res.failOpenAt = res.openCount() + 4;
    EXPECT_EQ(zanGreaterS(img.get(), 100, res.header()), -2);
    ASSERT_EQ(recorder.summary().size(), 1u);
    EXPECT_EQ(recorder.summary()[0], "zanGreaterS: ERROR in Tiling callBack");
    EXPECT_EQ(res.openCount(), res.releaseCount() + 1);
    EXPECT_FALSE(res.misuse);
}

TEST(Compare, RefusalsReportAndReturnTheirStatuses)
{
    zt::RecordingReporter recorder;
    zt::Image u8 = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 5, 5});
    zt::Image u8b = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 5, 5});
    zt::Image s8 = zt::makeImage(Shape{ZAN_DEPTH_8S, 3, 5, 5});
    zt::Image f32 = zt::makeImage(Shape{ZAN_DEPTH_32F, 3, 5, 5});
    zt::Image planes = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 5, 5, ZAN_DATA_ORDER_PLANE});
    zt::Image flipped = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 5, 5, 0, 0, 4, ZAN_ORIGIN_BOTTOM_LEFT});
    zt::Image soleAlpha = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5, 0, 1});
    zt::Image coi = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 5, 5});
    zt::setRoi(coi.get(), 1, 0, 0, 5, 5);
    zt::Image res = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 5, 5});
    zt::Image notBits = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 5, 5});
    struct Case {
        std::function<ZanStatus()> call;
        ZanStatus returned;
        ZanStatus status;
        std::string report;
    };
    const Case cases[] = {
        {[&] { return zanLess(nullptr, u8b.get(), res.get()); }, -9, -9, "zanLess:  Incorrect Image"},
        {[&] { return zanLess(u8.get(), u8b.get(), notBits.get()); }, -17, -5, "zanLess: (res->depth!=ZAN_DEPTH_1U)"},
        {[&] { return zanGreater(u8.get(), s8.get(), res.get()); }, -17, -5, "zanGreater: (img1->depth!=img2->depth)"},
        {[&] { return zanEqual(res.get(), res.get(), res.get()); }, -5, -5, "zanEqual: (img1==res || img2==res)"},
        {[&] { return zanEqual(u8.get(), planes.get(), res.get()); }, -19, -5, "zanEqual: (img1->dataOrder!=img2->dataOrder)"},
        {[&] { return zanEqual(u8.get(), flipped.get(), res.get()); }, -20, -5, "zanEqual: (img1->origin!=img2->origin)"},
        {[&] { return zanEqualFPEps(u8.get(), u8b.get(), res.get(), 1.0f); }, -17, -5,
         "zanEqualFPEps: ((img1->depth!= ZAN_DEPTH_32F)|| (img2->depth!= ZAN_DEPTH_32F))"},
        {[&] { return zanEqualFPEps(f32.get(), f32.get(), res.get(), 0.0f); }, -5, -5, "zanEqualFPEps: (eps<=0.)"},
        {[&] { return zanLess(soleAlpha.get(), soleAlpha.get(), res.get()); }, -5, -18, "zanLess: bad alpha channel's number"},
        {[&] { return zanLess(coi.get(), u8.get(), res.get()); }, -15, -15, "zanLess: bad channel's number"},
        {[&] { return zanLessS(u8.get(), 1, u8.get()); }, -5, -5, "zanLessS: (img==res)"},
        {[&] { return zanLessS(u8.get(), 1, notBits.get()); }, -17, -5, "zanLessS: (res->depth!=ZAN_DEPTH_1U)"},
        {[&] { return zanGreaterS(f32.get(), 1, res.get()); }, -17, -5, "zanGreaterS: (img->depth==ZAN_DEPTH_32F)"},
        {[&] { return zanGreaterSFP(u8.get(), 1, res.get()); }, -17, -5, "zanGreaterSFP: (img->depth!=ZAN_DEPTH_32F)"},
        {[&] { return zanEqualSFPEps(f32.get(), 1, res.get(), -1.0f); }, -5, -5, "zanEqualSFPEps: (eps<=0.)"},
        {[&] { return zanEqualS(soleAlpha.get(), 1, res.get()); }, -18, -18, "zanEqualS: bad alpha channel's number"},
    };
    for (const Case& c : cases) {
        recorder.clear();
        zanSetErrStatus(0);
        EXPECT_EQ(c.call(), c.returned) << c.report;
        ASSERT_EQ(recorder.summary().size(), 1u) << c.report;
        EXPECT_EQ(recorder.summary()[0], c.report);
        EXPECT_EQ(zanGetErrStatus(), c.status) << c.report;
        EXPECT_EQ(recorder.reports()[0].source, "zanComp");
    }
    // Success returns 0 and leaves the status alone.
    zanSetErrStatus(-7);
    EXPECT_EQ(zanEqual(u8.get(), u8b.get(), res.get()), 0);
    EXPECT_EQ(zanGetErrStatus(), -7);
    zanSetErrStatus(0);
}

} // namespace
