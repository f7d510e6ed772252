// Spatial, central and normalised moments of one channel up to order 3.
#include "own_measure.h"

#include "../arith/own_simd.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <type_traits>

namespace {

constexpr const char* kSource = "zanMoms";

// The region of the moments: the image's ROI clipped to the image, narrowed
// to the size of the mask's region when the mask has data.
struct MomentRegion {
    const ZanImage* mask;
    int channel;
    int width;
    int height;
};

MomentRegion momentRegion(const ZanImage* image)
{
    MomentRegion region{};
    const ZanImage* mask = image->maskROI;
    region.mask = mask && mask->imageData ? mask : nullptr;
    region.channel = image->nChannels == 1 ? 0 : image->roi->coi - 1;
    OwnRect rect;
    ownRegionRect(image, &rect);
    if (region.mask) {
        OwnRect maskRect;
        ownRegionRect(region.mask, &maskRect);
        rect.width = std::min(rect.width, maskRect.width);
        rect.height = std::min(rect.height, maskRect.height);
    }
    region.width = std::max(rect.width, 0);
    region.height = std::max(rect.height, 0);
    return region;
}

// The sample i of a row: a bit of a 1-bit row, else a value.
template <class T>
double sampleOf(const own_rows::Region& samples, const void* row, int i)
{
    if constexpr (std::is_same_v<T, bool>)
        return ownGetBit(static_cast<const uint8_t*>(row), samples.bitOffset + i) ? 1.0 : 0.0;
    else
        return static_cast<double>(static_cast<const T*>(row)[static_cast<std::ptrdiff_t>(i) * samples.pixelStride]);
}

#if OWN_HAVE_SSE2
// The four sums of an unmasked row of values, two pixels to a register and
// two registers at a time; returns the pixels done.
template <class T>
int packedRowSums(const own_rows::Region& samples, const T* row, int x0, int width, double s[4])
{
    __m128d sum[2][4] = {};
    const __m128d step = _mm_set1_pd(4.0);
    __m128d x[2] = {_mm_set_pd(x0 + 1.0, x0), _mm_set_pd(x0 + 3.0, x0 + 2.0)};
    const std::ptrdiff_t stride = samples.pixelStride;
    int i = 0;
    for (; i + 4 <= width; i += 4) {
        for (int k = 0; k < 2; ++k) {
            const T* p = row + (i + 2 * k) * stride;
            const __m128d v = _mm_set_pd(static_cast<double>(p[stride]), static_cast<double>(p[0]));
            sum[k][0] = _mm_add_pd(sum[k][0], v);
            __m128d term = _mm_mul_pd(v, x[k]);
            sum[k][1] = _mm_add_pd(sum[k][1], term);
            term = _mm_mul_pd(term, x[k]);
            sum[k][2] = _mm_add_pd(sum[k][2], term);
            term = _mm_mul_pd(term, x[k]);
            sum[k][3] = _mm_add_pd(sum[k][3], term);
            x[k] = _mm_add_pd(x[k], step);
        }
    }
    for (int k = 0; k < 4; ++k) {
        alignas(16) double lanes[2];
        _mm_store_pd(lanes, _mm_add_pd(sum[0][k], sum[1][k]));
        s[k] = lanes[0] + lanes[1];
    }
    return i;
}
#endif

// Sums of v * x^k over one row of a piece for k = 0 .. top, x the image
// column; pixels whose mask bit is clear are left out.
template <class T>
void rowSums(const own_rows::Region& samples, const own_rows::Region* mask, int y, int x0,
             int width, int top, double s[4])
{
    s[0] = s[1] = s[2] = s[3] = 0.0;
    const uint8_t* maskRow = mask ? own_rows::rowOf<uint8_t>(*mask, 0, y) : nullptr;
    const void* row = own_rows::rowOf<char>(samples, 0, y);
    int i = 0;
#if OWN_HAVE_SSE2
    if constexpr (!std::is_same_v<T, bool>)
        if (!maskRow && top == 3)
            i = packedRowSums<T>(samples, static_cast<const T*>(row), x0, width, s);
#endif
    for (; i < width; ++i) {
        if (maskRow && !ownGetBit(maskRow, mask->bitOffset + i))
            continue;
        const double v = sampleOf<T>(samples, row, i);
        const double x = x0 + i;
        s[0] += v;
        if (top >= 1)
            s[1] += v * x;
        if (top >= 2)
            s[2] += v * x * x;
        if (top >= 3)
            s[3] += v * x * x * x;
    }
}

// Calls f(OwnType<T>{}) with the sample type of a depth, bool for 1 bit.
template <class F>
void withMomentType(uint32_t depth, F&& f)
{
    if (depth == ZAN_DEPTH_1U)
        f(OwnType<bool>{});
    else
        ownWithSampleType(depth, f);
}

// Walks the region's rows and hands each row's sums, up to power top of x,
// to add(sums, y) with y the image row. False when a tile gave no data.
template <class Add>
bool sumRows(const ZanImage* image, const MomentRegion& region, int top, Add add)
{
    return ownMeasureWalk(image, region.mask, region.width, region.height,
                          [&](const OwnMeasurePiece& piece) {
                              const own_rows::Region samples = own_rows::regionOf(piece.image, region.channel);
                              own_rows::Region mask{};
                              if (piece.mask)
                                  mask = own_rows::regionOf(piece.mask, 0);
                              withMomentType(image->depth, [&](auto type) {
                                  using T = typename decltype(type)::type;
                                  double s[4];
                                  for (int j = 0; j < samples.height; ++j) {
                                      rowSums<T>(samples, piece.mask ? &mask : nullptr, j, piece.x,
                                                 samples.width, top, s);
                                      add(s, static_cast<double>(piece.y + j));
                                  }
                              });
                              return true;
                          });
}

// The ten spatial moments into the table's value fields.
bool allMoments(const ZanImage* image, const MomentRegion& region, ZanMomentTable* state)
{
    double m[4][4] = {};
    const bool whole = sumRows(image, region, 3, [&](const double s[4], double y) {
        m[0][0] += s[0], m[1][0] += s[1], m[2][0] += s[2], m[3][0] += s[3];
        m[0][1] += y * s[0], m[1][1] += y * s[1], m[2][1] += y * s[2];
        m[0][2] += y * y * s[0], m[1][2] += y * y * s[1];
        m[0][3] += y * y * y * s[0];
    });
    if (!whole)
        return false;
    for (int p = 0; p < 4; ++p)
        for (int q = 0; p + q < 4; ++q)
            state->entry[p][q].value = m[p][q];
    state->entry[1][0].scale = 1.0 / region.width;
    state->entry[0][1].scale = 1.0 / region.height;
    return true;
}

// One spatial moment, summing only the powers it needs.
double oneMoment(const ZanImage* image, const MomentRegion& region, int m, int n)
{
    double total = 0.0;
    sumRows(image, region, m, [&](const double s[4], double y) {
        double yn = 1.0;
        for (int k = 0; k < n; ++k)
            yn *= y;
        total += yn * s[m];
    });
    return total;
}

bool legalOrder(int m, int n) { return m >= 0 && n >= 0 && m + n <= 3; }

// The checks of the image forms; false after a report.
bool checkImage(const char* function, const ZanImage* image, bool withOrder, int m, int n)
{
    const OwnSite site{function, kSource};
    if (zanCheckImageHeader(image) < 0) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return false;
    }
    if (image->nChannels != 1 && (!image->roi || image->roi->coi == 0)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Only one channel can be proceed");
        return false;
    }
    if (withOrder && !legalOrder(m, n)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Illegal order of moment");
        return false;
    }
    return true;
}

