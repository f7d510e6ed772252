// Shared pieces of the measurements: the walk that presents a region of a
// plain or tiled image as plain pieces, and the sample views of a piece.
#pragma once

#include "../core/own_grid.h"
#include "../core/own_rows.h"

#include <cstddef>

// One piece of a measured region: plain headers whose ROI is the piece (the
// mask's ROI its matching part, or no mask), and the image coordinates of
// the piece's first pixel.
struct OwnMeasurePiece {
    const ZanImage* image;
    const ZanImage* mask;
    int x;
    int y;
};

// Walks width by height pixels from the region start of image (and of mask,
// which may be null): one piece for a plain image; for a tiled one each tile
// the region touches, rows of tiles from the top, opened for reading and
// released after the visit. Returns false when a tile gave no data (the
// walk stops there, the tile not released) or when visit returns false.
bool ownMeasureWalk(const ZanImage* image, const ZanImage* mask, int width, int height,
                    OwnFunctionRef<bool(const OwnMeasurePiece&)> visit);

// Samples of type T of one channel of a piece: row y, sample i of the row.
template <class T>
struct OwnChannelRows {
    explicit OwnChannelRows(const ZanImage* image, int channel)
        : region(own_rows::regionOf(image, channel))
    {
    }
    const T* row(int y) const { return own_rows::rowOf<T>(region, 0, y); }
    T at(const T* row, int x) const { return row[static_cast<std::ptrdiff_t>(x) * region.pixelStride]; }
    own_rows::Region region;
};
