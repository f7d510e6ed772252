// DIB interchange: round trips image -> DIB -> image at every bit count and
// palette mode, the DIB's bytes and the image's samples checked against the
// published layout, the Sep forms against the one-block forms, and the
// translations of zanTranslateDIB.
#include "dib_util.h"

#include "zan_test.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using zt::RecordingReporter;
using Bytes = std::vector<uint8_t>;
using Pixel = std::array<int, 4>; // samples in channel order

// The stored image row that holds row j of the picture counted from the top.
int storedRow(const ZanImage* image, int j) { return image->origin == ZAN_ORIGIN_BOTTOM_LEFT ? image->height - 1 - j : j; }

// The stored DIB row of picture row j.
int dibRow(const BITMAPINFOHEADER* h, int j) { return h->biHeight > 0 ? h->biHeight - 1 - j : j; }

Pixel pixelAt(const ZanImage* image, int x, int j)
{
    Pixel p{0, 0, 0, 0};
    for (int c = 0; c < image->nChannels; ++c)
        p[c] = int(image->depth == ZAN_DEPTH_1U ? zt::bitAt(image, x, storedRow(image, j))
                                                : zt::sampleAt(image, x, storedRow(image, j), c));
    return p;
}

void setPixel(ZanImage* image, int x, int j, const Pixel& p)
{
    for (int c = 0; c < image->nChannels; ++c)
        zt::setSampleAt(image, x, storedRow(image, j), c, p[c]);
}

zt::Image header(int channels, uint32_t depth, const char* seq, int width, int height, std::mt19937& rng)
{
    const int aligns[] = {4, 8, 16, 32};
    return zt::Image(zanCreateImageHeader(channels, channels == 4 ? 4 : 0, depth, "RGB", seq,
                                          depth == ZAN_DEPTH_1U ? 0 : int(rng() % 2), int(rng() % 2),
                                          aligns[rng() % 4], width, height, nullptr, nullptr, nullptr,
                                          nullptr));
}

// ---------------------------------------------------------------------------
// Round trips

struct RoundTrip {
    const char* name;
    int bits;
    uint32_t compression;
    int channels;
    uint32_t depth;
    const char* seq;
    int paletteMode;
    std::array<uint32_t, 3> masks;              // red, green, blue slots of BI_BITFIELDS
    std::function<void(dt::Dib&)> palette;      // a palette to keep, if any
    std::function<Pixel(std::mt19937&)> colour; // a random pixel of the test's set
    std::function<Pixel(const Pixel&)> expect;  // what comes back
};

Pixel any8(std::mt19937& rng) { return {int(rng() % 256), int(rng() % 256), int(rng() % 256), int(rng() % 256)}; }
Pixel same(const Pixel& p) { return p; }
Pixel masked(const Pixel& p, int r, int g, int b) { return {p[0] & r, p[1] & g, p[2] & b, 0}; }

// Colours of the standard palettes, channel order R, G, B for "RGB".
Pixel basic16(std::mt19937& rng)
{
    static const int table[16][3] = {{0, 0, 0},       {0, 0, 128},   {0, 128, 0},   {0, 128, 128},
                                     {128, 0, 0},     {128, 0, 128}, {128, 128, 0}, {128, 128, 128},
                                     {192, 192, 192}, {0, 0, 255},   {0, 255, 0},   {0, 255, 255},
                                     {255, 0, 0},     {255, 0, 255}, {255, 255, 0}, {255, 255, 255}};
    const int* bgr = table[rng() % 16];
    return {bgr[2], bgr[1], bgr[0], 0};
}

Pixel basic256(std::mt19937& rng)
{
    const int t4[] = {0, 64, 128, 255};
    const int t8[] = {0, 32, 64, 96, 128, 160, 192, 255};
    const unsigned i = rng() % 256;
    return {t8[(i >> 5) & 7], t8[(i >> 2) & 7], t4[i & 3], 0};
}

