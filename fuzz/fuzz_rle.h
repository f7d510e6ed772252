// The shared body of the run-length decoder targets: the first two bytes
// give the image's width and height (1 to 64), the rest is the stream, whose
// length bounds the decoder through biSizeImage.
#pragma once

#include "color/own_rle.h"
#include "zan.h"

#include <cstddef>
#include <cstdint>
#include <vector>

inline void fuzzRleDecoder(const uint8_t* data, size_t size, uint16_t bitCount, uint32_t compression)
{
    if (size < 3)
        return;
    zanSetErrMode(ZAN_ErrorModeParent);
    zanRedirectError(zanNulDevReport);
    zanSetErrStatus(ZAN_STATUS_OK);
    BITMAPINFOHEADER header{};
    header.biSize = sizeof(BITMAPINFOHEADER);
    header.biWidth = 1 + data[0] % 64;
    header.biHeight = 1 + data[1] % 64;
    header.biPlanes = 1;
    header.biBitCount = bitCount;
    header.biCompression = compression;
    header.biSizeImage = static_cast<uint32_t>(size - 2);
    // A block of exactly the stream's bytes, so that any read past it is seen.
    const std::vector<uint8_t> stream(data + 2, data + size);
    uint8_t* decoded = ownRLEDecodeSep(&header, stream.data(), "fuzzRleDecoder");
    zanFree(decoded);
}
