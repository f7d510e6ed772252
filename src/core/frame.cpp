// The frame of pixelwise operations and its helpers.
#include "own_bits.h"
#include "own_frame.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr int kUnlimited = 0x7FFFFFFF;

const OwnWalkTexts kTwoSourceTexts = {
    {"(srcImageA->tileInfo->tileData == 0)", "(srcImageB->tileInfo->tileData == 0)",
     "(dstImage->tileInfo->tileData == 0)"},
    {nullptr, nullptr, nullptr},
};

const OwnWalkTexts kOneSourceTexts = {
    {"(srcImage->tileInfo->tileData == 0)", nullptr, "(dstImage->tileInfo->tileData == 0)"},
    {nullptr, nullptr, nullptr},
};

// One image of the walk: its working header with a private ROI, its
// rectangle, its walker and its cursor.
struct WalkImage {
    const ZanImage* real = nullptr;
    ZanImage work{};
    ZanROI roi{};
    OwnRect rect{};
    OwnTileWalker walker{};
    int cx = 0;
    int cy = 0;
    int mode = 0;
    OwnImageRole role = OWN_DST;
};

void makeWorkingHeader(WalkImage& image, const ZanImage* real)
{
    image.real = real;
    image.work = *real;
    image.roi = ZanROI{real->roi ? real->roi->coi : 0, 0, 0, 0, 0};
    image.work.roi = &image.roi;
    ownRegionRect(real, &image.rect);
}

class TileWalk {
public:
    TileWalk(const OwnWalkSetup& setup, OwnRowRoutine routine)
        : setup_(setup), routine_(routine)
    {
    }

    bool run()
    {
        if (!setUp())
            return true;
        while (dst_.cy < dst_.rect.yEnd) {
            if (!band())
                return false;
        }
        return true;
    }

private:
    bool setUp()
    {
        if (setup_.mask) {
            makeWorkingHeader(mask_, setup_.mask);
        } else {
            mask_.rect = OwnRect{0, 0, 0, 0, kUnlimited, kUnlimited};
        }
        makeWorkingHeader(dst_, setup_.dst);
        dst_.mode = ZAN_TILE_WRITE;
        dst_.role = OWN_DST;
        int width = std::min(mask_.rect.width, dst_.rect.width);
        int height = std::min(mask_.rect.height, dst_.rect.height);
        for (int i = 0; i < 2; ++i) {
            const ZanImage* source = setup_.src[i];
            if (!source || source == setup_.dst)
                continue;
            WalkImage& image = sources_[sourceCount_++];
            makeWorkingHeader(image, source);
            image.mode = ZAN_TILE_READ;
            image.role = static_cast<OwnImageRole>(i);
            width = std::min(width, image.rect.width);
            height = std::min(height, image.rect.height);
        }
        // An empty rectangle needs no tile at all.
        if (width <= 0 || height <= 0)
            return false;
        for (WalkImage* image : all()) {
            image->rect.xEnd = image->rect.x + width;
            image->rect.yEnd = image->rect.y + height;
            image->cy = image->rect.y;
        }
        for (int i = 0; i < sourceCount_; ++i)
            ownTileWalkInit(sources_[i].real, &sources_[i].work, &sources_[i].rect,
                            &sources_[i].walker);
        ownTileWalkInit(dst_.real, &dst_.work, &dst_.rect, &dst_.walker);
        return true;
    }

    // The images in the order of the walk: sources, mask, destination.
    struct ImageList {
        WalkImage* items[4];
        int count;
        WalkImage** begin() { return items; }
        WalkImage** end() { return items + count; }
    };
    ImageList all()
    {
        ImageList list{{}, 0};
        for (int i = 0; i < sourceCount_; ++i)
            list.items[list.count++] = &sources_[i];
        list.items[list.count++] = &mask_;
        list.items[list.count++] = &dst_;
        return list;
    }

