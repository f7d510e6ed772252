// Colour-model conversions against the formulas computed in
// model_reference.h, their layouts, tiles, edge cases, round trips and
// refusals.
#include "color_util.h"
#include "model_reference.h"

#include "color/own_models.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

namespace {

using ct::Px;
using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

using Convert = void (*)(const ZanImage*, ZanImage*);
using Reference = Px (*)(uint32_t, const Px&);

constexpr int kLevels = 65; // 0, 4, ..., 252 and 255

double level(int i) { return i == kLevels - 1 ? 255 : 4 * i; }

// Every 4th level of each axis (and 255) in channels 0, 1, 2 of a
// 65*65 by 65 image of 8U samples.
void fillCube(ZanImage* image)
{
    for (int y = 0; y < kLevels; ++y)
        for (int x = 0; x < kLevels * kLevels; ++x) {
            zt::setSampleAt(image, x, y, 0, level(x / kLevels));
            zt::setSampleAt(image, x, y, 1, level(x % kLevels));
            zt::setSampleAt(image, x, y, 2, level(y));
        }
}

// Random samples over the depth's range (floats over [low, high)), with
// the extremes of the range in the first row.
void fillRandom(ZanImage* image, std::mt19937& rng, double low, double high)
{
    const uint32_t depth = image->depth;
    const double lo = depth == ZAN_DEPTH_32F ? low : depth == ZAN_DEPTH_32S ? -2147483648.0 : 0;
    const double hi = depth == ZAN_DEPTH_32F ? high : depth == ZAN_DEPTH_32S ? 2147483647.0 : ct::fullScale(depth);
    std::uniform_real_distribution<double> value(lo, hi);
    const double extremes[] = {lo, hi, lo + 1, hi - 1, std::floor((lo + hi) / 2)};
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c) {
                double v = y == 0 ? extremes[(x + 2 * c) % 5] : value(rng);
                if (depth != ZAN_DEPTH_32F)
                    v = std::floor(v);
                zt::setSampleAt(image, x, y, c, v);
            }
}

struct ModelCase {
    const char* name;
    Convert convert;
    const char* srcModel; // "RGB" for forward conversions
    const char* dstModel;
    std::vector<uint32_t> depths;
    Reference reference;
    double floatLow = 0;
    double floatHigh = 1;
};

const std::vector<ModelCase>& modelCases()
{
    static const std::vector<ModelCase> cases = {
        {"RGB2HSV", zanRGB2HSV, "RGB", "HSV", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S}, ct::rgbToHsv},
        {"HSV2RGB", zanHSV2RGB, "HSV", "RGB", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S}, ct::hsvToRgb},
        {"RGB2HLS", zanRGB2HLS, "RGB", "HLS", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S}, ct::rgbToHls},
        {"HLS2RGB", zanHLS2RGB, "HLS", "RGB", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S}, ct::hlsToRgb},
        {"RGB2XYZ", zanRGB2XYZ, "RGB", "XYZ", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::rgbToXyz},
        {"XYZ2RGB", zanXYZ2RGB, "XYZ", "RGB", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::xyzToRgb},
        {"RGB2YUV", zanRGB2YUV, "RGB", "YUV", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::rgbToYuv},
        {"YUV2RGB", zanYUV2RGB, "YUV", "RGB", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::yuvToRgb},
        {"RGB2YCrCb", zanRGB2YCrCb, "RGB", "YCr", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::rgbToYCrCb},
        {"YCrCb2RGB", zanYCrCb2RGB, "YCr", "RGB", {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_32F}, ct::yCrCbToRgb},
        {"YCC2RGB", zanYCC2RGB, "YCC", "RGB", {ZAN_DEPTH_8U}, [](uint32_t, const Px& p) { return ct::yccToRgb(p); }},
        {"RGB2LUV", zanRGB2LUV, "RGB", "LUV", {ZAN_DEPTH_32F}, ct::rgbToLuv, 0, 1},
        {"LUV2RGB", zanLUV2RGB, "LUV", "RGB", {ZAN_DEPTH_32F}, ct::luvToRgb, -20, 100},
    };
    return cases;
}

// Expects every pixel of dst to be the reference of the same pixel of src.
::testing::AssertionResult matchesReference(const ZanImage* src, const ZanImage* dst, Reference reference)
{
    for (int y = 0; y < dst->height; ++y)
        for (int x = 0; x < dst->width; ++x) {
            const Px in = {zt::sampleAt(src, x, y, 0), zt::sampleAt(src, x, y, 1), zt::sampleAt(src, x, y, 2)};
            const Px want = reference(src->depth, in);
            for (int c = 0; c < 3; ++c) {
                const double got = zt::sampleAt(dst, x, y, c);
                if (got != want[c])
                    return ::testing::AssertionFailure()
                           << "pixel (" << x << ", " << y << ") in " << in[0] << " " << in[1] << " " << in[2]
                           << ": channel " << c << " is " << got << ", expected " << want[c];
            }
        }
    return ::testing::AssertionSuccess();
}

TEST(ColorModels, EachConversionMatchesItsFormulasAtEveryDepth)
{
    std::mt19937 rng(5);
    for (const ModelCase& c : modelCases()) {
        for (uint32_t depth : c.depths) {
            SCOPED_TRACE(std::string(c.name) + " " + zt::depthName(depth));
            const bool cube = depth == ZAN_DEPTH_8U;
            const Shape shape{depth, 3, cube ? kLevels * kLevels : 97, cube ? kLevels : 61};
            Image src = ct::modelImage(shape, c.srcModel, c.srcModel);
            Image dst = ct::modelImage(shape, "RGB", "RGB");
            if (cube)
                fillCube(src.get());
            else
                fillRandom(src.get(), rng, c.floatLow, c.floatHigh);
            RecordingReporter recorder;
            ct::underRounding(FE_TONEAREST, [&] { c.convert(src.get(), dst.get()); });
            EXPECT_TRUE(recorder.reports().empty());
            EXPECT_TRUE(matchesReference(src.get(), dst.get(), c.reference));
            EXPECT_EQ(ct::text4(dst->colorModel), c.dstModel);
            EXPECT_EQ(ct::text4(dst->channelSeq), c.dstModel);
        }
    }
}

