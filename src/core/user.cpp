// Application functions run over images: zanUserProcess and zanUserProcessFP
// call one for each value, zanUserProcessPixel one for each pixel. Their
// checks, the governing mask, the value and pixel routines and the nested
// walk over the tiles of both images.
#include "arith/own_saturate.h"
#include "own_bits.h"
#include "own_memory.h"
#include "own_user.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

// ---------------------------------------------------------------------------
// The nested walk

struct TileTexts {
    const char* openStatus;
    const char* openData;
    const char* releaseStatus;
};

const TileTexts kDstTexts = {
    "dstImage->tileInfo->callBack: can't open tile to write",
    "dstImage->tileInfo->tileData == NULL: can't open tile to write",
    "dstImage->tileInfo->callBack: can't release tile",
};

const TileTexts kSrcTexts = {
    "srcImage->tileInfo->callBack: can't open tile to read",
    "srcImage->tileInfo->tileData == NULL: can't open tile to read",
    "srcImage->tileInfo->callBack: can't release tile",
};

// How a stretch of the walk ended.
enum class Outcome {
    Done,    // walked through
    Stopped, // the routine stopped: release what is open, then end
    Ended,   // ended at once, with a report
};

// The part of a rectangle of image coordinates that lies in one tile, and
// that tile's place in the grid (0, 0 for an untiled image).
struct TileSpan {
    int x;
    int y;
    int width;
    int height;
    int column;
    int row;
};

// Calls visit(span) for each tile of the image that meets the rectangle, row
// by row, left to right, until one gives something other than Done.
template <class Visit>
Outcome forEachTile(const ZanImage* image, int x, int y, int width, int height, Visit&& visit)
{
    const ZanTileInfo* tiles = image->tileInfo;
    if (!tiles)
        return visit(TileSpan{x, y, width, height, 0, 0});
    const int tw = tiles->width;
    const int th = tiles->height;
    for (int row = y / th; row * th < y + height; ++row) {
        const int top = std::max(y, row * th);
        const int bottom = std::min(y + height, (row + 1) * th);
        for (int column = x / tw; column * tw < x + width; ++column) {
            const int left = std::max(x, column * tw);
            const int right = std::min(x + width, (column + 1) * tw);
            const Outcome outcome = visit(TileSpan{left, top, right - left, bottom - top, column, row});
            if (outcome != Outcome::Done)
                return outcome;
        }
    }
    return Outcome::Done;
}

// Opens the span's tile in the given mode and gives the span's block; an
// untiled image gives its own data.
bool openTile(OwnSite site, const ZanImage* image, const TileSpan& span, int mode,
              const TileTexts& texts, OwnUserBlock* block)
{
    const ZanTileInfo* tiles = image->tileInfo;
    if (!tiles) {
        *block = ownUserBlock(image, image->imageData, image->widthStep, image->height, span.x, span.y);
        return true;
    }
    tiles->callBack(image, span.column, span.row, mode);
    if (zanGetErrStatus() != ZAN_STATUS_OK) {
        OWN_BACKTRACE(site, texts.openStatus);
        return false;
    }
    if (!tiles->tileData) {
        OWN_REPORT(site, ZAN_STATUS_INTERNAL, texts.openData);
        return false;
    }
    *block = ownUserBlock(image, tiles->tileData, ownTileStep(image), tiles->height,
                          span.x - span.column * tiles->width, span.y - span.row * tiles->height);
    return true;
}

// Releases the span's tile. After a stretch that went through, a status
// left by the callback ends the walk.
Outcome releaseTile(OwnSite site, const ZanImage* image, const TileSpan& span,
                    const TileTexts& texts, Outcome sofar)
{
    if (!image->tileInfo)
        return sofar;
    image->tileInfo->callBack(image, span.column, span.row, ZAN_TILE_RELEASE);
    if (sofar == Outcome::Done && zanGetErrStatus() != ZAN_STATUS_OK) {
        OWN_BACKTRACE(site, texts.releaseStatus);
        return Outcome::Ended;
    }
    return sofar;
}

OwnUserBlock moved(const OwnUserBlock& block, int dx, int dy)
{
    OwnUserBlock result = block;
    result.data += dx * block.pixelStep + dy * block.rowStep;
    return result;
}

// ---------------------------------------------------------------------------
// Checks, the processed size and the governing mask

struct Test {
    bool failed;
    ZanStatus status;
    const char* text;
};

