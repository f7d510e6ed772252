// Readers, adaptors and writers of the DIB conversions, the masks of packed
// DIB pixels and the header checks the conversions share.
#include "own_dib_pixels.h"

#include <bit>
#include <cstring>

namespace {

// ---------------------------------------------------------------------------
// Masks and fields

void setMask(OwnDIBFormat& format, int component, uint32_t mask)
{
    // A mask of 0 has no field: it reads as 0 and takes nothing.
    const int shift = mask ? std::countr_zero(mask) : 0;
    format.mask[component] = mask;
    format.shift[component] = shift;
    format.bits[component] = mask ? std::countr_one(mask >> shift) : 0;
}

uint32_t slot(const uint8_t* palette, int index)
{
    uint32_t value;
    std::memcpy(&value, palette + 4 * index, 4);
    return value;
}

// The alpha mask of 32-bit fields: the bits above the highest of the colour
// fields (green wins a tie with blue, and red loses any tie).
uint32_t derivedAlphaMask(const OwnDIBFormat& format)
{
    int top = ownGreen;
    if (format.shift[ownBlue] > format.shift[top])
        top = ownBlue;
    if (format.shift[ownRed] > format.shift[top])
        top = ownRed;
    const int n = (format.shift[top] + format.bits[top]) % 32;
    return n ? ~uint32_t{0} << n : ~uint32_t{0};
}

uint8_t fieldToByte(const OwnDIBFormat& format, int component, uint32_t word)
{
    const uint32_t field = (word & format.mask[component]) >> format.shift[component];
    const int bits = format.bits[component];
    return static_cast<uint8_t>(bits < 8 ? field << (8 - bits) : field >> (bits - 8));
}

uint32_t byteToField(const OwnDIBFormat& format, int component, uint8_t value)
{
    const int bits = format.bits[component];
    const uint32_t field = bits < 8 ? uint32_t{value} >> (8 - bits) : uint32_t{value} << (bits - 8);
    return (field << format.shift[component]) & format.mask[component];
}

// ---------------------------------------------------------------------------
// DIB readers: a row of the DIB into records

void copyEntry(const OwnDIBFormat& format, unsigned index, uint8_t* record)
{
    // An index past the palette reads as black.
    if (index < format.paletteCount)
        std::memcpy(record, format.palette + 4 * index, 4);
    else
        std::memset(record, 0, 4);
}

void readIndexed1(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x)
        copyEntry(format, (row[x >> 3] >> (7 - (x & 7))) & 1u, records + 4 * x);
}

void readIndexed4(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x) {
        const uint8_t byte = row[x >> 1];
        copyEntry(format, (x & 1) ? byte & 0x0Fu : byte >> 4, records + 4 * x);
    }
}

void readIndexed8(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x)
        copyEntry(format, row[x], records + 4 * x);
}

void readPacked16(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x) {
        const uint32_t word = row[2 * x] | uint32_t{row[2 * x + 1]} << 8;
        uint8_t* record = records + 4 * x;
        record[0] = fieldToByte(format, ownBlue, word);
        record[1] = fieldToByte(format, ownGreen, word);
        record[2] = fieldToByte(format, ownRed, word);
    }
}

void readBytes24(const OwnDIBFormat&, const uint8_t* row, uint8_t* records, int width)
{
    // Whole words but for the last pixel, whose fourth byte may lie past the
    // block; byte 3 of each record stays 0.
    for (int x = 0; x + 1 < width; ++x) {
        uint32_t word;
        std::memcpy(&word, row + 3 * x, 4);
        word &= 0x00FFFFFFu;
        std::memcpy(records + 4 * x, &word, 4);
    }
    std::memcpy(records + 4 * (width - 1), row + 3 * (width - 1), 3);
}

void readPacked32(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x) {
        uint32_t word;
        std::memcpy(&word, row + 4 * x, 4);
        uint8_t* record = records + 4 * x;
        record[0] = fieldToByte(format, ownBlue, word);
        record[1] = fieldToByte(format, ownGreen, word);
        record[2] = fieldToByte(format, ownRed, word);
        record[3] = fieldToByte(format, ownAlpha, word);
    }
}

// ---------------------------------------------------------------------------
// DIB writers: records into a row of the DIB

int nearest(const OwnDIBFormat& format, const uint8_t* record)
{
    return ownNearestIndex(record, format.palette, static_cast<int>(format.paletteCount));
}

void writeIndexed1(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row, int width)
{
    for (int x = 0; x < width; ++x)
        ownSetBit(row, x, nearest(format, records + 4 * x) != 0);
}

