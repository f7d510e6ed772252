// Copy, Set, SetFP and Exchange: moving pixels without computing them.
//
// Each operation reckons the common size of its images and masks, then
// either moves the values of plain images directly (one walk over views of
// the regions, with a copy, fill or swap action) or cuts the work along the
// tile grid and runs itself on the working headers of every piece.
#include "own_bits.h"
#include "own_grid.h"
#include "own_memory.h"
#include "own_rect.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr const char* kSource = "zansce";
constexpr const char* kReadFailed = "Error get tile to read";
constexpr const char* kWriteFailed = "Error get tile to write";
constexpr const char* kChannelsDiffer =
    "Number of processed channels of srcImage != Number of processed channels of dstImage";

// The processed channels of an untiled image's region as byte addresses.
struct View {
    char* data;          // first value of the region (start of its row for 1-bit images)
    int step;            // bytes from row to row
    int channels;        // channels processed
    int pixelBytes;      // bytes from pixel to pixel within a plane
    std::ptrdiff_t channelBytes; // bytes from one processed channel to the next
    int bitStart;        // first column of a 1-bit region
};

View ownChannelView(const ZanImage* image)
{
    int x, y;
    ownRegionOrigin(image, &x, &y);
    const int coi = image->roi ? image->roi->coi : 0;
    const int bytes = ownDepthBits(image->depth) / 8;
    const std::ptrdiff_t planeStep = static_cast<std::ptrdiff_t>(image->height) * image->widthStep;
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    View view;
    view.step = image->widthStep;
    view.channels = coi > 0 ? 1 : image->nChannels - (image->alphaChannel > 0 ? 1 : 0);
    view.pixelBytes = planes ? bytes : image->nChannels * bytes;
    view.channelBytes = planes ? planeStep : bytes;
    view.bitStart = bytes == 0 ? x : 0;
    view.data = image->imageData + static_cast<std::ptrdiff_t>(y) * image->widthStep +
                static_cast<std::ptrdiff_t>(x) * view.pixelBytes +
                (coi > 1 ? (coi - 1) * view.channelBytes : 0);
    return view;
}

// The governing mask's region: its first row, row step and bit phase.
struct MaskView {
    const uint8_t* data;
    int step;
    int bitOffset;
    bool at(int x, int y) const
    {
        return ownGetBit(data + static_cast<std::ptrdiff_t>(y) * step, bitOffset + x);
    }
};

MaskView maskViewOf(const ZanImage* mask)
{
    int width, height, bitOffset;
    const char* start = ownRegionStart(mask, &width, &height, 0, &bitOffset);
    return MaskView{reinterpret_cast<const uint8_t*>(start), mask->widthStep, bitOffset};
}

// Moves the values of a region pair (target, source): rows that hold their
// values next to each other in both views go as runs of bytes, everything
// else value by value; a mask admits only the pixels whose bit is 1.
template <int Bytes, class Action>
void valueByValue(const View& t, const View& s, int width, int height, const MaskView* mask,
                  const Action& action)
{
    for (int y = 0; y < height; ++y) {
        char* rowT = t.data + static_cast<std::ptrdiff_t>(y) * t.step;
        char* rowS = s.data + static_cast<std::ptrdiff_t>(y) * s.step;
        for (int x = 0; x < width; ++x) {
            if (mask && !mask->at(x, y))
                continue;
            for (int c = 0; c < t.channels; ++c)
                action.template value<Bytes>(rowT + x * t.pixelBytes + c * t.channelBytes,
                                             rowS + x * s.pixelBytes + c * s.channelBytes);
        }
    }
}

