// zanMaxFilter, zanMinFilter and zanMedianFilter: the checks, the channels,
// the common region and the masks, then the neighbourhood walk with a row
// engine that ranks the samples of each window.
#include "../core/own_memory.h"
#include "own_rank.h"

#include <algorithm>

namespace {

constexpr const char* kSource = "zannlf";

int coiOf(const ZanImage* image) { return image->roi ? image->roi->coi : 0; }

int channelCount(const ZanImage* image)
{
    return coiOf(image) ? 1 : image->nChannels - (image->alphaChannel ? 1 : 0);
}

bool fail(const OwnSite& site, const char* context)
{
    OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, context);
    return false;
}

bool checkImages(const OwnSite& site, const ZanImage* src, const ZanImage* dst)
{
    if (src == dst)
        return fail(site, "(srcImage==dstImage)");
    if (src->depth != dst->depth)
        return fail(site, "srcImage->depth!=dstImage->depth");
    if (src->depth == ZAN_DEPTH_32F)
        return fail(site, "srcImage->depth==32");
    if (src->nChannels != dst->nChannels)
        return fail(site, "srcImage->nChannels!=dstImage->nChannels");
    if (src->alphaChannel != dst->alphaChannel)
        return fail(site, "srcImage->alphaChannel!=dstImage->alphaChannel");
    if (src->alphaChannel != 0 && src->alphaChannel != src->nChannels)
        return fail(site, "(srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels)");
    if (src->depth != ZAN_DEPTH_1U && src->dataOrder != dst->dataOrder)
        return fail(site, "srcImage->dataOrder!=dstImage->dataOrder");
    return true;
}

// The channel checks all report before the thread's status decides.
bool checkChannels(const OwnSite& site, const ZanImage* src, const ZanImage* dst)
{
    if (coiOf(src) > src->nChannels)
        fail(site, "Interst Channel of input Image more number of channels.");
    if (coiOf(dst) > dst->nChannels)
        fail(site, "Interst Channel of output Image more number of channels.");
    if (channelCount(src) != channelCount(dst))
        fail(site, "Number of interset channel input and output Image is not equal.");
    return zanGetErrStatus() >= 0;
}

bool checkCall(const OwnSite& site, const ZanImage* src, const ZanImage* dst, int nCols, int nRows,
               int anchorX, int anchorY)
{
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    if (anchorX >= nCols || anchorX < 0)
        return fail(site, "(anchorX>=nCols)||(anchorX<0)");
    if (anchorY >= nRows || anchorY < 0)
        return fail(site, "(anchorY>=nRows)||(anchorY<0)");
    return checkImages(site, src, dst) && checkChannels(site, src, dst);
}

// The rows of a window in a ring: the row of source row s is slot
// (s + anchorY) mod nRows, s never below -anchorY.
template <class T>
class RowRing {
public:
    RowRing(int rows, int n) : rows_(rows), n_(n), data_(static_cast<std::size_t>(rows) * n) {}
    bool ok() const { return data_.ok(); }
    T* slot(int index) const
    {
        return data_.data() + static_cast<std::ptrdiff_t>(index % rows_) * n_;
    }

private:
    int rows_;
    int n_;
    OwnBuffer<T> data_;
};

template <class T>
const T& pick(OwnNlfType type, const T& a, const T& b)
{
    return type == OWN_NLF_MAX ? std::max(a, b) : std::min(a, b);
}

// Row stage of Max and Min: the extreme of nCols samples of source row s.
template <class T>
void extremeOfRow(const OwnNlfPlan& plan, const OwnLaneRows<T>& src, int s, int n, T* out)
{
    const T* first = src.at(s, -plan.anchorX);
    for (int j = 0; j < n; ++j)
        out[j] = first[static_cast<std::ptrdiff_t>(j) * src.jStep];
    for (int i = 1; i < plan.nCols; ++i) {
        const T* next = src.at(s, i - plan.anchorX);
        if (plan.type == OWN_NLF_MAX) {
            for (int j = 0; j < n; ++j)
                out[j] = std::max(out[j], next[static_cast<std::ptrdiff_t>(j) * src.jStep]);
        } else {
            for (int j = 0; j < n; ++j)
                out[j] = std::min(out[j], next[static_cast<std::ptrdiff_t>(j) * src.jStep]);
        }
    }
}

