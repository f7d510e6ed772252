// zanMaxFilter, zanMinFilter and zanMedianFilter against a reference that
// sorts every window read through the border rule: random depths, sizes,
// anchors, ROIs, COIs, masks, border modes and tiles; the refusals with
// their statuses and texts.
#include "conv_reference.h"
#include "filter_util.h"

#include <gtest/gtest.h>

#include <functional>
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

// The value a filter gives at a source pixel of a channel.
using Reference = std::function<double(const ZanImage* src, int x, int y, int channel)>;
using Call = std::function<void(const ZanImage* src, ZanImage* dst)>;

// Filters random images, plain or tiled, with random regions and masks, and
// compares every sample of the destination with the reference.
void checkAgainst(const Trial& t, std::mt19937& rng, const Reference& reference, const Call& call)
{
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
    for (int j = 0; j < std::min(sr.rect.height, dr.rect.height); ++j)
        for (int i = 0; i < std::min(sr.rect.width, dr.rect.width); ++i) {
            if (!sr.admits(i, j) || !dr.admits(i, j))
                continue;
            for (int c = 0; c < ch.count; ++c)
                zt::setSampleAt(expected.get(), dr.rect.x + i, dr.rect.y + j, ch.dstFirst + c,
                                reference(src.content(), sr.rect.x + i, sr.rect.y + j,
                                          ch.srcFirst + c));
        }

    zt::RecordingReporter reporter;
    call(src.header(), dst.header());
    ASSERT_TRUE(reporter.reports().empty()) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), expected.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

