// Colour twist against the matrix computed here in exact integers (and in
// doubles for floats), over random regions, masks, layouts and tiles.
#include "color_util.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

struct TwistDeleter {
    void operator()(ZanColorTwist* twist) const { zanDeleteColorTwist(twist); }
};
using Twist = std::unique_ptr<ZanColorTwist, TwistDeleter>;

// Output r of the integer twist: the exact sum over 2^scale truncated toward
// zero, held to 0..M, then offset and held again.
double integerTwist(const int32_t* data, int scale, int offset, double full, const double (&x)[3], int r)
{
    int64_t sum = data[4 * r + 3];
    for (int k = 0; k < 3; ++k)
        sum += static_cast<int64_t>(data[4 * r + k]) * static_cast<int64_t>(x[k]);
    const double t = std::clamp(static_cast<double>(sum / (int64_t{1} << scale)), 0.0, full);
    return std::clamp(t + offset, 0.0, full);
}

double floatTwist(const float* data, const double (&x)[3], int r)
{
    const double sum = double(data[4 * r]) * x[0] + double(data[4 * r + 1]) * x[1] + double(data[4 * r + 2]) * x[2] +
                       double(data[4 * r + 3]);
    return static_cast<float>(sum);
}

// The region of an image: its ROI clipped to it, or all of it.
struct Region {
    int x, y, width, height;
};

Region regionOf(const ZanImage* image)
{
    if (!image->roi)
        return {0, 0, image->width, image->height};
    const ZanROI& r = *image->roi;
    return {r.xOffset, r.yOffset, std::min(r.width, image->width - r.xOffset), std::min(r.height, image->height - r.yOffset)};
}

// The expected destination: before, with the twist written where the
// common region (and the masks' regions) allow and the mask bits are set.
void expectTwisted(const ZanImage* src, const ZanImage* before, const ZanImage* after,
                   const std::function<double(const double (&)[3], int)>& twist)
{
    const Region s = regionOf(src);
    const Region d = regionOf(before);
    int width = std::min(s.width, d.width);
    int height = std::min(s.height, d.height);
    const ZanImage* masks[2] = {src->maskROI, before->maskROI};
    if (masks[0] == masks[1])
        masks[1] = nullptr;
    for (const ZanImage* m : masks)
        if (m) {
            width = std::min(width, regionOf(m).width);
            height = std::min(height, regionOf(m).height);
        }
    std::vector<bool> written(static_cast<std::size_t>(before->width) * before->height);
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            bool on = true;
            for (const ZanImage* m : masks)
                if (m)
                    on = on && zt::bitAt(m, regionOf(m).x + i, regionOf(m).y + j);
            if (on)
                written[static_cast<std::size_t>(d.y + j) * before->width + d.x + i] = true;
        }
    for (int y = 0; y < before->height; ++y)
        for (int x = 0; x < before->width; ++x) {
            const bool w = written[static_cast<std::size_t>(y) * before->width + x];
            double in[3];
            for (int k = 0; k < 3; ++k)
                in[k] = w ? zt::sampleAt(src, s.x + x - d.x, s.y + y - d.y, k) : 0;
            for (int c = 0; c < before->nChannels; ++c) {
                const double want = w && c < 3 ? twist(in, c) : zt::sampleAt(before, x, y, c);
                ASSERT_EQ(zt::sampleAt(after, x, y, c), want) << "pixel (" << x << ", " << y << ") channel " << c;
            }
        }
}

std::vector<int32_t> randomMatrix(std::mt19937& rng, int scale)
{
    const int64_t unit = int64_t{1} << scale;
    std::uniform_int_distribution<int64_t> weight(-2 * unit, 2 * unit);
    std::uniform_int_distribution<int64_t> constant(-300 * unit, 300 * unit);
    std::vector<int32_t> data(16);
    for (int i = 0; i < 16; ++i)
        data[i] = static_cast<int32_t>(std::clamp<int64_t>(i % 4 == 3 ? constant(rng) : weight(rng), INT32_MIN, INT32_MAX));
    return data;
}

