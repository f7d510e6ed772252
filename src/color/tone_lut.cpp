// The pieces that threshold, histograms and mappings share: the governing
// mask, the channel plan and the tests of lookup-table records.
#include "own_tone.h"

bool OwnToneMask::build(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage)
{
    const ZanImage* a = srcImage->maskROI;
    const ZanImage* b = dstImage->maskROI;
    if (!a || !b || a == b) {
        mask_ = a ? a : b;
        return true;
    }
    OwnRect ra, rb;
    ownRegionRect(a, &ra);
    ownRegionRect(b, &rb);
    const int width = std::min(ra.width, rb.width);
    const int height = std::min(ra.height, rb.height);
    if (width < 1 || height < 1)
        return false;
    merged_ = OwnImageOwner(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GREY", "GREY",
                                                 ZAN_DATA_ORDER_PLANE, a->origin, ZAN_ALIGN_QWORD,
                                                 width, height, nullptr, nullptr, nullptr, nullptr),
                            ZAN_FREE_HEADER | ZAN_FREE_DATA);
    if (!merged_) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(msk == NULL)");
        return false;
    }
    zanAllocateImage(merged_.get(), 1, 0);
    if (!merged_->imageData) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(msk->imageData == NULL)");
        return false;
    }
    zanAnd(a, b, merged_.get());
    if (zanGetErrStatus() < 0 && OWN_BACKTRACE(site, "") < 0)
        return false;
    mask_ = merged_.get();
    return true;
}

OwnChannelPlan ownTonePlan(const ZanImage* srcImage, const ZanImage* dstImage, int channelCount)
{
    OwnChannelPlan plan{};
    int count;
    ownImageChannels(srcImage, &count, &plan.firstChannel[OWN_SRC_A]);
    ownImageChannels(dstImage, &count, &plan.firstChannel[OWN_DST]);
    plan.channelCount = channelCount;
    plan.noCoi = !(srcImage->roi && srcImage->roi->coi > 0) &&
                 !(dstImage->roi && dstImage->roi->coi > 0);
    plan.anyAlpha = srcImage->alphaChannel > 0 || dstImage->alphaChannel > 0;
    return plan;
}

bool ownCheckLuts(OwnSite site, ZanLUT* const* lut, int first, int count, int histSize)
{
    auto fail = [&](const char* text) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, text);
        return false;
    };
    for (int k = first; k < first + count; ++k) {
        const ZanLUT* table = lut[k];
        if (!table)
            return fail("lut[k]==0");
        if (!table->key)
            return fail("lut[k]->key==0");
        if (!table->value)
            return fail("lut[k]->value==0");
        if (table->num < 2)
            return fail("lut[k]->num < 2");
        if (table->key[0] < 0)
            return fail("lut[k]->key[0] < 0");
        if (table->key[table->num - 1] > histSize)
            return fail("lut[k]->key[lut[k]->num-1] > histSize");
        for (int i = 0; i + 1 < table->num; ++i) {
            if (table->key[i] > table->key[i + 1])
                return fail("lut[k]->key[i] > lut[k]->key[i+1]");
        }
    }
    return true;
}
