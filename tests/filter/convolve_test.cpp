// zanConvolve2D and zanConvolve2DFP against the pixel-by-pixel reference:
// random kernels, sizes, anchors, shifts, methods, ROIs, COIs, masks, border
// modes and tiles; the refusals with their statuses and texts.
#include "conv_reference.h"
#include "filter_util.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using cref::Kernel;

struct Handles {
    std::vector<ZanConvKernel> integer;
    std::vector<ZanConvKernelFP> fp;
    ~Handles()
    {
        for (ZanConvKernel k : integer)
            zanDeleteConvKernel(k);
        for (ZanConvKernelFP k : fp)
            zanDeleteConvKernelFP(k);
    }
};

void makeHandles(const std::vector<Kernel>& kernels, bool fp, Handles* handles)
{
    for (const Kernel& k : kernels) {
        if (fp)
            handles->fp.push_back(zanCreateConvKernelFP(k.nCols, k.nRows, k.anchorX, k.anchorY,
                                                        k.valuesFP.data()));
        else
            handles->integer.push_back(zanCreateConvKernel(k.nCols, k.nRows, k.anchorX, k.anchorY,
                                                           k.values.data(), k.shift));
    }
}

// Coefficient ranges that reach the three classes at 8 bits.
Kernel randomKernel(std::mt19937& rng, int maxSize)
{
    Kernel k;
    k.nCols = 1 + static_cast<int>(rng() % maxSize);
    k.nRows = 1 + static_cast<int>(rng() % maxSize);
    k.anchorX = static_cast<int>(rng() % k.nCols);
    k.anchorY = static_cast<int>(rng() % k.nRows);
    const int ranges[] = {3, 300, 40000};
    const int range = ranges[rng() % 3];
    std::uniform_int_distribution<int> value(-range, range);
    std::uniform_real_distribution<float> valueFP(-2.0f, 2.0f);
    for (int i = 0; i < k.nCols * k.nRows; ++i) {
        k.values.push_back(rng() % 4 == 0 ? 0 : value(rng));
        k.valuesFP.push_back(valueFP(rng));
    }
    k.shift = rng() % 3 == 0 ? static_cast<int>(rng() % 5) : 0;
    return k;
}

struct Trial {
    zt::Shape shape;
    std::vector<Kernel> kernels;
    int method;
    bool inPlace;
    bool srcTiled;
    bool dstTiled;
    std::string text;
};

// A random ROI (sometimes with a COI) and a random mask on an image.
void randomRegion(ZanImage* header, std::mt19937& rng, int coi)
{
    if (rng() % 3 != 0) {
        const int x = static_cast<int>(rng() % header->width);
        const int y = static_cast<int>(rng() % header->height);
        zt::setRoi(header, coi, x, y, 1 + static_cast<int>(rng() % header->width),
                   1 + static_cast<int>(rng() % header->height));
    } else if (coi) {
        zt::setRoi(header, coi, 0, 0, header->width, header->height);
    }
    if (rng() % 3 == 0) {
        ZanImage* mask = zt::attachRandomMask(header, 1 + static_cast<int>(rng() % 24),
                                              1 + static_cast<int>(rng() % 24), rng);
        if (rng() % 2)
            zt::setRoi(mask, 0, static_cast<int>(rng() % mask->width),
                       static_cast<int>(rng() % mask->height), 1 + static_cast<int>(rng() % 20),
                       1 + static_cast<int>(rng() % 20));
    }
}

struct Region {
    int x, y, width, height;
    const ZanImage* mask;
    int maskX, maskY;
};

Region regionOf(const ZanImage* header)
{
    const zt::Rect r = zt::regionOf(header);
    Region region{r.x, r.y, r.width, r.height, header->maskROI, 0, 0};
    if (header->maskROI) {
        const zt::Rect m = zt::regionOf(header->maskROI);
        region.width = std::min(region.width, m.width);
        region.height = std::min(region.height, m.height);
        region.maskX = m.x;
        region.maskY = m.y;
    }
    return region;
}

