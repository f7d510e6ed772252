// Status, error modes, reporters, version and cycle counter.
#include "own_context.h"
#include "own_core.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#else
#include <chrono>
#endif

namespace {

constexpr const char* kUnknownStatus = "Unknown error or status code";

// Texts of the statuses 0 down to -31; the mask statuses reuse them.
constexpr const char* kStatusTexts[] = {
    "No Error",
    "Backtrace",
    kUnknownStatus,
    "Internal error (bad state)",
    "Insufficient memory",
    "Bad argument",
    "Unsupported function",
    "Iteration convergence failed",
    "Autotrace call",
    "Null pointer to an image header",
    "Incorrect image size",
    "Incorrect offset of ROI of the image",
    "One from two pointers should be null, and other should be not null, imageData or tileInfo ",
    "Incorrect widthStep of the image",
    "Incorrect Color model or channel sequence of the image",
    "Incorrect number of channels in the image",
    "Number of channels for 1U depth image must be one",
    "Incorrect depth value in the image header",
    "Incorrect alpha channel number in the image header",
    "Incorrect data order value in the image header",
    "Incorrect data origin value in the image header",
    "Incorrect data alignment value in the image header",
    "Null pointer to callback function",
    "Incorrect size of the tile",
    "Incorrect COI of the image",
    "Incorrect size of ROI in the image header",
    "Mask image is taled",
    "Null pointer",
    "Incorrect vector length",
    "Incorrect filter structure content",
    "Incorrect transform kernel content",
    "Incorrect filter ofset value",
};
constexpr int kStatusTextCount = sizeof(kStatusTexts) / sizeof(kStatusTexts[0]);

// Texts of the mask statuses -110 .. -125, those with no text of their own
// being null.
constexpr const char* kMaskStatusTexts[] = {
    "Mask. Incorrect image size",
    "Mask. Incorrect offset of ROI of the image",
    "Mask. One from two pointers should be null, and other should be not null, imageData or "
    "tileInfo ",
    "Mask. Incorrect widthStep of the image",
    "Mask. Incorrect Color model or channel sequence of the image",
    "Mask. Incorrect number of channels in the image",
    nullptr,
    "Mask. Incorrect depth value in the image header",
    "Mask. Incorrect alpha channel number in the image header",
    "Mask. Incorrect data order value in the image header",
    "Mask. Incorrect data origin value in the image header",
    "Mask. Incorrect data alignment value in the image header",
    nullptr,
    nullptr,
    "Mask. Incorrect COI of the image",
    "Mask. Incorrect size of ROI in the image header",
};
constexpr int kFirstMaskStatus = -110;
constexpr int kMaskStatusCount = sizeof(kMaskStatusTexts) / sizeof(kMaskStatusTexts[0]);

constexpr ZanLibVersion kVersion = {
    2, 2, 21, "zanqr.dll", "2.2 Release", "[2.2.21.078, 01/15/2000]", "Jan 21 2000", "DLL",
};

bool isFollowUp(ZanStatus status)
{
    return status == ZAN_STATUS_BACKTRACE || status == ZAN_STATUS_AUTOTRACE;
}

[[noreturn]] void endProcess() { std::exit(1); }

// Stand-in for a blocking message box: its title and text go to standard
// error; the caller takes the box's default answer.
void showBox(const char* title, const char* text)
{
    std::fprintf(stderr, "%s\n%s\n", title, text);
    std::fflush(stderr);
}

} // namespace

thread_local OwnContext t_context;

OwnContext& ownContext() { return t_context; }

OwnContext::~OwnContext()
{
    caches[static_cast<int>(OwnCacheSlot::fourier)].reset();
    caches[static_cast<int>(OwnCacheSlot::cosine)].reset();
}