// The packed 8U YCrCb rows give what the per-pixel form gives, for runs of
// every length from every start offset, and write nothing beyond the run.
TEST(ColorModels, PackedYCrCbRowsEqualThePixelForm)
{
#if OWN_HAVE_SSE2
    std::mt19937 rng(13);
    std::vector<uint8_t> in(3 * (70 + 32)), out(3 * (70 + 32) + 8), want(out.size());
    const OwnRgbToYCrCb convert;
    for (bool swapped : {false, true})
        for (int length = 0; length <= 70; ++length)
            for (int offset = 0; offset < 32; ++offset) {
                for (uint8_t& v : in)
                    v = static_cast<uint8_t>(rng());
                std::fill(out.begin(), out.end(), 0xEE);
                want = out;
                const uint8_t* s = in.data() + offset;
                uint8_t* d = out.data() + (31 - offset);
                const int done = static_cast<int>(convert.run(s, d, length, swapped));
                ASSERT_LE(done, length);
                ASSERT_GT(done, length - 8);
                for (int x = 0; x < length; ++x) {
                    const uint8_t a[3] = {s[3 * x + (swapped ? 2 : 0)], s[3 * x + 1], s[3 * x + (swapped ? 0 : 2)]};
                    uint8_t b[3];
                    convert(a, b);
                    for (int c = 0; c < 3; ++c) {
                        want[(31 - offset) + 3 * x + c] = b[c];
                        if (x >= done)
                            d[3 * x + c] = b[c];
                    }
                }
                ASSERT_EQ(out, want) << "length " << length << " offset " << offset << " swapped " << swapped;
            }
#else
    GTEST_SKIP() << "no packed kernel on this target";
#endif
}

// The 32F conversions follow the caller's rounding mode, and leave it.
TEST(ColorModels, KeepTheCallersRoundingMode)
{
    std::mt19937 rng(9);
    for (const ModelCase& c : modelCases()) {
        const uint32_t depth = c.depths.back();
        Image src = ct::modelImage(Shape{depth, 3, 9, 5}, c.srcModel, c.srcModel);
        Image dst = ct::modelImage(Shape{depth, 3, 9, 5}, "RGB", "RGB");
        fillRandom(src.get(), rng, c.floatLow, c.floatHigh);
        for (int mode : ct::kRoundingModes)
            ct::underRounding(mode, [&] { c.convert(src.get(), dst.get()); });
    }
}

TEST(ColorModels, YuvFastFormBetweenPixelAndPlaneOrder)
{
    Image rgb = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels}, "RGB", "RGB");
    fillCube(rgb.get());
    Shape planes{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels};
    planes.order = ZAN_DATA_ORDER_PLANE;
    Image yuv = ct::modelImage(planes, "XXX", "XXX");
    Image back = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels}, "RGB", "RGB");
    RecordingReporter recorder;
    zanRGB2YUV(rgb.get(), yuv.get());
    EXPECT_TRUE(matchesReference(rgb.get(), yuv.get(), [](uint32_t, const Px& p) { return ct::rgbToYuvPlanes(p); }));
    zanYUV2RGB(yuv.get(), back.get());
    EXPECT_TRUE(matchesReference(yuv.get(), back.get(), [](uint32_t, const Px& p) { return ct::yuvPlanesToRgb(p); }));
    EXPECT_TRUE(recorder.reports().empty());
}

// The RGB image's channels are found by its channel sequence: BGR pixels
// are swapped, planes are found by letter, a fourth channel is not read.
TEST(ColorModels, ChannelSequenceLayoutAndFourthChannel)
{
    struct Layout {
        const char* seq;
        int channels;
        int order;
    };
    const Layout layouts[] = {{"BGR", 3, ZAN_DATA_ORDER_PIXEL}, {"BGRA", 4, ZAN_DATA_ORDER_PIXEL},
                              {"RGB", 3, ZAN_DATA_ORDER_PLANE}, {"BGR", 3, ZAN_DATA_ORDER_PLANE}};
    std::mt19937 rng(3);
    for (const ModelCase& c : modelCases()) {
        const uint32_t depth = c.depths.front();
        const bool forward = std::string(c.srcModel) == "RGB";
        Image model = ct::modelImage(Shape{depth, 3, 23, 7}, c.srcModel, c.srcModel);
        fillRandom(model.get(), rng, c.floatLow, c.floatHigh);
        for (const Layout& layout : layouts) {
            SCOPED_TRACE(std::string(c.name) + " " + layout.seq + " order " + std::to_string(layout.order));
            Shape rgbShape{depth, forward ? layout.channels : 3, 23, 7};
            rgbShape.order = layout.order;
            Shape modelShape{depth, 3, 23, 7};
            modelShape.order = layout.order;
            Image rgb = ct::modelImage(rgbShape, "RGB", layout.seq);
            Image other = ct::modelImage(modelShape, c.srcModel, c.srcModel);
            // The same colours as `model` holds, laid out as the sequence says.
            const bool bgr = layout.seq[0] == 'B';
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 23; ++x)
                    for (int k = 0; k < 3; ++k) {
                        const double v = zt::sampleAt(model.get(), x, y, k);
                        zt::setSampleAt(forward ? rgb.get() : other.get(), x, y, forward && bgr ? 2 - k : k, v);
                        if (forward && layout.channels == 4)
                            zt::setSampleAt(rgb.get(), x, y, 3, 77);
                    }
            RecordingReporter recorder;
            if (forward)
                c.convert(rgb.get(), other.get());
            else
                c.convert(other.get(), rgb.get());
            ASSERT_TRUE(recorder.reports().empty()) << recorder.summary()[0];
            const ZanImage* out = forward ? other.get() : rgb.get();
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 23; ++x) {
                    const Px in = {zt::sampleAt(model.get(), x, y, 0), zt::sampleAt(model.get(), x, y, 1),
                                   zt::sampleAt(model.get(), x, y, 2)};
                    const Px want = c.reference(depth, in);
                    for (int k = 0; k < 3; ++k)
                        ASSERT_EQ(zt::sampleAt(out, x, y, !forward && bgr ? 2 - k : k), want[k])
                            << x << "," << y << "," << k;
                }
        }
    }
}

