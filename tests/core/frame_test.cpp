// The frame of pixelwise operations, through its helpers and through zanAdd.
#include "frame_reference.h"
#include "zan_test.h"

#include "core/own_frame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;
using Call = TiledImage::Call;

double saturatedSum(uint32_t depth, double a, double b)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return (a != 0 || b != 0) ? 1 : 0;
    case ZAN_DEPTH_8U: return std::min(a + b, 255.0);
    case ZAN_DEPTH_8S: return std::clamp(a + b, -128.0, 127.0);
    case ZAN_DEPTH_16U: return std::min(a + b, 65535.0);
    case ZAN_DEPTH_16S: return std::clamp(a + b, -32768.0, 32767.0);
    case ZAN_DEPTH_32S: return std::clamp(a + b, -2147483648.0, 2147483647.0);
    default: return static_cast<float>(static_cast<float>(a) + static_cast<float>(b));
    }
}

TEST(Frame, WorkedExampleOpensFourTilesAndCallsTheRoutineFourTimes)
{
    std::mt19937 rng(11);
    TiledImage a(Shape{ZAN_DEPTH_8U, 3, 150, 100}, 64, 64);
    zt::fillRandom(a.plain(), rng);
    a.load();
    zt::setRoi(a.header(), 0, 10, 20, 100, 50);
    Shape bShape{ZAN_DEPTH_8U, 4, 200, 200};
    bShape.alpha = 4;
    Image b = zt::makeRandomImage(bShape, rng);
    Image d = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 100, 50});

    int routineCalls = 0;
    OwnChannelPlan plan{};
    {
        RecordingReporter recorder;
        OwnFrame frame(OwnSite{"zanAdd", "zanadd"}, a.header(), b.get(), d.get());
        ASSERT_TRUE(frame.prepare(true));
        plan = frame.plan();
        EXPECT_EQ(frame.mask(), nullptr);
        frame.run([&](const OwnPiece&) {
            ++routineCalls;
        });
        EXPECT_TRUE(recorder.reports().empty());
    }
    EXPECT_EQ(routineCalls, 4);
    EXPECT_EQ(plan.channelCount, 3);
    EXPECT_TRUE(plan.noCoi);
    EXPECT_TRUE(plan.anyAlpha);
    const std::vector<Call> expectedCalls = {
        {0, 0, ZAN_TILE_READ}, {0, 0, ZAN_TILE_RELEASE}, {1, 0, ZAN_TILE_READ}, {1, 0, ZAN_TILE_RELEASE},
        {0, 1, ZAN_TILE_READ}, {0, 1, ZAN_TILE_RELEASE}, {1, 1, ZAN_TILE_READ}, {1, 1, ZAN_TILE_RELEASE},
    };
    EXPECT_EQ(a.calls, expectedCalls);

    a.calls.clear();
    RecordingReporter recorder;
    zanAdd(a.header(), b.get(), d.get());
    EXPECT_EQ(a.calls, expectedCalls);
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 100; ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(zt::sampleAt(d.get(), x, y, c),
                          std::min(255.0, zt::sampleAt(a.plain(), 10 + x, 20 + y, c) +
                                              zt::sampleAt(b.get(), x, y, c)))
                    << x << "," << y << "," << c;
}

TEST(Frame, PiecesNeverCrossATile)
{
    TiledImage a(Shape{ZAN_DEPTH_16U, 1, 50, 30}, 16, 8);
    TiledImage b(Shape{ZAN_DEPTH_16U, 1, 50, 30}, 24, 16);
    TiledImage d(Shape{ZAN_DEPTH_16U, 1, 50, 30}, 8, 24);
    zt::setRoi(a.header(), 0, 3, 5, 40, 20);
    zt::setRoi(d.header(), 0, 7, 1, 45, 29);
    RecordingReporter recorder;
    OwnFrame frame(OwnSite{"f", "s"}, a.header(), b.header(), d.header());
    ASSERT_TRUE(frame.prepare(true));
    int pixels = 0;
    frame.run([&](const OwnPiece& piece) {
        const ZanImage* images[] = {piece.src[0], piece.src[1], piece.dst};
        int width = -1, height = -1;
        for (const ZanImage* image : images) {
            ASSERT_NE(image->imageData, nullptr);
            ASSERT_EQ(image->tileInfo, nullptr);
            const ZanROI* roi = image->roi;
            ASSERT_NE(roi, nullptr);
            EXPECT_LE(roi->xOffset + roi->width, image->width);
            EXPECT_LE(roi->yOffset + roi->height, image->height);
            if (width >= 0) {
                EXPECT_EQ(roi->width, width);
                EXPECT_EQ(roi->height, height);
            }
            width = roi->width;
            height = roi->height;
        }
        pixels += width * height;
    });
    EXPECT_EQ(pixels, 40 * 20);
    for (TiledImage* t : {&a, &b, &d}) {
        EXPECT_FALSE(t->misuse);
        EXPECT_EQ(t->openCount(), t->releaseCount());
    }
    for (const Call& call : d.calls)
        EXPECT_NE(call.mode, ZAN_TILE_READ);
    for (const Call& call : a.calls)
        EXPECT_NE(call.mode, ZAN_TILE_WRITE);
}

