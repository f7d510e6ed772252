// zanErode, zanDilate, zanOpen and zanClose against a reference written from
// the definitions: the square minimum and maximum of a source that repeats
// the region's one-pixel ring, pixel by pixel; random images, ROIs, COIs,
// masks, borders, tiles and in-place calls; the refusals.
#include "conv_reference.h"
#include "filter_util.h"
#include "window_case.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace {

using MorphFn = void (*)(const ZanImage*, ZanImage*, int);

struct MorphOp {
    const char* name;
    MorphFn fn;
    bool firstMax;
    bool twice;
};

const MorphOp kOps[] = {
    {"Erode", zanErode, false, false},
    {"Dilate", zanDilate, true, false},
    {"Open", zanOpen, false, true},
    {"Close", zanClose, true, true},
};

using Field = std::function<double(int, int)>;

// The extreme of a field over the square of reach r around (x, y).
double extreme(const Field& f, int x, int y, int r, bool max)
{
    double best = f(x, y);
    for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx)
            best = max ? std::max(best, f(x + dx, y + dy)) : std::min(best, f(x + dx, y + dy));
    return best;
}

// The expected result at region pixel (i, j) of a w by h region; a(x, y)
// reads the source at region coordinates.
double expected(const MorphOp& op, const Field& a, int w, int h, int r, int i, int j)
{
    const Field ringed = [&](int x, int y) {
        return a(std::clamp(x, -1, w), std::clamp(y, -1, h));
    };
    if (!op.twice)
        return extreme(ringed, i, j, r, op.firstMax);
    const Field inner = [&](int x, int y) {
        const bool inside = x >= 0 && x < w && y >= 0 && y < h;
        return inside ? extreme(ringed, x, y, r, op.firstMax) : ringed(x, y);
    };
    return extreme(inner, i, j, r, !op.firstMax);
}

zt::Shape randomShape(uint32_t depth, std::mt19937& rng)
{
    zt::Shape shape = cref::randomShape(depth, rng);
    if (depth != ZAN_DEPTH_1U)
        shape.alpha = shape.channels == 4 && rng() % 2 ? 4 : 0;
    return shape;
}

void runCase(const MorphOp& op, uint32_t depth, std::mt19937& rng)
{
    const zt::Shape shape = randomShape(depth, rng);
    const int n = 1 + static_cast<int>(rng() % 3);
    const bool inPlace = rng() % 4 == 0;
    const bool srcTiled = rng() % 4 == 0, dstTiled = rng() % 4 == 0;
    std::ostringstream text;
    text << op.name << " " << zt::describe(shape) << " n=" << n << (inPlace ? " in place" : "")
         << (srcTiled ? " src tiled" : "") << (dstTiled ? " dst tiled" : "");
    SCOPED_TRACE(text.str());
    wc::Case t(shape, inPlace, srcTiled, dstTiled, rng);
    zt::Participant& src = t.src;
    zt::Participant& dst = t.dst();

    const zt::Image before(zanCloneImage(src.content()));
    zt::Image want(zanCloneImage(dst.content()));
    const zt::Rect sr = zt::regionOf(src.header());
    const zt::Rect dr = zt::regionOf(dst.header());
    int w = 0, h = 0;
    t.commonSize(&w, &h);
    for (int c = 0; c < zt::channelCount(src.header()); ++c) {
        const int sc = zt::firstChannel(src.header()) + c;
        const Field a = [&](int x, int y) {
            return cref::borderSample(before.get(), sr.x + x, sr.y + y, sc);
        };
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i)
                if (wc::admits(src.header(), i, j) && wc::admits(dst.header(), i, j))
                    zt::setSampleAt(want.get(), dr.x + i, dr.y + j,
                                    zt::firstChannel(dst.header()) + c,
                                    expected(op, a, w, h, n, i, j));
    }
    zt::RecordingReporter reporter;
    op.fn(src.header(), dst.header(), n);
    ASSERT_EQ(zanGetErrStatus(), ZAN_STATUS_OK) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), want.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

const uint32_t kMorphDepths[] = {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_16U};

class MorphDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(MorphDepth, MatchesReferenceOnRandomImages)
{
    std::mt19937 rng(4242 + GetParam());
    for (const MorphOp& op : kOps)
        for (int trial = 0; trial < 120 && !HasFailure(); ++trial)
            runCase(op, GetParam(), rng);
}

INSTANTIATE_TEST_SUITE_P(Depths, MorphDepth, ::testing::ValuesIn(kMorphDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

TEST(Morph, BrightPixelTwoStepsOutsideTheRoiHasNoInfluence)
{
    zt::Shape shape;
    shape.width = shape.height = 12;
    zt::Image a = zt::makeImage(shape, 0), b = zt::makeImage(shape, 0);
    zt::setSampleAt(a.get(), 1, 5, 0, 255);
    zt::setRoi(a.get(), 0, 3, 3, 6, 6);
    zanDilate(a.get(), b.get(), 4);
    EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_OK);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(zt::sampleAt(b.get(), x, y, 0), 0) << x << "," << y;
}

TEST(Morph, RefusesWithExactStatusesAndTexts)
{
    struct Case {
        const char* name;
        const char* context;
    };
    const Case table[] = {
        {"iterations", "Illegal number of iterations"},
        {"8S", "Illegal image depth"},
        {"32F", "Illegal image depth"},
        {"depth", "SRC and DST depth are different"},
        {"order", "SRC and DST order are different"},
        {"origin", "SRC and DST orign are different"},
        {"channels", "SRC and DST number of channels are different"},
    };
    for (const MorphOp& op : kOps)
        for (const Case& c : table) {
            SCOPED_TRACE(std::string(op.name) + " " + c.name);
            const std::string name = c.name;
            zt::Shape shape, other;
            shape.channels = other.channels = 3;
            if (name == "8S")
                shape.depth = other.depth = ZAN_DEPTH_8S;
            if (name == "32F")
                shape.depth = other.depth = ZAN_DEPTH_32F;
            if (name == "depth")
                other.depth = ZAN_DEPTH_16U;
            if (name == "order")
                other.order = ZAN_DATA_ORDER_PLANE;
            if (name == "origin")
                other.origin = ZAN_ORIGIN_BOTTOM_LEFT;
            if (name == "channels")
                other.channels = 4;
            zt::Image a = zt::makeImage(shape), b = zt::makeImage(other);
            const std::vector<uint8_t> untouched = zt::bytesOf(b.get());
            zt::RecordingReporter reporter;
            op.fn(a.get(), b.get(), name == "iterations" ? 0 : 1);
            ASSERT_EQ(reporter.reports().size(), 1u);
            EXPECT_EQ(reporter.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
            EXPECT_EQ(reporter.reports()[0].function, std::string("zan") + op.name);
            EXPECT_EQ(reporter.reports()[0].source, "ownMorph");
            EXPECT_EQ(reporter.reports()[0].context, c.context);
            EXPECT_EQ(zt::bytesOf(b.get()), untouched);
        }
}

} // namespace