template <class Action>
void moveValues(const View& t, const View& s, int bytes, int width, int height,
                const MaskView* mask, const Action& action)
{
    const bool planes = t.pixelBytes == bytes && s.pixelBytes == bytes;
    const bool pixels = t.channelBytes == bytes && s.channelBytes == bytes &&
                        t.pixelBytes == t.channels * bytes && s.pixelBytes == t.pixelBytes;
    if (!mask && (planes || pixels)) {
        const int planeCount = planes ? t.channels : 1;
        const std::size_t run = static_cast<std::size_t>(width) * (planes ? bytes : t.pixelBytes);
        const bool wholePlane = t.step == static_cast<std::ptrdiff_t>(run) &&
                                s.step == static_cast<std::ptrdiff_t>(run);
        for (int p = 0; p < planeCount; ++p) {
            char* planeT = t.data + p * t.channelBytes;
            char* planeS = s.data + p * s.channelBytes;
            if (wholePlane) {
                action.run(planeT, planeS, run * height);
                continue;
            }
            for (int y = 0; y < height; ++y)
                action.run(planeT + static_cast<std::ptrdiff_t>(y) * t.step,
                           planeS + static_cast<std::ptrdiff_t>(y) * s.step, run);
        }
        return;
    }
    switch (bytes) {
    case 1: valueByValue<1>(t, s, width, height, mask, action); break;
    case 2: valueByValue<2>(t, s, width, height, mask, action); break;
    default: valueByValue<4>(t, s, width, height, mask, action); break;
    }
}

// Moves the bits of 1-bit regions: a destination byte at a time, or bit by
// bit where a mask decides.
template <class Action>
void moveBits(const View& t, const View& s, int width, int height, const MaskView* mask,
              const Action& action)
{
    for (int y = 0; y < height; ++y) {
        auto* rowT = reinterpret_cast<uint8_t*>(t.data + static_cast<std::ptrdiff_t>(y) * t.step);
        auto* rowS = reinterpret_cast<uint8_t*>(s.data + static_cast<std::ptrdiff_t>(y) * s.step);
        for (int x = 0; x < width;) {
            const int position = t.bitStart + x;
            const int count = mask ? 1 : std::min(8 - (position & 7), width - x);
            if (!mask || mask->at(x, y))
                action.bits(rowT, position, rowS, s.bitStart + x, count);
            x += count;
        }
    }
}

struct CopyAction {
    void run(char* t, const char* s, std::size_t n) const { std::memcpy(t, s, n); }
    template <int Bytes>
    void value(char* t, const char* s) const
    {
        std::memcpy(t, s, Bytes);
    }
    void bits(uint8_t* t, int to, const uint8_t* s, int from, int count) const
    {
        ownCopyBits(s, from, t, to, count);
    }
};

// Fills with a 32-bit pattern that repeats the value; runs start on a value,
// and the value's size divides 4, so byte k of a run is byte k mod 4 of it.
struct FillAction {
    uint32_t pattern;
    void run(char* t, const char*, std::size_t n) const
    {
        std::size_t i = 0;
#if defined(__SSE2__)
        const __m128i v = _mm_set1_epi32(static_cast<int>(pattern));
        for (; i + 16 <= n; i += 16)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(t + i), v);
#endif
        for (; i < n; ++i)
            t[i] = static_cast<char>(pattern >> (8 * (i & 3)));
    }
    template <int Bytes>
    void value(char* t, const char*) const
    {
        std::memcpy(t, &pattern, Bytes);
    }
    void bits(uint8_t* t, int to, const uint8_t*, int, int count) const
    {
        ownPutBits(t, to, static_cast<uint8_t>(pattern), count);
    }
};

// Swaps values in place; each pair is read before either is written.
struct SwapAction {
    void run(char* t, char* s, std::size_t n) const
    {
        std::size_t i = 0;
#if defined(__SSE2__)
        for (; i + 16 <= n; i += 16) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(t + i), b);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(s + i), a);
        }
#endif
        for (; i < n; ++i)
            std::swap(t[i], s[i]);
    }
    template <int Bytes>
    void value(char* t, char* s) const
    {
        char a[Bytes];
        std::memcpy(a, t, Bytes);
        std::memcpy(t, s, Bytes);
        std::memcpy(s, a, Bytes);
    }
    void bits(uint8_t* t, int to, uint8_t* s, int from, int count) const
    {
        const uint8_t a = ownFetchBits(t, to, count);
        const uint8_t b = ownFetchBits(s, from, count);
        ownPutBits(t, to, b, count);
        ownPutBits(s, from, a, count);
    }
};

