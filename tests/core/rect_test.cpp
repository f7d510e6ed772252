// Working rectangles compared with a reference that maps every outside
// position by the border rule, pixel by pixel.
#include "zan_test.h"

#include "core/own_rect.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using zt::Image;
using zt::Shape;
using zt::TiledImage;

// The coordinate inside 0 .. length-1 that c stands for under a mode.
int referenceMap(int c, int length, int mode)
{
    switch (mode) {
    case ZAN_BORDER_REPLICATE: return std::clamp(c, 0, length - 1);
    case ZAN_BORDER_WRAP: return ((c % length) + length) % length;
    default:
        // Mirror at either edge, the edge pixel repeated, until inside.
        while (c < 0 || c >= length)
            c = c < 0 ? -c - 1 : 2 * length - 1 - c;
        return c;
    }
}

// A side's constant as a sample of the depth: the low bits that the depth keeps.
double constantSample(uint32_t depth, int value)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return value & 1;
    case ZAN_DEPTH_8U: return static_cast<uint8_t>(value);
    case ZAN_DEPTH_8S: return static_cast<int8_t>(value);
    case ZAN_DEPTH_16U: return static_cast<uint16_t>(value);
    case ZAN_DEPTH_16S: return static_cast<int16_t>(value);
    case ZAN_DEPTH_32F: return static_cast<float>(value);
    default: return value;
    }
}

// The image's sample at any position: rows above and below (corners too)
// belong to the top and bottom sides, columns beside its rows to the left
// and right; only the two low bits of a mode count.
double referenceSample(const ZanImage* sides, const ZanImage* pixels, int x, int y, int channel)
{
    const int w = pixels->width;
    const int h = pixels->height;
    int side = -1;
    if (y < 0)
        side = ZAN_SIDE_TOP_INDEX;
    else if (y >= h)
        side = ZAN_SIDE_BOTTOM_INDEX;
    else if (x < 0)
        side = ZAN_SIDE_LEFT_INDEX;
    else if (x >= w)
        side = ZAN_SIDE_RIGHT_INDEX;
    if (side < 0)
        return zt::sampleAt(pixels, x, y, channel);
    const int mode = sides->borderMode[side] & 3;
    if (mode == ZAN_BORDER_CONSTANT)
        return constantSample(pixels->depth, sides->borderConst[side]);
    return zt::sampleAt(pixels, referenceMap(x, w, mode), referenceMap(y, h, mode), channel);
}

struct Request {
    int x, y, width, height;
};

// Fetches a rectangle and compares every sample with the reference; the
// first difference is reported with its position.
void expectRect(const ZanImage* image, const ZanImage* pixels, const Request& r)
{
    int step = -1;
    char* block = ownGetRect(image, r.x, r.y, r.width, r.height, &step);
    ASSERT_NE(block, nullptr);
    Shape shape{pixels->depth, pixels->nChannels, r.width, r.height, pixels->dataOrder,
                pixels->alphaChannel, pixels->align};
    Image view = zt::makeHeader(shape);
    ASSERT_EQ(step, view->widthStep) << "rows rounded up to the image's align";
    view->imageData = block;
    for (int j = 0; j < r.height; ++j) {
        for (int i = 0; i < r.width; ++i) {
            for (int c = 0; c < pixels->nChannels; ++c) {
                const double want = referenceSample(image, pixels, r.x + i, r.y + j, c);
                const double got = zt::sampleAt(view.get(), i, j, c);
                if (want != got) {
                    zanFree(block);
                    view->imageData = nullptr;
                    FAIL() << "rect (" << r.x << ", " << r.y << ") " << r.width << "x" << r.height
                           << ": pixel (" << i << ", " << j << ") channel " << c << " is " << got
                           << ", wants " << want;
                }
            }
        }
    }
    view->imageData = nullptr;
    zanFree(block);
}

// Every side a random mode (with noise in the bits above the two low
// ones) and a random constant of any size.
void randomSides(ZanImage* image, std::mt19937& rng)
{
    for (int side = 0; side < 4; ++side) {
        image->borderMode[side] = static_cast<int>(rng() % 4) | static_cast<int>(rng() % 4) << 2;
        image->borderConst[side] = static_cast<int>(rng());
    }
}

Request randomRequest(const ZanImage* image, std::mt19937& rng)
{
    const int w = image->width;
    const int h = image->height;
    auto pick = [&rng](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(rng);
    };
    switch (rng() % 3) {
    case 0: // straddles sides and corners
        return {pick(-w, w), pick(-h, h), pick(1, 2 * w + 2), pick(1, 2 * h + 2)};
    case 1: // several widths away
        return {pick(-6 * w, 6 * w), pick(-6 * h, 6 * h), pick(1, w + 3), pick(1, h + 3)};
    default: // wider than the image by periods
        return {pick(-4 * w, 0), pick(-4 * h, 0), pick(4 * w, 8 * w), pick(1, 3 * h)};
    }
}

