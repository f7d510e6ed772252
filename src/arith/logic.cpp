// And, Or, Xor, Not and shifts: bit operations on images and constants.
#include "own_logic.h"

#include <type_traits>

namespace {

constexpr const char* kNo32F = "This function does not support depth 32F";

// Calls f(OwnType<U>{}) with the unsigned type of the depth's width.
template <class F>
bool withBitWidth(uint32_t depth, F&& f)
{
    switch (ownDepthBits(depth)) {
    case 8: f(OwnType<uint8_t>{}); return true;
    case 16: f(OwnType<uint16_t>{}); return true;
    case 32: f(OwnType<uint32_t>{}); return true;
    default: return false;
    }
}

template <class Fn>
void imageLogic(OwnSite site, const ZanImage* srcImageA, const ZanImage* srcImageB,
                ZanImage* dstImage)
{
    OwnFrame frame(site, srcImageA, srcImageB, dstImage);
    if (!frame.prepare(srcImageA && srcImageA->depth != ZAN_DEPTH_1U))
        return;
    const uint32_t depth = dstImage->depth;
    if (depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kNo32F);
        return;
    }
    if (depth == ZAN_DEPTH_1U) {
        frame.run([](const OwnPiece& piece) { ownBitRows<2>(piece, OwnBitwiseOp<uint8_t, Fn>{}); });
        return;
    }
    withBitWidth(depth, [&](auto type) {
        using U = typename decltype(type)::type;
        frame.run([](const OwnPiece& piece) { ownPixelRows<U, 2>(piece, OwnBitwiseOp<U, Fn>{}); });
    });
}

template <class Fn>
void constantLogic(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    OwnFrame frame(site, srcImage, dstImage);
    if (!frame.prepare(srcImage && srcImage->depth != ZAN_DEPTH_1U))
        return;
    const uint32_t depth = dstImage->depth;
    if (depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kNo32F);
        return;
    }
    const uint32_t pattern = ownDepthPattern(depth, value);
    if (depth == ZAN_DEPTH_1U) {
        frame.run([pattern](const OwnPiece& piece) {
            ownBitRows<1>(piece, OwnBitwisePatternOp<uint8_t, Fn>{pattern});
        });
        return;
    }
    withBitWidth(depth, [&](auto type) {
        using U = typename decltype(type)::type;
        frame.run([pattern](const OwnPiece& piece) {
            ownPixelRows<U, 1>(piece, OwnBitwisePatternOp<U, Fn>{pattern});
        });
    });
}

enum class ShiftDirection { left, right };

void shift(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage, int nShift,
           ShiftDirection direction)
{
    if (!srcImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
        return;
    }
    const int bits = ownDepthBits(srcImage->depth);
    if (nShift == 0) {
        zanXorS(srcImage, dstImage, 0);
        return;
    }
    // A negative count is a very large one.
    if (static_cast<uint32_t>(nShift) >= static_cast<uint32_t>(bits)) {
        if (direction == ShiftDirection::left || !(srcImage->depth & ZAN_DEPTH_SIGN)) {
            zanAndS(srcImage, dstImage, 0);
            return;
        }
        nShift = bits - 1;
    }
    OwnFrame frame(site, srcImage, dstImage);
    if (!frame.prepare(true))
        return;
    const uint32_t depth = dstImage->depth;
    if (depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kNo32F);
        return;
    }
    if (direction == ShiftDirection::left) {
        withBitWidth(depth, [&](auto type) {
            using U = typename decltype(type)::type;
            frame.run([nShift](const OwnPiece& piece) {
                ownPixelRows<U, 1>(piece, OwnLeftShiftOp<U>{nShift});
            });
        });
        return;
    }
    ownWithSampleType(depth, [&](auto type) {
        using T = typename decltype(type)::type;
        if constexpr (std::is_integral_v<T>) {
            frame.run([nShift](const OwnPiece& piece) {
                ownPixelRows<T, 1>(piece, OwnRightShiftOp<T>{nShift});
            });
        }
    });
}

} // namespace

extern "C" {

ZAN_API void zanAnd(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    imageLogic<OwnAndFn>(OwnSite{"zanAnd", "zanand"}, srcImageA, srcImageB, dstImage);
}

ZAN_API void zanOr(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    imageLogic<OwnOrFn>(OwnSite{"zanOr", "zanor"}, srcImageA, srcImageB, dstImage);
}

ZAN_API void zanXor(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    imageLogic<OwnXorFn>(OwnSite{"zanXor", "zanxor"}, srcImageA, srcImageB, dstImage);
}

ZAN_API void zanAndS(const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    constantLogic<OwnAndFn>(OwnSite{"zanAndS", "zanands"}, srcImage, dstImage, value);
}

ZAN_API void zanOrS(const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    constantLogic<OwnOrFn>(OwnSite{"zanOrS", "zanors"}, srcImage, dstImage, value);
}

ZAN_API void zanXorS(const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    constantLogic<OwnXorFn>(OwnSite{"zanXorS", "zanxors"}, srcImage, dstImage, value);
}

ZAN_API void zanNot(const ZanImage* srcImage, ZanImage* dstImage) { zanXorS(srcImage, dstImage, -1); }

ZAN_API void zanLShiftS(const ZanImage* srcImage, ZanImage* dstImage, int nShift)
{
    shift(OwnSite{"zanLShiftS", "zanlshs"}, srcImage, dstImage, nShift, ShiftDirection::left);
}

ZAN_API void zanRShiftS(const ZanImage* srcImage, ZanImage* dstImage, int nShift)
{
    shift(OwnSite{"zanRShiftS", "zanrshs"}, srcImage, dstImage, nShift, ShiftDirection::right);
}

} // extern "C"