// Views of a plain pair and the walk of their values or bits; processed
// channels that differ are reported and nothing moves.
template <class Action>
void movePlain(OwnSite site, const ZanImage* target, const ZanImage* source, const ZanImage* mask,
               int width, int height, const Action& action)
{
    const View t = ownChannelView(target);
    const View s = ownChannelView(source);
    if (t.channels != s.channels) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, kChannelsDiffer);
        return;
    }
    if (t.channels == 0)
        return;
    MaskView maskView{};
    if (mask)
        maskView = maskViewOf(mask);
    const MaskView* m = mask ? &maskView : nullptr;
    if (target->depth == ZAN_DEPTH_1U)
        moveBits(t, s, width, height, m, action);
    else
        moveValues(t, s, ownDepthBits(target->depth) / 8, width, height, m, action);
}

// Steps common to Copy and Exchange: headers, likeness, and a status left
// negative before or by the checks.
bool checkPair(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage)
{
    for (const ZanImage* image : {srcImage, dstImage}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return false;
        }
    }
    if (srcImage->depth != dstImage->depth)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->depth != dstImage->depth");
    if (srcImage->origin != dstImage->origin)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->origin != dstImage->origin");
    const bool orderMatters = srcImage->depth != ZAN_DEPTH_1U &&
                              !(srcImage->nChannels == 1 && dstImage->nChannels == 1);
    if (orderMatters && srcImage->dataOrder != dstImage->dataOrder)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "srcImage->dataOrder != dstImage->dataOrder");
    return zanGetErrStatus() >= 0;
}

// The mask that governs a pair: the one mask there is, or a new one that is
// the AND of two different masks, freed with the pair.
class PairMask {
public:
    // False when the operation ends: masks with nothing in common, or a
    // failed step (reported).
    bool merge(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage)
    {
        const ZanImage* a = srcImage->maskROI;
        const ZanImage* b = dstImage->maskROI;
        if (!a || !b || a == b) {
            mask_ = a ? a : b;
            return true;
        }
        int width, height, w, h;
        if (!ownRegionSize(a, &width, &height) || !ownRegionSize(b, &w, &h))
            return false;
        width = std::min(width, w);
        height = std::min(height, h);
        owned_ = OwnImageOwner(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0\0",
                                                    ZAN_DATA_ORDER_PLANE, a->origin, 4, width,
                                                    height, nullptr, nullptr, nullptr, nullptr),
                               ZAN_FREE_ALL);
        if (zanGetErrStatus() < 0 || !owned_)
            return backtrace(site);
        zanAllocateImage(owned_.get(), 0, 0);
        if (zanGetErrStatus() < 0)
            return backtrace(site);
        zanAnd(a, b, owned_.get());
        if (zanGetErrStatus() < 0)
            return backtrace(site);
        mask_ = owned_.get();
        return true;
    }
    const ZanImage* get() const { return mask_; }

private:
    static bool backtrace(OwnSite site)
    {
        OWN_BACKTRACE(site, "");
        return false;
    }
    const ZanImage* mask_ = nullptr;
    OwnImageOwner owned_;
};

// The common size of the images and the mask (which may be null); false
// when any of them is empty.
bool commonSize(std::initializer_list<const ZanImage*> images, int* width, int* height)
{
    *width = 0x7FFFFFFF;
    *height = 0x7FFFFFFF;
    for (const ZanImage* image : images) {
        if (!image)
            continue;
        int w, h;
        if (!ownRegionSize(image, &w, &h))
            return false;
        *width = std::min(*width, w);
        *height = std::min(*height, h);
    }
    return true;
}

// Steps shared by Copy and Exchange up to the common size: checks, the same
// image twice, the governing mask; false when the operation ends here.
bool preparePair(OwnSite site, const ZanImage* srcImage, const ZanImage* dstImage, PairMask* mask,
                 int* width, int* height)
{
    return checkPair(site, srcImage, dstImage) && srcImage != dstImage &&
           mask->merge(site, srcImage, dstImage) &&
           commonSize({srcImage, dstImage, mask->get()}, width, height);
}

// Puts an image's mask aside for the life of the guard.
class MaskAside {
public:
    explicit MaskAside(const ZanImage* image)
        : image_(const_cast<ZanImage*>(image)), mask_(image->maskROI)
    {
        image_->maskROI = nullptr;
    }
    ~MaskAside() { image_->maskROI = mask_; }
    MaskAside(const MaskAside&) = delete;
    MaskAside& operator=(const MaskAside&) = delete;

private:
    ZanImage* image_;
    ZanImage* mask_;
};

