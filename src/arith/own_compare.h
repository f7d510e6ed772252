// The comparison family's own frame: regions with their channel spans, the
// merged mask of the processed size and the walk over the tiles of one
// image, column by column, that hands views of each piece to a routine.
#pragma once

#include "../color/own_color.h"
#include "../core/own_bits.h"

#include <algorithm>
#include <cstdint>

// An image's region and the channels it compares, counted from 1.
struct OwnCompareRegion {
    int x;
    int y;
    int width;
    int height;
    int firstChannel;
    int lastChannel;
};

// The region of an image: its ROI cut at the image's right and bottom edges,
// or the whole image. False for an image whose only channel is alpha, or
// whose alpha channel is not the last.
bool ownCompareRegion(const ZanImage* image, OwnCompareRegion* region);

// Views of one piece: the sources at their first compared channel, the
// result's first bit and the merged mask's first bit (data null: no mask).
struct OwnComparePiece {
    OwnView src[2];
    OwnView res;
    OwnView mask;
    int width;
    int height;
};

using OwnCompareRoutine = OwnFunctionRef<void(const OwnComparePiece& piece)>;

// A validated comparison: the operands, their regions and the processed size.
struct OwnCompareJob {
    OwnSite site;
    const ZanImage* src[2]; // src[1] null in the forms with a scalar
    ZanImage* res;
    OwnCompareRegion region[2];
    OwnCompareRegion resRegion;
    int width;
    int height;
};

// Makes the merged mask of the job's masks, runs the routine over the
// processed rectangle, whole or piece by piece along the tiles of the walker
// image, and frees the mask. Returns 0 or the failure status it reported.
ZanStatus ownCompareRun(const OwnCompareJob& job, OwnCompareRoutine routine);

// A sample of a view's row: pixel x in channel c; bits read as 0 and 1.
template <class T>
inline T ownCompareSample(const OwnView& view, const char* row, int x, int c)
{
    if constexpr (std::is_same_v<T, bool>)
        return ownGetBit(reinterpret_cast<const uint8_t*>(row), view.bitOffset + x);
    else
        return *reinterpret_cast<const T*>(row + x * view.pixelStep + c * view.channelStep);
}

// Result bits gathered byte by byte: each byte of the row is read once and
// written once, with only the bits that were set or cleared changed.
class OwnBitWriter {
public:
    OwnBitWriter(uint8_t* row, int bitOffset) : row_(row), position_(bitOffset) {}
    ~OwnBitWriter() { flush(); }
    OwnBitWriter(const OwnBitWriter&) = delete;
    OwnBitWriter& operator=(const OwnBitWriter&) = delete;

    // Writes the bit of pixel x (counted from the row's first bit).
    void put(int x, bool value)
    {
        const int position = position_ + x;
        if ((position >> 3) != byte_) {
            flush();
            byte_ = position >> 3;
        }
        const uint8_t bit = static_cast<uint8_t>(0x80u >> (position & 7));
        written_ |= bit;
        bits_ |= static_cast<uint8_t>(bit & -static_cast<unsigned>(value));
    }

private:
    void flush()
    {
        if (written_)
            row_[byte_] = static_cast<uint8_t>((row_[byte_] & ~written_) | bits_);
        written_ = 0;
        bits_ = 0;
    }

    uint8_t* row_;
    int position_;
    int byte_ = 0;
    uint8_t written_ = 0;
    uint8_t bits_ = 0;
};

// One-channel rows whose samples lie side by side in every source.
template <class T, int N>
inline bool ownCompareContiguous(const OwnComparePiece& piece)
{
    for (int i = 0; i < N; ++i) {
        if (piece.src[i].pixelStep != static_cast<std::ptrdiff_t>(sizeof(T)))
            return false;
    }
    return true;
}

// Result bytes of `count` (a multiple of 8) contiguous samples: the outcomes
// of a block go to a byte array in a loop the compiler vectorises, then eight
// at a time into one byte, first sample in the high bit.
template <class T, class Holds>
void ownCompareBytes(const T* a, int count, uint8_t* out, const Holds& holds)
{
    constexpr int kBlock = 256;
    alignas(16) uint8_t outcome[kBlock];
    for (int done = 0; done < count; done += kBlock) {
        const int n = std::min(kBlock, count - done);
        for (int i = 0; i < n; ++i)
            outcome[i] = static_cast<uint8_t>(holds(done + i, a));
        for (int i = 0; i < n; i += 8) {
            uint64_t flags = 0;
            for (int k = 0; k < 8; ++k)
                flags |= static_cast<uint64_t>(outcome[i + k]) << (8 * k);
            *out++ = static_cast<uint8_t>((flags * 0x8040201008040201ull) >> 56);
        }
    }
}

