// Image headers: creation, allocation, validation, cloning and release.
#include "own_core.h"
#include "own_memory.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kSource = "zanalloc";
constexpr const char* kBadArguments = "Incorrect data-ins";

// The header tests that creation and allocation share; 0 when all pass.
int validateFields(int nChannels, int alphaChannel, uint32_t depth, int dataOrder, int origin,
                   int align, int width, int height, bool hasNames, const ZanImage* mask)
{
    if (width < 1 || height < 1)
        return ZAN_STATUS_IMAGE_SIZE;
    if (nChannels < 1)
        return ZAN_STATUS_CHANNELS;
    if (nChannels != 1 && depth == ZAN_DEPTH_1U)
        return ZAN_STATUS_CHANNELS_1U;
    if (!hasNames)
        return ZAN_STATUS_MODEL_OR_SEQ;
    if (!ownIsDepth(depth))
        return ZAN_STATUS_DEPTH;
    if (alphaChannel != 0 && alphaChannel != nChannels)
        return ZAN_STATUS_ALPHA;
    if (dataOrder != ZAN_DATA_ORDER_PIXEL && dataOrder != ZAN_DATA_ORDER_PLANE)
        return ZAN_STATUS_ORDER;
    if (origin != ZAN_ORIGIN_TOP_LEFT && origin != ZAN_ORIGIN_BOTTOM_LEFT)
        return ZAN_STATUS_ORIGIN;
    if (!ownIsAlign(align))
        return ZAN_STATUS_ALIGN;
    if (mask) {
        if (mask->depth != ZAN_DEPTH_1U)
            return ZAN_STATUS_DEPTH - ZAN_STATUS_MASK_OFFSET;
        if (mask->tileInfo)
            return ZAN_STATUS_MASK_TILED;
        const int status = zanCheckImageHeader(mask);
        if (status != ZAN_STATUS_OK)
            return status - ZAN_STATUS_MASK_OFFSET;
    }
    return ZAN_STATUS_OK;
}

// The tests of an image's own header that don't concern its mask, tiles or ROI.
int checkOwnFields(const ZanImage* image)
{
    if (!image)
        return ZAN_STATUS_NULL_HEADER;
    if ((image->imageData == nullptr) == (image->tileInfo == nullptr))
        return ZAN_STATUS_DATA_OR_TILE;
    if (!image->tileInfo && image->imageSize < 1)
        return ZAN_STATUS_IMAGE_SIZE;
    if (!image->tileInfo && image->widthStep < 1)
        return ZAN_STATUS_WIDTH_STEP;
    return validateFields(image->nChannels, image->alphaChannel, image->depth, image->dataOrder,
                          image->origin, image->align, image->width, image->height, true,
                          image->maskROI);
}

int checkTilesAndRoi(const ZanImage* image)
{
    if (const ZanTileInfo* tiles = image->tileInfo) {
        if (!tiles->callBack)
            return ZAN_STATUS_CALLBACK;
        if (tiles->width < 1 || tiles->height < 1 || tiles->width % 8 || tiles->height % 8)
            return ZAN_STATUS_TILE_SIZE;
    }
    if (const ZanROI* roi = image->roi) {
        if (roi->coi < 0 || roi->coi > image->nChannels)
            return ZAN_STATUS_COI;
        if (roi->height < 1 || roi->width < 1)
            return ZAN_STATUS_ROI_SIZE;
        if (roi->xOffset < 0 || roi->yOffset < 0)
            return ZAN_STATUS_ROI_OFFSET;
    }
    return ZAN_STATUS_OK;
}

void setRowLayout(ZanImage* image)
{
    image->widthStep = ownRowStep(image->dataOrder, image->depth, image->align, image->nChannels,
                                  image->width);
    image->imageSize =
        ownBlockSize(image->dataOrder, image->widthStep, image->height, image->nChannels);
}