    bool open(WalkImage& image, int column, int row)
    {
        image.real->tileInfo->callBack(image.real, column, row, image.mode);
        char* data = image.real->tileInfo->tileData;
        if (!data) {
            OWN_REPORT(setup_.site, ZAN_STATUS_BAD_ARGUMENT, setup_.texts->openFailed[image.role]);
            return false;
        }
        image.work.imageData = data;
        return true;
    }

    bool release(WalkImage& image, int column, int row)
    {
        image.real->tileInfo->callBack(image.real, column, row, ZAN_TILE_RELEASE);
        const char* text = setup_.texts->releaseFailed[image.role];
        if (text && image.real->tileInfo->tileData) {
            OWN_REPORT(setup_.site, ZAN_STATUS_BAD_ARGUMENT, text);
            return false;
        }
        return true;
    }

    // Opens the tile row that holds the image's cursor and limits the
    // private ROI to the rows that remain in it.
    bool startBand(WalkImage& image)
    {
        OwnTileWalker& walker = image.walker;
        if (!walker.tiled) {
            image.roi.yOffset = image.cy;
            image.roi.height = image.rect.yEnd - image.cy;
            return true;
        }
        if (walker.yEnd <= image.cy) {
            ++walker.row;
            walker.yStart += walker.tileHeight;
            walker.yEnd += walker.tileHeight;
        }
        if (!open(image, walker.column, walker.row))
            return false;
        image.roi.yOffset = image.cy - walker.yStart;
        image.roi.height = std::min(walker.yEnd, image.rect.yEnd) - image.cy;
        return true;
    }

    bool chunk(WalkImage& image)
    {
        OwnTileWalker& walker = image.walker;
        if (!walker.tiled) {
            image.roi.xOffset = image.cx;
            image.roi.width = image.rect.xEnd - image.cx;
            return true;
        }
        if (walker.bandXEnd <= image.cx) {
            if (!release(image, walker.bandColumn, walker.row))
                return false;
            ++walker.bandColumn;
            walker.bandXStart += walker.tileWidth;
            walker.bandXEnd += walker.tileWidth;
            if (!open(image, walker.bandColumn, walker.row))
                return false;
        }
        image.roi.xOffset = image.cx - walker.bandXStart;
        image.roi.width = std::min(walker.bandXEnd, image.rect.xEnd) - image.cx;
        return true;
    }

    void callRoutine()
    {
        OwnPiece piece{{nullptr, nullptr}, &dst_.work, setup_.mask ? &mask_.work : nullptr,
                       setup_.plan};
        int next = 0;
        for (int i = 0; i < 2; ++i) {
            const ZanImage* source = setup_.src[i];
            if (!source)
                continue;
            piece.src[i] = source == setup_.dst ? &dst_.work : &sources_[next++].work;
        }
        routine_(piece);
    }

    bool band()
    {
        for (int i = 0; i < sourceCount_; ++i) {
            if (!startBand(sources_[i]))
                return false;
        }
        mask_.roi.yOffset = mask_.cy;
        mask_.roi.height = mask_.rect.yEnd - mask_.cy;
        if (!startBand(dst_))
            return false;

        int height = kUnlimited;
        for (WalkImage* image : all())
            height = std::min(height, image->roi.height);
        for (WalkImage* image : all()) {
            image->roi.height = height;
            image->cx = image->rect.x;
            image->walker.bandXStart = image->walker.xStart;
            image->walker.bandXEnd = image->walker.xEnd;
            image->walker.bandColumn = image->walker.column;
        }

        while (dst_.cx < dst_.rect.xEnd) {
            for (int i = 0; i < sourceCount_; ++i) {
                if (!chunk(sources_[i]))
                    return false;
            }
            mask_.roi.xOffset = mask_.cx;
            mask_.roi.width = mask_.rect.xEnd - mask_.cx;
            if (!chunk(dst_))
                return false;
            int width = kUnlimited;
            for (WalkImage* image : all())
                width = std::min(width, image->roi.width);
            for (WalkImage* image : all())
                image->roi.width = width;
            callRoutine();
            for (WalkImage* image : all())
                image->cx += width;
        }

        for (int i = 0; i < sourceCount_; ++i) {
            WalkImage& image = sources_[i];
            if (image.walker.tiled && !release(image, image.walker.bandColumn, image.walker.row))
                return false;
        }
        if (dst_.walker.tiled && !release(dst_, dst_.walker.bandColumn, dst_.walker.row))
            return false;
        for (WalkImage* image : all())
            image->cy += height;
        return true;
    }

