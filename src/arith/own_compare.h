// The comparison family's own frame: regions with their channel spans, the
// merged mask of the processed size and the walk over the tiles of one
// image, column by column, that hands views of each piece to a routine.
#pragma once

#include "../color/own_color.h"
#include "../core/own_bits.h"

// An image's region and the channels it compares, counted from 1.
struct OwnCompareRegion {
    int x;
    int y;
    int width;
    int height;
    int firstChannel;
    int lastChannel;
};

// The region of an image: its ROI cut at the image's right and bottom edges,
// or the whole image. False for an image whose only channel is alpha, or
// whose alpha channel is not the last.
bool ownCompareRegion(const ZanImage* image, OwnCompareRegion* region);

// Views of one piece: the sources at their first compared channel, the
// result's first bit and the merged mask's first bit (data null: no mask).
struct OwnComparePiece {
    OwnView src[2];
    OwnView res;
    OwnView mask;
    int width;
    int height;
};

using OwnCompareRoutine = OwnFunctionRef<void(const OwnComparePiece& piece)>;

// A validated comparison: the operands, their regions and the processed size.
struct OwnCompareJob {
    OwnSite site;
    const ZanImage* src[2]; // src[1] null in the forms with a scalar
    ZanImage* res;
    OwnCompareRegion region[2];
    OwnCompareRegion resRegion;
    int width;
    int height;
};

// Makes the merged mask of the job's masks, runs the routine over the
// processed rectangle, whole or piece by piece along the tiles of the walker
// image, and frees the mask. Returns 0 or the failure status it reported.
ZanStatus ownCompareRun(const OwnCompareJob& job, OwnCompareRoutine routine);

// A sample of a view: pixel x of row y in channel c; bits read as 0 and 1.
template <class T>
inline T ownCompareSample(const OwnView& view, int x, int y, int c)
{
    const char* row = view.data + static_cast<std::ptrdiff_t>(y) * view.rowStep;
    if constexpr (std::is_same_v<T, bool>)
        return ownGetBit(reinterpret_cast<const uint8_t*>(row), view.bitOffset + x);
    else
        return *reinterpret_cast<const T*>(row + x * view.pixelStep + c * view.channelStep);
}

// The comparison routine: in each row, for each pixel whose mask bit is set,
// the result bit is whether holds(x, y, c) is true for channels 0 .. count-1.
template <class Holds>
void ownCompareRows(const OwnComparePiece& piece, int count, const Holds& holds)
{
    for (int y = 0; y < piece.height; ++y) {
        uint8_t* resRow = reinterpret_cast<uint8_t*>(piece.res.data + static_cast<std::ptrdiff_t>(y) * piece.res.rowStep);
        const uint8_t* maskRow =
            piece.mask.data ? reinterpret_cast<const uint8_t*>(piece.mask.data + static_cast<std::ptrdiff_t>(y) * piece.mask.rowStep)
                            : nullptr;
        for (int x = 0; x < piece.width; ++x) {
            if (maskRow && !ownGetBit(maskRow, piece.mask.bitOffset + x))
                continue;
            bool all = true;
            for (int c = 0; c < count && all; ++c)
                all = holds(x, y, c);
            ownSetBit(resRow, piece.res.bitOffset + x, all);
        }
    }
}
