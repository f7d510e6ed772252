// Threshold: a two-valued image from a comparison of each sample with a
// constant at the sample's own depth.
#include "arith/own_simd.h"
#include "own_tone.h"

#include <limits>
#include <type_traits>

namespace {

const OwnWalkTexts kWalkTexts = {
    {"(srcImage->tileInfo->tileData == NULL)", nullptr, "(dstImage->tileInfo->tileData == NULL)"},
    {nullptr, nullptr, nullptr},
};

// A sample below the threshold gives the lowest value of the destination's
// depth, one at or above it the highest.
template <class S, class D>
struct ThresholdOp {
    S threshold;
    D operator()(S a) const
    {
        return a < threshold ? std::numeric_limits<D>::min() : std::numeric_limits<D>::max();
    }
#if OWN_HAVE_SSE2
    // 8U: a sample is at or above the threshold where it is its maximum with
    // the threshold; the comparison's all-ones or zero bytes are the result.
    std::size_t run(D* d, const S* a, std::size_t n) const
        requires(std::is_same_v<S, uint8_t> && std::is_same_v<D, uint8_t>)
    {
        const __m128i t = _mm_set1_epi8(static_cast<char>(threshold));
        return ownPackedRun(d, a, n, [t](__m128i x) { return _mm_cmpeq_epi8(_mm_max_epu8(x, t), x); });
    }
#endif
};

// A 1-bit destination: one bit per sample of the source's single channel,
// gathered a byte at a time where no mask decides.
template <class S>
void thresholdToBits(const OwnPiece& piece, S threshold)
{
    using namespace own_rows;
    const Region src = regionOf(piece.src[0], piece.plan->firstChannel[OWN_SRC_A]);
    const Region out = regionOf(piece.dst, 0);
    int width = std::min(src.width, out.width);
    int height = std::min(src.height, out.height);
    const Region mask = own_tone::maskRegion(piece, &width, &height);
    for (int y = 0; y < height; ++y) {
        const S* s = rowOf<S>(src, 0, y);
        uint8_t* d = rowOf<uint8_t>(out, 0, y);
        if (piece.mask) {
            for (int x = 0; x < width; ++x) {
                if (own_tone::maskAllows(piece, mask, x, y))
                    ownSetBit(d, out.bitOffset + x, s[x * src.pixelStride] >= threshold);
            }
            continue;
        }
        for (int x = 0; x < width;) {
            const int position = out.bitOffset + x;
            const int first = position & 7;
            const int count = std::min(8 - first, width - x);
            unsigned bits = 0;
            for (int i = 0; i < count; ++i)
                bits |= static_cast<unsigned>(s[(x + i) * src.pixelStride] >= threshold) << (7 - i);
            ownStoreBits(d + (position >> 3), static_cast<uint8_t>(bits), first, count);
            x += count;
        }
    }
}

template <class S>
void runThreshold(const OwnWalkSetup& setup, S threshold)
{
    if (setup.dst->depth == ZAN_DEPTH_1U) {
        ownFrameWalk(setup, [threshold](const OwnPiece& piece) { thresholdToBits(piece, threshold); });
        return;
    }
    ownWithSampleType(setup.dst->depth, [&](auto type) {
        using D = typename decltype(type)::type;
        if constexpr (std::is_integral_v<D>) {
            ownFrameWalk(setup, [threshold](const OwnPiece& piece) {
                ownPixelRows<S, 1, D>(piece, ThresholdOp<S, D>{threshold});
            });
        }
    });
}

struct Test {
    bool failed;
    const char* text;
};

// The tests of the images and the threshold, in order; false after a report.
bool checkArguments(OwnSite site, const ZanImage* src, const ZanImage* dst, int threshold)
{
    const uint32_t depth = src->depth;
    const Test tests[] = {
        {src->depth == ZAN_DEPTH_32F, "(srcImage->depth == 32)"},
        {dst->depth == ZAN_DEPTH_32F, "(dstImage->depth == 32)"},
        {src->depth == ZAN_DEPTH_1U, "(srcImage->depth == 1)"},
        {src->dataOrder != dst->dataOrder && src->nChannels != 1 && dst->nChannels != 1,
         "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))"},
        {src->origin != dst->origin, "(srcImage->origin != dstImage->origin)"},
        {src->maskROI && src->origin != src->maskROI->origin,
         "(srcImage->origin != srcImage->maskROI->origin)"},
        {dst->maskROI && dst->origin != dst->maskROI->origin,
         "(dstImage->origin != dstImage->maskROI->origin)"},
        {depth == ZAN_DEPTH_8S && threshold > 127,
         "((srcImage->depth == (0x80000000| 8)) && (Threshold > 127))"},
        {depth == ZAN_DEPTH_8S && threshold < -128,
         "((srcImage->depth == (0x80000000| 8)) && (Threshold < -128))"},
        {depth == ZAN_DEPTH_8U && threshold > 255, "((srcImage->depth == 8) && (Threshold > 255))"},
        {depth == ZAN_DEPTH_8U && threshold < 0, "((srcImage->depth == 8) && (Threshold < 0))"},
        {depth == ZAN_DEPTH_16S && threshold > 32767,
         "((srcImage->depth == (0x80000000|16)) && (Threshold > 32767))"},
        {depth == ZAN_DEPTH_16S && threshold < -32768,
         "((srcImage->depth == (0x80000000|16)) && (Threshold < -32768))"},
        {depth == ZAN_DEPTH_16U && threshold > 65535, "((srcImage->depth == 16) && (Threshold > 65535))"},
        {depth == ZAN_DEPTH_16U && threshold < 0, "((srcImage->depth == 16) && (Threshold < 0))"},
    };
    for (const Test& test : tests) {
        if (test.failed) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, test.text);
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" ZAN_API void zanThreshold(const ZanImage* srcImage, ZanImage* dstImage, int Threshold)
{
    const OwnSite site{"zanThreshold", "zanthres"};
    if (zanCheckImageHeader(srcImage) != ZAN_STATUS_OK ||
        zanCheckImageHeader(dstImage) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return;
    }
    if (!checkArguments(site, srcImage, dstImage, Threshold))
        return;
    int srcChannels, dstChannels, first;
    ownImageChannels(srcImage, &srcChannels, &first);
    ownImageChannels(dstImage, &dstChannels, &first);
    if (srcChannels == 0 || dstChannels == 0)
        return;
    if (srcChannels != dstChannels) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(srcChannels != dstChannels)");
        return;
    }
    OwnToneMask mask;
    if (!mask.build(site, srcImage, dstImage))
        return;
    const OwnChannelPlan plan = ownTonePlan(srcImage, dstImage, srcChannels);
    const OwnWalkSetup setup{site, {srcImage, nullptr}, dstImage, mask.get(), &plan, &kWalkTexts};
    ownWithSampleType(srcImage->depth, [&](auto type) {
        using S = typename decltype(type)::type;
        if constexpr (std::is_integral_v<S>)
            runThreshold<S>(setup, static_cast<S>(Threshold));
    });
}