// Gray through a gray palette comes back by the weights of the gray adaptor.
Pixel grayBack(const Pixel& p) { return {(54 * p[0] + 183 * p[0] + 18 * p[0]) / 256, 0, 0, 0}; }

void keepSixColours(dt::Dib& dib)
{
    const uint8_t colours[6][3] = {{0, 0, 0}, {10, 20, 30}, {200, 100, 50}, {255, 255, 255}, {1, 2, 3}, {90, 90, 0}};
    dib.header()->biClrUsed = 6;
    for (int i = 0; i < 6; ++i)
        dib.setEntry(i, colours[i][0], colours[i][1], colours[i][2]);
}

Pixel sixColours(std::mt19937& rng)
{
    const int colours[6][3] = {{0, 0, 0}, {10, 20, 30}, {200, 100, 50}, {255, 255, 255}, {1, 2, 3}, {90, 90, 0}};
    const int* bgr = colours[rng() % 6];
    return {bgr[2], bgr[1], bgr[0], 0};
}

const RoundTrip kRoundTrips[] = {
    {"24 bits", 24, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 0, {}, nullptr, any8, [](const Pixel& p) { return masked(p, 255, 255, 255); }},
    {"24 bits, BGR", 24, BI_RGB, 3, ZAN_DEPTH_8U, "BGR", 0, {}, nullptr, any8, [](const Pixel& p) { return masked(p, 255, 255, 255); }},
    {"32 bits, alpha", 32, BI_RGB, 4, ZAN_DEPTH_8U, "RGBA", 0, {}, nullptr, any8, same},
    {"32 bits from three channels", 32, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 0, {}, nullptr, any8, [](const Pixel& p) { return masked(p, 255, 255, 255); }},
    {"32 bit fields 8-8-8", 32, BI_BITFIELDS, 4, ZAN_DEPTH_8U, "BGRA", 0, {0xFF0000, 0xFF00, 0xFF}, nullptr, any8, same},
    {"32 bit fields 10-10-10", 32, BI_BITFIELDS, 4, ZAN_DEPTH_8U, "RGBA", 0, {0x3FF, 0xFFC00, 0x3FF00000}, nullptr, any8,
     // Bytes go into the fields unscaled and come back down by 2 bits; the
     // derived alpha field holds bits 30 and 31.
     [](const Pixel& p) { return Pixel{p[0] >> 2, p[1] >> 2, p[2] >> 2, (p[3] & 3) << 6}; }},
    {"16 bits 5-5-5", 16, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 0, {}, nullptr, any8, [](const Pixel& p) { return masked(p, 0xF8, 0xF8, 0xF8); }},
    {"16 bit fields 5-6-5", 16, BI_BITFIELDS, 3, ZAN_DEPTH_8U, "RGB", 0, {0xF800, 0x07E0, 0x001F}, nullptr, any8,
     [](const Pixel& p) { return masked(p, 0xF8, 0xFC, 0xF8); }},
    {"16-bit image", 24, BI_RGB, 3, ZAN_DEPTH_16U, "RGB", 0, {}, nullptr,
     [](std::mt19937& rng) { return Pixel{int(rng() % 65536), int(rng() % 65536), int(rng() % 65536), 0}; },
     [](const Pixel& p) { return Pixel{p[0] & 0xFF00, p[1] & 0xFF00, p[2] & 0xFF00, 0}; }},
    {"8 bits, standard palette", 8, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 1, {}, nullptr, basic256, same},
    {"8 bits, gray palette", 8, BI_RGB, 1, ZAN_DEPTH_8U, "G\0\0", 1, {}, nullptr, any8, grayBack},
    {"8 bits, kept palette", 8, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 0, {}, keepSixColours, sixColours, same},
    {"4 bits, standard palette", 4, BI_RGB, 3, ZAN_DEPTH_8U, "BGR", 1, {}, nullptr,
     [](std::mt19937& rng) { Pixel p = basic16(rng); std::swap(p[0], p[2]); return p; }, same},
    {"4 bits, median cut", 4, BI_RGB, 3, ZAN_DEPTH_8U, "RGB", 2, {}, nullptr, sixColours,
     [](const Pixel& p) { return masked(p, 0xFC, 0xFC, 0xFC); }},
    {"1 bit, gray", 1, BI_RGB, 1, ZAN_DEPTH_8U, "GRAY", 1, {}, nullptr,
     [](std::mt19937& rng) { return Pixel{rng() % 2 ? 255 : 0, 0, 0, 0}; }, grayBack},
    {"1 bit, bitonal image", 1, BI_RGB, 1, ZAN_DEPTH_1U, "G\0\0", 1, {}, nullptr,
     [](std::mt19937& rng) { return Pixel{int(rng() % 2), 0, 0, 0}; }, same},
    {"RLE8, gray", 8, BI_RLE8, 1, ZAN_DEPTH_8U, "G\0\0", 1, {}, nullptr,
     [](std::mt19937& rng) { return Pixel{int(rng() % 4) * 80, 0, 0, 0}; }, grayBack},
    {"RLE4, standard palette", 4, BI_RLE4, 3, ZAN_DEPTH_8U, "RGB", 1, {}, nullptr, basic16, same},
    {"RLE8, median cut", 8, BI_RLE8, 3, ZAN_DEPTH_8U, "RGB", 2, {}, nullptr, sixColours,
     [](const Pixel& p) { return masked(p, 0xFC, 0xFC, 0xFC); }},
};

