// The row engine of two-dimensional convolution: per-kernel stages chosen
// once per call, run over the rows of each piece of the neighbourhood walk.
#pragma once

#include "own_filter.h"

// One kernel as a call uses it: stored (turned) coefficients and anchors.
struct OwnConvStage {
    int nCols;
    int nRows;
    int anchorX;
    int anchorY;
    const int32_t* values; // integer kernels
    const float* valuesFP; // float kernels
    int shift;
    int kernelClass; // 0: 16-bit sums, 1: 32-bit sums, 2: float sums
};

// Which samples of a pixel the engine convolves, in one pass over a row.
struct OwnConvLane {
    int srcPlane; // planes (plane order), else 0
    int dstPlane;
    int srcOffset;    // samples from a pixel's start (pixel order)
    int dstOffset;
    int srcPixelStep; // samples from pixel to pixel
    int dstPixelStep;
    int group; // samples computed per pixel in this pass: all channels interleaved, or 1
};

constexpr int kOwnMaxKernels = 10;

struct OwnConvPlan {
    OwnConvStage stages[kOwnMaxKernels];
    int nKernels;
    int method;
    uint32_t depth;
    bool integerCombine; // several kernels, every one of class 0
    OwnMargins margins;
    // Channels: count of them from the first of each image; in pixel order
    // with every channel and no alpha they go interleaved in one lane.
    bool planes;
    bool interleaved;
    int srcFirst;
    int dstFirst;
    int count;
    int srcPixelStep;
    int dstPixelStep;

    int laneCount() const { return interleaved ? 1 : count; }
    OwnConvLane lane(int i) const
    {
        if (planes)
            return OwnConvLane{srcFirst + i, dstFirst + i, 0, 0, 1, 1, 1};
        if (interleaved)
            return OwnConvLane{0, 0, 0, 0, srcPixelStep, dstPixelStep, count};
        return OwnConvLane{0, 0, srcFirst + i, dstFirst + i, srcPixelStep, dstPixelStep, 1};
    }
};

// Computes one piece by the plan; false when memory ran out.
bool ownConvolvePiece(const OwnConvPlan& plan, const OwnNbhdPiece& piece);