void runTrial(const Trial& t, std::mt19937& rng)
{
    SCOPED_TRACE(t.describe());
    const Window& w = t.window;
    const int rank = t.kind->rank(w.nCols * w.nRows);
    checkAgainst(
        t, rng,
        [&](const ZanImage* src, int x, int y, int c) { return rankOf(src, x, y, c, w, rank); },
        [&](const ZanImage* src, ZanImage* dst) {
            t.kind->run(src, dst, w.nCols, w.nRows, w.anchorX, w.anchorY);
        });
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

// The fixed filters' tables: size, weights row by row, and the rule that
// turns the weighted sum R into a sample.
struct FixedTable {
    int size;
    std::vector<int> weights;
    char rule; // 's' saturate, 'g' Gaussian 3, 'G' Gaussian 5, 'h' sharpen
};

std::vector<int> hipass5()
{
    std::vector<int> w(25, -1);
    w[12] = 24;
    return w;
}

const FixedTable kFixed[] = {
    {3, {1, 0, -1, 1, 0, -1, 1, 0, -1}, 's'},
    {3, {-1, -1, -1, 0, 0, 0, 1, 1, 1}, 's'},
    {3, {1, 0, -1, 2, 0, -2, 1, 0, -1}, 's'},
    {3, {-1, -2, -1, 0, 0, 0, 1, 2, 1}, 's'},
    {3, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 's'},
    {5, {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20, 6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1},
     's'},
    {3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 'g'},
    {5, {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2},
     'G'},
    {3, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 's'},
    {5, hipass5(), 's'},
    {3, {-1, -1, -1, -1, 16, -1, -1, -1, -1}, 'h'},
};

double fixedReference(const FixedTable& f, const ZanImage* src, int x, int y, int channel)
{
    const int a = f.size / 2;
    double r = 0;
    float gaussianFloat = 0;
    for (int j = 0; j < f.size; ++j)
        for (int i = 0; i < f.size; ++i) {
            const double s = cref::borderSample(src, x + i - a, y + j - a, channel);
            const int w = f.weights[static_cast<std::size_t>(j * f.size + i)];
            r += w * s;
            gaussianFloat += static_cast<float>(s) * (static_cast<float>(w) / 571.0f);
        }
    const uint32_t depth = src->depth;
    if (depth == ZAN_DEPTH_1U) {
        const double threshold = f.rule == 'g' ? 7 : f.rule == 'G' ? 285 : 0;
        return r > threshold ? 1 : 0;
    }
    double v = r;
    if (f.rule == 'g')
        v = std::nearbyint(r / 16);
    else if (f.rule == 'h')
        v = std::nearbyint(r / 8);
    else if (f.rule == 'G')
        v = depth == ZAN_DEPTH_32S ? std::nearbyint(gaussianFloat) : std::floor((2 * r + 571) / 1142);
    const double low = depth == ZAN_DEPTH_32S ? -2147483648.0 : cref::lowest(depth);
    const double high = depth == ZAN_DEPTH_32S ? 2147483647.0 : cref::highest(depth);
    return std::clamp(v, low, high);
}

class FixedDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(FixedDepth, MatchesWeightedSumsOnRandomImages)
{
    std::mt19937 rng(777 + GetParam());
    for (int trial = 0; trial < 200 && !HasFailure(); ++trial) {
        Trial t = randomTrial(GetParam(), rng);
        const int filter = static_cast<int>(rng() % 11);
        if (filter == ZAN_FILTER_SHARPEN_3X3 && GetParam() == ZAN_DEPTH_1U)
            continue;
        SCOPED_TRACE("filter " + std::to_string(filter) + " " + t.describe());
        checkAgainst(
            t, rng,
            [&](const ZanImage* src, int x, int y, int c) {
                return fixedReference(kFixed[filter], src, x, y, c);
            },
            [&](const ZanImage* src, ZanImage* dst) {
                EXPECT_EQ(zanFixedFilter(src, dst, filter), 0);
            });
    }
}

INSTANTIATE_TEST_SUITE_P(IntegerDepths, FixedDepth, ::testing::ValuesIn(kRankDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

struct FixedCase {
    const char* name;
    uint32_t depth;
    int filter;
    std::vector<int> samples; // 3 by 3 or 5 by 5, the centre is computed
    int want;
};

TEST(FixedFilter, RoundsAndSaturatesByTheTable)
{
    const std::vector<int> eightAtCentre = {0, 0, 0, 0, 2, 0, 0, 0, 0};  // R = 8
    const std::vector<int> twentyFour = {0, 0, 0, 0, 6, 0, 0, 0, 0};     // R = 24
    const std::vector<int> ramp = {0, 0, 200, 0, 0, 200, 0, 0, 200};
    const FixedCase table[] = {
        {"Gaussian R=8 ties to 0", ZAN_DEPTH_8U, ZAN_FILTER_GAUSSIAN_3X3, eightAtCentre, 0},
        {"Gaussian R=24 ties to 2", ZAN_DEPTH_8U, ZAN_FILTER_GAUSSIAN_3X3, twentyFour, 2},
        {"Gaussian 1U R=8 sets", ZAN_DEPTH_1U, ZAN_FILTER_GAUSSIAN_3X3, {0, 0, 0, 1, 1, 1, 1, 0, 0}, 1},
        {"Sobel 8S negative", ZAN_DEPTH_8S, ZAN_FILTER_SOBEL_V_3X3, {0, 0, 20, 0, 0, 20, 0, 0, 20},
         -80},
        {"Sobel 8U saturates at 0", ZAN_DEPTH_8U, ZAN_FILTER_SOBEL_V_3X3, ramp, 0},
        {"16U saturates at 65535", ZAN_DEPTH_16U, ZAN_FILTER_LAPLACIAN_3X3,
         {0, 0, 0, 0, 60000, 0, 0, 0, 0}, 65535},
        {"32F sharpen", ZAN_DEPTH_32F, ZAN_FILTER_SHARPEN_3X3, eightAtCentre, 4},
        {"32F Sobel negative", ZAN_DEPTH_32F, ZAN_FILTER_SOBEL_V_3X3,
         {0, 0, 20, 0, 0, 20, 0, 0, 20}, -80},
        {"32S sharpen ties to even", ZAN_DEPTH_32S, ZAN_FILTER_SHARPEN_3X3,
         {0, 0, 0, 0, 0, 0, 0, 0, 4}, 0},
        {"Gaussian 5x5 constant", ZAN_DEPTH_8U, ZAN_FILTER_GAUSSIAN_5X5, std::vector<int>(25, 77),
         77},
    };
    for (const FixedCase& c : table) {
        SCOPED_TRACE(c.name);
        const int side = c.samples.size() == 25 ? 5 : 3;
        zt::Image src = imageOf(c.depth, side, side, c.samples);
        zt::Image dst = imageOf(c.depth, side, side, std::vector<int>(c.samples.size(), 1));
        EXPECT_EQ(zanFixedFilter(src.get(), dst.get(), c.filter), 0);
        EXPECT_EQ(zt::sampleAt(dst.get(), side / 2, side / 2, 0), c.want);
    }
}

TEST(FixedFilter, LaplacianAndHipassAgree)
{
    std::mt19937 rng(11);
    zt::Shape shape;
    shape.width = 17;
    shape.height = 9;
    zt::Image src = zt::makeRandomImage(shape, rng);
    zt::Image a = zt::makeImage(shape), b = zt::makeImage(shape, 3);
    EXPECT_EQ(zanFixedFilter(src.get(), a.get(), ZAN_FILTER_LAPLACIAN_3X3), 0);
    EXPECT_EQ(zanFixedFilter(src.get(), b.get(), ZAN_FILTER_HIPASS_3X3), 0);
    EXPECT_EQ(fz::firstDifference(a.get(), b.get()), "");
}

TEST(FixedFilter, RefusesWithStatusesReturnsAndTexts)
{
    zt::Shape s8;
    zt::Image a = zt::makeImage(s8), b = zt::makeImage(s8);
    zt::Shape s16 = s8;
    s16.depth = ZAN_DEPTH_16U;
    zt::Image w = zt::makeImage(s16);
    zt::Shape s3 = s8;
    s3.channels = 3;
    zt::Image c3 = zt::makeImage(s3);
    struct Row {
        const char* name;
        std::function<int()> call;
        int result;
        const char* context;
    };
    const Row table[] = {
        {"filter 11", [&] { return zanFixedFilter(a.get(), b.get(), 11); },
         ZAN_STATUS_BAD_ARGUMENT, "Unknow filter."},
        {"same image", [&] { return zanFixedFilter(a.get(), a.get(), 0); },
         ZAN_STATUS_BAD_ARGUMENT, "(srcImage==dstImage)"},
        {"depth", [&] { return zanFixedFilter(a.get(), w.get(), 0); }, -17,
         "srcImage->depth!=dstImage->depth"},
        {"channels", [&] { return zanFixedFilter(a.get(), c3.get(), 0); }, -15,
         "srcImage->nChannels!=dstImage->nChannels"},
    };
    for (const Row& r : table) {
        SCOPED_TRACE(r.name);
        zt::RecordingReporter reporter;
        EXPECT_EQ(r.call(), r.result);
        ASSERT_FALSE(reporter.reports().empty());
        EXPECT_EQ(reporter.reports().back().status, ZAN_STATUS_BAD_ARGUMENT);
        EXPECT_EQ(reporter.reports().back().context, r.context);
        EXPECT_EQ(reporter.reports().back().function, "zanFixedFilter");
    }
}

} // namespace
