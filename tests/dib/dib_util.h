// DIBs for the tests, laid out here from the published format: the header,
// the palette slots, then rows of whole 32-bit words, in a block of exactly
// that size so that any access beyond it is caught by the sanitizers.
#pragma once

#include "zan.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace dt {

inline int64_t rowBytes(int64_t width, int bits) { return (width * bits + 31) / 32 * 4; }

// Palette slots of a header: entries, and three masks for 16/32-bit fields.
inline int64_t slotsOf(const BITMAPINFOHEADER& h)
{
    if (h.biBitCount <= 8)
        return h.biClrUsed ? h.biClrUsed : int64_t{1} << h.biBitCount;
    return h.biClrUsed + ((h.biCompression == BI_BITFIELDS) ? 3 : 0);
}

inline BITMAPINFOHEADER makeHeader(int width, int height, int bits, uint32_t compression = BI_RGB,
                                   uint32_t clrUsed = 0)
{
    BITMAPINFOHEADER h{};
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<uint16_t>(bits);
    h.biCompression = compression;
    h.biClrUsed = clrUsed;
    return h;
}

// A DIB in one block; pixelBytes defaults to the uncompressed size.
class Dib {
public:
    explicit Dib(const BITMAPINFOHEADER& h, int64_t pixelBytes = -1)
    {
        const int64_t height = h.biHeight < 0 ? -int64_t{h.biHeight} : h.biHeight;
        if (pixelBytes < 0)
            pixelBytes = rowBytes(h.biWidth, h.biBitCount) * height;
        bytes_.resize(40 + 4 * slotsOf(h) + pixelBytes);
        std::memcpy(bytes_.data(), &h, 40);
    }
    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes_.data()); }
    uint8_t* palette() { return bytes_.data() + 40; }
    uint8_t* pixels() { return palette() + 4 * slotsOf(*header()); }
    uint8_t* end() { return bytes_.data() + bytes_.size(); }
    void setEntry(int i, uint8_t b, uint8_t g, uint8_t r)
    {
        uint8_t* e = palette() + 4 * i;
        e[0] = b;
        e[1] = g;
        e[2] = r;
        e[3] = 0;
    }
    void setSlot(int i, uint32_t value) { std::memcpy(palette() + 4 * i, &value, 4); }
    std::vector<uint8_t>& bytes() { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

} // namespace dt
