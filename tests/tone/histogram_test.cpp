// Histograms into lookup-table records, contrast stretch and histogram
// equalisation, against counts and tables derived here.
#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using zt::Image;
using zt::Shape;
using zt::channelCount;
using zt::firstChannel;
using zt::Participant;
using zt::regionOf;

// A ZanLUT record with arrays that it owns.
struct Lut {
    std::vector<int> key, value, factor;
    ZanLUT record{};

    Lut(std::vector<int> keys, std::vector<int> values = {}, std::vector<int> factors = {},
        int interpolation = ZAN_LUT_STEP)
        : key(std::move(keys)), value(std::move(values)), factor(std::move(factors))
    {
        value.resize(key.size(), 0);
        factor.resize(key.size(), 0);
        record = ZanLUT{static_cast<int>(key.size()), key.data(), value.data(), factor.data(), interpolation};
    }
    Lut(const Lut&) = delete;
    Lut& operator=(const Lut&) = delete;
};

using Luts = std::vector<std::unique_ptr<Lut>>;

std::vector<ZanLUT*> pointers(const Luts& luts)
{
    std::vector<ZanLUT*> out;
    for (const auto& lut : luts)
        out.push_back(&lut->record);
    return out;
}

int histSizeOf(uint32_t depth) { return depth == ZAN_DEPTH_8U ? 256 : depth == ZAN_DEPTH_16U ? 65536 : 2; }

// Calls f(x, y) for each pixel of the image's region that its
// mask (aligned with the region's corner) lets through.
template <class F>
void forEachCounted(const ZanImage* image, F f)
{
    zt::Rect r = regionOf(image);
    zt::Rect m{0, 0, r.width, r.height};
    if (image->maskROI) {
        m = regionOf(image->maskROI);
        r.width = std::min(r.width, m.width);
        r.height = std::min(r.height, m.height);
    }
    for (int j = 0; j < r.height; ++j)
        for (int i = 0; i < r.width; ++i)
            if (!image->maskROI || zt::bitAt(image->maskROI, m.x + i, m.y + j))
                f(r.x + i, r.y + j);
}

Participant randomParticipant(Shape shape, std::mt19937& rng, bool mayMask)
{
    auto range = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); };
    Participant p;
    if (range(0, 2) == 0) {
        p.tiled = std::make_unique<zt::TiledImage>(shape, 8 * range(1, 3), 8 * range(1, 2));
        zt::fillRandom(p.tiled->plain(), rng);
        p.tiled->load();
    } else {
        p.plain = zt::makeRandomImage(shape, rng);
    }
    if (range(0, 1))
        zt::setRoi(p.header(), shape.channels > 1 && range(0, 2) == 0 ? range(1, shape.channels) : 0,
                   range(0, shape.width - 1), range(0, shape.height - 1), range(1, shape.width + 3),
                   range(1, shape.height + 3));
    if (mayMask && range(0, 2) == 0)
        zt::attachRandomMask(p.header(), range(1, 50), range(1, 40), rng);
    return p;
}

Shape randomShape(uint32_t depth, std::mt19937& rng)
{
    auto range = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); };
    Shape shape;
    shape.depth = depth;
    shape.channels = depth == ZAN_DEPTH_1U ? 1 : range(1, 4);
    shape.alpha = shape.channels > 1 && range(0, 2) == 0 ? shape.channels : 0;
    shape.order = depth == ZAN_DEPTH_1U ? 0 : range(0, 1);
    shape.width = range(1, 45);
    shape.height = range(1, 30);
    return shape;
}

