// Private pieces shared by the window filters (morphology and blur): the
// channel lanes, and the reading and writing of one lane of a neighbourhood
// piece, 1-bit images included.
#pragma once

#include "../core/own_bits.h"
#include "../core/own_frame.h"
#include "own_filter.h"

#include <algorithm>
#include <utility>

// Channels processed by an image: 1 with a coi, else all but alpha.
int ownProcessedChannels(const ZanImage* image);

// The lanes of two images whose processed channel counts agree.
OwnLanes ownWindowLanes(const ZanImage* src, const ZanImage* dst);

// Reads one lane of a piece's source, samples as T; 1-bit sources are
// expanded to bytes of 0 and 1 first.
template <class T>
class OwnLaneReader {
public:
    // False when memory ran out.
    bool open(const OwnNbhdPiece& piece, const OwnLane& lane, const OwnMargins& margins,
              bool bits)
    {
        group_ = lane.group;
        if (!bits) {
            rows_ = ownLaneRows<T>(piece.src, lane);
            return true;
        }
        OwnExpandedBits expanded;
        if (!ownExpandBits(piece, margins, &expanded))
            return false;
        bytes_ = std::move(expanded.bytes);
        rows_ = OwnLaneRows<T>{expanded.rows.base, expanded.rows.step, 1, 1};
        return true;
    }

    int group() const { return group_; }

    // Sample s of pixel x in row y, piece coordinates.
    const T& at(int y, int x, int s) const
    {
        return rows_.at(y, 0)[(static_cast<std::ptrdiff_t>(x) * group_ + s) * rows_.jStep];
    }

    // count samples of row y from pixel x on, in lane order, into out.
    void copy(int y, int x, int count, T* out) const
    {
        const T* from = &at(y, x, 0);
        if (rows_.jStep == 1) {
            std::copy(from, from + count, out);
            return;
        }
        for (int i = 0; i < count; ++i)
            out[i] = from[static_cast<std::ptrdiff_t>(i) * rows_.jStep];
    }

private:
    OwnLaneRows<T> rows_{};
    OwnBuffer<uint8_t> bytes_;
    int group_ = 1;
};

// Writes one lane of a piece's destination where its mask allows; 1-bit
// destinations take bit x0 + x of a row.
template <class T>
class OwnLaneWriter {
public:
    OwnLaneWriter(const OwnNbhdPiece& piece, const OwnLane& lane, bool bits)
        : out_(ownLaneOut<T>(piece.dst, lane)), dst_(piece.dst), mask_(piece.mask), bits_(bits)
    {
    }

    bool writes(int y, int x) const
    {
        return !mask_ || ownGetBit(mask_->row(y), mask_->x0 + x);
    }

    // Sample s of pixel x in row y; the caller has asked writes(y, x).
    void put(int y, int x, int s, T value) const
    {
        if (bits_) {
            ownSetBit(reinterpret_cast<uint8_t*>(dst_.row(y)), dst_.x0 + x, value != 0);
            return;
        }
        out_.row(y)[(static_cast<std::ptrdiff_t>(x) * out_.group + s) * out_.jStep] = value;
    }

    // Row y of the piece, width pixels of group samples each.
    void putRow(int y, int width, int group, const T* values) const
    {
        if (!bits_ && !mask_ && out_.jStep == 1) {
            std::copy(values, values + static_cast<std::ptrdiff_t>(width) * group, out_.row(y));
            return;
        }
        for (int x = 0; x < width; ++x)
            if (writes(y, x))
                for (int s = 0; s < group; ++s)
                    put(y, x, s, values[x * group + s]);
    }

private:
    OwnLaneOut<T> out_;
    OwnView dst_;
    const OwnMaskView* mask_;
    bool bits_;
};
