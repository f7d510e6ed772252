// Bit fields of 1-bit rows, whose leftmost pixel is the most significant bit
// of a byte.
#pragma once

#include <cstddef>
#include <cstdint>

// count (1..8) bits of a row starting at bit position, left-aligned in the
// result. The byte after the first is read only when the bits reach into it.
inline uint8_t ownFetchBits(const uint8_t* row, int position, int count)
{
    const uint8_t* byte = row + (position >> 3);
    const int shift = position & 7;
    unsigned value = static_cast<unsigned>(byte[0]) << shift;
    if (shift + count > 8)
        value |= static_cast<unsigned>(byte[1]) >> (8 - shift);
    return static_cast<uint8_t>(value);
}

// Byte mask of the bits first .. first + count - 1 (counted from the most
// significant bit).
inline uint8_t ownBitSpan(int first, int count)
{
    return static_cast<uint8_t>((0xFFu >> first) & (0xFFu << (8 - first - count)));
}

// Stores the count leading bits of bits at bit first of byte, keeping the
// byte's other bits.
inline void ownStoreBits(uint8_t* byte, uint8_t bits, int first, int count)
{
    const uint8_t span = ownBitSpan(first, count);
    *byte = static_cast<uint8_t>((*byte & ~span) | ((bits >> first) & span));
}

inline bool ownGetBit(const uint8_t* row, int position)
{
    return (row[position >> 3] >> (7 - (position & 7))) & 1u;
}

inline void ownSetBit(uint8_t* row, int position, bool value)
{
    const uint8_t bit = static_cast<uint8_t>(0x80u >> (position & 7));
    if (value)
        row[position >> 3] |= bit;
    else
        row[position >> 3] &= static_cast<uint8_t>(~bit);
}
