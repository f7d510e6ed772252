// zanBlur against a reference written from the definition: the window sum
// of the bordered source times the single-precision reciprocal of the
// window's size, truncated toward zero; random images, windows, anchors,
// ROIs, COIs, masks, borders, tiles and in-place calls; the refusals.
#include "conv_reference.h"
#include "filter_util.h"
#include "window_case.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <sstream>

namespace {

// Wide depths get values whose sums single precision holds exactly.
void narrowValues(ZanImage* image, std::mt19937& rng)
{
    if (image->depth != ZAN_DEPTH_32S && image->depth != ZAN_DEPTH_32F)
        return;
    const double unit = image->depth == ZAN_DEPTH_32F ? 0.25 : 1.0;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c)
                zt::setSampleAt(image, x, y, c, unit * (static_cast<int>(rng() % 20001) - 10000));
}

// The expected sample of a window sum.
double meanOf(uint32_t depth, double sum, float scale)
{
    if (depth == ZAN_DEPTH_1U)
        return static_cast<float>(sum) * scale >= 0.5f ? 1 : 0;
    const int saved = std::fegetround();
    std::fesetround(FE_TOWARDZERO);
    const double product = sum * scale;
    const double result = depth == ZAN_DEPTH_32F ? static_cast<double>(static_cast<float>(product))
                                                 : std::trunc(product);
    std::fesetround(saved);
    return result;
}

void runCase(uint32_t depth, std::mt19937& rng)
{
    zt::Shape shape = cref::randomShape(depth, rng);
    const int nCols = 1 + static_cast<int>(rng() % 6), nRows = 1 + static_cast<int>(rng() % 6);
    const int ax = static_cast<int>(rng() % nCols), ay = static_cast<int>(rng() % nRows);
    const bool inPlace = rng() % 4 == 0;
    const bool srcTiled = rng() % 4 == 0, dstTiled = rng() % 4 == 0;
    std::ostringstream text;
    text << zt::describe(shape) << " " << nCols << "x" << nRows << "@" << ax << "," << ay
         << (inPlace ? " in place" : "") << (srcTiled ? " src tiled" : "")
         << (dstTiled ? " dst tiled" : "");
    SCOPED_TRACE(text.str());
    wc::Case t(shape, inPlace, srcTiled, dstTiled, rng);
    zt::Participant& src = t.src;
    zt::Participant& dst = t.dst();
    narrowValues(src.content(), rng);
    if (src.tiled)
        src.tiled->load();

    const zt::Image before(zanCloneImage(src.content()));
    zt::Image want(zanCloneImage(dst.content()));
    const zt::Rect sr = zt::regionOf(src.header());
    const zt::Rect dr = zt::regionOf(dst.header());
    int w = 0, h = 0;
    t.commonSize(&w, &h);
    const float scale = 1.0f / static_cast<float>(nCols * nRows);
    const bool copies = nCols == 1 && nRows == 1;
    for (int c = 0; c < zt::channelCount(src.header()); ++c) {
        const int sc = zt::firstChannel(src.header()) + c;
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i) {
                if (!wc::admits(src.header(), i, j) || !wc::admits(dst.header(), i, j))
                    continue;
                double sum = 0;
                for (int dy = 0; dy < nRows; ++dy)
                    for (int dx = 0; dx < nCols; ++dx)
                        sum += cref::borderSample(before.get(), sr.x + i - ax + dx,
                                                  sr.y + j - ay + dy, sc);
                zt::setSampleAt(want.get(), dr.x + i, dr.y + j, zt::firstChannel(dst.header()) + c,
                                copies ? sum : meanOf(depth, sum, scale));
            }
    }
    zt::RecordingReporter reporter;
    zanBlur(src.header(), dst.header(), nCols, nRows, ax, ay);
    ASSERT_EQ(zanGetErrStatus(), ZAN_STATUS_OK) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), want.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

class BlurDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(BlurDepth, MatchesReferenceOnRandomImages)
{
    std::mt19937 rng(99 + GetParam());
    for (int trial = 0; trial < 250 && !HasFailure(); ++trial)
        runCase(GetParam(), rng);
}

INSTANTIATE_TEST_SUITE_P(AllDepths, BlurDepth, ::testing::ValuesIn(zt::kAllDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

TEST(Blur, ConstantImagesShowTheRoundedReciprocal)
{
    struct Case {
        int size, value, want;
    };
    const Case table[] = {{5, 10, 9}, {3, 9, 9}, {2, 4, 4}};
    for (const Case& c : table) {
        zt::Shape shape;
        shape.width = shape.height = 16;
        zt::Image a = zt::makeImage(shape, c.value), b = zt::makeImage(shape, 0);
        zanBlur(a.get(), b.get(), c.size, c.size, c.size / 2, c.size / 2);
        EXPECT_EQ(zt::sampleAt(b.get(), 8, 8, 0), c.want) << c.size;
    }
}

TEST(Blur, RefusesWithExactStatusesAndTexts)
{
    struct Case {
        const char* name;
        int nCols, nRows, ax, ay;
        int status;
        const char* context;
    };
    const Case table[] = {
        {"depth", 3, 3, 1, 1, ZAN_STATUS_BAD_ARGUMENT, "(srcImage->depth!=dstImage->depth)"},
        {"negative size", -1, 3, 0, 0, ZAN_STATUS_BAD_ARGUMENT, "(nRows<0||nCols<0)"},
        {"negative anchor", 3, 3, 0, -1, ZAN_STATUS_BAD_ARGUMENT, "(anchorX<0||anchorY<0)"},
        {"anchor beyond", 3, 3, 3, 0, ZAN_STATUS_BAD_ARGUMENT, "(anchorX>=nCols||anchorY>=nRows)"},
        {"zero rows", 3, 0, 0, 0, ZAN_STATUS_BAD_ARGUMENT, "(anchorX>=nCols||anchorY>=nRows)"},
        {"channels", 3, 3, 1, 1, ZAN_STATUS_CHANNELS, "bad channel's number"},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.name);
        const std::string name = c.name;
        zt::Shape shape, other;
        shape.channels = other.channels = 3;
        if (name == "depth")
            other.depth = ZAN_DEPTH_16S;
        if (name == "channels")
            other.channels = 4;
        zt::Image a = zt::makeImage(shape), b = zt::makeImage(other);
        const std::vector<uint8_t> untouched = zt::bytesOf(b.get());
        zt::RecordingReporter reporter;
        zanBlur(a.get(), b.get(), c.nCols, c.nRows, c.ax, c.ay);
        ASSERT_EQ(reporter.reports().size(), 1u);
        EXPECT_EQ(reporter.reports()[0].status, c.status);
        EXPECT_EQ(reporter.reports()[0].function, "zanBlur");
        EXPECT_EQ(reporter.reports()[0].source, "zanBlur");
        EXPECT_EQ(reporter.reports()[0].context, c.context);
        EXPECT_EQ(zt::bytesOf(b.get()), untouched);
    }
}

} // namespace
