// The BI_RLE8 and BI_RLE4 codec: hand-written streams with every command,
// the encoder's choices row by row, round trips, and streams that break the
// rules, each with its text and no access outside the blocks.
#include "dib_util.h"

#include "color/own_rle.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using zt::RecordingReporter;

constexpr const char* kCaller = "zanConvertFromDIBSep";

struct Decoded {
    Bytes block; // empty after a fault
    int64_t step = 0;
};

// Decodes a stream given on its own, bounded by biSizeImage.
Decoded decode(int width, int height, uint32_t compression, const Bytes& stream)
{
    BITMAPINFOHEADER h = dt::makeHeader(width, height, compression == BI_RLE8 ? 8 : 4, compression);
    h.biSizeImage = static_cast<uint32_t>(stream.size());
    Decoded out;
    out.step = dt::rowBytes(width, h.biBitCount);
    uint8_t* block = ownRLEDecodeSep(&h, stream.data(), kCaller);
    if (block) {
        out.block.assign(block, block + out.step * height);
        zanFree(block);
    }
    return out;
}

// Pixel x of stored row y of a decoded block.
int pixel(const Decoded& d, int x, int y, bool nibbles)
{
    const uint8_t byte = d.block[y * d.step + (nibbles ? x / 2 : x)];
    return nibbles ? ((x & 1) ? byte & 15 : byte >> 4) : byte;
}

void expectRows(const Decoded& d, const std::vector<std::vector<int>>& rows, bool nibbles)
{
    ASSERT_FALSE(d.block.empty());
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x)
            EXPECT_EQ(pixel(d, int(x), int(y), nibbles), rows[y][x]) << "x " << x << " y " << y;
}

// ---------------------------------------------------------------------------
// Decoding