// A picture of the case's colours, in runs so that RLE pays.
std::vector<Pixel> picture(const RoundTrip& c, int width, int height, std::mt19937& rng)
{
    std::vector<Pixel> pixels(size_t(width) * height);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = (i > 0 && rng() % 8) ? pixels[i - 1] : c.colour(rng);
    return pixels;
}

// A DIB header and its palette as the caller prepares them.
dt::Dib prepareDib(const RoundTrip& c, int width, int height)
{
    dt::Dib dib(dt::makeHeader(width, height, c.bits, c.compression));
    for (int k = 0; k < 3 && c.compression == BI_BITFIELDS; ++k)
        dib.setSlot(k, c.masks[k]);
    if (c.palette)
        c.palette(dib);
    return dib;
}

TEST(DibRoundTrip, EveryBitCountAndPaletteMode)
{
    std::mt19937 rng(17);
    for (const RoundTrip& c : kRoundTrips) {
        for (int trial = 0; trial < 4; ++trial) {
            const int width = 1 + int(rng() % 40);
            const int height = 1 + int(rng() % 9);
            const bool rle = c.compression == BI_RLE8 || c.compression == BI_RLE4;
            const int dibHeight = (!rle && rng() % 2) ? -height : height;
            SCOPED_TRACE(testing::Message() << c.name << ", " << width << "x" << dibHeight);
            RecordingReporter reporter;
            zt::Image image = header(c.channels, c.depth, c.seq, width, height, rng);
            zanAllocateImage(image.get(), 0, 0);
            const std::vector<Pixel> pixels = picture(c, width, height, rng);
            for (int j = 0; j < height; ++j)
                for (int x = 0; x < width; ++x)
                    setPixel(image.get(), x, j, pixels[j * width + x]);

            dt::Dib dib = prepareDib(c, width, dibHeight);
            dt::Dib sepHeader = prepareDib(c, width, dibHeight);
            Bytes sepData(size_t(dt::rowBytes(width, c.bits) * height));
            zanConvertToDIB(image.get(), dib.header(), ZAN_DITHER_NONE, c.paletteMode);
            ASSERT_EQ(zanConvertToDIBSep(image.get(), sepHeader.header(), sepData.data(), ZAN_DITHER_NONE,
                                         c.paletteMode), 0);
            ASSERT_EQ(reporter.summary(), std::vector<std::string>{});

            // The Sep form writes the same header, palette and pixels.
            const BITMAPINFOHEADER* h = dib.header();
            ASSERT_EQ(0, std::memcmp(h, sepHeader.header(), 40));
            EXPECT_EQ(Bytes(dib.palette(), dib.pixels()), Bytes(sepHeader.palette(), sepHeader.pixels()));
            const size_t written = h->biCompression == c.compression && rle ? h->biSizeImage : sepData.size();
            EXPECT_EQ(Bytes(dib.pixels(), dib.pixels() + written), Bytes(sepData.begin(), sepData.begin() + written));

            zt::Image back = header(c.channels, c.depth, c.seq, width, height, rng);
            zt::Image sepBack = header(c.channels, c.depth, c.seq, width, height, rng);
            zanConvertFromDIB(h, back.get());
            ASSERT_EQ(zanConvertFromDIBSep(sepHeader.header(), sepData.data(), sepBack.get()), 0);
            ASSERT_EQ(reporter.summary(), std::vector<std::string>{});
            for (int j = 0; j < height; ++j)
                for (int x = 0; x < width; ++x) {
                    const Pixel want = c.expect(pixels[j * width + x]);
                    ASSERT_EQ(pixelAt(back.get(), x, j), want) << "x " << x << " row " << j;
                    ASSERT_EQ(pixelAt(sepBack.get(), x, j), want) << "x " << x << " row " << j;
                }
        }
    }
}

