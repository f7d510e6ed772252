// zanBlur, the box filter: the mean of a window as a two-level running sum,
// column sums down the rows and a window sum along each row, computed per
// lane of each neighbourhood piece.
#include "../core/own_memory.h"
#include "own_window.h"

#include <algorithm>
#include <cfenv>
#include <optional>
#include <type_traits>

namespace {

constexpr const char* kSource = "zanBlur";

struct BlurPlan {
    int nCols;
    int nRows;
    int anchorX;
    int anchorY;
    float scale; // 1 / (nCols * nRows) in single precision
    uint32_t depth;
    OwnLanes lanes;
    OwnMargins margins;
};

// Rounding toward zero for the life of the guard.
class TowardZero {
public:
    TowardZero() : saved_(std::fegetround()) { std::fesetround(FE_TOWARDZERO); }
    ~TowardZero() { std::fesetround(saved_); }
    TowardZero(const TowardZero&) = delete;
    TowardZero& operator=(const TowardZero&) = delete;

private:
    int saved_;
};

// The sample types and the result rule of a depth: Column sums, Window
// sums, and the stored value of a window sum.
template <class T, class Column, class Window>
struct Arith {
    using Sample = T;
    using ColumnSum = Column;
    using WindowSum = Window;

    static T result(Window sum, float scale)
    {
        if constexpr (std::is_same_v<T, float>)
            return static_cast<float>(sum * scale);
        else
            return static_cast<T>(static_cast<double>(sum) * scale);
    }
};

struct BitArith {
    using Sample = uint8_t;
    using ColumnSum = int32_t;
    using WindowSum = int32_t;

    static uint8_t result(int32_t count, float scale)
    {
        return static_cast<float>(count) * scale >= 0.5f ? 1 : 0;
    }
};

template <class A>
class BoxLane {
    using T = typename A::Sample;
    using Column = typename A::ColumnSum;
    using Window = typename A::WindowSum;

public:
    BoxLane(const BlurPlan& plan, const OwnNbhdPiece& piece, const OwnLaneReader<T>& reader,
            const OwnLaneWriter<T>& writer)
        : p_(plan), piece_(piece), reader_(reader), writer_(writer), g_(reader.group()),
          columns_(piece.width + plan.nCols - 1)
    {
    }

    bool run()
    {
        const std::size_t length = static_cast<std::size_t>(columns_) * g_;
        OwnBuffer<Column> sums(length);
        OwnBuffer<T> top(length);
        OwnBuffer<T> below(length);
        OwnBuffer<T> out(static_cast<std::size_t>(piece_.width) * g_);
        OwnBuffer<Window> windows(static_cast<std::size_t>(piece_.width) * g_);
        if (!sums.ok() || !top.ok() || !below.ok() || !out.ok() || !windows.ok())
            return false;
        std::fill(sums.data(), sums.data() + length, Column(0));
        for (int k = 0; k < p_.nRows; ++k) {
            fetch(k, top.data());
            for (std::size_t i = 0; i < length; ++i)
                sums[i] += static_cast<Column>(top[i]);
        }
        for (int y = 0; y < piece_.height; ++y) {
            for (int s = 0; s < g_; ++s)
                windowRow(sums.data(), s, windows.data());
            results(windows.data(), out.data());
            writer_.putRow(y, piece_.width, g_, out.data());
            if (y + 1 < piece_.height) {
                fetch(y, top.data());
                fetch(y + p_.nRows, below.data());
                advanceColumns(sums.data(), top.data(), below.data(), length);
            }
        }
        return true;
    }

private:
    // Row y of the column sums' samples: the window rows start anchorY up.
    void fetch(int y, T* out) const
    {
        reader_.copy(y - p_.anchorY, -p_.anchorX, columns_ * g_, out);
    }

    // The window sums of sample s along a row.
    void windowRow(const Column* sums, int s, Window* windows) const
    {
        Window sum = 0;
        for (int d = 0; d < p_.nCols; ++d)
            sum += sums[d * g_ + s];
        for (int x = 0; x < piece_.width; ++x) {
            windows[x * g_ + s] = sum;
            if (x + 1 < piece_.width)
                sum += static_cast<Window>(sums[(x + p_.nCols) * g_ + s] - sums[x * g_ + s]);
        }
    }

    void results(const Window* __restrict windows, T* __restrict out) const
    {
        const float scale = p_.scale;
        for (int i = 0; i < piece_.width * g_; ++i)
            out[i] = A::result(windows[i], scale);
    }

    static void advanceColumns(Column* __restrict sums, const T* __restrict top,
                               const T* __restrict below, std::size_t length)
    {
        for (std::size_t i = 0; i < length; ++i)
            sums[i] = (static_cast<Column>(below[i]) - static_cast<Column>(top[i])) + sums[i];
    }

