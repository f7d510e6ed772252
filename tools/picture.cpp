// Pictures between BMP files and the library's images.
#include "picture.h"

#include "bmp_file.h"

#include <cstring>
#include <utility>

namespace zantool {

namespace {

// The first report since the last clear. The tool is one thread.
std::string g_report;
bool g_reported = false;

int keepFirstReport(ZanStatus status, const char* functionName, const char* context, const char*, int)
{
    if (!g_reported) {
        g_reported = true;
        const bool hasContext = context && *context;
        g_report = std::string(functionName ? functionName : "zan") + ": " +
                   (hasContext ? context : zanErrorStr(status));
    }
    return status;
}

// The header copies four bytes of each name, whatever the text's length:
// names are padded with zeros to four bytes.
void copyName(char (&to)[4], const char* from)
{
    for (size_t i = 0; i < 4 && from[i]; ++i)
        to[i] = from[i];
}

BITMAPINFOHEADER* headerOf(std::vector<uint8_t>& dib)
{
    return reinterpret_cast<BITMAPINFOHEADER*>(dib.data());
}

int defaultBits(const ZanImage* image)
{
    if (image->depth == ZAN_DEPTH_1U)
        return 1;
    return image->nChannels == 1 ? 8 : image->nChannels == 3 ? 24 : 32;
}

bool copyKeptPalette(const std::vector<uint8_t>* from, std::vector<uint8_t>& dib, std::string& error)
{
    const DibFields target = readFields(dib.data());
    if (!from || from->size() < kInfoHeaderBytes || readFields(from->data()).bitCount != target.bitCount) {
        error = "--palette keep needs an input of " + std::to_string(target.bitCount) + " bits with a palette";
        return false;
    }
    DibFields fields = target;
    fields.clrUsed = paletteSlots(readFields(from->data()));
    writeFields(dib.data(), fields);
    std::memcpy(dib.data() + kInfoHeaderBytes, from->data() + kInfoHeaderBytes, 4 * size_t{fields.clrUsed});
    return true;
}

// A DIB of the chosen format, ready for zanConvertToDIB.
bool prepareDib(const ZanImage* image, const WriteOptions& options, std::vector<uint8_t>& dib, int& palette,
                std::string& error)
{
    const int bits = options.bits ? options.bits : defaultBits(image);
    uint32_t compression = kCompressionRGB;
    if (options.rle) {
        if (bits != 4 && bits != 8) {
            error = "run-length encoding needs 4 or 8 bits, not " + std::to_string(bits);
            return false;
        }
        compression = bits == 8 ? kCompressionRLE8 : kCompressionRLE4;
    }
    dib = newDib(image->width, image->height, bits, compression);
    palette = options.palette;
    if (palette == kPaletteByImage)
        palette = image->nChannels == 1 ? ZAN_PALETTE_STANDARD : ZAN_PALETTE_MEDIAN_CUT;
    return bits > 8 || palette != ZAN_PALETTE_KEEP || copyKeptPalette(options.paletteFrom, dib, error);
}

}  // namespace

Image::Image(Image&& other) noexcept
    : image_(std::exchange(other.image_, nullptr)), flags_(other.flags_)
{
}

Image& Image::operator=(Image&& other) noexcept
{
    if (this != &other) {
        if (image_)
            zanDeallocate(image_, flags_);
        image_ = std::exchange(other.image_, nullptr);
        flags_ = other.flags_;
    }
    return *this;
}

Image::~Image()
{
    if (image_)
        zanDeallocate(image_, flags_);
}

void captureLibraryReports()
{
    zanSetErrMode(ZAN_ErrorModeParent);
    zanRedirectError(keepFirstReport);
}

void clearLibraryReport()
{
    zanSetErrStatus(ZAN_STATUS_OK);
    g_reported = false;
    g_report.clear();
}

bool libraryFailed(std::string& message)
{
    const ZanStatus status = zanGetErrStatus();
    if (status >= 0)
        return false;
    message = g_reported ? g_report : std::string(zanErrorStr(status));
    return true;
}

Image newImage(int channels, uint32_t depth, const char* colorModel, const char* channelSeq, int width,
               int height, int origin, std::string& error)
{
    char model[4] = {};
    char sequence[4] = {};
    copyName(model, colorModel);
    copyName(sequence, channelSeq);
    clearLibraryReport();
    Image image(zanCreateImageHeader(channels, 0, depth, model, sequence, ZAN_DATA_ORDER_PIXEL, origin,
                                     ZAN_ALIGN_DWORD, width, height, nullptr, nullptr, nullptr, nullptr));
    if (image)
        zanAllocateImage(image.get(), 1, 0);
    if (!image || libraryFailed(error))
        return Image();
    return image;
}

bool readPicture(const std::string& path, Picture& picture, std::string& error)
{
    std::vector<uint8_t> file;
    if (!readFile(path, file, error))
        return false;
    DibResult read = dibFromBmp(file);
    if (!read.error.empty()) {
        error = read.error;
        return false;
    }
    picture.image = Image();
    picture.dib = std::move(read.dib);
    clearLibraryReport();
    int cloned = 0;
    ZanImage* image = zanTranslateDIB(headerOf(picture.dib), &cloned);
    picture.image = Image(image, cloned ? ZAN_FREE_ALL : ZAN_FREE_ALL & ~ZAN_FREE_DATA);
    if (!libraryFailed(error) && image)
        return true;
    error = "cannot read the pixels: " + (error.empty() ? std::string("zanTranslateDIB made no image") : error);
    picture.image = Image();
    return false;
}

bool sharesDib(const Picture& picture)
{
    const char* data = picture.image->imageData;
    const char* dib = reinterpret_cast<const char*>(picture.dib.data());
    return data >= dib && data < dib + picture.dib.size();
}

bool readAsColour(Picture& picture, std::string& error)
{
    const ZanImage* image = picture.image.get();
    Image colour = newImage(3, ZAN_DEPTH_8U, "RGB", "RGB", image->width, image->height, ZAN_ORIGIN_BOTTOM_LEFT,
                            error);
    if (!colour)
        return false;
    clearLibraryReport();
    zanConvertFromDIB(headerOf(picture.dib), colour.get());
    if (libraryFailed(error))
        return false;
    picture.image = std::move(colour);
    return true;
}

bool makeWorkingImage(Picture& picture, std::string& error)
{
    const ZanImage* image = picture.image.get();
    if (image->nChannels == 1 && image->depth == ZAN_DEPTH_8U)
        return true;
    if (image->depth != ZAN_DEPTH_1U)
        return readAsColour(picture, error);
    Image gray = newImage(1, ZAN_DEPTH_8U, "GRAY", "G", image->width, image->height, image->origin, error);
    if (!gray)
        return false;
    clearLibraryReport();
    zanBitonalToGray(image, gray.get(), 0, 255);
    if (libraryFailed(error))
        return false;
    picture.image = std::move(gray);
    return true;
}

std::string describe(const Written& w)
{
    std::string text = std::to_string(w.width) + "x" + std::to_string(w.height) + ", " + std::to_string(w.bits) +
                       " bits, " + compressionName(w.compression);
    if (w.paletteEntries)
        text += ", " + std::to_string(w.paletteEntries) + " colours";
    return text + ", " + std::to_string(w.fileBytes) + " bytes";
}

bool writePicture(const ZanImage* image, const std::string& path, const WriteOptions& options, Written& written,
                  std::string& error)
{
    std::vector<uint8_t> dib;
    int palette = ZAN_PALETTE_KEEP;
    if (!prepareDib(image, options, dib, palette, error))
        return false;
    clearLibraryReport();
    zanConvertToDIB(image, headerOf(dib), options.dither, palette);
    if (libraryFailed(error))
        return false;
    DibResult file = bmpFromDib(dib);
    if (!file.error.empty()) {
        error = file.error;
        return false;
    }
    if (!writeFile(path, file.dib, error))
        return false;
    const DibFields fields = readFields(dib.data());
    written = {fields.width, fields.height, fields.bitCount, fields.compression,
               fields.bitCount <= 8 ? paletteSlots(fields) : 0, file.dib.size()};
    return true;
}

}  // namespace zantool