TEST(RleDecode, Rle8EveryCommand)
{
    RecordingReporter reporter;
    const Bytes stream = {
        3, 5, 0, 3, 1, 2, 3, 0,        // run, literal of odd length with its pad byte
        0, 0,                          // end of row
        0, 2, 2, 0, 4, 9, 0, 0,        // move two columns, run to the row's end
        2, 7, 0, 4, 10, 11, 12, 13,    // run, literal of even length
        0, 1,                          // end of bitmap on the last row
    };
    const Decoded d = decode(6, 3, BI_RLE8, stream);
    // Pixels that a move skips read as index 0.
    expectRows(d, {{5, 5, 5, 1, 2, 3}, {0, 0, 9, 9, 9, 9}, {7, 7, 10, 11, 12, 13}}, false);
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(RleDecode, Rle8MoveAcrossRowsAndEndAfterTheLastRow)
{
    RecordingReporter reporter;
    // Row 0 is left at column 2 by a move one column right and one row on.
    const Bytes stream = {2, 1, 0, 2, 1, 1, 1, 4, 0, 0, 4, 8, 0, 0, 0, 1};
    const Decoded d = decode(4, 3, BI_RLE8, stream);
    expectRows(d, {{1, 1, 0, 0}, {0, 0, 0, 4}, {8, 8, 8, 8}}, false);
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(RleDecode, Rle4RunsSplitAcrossBytesAndPaddedLiterals)
{
    RecordingReporter reporter;
    const Bytes stream = {
        3, 0xAB, 2, 0xCD, 0, 0,                 // odd run ends in a high nibble
        0, 5, 0x12, 0x34, 0x50, 0, 0, 0,        // literal of 5: three bytes and a pad
        1, 0xF0, 0, 3, 0x12, 0x30, 1, 0x40, 0, 1, // literal starting at an odd column
    };
    const Decoded d = decode(5, 3, BI_RLE4, stream);
    expectRows(d, {{0xA, 0xB, 0xA, 0xC, 0xD}, {1, 2, 3, 4, 5}, {0xF, 1, 2, 3, 4}}, true);
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(RleDecode, Rle4MoveThenRun)
{
    RecordingReporter reporter;
    const Decoded d = decode(4, 1, BI_RLE4, {0, 2, 1, 0, 3, 0x78, 0, 1});
    expectRows(d, {{0, 7, 8, 7}}, true);
    EXPECT_TRUE(reporter.reports().empty());
}

struct FaultCase {
    const char* name;
    int width;
    int height;
    Bytes stream;
    const char* fault; // text after "Incorrect format of BI_RLEn DIB "
};

const FaultCase kFaults[] = {
    {"row ends early", 6, 2, {2, 5, 0, 0}, "(mismatch biWidth)"},
    {"bitmap ends two rows early", 2, 3, {2, 5, 0, 0, 0, 1}, "(mismatch biHeight)"},
    {"move past the right edge", 6, 2, {0, 2, 7, 0}, "(bad Delta command)"},
    {"move past the last row", 6, 2, {0, 2, 0, 3}, "(bad Delta command)"},
    {"run past the row", 6, 2, {7, 1}, "(mismatch biHeight or biWidth)"},
    {"literal past the row", 4, 2, {1, 1, 0, 4, 1, 2, 3, 4}, "(mismatch biHeight or biWidth)"},
    {"pixel on the row below the bitmap", 2, 1, {0, 2, 0, 1, 1, 5}, "(mismatch biHeight or biWidth)"},
    {"rows beyond the bitmap", 1, 1, {1, 5, 0, 0, 1, 5, 0, 0, 0, 0}, "(mismatch biHeight or biWidth)"},
    {"stream cut inside a command", 4, 1, {4}, "(mismatch biHeight or biWidth)"},
    {"stream cut inside a literal", 8, 1, {0, 6, 1, 2}, "(mismatch biHeight or biWidth)"},
    {"stream cut inside a move", 8, 2, {0, 2, 1}, "(mismatch biHeight or biWidth)"},
    {"stream ends where a literal's pad would be", 3, 1, {0, 3, 1, 2, 3}, "(mismatch biHeight or biWidth)"},
    {"stream without an end", 2, 2, {2, 1, 0, 0}, "(mismatch biHeight or biWidth)"},
};

TEST(RleDecode, FaultsReportTheirTextUnderTheCaller)
{
    for (uint32_t compression : {uint32_t{BI_RLE8}, uint32_t{BI_RLE4}}) {
        const std::string format = compression == BI_RLE8 ? "BI_RLE8" : "BI_RLE4";
        for (const FaultCase& c : kFaults) {
            SCOPED_TRACE(format + ": " + c.name);
            RecordingReporter reporter;
            // A copy of exactly the stream's size: reading past it is caught.
            const Bytes stream(c.stream);
            const Decoded d = decode(c.width, c.height, compression, stream);
            EXPECT_TRUE(d.block.empty());
            ASSERT_EQ(reporter.reports().size(), 1u);
            const auto& report = reporter.reports()[0];
            EXPECT_EQ(report.status, ZAN_STATUS_BAD_ARGUMENT);
            EXPECT_EQ(report.function, kCaller);
            EXPECT_EQ(report.source, "ownrle");
            EXPECT_EQ(report.context, "Incorrect format of " + format + " DIB " + c.fault);
            EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_BAD_ARGUMENT);
        }
    }
}

TEST(RleDecode, MoveOntoTheRowBelowIsNoFaultByItself)
{
    RecordingReporter reporter;
    const Decoded d = decode(2, 1, BI_RLE8, {2, 6, 0, 2, 0, 1, 0, 1});
    expectRows(d, {{6, 6}}, false);
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(RleDecode, BlockTooLargeReportsNoMemory)
{
    RecordingReporter reporter;
    BITMAPINFOHEADER h = dt::makeHeader(0x7FFFFFFF, 0x7FFFFFFF, 4, BI_RLE4);
    const Bytes stream = {0, 1};
    EXPECT_EQ(ownRLEDecodeSep(&h, stream.data(), kCaller), nullptr);
    EXPECT_EQ(reporter.summary(),
              std::vector<std::string>{"zanConvertFromDIBSep: Not enough memory to decompress BI_RLE4 DIB at DIB"});
}

// ---------------------------------------------------------------------------
// Encoding, row by row

struct RowCase {
    const char* name;
    Bytes pixels; // one value per pixel
    Bytes stream;
};

Bytes encodeRow(const Bytes& pixels, bool nibbles)
{
    const int w = int(pixels.size());
    Bytes packed(size_t(dt::rowBytes(w, nibbles ? 4 : 8)), 0);
    for (int x = 0; x < w; ++x) {
        if (nibbles)
            packed[x / 2] |= uint8_t(pixels[x] << ((x & 1) ? 0 : 4));
        else
            packed[x] = pixels[x];
    }
    Bytes out(2 * w + 4);
    uint8_t* end = nibbles ? ownRLE4Row(packed.data(), w, out.data()) : ownRLE8Row(packed.data(), w, out.data());
    out.resize(size_t(end - out.data()));
    return out;
}

Bytes repeated(int n, uint8_t v) { return Bytes(size_t(n), v); }

TEST(RleEncode, Rle8Rows)
{
    Bytes run300 = {255, 7, 45, 7, 0, 0};
    const RowCase cases[] = {
        {"four equal pixels", {9, 9, 9, 9}, {4, 9, 0, 0}},
        {"three pixels never enter the loop", {1, 2, 3}, {1, 1, 1, 2, 1, 3, 0, 0}},
        {"literal, then a run", {1, 2, 3, 4, 5, 5, 5, 5}, {0, 4, 1, 2, 3, 4, 4, 5, 0, 0}},
        {"odd literal is padded", {1, 2, 3, 7, 7, 7}, {0, 3, 1, 2, 3, 0, 1, 7, 1, 7, 1, 7, 0, 0}},
        {"second equals third", {1, 2, 2, 3, 4, 5}, {1, 1, 2, 2, 1, 3, 1, 4, 1, 5, 0, 0}},
        {"third equals fourth", {1, 2, 3, 3, 4, 5}, {1, 1, 1, 2, 2, 3, 1, 4, 1, 5, 0, 0}},
        {"run of 300", repeated(300, 7), run300},
    };
    for (const RowCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(encodeRow(c.pixels, false), c.stream);
    }
}

TEST(RleEncode, Rle8LiteralStopsAt255)
{
    Bytes pixels(300);
    for (int i = 0; i < 300; ++i)
        pixels[i] = uint8_t(i * 7 + i / 3);
    const Bytes out = encodeRow(pixels, false);
    ASSERT_GE(out.size(), 258u);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 255);
    EXPECT_EQ(Bytes(out.begin() + 2, out.begin() + 257), Bytes(pixels.begin(), pixels.begin() + 255));
    EXPECT_EQ(out[257], 0); // pad of the odd literal
}

TEST(RleEncode, Rle4Rows)
{
    const RowCase cases[] = {
        {"pair run to the row's end", {1, 2, 1, 2, 1, 2, 1, 2}, {8, 0x12, 0, 0}},
        {"pair run of odd length", {1, 2, 1, 2, 1, 2, 1}, {7, 0x12, 0, 0}},
        {"single before a pair run", {5, 1, 2, 1, 2, 1, 2, 1}, {1, 0x50, 7, 0x12, 0, 0}},
        {"pair and single", {1, 2, 3, 2, 4, 6}, {2, 0x12, 1, 0x30, 2, 0x24, 1, 0x60, 0, 0}},
        {"pair before a repeat", {1, 2, 3, 4, 3, 5}, {2, 0x12, 2, 0x34, 2, 0x35, 0, 0}},
        {"literal to the row's end", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
         {0, 10, 0x12, 0x34, 0x56, 0x78, 0x9A, 0, 0, 0}},
        {"literal stops before a pair run", {1, 2, 3, 4, 5, 6, 5, 6, 5, 6, 5, 6},
         {0, 4, 0x12, 0x34, 8, 0x56, 0, 0}},
        {"short row goes out by twos", {3, 4, 5}, {2, 0x34, 1, 0x50, 0, 0}},
    };
    for (const RowCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(encodeRow(c.pixels, true), c.stream);
    }
}

// ---------------------------------------------------------------------------
// Encoding a DIB in place, and back

// Rows of random runs and noise, so that both commands and literals occur.
void fillRuns(uint8_t* pixels, int64_t step, int width, int height, bool nibbles, std::mt19937& rng)
{
    const int top = nibbles ? 15 : 255;
    for (int y = 0; y < height; ++y) {
        int x = 0;
        while (x < width) {
            const int len = 1 + int(rng() % 12);
            const bool run = rng() % 2;
            const uint8_t v = uint8_t(rng() % (top + 1));
            for (int k = 0; k < len && x < width; ++k, ++x) {
                const uint8_t p = run ? v : uint8_t(rng() % (top + 1));
                uint8_t* row = pixels + y * step;
                if (nibbles)
                    row[x / 2] = uint8_t((x & 1) ? (row[x / 2] & 0xF0) | p : (row[x / 2] & 0x0F) | (p << 4));
                else
                    row[x] = p;
            }
        }
    }
}

TEST(RleEncode, RoundTripsThroughTheDecoder)
{
    std::mt19937 rng(11);
    int compressed = 0;
    for (uint32_t compression : {uint32_t{BI_RLE8}, uint32_t{BI_RLE4}}) {
        const bool nibbles = compression == BI_RLE4;
        for (int trial = 0; trial < 60; ++trial) {
            const int width = 1 + int(rng() % 70);
            const int height = 1 + int(rng() % 6);
            SCOPED_TRACE(testing::Message() << (nibbles ? "RLE4 " : "RLE8 ") << width << "x" << height);
            dt::Dib dib(dt::makeHeader(width, height, nibbles ? 4 : 8, compression));
            const int64_t step = dt::rowBytes(width, nibbles ? 4 : 8);
            fillRuns(dib.pixels(), step, width, height, nibbles, rng);
            const Bytes original(dib.pixels(), dib.end());
            RecordingReporter reporter;
            ASSERT_EQ(ownRLEEncode(dib.header(), "zanConvertToDIB"), 1);
            if (dib.header()->biCompression == BI_RGB) {
                EXPECT_EQ(Bytes(dib.pixels(), dib.end()), original);
                continue;
            }
            ++compressed;
            const uint32_t size = dib.header()->biSizeImage;
            ASSERT_LT(size, original.size());
            const Bytes stream(dib.pixels(), dib.pixels() + size);
            const Decoded d = decode(width, height, compression, stream);
            ASSERT_FALSE(d.block.empty());
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const uint8_t byte = original[y * step + (nibbles ? x / 2 : x)];
                    const int want = nibbles ? ((x & 1) ? byte & 15 : byte >> 4) : byte;
                    ASSERT_EQ(pixel(d, x, y, nibbles), want) << "x " << x << " y " << y;
                }
            EXPECT_TRUE(reporter.reports().empty());
        }
    }
    EXPECT_GT(compressed, 40);
}

TEST(RleEncode, NarrowPictureGoesBackToUncompressed)
{
    dt::Dib dib(dt::makeHeader(3, 2, 8, BI_RLE8));
    const uint8_t rows[] = {1, 2, 3, 0, 4, 5, 6, 0};
    std::memcpy(dib.pixels(), rows, sizeof rows);
    dib.header()->biSizeImage = 1234;
    ASSERT_EQ(ownRLEEncodeSep(dib.header(), dib.pixels(), "zanConvertToDIBSep"), 0);
    EXPECT_EQ(dib.header()->biCompression, uint32_t{BI_RGB});
    EXPECT_EQ(dib.header()->biSizeImage, 1234u);
    EXPECT_EQ(Bytes(dib.pixels(), dib.end()), Bytes(rows, rows + 8));
}

TEST(RleEncode, UniformPictureShrinksToItsCommands)
{
    dt::Dib dib(dt::makeHeader(16, 2, 8, BI_RLE8));
    std::memset(dib.pixels(), 4, 32);
    ASSERT_EQ(ownRLEEncode(dib.header(), "zanConvertToDIB"), 1);
    EXPECT_EQ(dib.header()->biCompression, uint32_t{BI_RLE8});
    EXPECT_EQ(dib.header()->biSizeImage, 10u);
    EXPECT_EQ(Bytes(dib.pixels(), dib.pixels() + 10), (Bytes{16, 4, 0, 0, 16, 4, 0, 0, 0, 1}));
}

} // namespace
