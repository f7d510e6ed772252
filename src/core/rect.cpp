// Working rectangles of plain and tiled images, with the outside filled by
// the border modes of the image's sides.
//
// A position outside the image is governed by one side: rows above and below
// the image (corners included) by the top and bottom sides, columns beside
// the image's own rows by the left and right sides. The governing side's
// constant fills it, or its mode maps both coordinates back into the image.
#include "own_bits.h"
#include "own_memory.h"
#include "own_rect.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kTop = ZAN_SIDE_TOP_INDEX;
constexpr int kBottom = ZAN_SIDE_BOTTOM_INDEX;
constexpr int kLeft = ZAN_SIDE_LEFT_INDEX;
constexpr int kRight = ZAN_SIDE_RIGHT_INDEX;
constexpr int kConstantColumn = INT_MIN;

int sideMode(const ZanImage* image, int side) { return image->borderMode[side] & 3; }

// Pixels of the image as a plain block: the image's own data, or a copy of
// the part of a tiled image that the rectangle needs.
struct Pixels {
    const char* data;
    int step;
    std::ptrdiff_t planeStride;
    int x0; // image column of the block's first column
    int y0; // image row of the block's first row
};

struct Layout {
    int bits;
    int planes;          // planes in the block: nChannels in plane order, else 1
    int samplesPerPixel; // samples of one pixel within a plane
    bool oneBit;
};

Layout layoutOf(const ZanImage* image)
{
    Layout layout;
    layout.bits = ownDepthBits(image->depth);
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    layout.planes = planes ? image->nChannels : 1;
    layout.samplesPerPixel = planes ? 1 : image->nChannels;
    layout.oneBit = layout.bits == 1;
    return layout;
}

int roundUp(int value, int align) { return (value + align - 1) / align * align; }

// Copies count pixels from column sx of a source row to column dx of a
// target row, within one plane.
void copyPixels(const Layout& layout, const char* source, int sx, char* target, int dx, int count)
{
    if (count <= 0)
        return;
    if (layout.oneBit) {
        ownCopyBits(reinterpret_cast<const uint8_t*>(source), sx, reinterpret_cast<uint8_t*>(target),
                    dx, count);
        return;
    }
    const std::size_t pixelBytes = static_cast<std::size_t>(layout.samplesPerPixel) * layout.bits / 8;
    std::memcpy(target + dx * pixelBytes, source + sx * pixelBytes, count * pixelBytes);
}

// Fills bytes with a 32-bit pattern that repeats a sample: the run starts on
// a sample and the sample's size divides 4, so byte k is byte k mod 4 of it.
void fillBytes(char* target, std::size_t count, uint32_t pattern)
{
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        std::memcpy(target + i, &pattern, 4);
    for (; i < count; ++i)
        target[i] = static_cast<char>(pattern >> (8 * (i & 3)));
}

// Stores a side's constant into count pixels of a target row.
void fillPixels(const Layout& layout, uint32_t pattern, char* target, int dx, int count)
{
    if (count <= 0)
        return;
    if (layout.oneBit) {
        for (int i = 0; i < count; ++i)
            ownSetBit(reinterpret_cast<uint8_t*>(target), dx + i, pattern & 1u);
        return;
    }
    const std::size_t pixelBytes = static_cast<std::size_t>(layout.samplesPerPixel) * layout.bits / 8;
    fillBytes(target + dx * pixelBytes, count * pixelBytes, pattern);
}

// Bytes from source, source - 1, ... to consecutive bytes of target: eight
// at a time with their order swapped, then one by one.
void reverseBytes(char* target, const char* source, int count)
{
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        uint64_t word;
        std::memcpy(&word, source - i - 7, 8);
        word = __builtin_bswap64(word);
        std::memcpy(target + i, &word, 8);
    }
    for (; i < count; ++i)
        target[i] = source[-i];
}

template <std::size_t Bytes>
void stridedPixels(char* target, const char* source, std::ptrdiff_t sourceStep, int count)
{
    for (int i = 0; i < count; ++i)
        std::memcpy(target + i * Bytes, source + i * sourceStep, Bytes);
}

