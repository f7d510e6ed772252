// Threshold, histograms and lookup tables: the pieces their drivers share.
#pragma once

#include "core/own_frame.h"
#include "core/own_memory.h"
#include "core/own_rows.h"

#include <algorithm>

// Entries of a histogram or a mapping table of a depth: 256 for 8U, 65536
// for 16U, 2 for 1U; 0 for the others.
inline int ownHistSize(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_8U: return 256;
    case ZAN_DEPTH_16U: return 65536;
    case ZAN_DEPTH_1U: return 2;
    default: return 0;
    }
}

// The mask that governs an operation of a source and a destination: none,
// the one mask there is (or the same mask on both), or the AND of two
// different masks in a new plane-ordered mask that this holder frees.
class OwnToneMask {
public:
    // False when the operation ends here: after a report, or quietly when
    // the masks have nothing in common.
    bool build(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage);
    const ZanImage* get() const { return mask_; }

private:
    const ZanImage* mask_ = nullptr;
    OwnImageOwner merged_;
};

// The channel plan of a source and a destination (both may be the same).
OwnChannelPlan ownTonePlan(const ZanImage* srcImage, const ZanImage* dstImage, int channelCount);

// Tests the records lut[first] .. lut[first + count - 1] in order; the first
// fault is reported and ends the operation (false).
bool ownCheckLuts(OwnSite site, ZanLUT* const* lut, int first, int count, int histSize);

// The private mapping: each processed sample of srcImage goes to dstImage as
// table[channel * histSize + sample], bytes for 8U and 16-bit words for 16U.
// Masks and tiles as for the threshold. False if it failed (reported).
bool ownToneMap(const ZanImage* srcImage, ZanImage* dstImage, const void* table);

namespace own_tone {

// The piece's mask region, if it has a mask, with the size cut to it.
inline own_rows::Region maskRegion(const OwnPiece& piece, int* width, int* height)
{
    own_rows::Region mask{};
    if (piece.mask) {
        mask = own_rows::regionOf(piece.mask, 0);
        *width = std::min(*width, mask.width);
        *height = std::min(*height, mask.height);
    }
    return mask;
}

inline bool maskAllows(const OwnPiece& piece, const own_rows::Region& mask, int x, int y)
{
    return !piece.mask ||
           ownGetBit(reinterpret_cast<const uint8_t*>(own_rows::rowOf<char>(mask, 0, y)),
                     mask.bitOffset + x);
}

} // namespace own_tone
