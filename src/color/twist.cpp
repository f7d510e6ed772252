// Colour twist: a 3 by 4 matrix applied to the first three channels of each
// pixel, with an integer matrix and a power-of-two scale for 8U and 16U
// images, or a float matrix for 32F images.
#include "own_color.h"

#include "../core/own_memory.h"

#include <algorithm>
#include <cstring>

struct ZanColorTwist {
    int32_t data[16];
    int32_t scalingValue;
};

namespace {

constexpr const char* kTwistUnit = "zantwist";

// The checks that both operations make on the channels of each image, in
// their order: source first, then destination.
bool channelsRefused(OwnSite site, const ZanImage* src, const ZanImage* dst)
{
    const OwnTest tests[] = {
        {src->nChannels < 3, "(srcImage->nChannels < 3)"},
        {src->alphaChannel != 0 && src->nChannels < 4,
         "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))"},
        {src->alphaChannel != 0 && src->alphaChannel < src->nChannels,
         "((srcImage->alphaChannel != 0) && (srcImage->alphaChannel < srcImage->nChannels))"},
        {dst->nChannels < 3, "(dstImage->nChannels < 3)"},
        {dst->alphaChannel != 0 && dst->nChannels < 4,
         "((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))"},
        {dst->alphaChannel != 0 && dst->alphaChannel < dst->nChannels,
         "((dstImage->alphaChannel != 0) && (dstImage->alphaChannel < dstImage->nChannels))"},
    };
    return ownRefused(site, tests);
}

// The matrix of an integer twist applied to one pixel: the exact sum of a
// row, truncated by the scale, held to 0..M, then offset and held again.
// The shift floors; below zero both floor and truncation end at 0.
template <class T>
struct IntegerTwist {
    const int32_t* data;
    int scale;
    int offset;

    void operator()(const T (&in)[3], T (&out)[3]) const
    {
        constexpr int64_t full = std::numeric_limits<T>::max();
        for (int r = 0; r < 3; ++r) {
            const int32_t* row = data + 4 * r;
            const int64_t sum = static_cast<int64_t>(row[0]) * in[0] + static_cast<int64_t>(row[1]) * in[1] +
                                static_cast<int64_t>(row[2]) * in[2] + row[3];
            const int64_t t = ownClamp(sum >> scale, 0, full);
            out[r] = static_cast<T>(ownClamp(t + offset, 0, full));
        }
    }
};

// The float twist of one pixel: products and sums in double, rounded once
// to float when stored.
struct FloatTwist {
    const float* data;

    void operator()(const float (&in)[3], float (&out)[3]) const
    {
        for (int r = 0; r < 3; ++r) {
            const float* row = data + 4 * r;
            out[r] = static_cast<float>(static_cast<double>(row[0]) * in[0] + static_cast<double>(row[1]) * in[1] +
                                        static_cast<double>(row[2]) * in[2] + row[3]);
        }
    }
};

// Where the mask bits of the working region start: bit `bit` of `row`, and
// the distance between rows.
struct MaskStart {
    const uint8_t* row;
    int bit;
    int step;
};

// Applies the twist to a piece; all three inputs of a pixel are read before
// its outputs are written, and pixels whose mask bit is clear are skipped.
template <class T, class Twist>
void twistPiece(const OwnView& src, const OwnView& dst, int x0, int y0, int width, int height,
                const Twist& twist, const MaskStart* mask)
{
    for (int y = 0; y < height; ++y) {
        const T* in[3];
        T* out[3];
        for (int c = 0; c < 3; ++c) {
            in[c] = ownRowAt<const T>(src, y, c);
            out[c] = ownRowAt<T>(dst, y, c);
        }
        const uint8_t* maskRow = mask ? mask->row + static_cast<std::ptrdiff_t>(y0 + y) * mask->step : nullptr;
        ownTripleRow(in, src, out, dst, 0, width, twist,
                     [&](int x) { return maskRow && !ownGetBit(maskRow, mask->bit + x0 + x); });
    }
}

// The one mask that governs a call: none, the single mask there is, or the
// AND of two different masks in a new image.
class TwistMask {
public:
    ~TwistMask() { zanDeallocate(merged_, ZAN_FREE_HEADER | ZAN_FREE_DATA); }

