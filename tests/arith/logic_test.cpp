// And, Or, Xor, Not, the constant forms and the shifts.
#include "frame_reference.h"
#include "reference.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

using zt::Image;
using zt::RecordingReporter;
using zt::Shape;

int64_t asInt(double v) { return static_cast<int64_t>(v); }

TEST(Logic, MatchesThePixelReference)
{
    const std::vector<uint32_t> depths = {ZAN_DEPTH_1U, ZAN_DEPTH_8U, ZAN_DEPTH_8S,
                                          ZAN_DEPTH_16U, ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    struct Op {
        const char* name;
        void (*call)(const ZanImage*, const ZanImage*, ZanImage*);
        int64_t (*bits)(int64_t, int64_t);
    };
    const Op ops[] = {
        {"and", zanAnd, [](int64_t a, int64_t b) { return a & b; }},
        {"or", zanOr, [](int64_t a, int64_t b) { return a | b; }},
        {"xor", zanXor, [](int64_t a, int64_t b) { return a ^ b; }},
    };
    uint32_t seed = 900;
    for (const Op& op : ops) {
        SCOPED_TRACE(op.name);
        zt::FrameCheck check;
        check.depths = depths;
        check.cases = 250;
        check.seed = ++seed;
        check.call = [&op](ZanImage* a, ZanImage* b, ZanImage* d) { op.call(a, b, d); };
        check.expected = [&op](uint32_t depth, double a, double b) {
            return ref::wrapTo(depth, op.bits(asInt(a), asInt(b)));
        };
        zt::checkAgainstReference(check);

        for (int value : {0, -1, 0x1FF, 0x12345678, 1, -2}) {
            using ConstantCall = void (*)(const ZanImage*, ZanImage*, int);
            const ConstantCall constantCall = op.call == zanAnd ? zanAndS : op.call == zanOr ? zanOrS : zanXorS;
            zt::FrameCheck constant;
            constant.twoSources = false;
            constant.depths = depths;
            constant.cases = 40;
            constant.seed = ++seed;
            constant.call = [constantCall, value](ZanImage* a, ZanImage*, ZanImage* d) { constantCall(a, d, value); };
            // The constant's low bits repeat in every sample; 1-bit images use bit 0.
            constant.expected = [&op, value](uint32_t depth, double a, double) {
                const int64_t pattern = depth == ZAN_DEPTH_1U ? (value & 1) : value;
                return ref::wrapTo(depth, op.bits(asInt(a), pattern));
            };
            zt::checkAgainstReference(constant);
        }
    }
}

TEST(Shifts, MatchThePixelReference)
{
    const std::vector<uint32_t> depths = {ZAN_DEPTH_8U, ZAN_DEPTH_8S, ZAN_DEPTH_16U,
                                          ZAN_DEPTH_16S, ZAN_DEPTH_32S};
    uint32_t seed = 1300;
    for (int n : {0, 1, 3, 7, 8, 9, 15, 16, 31, 32, 40, -1}) {
        SCOPED_TRACE("shift " + std::to_string(n));
        zt::FrameCheck check;
        check.twoSources = false;
        check.depths = depths;
        check.cases = 30;
        check.seed = ++seed;
        check.call = [n](ZanImage* a, ZanImage*, ZanImage* d) { zanLShiftS(a, d, n); };
        check.expected = [n](uint32_t depth, double a, double) {
            // Counts at or beyond the width, negative ones included, shift everything out.
            if (static_cast<uint32_t>(n) >= static_cast<uint32_t>(ref::bitsOf(depth)))
                return 0.0;
            return ref::wrapTo(depth, static_cast<int64_t>(static_cast<uint64_t>(asInt(a)) << n));
        };
        zt::checkAgainstReference(check);

        check.seed = ++seed;
        check.call = [n](ZanImage* a, ZanImage*, ZanImage* d) { zanRShiftS(a, d, n); };
        check.expected = [n](uint32_t depth, double a, double) {
            const int bits = ref::bitsOf(depth);
            int count = n;
            if (static_cast<uint32_t>(n) >= static_cast<uint32_t>(bits)) {
                if (!(depth & ZAN_DEPTH_SIGN))
                    return 0.0;
                count = bits - 1;
            }
            return std::floor(a / std::ldexp(1.0, count));
        };
        zt::checkAgainstReference(check);
    }
}

TEST(Logic, EdgeCases)
{
    using Case = ref::RowCase;
    const Case cases[] = {
        {"AndS 0x1FF on 8U uses 0xFF", ZAN_DEPTH_8U, 0xA5, [](ZanImage* s, ZanImage* d) { zanAndS(s, d, 0x1FF); }, 0xA5, {}},
        {"AndS 2 on 1U uses bit 0", ZAN_DEPTH_1U, 1, [](ZanImage* s, ZanImage* d) { zanAndS(s, d, 2); }, 0, {}},
        {"XorS 1 inverts a bit", ZAN_DEPTH_1U, 1, [](ZanImage* s, ZanImage* d) { zanXorS(s, d, 1); }, 0, {}},
        {"Not of 8S 5", ZAN_DEPTH_8S, 5, [](ZanImage* s, ZanImage* d) { zanNot(s, d); }, -6, {}},
        {"8U 0x81 << 1", ZAN_DEPTH_8U, 0x81, [](ZanImage* s, ZanImage* d) { zanLShiftS(s, d, 1); }, 0x02, {}},
        {"8S -128 >> 3", ZAN_DEPTH_8S, -128, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, 3); }, -16, {}},
        {"16S -1 >> 15", ZAN_DEPTH_16S, -1, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, 15); }, -1, {}},
        {"32S 1 << 31", ZAN_DEPTH_32S, 1, [](ZanImage* s, ZanImage* d) { zanLShiftS(s, d, 31); }, -2147483648.0, {}},
        {"32S >> 40 by sign", ZAN_DEPTH_32S, -5, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, 40); }, -1, {}},
        {"8S >> -1 is >> 7", ZAN_DEPTH_8S, 100, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, -1); }, 0, {}},
        {"8U << 8", ZAN_DEPTH_8U, 3, [](ZanImage* s, ZanImage* d) { zanLShiftS(s, d, 8); }, 0, {}},
        {"1U << 1", ZAN_DEPTH_1U, 1, [](ZanImage* s, ZanImage* d) { zanLShiftS(s, d, 1); }, 0, {}},
        {"shift by 0 copies", ZAN_DEPTH_16S, -7, [](ZanImage* s, ZanImage* d) { zanLShiftS(s, d, 0); }, -7, {}},
        {"Not of 32F", ZAN_DEPTH_32F, 1, [](ZanImage* s, ZanImage* d) { zanNot(s, d); }, 0,
         {"zanXorS: This function does not support depth 32F"}},
        {"And of 32F", ZAN_DEPTH_32F, 1, [](ZanImage* s, ZanImage* d) { zanAnd(s, s, d); }, 0,
         {"zanAnd: This function does not support depth 32F"}},
        {"32F >> 40", ZAN_DEPTH_32F, 1, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, 40); }, 0,
         {"zanAndS: This function does not support depth 32F"}},
        {"32F >> 3", ZAN_DEPTH_32F, 1, [](ZanImage* s, ZanImage* d) { zanRShiftS(s, d, 3); }, 0,
         {"zanRShiftS: This function does not support depth 32F"}},
        {"null shift source", ZAN_DEPTH_8U, 1, [](ZanImage*, ZanImage* d) { zanLShiftS(nullptr, d, 3); }, 0,
         {"zanLShiftS: srcImage==0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingReporter recorder;
        const std::vector<double> results = ref::rowResults(c.depth, c.a, c.call);
        EXPECT_EQ(recorder.summary(), c.reports);
        EXPECT_EQ(results, std::vector<double>(70, c.result));
    }
}

TEST(Logic, ShiftsCompareTheDataOrderEvenForOneChannel)
{
    Image pixels = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8});
    Image planes = zt::makeImage(Shape{ZAN_DEPTH_8U, 1, 8, 8, ZAN_DATA_ORDER_PLANE});
    Image bitsPlanes = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8, ZAN_DATA_ORDER_PLANE});
    Image bitsPixels = zt::makeImage(Shape{ZAN_DEPTH_1U, 1, 8, 8});
    RecordingReporter recorder;
    zanRShiftS(pixels.get(), planes.get(), 2);
    zanAndS(bitsPixels.get(), bitsPlanes.get(), 1);
    zanXor(bitsPixels.get(), bitsPixels.get(), bitsPlanes.get());
    zanOrS(pixels.get(), planes.get(), 1);
    const std::vector<std::string> expected = {
        "zanRShiftS: (srcImage->dataOrder != dstImage->dataOrder)",
        "zanOrS: (srcImage->dataOrder != dstImage->dataOrder)",
    };
    EXPECT_EQ(recorder.summary(), expected);
}

} // namespace
