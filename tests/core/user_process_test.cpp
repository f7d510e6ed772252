// Application functions over images: the checks, the value conversions, the
// pixel function, the governing mask and the nested walk over the tiles of
// the destination and, within each, of the source.
#include "zan_test.h"

#include "../arith/reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;
using zt::TiledImage;
using Call = TiledImage::Call;

// ---------------------------------------------------------------------------
// The functions the tests hand to the library, and what the library must
// make of their results, written from the conversion rules.

int tripleLess100(int a) { return static_cast<int>(static_cast<uint32_t>(a) * 3u - 100u); }
float scaleShift(float a) { return a * 1.7f - 50.3f; }

double expectedInt(uint32_t depth, double a)
{
    const int r = tripleLess100(static_cast<int>(a));
    return depth == ZAN_DEPTH_32S ? r : ref::saturate(depth, r);
}

double expectedFloat(uint32_t depth, double a)
{
    const float r = scaleShift(static_cast<float>(a));
    if (depth == ZAN_DEPTH_32F)
        return r;
    return std::trunc(ref::saturate(depth, r));
}

// ---------------------------------------------------------------------------
// Random cases of the value forms against a per-pixel reference.

struct Side {
    std::unique_ptr<TiledImage> tiled;
    Image plain;
    ZanImage* header() const { return tiled ? tiled->header() : plain.get(); }
    ZanImage* content() const { return tiled ? tiled->plain() : plain.get(); }
};

class ValueCase {
public:
    ValueCase(bool floatForm, std::mt19937& rng) : rng_(rng)
    {
        static const uint32_t intDepths[] = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U,
                                             ZAN_DEPTH_16S, ZAN_DEPTH_32S, ZAN_DEPTH_32F};
        depth_ = intDepths[pick(floatForm ? 6 : 5)];
        order_ = pick(2);
        channels_ = 1 + pick(3);
        alpha_ = channels_ > 1 && pick(3) == 0;
        inPlace_ = pick(5) == 0;
        coi_ = pick(3) == 0;
        src_ = makeSide();
        if (!inPlace_)
            dst_ = makeSide();
    }

    ZanImage* src() const { return src_.header(); }
    ZanImage* dst() const { return inPlace_ ? src_.header() : dst_.header(); }
    uint32_t depth() const { return depth_; }

    std::string describe() const
    {
        std::ostringstream out;
        out << zt::depthName(depth_) << (order_ ? " plane" : " pixel") << " " << channels_ << "ch"
            << (alpha_ ? "+alpha" : "") << (inPlace_ ? " in place" : "") << (coi_ ? " coi" : "");
        for (const ZanImage* image : {src(), dst()}) {
            const zt::Rect r = zt::regionOf(image);
            out << " | " << image->width << "x" << image->height << " roi " << r.x << "," << r.y
                << " " << r.width << "x" << r.height << (image->maskROI ? " mask" : "");
            if (image->tileInfo)
                out << " tiles " << image->tileInfo->width << "x" << image->tileInfo->height;
        }
        return out.str();
    }

    // The destination's pixels that the operation must leave, from the
    // sources' pixels before the call.
    Image expected(double (*convert)(uint32_t, double)) const
    {
        const ZanImage* s = src_.content();
        const ZanImage* d = inPlace_ ? s : dst_.content();
        Image result(zanCloneImage(d));
        const zt::Rect sr = zt::regionOf(src());
        const zt::Rect dr = zt::regionOf(dst());
        int width = std::min(sr.width, dr.width);
        int height = std::min(sr.height, dr.height);
        for (const ZanImage* image : {src(), dst()}) {
            if (image->maskROI) {
                const zt::Rect m = zt::regionOf(image->maskROI);
                width = std::min(width, m.width);
                height = std::min(height, m.height);
            }
        }
        const int count = zt::channelCount(dst());
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (!allowed(src(), x, y) || !allowed(dst(), x, y))
                    continue;
                for (int c = 0; c < count; ++c) {
                    const double a = zt::sampleAt(s, sr.x + x, sr.y + y, zt::firstChannel(src()) + c);
                    zt::setSampleAt(result.get(), dr.x + x, dr.y + y, zt::firstChannel(dst()) + c,
                                    convert(depth_, a));
                }
            }
        }
        return result;
    }

    // Brings the destination's tiles back into its plain twin.
    const ZanImage* result() const
    {
        const Side& side = inPlace_ ? src_ : dst_;
        if (side.tiled)
            side.tiled->store();
        return side.content();
    }

    bool tilesBalanced() const
    {
        for (const Side* side : {&src_, &dst_}) {
            if (side->tiled && (side->tiled->misuse ||
                                side->tiled->openCount() != side->tiled->releaseCount()))
                return false;
        }
        return true;
    }

