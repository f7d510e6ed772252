// Image headers: creation, layout, allocation, validation, cloning, release.
#include "zan_test.h"

#include "core/own_core.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

struct CreateArgs {
    int nChannels = 3;
    int alpha = 0;
    uint32_t depth = ZAN_DEPTH_8U;
    const char* model = "RGB";
    const char* seq = "RGB";
    int order = 0;
    int origin = 0;
    int align = 4;
    int width = 5;
    int height = 4;
};

ZanImage* create(const CreateArgs& a, ZanImage* mask = nullptr)
{
    return zanCreateImageHeader(a.nChannels, a.alpha, a.depth, a.model, a.seq, a.order, a.origin,
                                a.align, a.width, a.height, nullptr, mask, nullptr, nullptr);
}

TEST(CreateImageHeader, RefusesBadArgumentsInOrder)
{
    struct Case {
        const char* name;
        CreateArgs args;
        int status;
    };
    auto with = [](auto change) {
        CreateArgs a;
        change(a);
        return a;
    };
    const Case cases[] = {
        {"width 0", with([](CreateArgs& a) { a.width = 0; }), -10},
        {"height -1 before channels", with([](CreateArgs& a) { a.height = -1; a.nChannels = 0; }), -10},
        {"no channels", with([](CreateArgs& a) { a.nChannels = 0; }), -15},
        {"1U with 2 channels", with([](CreateArgs& a) { a.depth = ZAN_DEPTH_1U; a.nChannels = 2; }), -16},
        {"null model", with([](CreateArgs& a) { a.model = nullptr; a.depth = 7; }), -14},
        {"null sequence", with([](CreateArgs& a) { a.seq = nullptr; }), -14},
        {"depth 7", with([](CreateArgs& a) { a.depth = 7; }), -17},
        {"depth 32 with sign", with([](CreateArgs& a) { a.depth = ZAN_DEPTH_SIGN | 1u; }), -17},
        {"alpha 2 of 4", with([](CreateArgs& a) { a.nChannels = 4; a.alpha = 2; }), -18},
        {"order 2", with([](CreateArgs& a) { a.order = 2; }), -19},
        {"origin -1", with([](CreateArgs& a) { a.origin = -1; }), -20},
        {"align 2", with([](CreateArgs& a) { a.align = 2; }), -21},
        {"align 64", with([](CreateArgs& a) { a.align = 64; }), -21},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingReporter recorder;
        EXPECT_EQ(create(c.args), nullptr);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, c.status);
        EXPECT_EQ(recorder.reports()[0].function, "zanCreateImageHeader");
        EXPECT_EQ(recorder.reports()[0].context, "Incorrect data-ins");
        EXPECT_EQ(recorder.reports()[0].source, "zanalloc");
        EXPECT_EQ(zanGetErrStatus(), c.status);
    }
}

TEST(CreateImageHeader, ChecksTheMaskItIsGiven)
{
    Shape maskShape;
    maskShape.depth = ZAN_DEPTH_1U;
    struct Case {
        const char* name;
        void (*spoil)(ZanImage*);
        int status;
    };
    const Case cases[] = {
        {"8-bit mask", [](ZanImage* m) { m->depth = ZAN_DEPTH_8U; }, -117},
        {"tiled mask", [](ZanImage* m) { m->tileInfo = reinterpret_cast<ZanTileInfo*>(m); }, -26},
        {"bad align", [](ZanImage* m) { m->align = 3; }, -121},
        {"no data", [](ZanImage* m) { m->imageData = nullptr; }, -112},
        {"two channels", [](ZanImage* m) { m->nChannels = 2; }, -116},
        {"ROI offset", [](ZanImage* m) { m->roi = zanCreateROI(0, -1, 0, 1, 1); }, -111},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Image mask = zt::makeImage(maskShape);
        ZanImage saved = *mask;
        c.spoil(mask.get());
        RecordingReporter recorder;
        EXPECT_EQ(create(CreateArgs{}, mask.get()), nullptr);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, c.status);
        zanDeleteROI(mask->roi);
        saved.roi = nullptr;
        *mask = saved;
    }
}

