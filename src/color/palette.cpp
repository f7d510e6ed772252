// Palettes of a DIB: the layout facts of header and palette, the standard
// palettes, the nearest entry to a colour and the median-cut palette fitted
// to an image.
#include "own_dib.h"

#include "../core/own_memory.h"

#include <algorithm>
#include <cstring>

namespace {

// One palette entry: blue, green, red, reserved.
void setEntry(uint8_t* palette, int index, int blue, int green, int red)
{
    uint8_t* entry = palette + 4 * index;
    entry[0] = static_cast<uint8_t>(blue);
    entry[1] = static_cast<uint8_t>(green);
    entry[2] = static_cast<uint8_t>(red);
    entry[3] = 0;
}

// The 16 colours of the standard 4-bit palette, as blue, green, red.
constexpr uint8_t kStandard16[16][3] = {
    {0, 0, 0},       {0, 0, 128},   {0, 128, 0},   {0, 128, 128},
    {128, 0, 0},     {128, 0, 128}, {128, 128, 0}, {128, 128, 128},
    {192, 192, 192}, {0, 0, 255},   {0, 255, 0},   {0, 255, 255},
    {255, 0, 0},     {255, 0, 255}, {255, 255, 0}, {255, 255, 255},
};

constexpr uint8_t kLevels4[4] = {0, 64, 128, 255};
constexpr uint8_t kLevels8[8] = {0, 32, 64, 96, 128, 160, 192, 255};

void grayRamp(uint8_t* palette, int count)
{
    for (int i = 0; i < count; ++i) {
        const int v = i * 255 / (count - 1);
        setEntry(palette, i, v, v, v);
    }
}

// ---------------------------------------------------------------------------
// Median cut

constexpr int kColourCells = 1 << 18;
constexpr int kAxes = 3;

// A box of the histogram: bounds in cells on each axis (red, green, blue in
// colour; only the first axis, in gray values, in gray).
struct Box {
    bool open;
    int lo[kAxes];
    int hi[kAxes];
    uint32_t count;
};

// The histogram and the boxes of one median cut.
class MedianCut {
public:
    MedianCut(const uint32_t* cells, bool colour) : cells_(cells), colour_(colour) {}

    // Fills boxes (room for n) until there are n of them or none is open.
    int split(Box* boxes, int n, uint32_t pixels) const
    {
        Box whole{true, {0, 0, 0}, {colour_ ? 63 : 255, colour_ ? 63 : 0, colour_ ? 63 : 0}, pixels};
        shrink(whole);
        whole.open = true;
        boxes[0] = whole;
        int used = 1;
        bool progress = true;
        while (used < n && progress) {
            progress = false;
            const int standing = used;
            for (int i = 0; i < standing && used < n; ++i) {
                if (!boxes[i].open)
                    continue;
                cut(boxes[i], boxes[used]);
                ++used;
                progress = true;
            }
        }
        return used;
    }

    // The mean colour of a box as blue, green, red.
    void mean(const Box& box, int (&bgr)[3]) const
    {
        uint64_t sums[kAxes] = {0, 0, 0};
        forEachCell(box, [&](int r, int g, int b, uint32_t count) {
            if (colour_) {
                sums[0] += uint64_t{count} * 4 * r;
                sums[1] += uint64_t{count} * 4 * g;
                sums[2] += uint64_t{count} * 4 * b;
            } else {
                sums[0] += uint64_t{count} * r;
            }
        });
        const uint64_t n = box.count ? box.count : 1;
        if (!colour_) {
            bgr[0] = bgr[1] = bgr[2] = static_cast<int>(sums[0] / n);
            return;
        }
        bgr[0] = static_cast<int>(sums[2] / n);
        bgr[1] = static_cast<int>(sums[1] / n);
        bgr[2] = static_cast<int>(sums[0] / n);
    }

private:
    int axes() const { return colour_ ? 3 : 1; }

    uint32_t cell(int r, int g, int b) const { return cells_[r + 64 * g + 4096 * b]; }

    template <class Fn>
    void forEachCell(const Box& box, Fn&& fn) const
    {
        for (int b = box.lo[2]; b <= box.hi[2]; ++b)
            for (int g = box.lo[1]; g <= box.hi[1]; ++g)
                for (int r = box.lo[0]; r <= box.hi[0]; ++r)
                    if (const uint32_t count = cell(r, g, b))
                        fn(r, g, b, count);
    }

