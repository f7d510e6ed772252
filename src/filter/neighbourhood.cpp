// The neighbourhood walk: pieces of the destination with a view of the
// source that covers each piece's windows.
#include "../core/own_bits.h"
#include "../core/own_grid.h"
#include "../core/own_memory.h"
#include "../core/own_rect.h"
#include "own_filter.h"

#include <algorithm>

namespace {

// A rectangle of the common region, in region coordinates.
struct Span {
    int x;
    int y;
    int width;
    int height;

    bool empty() const { return width <= 0 || height <= 0; }
};

std::ptrdiff_t planeStrideOf(const ZanImage* image, int step, int rows)
{
    return image->dataOrder == ZAN_DATA_ORDER_PLANE ? static_cast<std::ptrdiff_t>(step) * rows : 0;
}

OwnView imageView(const ZanImage* image, int x, int y)
{
    return OwnView{image->imageData + static_cast<std::ptrdiff_t>(y) * image->widthStep,
                   image->widthStep, x, planeStrideOf(image, image->widthStep, image->height)};
}

// One axis of a span: its start and its length along it.
struct Axis {
    int Span::*start;
    int Span::*length;
};

constexpr Axis kRows{&Span::y, &Span::height};
constexpr Axis kColumns{&Span::x, &Span::width};

// The part of rest before position end on an axis, taken off rest.
Span cutBefore(Span* rest, Axis axis, int end)
{
    Span piece = *rest;
    piece.*axis.length = std::clamp(end - rest->*axis.start, 0, rest->*axis.length);
    rest->*axis.start += piece.*axis.length;
    rest->*axis.length -= piece.*axis.length;
    return piece;
}

// The part of rest from position start on, taken off rest.
Span cutFrom(Span* rest, Axis axis, int start)
{
    Span piece = *rest;
    const int restEnd = rest->*axis.start + rest->*axis.length;
    piece.*axis.start = std::clamp(start, rest->*axis.start, restEnd);
    piece.*axis.length = restEnd - piece.*axis.start;
    rest->*axis.length -= piece.*axis.length;
    return piece;
}

class Walk {
public:
    Walk(const OwnNbhdSetup& setup, OwnNbhdRoutine routine) : s_(setup), routine_(routine)
    {
        if (s_.mask) {
            int width, height;
            maskBase_ = reinterpret_cast<const uint8_t*>(
                ownRegionStart(s_.mask, &width, &height, 0, &maskPhase_));
        }
    }

    OwnNbhdResult run()
    {
        const bool srcTiled = s_.src->tileInfo != nullptr;
        const bool same = s_.inPlace;
        if (s_.dst->tileInfo)
            return tiles(same);
        if (!srcTiled && !same)
            return strips();
        const Span all{0, 0, s_.width, s_.height};
        return throughBlock(all, imageView(s_.dst, s_.dstX, s_.dstY));
    }

private:
    OwnNbhdResult compute(const Span& span, const OwnView& src, const OwnView& dst)
    {
        OwnMaskView mask{};
        if (s_.mask)
            mask = OwnMaskView{maskBase_ + static_cast<std::ptrdiff_t>(span.y) * s_.mask->widthStep,
                               s_.mask->widthStep, maskPhase_ + span.x};
        const OwnNbhdPiece piece{src,         dst,        s_.mask ? &mask : nullptr,
                                 span.width, span.height, span.x,
                                 span.y};
        return routine_(piece) ? OWN_NBHD_DONE : OWN_NBHD_NO_MEMORY;
    }

    // The source of a span with its margins as a working rectangle.
    OwnNbhdResult throughBlock(const Span& span, const OwnView& dst)
    {
        const OwnMargins& m = s_.margins;
        const int rows = span.height + m.top + m.bottom;
        int step = 0;
        OwnBlock block(ownGetRect(s_.src, s_.srcX + span.x - m.left, s_.srcY + span.y - m.top,
                                  span.width + m.left + m.right, rows, &step));
        if (!block)
            return s_.src->tileInfo ? OWN_NBHD_NO_TILE : OWN_NBHD_NO_MEMORY;
        const OwnView src{block.get() + static_cast<std::ptrdiff_t>(m.top) * step, step, m.left,
                          planeStrideOf(s_.src, step, rows)};
        return compute(span, src, dst);
    }

    OwnView dstImageView(const Span& span) const
    {
        return imageView(s_.dst, s_.dstX + span.x, s_.dstY + span.y);
    }

    // Spans whose windows leave the image go through working rectangles,
    // the rest straight from the image.
    OwnNbhdResult strips()
    {
        const OwnMargins& m = s_.margins;
        Span rest{0, 0, s_.width, s_.height};
        const int topEnd = m.top - s_.srcY;
        const int bottomStart = s_.src->height - m.bottom - s_.srcY;
        const int leftEnd = m.left - s_.srcX;
        const int rightStart = s_.src->width - m.right - s_.srcX;
        const Span edges[4] = {cutBefore(&rest, kRows, topEnd), cutFrom(&rest, kRows, bottomStart),
                               cutBefore(&rest, kColumns, leftEnd),
                               cutFrom(&rest, kColumns, rightStart)};
        for (const Span& edge : edges) {
            if (edge.empty())
                continue;
            if (const OwnNbhdResult r = throughBlock(edge, dstImageView(edge)); r != OWN_NBHD_DONE)
                return r;
        }
        if (rest.empty())
            return OWN_NBHD_DONE;
        return compute(rest, imageView(s_.src, s_.srcX + rest.x, s_.srcY + rest.y),
                       dstImageView(rest));
    }

