// Views of sample blocks and the walk over the tiles of a source and a
// destination together.
#include "own_color.h"

#include <algorithm>

namespace {

// The one open tile of an image during a walk; an untiled image is a single
// tile that is always open.
class TileCursor {
public:
    TileCursor(const ZanImage* image, int mode) : image_(image), mode_(mode)
    {
        const ZanTileInfo* tiles = image->tileInfo;
        tileWidth_ = tiles ? tiles->width : image->width;
        tileHeight_ = tiles ? tiles->height : image->height;
        step_ = tiles ? ownTileStep(image) : image->widthStep;
    }
    TileCursor(const TileCursor&) = delete;
    TileCursor& operator=(const TileCursor&) = delete;

    bool tiled() const { return image_->tileInfo != nullptr; }
    // Columns from x to the right edge of its tile, and rows from y to the
    // bottom or, upward, to the top edge of its tile.
    int columnsFrom(int x) const { return tileWidth_ - x % tileWidth_; }
    int rowsFrom(int y, bool upward) const { return upward ? y % tileHeight_ + 1 : tileHeight_ - y % tileHeight_; }

    // Makes the tile that holds (x, y) the open one; false when the callback
    // gave no data for it.
    bool moveTo(int x, int y)
    {
        if (!tiled())
            return true;
        const int column = x / tileWidth_;
        const int row = y / tileHeight_;
        if (data_ && column == column_ && row == row_)
            return true;
        close();
        image_->tileInfo->callBack(image_, column, row, mode_);
        data_ = image_->tileInfo->tileData;
        column_ = column;
        row_ = row;
        return data_ != nullptr;
    }

    void close()
    {
        if (!data_)
            return;
        image_->tileInfo->callBack(image_, column_, row_, ZAN_TILE_RELEASE);
        data_ = nullptr;
    }

    OwnView view(int x, int y) const
    {
        if (!tiled())
            return ownImageView(image_, x, y);
        return ownBlockView(image_, data_, step_, tileHeight_, x - column_ * tileWidth_,
                            y - row_ * tileHeight_);
    }

private:
    const ZanImage* image_;
    int mode_;
    int tileWidth_;
    int tileHeight_;
    int step_;
    char* data_ = nullptr;
    int column_ = 0;
    int row_ = 0;
};

} // namespace

OwnView ownBlockView(const ZanImage* image, char* block, int step, int blockHeight, int x, int y)
{
    const int bits = ownDepthBits(image->depth);
    const std::ptrdiff_t sampleBytes = bits / 8;
    OwnView view{};
    view.rowStep = step;
    char* row = block + static_cast<std::ptrdiff_t>(y) * step;
    if (bits == 1) {
        view.data = row + x / 8;
        view.bitOffset = x % 8;
        return view;
    }
    if (image->dataOrder == ZAN_DATA_ORDER_PLANE) {
        view.pixelStep = sampleBytes;
        view.channelStep = static_cast<std::ptrdiff_t>(step) * blockHeight;
    } else {
        view.pixelStep = sampleBytes * image->nChannels;
        view.channelStep = sampleBytes;
    }
    view.data = row + x * view.pixelStep;
    return view;
}

bool ownFirstRefusal(OwnSite site, const OwnTest* tests, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (tests[i].failed) {
            OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, tests[i].text);
            return true;
        }
    }
    return false;
}

bool ownHeadersRefused(OwnSite site, const ZanImage* src, const ZanImage* dst)
{
    for (const ZanImage* image : {src, dst}) {
        if (zanCheckImageHeader(image) != ZAN_STATUS_OK) {
            OWN_REPORT(site, zanGetErrStatus(), "Incorrect Image");
            return true;
        }
    }
    return false;
}

OwnPairArea ownRegionArea(const ZanImage* src, const ZanImage* dst)
{
    OwnRect s;
    OwnRect d;
    ownRegionRect(src, &s);
    ownRegionRect(dst, &d);
    return OwnPairArea{s.x, s.y, d.x, d.y, std::min(s.width, d.width), std::min(s.height, d.height), false};
}

bool ownPairWalk(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnPairArea& area,
                 bool stopOnStatus, OwnPairRoutine routine)
{
    const bool shared = src == dst;
    TileCursor target(dst, ZAN_TILE_WRITE);
    TileCursor source(src, ZAN_TILE_READ);
    TileCursor& from = shared ? target : source;
    auto finish = [&](bool done) {
        target.close();
        source.close();
        return done;
    };

    for (int y = 0; y < area.height;) {
        const int dy = area.dstY + y;
        const int sy = area.flip ? area.srcY + area.height - 1 - y : area.srcY + y;
        const int height = std::min({area.height - y, target.rowsFrom(dy, false),
                                     from.rowsFrom(sy, area.flip)});
        for (int x = 0; x < area.width;) {
            const int dx = area.dstX + x;
            const int sx = area.srcX + x;
            const int width = std::min({area.width - x, target.columnsFrom(dx), from.columnsFrom(sx)});
            if (!target.moveTo(dx, dy)) {
                OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(dstImage->tileInfo->tileData == NULL)");
                return finish(false);
            }
            if (!from.moveTo(sx, sy)) {
                OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(srcImage->tileInfo->tileData == NULL)");
                return finish(false);
            }
            if (stopOnStatus && (target.tiled() || from.tiled()) && zanGetErrStatus() < 0)
                return finish(false);
            OwnView in = from.view(sx, sy);
            if (area.flip)
                in.rowStep = -in.rowStep;
            routine(in, target.view(dx, dy), x, y, width, height);
            x += width;
        }
        y += height;
    }
    return finish(true);
}