TEST(Frame, InPlaceOpensTheDestinationOnceForWriting)
{
    TiledImage d(Shape{ZAN_DEPTH_8U, 1, 20, 10}, 16, 8);
    RecordingReporter recorder;
    zanAdd(d.header(), d.header(), d.header());
    const std::vector<Call> expected = {
        {0, 0, ZAN_TILE_WRITE}, {0, 0, ZAN_TILE_RELEASE}, {1, 0, ZAN_TILE_WRITE}, {1, 0, ZAN_TILE_RELEASE},
        {0, 1, ZAN_TILE_WRITE}, {0, 1, ZAN_TILE_RELEASE}, {1, 1, ZAN_TILE_WRITE}, {1, 1, ZAN_TILE_RELEASE},
    };
    EXPECT_EQ(d.calls, expected);

    // One source in both roles is opened once per role.
    TiledImage s(Shape{ZAN_DEPTH_8U, 1, 8, 8}, 8, 8);
    Image out = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8});
    zanAdd(s.header(), s.header(), out.get());
    const std::vector<Call> twice = {
        {0, 0, ZAN_TILE_READ}, {0, 0, ZAN_TILE_READ}, {0, 0, ZAN_TILE_RELEASE}, {0, 0, ZAN_TILE_RELEASE}};
    EXPECT_EQ(s.calls, twice);
    EXPECT_TRUE(recorder.reports().empty());
}

TEST(Frame, AFailedTileOpenStopsTheWalk)
{
    struct Case {
        int failingImage; // 0: source A, 2: destination
        int failOpenAt;
        const char* context;
        int callsBeforeStop;
    };
    const Case cases[] = {
        {0, 0, "(srcImageA->tileInfo->tileData == 0)", 1},
        {0, 1, "(srcImageA->tileInfo->tileData == 0)", 3},
        {2, 0, "(dstImage->tileInfo->tileData == 0)", 1},
        {2, 2, "(dstImage->tileInfo->tileData == 0)", 5},
    };
    for (const Case& c : cases) {
        TiledImage a(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 8, 8);
        Image b = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 1);
        TiledImage d(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 8, 8);
        TiledImage& failing = c.failingImage == 0 ? a : d;
        failing.failOpenAt = c.failOpenAt;
        RecordingReporter recorder;
        zanAdd(a.header(), b.get(), d.header());
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, -5);
        EXPECT_EQ(recorder.reports()[0].context, c.context);
        EXPECT_EQ(recorder.reports()[0].function, "zanAdd");
        EXPECT_EQ(static_cast<int>(failing.calls.size()), c.callsBeforeStop);
        EXPECT_EQ(failing.calls.back().mode == ZAN_TILE_RELEASE, false);
    }
}