struct Case {
    uint32_t depth;
    int channels;
    int order;
    int align;
};

const Case kCases[] = {
    {ZAN_DEPTH_1U, 1, ZAN_DATA_ORDER_PIXEL, 4},  {ZAN_DEPTH_8U, 1, ZAN_DATA_ORDER_PIXEL, 8},
    {ZAN_DEPTH_8U, 3, ZAN_DATA_ORDER_PIXEL, 4},  {ZAN_DEPTH_8S, 2, ZAN_DATA_ORDER_PLANE, 16},
    {ZAN_DEPTH_16U, 3, ZAN_DATA_ORDER_PLANE, 4}, {ZAN_DEPTH_16S, 4, ZAN_DATA_ORDER_PIXEL, 32},
    {ZAN_DEPTH_32S, 1, ZAN_DATA_ORDER_PIXEL, 4}, {ZAN_DEPTH_32F, 2, ZAN_DATA_ORDER_PIXEL, 8},
};

class GetRect : public ::testing::TestWithParam<Case> {};

TEST_P(GetRect, PlainImagesMatchTheBorderRule)
{
    const Case c = GetParam();
    std::mt19937 rng(c.depth ^ static_cast<uint32_t>(c.channels * 7 + c.order));
    for (int trial = 0; trial < 40; ++trial) {
        const int w = trial == 0 ? 1 : 1 + static_cast<int>(rng() % 21);
        const int h = trial == 0 ? 1 : 1 + static_cast<int>(rng() % 17);
        Image image = zt::makeRandomImage(Shape{c.depth, c.channels, w, h, c.order, 0, c.align}, rng);
        for (int k = 0; k < 6; ++k) {
            randomSides(image.get(), rng);
            expectRect(image.get(), image.get(), randomRequest(image.get(), rng));
        }
    }
}

TEST_P(GetRect, TiledImagesMatchTheBorderRuleAndBalanceTheirTiles)
{
    const Case c = GetParam();
    std::mt19937 rng(c.depth + 101);
    for (int trial = 0; trial < 12; ++trial) {
        const int w = 1 + static_cast<int>(rng() % 40);
        const int h = 1 + static_cast<int>(rng() % 30);
        TiledImage tiled(Shape{c.depth, c.channels, w, h, c.order, 0, c.align}, 8, 8);
        zt::fillRandom(tiled.plain(), rng);
        tiled.load();
        for (int k = 0; k < 4; ++k) {
            randomSides(tiled.header(), rng);
            expectRect(tiled.header(), tiled.plain(), randomRequest(tiled.plain(), rng));
        }
        EXPECT_FALSE(tiled.misuse);
        EXPECT_EQ(tiled.openCount(), tiled.releaseCount());
    }
}

