// Abs and Square against their formulas: Square through the randomised
// frame check, Abs with its own channel rule, masks and tile rules.
#include "frame_reference.h"
#include "reference.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;

double squareOf(uint32_t depth, double a)
{
    if (depth == ZAN_DEPTH_1U)
        return a;
    if (depth == ZAN_DEPTH_32F)
        return static_cast<float>(a) * static_cast<float>(a);
    return std::min(a * a, ref::highest(depth));
}

double absOf(uint32_t depth, double a)
{
    if (depth == ZAN_DEPTH_32F)
        return a < 0 ? -a : a;
    return std::min(std::fabs(a), ref::highest(depth));
}

TEST(Square, MatchesTheFormulaThroughTheFrame)
{
    zt::FrameCheck check;
    check.depths.assign(std::begin(zt::kAllDepths), std::end(zt::kAllDepths));
    check.twoSources = false;
    check.seed = 41;
    check.call = [](ZanImage* a, ZanImage*, ZanImage* d) { zanSquare(a, d); };
    check.expected = [](uint32_t depth, double a, double) { return squareOf(depth, a); };
    zt::checkAgainstReference(check);
}

TEST(AbsSquare, EdgeValues)
{
    struct Row {
        uint32_t depth;
        double value;
        double abs;
        double square;
    };
    const Row rows[] = {
        {ZAN_DEPTH_8S, -128, 127, 127},           {ZAN_DEPTH_8S, -12, 12, 127},
        {ZAN_DEPTH_8S, -11, 11, 121},             {ZAN_DEPTH_16S, -32768, 32767, 32767},
        {ZAN_DEPTH_32S, -2147483648.0, 2147483647, 2147483647},
        {ZAN_DEPTH_32S, 46340, 46340, 2147395600}, {ZAN_DEPTH_32S, -46341, 46341, 2147483647},
        {ZAN_DEPTH_8U, 16, 16, 255},              {ZAN_DEPTH_8U, 15, 15, 225},
        {ZAN_DEPTH_16U, 255, 255, 65025},         {ZAN_DEPTH_16U, 256, 256, 65535},
        {ZAN_DEPTH_32F, -1.5, 1.5, 2.25},
    };
    for (const Row& row : rows) {
        // Wide enough for the packed kernels and their scalar ends.
        Image src = zt::makeImage(Shape{row.depth, 1, 37, 2});
        for (int x = 0; x < 37; ++x)
            zt::setSampleAt(src.get(), x, 1, 0, row.value);
        Image a = zt::makeImage(Shape{row.depth, 1, 37, 2});
        Image s = zt::makeImage(Shape{row.depth, 1, 37, 2});
        zanAbs(src.get(), a.get());
        zanSquare(src.get(), s.get());
        for (int x = 0; x < 37; ++x) {
            EXPECT_EQ(zt::sampleAt(a.get(), x, 1, 0), row.abs) << zt::depthName(row.depth) << row.value;
            EXPECT_EQ(zt::sampleAt(s.get(), x, 1, 0), row.square) << zt::depthName(row.depth) << row.value;
        }
    }
}

TEST(Abs, KeepsNegativeZeroAndNaN)
{
    Image image = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 2, 1});
    const float values[2] = {-0.0f, std::nanf("")};
    std::memcpy(image->imageData, values, sizeof values);
    zanAbs(image.get(), image.get());
    uint32_t bits[2], want[2];
    std::memcpy(bits, image->imageData, sizeof bits);
    std::memcpy(want, values, sizeof want);
    EXPECT_EQ(bits[0], want[0]);
    EXPECT_EQ(bits[1], want[1]);
}

