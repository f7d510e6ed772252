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

// Stores the count (1..8) leading bits of bits at bit position of a row,
// across a byte boundary if need be, keeping the row's other bits.
inline void ownPutBits(uint8_t* row, int position, uint8_t bits, int count)
{
    uint8_t* byte = row + (position >> 3);
    const int first = position & 7;
    const int head = count < 8 - first ? count : 8 - first;
    ownStoreBits(byte, bits, first, head);
    if (head < count)
        ownStoreBits(byte + 1, static_cast<uint8_t>(bits << head), 0, count - head);
}

// Copies count bits from bit position from of one row to bit position to of
// another, a destination byte at a time; the target's other bits stay.
inline void ownCopyBits(const uint8_t* source, int from, uint8_t* target, int to, int count)
{
    for (int i = 0; i < count;) {
        const int position = to + i;
        const int first = position & 7;
        const int n = count - i < 8 - first ? count - i : 8 - first;
        ownStoreBits(target + (position >> 3), ownFetchBits(source, from + i, n), first, n);
        i += n;
    }
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