// Copies count pixels to consecutive columns of a target row from source
// columns sx, sx + step, ...: step -1 walks backward, step 0 repeats one
// pixel. Pixel sizes of the usual layouts get fixed-size moves.
void copyStepped(const Layout& layout, const char* source, int sx, int step, char* target, int dx,
                 int count)
{
    if (layout.oneBit) {
        for (int i = 0; i < count; ++i)
            copyPixels(layout, source, sx + i * step, target, dx + i, 1);
        return;
    }
    const std::size_t pixelBytes = static_cast<std::size_t>(layout.samplesPerPixel) * layout.bits / 8;
    char* to = target + dx * pixelBytes;
    const char* from = source + sx * pixelBytes;
    const std::ptrdiff_t sourceStep = step * static_cast<std::ptrdiff_t>(pixelBytes);
    if (pixelBytes == 1 && step == 0) {
        std::memset(to, *from, static_cast<std::size_t>(count));
        return;
    }
    if (pixelBytes == 1 && step == -1) {
        reverseBytes(to, from, count);
        return;
    }
    switch (pixelBytes) {
    case 1: stridedPixels<1>(to, from, sourceStep, count); break;
    case 2: stridedPixels<2>(to, from, sourceStep, count); break;
    case 3: stridedPixels<3>(to, from, sourceStep, count); break;
    case 4: stridedPixels<4>(to, from, sourceStep, count); break;
    case 6: stridedPixels<6>(to, from, sourceStep, count); break;
    case 8: stridedPixels<8>(to, from, sourceStep, count); break;
    case 12: stridedPixels<12>(to, from, sourceStep, count); break;
    case 16: stridedPixels<16>(to, from, sourceStep, count); break;
    default:
        for (int i = 0; i < count; ++i)
            std::memcpy(to + i * pixelBytes, from + i * sourceStep, pixelBytes);
    }
}

// Where each column of the rectangle comes from under one governing mode
// per side: an image column, or kConstantColumn.
void mapColumns(const ZanImage* image, int x, int width, int leftMode, int rightMode, int* columns)
{
    for (int i = 0; i < width; ++i) {
        const int c = x + i;
        if (c < 0)
            columns[i] = leftMode == ZAN_BORDER_CONSTANT ? kConstantColumn
                                                         : ownBorderMap(c, image->width, leftMode);
        else if (c >= image->width)
            columns[i] = rightMode == ZAN_BORDER_CONSTANT ? kConstantColumn
                                                          : ownBorderMap(c, image->width, rightMode);
        else
            columns[i] = c;
    }
}

// A run of the rectangle's columns that come from the image in one way:
// image columns forward (step 1) or backward (step -1), one column repeated
// (step 0), or the constant of the side left (pattern 0) or right (1) of the
// image.
struct Segment {
    int target;
    int count;
    int source; // first image column, or kConstantColumn
    int step;
    int pattern;
};

// Cuts a column map into segments, once for all the rows that share it;
// returns how many there are.
int segmentColumns(const int* columns, int x, int width, Segment* segments)
{
    int n = 0;
    for (int i = 0; i < width;) {
        Segment& segment = segments[n++];
        segment = Segment{i, 1, columns[i], 1, x + i < 0 ? 0 : 1};
        if (columns[i] == kConstantColumn) {
            while (i + segment.count < width && columns[i + segment.count] == kConstantColumn &&
                   (x + i + segment.count < 0) == (x + i < 0))
                ++segment.count;
        } else if (i + 1 < width && columns[i + 1] != kConstantColumn &&
                   std::abs(columns[i + 1] - columns[i]) <= 1) {
            segment.step = columns[i + 1] - columns[i];
            while (i + segment.count < width && columns[i + segment.count] != kConstantColumn &&
                   columns[i + segment.count] - columns[i + segment.count - 1] == segment.step)
                ++segment.count;
        }
        i += segment.count;
    }
    return n;
}

// Copies one row of the rectangle, segment by segment.
void assembleRow(const Layout& layout, const Pixels& pixels, int imageRow, const Segment* segments,
                 int segmentCount, const uint32_t (&pattern)[2], char* target,
                 std::ptrdiff_t targetPlaneStride)
{
    for (int plane = 0; plane < layout.planes; ++plane) {
        const char* source = pixels.data + plane * pixels.planeStride +
                             static_cast<std::ptrdiff_t>(imageRow - pixels.y0) * pixels.step;
        char* row = target + plane * targetPlaneStride;
        for (int k = 0; k < segmentCount; ++k) {
            const Segment& s = segments[k];
            if (s.source == kConstantColumn)
                fillPixels(layout, pattern[s.pattern], row, s.target, s.count);
            else if (s.step == 1)
                copyPixels(layout, source, s.source - pixels.x0, row, s.target, s.count);
            else
                copyStepped(layout, source, s.source - pixels.x0, s.step, row, s.target, s.count);
        }
    }
}

// A block holding image rows y0..y1 and columns x0..x1 of a tiled image,
// read tile row by tile row: the tiles of a row are opened left to right
// and released right to left.
class TileReader {
public:
    explicit TileReader(const ZanImage* image) : image_(image), layout_(layoutOf(image)) {}

