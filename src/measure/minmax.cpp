// zanMinMaxFP: the smallest and largest sample of a 32F image in its ROI.
#include "own_measure.h"

namespace {

constexpr OwnSite kSite{"zanMinMaxFP", "zanmnmxf"};

// The running extremes; the first sample starts both, so a NaN can win
// only by coming first.
struct Extremes {
    bool started = false;
    float low = 0.0f;
    float high = 0.0f;

    void add(float s)
    {
        if (!started) {
            started = true;
            low = high = s;
            return;
        }
        if (s < low)
            low = s;
        if (high < s)
            high = s;
    }
};

// Channels of the scan: the COI alone, or all but a trailing alpha.
struct ScanChannels {
    int first;
    int count;
    bool all; // every channel of a pixel is scanned
};

ScanChannels scanChannels(const ZanImage* image)
{
    if (image->roi && image->roi->coi > 0)
        return {image->roi->coi - 1, 1, image->nChannels == 1};
    const int count = image->nChannels - (image->alphaChannel ? 1 : 0);
    return {0, count, count == image->nChannels};
}

// One piece in the order of the scan: planes, flat rows, or channels of a row.
void scanPiece(const ZanImage* piece, const ScanChannels& channels, Extremes* extremes)
{
    const bool planes = piece->dataOrder == ZAN_DATA_ORDER_PLANE || piece->nChannels == 1;
    if (!planes && channels.all) {
        const OwnChannelRows<float> rows(piece, 0);
        const int run = rows.region.width * piece->nChannels;
        for (int y = 0; y < rows.region.height; ++y) {
            const float* row = rows.row(y);
            for (int i = 0; i < run; ++i)
                extremes->add(row[i]);
        }
        return;
    }
    if (planes) {
        for (int c = 0; c < channels.count; ++c) {
            const OwnChannelRows<float> rows(piece, channels.first + c);
            for (int y = 0; y < rows.region.height; ++y)
                for (int x = 0; x < rows.region.width; ++x)
                    extremes->add(rows.at(rows.row(y), x));
        }
        return;
    }
    const OwnChannelRows<float> rows(piece, channels.first);
    for (int y = 0; y < rows.region.height; ++y)
        for (int c = 0; c < channels.count; ++c)
            for (int x = 0; x < rows.region.width; ++x)
                extremes->add(rows.at(rows.row(y) + c, x));
}

} // namespace

extern "C" ZAN_API ZanStatus zanMinMaxFP(const ZanImage* srcImage, float* min, float* max)
{
    if (zanCheckImageHeader(srcImage) < 0) {
        OWN_REPORT(kSite, zanGetErrStatus(), "Incorrect Image");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    if (!min || !max) {
        OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, "((min == 0)||(max == 0))");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    if (srcImage->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, "(srcImage->depth != 32)");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    const ScanChannels channels = scanChannels(srcImage);
    if (channels.count < 1)
        return ZAN_STATUS_OK;
    OwnRect region;
    ownRegionRect(srcImage, &region);
    if (region.width <= 0 || region.height <= 0)
        return ZAN_STATUS_OK;

    Extremes extremes;
    const bool whole = ownMeasureWalk(srcImage, nullptr, region.width, region.height,
                                      [&](const OwnMeasurePiece& piece) {
                                          scanPiece(piece.image, channels, &extremes);
                                          return true;
                                      });
    if (!whole) {
        OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, "(srcImage->tileInfo->tileData == NULL)");
        return ZAN_STATUS_NO_MEMORY;
    }
    *min = extremes.low;
    *max = extremes.high;
    return ZAN_STATUS_OK;
}
