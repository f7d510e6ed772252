// The private mapping of samples through per-channel tables, which the
// contrast stretch and the histogram equalisation apply.
#include "own_tone.h"

namespace {

const OwnWalkTexts kWalkTexts = {
    {"Error get tile to read", nullptr, "Error get tile to write"},
    {nullptr, nullptr, nullptr},
};

// Each processed channel in turn, each sample replaced by its entry in the
// channel's table.
template <class T>
void mapRows(const OwnPiece& piece, const T* table, int histSize)
{
    using namespace own_rows;
    const OwnChannelPlan& plan = *piece.plan;
    for (int k = 0; k < plan.channelCount; ++k) {
        const Region src = regionOf(piece.src[0], plan.firstChannel[OWN_SRC_A] + k);
        const Region out = regionOf(piece.dst, plan.firstChannel[OWN_DST] + k);
        int width = std::min(src.width, out.width);
        int height = std::min(src.height, out.height);
        const Region mask = own_tone::maskRegion(piece, &width, &height);
        const T* channelTable = table + static_cast<std::ptrdiff_t>(k) * histSize;
        for (int y = 0; y < height; ++y) {
            const T* s = rowOf<T>(src, 0, y);
            T* d = rowOf<T>(out, 0, y);
            for (int x = 0; x < width; ++x) {
                if (own_tone::maskAllows(piece, mask, x, y))
                    d[x * out.pixelStride] = channelTable[s[x * src.pixelStride]];
            }
        }
    }
}

} // namespace

bool ownToneMap(const ZanImage* srcImage, ZanImage* dstImage, const void* table)
{
    const OwnSite site{"zanMap", "zanhist"};
    OwnToneMask mask;
    if (!mask.build(site, srcImage, dstImage))
        return zanGetErrStatus() >= 0;
    int count, first;
    ownImageChannels(srcImage, &count, &first);
    const OwnChannelPlan plan = ownTonePlan(srcImage, dstImage, count);
    const OwnWalkSetup setup{site, {srcImage, nullptr}, dstImage, mask.get(), &plan, &kWalkTexts};
    if (srcImage->depth == ZAN_DEPTH_8U)
        return ownFrameWalk(setup, [table](const OwnPiece& piece) {
            mapRows(piece, static_cast<const uint8_t*>(table), 256);
        });
    return ownFrameWalk(setup, [table](const OwnPiece& piece) {
        mapRows(piece, static_cast<const uint16_t*>(table), 65536);
    });
}