TEST(ComputeHisto, CountsRandomImagesIntoTheIntervals)
{
    std::mt19937 rng(17);
    zt::RecordingReporter recorder;
    for (int i = 0; i < 150; ++i) {
        const uint32_t depth = std::vector<uint32_t>{ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_1U}[i % 3];
        const Shape shape = randomShape(depth, rng);
        Participant image = randomParticipant(shape, rng, true);
        const ZanImage* header = image.header();
        if (channelCount(header) == 0)
            continue;
        // Sixteen-bit samples are drawn from a narrow range so that bins fill.
        if (depth == ZAN_DEPTH_16U) {
            for (int c = 0; c < shape.channels; ++c)
                for (int y = 0; y < shape.height; ++y)
                    for (int x = 0; x < shape.width; ++x)
                        zt::setSampleAt(image.content(), x, y, c, 1000 + (rng() % 40));
            if (image.tiled)
                image.tiled->load();
        }
        const int histSize = histSizeOf(depth);
        Luts luts;
        for (int c = 0; c < shape.channels; ++c) {
            std::vector<int> keys(2 + rng() % 5);
            for (int& k : keys)
                k = depth == ZAN_DEPTH_16U ? 995 + static_cast<int>(rng() % 50) : static_cast<int>(rng() % (histSize + 1));
            std::sort(keys.begin(), keys.end());
            luts.push_back(std::make_unique<Lut>(keys, std::vector<int>(keys.size(), -77), std::vector<int>{},
                                                 ZAN_LUT_LINEAR));
        }
        std::vector<ZanLUT*> lut = pointers(luts);

        std::vector<std::vector<int>> counts(shape.channels, std::vector<int>(histSize));
        forEachCounted(header, [&](int x, int y) {
            for (int k = 0; k < channelCount(header); ++k) {
                const int c = firstChannel(header) + k;
                ++counts[c][static_cast<int>(zt::sampleAt(image.content(), x, y, c))];
            }
        });
        zanComputeHisto(header, lut.data());
        ASSERT_TRUE(recorder.reports().empty()) << recorder.summary().front();
        SCOPED_TRACE("case " + std::to_string(i) + " " + zt::describe(shape));
        if (image.tiled) {
            EXPECT_EQ(image.tiled->openCount(), image.tiled->releaseCount());
        }
        for (int c = 0; c < shape.channels; ++c) {
            const Lut& l = *luts[c];
            const bool processed = c >= firstChannel(header) && c < firstChannel(header) + channelCount(header);
            for (std::size_t k = 0; k + 1 < l.key.size(); ++k) {
                int want = -77;
                if (processed) {
                    want = 0;
                    for (int v = l.key[k]; v < l.key[k + 1]; ++v)
                        want += counts[c][v];
                }
                EXPECT_EQ(l.value[k], want) << "channel " << c << " interval " << k;
            }
            EXPECT_EQ(l.value.back(), -77);
            EXPECT_EQ(l.record.interpolation, processed ? ZAN_LUT_STEP : ZAN_LUT_LINEAR);
        }
    }
}

TEST(ComputeHisto, OneIntervalOverTheWholeRangeCountsEverySample)
{
    std::mt19937 rng(2);
    Image image = zt::makeRandomImage({.width = 10, .height = 7}, rng);
    Lut all({0, 256});
    ZanLUT* lut = &all.record;
    zanComputeHisto(image.get(), &lut);
    EXPECT_EQ(all.value[0], 70);
}

// An 8-bit image holding each value 0..255 once, in a 16 by 16 square.
Image everyValue(int channels = 1)
{
    Shape shape;
    shape.channels = channels;
    shape.width = 16;
    shape.height = 16;
    Image image = zt::makeImage(shape);
    for (int c = 0; c < channels; ++c)
        for (int v = 0; v < 256; ++v)
            zt::setSampleAt(image.get(), v % 16, v / 16, c, v);
    return image;
}

// The result of a stretch of every 8-bit value through one record.
std::vector<int> stretched(Lut& lut)
{
    Image src = everyValue();
    Shape shape;
    shape.width = 16;
    shape.height = 16;
    Image dst = zt::makeImage(shape);
    ZanLUT* record = &lut.record;
    zt::RecordingReporter recorder;
    zanContrastStretch(src.get(), dst.get(), &record);
    EXPECT_TRUE(recorder.reports().empty());
    std::vector<int> out(256);
    for (int v = 0; v < 256; ++v)
        out[v] = static_cast<int>(zt::sampleAt(dst.get(), v % 16, v / 16, 0));
    return out;
}

