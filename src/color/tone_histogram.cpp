// Histograms into lookup-table records, and the two mappings made from such
// records: contrast stretch and histogram equalisation.
#include "core/own_rect.h"
#include "own_tone.h"

#include <cstring>
#include <memory>

namespace {

using own_rows::Region;

// A rectangle of one channel to count, and where its first pixel lies in
// the mask's region (the mask is aligned with the image's region).
struct CountArea {
    Region samples;
    int width;
    int height;
    const ZanImage* mask;
    Region maskRegion;
    int maskX;
    int maskY;
};

bool maskBit(const CountArea& area, int x, int y)
{
    const auto* row = reinterpret_cast<const uint8_t*>(
        own_rows::rowOf<char>(area.maskRegion, 0, area.maskY + y));
    return ownGetBit(row, area.maskRegion.bitOffset + area.maskX + x);
}

// Counts of 8- and 16-bit samples. Unmasked 8-bit rows spread their counts
// over four tables, so that neighbouring equal samples don't wait on each
// other's increment.
template <class T>
void countSamples(const CountArea& area, uint32_t* counts)
{
    const int stride = area.samples.pixelStride;
    if constexpr (sizeof(T) == 1) {
        if (!area.mask) {
            uint32_t spread[4][256] = {};
            for (int y = 0; y < area.height; ++y) {
                const T* s = own_rows::rowOf<T>(area.samples, 0, y);
                int x = 0;
                for (; x + 4 <= area.width; x += 4) {
                    ++spread[0][s[x * stride]];
                    ++spread[1][s[(x + 1) * stride]];
                    ++spread[2][s[(x + 2) * stride]];
                    ++spread[3][s[(x + 3) * stride]];
                }
                for (; x < area.width; ++x)
                    ++spread[0][s[x * stride]];
            }
            for (int i = 0; i < 256; ++i)
                counts[i] += spread[0][i] + spread[1][i] + spread[2][i] + spread[3][i];
            return;
        }
    }
    for (int y = 0; y < area.height; ++y) {
        const T* s = own_rows::rowOf<T>(area.samples, 0, y);
        for (int x = 0; x < area.width; ++x) {
            if (!area.mask || maskBit(area, x, y))
                ++counts[s[x * stride]];
        }
    }
}

// Counts of bits: set bits of each row counted a byte at a time.
void countBits(const CountArea& area, uint32_t* counts)
{
    for (int y = 0; y < area.height; ++y) {
        const uint8_t* row = own_rows::rowOf<uint8_t>(area.samples, 0, y);
        const int phase = area.samples.bitOffset;
        if (area.mask) {
            for (int x = 0; x < area.width; ++x) {
                if (maskBit(area, x, y))
                    ++counts[ownGetBit(row, phase + x)];
            }
            continue;
        }
        uint32_t ones = 0;
        for (int x = 0; x < area.width; x += 8) {
            const int n = std::min(8, area.width - x);
            ones += static_cast<uint32_t>(__builtin_popcount(ownFetchBits(row, phase + x, n) &
                                                             ownBitSpan(0, n)));
        }
        counts[1] += ones;
        counts[0] += static_cast<uint32_t>(area.width) - ones;
    }
}

void countArea(uint32_t depth, const CountArea& area, uint32_t* counts)
{
    if (depth == ZAN_DEPTH_8U)
        countSamples<uint8_t>(area, counts);
    else if (depth == ZAN_DEPTH_16U)
        countSamples<uint16_t>(area, counts);
    else
        countBits(area, counts);
}

struct FreeBlock {
    void operator()(char* block) const { zanFree(block); }
};

// The region of one channel in a block that ownGetRect made.
Region blockRegion(const ZanImage* image, char* block, int step, int height, int channel)
{
    Region region{};
    region.start = block;
    region.step = step;
    if (image->dataOrder == ZAN_DATA_ORDER_PLANE) {
        region.start += static_cast<std::ptrdiff_t>(channel) * step * height;
        region.pixelStride = 1;
    } else {
        region.start += channel * ownDepthBits(image->depth) / 8;
        region.pixelStride = image->nChannels;
    }
    return region;
}

// Counts the processed channels of the image's region into histSize
// entries per channel. A tiled image is read tile by tile.
bool countImage(OwnSite site, const ZanImage* image, int first, int channels, int histSize,
                uint32_t* counts)
{
    OwnRect rect;
    ownRegionRect(image, &rect);
    CountArea area{};
    area.width = rect.width;
    area.height = rect.height;
    area.mask = image->maskROI;
    if (area.mask) {
        area.maskRegion = own_rows::regionOf(area.mask, 0);
        area.width = std::min(area.width, area.maskRegion.width);
        area.height = std::min(area.height, area.maskRegion.height);
    }
    if (area.width < 1 || area.height < 1)
        return true;
    if (!image->tileInfo) {
        for (int k = 0; k < channels; ++k) {
            area.samples = own_rows::regionOf(image, first + k);
            countArea(image->depth, area, counts + static_cast<std::ptrdiff_t>(k) * histSize);
        }
        return true;
    }
    const int tileWidth = image->tileInfo->width;
    const int tileHeight = image->tileInfo->height;
    const int xEnd = rect.x + area.width;
    const int yEnd = rect.y + area.height;
    for (int y = rect.y; y < yEnd; y = (y / tileHeight + 1) * tileHeight) {
        for (int x = rect.x; x < xEnd; x = (x / tileWidth + 1) * tileWidth) {
            area.width = std::min((x / tileWidth + 1) * tileWidth, xEnd) - x;
            area.height = std::min((y / tileHeight + 1) * tileHeight, yEnd) - y;
            int step;
            const std::unique_ptr<char, FreeBlock> block(
                ownGetRect(image, x, y, area.width, area.height, &step));
            if (!block) {
                OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Error get tile to read");
                return false;
            }
            area.maskX = x - rect.x;
            area.maskY = y - rect.y;
            for (int k = 0; k < channels; ++k) {
                area.samples = blockRegion(image, block.get(), step, area.height, first + k);
                countArea(image->depth, area, counts + static_cast<std::ptrdiff_t>(k) * histSize);
            }
        }
    }
    return true;
}

// value[k] of a record becomes the sum of the entries from key[k] up to
// key[k+1] - 1; entries outside every interval count nowhere.
template <class Entry>
void sumIntervals(ZanLUT* lut, const Entry* entries, int histSize)
{
    for (int k = 0; k + 1 < lut->num; ++k) {
        const int low = std::clamp(lut->key[k], 0, histSize);
        const int high = std::clamp(lut->key[k + 1], low, histSize);
        int64_t sum = 0;
        for (int i = low; i < high; ++i)
            sum += entries[i];
        lut->value[k] = static_cast<int>(sum);
    }
}

// The tests that the two mappings share, and their channels. False ends the
// call, after a report or quietly when there is no channel to process.
bool checkMapping(OwnSite site, const ZanImage* src, const ZanImage* dst, ZanLUT* const* lut,
                  int* channels, int* first)
{
    if (zanCheckImageHeader(src) != ZAN_STATUS_OK || zanCheckImageHeader(dst) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return false;
    }
    if (src->depth != dst->depth)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->depth != dstImage->depth");
    if (src->origin != dst->origin)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->origin != dstImage->origin");
    if (src->dataOrder != dst->dataOrder && !(src->nChannels == 1 && dst->nChannels == 1))
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->dataOrder != dstImage->dataOrder");
    if (src->depth != ZAN_DEPTH_8U && src->depth != ZAN_DEPTH_16U)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "srcImage->depth != ZAN_DEPTH_8U && srcImage->depth != ZAN_DEPTH_16U");
    if (!lut)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "lut==0");
    if (zanGetErrStatus() < 0)
        return false;
    int dstChannels, dstFirst;
    ownImageChannels(src, channels, first);
    ownImageChannels(dst, &dstChannels, &dstFirst);
    if (*channels == 0 || dstChannels == 0)
        return false;
    if (*channels != dstChannels) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "Number of processed channels of srcImage != Number of processed channels of dstImage");
        return false;
    }
    return ownCheckLuts(site, lut, *first, *channels, ownHistSize(src->depth));
}