private:
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }

    // Each mask is read from its own region's corner.
    static bool allowed(const ZanImage* image, int x, int y)
    {
        const ZanImage* mask = image->maskROI;
        if (!mask)
            return true;
        const zt::Rect m = zt::regionOf(mask);
        return zt::bitAt(mask, m.x + x, m.y + y);
    }

    Side makeSide()
    {
        Shape shape{depth_, channels_, 4 + pick(40), 4 + pick(40), order_, alpha_ ? channels_ : 0};
        Side side;
        if (pick(2)) {
            static const int tileSizes[] = {8, 16, 24};
            side.tiled = std::make_unique<TiledImage>(shape, tileSizes[pick(3)], tileSizes[pick(3)]);
            zt::fillRandom(side.tiled->plain(), rng_);
            side.tiled->load();
        } else {
            side.plain = zt::makeRandomImage(shape, rng_);
        }
        ZanImage* header = side.header();
        if (coi_ || pick(2))
            zt::setRoi(header, coi_ ? 1 + pick(channels_) : 0, pick(header->width / 2),
                       pick(header->height / 2), 1 + pick(header->width), 1 + pick(header->height));
        if (pick(3) == 0) {
            ZanImage* mask = zt::attachRandomMask(header, 3 + pick(40), 3 + pick(40), rng_);
            if (pick(2))
                zt::setRoi(mask, 0, pick(3), pick(3), 1 + pick(mask->width), 1 + pick(mask->height));
        }
        return side;
    }

    std::mt19937& rng_;
    uint32_t depth_;
    int order_;
    int channels_;
    bool alpha_;
    bool inPlace_;
    bool coi_;
    Side src_;
    Side dst_;
};

struct ValueForm {
    const char* name;
    bool floatForm;
    double (*convert)(uint32_t, double);
    void (*run)(ZanImage*, ZanImage*);
};

const ValueForm kValueForms[] = {
    {"zanUserProcess", false, expectedInt,
     [](ZanImage* s, ZanImage* d) { zanUserProcess(s, d, tripleLess100); }},
    {"zanUserProcessFP", true, expectedFloat,
     [](ZanImage* s, ZanImage* d) { zanUserProcessFP(s, d, scaleShift); }},
};

TEST(UserProcess, ValueFormsMatchAReferenceOverRandomImagesTilesRoisAndMasks)
{
    for (const ValueForm& form : kValueForms) {
        std::mt19937 rng(form.floatForm ? 91 : 17);
        for (int i = 0; i < 300; ++i) {
            ValueCase c(form.floatForm, rng);
            SCOPED_TRACE(std::string(form.name) + " case " + std::to_string(i) + ": " + c.describe());
            const Image expected = c.expected(form.convert);
            RecordingReporter recorder;
            form.run(c.src(), c.dst());
            ASSERT_EQ(recorder.summary(), std::vector<std::string>{});
            ASSERT_EQ(zt::bytesOf(c.result()), zt::bytesOf(expected.get()));
            ASSERT_TRUE(c.tilesBalanced());
        }
    }
}

// ---------------------------------------------------------------------------
// Conversions of single results at each depth.

thread_local int gIntResult;
thread_local float gFloatResult;
int giveInt(int) { return gIntResult; }
float giveFloat(float) { return gFloatResult; }

struct ConversionCase {
    uint32_t depth;
    bool floatForm;
    double result;
    double stored;
};