TEST(ContrastStretch, StepLineAndKeyEdges)
{
    struct Case {
        const char* name;
        Lut lut;
        int (*expected)(int);
    };
    Case cases[] = {
        {"two steps", Lut({0, 128, 256}, {0, 255}), [](int v) { return v < 128 ? 0 : 255; }},
        {"outside the keys", Lut({50, 100, 200}, {7, 9}), [](int v) { return v < 50 ? v : v < 100 ? 7 : v < 200 ? 9 : v; }},
        // (v - 10) * 40 + 100 wraps at 256 within the first interval.
        {"line", Lut({10, 20, 30}, {100, 5}, {40, 3}, ZAN_LUT_LINEAR),
         [](int v) { return v < 10 ? v : v < 20 ? ((v - 10) * 40 + 100) % 256 : v < 30 ? (v - 20) * 3 + 5 : v; }},
        // Equal keys stop the walk in the empty interval, which runs to the end.
        {"equal keys", Lut({0, 10, 10, 20}, {1, 2, 3}), [](int v) { return v < 10 ? 1 : 2; }},
    };
    for (Case& c : cases) {
        const std::vector<int> out = stretched(c.lut);
        for (int v = 0; v < 256; ++v)
            ASSERT_EQ(out[v], c.expected(v)) << c.name << ", sample " << v;
    }
}

TEST(ContrastStretch, SixteenBitLine)
{
    Shape shape;
    shape.depth = ZAN_DEPTH_16U;
    shape.width = 6;
    shape.height = 1;
    Image src = zt::makeImage(shape), dst = zt::makeImage(shape);
    const int samples[] = {999, 1000, 1001, 1999, 2000, 65535};
    for (int x = 0; x < 6; ++x)
        zt::setSampleAt(src.get(), x, 0, 0, samples[x]);
    Lut lut({1000, 2000, 65536}, {7, 9}, {70, 0}, ZAN_LUT_LINEAR);
    ZanLUT* record = &lut.record;
    zanContrastStretch(src.get(), dst.get(), &record);
    const int expected[] = {999, 7, 77, (999 * 70 + 7) % 65536, 9, 9};
    for (int x = 0; x < 6; ++x)
        EXPECT_EQ(zt::sampleAt(dst.get(), x, 0, 0), expected[x]) << x;
}

