// Refusals of the DIB conversions: each check in its order with its text and
// status, and what the Sep forms return; corrupt headers and streams end
// with their report and leave the pixels alone.
#include "dib_util.h"

#include "zan_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using zt::RecordingReporter;

// A valid conversion between a 4 by 3 RGB image and a 24-bit DIB, which each
// case spoils in one way.
struct Fixture {
    zt::Image image = zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 3, 4, 3}, 77);
    dt::Dib dib{dt::makeHeader(4, 3, 24)};
    std::vector<uint8_t> data = std::vector<uint8_t>(48, 0);
    ZanImage* imagePtr = image.get();
    BITMAPINFOHEADER* dibPtr = dib.header();
    uint8_t* dataPtr = data.data();
    Fixture() { std::memcpy(image->channelSeq, "RGB", 4); }
    BITMAPINFOHEADER& h() { return *dib.header(); }
};

struct Refusal {
    const char* name;
    std::function<void(Fixture&)> spoil;
    const char* text;    // of the one-block form
    const char* sepText; // of the Sep form
    int sepReturn;       // what the Sep form returns
    int status = ZAN_STATUS_BAD_ARGUMENT;
};

void expectLast(const RecordingReporter& reporter, const std::string& function, const char* text, int status)
{
    ASSERT_FALSE(reporter.reports().empty());
    const auto& last = reporter.reports().back();
    EXPECT_EQ(last.function, function);
    EXPECT_EQ(last.context, text);
    EXPECT_EQ(last.status, status);
}

const std::vector<Refusal> kFromRefusals = {
    {"negative alpha", [](Fixture& s) { s.image->alphaChannel = -1; }, "( image->alphaChannel < 0 )",
     "( image->alphaChannel < 0 )", ZAN_STATUS_ALPHA},
    {"alpha past the channels", [](Fixture& s) { s.image->alphaChannel = 4; }, "( image->nChannels < image->alphaChannel )",
     "( image->nChannels < image->alphaChannel )", ZAN_STATUS_ALPHA},
    {"data order", [](Fixture& s) { s.image->dataOrder = 2; }, "( (image->dataOrder != 0) && (image->dataOrder != 1) )",
     "( (image->dataOrder != 0) && (image->dataOrder != 1) )", ZAN_STATUS_ORDER},
    {"origin", [](Fixture& s) { s.image->origin = 2; }, "( (image->origin != 0) && (image->origin != 1) )",
     "( (image->origin != 0) && (image->origin != 1) )", ZAN_STATUS_ORIGIN},
    {"align", [](Fixture& s) { s.image->align = 2; },
     "( (image->align != 4) && (image->align != 8) && (image->align != 16) && (image->align != 32) )",
     "( (image->align != 4) && (image->align != 8) && (image->align != 16) && (image->align != 32) )", ZAN_STATUS_ALIGN},
    {"height", [](Fixture& s) { s.image->height = 0; }, "(image->height <= 0)", "(image->height <= 0)", ZAN_STATUS_IMAGE_SIZE},
    {"width", [](Fixture& s) { s.image->width = -1; }, "(image->width <= 0)", "(image->width <= 0)", ZAN_STATUS_IMAGE_SIZE},
    {"image size", [](Fixture& s) { s.image->imageSize = 0; }, "(image->imageSize <= 0)", "(image->imageSize <= 0)", ZAN_STATUS_IMAGE_SIZE},
    {"width step", [](Fixture& s) { s.image->widthStep = 0; }, "(image->widthStep <= 0)", "(image->widthStep <= 0)", ZAN_STATUS_WIDTH_STEP},
    {"header size", [](Fixture& s) { s.h().biSize = 124; }, "(dib->biSize != sizeof(BITMAPINFOHEADER))",
     "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", ZAN_STATUS_BAD_ARGUMENT},
    {"planes", [](Fixture& s) { s.h().biPlanes = 0; }, "(dib->biPlanes != 1)", "(dibHeader->biPlanes != 1)", ZAN_STATUS_BAD_ARGUMENT},
    {"compression", [](Fixture& s) { s.h().biCompression = 4; },
     "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)",
     "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( dibHeader->biCompression != 2 ) && "
     "( dibHeader->biCompression != 3 ) )",
     ZAN_STATUS_BAD_ARGUMENT},
    {"RLE8 of 24 bits", [](Fixture& s) { s.h().biCompression = BI_RLE8; }, "(dib->biBitCount != 8) && (dib->biCompression == 1)",
     "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)", ZAN_STATUS_BAD_ARGUMENT},
    {"RLE4 of 24 bits", [](Fixture& s) { s.h().biCompression = BI_RLE4; }, "(dib->biBitCount != 4) && (dib->biCompression == 2)",
     "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)", ZAN_STATUS_BAD_ARGUMENT},
    {"top-down RLE", [](Fixture& s) { s.h().biCompression = BI_RLE4; s.h().biBitCount = 4; s.h().biHeight = -3; },
     "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )",
     "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == 2) )", ZAN_STATUS_BAD_ARGUMENT},
    {"palette too long", [](Fixture& s) { s.h().biClrUsed = 0x8001; }, "(dib->biClrUsed > 0x8000)",
     "(dibHeader->biClrUsed > 0x8000)", ZAN_STATUS_BAD_ARGUMENT},
    {"8-bit palette too long", [](Fixture& s) { s.h().biBitCount = 8; s.h().biClrUsed = 257; },
     "( dib->biBitCount==8 && dib->biClrUsed>256 )", "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)", ZAN_STATUS_BAD_ARGUMENT},
    {"4-bit palette too long", [](Fixture& s) { s.h().biBitCount = 4; s.h().biClrUsed = 17; },
     "( dib->biBitCount==4 && dib->biClrUsed>16 )", "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )", ZAN_STATUS_BAD_ARGUMENT},
    {"DIB larger than the image", [](Fixture& s) { s.h().biHeight = -4; }, "Image size is too small", "Image size is too small",
     ZAN_STATUS_IMAGE_SIZE, ZAN_STATUS_IMAGE_SIZE},
    {"channel sequence", [](Fixture& s) { std::memcpy(s.image->channelSeq, "YUV", 4); }, "image->channelSeq unsupport",
     "image->channelSeq unsupport", ZAN_STATUS_MODEL_OR_SEQ, ZAN_STATUS_MODEL_OR_SEQ},
    {"bit count", [](Fixture& s) { s.h().biBitCount = 2; }, "", "", ZAN_STATUS_INTERNAL, ZAN_STATUS_INTERNAL},
    {"image without a writer", [](Fixture& s) { s.image->depth = ZAN_DEPTH_8S; }, "", "", ZAN_STATUS_INTERNAL, ZAN_STATUS_INTERNAL},
};

