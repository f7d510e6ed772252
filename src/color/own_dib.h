// Private pieces of the DIB interchange: the layout facts of a DIB in memory
// and the palettes that the conversion to a DIB writes.
#pragma once

#include "own_color.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

// An image's channel sequence as text: up to four characters, ending at
// the first zero.
inline std::string_view ownChannelSeq(const ZanImage* image)
{
    const char* seq = image->channelSeq;
    return std::string_view(seq, static_cast<std::size_t>(std::find(seq, seq + 4, '\0') - seq));
}

// Number of 32-bit slots between the header and the pixels: palette entries,
// and the three masks of BI_BITFIELDS at 16 and 32 bits.
int64_t ownDIBPaletteCount(const BITMAPINFOHEADER* dib);

// Bytes of a row of width pixels of bits bits, rounded up to whole units of
// align bytes.
int64_t ownDIBRowBytes(int64_t width, int64_t bits, int align);

// The palette of a DIB, biSize bytes behind the header's start.
inline uint8_t* ownDIBPalette(BITMAPINFOHEADER* dib)
{
    return reinterpret_cast<uint8_t*>(dib) + dib->biSize;
}
inline const uint8_t* ownDIBPalette(const BITMAPINFOHEADER* dib)
{
    return reinterpret_cast<const uint8_t*>(dib) + dib->biSize;
}

// The pixels of a DIB in one block, behind header and palette.
inline uint8_t* ownDIBBits(BITMAPINFOHEADER* dib)
{
    return ownDIBPalette(dib) + 4 * ownDIBPaletteCount(dib);
}
inline const uint8_t* ownDIBBits(const BITMAPINFOHEADER* dib)
{
    return ownDIBPalette(dib) + 4 * ownDIBPaletteCount(dib);
}

// True when the palette is the gray ramp i * 255 / (count - 1).
bool ownIsGrayPalette(const BITMAPINFOHEADER* dib);

// Writes the standard palette of 2, 16 or 256 entries that fits
// ownDIBPaletteCount, the gray form of 16 or 256 when gray is not 0. Returns
// 1, or 0 for any other count, which writes nothing.
int ownStandardPalette(BITMAPINFOHEADER* dib, int gray);

// Fits a palette of 2 to the power biBitCount entries (no more than the
// palette's room, ownDIBPaletteCount) to the image by median cut and sets
// biClrUsed. Returns 1, or 0 on failure without a report.
int ownMedianCutPalette(BITMAPINFOHEADER* dib, const ZanImage* image);

// The entry of count palette entries nearest to the colour (blue, green, red
// in bytes 0 to 2), the lowest index of equal distances.
int ownNearestIndex(const uint8_t* colour, const uint8_t* palette, int count);
