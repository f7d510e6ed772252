// zanReduceBits: an image copied into the same or a smaller depth and
// reduced to a number of levels, with or without dither. ROIs and masks
// have no effect; the walk over tiles is its own.
#include "core/own_rect.h"
#include "own_dither.h"

#include <cfenv>
#include <memory>

namespace {

const OwnSite kSite{"zanReduceBits", "zanredb"};

bool fail(const char* text)
{
    OWN_REPORT(kSite, ZAN_STATUS_BAD_ARGUMENT, text);
    return false;
}

struct Test {
    bool failed;
    const char* text;
};

bool firstFailure(std::initializer_list<Test> tests)
{
    for (const Test& test : tests) {
        if (test.failed)
            return !fail(test.text);
    }
    return false;
}

bool isDither(int type)
{
    return type == ZAN_DITHER_NONE || type == ZAN_DITHER_FS || type == ZAN_DITHER_JJH ||
           type == ZAN_DITHER_STUCKEY || type == ZAN_DITHER_BAYER;
}

// Tests that report and then end the call on any negative status, one left
// from before included.
bool reportAndRead(const Test& test)
{
    if (test.failed)
        fail(test.text);
    return zanGetErrStatus() >= 0;
}

bool checkArguments(const ZanImage* src, const ZanImage* dst, int noise, int ditherType,
                    int levels)
{
    if (zanCheckImageHeader(src) != ZAN_STATUS_OK || zanCheckImageHeader(dst) != ZAN_STATUS_OK) {
        OWN_REPORT(kSite, zanGetErrStatus(), "Incorrect Image");
        return false;
    }
    if (firstFailure({
            {src->depth == ZAN_DEPTH_1U, "( (srcImage->depth == ZAN_DEPTH_1U ))"},
            {(src->depth & ZAN_DEPTH_MASK) < (dst->depth & ZAN_DEPTH_MASK),
             "((srcImage->depth& ZAN_DEPTH_MASK) < (dstImage->depth& ZAN_DEPTH_MASK))"},
            {src->dataOrder != dst->dataOrder, "(srcImage->dataOrder!=dstImage->dataOrder)"},
            {noise < 0 || noise > 100, "(( noise < 0 ) || ( noise > 100 ))"},
            {src->alphaChannel != dst->alphaChannel, "(srcImage->alphaChannel!=dstImage->alphaChannel)"},
            {src->nChannels < dst->nChannels, "(srcImage->nChannels < dstImage->nChannels)"},
        }))
        return false;
    const bool readable =
        reportAndRead({!isDither(ditherType),
                       "ditherType != ZAN_DITHER_NONE && ditherType != ZAN_DITHER_FS && "
                       "ditherType != ZAN_DITHER_JJH && ditherType != ZAN_DITHER_STUCKEY && "
                       "ditherType != ZAN_DITHER_BAYER"}) &&
        reportAndRead({!(src->depth == ZAN_DEPTH_32S || (src->depth & ZAN_DEPTH_SIGN) == 0),
                       "!( ( srcImage->depth == ZAN_DEPTH_32S ) || ((srcImage->depth & ZAN_DEPTH_SIGN)==0))"}) &&
        reportAndRead({!(dst->depth == ZAN_DEPTH_32S || (dst->depth & ZAN_DEPTH_SIGN) == 0),
                       "!( ( dstImage->depth == ZAN_DEPTH_32S ) || ((dstImage->depth & ZAN_DEPTH_SIGN)==0))"}) &&
        reportAndRead({src->depth == ZAN_DEPTH_32F, "(srcImage->depth == ZAN_DEPTH_32F)"}) &&
        reportAndRead({dst->depth == ZAN_DEPTH_32F, "(dstImage->depth == ZAN_DEPTH_32F)"});
    if (!readable)
        return false;
    const int64_t topLevel = int64_t{1} << (dst->depth == ZAN_DEPTH_32S ? 31 : ownDepthBits(dst->depth));
    const int64_t count = static_cast<int64_t>(levels) - 1;
    return !firstFailure({
        {src == dst, "This function isn`t in-plase function"},
        {ditherType != ZAN_DITHER_NONE && (count < 1 || count > topLevel),
         "You incorrectly have set an amount of levels"},
        {src->nChannels > 1 && dst->nChannels == 1, " Depth 1u is for Gray, only"},
        // The sample step and the size come from the source alone.
        {src->nChannels != dst->nChannels, "(srcImage->nChannels != dstImage->nChannels)"},
        {dst->width < src->width || dst->height < src->height,
         "((dstImage->width < srcImage->width) || (dstImage->height < srcImage->height))"},
    });
}

// The rounding mode at nearest for the time of a routine.
class RoundNearest {
public:
    RoundNearest() : saved_(std::fegetround())
    {
        if (saved_ != FE_TONEAREST)
            std::fesetround(FE_TONEAREST);
    }
    ~RoundNearest()
    {
        if (saved_ != FE_TONEAREST)
            std::fesetround(saved_);
    }
    RoundNearest(const RoundNearest&) = delete;
    RoundNearest& operator=(const RoundNearest&) = delete;

private:
    int saved_;
};

struct FreeBlock {
    void operator()(char* block) const { zanFree(block); }
};
using FetchedBlock = std::unique_ptr<char, FreeBlock>;

// One call's work: the routines, their parameters and the walk.
class Reduction {
public:
    Reduction(const ZanImage* src, ZanImage* dst, int ditherType, const OwnDitherParams& params)
        : src_(src), dst_(dst), ditherType_(ditherType), params_(params)
    {
        channels_ = src->nChannels - (src->alphaChannel > 0 ? 1 : 0);
        const ZanTileInfo* tiles = dst->tileInfo ? dst->tileInfo : src->tileInfo;
        if (tiles) {
            tileWidth_ = tiles->width;
            tileHeight_ = tiles->height;
        }
    }