TEST(FromDibRefusals, EachCheckWithItsTextAndReturn)
{
    for (const Refusal& c : kFromRefusals) {
        SCOPED_TRACE(c.name);
        for (bool sep : {false, true}) {
            Fixture s;
            c.spoil(s);
            const std::vector<uint8_t> before = zt::bytesOf(s.image.get());
            RecordingReporter reporter;
            if (sep)
                EXPECT_EQ(zanConvertFromDIBSep(s.dibPtr, s.dataPtr, s.imagePtr), c.sepReturn);
            else
                zanConvertFromDIB(s.dibPtr, s.imagePtr);
            EXPECT_EQ(reporter.reports().size(), 1u);
            expectLast(reporter, sep ? "zanConvertFromDIBSep" : "zanConvertFromDIB", sep ? c.sepText : c.text, c.status);
            EXPECT_EQ(reporter.reports().back().source, sep ? "zandibsp" : "zandib");
            EXPECT_EQ(zt::bytesOf(s.image.get()), before);
        }
    }
}

TEST(FromDibRefusals, NullArguments)
{
    RecordingReporter reporter;
    zanConvertFromDIB(nullptr, nullptr);
    EXPECT_EQ(reporter.summary(), (std::vector<std::string>{"zanConvertFromDIB: dib==0", "zanConvertFromDIB: image==0"}));
    Fixture s;
    const struct {
        const BITMAPINFOHEADER* dib;
        const uint8_t* data;
        ZanImage* image;
        const char* text;
        int returned;
    } cases[] = {
        {nullptr, s.dataPtr, s.imagePtr, "( 0 == dibHeader )", ZAN_STATUS_BAD_ARGUMENT},
        {s.dibPtr, nullptr, s.imagePtr, "( 0 == dibData )", ZAN_STATUS_BAD_ARGUMENT},
        {s.dibPtr, s.dataPtr, nullptr, "( 0 == image )", ZAN_STATUS_NULL_HEADER},
    };
    for (const auto& c : cases) {
        reporter.clear();
        EXPECT_EQ(zanConvertFromDIBSep(c.dib, c.data, c.image), c.returned);
        expectLast(reporter, "zanConvertFromDIBSep", c.text, ZAN_STATUS_BAD_ARGUMENT);
    }
}

