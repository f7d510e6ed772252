// zanConvolveSep2D and zanConvolveSep2DFP: a one-row kernel, a one-column
// kernel or both, the y sum first into a row buffer, then the x sum, the
// shift of both kernels once at the end and the clamp to the depth.
#include "../core/own_bits.h"
#include "../core/own_memory.h"
#include "own_filter.h"

#include <algorithm>
#include <limits>

namespace {

constexpr const char* kCheckSource = "owncsep2";
constexpr const char* kSource = "zanCSep2";

// One direction of a call: its stored coefficients and anchor, or none.
struct SepKernel {
    int size = 1;
    int anchor = 0;
    int shift = 0;
    const int32_t* values = nullptr;
    const float* valuesFP = nullptr;

    bool present() const { return values || valuesFP; }
};

struct SepPlan {
    SepKernel x;
    SepKernel y;
    uint32_t depth;
    OwnLanes lanes;
};

int channelsPerPlane(const ZanImage* image)
{
    return image->dataOrder == ZAN_DATA_ORDER_PLANE || image->nChannels == 1 ? 1
                                                                             : image->nChannels;
}

int processingChannels(const ZanImage* image)
{
    return image->roi && image->roi->coi > 0 ? 1 : image->nChannels;
}

// The common checks, with the source of the checks; false after a report.
bool checkImages(const char* function, const ZanImage* src, const ZanImage* dst, bool noKernels)
{
    const OwnSite site{function, kCheckSource};
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    struct Test {
        bool failed;
        const char* text;
    };
    const Test tests[] = {
        {src == dst, "Unsupported in-place mode"},
        {noKernels, "Kernel pointers are NULL"},
        {src->depth != dst->depth, "SRC and DST depth are different"},
        {src->dataOrder != dst->dataOrder, "SRC and DST order are different"},
        {src->origin != dst->origin, "SRC and DST orign are different"},
        {channelsPerPlane(src) > 32, "SRC: too many channels per plane (limit 32)"},
        {src->nChannels != dst->nChannels, "SRC and DST number of channels are different"},
        {src->alphaChannel != dst->alphaChannel, "SRC and DST Alpha channels are different"},
        {processingChannels(src) != processingChannels(dst),
         "SRC and DST number of processing channels are different"},
    };
    for (const Test& test : tests) {
        if (test.failed) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, test.text);
            return false;
        }
    }
    return true;
}

// The checks of one kernel; isX tells the direction.
template <class Kernel>
bool checkKernel(const OwnSite& site, const Kernel* k, bool isX)
{
    if (!k)
        return true;
    const char* text = nullptr;
    if (!k->values)
        text = "NULL kernel values";
    else if (isX ? (k->nCols < 2 || k->nRows != 1) : (k->nCols != 1 || k->nRows < 2))
        text = "Invalid kernal size";
    else if (k->anchorX < 0 || k->anchorX >= k->nCols || k->anchorY < 0 || k->anchorY >= k->nRows)
        text = "Invalid kernrl anchor";
    if (text)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, text);
    return !text;
}

template <class Kernel>
SepKernel sepKernel(const Kernel* k, bool isX)
{
    SepKernel s;
    if (!k)
        return s;
    s.size = isX ? k->nCols : k->nRows;
    s.anchor = isX ? k->anchorX : k->anchorY;
    if constexpr (std::is_same_v<Kernel, OwnConvKernel>) {
        s.shift = k->nShiftR;
        s.values = k->values;
    } else {
        s.valuesFP = k->values;
    }
    return s;
}

