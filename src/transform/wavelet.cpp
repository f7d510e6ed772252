// One level of the separable wavelet transform of an 8-bit grey image into
// four 32F subbands, and its inverse. Lines are periodic; an odd line first
// repeats its last sample.
#include "core/own_core.h"
#include "core/own_memory.h"
#include "own_wavelet.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdint>

namespace {

// The names one transform's checks report: its filters, and its 8-bit image
// followed by the four subbands.
struct WtRole {
    OwnSite site;
    const char* filterNames[2];
    const char* imageNames[5];
};

const WtRole kDecompose = {{"zanWtDecompose", "zanwt"},
                           {"wtKernel->filtDecLow", "wtKernel->filtDecHigh"},
                           {"src", "approxDst", "xDetailDst", "yDetailDst", "dDetailDst"}};
const WtRole kReconstruct = {{"zanWtReconstruct", "zanwt"},
                             {"wtKernel->filtRecLow", "wtKernel->filtRecHigh"},
                             {"dst", "approxSrc", "xDetailSrc", "yDetailSrc", "dDetailSrc"}};

// The part of an image that the transform covers: the ROI clipped to the
// image, or the whole image.
struct Extent {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

Extent actualExtent(const ZanImage* image)
{
    const ZanROI* roi = image->roi;
    if (!roi)
        return {0, 0, image->width, image->height};
    return {roi->xOffset, roi->yOffset, std::min(roi->width, image->width - roi->xOffset),
            std::min(roi->height, image->height - roi->yOffset)};
}

int half(int n) { return (n + 1) / 2; }

ZanStatus checkImages(const WtRole& role, const ZanImage* const (&images)[5])
{
    char text[128];
    for (int i = 0; i < 5; ++i) {
        if (zanCheckImageHeader(images[i]) != ZAN_STATUS_OK) {
            std::snprintf(text, sizeof text, "Incorrect image: %s.", role.imageNames[i]);
            return ownWtFail(role.site, zanGetErrStatus(), text);
        }
        if (!images[i]->imageData) {
            std::snprintf(text, sizeof text, "Tiled image not supported: %s.", role.imageNames[i]);
            return ownWtFail(role.site, ZAN_STATUS_BAD_ARGUMENT, text);
        }
    }
    for (int i = 1; i < 5; ++i)
        if (images[i]->roi) {
            std::snprintf(text, sizeof text, "Error %s->roi != NULL.", role.imageNames[i]);
            return ownWtFail(role.site, ZAN_STATUS_ROI_SIZE, text);
        }
    for (int i = 0; i < 5; ++i)
        if (images[i]->depth != (i == 0 ? ZAN_DEPTH_8U : ZAN_DEPTH_32F)) {
            std::snprintf(text, sizeof text, "Error %s->depth != %s.", role.imageNames[i],
                          i == 0 ? "ZAN_DEPTH_8U" : "ZAN_DEPTH_32F");
            return ownWtFail(role.site, ZAN_STATUS_DEPTH, text);
        }
    for (int i = 0; i < 5; ++i)
        if (images[i]->nChannels != 1) {
            std::snprintf(text, sizeof text, "Error %s->nChannels != 1.", role.imageNames[i]);
            return ownWtFail(role.site, ZAN_STATUS_CHANNELS, text);
        }
    return ZAN_STATUS_OK;
}

ZanStatus checkSizes(const WtRole& role, const ZanImage* const (&images)[5])
{
    const char* whole = role.imageNames[0];
    const ZanROI* roi = images[0]->roi;
    char text[128];
    for (int axis = 0; axis < 2 && roi; ++axis) {
        const int offset = axis == 0 ? roi->xOffset : roi->yOffset;
        if (offset >= (axis == 0 ? images[0]->width : images[0]->height)) {
            std::snprintf(text, sizeof text, "Error %s->roi->%cOffset >= %s->%s.", whole,
                          axis == 0 ? 'x' : 'y', whole, axis == 0 ? "width" : "height");
            return ownWtFail(role.site, ZAN_STATUS_ROI_SIZE, text);
        }
    }
    const Extent e = actualExtent(images[0]);
    for (int i = 1; i < 5; ++i)
        for (int axis = 0; axis < 2; ++axis) {
            const int n = axis == 0 ? e.width : e.height;
            if ((axis == 0 ? images[i]->width : images[i]->height) == half(n))
                continue;
            const char* what = axis == 0 ? "Width" : "Height";
            if (n % 2 == 0)
                std::snprintf(text, sizeof text, "Error actual%s(%s) != actual%s(%s) / 2.", what,
                              role.imageNames[i], what, whole);
            else
                std::snprintf(text, sizeof text, "Error actual%s(%s) != (actual%s(%s) + 1) / 2.",
                              what, role.imageNames[i], what, whole);
            return ownWtFail(role.site, ZAN_STATUS_IMAGE_SIZE, text);
        }
    for (int i = 2; i < 5; ++i)
        if (images[i]->widthStep != images[1]->widthStep)
            return ownWtFail(role.site, ZAN_STATUS_WIDTH_STEP,
                        "Not equal decomposed images widthStep values.");
    return ZAN_STATUS_OK;
}

// The checks of either transform, in their order.
ZanStatus checkArguments(const WtRole& role, const ZanWtKernel* kernel, bool analysis,
                         const ZanImage* const (&images)[5])
{
    if (!kernel)
        return ownWtFail(role.site, ZAN_STATUS_NULL_POINTER, "Null pointer by wtKernel was passed.");
    const ZanWtFilter* filters[2] = {analysis ? &kernel->filtDecLow : &kernel->filtRecLow,
                                     analysis ? &kernel->filtDecHigh : &kernel->filtRecHigh};
    for (int f = 0; f < 2; ++f) {
        const ZanStatus status = ownWtCheckFilter(role.site, *filters[f], role.filterNames[f],
                                                  ZAN_STATUS_FILTER_CONTENT);
        if (status != ZAN_STATUS_OK)
            return status;
    }
    ZanStatus status = checkImages(role, images);
    if (status == ZAN_STATUS_OK)
        status = checkSizes(role, images);
    return status;
}

// Maps positions lo, lo + 1, ... of a line of n samples, taken as periodic
// with the given period, to sample indices; positions past the last sample
// within a period (the repeat of an odd line) take the last sample.
OwnBuffer<int> periodicMap(int n, int period, int lo, int count)
{
    OwnBuffer<int> map(static_cast<std::size_t>(count));
    if (!map.ok())
        return map;
    for (int j = 0; j < count; ++j) {
        const int p = ((lo + j) % period + period) % period;
        map[j] = std::min(p, n - 1);
    }
    return map;
}

template <class T>
T* rowOf(const ZanImage* image, int y, int x = 0)
{
    return reinterpret_cast<T*>(image->imageData + std::ptrdiff_t(y) * image->widthStep) + x;
}

void addScaled(double* acc, const float* line, double tap, int n)
{
    for (int x = 0; x < n; ++x)
        acc[x] += tap * line[x];
}

void storeFloats(float* out, const double* acc, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<float>(acc[x]);
}

// The analysis positions 2 i + offset - k of both filters, for outputs i
// below outCount, span [lo, lo + count).
struct Span {
    int lo;
    int count;
};

Span analysisSpan(const ZanWtFilter& low, const ZanWtFilter& high, int outCount)
{
    const int lo = std::min(low.offset - low.length + 1, high.offset - high.length + 1);
    const int hi = 2 * (outCount - 1) + std::max(low.offset, high.offset);
    return {lo, hi - lo + 1};
}

// Output i of a padded line whose element 0 is position lo.
double analyseAt(const double* padded, int lo, const ZanWtFilter& f, int i)
{
    double s = 0;
    const int base = 2 * i + f.offset - lo;
    for (int k = 0; k < f.length; ++k)
        s += double(f.taps[k]) * padded[base - k];
    return s;
}

// Row analysis: a source row of the region gives a low and a high line of
// half width, through the periodic map of the row's positions.
class RowAnalysis {
public:
    RowAnalysis(const ZanImage* src, const Extent& e, const ZanWtFilter& low,
                const ZanWtFilter& high)
        : src_(src), e_(e), low_(low), high_(high),
          span_(analysisSpan(low, high, half(e.width))),
          map_(periodicMap(e.width, e.width + e.width % 2, span_.lo, span_.count)),
          padded_(static_cast<std::size_t>(span_.count))
    {
    }
    bool ok() const { return map_.ok() && padded_.ok(); }