// The stretch table of one channel: the identity outside the intervals, and
// in each interval its value, constant or rising by its factor, wrapped in
// the sample's width.
template <class T>
void stretchTable(const ZanLUT* lut, int histSize, T* table)
{
    const int begin = std::min(lut->key[0], histSize);
    int i = 0;
    for (; i < begin; ++i)
        table[i] = static_cast<T>(i);
    int j = -1;
    int start = 0;
    uint32_t c = 0;
    for (; i < histSize; ++i) {
        if (i == lut->key[j + 1]) {
            if (j + 1 == lut->num - 1)
                break;
            ++j;
            start = i;
            c = static_cast<uint32_t>(lut->value[j]);
        }
        if (lut->interpolation == ZAN_LUT_STEP)
            table[i] = static_cast<T>(c);
        else
            table[i] = static_cast<T>(static_cast<uint32_t>(i - start) *
                                          static_cast<uint32_t>(lut->factor[j]) +
                                      c);
    }
    for (; i < histSize; ++i)
        table[i] = static_cast<T>(i);
}

template <class T>
void stretch(OwnSite site, const ZanImage* src, ZanImage* dst, ZanLUT* const* lut, int first,
             int channels)
{
    const int histSize = ownHistSize(src->depth);
    for (int k = 0; k < channels; ++k) {
        const ZanLUT* table = lut[first + k];
        if (table->interpolation != ZAN_LUT_STEP && !table->factor) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "lut[k]->factor==0");
            return;
        }
    }
    OwnBuffer<T> tables(static_cast<std::size_t>(channels) * histSize);
    if (!tables.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "");
        return;
    }
    for (int k = 0; k < channels; ++k)
        stretchTable(lut[first + k], histSize, tables.data() + static_cast<std::ptrdiff_t>(k) * histSize);
    if (!ownToneMap(src, dst, tables.data()))
        OWN_BACKTRACE(site, "");
}