// Copy of 1-bit images under a mask: the masked bits of the destination are
// cleared, then those that are set in the source are set.
void copyMaskedBits(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage,
                    const ZanImage* mask, int width, int height)
{
    OwnImageOwner temporary(zanCreateImageHeader(1, 0, ZAN_DEPTH_1U, "GRAY", "G\0\0\0",
                                                 mask->dataOrder, mask->origin, mask->align,
                                                 width, height, nullptr, nullptr, nullptr, nullptr),
                            ZAN_FREE_ALL);
    if (temporary)
        zanAllocateImage(temporary.get(), 0, 0);
    if (zanGetErrStatus() < 0 || !temporary) {
        OWN_BACKTRACE(site, "");
        return;
    }
    zanCopy(mask, temporary.get());
    {
        MaskAside srcMask(srcImage);
        MaskAside dstMask(dstImage);
        dstImage->maskROI = temporary.get();
        zanSet(dstImage, 0);
        dstImage->maskROI = nullptr;
        zanAnd(srcImage, temporary.get(), temporary.get());
        zanOr(dstImage, temporary.get(), dstImage);
    }
    if (zanGetErrStatus() < 0)
        OWN_BACKTRACE(site, "");
}

// Working headers of a pair and its mask for the grid walk; the mask's
// working header governs the destination's.
struct GridPair {
    GridPair(const ZanImage* srcImage, const ZanImage* dstImage, const ZanImage* mask)
        : src(srcImage, false), dst(dstImage, false), mask(mask, true)
    {
        dst.get()->maskROI = this->mask.get();
    }
    void placeMask(const OwnGridPiece& piece)
    {
        if (mask.real())
            mask.placeOnRegion(piece);
    }
    OwnGridHeader src;
    OwnGridHeader dst;
    OwnGridHeader mask;
};

// Opens a piece's tile or reports the failure with status -2.
char* openOrReport(OwnSite site, const ZanImage* image, const OwnGridPiece& piece, int mode)
{
    char* data = ownOpenTile(image, piece, mode);
    if (!data)
        OWN_REPORT(site, ZAN_STATUS_UNKNOWN, mode == ZAN_TILE_READ ? kReadFailed : kWriteFailed);
    return data;
}

// Reads a piece of a tiled source through a working rectangle into the
// source's working header; false (reported) when it fails.
bool fetchPiece(OwnSite site, const ZanImage* srcImage, const OwnGridPiece& piece,
                OwnGridHeader* work, OwnBlock* block)
{
    int x, y, step = 0;
    ownRegionOrigin(srcImage, &x, &y);
    block->reset(ownGetRect(srcImage, x + piece.x, y + piece.y, piece.width, piece.height, &step));
    if (!*block || zanGetErrStatus() < 0) {
        OWN_BACKTRACE(site, "");
        return false;
    }
    work->placeOnBlock(piece, block->get(), step);
    return true;
}

void copyTiled(OwnSite site, const ZanImage* srcImage, ZanImage* dstImage, const ZanImage* mask,
               int width, int height)
{
    OwnTileGrid grid;
    ownTileGrid(dstImage->tileInfo ? dstImage : srcImage, height, width, &grid);
    GridPair work(srcImage, dstImage, mask);
    ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        work.placeMask(piece);
        const ZanImage* tiled = dstImage->tileInfo ? dstImage : srcImage;
        char* data = openOrReport(site, tiled, piece, dstImage->tileInfo ? ZAN_TILE_WRITE : ZAN_TILE_READ);
        if (!data)
            return false;
        OwnBlock block;
        if (!dstImage->tileInfo) {
            work.src.placeInTile(piece, data);
            work.dst.placeOnRegion(piece);
        } else {
            work.dst.placeInTile(piece, data);
            if (!srcImage->tileInfo) {
                work.src.placeOnRegion(piece);
            } else if (!fetchPiece(site, srcImage, piece, &work.src, &block)) {
                ownReleaseTile(tiled, piece);
                return false;
            }
        }
        zanCopy(work.src.get(), work.dst.get());
        ownReleaseTile(tiled, piece);
        return zanGetErrStatus() >= 0;
    });
}