    // Pixels in plane `plane` of an axis within the box's other bounds.
    uint32_t planeCount(const Box& box, int axis, int plane) const
    {
        Box slice = box;
        slice.lo[axis] = slice.hi[axis] = plane;
        uint32_t total = 0;
        forEachCell(slice, [&](int, int, int, uint32_t count) { total += count; });
        return total;
    }

    void shrink(Box& box) const
    {
        for (int axis = 0; axis < axes(); ++axis) {
            while (box.lo[axis] < box.hi[axis] && planeCount(box, axis, box.lo[axis]) == 0)
                ++box.lo[axis];
            while (box.hi[axis] > box.lo[axis] && planeCount(box, axis, box.hi[axis]) == 0)
                --box.hi[axis];
        }
        box.open = false;
        for (int axis = 0; axis < axes(); ++axis)
            box.open = box.open || box.lo[axis] != box.hi[axis];
    }

    // Red if it is at least as long as the others, else blue if longer than
    // green, else green.
    static int longestAxis(const Box& box)
    {
        int len[kAxes];
        for (int axis = 0; axis < kAxes; ++axis)
            len[axis] = box.hi[axis] - box.lo[axis] + 1;
        if (len[0] >= len[1] && len[0] >= len[2])
            return 0;
        return len[1] < len[2] ? 2 : 1;
    }

    // Splits box into its lower half, kept in place, and its upper half.
    void cut(Box& box, Box& upper) const
    {
        const int axis = colour_ ? longestAxis(box) : 0;
        const uint32_t half = box.count / 2;
        uint32_t before = 0;
        int last = box.lo[axis];
        for (int plane = box.lo[axis]; plane <= box.hi[axis]; ++plane) {
            const uint32_t running = before + planeCount(box, axis, plane);
            if (running > half) {
                last = (half - before < running - half) ? plane - 1 : plane;
                if (last < box.lo[axis])
                    last = box.lo[axis];
                break;
            }
            before = running;
        }
        upper = box;
        upper.lo[axis] = last + 1;
        box.hi[axis] = last;
        uint32_t lowerCount = 0;
        for (int plane = box.lo[axis]; plane <= last; ++plane)
            lowerCount += planeCount(box, axis, plane);
        upper.count = box.count - lowerCount;
        box.count = lowerCount;
        shrink(box);
        shrink(upper);
    }

    const uint32_t* cells_;
    bool colour_;
};

// The channels that hold red and blue of a colour image, false for a
// sequence that doesn't tell them.
bool redBlueChannels(const ZanImage* image, int& red, int& blue)
{
    const std::string_view seq = ownChannelSeq(image);
    if (seq == "BGR" || seq == "BGRA") {
        red = 2;
        blue = 0;
        return true;
    }
    if (seq == "RGB" || seq == "RGBA") {
        red = 0;
        blue = 2;
        return true;
    }
    return false;
}

// Counts the image's pixels into the colour or gray cells; false when its
// channels or depth can't be read.
bool buildHistogram(const ZanImage* image, uint32_t* cells)
{
    if (image->depth != ZAN_DEPTH_8U && image->depth != ZAN_DEPTH_16U)
        return false;
    const OwnView view = ownBlockView(image, image->imageData, image->widthStep, image->height, 0, 0);
    const int high = image->depth == ZAN_DEPTH_16U ? 1 : 0;
    if (image->nChannels == 1) {
        for (int y = 0; y < image->height; ++y)
            for (int x = 0; x < image->width; ++x)
                ++cells[static_cast<uint8_t>(ownPixelAt(ownRowAt<char>(view, y, 0), view, x)[high])];
        return true;
    }
    int red = 0;
    int blue = 0;
    if ((image->nChannels != 3 && image->nChannels != 4) || !redBlueChannels(image, red, blue))
        return false;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x) {
            auto sample = [&](int c) {
                return static_cast<uint8_t>(ownPixelAt(ownRowAt<char>(view, y, c), view, x)[high]) >> 2;
            };
            ++cells[sample(red) + 64 * sample(1) + 4096 * sample(blue)];
        }
    return true;
}

// The palette of the non-empty cells in order; their number.
int cellPalette(const uint32_t* cells, int cellCount, bool colour, uint8_t* palette)
{
    int used = 0;
    for (int k = 0; k < cellCount; ++k) {
        if (!cells[k])
            continue;
        if (colour)
            setEntry(palette, used++, (k >> 10) & 252, (k >> 4) & 252, (k << 2) & 252);
        else
            setEntry(palette, used++, k, k, k);
    }
    return used;
}

} // namespace

