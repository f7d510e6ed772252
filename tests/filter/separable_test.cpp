// zanConvolveSep2D and zanConvolveSep2DFP against a reference written from
// the sums: the y sum first in 32-bit wrapping integers (double for 32F),
// then the x sum, the shift of both kernels at the end, the clamp; random
// kernels, images, ROIs, COIs, masks, borders and tiles; the refusals.
#include "conv_reference.h"
#include "filter_util.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

struct SepCase {
    zt::Shape shape;
    bool hasX, hasY;
    int xSize, ySize, xAnchor, yAnchor, xShift, yShift;
    std::vector<int32_t> xValues, yValues;
    std::vector<float> xFP, yFP;
    bool srcTiled, dstTiled;
};

double clampTo(uint32_t depth, int32_t v)
{
    if (depth == ZAN_DEPTH_32S)
        return v;
    return std::clamp<double>(v, cref::lowest(depth), cref::highest(depth));
}

// The expected sample from the reference sums; sample(x, y) reads the source.
template <class Sample>
double expectedSample(const SepCase& t, int x, int y, Sample sample)
{
    // Caller's coefficients: the response is the sum over C of v[C] * src(x + a - C).
    auto ySum = [&](int column) -> double {
        if (!t.hasY)
            return sample(column, y);
        if (t.shape.depth == ZAN_DEPTH_32F) {
            double acc = 0;
            for (int i = t.ySize - 1; i >= 0; --i)
                acc += double(t.yFP[i]) * sample(column, y + t.yAnchor - i);
            return static_cast<float>(acc);
        }
        uint32_t acc = 0;
        for (int i = 0; i < t.ySize; ++i)
            acc += static_cast<uint32_t>(t.yValues[i]) *
                   static_cast<uint32_t>(static_cast<int32_t>(sample(column, y + t.yAnchor - i)));
        return static_cast<int32_t>(acc);
    };
    double total;
    if (t.shape.depth == ZAN_DEPTH_32F) {
        if (!t.hasX)
            return ySum(x);
        double acc = 0;
        for (int i = t.xSize - 1; i >= 0; --i)
            acc += double(t.xFP[i]) * ySum(x + t.xAnchor - i);
        return static_cast<float>(acc);
    }
    uint32_t acc = 0;
    if (!t.hasX)
        acc = static_cast<uint32_t>(static_cast<int32_t>(ySum(x)));
    for (int i = 0; t.hasX && i < t.xSize; ++i)
        acc += static_cast<uint32_t>(t.xValues[i]) *
               static_cast<uint32_t>(static_cast<int32_t>(ySum(x + t.xAnchor - i)));
    const int shift = ((t.hasX ? t.xShift : 0) + (t.hasY ? t.yShift : 0)) & 31;
    const int32_t shifted = static_cast<int32_t>(acc) >> shift;
    if (t.shape.depth == ZAN_DEPTH_1U)
        total = shifted >= 1 ? 1 : 0;
    else
        total = clampTo(t.shape.depth, shifted);
    return total;
}

SepCase randomCase(uint32_t depth, std::mt19937& rng)
{
    SepCase t;
    t.shape = cref::randomShape(depth, rng);
    const int which = static_cast<int>(rng() % 3);
    t.hasX = which != 1;
    t.hasY = which != 0;
    t.xSize = 2 + static_cast<int>(rng() % 7);
    t.ySize = 2 + static_cast<int>(rng() % 7);
    t.xAnchor = static_cast<int>(rng() % t.xSize);
    t.yAnchor = static_cast<int>(rng() % t.ySize);
    t.xShift = rng() % 2 ? static_cast<int>(rng() % 6) : 0;
    t.yShift = rng() % 2 ? static_cast<int>(rng() % 6) : 0;
    const int ranges[] = {4, 300, 100000};
    std::uniform_int_distribution<int> value(-ranges[rng() % 3], ranges[rng() % 3]);
    std::uniform_real_distribution<float> valueFP(-2.0f, 2.0f);
    for (int i = 0; i < 8; ++i) {
        t.xValues.push_back(value(rng));
        t.yValues.push_back(value(rng));
        t.xFP.push_back(valueFP(rng));
        t.yFP.push_back(valueFP(rng));
    }
    t.srcTiled = rng() % 4 == 0;
    t.dstTiled = rng() % 4 == 0;
    return t;
}

