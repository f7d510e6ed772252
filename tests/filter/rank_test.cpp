// zanMaxFilter, zanMinFilter and zanMedianFilter against a reference that
// sorts every window read through the border rule: random depths, sizes,
// anchors, ROIs, COIs, masks, border modes and tiles; the refusals with
// their statuses and texts.
#include "conv_reference.h"
#include "filter_util.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using RankFilter = void (*)(const ZanImage*, ZanImage*, int, int, int, int);

struct Kind {
    const char* name;
    RankFilter run;
    int rank(int n) const // 0-based position in the ascending window
    {
        const std::string s = name;
        return s == "zanMaxFilter" ? n - 1 : s == "zanMinFilter" ? 0 : n / 2;
    }
};

const Kind kKinds[] = {
    {"zanMaxFilter", zanMaxFilter},
    {"zanMinFilter", zanMinFilter},
    {"zanMedianFilter", zanMedianFilter},
};

struct Window {
    int nCols, nRows, anchorX, anchorY;
};

// The region of an image and of its mask, as the filters narrow it.
struct Region {
    zt::Rect rect;
    const ZanImage* mask;
    zt::Rect maskRect;

    explicit Region(const ZanImage* image) : rect(zt::regionOf(image)), mask(image->maskROI)
    {
        if (mask) {
            maskRect = zt::regionOf(mask);
            rect.width = std::min(rect.width, maskRect.width);
            rect.height = std::min(rect.height, maskRect.height);
        }
    }
    bool admits(int i, int j) const
    {
        return !mask || zt::bitAt(mask, maskRect.x + i, maskRect.y + j);
    }
};

double rankOf(const ZanImage* src, int x, int y, int channel, const Window& w, int rank)
{
    std::vector<double> samples;
    for (int j = 0; j < w.nRows; ++j)
        for (int i = 0; i < w.nCols; ++i)
            samples.push_back(
                cref::borderSample(src, x - w.anchorX + i, y - w.anchorY + j, channel));
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<std::size_t>(rank)];
}

void randomRegion(ZanImage* header, int coi, std::mt19937& rng)
{
    const int x = static_cast<int>(rng() % header->width);
    const int y = static_cast<int>(rng() % header->height);
    if (rng() % 3)
        zt::setRoi(header, coi, x, y, 1 + static_cast<int>(rng() % header->width),
                   1 + static_cast<int>(rng() % header->height));
    else if (coi)
        zt::setRoi(header, coi, 0, 0, header->width, header->height);
    if (rng() % 3 == 0)
        zt::attachRandomMask(header, 1 + static_cast<int>(rng() % 24),
                             1 + static_cast<int>(rng() % 24), rng);
}

struct Trial {
    const Kind* kind;
    zt::Shape shape;
    Window window;
    bool coi, srcTiled, dstTiled;

    std::string describe() const
    {
        std::ostringstream s;
        s << kind->name << " " << zt::describe(shape) << " " << window.nCols << "x"
          << window.nRows << "@" << window.anchorX << "," << window.anchorY
          << (coi ? " coi" : "") << (srcTiled ? " src tiled" : "")
          << (dstTiled ? " dst tiled" : "");
        return s.str();
    }
};

Trial randomTrial(uint32_t depth, std::mt19937& rng)
{
    Trial t;
    t.kind = &kKinds[rng() % 3];
    t.shape = cref::randomShape(depth, rng);
    const int limit = rng() % 4 == 0 ? 12 : 5;
    Window& w = t.window;
    w.nCols = 1 + static_cast<int>(rng() % limit);
    w.nRows = 1 + static_cast<int>(rng() % limit);
    w.anchorX = static_cast<int>(rng() % w.nCols);
    w.anchorY = static_cast<int>(rng() % w.nRows);
    t.coi = depth != ZAN_DEPTH_1U && rng() % 4 == 0;
    t.srcTiled = rng() % 4 == 0;
    t.dstTiled = rng() % 4 == 0;
    return t;
}

// The channel the filter writes for run c of a call.
struct Channels {
    int count, srcFirst, dstFirst;
};

Channels channelsOf(const ZanImage* src, const ZanImage* dst)
{
    const int srcCoi = src->roi ? src->roi->coi : 0;
    const int dstCoi = dst->roi ? dst->roi->coi : 0;
    if (srcCoi && dstCoi)
        return {1, srcCoi - 1, dstCoi - 1};
    return {src->nChannels - (src->alphaChannel ? 1 : 0), 0, 0};
}