TEST(FromDibRefusals, TiledImagesAreRefused)
{
    zt::TiledImage tiled(zt::Shape{ZAN_DEPTH_8U, 3, 4, 3}, 8, 8);
    Fixture s;
    RecordingReporter reporter;
    EXPECT_EQ(zanConvertFromDIBSep(s.dibPtr, s.dataPtr, tiled.header()), ZAN_STATUS_DATA_OR_TILE);
    expectLast(reporter, "zanConvertFromDIBSep", "( image->tileInfo != 0 )", ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_TRUE(tiled.calls.empty());
}

TEST(FromDibRefusals, CorruptStreamKeepsTheImageAndItsStatus)
{
    for (bool sep : {false, true}) {
        SCOPED_TRACE(sep ? "Sep" : "one block");
        Fixture s;
        s.h().biBitCount = 8;
        s.h().biCompression = BI_RLE8;
        const uint8_t stream[] = {4, 1, 0, 0, 5, 1}; // a run past the second row
        s.h().biSizeImage = sizeof stream;
        dt::Dib dib(s.h(), sizeof stream);
        std::memcpy(dib.pixels(), stream, sizeof stream);
        std::vector<uint8_t> data(stream, stream + sizeof stream);
        const std::vector<uint8_t> before = zt::bytesOf(s.image.get());
        RecordingReporter reporter;
        const std::string function = sep ? "zanConvertFromDIBSep" : "zanConvertFromDIB";
        std::vector<std::string> want = {function + ": Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"};
        if (sep) {
            EXPECT_EQ(zanConvertFromDIBSep(dib.header(), data.data(), s.imagePtr), ZAN_STATUS_BAD_ARGUMENT);
        } else {
            zanConvertFromDIB(dib.header(), s.imagePtr);
            want.push_back(function + ": Impossible to decompress RLE DIB");
            EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_INTERNAL);
        }
        EXPECT_EQ(reporter.summary(), want);
        EXPECT_EQ(zt::bytesOf(s.image.get()), before);
    }
}

const std::vector<Refusal> kToRefusals = {
    {"two channels", [](Fixture& s) { s.image.reset(zt::makeImage(zt::Shape{ZAN_DEPTH_8U, 2, 4, 3}).release()); s.imagePtr = s.image.get(); },
     "(image->nChannels != 3 && image->nChannels != 1)", "(image->nChannels != 3 && image->nChannels != 1)", ZAN_STATUS_CHANNELS},
    {"signed depth", [](Fixture& s) { s.image.reset(zt::makeImage(zt::Shape{ZAN_DEPTH_16S, 3, 4, 3}).release()); s.imagePtr = s.image.get(); },
     "( (image->depth != 1) && (image->depth != 8) && (image->depth != 16) )",
     "( (image->depth != 1) && (image->depth != 8) && (image->depth != 16) )", ZAN_STATUS_DEPTH},
    {"other size", [](Fixture& s) { s.h().biHeight = -4; }, "(image->width != dib->biWidth || image->height != abs_biHeight)",
     "( image->width != dibHeader->biWidth || image->height != abs_biHeight )", ZAN_STATUS_IMAGE_SIZE},
    {"header size", [](Fixture& s) { s.h().biSize = 12; }, "(dib->biSize != sizeof(BITMAPINFOHEADER))",
     "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", ZAN_STATUS_BAD_ARGUMENT},
    {"planes", [](Fixture& s) { s.h().biPlanes = 3; }, "(dib->biPlanes != 1)", "(dibHeader->biPlanes != 1)", ZAN_STATUS_BAD_ARGUMENT},
    {"compression", [](Fixture& s) { s.h().biCompression = 5; },
     "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)",
     "(dibHeader->biCompression != 0) && (dibHeader->biCompression != 1) && (dibHeader->biCompression != 2) && "
     "(dibHeader->biCompression != 3)",
     ZAN_STATUS_BAD_ARGUMENT},
    {"RLE8 of 24 bits", [](Fixture& s) { s.h().biCompression = BI_RLE8; }, "(dib->biBitCount != 8) && (dib->biCompression == 1)",
     "( (dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1) )", ZAN_STATUS_BAD_ARGUMENT},
    {"RLE4 of 24 bits", [](Fixture& s) { s.h().biCompression = BI_RLE4; }, "(dib->biBitCount != 4) && (dib->biCompression == 2)",
     "( (dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2) )", ZAN_STATUS_BAD_ARGUMENT},
    {"top-down RLE", [](Fixture& s) { s.h().biCompression = BI_RLE8; s.h().biBitCount = 8; s.h().biHeight = -3; },
     "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )",
     "( (dibHeader->biHeight < 0) && ((dibHeader->biCompression == 1) || (dibHeader->biCompression == 2)) )", ZAN_STATUS_BAD_ARGUMENT},
    {"palette too long", [](Fixture& s) { s.h().biClrUsed = 0x9000; }, "(dib->biClrUsed > 0x8000)",
     "(dibHeader->biClrUsed > 0x8000)", ZAN_STATUS_BAD_ARGUMENT},
    {"8-bit palette too long", [](Fixture& s) { s.h().biBitCount = 8; s.h().biClrUsed = 300; },
     "( dib->biBitCount==8 && dib->biClrUsed>256 )", "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)", ZAN_STATUS_BAD_ARGUMENT},
    {"4-bit palette too long", [](Fixture& s) { s.h().biBitCount = 4; s.h().biClrUsed = 20; },
     "( dib->biBitCount==4 && dib->biClrUsed>16 )", "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )", ZAN_STATUS_BAD_ARGUMENT},
};