void fillWords(char* data, int bytes, uint32_t pattern)
{
    for (int i = 0; i + 4 <= bytes; i += 4)
        std::memcpy(data + i, &pattern, 4);
}

// Shared body of zanAllocateImage and zanAllocateImageFP.
void allocateData(ZanImage* image, bool wantFloat, bool fill, uint32_t pattern,
                  const char* function)
{
    const OwnSite site{function, kSource};
    if (!image) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image == ((void *)0) )");
        return;
    }
    if (image->imageData) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image->imageData != ((void *)0) )");
        return;
    }
    if (image->tileInfo) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image->tileInfo != ((void *)0) )");
        return;
    }
    if (!wantFloat && image->depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image->depth == 32 )");
        return;
    }
    if (wantFloat && image->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image->depth != 32 )");
        return;
    }
    const int status =
        validateFields(image->nChannels, image->alphaChannel, image->depth, image->dataOrder,
                       image->origin, image->align, image->width, image->height, true,
                       image->maskROI);
    if (status != ZAN_STATUS_OK) {
        OWN_REPORT(site, status, kBadArguments);
        return;
    }
    setRowLayout(image);
    char* block = nullptr;
    if (image->imageSize > 0)
        block = static_cast<char*>(
            std::malloc(static_cast<std::size_t>(image->align) + image->imageSize - 1));
    if (!block) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "for allocate image data");
        return;
    }
    const std::uintptr_t align = static_cast<std::uintptr_t>(image->align);
    image->imageDataOrigin = block;
    image->imageData = reinterpret_cast<char*>((reinterpret_cast<std::uintptr_t>(block) + align - 1) &
                                               ~(align - 1));
    if (fill)
        fillWords(image->imageData, image->imageSize, pattern);
}

} // namespace

int ownClampToDepth(uint32_t depth, int value)
{
    auto clamp = [value](int low, int high) { return value < low ? low : value > high ? high : value; };
    switch (depth) {
    case ZAN_DEPTH_1U: return clamp(0, 1);
    case ZAN_DEPTH_8U: return clamp(0, 255);
    case ZAN_DEPTH_8S: return clamp(-128, 127);
    case ZAN_DEPTH_16U: return clamp(0, 65535);
    case ZAN_DEPTH_16S: return clamp(-32768, 32767);
    default: return value;
    }
}

uint32_t ownDepthPattern(uint32_t depth, int value)
{
    const uint32_t word = static_cast<uint32_t>(value);
    switch (ownDepthBits(depth)) {
    case 1: return (word & 1u) ? 0xFFFFFFFFu : 0u;
    case 8: return (word & 0xFFu) * 0x01010101u;
    case 16: return (word & 0xFFFFu) * 0x00010001u;
    default: return word;
    }
}

int ownRowStep(int dataOrder, uint32_t depth, int align, int nChannels, int width)
{
    // Row bits in 32-bit arithmetic that wraps like the image model's fields;
    // the header tests catch sizes that come out below 1.
    const uint32_t bits = static_cast<uint32_t>(ownDepthBits(depth));
    uint32_t rowBits = static_cast<uint32_t>(width) * bits;
    if (dataOrder != ZAN_DATA_ORDER_PLANE)
        rowBits *= static_cast<uint32_t>(nChannels);
    const uint32_t unit = 8u * static_cast<uint32_t>(align);
    if (unit == 0)
        return 0;
    const uint32_t rounded = (rowBits + unit - 1) / unit * unit;
    return static_cast<int>(rounded / 8u);
}

int ownTileStep(const ZanImage* image)
{
    if (!image || !image->tileInfo || zanCheckImageHeader(image) != ZAN_STATUS_OK)
        return 0;
    return ownRowStep(image->dataOrder, image->depth, image->align, image->nChannels,
                      image->tileInfo->width);
}

