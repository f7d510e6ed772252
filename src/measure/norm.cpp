// zanNorm: the largest magnitude, the sum of magnitudes or the Euclidean
// length of an image or of the difference of two, and their relative forms.
#include "own_measure.h"

#include "../arith/own_simd.h"
#include "../core/own_memory.h"
#include "../core/own_rect.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace {

constexpr OwnSite kSite{"zanNorm", "zanNorm"};

constexpr double kDivideByZero = -1.0;
constexpr double kUndefined = -2.0;
constexpr double kNoMemory = -3.0;

enum Kind { kInf = ZAN_NORM_INF, kL1 = ZAN_NORM_L1, kL2 = ZAN_NORM_L2 };
constexpr int kRelative = 8;

// Which channels each image contributes and how many.
struct NormPlan {
    int first[2];
    int count;
};

// One image of a piece as its rows are read.
struct Side {
    own_rows::Region region;
    int nChannels;
};

// The magnitude of a - b at each depth: exact integers up to 16 bits, double
// precision above.
template <class T>
auto magnitude(T a, T b)
{
    if constexpr (std::is_integral_v<T> && sizeof(T) <= 2)
        return static_cast<uint32_t>(std::abs(static_cast<int32_t>(a) - static_cast<int32_t>(b)));
    else
        return std::fabs(static_cast<double>(a) - static_cast<double>(b));
}

// A row's figure: a running maximum or sum in an integer for the narrow
// depths (wider than the 32 bits they need for rows of any length), in
// double precision for 32-bit samples.
template <Kind K, class T>
struct RowFigure {
    using Acc = std::conditional_t<std::is_integral_v<T> && sizeof(T) <= 2, uint64_t, double>;
    Acc value = 0;

    void add(T a, T b)
    {
        const Acc m = magnitude(a, b);
        if constexpr (K == kInf)
            value = std::max(value, m);
        else if constexpr (K == kL1)
            value += m;
        else
            value += m * m;
    }
};

// Adds a row's figure to the total: the larger for the maximum, else the sum.
template <Kind K>
void combine(double* total, double row)
{
    *total = K == kInf ? std::max(*total, row) : *total + row;
}

#if OWN_HAVE_SSE2

// Packed figures of a contiguous run of 8-bit samples, the signed ones
// moved to unsigned by flipping the sign bit, which keeps every difference;
// a missing b is the sample 0 in that coding. Returns the values done.
template <Kind K>
std::size_t packedRun8(const uint8_t* a, const uint8_t* b, uint8_t flip, std::size_t n,
                       uint64_t* value)
{
    const __m128i flipBits = _mm_set1_epi8(static_cast<char>(flip));
    const __m128i zero = _mm_setzero_si128();
    constexpr std::size_t kBlock = 16;
    // 32-bit lanes of squares are emptied before they can overflow.
    constexpr std::size_t kFlushEvery = 4096;
    __m128i wide = zero;
    __m128i lanes = zero;
    std::size_t i = 0;
    while (i + kBlock <= n) {
        const std::size_t stop = std::min(n - (n - i) % kBlock, i + kFlushEvery * kBlock);
        for (; i < stop; i += kBlock) {
            const __m128i va = _mm_xor_si128(ownLoad(a + i), flipBits);
            const __m128i vb = b ? _mm_xor_si128(ownLoad(b + i), flipBits) : flipBits;
            const __m128i diff = _mm_or_si128(_mm_subs_epu8(va, vb), _mm_subs_epu8(vb, va));
            if constexpr (K == kInf) {
                lanes = _mm_max_epu8(lanes, diff);
            } else if constexpr (K == kL1) {
                wide = _mm_add_epi64(wide, _mm_sad_epu8(diff, zero));
            } else {
                const __m128i lo = _mm_unpacklo_epi8(diff, zero);
                const __m128i hi = _mm_unpackhi_epi8(diff, zero);
                lanes = _mm_add_epi32(lanes, _mm_add_epi32(_mm_madd_epi16(lo, lo), _mm_madd_epi16(hi, hi)));
            }
        }
        if constexpr (K == kL2) {
            wide = _mm_add_epi64(wide, _mm_add_epi64(_mm_unpacklo_epi32(lanes, zero),
                                                     _mm_unpackhi_epi32(lanes, zero)));
            lanes = zero;
        }
    }
    alignas(16) uint64_t parts[2];
    alignas(16) uint8_t bytes[16];
    if constexpr (K == kInf) {
        _mm_store_si128(reinterpret_cast<__m128i*>(bytes), lanes);
        *value = std::max<uint64_t>(*value, *std::max_element(bytes, bytes + 16));
    } else {
        _mm_store_si128(reinterpret_cast<__m128i*>(parts), wide);
        *value += parts[0] + parts[1];
    }
    return i;
}

