// Copy, Set, SetFP and Exchange against a per-value reference, plain and
// tiled in every combination, and the grid walk's pieces and failures.
#include "zan_test.h"

#include "core/own_grid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

using zt::Image;
using zt::Participant;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;

Shape shapeOf(const ZanImage* image)
{
    return Shape{image->depth,     image->nChannels,    image->width, image->height,
                 image->dataOrder, image->alphaChannel, image->align, image->origin};
}

// A copy of a plain model, tiled or not, with its own ROI and mask.
Participant participantFrom(const ZanImage* model, bool tiled, int tileWidth, int tileHeight)
{
    Participant p;
    ZanImage* header;
    if (tiled) {
        p.tiled = std::make_unique<TiledImage>(shapeOf(model), tileWidth, tileHeight);
        std::memcpy(p.tiled->plain()->imageData, model->imageData, static_cast<std::size_t>(model->imageSize));
        p.tiled->load();
        header = p.tiled->header();
    } else {
        p.plain.reset(zanCloneImage(model));
        header = p.plain.get();
    }
    if (const ZanROI* r = model->roi)
        zt::setRoi(header, r->coi, r->xOffset, r->yOffset, r->width, r->height);
    if (model->maskROI)
        header->maskROI = zanCloneImage(model->maskROI);
    return p;
}

// The per-pixel plan of a reference: each image's region and channels, the
// masks aligned at their regions' starts, and the common size.
struct Plan {
    std::vector<const ZanImage*> images;
    std::vector<const ZanImage*> masks;
    int width = 0;
    int height = 0;

    explicit Plan(std::vector<const ZanImage*> all) : images(std::move(all))
    {
        width = height = 1 << 30;
        for (const ZanImage* image : images) {
            if (image->maskROI && std::find(masks.begin(), masks.end(), image->maskROI) == masks.end())
                masks.push_back(image->maskROI);
        }
        for (const ZanImage* image : images)
            shrinkTo(image);
        for (const ZanImage* mask : masks)
            shrinkTo(mask);
    }
    void shrinkTo(const ZanImage* image)
    {
        const zt::Rect r = zt::regionOf(image);
        width = std::min(width, std::max(r.width, 0));
        height = std::min(height, std::max(r.height, 0));
    }
    bool admits(int i, int j) const
    {
        for (const ZanImage* mask : masks) {
            const zt::Rect r = zt::regionOf(mask);
            if (!zt::bitAt(mask, r.x + i, r.y + j))
                return false;
        }
        return true;
    }
    // Calls f(i, j, k) for value k of each admitted pixel (i, j) of the common size.
    void forEach(const std::function<void(int, int, int)>& f) const
    {
        const int channels = zt::channelCount(images[0]);
        for (int j = 0; j < height; ++j)
            for (int i = 0; i < width; ++i)
                if (admits(i, j))
                    for (int k = 0; k < channels; ++k)
                        f(i, j, k);
    }
    int x(int image, int i) const { return zt::regionOf(images[image]).x + i; }
    int y(int image, int j) const { return zt::regionOf(images[image]).y + j; }
    int c(int image, int k) const { return zt::firstChannel(images[image]) + k; }
};

void referenceCopy(const ZanImage* src, ZanImage* dst)
{
    const Plan plan({src, dst});
    plan.forEach([&](int i, int j, int k) {
        zt::setSampleAt(dst, plan.x(1, i), plan.y(1, j), plan.c(1, k),
                        zt::sampleAt(src, plan.x(0, i), plan.y(0, j), plan.c(0, k)));
    });
}

void referenceExchange(ZanImage* src, ZanImage* dst)
{
    const Plan plan({src, dst});
    plan.forEach([&](int i, int j, int k) {
        const double a = zt::sampleAt(src, plan.x(0, i), plan.y(0, j), plan.c(0, k));
        const double b = zt::sampleAt(dst, plan.x(1, i), plan.y(1, j), plan.c(1, k));
        zt::setSampleAt(src, plan.x(0, i), plan.y(0, j), plan.c(0, k), b);
        zt::setSampleAt(dst, plan.x(1, i), plan.y(1, j), plan.c(1, k), a);
    });
}

