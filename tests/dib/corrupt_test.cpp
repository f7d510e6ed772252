// Random bytes as streams and headers: every outcome is a picture or one of
// the stated reports, and no access leaves the blocks, which are sized
// exactly so that the sanitizers see any that does.
#include "dib_util.h"

#include "color/own_rle.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using zt::RecordingReporter;

// Bytes that are often commands: zeros and small counts.
std::vector<uint8_t> randomStream(std::mt19937& rng, size_t length)
{
    std::vector<uint8_t> out(length);
    for (uint8_t& b : out) {
        const unsigned pick = rng() % 4;
        b = uint8_t(pick == 0 ? 0 : pick == 1 ? rng() % 4 : pick == 2 ? rng() % 16 : rng() % 256);
    }
    return out;
}

TEST(CorruptInput, RandomStreamsDecodeOrReportAStreamFault)
{
    std::mt19937 rng(23);
    std::set<std::string> texts;
    int decoded = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        const bool nibbles = trial % 2;
        const std::string format = nibbles ? "BI_RLE4" : "BI_RLE8";
        BITMAPINFOHEADER h = dt::makeHeader(1 + int(rng() % 12), 1 + int(rng() % 5), nibbles ? 4 : 8,
                                            nibbles ? BI_RLE4 : BI_RLE8);
        const std::vector<uint8_t> stream = randomStream(rng, 1 + rng() % 64);
        h.biSizeImage = uint32_t(stream.size());
        RecordingReporter reporter;
        uint8_t* block = ownRLEDecodeSep(&h, stream.data(), "zanConvertFromDIBSep");
        if (block) {
            ++decoded;
            EXPECT_TRUE(reporter.reports().empty());
            zanFree(block);
            continue;
        }
        ASSERT_EQ(reporter.reports().size(), 1u);
        EXPECT_EQ(reporter.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
        const std::string& text = reporter.reports()[0].context;
        ASSERT_EQ(text.rfind("Incorrect format of " + format + " DIB (", 0), 0u) << text;
        texts.insert(text.substr(text.find("DIB (")));
    }
    EXPECT_GT(decoded, 0);
    // Every kind of fault came up.
    EXPECT_EQ(texts, (std::set<std::string>{"DIB (bad Delta command)", "DIB (mismatch biHeight or biWidth)",
                                            "DIB (mismatch biHeight)", "DIB (mismatch biWidth)"}));
}

TEST(CorruptInput, RandomHeadersReadOnlyTheirBlocks)
{
    std::mt19937 rng(31);
    const int bitCounts[] = {0, 1, 2, 4, 8, 16, 24, 32};
    for (int trial = 0; trial < 3000; ++trial) {
        const int bits = bitCounts[rng() % 8];
        const uint32_t compression = rng() % 5;
        const int width = 1 + int(rng() % 9);
        const int height = (1 + int(rng() % 6)) * (rng() % 3 ? 1 : -1);
        BITMAPINFOHEADER h = dt::makeHeader(width, height, bits, compression, rng() % 3 ? 0 : rng() % 20);
        // Header and palette in one exact block, pixels (or a stream) in
        // another; neither is empty, so that the Sep form takes both.
        std::vector<uint8_t> headerBlock(size_t(40 + 4 * dt::slotsOf(h)));
        for (uint8_t& b : headerBlock)
            b = uint8_t(rng());
        const bool rle = compression == BI_RLE8 || compression == BI_RLE4;
        std::vector<uint8_t> data = randomStream(rng, 1 + rng() % 80);
        if (!rle) {
            data.resize(std::max<size_t>(1, size_t(dt::rowBytes(width, bits) * std::abs(height))));
            for (uint8_t& b : data)
                b = uint8_t(rng());
        }
        h.biSizeImage = uint32_t(data.size());
        std::memcpy(headerBlock.data(), &h, 40);
        const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(headerBlock.data());
        const int channels = (rng() % 3 == 0) ? 1 : (rng() % 2 ? 3 : 4);
        zt::Image image(zanCreateImageHeader(channels, channels == 4 ? 4 : 0,
                                             rng() % 4 ? ZAN_DEPTH_8U : ZAN_DEPTH_16U, "RGB",
                                             channels == 1 ? "GRAY" : "BGRA", int(rng() % 2), int(rng() % 2),
                                             4, 10, 7, nullptr, nullptr, nullptr, nullptr));
        RecordingReporter reporter;
        const ZanStatus status = zanConvertFromDIBSep(header, data.data(), image.get());
        EXPECT_LE(status, 0);
        EXPECT_EQ(status == 0, reporter.reports().empty()) << "trial " << trial;
    }
}

