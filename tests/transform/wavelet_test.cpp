// One-level wavelet transforms against references written from the line
// formulas, perfect reconstruction with the built-in kernels, and refusals.
#include "zan.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Plane = std::vector<std::vector<double>>; // [row][column]

int mod(int a, int n) { return ((a % n) + n) % n; }

// Analysis of a line: odd lines repeat their last sample, then the line is
// periodic; output i sums h[k] x[2 i + offset - k].
std::vector<double> analyse(const std::vector<double>& x, const ZanWtFilter& f)
{
    std::vector<double> ext = x;
    if (x.size() % 2)
        ext.push_back(x.back());
    const int ne = int(ext.size());
    std::vector<double> out(ne / 2);
    for (int i = 0; i < ne / 2; ++i)
        for (int k = 0; k < f.length; ++k)
            out[i] += double(f.taps[k]) * ext[mod(2 * i + f.offset - k, ne)];
    return out;
}

// Synthesis of a line pair: the up-sampled lines filtered and summed.
std::vector<double> synthesise(const std::vector<double>& a, const std::vector<double>& d,
                               const ZanWtFilter& g0, const ZanWtFilter& g1)
{
    const int m = int(a.size());
    std::vector<double> out(2 * m);
    for (int n = 0; n < 2 * m; ++n) {
        for (int k = 0; k < g0.length; ++k) {
            const int p = mod(n + g0.offset - k, 2 * m);
            if (p % 2 == 0)
                out[n] += double(g0.taps[k]) * a[p / 2];
        }
        for (int k = 0; k < g1.length; ++k) {
            const int p = mod(n + g1.offset - k, 2 * m);
            if (p % 2 == 0)
                out[n] += double(g1.taps[k]) * d[p / 2];
        }
    }
    return out;
}

Plane transpose(const Plane& p)
{
    Plane t(p[0].size(), std::vector<double>(p.size()));
    for (std::size_t y = 0; y < p.size(); ++y)
        for (std::size_t x = 0; x < p[0].size(); ++x)
            t[x][y] = p[y][x];
    return t;
}

double toFloat(double v) { return double(float(v)); }

// Rows by one filter (stored as floats), then columns by the other.
Plane analysePlane(const Plane& in, const ZanWtFilter& rowFilter, const ZanWtFilter& colFilter)
{
    Plane rows;
    for (const auto& r : in) {
        rows.push_back(analyse(r, rowFilter));
        for (double& v : rows.back())
            v = toFloat(v);
    }
    Plane cols;
    for (const auto& c : transpose(rows))
        cols.push_back(analyse(c, colFilter));
    Plane out = transpose(cols);
    for (auto& r : out)
        for (double& v : r)
            v = toFloat(v);
    return out;
}

struct Kernel {
    ZanWtKernel k{};
    std::string name;
};

// All fifty built-in kernels.
std::vector<Kernel> builtInKernels()
{
    std::vector<Kernel> all;
    auto add = [&](int t, int p1, int p2) {
        Kernel k;
        if (zanWtInit(t, p1, p2, &k.k) == ZAN_STATUS_OK) {
            k.name = std::to_string(t) + "," + std::to_string(p1) + "," + std::to_string(p2);
            all.push_back(k);
        }
    };
    zt::RecordingReporter quiet; // the selectors that are refused are skipped
    for (int t : {0, 4, 7, 8})
        add(t, 0, 0);
    for (int t = 1; t <= 3; ++t)
        for (int p1 = 1; p1 <= 10; ++p1)
            add(t, p1, 0);
    for (int t = 5; t <= 6; ++t)
        for (int p1 = 1; p1 <= 3; ++p1)
            for (int p2 = 1; p2 <= 9; ++p2)
                add(t, p1, p2);
    return all;
}

zt::Image grey(int width, int height, std::mt19937& rng)
{
    zt::Shape s;
    s.width = width;
    s.height = height;
    s.align = 4 << (rng() % 4);
    return zt::makeRandomImage(s, rng);
}