TEST(DibRoundTrip, RunsOfOneColourStayCompressed)
{
    std::mt19937 rng(2);
    for (uint32_t compression : {uint32_t{BI_RLE8}, uint32_t{BI_RLE4}}) {
        const int bits = compression == BI_RLE8 ? 8 : 4;
        zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 1, 64, 5}, 128);
        dt::Dib dib(dt::makeHeader(64, 5, bits, compression));
        RecordingReporter reporter;
        zanConvertToDIB(image.get(), dib.header(), ZAN_DITHER_NONE, ZAN_PALETTE_STANDARD);
        EXPECT_EQ(dib.header()->biCompression, compression);
        EXPECT_LT(dib.header()->biSizeImage, uint32_t(dt::rowBytes(64, bits) * 5));
        zt::Image back = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 1, 64, 5}, 7);
        zanConvertFromDIB(dib.header(), back.get());
        // 128 is an entry of the 256-gray ramp; of the 16-gray ramp 136 is
        // nearest. The sequence BGRA takes red, unweighted.
        const int gray = bits == 8 ? 128 : 136;
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(zt::sampleAt(back.get(), x, y, 0), gray);
        EXPECT_TRUE(reporter.reports().empty());
    }
}

// ---------------------------------------------------------------------------
// The DIB's bytes and the image's samples, by the published layout

TEST(DibLayout, WrittenPixelsFollowThePublishedFormats)
{
    std::mt19937 rng(8);
    const int width = 7, height = 3;
    zt::Image image = zt::makeRandomImage(zt::Shape{ZAN_DEPTH_8U, 4, width, height, ZAN_DATA_ORDER_PIXEL, 4}, rng);
    std::memcpy(image->channelSeq, "RGBA", 4);
    for (int bits : {16, 24, 32}) {
        SCOPED_TRACE(bits);
        dt::Dib dib(dt::makeHeader(width, height, bits));
        RecordingReporter reporter;
        zanConvertToDIB(image.get(), dib.header(), ZAN_DITHER_NONE, ZAN_PALETTE_KEEP);
        ASSERT_TRUE(reporter.reports().empty());
        const int64_t step = dt::rowBytes(width, bits);
        for (int j = 0; j < height; ++j)
            for (int x = 0; x < width; ++x) {
                const Pixel p = pixelAt(image.get(), x, j);
                const uint8_t* at = dib.pixels() + dibRow(dib.header(), j) * step + x * bits / 8;
                uint32_t word = 0;
                std::memcpy(&word, at, size_t(bits / 8));
                uint32_t want = 0;
                if (bits == 16)
                    want = uint32_t((p[0] >> 3) << 10 | (p[1] >> 3) << 5 | p[2] >> 3);
                if (bits == 24)
                    want = uint32_t(p[0] << 16 | p[1] << 8 | p[2]);
                if (bits == 32)
                    want = uint32_t(p[3]) << 24 | uint32_t(p[0] << 16 | p[1] << 8 | p[2]);
                ASSERT_EQ(word, want) << "x " << x << " row " << j;
            }
    }
}

