// The tile stage of the alpha operations: slots of images, and the walk
// that hands views of each rectangle of the common region.
#include "own_alpha.h"

#include <cstring>

namespace {

// Offset of an image's ROI, 0 without one.
int roiX(const ZanImage* image) { return image->roi ? image->roi->xOffset : 0; }
int roiY(const ZanImage* image) { return image->roi ? image->roi->yOffset : 0; }

// The first extent of a walk along one axis: up to the grid line after the
// ROI offset; later ones are whole tiles.
int firstExtent(int offset, int tile) { return tile * (offset / tile + 1) - offset; }

} // namespace

OwnAlphaStage::~OwnAlphaStage()
{
    for (int i = 0; i < count_; ++i)
        release(slots_[i]);
}

int OwnAlphaStage::enter(const ZanImage* image, int mode)
{
    if (!image)
        return -1;
    for (int i = 0; i < count_; ++i) {
        if (slots_[i].image == image)
            return i;
    }
    Slot& slot = slots_[count_];
    slot.image = image;
    slot.mode = mode;
    if (image->tileInfo && gridWidth_ == 0) {
        gridWidth_ = image->tileInfo->width;
        gridHeight_ = image->tileInfo->height;
    }
    return count_++;
}

bool OwnAlphaStage::walk(OwnSite site, int width, int height, Routine routine)
{
    OwnView views[kSlots];
    if (gridWidth_ == 0) {
        for (int i = 0; i < count_; ++i)
            views[i] = ownImageView(slots_[i].image, roiX(slots_[i].image), roiY(slots_[i].image));
        routine(views, width, height);
        return true;
    }
    const ZanImage* grid = nullptr;
    for (int i = 0; i < count_ && !grid; ++i)
        grid = slots_[i].image->tileInfo ? slots_[i].image : nullptr;
    for (int y = 0, h = firstExtent(roiY(grid), gridHeight_); y < height && status_ == 0;
         y += h, h = gridHeight_) {
        h = std::min(h, height - y);
        for (int x = 0, w = firstExtent(roiX(grid), gridWidth_); x < width && status_ == 0;
             x += w, w = gridWidth_) {
            w = std::min(w, width - x);
            for (int i = 0; i < count_ && status_ == 0; ++i) {
                fetch(slots_[i], x, y, w, h);
                views[i] = slots_[i].view;
            }
            if (status_ == 0)
                routine(views, w, h);
            for (int i = 0; i < count_; ++i)
                release(slots_[i]);
        }
    }
    if (status_ == -2)
        OWN_REPORT(site, ZAN_STATUS_UNKNOWN, "ERROR in Tiling callBack");
    else if (status_ == -4)
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "No working memory");
    return status_ == 0;
}

void OwnAlphaStage::fetch(Slot& slot, int x, int y, int width, int height)
{
    const ZanImage* image = slot.image;
    slot.x = roiX(image) + x;
    slot.y = roiY(image) + y;
    slot.width = width;
    slot.height = height;
    ++slot.uses;
    if (!image->tileInfo) {
        slot.view = ownImageView(image, slot.x, slot.y);
        return;
    }
    const ZanTileInfo* tiles = image->tileInfo;
    const int column = slot.x / tiles->width;
    const int row = slot.y / tiles->height;
    if (column != (slot.x + width - 1) / tiles->width || row != (slot.y + height - 1) / tiles->height) {
        stage(slot);
        return;
    }
    tiles->callBack(image, column, row, slot.mode);
    slot.tile = tiles->tileData;
    if (!slot.tile) {
        status_ = -2;
        return;
    }
    slot.view = ownBlockView(image, slot.tile, ownTileStep(image), tiles->height,
                             slot.x - column * tiles->width, slot.y - row * tiles->height);
}

