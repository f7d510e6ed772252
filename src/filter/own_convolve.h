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
    bool wholeSum;   // float kernel whose products are summed in double and stored once
};

constexpr int kOwnMaxKernels = 10;

struct OwnConvPlan {
    OwnConvStage stages[kOwnMaxKernels];
    int nKernels;
    int method;
    uint32_t depth;
    bool integerCombine; // several kernels, every one of class 0
    OwnMargins margins;
    OwnLanes lanes;
};

// Computes one piece by the plan; false when memory ran out.
bool ownConvolvePiece(const OwnConvPlan& plan, const OwnNbhdPiece& piece);