TEST(DibLayout, IndexedPixelsPackFromTheHighBit)
{
    // Gray 0 and 255 at alternate columns, a standard 1-bit and 4-bit DIB.
    zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 1, 11, 1});
    for (int x = 0; x < 11; ++x)
        zt::setSampleAt(image.get(), x, 0, 0, x % 3 ? 255 : 0);
    dt::Dib one(dt::makeHeader(11, 1, 1));
    dt::Dib four(dt::makeHeader(11, 1, 4));
    zanConvertToDIB(image.get(), one.header(), ZAN_DITHER_NONE, ZAN_PALETTE_STANDARD);
    zanConvertToDIB(image.get(), four.header(), ZAN_DITHER_NONE, ZAN_PALETTE_STANDARD);
    // Columns 0, 3, 6, 9 black: 0110 1101 1010 ....
    EXPECT_EQ(one.pixels()[0], 0x6D);
    EXPECT_EQ(one.pixels()[1] & 0xE0, 0xA0 & 0xE0);
    const Bytes nibbles(four.pixels(), four.pixels() + 6);
    EXPECT_EQ(nibbles, (Bytes{0x0F, 0xF0, 0xFF, 0x0F, 0xF0, 0xF0}));
}

struct ReadCase {
    const char* name;
    int bits;
    uint32_t compression;
    Bytes pixelBytes;           // one row
    std::vector<uint32_t> slots; // palette or masks
    int channels;
    const char* seq;
    Pixel want; // first pixel
};

const ReadCase kReads[] = {
    {"5-5-5 white reads 248", 16, BI_RGB, {0xFF, 0x7F, 0, 0}, {}, 3, "RGB", {248, 248, 248, 0}},
    {"5-5-5 red", 16, BI_RGB, {0x00, 0x7C, 0, 0}, {}, 3, "BGR", {0, 0, 248, 0}},
    {"gray of white is 254", 24, BI_RGB, {255, 255, 255, 0}, {}, 1, "GRAY", {254, 0, 0, 0}},
    {"gray weights", 24, BI_RGB, {10, 100, 200, 0}, {}, 1, "G\0\0", {(54 * 200 + 183 * 100 + 18 * 10) / 256, 0, 0, 0}},
    {"24 bits give alpha 0", 24, BI_RGB, {1, 2, 3, 0}, {}, 4, "BGRA", {1, 2, 3, 0}},
    {"32 bits lose alpha in three channels", 32, BI_RGB, {1, 2, 3, 4}, {}, 3, "RGB", {3, 2, 1, 0}},
    {"32 bits keep alpha", 32, BI_RGB, {1, 2, 3, 4}, {}, 4, "RGBA", {3, 2, 1, 4}},
    {"palette entry with its reserved byte", 8, BI_RGB, {1, 0, 0, 0}, {0, 0x7F102030}, 4, "BGRA", {0x30, 0x20, 0x10, 0x7F}},
    {"index past the palette reads black", 8, BI_RGB, {5, 0, 0, 0}, {0xFFFFFF, 0xFFFFFF}, 3, "RGB", {0, 0, 0, 0}},
    {"zero mask reads 0", 16, BI_BITFIELDS, {0xFF, 0xFF, 0, 0}, {0, 0x03E0, 0x001F}, 3, "RGB", {0, 248, 248, 0}},
};

