// Convolution kernel records: what Create took, Get gives back; refusals of
// Create, Get and Delete with their statuses and texts.
#include "zan.h"
#include "zan_test.h"

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(ConvKernel, GetGivesBackWhatCreateTook)
{
    std::mt19937 rng(11);
    for (int trial = 0; trial < 100; ++trial) {
        const int nCols = 1 + static_cast<int>(rng() % 9);
        const int nRows = 1 + static_cast<int>(rng() % 9);
        const int anchorX = static_cast<int>(rng() % nCols);
        const int anchorY = static_cast<int>(rng() % nRows);
        const int shift = static_cast<int>(rng() % 8);
        std::vector<int32_t> values(nCols * nRows);
        std::vector<int8_t> chars(values.size());
        std::vector<float> floats(values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = static_cast<int32_t>(rng());
            chars[i] = static_cast<int8_t>(rng());
            floats[i] = static_cast<float>(static_cast<int32_t>(rng())) / 1024.0f;
        }
        ZanConvKernel k = zanCreateConvKernel(nCols, nRows, anchorX, anchorY, values.data(), shift);
        ZanConvKernel kc = zanCreateConvKernelChar(nCols, nRows, anchorX, anchorY, chars.data(), shift);
        ZanConvKernelFP kf = zanCreateConvKernelFP(nCols, nRows, anchorX, anchorY, floats.data());
        ASSERT_TRUE(k && kc && kf);

        int c = 0, r = 0, ax = 0, ay = 0, s = 0;
        std::vector<int32_t> gotValues(values.size());
        int32_t* valuesOut = gotValues.data();
        zanGetConvKernel(k, &c, &r, &ax, &ay, &valuesOut, &s);
        EXPECT_EQ(std::vector<int>({c, r, ax, ay, s}),
                  std::vector<int>({nCols, nRows, anchorX, anchorY, shift}));
        EXPECT_EQ(gotValues, values);

        std::vector<int8_t> gotChars(values.size());
        int8_t* charsOut = gotChars.data();
        zanGetConvKernelChar(kc, &c, &r, &ax, &ay, &charsOut, &s);
        EXPECT_EQ(gotChars, chars);
        EXPECT_EQ(std::vector<int>({c, r, ax, ay, s}),
                  std::vector<int>({nCols, nRows, anchorX, anchorY, shift}));

        std::vector<float> gotFloats(values.size());
        float* floatsOut = gotFloats.data();
        zanGetConvKernelFP(kf, &c, &r, &ax, &ay, &floatsOut);
        EXPECT_EQ(gotFloats, floats);
        EXPECT_EQ(std::vector<int>({c, r, ax, ay}), std::vector<int>({nCols, nRows, anchorX, anchorY}));

        zanDeleteConvKernel(k);
        zanDeleteConvKernel(kc);
        zanDeleteConvKernelFP(kf);
    }
}

TEST(ConvKernel, CharGetKeepsTheLowByte)
{
    const int32_t values[2] = {300, -200};
    ZanConvKernel k = zanCreateConvKernel(2, 1, 0, 0, values, 0);
    int c, r, ax, ay, s;
    int8_t out[2];
    int8_t* p = out;
    zanGetConvKernelChar(k, &c, &r, &ax, &ay, &p, &s);
    EXPECT_EQ(out[0], 44);
    EXPECT_EQ(out[1], 56);
    zanDeleteConvKernel(k);
}

struct CreateCase {
    int nCols, nRows, anchorX, anchorY;
    bool nullValues;
    const char* context;
};

TEST(ConvKernel, CreateRefusals)
{
    const char* anchorText = "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)";
    const CreateCase table[] = {
        {3, 3, 1, 1, true, "(values == 0)"},
        {0, 3, 0, 0, false, "(nRows<=0 || nCols<=0)"},
        {3, -1, 0, 0, false, "(nRows<=0 || nCols<=0)"},
        {3, 3, -1, 0, false, anchorText},
        {3, 3, 0, -1, false, anchorText},
        {3, 3, 3, 0, false, anchorText},
        {3, 3, 0, 3, false, anchorText},
    };
    const int32_t values[9] = {};
    const int8_t chars[9] = {};
    const float floats[9] = {};
    for (const CreateCase& t : table) {
        SCOPED_TRACE(t.context);
        zt::RecordingReporter reporter;
        EXPECT_EQ(zanCreateConvKernel(t.nCols, t.nRows, t.anchorX, t.anchorY,
                                      t.nullValues ? nullptr : values, 0), nullptr);
        EXPECT_EQ(zanCreateConvKernelChar(t.nCols, t.nRows, t.anchorX, t.anchorY,
                                          t.nullValues ? nullptr : chars, 0), nullptr);
        EXPECT_EQ(zanCreateConvKernelFP(t.nCols, t.nRows, t.anchorX, t.anchorY,
                                        t.nullValues ? nullptr : floats), nullptr);
        EXPECT_EQ(reporter.summary(),
                  std::vector<std::string>({std::string("zanCreateConvKernel: ") + t.context,
                                            std::string("zanCreateConvKernelChar: ") + t.context,
                                            std::string("zanCreateConvKernelFP: ") + t.context}));
        EXPECT_EQ(reporter.reports()[0].status, ZAN_STATUS_BAD_ARGUMENT);
    }
}