double clampedTo(uint32_t depth, int value)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return std::clamp(value, 0, 1);
    case ZAN_DEPTH_8U: return std::clamp(value, 0, 255);
    case ZAN_DEPTH_8S: return std::clamp(value, -128, 127);
    case ZAN_DEPTH_16U: return std::clamp(value, 0, 65535);
    case ZAN_DEPTH_16S: return std::clamp(value, -32768, 32767);
    default: return value;
    }
}

void referenceSet(ZanImage* dst, int value)
{
    const Plan plan({dst});
    plan.forEach([&](int i, int j, int k) {
        zt::setSampleAt(dst, plan.x(0, i), plan.y(0, j), plan.c(0, k), clampedTo(dst->depth, value));
    });
}

// Every sample of two images of one shape; the first difference fails.
void expectSameSamples(const ZanImage* got, const ZanImage* want, const std::string& what)
{
    for (int y = 0; y < want->height; ++y)
        for (int x = 0; x < want->width; ++x)
            for (int c = 0; c < want->nChannels; ++c)
                if (zt::sampleAt(got, x, y, c) != zt::sampleAt(want, x, y, c))
                    FAIL() << what << ": (" << x << ", " << y << ") channel " << c << " is "
                           << zt::sampleAt(got, x, y, c) << ", wants " << zt::sampleAt(want, x, y, c);
}

int pick(std::mt19937& rng, int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(rng);
}

// A ROI somewhere on the image, now and then overhanging or beyond it.
void randomRoi(ZanImage* image, int coi, std::mt19937& rng)
{
    if (rng() % 4 == 0 && coi == 0)
        return;
    const int beyond = rng() % 12 == 0;
    const int x = beyond ? image->width + pick(rng, 0, 3) : pick(rng, 0, image->width - 1);
    const int y = pick(rng, 0, image->height - 1);
    zt::setRoi(image, coi, x, y, pick(rng, 1, image->width + 2), pick(rng, 1, image->height + 2));
}

void randomMask(ZanImage* image, std::mt19937& rng)
{
    ZanImage* mask = zt::attachRandomMask(image, pick(rng, 1, 40), pick(rng, 1, 30), rng);
    if (rng() % 2)
        zt::setRoi(mask, 0, pick(rng, 0, 5), pick(rng, 0, 5), pick(rng, 1, 40), pick(rng, 1, 30));
}

// Two plain images whose processed channels agree: same layout, a COI
// against a one-channel image, or an alpha channel against none.
std::pair<Image, Image> randomPair(std::mt19937& rng, bool masks)
{
    const uint32_t depth = zt::kAllDepths[rng() % 7];
    Shape a{depth, 1, pick(rng, 1, 40), pick(rng, 1, 30)};
    a.order = static_cast<int>(rng() % 2);
    a.align = 4 << (rng() % 4);
    a.origin = static_cast<int>(rng() % 2);
    Shape b = a;
    b.width = pick(rng, 1, 40);
    b.height = pick(rng, 1, 30);
    b.align = 4 << (rng() % 4);
    int coiA = 0, coiB = 0;
    if (depth != ZAN_DEPTH_1U) {
        switch (rng() % 4) {
        case 0: a.channels = b.channels = pick(rng, 1, 4); break;
        case 1: a.channels = 4; a.alpha = 4; b.channels = 3; break;
        case 2: a.channels = 3; coiA = pick(rng, 1, 3); break;
        default: a.channels = 3; b.channels = 2; coiA = pick(rng, 1, 3); coiB = pick(rng, 1, 2); break;
        }
    } else {
        b.order = static_cast<int>(rng() % 2);
    }
    Image src = zt::makeRandomImage(a, rng);
    Image dst = zt::makeRandomImage(b, rng);
    randomRoi(src.get(), coiA, rng);
    randomRoi(dst.get(), coiB, rng);
    if (masks) {
        if (rng() % 2)
            randomMask(src.get(), rng);
        if (rng() % 2)
            randomMask(dst.get(), rng);
    }
    return {std::move(src), std::move(dst)};
}

void expectBalanced(const Participant& p)
{
    if (!p.tiled)
        return;
    EXPECT_FALSE(p.tiled->misuse);
    EXPECT_EQ(p.tiled->openCount(), p.tiled->releaseCount());
}

