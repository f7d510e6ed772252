// The status path: zanError, texts, modes, reporters, the thread context.
#include "zan_test.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

namespace {

using zt::RecordingReporter;

TEST(ErrorStr, GivesEveryTextAndUnknownForTheRest)
{
    struct Case {
        int status;
        const char* text;
    };
    const Case cases[] = {
        {0, "No Error"},
        {-1, "Backtrace"},
        {-2, "Unknown error or status code"},
        {-3, "Internal error (bad state)"},
        {-4, "Insufficient memory"},
        {-5, "Bad argument"},
        {-6, "Unsupported function"},
        {-7, "Iteration convergence failed"},
        {-8, "Autotrace call"},
        {-9, "Null pointer to an image header"},
        {-10, "Incorrect image size"},
        {-11, "Incorrect offset of ROI of the image"},
        {-12, "One from two pointers should be null, and other should be not null, imageData or tileInfo "},
        {-13, "Incorrect widthStep of the image"},
        {-14, "Incorrect Color model or channel sequence of the image"},
        {-15, "Incorrect number of channels in the image"},
        {-16, "Number of channels for 1U depth image must be one"},
        {-17, "Incorrect depth value in the image header"},
        {-18, "Incorrect alpha channel number in the image header"},
        {-19, "Incorrect data order value in the image header"},
        {-20, "Incorrect data origin value in the image header"},
        {-21, "Incorrect data alignment value in the image header"},
        {-22, "Null pointer to callback function"},
        {-23, "Incorrect size of the tile"},
        {-24, "Incorrect COI of the image"},
        {-25, "Incorrect size of ROI in the image header"},
        {-26, "Mask image is taled"},
        {-27, "Null pointer"},
        {-28, "Incorrect vector length"},
        {-29, "Incorrect filter structure content"},
        {-30, "Incorrect transform kernel content"},
        {-31, "Incorrect filter ofset value"},
        {-110, "Mask. Incorrect image size"},
        {-111, "Mask. Incorrect offset of ROI of the image"},
        {-112, "Mask. One from two pointers should be null, and other should be not null, imageData or tileInfo "},
        {-113, "Mask. Incorrect widthStep of the image"},
        {-114, "Mask. Incorrect Color model or channel sequence of the image"},
        {-115, "Mask. Incorrect number of channels in the image"},
        {-117, "Mask. Incorrect depth value in the image header"},
        {-118, "Mask. Incorrect alpha channel number in the image header"},
        {-119, "Mask. Incorrect data order value in the image header"},
        {-120, "Mask. Incorrect data origin value in the image header"},
        {-121, "Mask. Incorrect data alignment value in the image header"},
        {-124, "Mask. Incorrect COI of the image"},
        {-125, "Mask. Incorrect size of ROI in the image header"},
    };
    for (const Case& c : cases)
        EXPECT_STREQ(zanErrorStr(c.status), c.text) << c.status;
    for (int status : {1, 100, -32, -50, -100, -109, -116, -122, -123, -126, -1000})
        EXPECT_STREQ(zanErrorStr(status), "Unknown error or status code") << status;
}

int g_calls;
int countingReporter(ZanStatus status, const char*, const char*, const char*, int)
{
    ++g_calls;
    return status + 1000;
}

TEST(Error, SetsTheStatusAndCallsTheReporter)
{
    RecordingReporter outer;
    ZanReporter previous = zanRedirectError(countingReporter);
    g_calls = 0;

    EXPECT_EQ(zanError(-5, "f", "c", "s", 1), 995);
    EXPECT_EQ(zanGetErrStatus(), -5);
    // Follow-up reports keep the first status and still reach the reporter.
    EXPECT_EQ(zanError(-1, "g", "", "s", 2), 999);
    EXPECT_EQ(zanError(-8, "h", "", "s", 3), 992);
    EXPECT_EQ(zanGetErrStatus(), -5);
    EXPECT_EQ(g_calls, 3);
    // Status 0 clears and reports nothing.
    EXPECT_EQ(zanError(0, "f", "c", "s", 4), 0);
    EXPECT_EQ(zanGetErrStatus(), 0);
    EXPECT_EQ(g_calls, 3);

    EXPECT_EQ(zanRedirectError(nullptr), &countingReporter);
    EXPECT_EQ(zanRedirectError(previous), &zanGuiBoxReport);
}

TEST(Error, ModesAreStoredAsGiven)
{
    RecordingReporter outer;
    zanSetErrMode(77);
    EXPECT_EQ(zanGetErrMode(), 77);
    zanSetErrStatus(-42);
    EXPECT_EQ(zanGetErrStatus(), -42);
}

struct ReportCase {
    const char* name;
    int mode;
    int status;
    const char* function;
    const char* context;
    const char* source;
    int line;
    const char* output;
};

std::string runReporter(ZanReporter reporter, const ReportCase& c)
{
    RecordingReporter outer;
    zanSetErrMode(c.mode);
    testing::internal::CaptureStderr();
    const int result = reporter(c.status, c.function, c.context, c.source, c.line);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, c.status);
    return text;
}