TEST(CreateImageHeader, FillsTheRecordByTheRowRule)
{
    struct Case {
        int channels;
        uint32_t depth;
        int order;
        int align;
        int width;
        int height;
        int widthStep;
        int imageSize;
    };
    const Case cases[] = {
        {3, ZAN_DEPTH_8U, 0, 8, 5, 7, 16, 16 * 7},
        {3, ZAN_DEPTH_8U, 1, 8, 5, 7, 8, 24 * 7},
        {1, ZAN_DEPTH_1U, 0, 4, 1, 3, 4, 12},
        {1, ZAN_DEPTH_1U, 0, 4, 33, 1, 8, 8},
        {2, ZAN_DEPTH_16S, 0, 32, 9, 2, 64, 128},
        {4, ZAN_DEPTH_32F, 1, 16, 3, 2, 16, 128},
        {1, ZAN_DEPTH_32S, 0, 4, 1, 1, 4, 4},
    };
    for (const Case& c : cases) {
        CreateArgs args;
        args.nChannels = c.channels;
        args.depth = c.depth;
        args.order = c.order;
        args.align = c.align;
        args.width = c.width;
        args.height = c.height;
        Image image(create(args));
        ASSERT_TRUE(image);
        EXPECT_EQ(image->widthStep, c.widthStep);
        EXPECT_EQ(image->imageSize, c.imageSize);
        EXPECT_EQ(ownRowStep(c.order, c.depth, c.align, c.channels, c.width), c.widthStep);
        EXPECT_EQ(image->headerSize, static_cast<int>(sizeof(ZanImage)));
        EXPECT_EQ(image->imageData, nullptr);
        EXPECT_EQ(image->imageDataOrigin, nullptr);
        EXPECT_EQ(std::memcmp(image->colorModel, "RGB", 4), 0);
        for (int side = 0; side < 4; ++side) {
            EXPECT_EQ(image->borderMode[side], ZAN_BORDER_CONSTANT);
            EXPECT_EQ(image->borderConst[side], 0);
        }
    }
}

TEST(AllocateImage, RefusesInOrderAndKeepsTheHeader)
{
    RecordingReporter recorder;
    zanAllocateImage(nullptr, 0, 0);
    Image floats = zt::makeHeader(Shape{ZAN_DEPTH_32F, 1, 4, 4});
    zanAllocateImage(floats.get(), 0, 0);
    Image bytes = zt::makeHeader(Shape{});
    zanAllocateImageFP(bytes.get(), 0, 0.0f);
    Image tiled = zt::makeHeader(Shape{});
    tiled->tileInfo = zanCreateTileInfo(nullptr, 0, 8, 8);
    zanAllocateImage(tiled.get(), 0, 0);
    Image twice = zt::makeImage(Shape{});
    zanAllocateImage(twice.get(), 0, 0);
    Image badAlign = zt::makeHeader(Shape{});
    badAlign->align = 12;
    zanAllocateImage(badAlign.get(), 0, 0);

    const std::vector<std::string> expected = {
        "zanAllocateImage: ( image == ((void *)0) )",
        "zanAllocateImage: ( image->depth == 32 )",
        "zanAllocateImageFP: ( image->depth != 32 )",
        "zanAllocateImage: ( image->tileInfo != ((void *)0) )",
        "zanAllocateImage: ( image->imageData != ((void *)0) )",
        "zanAllocateImage: Incorrect data-ins",
    };
    EXPECT_EQ(recorder.summary(), expected);
    EXPECT_EQ(recorder.reports().back().status, -21);
    EXPECT_EQ(floats->imageData, nullptr);
    EXPECT_EQ(badAlign->imageData, nullptr);
}

TEST(AllocateImage, AlignsAndFillsWithTheDepthPattern)
{
    struct Case {
        uint32_t depth;
        int value;
        uint8_t firstBytes[4];
    };
    const Case cases[] = {
        {ZAN_DEPTH_1U, -1, {0xFF, 0xFF, 0xFF, 0xFF}},
        {ZAN_DEPTH_1U, 2, {0, 0, 0, 0}},
        {ZAN_DEPTH_8U, 0x1234, {0x34, 0x34, 0x34, 0x34}},
        {ZAN_DEPTH_8S, -2, {0xFE, 0xFE, 0xFE, 0xFE}},
        {ZAN_DEPTH_16U, 0x12345, {0x45, 0x23, 0x45, 0x23}},
        {ZAN_DEPTH_32S, 0x01020304, {4, 3, 2, 1}},
    };
    for (int align : {4, 8, 16, 32}) {
        for (const Case& c : cases) {
            Shape shape{c.depth, 1, 13, 3};
            shape.align = align;
            Image image = zt::makeImage(shape, c.value);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->imageData) % align, 0u);
            const auto bytes = zt::bytesOf(image.get());
            for (std::size_t i = 0; i < bytes.size(); ++i)
                ASSERT_EQ(bytes[i], c.firstBytes[i % 4]) << zt::depthName(c.depth) << " byte " << i;
        }
    }
    Image floats = zt::makeHeader(Shape{ZAN_DEPTH_32F, 2, 3, 3});
    zanAllocateImageFP(floats.get(), 1, -1.5f);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(zt::sampleAt(floats.get(), 2, y, 1), -1.5);
}

