// DIBs from images: zanConvertToDIB and its Sep form write the palette,
// dither the image if asked, write the pixels through a reader, an adaptor
// and a writer, and compress RLE DIBs in place.
#include "own_dib_pixels.h"
#include "own_rle.h"

#include "../core/own_memory.h"

#include <algorithm>

namespace {

// How the one-block and the Sep form differ.
struct ToForm {
    OwnSite site;
    const OwnDIBHeaderTexts* texts;
    uint8_t* dibData; // null for a DIB in one block
    bool sep;
};

bool isDither(int dither)
{
    return dither == ZAN_DITHER_NONE || dither == ZAN_DITHER_FS || dither == ZAN_DITHER_JJH ||
           dither == ZAN_DITHER_STUCKEY || dither == ZAN_DITHER_BAYER;
}

// The checks of image, header and arguments in order; the value the Sep form
// returns, 0 when all pass.
int refusal(const ToForm& form, const ZanImage* image, const BITMAPINFOHEADER* dib, int dither,
            int paletteConversion)
{
    const bool sep = form.sep;
    const int64_t height = ownDIBHeight(dib);
    const OwnDIBTest tests[] = {
        {image->nChannels <= 0 || image->nChannels > 4, "(image->nChannels <= 0 || image->nChannels > 4)",
         ZAN_STATUS_CHANNELS},
        {image->depth != ZAN_DEPTH_1U && image->depth != ZAN_DEPTH_8U && image->depth != ZAN_DEPTH_16U,
         "( (image->depth != 1) && (image->depth != 8) && (image->depth != 16) )", ZAN_STATUS_DEPTH},
        {image->alphaChannel != 0 && image->alphaChannel != 4,
         "(image->alphaChannel != 0 && image->alphaChannel != 4)", ZAN_STATUS_ALPHA},
        {image->alphaChannel == 0 && image->nChannels != 3 && image->nChannels != 1,
         "(image->nChannels != 3 && image->nChannels != 1)", ZAN_STATUS_CHANNELS},
        {image->alphaChannel != 0 && image->nChannels != 4, "(image->nChannels != 4)", ZAN_STATUS_CHANNELS},
        {image->width != dib->biWidth || image->height != height,
         sep ? "( image->width != dibHeader->biWidth || image->height != abs_biHeight )"
             : "(image->width != dib->biWidth || image->height != abs_biHeight)",
         ZAN_STATUS_IMAGE_SIZE},
        {dib->biSize != sizeof(BITMAPINFOHEADER),
         sep ? "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))" : "(dib->biSize != sizeof(BITMAPINFOHEADER))",
         ZAN_STATUS_BAD_ARGUMENT},
        {dib->biPlanes != 1, sep ? "(dibHeader->biPlanes != 1)" : "(dib->biPlanes != 1)",
         ZAN_STATUS_BAD_ARGUMENT},
    };
    if (const int returned = ownDIBRefused(form.site, tests))
        return returned;
    if (ownDIBHeaderRefused(form.site, dib, *form.texts))
        return ZAN_STATUS_BAD_ARGUMENT;
    const OwnDIBTest argumentTests[] = {
        {!isDither(dither),
         sep ? "( dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16 )"
             : "(dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16)",
         ZAN_STATUS_BAD_ARGUMENT},
        {paletteConversion < ZAN_PALETTE_KEEP || paletteConversion > ZAN_PALETTE_MEDIAN_CUT,
         sep ? "( paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )"
             : "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)",
         ZAN_STATUS_BAD_ARGUMENT},
    };
    return ownDIBRefused(form.site, argumentTests);
}

// Writes the palette that paletteConversion asks for; false after a report.
bool writePalette(OwnSite site, BITMAPINFOHEADER* dib, const ZanImage* image, int paletteConversion)
{
    if (dib->biBitCount >= 16)
        return true;
    if (paletteConversion == ZAN_PALETTE_STANDARD)
        ownStandardPalette(dib, image->nChannels == 1);
    if (paletteConversion == ZAN_PALETTE_MEDIAN_CUT && !ownMedianCutPalette(dib, image)) {
        OWN_REPORT(site, ZAN_STATUS_INTERNAL, "Error of creating medcut palette");
        return false;
    }
    return true;
}

bool isBitCount(int bits)
{
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

// The image reduced by zanReduceBits to the levels of the DIB's bit count,
// or an empty owner and the returned value after a report.
OwnImageOwner dithered(const ToForm& form, const ZanImage* image, const BITMAPINFOHEADER* dib,
                       int dither, int& returned)
{
    const OwnSite site = form.site;
    const int bits = dib->biBitCount;
    if (!isBitCount(bits)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Parameter biBitCount of DIB-image have illegal value");
        returned = ZAN_STATUS_BAD_ARGUMENT;
        return {};
    }
    OwnImageOwner temp(zanCreateImageHeader(image->nChannels, image->alphaChannel,
                                            bits == 1 ? ZAN_DEPTH_1U : ZAN_DEPTH_8U, image->colorModel,
                                            image->channelSeq, image->dataOrder, image->origin,
                                            image->align, image->width, image->height, nullptr,
                                            nullptr, nullptr, nullptr),
                       ZAN_FREE_ALL);
    if (!temp) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate header for temporal image");
        returned = ZAN_STATUS_NO_MEMORY;
        return {};
    }
    zanAllocateImage(temp.get(), 0, 0);
    const int levels = bits == 1 ? 1 : bits == 4 ? 4 : 8;
    zanReduceBits(image, temp.get(), 0, dither, levels);
    if (zanGetErrStatus() != ZAN_STATUS_OK) {
        OWN_REPORT(site, ZAN_STATUS_INTERNAL, "Dithering can't be produced");
        returned = zanGetErrStatus();
        return {};
    }
    return temp;
}

// Reader, adaptor and writer over all rows of the image.
bool writePixels(const ToForm& form, const ZanImage* source, BITMAPINFOHEADER* dib)
{
    const OwnSite site = form.site;
    const OwnImageReader reader = ownImageReader(source->nChannels, source->depth);
    if (!reader) {
        OWN_REPORT(site, ZAN_STATUS_CHANNELS, "image->nChannels is bad");
        return false;
    }
    const OwnAdaptor adaptor = ownAdaptorToDIB(source);
    if (!adaptor) {
        OWN_REPORT(site, ZAN_STATUS_MODEL_OR_SEQ, "image->channelSeq unsupport");
        return false;
    }
    const OwnDIBWriter writer = ownDIBWriter(dib->biBitCount);
    if (!writer) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   form.sep ? "dibHeader->biBitCount is bad" : "dib->biBitCount is bad");
        return false;
    }
    OwnBuffer<uint8_t> records(4 * static_cast<std::size_t>(source->width));
    if (!records.ok())
        return false;
    std::fill_n(records.data(), records.size(), uint8_t{0});
    const OwnDIBFormat format = ownDIBFormat(dib, ownDIBPalette(dib));
    uint8_t* pixels = form.dibData ? form.dibData : ownDIBBits(dib);
    const int64_t dstStep = ownDIBRowBytes(dib->biWidth, dib->biBitCount, 4);
    const OwnView view = ownDIBImageView(source);
    const OwnDIBRows rows = ownDIBRows(dib, source);
    for (int j = 0; j < source->height; ++j) {
        reader(view, rows.imageRow(j), records.data(), source->width);
        adaptor(records.data(), source->width);
        writer(format, records.data(), pixels + rows.dibRow(j) * dstStep, source->width);
    }
    return true;
}