extern "C" {

ZAN_API ZanStatus zanGetErrStatus(void) { return ownContext().status; }

ZAN_API void zanSetErrStatus(ZanStatus status) { ownContext().status = status; }

ZAN_API int zanGetErrMode(void) { return ownContext().mode; }

ZAN_API void zanSetErrMode(int mode) { ownContext().mode = mode; }

ZAN_API ZanReporter zanRedirectError(ZanReporter reporter)
{
    OwnContext& context = ownContext();
    ZanReporter previous = context.reporter;
    context.reporter = reporter ? reporter : zanGuiBoxReport;
    return previous;
}

ZAN_API int zanError(ZanStatus status, const char* functionName, const char* context,
                     const char* sourceName, int line)
{
    OwnContext& thread = ownContext();
    if (!isFollowUp(status)) {
        thread.status = status;
        if (status == ZAN_STATUS_OK)
            return 0;
    }
    return thread.reporter(status, functionName, context, sourceName, line);
}

ZAN_API const char* zanErrorStr(ZanStatus status)
{
    if (status <= 0 && status > -kStatusTextCount)
        return kStatusTexts[-status];
    int maskIndex = kFirstMaskStatus - status;
    if (maskIndex >= 0 && maskIndex < kMaskStatusCount && kMaskStatusTexts[maskIndex])
        return kMaskStatusTexts[maskIndex];
    return kUnknownStatus;
}

ZAN_API int zanNulDevReport(ZanStatus status, const char*, const char*, const char*, int)
{
    if (ownContext().mode == ZAN_ErrorModeLeaf)
        endProcess();
    return status;
}

ZAN_API int zanStdErrReport(ZanStatus status, const char* functionName, const char* context,
                            const char* sourceName, int line)
{
    const int mode = ownContext().mode;
    if (mode == ZAN_ErrorModeSilent)
        return status;
    if (isFollowUp(status))
        std::fprintf(stderr, "\tcalled from");
    else
        std::fprintf(stderr, "\nZAN Library Error: %s \n\tin function", zanErrorStr(status));
    if (line > 0 || sourceName)
        std::fprintf(stderr, " [%s:%d]", sourceName ? sourceName : "(null)", line);
    std::fprintf(stderr, ":%s", functionName ? functionName : "<unknown>");
    if (context) {
        if (status == ZAN_STATUS_AUTOTRACE)
            std::fprintf(stderr, "(%s)", context);
        else
            std::fprintf(stderr, "(): %s", context);
    }
    std::fprintf(stderr, "\n");
    std::fflush(stderr);
    if (mode == ZAN_ErrorModeLeaf) {
        std::fprintf(stderr, "ZAN Library Error\nErrMode=ZAN_ErrModeLeaf\nterminating the application");
        std::fflush(stderr);
        endProcess();
    }
    return status;
}

ZAN_API int zanGuiBoxReport(ZanStatus status, const char* functionName, const char* context,
                            const char* sourceName, int line)
{
    const int mode = ownContext().mode;
    if (mode == ZAN_ErrorModeSilent)
        return status;

    const char* statusText = zanErrorStr(status);
    const std::size_t size = (context ? std::strlen(context) : 0) + std::strlen(statusText) + 200;
    char* text = static_cast<char*>(std::malloc(size));
    if (!text)
        return status;

    const char* tail = "";
    if (mode == ZAN_ErrorModeLeaf)
        tail = "\n\nErrMode=ZAN_ErrorModeLeaf\n\nTerminate the application?";
    else if (mode == ZAN_ErrorModeParent)
        tail = "\n\nErrMode=ZAN_ErrorModeParent\n\nContinue?";
    const char* format = isFollowUp(status)
                             ? "Called from %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s"
                             : "In function %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s";
    std::snprintf(text, size, format, functionName ? functionName : "<unknown>",
                  sourceName ? sourceName : "", line < 0 ? 0 : line, context ? context : "",
                  statusText, status, tail);

    char title[64];
    std::snprintf(title, sizeof title, "ZAN %s", kVersion.versionText);

    // Leaf mode's box defaults to "Yes, terminate"; Parent mode's to "OK,
    // continue"; any other mode shows no box.
    if (mode == ZAN_ErrorModeLeaf || mode == ZAN_ErrorModeParent)
        showBox(title, text);
    std::free(text);
    if (mode == ZAN_ErrorModeLeaf) {
        showBox("Win32: Application exit", "ZAN Library: terminating the application");
        endProcess();
    }
    return status;
}

ZAN_API const ZanLibVersion* zanGetLibVersion(void) { return &kVersion; }

ZAN_API uint64_t zanGetSorvatCounter(void)
{
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#else
    return static_cast<uint64_t>(
        std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

} // extern "C"