void runTrial(const Trial& t, std::mt19937& rng)
{
    SCOPED_TRACE(t.describe());
    zt::Participant src = fz::makeParticipant(t.shape, t.srcTiled, rng);
    zt::Shape dstShape = t.shape;
    dstShape.width = 1 + static_cast<int>(rng() % 30);
    dstShape.height = 1 + static_cast<int>(rng() % 30);
    zt::Participant dst = fz::makeParticipant(dstShape, t.dstTiled, rng);
    const int channels = t.shape.channels - (t.shape.alpha ? 1 : 0);
    randomRegion(src.header(), t.coi ? 1 + static_cast<int>(rng() % channels) : 0, rng);
    randomRegion(dst.header(), t.coi ? 1 + static_cast<int>(rng() % channels) : 0, rng);
    fz::randomBorders(src, rng);

    zt::Image expected(zanCloneImage(dst.content()));
    const Region sr(src.header()), dr(dst.header());
    const Channels ch = channelsOf(src.header(), dst.header());
    const Window& w = t.window;
    for (int j = 0; j < std::min(sr.rect.height, dr.rect.height); ++j)
        for (int i = 0; i < std::min(sr.rect.width, dr.rect.width); ++i) {
            if (!sr.admits(i, j) || !dr.admits(i, j))
                continue;
            for (int c = 0; c < ch.count; ++c)
                zt::setSampleAt(expected.get(), dr.rect.x + i, dr.rect.y + j, ch.dstFirst + c,
                                rankOf(src.content(), sr.rect.x + i, sr.rect.y + j,
                                       ch.srcFirst + c, w, t.kind->rank(w.nCols * w.nRows)));
        }

    zt::RecordingReporter reporter;
    t.kind->run(src.header(), dst.header(), w.nCols, w.nRows, w.anchorX, w.anchorY);
    ASSERT_TRUE(reporter.reports().empty()) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), expected.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

class RankDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(RankDepth, MatchesSortedWindowsOnRandomImages)
{
    std::mt19937 rng(4321 + GetParam());
    for (int trial = 0; trial < 300 && !HasFailure(); ++trial)
        runTrial(randomTrial(GetParam(), rng), rng);
}

const uint32_t kRankDepths[] = {ZAN_DEPTH_1U,  ZAN_DEPTH_8U,  ZAN_DEPTH_8S, ZAN_DEPTH_16U,
                                ZAN_DEPTH_16S, ZAN_DEPTH_32S};