ZanStatus convertToDIB(const ToForm& form, const ZanImage* image, BITMAPINFOHEADER* dib,
                       int dither, int paletteConversion)
{
    const OwnSite site = form.site;
    if (const int returned = refusal(form, image, dib, dither, paletteConversion))
        return returned;
    if (!writePalette(site, dib, image, paletteConversion))
        return ownDIBFinish(site, true);
    OwnImageOwner reduced;
    if (dither != ZAN_DITHER_NONE) {
        int returned = ZAN_STATUS_OK;
        reduced = dithered(form, image, dib, dither, returned);
        if (!reduced)
            return form.sep && returned ? returned : ownDIBFinish(site, true);
    }
    if (!writePixels(form, reduced ? reduced.get() : image, dib))
        return ownDIBFinish(site, true);
    reduced = OwnImageOwner();
    if (dib->biCompression == BI_RLE8 || dib->biCompression == BI_RLE4) {
        if (!form.sep)
            ownRLEEncode(dib, site.function);
        else if (const int encoded = ownRLEEncodeSep(dib, form.dibData, site.function))
            return encoded;
    }
    return ownDIBFinish(site, false);
}

// zanCheckImageHeader, then an image that holds its pixels.
int imageRefusal(OwnSite site, const ZanImage* image)
{
    if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return ZAN_STATUS_BAD_ARGUMENT;
    }
    // The pixels are read directly: tiles have no place here.
    if (!image->imageData) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "( image->imageData == 0 )");
        return ZAN_STATUS_DATA_OR_TILE;
    }
    return ZAN_STATUS_OK;
}

} // namespace

extern "C" {

ZAN_API void zanConvertToDIB(const ZanImage* image, BITMAPINFOHEADER* dib, int32_t dither,
                             int32_t paletteConversion)
{
    const ToForm form{{"zanConvertToDIB", ownDIBSource}, &ownDIBTexts, nullptr, false};
    if (imageRefusal(form.site, image))
        return;
    const OwnTest nullTests[] = {{dib == nullptr, "dib==0"}};
    if (!ownRefused(form.site, nullTests))
        convertToDIB(form, image, dib, dither, paletteConversion);
}

ZAN_API ZanStatus zanConvertToDIBSep(const ZanImage* image, BITMAPINFOHEADER* dibHeader,
                                     uint8_t* dibData, int32_t dither, int32_t paletteConversion)
{
    const ToForm form{{"zanConvertToDIBSep", ownDIBSepSource}, &ownToSepTexts, dibData, true};
    if (const int returned = imageRefusal(form.site, image))
        return returned;
    const OwnDIBTest nullTests[] = {
        {dibHeader == nullptr, "( 0 == dibHeader )", ZAN_STATUS_BAD_ARGUMENT},
        {dibData == nullptr, "( 0 == dibData )", ZAN_STATUS_BAD_ARGUMENT},
    };
    if (const int returned = ownDIBRefused(form.site, nullTests))
        return returned;
    return convertToDIB(form, image, dibHeader, dither, paletteConversion);
}

} // extern "C"