// Exchange with one tiled image: its tiles open for writing, both change.
void exchangeOneTiled(OwnSite site, ZanImage* srcImage, ZanImage* dstImage, const ZanImage* mask,
                      int width, int height)
{
    const ZanImage* tiled = dstImage->tileInfo ? dstImage : srcImage;
    OwnTileGrid grid;
    ownTileGrid(tiled, height, width, &grid);
    GridPair work(srcImage, dstImage, mask);
    ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        work.placeMask(piece);
        char* data = openOrReport(site, tiled, piece, ZAN_TILE_WRITE);
        if (!data)
            return false;
        (tiled == dstImage ? work.dst : work.src).placeInTile(piece, data);
        (tiled == dstImage ? work.src : work.dst).placeOnRegion(piece);
        zanExchange(work.src.get(), work.dst.get());
        ownReleaseTile(tiled, piece);
        return zanGetErrStatus() >= 0;
    });
}

// A ROI put on an image for the life of the guard.
class RoiAside {
public:
    RoiAside(ZanImage* image, ZanROI* roi) : image_(image), roi_(image->roi) { image->roi = roi; }
    ~RoiAside() { image_->roi = roi_; }
    RoiAside(const RoiAside&) = delete;
    RoiAside& operator=(const RoiAside&) = delete;

private:
    ZanImage* image_;
    ZanROI* roi_;
};

// Exchange of two tiled images: each piece of the destination is kept in a
// private image while the source's piece replaces it, then goes to the
// source through the source's own tiles.
void exchangeBothTiled(OwnSite site, ZanImage* srcImage, ZanImage* dstImage, const ZanImage* mask,
                       int width, int height)
{
    const ZanTileInfo* tiles = dstImage->tileInfo;
    OwnImageOwner keep(zanCreateImageHeader(dstImage->nChannels, dstImage->alphaChannel,
                                            dstImage->depth, dstImage->colorModel,
                                            dstImage->channelSeq, dstImage->dataOrder,
                                            dstImage->origin, dstImage->align, tiles->width,
                                            tiles->height, nullptr, nullptr, nullptr, nullptr),
                       ZAN_FREE_ALL);
    if (keep && keep->depth == ZAN_DEPTH_32F)
        zanAllocateImageFP(keep.get(), 0, 0.0f);
    else if (keep)
        zanAllocateImage(keep.get(), 0, 0);
    if (zanGetErrStatus() < 0 || !keep) {
        OWN_BACKTRACE(site, "");
        return;
    }
    const int dstCoi = dstImage->roi ? dstImage->roi->coi : 0;
    const int srcCoi = srcImage->roi ? srcImage->roi->coi : 0;
    int srcX, srcY;
    ownRegionOrigin(srcImage, &srcX, &srcY);
    ZanROI keepRoi{dstCoi, 0, 0, 0, 0};
    keep->roi = &keepRoi;
    OwnTileGrid grid;
    ownTileGrid(dstImage, height, width, &grid);
    GridPair work(srcImage, dstImage, nullptr);
    OwnGridHeader maskWork(mask, true);
    ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        char* data = openOrReport(site, dstImage, piece, ZAN_TILE_WRITE);
        if (!data)
            return false;
        work.dst.placeInTile(piece, data);
        OwnBlock block;
        if (!fetchPiece(site, srcImage, piece, &work.src, &block)) {
            ownReleaseTile(dstImage, piece);
            return false;
        }
        if (mask)
            maskWork.placeOnRegion(piece);
        keepRoi.width = piece.width;
        keepRoi.height = piece.height;
        zanCopy(work.dst.get(), keep.get());
        work.dst.get()->maskROI = maskWork.get();
        zanCopy(work.src.get(), work.dst.get());
        work.dst.get()->maskROI = nullptr;
        block.reset();
        ownReleaseTile(dstImage, piece);

        ZanROI pieceRoi{srcCoi, srcX + piece.x, srcY + piece.y, piece.width, piece.height};
        MaskAside srcMask(srcImage);
        RoiAside srcRoi(srcImage, &pieceRoi);
        keep->maskROI = maskWork.get();
        zanCopy(keep.get(), srcImage);
        keep->maskROI = nullptr;
        if (zanGetErrStatus() < 0) {
            OWN_BACKTRACE(site, "");
            return false;
        }
        return true;
    });
    keep->roi = nullptr;
}

} // namespace

