// Products of fractions, premultiplication by alpha and the composite
// operators of 8U and 16U images: their checks in order, their common
// region and mask, and one walk of the tile stage with their row routine.
#include "own_alpha.h"

#include <climits>

namespace {

constexpr char kSource[] = "zanalpha";

// The texts that name one image in the checks.
struct ImageTexts {
    const char* null;
    const char* alphaLast;
    const char* soleAlphaNoRoi;
    const char* soleAlphaCoi;
    const char* depth;
    const char* alphaIsCoi;
    const char* noAlpha;
    const char* alphaAbove;
    const char* colorsToDst;
    const char* colorsToDstCoi;
    const char* dstColorsToCoi;
    const char* dstCoiNoRoi;
    const char* dstCoiNoCoi;
    const char* coiDstNoRoi;
    const char* coiDstNoCoi;
};

#define OWN_COLORS(X) "(" X "->nChannels - (" X "->alphaChannel != 0))"
#define OWN_IMAGE_TEXTS(X)                                                                        \
    ImageTexts                                                                                    \
    {                                                                                             \
        X "==0", X "->alphaChannel > 0 && " X "->alphaChannel != " X "->nChannels",               \
            X "->alphaChannel == 1 && " X "->roi == 0", X "->alphaChannel == 1 && " X "->roi->coi != 1", \
            X "->depth != dstImage->depth", X "->alphaChannel > 0 && " X "->roi->coi == " X "->alphaChannel", \
            X "->alphaChannel < 1", X "->alphaChannel > " X "->nChannels",                        \
            OWN_COLORS(X) " != " OWN_COLORS("dstImage"), OWN_COLORS(X) " != (dstImage->roi->coi > 0)", \
            OWN_COLORS("dstImage") " != (" X "->roi->coi > 0)",                                   \
            "dstImage->roi->coi > 0 && " X "->roi == 0", "dstImage->roi->coi > 0 && " X "->roi->coi == 0", \
            X "->roi->coi > 0 && dstImage->roi == 0", X "->roi->coi > 0 && dstImage->roi->coi == 0" \
    }

const ImageTexts kDst = OWN_IMAGE_TEXTS("dstImage");
const ImageTexts kSrc = OWN_IMAGE_TEXTS("srcImage");
const ImageTexts kSrcA = OWN_IMAGE_TEXTS("srcImageA");
const ImageTexts kSrcB = OWN_IMAGE_TEXTS("srcImageB");
const ImageTexts kAlphaA = OWN_IMAGE_TEXTS("alphaImageA");
const ImageTexts kAlphaB = OWN_IMAGE_TEXTS("alphaImageB");
const ImageTexts kAlphaDst = OWN_IMAGE_TEXTS("alphaImageDst");
const ImageTexts kImage = OWN_IMAGE_TEXTS("image");
const ImageTexts kMask = OWN_IMAGE_TEXTS("masks[imask]");
const ImageTexts kMaskROI = OWN_IMAGE_TEXTS("mROI");

#undef OWN_IMAGE_TEXTS
#undef OWN_COLORS

int coiOf(const ZanImage* image) { return image->roi ? image->roi->coi : 0; }
int colorsOf(const ZanImage* image) { return image->nChannels - (image->alphaChannel != 0); }
bool alphaNotLast(const ZanImage* image)
{
    return image->alphaChannel > 0 && image->alphaChannel != image->nChannels;
}
// The channel an alpha image is read at: its alpha channel, or its first.
int alphaChannelOf(const ZanImage* image) { return image->alphaChannel > 0 ? image->alphaChannel - 1 : 0; }

// The checks of one operation, in order: the first failure is reported and
// every later check passes unseen. The common region shrinks with each image.
class Checks {
public:
    explicit Checks(OwnSite site) : site_(site) {}

    bool failed() const { return failed_; }
    const OwnSite& site() const { return site_; }
    int width() const { return width_; }
    int height() const { return height_; }

    Checks& test(bool fault, const char* text)
    {
        if (!failed_ && fault) {
            OWN_REPORT(site_, ZAN_STATUS_BAD_ARGUMENT, text);
            failed_ = true;
        }
        return *this;
    }