    bool diffuses() const { return ditherType_ != ZAN_DITHER_NONE && ditherType_ != ZAN_DITHER_BAYER; }

    void run(OwnErrorRows* errors)
    {
        if (!src_->tileInfo && !dst_->tileInfo)
            whole(errors);
        else if (diffuses())
            bands(errors);
        else
            cells();
    }

private:
    // Neither image tiled: each channel's routine once over the whole image.
    void whole(OwnErrorRows* errors)
    {
        const OwnDitherRoutine routine = ownDitherRoutine(ditherType_, src_->depth, dst_->depth);
        for (int c = 0; c < channels_; ++c)
            apply(routine, blockOf(planeAt(src_, 0, 0), planeAt(dst_, 0, 0), c, 0, 0, src_->width,
                                   src_->height),
                  errors);
    }

    // Narrowing and ordered dither: cell by cell of the tile grid, the
    // source's rectangle fetched, the destination's tile opened for writing.
    void cells()
    {
        const OwnDitherRoutine routine = ownDitherRoutine(ditherType_, src_->depth, dst_->depth);
        for (int y0 = 0; y0 < src_->height; y0 += tileHeight_) {
            for (int x0 = 0; x0 < src_->width; x0 += tileWidth_) {
                const int width = std::min(tileWidth_, src_->width - x0);
                const int height = std::min(tileHeight_, src_->height - y0);
                FetchedBlock fetched;
                OwnDitherPlane source = planeAt(src_, x0, y0);
                if (src_->tileInfo && !fetch(x0, y0, width, height, &fetched, &source))
                    return;
                if (!writeBlock(routine, source, x0, y0, width, height, 0, channels_))
                    return;
            }
        }
    }

    // Error diffusion: channel by channel, in bands of rows as high as a
    // tile and as wide as the image. The band is dithered in place in a copy
    // at the source's depth, with the error rows going on from band to band,
    // and then narrowed into the destination.
    void bands(OwnErrorRows* errors)
    {
        const OwnDitherRoutine dither = ownDitherRoutine(ditherType_, src_->depth, src_->depth);
        const OwnDitherRoutine narrow = ownDitherRoutine(ZAN_DITHER_NONE, src_->depth, dst_->depth);
        for (int c = 0; c < channels_; ++c) {
            for (int y0 = 0; y0 < src_->height; y0 += tileHeight_) {
                const int height = std::min(tileHeight_, src_->height - y0);
                FetchedBlock fetched;
                OwnDitherPlane band{};
                if (!fetch(0, y0, src_->width, height, &fetched, &band))
                    return;
                apply(dither, blockOf(band, band, c, 0, y0, src_->width, height), errors);
                if (!dst_->tileInfo) {
                    apply(narrow, blockOf(band, planeAt(dst_, 0, y0), c, 0, y0, src_->width, height),
                          nullptr);
                    continue;
                }
                for (int x0 = 0; x0 < src_->width; x0 += tileWidth_) {
                    OwnDitherPlane part = band;
                    part.data += ownRowBytes(src_, x0);
                    if (!writeBlock(narrow, part, x0, y0, std::min(tileWidth_, src_->width - x0),
                                    height, c, c + 1))
                        return;
                }
            }
        }
    }