    const OwnWalkSetup& setup_;
    OwnRowRoutine routine_;
    WalkImage sources_[2];
    int sourceCount_ = 0;
    WalkImage mask_;
    WalkImage dst_;
};

} // namespace

void ownImageChannels(const ZanImage* image, int* count, int* first)
{
    if (image->roi && image->roi->coi > 0) {
        *count = 1;
        *first = image->roi->coi - 1;
    } else {
        *count = image->nChannels - (image->alphaChannel > 0 ? 1 : 0);
        *first = 0;
    }
}

void ownRegionRect(const ZanImage* image, OwnRect* rect)
{
    rect->xEnd = 0;
    rect->yEnd = 0;
    if (const ZanROI* roi = image->roi) {
        rect->x = roi->xOffset;
        rect->y = roi->yOffset;
        rect->width = std::min(roi->width, image->width - roi->xOffset);
        rect->height = std::min(roi->height, image->height - roi->yOffset);
    } else {
        rect->x = 0;
        rect->y = 0;
        rect->width = image->width;
        rect->height = image->height;
    }
}

char* ownRegionStart(const ZanImage* image, int* width, int* height, int channel, int* bitOffset)
{
    OwnRect rect;
    ownRegionRect(image, &rect);
    *width = std::max(rect.width, 0);
    *height = std::max(rect.height, 0);
    *bitOffset = 0;
    const ZanROI* roi = image->roi;
    if (!roi)
        return image->imageData + (image->dataOrder == ZAN_DATA_ORDER_PLANE
                                       ? static_cast<std::ptrdiff_t>(channel) * image->height *
                                             image->widthStep
                                       : static_cast<std::ptrdiff_t>(channel) *
                                             ownDepthBits(image->depth) / 8);
    *bitOffset = roi->xOffset % 8;
    const std::ptrdiff_t bits = ownDepthBits(image->depth);
    const std::ptrdiff_t rowOffset = static_cast<std::ptrdiff_t>(roi->yOffset) * image->widthStep;
    if (image->dataOrder == ZAN_DATA_ORDER_PLANE)
        return image->imageData + rowOffset +
               static_cast<std::ptrdiff_t>(channel) * image->height * image->widthStep +
               roi->xOffset * bits / 8;
    return image->imageData + rowOffset +
           (static_cast<std::ptrdiff_t>(roi->xOffset) * image->nChannels + channel) * bits / 8;
}

