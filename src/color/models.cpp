// Colour-model conversions between RGB and HSV, HLS, XYZ, LUV, YUV, YCrCb
// and YCC, and between colour and gray: the model checks, the walk over the
// destination's tiles and the drivers.
#include "own_models.h"

#include "../core/own_rect.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr const char* kCheckUnit = "owncolor";
constexpr const char* kDriverUnit = "zancolor";
constexpr const char* kShapeText =
    "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "
    "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)";
constexpr const char* kFewChannelsText = "RGB image must have 3 channels";

// Depth sets of the row work.
constexpr unsigned k8U = 1;
constexpr unsigned k16U = 2;
constexpr unsigned k32S = 4;
constexpr unsigned k32F = 8;
constexpr unsigned kIntegerDepths = k8U | k16U | k32S;
constexpr unsigned kAllDepths = kIntegerDepths | k32F;

// Calls f(OwnType<T>{}) when depth is in the set Depths; false otherwise.
template <unsigned Depths, class F>
bool withDepth(uint32_t depth, F&& f)
{
    switch (depth) {
    case ZAN_DEPTH_8U:
        if constexpr ((Depths & k8U) != 0) {
            f(OwnType<Own8u>{});
            return true;
        }
        break;
    case ZAN_DEPTH_16U:
        if constexpr ((Depths & k16U) != 0) {
            f(OwnType<Own16u>{});
            return true;
        }
        break;
    case ZAN_DEPTH_32S:
        if constexpr ((Depths & k32S) != 0) {
            f(OwnType<Own32s>{});
            return true;
        }
        break;
    case ZAN_DEPTH_32F:
        if constexpr ((Depths & k32F) != 0) {
            f(OwnType<Own32f>{});
            return true;
        }
        break;
    default:
        break;
    }
    return false;
}

// ---------------------------------------------------------------------------
// Checks

template <class... Args>
void reportFormatted(OwnSite site, const char* format, Args... args)
{
    char text[160];
    std::snprintf(text, sizeof text, format, args...);
    OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, text);
}

bool startsWith(const char (&field)[4], const char* letters) { return std::memcmp(field, letters, 3) == 0; }

bool rgbRefused(OwnSite site, const ZanImage* image)
{
    if (!startsWith(image->colorModel, "RGB")) {
        reportFormatted(site, "colorModel must be RGB instead of %.4s", image->colorModel);
        return true;
    }
    if (!startsWith(image->channelSeq, "RGB") && !startsWith(image->channelSeq, "BGR")) {
        reportFormatted(site, "channelSeq must be RGB or BGR instead of %.4s", image->channelSeq);
        return true;
    }
    return false;
}

bool grayRefused(OwnSite site, const ZanImage* image)
{
    if (!startsWith(image->colorModel, "Gra") && !startsWith(image->colorModel, "GRA")) {
        reportFormatted(site, "colorModel must be GRAY instead of %.4s", image->colorModel);
        return true;
    }
    if (image->channelSeq[0] != 'G') {
        reportFormatted(site, "channelSeq must be G instead of %.4s", image->channelSeq);
        return true;
    }
    return false;
}

bool modelRefused(OwnSite site, const ZanImage* image, const char* model)
{
    if (!startsWith(image->colorModel, model)) {
        reportFormatted(site, "src-> colorModel must be %.4s instead of %.4s", model, image->colorModel);
        return true;
    }
    if (!startsWith(image->channelSeq, model)) {
        reportFormatted(site, "src-> channelSeq must be %.4s instead of %.4s", model, image->channelSeq);
        return true;
    }
    return false;
}

bool roiRefused(OwnSite site, const ZanImage* src, const ZanImage* dst)
{
    if (src->roi || dst->roi) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "src & dst roi must be NULL");
        return true;
    }
    return false;
}

