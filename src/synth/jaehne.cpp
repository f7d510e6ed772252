// The Jaehne test image: a circular zone pattern whose local frequency grows
// with the distance from the centre, v = sin(r^2 * 2pi / (4 * height)).
#include "core/own_core.h"
#include "core/own_bits.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace {

// The pattern of an image: its centre, in integers, and k = 2pi / (4 height),
// which holds for wide images too.
struct Pattern {
    int cx;
    int cy;
    double k;

    explicit Pattern(const ZanImage* image)
        : cx(image->width / 2), cy(image->height / 2), k(2.0 * std::numbers::pi / (4.0 * image->height))
    {
    }

    // The value at (x, y), from -1 to 1. The sum of squares is a 32-bit
    // integer, wrapping as such.
    double at(int x, int y) const
    {
        const auto dx = static_cast<uint32_t>(x - cx);
        const auto dy = static_cast<uint32_t>(y - cy);
        return std::sin(static_cast<int32_t>(dy * dy + dx * dx) * k);
    }
};

char* rowOf(const ZanImage* image, int y)
{
    return image->imageData + static_cast<std::ptrdiff_t>(y) * image->widthStep;
}

// Stores (v + offset) * scale truncated toward zero; the scales keep the
// largest value within the depth without a clamp.
template <class T>
void drawSamples(ZanImage* image, double offset, double scale)
{
    const Pattern pattern(image);
    for (int y = 0; y < image->height; ++y) {
        T* out = reinterpret_cast<T*>(rowOf(image, y));
        for (int x = 0; x < image->width; ++x)
            out[x] = static_cast<T>((pattern.at(x, y) + offset) * scale);
    }
}

// One bit per pixel: set where (v + 1) * 0.99999 reaches 1.
void drawBits(ZanImage* image)
{
    const Pattern pattern(image);
    for (int y = 0; y < image->height; ++y) {
        auto* out = reinterpret_cast<uint8_t*>(rowOf(image, y));
        for (int x = 0; x < image->width; ++x)
            ownSetBit(out, x, static_cast<int>((pattern.at(x, y) + 1.0) * 0.99999) != 0);
    }
}

void drawPattern(ZanImage* image)
{
    switch (image->depth) {
    case ZAN_DEPTH_1U: drawBits(image); break;
    case ZAN_DEPTH_8U: drawSamples<Own8u>(image, 1.0, 127.99999); break;
    case ZAN_DEPTH_8S: drawSamples<Own8s>(image, 0.0, 127.99999); break;
    case ZAN_DEPTH_16U: drawSamples<Own16u>(image, 1.0, 32767.99999); break;
    case ZAN_DEPTH_16S: drawSamples<Own16s>(image, 0.0, 32767.99999); break;
    case ZAN_DEPTH_32S: drawSamples<Own32s>(image, 0.0, 2147483647.99999); break;
    default: drawSamples<Own32f>(image, 1.0, 0.49999); break;
    }
}

} // namespace

extern "C" ZAN_API ZanImage* zanCreateImageJaehne(uint32_t depth, int width, int height)
{
    const OwnSite site{"zanCreateImageJaehne", "zangenim"};
    if (width < 1 || height < 1) {
        OWN_REPORT(site, ZAN_STATUS_IMAGE_SIZE, zanErrorStr(ZAN_STATUS_IMAGE_SIZE));
        return nullptr;
    }
    if (!ownIsDepth(depth)) {
        OWN_REPORT(site, ZAN_STATUS_DEPTH, zanErrorStr(ZAN_STATUS_DEPTH));
        return nullptr;
    }
    ZanImage* image = zanCreateImageHeader(1, 0, depth, "GRAY", "GRAY", ZAN_DATA_ORDER_PIXEL,
                                           ZAN_ORIGIN_TOP_LEFT, 32, width, height, nullptr, nullptr,
                                           nullptr, nullptr);
    if (!image) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate header for ImageJaehne");
        return nullptr;
    }
    if (depth == ZAN_DEPTH_32F)
        zanAllocateImageFP(image, 1, 0.0f);
    else
        zanAllocateImage(image, 1, 0);
    if (!image->imageData) {
        zanDeallocate(image, ZAN_FREE_HEADER);
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Not enough memory to allocate imageData for ImageJaehne");
        return nullptr;
    }
    drawPattern(image);
    return image;
}