#endif

// The packed part of a contiguous run where the depth has one.
template <Kind K, class T>
std::size_t packedRun(const T* a, const T* b, std::size_t n, RowFigure<K, T>* row)
{
#if OWN_HAVE_SSE2
    if constexpr (std::is_integral_v<T> && sizeof(T) == 1)
        return packedRun8<K>(reinterpret_cast<const uint8_t*>(a),
                             reinterpret_cast<const uint8_t*>(b),
                             std::is_signed_v<T> ? 0x80 : 0x00, n, &row->value);
#endif
    (void)a, (void)b, (void)n, (void)row;
    return 0;
}

// The figure of a (or of a - b) over a piece of T samples.
template <Kind K, class T>
double reduceSamples(const Side& a, const Side* b, const own_rows::Region* mask,
                     const NormPlan& plan, int width, int height)
{
    using own_rows::rowOf;
    const bool planes = a.region.planeStride != 0;
    const int planeCount = planes ? plan.count : 1;
    const int values = planes ? 1 : plan.count;
    const bool flat = !mask && (planes || (plan.count == a.nChannels && (!b || plan.count == b->nChannels)));
    const T zero = 0;
    double total = 0.0;
    for (int plane = 0; plane < planeCount; ++plane) {
        for (int y = 0; y < height; ++y) {
            const T* ra = rowOf<T>(a.region, plane, y);
            const T* rb = b ? rowOf<T>(b->region, plane, y) : nullptr;
            RowFigure<K, T> row;
            if (flat) {
                const std::size_t n = static_cast<std::size_t>(width) * values;
                for (std::size_t i = packedRun<K, T>(ra, rb, n, &row); i < n; ++i)
                    row.add(ra[i], rb ? rb[i] : zero);
            } else {
                const uint8_t* maskRow = mask ? rowOf<uint8_t>(*mask, 0, y) : nullptr;
                for (int x = 0; x < width; ++x) {
                    if (maskRow && !ownGetBit(maskRow, mask->bitOffset + x))
                        continue;
                    const T* pa = ra + static_cast<std::ptrdiff_t>(x) * a.region.pixelStride;
                    const T* pb = rb ? rb + static_cast<std::ptrdiff_t>(x) * b->region.pixelStride : nullptr;
                    for (int c = 0; c < values; ++c)
                        row.add(pa[c], pb ? pb[c] : zero);
                }
            }
            combine<K>(&total, static_cast<double>(row.value));
        }
    }
    return total;
}

// The figure of 1-bit rows: set bits of a, or of a exclusive-or b.
template <Kind K>
double reduceBits(const Side& a, const Side* b, const own_rows::Region* mask, int width, int height)
{
    using own_rows::rowOf;
    double total = 0.0;
    for (int y = 0; y < height; ++y) {
        const uint8_t* ra = rowOf<uint8_t>(a.region, 0, y);
        const uint8_t* rb = b ? rowOf<uint8_t>(b->region, 0, y) : nullptr;
        const uint8_t* maskRow = mask ? rowOf<uint8_t>(*mask, 0, y) : nullptr;
        uint32_t count = 0;
        for (int x = 0; x < width; ++x) {
            if (maskRow && !ownGetBit(maskRow, mask->bitOffset + x))
                continue;
            const bool bit = ownGetBit(ra, a.region.bitOffset + x) !=
                             (rb && ownGetBit(rb, b->region.bitOffset + x));
            count += bit;
            if (K == kInf && bit)
                return 1.0;
        }
        total += count;
    }
    return total;
}

