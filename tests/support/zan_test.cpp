#include "zan_test.h"

#include <algorithm>

#include <cstring>
#include <sstream>
#include <stdexcept>

namespace zt {

const uint32_t kAllDepths[7] = {ZAN_DEPTH_1U,  ZAN_DEPTH_8U,  ZAN_DEPTH_8S, ZAN_DEPTH_16U,
                                ZAN_DEPTH_16S, ZAN_DEPTH_32S, ZAN_DEPTH_32F};

const char* depthName(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return "1U";
    case ZAN_DEPTH_8U: return "8U";
    case ZAN_DEPTH_8S: return "8S";
    case ZAN_DEPTH_16U: return "16U";
    case ZAN_DEPTH_16S: return "16S";
    case ZAN_DEPTH_32S: return "32S";
    case ZAN_DEPTH_32F: return "32F";
    default: return "?";
    }
}

std::string describe(const Shape& shape)
{
    std::ostringstream out;
    out << depthName(shape.depth) << " C" << shape.channels << (shape.alpha ? "+alpha" : "") << " "
        << shape.width << "x" << shape.height << (shape.order ? " plane" : " pixel") << " align "
        << shape.align;
    return out.str();
}

Image makeHeader(const Shape& shape)
{
    Image image(zanCreateImageHeader(shape.channels, shape.alpha, shape.depth, "RGBA", "BGRA",
                                     shape.order, shape.origin, shape.align, shape.width,
                                     shape.height, nullptr, nullptr, nullptr, nullptr));
    if (!image)
        throw std::runtime_error("zanCreateImageHeader failed for " + describe(shape));
    return image;
}

Image makeImage(const Shape& shape, int fillValue)
{
    Image image = makeHeader(shape);
    if (shape.depth == ZAN_DEPTH_32F)
        zanAllocateImageFP(image.get(), 1, static_cast<float>(fillValue));
    else
        zanAllocateImage(image.get(), 1, fillValue);
    if (!image->imageData)
        throw std::runtime_error("allocation failed for " + describe(shape));
    return image;
}

void fillRandom(ZanImage* image, std::mt19937& rng)
{
    if (image->depth == ZAN_DEPTH_32F) {
        std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
        for (int i = 0; i + 4 <= image->imageSize; i += 4) {
            const float v = value(rng);
            std::memcpy(image->imageData + i, &v, 4);
        }
        return;
    }
    for (int i = 0; i < image->imageSize; ++i)
        image->imageData[i] = static_cast<char>(rng());
}

Image makeRandomImage(const Shape& shape, std::mt19937& rng)
{
    Image image = makeImage(shape);
    fillRandom(image.get(), rng);
    return image;
}

void setRoi(ZanImage* image, int coi, int x, int y, int width, int height)
{
    if (!image->roi)
        image->roi = zanCreateROI(coi, x, y, width, height);
    else
        zanSetROI(image->roi, coi, x, y, width, height);
}

ZanImage* attachRandomMask(ZanImage* image, int maskWidth, int maskHeight, std::mt19937& rng)
{
    Shape shape;
    shape.depth = ZAN_DEPTH_1U;
    shape.width = maskWidth;
    shape.height = maskHeight;
    Image mask = makeRandomImage(shape, rng);
    zanDeallocate(image->maskROI, ZAN_FREE_ALL);
    image->maskROI = mask.release();
    return image->maskROI;
}

namespace {

std::ptrdiff_t byteOffset(const ZanImage* image, int x, int y, int channel, int* bit)
{
    const int bits = static_cast<int>(image->depth & ZAN_DEPTH_MASK);
    std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(y) * image->widthStep;
    std::ptrdiff_t bitIndex;
    if (image->dataOrder == ZAN_DATA_ORDER_PLANE) {
        offset += static_cast<std::ptrdiff_t>(channel) * image->height * image->widthStep;
        bitIndex = static_cast<std::ptrdiff_t>(x) * bits;
    } else {
        bitIndex = (static_cast<std::ptrdiff_t>(x) * image->nChannels + channel) * bits;
    }
    *bit = static_cast<int>(bitIndex % 8);
    return offset + bitIndex / 8;
}

template <class T>
T load(const char* p)
{
    T value;
    std::memcpy(&value, p, sizeof(T));
    return value;
}

template <class T>
void save(char* p, double value)
{
    const T v = static_cast<T>(value);
    std::memcpy(p, &v, sizeof(T));
}

} // namespace