bool admitted(const Region& r, int i, int j)
{
    return !r.mask || zt::bitAt(r.mask, r.maskX + i, r.maskY + j);
}

// Runs one trial and compares every sample of the destination.
void runTrial(const Trial& t, std::mt19937& rng)
{
    SCOPED_TRACE(t.text);
    const bool fp = t.shape.depth == ZAN_DEPTH_32F;
    zt::Participant src = fz::makeParticipant(t.shape, t.srcTiled, rng);
    zt::Shape dstShape = t.shape;
    dstShape.width = 1 + static_cast<int>(rng() % 30);
    dstShape.height = 1 + static_cast<int>(rng() % 30);
    dstShape.alpha = t.shape.order == ZAN_DATA_ORDER_PIXEL && t.shape.channels > 1 && rng() % 2
                         ? t.shape.channels : 0;
    if (dstShape.alpha && !t.shape.alpha)
        dstShape.channels = t.shape.channels + 1;
    if (!dstShape.alpha && t.shape.alpha)
        dstShape.channels = t.shape.channels - 1;
    if (dstShape.channels == 1)
        dstShape.alpha = 0;
    if (dstShape.alpha)
        dstShape.alpha = dstShape.channels;
    zt::Participant dstOwn;
    if (!t.inPlace)
        dstOwn = fz::makeParticipant(dstShape, t.dstTiled, rng);
    zt::Participant& dst = t.inPlace ? src : dstOwn;

    const bool coi = rng() % 4 == 0;
    randomRegion(src.header(), rng, coi ? 1 + static_cast<int>(rng() % t.shape.channels) : 0);
    if (!t.inPlace)
        randomRegion(dst.header(), rng, coi ? 1 + static_cast<int>(rng() % dstShape.channels) : 0);
    fz::randomBorders(src, rng);

    zt::Image expected(zanCloneImage(dst.content()));
    const Region sr = regionOf(src.header());
    const Region dr = regionOf(dst.header());
    const int width = std::min(sr.width, dr.width);
    const int height = std::min(sr.height, dr.height);
    const int count = zt::channelCount(src.header());
    const bool noCoi = !src.header()->roi || src.header()->roi->coi == 0;
    const bool plainChannels = noCoi && !t.shape.alpha && !dst.header()->alphaChannel &&
                               (t.shape.order == ZAN_DATA_ORDER_PLANE || count == 1 || count == 3);
    const int srcFirst = zt::firstChannel(src.header());
    const int dstFirst = zt::firstChannel(dst.header());
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            if (!admitted(sr, i, j) || !admitted(dr, i, j))
                continue;
            for (int c = 0; c < count; ++c) {
                auto sample = [&](int x, int y) {
                    return cref::borderSample(src.content(), x, y, srcFirst + c);
                };
                zt::setSampleAt(expected.get(), dr.x + i, dr.y + j, dstFirst + c,
                                cref::convolvePixel(t.kernels, t.method, t.shape.depth, fp,
                                                    sr.x + i, sr.y + j, sample, plainChannels));
            }
        }

    Handles handles;
    makeHandles(t.kernels, fp, &handles);
    zt::RecordingReporter reporter;
    const int n = static_cast<int>(t.kernels.size());
    if (fp)
        zanConvolve2DFP(src.header(), dst.header(), handles.fp.data(), n, t.method);
    else
        zanConvolve2D(src.header(), dst.header(), handles.integer.data(), n, t.method);
    ASSERT_EQ(zanGetErrStatus(), ZAN_STATUS_OK) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), expected.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

std::string describe(const Trial& t)
{
    std::ostringstream s;
    s << zt::describe(t.shape) << " method " << t.method << " kernels";
    for (const Kernel& k : t.kernels)
        s << " " << k.nCols << "x" << k.nRows << "@" << k.anchorX << "," << k.anchorY << ">>"
          << k.shift;
    s << (t.inPlace ? " in place" : "") << (t.srcTiled ? " src tiled" : "")
      << (t.dstTiled ? " dst tiled" : "");
    return s.str();
}

