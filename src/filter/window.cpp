// Region and channel helpers of the window filters.
#include "own_window.h"

#include <algorithm>

OwnRect ownMaskedRegion(const ZanImage* image)
{
    OwnRect rect;
    ownRegionRect(image, &rect);
    if (image->maskROI) {
        OwnRect mask;
        ownRegionRect(image->maskROI, &mask);
        rect.width = std::min(rect.width, mask.width);
        rect.height = std::min(rect.height, mask.height);
    }
    return rect;
}

ZanImage ownClampedBorders(const ZanImage* image)
{
    ZanImage copy = *image;
    for (int& value : copy.borderConst)
        value = ownClampToDepth(image->depth, value);
    return copy;
}

int ownProcessedChannels(const ZanImage* image)
{
    if (image->roi && image->roi->coi)
        return 1;
    return image->nChannels - (image->alphaChannel ? 1 : 0);
}

static int firstChannel(const ZanImage* image)
{
    return image->roi && image->roi->coi ? image->roi->coi - 1 : 0;
}

OwnLanes ownWindowLanes(const ZanImage* src, const ZanImage* dst)
{
    OwnLanes lanes{};
    lanes.planes = src->dataOrder == ZAN_DATA_ORDER_PLANE;
    lanes.count = ownProcessedChannels(src);
    lanes.srcFirst = firstChannel(src);
    lanes.dstFirst = firstChannel(dst);
    lanes.srcPixelStep = lanes.planes ? 1 : src->nChannels;
    lanes.dstPixelStep = lanes.planes ? 1 : dst->nChannels;
    lanes.interleaved = !lanes.planes && lanes.count == src->nChannels &&
                        lanes.count == dst->nChannels;
    return lanes;
}
