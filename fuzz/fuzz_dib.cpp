// libFuzzer target: any bytes as a BMP file. What the tool's file checks let
// through goes to zanTranslateDIB and to zanConvertFromDIB into images of
// every writer, and the translated image back through zanConvertToDIB into
// a DIB of the same format.
#include "bmp_file.h"
#include "zan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// Larger pictures are cut to their first columns and rows, so that each
// input runs fast; the block still holds all that the smaller header asks.
constexpr int kMaxWidth = 128;
constexpr int kMaxPixels = 4096;

zantool::DibFields shrink(std::vector<uint8_t>& dib)
{
    zantool::DibFields fields = zantool::readFields(dib.data());
    fields.width = std::min(fields.width, kMaxWidth);
    const int rows = std::min(std::abs(fields.height), kMaxPixels / fields.width);
    fields.height = fields.height < 0 ? -rows : rows;
    if (!zantool::isRle(fields))
        fields.sizeImage = static_cast<uint32_t>(zantool::pixelBytes(fields));
    zantool::writeFields(dib.data(), fields);
    return fields;
}

struct Target {
    int channels;
    uint32_t depth;
    const char* model;
    const char* sequence;
    int order;
    int origin;
};

const Target kTargets[] = {
    {1, ZAN_DEPTH_1U, "GRAY", "G\0\0", ZAN_DATA_ORDER_PIXEL, ZAN_ORIGIN_TOP_LEFT},
    {1, ZAN_DEPTH_8U, "GRAY", "GRAY", ZAN_DATA_ORDER_PIXEL, ZAN_ORIGIN_BOTTOM_LEFT},
    {3, ZAN_DEPTH_8U, "RGB", "BGR", ZAN_DATA_ORDER_PLANE, ZAN_ORIGIN_TOP_LEFT},
    {3, ZAN_DEPTH_16U, "RGB", "RGB", ZAN_DATA_ORDER_PIXEL, ZAN_ORIGIN_TOP_LEFT},
    {4, ZAN_DEPTH_8U, "RGBA", "RGBA", ZAN_DATA_ORDER_PIXEL, ZAN_ORIGIN_BOTTOM_LEFT},
};

void convertInto(const BITMAPINFOHEADER* dib, const Target& target, int width, int height)
{
    ZanImage* image = zanCreateImageHeader(target.channels, target.channels == 4 ? 4 : 0, target.depth,
                                           target.model, target.sequence, target.order, target.origin, 8, width,
                                           height, nullptr, nullptr, nullptr, nullptr);
    if (!image)
        return;
    zanConvertFromDIB(dib, image);
    zanDeallocate(image, ZAN_FREE_ALL);
}

void writeBack(const ZanImage* image, const zantool::DibFields& fields, const std::vector<uint8_t>& source)
{
    std::vector<uint8_t> dib = zantool::newDib(fields.width, std::abs(fields.height), fields.bitCount,
                                               fields.compression == BI_BITFIELDS ? BI_RGB : fields.compression);
    if (fields.bitCount <= 8)
        std::copy(source.begin() + 40, source.begin() + 40 + 4 * fields.clrUsed, dib.begin() + 40);
    zanConvertToDIB(image, reinterpret_cast<BITMAPINFOHEADER*>(dib.data()), ZAN_DITHER_NONE, ZAN_PALETTE_KEEP);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    zantool::DibResult read = zantool::dibFromBmp({data, size});
    if (!read.error.empty())
        return 0;
    const zantool::DibFields fields = shrink(read.dib);
    const int width = fields.width;
    const int height = std::abs(fields.height);
    zanSetErrMode(ZAN_ErrorModeParent);
    zanRedirectError(zanNulDevReport);
    auto* dib = reinterpret_cast<BITMAPINFOHEADER*>(read.dib.data());
    for (const Target& target : kTargets) {
        zanSetErrStatus(ZAN_STATUS_OK);
        convertInto(dib, target, width, height);
    }
    zanSetErrStatus(ZAN_STATUS_OK);
    int cloned = 0;
    ZanImage* image = zanTranslateDIB(dib, &cloned);
    if (image && zanGetErrStatus() >= 0)
        writeBack(image, fields, read.dib);
    if (image)
        zanDeallocate(image, cloned ? ZAN_FREE_ALL : ZAN_FREE_ALL & ~ZAN_FREE_DATA);
    return 0;
}