// Opens every tile the slot's rectangle touches, by rows then columns, and
// copies their parts into the staging block.
void OwnAlphaStage::stage(Slot& slot)
{
    const ZanImage* image = slot.image;
    const ZanTileInfo* tiles = image->tileInfo;
    const int column0 = slot.x / tiles->width;
    const int row0 = slot.y / tiles->height;
    const int columns = (slot.x + slot.width - 1) / tiles->width - column0 + 1;
    const int rows = (slot.y + slot.height - 1) / tiles->height - row0 + 1;
    stagingStep_ = ownRowStep(image->dataOrder, image->depth, image->align, image->nChannels, gridWidth_);
    if (!slot.staging.ok())
        slot.staging = OwnBuffer<char>(static_cast<std::size_t>(
            ownBlockSize(image->dataOrder, stagingStep_, gridHeight_, image->nChannels)));
    if (slot.tiles.size() < static_cast<std::size_t>(columns * rows) + 1)
        slot.tiles = OwnBuffer<char*>(static_cast<std::size_t>(columns * rows) + 1);
    if (!slot.staging.ok() || !slot.tiles.ok()) {
        status_ = -4;
        return;
    }
    std::fill(slot.tiles.data(), slot.tiles.data() + slot.tiles.size(), nullptr);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            tiles->callBack(image, column0 + c, row0 + r, slot.mode);
            slot.tiles[static_cast<std::size_t>(r * columns + c)] = tiles->tileData;
            if (!tiles->tileData) {
                status_ = -2;
                return;
            }
            copyTile(slot, column0 + c, row0 + r, false);
        }
    }
    slot.view = ownBlockView(image, slot.staging.data(), stagingStep_, gridHeight_, 0, 0);
}

// Copies the part of the slot's rectangle that lies in a tile between the
// tile and the staging block, all channels.
void OwnAlphaStage::copyTile(const Slot& slot, int column, int row, bool toTile) const
{
    const ZanImage* image = slot.image;
    const ZanTileInfo* tiles = image->tileInfo;
    const int columns = (slot.x + slot.width - 1) / tiles->width - slot.x / tiles->width + 1;
    const int index = (row - slot.y / tiles->height) * columns + column - slot.x / tiles->width;
    const int x0 = std::max(slot.x, column * tiles->width);
    const int x1 = std::min(slot.x + slot.width, (column + 1) * tiles->width);
    const int y0 = std::max(slot.y, row * tiles->height);
    const int y1 = std::min(slot.y + slot.height, (row + 1) * tiles->height);
    const OwnView tile = ownBlockView(image, slot.tiles[static_cast<std::size_t>(index)], ownTileStep(image),
                                      tiles->height, x0 - column * tiles->width, y0 - row * tiles->height);
    const OwnView staged =
        ownBlockView(image, slot.staging.data(), stagingStep_, gridHeight_, x0 - slot.x, y0 - slot.y);
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    const std::size_t bytes = static_cast<std::size_t>(x1 - x0) *
                              (planes ? ownDepthBits(image->depth) / 8 : tile.pixelStep);
    for (int c = 0; c < (planes ? image->nChannels : 1); ++c) {
        for (int y = 0; y < y1 - y0; ++y) {
            char* tileRow = ownRowAt<char>(tile, y, c);
            char* stagedRow = ownRowAt<char>(staged, y, c);
            std::memcpy(toTile ? tileRow : stagedRow, toTile ? stagedRow : tileRow, bytes);
        }
    }
}

void OwnAlphaStage::release(Slot& slot)
{
    if (slot.uses == 0)
        return;
    slot.uses = 0;
    const ZanImage* image = slot.image;
    const ZanTileInfo* tiles = image->tileInfo;
    if (!tiles)
        return;
    if (slot.tile) {
        tiles->callBack(image, slot.x / tiles->width, slot.y / tiles->height, ZAN_TILE_RELEASE);
        slot.tile = nullptr;
        return;
    }
    if (!slot.tiles.ok())
        return;
    const int column0 = slot.x / tiles->width;
    const int row0 = slot.y / tiles->height;
    const int columns = (slot.x + slot.width - 1) / tiles->width - column0 + 1;
    const int rows = (slot.y + slot.height - 1) / tiles->height - row0 + 1;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            if (!slot.tiles[static_cast<std::size_t>(r * columns + c)])
                return;
            if (slot.mode == ZAN_TILE_WRITE && status_ == 0)
                copyTile(slot, column0 + c, row0 + r, true);
            tiles->callBack(image, column0 + c, row0 + r, ZAN_TILE_RELEASE);
            slot.tiles[static_cast<std::size_t>(r * columns + c)] = nullptr;
        }
    }
}
