// Palettes: the standard ones from their formulas, the gray ramp test, the
// nearest entry, and median-cut palettes of images whose result is worked
// out by hand.
#include "dib_util.h"

#include "color/own_dib.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <vector>

namespace {

using Entry = std::array<int, 3>; // blue, green, red

Entry entryOf(dt::Dib& dib, int i)
{
    const uint8_t* e = dib.palette() + 4 * i;
    EXPECT_EQ(e[3], 0) << "reserved byte of entry " << i;
    return {e[0], e[1], e[2]};
}

std::vector<Entry> paletteOf(dt::Dib& dib, int count)
{
    std::vector<Entry> out;
    for (int i = 0; i < count; ++i)
        out.push_back(entryOf(dib, i));
    return out;
}

// ---------------------------------------------------------------------------
// Standard palettes

struct StandardCase {
    int bits;
    int gray;
    Entry (*entry)(int i);
};

const int kBasic16[16][3] = {
    {0, 0, 0},       {0, 0, 128},   {0, 128, 0},   {0, 128, 128}, {128, 0, 0},   {128, 0, 128},
    {128, 128, 0},   {128, 128, 128}, {192, 192, 192}, {0, 0, 255}, {0, 255, 0},   {0, 255, 255},
    {255, 0, 0},     {255, 0, 255}, {255, 255, 0}, {255, 255, 255},
};

const StandardCase kStandard[] = {
    {1, 0, [](int i) { return Entry{i * 255, i * 255, i * 255}; }},
    {1, 1, [](int i) { return Entry{i * 255, i * 255, i * 255}; }},
    {4, 0, [](int i) { return Entry{kBasic16[i][0], kBasic16[i][1], kBasic16[i][2]}; }},
    {4, 1, [](int i) { return Entry{i * 17, i * 17, i * 17}; }},
    {8, 0,
     [](int i) {
         const int t4[] = {0, 64, 128, 255};
         const int t8[] = {0, 32, 64, 96, 128, 160, 192, 255};
         return Entry{t4[i % 4], t8[(i / 4) % 8], t8[i / 32]};
     }},
    {8, 1, [](int i) { return Entry{i, i, i}; }},
};

TEST(StandardPalette, EveryCountAndForm)
{
    for (const StandardCase& c : kStandard) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, gray " << c.gray);
        dt::Dib dib(dt::makeHeader(2, 2, c.bits));
        std::fill(dib.palette(), dib.pixels(), uint8_t{0x5A});
        ASSERT_EQ(ownStandardPalette(dib.header(), c.gray), 1);
        for (int i = 0; i < (1 << c.bits); ++i)
            EXPECT_EQ(entryOf(dib, i), c.entry(i)) << "entry " << i;
        EXPECT_EQ(dib.header()->biClrUsed, 0u);
    }
}

TEST(StandardPalette, OtherCountsWriteNothing)
{
    dt::Dib dib(dt::makeHeader(2, 2, 8, BI_RGB, 5));
    std::fill(dib.palette(), dib.pixels(), uint8_t{0x5A});
    EXPECT_EQ(ownStandardPalette(dib.header(), 0), 0);
    EXPECT_TRUE(std::all_of(dib.palette(), dib.pixels(), [](uint8_t b) { return b == 0x5A; }));
    EXPECT_EQ(dib.header()->biClrUsed, 5u);
}

// ---------------------------------------------------------------------------
// Gray ramp and nearest entry

TEST(GrayPalette, RampsOfEveryLengthAndTheirBreaks)
{
    for (int count : {2, 3, 16, 100, 256}) {
        SCOPED_TRACE(count);
        dt::Dib dib(dt::makeHeader(1, 1, 8, BI_RGB, uint32_t(count)));
        for (int i = 0; i < count; ++i) {
            const int v = i * 255 / (count - 1);
            dib.setEntry(i, uint8_t(v), uint8_t(v), uint8_t(v));
        }
        EXPECT_TRUE(ownIsGrayPalette(dib.header()));
        dib.palette()[4 * (count - 1) + 1] ^= 1; // green of the last entry off by one
        EXPECT_FALSE(ownIsGrayPalette(dib.header()));
    }
    dt::Dib single(dt::makeHeader(1, 1, 8, BI_RGB, 1));
    EXPECT_FALSE(ownIsGrayPalette(single.header()));
    dt::Dib none(dt::makeHeader(1, 1, 24));
    EXPECT_FALSE(ownIsGrayPalette(none.header()));
}

