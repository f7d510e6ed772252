// The BI_RLE8 and BI_RLE4 streams: a decoder that checks every command
// against the picture's bounds and the stream's end, and the encoders that
// compress a DIB's packed rows in place when that pays.
#include "own_dib.h"
#include "own_rle.h"

#include "../core/own_memory.h"

#include <climits>
#include <cstring>

namespace {

constexpr const char* kSource = "ownrle";

// The texts of the four stream faults, for each of the two formats.
struct StreamTexts {
    const char* width;
    const char* height;
    const char* delta;
    const char* bounds;
    const char* noDecodeMemory;
    const char* noEncodeMemory;
};

constexpr StreamTexts kRle8Texts{
    "Incorrect format of BI_RLE8 DIB (mismatch biWidth)",
    "Incorrect format of BI_RLE8 DIB (mismatch biHeight)",
    "Incorrect format of BI_RLE8 DIB (bad Delta command)",
    "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)",
    "Not enough memory to decompress BI_RLE8 DIB at DIB",
    "Not enough memory to compress DIB at BI_RLE8 DIB",
};

constexpr StreamTexts kRle4Texts{
    "Incorrect format of BI_RLE4 DIB (mismatch biWidth)",
    "Incorrect format of BI_RLE4 DIB (mismatch biHeight)",
    "Incorrect format of BI_RLE4 DIB (bad Delta command)",
    "Incorrect format of BI_RLE4 DIB (mismatch biHeight or biWidth)",
    "Not enough memory to decompress BI_RLE4 DIB at DIB",
    "Not enough memory to compress DIB at BI_RLE4 DIB",
};

// The geometry of a compressed picture: pixels of 8 or 4 bits in rows of
// whole 32-bit words, height rows in stored order.
struct RleShape {
    bool nibbles;
    int64_t width;
    int64_t height;
    int64_t rowStep;
    const StreamTexts* texts;
};

RleShape rleShape(const BITMAPINFOHEADER* dib)
{
    const bool nibbles = dib->biCompression == BI_RLE4;
    return RleShape{nibbles, dib->biWidth, dib->biHeight, ownRLERowStep(dib),
                    nibbles ? &kRle4Texts : &kRle8Texts};
}

// The largest block this codec allocates; zanMalloc's length is an int.
bool blockFits(int64_t bytes) { return bytes > 0 && bytes <= INT_MAX; }

// Nibble `index` of a packed row, the high one first.
inline uint8_t nibbleAt(const uint8_t* row, int64_t index)
{
    const uint8_t byte = row[index >> 1];
    return (index & 1) ? byte & 0x0F : byte >> 4;
}

inline void storeNibble(uint8_t* row, int64_t index, uint8_t value)
{
    uint8_t& byte = row[index >> 1];
    byte = (index & 1) ? static_cast<uint8_t>((byte & 0xF0) | (value & 0x0F))
                       : static_cast<uint8_t>((byte & 0x0F) | (value << 4));
}

// ---------------------------------------------------------------------------
// Decoding

// A stream of commands read no further than its end (null for a stream that
// only its commands bound).
class StreamReader {
public:
    StreamReader(const uint8_t* start, const uint8_t* end) : start_(start), at_(start), end_(end) {}

    bool has(std::size_t bytes) const
    {
        return !end_ || static_cast<std::size_t>(end_ - at_) >= bytes;
    }
    uint8_t next() { return *at_++; }
    const uint8_t* take(std::size_t bytes)
    {
        const uint8_t* bytesAt = at_;
        at_ += bytes;
        return bytesAt;
    }
    // Moves to the next even offset from the stream's start, if the stream
    // goes on that far.
    void alignToWord()
    {
        if (((at_ - start_) & 1) && has(1))
            ++at_;
    }

private:
    const uint8_t* start_;
    const uint8_t* at_;
    const uint8_t* end_;
};

class Decoder {
public:
    Decoder(const RleShape& shape, uint8_t* block, OwnSite site)
        : shape_(shape), block_(block), site_(site)
    {
    }

    // Runs the commands until the end of the bitmap (true) or a fault, which
    // it reports (false).
    bool run(StreamReader& in)
    {
        while (col_ <= shape_.width && row_ <= shape_.height) {
            if (!in.has(2))
                return fail(shape_.texts->bounds);
            const uint8_t count = in.next();
            const uint8_t value = in.next();
            if (count != 0) {
                if (!writeRun(count, value))
                    return fail(shape_.texts->bounds);
                continue;
            }
            switch (value) {
            case 0:
                if (col_ != shape_.width)
                    return fail(shape_.texts->width);
                ++row_;
                col_ = 0;
                break;
            case 1:
                if (row_ != shape_.height && row_ != shape_.height - 1)
                    return fail(shape_.texts->height);
                return true;
            case 2:
                if (!in.has(2))
                    return fail(shape_.texts->bounds);
                col_ += in.next();
                row_ += in.next();
                if (col_ > shape_.width || row_ > shape_.height)
                    return fail(shape_.texts->delta);
                break;
            default:
                if (!writeLiteral(in, value))
                    return fail(shape_.texts->bounds);
                break;
            }
        }
        return fail(shape_.texts->bounds);
    }

private:
    bool fail(const char* text)
    {
        OWN_REPORT(site_, ZAN_STATUS_BAD_ARGUMENT, text);
        return false;
    }