    // Runs the routine for the channels from first to end into the
    // destination at (x0, y0): its tile opened for writing, or in place.
    bool writeBlock(OwnDitherRoutine routine, const OwnDitherPlane& source, int x0, int y0,
                    int width, int height, int first, int end)
    {
        ZanTileInfo* tiles = dst_->tileInfo;
        OwnDitherPlane target = planeAt(dst_, x0, y0);
        if (tiles) {
            const int column = x0 / tileWidth_;
            const int row = y0 / tileHeight_;
            tiles->callBack(dst_, column, row, ZAN_TILE_WRITE);
            if (!tiles->tileData)
                return fail("(dstImage->tileInfo->tileData == NULL)");
            const int step = ownTileStep(dst_);
            target = OwnDitherPlane{tiles->tileData, step, static_cast<std::ptrdiff_t>(step) * tileHeight_};
            for (int c = first; c < end; ++c)
                apply(routine, blockOf(source, target, c, x0, y0, width, height), nullptr);
            tiles->callBack(dst_, column, row, ZAN_TILE_RELEASE);
            return true;
        }
        for (int c = first; c < end; ++c)
            apply(routine, blockOf(source, target, c, x0, y0, width, height), nullptr);
        return true;
    }

    // A copy of a rectangle of the source, as a plane of its own.
    bool fetch(int x0, int y0, int width, int height, FetchedBlock* block, OwnDitherPlane* plane)
    {
        int step = 0;
        block->reset(ownGetRect(src_, x0, y0, width, height, &step));
        if (!*block) {
            if (src_->tileInfo)
                return fail("(srcImage->tileInfo->tileData == NULL)");
            OWN_REPORT(kSite, ZAN_STATUS_NO_MEMORY, "Out of memory");
            return false;
        }
        *plane = OwnDitherPlane{block->get(), step, static_cast<std::ptrdiff_t>(step) * height};
        return true;
    }

    // The plane of an untiled image from its pixel (x, y).
    static OwnDitherPlane planeAt(const ZanImage* image, int x, int y)
    {
        const std::ptrdiff_t offset =
            static_cast<std::ptrdiff_t>(y) * image->widthStep + ownRowBytes(image, x);
        return OwnDitherPlane{image->imageData ? image->imageData + offset : nullptr, image->widthStep,
                              static_cast<std::ptrdiff_t>(image->height) * image->widthStep};
    }

    OwnDitherBlock blockOf(const OwnDitherPlane& source, const OwnDitherPlane& target, int channel,
                           int x0, int y0, int width, int height) const
    {
        const bool planes = src_->dataOrder == ZAN_DATA_ORDER_PLANE;
        return OwnDitherBlock{source, target, planes, planes ? 1 : src_->nChannels, channel,
                              x0, y0, width, height};
    }

    void apply(OwnDitherRoutine routine, const OwnDitherBlock& block, OwnErrorRows* errors) const
    {
        const RoundNearest nearest;
        routine(block, params_, errors);
    }

    const ZanImage* src_;
    ZanImage* dst_;
    int ditherType_;
    const OwnDitherParams& params_;
    int channels_ = 0;
    int tileWidth_ = 0;
    int tileHeight_ = 0;
};

} // namespace

extern "C" ZAN_API void zanReduceBits(const ZanImage* srcImage, ZanImage* dstImage, int noise,
                                      int ditherType, int levels)
{
    if (!checkArguments(srcImage, dstImage, noise, ditherType, levels))
        return;
    // Levels are not read for plain narrowing.
    OwnDitherParams params{ditherType == ZAN_DITHER_NONE ? 0 : levels - 1, noise, nullptr, nullptr};
    OwnBuffer<float> noiseValues;
    OwnBuffer<int> noiseIndex;
    if (noise != 0 && ditherType != ZAN_DITHER_NONE) {
        noiseValues = OwnBuffer<float>(kOwnNoiseEntries);
        noiseIndex = OwnBuffer<int>(kOwnNoiseEntries);
        if (!noiseValues.ok() || !noiseIndex.ok()) {
            OWN_REPORT(kSite, ZAN_STATUS_NO_MEMORY, "Out of memory");
            return;
        }
        ownDitherNoise(ditherType, noise, params.levels, srcImage->depth, noiseValues.data(),
                       noiseIndex.data());
        params.noiseValues = noiseValues.data();
        params.noiseIndex = noiseIndex.data();
    }
    Reduction reduction(srcImage, dstImage, ditherType, params);
    OwnErrorRows errors;
    if (reduction.diffuses() && !errors.init(srcImage->width, ditherType)) {
        OWN_REPORT(kSite, ZAN_STATUS_NO_MEMORY, "Out of memory");
        return;
    }
    reduction.run(reduction.diffuses() ? &errors : nullptr);
}