extern "C" {

ZAN_API ZanImage* zanCreateImageHeader(int nChannels, int alphaChannel, uint32_t depth,
                                       const char* colorModel, const char* channelSeq,
                                       int dataOrder, int origin, int align, int width,
                                       int height, ZanROI* roi, ZanImage* maskROI,
                                       void* imageId, ZanTileInfo* tileInfo)
{
    const int status =
        validateFields(nChannels, alphaChannel, depth, dataOrder, origin, align, width, height,
                       colorModel && channelSeq, maskROI);
    if (status != ZAN_STATUS_OK) {
        zanError(status, "zanCreateImageHeader", kBadArguments, kSource, __LINE__);
        return nullptr;
    }
    ZanImage* image = static_cast<ZanImage*>(zanMalloc(sizeof(ZanImage)));
    if (!image)
        return nullptr;
    std::memset(image, 0, sizeof(ZanImage));
    image->headerSize = sizeof(ZanImage);
    image->version = 0;
    image->nChannels = nChannels;
    image->alphaChannel = alphaChannel;
    image->depth = depth;
    std::memcpy(image->colorModel, colorModel, 4);
    std::memcpy(image->channelSeq, channelSeq, 4);
    image->dataOrder = dataOrder;
    image->origin = origin;
    image->align = align;
    image->width = width;
    image->height = height;
    image->roi = roi;
    image->maskROI = maskROI;
    image->imageId = imageId;
    image->tileInfo = tileInfo;
    setRowLayout(image);
    zanSetBorderMode(image, ZAN_BORDER_CONSTANT, ZAN_SIDE_ALL, 0);
    return image;
}

ZAN_API void zanAllocateImage(ZanImage* image, int fill, int value)
{
    const uint32_t pattern = image ? ownDepthPattern(image->depth, value) : 0;
    allocateData(image, false, fill != 0, pattern, "zanAllocateImage");
}

ZAN_API void zanAllocateImageFP(ZanImage* image, int fill, float value)
{
    uint32_t pattern;
    std::memcpy(&pattern, &value, 4);
    allocateData(image, true, fill != 0, pattern, "zanAllocateImageFP");
}

ZAN_API void zanDeallocate(ZanImage* image, int flags)
{
    if (!image)
        return;
    if ((flags & ZAN_FREE_ROI) && image->roi) {
        zanFree(image->roi);
        image->roi = nullptr;
    }
    if ((flags & ZAN_FREE_MASK) && image->maskROI) {
        zanDeallocate(image->maskROI, ZAN_FREE_HEADER | ZAN_FREE_DATA | ZAN_FREE_ROI | ZAN_FREE_TILE);
        image->maskROI = nullptr;
    }
    if ((flags & ZAN_FREE_TILE) && image->tileInfo) {
        zanFree(image->tileInfo);
        image->tileInfo = nullptr;
    }
    if ((flags & ZAN_FREE_DATA) && image->imageDataOrigin) {
        std::free(image->imageDataOrigin);
        image->imageDataOrigin = nullptr;
        image->imageData = nullptr;
    }
    if (flags & ZAN_FREE_HEADER)
        zanFree(image);
}

ZAN_API void zanDeallocateHeader(ZanImage* image) { zanDeallocate(image, ZAN_FREE_HEADER); }

ZAN_API void zanDeallocateImage(ZanImage* image)
{
    if (!image)
        return;
    std::free(image->imageDataOrigin);
    image->imageDataOrigin = nullptr;
    image->imageData = nullptr;
}

ZAN_API int zanCheckImageHeader(const ZanImage* image)
{
    int status = checkOwnFields(image);
    if (status == ZAN_STATUS_OK)
        status = checkTilesAndRoi(image);
    if (status != ZAN_STATUS_OK)
        zanSetErrStatus(status);
    return status;
}

ZAN_API ZanImage* zanCloneImage(const ZanImage* image)
{
    const OwnSite site{"zanCloneImage", "zanClone"};
    if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return nullptr;
    }
    ZanImage* clone = zanCreateImageHeader(
        image->nChannels, image->alphaChannel, image->depth, image->colorModel, image->channelSeq,
        image->dataOrder, image->origin, image->align, image->width, image->height, nullptr,
        nullptr, nullptr, nullptr);
    if (!clone) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate header for clone image");
        return nullptr;
    }
    *clone = *image;
    clone->imageData = nullptr;
    clone->imageDataOrigin = nullptr;
    clone->version = 0;
    clone->imageId = nullptr;
    clone->maskROI = nullptr;
    clone->tileInfo = nullptr;
    clone->roi = nullptr;
    if (const ZanROI* roi = image->roi) {
        clone->roi = zanCreateROI(roi->coi, roi->xOffset, roi->yOffset, roi->width, roi->height);
        if (!clone->roi) {
            OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate roi for clone image");
            zanDeallocate(clone, ZAN_FREE_HEADER);
            return nullptr;
        }
    }
    if (image->depth == ZAN_DEPTH_32F)
        zanAllocateImageFP(clone, 0, 0.0f);
    else
        zanAllocateImage(clone, 0, 0);
    if (!clone->imageData) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY,
                   "Not enough memory to allocate imageData for clone image");
        zanDeallocate(clone, ZAN_FREE_HEADER | ZAN_FREE_ROI);
        return nullptr;
    }
    if (image->tileInfo)
        return clone;
    if (image->widthStep == clone->widthStep) {
        std::memcpy(clone->imageData, image->imageData,
                    static_cast<std::size_t>(image->imageSize < clone->imageSize ? image->imageSize
                                                                                 : clone->imageSize));
    } else {
        // A source whose rows don't follow the row rule is copied row by row.
        const int sourceRows = image->imageSize / image->widthStep;
        const int cloneRows = clone->imageSize / clone->widthStep;
        const int rows = sourceRows < cloneRows ? sourceRows : cloneRows;
        const int rowBytes = image->widthStep < clone->widthStep ? image->widthStep : clone->widthStep;
        for (int row = 0; row < rows; ++row)
            std::memcpy(clone->imageData + static_cast<std::ptrdiff_t>(row) * clone->widthStep,
                        image->imageData + static_cast<std::ptrdiff_t>(row) * image->widthStep,
                        static_cast<std::size_t>(rowBytes));
    }
    return clone;
}