OwnLanes lanesOf(const ZanImage* src, const ZanImage* dst)
{
    const int srcCoi = src->roi ? src->roi->coi : 0;
    const int dstCoi = dst->roi ? dst->roi->coi : 0;
    OwnLanes lanes{};
    lanes.planes = src->dataOrder == ZAN_DATA_ORDER_PLANE;
    lanes.count = srcCoi ? 1 : src->nChannels - (src->alphaChannel ? 1 : 0);
    lanes.srcFirst = srcCoi ? srcCoi - 1 : 0;
    lanes.dstFirst = dstCoi ? dstCoi - 1 : 0;
    lanes.srcPixelStep = lanes.planes ? 1 : src->nChannels;
    lanes.dstPixelStep = lanes.planes ? 1 : dst->nChannels;
    lanes.interleaved = !lanes.planes && !srcCoi && !src->alphaChannel;
    return lanes;
}

// The arithmetic of a depth: 32-bit wrapping integer sums, or double sums
// of floats stored as floats. addRow adds a coefficient times a row of
// samples, column by column.
struct IntegerSums {
    using Acc = uint32_t;
    using Value = uint32_t;
    static uint32_t coefficient(const SepKernel& k, int i) { return static_cast<uint32_t>(k.values[i]); }
    template <class S>
    static uint32_t load(S s)
    {
        return static_cast<uint32_t>(static_cast<int32_t>(s));
    }
    static Value value(Acc acc) { return acc; }
};

struct FloatSums {
    using Acc = double;
    using Value = float;
    static double coefficient(const SepKernel& k, int i) { return k.valuesFP[i]; }
    static double load(float s) { return s; }
    static Value value(Acc acc) { return static_cast<float>(acc); }
};

template <class Sums, class S>
void addRow(typename Sums::Acc* acc, const S* s, int jStep, int count,
            typename Sums::Acc coefficient)
{
    using Acc = typename Sums::Acc;
    const bool narrow = std::is_same_v<Acc, uint32_t> && sizeof(S) == 1 &&
                        static_cast<int32_t>(coefficient) == static_cast<int16_t>(coefficient);
    if (jStep == 1 && narrow) {
        // Products of 8-bit samples and 16-bit coefficients are exact in
        // 32 bits: a widening 16-bit multiply gives the same wrapping sum.
        const auto c16 = static_cast<int16_t>(coefficient);
        for (int j = 0; j < count; ++j)
            acc[j] += static_cast<Acc>(static_cast<int32_t>(c16) * static_cast<int16_t>(s[j]));
    } else if (jStep == 1) {
        for (int j = 0; j < count; ++j)
            acc[j] += coefficient * Sums::load(s[j]);
    } else {
        for (int j = 0; j < count; ++j)
            acc[j] += coefficient * Sums::load(s[static_cast<std::ptrdiff_t>(j) * jStep]);
    }
}

// The sums of a kernel over rows: row(i) is the samples that coefficient i
// multiplies, with column step jStep.
template <class Sums, class Row>
void kernelSums(typename Sums::Value* out, typename Sums::Acc* acc, int count, const SepKernel& k,
                int jStep, Row row)
{
    std::fill_n(acc, count, typename Sums::Acc{0});
    for (int i = 0; i < k.size; ++i)
        addRow<Sums>(acc, row(i), jStep, count, Sums::coefficient(k, i));
    for (int j = 0; j < count; ++j)
        out[j] = Sums::value(acc[j]);
}

template <class Out>
Out finish(uint32_t sum, int shift)
{
    const int32_t v = static_cast<int32_t>(sum) >> (shift & 31);
    if constexpr (std::is_same_v<Out, int32_t>) {
        return v;
    } else {
        using L = std::numeric_limits<Out>;
        return static_cast<Out>(std::clamp<int32_t>(v, L::min(), L::max()));
    }
}

template <class Out>
Out finish(float sum, int)
{
    return sum;
}

