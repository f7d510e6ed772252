// Images of the filter tests: plain or tiled participants, random border
// modes, and the first differing sample of two images.
#pragma once

#include "zan.h"
#include "zan_test.h"

#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <string>

namespace fz {

// A random image, plain or in tiles of 8 or 16 pixels a side.
inline zt::Participant makeParticipant(const zt::Shape& shape, bool tiled, std::mt19937& rng)
{
    zt::Participant p;
    if (tiled) {
        p.tiled = std::make_unique<zt::TiledImage>(shape, 8 * (1 + static_cast<int>(rng() % 2)),
                                                   8 * (1 + static_cast<int>(rng() % 2)));
        zt::fillRandom(p.tiled->plain(), rng);
        p.tiled->load();
    } else {
        p.plain = zt::makeRandomImage(shape, rng);
    }
    return p;
}

// The same random mode and constant on each side of the image's header and
// of the plain twin that holds its pixels.
inline void randomBorders(const zt::Participant& p, std::mt19937& rng)
{
    for (int side = 0; side < 4; ++side) {
        const int mode = static_cast<int>(rng() % 4);
        const int value = static_cast<int>(rng() % 600) - 300;
        zanSetBorderMode(p.header(), mode, 1 << side, value);
        zanSetBorderMode(p.content(), mode, 1 << side, value);
    }
}

// A tiled participant's callback was used properly: every tile opened was
// released, and none outside the grid was asked for.
inline std::string tileMisuse(const zt::Participant& p)
{
    if (!p.tiled)
        return "";
    if (p.tiled->misuse)
        return "a tile outside the grid, or released unopened";
    if (p.tiled->openCount() != p.tiled->releaseCount())
        return "tiles left open";
    return "";
}

// The first sample where two images of one shape differ, or "" if none.
inline std::string firstDifference(const ZanImage* got, const ZanImage* want)
{
    for (int y = 0; y < got->height; ++y)
        for (int x = 0; x < got->width; ++x)
            for (int c = 0; c < got->nChannels; ++c) {
                const double g = zt::sampleAt(got, x, y, c);
                const double w = zt::sampleAt(want, x, y, c);
                if (g != w && !(std::isnan(g) && std::isnan(w))) {
                    std::ostringstream s;
                    s << "first difference at (" << x << ", " << y << ", " << c << "): got " << g
                      << ", want " << w;
                    return s.str();
                }
            }
    return "";
}

} // namespace fz
