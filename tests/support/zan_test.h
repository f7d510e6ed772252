// Helpers shared by the test suites: owned images, sample access that is
// independent of the library, a recording reporter and a tiled image whose
// callback logs every call.
#pragma once

#include "zan.h"

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zt {

struct ImageDeleter {
    void operator()(ZanImage* image) const { zanDeallocate(image, ZAN_FREE_ALL); }
};
using Image = std::unique_ptr<ZanImage, ImageDeleter>;

struct Shape {
    uint32_t depth = ZAN_DEPTH_8U;
    int channels = 1;
    int width = 8;
    int height = 8;
    int order = ZAN_DATA_ORDER_PIXEL;
    int alpha = 0;
    int align = 4;
    int origin = ZAN_ORIGIN_TOP_LEFT;
};

std::string describe(const Shape& shape);

// A header with allocated data, every byte zero (or the pattern of value).
Image makeImage(const Shape& shape, int fillValue = 0);
// A header with no data.
Image makeHeader(const Shape& shape);
// Every byte of the data random, padding included; floats are finite.
void fillRandom(ZanImage* image, std::mt19937& rng);
Image makeRandomImage(const Shape& shape, std::mt19937& rng);

// Gives an image a ROI that it owns (freed with the image).
void setRoi(ZanImage* image, int coi, int x, int y, int width, int height);
// Gives an image a mask that it owns, with every bit random, and a ROI of
// the mask if width > 0.
ZanImage* attachRandomMask(ZanImage* image, int maskWidth, int maskHeight, std::mt19937& rng);

// Sample access by the image model's addressing, ignoring ROI and origin.
// Every sample of every depth is exact in a double.
double sampleAt(const ZanImage* image, int x, int y, int channel);
void setSampleAt(ZanImage* image, int x, int y, int channel, double value);
bool bitAt(const ZanImage* image, int x, int y);
// A sample at p (and bit, for 1-bit depth) decoded or encoded by depth.
double loadSample(uint32_t depth, const char* p, int bit);
void storeSample(uint32_t depth, char* p, int bit, double value);

// The bytes of an untiled image's data block.
std::vector<uint8_t> bytesOf(const ZanImage* image);

// Sets error mode Parent and a reporter that records every report; restores
// the thread's mode, reporter and status when it goes.
class RecordingReporter {
public:
    struct Report {
        int status;
        std::string function;
        std::string context;
        std::string source;
        int line;
    };
    RecordingReporter();
    ~RecordingReporter();
    RecordingReporter(const RecordingReporter&) = delete;
    RecordingReporter& operator=(const RecordingReporter&) = delete;

    const std::vector<Report>& reports() const { return reports_; }
    void clear() { reports_.clear(); }
    // "function: context" of each report, for compact expectations.
    std::vector<std::string> summary() const;

private:
    static int record(ZanStatus status, const char* function, const char* context,
                      const char* source, int line);
    std::vector<Report> reports_;
    ZanReporter previousReporter_;
    int previousMode_;
    ZanStatus previousStatus_;
    RecordingReporter* outer_;
};

// An image whose pixels live in tiles that its callback serves. plain()
// holds the same pixels as an untiled image; load() copies them into the
// tiles and store() back.
class TiledImage {
public:
    struct Call {
        int column;
        int row;
        int mode;
        bool operator==(const Call&) const = default;
    };

    TiledImage(const Shape& shape, int tileWidth, int tileHeight);
    ~TiledImage();
    TiledImage(const TiledImage&) = delete;
    TiledImage& operator=(const TiledImage&) = delete;

    ZanImage* header() const { return header_.get(); }
    ZanImage* plain() const { return plain_.get(); }
    void load();
    void store();

    std::vector<Call> calls;
    // The open call (counted from 0 over reads and writes) that fails by
    // leaving tileData null; -1 for none.
    int failOpenAt = -1;
    // Leave tileData set on release, as a careless callback would.
    bool keepDataOnRelease = false;
    // Set when the library asked for a tile outside the grid or released a
    // tile that was not open.
    bool misuse = false;
    // The call (counted from 0 over all calls) in which the callback sets
    // the thread's status to callStatus; -1 for none.
    int statusAt = -1;
    ZanStatus callStatus = ZAN_STATUS_BAD_ARGUMENT;
    // When set, every call is also appended here with journalId, so that
    // the order of calls across several images can be seen.
    std::vector<std::pair<int, Call>>* journal = nullptr;
    int journalId = 0;

    int openCount() const;
    int releaseCount() const;
    int columns() const { return columns_; }
    int rows() const { return rows_; }

private:
    static void callBack(const ZanImage* image, int column, int row, int mode);
    void serve(int column, int row, int mode);
    char* tile(int column, int row) const;
    void copyTiles(bool toTiles);

    Image header_;
    Image plain_;
    int tileWidth_;
    int tileHeight_;
    int columns_;
    int rows_;
    int tileStep_;
    int tileBytes_;
    std::vector<char*> tiles_;
    std::vector<int> open_;
    int opens_ = 0;
};

// One image of a test: plain, or tiled with a plain twin holding its pixels.
struct Participant {
    Image plain;
    std::unique_ptr<TiledImage> tiled;
    ZanImage* header() const { return tiled ? tiled->header() : plain.get(); }
    ZanImage* content() const { return tiled ? tiled->plain() : plain.get(); }
};

// An image's region: its ROI clipped to the image, or the whole image.
struct Rect {
    int x, y, width, height;
};
Rect regionOf(const ZanImage* image);
// Channels an operation processes (1 with a COI, else all but alpha) and the first.
int channelCount(const ZanImage* image);
int firstChannel(const ZanImage* image);

// All valid depths, and the integer ones.
extern const uint32_t kAllDepths[7];
const char* depthName(uint32_t depth);

} // namespace zt
