// The tool's BMP file layer: files built here byte by byte become DIBs that
// hold exactly their header, palette or masks and pixels; every damaged file
// gives its one-line error, and no accepted file promises more bytes than
// it has.
#include "bmp_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using zantool::dibFromBmp;

uint32_t get32(const std::vector<uint8_t>& bytes, size_t at)
{
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | uint32_t{bytes[at + 3]} << 24;
}

void put32(std::vector<uint8_t>& bytes, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

void put16(std::vector<uint8_t>& bytes, size_t at, uint16_t value)
{
    bytes[at] = static_cast<uint8_t>(value);
    bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

// A file as writers lay it out: file header, info header of headerSize
// bytes (masks inside from 52 bytes on), masks behind a 40-byte header,
// palette, a gap, pixels.
struct FileShape {
    FileShape(uint32_t headerSize, int32_t width, int32_t height, uint16_t bits, uint32_t compression = 0,
             uint32_t clrUsed = 0, uint32_t gap = 0, std::vector<uint8_t> stream = {})
        : headerSize(headerSize), width(width), height(height), bits(bits), compression(compression),
          clrUsed(clrUsed), gap(gap), stream(std::move(stream))
    {
    }
    uint32_t headerSize;
    int32_t width;
    int32_t height;
    uint16_t bits;
    uint32_t compression;
    uint32_t clrUsed;
    uint32_t gap;
    std::vector<uint8_t> stream;  // the pixels of an RLE file
};

uint32_t paletteEntries(const FileShape& s)
{
    return s.bits <= 8 ? (s.clrUsed ? s.clrUsed : 1u << s.bits) : 0;
}

uint64_t rowBytes(const FileShape& s)
{
    return (uint64_t(s.width) * s.bits + 31) / 32 * 4;
}

uint64_t pixelCount(const FileShape& s)
{
    if (s.compression == 1 || s.compression == 2)
        return s.stream.size();
    return rowBytes(s) * uint64_t(s.height < 0 ? -int64_t(s.height) : s.height);
}

size_t masksAfterHeader(const FileShape& s)
{
    return s.compression == 3 && s.headerSize == 40 ? 12 : 0;
}

std::vector<uint8_t> makeFile(const FileShape& s)
{
    const size_t paletteAt = 14 + s.headerSize + masksAfterHeader(s);
    const size_t pixelsAt = paletteAt + 4 * paletteEntries(s) + s.gap;
    std::vector<uint8_t> file(pixelsAt + pixelCount(s));
    file[0] = 'B';
    file[1] = 'M';
    put32(file, 2, uint32_t(file.size()));
    put32(file, 10, uint32_t(pixelsAt));
    put32(file, 14, s.headerSize);
    put32(file, 18, uint32_t(s.width));
    put32(file, 22, uint32_t(s.height));
    put16(file, 26, 1);
    put16(file, 28, s.bits);
    put32(file, 30, s.compression);
    put32(file, 46, s.clrUsed);
    if (s.compression == 3) {
        const uint32_t masks[] = {0x7C00, 0x03E0, 0x001F};
        for (int i = 0; i < 3; ++i)
            put32(file, 54 + 4 * i, masks[i]);
    }
    for (size_t i = paletteAt; i < pixelsAt; ++i)
        file[i] = uint8_t(i * 7 + 1);
    for (size_t i = pixelsAt; i < file.size(); ++i)
        file[i] = s.stream.empty() ? uint8_t(i * 13 + 5) : s.stream[i - pixelsAt];
    return file;
}

// The DIB must be: a 40-byte header with the file's fields, the palette or
// masks as 32-bit slots, then the pixels, and nothing more.
void expectDibOf(const FileShape& s, const std::vector<uint8_t>& file, const std::vector<uint8_t>& dib)
{
    const uint32_t slots = s.compression == 3 ? 3 : paletteEntries(s);
    ASSERT_EQ(dib.size(), 40 + 4 * slots + pixelCount(s));
    EXPECT_EQ(get32(dib, 0), 40u);
    EXPECT_EQ(int32_t(get32(dib, 4)), s.width);
    EXPECT_EQ(int32_t(get32(dib, 8)), s.height);
    EXPECT_EQ(get32(dib, 12), uint32_t(s.bits) << 16 | 1);
    EXPECT_EQ(get32(dib, 16), s.compression);
    EXPECT_EQ(get32(dib, 20), pixelCount(s));
    EXPECT_EQ(get32(dib, 32), s.bits <= 8 ? slots : 0u);
    const size_t slotsAt = s.compression == 3 ? 54 : 14 + s.headerSize;
    EXPECT_TRUE(std::equal(dib.begin() + 40, dib.begin() + 40 + 4 * slots, file.begin() + slotsAt));
    EXPECT_TRUE(std::equal(dib.begin() + 40 + 4 * slots, dib.end(), file.end() - pixelCount(s)));
}

// An RLE8 stream of a 13 by 7 image: a run, a literal, a move, the ends.
std::vector<uint8_t> rleStream()
{
    return {13, 9, 0, 0, 0, 3, 1, 2, 3, 0, 10, 7, 0, 0, 0, 2, 0, 4, 0, 1};
}

TEST(BmpFile, EveryFormatBecomesItsDib)
{
    const FileShape shapes[] = {
        {40, 13, 7, 1},           {40, 13, 7, 4},           {40, 13, 7, 8},
        {40, 13, 7, 8, 0, 5},     {40, 13, -7, 24},         {40, 5, 3, 16},
        {40, 5, 3, 32},           {40, 5, 3, 16, 3},        {108, 5, 3, 32, 3},
        {124, 9, 2, 24, 0, 0, 6}, {52, 4, 4, 16, 3, 0, 2},  {40, 13, 7, 8, 1, 0, 0, rleStream()},
        {56, 13, 7, 4, 2, 16, 0, {0, 1}},
    };
    for (const FileShape& shape : shapes) {
        SCOPED_TRACE("header " + std::to_string(shape.headerSize) + ", bits " + std::to_string(shape.bits) +
                     ", compression " + std::to_string(shape.compression));
        const std::vector<uint8_t> file = makeFile(shape);
        const zantool::DibResult result = dibFromBmp(file);
        ASSERT_EQ(result.error, "");
        expectDibOf(shape, file, result.dib);
    }
}

TEST(BmpFile, RleStreamStopsAtBiSizeImage)
{
    FileShape shape{40, 13, 7, 8, 1, 0, 0, rleStream()};
    std::vector<uint8_t> file = makeFile(shape);
    put32(file, 34, 6);
    file.insert(file.end(), 10, 0xEE);
    const zantool::DibResult result = dibFromBmp(file);
    ASSERT_EQ(result.error, "");
    EXPECT_EQ(get32(result.dib, 20), 6u);
    EXPECT_EQ(result.dib.size(), 40 + 4 * 256 + 6u);
}

struct Damage {
    const char* what;
    std::function<void(std::vector<uint8_t>&)> apply;
    std::string error;
};

TEST(BmpFile, DamagedFilesGiveTheirError)
{
    const Damage damages[] = {
        {"empty", [](auto& f) { f.clear(); }, "not a BMP file (it does not start with \"BM\")"},
        {"text", [](auto& f) { f.assign({'h', 'e', 'l', 'l', 'o'}); },
         "not a BMP file (it does not start with \"BM\")"},
        {"short", [](auto& f) { f.resize(12); }, "truncated BMP file: 12 bytes, too short for its headers"},
        {"header cut", [](auto& f) { f.resize(40); }, "truncated BMP file: the header needs 54 bytes, the file has 40"},
        {"core header", [](auto& f) { put32(f, 14, 12); }, "unsupported OS/2 BMP header of 12 bytes"},
        {"odd header", [](auto& f) { put32(f, 14, 41); }, "corrupt BMP file: header size 41"},
        {"planes", [](auto& f) { put16(f, 26, 3); }, "corrupt BMP file: 3 planes, not 1"},
        {"2 bits", [](auto& f) { put16(f, 28, 2); }, "unsupported bit count 2 (1, 4, 8, 16, 24 and 32 are read)"},
        {"64 bits", [](auto& f) { put16(f, 28, 64); }, "unsupported bit count 64 (1, 4, 8, 16, 24 and 32 are read)"},
        {"jpeg", [](auto& f) { put32(f, 30, 4); }, "unsupported compression 4 (BI_JPEG)"},
        {"rle4 at 8", [](auto& f) { put32(f, 30, 2); }, "corrupt BMP file: BI_RLE4 with 8 bits"},
        {"fields at 8", [](auto& f) { put32(f, 30, 3); }, "corrupt BMP file: BI_BITFIELDS with 8 bits"},
        {"width 0", [](auto& f) { put32(f, 18, 0); }, "corrupt BMP file: width 0"},
        {"width -5", [](auto& f) { put32(f, 18, uint32_t(-5)); }, "corrupt BMP file: width -5"},
        {"height 0", [](auto& f) { put32(f, 22, 0); }, "corrupt BMP file: height 0"},
        {"rle top-down", [](auto& f) { put32(f, 30, 1), put32(f, 22, uint32_t(-7)); },
         "corrupt BMP file: a run-length encoded image must be stored bottom-up"},
        {"huge", [](auto& f) { put32(f, 18, 70000); },
         "unsupported size 70000x7 (at most 65536 a side and 67108864 pixels)"},
        {"too many pixels", [](auto& f) { put32(f, 18, 65536), put32(f, 22, 65536); },
         "unsupported size 65536x65536 (at most 65536 a side and 67108864 pixels)"},
        {"lowest height", [](auto& f) { put32(f, 22, 0x80000000u); },
         "unsupported size 13x2147483648 (at most 65536 a side and 67108864 pixels)"},
        {"palette too long", [](auto& f) { put32(f, 46, 257); }, "corrupt BMP file: 257 palette entries for 8 bits"},
        {"palette past end", [](auto& f) { f.resize(1000); },
         "truncated BMP file: the palette ends at byte 1078, the file has 1000"},
        {"pixels in palette", [](auto& f) { put32(f, 10, 1000); },
         "corrupt BMP file: the pixels start at byte 1000, inside the headers and palette that end at byte 1078"},
        {"pixels past end", [](auto& f) { put32(f, 10, 5000); },
         "truncated BMP file: the pixels start at byte 5000, the file has 1190"},
        {"pixels cut", [](auto& f) { f.pop_back(); },
         "truncated BMP file: the pixels need 112 bytes from byte 1078, the file has 1189"},
    };
    const std::vector<uint8_t> good = makeFile({40, 13, 7, 8});
    ASSERT_EQ(good.size(), 1190u);
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.what);
        std::vector<uint8_t> file = good;
        damage.apply(file);
        const zantool::DibResult result = dibFromBmp(file);
        EXPECT_EQ(result.error, damage.error);
        EXPECT_TRUE(result.dib.empty());
    }
}