TEST(DibLayout, ReadersAndAdaptors)
{
    for (const ReadCase& c : kReads) {
        SCOPED_TRACE(c.name);
        dt::Dib dib(dt::makeHeader(1, 1, c.bits, c.compression, c.bits <= 8 ? uint32_t(c.slots.size()) : 0));
        for (size_t k = 0; k < c.slots.size(); ++k)
            dib.setSlot(int(k), c.slots[k]);
        std::copy(c.pixelBytes.begin(), c.pixelBytes.end(), dib.pixels());
        zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, c.channels, 1, 1, ZAN_DATA_ORDER_PIXEL,
                                                  c.channels == 4 ? 4 : 0});
        std::memcpy(image->channelSeq, c.seq, 4);
        RecordingReporter reporter;
        zanConvertFromDIB(dib.header(), image.get());
        EXPECT_TRUE(reporter.reports().empty());
        EXPECT_EQ(pixelAt(image.get(), 0, 0), c.want);
    }
}

TEST(DibLayout, SmallerDibLeavesTheRestOfTheImage)
{
    zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 3, 5, 4, ZAN_DATA_ORDER_PIXEL, 0, 4, ZAN_ORIGIN_BOTTOM_LEFT}, 9);
    dt::Dib dib(dt::makeHeader(3, -2, 24));
    std::fill(dib.pixels(), dib.end(), uint8_t{200});
    RecordingReporter reporter;
    zanConvertFromDIB(dib.header(), image.get());
    EXPECT_TRUE(reporter.reports().empty());
    for (int j = 0; j < 4; ++j)
        for (int x = 0; x < 5; ++x) {
            const int want = (j < 2 && x < 3) ? 200 : 9;
            EXPECT_EQ(pixelAt(image.get(), x, j), (Pixel{want, want, want, 0})) << x << "," << j;
        }
}

TEST(DibLayout, MedianCutShortensThePaletteAndMovesThePixels)
{
    zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 1, 4, 1});
    for (int x = 0; x < 4; ++x)
        zt::setSampleAt(image.get(), x, 0, 0, x < 2 ? 40 : 160);
    // Room for 16 entries; the cut finds two gray values.
    dt::Dib dib(dt::makeHeader(4, 1, 4));
    zanConvertToDIB(image.get(), dib.header(), ZAN_DITHER_NONE, ZAN_PALETTE_MEDIAN_CUT);
    ASSERT_EQ(dib.header()->biClrUsed, 2u);
    const uint8_t* pixels = dib.palette() + 8;
    EXPECT_EQ(pixels[0], 0x00);
    EXPECT_EQ(pixels[1], 0x11);
}

TEST(DibDither, ReducesThroughTheTemporaryImage)
{
    std::mt19937 rng(4);
    zt::Image image = zt::makeRandomImage(zt::Shape{ZAN_DEPTH_8U, 3, 13, 6}, rng);
    std::memcpy(image->channelSeq, "RGB\0", 4);
    for (int dither : {ZAN_DITHER_FS, ZAN_DITHER_JJH, ZAN_DITHER_STUCKEY, ZAN_DITHER_BAYER}) {
        SCOPED_TRACE(dither);
        RecordingReporter reporter;
        // The same reduction, done here through the public functions.
        zt::Image reduced = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 3, 13, 6});
        std::memcpy(reduced->channelSeq, "RGB\0", 4);
        zanReduceBits(image.get(), reduced.get(), 0, dither, 8);
        dt::Dib want(dt::makeHeader(13, 6, 24));
        zanConvertToDIB(reduced.get(), want.header(), ZAN_DITHER_NONE, ZAN_PALETTE_KEEP);
        dt::Dib got(dt::makeHeader(13, 6, 24));
        zanConvertToDIB(image.get(), got.header(), dither, ZAN_PALETTE_KEEP);
        EXPECT_TRUE(reporter.reports().empty());
        EXPECT_EQ(want.bytes(), got.bytes());
    }
}

