// Helpers of the composition and comparison tests: random participants
// (plain or tiled, with ROIs and masks) and the governing mask of a set of
// images, counted from each mask's own region.
#pragma once

#include "zan_test.h"

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

namespace ct {

inline int range(std::mt19937& rng, int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(rng);
}

// A participant with random content; tiled with random tile sizes when asked.
inline zt::Participant makeParticipant(const zt::Shape& shape, std::mt19937& rng, bool tiled)
{
    zt::Participant p;
    if (tiled) {
        p.tiled = std::make_unique<zt::TiledImage>(shape, 8 * range(rng, 1, 3), 8 * range(rng, 1, 2));
        zt::fillRandom(p.tiled->plain(), rng);
        p.tiled->load();
    } else {
        p.plain = zt::makeRandomImage(shape, rng);
    }
    return p;
}

// A ROI at a random offset inside the image, its size possibly overhanging.
inline void randomRoi(ZanImage* image, std::mt19937& rng, int coi)
{
    zt::setRoi(image, coi, range(rng, 0, image->width - 1), range(rng, 0, image->height - 1),
               range(rng, 1, image->width + 2), range(rng, 1, image->height + 2));
}

// Brings a tiled participant's pixels back into its plain twin.
inline void collect(const zt::Participant& p)
{
    if (p.tiled)
        p.tiled->store();
}

// The masks of some images; bit (i, j) of the processed region is the AND of
// each mask's bit at its region's corner plus (i, j).
class MaskSet {
public:
    explicit MaskSet(std::initializer_list<const ZanImage*> images)
    {
        for (const ZanImage* image : images)
            if (image && image->maskROI)
                masks_.push_back(image->maskROI);
    }
    bool at(int i, int j) const
    {
        for (const ZanImage* mask : masks_) {
            const zt::Rect r = zt::regionOf(mask);
            if (!zt::bitAt(mask, r.x + i, r.y + j))
                return false;
        }
        return true;
    }
    // Lowers a size to the masks' regions.
    void lower(int& width, int& height) const
    {
        for (const ZanImage* mask : masks_) {
            const zt::Rect r = zt::regionOf(mask);
            width = std::min(width, r.width);
            height = std::min(height, r.height);
        }
    }

private:
    std::vector<const ZanImage*> masks_;
};

// The smallest region of the images (null ones skipped).
inline zt::Rect commonSize(std::initializer_list<const ZanImage*> images)
{
    zt::Rect size{0, 0, INT_MAX, INT_MAX};
    for (const ZanImage* image : images) {
        if (!image)
            continue;
        const zt::Rect r = zt::regionOf(image);
        size.width = std::min(size.width, r.width);
        size.height = std::min(size.height, r.height);
    }
    return size;
}

} // namespace ct