TEST(BmpFile, DamagedMasksAndStreams)
{
    std::vector<uint8_t> fields = makeFile({40, 5, 3, 32, 3});
    put32(fields, 58, 0);
    EXPECT_EQ(dibFromBmp(fields).error, "unsupported bit fields: the green mask is 0");
    std::vector<uint8_t> stream = makeFile({40, 13, 7, 8, 1, 0, 0, {0}});
    EXPECT_EQ(dibFromBmp(stream).error, "truncated BMP file: the run-length stream has 1 byte");
}

TEST(BmpFile, EveryCutOfAFileIsRefused)
{
    for (const FileShape& shape : {FileShape{40, 13, 7, 4}, FileShape{108, 5, 3, 32, 3}, FileShape{40, 11, -3, 24}}) {
        const std::vector<uint8_t> file = makeFile(shape);
        for (size_t length = 0; length < file.size(); ++length) {
            const std::vector<uint8_t> cut(file.begin(), file.begin() + length);
            EXPECT_NE(dibFromBmp(cut).error, "") << "cut to " << length << " of " << file.size();
        }
    }
}

// Random damage to the headers: whatever is accepted holds every byte that
// its header promises.
TEST(BmpFile, AcceptedFilesHoldWhatTheyPromise)
{
    std::mt19937 rng(20261125);
    const std::vector<uint8_t> files[] = {makeFile({40, 13, 7, 8}), makeFile({40, 13, 7, 8, 1, 0, 0, rleStream()}),
                                          makeFile({108, 5, 3, 16, 3})};
    int accepted = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        std::vector<uint8_t> file = files[trial % 3];
        const int flips = 1 + int(rng() % 3);
        for (int i = 0; i < flips; ++i)
            file[rng() % 60] ^= uint8_t(1u << (rng() % 8));
        const zantool::DibResult result = dibFromBmp(file);
        if (!result.error.empty())
            continue;
        ++accepted;
        const zantool::DibFields f = zantool::readFields(result.dib.data());
        ASSERT_EQ(result.dib.size(), 40 + 4 * uint64_t(zantool::paletteSlots(f)) + zantool::pixelBytes(f));
        ASSERT_LE(zantool::pixelBytes(f), file.size());
        ASSERT_EQ(f.size, 40u);
    }
    EXPECT_GT(accepted, 100);
}