bool shapeFits(const ZanImage* src, const ZanImage* dst)
{
    return src->nChannels >= 3 && dst->nChannels == 3 && src->depth == dst->depth &&
           src->dataOrder == dst->dataOrder && src->origin == dst->origin;
}

// The 8U pixel-ordered RGB and plane-ordered YUV pair of the YUV fast form.
bool yuvPlanesFit(const ZanImage* rgb, const ZanImage* yuv)
{
    return rgb->dataOrder == ZAN_DATA_ORDER_PIXEL && rgb->nChannels == 3 &&
           yuv->dataOrder == ZAN_DATA_ORDER_PLANE && yuv->nChannels >= 3 && rgb->depth == ZAN_DEPTH_8U;
}

void writeModelName(ZanImage* image, const char* model)
{
    char name[4] = {};
    std::memcpy(name, model, std::strlen(model));
    std::memcpy(image->colorModel, name, 4);
    std::memcpy(image->channelSeq, name, 4);
}

// ---------------------------------------------------------------------------
// Channel order and the walk

// Which channel holds each of three values: R, G, B of an RGB image, or the
// first three channels of another model.
struct Triple {
    int index[3];
};

constexpr Triple kInOrder = {{0, 1, 2}};

// In pixel order a sequence that doesn't start with R has R and B swapped;
// in plane order each plane is found by its letter.
Triple rgbChannels(const ZanImage* image)
{
    if (image->dataOrder == ZAN_DATA_ORDER_PIXEL)
        return image->channelSeq[0] != 'R' ? Triple{{2, 1, 0}} : kInOrder;
    Triple triple = kInOrder;
    const char letters[3] = {'R', 'G', 'B'};
    const int count = std::min(image->nChannels, 4);
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < count; ++i)
            if (image->channelSeq[i] == letters[k]) {
                triple.index[k] = i;
                break;
            }
    return triple;
}

using ModelRows = OwnFunctionRef<void(const OwnView& src, const OwnView& dst, int width, int height)>;

// Runs rows from the source rectangle at (x, y) of width by height: the
// image itself, or a copy of a tiled one. False when no copy could be made.
bool withSource(OwnSite site, const ZanImage* src, int x, int y, int width, int height,
                const OwnView& dst, ModelRows rows)
{
    if (!src->tileInfo) {
        rows(ownImageView(src, x, y), dst, width, height);
        return true;
    }
    int step = 0;
    char* copy = ownGetRect(src, x, y, width, height, &step);
    if (!copy) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "(srcRect == NULL)");
        return false;
    }
    rows(ownBlockView(src, copy, step, height, 0, 0), dst, width, height);
    zanFree(copy);
    return true;
}

// The common area of the two images, walked over the destination's tiles
// left to right, then down. A tile that isn't given ends its row of tiles,
// or the walk if it is the first of its row.
void modelWalk(OwnSite site, const ZanImage* src, ZanImage* dst, ModelRows rows)
{
    const int width = std::min(src->width, dst->width);
    const int height = std::min(src->height, dst->height);
    const ZanTileInfo* tiles = dst->tileInfo;
    if (!tiles) {
        withSource(site, src, 0, 0, width, height, ownImageView(dst, 0, 0), rows);
        return;
    }
    const int step = ownTileStep(dst);
    for (int row = 0; row * tiles->height < height; ++row) {
        for (int column = 0; column * tiles->width < width; ++column) {
            tiles->callBack(dst, column, row, ZAN_TILE_WRITE);
            char* data = dst->tileInfo->tileData;
            if (!data) {
                if (column == 0)
                    return;
                break;
            }
            const int x = column * tiles->width;
            const int y = row * tiles->height;
            const bool done = withSource(site, src, x, y, std::min(tiles->width, width - x),
                                         std::min(tiles->height, height - y),
                                         ownBlockView(dst, data, step, tiles->height, 0, 0), rows);
            tiles->callBack(dst, column, row, ZAN_TILE_RELEASE);
            if (!done)
                return;
        }
    }
}

