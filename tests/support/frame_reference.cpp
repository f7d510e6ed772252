#include "frame_reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>

namespace zt {
namespace {

int sampleBits(const ZanImage* image) { return static_cast<int>(image->depth & ZAN_DEPTH_MASK); }

// Sample number index of the data block, padding included.
double blockSample(const ZanImage* image, std::size_t index)
{
    const std::size_t bit = index * sampleBits(image);
    return loadSample(image->depth, image->imageData + bit / 8, static_cast<int>(bit % 8));
}

void setBlockSample(ZanImage* image, std::size_t index, double value)
{
    const std::size_t bit = index * sampleBits(image);
    storeSample(image->depth, image->imageData + bit / 8, static_cast<int>(bit % 8), value);
}

class RandomCase {
public:
    RandomCase(const FrameCheck& check, std::mt19937& rng) : check_(check), rng_(rng) {}

    void build()
    {
        depth_ = check_.depths[pick(check_.depths.size())];
        order_ = static_cast<int>(pick(2));
        count_ = depth_ == ZAN_DEPTH_1U ? 1 : 1 + static_cast<int>(pick(3));
        const int roles = check_.twoSources ? 3 : 2;
        dstAliasesA_ = chance(0.12);
        aAliasesB_ = check_.twoSources && !dstAliasesA_ && chance(0.12);
        for (int role = 0; role < roles; ++role) {
            if ((role == 1 && aAliasesB_) || (role == roles - 1 && dstAliasesA_))
                continue;
            images_[role] = makeParticipant();
        }
    }

    std::string describe() const
    {
        std::ostringstream out;
        out << depthName(depth_) << (order_ ? " plane" : " pixel") << " count " << count_
            << (dstAliasesA_ ? " dst=A" : "") << (aAliasesB_ ? " A=B" : "");
        for (int role = 0; role < 3; ++role) {
            const ZanImage* image = at(role);
            if (!image)
                continue;
            out << "\n  " << "ABD"[role] << ": " << image->nChannels << "ch alpha "
                << image->alphaChannel << " " << image->width << "x" << image->height << " align "
                << image->align << (image->tileInfo ? " tiled " : " plain ");
            if (image->tileInfo)
                out << image->tileInfo->width << "x" << image->tileInfo->height;
            if (image->roi)
                out << " roi coi " << image->roi->coi << " (" << image->roi->xOffset << ","
                    << image->roi->yOffset << ") " << image->roi->width << "x"
                    << image->roi->height;
            if (image->maskROI) {
                out << " mask " << image->maskROI->width << "x" << image->maskROI->height;
                if (image->maskROI->roi)
                    out << " roi (" << image->maskROI->roi->xOffset << ","
                        << image->maskROI->roi->yOffset << ") " << image->maskROI->roi->width
                        << "x" << image->maskROI->roi->height;
            }
        }
        return out.str();
    }