void randomRoi(ZanImage* image, std::mt19937& rng)
{
    std::uniform_int_distribution<int> pick(0, 3);
    if (pick(rng) == 0)
        return;
    std::uniform_int_distribution<int> x(0, image->width), y(0, image->height);
    std::uniform_int_distribution<int> w(1, image->width + 3), h(1, image->height + 3);
    zt::setRoi(image, 0, x(rng), y(rng), w(rng), h(rng));
}

enum class MaskKind { none, source, destination, same, both };

// Runs cases of random shapes, matrices, regions and masks through
// zanApplyColorTwist, plain, tiled and in place.
TEST(ColorTwist, ApplyMatchesTheExactMatrix)
{
    std::mt19937 rng(31);
    std::uniform_int_distribution<int> size(1, 40);
    std::uniform_int_distribution<int> scales(0, 31);
    for (int round = 0; round < 240; ++round) {
        const uint32_t depth = round % 2 ? ZAN_DEPTH_16U : ZAN_DEPTH_8U;
        const int order = (round / 2) % 2 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
        const int scale = round % 7 == 0 ? 0 : scales(rng);
        const auto kind = static_cast<MaskKind>(round % 5);
        const int tiling = (round / 5) % 4; // 0 none, 1 source, 2 destination, 3 both
        const bool inPlace = round % 11 == 0;
        Shape srcShape{depth, 3 + (round / 3) % 2, size(rng), size(rng)};
        srcShape.order = order;
        srcShape.alpha = srcShape.channels == 4 && round % 4 == 0 ? 4 : 0;
        Shape dstShape{depth, 3 + (round / 6) % 2, size(rng), size(rng)};
        dstShape.order = order;
        SCOPED_TRACE("round " + std::to_string(round) + " " + zt::describe(srcShape) + " -> " + zt::describe(dstShape));

        zt::TiledImage src(srcShape, 8, 16);
        zt::TiledImage dst(inPlace ? srcShape : dstShape, 16, 8);
        zt::fillRandom(src.plain(), rng);
        zt::fillRandom(dst.plain(), rng);
        src.load();
        dst.load();
        ZanImage* s = tiling & 1 ? src.header() : src.plain();
        ZanImage* d = inPlace ? s : tiling & 2 ? dst.header() : dst.plain();
        randomRoi(s, rng);
        if (!inPlace)
            randomRoi(d, rng);
        if (s->roi && s != src.plain())
            zt::setRoi(src.plain(), 0, s->roi->xOffset, s->roi->yOffset, s->roi->width, s->roi->height);
        if (d->roi && d == dst.header())
            zt::setRoi(dst.plain(), 0, d->roi->xOffset, d->roi->yOffset, d->roi->width, d->roi->height);
        auto attachMask = [&](ZanImage* image) {
            ZanImage* mask = zt::attachRandomMask(image, size(rng), size(rng), rng);
            if (round % 3 == 0)
                zt::setRoi(mask, 0, mask->width / 3, mask->height / 4, mask->width, mask->height);
        };
        if (kind == MaskKind::source || kind == MaskKind::both || kind == MaskKind::same)
            attachMask(s);
        if ((kind == MaskKind::destination || kind == MaskKind::both) && !inPlace)
            attachMask(d);
        if (kind == MaskKind::same && !inPlace)
            d->maskROI = s->maskROI;

        // The plain copies carry the same ROIs and masks for the reference.
        ZanImage* plainDst = d == dst.header() ? dst.plain() : d == s && s == src.header() ? src.plain() : d;
        ZanImage* plainSrc = s == src.header() ? src.plain() : s;
        if (plainSrc != s)
            plainSrc->maskROI = s->maskROI;
        if (plainDst != d)
            plainDst->maskROI = d->maskROI;
        Image before(zanCloneImage(plainDst));
        Image sourceCopy(zanCloneImage(plainSrc));
        before->maskROI = plainDst->maskROI;
        sourceCopy->maskROI = plainSrc->maskROI;

        const std::vector<int32_t> data = randomMatrix(rng, scale);
        const int offset = std::uniform_int_distribution<int>(-300, 300)(rng);
        Twist twist(zanCreateColorTwist(data.data(), scale));
        RecordingReporter recorder;
        ct::underRounding(FE_UPWARD, [&] { zanApplyColorTwist(s, d, twist.get(), offset); });
        EXPECT_TRUE(recorder.reports().empty());
        if (d == dst.header())
            dst.store();
        if (inPlace && s == src.header())
            src.store();
        const double full = depth == ZAN_DEPTH_8U ? 255 : 65535;
        expectTwisted(sourceCopy.get(), before.get(), plainDst, [&](const double (&x)[3], int r) {
            return integerTwist(data.data(), scale, offset, full, x, r);
        });
        EXPECT_FALSE(src.misuse || dst.misuse);
        EXPECT_EQ(src.openCount(), src.releaseCount());
        EXPECT_EQ(dst.openCount(), dst.releaseCount());
        // The masks belong to the image they were attached to.
        before->maskROI = nullptr;
        sourceCopy->maskROI = nullptr;
        if (plainSrc != s)
            plainSrc->maskROI = nullptr;
        if (plainDst != d)
            plainDst->maskROI = nullptr;
        if (kind == MaskKind::same && !inPlace)
            d->maskROI = nullptr;
    }
}