// Four subbands of the given size sharing one widthStep.
std::vector<zt::Image> subbands(int width, int height)
{
    zt::Shape s;
    s.depth = ZAN_DEPTH_32F;
    s.width = width;
    s.height = height;
    std::vector<zt::Image> bands;
    for (int b = 0; b < 4; ++b)
        bands.push_back(zt::makeImage(s));
    return bands;
}

struct Region {
    int x, y, width, height;
};

Region randomRegion(ZanImage* image, std::mt19937& rng)
{
    if (rng() % 2 == 0)
        return {0, 0, image->width, image->height};
    const int x = int(rng() % image->width), y = int(rng() % image->height);
    const int w = 1 + int(rng() % (image->width + 3)), h = 1 + int(rng() % (image->height + 3));
    zt::setRoi(image, 0, x, y, w, h);
    return {x, y, std::min(w, image->width - x), std::min(h, image->height - y)};
}

Plane planeOf(const ZanImage* image, const Region& r)
{
    Plane p(r.height, std::vector<double>(r.width));
    for (int y = 0; y < r.height; ++y)
        for (int x = 0; x < r.width; ++x)
            p[y][x] = zt::sampleAt(image, r.x + x, r.y + y, 0);
    return p;
}

// The reference subbands in the order approx, xDetail, yDetail, dDetail.
std::vector<Plane> referenceDecompose(const Plane& src, const ZanWtKernel& k)
{
    const ZanWtFilter& lo = k.filtDecLow;
    const ZanWtFilter& hi = k.filtDecHigh;
    return {analysePlane(src, lo, lo), analysePlane(src, lo, hi), analysePlane(src, hi, lo),
            analysePlane(src, hi, hi)};
}

void expectPlane(const ZanImage* band, const Plane& want)
{
    for (std::size_t y = 0; y < want.size(); ++y)
        for (std::size_t x = 0; x < want[0].size(); ++x) {
            const double got = zt::sampleAt(band, int(x), int(y), 0);
            ASSERT_NEAR(got, want[y][x], 1e-5 * (1 + std::fabs(want[y][x])))
                << "at (" << x << ", " << y << ")";
        }
}

Kernel userKernel()
{
    // Filters of different lengths, the analysis ones longer than short lines.
    const float dl[] = {0.25f, -0.5f, 0.75f, 0.125f, 0.375f};
    const float dh[] = {-0.5f, 0.5f, 0.25f};
    const float rl[] = {1.0f, 0.5f};
    const float rh[] = {0.5f, -1.0f, 0.25f, 0.125f, 0.5f, 0.25f, -0.75f};
    const float* taps[4] = {dl, dh, rl, rh};
    const int32_t len[4] = {5, 3, 2, 7};
    const int32_t ofs[4] = {3, 0, 1, 6};
    Kernel k;
    k.name = "user";
    EXPECT_EQ(zanWtInitUserTaps(taps, len, ofs, &k.k), ZAN_STATUS_OK);
    return k;
}

using BandPtrs = std::vector<ZanImage*>;

BandPtrs ptrs(const std::vector<zt::Image>& bands)
{
    return {bands[0].get(), bands[1].get(), bands[2].get(), bands[3].get()};
}

TEST(WtDecompose, RandomSizesRoisAndKernelsMatchTheReference)
{
    std::mt19937 rng(3);
    std::vector<Kernel> kernels = builtInKernels();
    ASSERT_EQ(kernels.size(), 50u);
    Kernel user = userKernel();
    kernels.push_back(user);
    for (int round = 0; round < 200; ++round) {
        const Kernel& k = kernels[round % kernels.size()];
        zt::Image src = grey(1 + int(rng() % 30), 1 + int(rng() % 30), rng);
        const Region r = randomRegion(src.get(), rng);
        SCOPED_TRACE(k.name + " region " + std::to_string(r.width) + "x" + std::to_string(r.height));
        std::vector<zt::Image> bands = subbands((r.width + 1) / 2, (r.height + 1) / 2);
        BandPtrs b = ptrs(bands);
        ASSERT_EQ(zanWtDecompose(&k.k, src.get(), b[0], b[1], b[2], b[3]), ZAN_STATUS_OK);
        const std::vector<Plane> want = referenceDecompose(planeOf(src.get(), r), k.k);
        for (int i = 0; i < 4; ++i)
            expectPlane(b[i], want[i]);
    }
    zanWtFree(&user.k);
}