    void runAndCheck()
    {
        const int dstRole = check_.twoSources ? 2 : 1;
        ZanImage* a = headerOf(0);
        ZanImage* b = check_.twoSources ? headerOf(1) : nullptr;
        ZanImage* d = headerOf(dstRole);

        // Contents before the call, as plain images.
        Image before[3];
        for (int role = 0; role <= dstRole; ++role)
            before[role] = Image(zanCloneImage(contentOf(role)));
        Image expected(zanCloneImage(contentOf(dstRole)));
        computeExpected(before, expected.get(), dstRole);

        check_.call(a, b, d);
        ASSERT_EQ(zanGetErrStatus(), 0) << "status " << zanGetErrStatus();

        for (int role = 0; role < 3; ++role) {
            if (images_[role].tiled) {
                TiledImage& t = *images_[role].tiled;
                EXPECT_FALSE(t.misuse) << "tile misuse on " << "ABD"[role];
                EXPECT_EQ(t.openCount(), t.releaseCount()) << "tiles left open on " << "ABD"[role];
                t.store();
            }
        }
        compare(contentOf(dstRole), expected.get(), !images_[dstIndex(dstRole)].tiled);
        for (int role = 0; role < dstRole; ++role) {
            if (headerOf(role) != d)
                compare(contentOf(role), before[role].get(), !images_[realIndex(role)].tiled);
        }
    }

private:
    std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng_); }
    int range(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng_); }
    bool chance(double p) { return std::bernoulli_distribution(p)(rng_); }

    // Roles that alias share one participant.
    int realIndex(int role) const
    {
        const int dstRole = check_.twoSources ? 2 : 1;
        if (role == dstRole && dstAliasesA_)
            return 0;
        if (role == 1 && aAliasesB_)
            return 0;
        return role;
    }
    int dstIndex(int dstRole) const { return realIndex(dstRole); }
    ZanImage* headerOf(int role) const { return images_[realIndex(role)].header(); }
    ZanImage* contentOf(int role) const { return images_[realIndex(role)].content(); }
    const ZanImage* at(int role) const { return images_[role].plain || images_[role].tiled ? images_[role].header() : nullptr; }

    Participant makeParticipant()
    {
        Shape shape;
        shape.depth = depth_;
        shape.order = order_;
        shape.align = 4 << pick(4);
        shape.width = range(1, 70);
        shape.height = range(1, 40);
        int coi = 0;
        const int layout = depth_ == ZAN_DEPTH_1U ? 0 : static_cast<int>(pick(count_ == 1 ? 3 : 2));
        if (layout == 0) {
            shape.channels = count_;
        } else if (layout == 1) {
            shape.channels = count_ + 1;
            shape.alpha = shape.channels;
        } else {
            shape.channels = range(1, 4);
            shape.alpha = shape.channels > 1 && chance(0.5) ? shape.channels : 0;
            coi = range(1, shape.channels);
        }
        Participant p;
        if (chance(0.35)) {
            p.tiled = std::make_unique<TiledImage>(shape, 8 * range(1, 3), 8 * range(1, 3));
            fillRandom(p.tiled->plain(), rng_);
            p.tiled->load();
        } else {
            p.plain = makeRandomImage(shape, rng_);
        }
        ZanImage* header = p.header();
        if (coi > 0 || chance(0.5)) {
            int x = 0, y = 0, w = shape.width, h = shape.height;
            if (chance(0.8)) {
                x = range(0, shape.width + (chance(0.1) ? 5 : -1));
                y = range(0, shape.height + (chance(0.1) ? 5 : -1));
                w = range(1, shape.width + 4);
                h = range(1, shape.height + 4);
            }
            setRoi(header, coi, x, y, w, h);
        }
        if (chance(0.3)) {
            ZanImage* mask = attachRandomMask(header, range(1, 80), range(1, 45), rng_);
            if (chance(0.5))
                setRoi(mask, 0, range(0, mask->width - 1), range(0, mask->height - 1),
                       range(1, mask->width), range(1, mask->height));
        }
        return p;
    }

    bool wholeBlock(int dstRole) const
    {
        bool anyAlpha = false;
        const ZanImage* first = contentOf(0);
        for (int role = 0; role <= dstRole; ++role) {
            const ZanImage* h = headerOf(role);
            if (h->tileInfo || h->maskROI)
                return false;
            anyAlpha |= h->alphaChannel > 0;
            if (h->width != first->width || h->height != first->height ||
                h->imageSize != first->imageSize || h->align != first->align)
                return false;
            if (const ZanROI* r = h->roi) {
                if (r->xOffset || r->yOffset || r->width < h->width || r->height < h->height ||
                    r->coi <= 0 || h->nChannels != 1)
                    return false;
            }
        }
        return !anyAlpha;
    }

    void computeExpected(const Image* before, ZanImage* expected, int dstRole)
    {
        const ZanImage* b = check_.twoSources ? before[1].get() : nullptr;
        if (wholeBlock(dstRole)) {
            const std::size_t samples =
                static_cast<std::size_t>(expected->imageSize) * 8 / sampleBits(expected);
            for (std::size_t i = 0; i < samples; ++i)
                setBlockSample(expected, i,
                               check_.expected(depth_, blockSample(before[0].get(), i),
                                               b ? blockSample(b, i) : 0.0));
            return;
        }
        int width = 1 << 30, height = 1 << 30;
        Rect rects[3];
        for (int role = 0; role <= dstRole; ++role) {
            rects[role] = regionOf(headerOf(role));
            width = std::min(width, rects[role].width);
            height = std::min(height, rects[role].height);
        }
        std::vector<const ZanImage*> masks;
        std::vector<Rect> maskRects;
        for (int role = 0; role <= dstRole; ++role) {
            if (const ZanImage* m = headerOf(role)->maskROI) {
                masks.push_back(m);
                maskRects.push_back(regionOf(m));
                width = std::min(width, std::max(0, maskRects.back().width));
                height = std::min(height, std::max(0, maskRects.back().height));
            }
        }
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                bool on = true;
                for (std::size_t m = 0; m < masks.size(); ++m)
                    on = on && bitAt(masks[m], maskRects[m].x + i, maskRects[m].y + j);
                if (!on)
                    continue;
                for (int k = 0; k < channelCount(headerOf(dstRole)); ++k) {
                    const double va = sampleAt(before[0].get(), rects[0].x + i, rects[0].y + j,
                                               firstChannel(headerOf(0)) + k);
                    const double vb = b ? sampleAt(b, rects[1].x + i, rects[1].y + j,
                                                   firstChannel(headerOf(1)) + k)
                                        : 0.0;
                    setSampleAt(expected, rects[dstRole].x + i, rects[dstRole].y + j,
                                firstChannel(headerOf(dstRole)) + k,
                                check_.expected(depth_, va, vb));
                }
            }
        }
    }

    // Every sample equal; for untiled images, every byte of the block too.
    void compare(const ZanImage* actual, const ZanImage* expected, bool wholeBlock)
    {
        for (int c = 0; c < actual->nChannels; ++c) {
            for (int y = 0; y < actual->height; ++y) {
                for (int x = 0; x < actual->width; ++x) {
                    const double got = sampleAt(actual, x, y, c);
                    const double want = sampleAt(expected, x, y, c);
                    if (!(got == want) && !(got != got && want != want)) {
                        ADD_FAILURE() << "sample (" << x << ", " << y << ", channel " << c
                                      << "): got " << got << ", expected " << want;
                        return;
                    }
                }
            }
        }
        if (wholeBlock) {
            EXPECT_TRUE(bytesOf(actual) == bytesOf(expected)) << "row padding differs";
        }
    }

    const FrameCheck& check_;
    std::mt19937& rng_;
    uint32_t depth_ = 0;
    int order_ = 0;
    int count_ = 1;
    bool dstAliasesA_ = false;
    bool aAliasesB_ = false;
    Participant images_[3];
};

} // namespace

void checkAgainstReference(const FrameCheck& check)
{
    std::mt19937 rng(check.seed);
    RecordingReporter recorder;
    for (int i = 0; i < check.cases; ++i) {
        RandomCase c(check, rng);
        c.build();
        SCOPED_TRACE("case " + std::to_string(i) + ": " + c.describe());
        zanSetErrStatus(0);
        c.runAndCheck();
        EXPECT_TRUE(recorder.reports().empty()) << recorder.summary().front();
        if (testing::Test::HasFailure())
            return;
    }
}

} // namespace zt