TEST(DibDither, BitonalDibAndBitonalSourceCannotBeDithered)
{
    RecordingReporter reporter;
    zt::Image gray = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 1, 8, 2});
    dt::Dib dib(dt::makeHeader(8, 2, 1));
    zanConvertToDIB(gray.get(), dib.header(), ZAN_DITHER_FS, ZAN_PALETTE_STANDARD);
    ASSERT_FALSE(reporter.reports().empty());
    EXPECT_EQ(reporter.summary().back(), "zanConvertToDIB: Dithering can't be produced");
    EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_INTERNAL);

    reporter.clear();
    zanSetErrStatus(0);
    zt::Image bits = zt::makeImage(zt::Shape{ZAN_DEPTH_1U, 1, 8, 2});
    dt::Dib dib8(dt::makeHeader(8, 2, 8));
    EXPECT_EQ(zanConvertToDIBSep(bits.get(), dib8.header(), dib8.pixels(), ZAN_DITHER_BAYER, 1), ZAN_STATUS_INTERNAL);
    EXPECT_EQ(reporter.summary().back(), "zanConvertToDIBSep: Dithering can't be produced");
}

// ---------------------------------------------------------------------------
// zanTranslateDIB

struct Translated {
    zt::Image image;
    int clone = -1;
};

Translated translate(dt::Dib& dib)
{
    Translated t;
    ZanImage* image = zanTranslateDIB(dib.header(), &t.clone);
    if (image && t.clone == 0) {
        // The DIB keeps the data: take the header alone.
        zt::Image copy(zanCloneImage(image));
        zanDeallocate(image, ZAN_FREE_HEADER);
        t.image = std::move(copy);
        return t;
    }
    t.image.reset(image);
    return t;
}

