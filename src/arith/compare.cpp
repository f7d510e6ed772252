// Comparisons of two images, or of an image and a scalar, into a 1-bit
// result: their checks, their relations and one call into the comparison
// frame. A relation with a NaN fails in zanLess and zanGreaterSFP and holds
// in every other form.
#include "own_compare.h"

#include <cmath>

namespace {

constexpr char kSource[] = "zanComp";
constexpr char kBadAlpha[] = "bad alpha channel's number";

// Reports status with text and gives result, which can differ from it.
ZanStatus refuse(const OwnSite& site, ZanStatus status, const char* text, ZanStatus result)
{
    OWN_REPORT(site, status, text);
    return result;
}

// zanCheckImageHeader on each image in turn; the first failure is reported
// and returned.
ZanStatus checkHeaders(const OwnSite& site, std::initializer_list<const ZanImage*> images)
{
    for (const ZanImage* image : images) {
        const ZanStatus status = zanCheckImageHeader(image);
        if (status != ZAN_STATUS_OK)
            return refuse(site, status, " Incorrect Image", status);
    }
    return ZAN_STATUS_OK;
}

bool hasCoi(const ZanImage* image) { return image->roi && image->roi->coi > 0; }

// The result's region and the masks' regions lower the processed size.
ZanStatus finishRegions(OwnCompareJob& job)
{
    const ZanImage* images[] = {job.src[0], job.src[1], job.res};
    if (!ownCompareRegion(job.res, &job.resRegion))
        return refuse(job.site, ZAN_STATUS_ALPHA, kBadAlpha, ZAN_STATUS_ALPHA);
    job.width = std::min(job.width, job.resRegion.width);
    job.height = std::min(job.height, job.resRegion.height);
    for (const ZanImage* image : images) {
        if (!image || !image->maskROI)
            continue;
        OwnCompareRegion region;
        if (!ownCompareRegion(image->maskROI, &region))
            return refuse(job.site, ZAN_STATUS_ALPHA, kBadAlpha, ZAN_STATUS_ALPHA);
        job.width = std::min(job.width, region.width);
        job.height = std::min(job.height, region.height);
    }
    return ZAN_STATUS_OK;
}

int spanOf(const OwnCompareRegion& region) { return region.lastChannel - region.firstChannel + 1; }

// Channels compared at each pixel: the COI, or all channels of the first
// image, its alpha channel too where the second operand has one to match.
int comparedChannels(const ZanImage* img1, const ZanImage* img2, const OwnCompareRegion& region)
{
    const int span = spanOf(region);
    if (hasCoi(img1) || img1->alphaChannel == 0)
        return span;
    const bool matched = !img2 || (!hasCoi(img2) && img2->nChannels >= img1->nChannels);
    return span + (matched ? 1 : 0);
}

// The checks of the forms with two images.
ZanStatus checkPair(OwnCompareJob& job, const ZanImage* img1, const ZanImage* img2, ZanImage* res,
                    const float* eps)
{
    const OwnSite& site = job.site;
    if (const ZanStatus status = checkHeaders(site, {img1, img2, res}))
        return status;
    if (res->depth != ZAN_DEPTH_1U)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(res->depth!=ZAN_DEPTH_1U)", ZAN_STATUS_DEPTH);
    if (img1->depth != img2->depth)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img1->depth!=img2->depth)", ZAN_STATUS_DEPTH);
    if (img1 == res || img2 == res)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img1==res || img2==res)", ZAN_STATUS_BAD_ARGUMENT);
    if (img1->dataOrder != img2->dataOrder)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img1->dataOrder!=img2->dataOrder)", ZAN_STATUS_ORDER);
    if (img1->origin != img2->origin)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img1->origin!=img2->origin)", ZAN_STATUS_ORIGIN);
    if (eps && (img1->depth != ZAN_DEPTH_32F || img2->depth != ZAN_DEPTH_32F))
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT,
                      "((img1->depth!= ZAN_DEPTH_32F)|| (img2->depth!= ZAN_DEPTH_32F))", ZAN_STATUS_DEPTH);
    if (eps && *eps <= 0.f)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(eps<=0.)", ZAN_STATUS_BAD_ARGUMENT);
    if (!ownCompareRegion(img1, &job.region[0]))
        return refuse(site, ZAN_STATUS_ALPHA, kBadAlpha, ZAN_STATUS_BAD_ARGUMENT);
    if (!ownCompareRegion(img2, &job.region[1]))
        return refuse(site, ZAN_STATUS_ALPHA, kBadAlpha, ZAN_STATUS_ALPHA);
    if (spanOf(job.region[0]) != spanOf(job.region[1]))
        return refuse(site, ZAN_STATUS_CHANNELS, "bad channel's number", ZAN_STATUS_CHANNELS);
    job.src[0] = img1;
    job.src[1] = img2;
    job.res = res;
    job.width = std::min(job.region[0].width, job.region[1].width);
    job.height = std::min(job.region[0].height, job.region[1].height);
    return finishRegions(job);
}