// Rows of three packed samples a pixel on both sides, the destination's in
// order and the source's in order or swapped: the shape of the packed
// kernels.
template <class T>
bool packedRows(const OwnView& src, const Triple& in, const OwnView& dst, const Triple& out)
{
    const auto packed = static_cast<std::ptrdiff_t>(3 * sizeof(T));
    return src.pixelStep == packed && dst.pixelStep == packed && src.channelStep == sizeof(T) &&
           dst.channelStep == sizeof(T) && in.index[1] == 1 && out.index[0] == 0 && out.index[2] == 2;
}

// Three samples of each pixel through fn, read from the source's channels
// in and written to the destination's channels out. A functor's packed
// kernel takes what it can of rows of packed pixels; fn finishes them.
template <class T, class Fn>
void convertRows(const OwnView& src, const Triple& in, const OwnView& dst, const Triple& out, int width,
                 int height, const Fn& fn)
{
    constexpr bool kernel = requires(const T* s, T* d) { fn.run(s, d, 0, false); };
    const bool packed = kernel && packedRows<T>(src, in, dst, out);
    for (int y = 0; y < height; ++y) {
        const T* from[3];
        T* to[3];
        for (int k = 0; k < 3; ++k) {
            from[k] = ownRowAt<const T>(src, y, in.index[k]);
            to[k] = ownRowAt<T>(dst, y, out.index[k]);
        }
        int x = 0;
        if constexpr (kernel) {
            if (packed)
                x = static_cast<int>(fn.run(ownRowAt<const T>(src, y, 0), ownRowAt<T>(dst, y, 0), width, in.index[0] == 2));
        }
        ownTripleRow(from, src, to, dst, x, width, fn, [](int) { return false; });
    }
}

// ---------------------------------------------------------------------------
// RGB to and from another model

// Names of one conversion: the exported function, its row routine with its
// unit, the other model's letters, and the row routine's depth refusal.
struct Conversion {
    const char* function;
    const char* routine;
    const char* unit;
    const char* model;
    const char* depthText;
};

constexpr const char* kDepthsAll = "Error input depth. 32F, 32S ,16U,8U are valid now";
constexpr const char* kDepths8U = "Error input depth. 8U is valid now";
constexpr const char* kDepths32F = "Error input depth. 32F is valid now";
constexpr const char* kDepthsInteger = "Error input depth. 32S,16U,8U are valid now";

// Runs fn over the walk at the source's depth if Depths has it, else
// reports the depth in the row routine's name.
template <unsigned Depths, class Fn>
void runConversion(const Conversion& c, const ZanImage* src, ZanImage* dst, const Triple& in,
                   const Triple& out, const Fn& fn)
{
    const bool known = withDepth<Depths>(src->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        modelWalk(OwnSite{c.function, kDriverUnit}, src, dst,
                  [&](const OwnView& s, const OwnView& d, int w, int h) {
                      convertRows<T>(s, in, d, out, w, h, fn);
                  });
    });
    if (!known)
        OWN_REPORT((OwnSite{c.routine, c.unit}), ZAN_STATUS_BAD_ARGUMENT, c.depthText);
}

template <unsigned Depths, class Fn>
void toModel(const Conversion& c, const ZanImage* src, ZanImage* dst, const Fn& fn)
{
    const OwnSite site{c.function, kCheckUnit};
    if (ownHeadersRefused(site, src, dst) || rgbRefused(site, src) || roiRefused(site, src, dst))
        return;
    if (!shapeFits(src, dst)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kShapeText);
        return;
    }
    // The name goes in before the depth is tested.
    writeModelName(dst, c.model);
    runConversion<Depths>(c, src, dst, rgbChannels(src), kInOrder, fn);
}