TEST(WtDecompose, HaarApproximationIsTheMeanOfEachBlock)
{
    std::mt19937 rng(8);
    ZanWtKernel haar{};
    ASSERT_EQ(zanWtInit(ZAN_WAVELET_HAAR, 0, 0, &haar), ZAN_STATUS_OK);
    zt::Image src = grey(12, 6, rng);
    std::vector<zt::Image> bands = subbands(6, 3);
    BandPtrs b = ptrs(bands);
    ASSERT_EQ(zanWtDecompose(&haar, src.get(), b[0], b[1], b[2], b[3]), ZAN_STATUS_OK);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 6; ++x) {
            auto s = [&](int dx, int dy) { return zt::sampleAt(src.get(), 2 * x + dx, 2 * y + dy, 0); };
            EXPECT_EQ(zt::sampleAt(b[0], x, y, 0), (s(0, 0) + s(1, 0) + s(0, 1) + s(1, 1)) / 4);
            // offset 1 pairs sample 2 i + 1 with 2 i: the high tap of 2 i + 1 is +1/2.
            EXPECT_EQ(zt::sampleAt(b[2], x, y, 0), (s(1, 0) + s(1, 1) - s(0, 0) - s(0, 1)) / 4);
        }
}

// Rounds to 0..255, ties to even.
int referencePixel(double v)
{
    if (v > 255)
        return 255;
    if (v < 0)
        return 0;
    return int(std::nearbyint(v));
}

// The reference synthesis: rows (stored as floats), then columns.
Plane referenceReconstruct(const std::vector<Plane>& bands, const ZanWtKernel& k, int width,
                           int height)
{
    const ZanWtFilter& g0 = k.filtRecLow;
    const ZanWtFilter& g1 = k.filtRecHigh;
    Plane lowSet, highSet;
    for (std::size_t r = 0; r < bands[0].size(); ++r) {
        lowSet.push_back(synthesise(bands[0][r], bands[2][r], g0, g1));
        highSet.push_back(synthesise(bands[1][r], bands[3][r], g0, g1));
        for (double& v : lowSet.back())
            v = toFloat(v);
        for (double& v : highSet.back())
            v = toFloat(v);
    }
    const Plane lowT = transpose(lowSet), highT = transpose(highSet);
    Plane out(height, std::vector<double>(width));
    for (int x = 0; x < width; ++x) {
        const std::vector<double> column = synthesise(lowT[x], highT[x], g0, g1);
        for (int y = 0; y < height; ++y)
            out[y][x] = column[y];
    }
    return out;
}

Plane randomPlane(int width, int height, std::mt19937& rng)
{
    std::uniform_real_distribution<double> value(-40.0, 300.0);
    Plane p(height, std::vector<double>(width));
    for (auto& r : p)
        for (double& v : r)
            v = toFloat(value(rng));
    return p;
}

void store(ZanImage* band, const Plane& p)
{
    for (std::size_t y = 0; y < p.size(); ++y)
        for (std::size_t x = 0; x < p[0].size(); ++x)
            zt::setSampleAt(band, int(x), int(y), 0, p[y][x]);
}

// Pixels of dst outside the region are as before; inside they are the
// rounded reference, save where the exact sum lies too near a half.
void expectReconstructed(const ZanImage* dst, const std::vector<uint8_t>& before,
                         const Region& r, const Plane& want)
{
    const std::vector<uint8_t> after = zt::bytesOf(dst);
    for (int y = 0; y < dst->height; ++y)
        for (int x = 0; x < dst->width; ++x) {
            const std::size_t at = std::size_t(y) * dst->widthStep + x;
            const bool inside = x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
            if (!inside) {
                ASSERT_EQ(after[at], before[at]) << "outside at (" << x << ", " << y << ")";
                continue;
            }
            const double v = want[y - r.y][x - r.x];
            if (std::fabs(v - std::floor(v) - 0.5) < 1e-4)
                continue;
            ASSERT_EQ(int(after[at]), referencePixel(v)) << "at (" << x << ", " << y << ")";
        }
}

