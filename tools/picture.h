// Images of the library read from and written to BMP files: the file layer
// gives and takes a DIB, and the library's DIB conversions carry the pixels.
#pragma once

#include "zan.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zantool {

// An image of the library, freed with the flags it was made for: an image
// whose data lie in a DIB is freed without them.
class Image {
public:
    Image() = default;
    explicit Image(ZanImage* image, int freeFlags = ZAN_FREE_ALL) : image_(image), flags_(freeFlags) {}
    Image(Image&& other) noexcept;
    Image& operator=(Image&& other) noexcept;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image();

    ZanImage* get() const { return image_; }
    ZanImage* operator->() const { return image_; }
    explicit operator bool() const { return image_ != nullptr; }

private:
    ZanImage* image_ = nullptr;
    int flags_ = ZAN_FREE_ALL;
};

// The library reports through a reporter of the tool that keeps the first
// report of a call, so that a failure prints as one line. Error mode Parent.
void captureLibraryReports();
// Clears the thread's status and the kept report before a call.
void clearLibraryReport();
// True if the thread's status is negative; message then tells the first
// report: "function: context", or the status's text when there is no context.
bool libraryFailed(std::string& message);

// A new image of 8-bit samples (or 1-bit for ZAN_DEPTH_1U), pixel order,
// alignment 4, every byte 0; an empty Image with error set if the library
// refuses.
Image newImage(int channels, uint32_t depth, const char* colorModel, const char* channelSeq, int width,
               int height, int origin, std::string& error);

// A picture read from a file: the DIB in one block, and the image that
// zanTranslateDIB made of it, which may share the DIB's pixels (so the DIB
// is declared first and outlives it).
struct Picture {
    std::vector<uint8_t> dib;
    Image image;
};

bool readPicture(const std::string& path, Picture& picture, std::string& error);

// True if the picture's image points into its DIB rather than holding its
// own pixels.
bool sharesDib(const Picture& picture);

// Reads the DIB again with zanConvertFromDIB into three 8-bit channels in
// pixel order, "RGB" in both strings: the palette's colours exactly.
bool readAsColour(Picture& picture, std::string& error);

// Turns the picture's image into the shape the tool's operations take: 8-bit
// gray as it is; 1-bit gray widened to 8 bits by zanBitonalToGray; colour by
// readAsColour.
bool makeWorkingImage(Picture& picture, std::string& error);

// How an image is written. Bits 0 and kPaletteByImage choose by the image:
// bits 1 for a 1-bit image, 8 for gray, 24 for three channels, 32 for four;
// the standard palette for gray, a median cut for colour.
inline constexpr int kPaletteByImage = -1;
struct WriteOptions {
    int bits = 0;
    bool rle = false;
    int palette = kPaletteByImage;
    int dither = ZAN_DITHER_NONE;
    // With ZAN_PALETTE_KEEP, the DIB whose palette is kept.
    const std::vector<uint8_t>* paletteFrom = nullptr;
};

// What was written: the DIB header's format and the file's size.
struct Written {
    int width = 0;
    int height = 0;
    int bits = 0;
    uint32_t compression = 0;
    uint32_t paletteEntries = 0;
    uint64_t fileBytes = 0;
};
std::string describe(const Written& written);

bool writePicture(const ZanImage* image, const std::string& path, const WriteOptions& options, Written& written,
                  std::string& error);

}  // namespace zantool
