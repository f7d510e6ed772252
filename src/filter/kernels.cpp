// Convolution kernel records: creation (the kernel turned by 180 degrees),
// reading back, deletion and the accumulator class of a kernel.
#include "../core/own_memory.h"
#include "own_filter.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr const char* kSource = "zancnv2d";

// The sample range of a depth below 32 bits.
struct Range {
    double lo;
    double hi;
};

Range rangeOf(uint32_t depth)
{
    switch (depth) {
    case ZAN_DEPTH_1U: return {0, 1};
    case ZAN_DEPTH_8U: return {0, 255};
    case ZAN_DEPTH_8S: return {-128, 127};
    case ZAN_DEPTH_16U: return {0, 65535};
    default: return {-32768, 32767};
    }
}

bool fits16(double value) { return value >= -32768 && value <= 32767; }

std::size_t countOf(int nCols, int nRows)
{
    return static_cast<std::size_t>(nCols) * static_cast<std::size_t>(nRows);
}

// The checks and allocation shared by the three create functions; the
// coefficients are stored in reverse by store(stored, count).
template <class Kernel, class Value, class Source, class Store>
Kernel* createKernel(const OwnSite& site, int nCols, int nRows, int anchorX, int anchorY,
                     const Source* values, Store store)
{
    if (!values) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(values == 0)");
        return nullptr;
    }
    if (nRows <= 0 || nCols <= 0) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "(nRows<=0 || nCols<=0)");
        return nullptr;
    }
    if (anchorX < 0 || anchorY < 0 || nRows <= anchorY || nCols <= anchorX) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT,
                   "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)");
        return nullptr;
    }
    const std::size_t count = countOf(nCols, nRows);
    OwnBuffer<Kernel> record(1);
    OwnBuffer<Value> stored(count);
    if (!record.ok() || !stored.ok()) {
        OWN_REPORT(site, ZAN_STATUS_NO_MEMORY, "Allocation failure");
        return nullptr;
    }
    for (std::size_t i = 0; i < count; ++i)
        stored[i] = store(values[count - 1 - i]);
    Kernel* kernel = record.release();
    kernel->nCols = nCols;
    kernel->nRows = nRows;
    kernel->anchorX = nCols - 1 - anchorX;
    kernel->anchorY = nRows - 1 - anchorY;
    kernel->values = stored.release();
    return kernel;
}

// The checks of the get functions; false when the call ends.
template <class Kernel, class Value>
bool checkGet(const OwnSite& site, const Kernel* kernel, const int* nCols, const int* nRows,
              const int* anchorX, const int* anchorY, Value* const* values)
{
    if (!kernel) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "kernel==0");
        return false;
    }
    if (ownBadKernel(kernel)) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "ownBadKernel((OwnConvKernel*)kernel)");
        return false;
    }
    if (!nRows)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "nRows==0");
    if (!nCols)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "nCols==0");
    if (zanGetErrStatus() < 0)
        return false;
    if (!anchorX)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "anchorX==0");
    if (!anchorY)
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "anchorY==0");
    if (zanGetErrStatus() < 0)
        return false;
    if (!values) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "values==0");
        return false;
    }
    return true;
}

// Gives back the caller's sizes, anchors and coefficients (turned back).
template <class Kernel, class Value, class Load>
void getKernel(const Kernel* kernel, int* nCols, int* nRows, int* anchorX, int* anchorY,
               Value** values, Load load)
{
    *nCols = kernel->nCols;
    *nRows = kernel->nRows;
    *anchorX = kernel->nCols - 1 - kernel->anchorX;
    *anchorY = kernel->nRows - 1 - kernel->anchorY;
    const std::size_t count = countOf(kernel->nCols, kernel->nRows);
    for (std::size_t i = 0; i < count; ++i)
        (*values)[i] = load(kernel->values[count - 1 - i]);
}

template <class Kernel>
void deleteKernel(const OwnSite& site, Kernel* kernel)
{
    if (!kernel) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "kernel==0");
        return;
    }
    if (!kernel->values) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "kernel->values==0");
        return;
    }
    zanFree(kernel->values);
    zanFree(kernel);
}

template <class Value>
Value same(Value value)
{
    return value;
}

// The integer get functions, which also give the shift.
template <class Value, class Load>
void getIntegerKernel(const OwnSite& site, const OwnConvKernel* kernel, int* nCols, int* nRows,
                      int* anchorX, int* anchorY, Value** values, int* nShiftR, Load load)
{
    if (!checkGet(site, kernel, nCols, nRows, anchorX, anchorY, values))
        return;
    if (!nShiftR) {
        OWN_REPORT(site, ZAN_STATUS_BAD_ARGUMENT, "nShiftR==0");
        return;
    }
    getKernel(kernel, nCols, nRows, anchorX, anchorY, values, load);
    *nShiftR = kernel->nShiftR;
}

} // namespace

