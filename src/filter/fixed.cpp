// zanFixedFilter: eleven built-in kernels by number, their checks, and the
// piece routine that sums each window exactly and rounds as the kernel asks.
#include "../core/own_memory.h"
#include "own_rank.h"

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <limits>

namespace {

constexpr const char* kSource = "zannlf";

// How a kernel's integer sum R becomes a sample.
enum Rounding {
    kSaturate,   // R
    kGaussian3,  // R / 16 to nearest, ties to even
    kGaussian5,  // R / 571 to nearest
    kSharpen,    // R / 8 to nearest, ties to even
};

struct FixedKernel {
    int size; // the window is size by size, its anchor at the centre
    Rounding rounding;
    int bitThreshold; // 1-bit images: set when R exceeds this
    int weights[25];  // row by row, weighing src(x + c - a, y + r - a)
};

constexpr FixedKernel kKernels[] = {
    {3, kSaturate, 0, {1, 0, -1, 1, 0, -1, 1, 0, -1}},
    {3, kSaturate, 0, {-1, -1, -1, 0, 0, 0, 1, 1, 1}},
    {3, kSaturate, 0, {1, 0, -1, 2, 0, -2, 1, 0, -1}},
    {3, kSaturate, 0, {-1, -2, -1, 0, 0, 0, 1, 2, 1}},
    {3, kSaturate, 0, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    {5, kSaturate, 0, {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20,
                       6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1}},
    {3, kGaussian3, 7, {1, 2, 1, 2, 4, 2, 1, 2, 1}},
    {5, kGaussian5, 285, {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127,
                          52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2}},
    {3, kSaturate, 0, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    {5, kSaturate, 0, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24,
                       -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {3, kSharpen, 0, {-1, -1, -1, -1, 16, -1, -1, -1, -1}},
};

constexpr int kSharpenFilter = 10;

// The shift of R by `shift` bits to nearest, ties to even.
int64_t shiftToEven(int64_t r, int shift)
{
    const int64_t half = (int64_t{1} << (shift - 1)) - 1;
    return (r + half + ((r >> shift) & 1)) >> shift;
}

int64_t roundInteger(const FixedKernel& k, int64_t r)
{
    switch (k.rounding) {
    case kGaussian3: return shiftToEven(r, 4);
    case kSharpen: return shiftToEven(r, 3);
    case kGaussian5: {
        const int64_t num = 2 * r + 571;
        return num >= 0 ? num / 1142 : -((-num + 1141) / 1142);
    }
    default: return r;
    }
}

template <class T>
T toSample(const FixedKernel& k, int64_t r)
{
    const int64_t v = roundInteger(k, r);
    return static_cast<T>(std::clamp<int64_t>(v, std::numeric_limits<T>::min(),
                                              std::numeric_limits<T>::max()));
}

// Gaussian 5 by 5 on 32S: single-precision weights w / 571, rounded.
int32_t gaussian5Int(const int32_t* window, const FixedKernel& k)
{
    float sum = 0;
    for (int i = 0; i < 25; ++i)
        sum += static_cast<float>(window[i]) * (static_cast<float>(k.weights[i]) / 571.0f);
    const double r = std::nearbyint(static_cast<double>(sum));
    return static_cast<int32_t>(std::clamp(r, -2147483648.0, 2147483647.0));
}

float toFloat(const FixedKernel& k, const float* window)
{
    const int count = k.size * k.size;
    double r = 0;
    for (int i = 0; i < count; ++i)
        r += static_cast<double>(k.weights[i]) *
             (k.rounding == kGaussian5 ? static_cast<double>(window[i]) / 571.0 : window[i]);
    switch (k.rounding) {
    case kGaussian3: return static_cast<float>(r * 0.0625);
    case kSharpen: return static_cast<float>(r * 0.125);
    default: return static_cast<float>(r);
    }
}

template <class T>
T fixedValue(const FixedKernel& k, const T* window)
{
    if constexpr (std::is_same_v<T, float>) {
        return toFloat(k, window);
    } else {
        if (std::is_same_v<T, int32_t> && k.rounding == kGaussian5)
            return static_cast<T>(gaussian5Int(reinterpret_cast<const int32_t*>(window), k));
        int64_t r = 0;
        for (int i = 0; i < k.size * k.size; ++i)
            r += static_cast<int64_t>(k.weights[i]) * window[i];
        return toSample<T>(k, r);
    }
}

// The window of column j of output row y, row by row.
template <class T>
void gather(const OwnLaneRows<T>& src, const FixedKernel& k, int y, std::ptrdiff_t j, T* window)
{
    const int a = k.size / 2;
    for (int r = 0; r < k.size; ++r)
        for (int c = 0; c < k.size; ++c)
            *window++ = src.at(y - a + r, c - a)[j * src.jStep];
}

template <class T>
bool fixedSamples(const FixedKernel& k, const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    T window[25];
    for (int i = 0; i < plan.lanes.laneCount(); ++i) {
        const OwnLane lane = plan.lanes.lane(i);
        const OwnLaneRows<T> src = ownLaneRows<T>(piece.src, lane);
        const OwnLaneOut<T> out = ownLaneOut<T>(piece.dst, lane);
        const int n = piece.width * lane.group;
        for (int y = 0; y < piece.height; ++y) {
            T* row = out.row(y);
            for (int j = 0; j < n; ++j) {
                if (!ownMaskAllows(piece, y, j / lane.group))
                    continue;
                gather(src, k, y, j, window);
                row[static_cast<std::ptrdiff_t>(j) * out.jStep] = fixedValue(k, window);
            }
        }
    }
    return true;
}

bool fixedBits(const FixedKernel& k, const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    OwnExpandedBits bits;
    if (!ownExpandBits(piece, plan.margins, &bits))
        return false;
    uint8_t window[25];
    for (int y = 0; y < piece.height; ++y) {
        auto* row = reinterpret_cast<uint8_t*>(piece.dst.row(y));
        for (int x = 0; x < piece.width; ++x) {
            if (!ownMaskAllows(piece, y, x))
                continue;
            gather(bits.rows, k, y, x, window);
            int r = 0;
            for (int i = 0; i < k.size * k.size; ++i)
                r += k.weights[i] * window[i];
            ownSetBit(row, piece.dst.x0 + x, r > k.bitThreshold);
        }
    }
    return true;
}

int coiOf(const ZanImage* image) { return image->roi ? image->roi->coi : 0; }

int channelCount(const ZanImage* image)
{
    return coiOf(image) ? 1 : image->nChannels - (image->alphaChannel ? 1 : 0);
}

// A refusal: the report, then the call's return value.
int refuse(const OwnSite& site, const char* context, int result)
{
    OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, context);
    return result;
}

// 0 when the images may be filtered, else the value the call returns.
int checkImages(const OwnSite& site, const ZanImage* src, const ZanImage* dst)
{
    if (src == dst)
        return refuse(site, "(srcImage==dstImage)", ZAN_STATUS_BAD_ARGUMENT);
    if (src->depth != dst->depth)
        return refuse(site, "srcImage->depth!=dstImage->depth", -17);
    if (src->nChannels != dst->nChannels)
        return refuse(site, "srcImage->nChannels!=dstImage->nChannels", -15);
    if (src->alphaChannel != dst->alphaChannel)
        return refuse(site, "srcImage->alphaChannel!=dstImage->alphaChannel", -18);
    if (src->depth != ZAN_DEPTH_1U && src->dataOrder != dst->dataOrder)
        return refuse(site, "srcImage->dataOrder!=dstImage->dataOrder", -1);
    return 0;
}

// The channel checks all report before the thread's status decides.
int checkChannels(const OwnSite& site, const ZanImage* src, const ZanImage* dst)
{
    if (coiOf(src) > src->nChannels)
        OWN_REPORT(site, -24, "Interst Channel of input Image more number of channels.");
    if (coiOf(dst) > dst->nChannels)
        OWN_REPORT(site, -24, "Interst Channel of output Image more number of channels.");
    if (channelCount(src) != channelCount(dst))
        OWN_REPORT(site, -24, "Number of interset channel input and output Image is not equal.");
    return std::min(zanGetErrStatus(), 0);
}

int fixedFilter(const ZanImage* srcImage, ZanImage* dstImage, int filter)
{
    const OwnSite site{"zanFixedFilter", kSource};
    for (const ZanImage* image : {srcImage, static_cast<const ZanImage*>(dstImage)}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return zanGetErrStatus();
        }
    }
    if (filter == kSharpenFilter && srcImage->depth == ZAN_DEPTH_1U) {
        zanCopy(srcImage, dstImage);
        return 0;
    }
    if (const int refused = checkImages(site, srcImage, dstImage))
        return refused;
    if (const int status = checkChannels(site, srcImage, dstImage))
        return status;
    if (filter < 0 || filter > kSharpenFilter) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "Unknow filter.");
        return zanGetErrStatus();
    }
    const int size = kKernels[filter].size;
    const int a = size / 2;
    const OwnNlfPlan plan{OWN_NLF_FIXED,       size, size, a, a, filter, srcImage->depth,
                          OwnMargins{a, a, a, a}, ownNlfLanes(srcImage, dstImage)};
    ownNlfDriver(srcImage, dstImage, plan);
    return 0;
}

} // namespace

bool ownFixedPiece(const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    const FixedKernel& k = kKernels[plan.filter];
    if (plan.depth == ZAN_DEPTH_1U)
        return fixedBits(k, plan, piece);
    bool done = true;
    ownWithSampleType(plan.depth, [&](auto type) {
        using T = typename decltype(type)::type;
        done = fixedSamples<T>(k, plan, piece);
    });
    return done;
}

extern "C" ZAN_API int zanFixedFilter(const ZanImage* srcImage, ZanImage* dstImage, int filter)
{
    std::fenv_t entry;
    std::fegetenv(&entry);
    const int result = fixedFilter(srcImage, dstImage, filter);
    std::feclearexcept(FE_ALL_EXCEPT);
    std::fesetenv(&entry);
    return result;
}