TEST(CheckImageHeader, FindsTheFirstFaultInOrder)
{
    struct Case {
        const char* name;
        void (*spoil)(ZanImage*);
        int status;
    };
    static ZanTileInfo goodTiles{[](const ZanImage*, int, int, int) {}, 0, nullptr, 16, 8};
    static ZanTileInfo noCallback{nullptr, 0, nullptr, 16, 8};
    static ZanTileInfo tile12{[](const ZanImage*, int, int, int) {}, 0, nullptr, 12, 8};
    static ZanTileInfo tile0{[](const ZanImage*, int, int, int) {}, 0, nullptr, 8, 0};
    static ZanROI coi4{4, 0, 0, 1, 1}, coiMinus{-1, 0, 0, 1, 1}, roiWidth0{0, 0, 0, 0, 1},
        roiOffset{0, 0, -2, 1, 1}, roiBeyond{0, 1000, 1000, 5, 5};
    const Case cases[] = {
        {"good", [](ZanImage*) {}, 0},
        {"no data, no tiles", [](ZanImage* i) { i->imageData = nullptr; }, -12},
        {"data and tiles", [](ZanImage* i) { i->tileInfo = &goodTiles; }, -12},
        {"tiled is fine", [](ZanImage* i) { i->imageData = nullptr; i->tileInfo = &goodTiles; }, 0},
        {"image size 0", [](ZanImage* i) { i->imageSize = 0; i->widthStep = 0; }, -10},
        {"width step 0", [](ZanImage* i) { i->widthStep = 0; }, -13},
        {"tiled ignores sizes", [](ZanImage* i) { i->imageData = nullptr; i->tileInfo = &goodTiles; i->imageSize = -1; i->widthStep = 0; }, 0},
        {"width 0", [](ZanImage* i) { i->width = 0; }, -10},
        {"channels 0", [](ZanImage* i) { i->nChannels = 0; i->depth = 3; }, -15},
        {"1U with 3 channels", [](ZanImage* i) { i->depth = ZAN_DEPTH_1U; }, -16},
        {"depth 24", [](ZanImage* i) { i->depth = 24; }, -17},
        {"alpha 1 of 3", [](ZanImage* i) { i->alphaChannel = 1; }, -18},
        {"order 5", [](ZanImage* i) { i->dataOrder = 5; }, -19},
        {"origin 2", [](ZanImage* i) { i->origin = 2; }, -20},
        {"align 0", [](ZanImage* i) { i->align = 0; }, -21},
        {"no callback", [](ZanImage* i) { i->imageData = nullptr; i->tileInfo = &noCallback; }, -22},
        {"tile width 12", [](ZanImage* i) { i->imageData = nullptr; i->tileInfo = &tile12; }, -23},
        {"tile height 0", [](ZanImage* i) { i->imageData = nullptr; i->tileInfo = &tile0; }, -23},
        {"coi 4 of 3", [](ZanImage* i) { i->roi = &coi4; }, -24},
        {"coi -1", [](ZanImage* i) { i->roi = &coiMinus; }, -24},
        {"ROI width 0", [](ZanImage* i) { i->roi = &roiWidth0; }, -25},
        {"ROI offset -2", [](ZanImage* i) { i->roi = &roiOffset; }, -11},
        {"ROI beyond the image", [](ZanImage* i) { i->roi = &roiBeyond; }, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Image image = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 6, 5});
        ZanImage copy = *image;
        c.spoil(&copy);
        RecordingReporter recorder;
        zanSetErrStatus(-99);
        EXPECT_EQ(zanCheckImageHeader(&copy), c.status);
        EXPECT_EQ(zanGetErrStatus(), c.status == 0 ? -99 : c.status);
        EXPECT_TRUE(recorder.reports().empty());
    }
    RecordingReporter recorder;
    EXPECT_EQ(zanCheckImageHeader(nullptr), -9);
}

