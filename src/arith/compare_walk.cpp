// The frame of the comparisons: regions, the merged mask and the walk over
// the tiles of the walker image, column by column.
#include "own_compare.h"

#include "../core/own_memory.h"
#include "../core/own_rect.h"

#include <algorithm>

bool ownCompareRegion(const ZanImage* image, OwnCompareRegion* region)
{
    const ZanROI* roi = image->roi;
    region->x = roi ? roi->xOffset : 0;
    region->y = roi ? roi->yOffset : 0;
    region->width = roi ? std::min(roi->width, image->width - roi->xOffset) : image->width;
    region->height = roi ? std::min(roi->height, image->height - roi->yOffset) : image->height;
    if (roi && roi->coi > 0) {
        region->firstChannel = region->lastChannel = roi->coi;
        return true;
    }
    if (image->alphaChannel != 0 && image->alphaChannel != image->nChannels)
        return false;
    region->firstChannel = 1;
    region->lastChannel = image->nChannels - (image->alphaChannel > 0 ? 1 : 0);
    return region->lastChannel >= 1;
}

namespace {

const char kAllocationFailure[] = "Allocation failure";

// The merged mask: the AND of every operand's mask, or a copy of the only
// one, each counted from its own region start, at the processed size.
class CompareMask {
public:
    // False when memory ran out (reported).
    bool make(const OwnCompareJob& job)
    {
        const ZanImage* masks[3];
        int count = 0;
        const ZanImage* owner = nullptr;
        for (const ZanImage* image : {job.src[0], job.src[1], static_cast<const ZanImage*>(job.res)}) {
            if (image && image->maskROI) {
                owner = owner ? owner : image;
                masks[count++] = image->maskROI;
            }
        }
        if (count == 0)
            return true;
        const ZanImage* first = masks[0];
        mask_ = OwnImageOwner(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "GRAY", first->dataOrder,
                                                   owner->origin, first->align, job.width,
                                                   job.height, nullptr, nullptr, nullptr, nullptr),
                              ZAN_FREE_ALL);
        if (mask_)
            zanAllocateImage(mask_.get(), 0, 0);
        if (!mask_ || !mask_->imageData) {
            OWN_REPORT(job.site, ZAN_STATUS_NO_MEMORY, kAllocationFailure);
            return false;
        }
        if (count == 1)
            zanCopy(masks[0], mask_.get());
        else
            zanAnd(masks[0], masks[1], mask_.get());
        if (count > 2)
            zanAnd(masks[2], mask_.get(), mask_.get());
        return true;
    }

    OwnView view(int x, int y) const
    {
        return mask_ ? ownImageView(mask_.get(), x, y) : OwnView{};
    }

private:
    OwnImageOwner mask_;
};

// The view of an untiled image's region at (dx, dy) from its corner, at the
// first compared channel.
OwnView regionView(const ZanImage* image, const OwnCompareRegion& region, int dx, int dy)
{
    OwnView view = ownImageView(image, region.x + dx, region.y + dy);
    view.data += (region.firstChannel - 1) * view.channelStep;
    return view;
}

// The image whose tiles the walk follows (null when nothing is tiled), its
// region and the mode it opens them in.
struct Walker {
    const ZanImage* image;
    const OwnCompareRegion* region;
    int mode;
};

Walker chooseWalker(const OwnCompareJob& job)
{
    if (job.res->tileInfo)
        return {job.res, &job.resRegion, ZAN_TILE_WRITE};
    const ZanImage* a = job.src[0];
    const ZanImage* b = job.src[1];
    const bool tiledA = a->tileInfo != nullptr;
    const bool tiledB = b && b->tileInfo;
    bool second = tiledB && !tiledA;
    if (tiledA && tiledB) {
        const long areaA = static_cast<long>(a->tileInfo->width) * a->tileInfo->height;
        const long areaB = static_cast<long>(b->tileInfo->width) * b->tileInfo->height;
        second = areaB > areaA;
    }
    if (!tiledA && !tiledB)
        return {nullptr, nullptr, 0};
    return {job.src[second], &job.region[second], ZAN_TILE_READ};
}

