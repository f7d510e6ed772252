// AddS, SubtractS, MultiplyS and their float forms.
#include "frame_reference.h"
#include "reference.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

TEST(ConstantArithmetic, EdgeCases)
{
    using Case = ref::RowCase;
    auto addS = [](int v) { return [v](ZanImage* s, ZanImage* d) { zanAddS(s, d, v); }; };
    auto subS = [](int v, int r) { return [v, r](ZanImage* s, ZanImage* d) { zanSubtractS(s, d, v, r); }; };
    auto mulS = [](int v) { return [v](ZanImage* s, ZanImage* d) { zanMultiplyS(s, d, v); }; };
    const Case cases[] = {
        {"8U add 300", ZAN_DEPTH_8U, 3, addS(300), 255, {}},
        {"8U add -300", ZAN_DEPTH_8U, 250, addS(-300), 0, {}},
        {"8U add INT_MIN", ZAN_DEPTH_8U, 250, addS(INT32_MIN), 0, {}},
        {"8U add 7", ZAN_DEPTH_8U, 250, addS(7), 255, {}},
        {"8U subtract 255", ZAN_DEPTH_8U, 255, subS(255, 0), 0, {}},
        {"8U subtract -255", ZAN_DEPTH_8U, 0, subS(-255, 0), 255, {}},
        {"8U subtract -200", ZAN_DEPTH_8U, 50, subS(-200, 0), 250, {}},
        {"8U 300 - 45", ZAN_DEPTH_8U, 45, subS(300, 1), 255, {}},
        {"8U 300 - 46", ZAN_DEPTH_8U, 46, subS(300, 1), 254, {}},
        {"8U 300 - 255", ZAN_DEPTH_8U, 255, subS(300, 1), 45, {}},
        {"8U 509 - 0", ZAN_DEPTH_8U, 0, subS(509, 1), 255, {}},
        {"8U 510 - 255", ZAN_DEPTH_8U, 255, subS(510, 1), 255, {}},
        {"8U 0 - a", ZAN_DEPTH_8U, 9, subS(0, 1), 0, {}},
        {"8U 100 - 30", ZAN_DEPTH_8U, 30, subS(100, 1), 70, {}},
        {"8S add 200", ZAN_DEPTH_8S, -100, addS(200), 100, {}},
        {"8S subtract 200", ZAN_DEPTH_8S, 100, subS(200, 0), -100, {}},
        {"8S -200 - a", ZAN_DEPTH_8S, -100, subS(-200, 1), -100, {}},
        {"8S 254 - -128", ZAN_DEPTH_8S, -128, subS(1000, 1), 127, {}},
        {"16U add 70000", ZAN_DEPTH_16U, 1, addS(70000), 65535, {}},
        {"16U 100000 - a", ZAN_DEPTH_16U, 40000, subS(100000, 1), 60000, {}},
        {"16U 100000 - 30000", ZAN_DEPTH_16U, 30000, subS(100000, 1), 65535, {}},
        {"16S subtract 70000", ZAN_DEPTH_16S, 32767, subS(70000, 0), -32768, {}},
        {"16S subtract -40000", ZAN_DEPTH_16S, -32768, subS(-40000, 0), 7232, {}},
        {"16S -40000 - a", ZAN_DEPTH_16S, -32768, subS(-40000, 1), -7232, {}},
        {"32S add overflow", ZAN_DEPTH_32S, 2147483647, addS(5), 2147483647, {}},
        {"32S subtract reversed", ZAN_DEPTH_32S, -2147483648.0, subS(0, 1), 2147483647, {}},
        {"1U add -1", ZAN_DEPTH_1U, 0, addS(-1), 1, {}},
        {"1U add 2", ZAN_DEPTH_1U, 0, addS(2), 0, {}},
        {"1U 1 - a", ZAN_DEPTH_1U, 1, subS(1, 1), 0, {}},
        {"1U 1 - 0", ZAN_DEPTH_1U, 0, subS(3, 1), 1, {}},
        {"1U a - 1", ZAN_DEPTH_1U, 1, subS(1, 0), 0, {}},
        {"1U a - 0", ZAN_DEPTH_1U, 1, subS(2, 0), 1, {}},
        {"1U 0 - a", ZAN_DEPTH_1U, 1, subS(0, 1), 0, {}},
        {"8U times 0", ZAN_DEPTH_8U, 200, mulS(0), 0, {}},
        {"8U times 1000", ZAN_DEPTH_8U, 2, mulS(1000), 255, {}},
        {"8U times 3", ZAN_DEPTH_8U, 85, mulS(3), 255, {}},
        {"8S times 0", ZAN_DEPTH_8S, -5, mulS(0), 0, {}},
        {"8S times 200", ZAN_DEPTH_8S, 1, mulS(200), 127, {}},
        {"8S times 200, negative", ZAN_DEPTH_8S, -1, mulS(200), -128, {}},
        {"8S times -128", ZAN_DEPTH_8S, -1, mulS(-128), 127, {}},
        {"16U times 300", ZAN_DEPTH_16U, 300, mulS(300), 65535, {}},
        {"16S times -40000", ZAN_DEPTH_16S, 1, mulS(-40000), -32768, {}},
        {"32S times 65536", ZAN_DEPTH_32S, 65536, mulS(65536), 2147483647, {}},
        {"32S times -7", ZAN_DEPTH_32S, 6, mulS(-7), -42, {}},
        {"1U times 1", ZAN_DEPTH_1U, 1, mulS(1), 1, {}},
        {"1U times 2", ZAN_DEPTH_1U, 1, mulS(2), 0, {}},
        {"32F add 1.5", ZAN_DEPTH_32F, 0.25, [](ZanImage* s, ZanImage* d) { zanAddSFP(s, d, 1.5f); }, 1.75, {}},
        {"32F 1.5 - a", ZAN_DEPTH_32F, 0.25, [](ZanImage* s, ZanImage* d) { zanSubtractSFP(s, d, 1.5f, 1); }, 1.25, {}},
        {"32F a - 1.5", ZAN_DEPTH_32F, 0.25, [](ZanImage* s, ZanImage* d) { zanSubtractSFP(s, d, 1.5f, 0); }, -1.25, {}},
        {"32F times -2", ZAN_DEPTH_32F, 0.25, [](ZanImage* s, ZanImage* d) { zanMultiplySFP(s, d, -2.0f); }, -0.5, {}},
        {"32F through zanAddS", ZAN_DEPTH_32F, 0.25, addS(1), 0,
         {"zanAddS: For processing depth 32F use function zanAddSFP"}},
        {"32F through zanSubtractS", ZAN_DEPTH_32F, 0.25, subS(1, 0), 0,
         {"zanSubtractS: For processing depth 32F use function zanSubtractSFP"}},
        {"32F through zanMultiplyS", ZAN_DEPTH_32F, 0.25, mulS(1), 0,
         {"zanMultiplyS: For processing depth 32F use function zanMultiplySFP"}},
        {"8U through zanAddSFP", ZAN_DEPTH_8U, 5, [](ZanImage* s, ZanImage* d) { zanAddSFP(s, d, 1); }, 0,
         {"zanAddSFP: For processing this depth use function zanAddS"}},
        {"8U through zanSubtractSFP", ZAN_DEPTH_8U, 5, [](ZanImage* s, ZanImage* d) { zanSubtractSFP(s, d, 1, 0); }, 0,
         {"zanSubtractSFP: For processing this depth use function zanSubtractS"}},
        {"8U through zanMultiplySFP", ZAN_DEPTH_8U, 5, [](ZanImage* s, ZanImage* d) { zanMultiplySFP(s, d, 1); }, 0,
         {"zanMultiplySFP: For processing this depth use function zanMultiplyS"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingReporter recorder;
        EXPECT_EQ(ref::rowResults(c.depth, c.a, c.call), std::vector<double>(70, c.result));
        EXPECT_EQ(recorder.summary(), c.reports);
    }
}

TEST(ConstantArithmetic, ShortcutsReportUnderTheLogicName)
{
    Image bits = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8});
    Image bytes = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8});
    Image words = zt::makeImage(Shape{ZAN_DEPTH_16U, 1, 8, 8});
    struct Case {
        const char* name;
        std::function<void()> call;
        std::vector<std::string> reports;
    };
    const Case cases[] = {
        {"null source", [&] { zanAddS(nullptr, bytes.get(), 1); }, {"zanAddS: srcImage==0"}},
        {"null source", [&] { zanSubtractSFP(nullptr, bytes.get(), 1, 0); }, {"zanSubtractSFP: srcImage==0"}},
        {"add 300 to unlike depths", [&] { zanAddS(bytes.get(), words.get(), 300); },
         {"zanOrS: (srcImage->depth != dstImage->depth)"}},
        {"add 3 to unlike depths", [&] { zanAddS(bytes.get(), words.get(), 3); },
         {"zanSubtractS: (srcImage->depth != dstImage->depth)"}},
        {"multiply by 0 into a null image", [&] { zanMultiplyS(bytes.get(), nullptr, 0); },
         {"zanAndS: Incorrect Image"}},
        {"1-bit add into a byte image", [&] { zanAddS(bits.get(), bytes.get(), 1); },
         {"zanOrS: (srcImage->depth != dstImage->depth)"}},
        {"32S frame", [&] { zanAddS(words.get(), bytes.get(), 1); },
         {"zanSubtractS: (srcImage->depth != dstImage->depth)"}},
    };
    for (const Case& c : cases) {
        RecordingReporter recorder;
        c.call();
        EXPECT_EQ(recorder.summary(), c.reports) << c.name;
    }
}