// Tiled destinations, tiled sources and both give the untiled result; a
// source larger than the destination is read over the common area only.
TEST(ColorModels, TiledImagesGiveTheUntiledResult)
{
    std::mt19937 rng(21);
    const Convert conversions[] = {zanRGB2HSV, zanRGB2YCrCb, zanColorToGray};
    for (Convert convert : conversions) {
        for (int order : {ZAN_DATA_ORDER_PIXEL, ZAN_DATA_ORDER_PLANE}) {
            Shape shape{ZAN_DEPTH_8U, 3, 45, 30};
            shape.order = order;
            Shape out = shape;
            const bool gray = convert == zanColorToGray;
            if (gray) {
                out.channels = 1;
                out.width = 37;
            }
            zt::TiledImage src(shape, 16, 8);
            zt::TiledImage dst(out, 8, 16);
            zt::fillRandom(src.plain(), rng);
            src.load();
            for (ZanImage* image : {src.header(), src.plain()})
                ct::setModel(image, "RGB", "RGB");
            for (ZanImage* image : {dst.header(), dst.plain()})
                ct::setModel(image, gray ? "GRAY" : "XXX", gray ? "G" : "XXX");
            Image expected = zt::makeImage(out);
            ct::setModel(expected.get(), gray ? "GRAY" : "XXX", gray ? "G" : "XXX");
            RecordingReporter recorder;
            convert(src.plain(), expected.get());
            const std::pair<ZanImage*, ZanImage*> pairs[] = {
                {src.header(), dst.plain()}, {src.plain(), dst.header()}, {src.header(), dst.header()}};
            for (const auto& [from, to] : pairs) {
                std::memset(dst.plain()->imageData, 0, dst.plain()->imageSize);
                dst.load();
                convert(from, to);
                if (to == dst.header())
                    dst.store();
                EXPECT_TRUE(ct::sameSamples(dst.plain(), expected.get(), out.width, out.height, out.channels));
            }
            EXPECT_TRUE(recorder.reports().empty());
            EXPECT_FALSE(src.misuse || dst.misuse);
            EXPECT_EQ(dst.openCount(), dst.releaseCount());
            EXPECT_EQ(src.openCount(), src.releaseCount());
        }
    }
}

// A tile that the callback doesn't give ends its row of tiles; at the start
// of a row it ends the walk.
TEST(ColorModels, MissingDestinationTileEndsItsRowOrTheWalk)
{
    std::mt19937 rng(2);
    Image src = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 24, 24}, rng);
    ct::setModel(src.get(), "RGB", "RGB");
    for (int failAt : {1, 3}) {
        zt::TiledImage dst(Shape{ZAN_DEPTH_8U, 3, 24, 24}, 8, 8);
        dst.failOpenAt = failAt;
        RecordingReporter recorder;
        zanRGB2XYZ(src.get(), dst.header());
        EXPECT_TRUE(recorder.reports().empty());
        std::vector<zt::TiledImage::Call> opened;
        for (const auto& call : dst.calls)
            if (call.mode == ZAN_TILE_WRITE)
                opened.push_back(call);
        // Failing the second open (tile 1 of row 0) skips tile 2 and goes on
        // with row 1; failing the fourth (tile 0 of row 1) ends everything.
        const std::vector<zt::TiledImage::Call> want =
            failAt == 1 ? std::vector<zt::TiledImage::Call>{{0, 0, 2}, {1, 0, 2}, {0, 1, 2}, {1, 1, 2}, {2, 1, 2},
                                                            {0, 2, 2}, {1, 2, 2}, {2, 2, 2}}
                        : std::vector<zt::TiledImage::Call>{{0, 0, 2}, {1, 0, 2}, {2, 0, 2}, {0, 1, 2}};
        EXPECT_EQ(opened, want);
        EXPECT_EQ(dst.releaseCount(), static_cast<int>(want.size()) - 1);
        EXPECT_FALSE(dst.misuse);
    }
}

Px convertPixel(Convert convert, uint32_t depth, const char* from, const char* to, const Px& in)
{
    Image src = ct::modelImage(Shape{depth, 3, 1, 1}, from, from);
    Image dst = ct::modelImage(Shape{depth, 3, 1, 1}, to, to);
    for (int c = 0; c < 3; ++c)
        zt::setSampleAt(src.get(), 0, 0, c, in[c]);
    convert(src.get(), dst.get());
    return {zt::sampleAt(dst.get(), 0, 0, 0), zt::sampleAt(dst.get(), 0, 0, 1), zt::sampleAt(dst.get(), 0, 0, 2)};
}