ZanImage* ownMergeMasks(const ZanImage* maskA, const ZanImage* maskB, const ZanImage* maskC,
                        int* state)
{
    const ZanImage* masks[3];
    int count = 0;
    for (const ZanImage* mask : {maskA, maskB, maskC}) {
        if (mask)
            masks[count++] = mask;
    }
    *state = OWN_MASK_KEPT;
    if (count == 0)
        return nullptr;
    if (count == 1)
        return const_cast<ZanImage*>(masks[0]);

    const uint8_t* rows[3];
    int phases[3];
    int width = INT_MAX;
    int height = INT_MAX;
    for (int i = 0; i < count; ++i) {
        int w, h;
        rows[i] = reinterpret_cast<const uint8_t*>(ownRegionStart(masks[i], &w, &h, 0, &phases[i]));
        width = std::min(width, w);
        height = std::min(height, h);
    }
    if (width == 0 || height == 0) {
        *state = OWN_MASK_DISJOINT;
        return nullptr;
    }
    ZanImage* merged = zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0", ZAN_DATA_ORDER_PLANE,
                                            masks[0]->origin, 8, width, height, nullptr, nullptr,
                                            nullptr, nullptr);
    if (merged)
        zanAllocateImage(merged, 1, 0);
    if (!merged || !merged->imageData) {
        zanDeallocate(merged, ZAN_FREE_HEADER);
        *state = OWN_MASK_NO_MEMORY;
        return nullptr;
    }
    for (int y = 0; y < height; ++y) {
        uint8_t* out = reinterpret_cast<uint8_t*>(merged->imageData) +
                       static_cast<std::ptrdiff_t>(y) * merged->widthStep;
        for (int x = 0; x < width; x += 8) {
            const int valid = std::min(8, width - x);
            uint8_t bits = 0xFF;
            for (int i = 0; i < count; ++i)
                bits &= ownFetchBits(rows[i] + static_cast<std::ptrdiff_t>(y) * masks[i]->widthStep,
                                     phases[i] + x, valid);
            ownStoreBits(out + x / 8, bits, 0, valid);
        }
    }
    *state = OWN_MASK_MERGED;
    return merged;
}

void ownTileWalkInit(const ZanImage* image, ZanImage* work, OwnRect* rect, OwnTileWalker* walker)
{
    *walker = OwnTileWalker{};
    const ZanTileInfo* tiles = image->tileInfo;
    if (!tiles)
        return;
    walker->tiled = true;
    walker->tileWidth = tiles->width;
    walker->tileHeight = tiles->height;
    walker->column = rect->x / tiles->width;
    walker->row = rect->y / tiles->height;
    walker->xStart = walker->column * tiles->width;
    walker->xEnd = walker->xStart + tiles->width;
    walker->yStart = walker->row * tiles->height;
    walker->yEnd = walker->yStart + tiles->height;
    work->tileInfo = nullptr;
    work->imageData = nullptr;
    work->width = tiles->width;
    work->height = tiles->height;
    work->widthStep = ownRowStep(image->dataOrder, image->depth, image->align, image->nChannels,
                                 tiles->width);
    work->imageSize = ownBlockSize(image->dataOrder, work->widthStep, tiles->height,
                                   image->nChannels);
}

bool ownWholeBlock(const ZanImage* imageA, const ZanImage* imageB, const ZanImage* imageC,
                   bool anyAlpha)
{
    if (anyAlpha)
        return false;
    for (const ZanImage* image : {imageA, imageB, imageC}) {
        if (!image)
            continue;
        if (image->width != imageA->width || image->height != imageA->height ||
            image->imageSize != imageA->imageSize || image->align != imageA->align)
            return false;
        if (const ZanROI* roi = image->roi) {
            if (roi->xOffset != 0 || roi->yOffset != 0 || roi->width < image->width ||
                roi->height < image->height)
                return false;
            if (roi->coi <= 0 || image->nChannels != 1)
                return false;
        }
    }
    return true;
}

bool ownFrameWalk(const OwnWalkSetup& setup, OwnRowRoutine routine)
{
    const bool tiled = setup.dst->tileInfo || (setup.src[0] && setup.src[0]->tileInfo) ||
                       (setup.src[1] && setup.src[1]->tileInfo);
    if (!tiled) {
        routine(OwnPiece{{setup.src[0], setup.src[1]}, setup.dst, setup.mask, setup.plan});
        return true;
    }
    return TileWalk(setup, routine).run();
}

OwnFrame::OwnFrame(OwnSite site, const ZanImage* srcImageA, const ZanImage* srcImageB,
                   ZanImage* dstImage)
    : site_(site), src_{srcImageA, srcImageB}, dst_(dstImage), twoSources_(true)
{
}

OwnFrame::OwnFrame(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage)
    : site_(site), src_{srcImage, nullptr}, dst_(dstImage), twoSources_(false)
{
}