bool checkOrder(const char* function, int m, int n)
{
    if (legalOrder(m, n))
        return true;
    OWN_REPORT((OwnSite{function, kSource}), ZAN_STATUS_BAD_ARGUMENT, "Illegal order of moment");
    return false;
}

// The power of M00 that normalises a moment of order m + n.
double normaliser(double m00, int m, int n) { return std::pow(m00, (m + n + 2) / 2); }

double central(const ZanMomentTable& t, int m, int n)
{
    const auto M = [&](int p, int q) { return t.entry[p][q].value; };
    double ux, uy;
    if (std::fabs(M(0, 0)) <= DBL_MIN) {
        ux = 0.5 / t.entry[1][0].scale;
        uy = 0.5 / t.entry[0][1].scale;
    } else {
        const double inv = 1.0 / M(0, 0);
        ux = M(1, 0) * inv;
        uy = M(0, 1) * inv;
    }
    switch (m * 4 + n) {
    case 0: return M(0, 0);
    case 2: return M(0, 2) - M(0, 1) * uy;
    case 8: return M(2, 0) - M(1, 0) * ux;
    case 5: return M(1, 1) - M(0, 1) * ux;
    case 3: return 2 * uy * M(0, 1) * uy + (M(0, 3) - M(0, 2) * 3 * uy);
    case 12: return 2 * ux * M(1, 0) * ux + (M(3, 0) - M(2, 0) * 3 * ux);
    case 6: return 2 * uy * M(1, 0) * uy + ((M(1, 2) - M(1, 1) * 2 * uy) - M(0, 2) * ux);
    case 9: return 2 * ux * M(0, 1) * ux + ((M(2, 1) - M(1, 1) * 2 * ux) - M(2, 0) * uy);
    default: return 0.0; // orders (0, 1) and (1, 0)
    }
}

