// Channel helpers of the window filters.
#include "own_window.h"

#include <algorithm>

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