void writeIndexed4(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row, int width)
{
    for (int x = 0; x < width; ++x) {
        const unsigned index = static_cast<unsigned>(nearest(format, records + 4 * x)) & 0x0Fu;
        uint8_t& byte = row[x >> 1];
        byte = (x & 1) ? static_cast<uint8_t>((byte & 0xF0u) | index)
                       : static_cast<uint8_t>((byte & 0x0Fu) | index << 4);
    }
}

void writeIndexed8(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row, int width)
{
    for (int x = 0; x < width; ++x)
        row[x] = static_cast<uint8_t>(nearest(format, records + 4 * x));
}

void writePacked16(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row, int width)
{
    for (int x = 0; x < width; ++x) {
        const uint8_t* record = records + 4 * x;
        const uint32_t word = byteToField(format, ownRed, record[2]) |
                              byteToField(format, ownGreen, record[1]) |
                              byteToField(format, ownBlue, record[0]);
        row[2 * x] = static_cast<uint8_t>(word);
        row[2 * x + 1] = static_cast<uint8_t>(word >> 8);
    }
}

void writeBytes24(const OwnDIBFormat&, const uint8_t* records, uint8_t* row, int width)
{
    for (int x = 0; x < width; ++x)
        std::memcpy(row + 3 * x, records + 4 * x, 3);
}

void writePacked32(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row, int width)
{
    // Bytes go to their fields unscaled.
    auto place = [&](int component, uint8_t value) {
        return (uint32_t{value} << format.shift[component]) & format.mask[component];
    };
    for (int x = 0; x < width; ++x) {
        const uint8_t* record = records + 4 * x;
        const uint32_t word = place(ownAlpha, record[3]) | place(ownRed, record[2]) |
                              place(ownGreen, record[1]) | place(ownBlue, record[0]);
        std::memcpy(row + 4 * x, &word, 4);
    }
}

// ---------------------------------------------------------------------------
// Image readers and writers, by channels and sample type

// The high byte of a sample and a byte widened into one.
inline uint8_t toByte(uint8_t v) { return v; }
inline uint8_t toByte(uint16_t v) { return static_cast<uint8_t>(v >> 8); }
template <class T>
inline T fromByte(uint8_t v)
{
    return static_cast<T>(sizeof(T) == 1 ? v : v * 256);
}

// True when the channels of a pixel lie side by side and pixels follow one
// another: the row is one array of samples.
template <class T, int N>
bool packedRow(const OwnView& view)
{
    return view.channelStep == sizeof(T) && view.pixelStep == N * sizeof(T);
}

template <class T, int N>
void readImage(const OwnView& view, int y, uint8_t* records, int width)
{
    if (N > 1 && packedRow<T, N>(view)) {
        const T* row = ownRowAt<const T>(view, y, 0);
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < N; ++c)
                records[4 * x + c] = toByte(row[N * x + c]);
        return;
    }
    const T* rows[N];
    for (int c = 0; c < N; ++c)
        rows[c] = ownRowAt<const T>(view, y, c);
    for (int x = 0; x < width; ++x) {
        uint8_t* record = records + 4 * x;
        if (N == 1) {
            record[0] = record[1] = record[2] = toByte(*ownPixelAt(rows[0], view, x));
            continue;
        }
        for (int c = 0; c < N; ++c)
            record[c] = toByte(*ownPixelAt(rows[c], view, x));
    }
}

void readImageBits(const OwnView& view, int y, uint8_t* records, int width)
{
    const uint8_t* row = ownRowAt<const uint8_t>(view, y, 0);
    for (int x = 0; x < width; ++x) {
        uint8_t* record = records + 4 * x;
        record[0] = record[1] = record[2] = ownGetBit(row, x) ? 255 : 0;
    }
}

template <class T, int N>
void writeImage(const OwnView& view, int y, const uint8_t* records, int width)
{
    if (N > 1 && packedRow<T, N>(view)) {
        T* row = ownRowAt<T>(view, y, 0);
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < N; ++c)
                row[N * x + c] = fromByte<T>(records[4 * x + c]);
        return;
    }
    T* rows[N];
    for (int c = 0; c < N; ++c)
        rows[c] = ownRowAt<T>(view, y, c);
    for (int x = 0; x < width; ++x) {
        const uint8_t* record = records + 4 * x;
        if (N == 1) {
            *ownPixelAt(rows[0], view, x) = fromByte<T>(record[2]);
            continue;
        }
        for (int c = 0; c < N; ++c)
            *ownPixelAt(rows[c], view, x) = fromByte<T>(record[c]);
    }
}