// Reports every failed test; later tests run all the same.
template <std::size_t N>
void reportFailures(OwnSite site, const Test (&tests)[N])
{
    for (const Test& test : tests) {
        if (test.failed)
            OWN_REPORT(site, test.status, test.text);
    }
}

int valueChannels(const ZanImage* image) { return image->nChannels - (image->alphaChannel > 0 ? 1 : 0); }
int coiOf(const ZanImage* image) { return image->roi ? image->roi->coi : 0; }

// The checks of all three operations from the origin on.
void checkCommon(OwnSite site, const ZanImage* src, const ZanImage* dst, bool haveFunction)
{
    const Test tests[] = {
        {src->origin != dst->origin, ZAN_STATUS_ORIGIN, "srcImage->origin != dstImage->origin"},
        {src->dataOrder != dst->dataOrder, ZAN_STATUS_ORDER, "srcImage->dataOrder != dstImage->dataOrder"},
        {!haveFunction, ZAN_STATUS_BAD_ARGUMENT, "cbFunc == NULL"},
    };
    reportFailures(site, tests);
}

// The checks of the value forms: depths, channels, and the depths refused.
void checkValues(OwnSite site, const ZanImage* src, const ZanImage* dst, bool floatAllowed)
{
    const int countSrc = valueChannels(src);
    const int countDst = valueChannels(dst);
    const bool noCoi = coiOf(src) == 0 && coiOf(dst) == 0;
    const Test tests[] = {
        {src->depth != dst->depth, ZAN_STATUS_DEPTH, "srcImage->depth != dstImage->depth"},
        {noCoi && countSrc != countDst, ZAN_STATUS_CHANNELS, "srcImage->nChannels != dstImage->nChannels"},
        {noCoi && countDst == 0, ZAN_STATUS_CHANNELS, "nChannels == 0"},
        {coiOf(dst) > 0 && coiOf(src) == 0 && countSrc != 1, ZAN_STATUS_COI,
         "dstImage->roi->coi > 0 && srcImage->roi->coi == 0"},
        {coiOf(src) > 0 && coiOf(dst) == 0 && countDst != 1, ZAN_STATUS_COI,
         "srcImage->roi->coi > 0 && dstImage->roi->coi == 0"},
        {dst->depth == ZAN_DEPTH_1U, ZAN_STATUS_DEPTH, "depth == ZAN_DEPTH_1U"},
        {!floatAllowed && dst->depth == ZAN_DEPTH_32F, ZAN_STATUS_DEPTH, "depth == ZAN_DEPTH_32F"},
    };
    reportFailures(site, tests);
}

void checkPixels(OwnSite site, const ZanImage* src, const ZanImage* dst)
{
    const Test tests[] = {
        {src->depth == ZAN_DEPTH_1U || dst->depth == ZAN_DEPTH_1U, ZAN_STATUS_DEPTH,
         "depth == ZAN_DEPTH_1U"},
    };
    reportFailures(site, tests);
}

// Narrows the size to the regions of an image and of its chain of masks.
void narrowToChain(const ZanImage* image, int* width, int* height)
{
    for (; image; image = image->maskROI) {
        OwnRect rect;
        ownRegionRect(image, &rect);
        *width = std::min(*width, rect.width);
        *height = std::min(*height, rect.height);
    }
}

// The mask that governs the operation: none, the one there is, or the AND of
// the two images' masks in a new mask of the processed size.
class UserMask {
public:
    // False after a report.
    bool make(OwnSite site, const ZanImage* src, const ZanImage* dst, int width, int height)
    {
        ZanImage* first = src->maskROI;
        ZanImage* second = dst->maskROI;
        if (!first || !second || first == second) {
            mask_ = first ? first : second;
            return true;
        }
        merged_ = OwnImageOwner(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "\0\0\0", "\0\0\0",
                                                     first->dataOrder, first->origin, 4, width,
                                                     height, nullptr, nullptr, nullptr, nullptr),
                                ZAN_FREE_ALL);
        if (merged_)
            zanAllocateImage(merged_.get(), 0, 0);
        if (merged_ && merged_->imageData) {
            const int order = second->dataOrder;
            second->dataOrder = first->dataOrder;
            zanAnd(first, second, merged_.get());
            second->dataOrder = order;
        }
        if (!merged_ || !merged_->imageData || zanGetErrStatus() < 0) {
            merged_ = OwnImageOwner();
            OWN_BACKTRACE(site, "while mask creating");
            return false;
        }
        mask_ = merged_.get();
        return true;
    }

    const ZanImage* get() const { return mask_; }