template <unsigned Depths, class Fn>
void fromModel(const Conversion& c, const ZanImage* src, ZanImage* dst, const Fn& fn)
{
    const OwnSite site{c.function, kCheckUnit};
    if (ownHeadersRefused(site, src, dst) || rgbRefused(site, dst) || modelRefused(site, src, c.model) ||
        roiRefused(site, src, dst))
        return;
    if (!shapeFits(src, dst)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kShapeText);
        return;
    }
    runConversion<Depths>(c, src, dst, kInOrder, rgbChannels(dst), fn);
}

// YUV checks: after the ROI test the depths must agree, then the images take
// either the common shape or the 8U pixel/plane pair of the fast form.
// Sets planes when the fast form applies; false when refused.
bool yuvRefused(OwnSite site, const ZanImage* src, const ZanImage* dst, bool fastPair, bool* planes)
{
    if (roiRefused(site, src, dst))
        return true;
    if (src->depth != dst->depth) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "src1->depth != src2->depth");
        return true;
    }
    *planes = !shapeFits(src, dst) && fastPair;
    if (!shapeFits(src, dst) && !fastPair) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kShapeText);
        return true;
    }
    return false;
}

// ---------------------------------------------------------------------------
// Colour and gray

// Gray of R, G, B for a pair of depths; the fast 16U to 8U plane row gives
// the last sample of an odd row by the single-sample form.
template <class S, class D, bool Bits>
struct GrayOf {
    bool planes;

    int64_t operator()(int64_t r, int64_t g, int64_t b, bool single) const
    {
        if constexpr (kOwnIs<S, Own32s>) {
            if constexpr (Bits)
                return 109 * (r >> 10) + 366 * (g >> 10) + 37 * (b >> 10) >= 536870912;
            const int64_t sum = 109 * (r >> 11) + 366 * (g >> 11) + 37 * (b >> 11);
            return sum >> (kOwnIs<D, Own16u> ? 13 : 21);
        } else {
            const int64_t sum = 54 * r + 183 * g + 18 * b;
            constexpr int64_t half = kOwnIs<S, Own8u> ? 128 : 32768;
            if constexpr (Bits)
                return (sum >> 8) >= half;
            if constexpr (kOwnIs<S, Own8u> && kOwnIs<D, Own16u>)
                return sum;
            if constexpr (kOwnIs<S, Own16u> && kOwnIs<D, Own8u>) {
                if (!planes)
                    return sum >> 16;
                if (single)
                    return (109 * r + 366 * g + 37 * b) >> 17;
                return (((109 * r) >> 16) + ((366 * g) >> 16) + ((37 * b) >> 16)) >> 1;
            }
            return sum >> 8;
        }
    }
};

template <class S, class D, bool Bits>
void grayRows(const OwnView& src, const Triple& in, const OwnView& dst, int width, int height,
              const GrayOf<S, D, Bits>& gray)
{
    for (int y = 0; y < height; ++y) {
        const S* from[3];
        for (int k = 0; k < 3; ++k)
            from[k] = ownRowAt<const S>(src, y, in.index[k]);
        char* row = ownRowAt<char>(dst, y, 0);
        for (int x = 0; x < width; ++x) {
            const bool single = x == width - 1 && (width & 1) != 0;
            const int64_t v = gray(*ownPixelAt(from[0], src, x), *ownPixelAt(from[1], src, x),
                                   *ownPixelAt(from[2], src, x), single);
            if constexpr (Bits)
                ownSetBit(reinterpret_cast<uint8_t*>(row), dst.bitOffset + x, v != 0);
            else
                *ownPixelAt(reinterpret_cast<D*>(row), dst, x) = ownWrap<D>(v);
        }
    }
}

