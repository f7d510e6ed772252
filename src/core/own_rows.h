// Row routines of the pixelwise frame, written once for every operation.
//
// An operation supplies a per-value functor over the sample type T of the
// sources and D of the destination (D is T unless the operation names it):
//   D operator()(T a) const            one source
//   D operator()(T a, T b) const       two sources
// and may add a vector kernel for contiguous runs that returns how many
// values it did; the scalar functor finishes the run from there:
//   std::size_t run(D* d, const T* a, std::size_t n) const
//   std::size_t run(D* d, const T* a, const T* b, std::size_t n) const
// 1-bit operations supply a functor over whole bytes of bits instead.
#pragma once

#include "own_bits.h"
#include "own_frame.h"

#include <algorithm>
#include <cstddef>

namespace own_rows {

// One image's region as a routine walks it.
struct Region {
    char* start;
    int width;
    int height;
    int bitOffset;
    int step;                  // bytes from row to row
    int pixelStride;           // values from pixel to pixel
    std::ptrdiff_t planeStride; // bytes from plane to plane (plane order)
};

inline Region regionOf(const ZanImage* image, int channel)
{
    Region region;
    region.start = ownRegionStart(image, &region.width, &region.height, channel, &region.bitOffset);
    region.step = image->widthStep;
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    region.pixelStride = planes ? 1 : image->nChannels;
    region.planeStride = planes ? static_cast<std::ptrdiff_t>(image->height) * image->widthStep : 0;
    return region;
}

template <class T>
T* rowOf(const Region& region, int plane, int y)
{
    return reinterpret_cast<T*>(region.start + plane * region.planeStride +
                                static_cast<std::ptrdiff_t>(y) * region.step);
}

template <class Op, class T, class D = T>
concept UnaryKernel = requires(const Op& op, D* d, const T* a, std::size_t n) {
    { op.run(d, a, n) } -> std::convertible_to<std::size_t>;
};

template <class Op, class T, class D = T>
concept BinaryKernel = requires(const Op& op, D* d, const T* a, const T* b, std::size_t n) {
    { op.run(d, a, b, n) } -> std::convertible_to<std::size_t>;
};

// The sources of a routine, one or two.
template <class T, int N>
struct Sources {
    const T* p[N];
};

template <class T, int N, class Op>
inline auto applyAt(const Op& op, const Sources<T, N>& s, std::ptrdiff_t i)
{
    if constexpr (N == 1)
        return op(s.p[0][i]);
    else
        return op(s.p[0][i], s.p[1][i]);
}

// A contiguous run: the vector kernel takes what it can, the functor the rest.
template <class T, int N, class Op, class D>
inline void contiguousRun(const Op& op, D* d, const Sources<T, N>& s, std::size_t n)
{
    std::size_t done = 0;
    if constexpr (N == 1 && UnaryKernel<Op, T, D>)
        done = op.run(d, s.p[0], n);
    else if constexpr (N == 2 && BinaryKernel<Op, T, D>)
        done = op.run(d, s.p[0], s.p[1], n);
    for (std::size_t i = done; i < n; ++i)
        d[i] = applyAt<T, N>(op, s, static_cast<std::ptrdiff_t>(i));
}

// The images of a piece in routine order: sources first, destination last.
template <int N>
struct PieceImages {
    const ZanImage* src[N];
    ZanImage* dst;
};

template <int N>
PieceImages<N> imagesOf(const OwnPiece& piece)
{
    PieceImages<N> images;
    for (int i = 0; i < N; ++i)
        images.src[i] = piece.src[i];
    images.dst = piece.dst;
    return images;
}

// Runs op once over the whole data blocks when the piece allows it.
template <class T, int N, class D, class Op>
bool wholeBlockRun(const OwnPiece& piece, const Op& op)
{
    const PieceImages<N> images = imagesOf<N>(piece);
    ZanImage* dst = images.dst;
    if (sizeof(D) != sizeof(T) || piece.mask ||
        !ownWholeBlock(images.src[0], N == 2 ? images.src[N - 1] : dst, N == 2 ? dst : nullptr,
                       piece.plan->anyAlpha))
        return false;
    Sources<T, N> s;
    for (int i = 0; i < N; ++i)
        s.p[i] = reinterpret_cast<const T*>(images.src[i]->imageData);
    contiguousRun<T, N>(op, reinterpret_cast<D*>(dst->imageData), s,
                        static_cast<std::size_t>(dst->imageSize) / sizeof(T));
    return true;
}

// The regions of a piece's images from their first planned channels, the
// mask's region, and the size they have in common.
template <int N>
struct PieceRegions {
    Region src[N];
    Region out;
    Region mask;
    int width;
    int height;
};

template <int N>
PieceRegions<N> regionsOf(const OwnPiece& piece)
{
    const OwnChannelPlan& plan = *piece.plan;
    PieceRegions<N> r{};
    r.out = regionOf(piece.dst, plan.firstChannel[OWN_DST]);
    r.width = r.out.width;
    r.height = r.out.height;
    for (int i = 0; i < N; ++i) {
        r.src[i] = regionOf(piece.src[i], plan.firstChannel[i]);
        r.width = std::min(r.width, r.src[i].width);
        r.height = std::min(r.height, r.src[i].height);
    }
    if (piece.mask) {
        r.mask = regionOf(piece.mask, 0);
        r.width = std::min(r.width, r.mask.width);
        r.height = std::min(r.height, r.mask.height);
    }
    return r;
}

} // namespace own_rows