TEST(TranslateDib, SharesTopDown24Bits)
{
    RecordingReporter reporter;
    dt::Dib dib(dt::makeHeader(5, -3, 24));
    for (size_t i = 0; i < dib.bytes().size() - 40; ++i)
        dib.pixels()[i] = uint8_t(i * 7);
    int clone = -1;
    ZanImage* image = zanTranslateDIB(dib.header(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(clone, 0);
    EXPECT_EQ(image->origin, ZAN_ORIGIN_TOP_LEFT);
    EXPECT_EQ(image->align, 4);
    EXPECT_EQ(image->dataOrder, ZAN_DATA_ORDER_PIXEL);
    EXPECT_EQ(image->imageData, reinterpret_cast<char*>(dib.pixels()));
    EXPECT_EQ(image->widthStep, 16);
    EXPECT_EQ(image->imageSize, 48);
    EXPECT_EQ(std::string(image->channelSeq, 3), "BGR");
    zanDeallocate(image, ZAN_FREE_HEADER);
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(TranslateDib, BitonalPalettesShareOrClone)
{
    RecordingReporter reporter;
    for (bool whiteFirst : {false, true}) {
        dt::Dib dib(dt::makeHeader(10, 2, 1));
        dib.setEntry(0, whiteFirst ? 255 : 0, whiteFirst ? 255 : 0, whiteFirst ? 255 : 0);
        dib.setEntry(1, whiteFirst ? 0 : 255, whiteFirst ? 0 : 255, whiteFirst ? 0 : 255);
        dib.pixels()[0] = 0xA0; // bottom stored row: columns 0 and 2 set
        Translated t = translate(dib);
        ASSERT_TRUE(t.image);
        if (!whiteFirst) {
            EXPECT_EQ(t.clone, 0);
            EXPECT_EQ(t.image->depth, ZAN_DEPTH_1U);
            EXPECT_EQ(t.image->nChannels, 1);
            EXPECT_EQ(t.image->origin, ZAN_ORIGIN_BOTTOM_LEFT);
            continue;
        }
        EXPECT_EQ(t.clone, 1);
        EXPECT_EQ(t.image->nChannels, 3);
        EXPECT_EQ(t.image->dataOrder, ZAN_DATA_ORDER_PLANE);
        EXPECT_EQ(t.image->align, 32);
        // Picture row 1 is the bottom stored row; a set bit is black here.
        EXPECT_EQ(pixelAt(t.image.get(), 0, 1), (Pixel{0, 0, 0, 0}));
        EXPECT_EQ(pixelAt(t.image.get(), 1, 1), (Pixel{255, 255, 255, 0}));
    }
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(TranslateDib, GrayRampsAndCompressedGray)
{
    RecordingReporter reporter;
    // A 16-entry gray ramp in an 8-bit DIB shares its indices as they stand.
    dt::Dib shortRamp(dt::makeHeader(4, 1, 8, BI_RGB, 16));
    for (int i = 0; i < 16; ++i)
        shortRamp.setEntry(i, uint8_t(i * 17), uint8_t(i * 17), uint8_t(i * 17));
    shortRamp.pixels()[2] = 15;
    Translated shared = translate(shortRamp);
    EXPECT_EQ(shared.clone, 0);
    EXPECT_EQ(zt::sampleAt(shared.image.get(), 2, 0, 0), 15);

    dt::Dib rle(dt::makeHeader(4, 2, 8, BI_RLE8), 8);
    for (int i = 0; i < 256; ++i)
        rle.setEntry(i, uint8_t(i), uint8_t(i), uint8_t(i));
    const uint8_t stream[] = {4, 100, 0, 0, 4, 0, 0, 1};
    std::memcpy(rle.pixels(), stream, 8);
    Translated cloned = translate(rle);
    ASSERT_TRUE(cloned.image);
    EXPECT_EQ(cloned.clone, 1);
    EXPECT_EQ(cloned.image->dataOrder, ZAN_DATA_ORDER_PLANE);
    EXPECT_EQ(cloned.image->align, 32);
    EXPECT_EQ(cloned.image->nChannels, 1);
    EXPECT_EQ(pixelAt(cloned.image.get(), 3, 1), (Pixel{100 * 255 / 256, 0, 0, 0}));
    EXPECT_EQ(pixelAt(cloned.image.get(), 3, 0), (Pixel{0, 0, 0, 0}));
    EXPECT_TRUE(reporter.reports().empty());
}

TEST(TranslateDib, FormatsByBitCount)
{
    struct Case {
        int bits;
        uint32_t compression;
        int channels;
        int clone;
    };
    const Case cases[] = {{4, BI_RGB, 3, 1}, {8, BI_RGB, 3, 1}, {16, BI_RGB, 3, 1}, {32, BI_RGB, 4, 0}, {32, BI_BITFIELDS, 4, 1}};
    RecordingReporter reporter;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        dt::Dib dib(dt::makeHeader(3, 2, c.bits, c.compression));
        if (c.compression == BI_BITFIELDS) {
            dib.setSlot(0, 0xFF0000);
            dib.setSlot(1, 0xFF00);
            dib.setSlot(2, 0xFF);
        }
        if (c.bits <= 8)
            dib.setEntry(0, 0, 0, 9); // not a gray ramp
        Translated t = translate(dib);
        ASSERT_TRUE(t.image);
        EXPECT_EQ(t.clone, c.clone);
        EXPECT_EQ(t.image->nChannels, c.channels);
        EXPECT_EQ(t.image->alphaChannel, c.channels == 4 ? 4 : 0);
        EXPECT_EQ(t.image->depth, ZAN_DEPTH_8U);
    }
    EXPECT_TRUE(reporter.reports().empty());
}

} // namespace
