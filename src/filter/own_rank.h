// Private pieces of the rank and fixed filters: the plan of a call, the
// driver that runs it over the neighbourhood walk, and the fixed filters'
// piece routine.
#pragma once

#include "../core/own_bits.h"
#include "own_filter.h"

enum OwnNlfType { OWN_NLF_MAX = 0, OWN_NLF_MIN = 1, OWN_NLF_MEDIAN = 2, OWN_NLF_FIXED = 3 };

struct OwnNlfPlan {
    OwnNlfType type;
    int nCols;
    int nRows;
    int anchorX;
    int anchorY;
    int filter; // the fixed filter's number
    uint32_t depth;
    OwnMargins margins;
    OwnLanes lanes;
};

// The channels of a call: every colour channel on its own when alpha is
// present and dst singles none out; src's first channel when only dst has
// a COI; else the images' COIs, all channels together when there are none.
OwnLanes ownNlfLanes(const ZanImage* src, const ZanImage* dst);

// Runs a checked call: the common region, the merged mask and the walk.
void ownNlfDriver(const ZanImage* srcImage, ZanImage* dstImage, const OwnNlfPlan& plan);

// One piece of a fixed filter; false when memory ran out.
bool ownFixedPiece(const OwnNlfPlan& plan, const OwnNbhdPiece& piece);

// The mask, if any, lets piece pixel (x, y) be written.
inline bool ownMaskAllows(const OwnNbhdPiece& piece, int y, int x)
{
    return !piece.mask || ownGetBit(piece.mask->row(y), piece.mask->x0 + x);
}