TEST(WtReconstruct, RandomSubbandsMatchTheReference)
{
    std::mt19937 rng(17);
    std::vector<Kernel> kernels = builtInKernels();
    Kernel user = userKernel();
    kernels.push_back(user);
    for (int round = 0; round < 200; ++round) {
        const Kernel& k = kernels[round % kernels.size()];
        zt::Image dst = grey(1 + int(rng() % 30), 1 + int(rng() % 30), rng);
        const Region r = randomRegion(dst.get(), rng);
        SCOPED_TRACE(k.name + " region " + std::to_string(r.width) + "x" + std::to_string(r.height));
        const int hw = (r.width + 1) / 2, hh = (r.height + 1) / 2;
        std::vector<zt::Image> bands = subbands(hw, hh);
        std::vector<Plane> planes;
        for (int b = 0; b < 4; ++b) {
            planes.push_back(randomPlane(hw, hh, rng));
            store(bands[b].get(), planes.back());
        }
        const std::vector<uint8_t> before = zt::bytesOf(dst.get());
        BandPtrs b = ptrs(bands);
        ASSERT_EQ(zanWtReconstruct(&k.k, b[0], b[1], b[2], b[3], dst.get()), ZAN_STATUS_OK);
        expectReconstructed(dst.get(), before, r,
                            referenceReconstruct(planes, k.k, r.width, r.height));
    }
    zanWtFree(&user.k);
}

TEST(WtReconstruct, BuiltInKernelsGiveBackTheImage)
{
    std::mt19937 rng(23);
    const std::vector<Kernel> kernels = builtInKernels();
    const int sizes[][2] = {{1, 1}, {5, 3}, {2, 7}, {16, 16}, {33, 20}, {9, 41}};
    for (const Kernel& k : kernels)
        for (const auto& size : sizes) {
            SCOPED_TRACE(k.name + " " + std::to_string(size[0]) + "x" + std::to_string(size[1]));
            zt::Image src = grey(size[0], size[1], rng);
            zt::Image dst = zt::makeImage({ZAN_DEPTH_8U, 1, size[0], size[1]});
            std::vector<zt::Image> bands = subbands((size[0] + 1) / 2, (size[1] + 1) / 2);
            BandPtrs b = ptrs(bands);
            ASSERT_EQ(zanWtDecompose(&k.k, src.get(), b[0], b[1], b[2], b[3]), ZAN_STATUS_OK);
            ASSERT_EQ(zanWtReconstruct(&k.k, b[0], b[1], b[2], b[3], dst.get()), ZAN_STATUS_OK);
            for (int y = 0; y < size[1]; ++y)
                for (int x = 0; x < size[0]; ++x)
                    ASSERT_EQ(zt::sampleAt(dst.get(), x, y, 0), zt::sampleAt(src.get(), x, y, 0))
                        << "at (" << x << ", " << y << ")";
        }
}

// With Haar and zero details every pixel is its block's approximation.
TEST(WtReconstruct, SaturatesAndRoundsTiesToEven)
{
    const float values[] = {255.4f, 254.5f, 253.5f, -0.4f, 300.0f, 0.5f, 1.5f, 100.25f};
    const int expected[] = {255, 254, 254, 0, 255, 0, 2, 100};
    ZanWtKernel haar{};
    ASSERT_EQ(zanWtInit(ZAN_WAVELET_HAAR, 0, 0, &haar), ZAN_STATUS_OK);
    std::vector<zt::Image> bands = subbands(8, 1);
    for (int i = 0; i < 8; ++i)
        zt::setSampleAt(bands[0].get(), i, 0, 0, values[i]);
    zt::Image dst = zt::makeImage({ZAN_DEPTH_8U, 1, 16, 2});
    BandPtrs b = ptrs(bands);
    ASSERT_EQ(zanWtReconstruct(&haar, b[0], b[1], b[2], b[3], dst.get()), ZAN_STATUS_OK);
    for (int x = 0; x < 16; ++x)
        for (int y = 0; y < 2; ++y)
            EXPECT_EQ(zt::sampleAt(dst.get(), x, y, 0), expected[x / 2]) << x << "," << y;
}