Trial randomTrial(uint32_t depth, std::mt19937& rng)
{
    Trial t;
    t.shape = cref::randomShape(depth, rng);
    const int nKernels = 1 + static_cast<int>(rng() % 3);
    for (int i = 0; i < nKernels; ++i)
        t.kernels.push_back(randomKernel(rng, rng() % 2 ? 3 : 7));
    t.method = static_cast<int>(rng() % 5);
    t.inPlace = rng() % 5 == 0;
    t.srcTiled = rng() % 4 == 0;
    t.dstTiled = !t.inPlace && rng() % 4 == 0;
    if (t.inPlace)
        t.dstTiled = t.srcTiled;
    t.text = describe(t);
    return t;
}

class ConvolveDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(ConvolveDepth, MatchesReferenceOnRandomImages)
{
    std::mt19937 rng(1234 + GetParam());
    for (int trial = 0; trial < 300; ++trial) {
        runTrial(randomTrial(GetParam(), rng), rng);
        if (HasFatalFailure() || HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, ConvolveDepth, ::testing::ValuesIn(zt::kAllDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

// A single 8-bit image and a kernel, for the edge cases.
zt::Image grey(int width, int height, std::mt19937& rng)
{
    zt::Shape shape;
    shape.width = width;
    shape.height = height;
    return zt::makeRandomImage(shape, rng);
}

TEST(Convolve2D, SingleCoefficientCopiesWithSaturationOnly)
{
    std::mt19937 rng(5);
    zt::Shape shape;
    shape.depth = ZAN_DEPTH_16S;
    shape.width = 9;
    shape.height = 7;
    zt::Image src = zt::makeRandomImage(shape, rng);
    zt::Image dst = zt::makeImage(shape);
    const int32_t one = 1;
    ZanConvKernel k = zanCreateConvKernel(1, 1, 0, 0, &one, 0);
    zanConvolve2D(src.get(), dst.get(), &k, 1, ZAN_COMBINE_SUM);
    zanDeleteConvKernel(k);
    EXPECT_EQ(fz::firstDifference(dst.get(), src.get()), "");
}

TEST(Convolve2D, ShiftRoundsTowardMinusInfinity)
{
    // A response of -1 shifted by 1 stays -1: 8S keeps it, 8U saturates to 0.
    for (uint32_t depth : {ZAN_DEPTH_8S, ZAN_DEPTH_8U}) {
        zt::Shape shape;
        shape.depth = depth;
        shape.width = 3;
        shape.height = 2;
        zt::Image src = zt::makeImage(shape, 1);
        zt::Image dst = zt::makeImage(shape, 9);
        const int32_t minusOne = -1;
        ZanConvKernel k = zanCreateConvKernel(1, 1, 0, 0, &minusOne, 1);
        zanConvolve2D(src.get(), dst.get(), &k, 1, 7);
        zanDeleteConvKernel(k);
        EXPECT_EQ(zt::sampleAt(dst.get(), 2, 1, 0), depth == ZAN_DEPTH_8S ? -1 : 0);
    }
}

TEST(Convolve2D, KernelLargerThanImage)
{
    std::mt19937 rng(8);
    zt::Image src = grey(3, 2, rng);
    zt::Image dst = grey(3, 2, rng);
    zanSetBorderMode(src.get(), ZAN_BORDER_REFLECT, ZAN_SIDE_ALL, 0);
    Kernel k;
    k.nCols = 9;
    k.nRows = 7;
    k.anchorX = 4;
    k.anchorY = 5;
    for (int i = 0; i < 63; ++i)
        k.values.push_back(i % 5 - 2);
    Handles h;
    makeHandles({k}, false, &h);
    zt::RecordingReporter reporter;
    zanConvolve2D(src.get(), dst.get(), h.integer.data(), 1, ZAN_COMBINE_SUM);
    EXPECT_TRUE(reporter.reports().empty());
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(zt::sampleAt(dst.get(), x, y, 0),
                      cref::convolvePixel({k}, 0, ZAN_DEPTH_8U, false, x, y, [&](int a, int b) {
                          return cref::borderSample(src.get(), a, b, 0);
                      }));
}

TEST(Convolve2D, RegionOutsideTheMaskChangesNothing)
{
    std::mt19937 rng(9);
    zt::Image src = grey(10, 10, rng);
    zt::Image dst = grey(10, 10, rng);
    ZanImage* mask = zt::attachRandomMask(dst.get(), 4, 4, rng);
    zt::setRoi(mask, 0, 4, 4, 5, 5); // at the mask's edge: nothing left
    const auto before = zt::bytesOf(dst.get());
    const int32_t one = 1;
    ZanConvKernel k = zanCreateConvKernel(1, 1, 0, 0, &one, 0);
    zt::RecordingReporter reporter;
    zanConvolve2D(src.get(), dst.get(), &k, 1, 0);
    zanDeleteConvKernel(k);
    EXPECT_TRUE(reporter.reports().empty());
    EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_OK);
    EXPECT_EQ(zt::bytesOf(dst.get()), before);
}

// Refusals, in the order of the checks.
struct Refusal {
    const char* name;
    int status;
    const char* context;
};

TEST(Convolve2D, RefusesWithExactStatusesAndTexts)
{
    std::mt19937 rng(3);
    const int32_t one = 1;
    ZanConvKernel good = zanCreateConvKernel(1, 1, 0, 0, &one, 0);
    struct BadRecord {
        int nCols, nRows, anchorX, anchorY;
        int32_t* values;
        int nShiftR;
    } bad{2, 2, 2, 0, nullptr, 0};
    auto badHandle = reinterpret_cast<ZanConvKernel>(&bad);
    ZanConvKernel eleven[11];
    std::fill(std::begin(eleven), std::end(eleven), good);
    ZanConvKernel withNull[2] = {good, nullptr};
    ZanConvKernel withBad[2] = {good, badHandle};

    auto run = [&](const char* name) {
        zt::Shape s8;
        zt::Image a = zt::makeImage(s8), b = zt::makeImage(s8);
        zt::Shape s32f = s8;
        s32f.depth = ZAN_DEPTH_32F;
        zt::Image f = zt::makeImage(s32f), g = zt::makeImage(s32f);
        zt::Shape s16 = s8;
        s16.depth = ZAN_DEPTH_16U;
        zt::Image w = zt::makeImage(s16);
        zt::Shape s3 = s8;
        s3.channels = 3;
        zt::Image c3 = zt::makeImage(s3);
        zt::Shape s1a = s8;
        s1a.alpha = 1;
        zt::Image c1a = zt::makeImage(s1a);
        const std::string n = name;
        if (n == "null src")
            zanConvolve2D(nullptr, b.get(), &good, 1, 0);
        else if (n == "roi offset") {
            zt::setRoi(b.get(), 0, 8, 0, 1, 1);
            zanConvolve2D(a.get(), b.get(), &good, 1, 0);
        } else if (n == "null kernel")
            zanConvolve2D(a.get(), b.get(), nullptr, 1, 0);
        else if (n == "zero kernels")
            zanConvolve2D(a.get(), b.get(), &good, 0, 0);
        else if (n == "eleven kernels")
            zanConvolve2D(a.get(), b.get(), eleven, 11, 0);
        else if (n == "method")
            zanConvolve2D(a.get(), b.get(), eleven, 2, 5);
        else if (n == "null entry")
            zanConvolve2D(a.get(), b.get(), withNull, 2, 0);
        else if (n == "bad entry")
            zanConvolve2D(a.get(), b.get(), withBad, 2, 0);
        else if (n == "depth")
            zanConvolve2D(a.get(), w.get(), &good, 1, 0);
        else if (n == "32F")
            zanConvolve2D(f.get(), g.get(), &good, 1, 0);
        else if (n == "FP on 8U") {
            ZanConvKernelFP k = zanCreateConvKernelFP(1, 1, 0, 0, std::vector<float>{1}.data());
            zanConvolve2DFP(a.get(), b.get(), &k, 1, 0);
            zanDeleteConvKernelFP(k);
        } else if (n == "no channel") {
            zanConvolve2D(c1a.get(), a.get(), &good, 1, 0);
        } else if (n == "channel counts")
            zanConvolve2D(c3.get(), a.get(), &good, 1, 0);
        else if (n == "coi") {
            zt::setRoi(c3.get(), 2, 0, 0, 8, 8);
            zanConvolve2D(c3.get(), a.get(), &good, 1, 0);
        }
    };
    const Refusal table[] = {
        {"null src", ZAN_STATUS_NULL_HEADER, "Incorrect Image"},
        {"roi offset", ZAN_STATUS_ROI_OFFSET, "Bad ROI offsets"},
        {"null kernel", ZAN_STATUS_BAD_ARGUMENT, "kernel==0"},
        {"zero kernels", ZAN_STATUS_BAD_ARGUMENT, "(nKernels<=0 || nKernels>10)"},
        {"eleven kernels", ZAN_STATUS_BAD_ARGUMENT, "(nKernels<=0 || nKernels>10)"},
        {"method", ZAN_STATUS_BAD_ARGUMENT, "Inadmissible method"},
        {"null entry", ZAN_STATUS_BAD_ARGUMENT, "kernel[i]==0"},
        {"bad entry", ZAN_STATUS_BAD_ARGUMENT, "Bad kernel structure"},
        {"depth", ZAN_STATUS_BAD_ARGUMENT, "Uncompatible images"},
        {"32F", ZAN_STATUS_BAD_ARGUMENT, "32F images can be processed only with FP kernel"},
        {"FP on 8U", ZAN_STATUS_BAD_ARGUMENT, "FP kernel can be used only for 32F images"},
        {"no channel", ZAN_STATUS_BAD_ARGUMENT, "No channel to operate"},
        {"channel counts", ZAN_STATUS_BAD_ARGUMENT, "Uncompatible images"},
        {"coi", ZAN_STATUS_BAD_ARGUMENT, "One of the COI is not defined"},
    };
    for (const Refusal& r : table) {
        SCOPED_TRACE(r.name);
        zt::RecordingReporter reporter;
        run(r.name);
        ASSERT_FALSE(reporter.reports().empty());
        const auto& last = reporter.reports().back();
        EXPECT_EQ(last.status, r.status);
        EXPECT_EQ(last.context, r.context);
        EXPECT_EQ(last.source, "zancnv2d");
        EXPECT_TRUE(last.function == "zanConvolve2D" || last.function == "zanConvolve2DFP");
    }
    zanDeleteConvKernel(good);
    (void)rng;
}

TEST(Convolve2D, TenKernelsAreAccepted)
{
    std::mt19937 rng(4);
    zt::Image src = grey(6, 5, rng);
    zt::Image dst = grey(6, 5, rng);
    const int32_t one = 1;
    ZanConvKernel k = zanCreateConvKernel(1, 1, 0, 0, &one, 0);
    ZanConvKernel ten[10];
    std::fill(std::begin(ten), std::end(ten), k);
    zt::RecordingReporter reporter;
    zanConvolve2D(src.get(), dst.get(), ten, 10, ZAN_COMBINE_MAX);
    zanDeleteConvKernel(k);
    EXPECT_TRUE(reporter.reports().empty());
    EXPECT_EQ(fz::firstDifference(dst.get(), src.get()), "");
}

} // namespace
