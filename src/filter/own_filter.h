// Private pieces of the neighbourhood filters: the convolution kernel
// records, their classification, and the neighbourhood walk that hands a
// filter pieces of the destination together with a view of the source that
// reaches beyond the piece by the filter's margins.
#pragma once

#include "../core/own_core.h"
#include "../core/own_frame.h"
#include "../core/own_memory.h"

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
// at piece pixel (x, y) is at row(y) + ((x0 + x) * nChannels + c) * size in
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
    int x = 0; // where the piece starts in the common region
    int y = 0;
};

// Which samples of a pixel a filter computes, in one pass over a row.
struct OwnLane {
    int srcPlane; // planes (plane order), else 0
    int dstPlane;
    int srcOffset;    // samples from a pixel's start (pixel order)
    int dstOffset;
    int srcPixelStep; // samples from pixel to pixel
    int dstPixelStep;
    int group; // samples computed per pixel in this pass: all channels interleaved, or 1
};

// The channels that both images process: count of them from the first of
// each image; in pixel order with every channel and no alpha they go
// interleaved in one lane.
struct OwnLanes {
    bool planes;
    bool interleaved;
    int srcFirst;
    int dstFirst;
    int count;
    int srcPixelStep;
    int dstPixelStep;

    int laneCount() const { return interleaved ? 1 : count; }
    OwnLane lane(int i) const
    {
        if (planes)
            return OwnLane{srcFirst + i, dstFirst + i, 0, 0, 1, 1, 1};
        if (interleaved)
            return OwnLane{0, 0, 0, 0, srcPixelStep, dstPixelStep, count};
        return OwnLane{0, 0, srcFirst + i, dstFirst + i, srcPixelStep, dstPixelStep, 1};
    }
};

// The samples of one lane in a view: column j of row y, kernel column dx
// pixels away, is at(y, dx)[j * jStep].
template <class T>
struct OwnLaneRows {
    const char* base; // row 0, first sample of the lane
    int step;
    int jStep;   // samples from one column of the lane to the next
    int colStep; // samples from one pixel to the next

    const T* at(int y, int dx) const
    {
        return reinterpret_cast<const T*>(base + static_cast<std::ptrdiff_t>(y) * step) +
               static_cast<std::ptrdiff_t>(dx) * colStep;
    }
};

// Where a lane's output samples go: column j of row y is row(y)[j * jStep],
// of pixel j / group.
template <class Out>
struct OwnLaneOut {
    char* base;
    int step;
    int jStep;
    int group;

    Out* row(int y) const
    {
        return reinterpret_cast<Out*>(base + static_cast<std::ptrdiff_t>(y) * step);
    }
};

template <class T>
OwnLaneRows<T> ownLaneRows(const OwnView& view, const OwnLane& lane)
{
    const char* base = view.base + lane.srcPlane * view.planeStride +
                       (static_cast<std::ptrdiff_t>(view.x0) * lane.srcPixelStep + lane.srcOffset) *
                           static_cast<std::ptrdiff_t>(sizeof(T));
    return OwnLaneRows<T>{base, view.step, lane.group == 1 ? lane.srcPixelStep : 1,
                          lane.srcPixelStep};
}

template <class T>
OwnLaneOut<T> ownLaneOut(const OwnView& view, const OwnLane& lane)
{
    char* base = view.base + lane.dstPlane * view.planeStride +
                 (static_cast<std::ptrdiff_t>(view.x0) * lane.dstPixelStep + lane.dstOffset) *
                     static_cast<std::ptrdiff_t>(sizeof(T));
    return OwnLaneOut<T>{base, view.step, lane.group == 1 ? lane.dstPixelStep : 1, lane.group};
}

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

// A piece's 1-bit source with its margins as bytes of 0 and 1, and the lane
// that reads them (one sample per pixel).
struct OwnExpandedBits {
    OwnBuffer<uint8_t> bytes;
    OwnLaneRows<uint8_t> rows;
};

// False when memory ran out.
bool ownExpandBits(const OwnNbhdPiece& piece, const OwnMargins& margins, OwnExpandedBits* out);

// The area a neighbourhood filter works on: a private copy of the source
// header whose border constants lie in the depth's range, both regions
// narrowed by the size of their masks' regions, their common size, and the
// merged mask once mergeMasks() has made it (freed with the area).
class OwnNbhdArea {
public:
    OwnNbhdArea(const ZanImage* srcImage, ZanImage* dstImage);

    const ZanImage* src() const { return &src_; }
    int width() const { return width_; }
    int height() const { return height_; }
    bool empty() const { return width_ <= 0 || height_ <= 0; }

    // Merges the two images' masks; returns the OWN_MASK_* state.
    int mergeMasks();

    // The walk's setup over this area, with the merged mask.
    OwnNbhdSetup setup(const OwnMargins& margins) const;

private:
    ZanImage src_;
    ZanImage* dst_;
    bool inPlace_;
    OwnRect srcRect_;
    OwnRect dstRect_;
    int width_;
    int height_;
    const ZanImage* mask_ = nullptr;
    OwnImageOwner merged_;
};