// Max and Min in two stages: row extremes in a ring, then their column
// extremes. Calls emit(y, values) for each output row.
template <class T, class Emit>
bool extremeRows(const OwnNlfPlan& plan, const OwnLaneRows<T>& src, int n, int height, Emit emit)
{
    RowRing<T> ring(plan.nRows, n);
    OwnBuffer<T> result(static_cast<std::size_t>(n));
    if (!ring.ok() || !result.ok())
        return false;
    for (int r = 0; r + 1 < plan.nRows; ++r)
        extremeOfRow(plan, src, r - plan.anchorY, n, ring.slot(r));
    for (int y = 0; y < height; ++y) {
        const int last = y + plan.nRows - 1;
        extremeOfRow(plan, src, last - plan.anchorY, n, ring.slot(last));
        T* out = result.data();
        std::copy_n(ring.slot(y), n, out);
        for (int r = 1; r < plan.nRows; ++r) {
            const T* row = ring.slot(y + r);
            for (int j = 0; j < n; ++j)
                out[j] = pick(plan.type, out[j], row[j]);
        }
        emit(y, out);
    }
    return true;
}

// Windows up to this many samples are sorted by a network over whole rows;
// larger ones select per position.
constexpr int kNetworkLimit = 49;

// The compare-exchange pairs of Batcher's merge exchange for count entries.
int mergeExchangePairs(int count, int (*pairs)[2])
{
    int top = 1;
    while (top * 2 < count)
        top *= 2;
    int used = 0;
    for (int p = top; p > 0; p /= 2) {
        int q = top, r = 0, d = p;
        for (;;) {
            for (int i = 0; i + d < count; ++i)
                if ((i & p) == r) {
                    pairs[used][0] = i;
                    pairs[used][1] = i + d;
                    ++used;
                }
            if (q == p)
                break;
            d = q - p;
            q /= 2;
            r = p;
        }
    }
    return used;
}

// Median by a sorting network: the window's samples are copied into one row
// per window entry, and each compare-exchange orders two rows at once.
template <class T, class Emit>
bool networOWN_NLF_MEDIANRows(const OwnNlfPlan& plan, const OwnLaneRows<T>& src, int n, int height,
                       Emit emit)
{
    const int count = plan.nCols * plan.nRows;
    int pairs[kNetworkLimit * kNetworkLimit][2];
    const int used = mergeExchangePairs(count, pairs);
    OwnBuffer<T> rows(static_cast<std::size_t>(count) * n);
    if (!rows.ok())
        return false;
    const auto entry = [&](int k) { return rows.data() + static_cast<std::ptrdiff_t>(k) * n; };
    const std::ptrdiff_t jStep = src.jStep;
    for (int y = 0; y < height; ++y) {
        for (int k = 0; k < count; ++k) {
            const T* from = src.at(y - plan.anchorY + k / plan.nCols, k % plan.nCols - plan.anchorX);
            T* to = entry(k);
            for (int j = 0; j < n; ++j)
                to[j] = from[j * jStep];
        }
        for (int e = 0; e < used; ++e) {
            T* a = entry(pairs[e][0]);
            T* b = entry(pairs[e][1]);
            for (int j = 0; j < n; ++j) {
                const T low = std::min(a[j], b[j]);
                b[j] = std::max(a[j], b[j]);
                a[j] = low;
            }
        }
        emit(y, entry(count / 2));
    }
    return true;
}

// Median: the sample of rank n / 2 + 1 from the smallest of each window.
template <class T, class Emit>
bool selectMedianRows(const OwnNlfPlan& plan, const OwnLaneRows<T>& src, int n, int height,
                      Emit emit)
{
    const int count = plan.nCols * plan.nRows;
    OwnBuffer<T> window(static_cast<std::size_t>(count));
    OwnBuffer<T> result(static_cast<std::size_t>(n));
    if (!window.ok() || !result.ok())
        return false;
    T* w = window.data();
    const std::ptrdiff_t jStep = src.jStep;
    for (int y = 0; y < height; ++y) {
        for (int j = 0; j < n; ++j) {
            T* fill = w;
            for (int r = 0; r < plan.nRows; ++r)
                for (int i = 0; i < plan.nCols; ++i)
                    *fill++ = src.at(y - plan.anchorY + r, i - plan.anchorX)[j * jStep];
            std::nth_element(w, w + count / 2, w + count);
            result[static_cast<std::size_t>(j)] = w[count / 2];
        }
        emit(y, result.data());
    }
    return true;
}

template <class T, class Emit>
bool rankRows(const OwnNlfPlan& plan, const OwnLaneRows<T>& src, int n, int height, Emit emit)
{
    if (plan.type == OWN_NLF_MEDIAN && plan.nCols * plan.nRows <= kNetworkLimit)
        return networOWN_NLF_MEDIANRows(plan, src, n, height, emit);
    if (plan.type == OWN_NLF_MEDIAN)
        return selectMedianRows(plan, src, n, height, emit);
    return extremeRows(plan, src, n, height, emit);
}

