// Working rectangles: a private copy of any rectangle of any image, plain or
// tiled, with everything outside the image filled by its border modes.
#pragma once

#include "own_core.h"

// Maps a coordinate outside 0 .. length-1 by a border mode other than
// constant: replicate, reflect (edge repeated) or wrap.
int ownBorderMap(int c, int length, int mode);

// The 32-bit word that repeats a side's constant in every sample: bit 0 for
// 1-bit images, the low byte or half-word for 8- and 16-bit depths, the
// constant as a float for 32F.
uint32_t ownBorderPattern(const ZanImage* image, int side);

// A new block of width by height pixels whose pixel (i, j) is the image's
// pixel (x + i, y + j), all channels, ROI and COI ignored. Rows are rounded
// up to the image's align; plane-ordered images give one plane per channel.
// The row step goes to outWidthStep. Null for a null image, an unknown depth
// or align, no memory, or a tile that its callback did not give. Free the
// block with zanFree.
char* ownGetRect(const ZanImage* image, int x, int y, int width, int height, int* outWidthStep);

// A working header around a block from ownGetRect: the image's fields and
// border modes, the rectangle's size, the block as its data (not owned: free
// the block with zanFree and the header with zanDeallocate). Null when the
// header can't be made.
ZanImage* ownRectHeader(const ZanImage* image, char* block, int width, int height, int widthStep);

// The byte count of a row of width pixels of this image's layout, before
// rounding to the align.
int ownRowBytes(const ZanImage* image, int width);

// One sample of channel (counted from 1) at any position, inside the image
// or governed by a side's border mode; 0 when a tile could not be opened.
double ownBorderPixel(const ZanImage* image, int x, int y, int channel);

// count samples of channel (counted from 1), those of pixels (x, y) to
// (x + count - 1, y), into a packed array of samples (1-bit samples as bits,
// most significant first). False when a tile could not be opened.
bool ownBorderRow(const ZanImage* image, int x, int y, int channel, void* row, int count);