// The images of one piece as plain headers, B and the mask possibly null.
struct NormPiece {
    const ZanImage* image[2];
    const ZanImage* mask;
    int width;
    int height;
};

template <Kind K>
double reduceKind(const NormPiece& piece, int first, int second, const NormPlan& plan)
{
    const ZanImage* imageA = piece.image[first];
    const ZanImage* imageB = second >= 0 ? piece.image[second] : nullptr;
    const Side a{own_rows::regionOf(imageA, plan.first[first]), imageA->nChannels};
    Side b{};
    if (imageB)
        b = Side{own_rows::regionOf(imageB, plan.first[second]), imageB->nChannels};
    own_rows::Region mask{};
    if (piece.mask)
        mask = own_rows::regionOf(piece.mask, 0);
    const int width = piece.width;
    const int height = piece.height;
    const Side* pb = imageB ? &b : nullptr;
    const own_rows::Region* pm = piece.mask ? &mask : nullptr;
    if (imageA->depth == ZAN_DEPTH_1U)
        return reduceBits<K>(a, pb, pm, width, height);
    double figure = 0.0;
    ownWithSampleType(imageA->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        figure = reduceSamples<K, T>(a, pb, pm, plan, width, height);
    });
    return figure;
}

// The figure of image first less image second (second -1: none).
double reduce(int kind, const NormPiece& piece, int first, int second, const NormPlan& plan)
{
    switch (kind) {
    case kInf: return reduceKind<kInf>(piece, first, second, plan);
    case kL1: return reduceKind<kL1>(piece, first, second, plan);
    case kL2: return reduceKind<kL2>(piece, first, second, plan);
    default: return kUndefined;
    }
}

// Numerator and denominator of a norm, combined over pieces.
struct Figures {
    double num = 0.0;
    double den = 0.0;
};

void addPiece(int normType, const NormPiece& piece, const NormPlan& plan, Figures* figures)
{
    const int kind = normType & 7;
    const bool relative = normType & kRelative;
    const bool two = piece.image[1] != nullptr;
    const double num = reduce(kind, piece, 0, two ? 1 : -1, plan);
    const double den = relative ? reduce(kind, piece, 1, -1, plan) : 0.0;
    if (kind == kInf) {
        figures->num = std::max(figures->num, num);
        figures->den = std::max(figures->den, den);
    } else {
        figures->num += num;
        figures->den += den;
    }
}

// The result from the combined figures.
double finish(int normType, const Figures& f)
{
    const double tiny = DBL_MIN;
    switch (normType) {
    case ZAN_NORM_INF:
    case ZAN_NORM_L1: return f.num;
    case ZAN_NORM_L2: return std::sqrt(f.num);
    case ZAN_NORM_REL_INF:
    case ZAN_NORM_REL_L1: return f.den > tiny ? f.num / f.den : kDivideByZero;
    case ZAN_NORM_REL_L2: {
        const double root = std::sqrt(f.den);
        return root > tiny ? std::sqrt(f.num) / root : kDivideByZero;
    }
    default: return kUndefined;
    }
}

bool knownType(int normType)
{
    switch (normType) {
    case ZAN_NORM_INF:
    case ZAN_NORM_L1:
    case ZAN_NORM_L2:
    case ZAN_NORM_REL_INF:
    case ZAN_NORM_REL_L1:
    case ZAN_NORM_REL_L2: return true;
    default: return false;
    }
}