TEST(UserProcess, ResultsAreClampedAndTruncatedByDepth)
{
    const ConversionCase cases[] = {
        {ZAN_DEPTH_8U, false, 300, 255},          {ZAN_DEPTH_8U, false, -1, 0},
        {ZAN_DEPTH_8S, false, 200, 127},          {ZAN_DEPTH_8S, false, -200, -128},
        {ZAN_DEPTH_16U, false, 70000, 65535},     {ZAN_DEPTH_16S, false, -40000, -32768},
        {ZAN_DEPTH_32S, false, -2147483647.0, -2147483647.0},
        {ZAN_DEPTH_8U, true, 1.9, 1},             {ZAN_DEPTH_8U, true, -1.9, 0},
        {ZAN_DEPTH_8S, true, -1.9, -1},           {ZAN_DEPTH_8S, true, 300.5, 127},
        {ZAN_DEPTH_16U, true, 65535.9, 65535},    {ZAN_DEPTH_16S, true, -32768.5, -32768},
        {ZAN_DEPTH_32S, true, 1.0e10, 2147483647.0}, {ZAN_DEPTH_32S, true, -1.0e10, -2147483648.0},
        {ZAN_DEPTH_32S, true, -7.75, -7},         {ZAN_DEPTH_32F, true, 0.1, 0.1f},
    };
    for (const ConversionCase& c : cases) {
        SCOPED_TRACE(std::string(zt::depthName(c.depth)) + (c.floatForm ? " FP " : " int ") +
                     std::to_string(c.result));
        Image src = zt::makeImage(Shape{c.depth, 2, 5, 3});
        Image dst = zt::makeImage(Shape{c.depth, 2, 5, 3});
        RecordingReporter recorder;
        gIntResult = static_cast<int>(c.result);
        gFloatResult = static_cast<float>(c.result);
        if (c.floatForm)
            zanUserProcessFP(src.get(), dst.get(), giveFloat);
        else
            zanUserProcess(src.get(), dst.get(), giveInt);
        EXPECT_TRUE(recorder.reports().empty());
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5; ++x)
                for (int ch = 0; ch < 2; ++ch)
                    ASSERT_EQ(zt::sampleAt(dst.get(), x, y, ch), c.stored);
    }
}

// ---------------------------------------------------------------------------
// The checks.

struct CheckCase {
    const char* name;
    std::function<void(ZanImage* src, ZanImage* dst)> spoil;
    int form; // 0 value, 1 FP, 2 pixel
    std::vector<std::pair<int, std::string>> reports;
};

int pixelNoop(const ZanImage*, const void*, const ZanImage*, void*) { return 0; }

TEST(UserProcess, ChecksReportInOrderAndLeaveTheImageUntouched)
{
    const char* names[] = {"zanUserProcess", "zanUserProcessFP", "zanUserProcessPixel"};
    const CheckCase cases[] = {
        {"origin", [](ZanImage*, ZanImage* d) { d->origin = 1; }, 0,
         {{ZAN_STATUS_ORIGIN, "srcImage->origin != dstImage->origin"}}},
        {"order and origin", [](ZanImage*, ZanImage* d) { d->origin = 1; d->dataOrder = 1; }, 2,
         {{ZAN_STATUS_ORIGIN, "srcImage->origin != dstImage->origin"},
          {ZAN_STATUS_ORDER, "srcImage->dataOrder != dstImage->dataOrder"}}},
        {"depth", [](ZanImage*, ZanImage* d) { d->depth = ZAN_DEPTH_16U; }, 1,
         {{ZAN_STATUS_DEPTH, "srcImage->depth != dstImage->depth"}}},
        {"alpha counts", [](ZanImage* s, ZanImage*) { s->alphaChannel = 3; }, 0,
         {{ZAN_STATUS_CHANNELS, "srcImage->nChannels != dstImage->nChannels"}}},
        {"coi on dst", [](ZanImage*, ZanImage* d) { zt::setRoi(d, 2, 0, 0, 9, 9); }, 0,
         {{ZAN_STATUS_COI, "dstImage->roi->coi > 0 && srcImage->roi->coi == 0"}}},
        {"coi on src", [](ZanImage* s, ZanImage*) { zt::setRoi(s, 1, 0, 0, 9, 9); }, 1,
         {{ZAN_STATUS_COI, "srcImage->roi->coi > 0 && dstImage->roi->coi == 0"}}},
        {"coi on src, pixels", [](ZanImage* s, ZanImage*) { zt::setRoi(s, 1, 0, 0, 9, 9); }, 2, {}},
        {"empty width", [](ZanImage* s, ZanImage*) { zt::setRoi(s, 0, 9, 0, 9, 9); }, 2,
         {{ZAN_STATUS_ROI_SIZE, "width <= 0"}}},
        {"checks stop before the size",
         [](ZanImage*, ZanImage* d) { d->origin = 1; zt::setRoi(d, 0, 9, 9, 9, 9); }, 1,
         {{ZAN_STATUS_ORIGIN, "srcImage->origin != dstImage->origin"}}},
        {"empty both", [](ZanImage*, ZanImage* d) { zt::setRoi(d, 0, 9, 9, 9, 9); }, 0,
         {{ZAN_STATUS_ROI_SIZE, "width <= 0"}, {ZAN_STATUS_ROI_SIZE, "height <= 0"}}},
    };
    for (const CheckCase& c : cases) {
        SCOPED_TRACE(c.name);
        Image src = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 6, 5}, 1);
        Image dst = zt::makeImage(Shape{ZAN_DEPTH_8U, 3, 6, 5}, 9);
        c.spoil(src.get(), dst.get());
        const std::vector<uint8_t> before = zt::bytesOf(dst.get());
        RecordingReporter recorder;
        if (c.form == 0)
            zanUserProcess(src.get(), dst.get(), giveInt);
        else if (c.form == 1)
            zanUserProcessFP(src.get(), dst.get(), giveFloat);
        else
            zanUserProcessPixel(src.get(), dst.get(), pixelNoop);
        std::vector<std::pair<int, std::string>> got;
        for (const auto& r : recorder.reports()) {
            EXPECT_EQ(r.function, names[c.form]);
            EXPECT_EQ(r.source, "zancb");
            got.emplace_back(r.status, r.context);
        }
        EXPECT_EQ(got, c.reports);
        if (!c.reports.empty()) {
            EXPECT_EQ(zt::bytesOf(dst.get()), before);
        }
    }
}

