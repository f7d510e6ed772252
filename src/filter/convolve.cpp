// zanConvolve2D and zanConvolve2DFP: the checks, the common region, the
// channels, the masks and the kernel stages, then the neighbourhood walk
// with the convolution row engine.
#include "../core/own_memory.h"
#include "own_convolve.h"

#include <algorithm>

namespace {

constexpr const char* kSource = "zancnv2d";

bool badRoiOffsets(const ZanImage* image)
{
    const ZanROI* roi = image->roi;
    return roi && (roi->xOffset < 0 || roi->yOffset < 0 || roi->xOffset >= image->width ||
                   roi->yOffset >= image->height);
}

// The checks common to both drivers, up to the kernel entries.
bool checkCall(const OwnSite& site, const ZanImage* src, const ZanImage* dst, const void* kernel,
               int nKernels, int method)
{
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    for (const ZanImage* image : {src, dst}) {
        if (badRoiOffsets(image)) {
            OWN_REPORT(site, ZAN_STATUS_ROI_OFFSET, "Bad ROI offsets");
            return false;
        }
    }
    if (!kernel) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "kernel==0");
        return false;
    }
    if (nKernels <= 0 || nKernels > kOwnMaxKernels) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(nKernels<=0 || nKernels>10)");
        return false;
    }
    if (nKernels > 1 && (method < ZAN_COMBINE_SUM || method > ZAN_COMBINE_MIN)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Inadmissible method");
        return false;
    }
    return true;
}

// Null entries, then entries that make no kernel.
template <class Kernel>
bool checkEntries(const OwnSite& site, const Kernel* const* kernel, int nKernels)
{
    for (int i = 0; i < nKernels; ++i) {
        if (!kernel[i]) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "kernel[i]==0");
            return false;
        }
    }
    for (int i = 0; i < nKernels; ++i) {
        if (ownBadKernel(kernel[i])) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Bad kernel structure");
            return false;
        }
    }
    return true;
}

bool checkImages(const OwnSite& site, const ZanImage* src, const ZanImage* dst, bool floatKernels)
{
    if (src->depth != dst->depth || src->dataOrder != dst->dataOrder) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Uncompatible images");
        return false;
    }
    if (!floatKernels && src->depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "32F images can be processed only with FP kernel");
        return false;
    }
    if (floatKernels && src->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "FP kernel can be used only for 32F images");
        return false;
    }
    return true;
}

int coiOf(const ZanImage* image) { return image->roi ? image->roi->coi : 0; }

// The channels both images process; false after a report.
bool planChannels(const OwnSite& site, const ZanImage* src, const ZanImage* dst, OwnLanes* plan)
{
    const int srcCoi = coiOf(src);
    const int dstCoi = coiOf(dst);
    if ((srcCoi == 0) != (dstCoi == 0)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "One of the COI is not defined");
        return false;
    }
    const int srcCount = src->nChannels - (src->alphaChannel ? 1 : 0);
    const int dstCount = dst->nChannels - (dst->alphaChannel ? 1 : 0);
    if (srcCoi == 0 && (srcCount <= 0 || dstCount <= 0)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "No channel to operate");
        return false;
    }
    if (srcCoi == 0 && srcCount != dstCount) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Uncompatible images");
        return false;
    }
    plan->planes = src->dataOrder == ZAN_DATA_ORDER_PLANE;
    plan->count = srcCoi ? 1 : srcCount;
    plan->srcFirst = srcCoi ? srcCoi - 1 : 0;
    plan->dstFirst = dstCoi ? dstCoi - 1 : 0;
    plan->srcPixelStep = plan->planes ? 1 : src->nChannels;
    plan->dstPixelStep = plan->planes ? 1 : dst->nChannels;
    plan->interleaved = !plan->planes && srcCoi == 0 && !src->alphaChannel && !dst->alphaChannel;
    return true;
}

OwnConvStage stageOf(const OwnConvKernel* k, uint32_t depth)
{
    return OwnConvStage{k->nCols,   k->nRows,  k->anchorX,
                        k->anchorY, k->values, nullptr,
                        k->nShiftR, ownConvClass(k->values, k->nCols * k->nRows, depth), false};
}

