// Private pieces of the neighbourhood filters: the convolution kernel
// records, their classification, and the neighbourhood walk that hands a
// filter pieces of the destination together with a view of the source that
// reaches beyond the piece by the filter's margins.
#pragma once

#include "core/own_core.h"
#include "core/own_frame.h"

#include <cstddef>
#include <cstdint>

// The record behind ZanConvKernel. The kernel is kept turned by 180 degrees:
// values[i] is the caller's values[n - 1 - i], the anchors are mirrored.
struct OwnConvKernel {
    int nCols;
    int nRows;
    int anchorX;
    int anchorY;
    int32_t* values;
    int nShiftR;
};

// The record behind ZanConvKernelFP, turned the same way.
struct OwnConvKernelFP {
    int nCols;
    int nRows;
    int anchorX;
    int anchorY;
    float* values;
};

// True when the sizes or the stored anchors make no kernel. Reads only the
// four leading fields, which both records share.
bool ownBadKernel(const void* kernel);

// Accumulator class of an integer kernel on images of a depth: 0 keeps
// every partial sum in 16 bits, 1 in 32 bits, 2 needs floats.
int ownConvClass(const int32_t* values, int count, uint32_t depth);

// Distances that a filter's windows reach beyond the pixel they compute.
struct OwnMargins {
    int left;
    int top;
    int right;
    int bottom;
};

// Where the samples of one image lie for a piece: the sample of channel c
// at piece pixel (x, y) is at row(y) + ((x0 + x) * pixelStride + c) * size in
// pixel order, or at row(y) + c * planeStride + (x0 + x) * size in plane
// order. x and y may reach into the margins.
struct OwnView {
    char* base; // row 0 of the piece, column 0 of the block
    int step;
    int x0;
    std::ptrdiff_t planeStride;

    char* row(int y) const { return base + static_cast<std::ptrdiff_t>(y) * step; }
};

// The mask of a piece: the bit of piece pixel (x, y) is bit x0 + x of row(y).
struct OwnMaskView {
    const uint8_t* base;
    int step;
    int x0;

    const uint8_t* row(int y) const { return base + static_cast<std::ptrdiff_t>(y) * step; }
};

struct OwnNbhdPiece {
    OwnView src;
    OwnView dst;
    const OwnMaskView* mask; // null: every pixel is written
    int width;
    int height;
};

// Computes one piece; false when memory ran out.
using OwnNbhdRoutine = OwnFunctionRef<bool(const OwnNbhdPiece&)>;

// The images and rectangles of a neighbourhood operation, after its checks.
struct OwnNbhdSetup {
    const ZanImage* src; // the headers whose pixels and tiles are used
    const ZanImage* dst;
    int srcX, srcY; // region starts
    int dstX, dstY;
    int width, height; // common size
    const ZanImage* mask; // null, or a 1-bit image whose region aligns with the piece
    OwnMargins margins;
    bool inPlace; // the source is the destination
};

// How a neighbourhood walk ended.
enum OwnNbhdResult {
    OWN_NBHD_DONE = 0,
    OWN_NBHD_NO_MEMORY = 1,
    OWN_NBHD_NO_TILE = 2,
};

// Cuts the common region into pieces, reads the parts of the source that
// leave the image through working rectangles and everything else straight
// from the image, and calls the routine for each piece: strips at the image
// edges for plain images, one working rectangle when the source is tiled or
// is the destination, and the destination's tiles when it is tiled.
OwnNbhdResult ownNbhdWalk(const OwnNbhdSetup& setup, OwnNbhdRoutine routine);
