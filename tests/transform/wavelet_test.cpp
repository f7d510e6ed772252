// One-level wavelet transforms against references written from the line
// formulas, perfect reconstruction with the built-in kernels, and refusals.
#include "zan.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
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

} // namespace