bool hasCoi(const ZanImage* image) { return image->roi && image->roi->coi > 0; }
bool badCoi(const ZanImage* image)
{
    return image->roi && (image->roi->coi < 0 || image->roi->coi > image->nChannels);
}
bool badAlpha(const ZanImage* image)
{
    return image->alphaChannel && image->alphaChannel != image->nChannels;
}
int channelsLessAlpha(const ZanImage* image) { return image->nChannels - (image->alphaChannel ? 1 : 0); }

// Reports a failed check; true when the call ends (the status is negative).
bool refuse(int status, const char* text)
{
    OWN_REPORT(kSite, status, text);
    return zanGetErrStatus() < 0;
}

bool incorrect(const ZanImage* image)
{
    if (zanCheckImageHeader(image) >= 0)
        return false;
    OWN_REPORT(kSite, zanGetErrStatus(), "Incorrect Image");
    return true;
}

// The checks that come before the mask, in their order; false: return 0.0.
bool checkImages(const ZanImage* a, const ZanImage* b, int normType)
{
    if (incorrect(a))
        return false;
    if (b && a->dataOrder != b->dataOrder && refuse(ZAN_STATUS_ORDER, "DataOrder_A!=DataOrder_B"))
        return false;
    if (b && a->depth != b->depth) {
        if (!incorrect(b))
            OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, "(srcImageA->depth!=srcImageB->depth)");
        return false;
    }
    if ((!knownType(normType) && refuse(ZAN_STATUS_BAD_ARGUMENT, "Unknown normType")) ||
        (badCoi(a) && refuse(ZAN_STATUS_COI, "srcImageA-roi->coi")) ||
        (badAlpha(a) && refuse(ZAN_STATUS_ALPHA, "srcImageA->alphaChannel")))
        return false;
    if (!b)
        return true;
    if (incorrect(b))
        return false;
    return !((badCoi(b) && refuse(ZAN_STATUS_COI, "srcImageB-roi->coi")) ||
             (badAlpha(b) && refuse(ZAN_STATUS_ALPHA, "srcImageB->alphaChannel")) ||
             (a->nChannels != b->nChannels && refuse(ZAN_STATUS_CHANNELS, "<unknown>")) ||
             (hasCoi(a) != hasCoi(b) &&
              refuse(ZAN_STATUS_COI,
                     "COI should be defined for second image if COI is defined for the first one")));
}

// The common size: each region, narrowed by the other image and the masks.
void commonSize(const ZanImage* const images[2], int* width, int* height)
{
    *width = 0x7FFFFFFF;
    *height = 0x7FFFFFFF;
    for (int i = 0; i < 2; ++i) {
        for (const ZanImage* image : {images[i], images[i] ? static_cast<const ZanImage*>(images[i]->maskROI) : nullptr}) {
            if (!image)
                continue;
            OwnRect rect;
            ownRegionRect(image, &rect);
            *width = std::min(*width, rect.width);
            *height = std::min(*height, rect.height);
        }
    }
}

// The private mask of the common size: a copy of the one mask or the AND of
// both. Empty when no image has a mask; false when it could not be built.
bool buildMask(const ZanImage* const images[2], int width, int height, OwnImageOwner* mask)
{
    const ZanImage* maskA = images[0]->maskROI;
    const ZanImage* maskB = images[1] ? images[1]->maskROI : nullptr;
    if (!maskA && !maskB)
        return true;
    *mask = OwnImageOwner(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0\0", ZAN_DATA_ORDER_PLANE,
                                               ZAN_ORIGIN_TOP_LEFT, ZAN_ALIGN_QWORD, width, height,
                                               nullptr, nullptr, nullptr, nullptr),
                          ZAN_FREE_HEADER | ZAN_FREE_DATA);
    if (!*mask)
        return false;
    zanAllocateImage(mask->get(), 0, 0);
    if (!mask->get()->imageData)
        return false;
    if (maskA && maskB)
        zanAnd(maskA, maskB, mask->get());
    else
        zanCopy(maskA ? maskA : maskB, mask->get());
    return zanGetErrStatus() >= 0;
}

