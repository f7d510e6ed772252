// GetPixel and PutPixel: one pixel by its coordinates in the picture.
#include "own_bits.h"
#include "own_core.h"

#include <cstring>

namespace {

// Where the values of one pixel lie in a block of rows.
struct PixelPlace {
    char* data;                 // first value (the byte of the bit in 1-bit images)
    int bit;                    // bit position within that byte's row, 1-bit images
    std::ptrdiff_t channelBytes; // from one channel's value to the next
    int valueBytes;             // bytes of one value, 0 for 1-bit images
};

PixelPlace placeIn(const ZanImage* image, char* data, int widthStep, int height, int x, int y)
{
    const int bits = ownDepthBits(image->depth);
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    char* row = data + static_cast<std::ptrdiff_t>(y) * widthStep;
    PixelPlace place;
    place.valueBytes = bits / 8;
    place.bit = x;
    place.data = bits == 1 ? row
                           : row + static_cast<std::ptrdiff_t>(x) * (planes ? 1 : image->nChannels) *
                                       place.valueBytes;
    place.channelBytes = planes ? static_cast<std::ptrdiff_t>(height) * widthStep : place.valueBytes;
    return place;
}

void readPixel(const PixelPlace& place, int channels, uint8_t* pixel)
{
    if (place.valueBytes == 0) {
        pixel[0] = ownGetBit(reinterpret_cast<const uint8_t*>(place.data), place.bit) ? 1 : 0;
        return;
    }
    for (int c = 0; c < channels; ++c)
        std::memcpy(pixel + c * place.valueBytes, place.data + c * place.channelBytes,
                    static_cast<std::size_t>(place.valueBytes));
}

void writePixel(const PixelPlace& place, int channels, const uint8_t* pixel)
{
    if (place.valueBytes == 0) {
        ownSetBit(reinterpret_cast<uint8_t*>(place.data), place.bit, pixel[0] & 1u);
        return;
    }
    for (int c = 0; c < channels; ++c)
        std::memcpy(place.data + c * place.channelBytes, pixel + c * place.valueBytes,
                    static_cast<std::size_t>(place.valueBytes));
}

// Checks the header and the coordinates, flips y for a bottom-left origin,
// then hands the pixel's place to transfer, opening its tile if need be.
template <class Transfer>
void withPixel(OwnSite site, const ZanImage* img, int x, int y, int tileMode, Transfer transfer)
{
    if (zanCheckImageHeader(img) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return;
    }
    if (x > img->width - 1 || x < 0) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "((x>img->width-1) || (x<0))");
        return;
    }
    if (y > img->height - 1 || y < 0) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "((y>img->height-1) || (y<0))");
        return;
    }
    if (img->origin == ZAN_ORIGIN_BOTTOM_LEFT)
        y = img->height - y - 1;
    const ZanTileInfo* tiles = img->tileInfo;
    if (!tiles) {
        transfer(placeIn(img, img->imageData, img->widthStep, img->height, x, y));
        return;
    }
    const int column = x / tiles->width;
    const int row = y / tiles->height;
    tiles->callBack(img, column, row, tileMode);
    if (!tiles->tileData) {
        OWN_REPORT(site, ZAN_STATUS_UNKNOWN,
                   tileMode == ZAN_TILE_READ ? "Error get tile to read" : "Error get tile to write");
        return;
    }
    transfer(placeIn(img, tiles->tileData, ownTileStep(img), tiles->height, x % tiles->width,
                     y % tiles->height));
    tiles->callBack(img, column, row, ZAN_TILE_RELEASE);
}

} // namespace

extern "C" {

ZAN_API void zanGetPixel(const ZanImage* img, int x, int y, void* pixel)
{
    withPixel(OwnSite{"zanGetPixel", "zanGetPx"}, img, x, y, ZAN_TILE_READ,
              [img, pixel](const PixelPlace& place) {
                  readPixel(place, img->nChannels, static_cast<uint8_t*>(pixel));
              });
}

ZAN_API void zanPutPixel(ZanImage* img, int x, int y, const void* pixel)
{
    withPixel(OwnSite{"zanPutPixel", "zanPutPx"}, img, x, y, ZAN_TILE_WRITE,
              [img, pixel](const PixelPlace& place) {
                  writePixel(place, img->nChannels, static_cast<const uint8_t*>(pixel));
              });
}

} // extern "C"