TEST(UserProcess, RefusedDepthsAndMissingFunctions)
{
    struct Refusal {
        uint32_t depth;
        int form;
        std::string text;
    };
    const Refusal refusals[] = {
        {ZAN_DEPTH_32F, 0, "depth == ZAN_DEPTH_32F"}, {ZAN_DEPTH_1U, 0, "depth == ZAN_DEPTH_1U"},
        {ZAN_DEPTH_1U, 1, "depth == ZAN_DEPTH_1U"},   {ZAN_DEPTH_1U, 2, "depth == ZAN_DEPTH_1U"},
        {ZAN_DEPTH_8U, 3, "cbFunc == NULL"},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.text + " form " + std::to_string(r.form));
        Image src = zt::makeImage(Shape{r.depth, 1, 9, 4});
        Image dst = zt::makeImage(Shape{r.depth, 1, 9, 4});
        RecordingReporter recorder;
        switch (r.form) {
        case 0: zanUserProcess(src.get(), dst.get(), giveInt); break;
        case 1: zanUserProcessFP(src.get(), dst.get(), giveFloat); break;
        case 2: zanUserProcessPixel(src.get(), dst.get(), pixelNoop); break;
        default: zanUserProcess(src.get(), dst.get(), nullptr); break;
        }
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].context, r.text);
        EXPECT_EQ(recorder.reports()[0].status, r.text == "cbFunc == NULL" ? -5 : -17);
    }
}

TEST(UserProcess, ANegativeStatusLeftFromBeforeStopsWithoutAReport)
{
    Image src = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 9, 4}, 4);
    Image dst = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 9, 4}, 5);
    RecordingReporter recorder;
    zanSetErrStatus(ZAN_STATUS_NO_MEMORY);
    zanUserProcess(src.get(), dst.get(), tripleLess100);
    EXPECT_TRUE(recorder.reports().empty());
    EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_NO_MEMORY);
    EXPECT_EQ(zt::sampleAt(dst.get(), 3, 2, 0), 5);
}

// ---------------------------------------------------------------------------
// The nested walk.

using Journal = std::vector<std::pair<int, Call>>;
constexpr int kSrcId = 1;
constexpr int kDstId = 2;