void writeImageBits(const OwnView& view, int y, const uint8_t* records, int width)
{
    uint8_t* row = ownRowAt<uint8_t>(view, y, 0);
    for (int x = 0; x < width; ++x)
        ownSetBit(row, x, records[4 * x + 2] >= 128);
}

template <template <class, int> class Fn, class Ptr>
Ptr bySampleType(int nChannels, uint32_t depth)
{
    const bool wide = depth == ZAN_DEPTH_16U;
    if (depth != ZAN_DEPTH_8U && !wide)
        return nullptr;
    switch (nChannels) {
    case 1: return wide ? &Fn<uint16_t, 1>::run : &Fn<uint8_t, 1>::run;
    case 3: return wide ? &Fn<uint16_t, 3>::run : &Fn<uint8_t, 3>::run;
    case 4: return wide ? &Fn<uint16_t, 4>::run : &Fn<uint8_t, 4>::run;
    default: return nullptr;
    }
}

template <class T, int N>
struct ImageReaderOf {
    static void run(const OwnView& v, int y, uint8_t* r, int w) { readImage<T, N>(v, y, r, w); }
};
template <class T, int N>
struct ImageWriterOf {
    static void run(const OwnView& v, int y, const uint8_t* r, int w) { writeImage<T, N>(v, y, r, w); }
};

// ---------------------------------------------------------------------------
// Adaptors

void keepRecords(uint8_t*, int) {}

void swapRedBlue(uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x)
        std::swap(records[4 * x], records[4 * x + 2]);
}

void grayFromColour(uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x) {
        uint8_t* record = records + 4 * x;
        record[2] = static_cast<uint8_t>((54 * record[2] + 183 * record[1] + 18 * record[0]) / 256);
    }
}

void colourFromGray(uint8_t* records, int width)
{
    for (int x = 0; x < width; ++x) {
        uint8_t* record = records + 4 * x;
        record[0] = record[1] = record[2];
        record[3] = 0;
    }
}

enum class Sequence { gray, bgr, rgb, other };

Sequence sequenceOf(const ZanImage* image)
{
    const std::string_view seq = ownChannelSeq(image);
    if (seq == "G" || seq == "GRAY")
        return Sequence::gray;
    if (seq == "BGR" || seq == "BGRA")
        return Sequence::bgr;
    if (seq == "RGB" || seq == "RGBA")
        return Sequence::rgb;
    return Sequence::other;
}

OwnAdaptor adaptorFor(const ZanImage* image, OwnAdaptor gray)
{
    switch (sequenceOf(image)) {
    case Sequence::gray: return gray;
    case Sequence::bgr: return &keepRecords;
    case Sequence::rgb: return &swapRedBlue;
    default: return nullptr;
    }
}

} // namespace

OwnDIBFormat ownDIBFormat(const BITMAPINFOHEADER* dib, const uint8_t* palette)
{
    OwnDIBFormat format{};
    format.palette = palette;
    format.paletteCount = ownDIBPaletteCount(dib);
    const bool fields = dib->biCompression == BI_BITFIELDS;
    if (dib->biBitCount == 16) {
        const uint32_t low = 0xFFFF;
        setMask(format, ownRed, fields ? slot(palette, 0) & low : 0x7C00);
        setMask(format, ownGreen, fields ? slot(palette, 1) & low : 0x03E0);
        setMask(format, ownBlue, fields ? slot(palette, 2) & low : 0x001F);
    } else if (dib->biBitCount == 32) {
        setMask(format, ownRed, fields ? slot(palette, 0) : 0x00FF0000);
        setMask(format, ownGreen, fields ? slot(palette, 1) : 0x0000FF00);
        setMask(format, ownBlue, fields ? slot(palette, 2) : 0x000000FF);
        setMask(format, ownAlpha, fields ? derivedAlphaMask(format) : 0xFF000000);
    }
    return format;
}

OwnDIBReader ownDIBReader(int bitCount)
{
    switch (bitCount) {
    case 1: return &readIndexed1;
    case 4: return &readIndexed4;
    case 8: return &readIndexed8;
    case 16: return &readPacked16;
    case 24: return &readBytes24;
    case 32: return &readPacked32;
    default: return nullptr;
    }
}