    const BlurPlan& p_;
    const OwnNbhdPiece& piece_;
    const OwnLaneReader<T>& reader_;
    const OwnLaneWriter<T>& writer_;
    int g_;
    int columns_;
};

template <class A>
bool blurLane(const BlurPlan& plan, const OwnNbhdPiece& piece, const OwnLane& lane)
{
    using T = typename A::Sample;
    const bool bits = plan.depth == ZAN_DEPTH_1U;
    OwnLaneReader<T> reader;
    if (!reader.open(piece, lane, plan.margins, bits))
        return false;
    const OwnLaneWriter<T> writer(piece, lane, bits);
    return BoxLane<A>(plan, piece, reader, writer).run();
}

bool blurLaneOfDepth(const BlurPlan& plan, const OwnNbhdPiece& piece, const OwnLane& lane)
{
    switch (plan.depth) {
    case ZAN_DEPTH_1U:
        return blurLane<BitArith>(plan, piece, lane);
    case ZAN_DEPTH_8U:
        return blurLane<Arith<uint8_t, int32_t, int32_t>>(plan, piece, lane);
    case ZAN_DEPTH_8S:
        return blurLane<Arith<int8_t, int32_t, int32_t>>(plan, piece, lane);
    case ZAN_DEPTH_16U:
        return blurLane<Arith<uint16_t, int32_t, int32_t>>(plan, piece, lane);
    case ZAN_DEPTH_16S:
        return blurLane<Arith<int16_t, int32_t, int32_t>>(plan, piece, lane);
    case ZAN_DEPTH_32S:
        return blurLane<Arith<int32_t, float, double>>(plan, piece, lane);
    default:
        return blurLane<Arith<float, float, double>>(plan, piece, lane);
    }
}

bool blurPiece(const BlurPlan& plan, const OwnNbhdPiece& piece)
{
    std::optional<TowardZero> rounding;
    if (plan.depth != ZAN_DEPTH_1U)
        rounding.emplace();
    for (int i = 0; i < plan.lanes.laneCount(); ++i)
        if (!blurLaneOfDepth(plan, piece, plan.lanes.lane(i)))
            return false;
    return true;
}

// Alpha must be the last channel with something left besides it.
bool badAlpha(const ZanImage* image)
{
    return image->alphaChannel &&
           (image->alphaChannel != image->nChannels || image->nChannels < 2);
}

bool checkCall(const OwnSite& site, const ZanImage* src, const ZanImage* dst, int nCols,
               int nRows, int anchorX, int anchorY)
{
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    const char* fault = nullptr;
    ZanStatus status = ZAN_STATUS_BAD_ARGUMENT;
    if (src->depth != dst->depth)
        fault = "(srcImage->depth!=dstImage->depth)";
    else if (nRows < 0 || nCols < 0)
        fault = "(nRows<0||nCols<0)";
    else if (anchorX < 0 || anchorY < 0)
        fault = "(anchorX<0||anchorY<0)";
    else if (nCols <= anchorX || nRows <= anchorY)
        fault = "(anchorX>=nCols||anchorY>=nRows)";
    else if (badAlpha(dst) || badAlpha(src))
        status = ZAN_STATUS_ALPHA, fault = "bad alpha channel's number";
    else if (ownProcessedChannels(src) != ownProcessedChannels(dst))
        status = ZAN_STATUS_CHANNELS, fault = "bad channel's number";
    else if ((src->maskROI && badAlpha(src->maskROI)) || (dst->maskROI && badAlpha(dst->maskROI)))
        status = ZAN_STATUS_ALPHA, fault = "bad alpha channel's number";
    if (fault)
        OWN_REPORT(site, status, fault);
    return !fault;
}

void blur(const OwnSite& site, const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
          int anchorX, int anchorY)
{
    if (!checkCall(site, srcImage, dstImage, nCols, nRows, anchorX, anchorY))
        return;
    if (nCols == 1 && nRows == 1) {
        zanCopy(srcImage, dstImage);
        return;
    }
    OwnNbhdArea area(srcImage, dstImage);
    const int maskState = area.mergeMasks();
    if (maskState == OWN_MASK_NO_MEMORY) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Allocation failure");
        return;
    }
    if (maskState == OWN_MASK_DISJOINT || area.empty())
        return;
    const ZanImage& src = *area.src();
    const BlurPlan plan{nCols,
                        nRows,
                        anchorX,
                        anchorY,
                        1.0f / static_cast<float>(nCols * nRows),
                        src.depth,
                        ownWindowLanes(&src, dstImage),
                        OwnMargins{anchorX, anchorY, nCols - 1 - anchorX, nRows - 1 - anchorY}};
    if (ownNbhdWalk(area.setup(plan.margins), [&plan](const OwnNbhdPiece& piece) { return blurPiece(plan, piece); }) !=
        OWN_NBHD_DONE)
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Allocation failure");
}

} // namespace

extern "C" {

ZAN_API void zanBlur(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                     int anchorX, int anchorY)
{
    blur(OwnSite{"zanBlur", kSource}, srcImage, dstImage, nCols, nRows, anchorX, anchorY);
}

} // extern "C"
