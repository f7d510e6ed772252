// The grid walk and the working headers of its pieces.
#include "own_grid.h"

#include <algorithm>

namespace {

constexpr int kUntiledTileSize = 128;

// Sizes of the pieces along one axis: the first is cut at the tile's end,
// the last at the rectangle's end.
int pieceLength(int index, int count, int inTile, int tileSize, int length)
{
    if (count == 1)
        return length;
    if (index == 0)
        return tileSize - inTile;
    if (index == count - 1)
        return (inTile + length - 1) % tileSize + 1;
    return tileSize;
}

int pieceStart(int index, int inTile, int tileSize)
{
    return index == 0 ? 0 : tileSize - inTile + (index - 1) * tileSize;
}

} // namespace

void ownRegionOrigin(const ZanImage* image, int* x, int* y)
{
    const ZanROI* roi = image->roi;
    *x = roi ? std::max(roi->xOffset, 0) : 0;
    *y = roi ? std::max(roi->yOffset, 0) : 0;
}

bool ownRegionSize(const ZanImage* image, int* width, int* height)
{
    const ZanROI* roi = image->roi;
    if (!roi) {
        *width = image->width;
        *height = image->height;
        return true;
    }
    if (roi->width < 1 || roi->height < 1 || roi->xOffset >= image->width ||
        roi->yOffset >= image->height)
        return false;
    int x, y;
    ownRegionOrigin(image, &x, &y);
    *width = std::min(roi->width + std::min(roi->xOffset, 0), image->width - x);
    *height = std::min(roi->height + std::min(roi->yOffset, 0), image->height - y);
    return *width > 0 && *height > 0;
}

void ownTileGrid(const ZanImage* image, int height, int width, OwnTileGrid* grid)
{
    const ZanTileInfo* tiles = image->tileInfo;
    grid->tileWidth = tiles ? tiles->width : kUntiledTileSize;
    grid->tileHeight = tiles ? tiles->height : kUntiledTileSize;
    int x, y;
    ownRegionOrigin(image, &x, &y);
    grid->firstColumn = x / grid->tileWidth;
    grid->firstRow = y / grid->tileHeight;
    grid->xInTile = x % grid->tileWidth;
    grid->yInTile = y % grid->tileHeight;
    grid->columns = (grid->xInTile + width - 1) / grid->tileWidth + 1;
    grid->rows = (grid->yInTile + height - 1) / grid->tileHeight + 1;
}

bool ownGridWalk(const OwnTileGrid& grid, int width, int height,
                 OwnFunctionRef<bool(const OwnGridPiece&)> visit)
{
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            const OwnGridPiece piece{
                grid.firstColumn + column,
                grid.firstRow + row,
                pieceStart(column, grid.xInTile, grid.tileWidth),
                pieceStart(row, grid.yInTile, grid.tileHeight),
                pieceLength(column, grid.columns, grid.xInTile, grid.tileWidth, width),
                pieceLength(row, grid.rows, grid.yInTile, grid.tileHeight, height),
                column == 0 ? grid.xInTile : 0,
                row == 0 ? grid.yInTile : 0,
            };
            if (!visit(piece))
                return false;
        }
    }
    return true;
}

OwnGridHeader::OwnGridHeader(const ZanImage* image, bool isMask) : real_(image)
{
    if (!image)
        return;
    work_ = *image;
    roi_ = ZanROI{!isMask && image->roi ? image->roi->coi : 0, 0, 0, 0, 0};
    work_.roi = &roi_;
    work_.maskROI = nullptr;
    work_.tileInfo = nullptr;
    ownRegionOrigin(image, &regionX_, &regionY_);
    if (const ZanTileInfo* tiles = image->tileInfo) {
        work_.width = tiles->width;
        work_.height = tiles->height;
        work_.widthStep = ownTileStep(image);
        work_.imageSize =
            ownBlockSize(image->dataOrder, work_.widthStep, tiles->height, image->nChannels);
        work_.imageData = nullptr;
    }
}

void OwnGridHeader::placeOnRegion(const OwnGridPiece& piece)
{
    roi_.xOffset = regionX_ + piece.x;
    roi_.yOffset = regionY_ + piece.y;
    roi_.width = piece.width;
    roi_.height = piece.height;
}

void OwnGridHeader::placeInTile(const OwnGridPiece& piece, char* tileData)
{
    work_.imageData = tileData;
    roi_.xOffset = piece.xInTile;
    roi_.yOffset = piece.yInTile;
    roi_.width = piece.width;
    roi_.height = piece.height;
}

void OwnGridHeader::placeOnBlock(const OwnGridPiece& piece, char* block, int widthStep)
{
    work_.imageData = block;
    work_.width = piece.width;
    work_.height = piece.height;
    work_.widthStep = widthStep;
    work_.imageSize = ownBlockSize(work_.dataOrder, widthStep, piece.height, work_.nChannels);
    roi_.xOffset = 0;
    roi_.yOffset = 0;
    roi_.width = piece.width;
    roi_.height = piece.height;
}

char* ownOpenTile(const ZanImage* image, const OwnGridPiece& piece, int mode)
{
    image->tileInfo->callBack(image, piece.column, piece.row, mode);
    return image->tileInfo->tileData;
}

void ownReleaseTile(const ZanImage* image, const OwnGridPiece& piece)
{
    image->tileInfo->callBack(image, piece.column, piece.row, ZAN_TILE_RELEASE);
}