TEST(ColorModels, EdgeCases)
{
    RecordingReporter recorder;
    const double kMin32 = -2147483648.0;
    struct Case {
        const char* what;
        Convert convert;
        uint32_t depth;
        const char* from;
        const char* to;
        Px in;
        Px want;
    };
    const Case cases[] = {
        {"gray has no hue or saturation", zanRGB2HSV, ZAN_DEPTH_8U, "RGB", "RGB", {90, 90, 90}, {0, 0, 90}},
        {"black is all 0", zanRGB2HSV, ZAN_DEPTH_16U, "RGB", "RGB", {0, 0, 0}, {0, 0, 0}},
        {"32S gray", zanRGB2HSV, ZAN_DEPTH_32S, "RGB", "RGB", {5, 5, 5}, {kMin32, kMin32, 4}},
        // H 255 at 8U stays below 360 degrees: sector 5 with f near 1.
        {"largest hue at 8U", zanHSV2RGB, ZAN_DEPTH_8U, "HSV", "RGB", {255, 255, 200}, {200, 0, 0}},
        // At 32S the largest hue reaches 360 and becomes 0: sector 0.
        {"largest hue at 32S", zanHSV2RGB, ZAN_DEPTH_32S, "HSV", "RGB", {2147483647, 2147483647, 100}, {100, kMin32, kMin32}},
        {"no saturation copies V", zanHSV2RGB, ZAN_DEPTH_8U, "HSV", "RGB", {77, 0, 123}, {123, 123, 123}},
        {"no saturation copies V at 32S", zanHSV2RGB, ZAN_DEPTH_32S, "HSV", "RGB", {77, kMin32, -9}, {-9, -9, -9}},
        // L is 128, above M / 2: S = d / (2M - sum) = 144 / 254, not 144 / 256.
        {"L above half uses the second form", zanRGB2HLS, ZAN_DEPTH_8U, "RGB", "RGB", {200, 56, 56}, {0, 128, 144}},
        {"HLS without saturation copies L", zanHLS2RGB, ZAN_DEPTH_8U, "HLS", "RGB", {40, 99, 0}, {99, 99, 99}},
        // R index (22256 Y + 29844 C2 - 4088627) >> 14: 352, 353, 360 and 388.
        {"YCC index 352", zanYCC2RGB, ZAN_DEPTH_8U, "YCC", "RGB", {254, 0, 141}, {254, 255, 0}},
        {"YCC index 353", zanYCC2RGB, ZAN_DEPTH_8U, "YCC", "RGB", {255, 0, 141}, {255, 255, 0}},
        {"YCC index 360", zanYCC2RGB, ZAN_DEPTH_8U, "YCC", "RGB", {255, 0, 145}, {255, 255, 0}},
        {"YCC index past the table", zanYCC2RGB, ZAN_DEPTH_8U, "YCC", "RGB", {255, 0, 160}, {255, 255, 0}},
        {"YUV 16U white", zanRGB2YUV, ZAN_DEPTH_16U, "RGB", "RGB", {65535, 65535, 65535}, {65535, 32767, 32767}},
        // u = 32768, v = 0: B = 60000 + 66883 is held to 65535.
        {"YUV 16U clamps B", zanYUV2RGB, ZAN_DEPTH_16U, "YUV", "RGB", {60000, 65535, 32767}, {59969, 47026, 65535}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(convertPixel(c.convert, c.depth, c.from, c.to, c.in), c.want) << c.what;
    EXPECT_TRUE(recorder.reports().empty());
}

// The LUV thresholds: Y not above 0.01 and L not above 8.7 give zeros; the
// next values up don't.
TEST(ColorModels, LuvThresholds)
{
    Image rgb = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 41, 1}, "RGB", "RGB");
    Image luv = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 41, 1}, "LUV", "LUV");
    float gray = 0.01f;
    float l = 8.7f;
    for (int i = 0; i < 20; ++i) {
        gray = std::nextafter(gray, 0.0f);
        l = std::nextafter(l, 0.0f);
    }
    for (int x = 0; x < 41; ++x) {
        for (int c = 0; c < 3; ++c)
            zt::setSampleAt(rgb.get(), x, 0, c, gray);
        zt::setSampleAt(luv.get(), x, 0, 0, l);
        zt::setSampleAt(luv.get(), x, 0, 1, 5);
        zt::setSampleAt(luv.get(), x, 0, 2, 5);
        gray = std::nextafter(gray, 1.0f);
        l = std::nextafter(l, 100.0f);
    }
    Image outLuv = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 41, 1}, "LUV", "LUV");
    Image outRgb = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 41, 1}, "RGB", "RGB");
    zanRGB2LUV(rgb.get(), outLuv.get());
    zanLUV2RGB(luv.get(), outRgb.get());
    EXPECT_TRUE(matchesReference(rgb.get(), outLuv.get(), ct::rgbToLuv));
    EXPECT_TRUE(matchesReference(luv.get(), outRgb.get(), ct::luvToRgb));
    // L runs over 8.7f: the first 21 values give black, the rest don't.
    for (int x = 0; x < 41; ++x)
        EXPECT_EQ(zt::sampleAt(outRgb.get(), x, 0, 0) == 0, x <= 20) << x;
    EXPECT_EQ(zt::sampleAt(outLuv.get(), 0, 0, 0), 0);
    EXPECT_NE(zt::sampleAt(outLuv.get(), 40, 0, 0), 0);
}

