// Add, Subtract and Multiply of two images.
#include "frame_reference.h"
#include "reference.h"
#include "zan_test.h"

#include <gtest/gtest.h>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

using BinaryCall = void (*)(const ZanImage*, const ZanImage*, ZanImage*);

const std::vector<uint32_t> kDepths(std::begin(zt::kAllDepths), std::end(zt::kAllDepths));

TEST(ImageArithmetic, SaturatesAtBothEnds)
{
    struct Case {
        const char* op;
        BinaryCall call;
        uint32_t depth;
        double a, b, result;
    };
    const Case cases[] = {
        {"add", zanAdd, ZAN_DEPTH_8U, 200, 100, 255},
        {"sub", zanSubtract, ZAN_DEPTH_8U, 100, 200, 0},
        {"mul", zanMultiply, ZAN_DEPTH_8U, 16, 16, 255},
        {"mul", zanMultiply, ZAN_DEPTH_8U, 255, 255, 255},
        {"mul", zanMultiply, ZAN_DEPTH_8U, 15, 17, 255},
        {"mul", zanMultiply, ZAN_DEPTH_8U, 15, 16, 240},
        {"add", zanAdd, ZAN_DEPTH_8S, 100, 100, 127},
        {"sub", zanSubtract, ZAN_DEPTH_8S, -100, 100, -128},
        {"mul", zanMultiply, ZAN_DEPTH_8S, -128, -128, 127},
        {"mul", zanMultiply, ZAN_DEPTH_8S, -128, 127, -128},
        {"mul", zanMultiply, ZAN_DEPTH_8S, -11, 11, -121},
        {"mul", zanMultiply, ZAN_DEPTH_16U, 300, 300, 65535},
        {"sub", zanSubtract, ZAN_DEPTH_16U, 3, 4, 0},
        {"sub", zanSubtract, ZAN_DEPTH_16S, -32768, 1, -32768},
        {"mul", zanMultiply, ZAN_DEPTH_16S, 200, 200, 32767},
        {"mul", zanMultiply, ZAN_DEPTH_16S, -200, 200, -32768},
        {"add", zanAdd, ZAN_DEPTH_32S, 2147483647, 1, 2147483647},
        {"add", zanAdd, ZAN_DEPTH_32S, -2147483648.0, -1, -2147483648.0},
        {"sub", zanSubtract, ZAN_DEPTH_32S, -2147483648.0, 1, -2147483648.0},
        {"sub", zanSubtract, ZAN_DEPTH_32S, 2147483647, -1, 2147483647},
        {"mul", zanMultiply, ZAN_DEPTH_32S, 65536, 65536, 2147483647},
        {"mul", zanMultiply, ZAN_DEPTH_32S, 65536, -32768, -2147483648.0},
        {"mul", zanMultiply, ZAN_DEPTH_32S, -3, 5, -15},
        {"mul", zanMultiply, ZAN_DEPTH_32S, 46341, -46341, -2147483648.0},
        {"sub", zanSubtract, ZAN_DEPTH_32F, 0.5, 2.25, -1.75},
        {"mul", zanMultiply, ZAN_DEPTH_32F, 1e30, 1e30, INFINITY},
    };
    for (const Case& c : cases) {
        // Rows of 70 values: packed blocks and the value-at-a-time tail.
        Image a = zt::makeImage(Shape{c.depth, 1, 70, 1});
        Image b = zt::makeImage(Shape{c.depth, 1, 70, 1});
        Image d = zt::makeImage(Shape{c.depth, 1, 70, 1});
        for (int x = 0; x < 70; ++x) {
            zt::setSampleAt(a.get(), x, 0, 0, c.a);
            zt::setSampleAt(b.get(), x, 0, 0, c.b);
        }
        RecordingReporter recorder;
        c.call(a.get(), b.get(), d.get());
        for (int x = 0; x < 70; ++x)
            ASSERT_EQ(zt::sampleAt(d.get(), x, 0, 0), c.result)
                << c.op << " " << zt::depthName(c.depth) << " " << c.a << ", " << c.b << " at " << x;
    }
}