// A stretch per channel, each with its own steps, over random images with
// ROIs, COIs, masks and tiles.
TEST(ContrastStretch, RandomImagesMatchTheStepTables)
{
    std::mt19937 rng(23);
    zt::RecordingReporter recorder;
    int done = 0;
    for (int i = 0; done < 120 && i < 1000; ++i) {
        const Shape shape = randomShape(i % 2 ? ZAN_DEPTH_8U : ZAN_DEPTH_16U, rng);
        Participant src = randomParticipant(shape, rng, true);
        Participant dst = randomParticipant(shape, rng, true);
        if (channelCount(src.header()) != channelCount(dst.header()) || channelCount(src.header()) == 0)
            continue;
        ++done;
        const int histSize = histSizeOf(shape.depth);
        Luts luts;
        for (int c = 0; c < shape.channels; ++c) {
            const int a = static_cast<int>(rng() % histSize), b = static_cast<int>(rng() % histSize);
            luts.push_back(std::make_unique<Lut>(std::vector<int>{std::min(a, b), std::max(a, b) + 1, histSize},
                                                 std::vector<int>{static_cast<int>(rng() % histSize), c * 11}));
        }
        std::vector<ZanLUT*> lut = pointers(luts);
        Image expected(zanCloneImage(dst.content()));
        const Image before(zanCloneImage(src.content()));
        const zt::Rect rs = regionOf(src.header()), rd = regionOf(dst.header());
        const ZanImage* masks[2] = {src.header()->maskROI, dst.header()->maskROI};
        int width = std::min(rs.width, rd.width), height = std::min(rs.height, rd.height);
        for (const ZanImage* m : masks)
            if (m) {
                width = std::min(width, regionOf(m).width);
                height = std::min(height, regionOf(m).height);
            }
        for (int j = 0; j < height; ++j)
            for (int i2 = 0; i2 < width; ++i2) {
                bool on = true;
                for (const ZanImage* m : masks)
                    on = on && (!m || zt::bitAt(m, regionOf(m).x + i2, regionOf(m).y + j));
                if (!on)
                    continue;
                for (int k = 0; k < channelCount(src.header()); ++k) {
                    const int cs = firstChannel(src.header()) + k;
                    const Lut& l = *luts[cs];
                    const int v = static_cast<int>(zt::sampleAt(before.get(), rs.x + i2, rs.y + j, cs));
                    const int mapped = v < l.key[0] ? v : v < l.key[1] ? l.value[0] : l.value[1];
                    zt::setSampleAt(expected.get(), rd.x + i2, rd.y + j, firstChannel(dst.header()) + k, mapped);
                }
            }
        zanContrastStretch(src.header(), dst.header(), lut.data());
        ASSERT_TRUE(recorder.reports().empty()) << recorder.summary().front();
        for (Participant* p : {&src, &dst}) {
            if (p->tiled) {
                EXPECT_FALSE(p->tiled->misuse);
                EXPECT_EQ(p->tiled->openCount(), p->tiled->releaseCount());
                p->tiled->store();
            }
        }
        SCOPED_TRACE("case " + std::to_string(i) + " " + zt::describe(shape));
        for (int c = 0; c < shape.channels; ++c)
            for (int y = 0; y < shape.height; ++y)
                for (int x = 0; x < shape.width; ++x)
                    ASSERT_EQ(zt::sampleAt(dst.content(), x, y, c), zt::sampleAt(expected.get(), x, y, c))
                        << "at (" << x << ", " << y << ", " << c << ")";
    }
    EXPECT_EQ(done, 120);
}

// Equalisation of an image of known histogram through a record of one bin
// per value.
TEST(HistoEqualize, KnownImagesGiveTheDerivedMapping)
{
    struct Case {
        const char* name;
        std::vector<int> samples;   // of a 1-row image
        std::vector<int> keys;      // of the record
        std::vector<int> values;    // null: counted by zanComputeHisto
        std::vector<int> expected;  // output samples
    };
    std::vector<int> everyKey(257);
    for (int k = 0; k <= 256; ++k)
        everyKey[k] = k;
    const Case cases[] = {
        // Counts 4, 4, 8 of 0, 1, 2: sums 4, 8, 16; 4 * 255 / 16 = 63, 8 * 255 / 16 = 127.
        {"three values", {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2}, everyKey, {},
         {63, 63, 63, 63, 127, 127, 127, 127, 255, 255, 255, 255, 255, 255, 255, 255}},
        {"constant", {9, 9, 9, 9, 9}, everyKey, {}, {255, 255, 255, 255, 255}},
        // A bin of width 3 and count 10 spreads as 3, 3, 4: sums 3, 6, 10.
        {"wide bin", {0, 1, 2, 5, 200}, {0, 3, 256}, {10, 0, 0}, {76, 153, 255, 255, 255}},
    };
    zt::RecordingReporter recorder;
    for (const Case& c : cases) {
        Shape shape;
        shape.width = static_cast<int>(c.samples.size());
        shape.height = 1;
        Image src = zt::makeImage(shape), dst = zt::makeImage(shape);
        for (int x = 0; x < shape.width; ++x)
            zt::setSampleAt(src.get(), x, 0, 0, c.samples[x]);
        Lut lut(c.keys, c.values);
        ZanLUT* record = &lut.record;
        if (c.values.empty())
            zanComputeHisto(src.get(), &record);
        zanHistoEqualize(src.get(), dst.get(), &record);
        ASSERT_TRUE(recorder.reports().empty()) << c.name;
        for (int x = 0; x < shape.width; ++x)
            EXPECT_EQ(zt::sampleAt(dst.get(), x, 0, 0), c.expected[x]) << c.name << " at " << x;
        if (!c.values.empty()) {
            // Output counts 3, 3 and 4 at 76, 153 and 255, all in the second interval.
            EXPECT_EQ(lut.value[0], 0);
            EXPECT_EQ(lut.value[1], 10);
            continue;
        }
        // The record now describes the output, as a fresh count of it does.
        Lut recount(c.keys);
        ZanLUT* fresh = &recount.record;
        zanComputeHisto(dst.get(), &fresh);
        for (std::size_t k = 0; k + 1 < c.keys.size(); ++k)
            EXPECT_EQ(lut.value[k], recount.value[k]) << c.name << " interval " << k;
    }
}