// The tiles of a grid that meet a rectangle, row by row.
std::vector<std::pair<int, int>> tilesMeeting(int x, int y, int width, int height, int tw, int th)
{
    std::vector<std::pair<int, int>> tiles;
    for (int row = y / th; row <= (y + height - 1) / th; ++row)
        for (int column = x / tw; column <= (x + width - 1) / tw; ++column)
            tiles.emplace_back(column, row);
    return tiles;
}

// The calls the walk makes: each destination tile opened for writing, the
// source's tiles under it read and released, then the destination's
// released.
Journal expectedJournal(const zt::Rect& s, const zt::Rect& d, int width, int height, int stw,
                        int sth, int dtw, int dth)
{
    Journal journal;
    for (const auto& [column, row] : tilesMeeting(d.x, d.y, width, height, dtw, dth)) {
        journal.push_back({kDstId, Call{column, row, ZAN_TILE_WRITE}});
        const int left = std::max(d.x, column * dtw);
        const int top = std::max(d.y, row * dth);
        const int right = std::min(d.x + width, (column + 1) * dtw);
        const int bottom = std::min(d.y + height, (row + 1) * dth);
        for (const auto& [sc, sr] : tilesMeeting(s.x + left - d.x, s.y + top - d.y, right - left,
                                                 bottom - top, stw, sth)) {
            journal.push_back({kSrcId, Call{sc, sr, ZAN_TILE_READ}});
            journal.push_back({kSrcId, Call{sc, sr, ZAN_TILE_RELEASE}});
        }
        journal.push_back({kDstId, Call{column, row, ZAN_TILE_RELEASE}});
    }
    return journal;
}

struct WalkPair {
    TiledImage src;
    TiledImage dst;
    Journal journal;

    WalkPair(const Shape& s, int stw, int sth, const Shape& d, int dtw, int dth)
        : src(s, stw, sth), dst(d, dtw, dth)
    {
        src.journal = &journal;
        src.journalId = kSrcId;
        dst.journal = &journal;
        dst.journalId = kDstId;
    }
};

TEST(UserProcess, NestedWalkVisitsTheSourcesTilesWithinEachDestinationTile)
{
    struct Geometry {
        int stw, sth, dtw, dth;
        zt::Rect srcRoi, dstRoi;
    };
    const Geometry geometries[] = {
        {16, 16, 24, 8, {3, 5, 50, 30}, {7, 2, 50, 30}},
        {8, 24, 16, 16, {0, 0, 61, 47}, {11, 13, 61, 47}},
        {24, 8, 8, 8, {9, 1, 17, 33}, {0, 6, 17, 33}},
    };
    for (const Geometry& g : geometries) {
        WalkPair pair(Shape{ZAN_DEPTH_8U, 2, 70, 60}, g.stw, g.sth, Shape{ZAN_DEPTH_8U, 2, 80, 64},
                      g.dtw, g.dth);
        std::mt19937 rng(5);
        zt::fillRandom(pair.src.plain(), rng);
        pair.src.load();
        zt::setRoi(pair.src.header(), 0, g.srcRoi.x, g.srcRoi.y, g.srcRoi.width, g.srcRoi.height);
        zt::setRoi(pair.dst.header(), 0, g.dstRoi.x, g.dstRoi.y, g.dstRoi.width, g.dstRoi.height);
        RecordingReporter recorder;
        zanUserProcess(pair.src.header(), pair.dst.header(), tripleLess100);
        EXPECT_TRUE(recorder.reports().empty());
        EXPECT_EQ(pair.journal, expectedJournal(g.srcRoi, g.dstRoi, g.srcRoi.width, g.srcRoi.height,
                                                g.stw, g.sth, g.dtw, g.dth));
        pair.dst.store();
        for (int y = 0; y < g.srcRoi.height; ++y)
            for (int x = 0; x < g.srcRoi.width; ++x)
                ASSERT_EQ(zt::sampleAt(pair.dst.plain(), g.dstRoi.x + x, g.dstRoi.y + y, 1),
                          expectedInt(ZAN_DEPTH_8U, zt::sampleAt(pair.src.plain(), g.srcRoi.x + x,
                                                                 g.srcRoi.y + y, 1)));
    }
}