OwnFrame::~OwnFrame()
{
    if (maskState_ == OWN_MASK_MERGED)
        zanDeallocate(mask_, ZAN_FREE_HEADER | ZAN_FREE_DATA);
}

bool OwnFrame::prepare(bool compareOrder)
{
    return checkHeaders() && checkLikeness(compareOrder) && planChannels() && mergeMasks();
}

bool OwnFrame::checkHeaders()
{
    const ZanImage* images[3] = {src_[0], src_[1], dst_};
    for (int i = 0; i < 3; ++i) {
        if (i == OWN_SRC_B && !twoSources_)
            continue;
        if (zanCheckImageHeader(images[i]) != ZAN_STATUS_OK) {
            OWN_REPORT(site_, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    return true;
}

bool OwnFrame::checkLikeness(bool compareOrder)
{
    struct Test {
        bool failed;
        const char* text;
    };
    const ZanImage* a = src_[0];
    const ZanImage* b = src_[1];
    const Test twoSourceTests[] = {
        {a->depth != dst_->depth, "(srcImageA->depth != dstImage->depth)"},
        {b && b->depth != dst_->depth, "(srcImageB->depth != dstImage->depth)"},
        {compareOrder && a->dataOrder != dst_->dataOrder, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {compareOrder && b && b->dataOrder != dst_->dataOrder,
         "(srcImageB->dataOrder != dstImage->dataOrder)"},
    };
    const Test oneSourceTests[] = {
        {a->depth != dst_->depth, "(srcImage->depth != dstImage->depth)"},
        {false, nullptr},
        {compareOrder && a->dataOrder != dst_->dataOrder, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {false, nullptr},
    };
    for (const Test& test : twoSources_ ? twoSourceTests : oneSourceTests) {
        if (test.failed) {
            OWN_REPORT(site_, ZAN_STATUS_BAD_ARGUMENT, test.text);
            return false;
        }
    }
    return true;
}

bool OwnFrame::planChannels()
{
    int counts[3];
    const ZanImage* images[3] = {src_[0], src_[1], dst_};
    plan_.noCoi = true;
    plan_.anyAlpha = false;
    for (int i = 0; i < 3; ++i) {
        const ZanImage* image = images[i];
        if (!image) {
            counts[i] = 0;
            plan_.firstChannel[i] = 0;
            continue;
        }
        ownImageChannels(image, &counts[i], &plan_.firstChannel[i]);
        if (image->roi && image->roi->coi > 0)
            plan_.noCoi = false;
        if (image->alphaChannel > 0)
            plan_.anyAlpha = true;
    }
    plan_.channelCount = counts[OWN_DST];
    if (counts[OWN_SRC_A] != counts[OWN_DST]) {
        OWN_REPORT(site_, ZAN_STATUS_BAD_ARGUMENT,
                   twoSources_ ? "(nChSrcA != nChDst)" : "(nChSrc != nChDst)");
        return false;
    }
    if (twoSources_ && counts[OWN_SRC_B] != counts[OWN_DST]) {
        OWN_REPORT(site_, ZAN_STATUS_BAD_ARGUMENT, "(nChSrcB != nChDst)");
        return false;
    }
    return true;
}

bool OwnFrame::mergeMasks()
{
    mask_ = ownMergeMasks(src_[0]->maskROI, twoSources_ ? src_[1]->maskROI : dst_->maskROI,
                          twoSources_ ? dst_->maskROI : nullptr, &maskState_);
    if (maskState_ == OWN_MASK_DISJOINT)
        return false;
    if (maskState_ == OWN_MASK_NO_MEMORY) {
        OWN_REPORT(site_, ZAN_STATUS_NO_MEMORY, "Out of memory");
        return false;
    }
    return true;
}

void OwnFrame::run(OwnRowRoutine routine)
{
    const OwnWalkSetup setup{site_,   {src_[0], src_[1]}, dst_, mask_, &plan_,
                             twoSources_ ? &kTwoSourceTexts : &kOneSourceTexts};
    ownFrameWalk(setup, routine);
}