TEST(HistoEqualize, SixteenBitsAndTheEmptyHistogram)
{
    Shape shape;
    shape.depth = ZAN_DEPTH_16U;
    shape.width = 3;
    shape.height = 1;
    Image src = zt::makeImage(shape), dst = zt::makeImage(shape, 5);
    const int samples[] = {1000, 65534, 65535};
    for (int x = 0; x < 3; ++x)
        zt::setSampleAt(src.get(), x, 0, 0, samples[x]);
    // One bin over the range puts its count on the last entry: only 65535 maps high.
    Lut lut({0, 65536}, {4});
    ZanLUT* record = &lut.record;
    zt::RecordingReporter recorder;
    zanHistoEqualize(src.get(), dst.get(), &record);
    EXPECT_TRUE(recorder.reports().empty());
    const int expected[] = {0, 0, 65535};
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(zt::sampleAt(dst.get(), x, 0, 0), expected[x]);

    Image untouched = zt::makeImage(shape, 5);
    Lut zeros({0, 100, 65536}, {0, 0});
    record = &zeros.record;
    zanHistoEqualize(src.get(), untouched.get(), &record);
    EXPECT_EQ(recorder.summary(), std::vector<std::string>{"zanHistoEqualize: All values in histogram are zeroes"});
    EXPECT_EQ(recorder.reports().back().status, ZAN_STATUS_INTERNAL);
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(zt::sampleAt(untouched.get(), x, 0, 0), 5);
}