TEST(UserProcess, InPlaceOnATiledImageOpensEachTileOnceForWriting)
{
    TiledImage image(Shape{ZAN_DEPTH_16S, 1, 40, 20}, 16, 8);
    RecordingReporter recorder;
    zanUserProcessFP(image.header(), image.header(), scaleShift);
    std::vector<Call> expected;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) {
            expected.push_back({column, row, ZAN_TILE_WRITE});
            expected.push_back({column, row, ZAN_TILE_RELEASE});
        }
    EXPECT_EQ(image.calls, expected);
    image.store();
    EXPECT_EQ(zt::sampleAt(image.plain(), 39, 19, 0), std::trunc(0.0f * 1.7f - 50.3f));
}

// A tile callback that sets a status or gives no data ends the walk where
// it happened, with the report of that place.
struct TileFailure {
    const char* name;
    bool onSource;
    int call;          // the call of that image that fails
    bool leavesStatus; // or gives no data
    Journal calls;
    std::pair<int, std::string> report;
};

TEST(UserProcess, TileFailuresEndTheWalkWithTheirReports)
{
    const TileFailure failures[] = {
        {"dst open status", false, 0, true, {{kDstId, {0, 0, ZAN_TILE_WRITE}}},
         {-1, "dstImage->tileInfo->callBack: can't open tile to write"}},
        {"dst open data", false, 0, false, {{kDstId, {0, 0, ZAN_TILE_WRITE}}},
         {-3, "dstImage->tileInfo->tileData == NULL: can't open tile to write"}},
        {"src open status", true, 0, true,
         {{kDstId, {0, 0, ZAN_TILE_WRITE}}, {kSrcId, {0, 0, ZAN_TILE_READ}}},
         {-1, "srcImage->tileInfo->callBack: can't open tile to read"}},
        {"src open data", true, 2, false,
         {{kDstId, {0, 0, ZAN_TILE_WRITE}}, {kSrcId, {0, 0, ZAN_TILE_READ}},
          {kSrcId, {0, 0, ZAN_TILE_RELEASE}}, {kSrcId, {1, 0, ZAN_TILE_READ}}},
         {-3, "srcImage->tileInfo->tileData == NULL: can't open tile to read"}},
        {"src release status", true, 1, true,
         {{kDstId, {0, 0, ZAN_TILE_WRITE}}, {kSrcId, {0, 0, ZAN_TILE_READ}},
          {kSrcId, {0, 0, ZAN_TILE_RELEASE}}},
         {-1, "srcImage->tileInfo->callBack: can't release tile"}},
        {"dst release status", false, 1, true,
         {{kDstId, {0, 0, ZAN_TILE_WRITE}}, {kSrcId, {0, 0, ZAN_TILE_READ}},
          {kSrcId, {0, 0, ZAN_TILE_RELEASE}}, {kSrcId, {1, 0, ZAN_TILE_READ}},
          {kSrcId, {1, 0, ZAN_TILE_RELEASE}}, {kDstId, {0, 0, ZAN_TILE_RELEASE}}},
         {-1, "dstImage->tileInfo->callBack: can't release tile"}},
    };
    for (const TileFailure& f : failures) {
        SCOPED_TRACE(f.name);
        WalkPair pair(Shape{ZAN_DEPTH_8U, 1, 32, 16}, 8, 16, Shape{ZAN_DEPTH_8U, 1, 32, 16}, 16, 16);
        TiledImage& failing = f.onSource ? pair.src : pair.dst;
        if (f.leavesStatus)
            failing.statusAt = f.call;
        else
            failing.failOpenAt = f.call / 2;
        RecordingReporter recorder;
        zanUserProcess(pair.src.header(), pair.dst.header(), tripleLess100);
        EXPECT_EQ(pair.journal, f.calls);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, f.report.first);
        EXPECT_EQ(recorder.reports()[0].context, f.report.second);
    }
}

// ---------------------------------------------------------------------------
// The pixel form.

thread_local int gPixelCalls;
thread_local int gStopAt;

// Destination channel c gets twice the source's channel n - 1 - c, each
// read and written as its own header says.
int mirrorDoubled(const ZanImage* srcImage, const void* srcPixel, const ZanImage* dstImage,
                  void* dstPixel)
{
    const int n = srcImage->nChannels;
    for (int c = 0; c < dstImage->nChannels; ++c) {
        const int from = n - 1 - std::min(c, n - 1);
        const double a = zt::loadSample(srcImage->depth,
                                        static_cast<const char*>(srcPixel) +
                                            from * ((srcImage->depth & ZAN_DEPTH_MASK) / 8), 0);
        zt::storeSample(dstImage->depth,
                        static_cast<char*>(dstPixel) + c * ((dstImage->depth & ZAN_DEPTH_MASK) / 8), 0,
                        2 * a);
    }
    if (++gPixelCalls == gStopAt)
        zanSetErrStatus(-7);
    return 0;
}