// The running sums of a channel's histogram, each interval's count spread
// over its entries with the remainder on the last.
void expandHistogram(const ZanLUT* lut, int histSize, int64_t* h)
{
    std::fill(h, h + histSize, 0);
    for (int k = 0; k + 1 < lut->num; ++k) {
        const int64_t c = lut->value[k];
        const int key = lut->key[k];
        const int w = lut->key[k + 1] - key;
        if (key >= histSize)
            continue;
        if (w < 2) {
            h[key] = c;
            continue;
        }
        for (int i = 0; i < w - 1; ++i)
            h[key + i] = c / w;
        h[key + w - 1] = c / w + c % w;
    }
    for (int i = 1; i < histSize; ++i)
        h[i] += h[i - 1];
}

template <class T>
T equalised(int64_t sum, int64_t total)
{
    if constexpr (sizeof(T) == 1)
        return static_cast<T>(sum * 255 / total);
    else
        return static_cast<T>(static_cast<int64_t>(static_cast<double>(sum) * (65535.0 / total)));
}

template <class T>
void equalize(OwnSite site, const ZanImage* src, ZanImage* dst, ZanLUT* const* lut, int first,
              int channels)
{
    const int histSize = ownHistSize(src->depth);
    const std::size_t entries = static_cast<std::size_t>(channels) * histSize;
    OwnBuffer<int64_t> sums(entries);
    OwnBuffer<T> tables(entries);
    OwnBuffer<int64_t> output(static_cast<std::size_t>(histSize));
    if (!sums.ok() || !tables.ok() || !output.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "");
        return;
    }
    for (int k = 0; k < channels; ++k) {
        int64_t* h = sums.data() + static_cast<std::ptrdiff_t>(k) * histSize;
        expandHistogram(lut[first + k], histSize, h);
        const int64_t total = h[histSize - 1];
        if (total == 0) {
            OWN_REPORT(site, ZAN_STATUS_INTERNAL, "All values in histogram are zeroes");
            return;
        }
        T* table = tables.data() + static_cast<std::ptrdiff_t>(k) * histSize;
        for (int i = 0; i < histSize; ++i)
            table[i] = equalised<T>(h[i], total);
    }
    if (!ownToneMap(src, dst, tables.data()) && OWN_BACKTRACE(site, "") != 0)
        return;

    // The records of the destination's channels now describe the output.
    int dstChannels, dstFirst;
    ownImageChannels(dst, &dstChannels, &dstFirst);
    for (int k = 0; k < channels; ++k) {
        const int64_t* h = sums.data() + static_cast<std::ptrdiff_t>(k) * histSize;
        const T* table = tables.data() + static_cast<std::ptrdiff_t>(k) * histSize;
        std::fill(output.data(), output.data() + histSize, 0);
        output[table[0]] += h[0];
        for (int i = 1; i < histSize; ++i)
            output[table[i]] += h[i] - h[i - 1];
        if (ZanLUT* record = lut[dstFirst + k]; record && record->key && record->value)
            sumIntervals(record, output.data(), histSize);
    }
}