template <class S>
bool colorToGrayRows(OwnSite site, const ZanImage* src, ZanImage* dst)
{
    const Triple in = rgbChannels(src);
    const bool planes = src->dataOrder == ZAN_DATA_ORDER_PLANE;
    auto walk = [&](auto gray) {
        modelWalk(site, src, dst, [&](const OwnView& s, const OwnView& d, int w, int h) {
            grayRows(s, in, d, w, h, gray);
        });
    };
    switch (dst->depth) {
    case ZAN_DEPTH_8U: walk(GrayOf<S, Own8u, false>{planes}); return true;
    case ZAN_DEPTH_16U: walk(GrayOf<S, Own16u, false>{planes}); return true;
    case ZAN_DEPTH_1U: walk(GrayOf<S, Own8u, true>{planes}); return true;
    default: return false;
    }
}

// Weights of zanGrayToColor as integers with their shift.
struct GrayWeights {
    int64_t weight[3];
    int shift;
};

// A float times a power of two, truncated to 32 bits; values beyond the
// range give the integer indefinite value, as the processor's conversion.
int32_t truncatedWeight(float weight, double factor)
{
    const double v = weight * factor;
    if (!(v > -2147483649.0 && v < 2147483648.0))
        return INT32_MIN;
    return static_cast<int32_t>(v);
}

GrayWeights grayWeights(uint32_t depth, const float (&weights)[3])
{
    const bool wide = depth == ZAN_DEPTH_16U || depth == ZAN_DEPTH_32S;
    GrayWeights result{{}, wide ? 15 : 8};
    bool allZero = true;
    for (int k = 0; k < 3; ++k) {
        const int32_t t = truncatedWeight(weights[k], wide ? 32768.0 : 256.0);
        const uint16_t low = static_cast<uint16_t>(t);
        allZero = allZero && low == 0;
        result.weight[k] = depth == ZAN_DEPTH_32S ? t : low;
    }
    if (!allZero)
        return result;
    if (depth == ZAN_DEPTH_32S)
        return GrayWeights{{6968, 23434, 2364}, 15};
    if (depth == ZAN_DEPTH_16U)
        return GrayWeights{{109, 366, 37}, 9};
    return GrayWeights{{54, 183, 18}, 8};
}

// One colour sample from a gray sample and a weight.
template <class T>
T weighted(int64_t sample, int64_t weight, int shift)
{
    if constexpr (kOwnIs<T, Own32s>)
        return ownWrap<T>(((weight * (sample & 0xFFFF)) >> 15) + 2 * weight * (sample >> 16));
    else
        return ownWrap<T>((sample * weight) >> shift);
}

template <class S, class D>
void colorRows(const OwnView& src, const OwnView& dst, const Triple& out, int width, int height,
               const GrayWeights& w)
{
    for (int y = 0; y < height; ++y) {
        const char* from = ownRowAt<const char>(src, y, 0);
        D* to[3];
        for (int k = 0; k < 3; ++k)
            to[k] = ownRowAt<D>(dst, y, out.index[k]);
        for (int x = 0; x < width; ++x) {
            for (int k = 0; k < 3; ++k) {
                D value;
                if constexpr (kOwnIs<S, bool>)
                    value = ownGetBit(reinterpret_cast<const uint8_t*>(from), src.bitOffset + x)
                                ? weighted<D>(255, w.weight[k], w.shift)
                                : D{};
                else
                    value = weighted<D>(*ownPixelAt(reinterpret_cast<const S*>(from), src, x), w.weight[k], w.shift);
                *ownPixelAt(to[k], dst, x) = value;
            }
        }
    }
}

// RGB images of fewer than three channels have no defined result; they are
// refused rather than read beyond their planes.
bool fewChannels(OwnSite site, const ZanImage* rgb)
{
    if (rgb->nChannels >= 3)
        return false;
    OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kFewChannelsText);
    return true;
}

} // namespace

extern "C" {

ZAN_API void zanRGB2HSV(const ZanImage* srcImage, ZanImage* dstImage)
{
    toModel<kIntegerDepths>({"zanRGB2HSV", "ownRGB2HSV", "ownhsv", "HSV", kDepthsInteger}, srcImage,
                            dstImage, OwnRgbToHsv{});
}

ZAN_API void zanHSV2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<kIntegerDepths>({"zanHSV2RGB", "ownHSV2RGB", "ownhsv", "HSV", kDepthsInteger}, srcImage,
                              dstImage, OwnHsvToRgb{});
}