// A two-image operation, plain and tiled in all four combinations, each
// against the reference applied to plain copies.
void checkPairOperation(const std::function<void(ZanImage*, ZanImage*)>& operation,
                        const std::function<void(ZanImage*, ZanImage*)>& reference, bool bothChange,
                        uint32_t seed)
{
    std::mt19937 rng(seed);
    for (int trial = 0; trial < 120; ++trial) {
        auto [src, dst] = randomPair(rng, true);
        Participant wantSrc = participantFrom(src.get(), false, 0, 0);
        Participant wantDst = participantFrom(dst.get(), false, 0, 0);
        reference(wantSrc.header(), wantDst.header());
        for (int tiles = 0; tiles < 4; ++tiles) {
            Participant s = participantFrom(src.get(), tiles & 1, 8 << (rng() % 2), 8 << (rng() % 2));
            Participant d = participantFrom(dst.get(), tiles & 2, 8 << (rng() % 2), 8);
            RecordingReporter recorder;
            operation(s.header(), d.header());
            ASSERT_TRUE(recorder.reports().empty()) << recorder.summary()[0];
            for (Participant* p : {&s, &d})
                if (p->tiled)
                    p->tiled->store();
            const std::string what = "trial " + std::to_string(trial) + " tiles " + std::to_string(tiles);
            expectSameSamples(d.content(), wantDst.content(), what + " destination");
            expectSameSamples(s.content(), bothChange ? wantSrc.content() : src.get(), what + " source");
            expectBalanced(s);
            expectBalanced(d);
        }
    }
}

TEST(Copy, PlainAndTiledInEveryCombinationMatchTheReference)
{
    checkPairOperation([](ZanImage* s, ZanImage* d) { zanCopy(s, d); }, referenceCopy, false, 5);
}

TEST(Exchange, PlainAndTiledInEveryCombinationMatchTheReference)
{
    checkPairOperation([](ZanImage* s, ZanImage* d) { zanExchange(s, d); }, referenceExchange, true, 6);
}

TEST(Exchange, TwiceRestoresBothImages)
{
    std::mt19937 rng(9);
    for (int trial = 0; trial < 30; ++trial) {
        auto [src, dst] = randomPair(rng, true);
        const auto srcBytes = zt::bytesOf(src.get());
        const auto dstBytes = zt::bytesOf(dst.get());
        zanExchange(src.get(), dst.get());
        zanExchange(src.get(), dst.get());
        EXPECT_EQ(zt::bytesOf(src.get()), srcBytes);
        EXPECT_EQ(zt::bytesOf(dst.get()), dstBytes);
    }
}

TEST(Set, PlainAndTiledMatchTheReference)
{
    std::mt19937 rng(7);
    for (int trial = 0; trial < 150; ++trial) {
        auto pair = randomPair(rng, true);
        Image& image = pair.second;
        if (image->depth == ZAN_DEPTH_32F)
            continue;
        const int value = static_cast<int>(rng()) >> (rng() % 31);
        Participant want = participantFrom(image.get(), false, 0, 0);
        referenceSet(want.header(), value);
        for (bool tiled : {false, true}) {
            Participant p = participantFrom(image.get(), tiled, 8, 16);
            RecordingReporter recorder;
            zanSet(p.header(), value);
            ASSERT_TRUE(recorder.reports().empty()) << recorder.summary()[0];
            if (p.tiled)
                p.tiled->store();
            expectSameSamples(p.content(), want.content(), "trial " + std::to_string(trial));
            expectBalanced(p);
            if (p.header()->maskROI)
                expectSameSamples(p.header()->maskROI, image->maskROI, "mask kept");
        }
    }
}

TEST(Set, ClampsToTheDepth)
{
    struct Row {
        uint32_t depth;
        int value;
        double stored;
    };
    const Row rows[] = {{ZAN_DEPTH_8U, 300, 255},      {ZAN_DEPTH_8U, -5, 0},
                        {ZAN_DEPTH_16S, 70000, 32767}, {ZAN_DEPTH_8S, -200, -128},
                        {ZAN_DEPTH_16U, -1, 0},        {ZAN_DEPTH_1U, 7, 1},
                        {ZAN_DEPTH_32S, -70000, -70000}};
    for (const Row& row : rows) {
        Image image = zt::makeImage(Shape{row.depth, 1, 9, 2});
        zanSet(image.get(), row.value);
        EXPECT_EQ(zt::sampleAt(image.get(), 8, 1, 0), row.stored) << zt::depthName(row.depth);
    }
}