// The figures of tiled images: over the grid of A if A is tiled, else of B,
// the tiled images read through working rectangles.
bool reduceTiled(int normType, const ZanImage* const images[2], const ZanImage* mask,
                 const NormPlan& plan, int width, int height, Figures* figures)
{
    const ZanImage* gridImage = images[0]->tileInfo ? images[0] : images[1];
    OwnTileGrid grid;
    ownTileGrid(gridImage, height, width, &grid);
    OwnGridHeader work[2] = {OwnGridHeader(images[0], false), OwnGridHeader(images[1], false)};
    OwnGridHeader maskWork(mask, true);
    return ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        OwnBlock blocks[2];
        for (int i = 0; i < 2; ++i) {
            if (!images[i])
                continue;
            if (!images[i]->tileInfo) {
                work[i].placeOnRegion(piece);
                continue;
            }
            int x, y, step = 0;
            ownRegionOrigin(images[i], &x, &y);
            blocks[i].reset(ownGetRect(images[i], x + piece.x, y + piece.y, piece.width, piece.height, &step));
            if (!blocks[i])
                return false;
            work[i].placeOnBlock(piece, blocks[i].get(), step);
        }
        if (mask)
            maskWork.placeOnRegion(piece);
        addPiece(normType, NormPiece{{work[0].get(), work[1].get()}, maskWork.get(), piece.width, piece.height}, plan, figures);
        return true;
    });
}

void reportFigure(double result)
{
    if (result == kDivideByZero)
        OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, "Zero divided");
    else if (result == kUndefined)
        OWN_REPORT(kSite, ZAN_STATUS_UNKNOWN, "Unknown Norm Type");
    else if (result == kNoMemory)
        OWN_REPORT(kSite, ZAN_STATUS_NO_MEMORY, "No memory for create intermediate image");
}

} // namespace

extern "C" ZAN_API double zanNorm(const ZanImage* srcImageA, const ZanImage* srcImageB, int normType)
{
    if (!checkImages(srcImageA, srcImageB, normType))
        return 0.0;
    const ZanImage* const images[2] = {srcImageA, srcImageB};
    int width, height;
    commonSize(images, &width, &height);
    width = std::max(width, 0);
    height = std::max(height, 0);
    OwnImageOwner mask;
    if (width > 0 && height > 0 && !buildMask(images, width, height, &mask)) {
        OWN_REPORT(kSite, ZAN_STATUS_NULL_HEADER, "Null pointer for mask");
        return 0.0;
    }
    if (srcImageB && channelsLessAlpha(srcImageA) != channelsLessAlpha(srcImageB) &&
        refuse(ZAN_STATUS_COI, "nChannelsA != nChannelsB"))
        return 0.0;

    const NormPlan plan{{hasCoi(srcImageA) ? srcImageA->roi->coi - 1 : 0,
                         srcImageB && hasCoi(srcImageB) ? srcImageB->roi->coi - 1 : 0},
                        hasCoi(srcImageA) ? 1 : channelsLessAlpha(srcImageA)};
    if ((normType & kRelative) && !srcImageB) {
        OWN_REPORT(kSite, ZAN_STATUS_UNKNOWN, " ");
        return 0.0;
    }
    Figures figures;
    bool complete = true;
    if (width > 0 && height > 0) {
        if (srcImageA->tileInfo || (srcImageB && srcImageB->tileInfo))
            complete = reduceTiled(normType, images, mask.get(), plan, width, height, &figures);
        else
            addPiece(normType, NormPiece{{srcImageA, srcImageB}, mask.get(), width, height}, plan, &figures);
    }
    const double result = complete ? finish(normType, figures) : kNoMemory;
    reportFigure(result);
    return result;
}
