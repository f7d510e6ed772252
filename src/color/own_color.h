// Pieces shared by the colour, colour twist and depth operations: views of a
// rectangle of samples, the walk over the tiles of a source and a
// destination, conversion of doubles to samples and the rounding guard.
#pragma once

#include "../core/own_bits.h"
#include "../core/own_frame.h"

#include <cfenv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

// A rectangle of an image's samples as a row routine sees it: the address of
// its first pixel's first channel and the byte distances to the next pixel,
// channel and row. In 1-bit images the first pixel is bit bitOffset of data.
struct OwnView {
    char* data;
    std::ptrdiff_t pixelStep;
    std::ptrdiff_t channelStep;
    std::ptrdiff_t rowStep; // negative when the rows are taken upward
    int bitOffset;
};

// The view of pixel (x, y) onward in a block laid out like image with row
// step `step` and `blockHeight` rows per plane: the image's own data, a tile
// or a working rectangle.
OwnView ownBlockView(const ZanImage* image, char* block, int step, int blockHeight, int x, int y);

// The view of pixel (x, y) onward in an untiled image's data.
inline OwnView ownImageView(const ZanImage* image, int x, int y)
{
    return ownBlockView(image, image->imageData, image->widthStep, image->height, x, y);
}

template <class T>
inline T* ownRowAt(const OwnView& view, int y, int channel)
{
    return reinterpret_cast<T*>(view.data + y * view.rowStep + channel * view.channelStep);
}

// Pixel x of a row that ownRowAt gave.
template <class T>
inline T* ownPixelAt(T* row, const OwnView& view, int x)
{
    using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(row) + x * view.pixelStep);
}

// Rectangles of a source and a destination walked together: destination
// pixel (dstX + i, dstY + j) goes with source pixel (srcX + i, srcY + j), or
// with source row srcY + height - 1 - j when the rows are flipped.
struct OwnPairArea {
    int srcX;
    int srcY;
    int dstX;
    int dstY;
    int width;
    int height;
    bool flip;
};

// Called for each piece: the source and destination views of a rectangle
// that lies in one tile of each image, its position (x, y) within the area
// and its size.
using OwnPairRoutine =
    OwnFunctionRef<void(const OwnView& src, const OwnView& dst, int x, int y, int width, int height)>;

// Walks the area in pieces that lie in one tile of the source and one of the
// destination, opening the destination's tile for writing before the
// source's for reading and releasing a tile when the walk passes into
// another; an untiled image counts as one tile. A source that is the
// destination opens only the destination's tiles. With stopOnStatus the walk
// also ends when the thread's status is negative after a tile was opened.
// Returns false when a tile was not given (reported with the site) or the
// walk stopped for the status.
bool ownPairWalk(OwnSite site, const ZanImage* src, ZanImage* dst, const OwnPairArea& area,
                 bool stopOnStatus, OwnPairRoutine routine);

// One test of an operation's checks and the text it reports.
struct OwnTest {
    bool failed;
    const char* text;
};

// Reports the first failed test with status -5; true when one failed.
bool ownFirstRefusal(OwnSite site, const OwnTest* tests, std::size_t count);

template <std::size_t N>
bool ownRefused(OwnSite site, const OwnTest (&tests)[N])
{
    return ownFirstRefusal(site, tests, N);
}

// zanCheckImageHeader on the source, then the destination; a failure is
// reported with the thread's status and "Incorrect Image".
bool ownHeadersRefused(OwnSite site, const ZanImage* src, const ZanImage* dst);

// The regions of the two images (each ROI clipped, or the whole image),
// walked together from their own corners over the smaller width and the
// smaller height, which may come out below 1.
OwnPairArea ownRegionArea(const ZanImage* src, const ZanImage* dst);

// Three samples of each pixel of a row from start to width through fn, all
// read before any is written, except where skip(x) holds.
template <class T, class Fn, class Skip>
void ownTripleRow(const T* const (&in)[3], const OwnView& src, T* const (&out)[3], const OwnView& dst,
                  int start, int width, const Fn& fn, const Skip& skip)
{
    for (int x = start; x < width; ++x) {
        if (skip(x))
            continue;
        T a[3];
        T b[3];
        for (int k = 0; k < 3; ++k)
            a[k] = *ownPixelAt(in[k], src, x);
        fn(a, b);
        for (int k = 0; k < 3; ++k)
            *ownPixelAt(out[k], dst, x) = b[k];
    }
}

// Holds the rounding mode of the calling thread at to-nearest for its
// lifetime, and gives the caller's mode back after.
class OwnRoundNearest {
public:
    OwnRoundNearest() : saved_(std::fegetround())
    {
        if (saved_ != FE_TONEAREST)
            std::fesetround(FE_TONEAREST);
    }
    ~OwnRoundNearest()
    {
        if (saved_ != FE_TONEAREST)
            std::fesetround(saved_);
    }
    OwnRoundNearest(const OwnRoundNearest&) = delete;
    OwnRoundNearest& operator=(const OwnRoundNearest&) = delete;

private:
    int saved_;
};

// A double truncated toward zero and held to the range of the integer
// sample type T; NaN gives the low end.
template <class T>
inline T ownTruncSat(double value)
{
    constexpr double low = static_cast<double>(std::numeric_limits<T>::min());
    constexpr double high = static_cast<double>(std::numeric_limits<T>::max());
    if (!(value > low))
        return std::numeric_limits<T>::min();
    if (value >= high)
        return std::numeric_limits<T>::max();
    return static_cast<T>(value);
}

// An integer held to [low, high].
constexpr int64_t ownClamp(int64_t value, int64_t low, int64_t high)
{
    return value < low ? low : value > high ? high : value;
}

// The low bits of an integer that fit the sample type T.
template <class T>
inline T ownWrap(int64_t value)
{
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(value));
}

// Reports through site that a public function called inside failed: runs
// call with the status cleared and, if it left a negative status, reports
// -1 with text and gives what the report returned; otherwise puts the
// caller's status back and gives 0.
template <class Call>
int ownCallReported(OwnSite site, const char* text, Call&& call)
{
    const ZanStatus before = zanGetErrStatus();
    zanSetErrStatus(ZAN_STATUS_OK);
    call();
    if (zanGetErrStatus() < 0)
        return OWN_BACKTRACE(site, text);
    zanSetErrStatus(before);
    return 0;
}