TEST(ImageArithmetic, MatchesThePixelReference)
{
    struct Op {
        const char* name;
        BinaryCall call;
        double (*expected)(uint32_t, double, double);
    };
    const Op ops[] = {
        {"add", zanAdd, ref::add},
        {"subtract", zanSubtract, ref::subtract},
        {"multiply", zanMultiply, ref::multiply},
    };
    uint32_t seed = 100;
    for (const Op& op : ops) {
        SCOPED_TRACE(op.name);
        zt::FrameCheck check;
        check.depths = kDepths;
        check.cases = 400;
        check.seed = ++seed;
        check.call = [&op](ZanImage* a, ZanImage* b, ZanImage* d) { op.call(a, b, d); };
        // Saturation of single bits makes OR, AND NOT and AND of them.
        check.expected = op.expected;
        zt::checkAgainstReference(check);
    }
}

TEST(ImageArithmetic, OneBitSubtractKeepsNeighbouringBitsAtAnyPhase)
{
    std::mt19937 rng(77);
    for (int phaseA = 0; phaseA < 8; ++phaseA) {
        for (int phaseD = 0; phaseD < 8; ++phaseD) {
            Image a = zt::makeRandomImage(Shape{ZAN_DEPTH_1U, 1, 64, 3}, rng);
            Image b = zt::makeRandomImage(Shape{ZAN_DEPTH_1U, 1, 64, 3}, rng);
            Image d = zt::makeRandomImage(Shape{ZAN_DEPTH_1U, 1, 64, 3}, rng);
            const int width = 5 + (phaseA * 7 + phaseD) % 30;
            zt::setRoi(a.get(), 0, phaseA, 0, width, 3);
            zt::setRoi(b.get(), 0, 3, 1, width, 2);
            zt::setRoi(d.get(), 0, phaseD + 8, 0, width, 3);
            Image before(zanCloneImage(d.get()));
            RecordingReporter recorder;
            zanSubtract(a.get(), b.get(), d.get());
            for (int y = 0; y < 3; ++y) {
                for (int x = 0; x < 64; ++x) {
                    const int i = x - (phaseD + 8);
                    bool want = zt::bitAt(before.get(), x, y);
                    if (i >= 0 && i < width && y < 2)
                        want = zt::bitAt(a.get(), phaseA + i, y) && !zt::bitAt(b.get(), 3 + i, 1 + y);
                    ASSERT_EQ(zt::bitAt(d.get(), x, y), want) << phaseA << "/" << phaseD << " x " << x << " y " << y;
                }
            }
        }
    }
}

TEST(ImageArithmetic, RoutesAndReportsUnderTheRightName)
{
    Image bits = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8});
    Image bytes = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8});
    Image planes = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8, ZAN_DATA_ORDER_PLANE});
    struct Case {
        const char* name;
        std::function<void()> call;
        std::vector<std::string> reports;
    };
    const Case cases[] = {
        {"1-bit multiply with null B", [&] { zanMultiply(bits.get(), nullptr, bits.get()); },
         {"zanAnd: Incorrect Image"}},
        {"multiply null A", [&] { zanMultiply(nullptr, bits.get(), bits.get()); },
         {"zanMultiply: srcImageA==0"}},
        {"subtract null A", [&] { zanSubtract(nullptr, bits.get(), bits.get()); },
         {"zanSubtract: Incorrect Image"}},
        {"1-bit subtract ignores the data order", [&] { zanSubtract(bits.get(), planes.get(), bits.get()); }, {}},
        {"1-bit add of unlike depths", [&] { zanAdd(bits.get(), bytes.get(), bits.get()); },
         {"zanOr: (srcImageB->depth != dstImage->depth)"}},
        {"8-bit subtract of unlike depths", [&] { zanSubtract(bytes.get(), bits.get(), bytes.get()); },
         {"zanSubtract: (srcImageB->depth != dstImage->depth)"}},
    };
    for (const Case& c : cases) {
        RecordingReporter recorder;
        c.call();
        EXPECT_EQ(recorder.summary(), c.reports) << c.name;
    }
}

TEST(ImageArithmetic, SubtractInPlaceGivesZeros)
{
    std::mt19937 rng(4);
    for (uint32_t depth : zt::kAllDepths) {
        Image a = zt::makeRandomImage(Shape{depth, 1, 33, 5}, rng);
        RecordingReporter recorder;
        zanSubtract(a.get(), a.get(), a.get());
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 33; ++x)
                ASSERT_EQ(zt::sampleAt(a.get(), x, y, 0), 0) << zt::depthName(depth);
    }
}

} // namespace