OwnConvStage stageOf(const OwnConvKernelFP* k, uint32_t)
{
    return OwnConvStage{k->nCols, k->nRows, k->anchorX, k->anchorY, nullptr, k->values, 0, 2, false};
}

// Stages of every kernel, and the margins that their windows need.
template <class Kernel>
void planKernels(const Kernel* const* kernel, int nKernels, int method, uint32_t depth,
                 OwnConvPlan* plan)
{
    plan->nKernels = nKernels;
    plan->method = method;
    plan->depth = depth;
    plan->margins = OwnMargins{0, 0, 0, 0};
    bool allNarrow = true;
    for (int i = 0; i < nKernels; ++i) {
        const OwnConvStage stage = stageOf(kernel[i], depth);
        plan->stages[i] = stage;
        allNarrow = allNarrow && stage.kernelClass == 0;
        OwnMargins& m = plan->margins;
        m.left = std::max(m.left, stage.anchorX);
        m.top = std::max(m.top, stage.anchorY);
        m.right = std::max(m.right, stage.nCols - stage.anchorX - 1);
        m.bottom = std::max(m.bottom, stage.nRows - stage.anchorY - 1);
    }
    plan->integerCombine = nKernels > 1 && allNarrow;
}

// Float kernels of 3 by 3 or 5 by 5 on planes or on pixels of 1 or 3
// samples, with no COI and no alpha, sum their products in double before
// one rounding.
void markWholeSums(OwnConvPlan* plan, const ZanImage* src, const ZanImage* dst, bool floatKernels)
{
    const OwnLanes& lanes = plan->lanes;
    const bool allSamples = !coiOf(src) && !src->alphaChannel && !dst->alphaChannel;
    const bool fits = allSamples && (lanes.planes || lanes.count == 1 || lanes.count == 3);
    for (int i = 0; i < plan->nKernels; ++i) {
        OwnConvStage& stage = plan->stages[i];
        const bool square = stage.nCols == stage.nRows && (stage.nCols == 3 || stage.nCols == 5);
        stage.wholeSum = floatKernels && fits && square;
    }
}

template <class Kernel>
void convolve(const OwnSite& site, const ZanImage* srcImage, ZanImage* dstImage,
              const Kernel* const* kernel, int nKernels, int method, bool floatKernels)
{
    if (!checkCall(site, srcImage, dstImage, kernel, nKernels, method) ||
        !checkEntries(site, kernel, nKernels) ||
        !checkImages(site, srcImage, dstImage, floatKernels))
        return;

    OwnNbhdArea area(srcImage, dstImage);
    if (area.empty())
        return;
    const ZanImage& src = *area.src();

    OwnConvPlan plan{};
    if (!planChannels(site, &src, dstImage, &plan.lanes))
        return;

    const int maskState = area.mergeMasks();
    if (maskState == OWN_MASK_DISJOINT)
        return;
    if (maskState == OWN_MASK_NO_MEMORY) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Allocation failure");
        return;
    }

    planKernels(kernel, nKernels, method, src.depth, &plan);
    markWholeSums(&plan, &src, dstImage, floatKernels);
    const OwnNbhdResult result = ownNbhdWalk(
        area.setup(plan.margins), [&plan](const OwnNbhdPiece& piece) { return ownConvolvePiece(plan, piece); });
    if (result != OWN_NBHD_DONE)
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Allocation failure");
}

} // namespace

extern "C" {

ZAN_API void zanConvolve2D(const ZanImage* srcImage, ZanImage* dstImage,
                           const ZanConvKernel* kernel, int nKernels, int method)
{
    convolve(OwnSite{"zanConvolve2D", kSource}, srcImage, dstImage, kernel, nKernels, method,
             false);
}

ZAN_API void zanConvolve2DFP(const ZanImage* srcImage, ZanImage* dstImage,
                             const ZanConvKernelFP* kernel, int nKernels, int method)
{
    convolve(OwnSite{"zanConvolve2DFP", kSource}, srcImage, dstImage, kernel, nKernels, method,
             true);
}

} // extern "C"