    // The header check, then the image's alpha channel must be its last.
    Checks& image(const ZanImage* image, const ImageTexts& texts)
    {
        if (failed_)
            return *this;
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site_, zanGetErrStatus(), "Incorrect Image");
            failed_ = true;
            return *this;
        }
        test(alphaNotLast(image), texts.alphaLast);
        if (!failed_)
            lower(image);
        return *this;
    }

    Checks& present(const ZanImage* image, const ImageTexts& texts)
    {
        return test(!image, texts.null).image(image, texts);
    }

    // An image read at its alpha channel must have one.
    Checks& hasAlpha(const ZanImage* image, const ImageTexts& texts)
    {
        return test(image->alphaChannel < 1, texts.noAlpha).test(image->alphaChannel > image->nChannels, texts.alphaAbove);
    }

    Checks& depth(const ZanImage* dst)
    {
        return test(dst->depth != ZAN_DEPTH_8U && dst->depth != ZAN_DEPTH_16U,
                    "dstImage->depth != 8 && dstImage->depth != 16");
    }

private:
    void lower(const ZanImage* image)
    {
        const ZanROI* roi = image->roi;
        width_ = std::min(width_, roi ? std::min(roi->width, image->width - roi->xOffset) : image->width);
        height_ = std::min(height_, roi ? std::min(roi->height, image->height - roi->yOffset) : image->height);
    }

    OwnSite site_;
    bool failed_ = false;
    int width_ = INT_MAX;
    int height_ = INT_MAX;
};

// The masks of the images, checked, and the one that governs: the only one,
// or their AND in a temporary image of the common size.
class AlphaMask {
public:
    // False when the operation ends here (reported).
    bool make(Checks& checks, std::initializer_list<const ZanImage*> images, const ImageTexts& texts)
    {
        const ZanImage* masks[OwnAlphaStage::kSlots];
        int count = 0;
        for (const ZanImage* image : images) {
            if (image && image->maskROI) {
                masks[count++] = image->maskROI;
                checks.image(image->maskROI, texts);
            }
        }
        if (checks.failed())
            return false;
        // With nothing in common there is nothing to merge; the caller ends.
        if (count < 2 || checks.width() <= 0 || checks.height() <= 0) {
            mask_ = count ? masks[0] : nullptr;
            return true;
        }
        return merge(checks, masks, count);
    }

    const ZanImage* get() const { return mask_; }

private:
    bool merge(const Checks& checks, const ZanImage* const* masks, int count)
    {
        const ZanImage* first = masks[0];
        merged_ = OwnImageOwner(zanCreateImageHeader(first->nChannels, first->alphaChannel, first->depth,
                                                     first->colorModel, first->channelSeq, first->dataOrder,
                                                     first->origin, first->align, checks.width(), checks.height(),
                                                     nullptr, nullptr, nullptr, nullptr),
                                ZAN_FREE_HEADER | ZAN_FREE_DATA);
        if (merged_)
            zanAllocateImage(merged_.get(), 0, -1);
        if (!merged_ || !merged_->imageData) {
            OWN_REPORT(checks.site(), ZAN_STATUS_NO_MEMORY, "No working memory");
            return false;
        }
        mask_ = merged_.get();
        const int report = ownCallReported(checks.site(), "Bad masks for images", [&] {
            zanAnd(masks[0], masks[1], merged_.get());
            for (int i = 2; i < count; ++i)
                zanAnd(masks[i], merged_.get(), merged_.get());
        });
        return report == 0;
    }

    const ZanImage* mask_ = nullptr;
    OwnImageOwner merged_;
};

// The stage operand of an image's channel.
OwnAlphaOperand channelOperand(int slot, int channel)
{
    return {OwnAlphaOperand::kImage, slot, channel, 0};
}

OwnAlphaOperand constantOperand(uint32_t value)
{
    return {OwnAlphaOperand::kConstant, -1, 0, value};
}

// First channel an operation reads or writes: the COI, else the first.
int firstChannelOf(const ZanImage* image) { return coiOf(image) > 0 ? coiOf(image) - 1 : 0; }

template <class F>
void withScaleType(uint32_t depth, F&& f)
{
    if (depth == ZAN_DEPTH_8U)
        f(OwnType<uint8_t>{});
    else
        f(OwnType<uint16_t>{});
}

uint32_t fullScale(uint32_t depth) { return depth == ZAN_DEPTH_8U ? 255u : 65535u; }

// Checks of a source against the destination for the two products.
void checkScaleSource(Checks& checks, const ZanImage* dst, const ZanImage* src, const ImageTexts& texts)
{
    if (checks.failed())
        return;
    const bool dstCoi = coiOf(dst) > 0;
    const bool srcCoi = coiOf(src) > 0;
    checks.test(!dstCoi && !srcCoi && colorsOf(src) != colorsOf(dst), texts.colorsToDst)
        .test(dstCoi && !srcCoi && colorsOf(src) != 1, texts.colorsToDstCoi)
        .test(!dstCoi && srcCoi && colorsOf(dst) != 1, texts.dstColorsToCoi);
}

