// The Jaehne test image: its values from the pattern's formula, its
// symmetry, its header and its refusals.
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <cstring>

namespace {

using zt::Image;
using zt::RecordingReporter;

// The stored value at (x, y), from v = sin(r^2 * 2pi / (4 * height)).
double jaehneValue(uint32_t depth, int width, int height, int x, int y)
{
    const long long dx = x - width / 2;
    const long long dy = y - height / 2;
    const double v = std::sin(static_cast<double>(dx * dx + dy * dy) * (2.0 * std::numbers::pi / (4.0 * height)));
    switch (depth) {
    case ZAN_DEPTH_1U: return std::trunc((v + 1.0) * 0.99999);
    case ZAN_DEPTH_8U: return std::trunc((v + 1.0) * 127.99999);
    case ZAN_DEPTH_8S: return std::trunc(v * 127.99999);
    case ZAN_DEPTH_16U: return std::trunc((v + 1.0) * 32767.99999);
    case ZAN_DEPTH_16S: return std::trunc(v * 32767.99999);
    case ZAN_DEPTH_32S: return std::trunc(v * 2147483647.99999);
    default: return static_cast<float>((v + 1.0) * 0.49999);
    }
}

double valueAt(const ZanImage* image, int x, int y)
{
    return image->depth == ZAN_DEPTH_1U ? zt::bitAt(image, x, y) : zt::sampleAt(image, x, y, 0);
}

TEST(Jaehne, EveryPixelFollowsTheFormulaAtEveryDepth)
{
    const int sizes[][2] = {{1, 1}, {13, 7}, {64, 64}, {100, 37}, {9, 130}};
    for (uint32_t depth : zt::kAllDepths) {
        for (const auto& size : sizes) {
            SCOPED_TRACE(std::string(zt::depthName(depth)) + " " + std::to_string(size[0]) + "x" +
                         std::to_string(size[1]));
            RecordingReporter recorder;
            Image image(zanCreateImageJaehne(depth, size[0], size[1]));
            ASSERT_NE(image, nullptr);
            EXPECT_TRUE(recorder.reports().empty());
            EXPECT_EQ(image->nChannels, 1);
            EXPECT_EQ(image->depth, depth);
            EXPECT_EQ(image->align, 32);
            EXPECT_EQ(image->origin, ZAN_ORIGIN_TOP_LEFT);
            EXPECT_EQ(image->dataOrder, ZAN_DATA_ORDER_PIXEL);
            EXPECT_EQ(std::memcmp(image->colorModel, "GRAY", 4), 0);
            for (int y = 0; y < size[1]; ++y)
                for (int x = 0; x < size[0]; ++x)
                    ASSERT_EQ(valueAt(image.get(), x, y), jaehneValue(depth, size[0], size[1], x, y))
                        << x << "," << y;
        }
    }
}

struct Spot {
    const char* name;
    uint32_t depth;
    int width, height, x, y;
    double value;
};

TEST(Jaehne, KnownSpots)
{
    const Spot spots[] = {
        {"1x1 8U", ZAN_DEPTH_8U, 1, 1, 0, 0, 127},
        {"1x1 8S", ZAN_DEPTH_8S, 1, 1, 0, 0, 0},
        {"1x1 32F", ZAN_DEPTH_32F, 1, 1, 0, 0, 0.49999f},
        {"1x1 1U", ZAN_DEPTH_1U, 1, 1, 0, 0, 0},
        {"centre", ZAN_DEPTH_8U, 31, 20, 15, 10, 127},
        // 256 by 256: a quarter period at distance 16, a full one at 32.
        {"crest", ZAN_DEPTH_8U, 256, 256, 128 + 16, 128, 255},
        {"8S crest", ZAN_DEPTH_8S, 256, 256, 128, 128 - 16, 127},
        // 3 rows: three-quarters of a period at distance 3, where 8S
        // reaches -127.
        {"8S trough", ZAN_DEPTH_8S, 7, 3, 0, 1, -127},
        {"full period", ZAN_DEPTH_16S, 256, 256, 128 - 32, 128, 0},
        // A wide image takes its rings from the height: 16 rows put the
        // crest 4 pixels from the centre.
        {"wide crest", ZAN_DEPTH_8U, 512, 16, 256 + 4, 8, 255},
    };
    for (const Spot& s : spots) {
        SCOPED_TRACE(s.name);
        Image image(zanCreateImageJaehne(s.depth, s.width, s.height));
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(valueAt(image.get(), s.x, s.y), s.value);
    }
}

TEST(Jaehne, ThePatternIsSymmetricAboutItsCentre)
{
    const int side = 90;
    Image image(zanCreateImageJaehne(ZAN_DEPTH_16U, side, side));
    const int c = side / 2;
    for (int dy = 0; dy < c; ++dy)
        for (int dx = 0; dx < c; ++dx) {
            const double v = zt::sampleAt(image.get(), c + dx, c + dy, 0);
            ASSERT_EQ(zt::sampleAt(image.get(), c - dx, c + dy, 0), v);
            ASSERT_EQ(zt::sampleAt(image.get(), c + dx, c - dy, 0), v);
            ASSERT_EQ(zt::sampleAt(image.get(), c - dx, c - dy, 0), v);
            ASSERT_EQ(zt::sampleAt(image.get(), c + dy, c + dx, 0), v);
        }
}

TEST(Jaehne, BitRowsKeepTheirPaddingClear)
{
    Image image(zanCreateImageJaehne(ZAN_DEPTH_1U, 13, 40));
    for (int y = 0; y < 40; ++y) {
        const auto* row = reinterpret_cast<const uint8_t*>(image->imageData) + y * image->widthStep;
        EXPECT_EQ(row[1] & 0x07, 0) << y;
        for (int i = 2; i < image->widthStep; ++i)
            ASSERT_EQ(row[i], 0) << y;
    }
}

TEST(Jaehne, RefusesSizesBeforeDepths)
{
    struct Refusal {
        uint32_t depth;
        int width, height;
        ZanStatus status;
    };
    const Refusal refusals[] = {
        {ZAN_DEPTH_8U, 0, 5, ZAN_STATUS_IMAGE_SIZE},
        {ZAN_DEPTH_8U, 5, -1, ZAN_STATUS_IMAGE_SIZE},
        {7, 0, 0, ZAN_STATUS_IMAGE_SIZE},
        {7, 4, 4, ZAN_STATUS_DEPTH},
        {ZAN_DEPTH_SIGN | 32u | 1u, 4, 4, ZAN_STATUS_DEPTH},
    };
    for (const Refusal& r : refusals) {
        RecordingReporter recorder;
        EXPECT_EQ(zanCreateImageJaehne(r.depth, r.width, r.height), nullptr);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, r.status);
        EXPECT_EQ(recorder.reports()[0].context, zanErrorStr(r.status));
        EXPECT_EQ(recorder.reports()[0].function, "zanCreateImageJaehne");
        EXPECT_EQ(recorder.reports()[0].source, "zangenim");
    }
}

} // namespace