    void run(int y, float* lowLine, float* highLine) const
    {
        const uint8_t* in = rowOf<const uint8_t>(src_, e_.y + y, e_.x);
        for (int j = 0; j < span_.count; ++j)
            padded_[j] = in[map_[j]];
        for (int i = 0; i < half(e_.width); ++i) {
            lowLine[i] = float(analyseAt(padded_.data(), span_.lo, low_, i));
            highLine[i] = float(analyseAt(padded_.data(), span_.lo, high_, i));
        }
    }

private:
    const ZanImage* src_;
    Extent e_;
    const ZanWtFilter& low_;
    const ZanWtFilter& high_;
    Span span_;
    OwnBuffer<int> map_;
    OwnBuffer<double> padded_;
};

// The row-filtered lines that a column pass reads, held by position in a
// ring as long as the span of the filters: a position's two lines are made
// by Rows::run when first needed and overwrite the position that has left
// the span. Positions are periodic, and those past the last of n lines
// within a period take the last line.
template <class Rows>
class LineRing {
public:
    LineRing(const Rows& rows, int width, int slots, int n, int period)
        : rows_(rows), width_(width), slots_(slots), n_(n), period_(period),
          lines_(std::size_t(2) * width * slots), held_(static_cast<std::size_t>(slots))
    {
        if (held_.ok())
            std::fill(held_.data(), held_.data() + slots_, INT32_MIN);
    }
    bool ok() const { return lines_.ok() && held_.ok(); }