// Largest difference of a round trip over the 8U cube, per conversion pair.
TEST(ColorModels, RoundTripsStayWithinTheirQuantisation)
{
    struct Trip {
        const char* name;
        Convert there;
        Convert back;
        const char* model;
        double tolerance;
        bool gamut; // the model's 8U samples clamp: colours that reach 0 or 255 there are left out
    };
    // HSV and HLS keep hue in 255 steps of 360/255 degrees and truncate each
    // stage: one hue step moves a channel by up to 255 * 1.41 / 60 = 6, plus
    // one for each truncation. The linear models lose at most a few units to
    // their 14- and 15-bit truncations.
    const Trip trips[] = {
        {"HSV", zanRGB2HSV, zanHSV2RGB, "HSV", 8, false},     {"HLS", zanRGB2HLS, zanHLS2RGB, "HLS", 8, false},
        {"YCrCb", zanRGB2YCrCb, zanYCrCb2RGB, "YCr", 3, false}, {"XYZ", zanRGB2XYZ, zanXYZ2RGB, "XYZ", 4, true},
        {"YUV", zanRGB2YUV, zanYUV2RGB, "YUV", 4, true},
    };
    Image rgb = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels}, "RGB", "RGB");
    fillCube(rgb.get());
    for (const Trip& trip : trips) {
        Image middle = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels}, "XXX", "XXX");
        Image back = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, kLevels * kLevels, kLevels}, "RGB", "RGB");
        RecordingReporter recorder;
        trip.there(rgb.get(), middle.get());
        trip.back(middle.get(), back.get());
        EXPECT_TRUE(recorder.reports().empty());
        double worst = 0;
        int kept = 0;
        for (int y = 0; y < kLevels; ++y)
            for (int x = 0; x < kLevels * kLevels; ++x) {
                bool clamped = false;
                for (int c = 0; c < 3; ++c) {
                    const double m = zt::sampleAt(middle.get(), x, y, c);
                    clamped = clamped || m == 0 || m == 255;
                }
                if (trip.gamut && clamped)
                    continue;
                ++kept;
                for (int c = 0; c < 3; ++c)
                    worst = std::max(worst, std::abs(zt::sampleAt(rgb.get(), x, y, c) - zt::sampleAt(back.get(), x, y, c)));
            }
        EXPECT_LE(worst, trip.tolerance) << trip.name;
        EXPECT_GT(kept, kLevels * kLevels * kLevels / 4) << trip.name;
    }
    // LUV in floats: the two model constants differ between the directions,
    // so colours come back only near where they were.
    std::mt19937 rng(8);
    Image fl = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 50, 20}, "RGB", "RGB");
    fillRandom(fl.get(), rng, 0.2, 1);
    Image luv = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 50, 20}, "XXX", "XXX");
    Image back = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 50, 20}, "RGB", "RGB");
    zanRGB2LUV(fl.get(), luv.get());
    zanLUV2RGB(luv.get(), back.get());
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 50; ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(zt::sampleAt(back.get(), x, y, c), zt::sampleAt(fl.get(), x, y, c), 0.05);
}

// ---------------------------------------------------------------------------
// Colour and gray

double grayReference(uint32_t from, uint32_t to, bool planes, const Px& p, bool lastOfOddRow)
{
    const double r = p[0], g = p[1], b = p[2];
    if (from == ZAN_DEPTH_32S) {
        if (to == ZAN_DEPTH_1U)
            return 109 * ct::floorShift(r, 10) + 366 * ct::floorShift(g, 10) + 37 * ct::floorShift(b, 10) >= 536870912;
        const double sum = 109 * ct::floorShift(r, 11) + 366 * ct::floorShift(g, 11) + 37 * ct::floorShift(b, 11);
        const double bits = to == ZAN_DEPTH_16U ? 65536 : 256;
        const double v = ct::floorShift(sum, to == ZAN_DEPTH_16U ? 13 : 21);
        return v - bits * std::floor(v / bits); // the low bits
    }
    const double sum = 54 * r + 183 * g + 18 * b;
    if (to == ZAN_DEPTH_1U)
        return ct::floorShift(sum, 8) >= (from == ZAN_DEPTH_8U ? 128 : 32768);
    if (from == ZAN_DEPTH_8U && to == ZAN_DEPTH_16U)
        return sum;
    if (from == ZAN_DEPTH_16U && to == ZAN_DEPTH_8U) {
        if (!planes)
            return ct::floorShift(sum, 16);
        if (lastOfOddRow)
            return ct::floorShift(109 * r + 366 * g + 37 * b, 17);
        return ct::floorShift(ct::floorShift(109 * r, 16) + ct::floorShift(366 * g, 16) + ct::floorShift(37 * b, 16), 1);
    }
    return ct::floorShift(sum, 8);
}

TEST(ColorGray, ColorToGrayAtEveryPairOfDepths)
{
    std::mt19937 rng(4);
    const uint32_t sources[] = {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S};
    const uint32_t targets[] = {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_1U};
    for (uint32_t from : sources)
        for (uint32_t to : targets)
            for (int order : {ZAN_DATA_ORDER_PIXEL, ZAN_DATA_ORDER_PLANE})
                for (int width : {kLevels * kLevels, 33}) {
                    SCOPED_TRACE(std::string(zt::depthName(from)) + " to " + zt::depthName(to) + " order " +
                                 std::to_string(order) + " width " + std::to_string(width));
                    const bool cube = from == ZAN_DEPTH_8U && width > 33;
                    Shape shape{from, 3, width, cube ? kLevels : 9};
                    shape.order = order;
                    Image src = ct::modelImage(shape, "RGB", "RGB");
                    if (cube)
                        fillCube(src.get());
                    else
                        fillRandom(src.get(), rng, 0, 1);
                    Image dst = ct::modelImage(Shape{to, 1, shape.width, shape.height}, "GRAY", "G");
                    RecordingReporter recorder;
                    ct::underRounding(FE_UPWARD, [&] { zanColorToGray(src.get(), dst.get()); });
                    ASSERT_TRUE(recorder.reports().empty());
                    for (int y = 0; y < shape.height; ++y)
                        for (int x = 0; x < shape.width; ++x) {
                            const Px in = {zt::sampleAt(src.get(), x, y, 0), zt::sampleAt(src.get(), x, y, 1),
                                           zt::sampleAt(src.get(), x, y, 2)};
                            const bool last = x == shape.width - 1 && shape.width % 2 == 1;
                            ASSERT_EQ(zt::sampleAt(dst.get(), x, y, 0),
                                      grayReference(from, to, order == ZAN_DATA_ORDER_PLANE, in, last))
                                << x << "," << y;
                        }
                }
}

