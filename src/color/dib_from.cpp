// Images from DIBs: zanConvertFromDIB and its Sep form fill an image through
// a reader, an adaptor and a writer; zanTranslateDIB makes a new image that
// shares the DIB's pixels where the layouts allow it.
#include "own_dib_pixels.h"
#include "own_rle.h"

#include "../core/own_memory.h"

#include <algorithm>
#include <climits>
#include <memory>

namespace {

// A block of the library's allocator, freed on every exit.
struct ZanFreeDeleter {
    void operator()(uint8_t* block) const { zanFree(block); }
};
using DecodedBlock = std::unique_ptr<uint8_t, ZanFreeDeleter>;

// How the one-block and the Sep form differ.
struct FromForm {
    OwnSite site;
    const OwnDIBHeaderTexts* texts;
    const uint8_t* dibData; // null for a DIB in one block
    bool sep;
};

// The checks of the image and the header, in order; the value the Sep form
// returns, 0 when all pass.
int refusal(const FromForm& form, const BITMAPINFOHEADER* dib, const ZanImage* image)
{
    const OwnDIBTest imageTests[] = {
        {image->alphaChannel < 0, "( image->alphaChannel < 0 )", ZAN_STATUS_ALPHA},
        {image->nChannels < image->alphaChannel, "( image->nChannels < image->alphaChannel )", ZAN_STATUS_ALPHA},
        {image->dataOrder != 0 && image->dataOrder != 1,
         "( (image->dataOrder != 0) && (image->dataOrder != 1) )", ZAN_STATUS_ORDER},
        {image->origin != 0 && image->origin != 1, "( (image->origin != 0) && (image->origin != 1) )",
         ZAN_STATUS_ORIGIN},
        {!ownIsAlign(image->align),
         "( (image->align != 4) && (image->align != 8) && (image->align != 16) && (image->align != 32) )",
         ZAN_STATUS_ALIGN},
        {image->height <= 0, "(image->height <= 0)", ZAN_STATUS_IMAGE_SIZE},
        {image->width <= 0, "(image->width <= 0)", ZAN_STATUS_IMAGE_SIZE},
        {image->imageSize <= 0, "(image->imageSize <= 0)", ZAN_STATUS_IMAGE_SIZE},
        {image->widthStep <= 0, "(image->widthStep <= 0)", ZAN_STATUS_WIDTH_STEP},
        // The pixels are written directly: tiles have no place here.
        {image->tileInfo != nullptr, "( image->tileInfo != 0 )", ZAN_STATUS_DATA_OR_TILE},
        {dib->biSize != sizeof(BITMAPINFOHEADER),
         form.sep ? "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))"
                  : "(dib->biSize != sizeof(BITMAPINFOHEADER))",
         ZAN_STATUS_BAD_ARGUMENT},
        {dib->biPlanes != 1, form.sep ? "(dibHeader->biPlanes != 1)" : "(dib->biPlanes != 1)",
         ZAN_STATUS_BAD_ARGUMENT},
    };
    if (const int returned = ownDIBRefused(form.site, imageTests))
        return returned;
    return ownDIBHeaderRefused(form.site, dib, *form.texts) ? ZAN_STATUS_BAD_ARGUMENT : 0;
}

// The three steps of the conversion run over the rows that DIB and image
// have in common.
struct FromPipeline {
    OwnDIBReader reader;
    OwnAdaptor adaptor;
    OwnImageWriter writer;