    // The low (set 0) or high (set 1) line at a position.
    const float* line(int position, int set)
    {
        const int slot = ((position % slots_) + slots_) % slots_;
        float* low = lines_.data() + std::size_t(2) * width_ * slot;
        if (held_[slot] != position) {
            const int row = std::min(((position % period_) + period_) % period_, n_ - 1);
            rows_.run(row, low, low + width_);
            held_[slot] = position;
        }
        return low + std::size_t(set) * width_;
    }

private:
    const Rows& rows_;
    int width_;
    int slots_;
    int n_;
    int period_;
    OwnBuffer<float> lines_;
    OwnBuffer<int> held_;
};

// The column pass of the analysis: output row i of a subband sums a
// filter's taps over the lines at 2 i + offset - k of its set.
ZanStatus decompose(const ZanWtKernel& kernel, const ZanImage* src, ZanImage* const (&bands)[4])
{
    const Extent e = actualExtent(src);
    const int width = half(e.width);
    const ZanWtFilter& low = kernel.filtDecLow;
    const ZanWtFilter& high = kernel.filtDecHigh;
    const RowAnalysis rows(src, e, low, high);
    const Span window = analysisSpan(low, high, 1);
    LineRing ring(rows, width, window.count, e.height, e.height + e.height % 2);
    OwnBuffer<double> acc(static_cast<std::size_t>(width));
    if (!rows.ok() || !ring.ok() || !acc.ok())
        return ZAN_STATUS_NO_MEMORY;
    for (int i = 0; i < half(e.height); ++i)
        for (int b = 0; b < 4; ++b) {
            const ZanWtFilter& f = b % 2 ? high : low;
            std::fill(acc.data(), acc.data() + width, 0.0);
            for (int k = 0; k < f.length; ++k)
                addScaled(acc.data(), ring.line(2 * i + f.offset - k, b / 2), f.taps[k], width);
            storeFloats(rowOf<float>(bands[b], i), acc.data(), width);
        }
    return ZAN_STATUS_OK;
}

// The synthesis positions n + offset - k of both filters, for outputs n
// below outCount, halved: the half-line indices of the even ones span
// [lo, lo + count).
Span synthesisSpan(const ZanWtFilter& low, const ZanWtFilter& high, int outCount)
{
    const int lo = std::min(low.offset - low.length + 1, high.offset - high.length + 1) >> 1;
    const int hi = (outCount - 1 + std::max(low.offset, high.offset)) >> 1;
    return {lo, hi - lo + 1};
}

// Sum of one filter's terms on the up-sampled line for output n, from the
// last tap to the first; the odd positions hold zeros.
double synthesiseAt(const double* padded, int lo, const ZanWtFilter& f, int n)
{
    double s = 0;
    for (int k = f.length - 1; k >= 0; --k) {
        const int m = n + f.offset - k;
        if ((m & 1) == 0)
            s += double(f.taps[k]) * padded[(m >> 1) - lo];
    }
    return s;
}

// Row synthesis: half row r of approx with yDetail gives a line of the low
// set, of xDetail with dDetail a line of the high set, width samples each.
class RowSynthesis {
public:
    RowSynthesis(const ZanImage* const (&bands)[4], int width, const ZanWtFilter& low,
                 const ZanWtFilter& high)
        : bands_(bands), width_(width), low_(low), high_(high),
          span_(synthesisSpan(low, high, width)),
          map_(periodicMap(bands[0]->width, bands[0]->width, span_.lo, span_.count)),
          a_(static_cast<std::size_t>(span_.count)), d_(a_.size())
    {
    }
    bool ok() const { return map_.ok() && a_.ok() && d_.ok(); }