TEST(ColorTwist, FloatTwistRoundsOnceToNearestInEveryMode)
{
    std::mt19937 rng(44);
    std::uniform_real_distribution<float> value(-3, 3);
    for (int round = 0; round < 24; ++round) {
        const int order = round % 2 ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL;
        Shape srcShape{ZAN_DEPTH_32F, 3 + round % 2, 13 + round, 9};
        srcShape.order = order;
        Shape dstShape{ZAN_DEPTH_32F, 4 - round % 2, 11, 10 + round % 3};
        dstShape.order = order;
        zt::TiledImage src(srcShape, 8, 8);
        zt::TiledImage dst(dstShape, 8, 8);
        zt::fillRandom(src.plain(), rng);
        zt::fillRandom(dst.plain(), rng);
        src.load();
        dst.load();
        Image before(zanCloneImage(dst.plain()));
        float matrix[16];
        for (float& m : matrix)
            m = value(rng);
        ZanImage* s = round % 3 ? src.header() : src.plain();
        ZanImage* d = round % 4 ? dst.header() : dst.plain();
        RecordingReporter recorder;
        ZanStatus status = 1;
        ct::underRounding(ct::kRoundingModes[round % 4], [&] { status = zanColorTwistFP(s, d, matrix); });
        EXPECT_EQ(status, ZAN_STATUS_OK);
        EXPECT_TRUE(recorder.reports().empty());
        if (d == dst.header())
            dst.store();
        expectTwisted(src.plain(), before.get(), dst.plain(),
                      [&](const double (&x)[3], int r) { return floatTwist(matrix, x, r); });
    }
}

double applyOne(uint32_t depth, const std::vector<int32_t>& data, int scale, int offset, double (&pixel)[4], int channel)
{
    Image src = zt::makeImage(Shape{depth, 4, 1, 1});
    Image dst = zt::makeImage(Shape{depth, 4, 1, 1}, 99);
    for (int c = 0; c < 4; ++c)
        zt::setSampleAt(src.get(), 0, 0, c, pixel[c]);
    Twist twist(zanCreateColorTwist(data.data(), scale));
    zanApplyColorTwist(src.get(), dst.get(), twist.get(), offset);
    return zt::sampleAt(dst.get(), 0, 0, channel);
}