ZAN_API void zanRGB2HLS(const ZanImage* srcImage, ZanImage* dstImage)
{
    toModel<kIntegerDepths>({"zanRGB2HLS", "ownRGB2HLS", "ownhls", "HLS", kDepthsInteger}, srcImage,
                            dstImage, OwnRgbToHls{});
}

ZAN_API void zanHLS2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<kIntegerDepths>({"zanHLS2RGB", "ownHLS2RGB", "ownhls", "HLS", kDepthsInteger}, srcImage,
                              dstImage, OwnHlsToRgb{});
}

ZAN_API void zanRGB2XYZ(const ZanImage* srcImage, ZanImage* dstImage)
{
    toModel<kAllDepths>({"zanRGB2XYZ", "ownRGB2XYZ", "ownxyz", "XYZ", kDepthsAll}, srcImage, dstImage,
                        OwnRgbToXyz{});
}

ZAN_API void zanXYZ2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<kAllDepths>({"zanXYZ2RGB", "ownXYZ2RGB", "ownxyz", "XYZ", kDepthsAll}, srcImage, dstImage,
                          OwnXyzToRgb{});
}

ZAN_API void zanRGB2LUV(const ZanImage* srcImage, ZanImage* dstImage)
{
    toModel<k32F>({"zanRGB2LUV", "ownRGB2LUV", "ownluv", "LUV", kDepths32F}, srcImage, dstImage,
                  OwnRgbToLuv{});
}

ZAN_API void zanLUV2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<k32F>({"zanLUV2RGB", "ownLUV2RGB", "ownluv", "LUV", kDepths32F}, srcImage, dstImage,
                    OwnLuvToRgb{});
}

ZAN_API void zanRGB2YCrCb(const ZanImage* srcImage, ZanImage* dstImage)
{
    toModel<kAllDepths>({"zanRGB2YCrCb", "ownRGB2YCrCb", "ownycrcb", "YCr", kDepthsAll}, srcImage,
                        dstImage, OwnRgbToYCrCb{});
}

ZAN_API void zanYCrCb2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<kAllDepths>({"zanYCrCb2RGB", "ownYCrCb2RGB", "ownycrcb", "YCr", kDepthsAll}, srcImage,
                          dstImage, OwnYCrCbToRgb{});
}

ZAN_API void zanYCC2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    fromModel<k8U>({"zanYCC2RGB", "ownYCC2RGB", "ownycc", "YCC", kDepths8U}, srcImage, dstImage,
                   OwnYccToRgb{});
}

ZAN_API void zanRGB2YUV(const ZanImage* srcImage, ZanImage* dstImage)
{
    const Conversion c{"zanRGB2YUV", "ownRGB2YUV", "ownyuv", "YUV", kDepthsAll};
    const OwnSite site{c.function, kCheckUnit};
    bool planes = false;
    if (ownHeadersRefused(site, srcImage, dstImage) || rgbRefused(site, srcImage) ||
        yuvRefused(site, srcImage, dstImage, yuvPlanesFit(srcImage, dstImage), &planes))
        return;
    writeModelName(dstImage, c.model);
    const Triple in = rgbChannels(srcImage);
    if (planes)
        runConversion<k8U>(c, srcImage, dstImage, in, kInOrder, OwnRgbToYuvPlanes{});
    else
        runConversion<kAllDepths>(c, srcImage, dstImage, in, kInOrder, OwnRgbToYuv{});
}