TEST(ColorGray, WhiteFrom16UPlanesIs254InGroupsAnd255Alone)
{
    Shape shape{ZAN_DEPTH_16U, 3, 7, 1};
    shape.order = ZAN_DATA_ORDER_PLANE;
    Image src = ct::modelImage(shape, "RGB", "BGR");
    for (int x = 0; x < 7; ++x)
        for (int c = 0; c < 3; ++c)
            zt::setSampleAt(src.get(), x, 0, c, 65535);
    Image dst = ct::modelImage(Shape{ZAN_DEPTH_8U, 1, 7, 1}, "Gray", "G");
    zanColorToGray(src.get(), dst.get());
    for (int x = 0; x < 6; ++x)
        EXPECT_EQ(zt::sampleAt(dst.get(), x, 0, 0), 254) << x;
    EXPECT_EQ(zt::sampleAt(dst.get(), 6, 0, 0), 255);
}

// Weights as the gray-to-colour row uses them: the integer weight and shift
// of each channel for the destination's depth, or the defaults.
struct Weights {
    double w[3];
    int shift;
};

Weights grayWeights(uint32_t depth, float r, float g, float b)
{
    const bool wide = depth == ZAN_DEPTH_16U || depth == ZAN_DEPTH_32S;
    const double factor = wide ? 32768 : 256;
    Weights out{{std::trunc(r * factor), std::trunc(g * factor), std::trunc(b * factor)}, wide ? 15 : 8};
    bool zero = true;
    for (double& w : out.w) {
        const double low = w - 65536 * std::floor(w / 65536);
        zero = zero && low == 0;
        if (depth != ZAN_DEPTH_32S)
            w = low;
    }
    if (!zero)
        return out;
    if (depth == ZAN_DEPTH_32S)
        return {{6968, 23434, 2364}, 15};
    if (depth == ZAN_DEPTH_16U)
        return {{109, 366, 37}, 9};
    return {{54, 183, 18}, 8};
}

double colorReference(uint32_t depth, double sample, double weight, int shift)
{
    double v;
    if (depth == ZAN_DEPTH_32S) {
        const double low = sample - 65536 * std::floor(sample / 65536);
        v = ct::floorShift(weight * low, 15) + 2 * weight * ct::floorShift(sample, 16);
    } else {
        v = ct::floorShift(sample * weight, shift);
    }
    const double bits = std::ldexp(1.0, depth == ZAN_DEPTH_32S ? 32 : int(depth));
    v -= bits * std::floor(v / bits);
    return depth == ZAN_DEPTH_32S && v >= 2147483648.0 ? v - bits : v;
}

TEST(ColorGray, GrayToColorWeightsDefaultsAndBits)
{
    struct Case {
        float r, g, b;
    };
    const Case weights[] = {{0.299f, 0.587f, 0.114f}, {0, 0, 0}, {0.001f, 0.0001f, 0.003f}, {1, 0.5f, 0.25f}};
    std::mt19937 rng(6);
    for (uint32_t depth : {ZAN_DEPTH_8U, ZAN_DEPTH_16U, ZAN_DEPTH_32S, ZAN_DEPTH_1U})
        for (const Case& w : weights)
            for (const char* seq : {"RGB", "BGR"}) {
                SCOPED_TRACE(std::string(zt::depthName(depth)) + " " + seq + " " + std::to_string(w.r));
                const uint32_t out = depth == ZAN_DEPTH_1U ? ZAN_DEPTH_8U : depth;
                Image src = ct::modelImage(Shape{depth, 1, 21, 5}, "GRAY", "G");
                zt::fillRandom(src.get(), rng);
                Image dst = ct::modelImage(Shape{out, 3, 21, 5}, "RGB", seq);
                RecordingReporter recorder;
                ct::underRounding(FE_DOWNWARD, [&] { zanGrayToColor(src.get(), dst.get(), w.r, w.g, w.b); });
                ASSERT_TRUE(recorder.reports().empty());
                const Weights k = grayWeights(out, w.r, w.g, w.b);
                for (int y = 0; y < 5; ++y)
                    for (int x = 0; x < 21; ++x) {
                        const double s = zt::sampleAt(src.get(), x, y, 0);
                        for (int c = 0; c < 3; ++c) {
                            const int channel = seq[0] == 'B' ? 2 - c : c;
                            const double want = depth == ZAN_DEPTH_1U
                                                    ? (s != 0 ? colorReference(out, 255, k.w[c], k.shift) : 0)
                                                    : colorReference(out, s, k.w[c], k.shift);
                            ASSERT_EQ(zt::sampleAt(dst.get(), x, y, channel), want) << x << "," << y << "," << c;
                        }
                    }
            }
}