// A block from ownGetRect, freed when the owner goes.
struct FetchedBlock {
    char* data = nullptr;
    FetchedBlock() = default;
    FetchedBlock(const FetchedBlock&) = delete;
    FetchedBlock& operator=(const FetchedBlock&) = delete;
    ~FetchedBlock() { zanFree(data); }
};

// Runs the routine on one piece: the rectangle (dx, dy, width, height)
// counted from the corner of the processed rectangle. The walker (null when
// nothing is tiled) is seen through walkerView; other sources are fetched
// with ownGetRect when there is a walker and read in place when there is not.
ZanStatus runPiece(const OwnCompareJob& job, const CompareMask& mask, OwnCompareRoutine routine,
                   const ZanImage* walker, const OwnView& walkerView, int dx, int dy, int width,
                   int height)
{
    OwnComparePiece piece{};
    FetchedBlock blocks[2];
    for (int i = 0; i < 2 && job.src[i]; ++i) {
        const ZanImage* image = job.src[i];
        const OwnCompareRegion& region = job.region[i];
        if (!walker) {
            piece.src[i] = regionView(image, region, dx, dy);
            continue;
        }
        if (image == walker) {
            piece.src[i] = walkerView;
        } else {
            int step = 0;
            blocks[i].data = ownGetRect(image, region.x + dx, region.y + dy, width, height, &step);
            if (!blocks[i].data) {
                OWN_REPORT(job.site, ZAN_STATUS_NO_MEMORY, kAllocationFailure);
                return ZAN_STATUS_NO_MEMORY;
            }
            piece.src[i] = ownBlockView(image, blocks[i].data, step, height, 0, 0);
        }
        piece.src[i].data += (region.firstChannel - 1) * piece.src[i].channelStep;
    }
    piece.res = job.res == walker ? walkerView : regionView(job.res, job.resRegion, dx, dy);
    piece.mask = mask.view(dx, dy);
    piece.width = width;
    piece.height = height;
    routine(piece);
    return ZAN_STATUS_OK;
}

// The walker's tiles that meet the processed rectangle, column by column,
// top to bottom within a column.
ZanStatus walkTiles(const OwnCompareJob& job, const CompareMask& mask, OwnCompareRoutine routine,
                    const ZanImage* walker, const OwnCompareRegion& region, int mode)
{
    const ZanTileInfo* tiles = walker->tileInfo;
    const int tw = tiles->width;
    const int th = tiles->height;
    const int step = ownTileStep(walker);
    const int xEnd = region.x + job.width;
    const int yEnd = region.y + job.height;
    for (int column = region.x / tw; column * tw < xEnd; ++column) {
        const int x0 = std::max(region.x, column * tw);
        const int x1 = std::min(xEnd, (column + 1) * tw);
        for (int row = region.y / th; row * th < yEnd; ++row) {
            const int y0 = std::max(region.y, row * th);
            const int y1 = std::min(yEnd, (row + 1) * th);
            tiles->callBack(walker, column, row, mode);
            if (!tiles->tileData) {
                OWN_REPORT(job.site, ZAN_STATUS_UNKNOWN, "ERROR in Tiling callBack");
                return ZAN_STATUS_UNKNOWN;
            }
            const OwnView view = ownBlockView(walker, tiles->tileData, step, th, x0 - column * tw, y0 - row * th);
            const ZanStatus status = runPiece(job, mask, routine, walker, view, x0 - region.x,
                                              y0 - region.y, x1 - x0, y1 - y0);
            tiles->callBack(walker, column, row, ZAN_TILE_RELEASE);
            if (status != ZAN_STATUS_OK)
                return status;
        }
    }
    return ZAN_STATUS_OK;
}

} // namespace

ZanStatus ownCompareRun(const OwnCompareJob& job, OwnCompareRoutine routine)
{
    if (job.width <= 0 || job.height <= 0)
        return ZAN_STATUS_OK;
    CompareMask mask;
    if (!mask.make(job))
        return ZAN_STATUS_NO_MEMORY;
    const Walker walker = chooseWalker(job);
    if (!walker.image)
        return runPiece(job, mask, routine, nullptr, OwnView{}, 0, 0, job.width, job.height);
    return walkTiles(job, mask, routine, walker.image, *walker.region, walker.mode);
}