// The checks of the forms with a scalar; floating says which depth they take.
ZanStatus checkScalar(OwnCompareJob& job, const ZanImage* img, ZanImage* res, bool floating,
                      const float* eps)
{
    const OwnSite& site = job.site;
    if (const ZanStatus status = checkHeaders(site, {img, res}))
        return status;
    if (img == res)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img==res)", ZAN_STATUS_BAD_ARGUMENT);
    if (res->depth != ZAN_DEPTH_1U)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(res->depth!=ZAN_DEPTH_1U)", ZAN_STATUS_DEPTH);
    if (!floating && img->depth == ZAN_DEPTH_32F)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img->depth==ZAN_DEPTH_32F)", ZAN_STATUS_DEPTH);
    if (floating && img->depth != ZAN_DEPTH_32F)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(img->depth!=ZAN_DEPTH_32F)", ZAN_STATUS_DEPTH);
    if (eps && *eps <= 0.f)
        return refuse(site, ZAN_STATUS_BAD_ARGUMENT, "(eps<=0.)", ZAN_STATUS_BAD_ARGUMENT);
    if (!ownCompareRegion(img, &job.region[0]))
        return refuse(site, ZAN_STATUS_ALPHA, kBadAlpha, ZAN_STATUS_ALPHA);
    job.src[0] = img;
    job.src[1] = nullptr;
    job.res = res;
    job.width = job.region[0].width;
    job.height = job.region[0].height;
    return finishRegions(job);
}

// Calls f(OwnType<T>{}) with the sample type of a depth, bool for 1-bit.
template <class F>
void withCompareType(uint32_t depth, F&& f)
{
    if (depth == ZAN_DEPTH_1U)
        f(OwnType<bool>{});
    else
        ownWithSampleType(depth, f);
}

// Compares two images by rel(a, b) over the sample type of their depth.
template <class Rel>
ZanStatus comparePair(const char* name, const ZanImage* img1, const ZanImage* img2, ZanImage* res,
                      const float* eps, Rel rel)
{
    OwnCompareJob job{};
    job.site = OwnSite{name, kSource};
    if (const ZanStatus status = checkPair(job, img1, img2, res, eps))
        return status;
    const int count = comparedChannels(img1, img2, job.region[0]);
    ZanStatus status = ZAN_STATUS_OK;
    withCompareType(img1->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        status = ownCompareRun(job, [&](const OwnComparePiece& p) {
            ownCompareRows<T, 2>(p, count, rel);
        });
    });
    return status;
}

// Compares an image with a scalar by rel(a), a widened to 32-bit integers,
// or taken as a float in the floating forms.
template <bool Floating, class Rel>
ZanStatus compareScalar(const char* name, const ZanImage* img, ZanImage* res, const float* eps, Rel rel)
{
    OwnCompareJob job{};
    job.site = OwnSite{name, kSource};
    if (const ZanStatus status = checkScalar(job, img, res, Floating, eps))
        return status;
    const int count = comparedChannels(img, nullptr, job.region[0]);
    using Wide = std::conditional_t<Floating, float, int32_t>;
    ZanStatus status = ZAN_STATUS_OK;
    withCompareType(img->depth, [&](auto type) {
        using T = typename decltype(type)::type;
        status = ownCompareRun(job, [&](const OwnComparePiece& p) {
            ownCompareRows<T, 1>(p, count, [&](T a) { return rel(static_cast<Wide>(a)); });
        });
    });
    return status;
}

} // namespace

extern "C" {

ZAN_API ZanStatus zanLess(const ZanImage* img1, const ZanImage* img2, ZanImage* res)
{
    return comparePair("zanLess", img1, img2, res, nullptr, [](auto a, auto b) { return a < b; });
}

ZAN_API ZanStatus zanGreater(const ZanImage* img1, const ZanImage* img2, ZanImage* res)
{
    return comparePair("zanGreater", img1, img2, res, nullptr, [](auto a, auto b) { return !(a <= b); });
}

ZAN_API ZanStatus zanEqual(const ZanImage* img1, const ZanImage* img2, ZanImage* res)
{
    return comparePair("zanEqual", img1, img2, res, nullptr,
                       [](auto a, auto b) { return !(a < b || b < a); });
}

ZAN_API ZanStatus zanEqualFPEps(const ZanImage* img1, const ZanImage* img2, ZanImage* res, float eps)
{
    return comparePair("zanEqualFPEps", img1, img2, res, &eps, [eps](auto a, auto b) {
        return !(std::fabs(static_cast<float>(a) - static_cast<float>(b)) >= eps);
    });
}

ZAN_API ZanStatus zanLessS(const ZanImage* img, int value, ZanImage* res)
{
    return compareScalar<false>("zanLessS", img, res, nullptr, [value](int32_t a) { return a < value; });
}

ZAN_API ZanStatus zanGreaterS(const ZanImage* img, int value, ZanImage* res)
{
    return compareScalar<false>("zanGreaterS", img, res, nullptr, [value](int32_t a) { return a > value; });
}

ZAN_API ZanStatus zanEqualS(const ZanImage* img, int value, ZanImage* res)
{
    return compareScalar<false>("zanEqualS", img, res, nullptr, [value](int32_t a) { return a == value; });
}

ZAN_API ZanStatus zanLessSFP(const ZanImage* img, float value, ZanImage* res)
{
    return compareScalar<true>("zanLessSFP", img, res, nullptr, [value](float a) { return !(a >= value); });
}

ZAN_API ZanStatus zanGreaterSFP(const ZanImage* img, float value, ZanImage* res)
{
    return compareScalar<true>("zanGreaterSFP", img, res, nullptr, [value](float a) { return a > value; });
}

ZAN_API ZanStatus zanEqualSFP(const ZanImage* img, float value, ZanImage* res)
{
    return compareScalar<true>("zanEqualSFP", img, res, nullptr,
                               [value](float a) { return !(a < value || a > value); });
}

ZAN_API ZanStatus zanEqualSFPEps(const ZanImage* img, float value, ZanImage* res, float eps)
{
    return compareScalar<true>("zanEqualSFPEps", img, res, &eps, [value, eps](float a) {
        return !(std::fabs(a - value) >= eps);
    });
}

} // extern "C"