// The gray conversions don't consult a ROI: the whole common area goes.
TEST(ColorGray, RoiIsIgnored)
{
    std::mt19937 rng(12);
    Image src = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 10, 6}, rng);
    ct::setModel(src.get(), "RGB", "RGB");
    zt::setRoi(src.get(), 0, 3, 2, 2, 2);
    Image dst = ct::modelImage(Shape{ZAN_DEPTH_8U, 1, 10, 6}, "GRAY", "GRAY");
    zt::setRoi(dst.get(), 0, 1, 1, 1, 1);
    RecordingReporter recorder;
    zanColorToGray(src.get(), dst.get());
    Image color = ct::modelImage(Shape{ZAN_DEPTH_8U, 3, 10, 6}, "RGB", "RGB");
    zt::setRoi(color.get(), 0, 1, 1, 1, 1);
    zanGrayToColor(dst.get(), color.get(), 1, 1, 1);
    EXPECT_TRUE(recorder.reports().empty());
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 10; ++x) {
            const Px in = {zt::sampleAt(src.get(), x, y, 0), zt::sampleAt(src.get(), x, y, 1), zt::sampleAt(src.get(), x, y, 2)};
            const double gray = grayReference(ZAN_DEPTH_8U, ZAN_DEPTH_8U, false, in, false);
            ASSERT_EQ(zt::sampleAt(dst.get(), x, y, 0), gray);
            ASSERT_EQ(zt::sampleAt(color.get(), x, y, 1), gray);
        }
}

// ---------------------------------------------------------------------------
// Refusals