    void run(int r, float* lowLine, float* highLine) const
    {
        pair(r, bands_[0], bands_[2], lowLine);
        pair(r, bands_[1], bands_[3], highLine);
    }

private:
    void pair(int r, const ZanImage* approx, const ZanImage* detail, float* out) const
    {
        const float* inA = rowOf<const float>(approx, r);
        const float* inD = rowOf<const float>(detail, r);
        for (int j = 0; j < span_.count; ++j) {
            a_[j] = inA[map_[j]];
            d_[j] = inD[map_[j]];
        }
        for (int n = 0; n < width_; ++n)
            out[n] = float(synthesiseAt(a_.data(), span_.lo, low_, n) +
                           synthesiseAt(d_.data(), span_.lo, high_, n));
    }

    const ZanImage* const (&bands_)[4];
    int width_;
    const ZanWtFilter& low_;
    const ZanWtFilter& high_;
    Span span_;
    OwnBuffer<int> map_;
    OwnBuffer<double> a_;
    OwnBuffer<double> d_;
};

// Saturates to 0..255 and rounds to the nearest integer, ties to even.
uint8_t toPixel(double v)
{
    if (v > 255.0)
        return 255;
    if (!(v >= 0.0))
        return 0;
    double r = std::floor(v);
    const double fraction = v - r;
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(r, 2.0) != 0.0))
        r += 1.0;
    return static_cast<uint8_t>(r);
}

// Adds one filter's terms for output row n over the lines of one set, from
// the last tap to the first.
template <class Ring>
void addColumnTerms(double* acc, Ring& ring, int set, const ZanWtFilter& f, int n, int width)
{
    for (int k = f.length - 1; k >= 0; --k) {
        const int m = n + f.offset - k;
        if ((m & 1) == 0)
            addScaled(acc, ring.line(m >> 1, set), f.taps[k], width);
    }
}

// The column pass of the synthesis: the low set with the high set, each
// output row rounded into the destination's region.
ZanStatus reconstruct(const ZanWtKernel& kernel, const ZanImage* const (&bands)[4], ZanImage* dst)
{
    const Extent e = actualExtent(dst);
    const ZanWtFilter& low = kernel.filtRecLow;
    const ZanWtFilter& high = kernel.filtRecHigh;
    const int halfHeight = bands[0]->height;
    const RowSynthesis rows(bands, e.width, low, high);
    LineRing ring(rows, e.width, synthesisSpan(low, high, 2).count, halfHeight, halfHeight);
    OwnBuffer<double> acc(static_cast<std::size_t>(e.width));
    if (!rows.ok() || !ring.ok() || !acc.ok())
        return ZAN_STATUS_NO_MEMORY;
    for (int n = 0; n < e.height; ++n) {
        std::fill(acc.data(), acc.data() + e.width, 0.0);
        addColumnTerms(acc.data(), ring, 0, low, n, e.width);
        addColumnTerms(acc.data(), ring, 1, high, n, e.width);
        uint8_t* out = rowOf<uint8_t>(dst, e.y + n, e.x);
        for (int x = 0; x < e.width; ++x)
            out[x] = toPixel(acc[x]);
    }
    return ZAN_STATUS_OK;
}

} // namespace

extern "C" {

ZAN_API ZanStatus zanWtDecompose(const ZanWtKernel* wtKernel, const ZanImage* src,
                                 ZanImage* approxDst, ZanImage* xDetailDst,
                                 ZanImage* yDetailDst, ZanImage* dDetailDst)
{
    zanSetErrStatus(ZAN_STATUS_OK);
    const ZanImage* const images[5] = {src, approxDst, xDetailDst, yDetailDst, dDetailDst};
    const ZanStatus status = checkArguments(kDecompose, wtKernel, true, images);
    if (status != ZAN_STATUS_OK)
        return status;
    ZanImage* const bands[4] = {approxDst, xDetailDst, yDetailDst, dDetailDst};
    return decompose(*wtKernel, src, bands);
}

ZAN_API ZanStatus zanWtReconstruct(const ZanWtKernel* wtKernel, const ZanImage* approxSrc,
                                   const ZanImage* xDetailSrc, const ZanImage* yDetailSrc,
                                   const ZanImage* dDetailSrc, ZanImage* dst)
{
    zanSetErrStatus(ZAN_STATUS_OK);
    const ZanImage* const images[5] = {dst, approxSrc, xDetailSrc, yDetailSrc, dDetailSrc};
    const ZanStatus status = checkArguments(kReconstruct, wtKernel, false, images);
    if (status != ZAN_STATUS_OK)
        return status;
    const ZanImage* const bands[4] = {approxSrc, xDetailSrc, yDetailSrc, dDetailSrc};
    return reconstruct(*wtKernel, bands, dst);
}

} // extern "C"
