// Abs and Square: each value of a source mapped into a destination.
#include "../core/own_memory.h"
#include "own_arith.h"

#include <algorithm>

namespace {

// abs(a), saturated: the most negative integer gives the largest one.
// Floats below 0 are negated; -0.0 and NaN are not below 0 and stay.
template <class T>
struct OwnAbsOp {
    T operator()(T a) const
    {
        if constexpr (std::is_floating_point_v<T>)
            return a < 0 ? -a : a;
        else
            return a < 0 ? ownSaturate<T>(-static_cast<int64_t>(a)) : a;
    }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t n) const
        requires(OwnPacked<T> && std::is_signed_v<T>)
    {
        const __m128i zero = _mm_setzero_si128();
        if constexpr (sizeof(T) == 1)
            return ownPackedRun(d, a, n, [zero](__m128i x) {
                const __m128i negative = _mm_cmpgt_epi8(zero, x);
                return _mm_or_si128(_mm_and_si128(negative, _mm_subs_epi8(zero, x)),
                                    _mm_andnot_si128(negative, x));
            });
        else
            return ownPackedRun(d, a, n, [zero](__m128i x) {
                return _mm_max_epi16(x, _mm_subs_epi16(zero, x));
            });
    }
#endif
};

// a * a, saturated at the depth's largest value.
template <class T>
struct OwnSquareOp {
    T operator()(T a) const { return ownMulSat(a, a); }
#if OWN_HAVE_SSE2
    std::size_t run(T* d, const T* a, std::size_t n) const
        requires OwnPacked<T>
    {
        if constexpr (sizeof(T) == 1)
            return ownPackedRun(d, a, n, [](__m128i x) { return ownMul8Packed<T>(x, x); });
        else
            return ownPackedRun(d, a, n, [](__m128i x) { return ownMul16Packed<T>(x, x); });
    }
#endif
};

// 1-bit squares are the bits themselves.
struct OwnSameBits {
    uint8_t operator()(uint8_t a) const { return a; }
};

const OwnWalkTexts kAbsTexts = {
    {"(srcImage->tileInfo->tileData == 0)", nullptr, "(dstImage->tileInfo->tileData == 0)"},
    {"(srcImage->tileInfo->tileData != 0)", nullptr, "(dstImage->tileInfo->tileData != 0)"},
};

bool countingCoi(const ZanImage* image)
{
    return image->roi && image->roi->coi > 0 && image->nChannels > 1;
}

int colorChannels(const ZanImage* image)
{
    return image->nChannels - (image->alphaChannel > 0 ? 1 : 0);
}

// The checks of Abs after its redirection to Copy, in their order; false
// when the operation ends (reported).
bool checkAbs(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage)
{
    for (const ZanImage* image : {srcImage, dstImage}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    const char* fault = nullptr;
    const bool srcCoi = countingCoi(srcImage);
    if (srcImage->depth != dstImage->depth)
        fault = "(srcImage->depth != dstImage->depth)";
    else if (srcImage->dataOrder != dstImage->dataOrder)
        fault = "(srcImage->dataOrder != dstImage->dataOrder)";
    else if (srcCoi != countingCoi(dstImage))
        fault = "(nChSrcCoi != nChDstCoi)";
    else if (!srcCoi && srcImage->nChannels != dstImage->nChannels &&
             colorChannels(srcImage) != colorChannels(dstImage))
        fault = "(srcImage->nChannels != dstImage->nChannels)";
    if (fault)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, fault);
    return !fault;
}

// Channels of Abs: the COI, or the channels both images have, less alpha
// when both have it. Images with more channels than processed are walked
// pixel by pixel, each by its own nChannels.
OwnChannelPlan absPlan(const ZanImage* srcImage, const ZanImage* dstImage)
{
    OwnChannelPlan plan{};
    const bool coi = countingCoi(srcImage);
    plan.noCoi = !coi;
    plan.firstChannel[OWN_SRC_A] = coi ? srcImage->roi->coi - 1 : 0;
    plan.firstChannel[OWN_DST] = coi ? dstImage->roi->coi - 1 : 0;
    if (coi)
        plan.channelCount = 1;
    else if (srcImage->alphaChannel > 0 && dstImage->alphaChannel > 0)
        plan.channelCount = srcImage->nChannels - 1;
    else
        plan.channelCount = std::min(srcImage->nChannels, dstImage->nChannels);
    plan.anyAlpha = srcImage->nChannels != plan.channelCount ||
                    dstImage->nChannels != plan.channelCount;
    return plan;
}

} // namespace

extern "C" {

ZAN_API void zanAbs(const ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanAbs", "zanabs"};
    if (!srcImage)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage==0");
    if (!dstImage)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "dstImage==0");
    if (!srcImage || !dstImage || zanGetErrStatus() < 0)
        return;
    // Unsigned values are their own absolute values.
    const uint32_t depth = dstImage->depth;
    if (depth == ZAN_DEPTH_1U || depth == ZAN_DEPTH_8U || depth == ZAN_DEPTH_16U) {
        zanCopy(srcImage, dstImage);
        if (zanGetErrStatus() < 0)
            OWN_BACKTRACE(site, "zanCopy is failed");
        return;
    }
    if (!checkAbs(site, srcImage, dstImage))
        return;
    int state;
    const ZanImage* mask = ownMergeMasks(srcImage->maskROI, dstImage->maskROI, nullptr, &state);
    if (state == OWN_MASK_DISJOINT)
        return;
    if (state == OWN_MASK_NO_MEMORY) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Out of memory");
        return;
    }
    const OwnImageOwner merged(state == OWN_MASK_MERGED ? const_cast<ZanImage*>(mask) : nullptr,
                               ZAN_FREE_HEADER | ZAN_FREE_DATA);
    const OwnChannelPlan plan = absPlan(srcImage, dstImage);
    const OwnWalkSetup setup{site, {srcImage, nullptr}, dstImage, mask, &plan, &kAbsTexts};
    ownWithSampleType(depth, [&](auto type) {
        using T = typename decltype(type)::type;
        ownFrameWalk(setup, [](const OwnPiece& piece) { ownPixelRows<T, 1>(piece, OwnAbsOp<T>{}); });
    });
}

ZAN_API void zanSquare(const ZanImage* srcImage, ZanImage* dstImage)
{
    OwnFrame frame(OwnSite{"zanSquare", "zansqr"}, srcImage, dstImage);
    if (!frame.prepare(srcImage && srcImage->depth != ZAN_DEPTH_1U))
        return;
    const uint32_t depth = dstImage->depth;
    if (depth == ZAN_DEPTH_1U) {
        frame.run([](const OwnPiece& piece) { ownBitRows<1>(piece, OwnSameBits{}); });
        return;
    }
    ownWithSampleType(depth, [&](auto type) {
        using T = typename decltype(type)::type;
        frame.run([](const OwnPiece& piece) { ownPixelRows<T, 1>(piece, OwnSquareOp<T>{}); });
    });
}

} // extern "C"
