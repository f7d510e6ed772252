// Reading and writing the BMP file around a DIB, with every size checked.
#include "bmp_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace zantool {

namespace {

uint16_t load16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

uint32_t load32(const uint8_t* p)
{
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

void store16(uint8_t* p, uint16_t value)
{
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}

void store32(uint8_t* p, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(value >> (8 * i));
}

std::string str(uint64_t value)
{
    return std::to_string(value);
}

bool knownBitCount(int bits)
{
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

bool knownHeaderSize(uint32_t size)
{
    return size == 40 || size == 52 || size == 56 || size == 108 || size == 124;
}

// Why the header's format can't be read, or "".
std::string formatError(const DibFields& f)
{
    if (f.planes != 1)
        return "corrupt BMP file: " + str(f.planes) + " planes, not 1";
    if (!knownBitCount(f.bitCount))
        return "unsupported bit count " + str(f.bitCount) + " (1, 4, 8, 16, 24 and 32 are read)";
    if (f.compression > kCompressionBitFields)
        return "unsupported compression " + str(f.compression) + " (" + compressionName(f.compression) + ")";
    if ((f.compression == kCompressionRLE8 && f.bitCount != 8) ||
        (f.compression == kCompressionRLE4 && f.bitCount != 4) ||
        (f.compression == kCompressionBitFields && f.bitCount != 16 && f.bitCount != 32))
        return std::string("corrupt BMP file: ") + compressionName(f.compression) + " with " + str(f.bitCount) +
               " bits";
    if (f.width <= 0)
        return "corrupt BMP file: width " + std::to_string(f.width);
    if (f.height == 0)
        return "corrupt BMP file: height 0";
    if (isRle(f) && f.height < 0)
        return "corrupt BMP file: a run-length encoded image must be stored bottom-up";
    const int64_t height = std::llabs(int64_t{f.height});
    if (f.width > kMaxSide || height > kMaxSide || f.width * height > kMaxPixels)
        return "unsupported size " + std::to_string(f.width) + "x" + str(height) + " (at most " + str(kMaxSide) +
               " a side and " + str(kMaxPixels) + " pixels)";
    if (f.bitCount <= 8 && f.clrUsed > (1u << f.bitCount))
        return "corrupt BMP file: " + str(f.clrUsed) + " palette entries for " + str(f.bitCount) + " bits";
    return "";
}

// Where the parts of a checked file lie.
struct Layout {
    DibFields fields;
    uint64_t masksAt = 0;
    uint64_t paletteAt = 0;
    uint32_t paletteEntries = 0;
    uint64_t pixelsAt = 0;
    uint64_t pixelBytes = 0;
};

// Finds the palette, masks and pixels of a file whose header format is sound.
std::string locateParts(std::span<const uint8_t> file, Layout& layout)
{
    const DibFields& f = layout.fields;
    const uint64_t size = file.size();
    const bool bitFields = f.compression == kCompressionBitFields;
    // BITMAPINFOHEADER keeps the masks behind it, the later headers in their
    // own fields at the same place.
    layout.masksAt = kFileHeaderBytes + kInfoHeaderBytes;
    const uint64_t masksAfterHeader = bitFields && f.size == kInfoHeaderBytes ? 12 : 0;
    layout.paletteAt = kFileHeaderBytes + f.size + masksAfterHeader;
    layout.paletteEntries = f.bitCount <= 8 ? (f.clrUsed ? f.clrUsed : 1u << f.bitCount) : 0;
    const uint64_t paletteEnd = layout.paletteAt + 4 * uint64_t{layout.paletteEntries};
    layout.pixelsAt = load32(file.data() + 10);
    if (paletteEnd > size)
        return "truncated BMP file: the palette ends at byte " + str(paletteEnd) + ", the file has " + str(size);
    if (layout.pixelsAt < paletteEnd)
        return "corrupt BMP file: the pixels start at byte " + str(layout.pixelsAt) +
               ", inside the headers and palette that end at byte " + str(paletteEnd);
    if (layout.pixelsAt >= size)
        return "truncated BMP file: the pixels start at byte " + str(layout.pixelsAt) + ", the file has " +
               str(size);
    if (bitFields)
        for (int i = 0; i < 3; ++i)
            if (load32(file.data() + layout.masksAt + 4 * i) == 0)
                return "unsupported bit fields: the " + std::string(i == 0 ? "red" : i == 1 ? "green" : "blue") +
                       " mask is 0";
    const uint64_t available = size - layout.pixelsAt;
    if (isRle(f)) {
        layout.pixelBytes = f.sizeImage && f.sizeImage < available ? f.sizeImage : available;
        if (layout.pixelBytes < 2)
            return "truncated BMP file: the run-length stream has " + str(layout.pixelBytes) + " byte";
        return "";
    }
    layout.pixelBytes = dibRowBytes(f.width, f.bitCount) * static_cast<uint64_t>(std::llabs(int64_t{f.height}));
    if (layout.pixelBytes > available)
        return "truncated BMP file: the pixels need " + str(layout.pixelBytes) + " bytes from byte " +
               str(layout.pixelsAt) + ", the file has " + str(size);
    return "";
}

std::vector<uint8_t> packDib(std::span<const uint8_t> file, const Layout& layout)
{
    DibFields fields = layout.fields;
    fields.size = kInfoHeaderBytes;
    fields.clrUsed = layout.paletteEntries;
    fields.clrImportant = 0;
    fields.sizeImage = static_cast<uint32_t>(layout.pixelBytes);
    const uint32_t slots = paletteSlots(fields);
    std::vector<uint8_t> dib(kInfoHeaderBytes + 4 * uint64_t{slots} + layout.pixelBytes);
    writeFields(dib.data(), fields);
    const uint64_t slotsFrom = fields.compression == kCompressionBitFields ? layout.masksAt : layout.paletteAt;
    std::memcpy(dib.data() + kInfoHeaderBytes, file.data() + slotsFrom, 4 * uint64_t{slots});
    std::memcpy(dib.data() + kInfoHeaderBytes + 4 * uint64_t{slots}, file.data() + layout.pixelsAt,
                layout.pixelBytes);
    return dib;
}

}  // namespace

const char* compressionName(uint32_t compression)
{
    static const char* const names[] = {"BI_RGB",  "BI_RLE8", "BI_RLE4",          "BI_BITFIELDS",
                                        "BI_JPEG", "BI_PNG",  "BI_ALPHABITFIELDS"};
    return compression < std::size(names) ? names[compression] : "unknown";
}

DibFields readFields(const uint8_t* h)
{
    DibFields f;
    f.size = load32(h);
    f.width = static_cast<int32_t>(load32(h + 4));
    f.height = static_cast<int32_t>(load32(h + 8));
    f.planes = load16(h + 12);
    f.bitCount = load16(h + 14);
    f.compression = load32(h + 16);
    f.sizeImage = load32(h + 20);
    f.xPelsPerMeter = static_cast<int32_t>(load32(h + 24));
    f.yPelsPerMeter = static_cast<int32_t>(load32(h + 28));
    f.clrUsed = load32(h + 32);
    f.clrImportant = load32(h + 36);
    return f;
}

void writeFields(uint8_t* h, const DibFields& f)
{
    store32(h, f.size);
    store32(h + 4, static_cast<uint32_t>(f.width));
    store32(h + 8, static_cast<uint32_t>(f.height));
    store16(h + 12, f.planes);
    store16(h + 14, f.bitCount);
    store32(h + 16, f.compression);
    store32(h + 20, f.sizeImage);
    store32(h + 24, static_cast<uint32_t>(f.xPelsPerMeter));
    store32(h + 28, static_cast<uint32_t>(f.yPelsPerMeter));
    store32(h + 32, f.clrUsed);
    store32(h + 36, f.clrImportant);
}

bool isRle(const DibFields& fields)
{
    return fields.compression == kCompressionRLE8 || fields.compression == kCompressionRLE4;
}

uint32_t paletteSlots(const DibFields& f)
{
    if (f.bitCount <= 8)
        return f.clrUsed ? f.clrUsed : 1u << f.bitCount;
    if (f.compression == kCompressionBitFields && (f.bitCount == 16 || f.bitCount == 32))
        return f.clrUsed + 3;
    return f.clrUsed;
}

uint64_t dibRowBytes(int64_t width, int bits)
{
    return (static_cast<uint64_t>(width) * bits + 31) / 32 * 4;
}

uint64_t pixelBytes(const DibFields& f)
{
    if (isRle(f))
        return f.sizeImage;
    return dibRowBytes(f.width, f.bitCount) * static_cast<uint64_t>(std::llabs(int64_t{f.height}));
}

DibResult dibFromBmp(std::span<const uint8_t> file)
{
    if (file.size() < 2 || file[0] != 'B' || file[1] != 'M')
        return {{}, "not a BMP file (it does not start with \"BM\")"};
    if (file.size() < kFileHeaderBytes + 4)
        return {{}, "truncated BMP file: " + str(file.size()) + " bytes, too short for its headers"};
    const uint32_t headerSize = load32(file.data() + kFileHeaderBytes);
    if (headerSize == 12 || headerSize == 64)
        return {{}, "unsupported OS/2 BMP header of " + str(headerSize) + " bytes"};
    if (!knownHeaderSize(headerSize))
        return {{}, "corrupt BMP file: header size " + str(headerSize)};
    if (file.size() < kFileHeaderBytes + headerSize)
        return {{}, "truncated BMP file: the header needs " + str(kFileHeaderBytes + headerSize) +
                        " bytes, the file has " + str(file.size())};
    Layout layout;
    layout.fields = readFields(file.data() + kFileHeaderBytes);
    std::string error = formatError(layout.fields);
    if (error.empty())
        error = locateParts(file, layout);
    if (!error.empty())
        return {{}, error};
    return {packDib(file, layout), ""};
}

std::vector<uint8_t> newDib(int width, int height, int bits, uint32_t compression)
{
    DibFields fields;
    fields.width = width;
    fields.height = height;
    fields.bitCount = static_cast<uint16_t>(bits);
    fields.compression = compression;
    fields.clrUsed = bits <= 8 ? 1u << bits : 0;
    fields.sizeImage = static_cast<uint32_t>(dibRowBytes(width, bits) * static_cast<uint64_t>(height));
    std::vector<uint8_t> dib(kInfoHeaderBytes + 4 * uint64_t{paletteSlots(fields)} + fields.sizeImage);
    writeFields(dib.data(), fields);
    return dib;
}

DibResult bmpFromDib(std::span<const uint8_t> dib)
{
    if (dib.size() < kInfoHeaderBytes)
        return {{}, "the DIB is shorter than its header"};
    const DibFields fields = readFields(dib.data());
    const uint64_t dibBytes = kInfoHeaderBytes + 4 * uint64_t{paletteSlots(fields)} + pixelBytes(fields);
    if (fields.size != kInfoHeaderBytes || dibBytes > dib.size() || kFileHeaderBytes + dibBytes > UINT32_MAX)
        return {{}, "the DIB block does not hold what its header says"};
    std::vector<uint8_t> file(kFileHeaderBytes + dibBytes);
    file[0] = 'B';
    file[1] = 'M';
    store32(file.data() + 2, static_cast<uint32_t>(file.size()));
    store32(file.data() + 10, static_cast<uint32_t>(file.size() - pixelBytes(fields)));
    std::memcpy(file.data() + kFileHeaderBytes, dib.data(), dibBytes);
    return {std::move(file), ""};
}

bool readFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& error)
{
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) {
        error = std::string("cannot open: ") + std::strerror(errno);
        return false;
    }
    bytes.clear();
    uint8_t chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0)
        bytes.insert(bytes.end(), chunk, chunk + got);
    if (std::ferror(file.get())) {
        error = std::string("cannot read: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool writeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& error)
{
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file) {
        error = std::string("cannot write: ") + std::strerror(errno);
        return false;
    }
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() || std::fflush(file.get()) != 0) {
        error = std::string("cannot write: ") + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace zantool
