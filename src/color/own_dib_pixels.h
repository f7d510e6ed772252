// The three steps of a DIB conversion, chosen once for a call and run row by
// row: a reader fills a row of pixel records, an adaptor changes them in
// place, a writer stores them. A record is four bytes: blue, green, red,
// alpha.
#pragma once

#include "own_dib.h"

#include <cstdint>

// What a conversion knows of a DIB's pixels: its palette and, for packed
// formats, mask, shift and bit count of red, green, blue and alpha.
struct OwnDIBFormat {
    const uint8_t* palette;
    int64_t paletteCount;
    uint32_t mask[4];
    int shift[4];
    int bits[4];
};

enum OwnComponent { ownRed = 0, ownGreen = 1, ownBlue = 2, ownAlpha = 3 };

// The palette and the masks of a DIB whose palette lies at palette.
OwnDIBFormat ownDIBFormat(const BITMAPINFOHEADER* dib, const uint8_t* palette);

using OwnDIBReader = void (*)(const OwnDIBFormat& format, const uint8_t* row, uint8_t* records,
                              int width);
using OwnDIBWriter = void (*)(const OwnDIBFormat& format, const uint8_t* records, uint8_t* row,
                              int width);
using OwnImageReader = void (*)(const OwnView& view, int y, uint8_t* records, int width);
using OwnImageWriter = void (*)(const OwnView& view, int y, const uint8_t* records, int width);
using OwnAdaptor = void (*)(uint8_t* records, int width);

// Null where the bit count or the image's channels and depth have none.
OwnDIBReader ownDIBReader(int bitCount);
OwnDIBWriter ownDIBWriter(int bitCount);
OwnImageReader ownImageReader(int nChannels, uint32_t depth);
OwnImageWriter ownImageWriter(int nChannels, uint32_t depth);

// By the image's channel sequence; null for a sequence other than G, GRAY,
// BGR, BGRA, RGB, RGBA. The one from a DIB makes gray of the colour, the one
// to a DIB spreads gray over the three colours.
OwnAdaptor ownAdaptorFromDIB(const ZanImage* image);
OwnAdaptor ownAdaptorToDIB(const ZanImage* image);

// The view of a whole image with the row step that the DIB conversions
// reckon for it.
OwnView ownDIBImageView(const ZanImage* image);

// Rows of a DIB and of an image walked together from the top of the picture:
// row j of the walk in the image and in the DIB's stored rows.
struct OwnDIBRows {
    int64_t dibHeight;
    bool dibBottomUp;
    int imageHeight;
    bool imageBottomUp;
    int64_t dibRow(int64_t j) const { return dibBottomUp ? dibHeight - 1 - j : j; }
    int imageRow(int j) const { return imageBottomUp ? imageHeight - 1 - j : j; }
};
OwnDIBRows ownDIBRows(const BITMAPINFOHEADER* dib, const ZanImage* image);

// |biHeight| without overflow.
inline int64_t ownDIBHeight(const BITMAPINFOHEADER* dib)
{
    return dib->biHeight < 0 ? -int64_t{dib->biHeight} : dib->biHeight;
}

// The source names of the one-block and the Sep conversions in reports.
inline constexpr const char* ownDIBSource = "zandib";
inline constexpr const char* ownDIBSepSource = "zandibsp";

// Ends a conversion: one that failed with no fault standing reports status -3
// with no text. Returns the thread's status if it is negative, else 0.
ZanStatus ownDIBFinish(OwnSite site, bool failed);

// One test of a DIB conversion's checks: its text, and the value that the
// Sep forms return when it fails (status -5 is reported in every case).
struct OwnDIBTest {
    bool failed;
    const char* text;
    int returned;
};

// Reports the first failed test with status -5 and returns its value, 0 when
// none failed.
int ownDIBRefusal(OwnSite site, const OwnDIBTest* tests, std::size_t count);

template <std::size_t N>
int ownDIBRefused(OwnSite site, const OwnDIBTest (&tests)[N])
{
    return ownDIBRefusal(site, tests, N);
}

// The texts of the header checks that the operations share, which differ in
// spelling from one operation to another.
struct OwnDIBHeaderTexts {
    const char* compression;
    const char* rle8Bits;
    const char* rle4Bits;
    const char* rleHeight;
    const char* clrUsed;
    const char* clrUsed8;
    const char* clrUsed4;
};

extern const OwnDIBHeaderTexts ownDIBTexts;       // zanTranslateDIB, zanConvertFromDIB, zanConvertToDIB
extern const OwnDIBHeaderTexts ownFromSepTexts;   // zanConvertFromDIBSep
extern const OwnDIBHeaderTexts ownToSepTexts;     // zanConvertToDIBSep

// Reports the first of the compression and palette-size checks of a header
// that fails; true when one failed.
bool ownDIBHeaderRefused(OwnSite site, const BITMAPINFOHEADER* dib, const OwnDIBHeaderTexts& texts);