// A one-channel image that is all alpha needs a COI of 1.
void checkSoleAlpha(Checks& checks, const ZanImage* image, const ImageTexts& texts)
{
    checks.test(image->alphaChannel == 1 && !image->roi, texts.soleAlphaNoRoi)
        .test(image->alphaChannel == 1 && image->roi && image->roi->coi != 1, texts.soleAlphaCoi);
}

// The products of zanMultiplyScale (textsB given, b an image) and
// zanMultiplySScale (no textsB, scale the constant) after their checks.
void runScale(Checks& checks, const ZanImage* a, const ImageTexts& textsA, const ZanImage* b,
              const ImageTexts* textsB, ZanImage* dst, int scale)
{
    checks.present(dst, kDst).present(a, textsA);
    if (textsB)
        checks.present(b, *textsB);
    if (checks.failed())
        return;
    checkSoleAlpha(checks, dst, kDst);
    checkSoleAlpha(checks, a, textsA);
    if (b)
        checkSoleAlpha(checks, b, *textsB);
    checks.depth(dst).test(a->depth != dst->depth, textsA.depth);
    if (b)
        checks.test(b->depth != dst->depth, textsB->depth);
    checkScaleSource(checks, dst, a, textsA);
    if (b)
        checkScaleSource(checks, dst, b, *textsB);
    AlphaMask mask;
    if (checks.failed() || !mask.make(checks, {dst, a, b}, kMask))
        return;
    if (checks.width() <= 0 || checks.height() <= 0)
        return;

    const bool anyCoi = coiOf(dst) > 0 || coiOf(a) > 0 || (b && coiOf(b) > 0);
    OwnAlphaStage stage;
    OwnScaleJob job{};
    job.dst = channelOperand(stage.enter(dst, ZAN_TILE_WRITE), firstChannelOf(dst));
    job.a = channelOperand(stage.enter(a, ZAN_TILE_READ), firstChannelOf(a));
    job.b = b ? channelOperand(stage.enter(b, ZAN_TILE_READ), firstChannelOf(b))
              : constantOperand(static_cast<uint32_t>(std::clamp<int64_t>(scale, 0, fullScale(dst->depth))));
    job.mask = stage.enter(mask.get(), ZAN_TILE_READ);
    job.count = anyCoi ? 1 : colorsOf(dst);
    withScaleType(dst->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        stage.walk(checks.site(), checks.width(), checks.height(),
                   [&](const OwnView* views, int w, int h) { ownScaleRows<T>(job, views, w, h); });
    });
}

// An alpha of a composite before it enters the stage: a channel of an
// image, a constant, M - a, or (for the result) none.
struct AlphaSource {
    OwnAlphaOperand::Kind kind;
    const ZanImage* image;
    int channel;
    uint32_t constant;
};

OwnAlphaOperand enterAlpha(OwnAlphaStage& stage, const AlphaSource& source, int mode)
{
    if (source.kind != OwnAlphaOperand::kImage)
        return {source.kind, -1, 0, source.constant};
    return channelOperand(stage.enter(source.image, mode), source.channel);
}

// Checks common to both composites, up to their alpha arguments.
bool compositeRefused(Checks& checks, const ZanImage* srcA, const ZanImage* srcB, const ZanImage* dst)
{
    checks.present(dst, kDst).present(srcA, kSrcA).present(srcB, kSrcB);
    if (checks.failed())
        return true;
    for (auto [image, texts] : {std::pair{dst, &kDst}, {srcA, &kSrcA}, {srcB, &kSrcB}})
        checks.test(image->alphaChannel > 0 && coiOf(image) == image->alphaChannel, texts->alphaIsCoi);
    checks.depth(dst).test(srcA->depth != dst->depth, kSrcA.depth).test(srcB->depth != dst->depth, kSrcB.depth);
    for (auto [image, texts] : {std::pair{srcA, &kSrcA}, {srcB, &kSrcB}}) {
        checks.test(coiOf(dst) > 0 && !image->roi, texts->dstCoiNoRoi)
            .test(coiOf(dst) > 0 && image->roi && image->roi->coi == 0, texts->dstCoiNoCoi)
            .test(coiOf(image) > 0 && !dst->roi, texts->coiDstNoRoi)
            .test(coiOf(image) > 0 && dst->roi && dst->roi->coi == 0, texts->coiDstNoCoi);
    }
    if (coiOf(dst) == 0)
        checks.test(colorsOf(srcA) != colorsOf(dst), kSrcA.colorsToDst)
            .test(colorsOf(srcB) != colorsOf(dst), kSrcB.colorsToDst);
    return checks.failed();
}

