// Helpers of the colour tests: images with a colour model, the rounding
// mode check and sample comparison.
#pragma once

#include "zan_test.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ct {

// Writes the first letters of model and seq, NUL-padded, into the header.
inline void setModel(ZanImage* image, const char* model, const char* seq)
{
    char m[4] = {};
    char s[4] = {};
    std::memcpy(m, model, std::min<std::size_t>(4, std::strlen(model)));
    std::memcpy(s, seq, std::min<std::size_t>(4, std::strlen(seq)));
    std::memcpy(image->colorModel, m, 4);
    std::memcpy(image->channelSeq, s, 4);
}

inline zt::Image modelImage(const zt::Shape& shape, const char* model, const char* seq)
{
    zt::Image image = zt::makeImage(shape);
    setModel(image.get(), model, seq);
    return image;
}

inline std::string text4(const char (&field)[4]) { return std::string(field, strnlen(field, 4)); }

// Runs call with the thread's rounding mode set to mode, expects the mode to
// be the same afterwards and puts round-to-nearest back.
template <class Call>
void underRounding(int mode, Call&& call)
{
    std::fesetround(mode);
    call();
    const int after = std::fegetround();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(after, mode) << "the call changed the caller's rounding mode";
}

// The rounding modes of the processor.
inline constexpr int kRoundingModes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};

// Every sample of channels 0..channels-1 of the top-left width by height
// pixels of a and b is the same.
inline ::testing::AssertionResult sameSamples(const ZanImage* a, const ZanImage* b, int width, int height,
                                              int channels)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                const double va = zt::sampleAt(a, x, y, c);
                const double vb = zt::sampleAt(b, x, y, c);
                if (va != vb && !(va != va && vb != vb))
                    return ::testing::AssertionFailure()
                           << "at (" << x << ", " << y << ") channel " << c << ": " << va << " vs " << vb;
            }
    return ::testing::AssertionSuccess();
}

// An image shared by the calls of a table of refusals.
inline std::shared_ptr<ZanImage> sharedImage(const zt::Shape& shape, const char* model = nullptr,
                                             const char* seq = nullptr)
{
    zt::Image image = zt::makeImage(shape);
    if (model)
        setModel(image.get(), model, seq);
    return std::shared_ptr<ZanImage>(image.release(), zt::ImageDeleter{});
}

// A call that must make exactly one report: its status, "function: context"
// and, when given, its source unit.
struct Refusal {
    const char* what;
    std::function<void()> call;
    int status;
    std::string summary;
    std::string source = {};
};

inline void expectRefusals(const std::vector<Refusal>& refusals)
{
    for (const Refusal& r : refusals) {
        zt::RecordingReporter recorder;
        r.call();
        ASSERT_EQ(recorder.reports().size(), 1u) << r.what;
        EXPECT_EQ(recorder.reports()[0].status, r.status) << r.what;
        EXPECT_EQ(recorder.summary()[0], r.summary) << r.what;
        if (!r.source.empty()) {
            EXPECT_EQ(recorder.reports()[0].source, r.source) << r.what;
        }
    }
}

} // namespace ct
