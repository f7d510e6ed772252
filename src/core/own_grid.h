// The grid walk: a rectangle cut along the tile grid of one image, and the
// working headers that present each piece of every image as a plain region.
// Copy, set and exchange walk their tiles this way, and so can any operation
// that works on one image's tiles and reads the others through ownGetRect.
#pragma once

#include "own_frame.h"

// How a rectangle that begins at an image's region start lies on the
// image's tile grid (an untiled image counts as tiles of 128 by 128).
struct OwnTileGrid {
    int tileWidth;
    int tileHeight;
    int firstColumn; // tile column of the rectangle's first pixel
    int firstRow;
    int xInTile; // where the rectangle starts in its first tile
    int yInTile;
    int columns; // tiles the rectangle touches across and down
    int rows;
};

void ownTileGrid(const ZanImage* image, int height, int width, OwnTileGrid* grid);

// One piece of the grid: its tile, its place in the rectangle and in the tile.
struct OwnGridPiece {
    int column; // tile column and row in the image's grid
    int row;
    int x; // distance of the piece from the rectangle's start
    int y;
    int width;
    int height;
    int xInTile; // the piece's first pixel within its tile
    int yInTile;
};

// Calls visit for each piece, grid rows top to bottom and columns left to
// right; stops and returns false as soon as visit returns false.
bool ownGridWalk(const OwnTileGrid& grid, int width, int height,
                 OwnFunctionRef<bool(const OwnGridPiece&)> visit);

// The region of an image by the size rule of pixel movement: the ROI
// shortened by negative offsets and clipped to the image; false when empty.
bool ownRegionSize(const ZanImage* image, int* width, int* height);

// The region's first column and row, negative offsets counting as 0.
void ownRegionOrigin(const ZanImage* image, int* x, int* y);

// A working header: a copy of the image with a private ROI (coi kept, or 0
// for a mask), no mask and no tiles; a tiled image's copy takes the size and
// row step of one tile. The place functions move the private ROI onto a
// piece. Made from a null image, it stands for no image and get() is null.
class OwnGridHeader {
public:
    OwnGridHeader() = default;
    OwnGridHeader(const ZanImage* image, bool isMask);
    OwnGridHeader(const OwnGridHeader&) = delete;
    OwnGridHeader& operator=(const OwnGridHeader&) = delete;

    ZanImage* get() { return real_ ? &work_ : nullptr; }
    const ZanImage* real() const { return real_; }
    bool tiled() const { return real_ && real_->tileInfo; }

    // The piece in an untiled image: the region's start plus the piece's
    // distance from the rectangle's start.
    void placeOnRegion(const OwnGridPiece& piece);
    // The piece in the open tile whose data the callback gave.
    void placeInTile(const OwnGridPiece& piece, char* tileData);
    // The piece as a whole plain block with this row step.
    void placeOnBlock(const OwnGridPiece& piece, char* block, int widthStep);

private:
    const ZanImage* real_ = nullptr;
    ZanImage work_{};
    ZanROI roi_{};
    int regionX_ = 0;
    int regionY_ = 0;
};

// Opens the tile of a piece with the image's callback; the tile's data, or
// null when the callback gave none.
char* ownOpenTile(const ZanImage* image, const OwnGridPiece& piece, int mode);
void ownReleaseTile(const ZanImage* image, const OwnGridPiece& piece);