TEST(SetFP, StoresTheFloatInPlainAndTiledImages)
{
    const float value = -3.25f;
    Image plain = zt::makeImage(Shape{ZAN_DEPTH_32F, 2, 5, 3});
    zanSetFP(plain.get(), value);
    TiledImage tiled(Shape{ZAN_DEPTH_32F, 1, 20, 9}, 8, 8);
    zanSetFP(tiled.header(), value);
    tiled.store();
    EXPECT_EQ(tiled.header()->depth, ZAN_DEPTH_32F);
    for (const ZanImage* image : {plain.get(), tiled.plain()})
        for (int y = 0; y < image->height; ++y)
            for (int x = 0; x < image->width; ++x)
                EXPECT_EQ(zt::sampleAt(image, x, y, image->nChannels - 1), value);
    EXPECT_EQ(tiled.openCount(), 6);
    EXPECT_EQ(tiled.releaseCount(), 6);
}

TEST(PixelMovement, RefusalsAndTheirTexts)
{
    Image a8 = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});
    Shape otherShape{ZAN_DEPTH_16U, 1, 4, 4};
    otherShape.origin = ZAN_ORIGIN_BOTTOM_LEFT;
    Image b16 = zt::makeImage(otherShape);
    Image f = zt::makeImage(Shape{ZAN_DEPTH_32F, 1, 4, 4});
    Image rgb = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 4, 4});
    Shape planes{ZAN_DEPTH_8U, 3, 4, 4};
    planes.order = ZAN_DATA_ORDER_PLANE;
    Image rgbPlanes = zt::makeImage(planes);
    Shape alphaShape{ZAN_DEPTH_8U, 4, 4, 4};
    alphaShape.alpha = 4;
    Image rgba = zt::makeImage(alphaShape);
    Image gray = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4});

    struct Row {
        std::function<void()> call;
        std::vector<std::string> reports;
        int status;
    };
    const Row rows[] = {
        {[&] { zanCopy(a8.get(), b16.get()); },
         {"zanCopy: srcImage->depth != dstImage->depth", "zanCopy: srcImage->origin != dstImage->origin"}, -5},
        {[&] { zanExchange(rgb.get(), rgbPlanes.get()); },
         {"zanExchange: srcImage->dataOrder != dstImage->dataOrder"}, -5},
        {[&] { zanCopy(nullptr, a8.get()); }, {"zanCopy: Incorrect Image"}, -9},
        {[&] { zanCopy(rgb.get(), gray.get()); },
         {"zanCopy: Number of processed channels of srcImage != Number of processed channels of dstImage"}, -5},
        {[&] { zanSet(f.get(), 1); }, {"zanSet: You should use zanSetFP for this image"}, -17},
        {[&] { zanSetFP(a8.get(), 1.0f); }, {"zanSetFP: You should use zanSet for this image"}, -17},
        {[&] { zanSetFP(nullptr, 1.0f); }, {"zanSetFP: dstImage==0"}, -5},
        {[&] { zanCopy(rgba.get(), rgb.get()); }, {}, 0},
    };
    for (const Row& row : rows) {
        RecordingReporter recorder;
        row.call();
        EXPECT_EQ(recorder.summary(), row.reports);
        EXPECT_EQ(zanGetErrStatus(), row.status);
    }
}

TEST(PixelMovement, ANegativeStatusStopsCopyAndExchangeButNotSet)
{
    Image a = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4}, 9);
    Image b = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 4, 4}, 3);
    RecordingReporter recorder;
    zanSetErrStatus(-7);
    zanCopy(a.get(), b.get());
    zanExchange(a.get(), b.get());
    EXPECT_EQ(zt::sampleAt(b.get(), 0, 0, 0), 3);
    EXPECT_EQ(zt::sampleAt(a.get(), 0, 0, 0), 9);
    zanSet(b.get(), 5);
    EXPECT_EQ(zt::sampleAt(b.get(), 3, 3, 0), 5);
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(zanGetErrStatus(), -7);
}