TEST(ConvKernel, GetRefusals)
{
    const int32_t values[4] = {1, 2, 3, 4};
    ZanConvKernel k = zanCreateConvKernel(2, 2, 0, 1, values, 0);
    int v = 0;
    int32_t buffer[4];
    int32_t* out = buffer;
    struct Case {
        bool nullKernel, nRows, nCols, anchorX, anchorY, values, shift;
        std::vector<std::string> reports;
    };
    const std::string f = "zanGetConvKernel: ";
    const Case table[] = {
        {true, false, false, false, false, false, false, {f + "kernel==0"}},
        {false, true, true, true, false, false, false, {f + "nRows==0", f + "nCols==0"}},
        {false, false, false, true, true, false, false, {f + "anchorX==0", f + "anchorY==0"}},
        {false, false, false, false, false, true, true, {f + "values==0"}},
        {false, false, false, false, false, false, true, {f + "nShiftR==0"}},
    };
    for (const Case& t : table) {
        zt::RecordingReporter reporter;
        zanGetConvKernel(t.nullKernel ? nullptr : k, t.nCols ? nullptr : &v, t.nRows ? nullptr : &v,
                         t.anchorX ? nullptr : &v, t.anchorY ? nullptr : &v,
                         t.values ? nullptr : &out, t.shift ? nullptr : &v);
        EXPECT_EQ(reporter.summary(), t.reports);
        EXPECT_EQ(zanGetErrStatus(), ZAN_STATUS_BAD_ARGUMENT);
    }
    struct BadRecord {
        int nCols, nRows, anchorX, anchorY;
        float* values;
    } bad{2, 2, 0, -1, nullptr};
    zt::RecordingReporter reporter;
    float* fout = nullptr;
    zanGetConvKernelFP(reinterpret_cast<ZanConvKernelFP>(&bad), &v, &v, &v, &v, &fout);
    EXPECT_EQ(reporter.summary(),
              std::vector<std::string>({"zanGetConvKernelFP: ownBadKernel((OwnConvKernel*)kernel)"}));
    zanDeleteConvKernel(k);
}

TEST(ConvKernel, DeleteRefusals)
{
    struct Record {
        int nCols, nRows, anchorX, anchorY;
        int32_t* values;
        int nShiftR;
    } empty{1, 1, 0, 0, nullptr, 0};
    zt::RecordingReporter reporter;
    zanDeleteConvKernel(nullptr);
    zanDeleteConvKernelFP(nullptr);
    zanDeleteConvKernel(reinterpret_cast<ZanConvKernel>(&empty));
    EXPECT_EQ(reporter.summary(),
              std::vector<std::string>({"zanDeleteConvKernel: kernel==0",
                                        "zanDeleteConvKernelFP: kernel==0",
                                        "zanDeleteConvKernel: kernel->values==0"}));
}

} // namespace

#include "filter/own_filter.h"

namespace {

struct ClassCase {
    std::vector<int32_t> values;
    uint32_t depth;
    int expected;
};

TEST(ConvKernel, ClassFollowsTheReachOfTheResponse)
{
    const std::vector<int32_t> nines255(9, 255);
    const ClassCase table[] = {
        {{1, 2, 1, 2, 4, 2, 1, 2, 1}, ZAN_DEPTH_8U, 0},
        {{1, 2, 1, 2, 4, 2, 1, 2, 1}, ZAN_DEPTH_16U, 1}, // 16-bit depths never keep class 0
        {{1, 2, 1, 2, 4, 2, 1, 2, 1}, ZAN_DEPTH_32S, 2},
        {nines255, ZAN_DEPTH_8U, 1},            // sum 9 * 255 * 255 beyond 16 bits
        {{128, 1}, ZAN_DEPTH_8U, 1},            // 128 * 255 + 255 beyond 32767
        {{129, 1}, ZAN_DEPTH_8S, 0},            // -16640 .. 16510
        {{40000}, ZAN_DEPTH_8U, 2},             // a coefficient beyond 16 bits
        {{30000, 30000, 30000}, ZAN_DEPTH_16S, 2}, // beyond 32 bits
        {{30000, -30000}, ZAN_DEPTH_16S, 1},
        {{-1, 1}, ZAN_DEPTH_1U, 0},
    };
    for (const ClassCase& c : table)
        EXPECT_EQ(ownConvClass(c.values.data(), static_cast<int>(c.values.size()), c.depth),
                  c.expected)
            << ::testing::PrintToString(c.values) << " depth " << zt::depthName(c.depth);
}

} // namespace