// The table of an image for the central forms; false for an empty region.
bool tableOf(const ZanImage* image, ZanMomentTable* table)
{
    const MomentRegion region = momentRegion(image);
    return region.width > 0 && region.height > 0 && allMoments(image, region, table);
}

// A spatial moment of an image after the checks, normalised if asked;
// 0.0 for an empty region.
double spatialOf(const char* function, const ZanImage* image, int m, int n, bool normalised)
{
    if (!checkImage(function, image, true, m, n))
        return 0.0;
    const MomentRegion region = momentRegion(image);
    if (region.width <= 0 || region.height <= 0)
        return 0.0;
    const double moment = oneMoment(image, region, m, n);
    return normalised ? moment / normaliser(oneMoment(image, region, 0, 0), m, n) : moment;
}

} // namespace

extern "C" ZAN_API void zanMoments(const ZanImage* image, ZanMomentTable* state)
{
    if (!checkImage("zanMoments", image, false, 0, 0))
        return;
    const MomentRegion region = momentRegion(image);
    if (region.width > 0 && region.height > 0)
        allMoments(image, region, state);
}

extern "C" ZAN_API double zanGetSpatialMoment(const ZanMomentTable* state, int m, int n)
{
    return checkOrder("zanGetSpatialMoment", m, n) ? state->entry[m][n].value : 0.0;
}

extern "C" ZAN_API double zanGetNormalizedSpatialMoment(const ZanMomentTable* state, int m, int n)
{
    if (!checkOrder("zanGetNormalizedSpatialMoment", m, n))
        return 0.0;
    return state->entry[m][n].value / normaliser(state->entry[0][0].value, m, n);
}

extern "C" ZAN_API double zanGetCentralMoment(const ZanMomentTable* state, int m, int n)
{
    return checkOrder("zanGetCentralMoment", m, n) ? central(*state, m, n) : 0.0;
}

extern "C" ZAN_API double zanGetNormalizedCentralMoment(const ZanMomentTable* state, int m, int n)
{
    if (!checkOrder("zanGetNormalizedCentralMoment", m, n))
        return 0.0;
    return central(*state, m, n) / normaliser(state->entry[0][0].value, m, n);
}

extern "C" ZAN_API double zanSpatialMoment(const ZanImage* image, int m, int n)
{
    return spatialOf("zanSpatialMoment", image, m, n, false);
}

extern "C" ZAN_API double zanNormalizedSpatialMoment(const ZanImage* image, int m, int n)
{
    return spatialOf("zanNormalizedSpatialMoment", image, m, n, true);
}

extern "C" ZAN_API double zanCentralMoment(const ZanImage* image, int m, int n)
{
    ZanMomentTable table{};
    if (!checkImage("zanCentralMoment", image, true, m, n) || !tableOf(image, &table))
        return 0.0;
    return central(table, m, n);
}

extern "C" ZAN_API double zanNormalizedCentralMoment(const ZanImage* image, int m, int n)
{
    ZanMomentTable table{};
    if (!checkImage("zanNormalizedCentralMoment", image, true, m, n) || !tableOf(image, &table))
        return 0.0;
    return central(table, m, n) / normaliser(table.entry[0][0].value, m, n);
}
