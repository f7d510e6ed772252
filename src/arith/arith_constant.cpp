// AddS, SubtractS, MultiplyS and their float forms: an image and a constant.
// The integer forms hand over to the logic family whatever a bit operation
// does at once, so those cases report under the logic function's name.
#include "own_arith.h"
#include "own_logic.h"

#include <algorithm>

namespace {

bool isUnsigned8or16(uint32_t depth) { return depth == ZAN_DEPTH_8U || depth == ZAN_DEPTH_16U; }

int64_t maxOf(uint32_t depth) { return depth == ZAN_DEPTH_8U ? 255 : 65535; }

// Runs the functor that makeOp gives for the destination's sample type.
template <class MakeOp>
void runOnFrame(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage, MakeOp makeOp)
{
    OwnFrame frame(site, srcImage, dstImage);
    if (!frame.prepare(true))
        return;
    ownWithSampleType(dstImage->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        const auto op = makeOp(type);
        frame.run([&op](const OwnPiece& piece) { ownPixelRows<T, 1>(piece, op); });
    });
}

// The float forms: 32F images only, with a float constant.
template <class Op>
void runFloat(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage, const char* integerForm,
              Op op)
{
    if (!srcImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
        return;
    }
    if (srcImage->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, integerForm);
        return;
    }
    OwnFrame frame(site, srcImage, dstImage);
    if (frame.prepare(true))
        frame.run([&op](const OwnPiece& piece) { ownPixelRows<float, 1>(piece, op); });
}

} // namespace

extern "C" {

ZAN_API void zanAddS(const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    const OwnSite site{"zanAddS", "zanadds"};
    if (!srcImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
        return;
    }
    switch (srcImage->depth) {
    case ZAN_DEPTH_1U:
        zanOrS(srcImage, dstImage, value);
        return;
    case ZAN_DEPTH_8U:
    case ZAN_DEPTH_8S:
    case ZAN_DEPTH_16U:
    case ZAN_DEPTH_16S:
        // Adding v is subtracting -v; beyond -65535 every result saturates alike.
        zanSubtractS(srcImage, dstImage, value < -65535 ? 65535 : -value, 0);
        return;
    case ZAN_DEPTH_32F:
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "For processing depth 32F use function zanAddSFP");
        return;
    default:
        break;
    }
    runOnFrame(site, srcImage, dstImage, [value](auto type) {
        using T = typename decltype(type)::type;
        return OwnAddConstOp<T>{static_cast<OwnConstant<T>>(value)};
    });
}

ZAN_API void zanSubtractS(const ZanImage* srcImage, ZanImage* dstImage, int value, int reverse)
{
    const OwnSite site{"zanSubtractS", "zansubs"};
    if (!srcImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
        return;
    }
    const uint32_t depth = srcImage->depth;
    if (depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "For processing depth 32F use function zanSubtractSFP");
        return;
    }
    if (depth == ZAN_DEPTH_1U) {
        // a - 0 = a; 0 - a = 0; a - 1 = 0; 1 - a = NOT a (all saturated).
        const bool one = value & 1;
        if (one == (reverse != 0))
            zanXorS(srcImage, dstImage, one ? 1 : 0);
        else
            zanAndS(srcImage, dstImage, 0);
        return;
    }
    if (isUnsigned8or16(depth)) {
        const int64_t max = maxOf(depth);
        const int64_t v = value;
        const bool allOnes = reverse ? v >= 2 * max : v <= -max;
        const bool allZeros = reverse ? v < 1 : v >= max;
        if (allOnes) {
            zanOrS(srcImage, dstImage, -1);
            return;
        }
        if (allZeros) {
            zanAndS(srcImage, dstImage, 0);
            return;
        }
    }
    // Signed constants beyond twice the range saturate every result alike.
    int64_t constant = value;
    if (depth == ZAN_DEPTH_8S)
        constant = reverse ? std::clamp<int64_t>(constant, -256, 254) : std::clamp<int64_t>(constant, -255, 255);
    else if (depth == ZAN_DEPTH_16S)
        constant = reverse ? std::clamp<int64_t>(constant, -65536, 65534)
                           : std::clamp<int64_t>(constant, -65535, 65535);
    runOnFrame(site, srcImage, dstImage, [constant, reverse](auto type) {
        using T = typename decltype(type)::type;
        return OwnSubConstOp<T>{static_cast<OwnConstant<T>>(constant), reverse != 0};
    });
}

ZAN_API void zanMultiplyS(const ZanImage* srcImage, ZanImage* dstImage, int value)
{
    const OwnSite site{"zanMultiplyS", "zanmuls"};
    if (!srcImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
        return;
    }
    const uint32_t depth = srcImage->depth;
    if (depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "For processing depth 32F use function zanMultiplySFP");
        return;
    }
    if (depth == ZAN_DEPTH_1U) {
        zanAndS(srcImage, dstImage, value);
        return;
    }
    int64_t constant = value;
    if (isUnsigned8or16(depth)) {
        if (value < 1) {
            zanAndS(srcImage, dstImage, 0);
            return;
        }
        constant = std::min(constant, maxOf(depth));
    } else if (depth == ZAN_DEPTH_8S) {
        constant = std::clamp<int64_t>(constant, -128, 128);
    } else if (depth == ZAN_DEPTH_16S) {
        constant = std::clamp<int64_t>(constant, -32768, 32768);
    }
    runOnFrame(site, srcImage, dstImage, [constant](auto type) {
        using T = typename decltype(type)::type;
        return OwnMulConstOp<T>{static_cast<OwnConstant<T>>(constant)};
    });
}

ZAN_API void zanAddSFP(const ZanImage* srcImage, ZanImage* dstImage, float value)
{
    runFloat(OwnSite{"zanAddSFP", "zanaddsf"}, srcImage, dstImage,
             "For processing this depth use function zanAddS", OwnAddConstOp<float>{value});
}

ZAN_API void zanSubtractSFP(const ZanImage* srcImage, ZanImage* dstImage, float value, int reverse)
{
    runFloat(OwnSite{"zanSubtractSFP", "zansubsf"}, srcImage, dstImage,
             "For processing this depth use function zanSubtractS",
             OwnSubConstOp<float>{value, reverse != 0});
}

ZAN_API void zanMultiplySFP(const ZanImage* srcImage, ZanImage* dstImage, float value)
{
    runFloat(OwnSite{"zanMultiplySFP", "zanmulsf"}, srcImage, dstImage,
             "For processing this depth use function zanMultiplyS", OwnMulConstOp<float>{value});
}

} // extern "C"