using MappingRun = void (*)(OwnSite site, const ZanImage* src, ZanImage* dst, ZanLUT* const* lut,
                           int first, int channels);

// The checks of a mapping, then its work at the depth of the images.
void runMapping(OwnSite site, const ZanImage* src, ZanImage* dst, ZanLUT* const* lut,
                MappingRun run8, MappingRun run16)
{
    int channels, first;
    if (checkMapping(site, src, dst, lut, &channels, &first))
        (src->depth == ZAN_DEPTH_8U ? run8 : run16)(site, src, dst, lut, first, channels);
}

} // namespace

extern "C" {

ZAN_API void zanComputeHisto(const ZanImage* srcImage, ZanLUT** lut)
{
    const OwnSite site{"zanComputeHisto", "zanhist"};
    if (zanCheckImageHeader(srcImage) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return;
    }
    if (!lut)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "lut==0");
    if ((srcImage->depth & ZAN_DEPTH_SIGN) || srcImage->depth == ZAN_DEPTH_32F)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "(srcImage->depth & ZAN_DEPTH_SIGN) || (srcImage->depth == ZAN_DEPTH_32F)");
    if (zanGetErrStatus() < 0)
        return;
    int channels, first;
    ownImageChannels(srcImage, &channels, &first);
    const int histSize = ownHistSize(srcImage->depth);
    if (channels == 0 || !ownCheckLuts(site, lut, first, channels, histSize))
        return;
    OwnBuffer<uint32_t> counts(static_cast<std::size_t>(channels) * histSize);
    if (!counts.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "");
        return;
    }
    std::memset(counts.data(), 0, counts.size() * sizeof(uint32_t));
    if (!countImage(site, srcImage, first, channels, histSize, counts.data())) {
        OWN_BACKTRACE(site, "");
        return;
    }
    for (int k = 0; k < channels; ++k) {
        ZanLUT* record = lut[first + k];
        sumIntervals(record, counts.data() + static_cast<std::ptrdiff_t>(k) * histSize, histSize);
        record->interpolation = ZAN_LUT_STEP;
    }
}

ZAN_API void zanContrastStretch(const ZanImage* srcImage, ZanImage* dstImage, ZanLUT** lut)
{
    runMapping(OwnSite{"zanContrastStretch", "zanhist"}, srcImage, dstImage, lut, &stretch<uint8_t>,
               &stretch<uint16_t>);
}

ZAN_API void zanHistoEqualize(const ZanImage* srcImage, ZanImage* dstImage, ZanLUT** lut)
{
    runMapping(OwnSite{"zanHistoEqualize", "zanhist"}, srcImage, dstImage, lut, &equalize<uint8_t>,
               &equalize<uint16_t>);
}

} // extern "C"