template <class T>
bool rankSamples(const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    for (int i = 0; i < plan.lanes.laneCount(); ++i) {
        const OwnLane lane = plan.lanes.lane(i);
        const OwnLaneRows<T> src = ownLaneRows<T>(piece.src, lane);
        const OwnLaneOut<T> out = ownLaneOut<T>(piece.dst, lane);
        const int n = piece.width * lane.group;
        const bool done = rankRows(plan, src, n, piece.height, [&](int y, const T* values) {
            T* row = out.row(y);
            for (int j = 0; j < n; ++j)
                if (ownMaskAllows(piece, y, j / lane.group))
                    row[static_cast<std::ptrdiff_t>(j) * out.jStep] = values[j];
        });
        if (!done)
            return false;
    }
    return true;
}

// 1-bit images rank bytes of 0 and 1: the largest is OR, the smallest AND,
// the median a count of set bits.
bool rankBits(const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    OwnExpandedBits bits;
    if (!ownExpandBits(piece, plan.margins, &bits))
        return false;
    return rankRows(plan, bits.rows, piece.width, piece.height, [&](int y, const uint8_t* values) {
        auto* row = reinterpret_cast<uint8_t*>(piece.dst.row(y));
        for (int x = 0; x < piece.width; ++x)
            if (ownMaskAllows(piece, y, x))
                ownSetBit(row, piece.dst.x0 + x, values[x] != 0);
    });
}

bool rankPiece(const OwnNlfPlan& plan, const OwnNbhdPiece& piece)
{
    if (plan.type == OWN_NLF_FIXED)
        return ownFixedPiece(plan, piece);
    if (plan.depth == ZAN_DEPTH_1U)
        return rankBits(plan, piece);
    bool done = true;
    ownWithSampleType(plan.depth, [&](auto type) {
        using T = typename decltype(type)::type;
        done = rankSamples<T>(plan, piece);
    });
    return done;
}

void rankFilter(const OwnSite& site, const ZanImage* srcImage, ZanImage* dstImage, int nCols,
                int nRows, int anchorX, int anchorY, OwnNlfType type)
{
    if (!checkCall(site, srcImage, dstImage, nCols, nRows, anchorX, anchorY))
        return;
    const OwnNlfPlan plan{type, nCols, nRows, anchorX, anchorY, 0, srcImage->depth,
                          OwnMargins{anchorX, anchorY, nCols - anchorX - 1, nRows - anchorY - 1},
                          ownNlfLanes(srcImage, dstImage)};
    ownNlfDriver(srcImage, dstImage, plan);
}

} // namespace

OwnLanes ownNlfLanes(const ZanImage* src, const ZanImage* dst)
{
    OwnLanes lanes{};
    const int srcCoi = coiOf(src);
    const int dstCoi = coiOf(dst);
    lanes.planes = src->dataOrder == ZAN_DATA_ORDER_PLANE;
    lanes.srcPixelStep = lanes.planes ? 1 : src->nChannels;
    lanes.dstPixelStep = lanes.planes ? 1 : dst->nChannels;
    if (dstCoi == 0 && (src->alphaChannel > 0 || dst->alphaChannel > 0)) {
        lanes.count = src->nChannels - 1;
        return lanes;
    }
    lanes.srcFirst = srcCoi ? srcCoi - 1 : 0;
    lanes.dstFirst = dstCoi ? dstCoi - 1 : 0;
    lanes.count = (srcCoi || dstCoi) ? 1 : src->nChannels;
    lanes.interleaved = !lanes.planes && !srcCoi && !dstCoi;
    return lanes;
}

void ownNlfDriver(const ZanImage* srcImage, ZanImage* dstImage, const OwnNlfPlan& plan)
{
    if (plan.lanes.count <= 0)
        return;
    OwnNbhdArea area(srcImage, dstImage);
    if (area.empty())
        return;
    const int maskState = area.mergeMasks();
    if (maskState == OWN_MASK_DISJOINT || maskState == OWN_MASK_NO_MEMORY)
        return;
    ownNbhdWalk(area.setup(plan.margins), [&plan](const OwnNbhdPiece& piece) { return rankPiece(plan, piece); });
}

extern "C" {

ZAN_API void zanMaxFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY)
{
    rankFilter(OwnSite{"zanMaxFilter", kSource}, srcImage, dstImage, nCols, nRows, anchorX,
               anchorY, OWN_NLF_MAX);
}

ZAN_API void zanMinFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY)
{
    rankFilter(OwnSite{"zanMinFilter", kSource}, srcImage, dstImage, nCols, nRows, anchorX,
               anchorY, OWN_NLF_MIN);
}

ZAN_API void zanMedianFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                             int anchorX, int anchorY)
{
    rankFilter(OwnSite{"zanMedianFilter", kSource}, srcImage, dstImage, nCols, nRows, anchorX,
               anchorY, OWN_NLF_MEDIAN);
}

} // extern "C"