OwnDIBWriter ownDIBWriter(int bitCount)
{
    switch (bitCount) {
    case 1: return &writeIndexed1;
    case 4: return &writeIndexed4;
    case 8: return &writeIndexed8;
    case 16: return &writePacked16;
    case 24: return &writeBytes24;
    case 32: return &writePacked32;
    default: return nullptr;
    }
}

OwnImageReader ownImageReader(int nChannels, uint32_t depth)
{
    if (depth == ZAN_DEPTH_1U)
        return nChannels == 1 ? &readImageBits : nullptr;
    return bySampleType<ImageReaderOf, OwnImageReader>(nChannels, depth);
}

OwnImageWriter ownImageWriter(int nChannels, uint32_t depth)
{
    if (depth == ZAN_DEPTH_1U)
        return nChannels == 1 ? &writeImageBits : nullptr;
    return bySampleType<ImageWriterOf, OwnImageWriter>(nChannels, depth);
}

OwnAdaptor ownAdaptorFromDIB(const ZanImage* image) { return adaptorFor(image, &grayFromColour); }
OwnAdaptor ownAdaptorToDIB(const ZanImage* image) { return adaptorFor(image, &colourFromGray); }

OwnView ownDIBImageView(const ZanImage* image)
{
    const int step = ownRowStep(image->dataOrder, image->depth, image->align, image->nChannels,
                                image->width);
    return ownBlockView(image, image->imageData, step, image->height, 0, 0);
}

OwnDIBRows ownDIBRows(const BITMAPINFOHEADER* dib, const ZanImage* image)
{
    return OwnDIBRows{ownDIBHeight(dib), dib->biHeight > 0, image->height,
                      image->origin == ZAN_ORIGIN_BOTTOM_LEFT};
}

ZanStatus ownDIBFinish(OwnSite site, bool failed)
{
    if (failed && zanGetErrStatus() >= 0)
        OWN_REPORT(site, ZAN_STATUS_INTERNAL, "");
    return zanGetErrStatus() < 0 ? zanGetErrStatus() : ZAN_STATUS_OK;
}

int ownDIBRefusal(OwnSite site, const OwnDIBTest* tests, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (tests[i].failed) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, tests[i].text);
            return tests[i].returned;
        }
    }
    return ZAN_STATUS_OK;
}

const OwnDIBHeaderTexts ownDIBTexts{
    "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && "
    "(dib->biCompression != 3)",
    "(dib->biBitCount != 8) && (dib->biCompression == 1)",
    "(dib->biBitCount != 4) && (dib->biCompression == 2)",
    "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )",
    "(dib->biClrUsed > 0x8000)",
    "( dib->biBitCount==8 && dib->biClrUsed>256 )",
    "( dib->biBitCount==4 && dib->biClrUsed>16 )",
};

const OwnDIBHeaderTexts ownFromSepTexts{
    "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && "
    "( dibHeader->biCompression != 2 ) && ( dibHeader->biCompression != 3 ) )",
    "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)",
    "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)",
    "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == 2) )",
    "(dibHeader->biClrUsed > 0x8000)",
    "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)",
    "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )",
};

const OwnDIBHeaderTexts ownToSepTexts{
    "(dibHeader->biCompression != 0) && (dibHeader->biCompression != 1) && "
    "(dibHeader->biCompression != 2) && (dibHeader->biCompression != 3)",
    "( (dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1) )",
    "( (dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2) )",
    "( (dibHeader->biHeight < 0) && ((dibHeader->biCompression == 1) || (dibHeader->biCompression == 2)) )",
    "(dibHeader->biClrUsed > 0x8000)",
    "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)",
    "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )",
};

bool ownDIBHeaderRefused(OwnSite site, const BITMAPINFOHEADER* dib, const OwnDIBHeaderTexts& texts)
{
    const uint32_t compression = dib->biCompression;
    const bool rle = compression == BI_RLE8 || compression == BI_RLE4;
    const OwnDIBTest tests[] = {
        {compression > BI_BITFIELDS, texts.compression, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biBitCount != 8 && compression == BI_RLE8, texts.rle8Bits, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biBitCount != 4 && compression == BI_RLE4, texts.rle4Bits, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biHeight < 0 && rle, texts.rleHeight, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biClrUsed > 0x8000, texts.clrUsed, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biBitCount == 8 && dib->biClrUsed > 256, texts.clrUsed8, ZAN_STATUS_BAD_ARGUMENT},
        {dib->biBitCount == 4 && dib->biClrUsed > 16, texts.clrUsed4, ZAN_STATUS_BAD_ARGUMENT},
    };
    return ownDIBRefused(site, tests) != ZAN_STATUS_OK;
}