TEST(ConstantArithmetic, MatchesThePixelReference)
{
    const int constants[] = {0, 1, -1, 7, -100, 200, 254, 255, 256, 300, -300, 509, 40000, -70000, 2147483647, INT32_MIN};
    const std::vector<uint32_t> integerDepths = {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_8S,
                                                 ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    uint32_t seed = 500;
    for (int value : constants) {
        SCOPED_TRACE("constant " + std::to_string(value));
        const double v = value;
        zt::FrameCheck check;
        check.twoSources = false;
        check.depths = integerDepths;
        check.cases = 25;

        check.seed = ++seed;
        check.call = [value](ZanImage* a, ZanImage*, ZanImage* d) { zanAddS(a, d, value); };
        check.expected = [v](uint32_t depth, double a, double) {
            // A 1-bit image takes bit 0 of the constant.
            return depth == ZAN_DEPTH_1U ? double(a != 0 || (static_cast<int64_t>(v) & 1)) : ref::saturate(depth, a + v);
        };
        zt::checkAgainstReference(check);

        for (int reverse : {0, 1}) {
            check.seed = ++seed;
            check.call = [value, reverse](ZanImage* a, ZanImage*, ZanImage* d) { zanSubtractS(a, d, value, reverse); };
            check.expected = [v, reverse](uint32_t depth, double a, double) {
                const double c = depth == ZAN_DEPTH_1U ? double(static_cast<int64_t>(v) & 1) : v;
                return ref::saturate(depth, reverse ? c - a : a - c);
            };
            zt::checkAgainstReference(check);
        }

        check.seed = ++seed;
        check.call = [value](ZanImage* a, ZanImage*, ZanImage* d) { zanMultiplyS(a, d, value); };
        check.expected = [v](uint32_t depth, double a, double) {
            return depth == ZAN_DEPTH_1U ? double(a != 0 && (static_cast<int64_t>(v) & 1)) : ref::saturate(depth, a * v);
        };
        zt::checkAgainstReference(check);
        if (testing::Test::HasFailure())
            return;
    }
}

TEST(ConstantArithmetic, FloatFormsMatchThePixelReference)
{
    for (float value : {0.0f, 1.5f, -1000.25f, 3e-3f}) {
        zt::FrameCheck check;
        check.twoSources = false;
        check.depths = {ZAN_DEPTH_32F};
        check.cases = 40;
        check.call = [value](ZanImage* a, ZanImage*, ZanImage* d) { zanAddSFP(a, d, value); };
        check.expected = [value](uint32_t, double a, double) { return static_cast<float>(a) + value; };
        zt::checkAgainstReference(check);
        check.call = [value](ZanImage* a, ZanImage*, ZanImage* d) { zanSubtractSFP(a, d, value, 1); };
        check.expected = [value](uint32_t, double a, double) { return value - static_cast<float>(a); };
        zt::checkAgainstReference(check);
        check.call = [value](ZanImage* a, ZanImage*, ZanImage* d) { zanMultiplySFP(a, d, value); };
        check.expected = [value](uint32_t, double a, double) { return static_cast<float>(a) * value; };
        zt::checkAgainstReference(check);
    }
}

} // namespace