TEST(CheckImageHeader, GivesMaskFaultsAHundredLower)
{
    Image image = zt::makeImage(Shape{});
    Image mask = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8});
    image->maskROI = mask.get();
    RecordingReporter recorder;
    EXPECT_EQ(zanCheckImageHeader(image.get()), 0);
    mask->align = 2;
    EXPECT_EQ(zanCheckImageHeader(image.get()), -121);
    EXPECT_STREQ(zanErrorStr(-121), "Mask. Incorrect data alignment value in the image header");
    mask->align = 4;
    mask->nChannels = 2;
    EXPECT_EQ(zanCheckImageHeader(image.get()), -116);
    EXPECT_STREQ(zanErrorStr(-116), "Unknown error or status code");
    mask->nChannels = 1;
    mask->depth = ZAN_DEPTH_8U;
    EXPECT_EQ(zanCheckImageHeader(image.get()), -117);
    image->maskROI = nullptr;
}

TEST(SetBorderMode, ClampsTheConstantToTheDepth)
{
    struct Case {
        uint32_t depth;
        int value;
        int stored;
    };
    const Case cases[] = {
        {ZAN_DEPTH_1U, 5, 1},        {ZAN_DEPTH_8U, 300, 255},       {ZAN_DEPTH_8U, -3, 0},
        {ZAN_DEPTH_8S, -300, -128},  {ZAN_DEPTH_16U, 70000, 65535}, {ZAN_DEPTH_16S, 40000, 32767},
        {ZAN_DEPTH_32S, -70000, -70000}, {ZAN_DEPTH_32F, 300, 300},
    };
    for (const Case& c : cases) {
        Image image = zt::makeHeader(Shape{c.depth, 1, 4, 4});
        zanSetBorderMode(image.get(), ZAN_BORDER_WRAP, ZAN_SIDE_LEFT | ZAN_SIDE_BOTTOM | 0x30, c.value);
        EXPECT_EQ(image->borderConst[ZAN_SIDE_LEFT_INDEX], c.stored) << zt::depthName(c.depth);
        EXPECT_EQ(image->borderConst[ZAN_SIDE_BOTTOM_INDEX], c.stored);
        EXPECT_EQ(image->borderMode[ZAN_SIDE_LEFT_INDEX], ZAN_BORDER_WRAP);
        EXPECT_EQ(image->borderMode[ZAN_SIDE_TOP_INDEX], ZAN_BORDER_CONSTANT);
        EXPECT_EQ(image->borderConst[ZAN_SIDE_RIGHT_INDEX], 0);
    }
}

TEST(Memory, BlocksAreAlignedAndBadLengthsGiveNull)
{
    RecordingReporter recorder;
    zanSetErrStatus(-3);
    EXPECT_EQ(zanMalloc(0), nullptr);
    EXPECT_EQ(zanMalloc(-1), nullptr);
    EXPECT_EQ(zandMalloc(0), nullptr);
    EXPECT_EQ(zanGetErrStatus(), -3);
    zanFree(nullptr);
    for (int length : {1, 7, 32, 1000}) {
        void* blocks[] = {zanMalloc(length), zanwMalloc(length), zaniMalloc(length),
                          zansMalloc(length), zandMalloc(length)};
        const int units[] = {1, 2, 4, 4, 8};
        for (int i = 0; i < 5; ++i) {
            ASSERT_NE(blocks[i], nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blocks[i]) % 32, 0u);
            std::memset(blocks[i], 0xAB, static_cast<std::size_t>(length) * units[i]);
            zanFree(blocks[i]);
        }
    }
    EXPECT_TRUE(recorder.reports().empty());
}

