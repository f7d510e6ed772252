// A randomised check of pixelwise operations against a reference that is
// computed here pixel by pixel: random depths, sizes, ROIs (overhanging and
// beyond the image), channels of interest, alpha channels, plane and pixel
// order, masks with ROIs, tiled images of different tile sizes, and images
// that alias each other.
#pragma once

#include "zan_test.h"

#include <functional>
#include <string>
#include <vector>

namespace zt {

// The expected sample for source samples a and b (b is 0 for one source).
using SampleOp = std::function<double(uint32_t depth, double a, double b)>;
// Runs the operation; b is null for one-source operations.
using FrameCall = std::function<void(ZanImage* a, ZanImage* b, ZanImage* d)>;

struct FrameCheck {
    std::vector<uint32_t> depths;
    bool twoSources = true;
    int cases = 300;
    uint32_t seed = 1;
    FrameCall call;
    SampleOp expected;
};

// Runs the cases; each failure is reported with the case's description and
// the first differing sample.
void checkAgainstReference(const FrameCheck& check);

} // namespace zt