private:
    OwnImageOwner merged_;
    const ZanImage* mask_ = nullptr;
};

// ---------------------------------------------------------------------------
// The routines

// What a routine needs besides its piece.
struct UserJob {
    OwnSite site;
    const ZanImage* src;
    ZanImage* dst;
    const ZanImage* mask;
    int maskX; // the mask's region start
    int maskY;
    int srcFirst; // value forms: first channel of each image, and the count
    int dstFirst;
    int channels;
};

// False where the governing mask clears pixel (x, y) of the processed area.
bool maskAllows(const UserJob& job, int x, int y)
{
    if (!job.mask)
        return true;
    const auto* row = reinterpret_cast<const uint8_t*>(job.mask->imageData) +
                      static_cast<std::ptrdiff_t>(job.maskY + y) * job.mask->widthStep;
    return ownGetBit(row, job.maskX + x);
}

// The block moved to a channel: the next plane, or the next sample.
OwnUserBlock channelOf(const OwnUserBlock& block, int channel, std::size_t sampleBytes)
{
    OwnUserBlock result = block;
    result.data += block.planeStep ? channel * block.planeStep
                                   : static_cast<std::ptrdiff_t>(channel * sampleBytes);
    return result;
}

// Each value of the planned channels through fn, plane by plane in plane
// order, in one pass over each row in pixel order.
template <class T, class Fn>
bool valueRoutine(const UserJob& job, const OwnNestedPiece& piece, const Fn& fn)
{
    const bool planes = job.dst->dataOrder == ZAN_DATA_ORDER_PLANE;
    const int planeCount = planes ? job.channels : 1;
    const int perPixel = planes ? 1 : job.channels;
    const OwnUserBlock src = channelOf(piece.src, job.srcFirst, sizeof(T));
    const OwnUserBlock dst = channelOf(piece.dst, job.dstFirst, sizeof(T));
    for (int plane = 0; plane < planeCount; ++plane) {
        for (int y = 0; y < piece.height; ++y) {
            const char* in = src.data + plane * src.planeStep + y * src.rowStep;
            char* out = dst.data + plane * dst.planeStep + y * dst.rowStep;
            for (int x = 0; x < piece.width; ++x) {
                if (!maskAllows(job, piece.x + x, piece.y + y))
                    continue;
                const T* a = reinterpret_cast<const T*>(in + x * src.pixelStep);
                T* d = reinterpret_cast<T*>(out + x * dst.pixelStep);
                for (int c = 0; c < perPixel; ++c)
                    d[c] = fn(a[c]);
            }
        }
    }
    return true;
}

// A float result held to the range of the integer sample type T, then
// truncated toward zero; NaN gives 0.
template <class T>
T clampTruncate(float value)
{
    if (std::isnan(value))
        return T(0);
    return static_cast<T>(std::clamp<double>(value, std::numeric_limits<T>::min(),
                                             std::numeric_limits<T>::max()));
}

std::size_t sampleBytes(const ZanImage* image) { return static_cast<std::size_t>(ownDepthBits(image->depth) / 8); }

// A status left by the pixel function ends the routine; true when it did.
bool stoppedByFunction(const UserJob& job)
{
    if (zanGetErrStatus() == ZAN_STATUS_OK)
        return false;
    OWN_BACKTRACE(job.site, "");
    return true;
}

// Pixel order: the function gets pointers into the images themselves.
bool pixelRoutineInPlace(const UserJob& job, const OwnNestedPiece& piece, ZanUserFuncPixel fn)
{
    for (int y = 0; y < piece.height; ++y) {
        for (int x = 0; x < piece.width; ++x) {
            if (!maskAllows(job, piece.x + x, piece.y + y))
                continue;
            fn(job.src, piece.src.data + y * piece.src.rowStep + x * piece.src.pixelStep, job.dst,
               piece.dst.data + y * piece.dst.rowStep + x * piece.dst.pixelStep);
            if (stoppedByFunction(job))
                return false;
        }
    }
    return true;
}