// A random DIB header of any bit count, compression and palette length.
BITMAPINFOHEADER randomTarget(std::mt19937& rng, int width, int height)
{
    const int bitCounts[] = {1, 2, 4, 8, 16, 24, 32};
    const int bits = bitCounts[rng() % 7];
    uint32_t compression = BI_RGB;
    if (rng() % 2 && (bits == 4 || bits == 8))
        compression = bits == 8 ? BI_RLE8 : BI_RLE4;
    if (rng() % 2 && (bits == 16 || bits == 32))
        compression = BI_BITFIELDS;
    const bool rle = compression == BI_RLE8 || compression == BI_RLE4;
    const uint32_t clrUsed = (bits <= 8 && rng() % 2) ? 1 + rng() % (1u << bits) : 0;
    return dt::makeHeader(width, (rle || rng() % 2) ? height : -height, bits, compression, clrUsed);
}

TEST(CorruptInput, EveryTargetIsWrittenWithinItsBlocks)
{
    std::mt19937 rng(41);
    const char* sequences[][2] = {{"G\0\0", "GRAY"}, {"RGB", "BGR"}, {"RGBA", "BGRA"}};
    const int dithers[] = {ZAN_DITHER_NONE, ZAN_DITHER_FS, ZAN_DITHER_JJH, ZAN_DITHER_STUCKEY, ZAN_DITHER_BAYER};
    for (int trial = 0; trial < 1500; ++trial) {
        const int kind = int(rng() % 3);
        const int channels = kind == 0 ? 1 : kind == 1 ? 3 : 4;
        const uint32_t depth = (channels == 1 && rng() % 4 == 0) ? ZAN_DEPTH_1U : rng() % 3 ? ZAN_DEPTH_8U : ZAN_DEPTH_16U;
        const int width = 1 + int(rng() % 12);
        const int height = 1 + int(rng() % 6);
        zt::Image image(zanCreateImageHeader(channels, channels == 4 ? 4 : 0, depth, "RGB", sequences[kind][rng() % 2],
                                             depth == ZAN_DEPTH_1U ? 0 : int(rng() % 2), int(rng() % 2), 4, width,
                                             height, nullptr, nullptr, nullptr, nullptr));
        zanAllocateImage(image.get(), 0, 0);
        zt::fillRandom(image.get(), rng);
        BITMAPINFOHEADER h = randomTarget(rng, width, height);
        const int dither = dithers[rng() % 5];
        const int palette = int(rng() % 3);
        SCOPED_TRACE(testing::Message() << "trial " << trial << ", " << h.biBitCount << " bits, compression "
                                        << h.biCompression << ", dither " << dither << ", palette " << palette);
        dt::Dib dib(h);
        std::vector<uint8_t> headerBlock(size_t(40 + 4 * dt::slotsOf(h)));
        std::memcpy(headerBlock.data(), &h, 40);
        for (int k = 0; k < 3 && h.biCompression == BI_BITFIELDS; ++k) {
            const uint32_t mask = uint32_t(rng()) & (h.biBitCount == 16 ? 0xFFFFu : 0xFFFFFFFFu);
            dib.setSlot(k, mask);
            std::memcpy(headerBlock.data() + 40 + 4 * k, &mask, 4);
        }
        std::vector<uint8_t> data(size_t(dt::rowBytes(width, h.biBitCount) * height));
        RecordingReporter reporter;
        zanConvertToDIB(image.get(), dib.header(), dither, palette);
        EXPECT_EQ(zanGetErrStatus() == 0, reporter.reports().empty());
        reporter.clear();
        zanSetErrStatus(0);
        const ZanStatus status = zanConvertToDIBSep(image.get(), reinterpret_cast<BITMAPINFOHEADER*>(headerBlock.data()),
                                                    data.data(), dither, palette);
        EXPECT_LE(status, 0);
        EXPECT_EQ(status == 0, reporter.reports().empty());
    }
}

} // namespace