// Applies op to the values of the piece's region: whole block, contiguous
// rows, strided runs or masked pixels, as the images and the plan allow.
// The destination's samples are of type D.
template <class T, int N, class D = T, class Op>
void ownPixelRows(const OwnPiece& piece, const Op& op)
{
    using namespace own_rows;
    if (wholeBlockRun<T, N, D>(piece, op))
        return;
    const OwnChannelPlan& plan = *piece.plan;
    const auto [src, out, mask, width, height] = regionsOf<N>(piece);
    if (width <= 0 || height <= 0)
        return;

    const bool planes = piece.dst->dataOrder == ZAN_DATA_ORDER_PLANE;
    const int planeCount = planes ? plan.channelCount : 1;
    const int valuesPerPixel = planes ? 1 : plan.channelCount;

    // Rows whose values all lie next to each other go as one run.
    if (!piece.mask && (planes || (plan.noCoi && !plan.anyAlpha))) {
        const std::size_t run = static_cast<std::size_t>(width) * valuesPerPixel;
        for (int plane = 0; plane < planeCount; ++plane) {
            for (int y = 0; y < height; ++y) {
                Sources<T, N> s;
                for (int i = 0; i < N; ++i)
                    s.p[i] = rowOf<T>(src[i], plane, y);
                contiguousRun<T, N>(op, rowOf<D>(out, plane, y), s, run);
            }
        }
        return;
    }

    // Strided and alpha-skipping runs, and masked pixels: one value at a time.
    for (int plane = 0; plane < planeCount; ++plane) {
        for (int y = 0; y < height; ++y) {
            Sources<T, N> s;
            for (int i = 0; i < N; ++i)
                s.p[i] = rowOf<T>(src[i], plane, y);
            D* d = rowOf<D>(out, plane, y);
            const uint8_t* maskRow =
                piece.mask ? reinterpret_cast<const uint8_t*>(rowOf<char>(mask, 0, y)) : nullptr;
            for (int x = 0; x < width; ++x) {
                if (maskRow && !ownGetBit(maskRow, mask.bitOffset + x))
                    continue;
                for (int c = 0; c < valuesPerPixel; ++c) {
                    Sources<T, N> at;
                    for (int i = 0; i < N; ++i)
                        at.p[i] = s.p[i] + static_cast<std::ptrdiff_t>(x) * src[i].pixelStride + c;
                    d[static_cast<std::ptrdiff_t>(x) * out.pixelStride + c] = applyAt<T, N>(op, at, 0);
                }
            }
        }
    }
}

// Applies a bytewise bit operation to the piece's 1-bit region: whole block,
// rows aligned to the destination's bit phase, or masked bits.
template <int N, class ByteOp>
void ownBitRows(const OwnPiece& piece, const ByteOp& op)
{
    using namespace own_rows;
    if (wholeBlockRun<uint8_t, N, uint8_t>(piece, op))
        return;
    const auto [src, out, mask, width, height] = regionsOf<N>(piece);
    if (width <= 0 || height <= 0)
        return;

    for (int y = 0; y < height; ++y) {
        const uint8_t* s[N];
        for (int i = 0; i < N; ++i)
            s[i] = rowOf<uint8_t>(src[i], 0, y);
        uint8_t* d = rowOf<uint8_t>(out, 0, y);
        if (piece.mask) {
            const uint8_t* maskRow = rowOf<uint8_t>(mask, 0, y);
            for (int x = 0; x < width; ++x) {
                if (!ownGetBit(maskRow, mask.bitOffset + x))
                    continue;
                uint8_t bits;
                if constexpr (N == 1)
                    bits = op(ownGetBit(s[0], src[0].bitOffset + x) ? 0xFF : 0x00);
                else
                    bits = op(ownGetBit(s[0], src[0].bitOffset + x) ? 0xFF : 0x00,
                              ownGetBit(s[1], src[1].bitOffset + x) ? 0xFF : 0x00);
                ownSetBit(d, out.bitOffset + x, bits & 1u);
            }
            continue;
        }
        // Destination bytes in turn, each source's bits shifted to its phase.
        for (int x = 0; x < width;) {
            const int position = out.bitOffset + x;
            const int first = position & 7;
            const int count = std::min(8 - first, width - x);
            uint8_t bits;
            if constexpr (N == 1)
                bits = op(ownFetchBits(s[0], src[0].bitOffset + x, count));
            else
                bits = op(ownFetchBits(s[0], src[0].bitOffset + x, count),
                          ownFetchBits(s[1], src[1].bitOffset + x, count));
            ownStoreBits(d + (position >> 3), bits, first, count);
            x += count;
        }
    }
}
