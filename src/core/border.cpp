// Border readers: single samples and rows of one channel at any position,
// the outside governed by the image's border modes as in working rectangles.
#include "own_bits.h"
#include "own_rect.h"

#include <algorithm>
#include <cstring>

namespace {

// The side that governs a position: rows above and below the image (corners
// included) belong to the top and bottom, columns beside its rows to the
// left and right; -1 inside.
int governingSide(const ZanImage* image, int x, int y)
{
    if (y < 0)
        return ZAN_SIDE_TOP_INDEX;
    if (y >= image->height)
        return ZAN_SIDE_BOTTOM_INDEX;
    if (x < 0)
        return ZAN_SIDE_LEFT_INDEX;
    if (x >= image->width)
        return ZAN_SIDE_RIGHT_INDEX;
    return -1;
}

int mapInto(int c, int length, int mode)
{
    return c < 0 || c >= length ? ownBorderMap(c, length, mode) : c;
}

// The rows of an image or of one tile, as the samples of one channel.
struct Samples {
    const char* data; // first row, at the channel
    int step;         // bytes from row to row
    int pixelBytes;   // bytes from pixel to pixel; 0 for 1-bit rows
    int sampleBytes;  // 0 for 1-bit rows
};

Samples samplesOf(const ZanImage* image, const char* data, int step, int height, int channel)
{
    const int bytes = ownDepthBits(image->depth) / 8;
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    const std::ptrdiff_t channelOffset =
        planes ? static_cast<std::ptrdiff_t>(channel) * height * step : channel * bytes;
    return Samples{data + channelOffset, step, planes ? bytes : image->nChannels * bytes, bytes};
}

// Copies n samples of row y from columns x, x + dir, ... to index at of the
// packed output.
void copySamples(const Samples& s, int x, int y, int dir, int n, char* out, int at)
{
    const char* row = s.data + static_cast<std::ptrdiff_t>(y) * s.step;
    for (int k = 0; k < n; ++k) {
        const int column = x + k * dir;
        if (s.sampleBytes == 0)
            ownSetBit(reinterpret_cast<uint8_t*>(out), at + k,
                      ownGetBit(reinterpret_cast<const uint8_t*>(row), column));
        else
            std::memcpy(out + static_cast<std::ptrdiff_t>(at + k) * s.sampleBytes,
                        row + static_cast<std::ptrdiff_t>(column) * s.pixelBytes,
                        static_cast<std::size_t>(s.sampleBytes));
    }
}

// The same from a tiled image, tile by tile in the direction of the copy,
// each tile opened for reading and released after its part.
bool copyTiledSamples(const ZanImage* image, int channel, int x, int y, int dir, int n, char* out,
                      int at)
{
    const ZanTileInfo* tiles = image->tileInfo;
    const int tileStep = ownTileStep(image);
    const int row = y / tiles->height;
    for (int k = 0; k < n;) {
        const int cx = x + k * dir;
        const int column = cx / tiles->width;
        const int left = column * tiles->width;
        const int m = dir > 0 ? std::min(n - k, left + tiles->width - cx)
                      : dir < 0 ? std::min(n - k, cx - left + 1)
                                : n - k;
        tiles->callBack(image, column, row, ZAN_TILE_READ);
        if (!tiles->tileData)
            return false;
        const Samples s = samplesOf(image, tiles->tileData, tileStep, tiles->height, channel);
        copySamples(s, cx - left, y - row * tiles->height, dir, m, out, at + k);
        tiles->callBack(image, column, row, ZAN_TILE_RELEASE);
        k += m;
    }
    return true;
}

void fillSamples(const ZanImage* image, uint32_t pattern, int n, char* out, int at)
{
    const int bytes = ownDepthBits(image->depth) / 8;
    for (int k = 0; k < n; ++k) {
        if (bytes == 0)
            ownSetBit(reinterpret_cast<uint8_t*>(out), at + k, pattern & 1u);
        else
            std::memcpy(out + static_cast<std::ptrdiff_t>(at + k) * bytes, &pattern,
                        static_cast<std::size_t>(bytes));
    }
}

} // namespace

bool ownBorderRow(const ZanImage* image, int x, int y, int channel, void* row, int count)
{
    char* out = static_cast<char*>(row);
    const int width = image->width;
    // Pieces end at multiples of the width, so that each lies in one zone
    // and its columns map in one direction.
    for (int i = 0; i < count;) {
        const int c = x + i;
        const int pieceEnd = (c >= 0 ? c / width : -((-c - 1) / width) - 1) * width + width;
        const int n = std::min(count - i, pieceEnd - c);
        const int side = governingSide(image, c, y);
        const int mode = side < 0 ? ZAN_BORDER_REPLICATE : image->borderMode[side] & 3;
        if (side >= 0 && mode == ZAN_BORDER_CONSTANT) {
            fillSamples(image, ownBorderPattern(image, side), n, out, i);
            i += n;
            continue;
        }
        const int sx = mapInto(c, width, mode);
        const int sy = mapInto(y, image->height, mode);
        const int dir = n > 1 ? mapInto(c + 1, width, mode) - sx : 1;
        if (image->tileInfo) {
            if (!copyTiledSamples(image, channel - 1, sx, sy, dir, n, out, i))
                return false;
        } else {
            copySamples(samplesOf(image, image->imageData, image->widthStep, image->height, channel - 1),
                        sx, sy, dir, n, out, i);
        }
        i += n;
    }
    return true;
}

double ownBorderPixel(const ZanImage* image, int x, int y, int channel)
{
    char sample[4] = {};
    if (!ownBorderRow(image, x, y, channel, sample, 1))
        return 0;
    switch (image->depth) {
    case ZAN_DEPTH_1U: return (static_cast<uint8_t>(sample[0]) >> 7) & 1;
    case ZAN_DEPTH_8U: return static_cast<uint8_t>(sample[0]);
    case ZAN_DEPTH_8S: return static_cast<int8_t>(sample[0]);
    default: break;
    }
    auto load = [&sample](auto value) {
        std::memcpy(&value, sample, sizeof value);
        return static_cast<double>(value);
    };
    switch (image->depth) {
    case ZAN_DEPTH_16U: return load(uint16_t{});
    case ZAN_DEPTH_16S: return load(int16_t{});
    case ZAN_DEPTH_32S: return load(int32_t{});
    default: return load(float{});
    }
}