int64_t ownDIBPaletteCount(const BITMAPINFOHEADER* dib)
{
    const int bits = dib->biBitCount;
    if (bits == 1 || bits == 4 || bits == 8)
        return dib->biClrUsed ? dib->biClrUsed : int64_t{1} << bits;
    if ((bits == 16 || bits == 32) && dib->biCompression == BI_BITFIELDS)
        return int64_t{dib->biClrUsed} + 3;
    return dib->biClrUsed;
}

int64_t ownDIBRowBytes(int64_t width, int64_t bits, int align)
{
    const int64_t unit = int64_t{align} * 8;
    return (width * bits + unit - 1) / unit * unit / 8;
}

bool ownIsGrayPalette(const BITMAPINFOHEADER* dib)
{
    const int64_t count = ownDIBPaletteCount(dib);
    // A single entry has no ramp to follow.
    if (count < 2)
        return false;
    const uint8_t* palette = ownDIBPalette(dib);
    for (int64_t i = 0; i < count; ++i) {
        const uint8_t* entry = palette + 4 * i;
        if (entry[0] != entry[2] || entry[1] != entry[2] || entry[2] != i * 255 / (count - 1))
            return false;
    }
    return true;
}

int ownStandardPalette(BITMAPINFOHEADER* dib, int gray)
{
    uint8_t* palette = ownDIBPalette(dib);
    switch (ownDIBPaletteCount(dib)) {
    case 2:
        grayRamp(palette, 2);
        return 1;
    case 16:
        if (gray)
            grayRamp(palette, 16);
        else
            for (int i = 0; i < 16; ++i)
                setEntry(palette, i, kStandard16[i][0], kStandard16[i][1], kStandard16[i][2]);
        return 1;
    case 256:
        if (gray)
            grayRamp(palette, 256);
        else
            for (int i = 0; i < 256; ++i)
                setEntry(palette, i, kLevels4[i & 3], kLevels8[(i >> 2) & 7], kLevels8[(i >> 5) & 7]);
        return 1;
    default:
        return 0;
    }
}

int ownMedianCutPalette(BITMAPINFOHEADER* dib, const ZanImage* image)
{
    if (dib->biBitCount > 8)
        return 0;
    // No more entries than the palette has room for.
    const int n = static_cast<int>(std::min<int64_t>(int64_t{1} << dib->biBitCount, ownDIBPaletteCount(dib)));
    uint8_t* palette = ownDIBPalette(dib);
    if (n < 1 || (image->depth == ZAN_DEPTH_1U && n < 2))
        return 0;
    if (image->depth == ZAN_DEPTH_1U) {
        grayRamp(palette, 2);
        dib->biClrUsed = 2;
        return 1;
    }
    const bool colour = image->nChannels != 1;
    const int cellCount = colour ? kColourCells : 256;
    OwnBuffer<uint32_t> cells(cellCount);
    OwnBuffer<Box> boxes(n);
    if (!cells.ok() || !boxes.ok())
        return 0;
    std::fill_n(cells.data(), cellCount, 0u);
    if (!buildHistogram(image, cells.data()))
        return 0;
    const int distinct = static_cast<int>(std::count_if(cells.data(), cells.data() + cellCount,
                                                        [](uint32_t c) { return c != 0; }));
    if (distinct <= n) {
        dib->biClrUsed = static_cast<uint32_t>(cellPalette(cells.data(), cellCount, colour, palette));
        return 1;
    }
    const MedianCut cut(cells.data(), colour);
    const int used = cut.split(boxes.data(), n, static_cast<uint32_t>(image->width) * image->height);
    for (int i = 0; i < used; ++i) {
        int bgr[3];
        cut.mean(boxes[i], bgr);
        setEntry(palette, i, bgr[0], bgr[1], bgr[2]);
    }
    dib->biClrUsed = static_cast<uint32_t>(used);
    return 1;
}

int ownNearestIndex(const uint8_t* colour, const uint8_t* palette, int count)
{
    const uint8_t g = colour[0];
    if (count == 256 && colour[1] == g && colour[2] == g) {
        const uint8_t* entry = palette + 4 * g;
        if (entry[0] == g && entry[1] == g && entry[2] == g)
            return g;
    }
    int best = 0;
    int bestDistance = -1;
    for (int i = 0; i < count; ++i) {
        const uint8_t* entry = palette + 4 * i;
        int distance = 0;
        for (int k = 0; k < 3; ++k)
            distance += (entry[k] - colour[k]) * (entry[k] - colour[k]);
        if (distance == 0)
            return i;
        if (bestDistance < 0 || distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}