TEST(ColorTwist, EdgeCases)
{
    RecordingReporter recorder;
    const std::vector<int32_t> identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    double pixel[4] = {10, 200, 255, 7};
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(applyOne(ZAN_DEPTH_8U, identity, 0, 0, pixel, c), pixel[c]);
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, identity, 0, 0, pixel, 3), 99) << "the fourth channel stays";
    // Weights of 256 at scale 8: the constant counts in 1/256ths.
    const std::vector<int32_t> copy256 = {256, 0, 0, 128, 0, 256, 0, 256, 0, 0, 256, 0, 0, 0, 0, 0};
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, copy256, 8, 0, pixel, 0), 10);
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, copy256, 8, 0, pixel, 1), 201);
    // Saturation in two steps.
    const std::vector<int32_t> negative = {-1, 0, 0, 0, 0, 0, 0, 300, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, negative, 0, 10, pixel, 0), 10) << "negative sum with offset 10";
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, negative, 0, -10, pixel, 1), 245) << "300 with offset -10";
    EXPECT_EQ(applyOne(ZAN_DEPTH_16U, negative, 0, 70000, pixel, 2), 65535);
    EXPECT_EQ(applyOne(ZAN_DEPTH_16U, negative, 0, -70000, pixel, 1), 0);
    // Truncation toward zero: 5 / 2 gives 2 and -5 / 2 gives -2, held to 0.
    const std::vector<int32_t> halves = {0, 0, 0, 5, 0, 0, 0, -5, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, halves, 1, 0, pixel, 0), 2);
    EXPECT_EQ(applyOne(ZAN_DEPTH_8U, halves, 1, 3, pixel, 1), 3);
    EXPECT_TRUE(recorder.reports().empty());

    // Float results are not saturated.
    Image fsrc = zt::makeImage(Shape{ZAN_DEPTH_32F, 3, 1, 1}, 1);
    Image fdst = zt::makeImage(Shape{ZAN_DEPTH_32F, 3, 1, 1});
    const float wide[16] = {2, 0, 0, 0, -3, 0, 0, 0, 0, 0, 0, 0.5f};
    EXPECT_EQ(zanColorTwistFP(fsrc.get(), fdst.get(), wide), 0);
    EXPECT_EQ(zt::sampleAt(fdst.get(), 0, 0, 0), 2);
    EXPECT_EQ(zt::sampleAt(fdst.get(), 0, 0, 1), -3);
    EXPECT_EQ(zt::sampleAt(fdst.get(), 0, 0, 2), 0.5);
}

TEST(ColorTwist, MaskWithoutCommonAreaChangesNothing)
{
    std::mt19937 rng(5);
    Image src = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 10, 10}, rng);
    Image dst = zt::makeRandomImage(Shape{ZAN_DEPTH_8U, 3, 10, 10}, rng);
    ZanImage* mask = zt::attachRandomMask(dst.get(), 8, 8, rng);
    zt::setRoi(mask, 0, 9, 0, 4, 4); // beyond the mask's width
    const std::vector<uint8_t> before = zt::bytesOf(dst.get());
    const std::vector<int32_t> data = {1, 0, 0, 9, 0, 1, 0, 9, 0, 0, 1, 9, 0, 0, 0, 0};
    Twist twist(zanCreateColorTwist(data.data(), 0));
    RecordingReporter recorder;
    zanApplyColorTwist(src.get(), dst.get(), twist.get(), 0);
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(zt::bytesOf(dst.get()), before);
}

TEST(ColorTwist, CreateAndSetKeepTheMatrix)
{
    RecordingReporter recorder;
    const std::vector<int32_t> a = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const std::vector<int32_t> b(16, 0);
    Twist twist(zanCreateColorTwist(a.data(), 31));
    ASSERT_NE(twist, nullptr);
    EXPECT_EQ(zanSetColorTwist(twist.get(), b.data(), 32), ZAN_STATUS_BAD_ARGUMENT);
    // The refused set left the matrix: weights of 1 at scale 31 give 0.
    Image src = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 1, 1}, 255);
    Image dst = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 1, 1}, 1);
    zanApplyColorTwist(src.get(), dst.get(), twist.get(), 5);
    EXPECT_EQ(zt::sampleAt(dst.get(), 0, 0, 0), 5);
    EXPECT_EQ(zanSetColorTwist(twist.get(), a.data(), 0), 0);
    zanApplyColorTwist(src.get(), dst.get(), twist.get(), 0);
    EXPECT_EQ(zt::sampleAt(dst.get(), 0, 0, 0), 255);
    zanDeleteColorTwist(nullptr);
    EXPECT_EQ(recorder.summary(), std::vector<std::string>{"zanSetColorTwist: (scalingValue > 31)"});
}