bool ownBadKernel(const void* kernel)
{
    const auto* k = static_cast<const OwnConvKernel*>(kernel);
    return k->nRows < 1 || k->nCols < 1 || k->anchorX < 0 || k->anchorY < 0 ||
           k->anchorX >= k->nCols || k->anchorY >= k->nRows;
}

int ownConvClass(const int32_t* values, int count, uint32_t depth)
{
    if (depth == ZAN_DEPTH_32S || depth == ZAN_DEPTH_32F)
        return 2;
    const Range range = rangeOf(depth);
    double highest = 0;
    double lowest = 0;
    bool coefficientsFit = true;
    bool productsFit = true;
    for (int i = 0; i < count; ++i) {
        const double c = values[i];
        const double a = c * range.lo;
        const double b = c * range.hi;
        highest += std::max(a, b);
        lowest += std::min(a, b);
        coefficientsFit = coefficientsFit && fits16(c);
        productsFit = productsFit && fits16(a) && fits16(b);
    }
    const bool narrow = lowest > -32768 && highest < 32767 && coefficientsFit;
    const bool wide = lowest > -2147483648.0 && highest < 2147483647.0 && coefficientsFit;
    int kernelClass = 2;
    if (narrow && productsFit)
        kernelClass = 0;
    else if (narrow || wide)
        kernelClass = 1;
    const bool sixteen = depth == ZAN_DEPTH_16U || depth == ZAN_DEPTH_16S;
    return sixteen && kernelClass == 0 ? 1 : kernelClass;
}

extern "C" {

ZAN_API ZanConvKernel zanCreateConvKernel(int nCols, int nRows, int anchorX, int anchorY,
                                          const int32_t* values, int nShiftR)
{
    OwnConvKernel* kernel = createKernel<OwnConvKernel, int32_t>(
        OwnSite{"zanCreateConvKernel", kSource}, nCols, nRows, anchorX, anchorY, values,
        same<int32_t>);
    if (kernel)
        kernel->nShiftR = nShiftR;
    return kernel;
}

ZAN_API ZanConvKernel zanCreateConvKernelChar(int nCols, int nRows, int anchorX, int anchorY,
                                              const int8_t* values, int nShiftR)
{
    OwnConvKernel* kernel = createKernel<OwnConvKernel, int32_t>(
        OwnSite{"zanCreateConvKernelChar", kSource}, nCols, nRows, anchorX, anchorY, values,
        [](int8_t v) { return static_cast<int32_t>(v); });
    if (kernel)
        kernel->nShiftR = nShiftR;
    return kernel;
}

ZAN_API ZanConvKernelFP zanCreateConvKernelFP(int nCols, int nRows, int anchorX, int anchorY,
                                              const float* values)
{
    return createKernel<OwnConvKernelFP, float>(OwnSite{"zanCreateConvKernelFP", kSource}, nCols,
                                                nRows, anchorX, anchorY, values, same<float>);
}

ZAN_API void zanGetConvKernel(ZanConvKernel kernel, int* nCols, int* nRows, int* anchorX,
                              int* anchorY, int32_t** values, int* nShiftR)
{
    getIntegerKernel(OwnSite{"zanGetConvKernel", kSource}, kernel, nCols, nRows, anchorX, anchorY,
                     values, nShiftR, same<int32_t>);
}

ZAN_API void zanGetConvKernelChar(ZanConvKernel kernel, int* nCols, int* nRows, int* anchorX,
                                  int* anchorY, int8_t** values, int* nShiftR)
{
    getIntegerKernel(OwnSite{"zanGetConvKernelChar", kSource}, kernel, nCols, nRows, anchorX,
                     anchorY, values, nShiftR,
                     [](int32_t v) { return static_cast<int8_t>(static_cast<uint32_t>(v) & 0xFFu); });
}

ZAN_API void zanGetConvKernelFP(ZanConvKernelFP kernel, int* nCols, int* nRows, int* anchorX,
                                int* anchorY, float** values)
{
    const OwnSite site{"zanGetConvKernelFP", kSource};
    if (checkGet(site, kernel, nCols, nRows, anchorX, anchorY, values))
        getKernel(kernel, nCols, nRows, anchorX, anchorY, values, same<float>);
}

ZAN_API void zanDeleteConvKernel(ZanConvKernel kernel)
{
    deleteKernel(OwnSite{"zanDeleteConvKernel", kSource}, kernel);
}

ZAN_API void zanDeleteConvKernelFP(ZanConvKernelFP kernel)
{
    deleteKernel(OwnSite{"zanDeleteConvKernelFP", kSource}, kernel);
}

} // extern "C"
