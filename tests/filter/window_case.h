// Random cases of the window filters' tests: a source and a destination
// (the source itself in place) with random ROIs, COIs, masks, borders and
// tiles, and the common size that both filters process.
#pragma once

#include "filter_util.h"

#include <algorithm>
#include <random>

namespace wc {

// Whether an image's mask admits pixel (i, j) of the common region.
inline bool admits(const ZanImage* header, int i, int j)
{
    const ZanImage* mask = header->maskROI;
    if (!mask)
        return true;
    const zt::Rect r = zt::regionOf(mask);
    return zt::bitAt(mask, r.x + i, r.y + j);
}

inline void randomRoiAndMask(ZanImage* h, int channels, std::mt19937& rng)
{
    const int coi = rng() % 4 == 0 ? 1 + static_cast<int>(rng() % channels) : 0;
    if (coi || rng() % 2)
        zt::setRoi(h, coi, static_cast<int>(rng() % h->width), static_cast<int>(rng() % h->height),
                   1 + static_cast<int>(rng() % h->width), 1 + static_cast<int>(rng() % h->height));
    if (rng() % 3 == 0)
        zt::attachRandomMask(h, 1 + static_cast<int>(rng() % 30), 1 + static_cast<int>(rng() % 30),
                             rng);
}

struct Case {
    zt::Participant src;
    zt::Participant other;
    bool inPlace = false;

    zt::Participant& dst() { return inPlace ? src : other; }

    Case(const zt::Shape& shape, bool inPlaceCall, bool srcTiled, bool dstTiled, std::mt19937& rng)
        : inPlace(inPlaceCall)
    {
        src = fz::makeParticipant(shape, srcTiled, rng);
        if (!inPlace) {
            zt::Shape dstShape = shape;
            dstShape.width = 1 + static_cast<int>(rng() % 30);
            dstShape.height = 1 + static_cast<int>(rng() % 30);
            other = fz::makeParticipant(dstShape, dstTiled, rng);
        }
        randomRoiAndMask(src.header(), shape.channels, rng);
        if (!inPlace) {
            randomRoiAndMask(other.header(), shape.channels, rng);
            if (zt::channelCount(src.header()) != zt::channelCount(other.header()))
                for (zt::Participant* p : {&src, &other})
                    if (p->header()->roi)
                        p->header()->roi->coi = 0;
        }
        fz::randomBorders(src, rng);
    }

    // The common size: the smallest region of both images and their masks.
    void commonSize(int* width, int* height)
    {
        const zt::Rect sr = zt::regionOf(src.header());
        const zt::Rect dr = zt::regionOf(dst().header());
        *width = std::min(sr.width, dr.width);
        *height = std::min(sr.height, dr.height);
        for (const ZanImage* m : {src.header()->maskROI, dst().header()->maskROI})
            if (m) {
                *width = std::min(*width, zt::regionOf(m).width);
                *height = std::min(*height, zt::regionOf(m).height);
            }
    }
};

} // namespace wc