double loadSample(uint32_t depth, const char* p, int bit)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return (static_cast<uint8_t>(*p) >> (7 - bit)) & 1;
    case ZAN_DEPTH_8U: return load<uint8_t>(p);
    case ZAN_DEPTH_8S: return load<int8_t>(p);
    case ZAN_DEPTH_16U: return load<uint16_t>(p);
    case ZAN_DEPTH_16S: return load<int16_t>(p);
    case ZAN_DEPTH_32S: return load<int32_t>(p);
    case ZAN_DEPTH_32F: return load<float>(p);
    default: throw std::runtime_error("bad depth");
    }
}

void storeSample(uint32_t depth, char* p, int bit, double value)
{
    switch (depth) {
    case ZAN_DEPTH_1U: {
        const uint8_t m = static_cast<uint8_t>(0x80u >> bit);
        const uint8_t old = static_cast<uint8_t>(*p);
        *p = static_cast<char>(value != 0 ? (old | m) : (old & ~m));
        return;
    }
    case ZAN_DEPTH_8U: return save<uint8_t>(p, value);
    case ZAN_DEPTH_8S: return save<int8_t>(p, value);
    case ZAN_DEPTH_16U: return save<uint16_t>(p, value);
    case ZAN_DEPTH_16S: return save<int16_t>(p, value);
    case ZAN_DEPTH_32S: return save<int32_t>(p, value);
    case ZAN_DEPTH_32F: return save<float>(p, value);
    default: throw std::runtime_error("bad depth");
    }
}

double sampleAt(const ZanImage* image, int x, int y, int channel)
{
    int bit;
    const std::ptrdiff_t offset = byteOffset(image, x, y, channel, &bit);
    return loadSample(image->depth, image->imageData + offset, bit);
}

void setSampleAt(ZanImage* image, int x, int y, int channel, double value)
{
    int bit;
    const std::ptrdiff_t offset = byteOffset(image, x, y, channel, &bit);
    storeSample(image->depth, image->imageData + offset, bit, value);
}

Rect regionOf(const ZanImage* image)
{
    if (!image->roi)
        return {0, 0, image->width, image->height};
    const ZanROI* r = image->roi;
    return {r->xOffset, r->yOffset, std::min(r->width, image->width - r->xOffset),
            std::min(r->height, image->height - r->yOffset)};
}

int channelCount(const ZanImage* image)
{
    if (image->roi && image->roi->coi > 0)
        return 1;
    return image->nChannels - (image->alphaChannel ? 1 : 0);
}

int firstChannel(const ZanImage* image)
{
    return image->roi && image->roi->coi > 0 ? image->roi->coi - 1 : 0;
}

bool bitAt(const ZanImage* image, int x, int y) { return sampleAt(image, x, y, 0) != 0; }

std::vector<uint8_t> bytesOf(const ZanImage* image)
{
    const auto* p = reinterpret_cast<const uint8_t*>(image->imageData);
    return std::vector<uint8_t>(p, p + image->imageSize);
}

// ---------------------------------------------------------------------------

namespace {
thread_local RecordingReporter* t_recorder = nullptr;
}

RecordingReporter::RecordingReporter()
    : previousReporter_(zanRedirectError(&RecordingReporter::record)),
      previousMode_(zanGetErrMode()), previousStatus_(zanGetErrStatus()), outer_(t_recorder)
{
    zanSetErrMode(ZAN_ErrorModeParent);
    zanSetErrStatus(ZAN_STATUS_OK);
    t_recorder = this;
}

RecordingReporter::~RecordingReporter()
{
    t_recorder = outer_;
    zanRedirectError(previousReporter_);
    zanSetErrMode(previousMode_);
    zanSetErrStatus(previousStatus_);
}

int RecordingReporter::record(ZanStatus status, const char* function, const char* context,
                              const char* source, int line)
{
    if (t_recorder)
        t_recorder->reports_.push_back(Report{status, function ? function : "",
                                              context ? context : "", source ? source : "", line});
    return status;
}

std::vector<std::string> RecordingReporter::summary() const
{
    std::vector<std::string> lines;
    for (const Report& r : reports_)
        lines.push_back(r.function + ": " + r.context);
    return lines;
}

// ---------------------------------------------------------------------------