// Rows of one channel at any position, and single samples, against the
// same reference; 1-bit rows are packed bits, most significant first.
TEST_P(GetRect, BorderRowsAndPixelsMatchTheBorderRule)
{
    const Case c = GetParam();
    std::mt19937 rng(c.depth + 303);
    for (int trial = 0; trial < 24; ++trial) {
        const int w = 1 + static_cast<int>(rng() % 30);
        const int h = 1 + static_cast<int>(rng() % 12);
        TiledImage tiled(Shape{c.depth, c.channels, w, h, c.order, 0, c.align}, 8, 8);
        zt::fillRandom(tiled.plain(), rng);
        tiled.load();
        randomSides(tiled.header(), rng);
        std::memcpy(tiled.plain()->borderMode, tiled.header()->borderMode, sizeof tiled.header()->borderMode);
        std::memcpy(tiled.plain()->borderConst, tiled.header()->borderConst, sizeof tiled.header()->borderConst);
        const int bytes = c.depth == ZAN_DEPTH_1U ? 0 : static_cast<int>(c.depth & ZAN_DEPTH_MASK) / 8;
        for (const ZanImage* image : {static_cast<const ZanImage*>(tiled.plain()),
                                      static_cast<const ZanImage*>(tiled.header())}) {
            const Request r = randomRequest(tiled.plain(), rng);
            const int channel = 1 + static_cast<int>(rng() % c.channels);
            std::vector<char> row(static_cast<std::size_t>(r.width) * 4 + 8);
            ASSERT_TRUE(ownBorderRow(image, r.x, r.y, channel, row.data(), r.width));
            for (int i = 0; i < r.width; ++i) {
                const double want = referenceSample(tiled.plain(), tiled.plain(), r.x + i, r.y, channel - 1);
                const double got = zt::loadSample(c.depth, row.data() + (bytes ? i * bytes : i / 8), i % 8);
                ASSERT_EQ(got, want) << "row at (" << r.x << ", " << r.y << "), sample " << i;
                ASSERT_EQ(ownBorderPixel(image, r.x + i, r.y, channel), want);
            }
        }
        EXPECT_FALSE(tiled.misuse);
        EXPECT_EQ(tiled.openCount(), tiled.releaseCount());
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, GetRect, ::testing::ValuesIn(kCases));

TEST(GetRectBorder, ReflectAndWrapOfAThreeWideImageRepeatPeriodically)
{
    Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 3, 1});
    for (int x = 0; x < 3; ++x)
        zt::setSampleAt(image.get(), x, 0, 0, 10 + x);
    zanSetBorderMode(image.get(), ZAN_BORDER_REFLECT, ZAN_SIDE_LEFT, 0);
    zanSetBorderMode(image.get(), ZAN_BORDER_WRAP, ZAN_SIDE_RIGHT, 0);
    int step;
    char* block = ownGetRect(image.get(), -7, 0, 17, 1, &step);
    ASSERT_NE(block, nullptr);
    const uint8_t want[17] = {10, 10, 11, 12, 12, 11, 10, 10, 11, 12, 10, 11, 12, 10, 11, 12, 10};
    EXPECT_EQ(std::memcmp(block, want, sizeof want), 0);
    zanFree(block);
}

TEST(GetRectBorder, ConstantStripsFillTheirWholeStride)
{
    Image image = zt::makeImage(Shape{ZAN_DEPTH_16U, 1, 4, 4}, 1);
    zanSetBorderMode(image.get(), ZAN_BORDER_CONSTANT, ZAN_SIDE_TOP, 0x1234);
    int step;
    char* block = ownGetRect(image.get(), 0, -2, 3, 2, &step);
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(step, 8);
    for (int i = 0; i < 2 * step / 2; ++i) {
        uint16_t v;
        std::memcpy(&v, block + 2 * i, 2);
        EXPECT_EQ(v, 0x1234) << "value " << i;
    }
    zanFree(block);
}

TEST(GetRectBorder, AWorkingHeaderPresentsTheBlockAsAnImage)
{
    std::mt19937 rng(8);
    Shape shape{ZAN_DEPTH_16S, 3, 9, 5, ZAN_DATA_ORDER_PLANE};
    Image image = zt::makeRandomImage(shape, rng);
    zanSetBorderMode(image.get(), ZAN_BORDER_WRAP, ZAN_SIDE_LEFT | ZAN_SIDE_TOP, 0);
    int step;
    char* block = ownGetRect(image.get(), -4, -2, 12, 6, &step);
    ASSERT_NE(block, nullptr);
    ZanImage* header = ownRectHeader(image.get(), block, 12, 6, step);
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(zanCheckImageHeader(header), ZAN_STATUS_OK);
    EXPECT_EQ(header->borderMode[ZAN_SIDE_LEFT_INDEX], ZAN_BORDER_WRAP);
    for (int j = 0; j < 6; ++j)
        for (int i = 0; i < 12; ++i)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(zt::sampleAt(header, i, j, c), referenceSample(image.get(), image.get(), i - 4, j - 2, c));
    zanDeallocate(header, ZAN_FREE_ALL);
    zanFree(block);
}

TEST(GetRectBorder, RefusesWhatItCannotServe)
{
    int step = 0;
    EXPECT_EQ(ownGetRect(nullptr, 0, 0, 1, 1, &step), nullptr);
    Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    image->align = 6;
    EXPECT_EQ(ownGetRect(image.get(), 0, 0, 1, 1, &step), nullptr);
    image->align = 4;
    image->depth = 12;
    EXPECT_EQ(ownGetRect(image.get(), 0, 0, 1, 1, &step), nullptr);
    image->depth = ZAN_DEPTH_8U;

    for (int failAt = 0; failAt < 5; ++failAt) {
        TiledImage tiled(Shape{ZAN_DEPTH_8U, 1, 32, 32}, 8, 8);
        tiled.failOpenAt = failAt;
        EXPECT_EQ(ownGetRect(tiled.header(), 4, 4, 20, 10, &step), nullptr) << failAt;
        EXPECT_FALSE(tiled.misuse);
        EXPECT_EQ(tiled.openCount() - 1, tiled.releaseCount()) << "the failed open is not released";
    }
}

} // namespace