ZAN_API void zanYUV2RGB(const ZanImage* srcImage, ZanImage* dstImage)
{
    const Conversion c{"zanYUV2RGB", "ownYUV2RGB", "ownyuv", "YUV", kDepthsAll};
    const OwnSite site{c.function, kCheckUnit};
    bool planes = false;
    if (ownHeadersRefused(site, srcImage, dstImage) || modelRefused(site, srcImage, c.model) ||
        yuvRefused(site, srcImage, dstImage, yuvPlanesFit(dstImage, srcImage), &planes))
        return;
    const Triple out = rgbChannels(dstImage);
    if (planes)
        runConversion<k8U>(c, srcImage, dstImage, kInOrder, out, OwnYuvPlanesToRgb{});
    else
        runConversion<kAllDepths>(c, srcImage, dstImage, kInOrder, out, OwnYuvToRgb{});
}

ZAN_API void zanColorToGray(const ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanColorToGray", kCheckUnit};
    if (ownHeadersRefused(site, srcImage, dstImage) || rgbRefused(site, srcImage) || grayRefused(site, dstImage))
        return;
    if (dstImage->dataOrder == ZAN_DATA_ORDER_PIXEL && dstImage->nChannels != 1) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(dst-> dataOrder == ZAN_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)");
        return;
    }
    if (srcImage->origin != dstImage->origin) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "src->origin != dst->origin");
        return;
    }
    if (fewChannels(site, srcImage))
        return;
    const OwnSite walkSite{"zanColorToGray", kDriverUnit};
    bool known = false;
    withDepth<kIntegerDepths>(srcImage->depth, [&](auto type) {
        known = colorToGrayRows<typename decltype(type)::type>(walkSite, srcImage, dstImage);
    });
    if (!known)
        OWN_REPORT((OwnSite{"ownColorToGray", "Ownctog"}), ZAN_STATUS_BAD_ARGUMENT,
                   "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now");
}

ZAN_API void zanGrayToColor(const ZanImage* srcImage, ZanImage* dstImage, float weightR, float weightG,
                            float weightB)
{
    const OwnSite site{"zanGrayToColor", kCheckUnit};
    if (ownHeadersRefused(site, srcImage, dstImage) || rgbRefused(site, dstImage) || grayRefused(site, srcImage))
        return;
    const bool sameDepth = srcImage->depth == dstImage->depth;
    const struct {
        bool failed;
        const char* text;
    } tests[] = {
        {!sameDepth && srcImage->depth != ZAN_DEPTH_1U, "src-> depth != dst-> depth && src-> depth != 1U"},
        {!sameDepth && dstImage->depth != ZAN_DEPTH_8U, "src-> depth == dst-> depth && dst-> depth != 8U"},
        {srcImage->dataOrder == ZAN_DATA_ORDER_PIXEL && srcImage->nChannels != 1,
         "(src-> dataOrder == ZAN_DATA_ORDER_PIXEL) && (src-> nChannels != 1)"},
        {srcImage->origin != dstImage->origin, "(src->origin != dst->origin)"},
    };
    for (const auto& test : tests) {
        if (test.failed) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, test.text);
            return;
        }
    }
    if (fewChannels(site, dstImage))
        return;
    const GrayWeights weights = grayWeights(dstImage->depth, {weightR, weightG, weightB});
    const Triple out = rgbChannels(dstImage);
    const OwnSite walkSite{"zanGrayToColor", kDriverUnit};
    auto walk = [&](auto sourceType, auto targetType) {
        using S = typename decltype(sourceType)::type;
        using D = typename decltype(targetType)::type;
        modelWalk(walkSite, srcImage, dstImage, [&](const OwnView& s, const OwnView& d, int w, int h) {
            colorRows<S, D>(s, d, out, w, h, weights);
        });
    };
    if (!sameDepth) {
        walk(OwnType<bool>{}, OwnType<Own8u>{});
        return;
    }
    if (!withDepth<kIntegerDepths>(dstImage->depth, [&](auto type) { walk(type, type); }))
        OWN_REPORT((OwnSite{"ownGrayToColor", "Owngtoc"}), ZAN_STATUS_BAD_ARGUMENT, kDepthsInteger);
}

} // extern "C"
