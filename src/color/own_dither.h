// Bit reduction and dithering: the row routines of each depth pair and the
// state that error diffusion carries from row to row.
#pragma once

#include "core/own_core.h"
#include "core/own_memory.h"

#include <cstddef>

// Entries of the noise tables; the noise term of a sample indexes them.
constexpr int kOwnNoiseEntries = 1024;

// One plane of pixels as a routine addresses it.
struct OwnDitherPlane {
    char* data;
    int step;                   // bytes from row to row
    std::ptrdiff_t planeStride; // bytes from channel to channel in plane order
};

// A block of one channel for a routine: width by height pixels whose first
// lies at (x0, y0) of the whole image.
struct OwnDitherBlock {
    OwnDitherPlane src;
    OwnDitherPlane dst;
    bool planes;    // plane order, in both images
    int sampleStep; // values from pixel to pixel: the source's in both images
    int channel;
    int x0;
    int y0;
    int width;
    int height;
};

// What every routine of one call shares.
struct OwnDitherParams {
    int levels;   // L, the levels less one
    int noise;    // percent
    const float* noiseValues; // N; null without noise
    const int* noiseIndex;    // R
};

// The rows of diffused error: two (Floyd-Steinberg) or three rows of floats
// with margins that stay 0. They rotate after each image row, so that the
// row just written becomes the row above.
class OwnErrorRows {
public:
    // False when memory ran out.
    bool init(int width, int ditherType);
    float* row(int i) const { return rows_[i] + margin_; }
    void rotate();

private:
    OwnBuffer<float> storage_;
    float* rows_[3] = {};
    int count_ = 0;
    int margin_ = 0;
};

// Fills the noise tables of a call: N for Bayer or error diffusion, then R,
// from the generator started afresh.
void ownDitherNoise(int ditherType, int noise, int levels, uint32_t srcDepth, float* values,
                    int* index);

using OwnDitherRoutine = void (*)(const OwnDitherBlock& block, const OwnDitherParams& params,
                                  OwnErrorRows* errors);

// The routine of a dither and a depth pair; null for a pair that has none.
// ZAN_DITHER_NONE gives the narrowing routines, which take no parameters.
OwnDitherRoutine ownDitherRoutine(int ditherType, uint32_t srcDepth, uint32_t dstDepth);