    // True when the span's windows lie inside the plain source.
    bool insideSource(const Span& span) const
    {
        const OwnMargins& m = s_.margins;
        const int x = s_.srcX + span.x;
        const int y = s_.srcY + span.y;
        return !s_.src->tileInfo && x - m.left >= 0 && y - m.top >= 0 &&
               x + span.width + m.right <= s_.src->width &&
               y + span.height + m.bottom <= s_.src->height;
    }

    // The destination's tiles in turn; an in-place source is copied whole
    // first, so that no piece reads pixels already changed.
    OwnNbhdResult tiles(bool same)
    {
        const OwnMargins& m = s_.margins;
        OwnBlock whole;
        OwnView wholeView{};
        if (same) {
            const int rows = s_.height + m.top + m.bottom;
            int step = 0;
            whole.reset(ownGetRect(s_.src, s_.srcX - m.left, s_.srcY - m.top,
                                   s_.width + m.left + m.right, rows, &step));
            if (!whole)
                return OWN_NBHD_NO_TILE;
            wholeView = OwnView{whole.get() + static_cast<std::ptrdiff_t>(m.top) * step, step,
                                m.left, planeStrideOf(s_.src, step, rows)};
        }
        ZanImage gridImage = *s_.dst;
        ZanROI gridRoi{0, s_.dstX, s_.dstY, s_.width, s_.height};
        gridImage.roi = &gridRoi;
        OwnTileGrid grid;
        ownTileGrid(&gridImage, s_.height, s_.width, &grid);
        const int tileStep = ownTileStep(s_.dst);
        OwnNbhdResult result = OWN_NBHD_DONE;
        ownGridWalk(grid, s_.width, s_.height, [&](const OwnGridPiece& piece) {
            char* tile = ownOpenTile(s_.dst, piece, ZAN_TILE_WRITE);
            if (!tile) {
                result = OWN_NBHD_NO_TILE;
                return false;
            }
            const Span span{piece.x, piece.y, piece.width, piece.height};
            const OwnView dst{tile + static_cast<std::ptrdiff_t>(piece.yInTile) * tileStep, tileStep,
                              piece.xInTile, planeStrideOf(s_.dst, tileStep, grid.tileHeight)};
            if (same) {
                OwnView src = wholeView;
                src.base += static_cast<std::ptrdiff_t>(span.y) * src.step;
                src.x0 += span.x;
                result = compute(span, src, dst);
            } else if (insideSource(span)) {
                result = compute(span, imageView(s_.src, s_.srcX + span.x, s_.srcY + span.y), dst);
            } else {
                result = throughBlock(span, dst);
            }
            ownReleaseTile(s_.dst, piece);
            return result == OWN_NBHD_DONE;
        });
        return result;
    }

    const OwnNbhdSetup& s_;
    OwnNbhdRoutine routine_;
    const uint8_t* maskBase_ = nullptr;
    int maskPhase_ = 0;
};

} // namespace

OwnNbhdResult ownNbhdWalk(const OwnNbhdSetup& setup, OwnNbhdRoutine routine)
{
    return Walk(setup, routine).run();
}

bool ownExpandBits(const OwnNbhdPiece& piece, const OwnMargins& margins, OwnExpandedBits* out)
{
    const int columns = piece.width + margins.left + margins.right;
    const int rows = piece.height + margins.top + margins.bottom;
    out->bytes = OwnBuffer<uint8_t>(static_cast<std::size_t>(columns) * rows);
    if (!out->bytes.ok())
        return false;
    for (int y = 0; y < rows; ++y) {
        const auto* bits = reinterpret_cast<const uint8_t*>(piece.src.row(y - margins.top));
        for (int x = 0; x < columns; ++x)
            out->bytes[static_cast<std::size_t>(y) * columns + x] =
                ownGetBit(bits, piece.src.x0 - margins.left + x);
    }
    out->rows = OwnLaneRows<uint8_t>{reinterpret_cast<const char*>(out->bytes.data()) +
                                         static_cast<std::ptrdiff_t>(margins.top) * columns +
                                         margins.left,
                                     columns, 1, 1};
    return true;
}

namespace {

ZanImage clampedBorders(const ZanImage* image)
{
    ZanImage copy = *image;
    for (int& value : copy.borderConst)
        value = ownClampToDepth(image->depth, value);
    return copy;
}

OwnRect maskedRegion(const ZanImage* image)
{
    OwnRect rect;
    ownRegionRect(image, &rect);
    if (image->maskROI) {
        OwnRect mask;
        ownRegionRect(image->maskROI, &mask);
        rect.width = std::min(rect.width, mask.width);
        rect.height = std::min(rect.height, mask.height);
    }
    return rect;
}

} // namespace

OwnNbhdArea::OwnNbhdArea(const ZanImage* srcImage, ZanImage* dstImage)
    : src_(clampedBorders(srcImage)), dst_(dstImage), inPlace_(srcImage == dstImage),
      srcRect_(maskedRegion(&src_)), dstRect_(maskedRegion(dstImage)),
      width_(std::min(srcRect_.width, dstRect_.width)),
      height_(std::min(srcRect_.height, dstRect_.height))
{
}

int OwnNbhdArea::mergeMasks()
{
    int state = OWN_MASK_KEPT;
    mask_ = ownMergeMasks(src_.maskROI, dst_->maskROI, nullptr, &state);
    if (state == OWN_MASK_MERGED)
        merged_ = OwnImageOwner(const_cast<ZanImage*>(mask_), ZAN_FREE_HEADER | ZAN_FREE_DATA);
    return state;
}

OwnNbhdSetup OwnNbhdArea::setup(const OwnMargins& margins) const
{
    return OwnNbhdSetup{&src_,       dst_,       srcRect_.x, srcRect_.y, dstRect_.x, dstRect_.y,
                        width_,      height_,    mask_,      margins,    inPlace_};
}