    bool run(const BITMAPINFOHEADER* dib, const uint8_t* pixels, ZanImage* image) const
    {
        const OwnDIBFormat format = ownDIBFormat(dib, ownDIBPalette(dib));
        const OwnView view = ownDIBImageView(image);
        const OwnDIBRows rows = ownDIBRows(dib, image);
        const int64_t srcStep = ownDIBRowBytes(dib->biWidth, dib->biBitCount, 4);
        const int width = static_cast<int>(std::min<int64_t>(image->width, dib->biWidth));
        const int height = static_cast<int>(std::min<int64_t>(image->height, rows.dibHeight));
        if (width <= 0)
            return true;
        OwnBuffer<uint8_t> records(4 * static_cast<std::size_t>(width));
        if (!records.ok())
            return false;
        std::fill_n(records.data(), records.size(), uint8_t{0});
        for (int j = 0; j < height; ++j) {
            reader(format, pixels + rows.dibRow(j) * srcStep, records.data(), width);
            adaptor(records.data(), width);
            writer(view, rows.imageRow(j), records.data(), width);
        }
        return true;
    }
};

ZanStatus convertFromDIB(const FromForm& form, const BITMAPINFOHEADER* dib, ZanImage* image)
{
    const OwnSite site = form.site;
    if (const int returned = refusal(form, dib, image))
        return returned;
    if (image->width < dib->biWidth || image->height < ownDIBHeight(dib)) {
        OWN_REPORT(site, ZAN_STATUS_IMAGE_SIZE, "Image size is too small");
        return zanGetErrStatus();
    }
    const FromPipeline pipeline{ownDIBReader(dib->biBitCount), ownAdaptorFromDIB(image),
                                ownImageWriter(image->nChannels, image->depth)};
    if (!pipeline.adaptor) {
        OWN_REPORT(site, ZAN_STATUS_MODEL_OR_SEQ, "image->channelSeq unsupport");
        return zanGetErrStatus();
    }
    if (!pipeline.reader || !pipeline.writer)
        return ownDIBFinish(site, true);
    if (!image->imageData) {
        zanAllocateImage(image, 0, 0);
        if (!image->imageData) {
            OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate data for destination image");
            return zanGetErrStatus();
        }
    }
    const uint8_t* pixels = form.dibData ? form.dibData : ownDIBBits(dib);
    DecodedBlock decoded;
    if (dib->biCompression == BI_RLE8 || dib->biCompression == BI_RLE4) {
        uint8_t* block = form.dibData ? ownRLEDecodeSep(dib, form.dibData, site.function)
                                       : ownRLEDecode(dib, site.function);
        if (!block) {
            if (!form.sep || zanGetErrStatus() >= 0)
                OWN_REPORT(site, ZAN_STATUS_INTERNAL, "Impossible to decompress RLE DIB");
            return zanGetErrStatus();
        }
        decoded.reset(block);
        pixels = block;
    }
    return ownDIBFinish(site, !pipeline.run(dib, pixels, image));
}

// ---------------------------------------------------------------------------
// zanTranslateDIB

// The image that a DIB translates to.
struct Translation {
    int nChannels;
    int alphaChannel;
    uint32_t depth;
    const char* colorModel;
    const char* channelSeq;
    bool clone;
};

Translation translationOf(const BITMAPINFOHEADER* dib)
{
    const Translation gray1{1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0", false};
    const Translation gray8{1, 0, ZAN_DEPTH_8U, "GRAY", "G\0\0", true};
    const Translation colour{3, 0, ZAN_DEPTH_8U, "RGB", "BGR", true};
    const Translation withAlpha{4, 4, ZAN_DEPTH_8U, "RGBA", "BGRA", true};
    switch (dib->biBitCount) {
    case 1: return ownIsGrayPalette(dib) ? gray1 : colour;
    case 4: return ownIsGrayPalette(dib) ? gray8 : colour;
    case 8: {
        if (!ownIsGrayPalette(dib))
            return colour;
        Translation shared = gray8;
        shared.clone = dib->biCompression == BI_RLE8;
        return shared;
    }
    case 24: {
        Translation shared = colour;
        shared.clone = false;
        return shared;
    }
    case 32: {
        Translation shared = withAlpha;
        shared.clone = dib->biCompression == BI_BITFIELDS;
        return shared;
    }
    default: return colour;
    }
}

// Points the image at the DIB's own pixels; false when their size doesn't
// fit the image record.
bool sharePixels(ZanImage* image, BITMAPINFOHEADER* dib)
{
    const int64_t step = ownDIBRowBytes(dib->biWidth, dib->biBitCount, 4);
    const int64_t size = step * image->height;
    if (step > INT_MAX || size > INT_MAX)
        return false;
    image->widthStep = static_cast<int>(step);
    image->imageSize = static_cast<int>(size);
    image->imageData = reinterpret_cast<char*>(ownDIBBits(dib));
    image->imageDataOrigin = nullptr;
    return true;
}

} // namespace

extern "C" {

ZAN_API ZanImage* zanTranslateDIB(BITMAPINFOHEADER* dib, int* cloneData)
{
    const OwnSite site{"zanTranslateDIB", ownDIBSource};
    const OwnTest nullTests[] = {
        {dib == nullptr, "( dib == 0 )"},
        {cloneData == nullptr, "( cloneData == 0 )"},
    };
    if (ownRefused(site, nullTests))
        return nullptr;
    const int bits = dib->biBitCount;
    const OwnTest tests[] = {
        {dib->biSize != sizeof(BITMAPINFOHEADER), "( dib->biSize != sizeof(BITMAPINFOHEADER) )"},
        {dib->biPlanes != 1, "(dib->biPlanes != 1)"},
    };
    if (ownRefused(site, tests) || ownDIBHeaderRefused(site, dib, ownDIBTexts))
        return nullptr;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "dib->biBitCount is bad");
        return nullptr;
    }
    const Translation t = translationOf(dib);
    OwnImageOwner image(
        zanCreateImageHeader(t.nChannels, t.alphaChannel, t.depth, t.colorModel, t.channelSeq,
                             t.clone ? ZAN_DATA_ORDER_PLANE : ZAN_DATA_ORDER_PIXEL,
                             dib->biHeight < 0 ? ZAN_ORIGIN_TOP_LEFT : ZAN_ORIGIN_BOTTOM_LEFT,
                             t.clone ? 32 : 4, dib->biWidth, static_cast<int>(ownDIBHeight(dib)),
                             nullptr, nullptr, nullptr, nullptr),
        ZAN_FREE_HEADER);
    if (!image) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate header for destination image");
        return nullptr;
    }
    if (!t.clone) {
        if (!sharePixels(image.get(), dib)) {
            OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate header for destination image");
            return nullptr;
        }
        *cloneData = 0;
        return image.release();
    }
    zanAllocateImage(image.get(), 0, 0);
    if (!image->imageData) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate data for destination image");
        return nullptr;
    }
    *cloneData = 1;
    zanConvertFromDIB(dib, image.get());
    return image.release();
}