    // True when n pixels fit at the current position.
    bool fits(int64_t n) const { return row_ < shape_.height && col_ + n <= shape_.width; }

    uint8_t* currentRow() const { return block_ + row_ * shape_.rowStep; }

    bool writeRun(int n, uint8_t value)
    {
        if (!fits(n))
            return false;
        uint8_t* row = currentRow();
        if (shape_.nibbles)
            for (int i = 0; i < n; ++i)
                storeNibble(row, col_ + i, (i & 1) ? value & 0x0F : value >> 4);
        else
            std::memset(row + col_, value, static_cast<std::size_t>(n));
        col_ += n;
        return true;
    }

    bool writeLiteral(StreamReader& in, int n)
    {
        const std::size_t bytes = shape_.nibbles ? (n + 1) / 2 : n;
        if (!fits(n) || !in.has(bytes))
            return false;
        const uint8_t* packed = in.take(bytes);
        uint8_t* row = currentRow();
        if (shape_.nibbles)
            for (int i = 0; i < n; ++i)
                storeNibble(row, col_ + i, nibbleAt(packed, i));
        else
            std::memcpy(row + col_, packed, bytes);
        col_ += n;
        in.alignToWord();
        return true;
    }

    const RleShape& shape_;
    uint8_t* block_;
    OwnSite site_;
    int64_t col_ = 0;
    int64_t row_ = 0;
};

uint8_t* decode(const BITMAPINFOHEADER* dib, const uint8_t* stream, OwnSite site)
{
    const RleShape shape = rleShape(dib);
    const int64_t bytes = shape.rowStep * shape.height;
    OwnBuffer<uint8_t> block(blockFits(bytes) ? static_cast<std::size_t>(bytes) : 0);
    if (!blockFits(bytes) || !block.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, shape.texts->noDecodeMemory);
        return nullptr;
    }
    // Pixels that a move skips read as index 0.
    std::memset(block.data(), 0, block.size());
    StreamReader in(stream, dib->biSizeImage ? stream + dib->biSizeImage : nullptr);
    Decoder decoder(shape, block.data(), site);
    return decoder.run(in) ? block.release() : nullptr;
}

// ---------------------------------------------------------------------------
// Encoding

// Appends commands to the encoder's block.
class StreamWriter {
public:
    explicit StreamWriter(uint8_t* out) : start_(out), at_(out) {}
    void put(uint8_t a, uint8_t b)
    {
        at_[0] = a;
        at_[1] = b;
        at_ += 2;
    }
    void put(uint8_t a) { *at_++ = a; }
    void padToWord()
    {
        if ((at_ - start_) & 1)
            put(0);
    }
    std::size_t size() const { return static_cast<std::size_t>(at_ - start_); }
    const uint8_t* data() const { return start_; }

private:
    uint8_t* start_;
    uint8_t* at_;
};

void encodeRow8(const uint8_t* p, int w, StreamWriter& out)
{
    int i = 0;
    while (i < w - 3) {
        const uint8_t a = p[i], b = p[i + 1], c = p[i + 2], d = p[i + 3];
        if (a == b) {
            int count = 2;
            while (i + count < w && p[i + count] == a && count < 255)
                ++count;
            out.put(static_cast<uint8_t>(count), a);
            i += count;
        } else if (b == c) {
            out.put(1, a);
            i += 1;
        } else if (c == d) {
            out.put(1, a);
            out.put(1, b);
            i += 2;
        } else {
            int n = 3;
            while (i + n < w && n < 255 &&
                   !(i + n + 2 < w && p[i + n] == p[i + n + 1] && p[i + n + 1] == p[i + n + 2]))
                ++n;
            out.put(0, static_cast<uint8_t>(n));
            for (int k = 0; k < n; ++k)
                out.put(p[i + k]);
            out.padToWord();
            i += n;
        }
    }
    for (; i < w; ++i)
        out.put(1, p[i]);
    out.put(0, 0);
}

// The nibbles of one packed row of w pixels.
class NibbleRow {
public:
    NibbleRow(const uint8_t* row, int w) : row_(row), w_(w) {}
    uint8_t operator[](int index) const { return nibbleAt(row_, index); }
    // Nibbles index, index + 1 ... equal nibbles other, other + 1 ..., all
    // of them within the row.
    bool same(int index, int other, int count) const
    {
        if (index + count > w_ || other + count > w_)
            return false;
        for (int k = 0; k < count; ++k)
            if ((*this)[index + k] != (*this)[other + k])
                return false;
        return true;
    }

private:
    const uint8_t* row_;
    int w_;
};

inline uint8_t packNibbles(uint8_t high, uint8_t low) { return static_cast<uint8_t>(high << 4 | low); }