TEST(UserProcessPixel, PixelsOfEitherOrderAndOfDifferentDepthsAreInterleaved)
{
    std::mt19937 rng(23);
    for (int i = 0; i < 60; ++i) {
        const int order = i % 2;
        const int n = 1 + i % 3;
        Shape srcShape{ZAN_DEPTH_8U, n, 9 + i % 17, 7 + i % 11, order};
        Shape dstShape{i % 4 < 2 ? ZAN_DEPTH_16U : ZAN_DEPTH_32S, n, 12, 10, order};
        SCOPED_TRACE(zt::describe(srcShape) + " -> " + zt::describe(dstShape));
        TiledImage src(srcShape, 8, 8);
        zt::fillRandom(src.plain(), rng);
        src.load();
        Image dst = zt::makeRandomImage(dstShape, rng);
        const bool masked = i % 3 == 0;
        if (masked)
            zt::attachRandomMask(dst.get(), 11, 9, rng);
        Image expected(zanCloneImage(dst.get()));
        const int width = std::min({srcShape.width, dstShape.width, masked ? 11 : 99});
        const int height = std::min({srcShape.height, dstShape.height, masked ? 9 : 99});
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < n && (!masked || zt::bitAt(dst->maskROI, x, y)); ++c)
                    zt::setSampleAt(expected.get(), x, y, c, 2 * zt::sampleAt(src.plain(), x, y, n - 1 - c));
        gPixelCalls = 0;
        gStopAt = -1;
        RecordingReporter recorder;
        zanUserProcessPixel(src.header(), dst.get(), mirrorDoubled);
        EXPECT_TRUE(recorder.reports().empty());
        ASSERT_EQ(zt::bytesOf(dst.get()), zt::bytesOf(expected.get()));
    }
}

TEST(UserProcessPixel, AStatusSetByTheFunctionStopsAfterThatPixel)
{
    for (int order : {ZAN_DATA_ORDER_PIXEL, ZAN_DATA_ORDER_PLANE}) {
        SCOPED_TRACE(order);
        WalkPair pair(Shape{ZAN_DEPTH_8U, 2, 20, 12, order}, 8, 8,
                      Shape{ZAN_DEPTH_16U, 2, 20, 12, order}, 16, 16);
        std::mt19937 rng(3);
        zt::fillRandom(pair.src.plain(), rng);
        pair.src.load();
        gPixelCalls = 0;
        gStopAt = 8 + 3; // the third pixel of the second row of the first source tile
        RecordingReporter recorder;
        zanUserProcessPixel(pair.src.header(), pair.dst.header(), mirrorDoubled);
        EXPECT_EQ(gPixelCalls, gStopAt);
        const Journal expected = {{kDstId, {0, 0, ZAN_TILE_WRITE}},
                                  {kSrcId, {0, 0, ZAN_TILE_READ}},
                                  {kSrcId, {0, 0, ZAN_TILE_RELEASE}},
                                  {kDstId, {0, 0, ZAN_TILE_RELEASE}}};
        EXPECT_EQ(pair.journal, expected);
        ASSERT_EQ(recorder.reports().size(), 1u);
        EXPECT_EQ(recorder.reports()[0].status, ZAN_STATUS_BACKTRACE);
        EXPECT_EQ(zanGetErrStatus(), -7);
        // Pixel order writes each pixel in place; plane order loses the row
        // that was cut short.
        pair.dst.store();
        const int done = order == ZAN_DATA_ORDER_PIXEL ? gStopAt : 8;
        for (int k = 0; k < 16; ++k) {
            const int x = k % 8;
            const int y = k / 8;
            const double want = k < done ? 2 * zt::sampleAt(pair.src.plain(), x, y, 0) : 0;
            EXPECT_EQ(zt::sampleAt(pair.dst.plain(), x, y, 1), want) << x << "," << y;
        }
    }
}

} // namespace