ZAN_API void zanSetBorderMode(ZanImage* image, int mode, int border, int constVal)
{
    if (!image)
        return;
    const int value = ownClampToDepth(image->depth, constVal);
    for (int side = 0; side < 4; ++side) {
        if (border & (1 << side)) {
            image->borderMode[side] = mode;
            image->borderConst[side] = value;
        }
    }
}

ZAN_API ZanROI* zanCreateROI(int coi, int xOffset, int yOffset, int width, int height)
{
    ZanROI* roi = static_cast<ZanROI*>(zanMalloc(sizeof(ZanROI)));
    zanSetROI(roi, coi, xOffset, yOffset, width, height);
    return roi;
}

ZAN_API void zanSetROI(ZanROI* roi, int coi, int xOffset, int yOffset, int width, int height)
{
    if (!roi)
        return;
    roi->coi = coi;
    roi->xOffset = xOffset;
    roi->yOffset = yOffset;
    roi->width = width;
    roi->height = height;
}

ZAN_API ZanTileInfo* zanCreateTileInfo(ZanTileCallBack callBack, int id, int width, int height)
{
    ZanTileInfo* tiles = static_cast<ZanTileInfo*>(zanMalloc(sizeof(ZanTileInfo)));
    zanSetTileInfo(tiles, callBack, id, width, height);
    return tiles;
}

ZAN_API void zanSetTileInfo(ZanTileInfo* tileInfo, ZanTileCallBack callBack, int id, int width,
                            int height)
{
    if (!tileInfo)
        return;
    tileInfo->callBack = callBack;
    tileInfo->id = id;
    tileInfo->tileData = nullptr;
    tileInfo->width = width;
    tileInfo->height = height;
}

} // extern "C"