// Whether a mask admits pixel (i, j) of the common region: beyond the
// mask's region every pixel is admitted.
bool admits(const ZanImage* header, int i, int j)
{
    const ZanImage* mask = header->maskROI;
    if (!mask)
        return true;
    const zt::Rect r = zt::regionOf(mask);
    if (i >= r.width || j >= r.height)
        return true;
    return zt::bitAt(mask, r.x + i, r.y + j);
}

void runCase(const SepCase& t, std::mt19937& rng)
{
    std::ostringstream text;
    text << zt::describe(t.shape) << (t.hasX ? " x" : "") << t.xSize << "@" << t.xAnchor << ">>"
         << t.xShift << (t.hasY ? " y" : "") << t.ySize << "@" << t.yAnchor << ">>" << t.yShift
         << (t.srcTiled ? " src tiled" : "") << (t.dstTiled ? " dst tiled" : "");
    SCOPED_TRACE(text.str());
    zt::Participant src = fz::makeParticipant(t.shape, t.srcTiled, rng);
    zt::Shape dstShape = t.shape;
    dstShape.width = 1 + static_cast<int>(rng() % 30);
    dstShape.height = 1 + static_cast<int>(rng() % 30);
    zt::Participant dst = fz::makeParticipant(dstShape, t.dstTiled, rng);
    for (zt::Participant* p : {&src, &dst}) {
        ZanImage* h = p->header();
        const int coi = rng() % 4 == 0 ? 1 + static_cast<int>(rng() % t.shape.channels) : 0;
        if (coi || rng() % 2)
            zt::setRoi(h, coi, static_cast<int>(rng() % h->width), static_cast<int>(rng() % h->height),
                       1 + static_cast<int>(rng() % h->width), 1 + static_cast<int>(rng() % h->height));
        if (rng() % 3 == 0)
            zt::attachRandomMask(h, 1 + static_cast<int>(rng() % 20), 1 + static_cast<int>(rng() % 20),
                                 rng);
    }
    if (zt::channelCount(src.header()) != zt::channelCount(dst.header()) ||
        ((src.header()->roi && src.header()->roi->coi) != (dst.header()->roi && dst.header()->roi->coi)))
        for (zt::Participant* p : {&src, &dst})
            if (p->header()->roi)
                p->header()->roi->coi = 0;
    fz::randomBorders(src, rng);

    zt::Image expected(zanCloneImage(dst.content()));
    const zt::Rect sr = zt::regionOf(src.header());
    const zt::Rect dr = zt::regionOf(dst.header());
    const int width = std::min(sr.width, dr.width), height = std::min(sr.height, dr.height);
    const int count = zt::channelCount(src.header());
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            if (!admits(src.header(), i, j) || !admits(dst.header(), i, j))
                continue;
            for (int c = 0; c < count; ++c) {
                const int sc = zt::firstChannel(src.header()) + c;
                auto sample = [&](int x, int y) { return cref::borderSample(src.content(), x, y, sc); };
                zt::setSampleAt(expected.get(), dr.x + i, dr.y + j, zt::firstChannel(dst.header()) + c,
                                expectedSample(t, sr.x + i, sr.y + j, sample));
            }
        }

    std::vector<int32_t> xv(t.xValues.begin(), t.xValues.begin() + t.xSize);
    std::vector<int32_t> yv(t.yValues.begin(), t.yValues.begin() + t.ySize);
    zt::RecordingReporter reporter;
    if (t.shape.depth == ZAN_DEPTH_32F) {
        ZanConvKernelFP x = t.hasX ? zanCreateConvKernelFP(t.xSize, 1, t.xAnchor, 0, t.xFP.data()) : nullptr;
        ZanConvKernelFP y = t.hasY ? zanCreateConvKernelFP(1, t.ySize, 0, t.yAnchor, t.yFP.data()) : nullptr;
        zanConvolveSep2DFP(src.header(), dst.header(), x, y);
        if (x)
            zanDeleteConvKernelFP(x);
        if (y)
            zanDeleteConvKernelFP(y);
    } else {
        ZanConvKernel x = t.hasX ? zanCreateConvKernel(t.xSize, 1, t.xAnchor, 0, xv.data(), t.xShift) : nullptr;
        ZanConvKernel y = t.hasY ? zanCreateConvKernel(1, t.ySize, 0, t.yAnchor, yv.data(), t.yShift) : nullptr;
        zanConvolveSep2D(src.header(), dst.header(), x, y);
        if (x)
            zanDeleteConvKernel(x);
        if (y)
            zanDeleteConvKernel(y);
    }
    ASSERT_EQ(zanGetErrStatus(), ZAN_STATUS_OK) << ::testing::PrintToString(reporter.summary());
    if (dst.tiled)
        dst.tiled->store();
    EXPECT_EQ(fz::firstDifference(dst.content(), expected.get()), "");
    EXPECT_EQ(fz::tileMisuse(src), "");
    EXPECT_EQ(fz::tileMisuse(dst), "");
}

class SeparableDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(SeparableDepth, MatchesReferenceOnRandomImages)
{
    std::mt19937 rng(777 + GetParam());
    for (int trial = 0; trial < 300 && !HasFailure(); ++trial)
        runCase(randomCase(GetParam(), rng), rng);
}

INSTANTIATE_TEST_SUITE_P(AllDepths, SeparableDepth, ::testing::ValuesIn(zt::kAllDepths),
                         [](const auto& info) { return std::string(zt::depthName(info.param)); });

TEST(ConvolveSep2D, RefusesWithExactStatusesAndTexts)
{
    const int32_t values[3] = {1, 2, 1};
    ZanConvKernel x = zanCreateConvKernel(3, 1, 1, 0, values, 0);
    ZanConvKernel y = zanCreateConvKernel(1, 3, 0, 1, values, 0);
    ZanConvKernel column1 = zanCreateConvKernel(1, 1, 0, 0, values, 0);
    struct Case {
        const char* name;
        const char* source;
        const char* context;
    };
    const Case table[] = {
        {"in place", "owncsep2", "Unsupported in-place mode"},
        {"no kernels", "owncsep2", "Kernel pointers are NULL"},
        {"depth", "owncsep2", "SRC and DST depth are different"},
        {"order", "owncsep2", "SRC and DST order are different"},
        {"channels", "owncsep2", "SRC and DST number of channels are different"},
        {"33 channels", "owncsep2", "SRC: too many channels per plane (limit 32)"},
        {"x of one column", "zanCSep2", "Invalid kernal size"},
        {"y as x", "zanCSep2", "Invalid kernal size"},
        {"32F", "zanCSep2", "zanConvolveSep2D does not support ZAN_DEPTH_32F.\nCall zanConvolveSep2DFP instead"},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.name);
        zt::Shape shape;
        const std::string name = c.name;
        zt::Shape other = shape;
        if (name == "depth")
            other.depth = ZAN_DEPTH_16S;
        if (name == "order") {
            other.order = ZAN_DATA_ORDER_PLANE;
            other.channels = 3;
            shape.channels = 3;
        }
        if (name == "channels")
            other.channels = 3;
        if (name == "33 channels")
            shape.channels = other.channels = 33;
        if (name == "32F")
            shape.depth = other.depth = ZAN_DEPTH_32F;
        zt::Image a = zt::makeImage(shape), b = zt::makeImage(other);
        zt::RecordingReporter reporter;
        ZanImage* dst = name == "in place" ? a.get() : b.get();
        ZanConvKernel xk = name == "x of one column" ? column1 : name == "y as x" ? y : x;
        ZanConvKernel yk = name == "no kernels" ? nullptr : y;
        if (name == "no kernels")
            xk = nullptr;
        zanConvolveSep2D(a.get(), dst, xk, yk);
        ASSERT_EQ(reporter.reports().size(), 1u);
        EXPECT_EQ(reporter.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
        EXPECT_EQ(reporter.reports()[0].source, c.source);
        EXPECT_EQ(reporter.reports()[0].context, c.context);
    }
    zt::Shape planes;
    planes.channels = 33;
    planes.order = ZAN_DATA_ORDER_PLANE;
    zt::Image a = zt::makeImage(planes), b = zt::makeImage(planes);
    zt::RecordingReporter reporter;
    zanConvolveSep2D(a.get(), b.get(), x, nullptr);
    EXPECT_TRUE(reporter.reports().empty()) << "33 planes are fine";
    zanDeleteConvKernel(x);
    zanDeleteConvKernel(y);
    zanDeleteConvKernel(column1);
}

} // namespace