// Abs of random images whose channels agree by its rule, with ROIs, masks
// and tiles, against the formula value by value.
TEST(Abs, MatchesTheFormulaWithRegionsMasksAndTiles)
{
    std::mt19937 rng(17);
    const uint32_t depths[] = {ZAN_DEPTH_8S, ZAN_DEPTH_16S, ZAN_DEPTH_32S, ZAN_DEPTH_32F};
    for (int trial = 0; trial < 200; ++trial) {
        const uint32_t depth = depths[trial % 4];
        Shape shape{depth, 1 + static_cast<int>(rng() % 4), 1 + static_cast<int>(rng() % 40),
                    1 + static_cast<int>(rng() % 20), static_cast<int>(rng() % 2)};
        shape.alpha = shape.channels > 1 && rng() % 2 ? shape.channels : 0;
        const int coi = shape.channels > 1 && rng() % 3 == 0 ? 1 + static_cast<int>(rng() % shape.channels) : 0;
        zt::Participant parts[2];
        for (int i = 0; i < 2; ++i) {
            if (rng() % 2) {
                parts[i].tiled = std::make_unique<TiledImage>(shape, 8, 16);
                zt::fillRandom(parts[i].tiled->plain(), rng);
                parts[i].tiled->load();
            } else {
                parts[i].plain = zt::makeRandomImage(shape, rng);
            }
            if (coi || rng() % 2)
                zt::setRoi(parts[i].header(), coi, static_cast<int>(rng() % shape.width),
                           static_cast<int>(rng() % shape.height), 1 + static_cast<int>(rng() % 40),
                           1 + static_cast<int>(rng() % 20));
            if (rng() % 3 == 0)
                zt::attachRandomMask(parts[i].header(), 1 + static_cast<int>(rng() % 40),
                                     1 + static_cast<int>(rng() % 20), rng);
        }
        ZanImage* src = parts[0].header();
        ZanImage* dst = parts[1].header();
        Image before(zanCloneImage(parts[1].content()));
        {
            RecordingReporter recorder;
            zanAbs(src, dst);
            ASSERT_TRUE(recorder.reports().empty()) << recorder.summary()[0];
        }
        if (parts[1].tiled)
            parts[1].tiled->store();
        const zt::Rect rs = zt::regionOf(src), rd = zt::regionOf(dst);
        const int width = std::max(0, std::min(rs.width, rd.width));
        const int height = std::max(0, std::min(rs.height, rd.height));
        const ZanImage* out = parts[1].content();
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.width; ++x) {
                const int i = x - rd.x, j = y - rd.y;
                bool inside = i >= 0 && j >= 0 && i < width && j < height;
                for (const ZanImage* image : {src, dst}) {
                    if (inside && image->maskROI) {
                        const ZanImage* m = image->maskROI;
                        inside = i < m->width && j < m->height && zt::bitAt(m, i, j);
                    }
                }
                for (int c = 0; c < shape.channels; ++c) {
                    const bool processed = coi ? c == coi - 1 : c < shape.channels - (shape.alpha ? 1 : 0);
                    const double want = inside && processed
                                            ? absOf(depth, zt::sampleAt(parts[0].content(), rs.x + i, rs.y + j, c))
                                            : zt::sampleAt(before.get(), x, y, c);
                    ASSERT_EQ(zt::sampleAt(out, x, y, c), want)
                        << "trial " << trial << " (" << x << ", " << y << ") channel " << c;
                }
            }
        }
    }
}

TEST(Abs, RefusalsAndTheReleaseRule)
{
    Image s8 = zt::makeImage(Shape{ZAN_DEPTH_8S, 1, 4, 4});
    Image s16 = zt::makeImage(Shape{ZAN_DEPTH_16S, 1, 4, 4});
    Image s3 = zt::makeImage(Shape{ZAN_DEPTH_8S, 3, 4, 4});
    Image s2 = zt::makeImage(Shape{ZAN_DEPTH_8S, 2, 4, 4});
    Shape flipped{ZAN_DEPTH_8U, 1, 4, 4};
    flipped.origin = ZAN_ORIGIN_BOTTOM_LEFT;
    Image u8 = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    Image u8flipped = zt::makeImage(flipped);
    Image coi3 = zt::makeImage(Shape{ZAN_DEPTH_8S, 3, 4, 4});
    zt::setRoi(coi3.get(), 2, 0, 0, 4, 4);
    TiledImage careless(Shape{ZAN_DEPTH_16S, 1, 20, 4}, 8, 8);
    careless.keepDataOnRelease = true;

    struct Row {
        std::function<void()> call;
        std::vector<std::string> reports;
    };
    const Row rows[] = {
        {[] { zanAbs(nullptr, nullptr); }, {"zanAbs: srcImage==0", "zanAbs: dstImage==0"}},
        {[&] { zanAbs(s8.get(), s16.get()); }, {"zanAbs: (srcImage->depth != dstImage->depth)"}},
        {[&] { zanAbs(s3.get(), s2.get()); }, {"zanAbs: (srcImage->nChannels != dstImage->nChannels)"}},
        {[&] { zanAbs(coi3.get(), s8.get()); }, {"zanAbs: (nChSrcCoi != nChDstCoi)"}},
        {[&] { zanAbs(u8.get(), u8flipped.get()); },
         {"zanCopy: srcImage->origin != dstImage->origin", "zanAbs: zanCopy is failed"}},
        {[&] { zanAbs(careless.header(), careless.header()); },
         {"zanAbs: (dstImage->tileInfo->tileData != 0)"}},
    };
    for (const Row& row : rows) {
        RecordingReporter recorder;
        row.call();
        EXPECT_EQ(recorder.summary(), row.reports);
    }
    // Every other operation accepts a callback that keeps tileData set.
    RecordingReporter recorder;
    zanSquare(careless.header(), careless.header());
    EXPECT_TRUE(recorder.reports().empty());
}

} // namespace