// One row of the comparison routine; Fixed, when not 0, is the channel count
// known at compile time.
template <class T, int N, int Fixed, class Holds>
void ownCompareRow(const OwnComparePiece& piece, int count, const Holds& holds, int y)
{
    auto rowOf = [](const OwnView& view, int y) {
        return view.data + static_cast<std::ptrdiff_t>(y) * view.rowStep;
    };
    const char* src[N];
    for (int i = 0; i < N; ++i)
        src[i] = rowOf(piece.src[i], y);
    const int channels = Fixed ? Fixed : count;
    // Every channel is compared, without a branch on the outcome.
    auto pixelHolds = [&](int x) {
        bool all = true;
        for (int c = 0; c < channels; ++c) {
            if constexpr (N == 1)
                all &= holds(ownCompareSample<T>(piece.src[0], src[0], x, c));
            else
                all &= holds(ownCompareSample<T>(piece.src[0], src[0], x, c),
                             ownCompareSample<T>(piece.src[1], src[1], x, c));
        }
        return all;
    };
    auto* resRow = reinterpret_cast<uint8_t*>(rowOf(piece.res, y));
    if (piece.mask.data) {
        const auto* maskRow = reinterpret_cast<const uint8_t*>(rowOf(piece.mask, y));
        OwnBitWriter out(resRow, piece.res.bitOffset);
        for (int x = 0; x < piece.width; ++x) {
            if (ownGetBit(maskRow, piece.mask.bitOffset + x))
                out.put(x, pixelHolds(x));
        }
        return;
    }
    // Without a mask, each byte of the result is gathered whole.
    auto storeByte = [&](int x, int n) {
        const int position = piece.res.bitOffset + x;
        unsigned bits = 0;
        for (int k = 0; k < n; ++k)
            bits = (bits << 1) | static_cast<unsigned>(pixelHolds(x + k));
        ownStoreBits(resRow + (position >> 3), static_cast<uint8_t>(bits << (8 - n)), position & 7, n);
    };
    int x = 0;
    if constexpr (Fixed == 1 && !std::is_same_v<T, bool>) {
        if (ownCompareContiguous<T, N>(piece)) {
            const int head = std::min((8 - (piece.res.bitOffset & 7)) & 7, piece.width);
            if (head)
                storeByte(0, head);
            const int whole = (piece.width - head) & ~7;
            uint8_t* out = resRow + ((piece.res.bitOffset + head) >> 3);
            if constexpr (N == 1)
                ownCompareBytes(reinterpret_cast<const T*>(src[0]) + head, whole, out,
                                [&](int i, const T* a) { return holds(a[i]); });
            else
                ownCompareBytes(reinterpret_cast<const T*>(src[0]) + head, whole, out,
                                [&](int i, const T* a) {
                                    return holds(a[i], reinterpret_cast<const T*>(src[1])[head + i]);
                                });
            x = head + whole;
        }
    }
    for (; x < piece.width;) {
        const int n = std::min(8 - ((piece.res.bitOffset + x) & 7), piece.width - x);
        storeByte(x, n);
        x += n;
    }
}

// The comparison routine over N sources of sample type T: in each row, for
// each pixel whose mask bit is set, the result bit is whether holds(a) or
// holds(a, b) is true for all channels 0 .. count-1. One and three channels
// have forms of their own, which give the same bits.
template <class T, int N, class Holds>
void ownCompareRows(const OwnComparePiece& piece, int count, const Holds& holds)
{
    for (int y = 0; y < piece.height; ++y) {
        if (count == 1)
            ownCompareRow<T, N, 1>(piece, count, holds, y);
        else if (count == 3)
            ownCompareRow<T, N, 3>(piece, count, holds, y);
        else
            ownCompareRow<T, N, 0>(piece, count, holds, y);
    }
}
