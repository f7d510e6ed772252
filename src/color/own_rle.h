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
// caller frees with zanFree. Null after a report under the calling
// conversion's name, function. A biSizeImage that is not 0 bounds the stream.
uint8_t* ownRLEDecode(const BITMAPINFOHEADER* dib, const char* function);
uint8_t* ownRLEDecodeSep(const BITMAPINFOHEADER* dibHeader, const uint8_t* dibData, const char* function);

// Compresses the packed pixels of the DIB in place when the stream is the
// smaller, setting biSizeImage; else sets biCompression to BI_RGB and keeps
// the pixels. ownRLEEncode returns 1, or 0 after a report; ownRLEEncodeSep 0,
// or -4 after a report.
int ownRLEEncode(BITMAPINFOHEADER* dib, const char* function);
int ownRLEEncodeSep(BITMAPINFOHEADER* dibHeader, uint8_t* dibData, const char* function);

// Writes the commands of one row of width pixels, end of row included, at
// out; returns the end of what was written (at most 2 * width + 4 bytes).
uint8_t* ownRLE8Row(const uint8_t* row, int width, uint8_t* out);
uint8_t* ownRLE4Row(const uint8_t* row, int width, uint8_t* out);