// A sound argument set of 5 by 3 with 3 by 2 subbands, spoilt by one change.
struct Arguments {
    ZanWtKernel kernel{};
    zt::Image whole = zt::makeImage({ZAN_DEPTH_8U, 1, 5, 3});
    std::vector<zt::Image> bands = subbands(3, 2);
    std::unique_ptr<zt::TiledImage> tiledDetail; // stands for dDetail when set
    Arguments() { zanWtInit(ZAN_WAVELET_DAUBECHIES, 2, 0, &kernel); }
};

struct RefusalCase {
    std::function<void(Arguments&)> spoil;
    int status;
    const char* decomposeText;
    const char* reconstructText;
};

TEST(WtTransforms, RefusalsGiveTheirStatusAndText)
{
    const RefusalCase cases[] = {
        {[](Arguments& a) { a.kernel.filtDecLow.taps = nullptr, a.kernel.filtRecLow.taps = nullptr; },
         -29, "Error wtKernel->filtDecLow.taps == NULL.", "Error wtKernel->filtRecLow.taps == NULL."},
        {[](Arguments& a) { a.kernel.filtDecHigh.length = 1, a.kernel.filtRecHigh.length = 1; },
         -29, "Error wtKernel->filtDecHigh.length < 2.", "Error wtKernel->filtRecHigh.length < 2."},
        {[](Arguments& a) { a.kernel.filtDecLow.offset = 4, a.kernel.filtRecLow.offset = 4; }, -29,
         "Error wtKernel->filtDecLow.offset >= wtKernel->filtDecLow.length.",
         "Error wtKernel->filtRecLow.offset >= wtKernel->filtRecLow.length."},
        {[](Arguments& a) { a.kernel.filtDecHigh.offset = -1, a.kernel.filtRecHigh.offset = -1; },
         -29, "Error wtKernel->filtDecHigh.offset < 0.", "Error wtKernel->filtRecHigh.offset < 0."},
        {[](Arguments& a) { a.whole->nChannels = 0; }, ZAN_STATUS_CHANNELS, "Incorrect image: src.",
         "Incorrect image: dst."},
        {[](Arguments& a) { a.bands[1]->depth = 3; }, ZAN_STATUS_DEPTH,
         "Incorrect image: xDetailDst.", "Incorrect image: xDetailSrc."},
        {[](Arguments& a) {
             a.tiledDetail = std::make_unique<zt::TiledImage>(zt::Shape{ZAN_DEPTH_32F, 1, 3, 2}, 8, 8);
         },
         -5,
         "Tiled image not supported: dDetailDst.", "Tiled image not supported: dDetailSrc."},
        {[](Arguments& a) { zt::setRoi(a.bands[2].get(), 0, 0, 0, 3, 2); }, -25,
         "Error yDetailDst->roi != NULL.", "Error yDetailSrc->roi != NULL."},
        {[](Arguments& a) { a.whole = zt::makeImage({ZAN_DEPTH_16U, 1, 5, 3}); }, -17,
         "Error src->depth != ZAN_DEPTH_8U.", "Error dst->depth != ZAN_DEPTH_8U."},
        {[](Arguments& a) { a.bands[0] = zt::makeImage({ZAN_DEPTH_8U, 1, 3, 2}); }, -17,
         "Error approxDst->depth != ZAN_DEPTH_32F.", "Error approxSrc->depth != ZAN_DEPTH_32F."},
        {[](Arguments& a) { a.whole = zt::makeImage({ZAN_DEPTH_8U, 3, 5, 3}); }, -15,
         "Error src->nChannels != 1.", "Error dst->nChannels != 1."},
        {[](Arguments& a) { a.bands[2] = zt::makeImage({ZAN_DEPTH_32F, 2, 3, 2}); }, -15,
         "Error yDetailDst->nChannels != 1.", "Error yDetailSrc->nChannels != 1."},
        {[](Arguments& a) { zt::setRoi(a.whole.get(), 0, 5, 0, 1, 1); }, -25,
         "Error src->roi->xOffset >= src->width.", "Error dst->roi->xOffset >= dst->width."},
        {[](Arguments& a) { zt::setRoi(a.whole.get(), 0, 0, 3, 1, 1); }, -25,
         "Error src->roi->yOffset >= src->height.", "Error dst->roi->yOffset >= dst->height."},
        {[](Arguments& a) { a.bands[1] = zt::makeImage({ZAN_DEPTH_32F, 1, 2, 2}); }, -10,
         "Error actualWidth(xDetailDst) != (actualWidth(src) + 1) / 2.",
         "Error actualWidth(xDetailSrc) != (actualWidth(dst) + 1) / 2."},
        {[](Arguments& a) { a.bands[3] = zt::makeImage({ZAN_DEPTH_32F, 1, 3, 1}); }, -10,
         "Error actualHeight(dDetailDst) != (actualHeight(src) + 1) / 2.",
         "Error actualHeight(dDetailSrc) != (actualHeight(dst) + 1) / 2."},
        {[](Arguments& a) { zt::setRoi(a.whole.get(), 0, 1, 0, 9, 2); }, -10,
         "Error actualWidth(approxDst) != actualWidth(src) / 2.",
         "Error actualWidth(approxSrc) != actualWidth(dst) / 2."},
        {[](Arguments& a) { zt::setRoi(a.whole.get(), 0, 0, 1, 5, 9); }, -10,
         "Error actualHeight(approxDst) != actualHeight(src) / 2.",
         "Error actualHeight(approxSrc) != actualHeight(dst) / 2."},
        {[](Arguments& a) {
             zt::Shape s{ZAN_DEPTH_32F, 1, 3, 2};
             s.align = 32;
             a.bands[2] = zt::makeImage(s);
         },
         -13, "Not equal decomposed images widthStep values.",
         "Not equal decomposed images widthStep values."},
    };
    for (const RefusalCase& c : cases) {
        for (int analysis = 0; analysis < 2; ++analysis) {
            Arguments a;
            c.spoil(a);
            const char* text = analysis ? c.decomposeText : c.reconstructText;
            SCOPED_TRACE(text);
            zt::RecordingReporter reporter;
            BandPtrs b = ptrs(a.bands);
            if (a.tiledDetail)
                b[3] = a.tiledDetail->header();
            const ZanStatus status =
                analysis ? zanWtDecompose(&a.kernel, a.whole.get(), b[0], b[1], b[2], b[3])
                         : zanWtReconstruct(&a.kernel, b[0], b[1], b[2], b[3], a.whole.get());
            EXPECT_EQ(status, c.status);
            ASSERT_FALSE(reporter.reports().empty());
            const auto& last = reporter.reports().back();
            EXPECT_EQ(last.context, text);
            EXPECT_EQ(last.status, c.status);
            EXPECT_EQ(last.source, "zanwt");
            EXPECT_EQ(last.function, analysis ? "zanWtDecompose" : "zanWtReconstruct");
        }
    }
    zt::RecordingReporter reporter;
    Arguments a;
    BandPtrs b = ptrs(a.bands);
    EXPECT_EQ(zanWtDecompose(nullptr, a.whole.get(), b[0], b[1], b[2], b[3]), -27);
    EXPECT_EQ(zanWtReconstruct(nullptr, b[0], b[1], b[2], b[3], a.whole.get()), -27);
    EXPECT_EQ(reporter.summary(),
              (std::vector<std::string>{"zanWtDecompose: Null pointer by wtKernel was passed.",
                                        "zanWtReconstruct: Null pointer by wtKernel was passed."}));
}

} // namespace