TEST(StdErrReport, WritesTheReportInEachMode)
{
    const ReportCase cases[] = {
        {"parent", ZAN_ErrorModeParent, -5, "f", "c", "s", 7,
         "\nZAN Library Error: Bad argument \n\tin function [s:7]:f(): c\n"},
        {"autotrace", ZAN_ErrorModeParent, -8, "f", "c", nullptr, 0, "\tcalled from:f(c)\n"},
        {"backtrace", ZAN_ErrorModeParent, -1, "g", "", "src", 12, "\tcalled from [src:12]:g(): \n"},
        {"no function, no context", ZAN_ErrorModeParent, -4, nullptr, nullptr, nullptr, 0,
         "\nZAN Library Error: Insufficient memory \n\tin function:<unknown>\n"},
        {"unknown mode acts as parent", 9, -10, "f", "c", "s", 1,
         "\nZAN Library Error: Incorrect image size \n\tin function [s:1]:f(): c\n"},
        {"silent", ZAN_ErrorModeSilent, -5, "f", "c", "s", 7, ""},
    };
    for (const ReportCase& c : cases)
        EXPECT_EQ(runReporter(zanStdErrReport, c), c.output) << c.name;
}

TEST(GuiBoxReport, WritesTheBoxTextAndContinuesInParentMode)
{
    const ReportCase cases[] = {
        {"parent", ZAN_ErrorModeParent, -5, "zanAdd", "srcImageA==0", "zanadd", 40,
         "ZAN 2.2 Release\nIn function zanAdd(): [file zanadd, line 40]\nsrcImageA==0\n\nBad "
         "argument\n(status: -5)\n\nErrMode=ZAN_ErrorModeParent\n\nContinue?\n"},
        {"backtrace with nulls", ZAN_ErrorModeParent, -1, nullptr, nullptr, nullptr, -3,
         "ZAN 2.2 Release\nCalled from <unknown>(): [file , line 0]\n\n\nBacktrace\n(status: "
         "-1)\n\nErrMode=ZAN_ErrorModeParent\n\nContinue?\n"},
        {"unknown mode shows nothing", 5, -5, "f", "c", "s", 1, ""},
        {"silent", ZAN_ErrorModeSilent, -5, "f", "c", "s", 1, ""},
    };
    for (const ReportCase& c : cases)
        EXPECT_EQ(runReporter(zanGuiBoxReport, c), c.output) << c.name;
}

TEST(NulDevReport, PrintsNothing)
{
    const ReportCase c{"parent", ZAN_ErrorModeParent, -5, "f", "c", "s", 1, ""};
    EXPECT_EQ(runReporter(zanNulDevReport, c), "");
}

TEST(LeafMode, EndsTheProcessThroughEachReporter)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto failInLeaf = [](ZanReporter reporter) {
        zanSetErrMode(ZAN_ErrorModeLeaf);
        zanRedirectError(reporter);
        zanError(-5, "f", "c", "s", 1);
    };
    EXPECT_EXIT(failInLeaf(zanStdErrReport), testing::ExitedWithCode(1),
                "ZAN Library Error\nErrMode=ZAN_ErrModeLeaf\nterminating the application");
    EXPECT_EXIT(failInLeaf(zanGuiBoxReport), testing::ExitedWithCode(1),
                "Terminate the application\\?\nWin32: Application exit\nZAN Library: terminating the application");
    EXPECT_EXIT(failInLeaf(zanNulDevReport), testing::ExitedWithCode(1), "");
    // The start values of a thread: Leaf mode with the message box reporter.
    EXPECT_EXIT(zanError(-5, "f", "c", "s", 1), testing::ExitedWithCode(1), "In function f");
}

TEST(Context, EachThreadHasItsOwn)
{
    RecordingReporter outer;
    zanSetErrStatus(-7);
    zanSetErrMode(ZAN_ErrorModeSilent);

    int seenStatus = 1, seenMode = -1;
    ZanReporter seenReporter = nullptr;
    std::thread fresh([&] {
        seenStatus = zanGetErrStatus();
        seenMode = zanGetErrMode();
        seenReporter = zanRedirectError(nullptr);
    });
    fresh.join();
    EXPECT_EQ(seenStatus, 0);
    EXPECT_EQ(seenMode, ZAN_ErrorModeLeaf);
    EXPECT_EQ(seenReporter, &zanGuiBoxReport);

    // Two threads failing in different modes see only their own statuses.
    auto worker = [](int mode, int status, int* after) {
        zanSetErrMode(mode);
        zanRedirectError(zanNulDevReport);
        for (int i = 0; i < 2000; ++i) {
            zanError(status, "f", "c", "s", i);
            if (zanGetErrStatus() != status || zanGetErrMode() != mode) {
                *after = 0;
                return;
            }
        }
        *after = zanGetErrStatus();
    };
    int a = 0, b = 0;
    std::thread first(worker, ZAN_ErrorModeParent, -5, &a);
    std::thread second(worker, ZAN_ErrorModeSilent, -10, &b);
    first.join();
    second.join();
    EXPECT_EQ(a, -5);
    EXPECT_EQ(b, -10);
    EXPECT_EQ(zanGetErrStatus(), -7);
    EXPECT_EQ(zanGetErrMode(), ZAN_ErrorModeSilent);
}

TEST(Version, IsTheConstantRecord)
{
    const ZanLibVersion* version = zanGetLibVersion();
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version->majorVersion, 2);
    EXPECT_EQ(version->minorVersion, 2);
    EXPECT_EQ(version->buildNumber, 21);
    EXPECT_STREQ(version->libraryName, "zanqr.dll");
    EXPECT_STREQ(version->versionText, "2.2 Release");
    EXPECT_STREQ(version->internalVersionText, "[2.2.21.078, 01/15/2000]");
    EXPECT_STREQ(version->buildDateText, "Jan 21 2000");
    EXPECT_STREQ(version->linkageText, "DLL");
}

TEST(SorvatCounter, MovesForward)
{
    const uint64_t first = zanGetSorvatCounter();
    volatile double sink = 0;
    for (int i = 0; i < 100000; ++i)
        sink = sink + i;
    EXPECT_GT(zanGetSorvatCounter(), first);
}

} // namespace