TEST(BmpFile, NewDibAndFileRoundTrip)
{
    struct Case {
        int width, height, bits;
        uint32_t compression;
        size_t palette, row;
    };
    const Case cases[] = {{250, 3, 1, 0, 2, 32},     {250, 3, 4, 2, 16, 128}, {13, 2, 8, 1, 256, 16},
                          {13, 2, 16, 0, 0, 28},     {13, 2, 24, 0, 0, 40},   {13, 2, 32, 0, 0, 52}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        std::vector<uint8_t> dib = zantool::newDib(c.width, c.height, c.bits, c.compression);
        ASSERT_EQ(dib.size(), 40 + 4 * c.palette + c.row * c.height);
        EXPECT_EQ(get32(dib, 20), c.row * c.height);
        for (size_t i = 40; i < dib.size(); ++i)
            dib[i] = uint8_t(i);
        const zantool::DibResult file = zantool::bmpFromDib(dib);
        ASSERT_EQ(file.error, "");
        ASSERT_EQ(file.dib.size(), 14 + dib.size());
        EXPECT_EQ(get32(file.dib, 2), file.dib.size());
        EXPECT_EQ(get32(file.dib, 10), 54 + 4 * c.palette);
        const zantool::DibResult again = dibFromBmp(file.dib);
        ASSERT_EQ(again.error, "");
        EXPECT_EQ(again.dib, dib);
    }
}

TEST(BmpFile, ShortBlocksAreNotWritten)
{
    std::vector<uint8_t> dib = zantool::newDib(8, 8, 8, 0);
    dib.pop_back();
    EXPECT_EQ(zantool::bmpFromDib(dib).error, "the DIB block does not hold what its header says");
    EXPECT_EQ(zantool::bmpFromDib(std::vector<uint8_t>(39)).error, "the DIB is shorter than its header");
}

TEST(BmpFile, MissingFilesSayWhy)
{
    std::vector<uint8_t> bytes;
    std::string error;
    EXPECT_FALSE(zantool::readFile("/nonexistent/zan.bmp", bytes, error));
    EXPECT_EQ(error, "cannot open: No such file or directory");
    EXPECT_FALSE(zantool::readFile(std::filesystem::temp_directory_path().string(), bytes, error));
    EXPECT_EQ(error, "cannot read: Is a directory");
    EXPECT_FALSE(zantool::writeFile("/nonexistent/zan.bmp", bytes, error));
    EXPECT_EQ(error, "cannot write: No such file or directory");
}

}  // namespace