TEST(ToneChecks, ReportTheirTextsInOrder)
{
    Shape rgbShape;
    rgbShape.channels = 3;
    Image g8 = zt::makeImage(Shape{}), rgb = zt::makeImage(rgbShape);
    Shape s8Shape;
    s8Shape.depth = ZAN_DEPTH_8S;
    Image s8 = zt::makeImage(s8Shape);
    Shape bottomShape;
    bottomShape.origin = ZAN_ORIGIN_BOTTOM_LEFT;
    bottomShape.depth = ZAN_DEPTH_16U;
    Image bottom16 = zt::makeImage(bottomShape);
    Lut good({0, 256}, {1});
    ZanLUT* goodPtr = &good.record;
    {
        zt::RecordingReporter recorder;
        zanComputeHisto(s8.get(), nullptr);
        EXPECT_EQ(recorder.summary(),
                  (std::vector<std::string>{"zanComputeHisto: lut==0",
                                            "zanComputeHisto: (srcImage->depth & ZAN_DEPTH_SIGN) || (srcImage->depth == ZAN_DEPTH_32F)"}));
    }
    {
        zt::RecordingReporter recorder;
        zanContrastStretch(s8.get(), bottom16.get(), nullptr);
        EXPECT_EQ(recorder.summary(),
                  (std::vector<std::string>{"zanContrastStretch: srcImage->depth != dstImage->depth",
                                            "zanContrastStretch: srcImage->origin != dstImage->origin",
                                            "zanContrastStretch: srcImage->depth != ZAN_DEPTH_8U && srcImage->depth != ZAN_DEPTH_16U",
                                            "zanContrastStretch: lut==0"}));
    }
    {
        zt::RecordingReporter recorder;
        zanHistoEqualize(rgb.get(), g8.get(), &goodPtr);
        EXPECT_EQ(recorder.summary(),
                  (std::vector<std::string>{"zanHistoEqualize: Number of processed channels of srcImage != "
                                            "Number of processed channels of dstImage"}));
    }
    // The records of the processed channels, each fault in turn.
    struct Case {
        std::vector<int> keys;
        const char* text;
    };
    const Case cases[] = {
        {{0}, "lut[k]->num < 2"},
        {{-1, 5}, "lut[k]->key[0] < 0"},
        {{0, 257}, "lut[k]->key[lut[k]->num-1] > histSize"},
        {{0, 9, 5, 256}, "lut[k]->key[i] > lut[k]->key[i+1]"},
    };
    for (const Case& c : cases) {
        Lut bad(c.keys);
        ZanLUT* luts[3] = {goodPtr, &bad.record, goodPtr};
        zt::RecordingReporter recorder;
        zanComputeHisto(rgb.get(), luts);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{std::string("zanComputeHisto: ") + c.text});
    }
    Lut missing({0, 256});
    missing.record.key = nullptr;
    Lut noValues({0, 256});
    noValues.record.value = nullptr;
    const std::pair<ZanLUT*, const char*> pointerCases[] = {
        {nullptr, "lut[k]==0"}, {&missing.record, "lut[k]->key==0"}, {&noValues.record, "lut[k]->value==0"}};
    for (const auto& [bad, text] : pointerCases) {
        ZanLUT* luts[3] = {goodPtr, goodPtr, bad};
        zt::RecordingReporter recorder;
        zanContrastStretch(rgb.get(), rgb.get(), luts);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{std::string("zanContrastStretch: ") + text});
    }
}

// A tile that its callback doesn't give ends each operation with its text.
TEST(ToneChecks, TileFailuresAreReported)
{
    const Shape shape{.width = 16, .height = 16};
    Image plain = zt::makeImage(shape);
    Shape bitShape = shape;
    bitShape.depth = ZAN_DEPTH_1U;
    Lut lut({0, 256}, {1});
    ZanLUT* record = &lut.record;
    struct Case {
        std::function<void(ZanImage* tiled)> call;
        bool bits;
        std::vector<std::string> reports;
    };
    const Case cases[] = {
        {[&](ZanImage* t) { zanThreshold(plain.get(), t, 9); }, false,
         {"zanThreshold: (dstImage->tileInfo->tileData == NULL)"}},
        {[&](ZanImage* t) { zanThreshold(t, plain.get(), 9); }, false,
         {"zanThreshold: (srcImage->tileInfo->tileData == NULL)"}},
        {[&](ZanImage* t) { zanContrastStretch(plain.get(), t, &record); }, false,
         {"zanMap: Error get tile to write", "zanContrastStretch: "}},
        {[&](ZanImage* t) { zanComputeHisto(t, &record); }, false,
         {"zanComputeHisto: Error get tile to read", "zanComputeHisto: "}},
        {[&](ZanImage* t) { zanReduceBits(plain.get(), t, 0, ZAN_DITHER_FS, 2); }, true,
         {"zanReduceBits: (dstImage->tileInfo->tileData == NULL)"}},
        {[&](ZanImage* t) { zanReduceBits(t, plain.get(), 0, ZAN_DITHER_BAYER, 2); }, false,
         {"zanReduceBits: (srcImage->tileInfo->tileData == NULL)"}},
    };
    for (const Case& c : cases) {
        zt::TiledImage tiled(c.bits ? bitShape : shape, 8, 8);
        tiled.failOpenAt = 1;
        zt::RecordingReporter recorder;
        c.call(tiled.header());
        EXPECT_EQ(recorder.summary(), c.reports);
        EXPECT_FALSE(tiled.misuse);
    }
}

} // namespace