TEST(PixelMovement, OneBitRegionsKeepTheBitsAroundThem)
{
    std::mt19937 rng(3);
    Image src = zt::makeRandomImage(Shape{ZAN_DEPTH_1U, 1, 30, 3}, rng);
    Shape planes{ZAN_DEPTH_1U, 1, 30, 3};
    planes.order = ZAN_DATA_ORDER_PLANE;
    Image dst = zt::makeRandomImage(planes, rng);
    zt::setRoi(src.get(), 0, 3, 0, 20, 3);
    zt::setRoi(dst.get(), 0, 5, 1, 20, 2);
    Participant want = participantFrom(dst.get(), false, 0, 0);
    referenceCopy(src.get(), want.header());
    zanCopy(src.get(), dst.get());
    expectSameSamples(dst.get(), want.header(), "1-bit copy");
}

// The tile opens that fail, at every position of a tiled copy, set and
// exchange: status -2 with the plain text, earlier tiles released.
TEST(PixelMovement, AFailedTileOpenStopsTheWalk)
{
    struct Row {
        bool srcTiled;
        bool dstTiled;
        int operation; // 0 copy, 1 exchange, 2 set
        const char* text;
    };
    const Row rows[] = {
        {true, false, 0, "zanCopy: Error get tile to read"},
        {false, true, 0, "zanCopy: Error get tile to write"},
        {true, true, 0, "zanCopy: Error get tile to write"},
        {true, false, 1, "zanExchange: Error get tile to write"},
        {true, true, 1, "zanExchange: Error get tile to write"},
        {false, true, 2, "zanSet: Error get tile to write"},
    };
    std::mt19937 rng(4);
    for (const Row& row : rows) {
        for (int failAt = 0; failAt < 6; ++failAt) {
            Image model = zt::makeRandomImage(Shape{ZAN_DEPTH_16S, 2, 30, 20}, rng);
            Participant s = participantFrom(model.get(), row.srcTiled, 8, 8);
            Participant d = participantFrom(model.get(), row.dstTiled, 16, 8);
            TiledImage* failing = (row.dstTiled ? d : s).tiled.get();
            failing->failOpenAt = failAt;
            RecordingReporter recorder;
            if (row.operation == 0)
                zanCopy(s.header(), d.header());
            else if (row.operation == 1)
                zanExchange(s.header(), d.header());
            else
                zanSet(d.header(), 1);
            ASSERT_FALSE(recorder.reports().empty());
            EXPECT_EQ(recorder.summary()[0], row.text) << failAt;
            EXPECT_EQ(recorder.reports()[0].status, -2);
            EXPECT_EQ(recorder.reports()[0].source, "zansce");
            EXPECT_EQ(failing->openCount() - 1, failing->releaseCount()) << row.text << failAt;
            EXPECT_FALSE(failing->misuse);
        }
    }
}

TEST(TileGrid, PiecesCoverTheRectangleWithinSingleTiles)
{
    std::mt19937 rng(12);
    for (int trial = 0; trial < 200; ++trial) {
        const int tw = 8 * pick(rng, 1, 4);
        const int th = 8 * pick(rng, 1, 4);
        TiledImage tiled(Shape{ZAN_DEPTH_8U, 1, 100, 90}, tw, th);
        const int x = pick(rng, 0, 60), y = pick(rng, 0, 50);
        const int w = pick(rng, 1, 100 - x), h = pick(rng, 1, 90 - y);
        zt::setRoi(tiled.header(), 0, x, y, w, h);
        OwnTileGrid grid;
        ownTileGrid(tiled.header(), h, w, &grid);
        std::vector<int> covered(static_cast<std::size_t>(w) * h, 0);
        ownGridWalk(grid, w, h, [&](const OwnGridPiece& p) {
            EXPECT_EQ((x + p.x) / tw, p.column);
            EXPECT_EQ((y + p.y) / th, p.row);
            EXPECT_EQ((x + p.x) % tw, p.xInTile);
            EXPECT_EQ((y + p.y) % th, p.yInTile);
            EXPECT_LE(p.xInTile + p.width, tw);
            EXPECT_LE(p.yInTile + p.height, th);
            for (int j = 0; j < p.height; ++j)
                for (int i = 0; i < p.width; ++i)
                    ++covered[static_cast<std::size_t>(p.y + j) * w + p.x + i];
            return true;
        });
        EXPECT_EQ(std::count(covered.begin(), covered.end(), 1), static_cast<long>(covered.size()));
    }
}

} // namespace