// The operator and mode checks, then the mask; false when the operation ends.
bool compositeReady(Checks& checks, int op, int premul, int divide, AlphaMask& mask,
                    std::initializer_list<const ZanImage*> images)
{
    checks.test(op < 0 || op > 5,
                "compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 && "
                "compositeType != 4 && compositeType != 5")
        .test(premul != 0 && premul != 1, "premulAlpha != 0 && premulAlpha != 1")
        .test(divide != 0 && divide != 1, "divideMode != 0 && divideMode != 1");
    return !checks.failed() && mask.make(checks, images, kMask) && checks.width() > 0 && checks.height() > 0;
}

// Runs a composite over the stage, its images entered in the stage's order:
// the written ones, the sources, the alpha sources, the mask.
void runComposite(const Checks& checks, const ZanImage* srcA, const ZanImage* srcB, ZanImage* dst,
                  const AlphaSource (&alphas)[3], const AlphaMask& mask, int op, int premul, int divide)
{
    OwnAlphaStage stage;
    OwnCompositeJob job{};
    job.dst = channelOperand(stage.enter(dst, ZAN_TILE_WRITE), firstChannelOf(dst));
    job.alphaDst = enterAlpha(stage, alphas[2], ZAN_TILE_WRITE);
    job.srcA = channelOperand(stage.enter(srcA, ZAN_TILE_READ), firstChannelOf(srcA));
    job.srcB = channelOperand(stage.enter(srcB, ZAN_TILE_READ), firstChannelOf(srcB));
    job.alphaA = enterAlpha(stage, alphas[0], ZAN_TILE_READ);
    job.alphaB = enterAlpha(stage, alphas[1], ZAN_TILE_READ);
    job.mask = stage.enter(mask.get(), ZAN_TILE_READ);
    job.count = coiOf(dst) > 0 ? 1 : colorsOf(dst);
    job.op = op;
    job.premultiplied = premul == 1;
    job.divide = divide == 1;
    withScaleType(dst->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        stage.walk(checks.site(), checks.width(), checks.height(),
                   [&](const OwnView* views, int w, int h) { ownCompositeRows<T>(job, views, w, h); });
    });
}

// The alpha of a source image from its alpha channel.
AlphaSource channelAlpha(const ZanImage* image)
{
    return {OwnAlphaOperand::kImage, image, alphaChannelOf(image), 0};
}

// An argument of zanAlphaCompositeC: a constant within 0..M, else the
// source's alpha channel.
AlphaSource argumentAlpha(const ZanImage* image, int value)
{
    if (value >= 0 && static_cast<uint32_t>(value) <= fullScale(image->depth))
        return {OwnAlphaOperand::kConstant, nullptr, 0, static_cast<uint32_t>(value)};
    return channelAlpha(image);
}

// An optional alpha image of zanAlphaComposite: header check, alpha last,
// depth of the destination.
void checkAlphaImage(Checks& checks, const ZanImage* image, const ZanImage* dst, const ImageTexts& texts)
{
    if (image)
        checks.image(image, texts).test(!checks.failed() && image->depth != dst->depth, texts.depth);
}

} // namespace

