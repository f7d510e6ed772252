// Add, Subtract and Multiply of two images, with saturation.
#include "own_arith.h"
#include "own_logic.h"

namespace {

// Runs a two-source functor family over the frame at the destination's
// depth; 1-bit images take the bit routine.
template <template <class> class Op, class BitOp>
void runArithmetic(OwnFrame& frame, uint32_t depth, BitOp bitOp)
{
    if (depth == ZAN_DEPTH_1U) {
        frame.run([&](const OwnPiece& piece) { ownBitRows<2>(piece, bitOp); });
        return;
    }
    ownWithSampleType(depth, [&](auto type) {
        using T = typename decltype(type)::type;
        frame.run([](const OwnPiece& piece) { ownPixelRows<T, 2>(piece, Op<T>{}); });
    });
}

} // namespace

extern "C" {

ZAN_API void zanAdd(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    const OwnSite site{"zanAdd", "zanadd"};
    if (!srcImageA) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImageA==0");
        return;
    }
    // Saturated sums of single bits are their OR.
    if (srcImageA->depth == ZAN_DEPTH_1U) {
        zanOr(srcImageA, srcImageB, dstImage);
        return;
    }
    OwnFrame frame(site, srcImageA, srcImageB, dstImage);
    if (frame.prepare(true))
        runArithmetic<OwnAddOp>(frame, dstImage->depth, OwnOrBits{});
}

ZAN_API void zanSubtract(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    OwnFrame frame(OwnSite{"zanSubtract", "zansub"}, srcImageA, srcImageB, dstImage);
    if (frame.prepare(srcImageA && srcImageA->depth != ZAN_DEPTH_1U))
        runArithmetic<OwnSubOp>(frame, dstImage->depth, OwnAndNotBits{});
}

ZAN_API void zanMultiply(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    const OwnSite site{"zanMultiply", "zanmul"};
    if (!srcImageA) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImageA==0");
        return;
    }
    // Saturated products of single bits are their AND.
    if (srcImageA->depth == ZAN_DEPTH_1U) {
        zanAnd(srcImageA, srcImageB, dstImage);
        return;
    }
    OwnFrame frame(site, srcImageA, srcImageB, dstImage);
    if (frame.prepare(true))
        runArithmetic<OwnMulOp>(frame, dstImage->depth, OwnAndBits{});
}

} // extern "C"
