// GetPixel and PutPixel at every depth, layout and origin, plain and tiled.
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;

int elementBytes(uint32_t depth) { return depth == ZAN_DEPTH_1U ? 1 : (depth & ZAN_DEPTH_MASK) / 8; }

// The value of an element of the pixel array as a sample of the depth.
double elementValue(uint32_t depth, const uint8_t* element)
{
    return depth == ZAN_DEPTH_1U ? element[0] : zt::loadSample(depth, reinterpret_cast<const char*>(element), 0);
}

struct Case {
    uint32_t depth;
    int channels;
    int order;
    int origin;
    bool tiled;
};

std::vector<Case> allCases()
{
    std::vector<Case> cases;
    for (uint32_t depth : zt::kAllDepths)
        for (int order : {ZAN_DATA_ORDER_PIXEL, ZAN_DATA_ORDER_PLANE})
            for (int origin : {ZAN_ORIGIN_TOP_LEFT, ZAN_ORIGIN_BOTTOM_LEFT})
                for (bool tiled : {false, true})
                    cases.push_back({depth, depth == ZAN_DEPTH_1U ? 1 : 3, order, origin, tiled});
    return cases;
}

class Pixel : public ::testing::TestWithParam<Case> {};

TEST_P(Pixel, GetReadsAndPutWritesThePictureCoordinates)
{
    const Case c = GetParam();
    Shape shape{c.depth, c.channels, 21, 13, c.order};
    shape.alpha = c.channels == 3 ? 3 : 0;
    shape.origin = c.origin;
    std::mt19937 rng(c.depth + c.order * 3 + c.origin * 5 + c.tiled);
    TiledImage tiled(shape, 8, 8);
    Image plain = zt::makeRandomImage(shape, rng);
    std::memcpy(tiled.plain()->imageData, plain->imageData, static_cast<std::size_t>(plain->imageSize));
    tiled.load();
    ZanImage* image = c.tiled ? tiled.header() : plain.get();
    const ZanImage* memory = c.tiled ? tiled.plain() : plain.get();
    zt::setRoi(image, 1, 2, 2, 3, 3); // ignored by both
    const int bytes = elementBytes(c.depth);
    for (int k = 0; k < 60; ++k) {
        const int x = static_cast<int>(rng() % 21);
        const int y = static_cast<int>(rng() % 13);
        const int row = c.origin == ZAN_ORIGIN_BOTTOM_LEFT ? 12 - y : y;
        uint8_t got[12];
        zanGetPixel(image, x, y, got);
        for (int ch = 0; ch < c.channels; ++ch)
            ASSERT_EQ(elementValue(c.depth, got + ch * bytes), zt::sampleAt(memory, x, row, ch))
                << "get (" << x << ", " << y << ") channel " << ch;

        Image source = zt::makeRandomImage(Shape{c.depth, c.channels, 1, 1}, rng);
        uint8_t put[12];
        for (int ch = 0; ch < c.channels; ++ch) {
            if (c.depth == ZAN_DEPTH_1U)
                put[0] = static_cast<uint8_t>(rng()); // only bit 0 counts
            else
                std::memcpy(put + ch * bytes, source->imageData + ch * bytes, static_cast<std::size_t>(bytes));
        }
        zanPutPixel(image, x, y, put);
        if (c.tiled)
            tiled.store();
        for (int ch = 0; ch < c.channels; ++ch) {
            const double want = c.depth == ZAN_DEPTH_1U ? (put[0] & 1) : elementValue(c.depth, put + ch * bytes);
            ASSERT_EQ(zt::sampleAt(memory, x, row, ch), want) << "put (" << x << ", " << y << ")";
        }
    }
    if (c.tiled) {
        EXPECT_FALSE(tiled.misuse);
        EXPECT_EQ(tiled.openCount(), 120);
        EXPECT_EQ(tiled.releaseCount(), 120);
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, Pixel, ::testing::ValuesIn(allCases()));

TEST(PixelRefusals, CoordinatesOutsideTheImage)
{
    Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 3});
    uint8_t value = 7;
    struct Row {
        int x, y;
        const char* report;
    };
    const Row rows[] = {{4, 0, "zanPutPixel: ((x>img->width-1) || (x<0))"},
                        {-1, 0, "zanPutPixel: ((x>img->width-1) || (x<0))"},
                        {0, 3, "zanPutPixel: ((y>img->height-1) || (y<0))"},
                        {0, -1, "zanPutPixel: ((y>img->height-1) || (y<0))"}};
    for (const Row& row : rows) {
        RecordingReporter recorder;
        zanPutPixel(image.get(), row.x, row.y, &value);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{row.report});
        EXPECT_EQ(zanGetErrStatus(), -5);
    }
    EXPECT_EQ(zt::bytesOf(image.get()), zt::bytesOf(zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 3}).get()));
    RecordingReporter recorder;
    uint8_t untouched = 99;
    zanGetPixel(nullptr, 0, 0, &untouched);
    EXPECT_EQ(recorder.summary(), std::vector<std::string>{"zanGetPixel: Incorrect Image"});
    EXPECT_EQ(untouched, 99);
}

} // namespace