// A refusal of zanConvertToDIB with given dither and palette mode.
struct ArgumentRefusal {
    const char* name;
    std::function<void(Fixture&)> spoil;
    int dither;
    int palette;
    const char* text;
    const char* sepText;
    int sepReturn;
    int status;
};

const ArgumentRefusal kToArgumentRefusals[] = {
    {"dither", nullptr, 3, 0, "(dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16)",
     "( dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16 )", ZAN_STATUS_BAD_ARGUMENT, ZAN_STATUS_BAD_ARGUMENT},
    {"palette mode", nullptr, 1, 3, "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)",
     "( paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )", ZAN_STATUS_BAD_ARGUMENT, ZAN_STATUS_BAD_ARGUMENT},
    {"channel sequence", [](Fixture& s) { std::memcpy(s.image->channelSeq, "HSV", 4); }, 1, 0, "image->channelSeq unsupport",
     "image->channelSeq unsupport", ZAN_STATUS_MODEL_OR_SEQ, ZAN_STATUS_MODEL_OR_SEQ},
    {"bit count", [](Fixture& s) { s.h().biBitCount = 2; }, 1, 0, "dib->biBitCount is bad", "dibHeader->biBitCount is bad",
     ZAN_STATUS_BAD_ARGUMENT, ZAN_STATUS_BAD_ARGUMENT},
    {"bit count with a dither", [](Fixture& s) { s.h().biBitCount = 2; }, 2, 0, "Parameter biBitCount of DIB-image have illegal value",
     "Parameter biBitCount of DIB-image have illegal value", ZAN_STATUS_BAD_ARGUMENT, ZAN_STATUS_BAD_ARGUMENT},
    {"median cut of an unknown sequence", [](Fixture& s) { s.h().biBitCount = 8; std::memcpy(s.image->channelSeq, "LAB", 4); }, 1, 2,
     "Error of creating medcut palette", "Error of creating medcut palette", ZAN_STATUS_INTERNAL, ZAN_STATUS_INTERNAL},
};

void runToRefusal(const std::function<void(Fixture&)>& spoil, int dither, int palette, const char* text,
                  const char* sepText, int sepReturn, int status)
{
    for (bool sep : {false, true}) {
        Fixture s;
        if (spoil)
            spoil(s);
        const std::vector<uint8_t> dibBefore = s.dib.bytes();
        RecordingReporter reporter;
        if (sep)
            EXPECT_EQ(zanConvertToDIBSep(s.imagePtr, s.dibPtr, s.dataPtr, dither, palette), sepReturn);
        else
            zanConvertToDIB(s.imagePtr, s.dibPtr, dither, palette);
        EXPECT_EQ(reporter.reports().size(), 1u);
        expectLast(reporter, sep ? "zanConvertToDIBSep" : "zanConvertToDIB", sep ? sepText : text, status);
        EXPECT_EQ(s.dib.bytes(), dibBefore);
        EXPECT_TRUE(std::all_of(s.data.begin(), s.data.end(), [](uint8_t b) { return b == 0; }));
    }
}

