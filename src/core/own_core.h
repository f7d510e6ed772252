// Private helpers shared by every part of the library: reporting, depth
// facts and the row layout of images.
#pragma once

#include "zan.h"

#include <cstddef>
#include <cstdint>

// Where a report comes from: the exported function's name and the short name
// of its source unit.
struct OwnSite {
    const char* function;
    const char* source;
};

// Reports a fault through zanError with the caller's source line.
#define OWN_REPORT(site, status, context) \
    zanError((status), (site).function, (context), (site).source, __LINE__)

// The report an operation makes when a public function it called failed:
// status -1 keeps the first status and names this level.
#define OWN_BACKTRACE(site, context) OWN_REPORT(site, ZAN_STATUS_BACKTRACE, context)

// Bits of one channel value.
inline int ownDepthBits(uint32_t depth) { return static_cast<int>(depth & ZAN_DEPTH_MASK); }

// True for the seven depth codes of the image model.
inline bool ownIsDepth(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U:
    case ZAN_DEPTH_8U:
    case ZAN_DEPTH_16U:
    case ZAN_DEPTH_32F:
    case ZAN_DEPTH_8S:
    case ZAN_DEPTH_16S:
    case ZAN_DEPTH_32S:
        return true;
    default:
        return false;
    }
}

inline bool ownIsAlign(int align) { return align == 4 || align == 8 || align == 16 || align == 32; }

// Clamps an integer to the range of values of an integer depth; 32-bit depths
// keep it unchanged.
int ownClampToDepth(uint32_t depth, int value);

// The 32-bit pattern of value repeated in every sample of a word: bit 0 for
// 1-bit images, the low byte or half-word for 8- and 16-bit depths.
uint32_t ownDepthPattern(uint32_t depth, int value);

// Bytes from one row to the next for the given layout, rounded up to align.
int ownRowStep(int dataOrder, uint32_t depth, int align, int nChannels, int width);

// The row step of one tile of a valid tiled image, 0 for any other image.
int ownTileStep(const ZanImage* image);

// Bytes of the whole data of a block with this row step.
inline int ownBlockSize(int dataOrder, int widthStep, int height, int nChannels)
{
    return dataOrder == ZAN_DATA_ORDER_PLANE ? widthStep * height * nChannels
                                              : widthStep * height;
}

// Sample types of the depths.
using Own8u = uint8_t;
using Own8s = int8_t;
using Own16u = uint16_t;
using Own16s = int16_t;
using Own32s = int32_t;
using Own32f = float;

// A sample type carried as a value, for dispatch by depth.
template <class T>
struct OwnType {
    using type = T;
};

// Calls f(OwnType<T>{}) with the sample type of a depth above one bit;
// false for 1-bit and unknown depths.
template <class F>
bool ownWithSampleType(uint32_t depth, F&& f)
{
    switch (depth) {
    case ZAN_DEPTH_8U: f(OwnType<Own8u>{}); return true;
    case ZAN_DEPTH_8S: f(OwnType<Own8s>{}); return true;
    case ZAN_DEPTH_16U: f(OwnType<Own16u>{}); return true;
    case ZAN_DEPTH_16S: f(OwnType<Own16s>{}); return true;
    case ZAN_DEPTH_32S: f(OwnType<Own32s>{}); return true;
    case ZAN_DEPTH_32F: f(OwnType<Own32f>{}); return true;
    default: return false;
    }
}
