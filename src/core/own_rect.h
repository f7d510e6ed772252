// Working rectangles: a private copy of any rectangle of any image, plain or
// tiled, with everything outside the image filled by its border modes.
#pragma once

#include "own_core.h"

// Maps a coordinate outside 0 .. length-1 by a border mode other than
// constant: replicate, reflect (edge repeated) or wrap.
int ownBorderMap(int c, int length, int mode);

// A new block of width by height pixels whose pixel (i, j) is the image's
// pixel (x + i, y + j), all channels, ROI and COI ignored. Rows are rounded
// up to the image's align; plane-ordered images give one plane per channel.
// The row step goes to outWidthStep. Null for a null image, an unknown depth
// or align, no memory, or a tile that its callback did not give. Free the
// block with zanFree.
char* ownGetRect(const ZanImage* image, int x, int y, int width, int height, int* outWidthStep);

// The byte count of a row of width pixels of this image's layout, before
// rounding to the align.
int ownRowBytes(const ZanImage* image, int width);