TEST(ToDibRefusals, EachCheckWithItsTextAndReturn)
{
    for (const Refusal& c : kToRefusals) {
        SCOPED_TRACE(c.name);
        runToRefusal(c.spoil, ZAN_DITHER_NONE, ZAN_PALETTE_KEEP, c.text, c.sepText, c.sepReturn, c.status);
    }
    for (const ArgumentRefusal& c : kToArgumentRefusals) {
        SCOPED_TRACE(c.name);
        runToRefusal(c.spoil, c.dither, c.palette, c.text, c.sepText, c.sepReturn, c.status);
    }
}

TEST(ToDibRefusals, ImageAndNullChecksComeFirst)
{
    RecordingReporter reporter;
    Fixture s;
    zanConvertToDIB(nullptr, s.dibPtr, 1, 0);
    expectLast(reporter, "zanConvertToDIB", "Incorrect Image", ZAN_STATUS_NULL_HEADER);
    EXPECT_EQ(zanConvertToDIBSep(nullptr, s.dibPtr, s.dataPtr, 1, 0), ZAN_STATUS_BAD_ARGUMENT);
    expectLast(reporter, "zanConvertToDIBSep", "Incorrect Image", ZAN_STATUS_NULL_HEADER);
    zanConvertToDIB(s.imagePtr, nullptr, 1, 0);
    expectLast(reporter, "zanConvertToDIB", "dib==0", ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(zanConvertToDIBSep(s.imagePtr, nullptr, s.dataPtr, 1, 0), ZAN_STATUS_BAD_ARGUMENT);
    expectLast(reporter, "zanConvertToDIBSep", "( 0 == dibHeader )", ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(zanConvertToDIBSep(s.imagePtr, s.dibPtr, nullptr, 1, 0), ZAN_STATUS_BAD_ARGUMENT);
    expectLast(reporter, "zanConvertToDIBSep", "( 0 == dibData )", ZAN_STATUS_BAD_ARGUMENT);

    zt::TiledImage tiled(zt::Shape{ZAN_DEPTH_8U, 3, 4, 3}, 8, 8);
    EXPECT_EQ(zanConvertToDIBSep(tiled.header(), s.dibPtr, s.dataPtr, 1, 0), ZAN_STATUS_DATA_OR_TILE);
    expectLast(reporter, "zanConvertToDIBSep", "( image->imageData == 0 )", ZAN_STATUS_BAD_ARGUMENT);
    EXPECT_TRUE(tiled.calls.empty());
}

struct TranslateRefusal {
    const char* name;
    std::function<void(BITMAPINFOHEADER&)> spoil;
    const char* text;
};

const TranslateRefusal kTranslateRefusals[] = {
    {"header size", [](BITMAPINFOHEADER& h) { h.biSize = 108; }, "( dib->biSize != sizeof(BITMAPINFOHEADER) )"},
    {"planes", [](BITMAPINFOHEADER& h) { h.biPlanes = 2; }, "(dib->biPlanes != 1)"},
    {"compression", [](BITMAPINFOHEADER& h) { h.biCompression = 6; },
     "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)"},
    {"RLE4 of 8 bits", [](BITMAPINFOHEADER& h) { h.biBitCount = 8; h.biCompression = BI_RLE4; },
     "(dib->biBitCount != 4) && (dib->biCompression == 2)"},
    {"palette too long", [](BITMAPINFOHEADER& h) { h.biClrUsed = 0x10000; }, "(dib->biClrUsed > 0x8000)"},
    {"bit count", [](BITMAPINFOHEADER& h) { h.biBitCount = 12; }, "dib->biBitCount is bad"},
};

TEST(TranslateDibRefusals, EachCheckGivesNull)
{
    for (const TranslateRefusal& c : kTranslateRefusals) {
        SCOPED_TRACE(c.name);
        dt::Dib dib(dt::makeHeader(4, 3, 24));
        c.spoil(*dib.header());
        RecordingReporter reporter;
        int clone = -1;
        EXPECT_EQ(zanTranslateDIB(dib.header(), &clone), nullptr);
        EXPECT_EQ(clone, -1);
        EXPECT_EQ(reporter.summary(), std::vector<std::string>{std::string("zanTranslateDIB: ") + c.text});
    }
    RecordingReporter reporter;
    dt::Dib dib(dt::makeHeader(4, 3, 24));
    EXPECT_EQ(zanTranslateDIB(nullptr, nullptr), nullptr);
    EXPECT_EQ(zanTranslateDIB(dib.header(), nullptr), nullptr);
    EXPECT_EQ(reporter.summary(), (std::vector<std::string>{"zanTranslateDIB: ( dib == 0 )", "zanTranslateDIB: ( cloneData == 0 )"}));
}

} // namespace
