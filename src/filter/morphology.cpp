// zanErode, zanDilate, zanOpen and zanClose: the minimum and maximum over a
// square of side 2n + 1 of a source whose samples beyond the region repeat
// the one-pixel ring around it, computed per lane of each neighbourhood
// piece with a ring of source rows, a vertical and a horizontal stage.
#include "../core/own_memory.h"
#include "own_window.h"

#include <algorithm>

namespace {

constexpr const char* kSource = "ownMorph";

enum class Extreme { Min, Max };

template <Extreme E, class T>
T pick(T a, T b)
{
    return E == Extreme::Max ? std::max(a, b) : std::min(a, b);
}

// into[i] = the extreme of into[i] and from[i], i < count.
template <Extreme E, class T>
void pickInto(T* __restrict into, const T* __restrict from, int count)
{
    for (int i = 0; i < count; ++i)
        into[i] = pick<E>(into[i], from[i]);
}

// out[i] = the extreme of the K rows' samples i + d * group, d < K, for
// i < count; spare holds count + (K - 1) * group samples.
template <Extreme E, class T>
void extremeSquare(T* const* rows, int k, int count, int group, T* spare, T* out)
{
    const int wide = count + (k - 1) * group;
    std::copy(rows[0], rows[0] + wide, spare);
    for (int r = 1; r < k; ++r)
        pickInto<E>(spare, rows[r], wide);
    std::copy(spare, spare + count, out);
    for (int d = 1; d < k; ++d)
        pickInto<E>(out, spare + d * group, count);
}

// K rows of one lane, slot chosen by row number, each of a fixed length.
template <class T>
class Ring {
public:
    Ring(int k, int length) : k_(k), length_(length), data_(static_cast<std::size_t>(k) * length)
    {
    }
    bool ok() const { return data_.ok(); }
    int length() const { return length_; }

    // The slot of row y, for y at least -k.
    T* slot(int y) { return data_.data() + static_cast<std::size_t>((y + k_) % k_) * length_; }

    void all(T** rows)
    {
        for (int i = 0; i < k_; ++i)
            rows[i] = data_.data() + static_cast<std::size_t>(i) * length_;
    }

private:
    int k_;
    int length_;
    OwnBuffer<T> data_;
};

struct Region {
    int width;
    int height;
};

// One lane of a piece: the source clamped to the region's ring, the square's
// reach, and the destination.
template <class T>
class LanePass {
public:
    LanePass(const OwnNbhdPiece& piece, const OwnLaneReader<T>& reader,
             const OwnLaneWriter<T>& writer, Region region, int reach)
        : piece_(piece), reader_(reader), writer_(writer), region_(region), r_(reach),
          k_(2 * reach + 1), g_(reader.group())
    {
    }

    template <Extreme E>
    bool single()
    {
        Ring<T> ring(k_, (piece_.width + 2 * r_) * g_);
        OwnBuffer<T> spare(ring.length());
        OwnBuffer<T> out(static_cast<std::size_t>(piece_.width) * g_);
        OwnBuffer<T*> rows(k_);
        if (!ring.ok() || !spare.ok() || !out.ok() || !rows.ok())
            return false;
        ring.all(rows.data());
        for (int y = -r_; y < r_; ++y)
            fetch(y, -r_, piece_.width + 2 * r_, ring.slot(y));
        for (int y = 0; y < piece_.height; ++y) {
            fetch(y + r_, -r_, piece_.width + 2 * r_, ring.slot(y + r_));
            extremeSquare<E>(rows.data(), k_, piece_.width * g_, g_, spare.data(), out.data());
            writer_.putRow(y, piece_.width, g_, out.data());
        }
        return true;
    }

    // The first extreme inside the region and the source outside it, then
    // the second extreme of that.
    template <Extreme First, Extreme Second>
    bool twice()
    {
        Ring<T> source(k_, (piece_.width + 4 * r_) * g_);
        Ring<T> inner(k_, (piece_.width + 2 * r_) * g_);
        OwnBuffer<T> spare(source.length());
        OwnBuffer<T> out(static_cast<std::size_t>(piece_.width) * g_);
        OwnBuffer<T*> sourceRows(k_);
        OwnBuffer<T*> innerRows(k_);
        if (!source.ok() || !inner.ok() || !spare.ok() || !out.ok() || !sourceRows.ok() ||
            !innerRows.ok())
            return false;
        source.all(sourceRows.data());
        inner.all(innerRows.data());
        for (int y = -2 * r_; y < 0; ++y)
            fetch(y, -2 * r_, piece_.width + 4 * r_, source.slot(y));
        const auto innerRow = [&](int y) {
            fetch(y + r_, -2 * r_, piece_.width + 4 * r_, source.slot(y + r_));
            T* e = inner.slot(y);
            extremeSquare<First>(sourceRows.data(), k_, inner.length(), g_, spare.data(), e);
            keepOutside(y, source.slot(y) + r_ * g_, e);
        };
        for (int y = -r_; y < r_; ++y)
            innerRow(y);
        for (int y = 0; y < piece_.height; ++y) {
            innerRow(y + r_);
            extremeSquare<Second>(innerRows.data(), k_, piece_.width * g_, g_, spare.data(),
                                  out.data());
            writer_.putRow(y, piece_.width, g_, out.data());
        }
        return true;
    }

private:
    // Row y of the clamped source from pixel x0, count pixels.
    void fetch(int y, int x0, int count, T* out) const
    {
        const int row = std::clamp(y, -1 - piece_.y, region_.height - piece_.y);
        const int left = -1 - piece_.x;
        const int right = region_.width - piece_.x;
        const int first = std::clamp(x0, left, right);
        const int last = std::clamp(x0 + count - 1, left, right);
        reader_.copy(row, first, (last - first + 1) * g_, out + (first - x0) * g_);
        for (int i = 0; i < first - x0; ++i)
            std::copy(out + (first - x0) * g_, out + (first - x0 + 1) * g_, out + i * g_);
        for (int i = last - x0 + 1; i < count; ++i)
            std::copy(out + (last - x0) * g_, out + (last - x0 + 1) * g_, out + i * g_);
    }