    // False when the operation ends here (reported, or a mask with no area).
    bool prepare(OwnSite site, const ZanImage* srcMask, const ZanImage* dstMask)
    {
        const ZanImage* mask = srcMask ? srcMask : dstMask;
        if (srcMask && dstMask && srcMask != dstMask) {
            if (!merge(site, srcMask, dstMask))
                return false;
            mask = merged_;
        }
        if (!mask)
            return true;
        int width;
        int height;
        int bit;
        const char* row = ownRegionStart(mask, &width, &height, 0, &bit);
        start_ = MaskStart{reinterpret_cast<const uint8_t*>(row), bit, mask->widthStep};
        width_ = width;
        height_ = height;
        active_ = true;
        return width >= 1 && height >= 1;
    }

    const MaskStart* start() const { return active_ ? &start_ : nullptr; }

    // Narrows the working area to the mask's region.
    void limit(OwnPairArea* area) const
    {
        if (!active_)
            return;
        area->width = std::min(area->width, width_);
        area->height = std::min(area->height, height_);
    }

private:
    bool merge(OwnSite site, const ZanImage* srcMask, const ZanImage* dstMask)
    {
        OwnRect a;
        OwnRect b;
        ownRegionRect(srcMask, &a);
        ownRegionRect(dstMask, &b);
        const int width = std::min(a.width, b.width);
        const int height = std::min(a.height, b.height);
        if (width < 1 || height < 1)
            return false;
        merged_ = zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GREY", "GREY", ZAN_DATA_ORDER_PLANE,
                                       srcMask->origin, 8, width, height, nullptr, nullptr, nullptr,
                                       nullptr);
        if (!merged_) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(msk == NULL)");
            return false;
        }
        zanAllocateImage(merged_, 0, 0);
        if (!merged_->imageData) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(msk->imageData == NULL)");
            return false;
        }
        ZanImage* merged = merged_;
        return ownCallReported(site, "error_zanAnd", [&] { zanAnd(srcMask, dstMask, merged); }) >= 0;
    }

    ZanImage* merged_ = nullptr;
    MaskStart start_{};
    int width_ = 0;
    int height_ = 0;
    bool active_ = false;
};

} // namespace

extern "C" {

ZAN_API ZanColorTwist* zanCreateColorTwist(const int32_t* data, int scalingValue)
{
    const OwnSite site{"zanCreateColorTwist", kTwistUnit};
    if (!data || scalingValue < 0 || scalingValue > 31) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "bad_argument");
        return nullptr;
    }
    auto* twist = static_cast<ZanColorTwist*>(ownAlignedAlloc(sizeof(ZanColorTwist)));
    if (!twist) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "matrix_is_not_allocated");
        return nullptr;
    }
    std::memcpy(twist->data, data, sizeof(twist->data));
    twist->scalingValue = scalingValue;
    return twist;
}

ZAN_API int zanSetColorTwist(ZanColorTwist* cTwist, const int32_t* data, int scalingValue)
{
    const OwnSite site{"zanSetColorTwist", kTwistUnit};
    const OwnTest tests[] = {
        {cTwist == nullptr, "cTwist==0"},
        {data == nullptr, "(data == 0)"},
        {scalingValue < 0, "(scalingValue < 0)"},
        {scalingValue > 31, "(scalingValue > 31)"},
    };
    for (const OwnTest& test : tests) {
        if (test.failed)
            return OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, test.text);
    }
    std::memcpy(cTwist->data, data, sizeof(cTwist->data));
    cTwist->scalingValue = scalingValue;
    return 0;
}