TEST(Deallocate, FreesWhatTheFlagsName)
{
    Image image = zt::makeImage(Shape{});
    image->roi = zanCreateROI(0, 1, 1, 2, 2);
    image->maskROI = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8}).release();
    image->maskROI->roi = zanCreateROI(0, 0, 0, 4, 4);
    ZanImage* raw = image.release();
    zanDeallocate(raw, ZAN_FREE_DATA);
    EXPECT_EQ(raw->imageData, nullptr);
    EXPECT_EQ(raw->imageDataOrigin, nullptr);
    zanDeallocate(raw, ZAN_FREE_DATA);
    zanDeallocate(raw, ZAN_FREE_ROI | ZAN_FREE_MASK);
    EXPECT_EQ(raw->roi, nullptr);
    EXPECT_EQ(raw->maskROI, nullptr);
    zanDeallocate(raw, ZAN_FREE_ALL);
    zanDeallocate(nullptr, ZAN_FREE_ALL);

    // Data that the application put there stays.
    Image byHand = zt::makeHeader(Shape{});
    char buffer[64];
    byHand->imageData = buffer;
    zanDeallocate(byHand.get(), ZAN_FREE_DATA);
    EXPECT_EQ(byHand->imageData, buffer);
    zanDeallocateImage(byHand.get());
    EXPECT_EQ(byHand->imageData, nullptr);
}

TEST(CloneImage, CopiesDataAndHeaderButNoMaskOrTiles)
{
    std::mt19937 rng(3);
    Image source = zt::makeRandomImage(Shape{ZAN_DEPTH_16S, 3, 7, 5}, rng);
    zt::setRoi(source.get(), 2, 1, 1, 3, 3);
    source->maskROI = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8}).release();
    source->imageId = source.get();
    zanSetBorderMode(source.get(), ZAN_BORDER_REFLECT, ZAN_SIDE_TOP, 9);
    Image clone(zanCloneImage(source.get()));
    ASSERT_TRUE(clone);
    EXPECT_EQ(zt::bytesOf(clone.get()), zt::bytesOf(source.get()));
    EXPECT_NE(clone->imageData, source->imageData);
    EXPECT_EQ(clone->maskROI, nullptr);
    EXPECT_EQ(clone->imageId, nullptr);
    ASSERT_NE(clone->roi, nullptr);
    EXPECT_NE(clone->roi, source->roi);
    EXPECT_EQ(clone->roi->coi, 2);
    EXPECT_EQ(clone->borderMode[0], ZAN_BORDER_REFLECT);
    EXPECT_EQ(clone->borderConst[0], 9);

    zt::TiledImage tiled(Shape{ZAN_DEPTH_8U, 1, 20, 20}, 8, 8);
    Image fromTiles(zanCloneImage(tiled.header()));
    ASSERT_TRUE(fromTiles);
    EXPECT_EQ(fromTiles->tileInfo, nullptr);
    EXPECT_NE(fromTiles->imageData, nullptr);
    EXPECT_TRUE(tiled.calls.empty());

    RecordingReporter recorder;
    EXPECT_EQ(zanCloneImage(nullptr), nullptr);
    ASSERT_EQ(recorder.reports().size(), 1u);
    EXPECT_EQ(recorder.reports()[0].status, -9);
    EXPECT_EQ(recorder.reports()[0].context, "Incorrect Image");
    EXPECT_EQ(recorder.reports()[0].source, "zanClone");
}

TEST(RoiAndTileInfo, CreateAndSet)
{
    ZanROI* roi = zanCreateROI(1, 2, 3, 4, 5);
    ASSERT_NE(roi, nullptr);
    EXPECT_EQ(roi->coi + roi->xOffset + roi->yOffset + roi->width + roi->height, 15);
    zanSetROI(roi, 0, -1, -1, 0, 0);
    EXPECT_EQ(roi->xOffset, -1);
    zanSetROI(nullptr, 0, 0, 0, 0, 0);
    zanDeleteROI(roi);

    ZanTileInfo* tiles = zanCreateTileInfo(nullptr, 3, 12, 16);
    ASSERT_NE(tiles, nullptr);
    tiles->tileData = reinterpret_cast<char*>(tiles);
    zanSetTileInfo(tiles, nullptr, 4, 8, 8);
    EXPECT_EQ(tiles->tileData, nullptr);
    EXPECT_EQ(tiles->id, 4);
    zanSetTileInfo(nullptr, nullptr, 0, 0, 0);
    zanDeleteTileInfo(tiles);

    zt::TiledImage tiled(Shape{ZAN_DEPTH_16U, 3, 30, 9, ZAN_DATA_ORDER_PLANE}, 16, 8);
    EXPECT_EQ(ownTileStep(tiled.header()), 32);
    EXPECT_EQ(ownTileStep(tiled.plain()), 0);
    EXPECT_EQ(ownTileStep(nullptr), 0);
}

} // namespace
