// Random participants of the measurement tests and helpers of their
// references.
#pragma once

#include "zan_test.h"

#include <memory>
#include <random>

namespace mt {

inline int range(std::mt19937& rng, int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(rng);
}

// A random image, tiled with tiles of 8 by 16 or 16 by 8 when asked, its
// pixels random; the tiles hold the plain twin's pixels.
inline zt::Participant makeParticipant(const zt::Shape& shape, bool tiled, std::mt19937& rng)
{
    zt::Participant p;
    if (tiled) {
        const bool wide = range(rng, 0, 1) == 1;
        p.tiled = std::make_unique<zt::TiledImage>(shape, wide ? 16 : 8, wide ? 8 : 16);
        zt::fillRandom(p.tiled->plain(), rng);
        p.tiled->load();
    } else {
        p.plain = zt::makeRandomImage(shape, rng);
    }
    return p;
}

// A random ROI inside or overhanging the image, on the header and on the
// tiled image's plain twin.
inline void randomRoi(const zt::Participant& p, int coi, std::mt19937& rng)
{
    const ZanImage* image = p.header();
    const int x = range(rng, 0, image->width - 1);
    const int y = range(rng, 0, image->height - 1);
    const int width = range(rng, 1, image->width - x + 3);
    const int height = range(rng, 1, image->height - y + 3);
    zt::setRoi(p.header(), coi, x, y, width, height);
    if (p.tiled)
        zt::setRoi(p.tiled->plain(), coi, x, y, width, height);
}

// Whether mask bit (i, j) of a mask's region is set.
inline bool maskBit(const ZanImage* mask, int i, int j)
{
    const zt::Rect r = zt::regionOf(mask);
    return zt::bitAt(mask, r.x + i, r.y + j);
}

} // namespace mt