INSTANTIATE_TEST_SUITE_P(IntegerDepths, RankDepth, ::testing::ValuesIn(kRankDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

zt::Image imageOf(uint32_t depth, int width, int height, const std::vector<int>& values)
{
    zt::Shape shape;
    shape.depth = depth;
    shape.width = width;
    shape.height = height;
    zt::Image image = zt::makeImage(shape);
    for (int i = 0; i < width * height; ++i)
        zt::setSampleAt(image.get(), i % width, i / width, 0, values[static_cast<std::size_t>(i)]);
    return image;
}

// Edge cases on one pixel whose window lies wholly inside the image.
struct Case {
    const char* name;
    uint32_t depth;
    Window window;
    std::vector<int> samples; // the window, row by row
    int want;
};

TEST(MedianFilter, PicksTheUpperMiddleSample)
{
    const Case table[] = {
        {"2x2 third smallest", ZAN_DEPTH_8U, {2, 2, 0, 0}, {40, 10, 30, 20}, 30},
        {"1x1 the sample", ZAN_DEPTH_16S, {1, 1, 0, 0}, {-7}, -7},
        {"1U 2x2 two set bits", ZAN_DEPTH_1U, {2, 2, 0, 0}, {1, 0, 0, 1}, 1},
        {"1U 2x2 one set bit", ZAN_DEPTH_1U, {2, 2, 0, 0}, {0, 0, 1, 0}, 0},
        {"1U 3x3 five set bits", ZAN_DEPTH_1U, {3, 3, 0, 0}, {1, 1, 0, 1, 0, 1, 0, 1, 0}, 1},
        {"1U 3x3 four set bits", ZAN_DEPTH_1U, {3, 3, 0, 0}, {1, 1, 0, 1, 0, 0, 0, 1, 0}, 0},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.name);
        zt::Image src = imageOf(c.depth, c.window.nCols, c.window.nRows, c.samples);
        zt::Image dst = imageOf(c.depth, c.window.nCols, c.window.nRows,
                                std::vector<int>(c.samples.size(), c.want == 0 ? 1 : 0));
        zanMedianFilter(src.get(), dst.get(), c.window.nCols, c.window.nRows, 0, 0);
        EXPECT_EQ(zt::sampleAt(dst.get(), 0, 0, 0), c.want);
    }
}

// Refusals, in the order of the checks. A COI above the channel count and an
// alpha channel that is not the last are already refused by the header check.
struct Refusal {
    const char* name;
    int status;
    const char* context;
};

void refuse(const std::string& name, RankFilter run)
{
    zt::Shape s8;
    zt::Image a = zt::makeImage(s8), b = zt::makeImage(s8);
    zt::Shape s16 = s8;
    s16.depth = ZAN_DEPTH_16U;
    zt::Image w = zt::makeImage(s16);
    zt::Shape s32f = s8;
    s32f.depth = ZAN_DEPTH_32F;
    zt::Image f = zt::makeImage(s32f), g = zt::makeImage(s32f);
    zt::Shape s3 = s8;
    s3.channels = 3;
    zt::Image c3 = zt::makeImage(s3), d3 = zt::makeImage(s3);
    zt::Shape s4a = s8;
    s4a.channels = 4;
    s4a.alpha = 4;
    zt::Image c4a = zt::makeImage(s4a);
    zt::Shape s4 = s4a;
    s4.alpha = 0;
    zt::Image c4 = zt::makeImage(s4);
    zt::Shape p3 = s3;
    p3.order = ZAN_DATA_ORDER_PLANE;
    zt::Image e3 = zt::makeImage(p3);
    if (name == "null src")
        run(nullptr, b.get(), 3, 3, 1, 1);
    else if (name == "anchorX")
        run(a.get(), b.get(), 3, 3, 3, 1);
    else if (name == "no columns")
        run(a.get(), b.get(), 0, 3, 0, 1);
    else if (name == "anchorY")
        run(a.get(), b.get(), 3, 3, 1, -1);
    else if (name == "same image")
        run(a.get(), a.get(), 3, 3, 1, 1);
    else if (name == "depth")
        run(a.get(), w.get(), 3, 3, 1, 1);
    else if (name == "32F")
        run(f.get(), g.get(), 3, 3, 1, 1);
    else if (name == "channels")
        run(c3.get(), c4.get(), 3, 3, 1, 1);
    else if (name == "alpha")
        run(c4a.get(), c4.get(), 3, 3, 1, 1);
    else if (name == "order")
        run(c3.get(), e3.get(), 3, 3, 1, 1);
    else if (name == "counts") {
        zt::setRoi(d3.get(), 2, 0, 0, 8, 8);
        run(c3.get(), d3.get(), 3, 3, 1, 1);
    }
}

TEST(RankFilters, RefuseWithExactStatusesAndTexts)
{
    const Refusal table[] = {
        {"null src", ZAN_STATUS_NULL_HEADER, "Incorrect Image"},
        {"anchorX", ZAN_STATUS_BAD_ARGUMENT, "(anchorX>=nCols)||(anchorX<0)"},
        {"no columns", ZAN_STATUS_BAD_ARGUMENT, "(anchorX>=nCols)||(anchorX<0)"},
        {"anchorY", ZAN_STATUS_BAD_ARGUMENT, "(anchorY>=nRows)||(anchorY<0)"},
        {"same image", ZAN_STATUS_BAD_ARGUMENT, "(srcImage==dstImage)"},
        {"depth", ZAN_STATUS_BAD_ARGUMENT, "srcImage->depth!=dstImage->depth"},
        {"32F", ZAN_STATUS_BAD_ARGUMENT, "srcImage->depth==32"},
        {"channels", ZAN_STATUS_BAD_ARGUMENT, "srcImage->nChannels!=dstImage->nChannels"},
        {"alpha", ZAN_STATUS_BAD_ARGUMENT, "srcImage->alphaChannel!=dstImage->alphaChannel"},
        {"order", ZAN_STATUS_BAD_ARGUMENT, "srcImage->dataOrder!=dstImage->dataOrder"},
        {"counts", ZAN_STATUS_BAD_ARGUMENT,
         "Number of interset channel input and output Image is not equal."},
    };
    for (const Kind& kind : kKinds)
        for (const Refusal& r : table) {
            SCOPED_TRACE(std::string(kind.name) + ": " + r.name);
            zt::RecordingReporter reporter;
            refuse(r.name, kind.run);
            ASSERT_FALSE(reporter.reports().empty());
            const auto& last = reporter.reports().back();
            EXPECT_EQ(last.status, r.status);
            EXPECT_EQ(last.context, r.context);
            EXPECT_EQ(last.source, "zannlf");
            EXPECT_EQ(last.function, kind.name);
        }
}

} // namespace