ZAN_API void zanDeleteColorTwist(ZanColorTwist* cTwist) { zanFree(cTwist); }

ZAN_API void zanApplyColorTwist(const ZanImage* srcImage, ZanImage* dstImage,
                                const ZanColorTwist* cTwist, int offset)
{
    const OwnSite site{"zanApplyColorTwist", kTwistUnit};
    if (ownHeadersRefused(site, srcImage, dstImage))
        return;
    if (!cTwist) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "cTwist==0");
        return;
    }
    if (channelsRefused(site, srcImage, dstImage))
        return;
    const ZanImage* srcMask = srcImage->maskROI;
    const ZanImage* dstMask = dstImage->maskROI;
    const OwnTest tests[] = {
        {srcImage->depth != dstImage->depth, "(srcImage->depth != dstImage->depth)"},
        {srcImage->depth != ZAN_DEPTH_8U && srcImage->depth != ZAN_DEPTH_16U,
         "((srcImage->depth != 8) && (srcImage->depth != 16))"},
        {srcImage->dataOrder != dstImage->dataOrder, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {srcImage->origin != dstImage->origin, "(srcImage->origin != dstImage->origin)"},
        {srcMask && srcImage->origin != srcMask->origin, "(srcImage->origin != srcImage->maskROI->origin)"},
        {dstMask && dstImage->origin != dstMask->origin, "(dstImage->origin != dstImage->maskROI->origin)"},
    };
    if (ownRefused(site, tests))
        return;

    OwnPairArea area = ownRegionArea(srcImage, dstImage);
    if (area.width < 1 || area.height < 1)
        return;
    TwistMask mask;
    if (!mask.prepare(site, srcMask, dstMask))
        return;
    mask.limit(&area);
    const MaskStart* maskStart = mask.start();
    auto run = [&](auto type) {
        using T = typename decltype(type)::type;
        const IntegerTwist<T> twist{cTwist->data, cTwist->scalingValue, offset};
        ownPairWalk(site, srcImage, dstImage, area, false,
                    [&](const OwnView& s, const OwnView& d, int x, int y, int w, int h) {
                        twistPiece<T>(s, d, x, y, w, h, twist, maskStart);
                    });
    };
    if (srcImage->depth == ZAN_DEPTH_8U)
        run(OwnType<Own8u>{});
    else
        run(OwnType<Own16u>{});
}

ZAN_API ZanStatus zanColorTwistFP(const ZanImage* srcImage, ZanImage* dstImage, const float* TwistFP)
{
    const OwnSite site{"zanColorTwistFP", "zantwstf"};
    if (ownHeadersRefused(site, srcImage, dstImage))
        return ZAN_STATUS_BAD_ARGUMENT;
    const OwnTest tests[] = {
        {TwistFP == nullptr, "(TwistFP == 0)"},
        {srcImage->depth != ZAN_DEPTH_32F || dstImage->depth != ZAN_DEPTH_32F,
         "((srcImage->depth != 32)|| (dstImage->depth != 32))"},
        {srcImage->dataOrder != dstImage->dataOrder, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {srcImage->origin != dstImage->origin, "(srcImage->origin != dstImage->origin)"},
    };
    if (ownRefused(site, tests) || channelsRefused(site, srcImage, dstImage))
        return ZAN_STATUS_BAD_ARGUMENT;

    const OwnPairArea area = ownRegionArea(srcImage, dstImage);
    if (area.width < 1 || area.height < 1)
        return ZAN_STATUS_OK;
    const FloatTwist twist{TwistFP};
    const bool walked = ownPairWalk(site, srcImage, dstImage, area, false,
                                    [&](const OwnView& s, const OwnView& d, int x, int y, int w, int h) {
                                        const OwnRoundNearest nearest;
                                        twistPiece<float>(s, d, x, y, w, h, twist, nullptr);
                                    });
    return walked ? ZAN_STATUS_OK : ZAN_STATUS_NO_MEMORY;
}

} // extern "C"