// Moves row y of every plane of a block into interleaved pixels, or back.
void interleaveRow(const ZanImage* image, const OwnUserBlock& block, int y, int width, char* pixels,
                   bool back)
{
    const std::size_t bytes = sampleBytes(image);
    const int n = image->nChannels;
    for (int c = 0; c < n; ++c) {
        char* row = block.data + c * block.planeStep + y * block.rowStep;
        for (int x = 0; x < width; ++x) {
            char* pixel = pixels + (static_cast<std::size_t>(x) * n + c) * bytes;
            char* sample = row + x * block.pixelStep;
            std::memcpy(back ? sample : pixel, back ? pixel : sample, bytes);
        }
    }
}

// Plane order: each row of both images is gathered into interleaved pixels,
// and the destination's row goes back to its planes once the row is done.
bool pixelRoutineGathered(const UserJob& job, const OwnNestedPiece& piece, ZanUserFuncPixel fn)
{
    const std::size_t width = static_cast<std::size_t>(piece.width);
    const std::size_t srcPixel = job.src->nChannels * sampleBytes(job.src);
    const std::size_t dstPixel = job.dst->nChannels * sampleBytes(job.dst);
    OwnBuffer<char> srcRow(width * srcPixel);
    OwnBuffer<char> dstRow(width * dstPixel);
    if (!srcRow.ok() || !dstRow.ok()) {
        OWN_REPORT(job.site, ZAN_STATUS_NO_MEMORY, "No memory for temporal array");
        return false;
    }
    for (int y = 0; y < piece.height; ++y) {
        interleaveRow(job.src, piece.src, y, piece.width, srcRow.data(), false);
        interleaveRow(job.dst, piece.dst, y, piece.width, dstRow.data(), false);
        for (int x = 0; x < piece.width; ++x) {
            if (!maskAllows(job, piece.x + x, piece.y + y))
                continue;
            fn(job.src, srcRow.data() + x * srcPixel, job.dst, dstRow.data() + x * dstPixel);
            if (stoppedByFunction(job))
                return false;
        }
        interleaveRow(job.dst, piece.dst, y, piece.width, dstRow.data(), true);
    }
    return true;
}

// ---------------------------------------------------------------------------
// The drivers

// Checks the headers, runs the operation's own checks, reckons the processed
// area and the mask, and walks the images with the routine that choose()
// gives for the job; choose() gives false for a depth it has no routine for.
template <class Checks, class Choose>
void userProcess(OwnSite site, const ZanImage* src, ZanImage* dst, bool haveFunction,
                 const Checks& checks, const Choose& choose)
{
    for (const ZanImage* image : {src, static_cast<const ZanImage*>(dst)}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return;
        }
    }
    checkCommon(site, src, dst, haveFunction);
    checks();
    if (zanGetErrStatus() < 0)
        return;

    int width = std::numeric_limits<int>::max();
    int height = width;
    narrowToChain(src, &width, &height);
    narrowToChain(dst, &width, &height);
    if (width <= 0)
        OWN_REPORT(site, ZAN_STATUS_ROI_SIZE, "width <= 0");
    if (height <= 0)
        OWN_REPORT(site, ZAN_STATUS_ROI_SIZE, "height <= 0");
    if (zanGetErrStatus() < 0)
        return;

    UserMask mask;
    if (!mask.make(site, src, dst, width, height))
        return;
    OwnRect srcRect;
    OwnRect dstRect;
    OwnRect maskRect{};
    ownRegionRect(src, &srcRect);
    ownRegionRect(dst, &dstRect);
    if (mask.get())
        ownRegionRect(mask.get(), &maskRect);
    UserJob job{site, src, dst, mask.get(), maskRect.x, maskRect.y, 0, 0, 0};
    ownImageChannels(dst, &job.channels, &job.dstFirst);
    job.srcFirst = coiOf(src) > 0 ? coiOf(src) - 1 : 0;

    const OwnNestedArea area{srcRect.x, srcRect.y, dstRect.x, dstRect.y, width, height};
    const bool known = choose(job, [&](OwnNestedRoutine routine) {
        ownNestedWalk(site, src, dst, area, routine);
    });
    if (!known)
        OWN_REPORT(site, ZAN_STATUS_DEPTH, "bad depth value");
}

} // namespace

OwnUserBlock ownUserBlock(const ZanImage* image, char* data, int step, int blockHeight, int x, int y)
{
    const std::ptrdiff_t bytes = ownDepthBits(image->depth) / 8;
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    OwnUserBlock block;
    block.pixelStep = planes ? bytes : bytes * image->nChannels;
    block.rowStep = step;
    block.planeStep = planes ? static_cast<std::ptrdiff_t>(step) * blockHeight : 0;
    block.data = data + static_cast<std::ptrdiff_t>(y) * step + x * block.pixelStep;
    return block;
}

