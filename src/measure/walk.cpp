// The walk of measured regions over plain and tiled images.
#include "own_measure.h"

bool ownMeasureWalk(const ZanImage* image, const ZanImage* mask, int width, int height,
                    OwnFunctionRef<bool(const OwnMeasurePiece&)> visit)
{
    OwnGridHeader work(image, false);
    OwnGridHeader maskWork(mask, true);
    int x, y;
    ownRegionOrigin(image, &x, &y);
    const auto place = [&](const OwnGridPiece& piece) {
        if (mask)
            maskWork.placeOnRegion(piece);
        return OwnMeasurePiece{work.get(), maskWork.get(), x + piece.x, y + piece.y};
    };
    if (!image->tileInfo) {
        const OwnGridPiece whole{0, 0, 0, 0, width, height, 0, 0};
        work.placeOnRegion(whole);
        return visit(place(whole));
    }
    OwnTileGrid grid;
    ownTileGrid(image, height, width, &grid);
    return ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        char* data = ownOpenTile(image, piece, ZAN_TILE_READ);
        if (!data)
            return false;
        work.placeInTile(piece, data);
        const bool more = visit(place(piece));
        ownReleaseTile(image, piece);
        return more;
    });
}