// One lane of a piece: for each row the y sums over the columns that the x
// kernel needs into the buffer, then the x sums, handed to store(y, j, sum)
// for every admitted column.
template <class Sums, class T, class Store>
bool runLane(const SepPlan& plan, const OwnNbhdPiece& piece, int group, const OwnLaneRows<T>& src,
             Store store)
{
    using Value = typename Sums::Value;
    const int columns = (piece.width + plan.x.size - 1) * group;
    const int n = piece.width * group;
    OwnBuffer<typename Sums::Acc> acc(static_cast<std::size_t>(columns));
    OwnBuffer<Value> buffer(static_cast<std::size_t>(columns));
    OwnBuffer<Value> sums(static_cast<std::size_t>(n));
    if (!acc.ok() || !buffer.ok() || !sums.ok())
        return false;
    for (int y = 0; y < piece.height; ++y) {
        const int top = y - plan.y.anchor;
        auto sourceRow = [&](int i) { return src.at(top + i, -plan.x.anchor); };
        if (plan.y.present()) {
            kernelSums<Sums>(buffer.data(), acc.data(), columns, plan.y, src.jStep, sourceRow);
        } else {
            const T* s = sourceRow(0);
            for (int j = 0; j < columns; ++j)
                buffer[j] = static_cast<Value>(Sums::load(s[static_cast<std::ptrdiff_t>(j) * src.jStep]));
        }
        const Value* result = buffer.data();
        if (plan.x.present()) {
            kernelSums<Sums>(sums.data(), acc.data(), n, plan.x, 1,
                             [&](int i) { return buffer.data() + i * group; });
            result = sums.data();
        }
        const uint8_t* mask = piece.mask ? piece.mask->row(y) : nullptr;
        for (int j = 0; j < n; ++j) {
            if (!mask || ownGetBit(mask, piece.mask->x0 + j / group))
                store(y, j, result[j]);
        }
    }
    return true;
}

template <class T>
bool convolveSamples(const SepPlan& plan, const OwnNbhdPiece& piece)
{
    using Sums = std::conditional_t<std::is_same_v<T, float>, FloatSums, IntegerSums>;
    const int shift = plan.x.shift + plan.y.shift;
    for (int i = 0; i < plan.lanes.laneCount(); ++i) {
        const OwnLane lane = plan.lanes.lane(i);
        const OwnLaneOut<T> out = ownLaneOut<T>(piece.dst, lane);
        const bool done = runLane<Sums>(
            plan, piece, lane.group, ownLaneRows<T>(piece.src, lane),
            [&](int y, int j, typename Sums::Value sum) {
                out.row(y)[static_cast<std::ptrdiff_t>(j) * out.jStep] = finish<T>(sum, shift);
            });
        if (!done)
            return false;
    }
    return true;
}

// 1-bit images: the sums of the coefficients whose bits are set; a bit is
// set when the shifted sum reaches 1.
bool convolveBits(const SepPlan& plan, const OwnNbhdPiece& piece)
{
    const OwnMargins margins{plan.x.anchor, plan.y.anchor, plan.x.size - 1 - plan.x.anchor,
                             plan.y.size - 1 - plan.y.anchor};
    OwnExpandedBits bits;
    if (!ownExpandBits(piece, margins, &bits))
        return false;
    const int shift = plan.x.shift + plan.y.shift;
    return runLane<IntegerSums>(plan, piece, 1, bits.rows, [&](int y, int x, uint32_t sum) {
        ownSetBit(reinterpret_cast<uint8_t*>(piece.dst.row(y)), piece.dst.x0 + x,
                  (static_cast<int32_t>(sum) >> (shift & 31)) >= 1);
    });
}

bool convolvePiece(const SepPlan& plan, const OwnNbhdPiece& piece)
{
    if (plan.depth == ZAN_DEPTH_1U)
        return convolveBits(plan, piece);
    bool done = true;
    ownWithSampleType(plan.depth, [&](auto type) {
        done = convolveSamples<typename decltype(type)::type>(plan, piece);
    });
    return done;
}