bool ownNestedWalk(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnNestedArea& area,
                   OwnNestedRoutine routine)
{
    const auto runOn = [&](const OwnNestedPiece& piece) {
        return routine(piece) ? Outcome::Done : Outcome::Stopped;
    };
    const Outcome outcome = forEachTile(dst, area.dstX, area.dstY, area.width, area.height,
                                        [&](const TileSpan& target) {
        OwnUserBlock dstBlock;
        if (!openTile(site, dst, target, ZAN_TILE_WRITE, kDstTexts, &dstBlock))
            return Outcome::Ended;
        const int x = target.x - area.dstX;
        const int y = target.y - area.dstY;
        Outcome inner;
        if (src == dst) {
            inner = runOn(OwnNestedPiece{dstBlock, dstBlock, x, y, target.width, target.height});
        } else {
            inner = forEachTile(src, area.srcX + x, area.srcY + y, target.width, target.height,
                                [&](const TileSpan& source) {
                OwnUserBlock srcBlock;
                if (!openTile(site, src, source, ZAN_TILE_READ, kSrcTexts, &srcBlock))
                    return Outcome::Ended;
                const int px = source.x - area.srcX;
                const int py = source.y - area.srcY;
                const Outcome ran = runOn(OwnNestedPiece{srcBlock, moved(dstBlock, px - x, py - y),
                                                         px, py, source.width, source.height});
                return releaseTile(site, src, source, kSrcTexts, ran);
            });
        }
        if (inner == Outcome::Ended)
            return inner;
        return releaseTile(site, dst, target, kDstTexts, inner);
    });
    return outcome == Outcome::Done;
}

extern "C" ZAN_API void zanUserProcess(const ZanImage* srcImage, ZanImage* dstImage, ZanUserFunc cbFunc)
{
    const OwnSite site{"zanUserProcess", "zancb"};
    userProcess(
        site, srcImage, dstImage, cbFunc != nullptr,
        [&] { checkValues(site, srcImage, dstImage, false); },
        [&](const UserJob& job, auto walk) {
            bool known = false;
            ownWithSampleType(dstImage->depth, [&](auto type) {
                using T = typename decltype(type)::type;
                if constexpr (std::is_integral_v<T>) {
                    known = true;
                    walk([&](const OwnNestedPiece& piece) {
                        return valueRoutine<T>(job, piece,
                                               [cbFunc](T a) { return ownSaturate<T>(cbFunc(a)); });
                    });
                }
            });
            return known;
        });
}

extern "C" ZAN_API void zanUserProcessFP(const ZanImage* srcImage, ZanImage* dstImage,
                                         ZanUserFuncFP cbFunc)
{
    const OwnSite site{"zanUserProcessFP", "zancb"};
    userProcess(
        site, srcImage, dstImage, cbFunc != nullptr,
        [&] { checkValues(site, srcImage, dstImage, true); },
        [&](const UserJob& job, auto walk) {
            return ownWithSampleType(dstImage->depth, [&](auto type) {
                using T = typename decltype(type)::type;
                walk([&](const OwnNestedPiece& piece) {
                    return valueRoutine<T>(job, piece, [cbFunc](T a) {
                        if constexpr (std::is_floating_point_v<T>)
                            return cbFunc(a);
                        else
                            return clampTruncate<T>(cbFunc(static_cast<float>(a)));
                    });
                });
            });
        });
}

extern "C" ZAN_API void zanUserProcessPixel(const ZanImage* srcImage, ZanImage* dstImage,
                                            ZanUserFuncPixel cbFunc)
{
    const OwnSite site{"zanUserProcessPixel", "zancb"};
    userProcess(
        site, srcImage, dstImage, cbFunc != nullptr, [&] { checkPixels(site, srcImage, dstImage); },
        [&](const UserJob& job, auto walk) {
            if (!ownIsDepth(dstImage->depth) || dstImage->depth == ZAN_DEPTH_1U)
                return false;
            const bool planes = dstImage->dataOrder == ZAN_DATA_ORDER_PLANE;
            walk([&](const OwnNestedPiece& piece) {
                return planes ? pixelRoutineGathered(job, piece, cbFunc)
                              : pixelRoutineInPlace(job, piece, cbFunc);
            });
            return true;
        });
}