    bool inside(int y, int x) const
    {
        const int ry = piece_.y + y;
        const int rx = piece_.x + x;
        return ry >= 0 && ry < region_.height && rx >= 0 && rx < region_.width;
    }

    // Pixels of row y, from -r on, that lie outside the region take the
    // source's samples back.
    void keepOutside(int y, const T* source, T* row) const
    {
        for (int i = 0; i < piece_.width + 2 * r_; ++i)
            if (!inside(y, i - r_))
                std::copy(source + i * g_, source + (i + 1) * g_, row + i * g_);
    }


    const OwnNbhdPiece& piece_;
    const OwnLaneReader<T>& reader_;
    const OwnLaneWriter<T>& writer_;
    Region region_;
    int r_;
    int k_;
    int g_;
};

enum class Op { Erode, Dilate, Open, Close };

struct Plan {
    Op op;
    int reach;
    uint32_t depth;
    Region region;
    OwnLanes lanes;
    OwnMargins margins;
};

template <class T>
bool runLane(const Plan& plan, const OwnNbhdPiece& piece, const OwnLane& lane)
{
    const bool bits = plan.depth == ZAN_DEPTH_1U;
    OwnLaneReader<T> reader;
    if (!reader.open(piece, lane, plan.margins, bits))
        return false;
    const OwnLaneWriter<T> writer(piece, lane, bits);
    LanePass<T> pass(piece, reader, writer, plan.region, plan.reach);
    switch (plan.op) {
    case Op::Erode:
        return pass.template single<Extreme::Min>();
    case Op::Dilate:
        return pass.template single<Extreme::Max>();
    case Op::Open:
        return pass.template twice<Extreme::Min, Extreme::Max>();
    case Op::Close:
        return pass.template twice<Extreme::Max, Extreme::Min>();
    }
    return false;
}

bool runPiece(const Plan& plan, const OwnNbhdPiece& piece)
{
    for (int i = 0; i < plan.lanes.laneCount(); ++i) {
        const OwnLane lane = plan.lanes.lane(i);
        const bool done = plan.depth == ZAN_DEPTH_16U ? runLane<uint16_t>(plan, piece, lane)
                                                      : runLane<uint8_t>(plan, piece, lane);
        if (!done)
            return false;
    }
    return true;
}

bool checkCall(const OwnSite& site, const ZanImage* src, const ZanImage* dst, int nIterations)
{
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    const char* fault = nullptr;
    if (nIterations < 1)
        fault = "Illegal number of iterations";
    else if (src->depth != ZAN_DEPTH_1U && src->depth != ZAN_DEPTH_8U &&
             src->depth != ZAN_DEPTH_16U)
        fault = "Illegal image depth";
    else if (src->depth != dst->depth)
        fault = "SRC and DST depth are different";
    else if (src->dataOrder != dst->dataOrder)
        fault = "SRC and DST order are different";
    else if (src->origin != dst->origin)
        fault = "SRC and DST orign are different";
    else if (ownProcessedChannels(src) != ownProcessedChannels(dst))
        fault = "SRC and DST number of channels are different";
    if (fault)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, fault);
    return !fault;
}

void morph(const OwnSite& site, const ZanImage* srcImage, ZanImage* dstImage, int nIterations,
           Op op)
{
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!checkCall(site, srcImage, dstImage, nIterations))
        return;
    OwnNbhdArea area(srcImage, dstImage);
    const int maskState = area.mergeMasks();
    if (maskState == OWN_MASK_NO_MEMORY) {
        zanSetErrStatus(ZAN_STATUS_NO_MEMORY);
        return;
    }
    if (maskState == OWN_MASK_DISJOINT || area.empty())
        return;
    const ZanImage& src = *area.src();
    const Region region{area.width(), area.height()};
    const bool twice = op == Op::Open || op == Op::Close;
    const int margin = twice ? 2 * nIterations : nIterations;
    const Plan plan{op,
                    nIterations,
                    src.depth,
                    region,
                    ownWindowLanes(&src, dstImage),
                    OwnMargins{margin, margin, margin, margin}};
    if (ownNbhdWalk(area.setup(plan.margins), [&plan](const OwnNbhdPiece& piece) { return runPiece(plan, piece); }) !=
        OWN_NBHD_DONE)
        zanSetErrStatus(ZAN_STATUS_NO_MEMORY);
}

} // namespace

extern "C" {

ZAN_API void zanErode(const ZanImage* srcImage, ZanImage* dstImage, int nIterations)
{
    morph(OwnSite{"zanErode", kSource}, srcImage, dstImage, nIterations, Op::Erode);
}

ZAN_API void zanDilate(const ZanImage* srcImage, ZanImage* dstImage, int nIterations)
{
    morph(OwnSite{"zanDilate", kSource}, srcImage, dstImage, nIterations, Op::Dilate);
}

ZAN_API void zanOpen(const ZanImage* srcImage, ZanImage* dstImage, int nIterations)
{
    morph(OwnSite{"zanOpen", kSource}, srcImage, dstImage, nIterations, Op::Open);
}

ZAN_API void zanClose(const ZanImage* srcImage, ZanImage* dstImage, int nIterations)
{
    morph(OwnSite{"zanClose", kSource}, srcImage, dstImage, nIterations, Op::Close);
}

} // extern "C"