extern "C" {

ZAN_API void zanMultiplyScale(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage)
{
    Checks checks(OwnSite{"zanMultiplyScale", kSource});
    runScale(checks, srcImageA, kSrcA, srcImageB, &kSrcB, dstImage, 0);
}

ZAN_API void zanMultiplySScale(const ZanImage* srcImage, ZanImage* dstImage, int scaleValue)
{
    Checks checks(OwnSite{"zanMultiplySScale", kSource});
    runScale(checks, srcImage, kSrc, nullptr, nullptr, dstImage, scaleValue);
}

ZAN_API void zanPreMultiplyAlpha(ZanImage* image, int alphaValue)
{
    Checks checks(OwnSite{"zanPreMultiplyAlpha", kSource});
    if (checks.present(image, kImage).failed())
        return;
    checks.test(image->depth != ZAN_DEPTH_8U && image->depth != ZAN_DEPTH_16U,
                "image->depth != 8 && image->depth != 16")
        .test(image->alphaChannel > 0 && coiOf(image) == image->alphaChannel, kImage.alphaIsCoi);
    const bool constant = alphaValue >= 0 && static_cast<uint32_t>(alphaValue) <= fullScale(image->depth);
    if (!constant)
        checks.hasAlpha(image, kImage);
    AlphaMask mask;
    if (checks.failed() || !mask.make(checks, {image}, kMaskROI))
        return;
    if (checks.width() <= 0 || checks.height() <= 0)
        return;

    OwnAlphaStage stage;
    OwnScaleJob job{};
    const int slot = stage.enter(image, ZAN_TILE_WRITE);
    job.a = channelOperand(slot, firstChannelOf(image));
    job.dst = job.a;
    job.b = constant ? constantOperand(static_cast<uint32_t>(alphaValue))
                     : channelOperand(slot, image->alphaChannel - 1);
    job.alphaB = true;
    if (constant && image->alphaChannel > 0)
        job.fill = channelOperand(slot, image->alphaChannel - 1);
    job.mask = stage.enter(mask.get(), ZAN_TILE_READ);
    job.count = coiOf(image) > 0 ? 1 : colorsOf(image);
    withScaleType(image->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        stage.walk(checks.site(), checks.width(), checks.height(),
                   [&](const OwnView* views, int w, int h) { ownScaleRows<T>(job, views, w, h); });
    });
}

ZAN_API void zanAlphaComposite(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage,
                               int compositeType, const ZanImage* alphaImageA,
                               const ZanImage* alphaImageB, ZanImage* alphaImageDst, int premulAlpha,
                               int divideMode)
{
    Checks checks(OwnSite{"zanAlphaComposite", kSource});
    if (compositeRefused(checks, srcImageA, srcImageB, dstImage))
        return;
    if (!alphaImageA)
        checks.hasAlpha(srcImageA, kSrcA);
    checkAlphaImage(checks, alphaImageA, dstImage, kAlphaA);
    checkAlphaImage(checks, alphaImageB, dstImage, kAlphaB);
    checkAlphaImage(checks, alphaImageDst, dstImage, kAlphaDst);
    if (alphaImageDst)
        checks.hasAlpha(alphaImageDst, kAlphaDst);
    AlphaMask mask;
    if (!compositeReady(checks, compositeType, premulAlpha, divideMode, mask,
                        {dstImage, srcImageA, srcImageB, alphaImageDst, alphaImageA, alphaImageB}))
        return;

    AlphaSource alphas[3];
    alphas[0] = channelAlpha(alphaImageA ? alphaImageA : srcImageA);
    if (alphaImageB)
        alphas[1] = channelAlpha(alphaImageB);
    else if (!alphaImageA && srcImageB->alphaChannel > 0)
        alphas[1] = channelAlpha(srcImageB);
    else
        alphas[1] = {OwnAlphaOperand::kComplement, nullptr, 0, 0};
    if (alphaImageDst)
        alphas[2] = channelAlpha(alphaImageDst);
    else if (dstImage->alphaChannel > 0)
        alphas[2] = channelAlpha(dstImage);
    else
        alphas[2] = {OwnAlphaOperand::kNone, nullptr, 0, 0};
    runComposite(checks, srcImageA, srcImageB, dstImage, alphas, mask, compositeType, premulAlpha, divideMode);
}

ZAN_API void zanAlphaCompositeC(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage,
                                int compositeType, int alphaA, int alphaB, int premulAlpha,
                                int divideMode)
{
    Checks checks(OwnSite{"zanAlphaCompositeC", kSource});
    if (compositeRefused(checks, srcImageA, srcImageB, dstImage))
        return;
    const AlphaSource alphas[3] = {argumentAlpha(srcImageA, alphaA), argumentAlpha(srcImageB, alphaB),
                                   {OwnAlphaOperand::kNone, nullptr, 0, 0}};
    if (alphas[0].kind == OwnAlphaOperand::kImage)
        checks.hasAlpha(srcImageA, kSrcA);
    if (alphas[1].kind == OwnAlphaOperand::kImage)
        checks.hasAlpha(srcImageB, kSrcB);
    AlphaMask mask;
    if (!compositeReady(checks, compositeType, premulAlpha, divideMode, mask, {dstImage, srcImageA, srcImageB}))
        return;
    runComposite(checks, srcImageA, srcImageB, dstImage, alphas, mask, compositeType, premulAlpha, divideMode);
}

} // extern "C"