// The private mask of the common size: 1 where no mask says otherwise,
// each image's mask laid over it from its region's corner.
OwnImageOwner commonMask(const ZanImage* src, const ZanImage* dst, int width, int height,
                         bool* failed)
{
    *failed = false;
    const ZanImage* masks[2] = {src->maskROI, dst->maskROI};
    if ((!masks[0] || !masks[0]->imageData) && (!masks[1] || !masks[1]->imageData))
        return OwnImageOwner();
    OwnImageOwner mask(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0",
                                            ZAN_DATA_ORDER_PLANE, src->origin, 8, width, height,
                                            nullptr, nullptr, nullptr, nullptr),
                       ZAN_FREE_HEADER | ZAN_FREE_DATA);
    if (mask)
        zanAllocateImage(mask.get(), 1, 1);
    if (!mask || !mask->imageData) {
        *failed = true;
        return OwnImageOwner();
    }
    for (const ZanImage* m : masks) {
        if (m && m->imageData)
            zanAnd(m, mask.get(), mask.get());
    }
    *failed = zanGetErrStatus() < 0;
    return mask;
}

template <class Kernel>
void convolveSep(const char* function, const ZanImage* srcImage, ZanImage* dstImage,
                 const Kernel* xKernel, const Kernel* yKernel, bool floatKernels)
{
    zanSetErrStatus(ZAN_STATUS_OK);
    if (!checkImages(function, srcImage, dstImage, !xKernel && !yKernel))
        return;
    const OwnSite site{function, kSource};
    if (!checkKernel(site, xKernel, true) || !checkKernel(site, yKernel, false))
        return;
    if (!floatKernels && srcImage->depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "zanConvolveSep2D does not support ZAN_DEPTH_32F.\nCall zanConvolveSep2DFP instead");
        return;
    }
    if (floatKernels && srcImage->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "zanConvolveSep2DFP does support ZAN_DEPTH_32F only.\nCall zanConvolveSep2D instead");
        return;
    }

    OwnRect srcRect, dstRect;
    ownRegionRect(srcImage, &srcRect);
    ownRegionRect(dstImage, &dstRect);
    const int width = std::min(srcRect.width, dstRect.width);
    const int height = std::min(srcRect.height, dstRect.height);
    bool failed = false;
    const OwnImageOwner mask = width > 0 && height > 0
                                   ? commonMask(srcImage, dstImage, width, height, &failed)
                                   : OwnImageOwner();
    if (failed) {
        OWN_REPORT(site, ZAN_STATUS_BACKTRACE, "Not enough memory");
        return;
    }
    if (width <= 0 || height <= 0)
        return;

    SepPlan plan;
    plan.x = sepKernel(xKernel, true);
    plan.y = sepKernel(yKernel, false);
    plan.depth = srcImage->depth;
    plan.lanes = lanesOf(srcImage, dstImage);
    const OwnMargins margins{plan.x.anchor, plan.y.anchor, plan.x.size - 1 - plan.x.anchor,
                             plan.y.size - 1 - plan.y.anchor};
    const OwnNbhdSetup setup{srcImage, dstImage, srcRect.x, srcRect.y, dstRect.x, dstRect.y,
                             width,    height,   mask.get(), margins,  false};
    const OwnNbhdResult result = ownNbhdWalk(
        setup, [&plan](const OwnNbhdPiece& piece) { return convolvePiece(plan, piece); });
    if (result != OWN_NBHD_DONE) {
        zanSetErrStatus(ZAN_STATUS_NO_MEMORY);
        OWN_REPORT(site, ZAN_STATUS_BACKTRACE, "Not enough memory");
    }
}

} // namespace

extern "C" {

ZAN_API void zanConvolveSep2D(const ZanImage* srcImage, ZanImage* dstImage,
                              ZanConvKernel xKernel, ZanConvKernel yKernel)
{
    convolveSep("zanConvolveSep2D", srcImage, dstImage, xKernel, yKernel, false);
}

ZAN_API void zanConvolveSep2DFP(const ZanImage* srcImage, ZanImage* dstImage,
                                ZanConvKernelFP xKernel, ZanConvKernelFP yKernel)
{
    convolveSep("zanConvolveSep2DFP", srcImage, dstImage, xKernel, yKernel, true);
}

} // extern "C"