TEST(NearestIndex, LowestOfEqualDistancesAndExactMatches)
{
    const uint8_t palette[] = {0, 0, 10, 0, 0, 0, 30, 0, 0, 0, 20, 0, 0, 0, 20, 0};
    const uint8_t between[] = {0, 0, 25, 0};
    EXPECT_EQ(ownNearestIndex(between, palette, 4), 1); // 30 and 20 tie: 1 before 2
    const uint8_t exact[] = {0, 0, 20, 0};
    EXPECT_EQ(ownNearestIndex(exact, palette, 4), 2);
    const uint8_t far[] = {200, 200, 200, 0};
    EXPECT_EQ(ownNearestIndex(far, palette, 4), 1);
}

TEST(NearestIndex, GrayOfA256RampTakesItsOwnEntry)
{
    std::vector<uint8_t> palette(4 * 256);
    for (int i = 0; i < 256; ++i)
        palette[4 * i] = palette[4 * i + 1] = palette[4 * i + 2] = uint8_t(i);
    // Entry 0 also holds gray 77: a scan would stop there.
    palette[0] = palette[1] = palette[2] = 77;
    const uint8_t gray[] = {77, 77, 77, 0};
    EXPECT_EQ(ownNearestIndex(gray, palette.data(), 256), 77);
    EXPECT_EQ(ownNearestIndex(gray, palette.data(), 255), 0);
}

// ---------------------------------------------------------------------------
// Median cut

// An 8U image of the given pixels, one per column, in channel order.
zt::Image imageOf(const std::vector<std::array<int, 3>>& pixels, const char* seq)
{
    zt::Image image(zanCreateImageHeader(3, 0, ZAN_DEPTH_8U, "RGB", seq, ZAN_DATA_ORDER_PIXEL,
                                         ZAN_ORIGIN_TOP_LEFT, 4, int(pixels.size()), 1, nullptr,
                                         nullptr, nullptr, nullptr));
    zanAllocateImage(image.get(), 0, 0);
    for (size_t x = 0; x < pixels.size(); ++x)
        for (int c = 0; c < 3; ++c)
            zt::setSampleAt(image.get(), int(x), 0, c, pixels[x][c]);
    return image;
}

zt::Image grayOf(const std::vector<int>& values, uint32_t depth = ZAN_DEPTH_8U)
{
    zt::Image image = zt::makeImage(zt::Shape{depth, 1, int(values.size()), 1});
    for (size_t x = 0; x < values.size(); ++x)
        zt::setSampleAt(image.get(), int(x), 0, 0, depth == ZAN_DEPTH_16U ? values[x] * 256 + 255 : values[x]);
    return image;
}

TEST(MedianCut, FewColoursGiveTheirCellsInOrder)
{
    // Red, green, blue of each pixel; repeated and near colours share cells.
    const std::vector<std::array<int, 3>> rgb = {
        {255, 255, 255}, {10, 200, 30}, {11, 201, 31}, {0, 0, 0}, {255, 0, 0}, {3, 0, 252}, {10, 200, 30},
    };
    for (const char* seq : {"RGB", "BGR"}) {
        SCOPED_TRACE(seq);
        std::vector<std::array<int, 3>> samples = rgb;
        if (seq[0] == 'B')
            for (auto& p : samples)
                std::swap(p[0], p[2]);
        const zt::Image image = imageOf(samples, seq);
        dt::Dib dib(dt::makeHeader(7, 1, 4));
        std::fill(dib.palette(), dib.pixels(), uint8_t{0x5A});
        ASSERT_EQ(ownMedianCutPalette(dib.header(), image.get()), 1);
        std::set<int> cells;
        for (const auto& p : rgb)
            cells.insert((p[0] >> 2) + 64 * (p[1] >> 2) + 4096 * (p[2] >> 2));
        ASSERT_EQ(dib.header()->biClrUsed, cells.size());
        int i = 0;
        for (int k : cells)
            EXPECT_EQ(entryOf(dib, i++), (Entry{(k / 4096) * 4, (k / 64 % 64) * 4, (k % 64) * 4}));
        // The rest of the palette stays.
        EXPECT_EQ(dib.palette()[4 * i], 0x5A);
    }
}

TEST(MedianCut, FewGrayValuesExactly)
{
    for (uint32_t depth : {ZAN_DEPTH_8U, ZAN_DEPTH_16U}) {
        const zt::Image image = grayOf({255, 3, 3, 128, 0, 255}, depth);
        dt::Dib dib(dt::makeHeader(6, 1, 4));
        ASSERT_EQ(ownMedianCutPalette(dib.header(), image.get()), 1);
        EXPECT_EQ(dib.header()->biClrUsed, 4u);
        EXPECT_EQ(paletteOf(dib, 4), (std::vector<Entry>{{0, 0, 0}, {3, 3, 3}, {128, 128, 128}, {255, 255, 255}}));
    }
}

