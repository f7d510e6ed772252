// The BMP file around a DIB. Reading turns a file's bytes into a DIB in one
// block (a 40-byte header, the palette or masks, the pixels) after checking
// every size against the bytes present, so that the library never reads past
// the block; writing puts the 14-byte file header in front of such a block.
// Nothing here looks at pixel values: that is the library's work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zantool {

inline constexpr uint32_t kFileHeaderBytes = 14;
inline constexpr uint32_t kInfoHeaderBytes = 40;
inline constexpr uint32_t kCompressionRGB = 0;
inline constexpr uint32_t kCompressionRLE8 = 1;
inline constexpr uint32_t kCompressionRLE4 = 2;
inline constexpr uint32_t kCompressionBitFields = 3;
// Largest side and pixel count read, so that every size fits the library's
// 32-bit image sizes with four channels.
inline constexpr int64_t kMaxSide = 65536;
inline constexpr int64_t kMaxPixels = int64_t{1} << 26;

// The header fields of a DIB, decoded from their little-endian bytes.
struct DibFields {
    uint32_t size = kInfoHeaderBytes;
    int32_t width = 0;
    int32_t height = 0;
    uint16_t planes = 1;
    uint16_t bitCount = 0;
    uint32_t compression = kCompressionRGB;
    uint32_t sizeImage = 0;
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    uint32_t clrUsed = 0;
    uint32_t clrImportant = 0;
};

DibFields readFields(const uint8_t* header);
void writeFields(uint8_t* header, const DibFields& fields);

// "BI_RGB" and the other names of biCompression's codes.
const char* compressionName(uint32_t compression);
bool isRle(const DibFields& fields);
// 32-bit slots between header and pixels: palette entries, and the three
// masks of BI_BITFIELDS.
uint32_t paletteSlots(const DibFields& fields);
// Bytes of a stored row: whole 32-bit words.
uint64_t dibRowBytes(int64_t width, int bits);
// Bytes of the pixels behind the palette: the RLE stream's biSizeImage, or
// the uncompressed rows.
uint64_t pixelBytes(const DibFields& fields);

// A DIB in one block, or why there is none.
struct DibResult {
    std::vector<uint8_t> dib;
    std::string error;
};

// Checks a BMP file and copies its header, palette or masks and pixels into a
// packed DIB with a 40-byte header. The RLE stream's length goes into
// biSizeImage. Errors are one line: "not a BMP file ...", "truncated BMP file
// ...", "corrupt BMP file ...", "unsupported ...".
DibResult dibFromBmp(std::span<const uint8_t> file);

// A zeroed DIB of the given format: a full palette (biClrUsed 2 to the power
// bits) for 8 bits or fewer, and room for the uncompressed pixels, as the
// library's conversion to a DIB wants it. Bottom-up rows.
std::vector<uint8_t> newDib(int width, int height, int bits, uint32_t compression);

// The file of a DIB block: file header, then the block as far as its header
// reaches. An error if the block is shorter than its header says.
DibResult bmpFromDib(std::span<const uint8_t> dib);

bool readFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& error);
bool writeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& error);

}  // namespace zantool