TEST(ColorTwist, RefusalsGiveTheirStatusAndText)
{
    const std::vector<int32_t> data(16, 1);
    Twist twist(zanCreateColorTwist(data.data(), 0));
    auto image = [](uint32_t depth, int channels, int alpha = 0) {
        Shape shape{depth, channels, 4, 4};
        shape.alpha = alpha;
        return ct::sharedImage(shape);
    };
    auto rgb = image(ZAN_DEPTH_8U, 3);
    auto two = image(ZAN_DEPTH_8U, 2);
    auto alpha3 = image(ZAN_DEPTH_8U, 3, 3);
    auto rgb16 = image(ZAN_DEPTH_16U, 3);
    auto rgb8s = image(ZAN_DEPTH_8S, 3);
    auto planes = image(ZAN_DEPTH_8U, 3);
    planes->dataOrder = ZAN_DATA_ORDER_PLANE;
    auto bottom = image(ZAN_DEPTH_8U, 3);
    bottom->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    auto masked = image(ZAN_DEPTH_8U, 3);
    std::mt19937 rng(1);
    zt::attachRandomMask(masked.get(), 4, 4, rng)->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    auto fl = image(ZAN_DEPTH_32F, 3);
    auto fl2 = image(ZAN_DEPTH_32F, 2);
    auto flBottom = image(ZAN_DEPTH_32F, 3);
    flBottom->origin = ZAN_ORIGIN_BOTTOM_LEFT;
    const float matrix[12] = {};

    struct Case {
        std::function<void()> call;
        int status;
        const char* summary;
    };
    const Case cases[] = {
        {[&] { zanCreateColorTwist(nullptr, 0); }, -5, "zanCreateColorTwist: bad_argument"},
        {[&] { zanCreateColorTwist(data.data(), -1); }, -5, "zanCreateColorTwist: bad_argument"},
        {[&] { zanCreateColorTwist(data.data(), 32); }, -5, "zanCreateColorTwist: bad_argument"},
        {[&] { zanSetColorTwist(nullptr, data.data(), 0); }, -5, "zanSetColorTwist: cTwist==0"},
        {[&] { zanSetColorTwist(twist.get(), nullptr, 0); }, -5, "zanSetColorTwist: (data == 0)"},
        {[&] { zanSetColorTwist(twist.get(), data.data(), -1); }, -5, "zanSetColorTwist: (scalingValue < 0)"},
        {[&] { zanApplyColorTwist(nullptr, rgb.get(), twist.get(), 0); }, -9, "zanApplyColorTwist: Incorrect Image"},
        {[&] { zanApplyColorTwist(rgb.get(), nullptr, twist.get(), 0); }, -9, "zanApplyColorTwist: Incorrect Image"},
        {[&] { zanApplyColorTwist(rgb.get(), rgb.get(), nullptr, 0); }, -5, "zanApplyColorTwist: cTwist==0"},
        {[&] { zanApplyColorTwist(two.get(), rgb.get(), twist.get(), 0); }, -5, "zanApplyColorTwist: (srcImage->nChannels < 3)"},
        {[&] { zanApplyColorTwist(alpha3.get(), rgb.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: ((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))"},
        {[&] { zanApplyColorTwist(rgb.get(), two.get(), twist.get(), 0); }, -5, "zanApplyColorTwist: (dstImage->nChannels < 3)"},
        {[&] { zanApplyColorTwist(rgb.get(), alpha3.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: ((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))"},
        {[&] { zanApplyColorTwist(rgb.get(), rgb16.get(), twist.get(), 0); }, -5, "zanApplyColorTwist: (srcImage->depth != dstImage->depth)"},
        {[&] { zanApplyColorTwist(rgb8s.get(), rgb8s.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: ((srcImage->depth != 8) && (srcImage->depth != 16))"},
        {[&] { zanApplyColorTwist(rgb.get(), planes.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: (srcImage->dataOrder != dstImage->dataOrder)"},
        {[&] { zanApplyColorTwist(rgb.get(), bottom.get(), twist.get(), 0); }, -5, "zanApplyColorTwist: (srcImage->origin != dstImage->origin)"},
        {[&] { zanApplyColorTwist(masked.get(), rgb.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: (srcImage->origin != srcImage->maskROI->origin)"},
        {[&] { zanApplyColorTwist(rgb.get(), masked.get(), twist.get(), 0); }, -5,
         "zanApplyColorTwist: (dstImage->origin != dstImage->maskROI->origin)"},
        {[&] { EXPECT_EQ(zanColorTwistFP(nullptr, fl.get(), matrix), -5); }, -9, "zanColorTwistFP: Incorrect Image"},
        {[&] { EXPECT_EQ(zanColorTwistFP(fl.get(), fl.get(), nullptr), -5); }, -5, "zanColorTwistFP: (TwistFP == 0)"},
        {[&] { EXPECT_EQ(zanColorTwistFP(fl.get(), rgb.get(), matrix), -5); }, -5,
         "zanColorTwistFP: ((srcImage->depth != 32)|| (dstImage->depth != 32))"},
        {[&] { EXPECT_EQ(zanColorTwistFP(fl.get(), flBottom.get(), matrix), -5); }, -5,
         "zanColorTwistFP: (srcImage->origin != dstImage->origin)"},
        {[&] { EXPECT_EQ(zanColorTwistFP(fl2.get(), fl.get(), matrix), -5); }, -5, "zanColorTwistFP: (srcImage->nChannels < 3)"},
        {[&] { EXPECT_EQ(zanColorTwistFP(fl.get(), fl2.get(), matrix), -5); }, -5, "zanColorTwistFP: (dstImage->nChannels < 3)"},
    };
    // Each function reports in its own source unit.
    std::vector<ct::Refusal> refusals;
    for (const Case& c : cases)
        refusals.push_back({c.summary, c.call, c.status, c.summary,
                            std::string(c.summary).rfind("zanColorTwistFP", 0) == 0 ? "zantwstf" : "zantwist"});
    ct::expectRefusals(refusals);
}

// A tile that isn't given ends the walk with what is open released; the
// float twist then returns -4.
TEST(ColorTwist, MissingTileIsReportedAndReleasesWhatIsOpen)
{
    for (bool failSource : {false, true}) {
        zt::TiledImage src(Shape{ZAN_DEPTH_32F, 3, 20, 20}, 8, 8);
        zt::TiledImage dst(Shape{ZAN_DEPTH_32F, 3, 20, 20}, 8, 8);
        (failSource ? src : dst).failOpenAt = 2;
        const float matrix[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
        RecordingReporter recorder;
        EXPECT_EQ(zanColorTwistFP(src.header(), dst.header(), matrix), ZAN_STATUS_NO_MEMORY);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{failSource
                                                                   ? "zanColorTwistFP: (srcImage->tileInfo->tileData == NULL)"
                                                                   : "zanColorTwistFP: (dstImage->tileInfo->tileData == NULL)"});
        EXPECT_EQ(src.openCount() - (failSource ? 1 : 0), src.releaseCount());
        EXPECT_EQ(dst.openCount() - (failSource ? 0 : 1), dst.releaseCount());
        EXPECT_FALSE(src.misuse || dst.misuse);
        // The destination's tile is opened before the source's.
        ASSERT_FALSE(dst.calls.empty());
        EXPECT_EQ(dst.calls[0], (zt::TiledImage::Call{0, 0, ZAN_TILE_WRITE}));
    }
}

} // namespace