TEST(MedianCut, GraySplitsAtTheNearerSideOfTheMedian)
{
    struct Case {
        std::vector<int> values;
        std::vector<Entry> palette;
    };
    const Case cases[] = {
        // Ten values once each: half 5; value 5 brings 6, and the cut before
        // it is nearer.
        {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {{2, 2, 2}, {7, 7, 7}}},
        // 200 holds most pixels; the cut falls before it.
        {{0, 100, 200, 200, 200, 200, 200, 200, 200, 200}, {{50, 50, 50}, {200, 200, 200}}},
        // Three at 10 reach past half 2 of five: cut behind, since 2 - 0 is not below 3 - 2.
        {{10, 10, 10, 40, 41}, {{10, 10, 10}, {40, 40, 40}}},
    };
    for (const Case& c : cases) {
        const zt::Image image = grayOf(c.values);
        dt::Dib dib(dt::makeHeader(int(c.values.size()), 1, 1));
        ASSERT_EQ(ownMedianCutPalette(dib.header(), image.get()), 1);
        EXPECT_EQ(dib.header()->biClrUsed, 2u);
        EXPECT_EQ(paletteOf(dib, 2), c.palette);
    }
}

TEST(MedianCut, NoMoreEntriesThanThePaletteHolds)
{
    // An 8-bit DIB with room for two entries cuts as a 1-bit one would.
    const zt::Image image = grayOf({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    dt::Dib dib(dt::makeHeader(10, 1, 8, BI_RGB, 2));
    ASSERT_EQ(ownMedianCutPalette(dib.header(), image.get()), 1);
    EXPECT_EQ(dib.header()->biClrUsed, 2u);
    EXPECT_EQ(paletteOf(dib, 2), (std::vector<Entry>{{2, 2, 2}, {7, 7, 7}}));
    dt::Dib single(dt::makeHeader(10, 1, 1, BI_RGB, 1));
    const zt::Image bits = zt::makeImage(zt::Shape{ZAN_DEPTH_1U, 1, 10, 1});
    EXPECT_EQ(ownMedianCutPalette(single.header(), bits.get()), 0);
}

TEST(MedianCut, ColourSplitsTheLongestAxisIntoMeans)
{
    // Two reds and two blues in four cells: red and blue both span 64 cells,
    // and the tie goes to red. Half is 3: the blue pixels fill the first red
    // plane, and the cut falls before the plane of red 248.
    const zt::Image image = imageOf({{252, 0, 0}, {252, 0, 0}, {248, 0, 0}, {0, 0, 252}, {0, 0, 252}, {0, 0, 248}}, "RGB");
    dt::Dib dib(dt::makeHeader(6, 1, 1));
    ASSERT_EQ(ownMedianCutPalette(dib.header(), image.get()), 1);
    EXPECT_EQ(dib.header()->biClrUsed, 2u);
    const int mean = (2 * 4 * 63 + 4 * 62) / 3;
    EXPECT_EQ(paletteOf(dib, 2), (std::vector<Entry>{{mean, 0, 0}, {0, 0, mean}}));
}

TEST(MedianCut, BitonalImagesAndRefusals)
{
    const zt::Image bits = zt::makeImage(zt::Shape{ZAN_DEPTH_1U, 1, 9, 2});
    dt::Dib dib(dt::makeHeader(9, 2, 4));
    ASSERT_EQ(ownMedianCutPalette(dib.header(), bits.get()), 1);
    EXPECT_EQ(dib.header()->biClrUsed, 2u);
    EXPECT_EQ(paletteOf(dib, 2), (std::vector<Entry>{{0, 0, 0}, {255, 255, 255}}));

    const zt::Image odd = imageOf({{1, 2, 3}}, "XYZ");
    dt::Dib forOdd(dt::makeHeader(1, 1, 8));
    EXPECT_EQ(ownMedianCutPalette(forOdd.header(), odd.get()), 0);
    const zt::Image two = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 2, 3, 3});
    EXPECT_EQ(ownMedianCutPalette(forOdd.header(), two.get()), 0);
    dt::Dib wide(dt::makeHeader(1, 1, 16));
    EXPECT_EQ(ownMedianCutPalette(wide.header(), grayOf({1}).get()), 0);
}

} // namespace