TEST(ColorModels, RefusalsGiveTheirStatusAndText)
{
    auto image = [](uint32_t depth, int channels, const char* model, const char* seq) {
        return ct::sharedImage(Shape{depth, channels, 4, 4}, model, seq);
    };
    auto rgb = image(ZAN_DEPTH_8U, 3, "RGB", "RGB");
    auto hsv = image(ZAN_DEPTH_8U, 3, "HSV", "HSV");
    // Forward conversions write their model into the destination: they get
    // destinations of their own.
    auto out = image(ZAN_DEPTH_8U, 3, "XXX", "XXX");
    auto out8s = image(ZAN_DEPTH_8S, 3, "XXX", "XXX");
    auto out32f = image(ZAN_DEPTH_32F, 3, "XXX", "XXX");
    auto gray = image(ZAN_DEPTH_8U, 1, "GRAY", "G");
    auto withRoi = image(ZAN_DEPTH_8U, 3, "RGB", "RGB");
    zt::setRoi(withRoi.get(), 0, 0, 0, 2, 2);
    auto rgb16 = image(ZAN_DEPTH_16U, 3, "RGB", "RGB");
    auto rgb8s = image(ZAN_DEPTH_8S, 3, "RGB", "RGB");
    auto rgb32f = image(ZAN_DEPTH_32F, 3, "RGB", "RGB");
    auto four = image(ZAN_DEPTH_8U, 4, "RGB", "RGB");
    auto cmy = image(ZAN_DEPTH_8U, 3, "CMY", "CMY");
    auto rgbx = image(ZAN_DEPTH_8U, 3, "RGB", "RBG");
    auto gray32s = image(ZAN_DEPTH_32S, 1, "GRAY", "G");
    auto gray1 = image(ZAN_DEPTH_1U, 1, "GRAY", "G");
    auto gray16 = image(ZAN_DEPTH_16U, 1, "GRAY", "G");
    auto rgb32s = image(ZAN_DEPTH_32S, 3, "RGB", "RGB");
    auto gray8s = image(ZAN_DEPTH_8S, 1, "GRAY", "G");
    auto rgb8sb = image(ZAN_DEPTH_8S, 3, "RGB", "RGB");
    auto grayPixels2 = image(ZAN_DEPTH_8U, 2, "GRAY", "GG");
    auto grayBad = image(ZAN_DEPTH_8U, 1, "GREY", "G");
    auto graySeq = image(ZAN_DEPTH_8U, 1, "GRAY", "Y");
    Shape onePlane{ZAN_DEPTH_8U, 1, 4, 4};
    onePlane.order = ZAN_DATA_ORDER_PLANE;
    auto yuvPlanes1 = ct::sharedImage(onePlane, "YUV", "YUV");
    auto ycc16 = image(ZAN_DEPTH_16U, 3, "YCC", "YCC");
    auto bottom = image(ZAN_DEPTH_8U, 1, "GRAY", "G");
    bottom->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    const char* shape =
        "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "
        "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)";
    const std::vector<ct::Refusal> refusals = {
        {"null source", [&] { zanRGB2HSV(nullptr, out.get()); }, -9, "zanRGB2HSV: Incorrect Image", "owncolor"},
        {"source model", [&] { zanRGB2HSV(cmy.get(), out.get()); }, -5, "zanRGB2HSV: colorModel must be RGB instead of CMY", "owncolor"},
        {"source sequence", [&] { zanRGB2XYZ(rgbx.get(), out.get()); }, -5, "zanRGB2XYZ: channelSeq must be RGB or BGR instead of RBG", "owncolor"},
        {"roi", [&] { zanRGB2HLS(withRoi.get(), out.get()); }, -5, "zanRGB2HLS: src & dst roi must be NULL", "owncolor"},
        {"destination channels", [&] { zanRGB2YCrCb(rgb.get(), four.get()); }, -5, std::string("zanRGB2YCrCb: ") + shape, "owncolor"},
        {"depths differ", [&] { zanRGB2HSV(rgb.get(), rgb16.get()); }, -5, std::string("zanRGB2HSV: ") + shape, "owncolor"},
        {"HSV at 32F", [&] { zanRGB2HSV(rgb32f.get(), out32f.get()); }, -5, "ownRGB2HSV: Error input depth. 32S,16U,8U are valid now", "ownhsv"},
        {"XYZ at 8S", [&] { zanRGB2XYZ(rgb8s.get(), out8s.get()); }, -5, "ownRGB2XYZ: Error input depth. 32F, 32S ,16U,8U are valid now", "ownxyz"},
        {"LUV at 8U", [&] { zanRGB2LUV(rgb.get(), out.get()); }, -5, "ownRGB2LUV: Error input depth. 32F is valid now", "ownluv"},
        {"back: RGB destination", [&] { zanHSV2RGB(hsv.get(), cmy.get()); }, -5, "zanHSV2RGB: colorModel must be RGB instead of CMY", "owncolor"},
        {"back: source model", [&] { zanHLS2RGB(hsv.get(), rgb.get()); }, -5, "zanHLS2RGB: src-> colorModel must be HLS instead of HSV", "owncolor"},
        {"back: source sequence", [&] {
             auto mixed = image(ZAN_DEPTH_8U, 3, "XYZ", "XZY");
             zanXYZ2RGB(mixed.get(), rgb.get());
         }, -5, "zanXYZ2RGB: src-> channelSeq must be XYZ instead of XZY", "owncolor"},
        {"YCC at 16U", [&] { zanYCC2RGB(ycc16.get(), rgb16.get()); }, -5, "ownYCC2RGB: Error input depth. 8U is valid now", "ownycc"},
        {"YUV depths", [&] { zanRGB2YUV(rgb.get(), rgb16.get()); }, -5, "zanRGB2YUV: src1->depth != src2->depth", "owncolor"},
        {"YUV plane with one channel", [&] { zanRGB2YUV(rgb.get(), yuvPlanes1.get()); }, -5, std::string("zanRGB2YUV: ") + shape, "owncolor"},
        {"YUV back: model", [&] { zanYUV2RGB(hsv.get(), rgb.get()); }, -5, "zanYUV2RGB: src-> colorModel must be YUV instead of HSV", "owncolor"},
        {"gray: model", [&] { zanColorToGray(rgb.get(), grayBad.get()); }, -5, "zanColorToGray: colorModel must be GRAY instead of GREY", "owncolor"},
        {"gray: sequence", [&] { zanColorToGray(rgb.get(), graySeq.get()); }, -5, "zanColorToGray: channelSeq must be G instead of Y", "owncolor"},
        {"gray: pixel channels", [&] { zanColorToGray(rgb.get(), grayPixels2.get()); }, -5, "zanColorToGray: (dst-> dataOrder == ZAN_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)", "owncolor"},
        {"gray: origins", [&] { zanColorToGray(rgb.get(), bottom.get()); }, -5, "zanColorToGray: src->origin != dst->origin", "owncolor"},
        {"gray: depths", [&] { zanColorToGray(rgb.get(), gray32s.get()); }, -5, "ownColorToGray: Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now", "Ownctog"},
        {"gray: 8S source", [&] { zanColorToGray(rgb8s.get(), gray.get()); }, -5, "ownColorToGray: Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now", "Ownctog"},
        {"colour: source not 1U", [&] { zanGrayToColor(gray16.get(), rgb.get(), 0, 0, 0); }, -5, "zanGrayToColor: src-> depth != dst-> depth && src-> depth != 1U", "owncolor"},
        {"colour: 1U to 16U", [&] { zanGrayToColor(gray1.get(), rgb16.get(), 0, 0, 0); }, -5, "zanGrayToColor: src-> depth == dst-> depth && dst-> depth != 8U", "owncolor"},
        {"colour: pixel channels", [&] { zanGrayToColor(grayPixels2.get(), rgb.get(), 0, 0, 0); }, -5, "zanGrayToColor: (src-> dataOrder == ZAN_DATA_ORDER_PIXEL) && (src-> nChannels != 1)", "owncolor"},
        {"colour: origins", [&] { zanGrayToColor(bottom.get(), rgb.get(), 0, 0, 0); }, -5, "zanGrayToColor: (src->origin != dst->origin)", "owncolor"},
        {"colour: 8S", [&] { zanGrayToColor(gray8s.get(), rgb8sb.get(), 0, 0, 0); }, -5, "ownGrayToColor: Error input depth. 32S,16U,8U are valid now", "Owngtoc"},
        {"colour: 32S is fine, two-channel RGB is not", [&] {
             auto thin = image(ZAN_DEPTH_32S, 2, "RGB", "RGB");
             zanGrayToColor(gray32s.get(), rgb32s.get(), 0, 0, 0);
             zanGrayToColor(gray32s.get(), thin.get(), 0, 0, 0);
         }, -5, "zanGrayToColor: RGB image must have 3 channels", "owncolor"},
    };
    ct::expectRefusals(refusals);
}

// The forward conversions name the model before the depth is tested.
TEST(ColorModels, RefusedForDepthAfterTheNameIsWritten)
{
    Image src = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 4, 4}, "RGB", "RGB");
    Image dst = ct::modelImage(Shape{ZAN_DEPTH_32F, 3, 4, 4}, "RGB", "BGR");
    RecordingReporter recorder;
    zanRGB2HLS(src.get(), dst.get());
    EXPECT_EQ(recorder.summary(), std::vector<std::string>{"ownRGB2HLS: Error input depth. 32S,16U,8U are valid now"});
    EXPECT_EQ(ct::text4(dst->colorModel), "HLS");
    EXPECT_EQ(ct::text4(dst->channelSeq), "HLS");
    EXPECT_EQ(std::memcmp(dst->colorModel, "HLS\0", 4), 0);
}

} // namespace