ZAN_API void zanConvertFromDIB(const BITMAPINFOHEADER* dib, ZanImage* image)
{
    const FromForm form{{"zanConvertFromDIB", ownDIBSource}, &ownDIBTexts, nullptr, false};
    const OwnTest nullTests[] = {{dib == nullptr, "dib==0"}, {image == nullptr, "image==0"}};
    bool refused = false;
    for (const OwnTest& test : nullTests)
        if (test.failed) {
            OWN_REPORT(form.site, ZAN_STATUS_BAD_ARGUMENT, test.text);
            refused = true;
        }
    if (!refused)
        convertFromDIB(form, dib, image);
}

ZAN_API ZanStatus zanConvertFromDIBSep(const BITMAPINFOHEADER* dibHeader, const uint8_t* dibData,
                                       ZanImage* image)
{
    const FromForm form{{"zanConvertFromDIBSep", ownDIBSepSource}, &ownFromSepTexts, dibData, true};
    const OwnDIBTest nullTests[] = {
        {dibHeader == nullptr, "( 0 == dibHeader )", ZAN_STATUS_BAD_ARGUMENT},
        {dibData == nullptr, "( 0 == dibData )", ZAN_STATUS_BAD_ARGUMENT},
        {image == nullptr, "( 0 == image )", ZAN_STATUS_NULL_HEADER},
    };
    if (const int returned = ownDIBRefused(form.site, nullTests))
        return returned;
    return convertFromDIB(form, dibHeader, image);
}

} // extern "C"
