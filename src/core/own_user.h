// The nested walk: the tiles of a destination that meet a rectangle, and
// within each, the tiles of the source that meet its piece. Written once for
// the operations that run an application's function over images.
#pragma once

#include "own_frame.h"

#include <cstddef>

// A rectangle of one image's samples inside its data or one of its tiles.
struct OwnUserBlock {
    char* data;                  // the rectangle's first pixel, channel 0
    std::ptrdiff_t pixelStep;    // bytes from pixel to pixel
    std::ptrdiff_t rowStep;      // bytes from row to row
    std::ptrdiff_t planeStep;    // plane order: bytes from plane to plane; else 0
};

// The block of pixel (x, y) onward of a block of data laid out like image,
// with row step `step` and `blockHeight` rows in each plane.
OwnUserBlock ownUserBlock(const ZanImage* image, char* data, int step, int blockHeight, int x, int y);

// One piece of the walk: the same rectangle in the source and the
// destination, at (x, y) of the walked area, in one tile of each image.
struct OwnNestedPiece {
    OwnUserBlock src;
    OwnUserBlock dst;
    int x;
    int y;
    int width;
    int height;
};

// Source pixel (srcX + i, srcY + j) goes with destination pixel
// (dstX + i, dstY + j).
struct OwnNestedArea {
    int srcX;
    int srcY;
    int dstX;
    int dstY;
    int width;
    int height;
};

// Runs on one piece; false when it stopped on a failure that it reported.
using OwnNestedRoutine = OwnFunctionRef<bool(const OwnNestedPiece&)>;

// Visits the destination's tiles that meet the area row by row, left to
// right, opening each for writing; within each, the source's tiles that meet
// its piece, opened for reading, the routine running on each part. A source
// that is the destination shares its tile. An untiled image counts as one
// tile that needs no opening. A status left by an open, or by a release after
// a routine that went through, ends the walk with a report (-1), as does a
// tile without data (-3); a routine that stopped has its tiles released and
// ends the walk. True when the whole area was walked.
bool ownNestedWalk(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnNestedArea& area,
                   OwnNestedRoutine routine);