// The run of the pair x0 x1 repeated from c; its length in nibbles.
int pairRunLength(const NibbleRow& x, int c, int w)
{
    int count = 4;
    while (c + count < w && count < 255) {
        if (x.same(c + count, c, 2)) {
            count += 2;
            continue;
        }
        if (x[c + count] == x[c])
            ++count;
        break;
    }
    return count > 255 ? 255 : count;
}

// The nibbles of a literal from c, at least 3.
int literalLength(const NibbleRow& x, int c, int w)
{
    int n = 3;
    while (c + n < w && n < 255) {
        const int y = c + n;
        if (x.same(y + 1, y + 3, 2)) {
            if (x[y] != x[y + 2])
                ++n;
            break;
        }
        n += 2;
    }
    return n > w - c ? w - c : n;
}

void emitLiteral4(const NibbleRow& x, int c, int n, StreamWriter& out)
{
    out.put(0, static_cast<uint8_t>(n));
    for (int k = 0; k < n; k += 2)
        out.put(packNibbles(x[c + k], k + 1 < n ? x[c + k + 1] : 0));
    out.padToWord();
}

void encodeRow4(const uint8_t* row, int w, StreamWriter& out)
{
    const NibbleRow x(row, w);
    int c = 0;
    while (c < w - 5) {
        const uint8_t x0 = x[c], x1 = x[c + 1], x2 = x[c + 2], x3 = x[c + 3], x4 = x[c + 4];
        if (x1 == x3 && x0 == x2) {
            const int count = pairRunLength(x, c, w);
            out.put(static_cast<uint8_t>(count), packNibbles(x0, x1));
            c += count;
        } else if (x1 == x3 && x2 == x4) {
            out.put(1, packNibbles(x0, 0));
            c += 1;
        } else if (x1 == x3) {
            out.put(2, packNibbles(x0, x1));
            out.put(1, packNibbles(x2, 0));
            c += 3;
        } else if (x2 == x4) {
            out.put(2, packNibbles(x0, x1));
            c += 2;
        } else {
            const int n = literalLength(x, c, w);
            emitLiteral4(x, c, n, out);
            c += n;
        }
    }
    for (; c + 1 < w; c += 2)
        out.put(2, packNibbles(x[c], x[c + 1]));
    if (c < w)
        out.put(1, packNibbles(x[c], 0));
    out.put(0, 0);
}

// Encodes the rows at pixels; returns false after a report when the block
// for the stream can't be had.
bool encode(BITMAPINFOHEADER* dib, uint8_t* pixels, OwnSite site)
{
    const RleShape shape = rleShape(dib);
    const int64_t pixelBytes = shape.rowStep * shape.height;
    // Two bytes a pixel and a row, the end, and a literal's padding.
    const int64_t worst = (2 * shape.width + 4) * shape.height + 4;
    OwnBuffer<uint8_t> block(blockFits(worst) ? static_cast<std::size_t>(worst) : 0);
    if (!blockFits(worst) || !block.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, shape.texts->noEncodeMemory);
        return false;
    }
    StreamWriter out(block.data());
    const int w = static_cast<int>(shape.width);
    for (int64_t y = 0; y < shape.height; ++y) {
        const uint8_t* row = pixels + y * shape.rowStep;
        if (shape.nibbles)
            encodeRow4(row, w, out);
        else
            encodeRow8(row, w, out);
    }
    out.put(0, 1);
    if (static_cast<int64_t>(out.size()) < pixelBytes) {
        std::memcpy(pixels, out.data(), out.size());
        dib->biSizeImage = static_cast<uint32_t>(out.size());
    } else {
        dib->biCompression = BI_RGB;
    }
    return true;
}

} // namespace

uint8_t* ownRLE8Row(const uint8_t* row, int width, uint8_t* out)
{
    StreamWriter writer(out);
    encodeRow8(row, width, writer);
    return out + writer.size();
}

uint8_t* ownRLE4Row(const uint8_t* row, int width, uint8_t* out)
{
    StreamWriter writer(out);
    encodeRow4(row, width, writer);
    return out + writer.size();
}

int64_t ownRLERowStep(const BITMAPINFOHEADER* dib)
{
    const int64_t width = dib->biWidth;
    const int64_t bytes = dib->biCompression == BI_RLE4 ? width / 2 + width % 2 : width;
    return (bytes + 3) & ~int64_t{3};
}

uint8_t* ownRLEDecode(const BITMAPINFOHEADER* dib, const char* function)
{
    return decode(dib, ownDIBBits(dib), OwnSite{function, kSource});
}

uint8_t* ownRLEDecodeSep(const BITMAPINFOHEADER* dibHeader, const uint8_t* dibData, const char* function)
{
    return decode(dibHeader, dibData, OwnSite{function, kSource});
}

int ownRLEEncode(BITMAPINFOHEADER* dib, const char* function)
{
    return encode(dib, ownDIBBits(dib), OwnSite{function, kSource}) ? 1 : 0;
}

int ownRLEEncodeSep(BITMAPINFOHEADER* dibHeader, uint8_t* dibData, const char* function)
{
    return encode(dibHeader, dibData, OwnSite{function, kSource}) ? 0 : ZAN_STATUS_NO_MEMORY;
}
