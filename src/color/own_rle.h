// The BI_RLE8 and BI_RLE4 streams of a DIB: decoding into packed rows and
// encoding in place.
#pragma once

#include "../core/own_core.h"

#include <cstddef>
#include <cstdint>

// Row step of the decoded block: packed rows of whole 32-bit words.
int64_t ownRLERowStep(const BITMAPINFOHEADER* dib);

// Decodes the stream of a DIB in one block, behind its palette, into a new
// block of |biHeight| rows of ownRLERowStep bytes in stored order, which the
// caller frees with zanFree. Null after a report under site's function. A
// biSizeImage that is not 0 bounds the stream.
uint8_t* ownRLEDecode(const BITMAPINFOHEADER* dib, OwnSite site);
uint8_t* ownRLEDecodeSep(const BITMAPINFOHEADER* dibHeader, const uint8_t* dibData, OwnSite site);

// Compresses the packed pixels of the DIB in place when the stream is the
// smaller, setting biSizeImage; else sets biCompression to BI_RGB and keeps
// the pixels. ownRLEEncode returns 1, or 0 after a report; ownRLEEncodeSep 0,
// or -4 after a report.
int ownRLEEncode(BITMAPINFOHEADER* dib, OwnSite site);
int ownRLEEncodeSep(BITMAPINFOHEADER* dibHeader, uint8_t* dibData, OwnSite site);