TiledImage::TiledImage(const Shape& shape, int tileWidth, int tileHeight)
    : plain_(makeImage(shape)), tileWidth_(tileWidth), tileHeight_(tileHeight)
{
    ZanTileInfo* info = zanCreateTileInfo(&TiledImage::callBack, 7, tileWidth, tileHeight);
    header_.reset(zanCreateImageHeader(shape.channels, shape.alpha, shape.depth, "RGBA", "BGRA",
                                       shape.order, shape.origin, shape.align, shape.width,
                                       shape.height, nullptr, nullptr, this, info));
    columns_ = (shape.width + tileWidth - 1) / tileWidth;
    rows_ = (shape.height + tileHeight - 1) / tileHeight;
    Shape tileShape = shape;
    tileShape.width = tileWidth;
    tileShape.height = tileHeight;
    Image probe = makeHeader(tileShape);
    tileStep_ = probe->widthStep;
    tileBytes_ = probe->imageSize;
    for (int i = 0; i < columns_ * rows_; ++i) {
        char* block = static_cast<char*>(zanMalloc(tileBytes_));
        std::memset(block, 0x5A, static_cast<std::size_t>(tileBytes_));
        tiles_.push_back(block);
    }
    open_.assign(tiles_.size(), 0);
    load();
}

TiledImage::~TiledImage()
{
    for (char* block : tiles_)
        zanFree(block);
}

char* TiledImage::tile(int column, int row) const { return tiles_[row * columns_ + column]; }

void TiledImage::copyTiles(bool toTiles)
{
    const ZanImage* image = plain_.get();
    const int bits = static_cast<int>(image->depth & ZAN_DEPTH_MASK);
    const bool planes = image->dataOrder == ZAN_DATA_ORDER_PLANE;
    const int valuesPerPixel = planes ? 1 : image->nChannels;
    const int planeCount = planes ? image->nChannels : 1;
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            const int x0 = column * tileWidth_;
            const int y0 = row * tileHeight_;
            const int w = std::min(tileWidth_, image->width - x0);
            const int h = std::min(tileHeight_, image->height - y0);
            const std::size_t bytes = (static_cast<std::size_t>(w) * valuesPerPixel * bits + 7) / 8;
            const std::size_t xByte = static_cast<std::size_t>(x0) * valuesPerPixel * bits / 8;
            for (int plane = 0; plane < planeCount; ++plane) {
                for (int y = 0; y < h; ++y) {
                    char* t = tile(column, row) + static_cast<std::ptrdiff_t>(plane) * tileHeight_ * tileStep_ +
                              static_cast<std::ptrdiff_t>(y) * tileStep_;
                    char* p = image->imageData +
                              static_cast<std::ptrdiff_t>(plane) * image->height * image->widthStep +
                              static_cast<std::ptrdiff_t>(y0 + y) * image->widthStep + xByte;
                    if (toTiles)
                        std::memcpy(t, p, bytes);
                    else
                        std::memcpy(p, t, bytes);
                }
            }
        }
    }
}

void TiledImage::load() { copyTiles(true); }
void TiledImage::store() { copyTiles(false); }

int TiledImage::openCount() const
{
    int n = 0;
    for (const Call& c : calls)
        n += c.mode != ZAN_TILE_RELEASE;
    return n;
}

int TiledImage::releaseCount() const
{
    int n = 0;
    for (const Call& c : calls)
        n += c.mode == ZAN_TILE_RELEASE;
    return n;
}

void TiledImage::callBack(const ZanImage* image, int column, int row, int mode)
{
    static_cast<TiledImage*>(image->imageId)->serve(column, row, mode);
}

void TiledImage::serve(int column, int row, int mode)
{
    if (static_cast<int>(calls.size()) == statusAt)
        zanSetErrStatus(callStatus);
    calls.push_back(Call{column, row, mode});
    if (journal)
        journal->push_back({journalId, Call{column, row, mode}});
    ZanTileInfo* info = header_->tileInfo;
    if (column < 0 || row < 0 || column >= columns_ || row >= rows_) {
        misuse = true;
        info->tileData = nullptr;
        return;
    }
    int& open = open_[row * columns_ + column];
    if (mode == ZAN_TILE_RELEASE) {
        if (open == 0)
            misuse = true;
        else
            --open;
        if (!keepDataOnRelease)
            info->tileData = nullptr;
        return;
    }
    if (opens_++ == failOpenAt) {
        info->tileData = nullptr;
        return;
    }
    ++open;
    info->tileData = tile(column, row);
}

} // namespace zt