extern "C" {

ZAN_API void zanCopy(const ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanCopy", kSource};
    PairMask mask;
    int width, height;
    if (!preparePair(site, srcImage, dstImage, &mask, &width, &height))
        return;
    if (dstImage->depth == ZAN_DEPTH_1U && mask.get()) {
        copyMaskedBits(site, srcImage, dstImage, mask.get(), width, height);
        return;
    }
    if (srcImage->tileInfo || dstImage->tileInfo) {
        copyTiled(site, srcImage, dstImage, mask.get(), width, height);
        return;
    }
    movePlain(site, dstImage, srcImage, mask.get(), width, height, CopyAction{});
}

ZAN_API void zanExchange(ZanImage* srcImage, ZanImage* dstImage)
{
    const OwnSite site{"zanExchange", kSource};
    PairMask mask;
    int width, height;
    if (!preparePair(site, srcImage, dstImage, &mask, &width, &height))
        return;
    if (srcImage->tileInfo && dstImage->tileInfo)
        exchangeBothTiled(site, srcImage, dstImage, mask.get(), width, height);
    else if (srcImage->tileInfo || dstImage->tileInfo)
        exchangeOneTiled(site, srcImage, dstImage, mask.get(), width, height);
    else
        movePlain(site, dstImage, srcImage, mask.get(), width, height, SwapAction{});
}

ZAN_API void zanSet(ZanImage* dstImage, int value)
{
    const OwnSite site{"zanSet", kSource};
    if (zanCheckImageHeader(dstImage) != ZAN_STATUS_OK) {
        OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
        return;
    }
    if (dstImage->depth == ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_DEPTH, "You should use zanSetFP for this image");
        return;
    }
    value = ownClampToDepth(dstImage->depth, value);
    ZanImage* mask = dstImage->maskROI;
    int width, height;
    if (!commonSize({dstImage, mask}, &width, &height))
        return;
    if (dstImage->depth == ZAN_DEPTH_1U && mask) {
        // Set bits are the OR with the mask; clear ones the AND with its inverse.
        MaskAside aside(dstImage);
        if (value == 1) {
            zanOr(dstImage, mask, dstImage);
        } else {
            zanXorS(mask, mask, 1);
            zanAnd(dstImage, mask, dstImage);
            zanXorS(mask, mask, 1);
        }
        if (zanGetErrStatus() < 0)
            OWN_BACKTRACE(site, "");
        return;
    }
    if (!dstImage->tileInfo) {
        movePlain(site, dstImage, dstImage, mask, width, height,
                  FillAction{ownDepthPattern(dstImage->depth, value)});
        return;
    }
    OwnTileGrid grid;
    ownTileGrid(dstImage, height, width, &grid);
    OwnGridHeader work(dstImage, false);
    OwnGridHeader maskWork(mask, true);
    work.get()->maskROI = maskWork.get();
    ownGridWalk(grid, width, height, [&](const OwnGridPiece& piece) {
        if (mask)
            maskWork.placeOnRegion(piece);
        char* data = openOrReport(site, dstImage, piece, ZAN_TILE_WRITE);
        if (!data)
            return false;
        work.placeInTile(piece, data);
        zanSet(work.get(), value);
        ownReleaseTile(dstImage, piece);
        return zanGetErrStatus() >= 0;
    });
}

ZAN_API void zanSetFP(ZanImage* dstImage, float value)
{
    const OwnSite site{"zanSetFP", kSource};
    if (!dstImage) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "dstImage==0");
        return;
    }
    if (dstImage->depth != ZAN_DEPTH_32F) {
        OWN_REPORT(site, ZAN_STATUS_DEPTH, "You should use zanSet for this image");
        return;
    }
    // The float's bits are stored as a 32-bit integer would be.
    int bits;
    std::memcpy(&bits, &value, 4);
    dstImage->depth = ZAN_DEPTH_32S;
    zanSet(dstImage, bits);
    dstImage->depth = ZAN_DEPTH_32F;
    if (zanGetErrStatus() < 0)
        OWN_BACKTRACE(site, "");
}

} // extern "C"