    bool read(int x0, int x1, int y0, int y1, Pixels* pixels)
    {
        const ZanTileInfo* tiles = image_->tileInfo;
        x0 -= x0 % 8; // whole bytes of 1-bit rows
        const int width = x1 - x0 + 1;
        const int height = y1 - y0 + 1;
        step_ = roundUp(ownRowBytes(image_, width), 4);
        const std::ptrdiff_t planeStride = static_cast<std::ptrdiff_t>(step_) * height;
        block_ = OwnBuffer<char>(static_cast<std::size_t>(planeStride) * layout_.planes);
        if (!block_.ok())
            return false;
        const int tileStep = ownRowStep(image_->dataOrder, image_->depth, image_->align,
                                        image_->nChannels, tiles->width);
        const std::ptrdiff_t tilePlane = static_cast<std::ptrdiff_t>(tileStep) * tiles->height;
        const int firstColumn = x0 / tiles->width;
        const int lastColumn = x1 / tiles->width;
        const int columnCount = lastColumn - firstColumn + 1;
        OwnBuffer<char*> opened(static_cast<std::size_t>(columnCount));
        if (!opened.ok())
            return false;
        for (int row = y0 / tiles->height; row <= y1 / tiles->height; ++row) {
            const int top = std::max(y0, row * tiles->height);
            const int bottom = std::min(y1, row * tiles->height + tiles->height - 1);
            int open = 0;
            bool failed = false;
            for (int column = firstColumn; column <= lastColumn; ++column) {
                tiles->callBack(image_, column, row, ZAN_TILE_READ);
                char* data = tiles->tileData;
                if (!data) {
                    failed = true;
                    break;
                }
                opened[open++] = data;
                const int left = std::max(x0, column * tiles->width);
                const int right = std::min(x1, column * tiles->width + tiles->width - 1);
                for (int plane = 0; plane < layout_.planes; ++plane) {
                    for (int y = top; y <= bottom; ++y) {
                        const char* from = data + plane * tilePlane +
                                           static_cast<std::ptrdiff_t>(y - row * tiles->height) * tileStep;
                        char* to = block_.data() + plane * planeStride +
                                   static_cast<std::ptrdiff_t>(y - y0) * step_;
                        copyPixels(layout_, from, left - column * tiles->width, to, left - x0,
                                   right - left + 1);
                    }
                }
            }
            // Tiles opened so far are given back, right to left.
            for (int column = firstColumn + open - 1; column >= firstColumn; --column)
                tiles->callBack(image_, column, row, ZAN_TILE_RELEASE);
            if (failed)
                return false;
        }
        *pixels = Pixels{block_.data(), step_, planeStride, x0, y0};
        return true;
    }

private:
    const ZanImage* image_;
    Layout layout_;
    OwnBuffer<char> block_;
    int step_ = 0;
};

// The smallest and largest entries of a column map, constants aside; false
// when all are constant.
bool columnSpan(const int* columns, int width, int* low, int* high)
{
    *low = INT_MAX;
    *high = INT_MIN;
    for (int i = 0; i < width; ++i) {
        if (columns[i] == kConstantColumn)
            continue;
        *low = std::min(*low, columns[i]);
        *high = std::max(*high, columns[i]);
    }
    return *low <= *high;
}

} // namespace

int ownBorderMap(int c, int length, int mode)
{
    switch (mode) {
    case ZAN_BORDER_REPLICATE:
        return c < 0 ? 0 : c >= length ? length - 1 : c;
    case ZAN_BORDER_REFLECT: {
        const long long period = 2LL * length;
        long long m = ((c + static_cast<long long>(length)) % period + period) % period - length;
        return static_cast<int>(m < 0 ? -m - 1 : m);
    }
    case ZAN_BORDER_WRAP: {
        const long long m = (static_cast<long long>(c) % length + length) % length;
        return static_cast<int>(m);
    }
    default:
        return c;
    }
}

uint32_t ownBorderPattern(const ZanImage* image, int side)
{
    const int value = image->borderConst[side];
    if (image->depth == ZAN_DEPTH_32F) {
        const float f = static_cast<float>(value);
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        return bits;
    }
    return ownDepthPattern(image->depth, value);
}

int ownRowBytes(const ZanImage* image, int width)
{
    const long long bits = static_cast<long long>(width) * ownDepthBits(image->depth) *
                           (image->dataOrder == ZAN_DATA_ORDER_PLANE ? 1 : image->nChannels);
    return static_cast<int>((bits + 7) / 8);
}