TEST(Frame, ReportsBadImagesWithTheirTexts)
{
    std::mt19937 rng(5);
    Image u8 = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 8, 8});
    Image u8b = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 8, 8});
    Image s16 = zt::makeImage(Shape{ZAN_DEPTH_16S, 3, 8, 8});
    Image planes = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 8, 8, ZAN_DATA_ORDER_PLANE});
    Image gray = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8});
    Image bits = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8});
    Image bad = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 8, 8});
    bad->align = 6;

    struct Case {
        const char* name;
        const ZanImage* a;
        const ZanImage* b;
        ZanImage* d;
        int status;
        const char* report;
    };
    const Case cases[] = {
        {"null A", nullptr, u8b.get(), u8.get(), -5, "zanAdd: srcImageA==0"},
        {"null B", u8b.get(), nullptr, u8.get(), -9, "zanAdd: Incorrect Image"},
        {"null dst", u8b.get(), u8b.get(), nullptr, -9, "zanAdd: Incorrect Image"},
        {"bad B header", u8b.get(), bad.get(), u8.get(), -21, "zanAdd: Incorrect Image"},
        {"A depth", s16.get(), u8b.get(), u8.get(), -5, "zanAdd: (srcImageA->depth != dstImage->depth)"},
        {"B depth", u8b.get(), s16.get(), u8.get(), -5, "zanAdd: (srcImageB->depth != dstImage->depth)"},
        {"A order", planes.get(), u8b.get(), u8.get(), -5, "zanAdd: (srcImageA->dataOrder != dstImage->dataOrder)"},
        {"B order", u8b.get(), planes.get(), u8.get(), -5, "zanAdd: (srcImageB->dataOrder != dstImage->dataOrder)"},
        {"A channels", gray.get(), u8b.get(), u8.get(), -5, "zanAdd: (nChSrcA != nChDst)"},
        {"B channels", u8b.get(), gray.get(), u8.get(), -5, "zanAdd: (nChSrcB != nChDst)"},
        {"1-bit goes to zanOr", bits.get(), u8b.get(), u8.get(), -5, "zanOr: (srcImageA->depth != dstImage->depth)"},
    };
    const auto before = zt::bytesOf(u8.get());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingReporter recorder;
        zanAdd(c.a, c.b, c.d);
        EXPECT_EQ(recorder.summary(), std::vector<std::string>{c.report});
        EXPECT_EQ(zanGetErrStatus(), c.status);
        EXPECT_EQ(zt::bytesOf(u8.get()), before);
    }
}

TEST(Frame, MasksWithNothingInCommonEndQuietly)
{
    Image a = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 1);
    Image b = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 1);
    Image d = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 16, 16}, 7);
    std::mt19937 rng(2);
    zt::attachRandomMask(a.get(), 16, 16, rng);
    ZanImage* maskB = zt::attachRandomMask(b.get(), 16, 16, rng);
    zt::setRoi(maskB, 0, 20, 0, 4, 4); // beyond the mask: an empty region
    RecordingReporter recorder;
    zanSetErrStatus(-3);
    zanAdd(a.get(), b.get(), d.get());
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(zanGetErrStatus(), -3);
    for (uint8_t byte : zt::bytesOf(d.get()))
        ASSERT_EQ(byte, 7);
}

TEST(RegionHelpers, ClipTheRoiAndFindTheFirstValue)
{
    Image image = zt::makeImage(Shape{ZAN_DEPTH_16S, 3, 10, 6});
    OwnRect rect;
    ownRegionRect(image.get(), &rect);
    EXPECT_EQ(rect.x + rect.y + rect.width + rect.height, 16);
    zt::setRoi(image.get(), 0, 4, 2, 20, 3);
    ownRegionRect(image.get(), &rect);
    EXPECT_EQ(rect.width, 6);
    EXPECT_EQ(rect.height, 3);
    int width, height, bit;
    char* start = ownRegionStart(image.get(), &width, &height, 2, &bit);
    EXPECT_EQ(start - image->imageData, 2 * image->widthStep + (4 * 3 + 2) * 2);
    EXPECT_EQ(width, 6);
    zt::setRoi(image.get(), 0, 12, 7, 2, 2);
    ownRegionRect(image.get(), &rect);
    EXPECT_EQ(rect.width, -2);
    ownRegionStart(image.get(), &width, &height, 0, &bit);
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);

    Image planes = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 30, 5, ZAN_DATA_ORDER_PLANE});
    zt::setRoi(planes.get(), 1, 13, 1, 4, 4);
    start = ownRegionStart(planes.get(), &width, &height, 0, &bit);
    EXPECT_EQ(start - planes->imageData, planes->widthStep + 1);
    EXPECT_EQ(bit, 5);
}