char* ownGetRect(const ZanImage* image, int x, int y, int width, int height, int* outWidthStep)
{
    if (!image || !ownIsDepth(image->depth) || !ownIsAlign(image->align) || width < 1 || height < 1)
        return nullptr;
    if (!image->imageData && !image->tileInfo)
        return nullptr;
    const Layout layout = layoutOf(image);
    const int step = roundUp(ownRowBytes(image, width), image->align);
    const std::ptrdiff_t planeStride = static_cast<std::ptrdiff_t>(step) * height;
    const std::size_t blockBytes = static_cast<std::size_t>(planeStride) * layout.planes;
    OwnBuffer<char> block(blockBytes + 16);
    if (!block.ok())
        return nullptr;
    if (layout.oneBit)
        std::memset(block.data(), 0, blockBytes + 16);

    // Column maps of the image's own rows, and of the rows above and below,
    // and their segments.
    OwnBuffer<int> columns(3 * static_cast<std::size_t>(width));
    OwnBuffer<Segment> segmentBlock(3 * static_cast<std::size_t>(width));
    if (!columns.ok() || !segmentBlock.ok())
        return nullptr;
    int* inside = columns.data();
    int* above = inside + width;
    int* below = above + width;
    mapColumns(image, x, width, sideMode(image, kLeft), sideMode(image, kRight), inside);
    mapColumns(image, x, width, sideMode(image, kTop), sideMode(image, kTop), above);
    mapColumns(image, x, width, sideMode(image, kBottom), sideMode(image, kBottom), below);
    const Segment* insideSegments = segmentBlock.data();
    const Segment* aboveSegments = insideSegments + width;
    const Segment* belowSegments = aboveSegments + width;
    const int insideCount = segmentColumns(inside, x, width, segmentBlock.data());
    const int aboveCount = segmentColumns(above, x, width, segmentBlock.data() + width);
    const int belowCount = segmentColumns(below, x, width, segmentBlock.data() + 2 * width);

    // Where each row comes from: an image row, or a constant side.
    auto rowSource = [&](int r, int* side) {
        if (r < 0) {
            *side = kTop;
        } else if (r >= image->height) {
            *side = kBottom;
        } else {
            *side = -1;
            return r;
        }
        const int mode = sideMode(image, *side);
        return mode == ZAN_BORDER_CONSTANT ? kConstantColumn : ownBorderMap(r, image->height, mode);
    };

    Pixels pixels{image->imageData, image->widthStep,
                  static_cast<std::ptrdiff_t>(image->height) * image->widthStep, 0, 0};
    TileReader reader(image);
    if (image->tileInfo) {
        // The part of the image that the rectangle reads, found from the maps.
        int x0 = INT_MAX, x1 = INT_MIN, y0 = INT_MAX, y1 = INT_MIN;
        for (int j = 0; j < height; ++j) {
            int side;
            const int r = rowSource(y + j, &side);
            if (r == kConstantColumn)
                continue;
            int low, high;
            const int* map = side == kTop ? above : side == kBottom ? below : inside;
            if (!columnSpan(map, width, &low, &high))
                continue;
            x0 = std::min(x0, low);
            x1 = std::max(x1, high);
            y0 = std::min(y0, r);
            y1 = std::max(y1, r);
        }
        if (x0 <= x1 && !reader.read(x0, x1, y0, y1, &pixels))
            return nullptr;
    }

    const uint32_t topPattern = ownBorderPattern(image, kTop);
    const uint32_t bottomPattern = ownBorderPattern(image, kBottom);
    const uint32_t besidePatterns[2] = {ownBorderPattern(image, kLeft), ownBorderPattern(image, kRight)};
    for (int j = 0; j < height; ++j) {
        int side;
        const int r = rowSource(y + j, &side);
        char* target = block.data() + static_cast<std::ptrdiff_t>(j) * step;
        const uint32_t strip = side == kTop ? topPattern : bottomPattern;
        if (r == kConstantColumn) {
            // A constant strip fills its rows across the whole stride.
            for (int plane = 0; plane < layout.planes; ++plane)
                fillBytes(target + plane * planeStride, static_cast<std::size_t>(step), strip);
            continue;
        }
        if (side >= 0) {
            const uint32_t stripPatterns[2] = {strip, strip};
            const bool top = side == kTop;
            assembleRow(layout, pixels, r, top ? aboveSegments : belowSegments,
                        top ? aboveCount : belowCount, stripPatterns, target, planeStride);
        } else {
            assembleRow(layout, pixels, r, insideSegments, insideCount, besidePatterns, target,
                        planeStride);
        }
    }
    if (outWidthStep)
        *outWidthStep = step;
    return block.release();
}

ZanImage* ownRectHeader(const ZanImage* image, char* block, int width, int height, int widthStep)
{
    ZanImage* header = zanCreateImageHeader(image->nChannels, image->alphaChannel, image->depth,
                                            image->colorModel, image->channelSeq, image->dataOrder,
                                            image->origin, image->align, width, height, nullptr,
                                            nullptr, nullptr, nullptr);
    if (!header)
        return nullptr;
    header->imageData = block;
    header->widthStep = widthStep;
    header->imageSize = ownBlockSize(image->dataOrder, widthStep, height, image->nChannels);
    std::memcpy(header->borderMode, image->borderMode, sizeof header->borderMode);
    std::memcpy(header->borderConst, image->borderConst, sizeof header->borderConst);
    return header;
}