TEST(MergeMasks, AlignsRegionsAndReportsEachState)
{
    std::mt19937 rng(9);
    Image owner = zt::makeImage(Shape{});
    Image ownerB = zt::makeImage(Shape{});
    Image ownerC = zt::makeImage(Shape{});
    ZanImage* m1 = zt::attachRandomMask(owner.get(), 40, 30, rng);
    ZanImage* m2 = zt::attachRandomMask(ownerB.get(), 37, 20, rng);
    ZanImage* m3 = zt::attachRandomMask(ownerC.get(), 20, 50, rng);
    zt::setRoi(m1, 0, 3, 2, 16, 16);
    zt::setRoi(m2, 0, 13, 1, 8, 32);
    zt::setRoi(m3, 0, 5, 7, 15, 40);

    int state = -1;
    EXPECT_EQ(ownMergeMasks(nullptr, nullptr, nullptr, &state), nullptr);
    EXPECT_EQ(state, OWN_MASK_KEPT);
    EXPECT_EQ(ownMergeMasks(nullptr, m2, nullptr, &state), m2);
    EXPECT_EQ(state, OWN_MASK_KEPT);

    ZanImage* merged = ownMergeMasks(m1, m2, m3, &state);
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(state, OWN_MASK_MERGED);
    EXPECT_EQ(merged->width, 8);
    EXPECT_EQ(merged->height, 16);
    EXPECT_EQ(merged->roi, nullptr);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 8; ++x)
            ASSERT_EQ(zt::bitAt(merged, x, y),
                      zt::bitAt(m1, 3 + x, 2 + y) && zt::bitAt(m2, 13 + x, 1 + y) &&
                          zt::bitAt(m3, 5 + x, 7 + y));
    zanDeallocate(merged, ZAN_FREE_HEADER | ZAN_FREE_DATA);

    zt::setRoi(m3, 0, 25, 0, 5, 5);
    EXPECT_EQ(ownMergeMasks(m1, m3, nullptr, &state), nullptr);
    EXPECT_EQ(state, OWN_MASK_DISJOINT);
}

TEST(WholeBlock, OnlyEqualUnclippedImagesWithoutAlpha)
{
    Image a = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 9, 4});
    Image b = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 9, 4});
    Image wider = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 10, 4});
    EXPECT_TRUE(ownWholeBlock(a.get(), b.get(), nullptr, false));
    EXPECT_FALSE(ownWholeBlock(a.get(), b.get(), nullptr, true));
    EXPECT_FALSE(ownWholeBlock(a.get(), b.get(), wider.get(), false));
    zt::setRoi(b.get(), 1, 0, 0, 9, 4);
    EXPECT_TRUE(ownWholeBlock(a.get(), b.get(), nullptr, false));
    zt::setRoi(b.get(), 0, 0, 0, 9, 4);
    EXPECT_FALSE(ownWholeBlock(a.get(), b.get(), nullptr, false));
    zt::setRoi(b.get(), 1, 0, 0, 9, 3);
    EXPECT_FALSE(ownWholeBlock(a.get(), b.get(), nullptr, false));
}

TEST(Add, SaturatesAtEachDepth)
{
    struct Case {
        uint32_t depth;
        double a, b, sum;
    };
    const Case cases[] = {
        {ZAN_DEPTH_8U, 200, 100, 255},     {ZAN_DEPTH_8U, 17, 3, 20},
        {ZAN_DEPTH_8S, 100, 100, 127},     {ZAN_DEPTH_8S, -100, -100, -128},
        {ZAN_DEPTH_16U, 65000, 600, 65535}, {ZAN_DEPTH_16S, -32768, -1, -32768},
        {ZAN_DEPTH_16S, 32000, 767, 32767}, {ZAN_DEPTH_32S, 2147483647, 1, 2147483647},
        {ZAN_DEPTH_32S, -2147483647, -2, -2147483648.0}, {ZAN_DEPTH_32S, -5, 3, -2},
        {ZAN_DEPTH_32F, 1.5, -0.25, 1.25},
    };
    for (const Case& c : cases) {
        // 40 values: the packed blocks and the scalar tail both see the case.
        Image a = zt::makeImage(Shape{c.depth, 1, 40, 2});
        Image b = zt::makeImage(Shape{c.depth, 1, 40, 2});
        Image d = zt::makeImage(Shape{c.depth, 1, 40, 2});
        for (int x = 0; x < 40; ++x) {
            zt::setSampleAt(a.get(), x, 1, 0, c.a);
            zt::setSampleAt(b.get(), x, 1, 0, c.b);
        }
        RecordingReporter recorder;
        zanAdd(a.get(), b.get(), d.get());
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(zt::sampleAt(d.get(), x, 1, 0), c.sum) << zt::depthName(c.depth) << " x " << x;
    }
}

TEST(Add, MatchesThePixelReferenceOnRandomFrames)
{
    zt::FrameCheck check;
    check.depths = {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U,
                    ZAN_DEPTH_16S, ZAN_DEPTH_32S, ZAN_DEPTH_32F};
    check.cases = 600;
    check.seed = 20261123;
    check.call = [](ZanImage* a, ZanImage* b, ZanImage* d) { zanAdd(a, b, d); };
    check.expected = saturatedSum;
    zt::checkAgainstReference(check);
}

} // namespace
