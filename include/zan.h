/*
 * zan: image processing with a plain C interface.
 *
 * This is the whole public interface of the library: every record, constant
 * and exported function. It compiles as C99 and as C++.
 */
#ifndef ZAN_H
#define ZAN_H

#include <stdint.h>

#if defined(_WIN32)
#  if defined(ZAN_BUILDING)
#    define ZAN_API __declspec(dllexport)
#  else
#    define ZAN_API
#  endif
#else
#  define ZAN_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Image model                                                              */
/* ------------------------------------------------------------------------ */

#define ZAN_DEPTH_SIGN 0x80000000u
#define ZAN_DEPTH_MASK 0x7FFFFFFFu

#define ZAN_DEPTH_1U  1u
#define ZAN_DEPTH_8U  8u
#define ZAN_DEPTH_16U 16u
#define ZAN_DEPTH_32F 32u
#define ZAN_DEPTH_8S  (ZAN_DEPTH_SIGN | 8u)
#define ZAN_DEPTH_16S (ZAN_DEPTH_SIGN | 16u)
#define ZAN_DEPTH_32S (ZAN_DEPTH_SIGN | 32u)

#define ZAN_DATA_ORDER_PIXEL 0
#define ZAN_DATA_ORDER_PLANE 1

#define ZAN_ORIGIN_TOP_LEFT    0
#define ZAN_ORIGIN_BOTTOM_LEFT 1

#define ZAN_ALIGN_4BYTES  4
#define ZAN_ALIGN_8BYTES  8
#define ZAN_ALIGN_16BYTES 16
#define ZAN_ALIGN_32BYTES 32
#define ZAN_ALIGN_DWORD   ZAN_ALIGN_4BYTES
#define ZAN_ALIGN_QWORD   ZAN_ALIGN_8BYTES

#define ZAN_BORDER_CONSTANT  0
#define ZAN_BORDER_REPLICATE 1
#define ZAN_BORDER_REFLECT   2
#define ZAN_BORDER_WRAP      3

#define ZAN_SIDE_TOP_INDEX    0
#define ZAN_SIDE_BOTTOM_INDEX 1
#define ZAN_SIDE_LEFT_INDEX   2
#define ZAN_SIDE_RIGHT_INDEX  3
#define ZAN_SIDE_TOP    (1 << ZAN_SIDE_TOP_INDEX)
#define ZAN_SIDE_BOTTOM (1 << ZAN_SIDE_BOTTOM_INDEX)
#define ZAN_SIDE_LEFT   (1 << ZAN_SIDE_LEFT_INDEX)
#define ZAN_SIDE_RIGHT  (1 << ZAN_SIDE_RIGHT_INDEX)
#define ZAN_SIDE_ALL    (ZAN_SIDE_TOP | ZAN_SIDE_BOTTOM | ZAN_SIDE_LEFT | ZAN_SIDE_RIGHT)

#define ZAN_TILE_READ    1
#define ZAN_TILE_WRITE   2
#define ZAN_TILE_RELEASE 4

#define ZAN_FREE_HEADER 1
#define ZAN_FREE_DATA   2
#define ZAN_FREE_ROI    4
#define ZAN_FREE_TILE   8
#define ZAN_FREE_MASK   16
#define ZAN_FREE_ALL    (ZAN_FREE_HEADER | ZAN_FREE_DATA | ZAN_FREE_ROI | ZAN_FREE_TILE | ZAN_FREE_MASK)

struct ZanImage;

/* Region of interest: channel of interest (0 = all) and a rectangle. */
typedef struct ZanROI {
    int coi;
    int xOffset;
    int yOffset;
    int width;
    int height;
} ZanROI;

/*
 * The application's tile function. It opens tile (tileColumn, tileRow) for
 * reading or writing and stores the tile's data in image->tileInfo->tileData,
 * or closes it and nulls that pointer. It signals failure by leaving
 * tileData null.
 */
typedef void (*ZanTileCallBack)(const struct ZanImage* image, int tileColumn, int tileRow,
                                int mode);

typedef struct ZanTileInfo {
    ZanTileCallBack callBack;
    int id;
    char* tileData;
    int width;
    int height;
} ZanTileInfo;

typedef struct ZanImage {
    int headerSize;
    int version;
    int nChannels;
    int alphaChannel;
    uint32_t depth;
    char colorModel[4];
    char channelSeq[4];
    int dataOrder;
    int origin;
    int align;
    int width;
    int height;
    struct ZanROI* roi;
    struct ZanImage* maskROI;
    void* imageId;
    struct ZanTileInfo* tileInfo;
    int imageSize;
    char* imageData;
    int widthStep;
    int borderMode[4];
    int borderConst[4];
    char* imageDataOrigin;
} ZanImage;

/* Memory: blocks aligned to 32 bytes; lengths in elements of 1, 2, 4, 4, 8 bytes. */
ZAN_API void* zanMalloc(int length);
ZAN_API uint16_t* zanwMalloc(int length);
ZAN_API int32_t* zaniMalloc(int length);
ZAN_API float* zansMalloc(int length);
ZAN_API double* zandMalloc(int length);
ZAN_API void zanFree(void* block);

ZAN_API ZanImage* zanCreateImageHeader(int nChannels, int alphaChannel, uint32_t depth,
                                       const char* colorModel, const char* channelSeq,
                                       int dataOrder, int origin, int align, int width,
                                       int height, ZanROI* roi, ZanImage* maskROI,
                                       void* imageId, ZanTileInfo* tileInfo);
ZAN_API void zanAllocateImage(ZanImage* image, int fill, int value);
ZAN_API void zanAllocateImageFP(ZanImage* image, int fill, float value);
ZAN_API void zanDeallocate(ZanImage* image, int flags);
ZAN_API void zanDeallocateHeader(ZanImage* image);
ZAN_API void zanDeallocateImage(ZanImage* image);
ZAN_API int zanCheckImageHeader(const ZanImage* image);
ZAN_API ZanImage* zanCloneImage(const ZanImage* image);
ZAN_API void zanSetBorderMode(ZanImage* image, int mode, int border, int constVal);

ZAN_API ZanROI* zanCreateROI(int coi, int xOffset, int yOffset, int width, int height);
ZAN_API void zanSetROI(ZanROI* roi, int coi, int xOffset, int yOffset, int width, int height);
ZAN_API void zanDeleteROI(ZanROI* roi);

ZAN_API ZanTileInfo* zanCreateTileInfo(ZanTileCallBack callBack, int id, int width, int height);
ZAN_API void zanSetTileInfo(ZanTileInfo* tileInfo, ZanTileCallBack callBack, int id, int width,
                            int height);
ZAN_API void zanDeleteTileInfo(ZanTileInfo* tileInfo);

/* ------------------------------------------------------------------------ */
/* Status and thread context                                                */
/* ------------------------------------------------------------------------ */

typedef int ZanStatus;

#define ZAN_STATUS_OK              0
#define ZAN_STATUS_BACKTRACE       (-1)
#define ZAN_STATUS_UNKNOWN         (-2)
#define ZAN_STATUS_INTERNAL        (-3)
#define ZAN_STATUS_NO_MEMORY       (-4)
#define ZAN_STATUS_BAD_ARGUMENT    (-5)
#define ZAN_STATUS_UNSUPPORTED     (-6)
#define ZAN_STATUS_NO_CONVERGENCE  (-7)
#define ZAN_STATUS_AUTOTRACE       (-8)
#define ZAN_STATUS_NULL_HEADER     (-9)
#define ZAN_STATUS_IMAGE_SIZE      (-10)
#define ZAN_STATUS_ROI_OFFSET      (-11)
#define ZAN_STATUS_DATA_OR_TILE    (-12)
#define ZAN_STATUS_WIDTH_STEP      (-13)
#define ZAN_STATUS_MODEL_OR_SEQ    (-14)
#define ZAN_STATUS_CHANNELS        (-15)
#define ZAN_STATUS_CHANNELS_1U     (-16)
#define ZAN_STATUS_DEPTH           (-17)
#define ZAN_STATUS_ALPHA           (-18)
#define ZAN_STATUS_ORDER           (-19)
#define ZAN_STATUS_ORIGIN          (-20)
#define ZAN_STATUS_ALIGN           (-21)
#define ZAN_STATUS_CALLBACK        (-22)
#define ZAN_STATUS_TILE_SIZE       (-23)
#define ZAN_STATUS_COI             (-24)
#define ZAN_STATUS_ROI_SIZE        (-25)
#define ZAN_STATUS_MASK_TILED      (-26)
#define ZAN_STATUS_NULL_POINTER    (-27)
#define ZAN_STATUS_VECTOR_LENGTH   (-28)
#define ZAN_STATUS_FILTER_CONTENT  (-29)
#define ZAN_STATUS_KERNEL_CONTENT  (-30)
#define ZAN_STATUS_FILTER_OFFSET   (-31)
/* A mask's header fault is the image's status less this. */
#define ZAN_STATUS_MASK_OFFSET     100

#define ZAN_ErrorModeLeaf   0
#define ZAN_ErrorModeParent 1
#define ZAN_ErrorModeSilent 2

typedef int (*ZanReporter)(ZanStatus status, const char* functionName, const char* context,
                           const char* sourceName, int line);

typedef struct ZanLibVersion {
    int majorVersion;
    int minorVersion;
    int buildNumber;
    const char* libraryName;
    const char* versionText;
    const char* internalVersionText;
    const char* buildDateText;
    const char* linkageText;
} ZanLibVersion;

ZAN_API ZanStatus zanGetErrStatus(void);
ZAN_API void zanSetErrStatus(ZanStatus status);
ZAN_API int zanGetErrMode(void);
ZAN_API void zanSetErrMode(int mode);
ZAN_API ZanReporter zanRedirectError(ZanReporter reporter);
ZAN_API int zanError(ZanStatus status, const char* functionName, const char* context,
                     const char* sourceName, int line);
ZAN_API const char* zanErrorStr(ZanStatus status);
ZAN_API int zanNulDevReport(ZanStatus status, const char* functionName, const char* context,
                            const char* sourceName, int line);
ZAN_API int zanStdErrReport(ZanStatus status, const char* functionName, const char* context,
                            const char* sourceName, int line);
ZAN_API int zanGuiBoxReport(ZanStatus status, const char* functionName, const char* context,
                            const char* sourceName, int line);
ZAN_API const ZanLibVersion* zanGetLibVersion(void);
ZAN_API uint64_t zanGetSorvatCounter(void);

/* ------------------------------------------------------------------------ */
/* Copy, set, exchange and single pixels                                    */
/* ------------------------------------------------------------------------ */

ZAN_API void zanCopy(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanSet(ZanImage* dstImage, int value);
ZAN_API void zanSetFP(ZanImage* dstImage, float value);
ZAN_API void zanExchange(ZanImage* srcImage, ZanImage* dstImage);

/*
 * One pixel at (x, y) of the picture (origin honoured, ROI and mask
 * ignored): pixel holds nChannels values of the image's element type (one
 * byte for 1-bit images, of which bit 0 counts when written).
 */
ZAN_API void zanGetPixel(const ZanImage* img, int x, int y, void* pixel);
ZAN_API void zanPutPixel(ZanImage* img, int x, int y, const void* pixel);

/* ------------------------------------------------------------------------ */
/* User pixel functions                                                     */
/* ------------------------------------------------------------------------ */

/* The application's functions: one value in, one value out; or one pixel of
 * each image, addressed through its header. The pixel function's result
 * isn't used. */
typedef int (*ZanUserFunc)(int value);
typedef float (*ZanUserFuncFP)(float value);
typedef int (*ZanUserFuncPixel)(const ZanImage* srcImage, const void* srcPixel,
                                const ZanImage* dstImage, void* dstPixel);

ZAN_API void zanUserProcess(const ZanImage* srcImage, ZanImage* dstImage, ZanUserFunc cbFunc);
ZAN_API void zanUserProcessFP(const ZanImage* srcImage, ZanImage* dstImage, ZanUserFuncFP cbFunc);
ZAN_API void zanUserProcessPixel(const ZanImage* srcImage, ZanImage* dstImage,
                                 ZanUserFuncPixel cbFunc);

/* ------------------------------------------------------------------------ */
/* Image arithmetic and logic                                               */
/* ------------------------------------------------------------------------ */

ZAN_API void zanAdd(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanSubtract(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanMultiply(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);

ZAN_API void zanAddS(const ZanImage* srcImage, ZanImage* dstImage, int value);
ZAN_API void zanSubtractS(const ZanImage* srcImage, ZanImage* dstImage, int value, int reverse);
ZAN_API void zanMultiplyS(const ZanImage* srcImage, ZanImage* dstImage, int value);
ZAN_API void zanAddSFP(const ZanImage* srcImage, ZanImage* dstImage, float value);
ZAN_API void zanSubtractSFP(const ZanImage* srcImage, ZanImage* dstImage, float value, int reverse);
ZAN_API void zanMultiplySFP(const ZanImage* srcImage, ZanImage* dstImage, float value);

ZAN_API void zanAnd(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanOr(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanXor(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanAndS(const ZanImage* srcImage, ZanImage* dstImage, int value);
ZAN_API void zanOrS(const ZanImage* srcImage, ZanImage* dstImage, int value);
ZAN_API void zanXorS(const ZanImage* srcImage, ZanImage* dstImage, int value);
ZAN_API void zanNot(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanLShiftS(const ZanImage* srcImage, ZanImage* dstImage, int nShift);
ZAN_API void zanRShiftS(const ZanImage* srcImage, ZanImage* dstImage, int nShift);

/* ------------------------------------------------------------------------ */
/* Abs and Square                                                           */
/* ------------------------------------------------------------------------ */

ZAN_API void zanAbs(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanSquare(const ZanImage* srcImage, ZanImage* dstImage);

/* ------------------------------------------------------------------------ */
/* Comparison                                                               */
/* ------------------------------------------------------------------------ */

/*
 * Each writes a 1-bit result: a bit is 1 where the relation holds for every
 * processed channel of the pixel. Bits outside the processed region, and
 * under a mask bit of 0, keep their value. Each returns 0 or a failure status.
 */
ZAN_API ZanStatus zanLess(const ZanImage* img1, const ZanImage* img2, ZanImage* res);
ZAN_API ZanStatus zanGreater(const ZanImage* img1, const ZanImage* img2, ZanImage* res);
ZAN_API ZanStatus zanEqual(const ZanImage* img1, const ZanImage* img2, ZanImage* res);
ZAN_API ZanStatus zanEqualFPEps(const ZanImage* img1, const ZanImage* img2, ZanImage* res, float eps);
ZAN_API ZanStatus zanLessS(const ZanImage* img, int value, ZanImage* res);
ZAN_API ZanStatus zanGreaterS(const ZanImage* img, int value, ZanImage* res);
ZAN_API ZanStatus zanEqualS(const ZanImage* img, int value, ZanImage* res);
ZAN_API ZanStatus zanLessSFP(const ZanImage* img, float value, ZanImage* res);
ZAN_API ZanStatus zanGreaterSFP(const ZanImage* img, float value, ZanImage* res);
ZAN_API ZanStatus zanEqualSFP(const ZanImage* img, float value, ZanImage* res);
ZAN_API ZanStatus zanEqualSFPEps(const ZanImage* img, float value, ZanImage* res, float eps);

/* ------------------------------------------------------------------------ */
/* Alpha composition                                                        */
/* ------------------------------------------------------------------------ */

/* Operators of zanAlphaComposite and zanAlphaCompositeC. */
#define ZAN_COMPOSITE_OVER 0
#define ZAN_COMPOSITE_IN   1
#define ZAN_COMPOSITE_OUT  2
#define ZAN_COMPOSITE_ATOP 3
#define ZAN_COMPOSITE_XOR  4
#define ZAN_COMPOSITE_PLUS 5

/*
 * Samples of 8U and 16U images taken as fractions of full scale. Products
 * are floor(x * y / M) with M the full scale; sums saturate at M.
 */
ZAN_API void zanMultiplyScale(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage);
ZAN_API void zanMultiplySScale(const ZanImage* srcImage, ZanImage* dstImage, int scaleValue);
ZAN_API void zanPreMultiplyAlpha(ZanImage* image, int alphaValue);
ZAN_API void zanAlphaComposite(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage,
                               int compositeType, const ZanImage* alphaImageA,
                               const ZanImage* alphaImageB, ZanImage* alphaImageDst, int premulAlpha,
                               int divideMode);
ZAN_API void zanAlphaCompositeC(const ZanImage* srcImageA, const ZanImage* srcImageB, ZanImage* dstImage,
                                int compositeType, int alphaA, int alphaB, int premulAlpha,
                                int divideMode);

/* ------------------------------------------------------------------------ */
/* Colour models                                                            */
/* ------------------------------------------------------------------------ */

/*
 * Conversions between RGB ("RGB" or "BGR" channel sequence) and other colour
 * models, and between colour and gray. Forward conversions name the target
 * model in the destination's colorModel and channelSeq.
 */
ZAN_API void zanRGB2HSV(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanHSV2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanRGB2HLS(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanHLS2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanRGB2XYZ(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanXYZ2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanRGB2LUV(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanLUV2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanRGB2YUV(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanYUV2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanRGB2YCrCb(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanYCrCb2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanYCC2RGB(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanColorToGray(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API void zanGrayToColor(const ZanImage* srcImage, ZanImage* dstImage, float weightR,
                            float weightG, float weightB);

/* ------------------------------------------------------------------------ */
/* Colour twist                                                             */
/* ------------------------------------------------------------------------ */

/*
 * A 3 by 4 matrix, row by row (a fourth row is stored and unused), standing
 * for data / 2^scalingValue; made and freed by the library.
 */
typedef struct ZanColorTwist ZanColorTwist;

ZAN_API ZanColorTwist* zanCreateColorTwist(const int32_t* data, int scalingValue);
ZAN_API int zanSetColorTwist(ZanColorTwist* cTwist, const int32_t* data, int scalingValue);
ZAN_API void zanDeleteColorTwist(ZanColorTwist* cTwist);
ZAN_API void zanApplyColorTwist(const ZanImage* srcImage, ZanImage* dstImage,
                                const ZanColorTwist* cTwist, int offset);
ZAN_API ZanStatus zanColorTwistFP(const ZanImage* srcImage, ZanImage* dstImage,
                                  const float* TwistFP);

/* ------------------------------------------------------------------------ */
/* Bit reduction and dithering                                              */
/* ------------------------------------------------------------------------ */

/* Dithers of zanReduceBits. */
#define ZAN_DITHER_NONE     1
#define ZAN_DITHER_FS       2
#define ZAN_DITHER_JJH      4
#define ZAN_DITHER_STUCKEY  8
#define ZAN_DITHER_BAYER    16

/*
 * Copies srcImage into dstImage of the same or a smaller depth, reduced to
 * levels levels (not read for ZAN_DITHER_NONE), with noise (0..100 percent)
 * added to the thresholds.
 */
ZAN_API void zanReduceBits(const ZanImage* srcImage, ZanImage* dstImage, int noise, int ditherType,
                           int levels);

/* ------------------------------------------------------------------------ */
/* Depth conversion                                                         */
/* ------------------------------------------------------------------------ */

ZAN_API void zanConvert(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API ZanStatus zanScale(const ZanImage* srcImage, ZanImage* dstImage);
ZAN_API ZanStatus zanScaleFP(const ZanImage* srcImage, ZanImage* dstImage, float minVal,
                             float maxVal);
ZAN_API void zanBitonalToGray(const ZanImage* srcImage, ZanImage* dstImage, int ZeroScale,
                              int OneScale);

/* ------------------------------------------------------------------------ */
/* Threshold, histograms and lookup tables                                  */
/* ------------------------------------------------------------------------ */

#define ZAN_LUT_STEP   0
#define ZAN_LUT_LINEAR 1

/*
 * A lookup table of one channel: entry k stands for the samples from key[k]
 * up to, not including, key[k+1], with a count or target value and, for
 * interpolated tables, a slope.
 */
typedef struct ZanLUT {
    int num;
    int* key;
    int* value;
    int* factor;
    int interpolation;
} ZanLUT;

ZAN_API void zanThreshold(const ZanImage* srcImage, ZanImage* dstImage, int Threshold);
/* lut: one record per channel of the image, indexed by the channel. */
ZAN_API void zanComputeHisto(const ZanImage* srcImage, ZanLUT** lut);
ZAN_API void zanContrastStretch(const ZanImage* srcImage, ZanImage* dstImage, ZanLUT** lut);
ZAN_API void zanHistoEqualize(const ZanImage* srcImage, ZanImage* dstImage, ZanLUT** lut);

/* ------------------------------------------------------------------------ */
/* DIB interchange, RLE and palettes                                        */
/* ------------------------------------------------------------------------ */

/*
 * The device-independent bitmap header of the Windows platform, with its
 * published layout: 40 bytes, little-endian, no padding. Packed to one byte so
 * that it may be read in place from a file buffer at any offset.
 */
#if !defined(_WINGDI_)
#pragma pack(push, 1)
typedef struct tagBITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} BITMAPINFOHEADER;
#pragma pack(pop)
typedef char zanBitmapInfoHeaderIs40Bytes[(sizeof(BITMAPINFOHEADER) == 40) ? 1 : -1];
#endif

/* Compression codes of biCompression. */
#ifndef BI_RGB
#define BI_RGB       0
#define BI_RLE8      1
#define BI_RLE4      2
#define BI_BITFIELDS 3
#endif

/* Palette modes of zanConvertToDIB. */
#define ZAN_PALETTE_KEEP       0
#define ZAN_PALETTE_STANDARD   1
#define ZAN_PALETTE_MEDIAN_CUT 2

/*
 * A DIB in one block: the header, then biClrUsed palette entries of four bytes
 * (blue, green, red, reserved; 2 to the power biBitCount for 1, 4 and 8 bits
 * when biClrUsed is 0, three masks more for BI_BITFIELDS), then the pixels,
 * rows of whole 32-bit words, bottom-up for a positive biHeight. The Sep forms
 * take header and palette in dibHeader and the pixels in dibData.
 *
 * zanTranslateDIB makes a new image; *cloneData receives 1 if it holds its own
 * pixels and 0 if its imageData points into the DIB, which must then outlive it.
 * For an RLE DIB whose biSizeImage is not 0, the stream is read no further than
 * biSizeImage bytes.
 */
ZAN_API ZanImage* zanTranslateDIB(BITMAPINFOHEADER* dib, int* cloneData);
ZAN_API void zanConvertFromDIB(const BITMAPINFOHEADER* dib, ZanImage* image);
ZAN_API ZanStatus zanConvertFromDIBSep(const BITMAPINFOHEADER* dibHeader,
                                       const uint8_t* dibData, ZanImage* image);

/*
 * Fills the palette and the pixels of a DIB whose header is filled in; the
 * block holds room for the uncompressed pixels also when biCompression asks for
 * RLE, since the pixels are compressed in place afterwards (biCompression may
 * turn back to BI_RGB when that does not pay). dither is one of ZAN_DITHER_*,
 * paletteConversion one of ZAN_PALETTE_*.
 */
ZAN_API void zanConvertToDIB(const ZanImage* image, BITMAPINFOHEADER* dib, int32_t dither,
                             int32_t paletteConversion);
ZAN_API ZanStatus zanConvertToDIBSep(const ZanImage* image, BITMAPINFOHEADER* dibHeader,
                                     uint8_t* dibData, int32_t dither,
                                     int32_t paletteConversion);

/* ------------------------------------------------------------------------ */
/* Convolution                                                              */
/* ------------------------------------------------------------------------ */

/* Kernels made and freed by the library; coefficients in row order. */
typedef struct OwnConvKernel* ZanConvKernel;
typedef struct OwnConvKernelFP* ZanConvKernelFP;

/* How the responses of several kernels make one result. */
#define ZAN_COMBINE_SUM              0
#define ZAN_COMBINE_SUM_SQUARES      1
#define ZAN_COMBINE_ROOT_SUM_SQUARES 2
#define ZAN_COMBINE_MAX              3
#define ZAN_COMBINE_MIN              4

ZAN_API ZanConvKernel zanCreateConvKernel(int nCols, int nRows, int anchorX, int anchorY,
                                          const int32_t* values, int nShiftR);
ZAN_API ZanConvKernel zanCreateConvKernelChar(int nCols, int nRows, int anchorX, int anchorY,
                                              const int8_t* values, int nShiftR);
ZAN_API ZanConvKernelFP zanCreateConvKernelFP(int nCols, int nRows, int anchorX, int anchorY,
                                              const float* values);
/* values points to the caller's pointer to a buffer of nCols * nRows values. */
ZAN_API void zanGetConvKernel(ZanConvKernel kernel, int* nCols, int* nRows, int* anchorX,
                              int* anchorY, int32_t** values, int* nShiftR);
ZAN_API void zanGetConvKernelChar(ZanConvKernel kernel, int* nCols, int* nRows, int* anchorX,
                                  int* anchorY, int8_t** values, int* nShiftR);
ZAN_API void zanGetConvKernelFP(ZanConvKernelFP kernel, int* nCols, int* nRows, int* anchorX,
                                int* anchorY, float** values);
ZAN_API void zanDeleteConvKernel(ZanConvKernel kernel);
ZAN_API void zanDeleteConvKernelFP(ZanConvKernelFP kernel);

/* Convolution with 1 to 10 kernels whose responses are combined by method. */
ZAN_API void zanConvolve2D(const ZanImage* srcImage, ZanImage* dstImage,
                           const ZanConvKernel* kernel, int nKernels, int method);
ZAN_API void zanConvolve2DFP(const ZanImage* srcImage, ZanImage* dstImage,
                             const ZanConvKernelFP* kernel, int nKernels, int method);

/* Separable convolution: a one-row kernel, a one-column kernel or both
 * (either may be null); the y sum first, then the x sum. */
ZAN_API void zanConvolveSep2D(const ZanImage* srcImage, ZanImage* dstImage,
                              ZanConvKernel xKernel, ZanConvKernel yKernel);
ZAN_API void zanConvolveSep2DFP(const ZanImage* srcImage, ZanImage* dstImage,
                                ZanConvKernelFP xKernel, ZanConvKernelFP yKernel);

/* The largest, smallest and median sample of an nCols by nRows window whose
 * anchor lies on the pixel; the median is the sample of rank n / 2 + 1. */
ZAN_API void zanMaxFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY);
ZAN_API void zanMinFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY);
ZAN_API void zanMedianFilter(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                             int anchorX, int anchorY);

/* Built-in 3 by 3 and 5 by 5 kernels, chosen by number. */
#define ZAN_FILTER_PREWITT_V_3X3 0
#define ZAN_FILTER_PREWITT_H_3X3 1
#define ZAN_FILTER_SOBEL_V_3X3   2
#define ZAN_FILTER_SOBEL_H_3X3   3
#define ZAN_FILTER_LAPLACIAN_3X3 4
#define ZAN_FILTER_LAPLACIAN_5X5 5
#define ZAN_FILTER_GAUSSIAN_3X3  6
#define ZAN_FILTER_GAUSSIAN_5X5  7
#define ZAN_FILTER_HIPASS_3X3    8
#define ZAN_FILTER_HIPASS_5X5    9
#define ZAN_FILTER_SHARPEN_3X3   10

/* Returns 0 on success, else a negative status. */
ZAN_API int zanFixedFilter(const ZanImage* srcImage, ZanImage* dstImage, int filter);

/* Morphology with a square of side 2 * nIterations + 1 (1U, 8U, 16U);
 * samples beyond the region repeat its one-pixel ring. */
ZAN_API void zanErode(const ZanImage* srcImage, ZanImage* dstImage, int nIterations);
ZAN_API void zanDilate(const ZanImage* srcImage, ZanImage* dstImage, int nIterations);
ZAN_API void zanOpen(const ZanImage* srcImage, ZanImage* dstImage, int nIterations);
ZAN_API void zanClose(const ZanImage* srcImage, ZanImage* dstImage, int nIterations);

/* Box filter: the mean of the nCols by nRows window whose top-left corner
 * is anchorX, anchorY pixels up and left of the pixel. */
ZAN_API void zanBlur(const ZanImage* srcImage, ZanImage* dstImage, int nCols, int nRows,
                     int anchorX, int anchorY);

/* ------------------------------------------------------------------------ */
/* Wavelets                                                                 */
/* ------------------------------------------------------------------------ */

/* Kernel families, the values of wtType. */
#define ZAN_WAVELET_HAAR          0
#define ZAN_WAVELET_DAUBECHIES    1
#define ZAN_WAVELET_SYMLET        2
#define ZAN_WAVELET_COIFLET       3
#define ZAN_WAVELET_VAIDYANATHAN  4
#define ZAN_WAVELET_SPLINE        5
#define ZAN_WAVELET_SPLINE_DUAL   6
#define ZAN_WAVELET_SPLINE_22     7
#define ZAN_WAVELET_SPLINE_33     8
#define ZAN_WAVELET_USER          9

/* One filter: length taps, the anchor offset and a symmetry class
 * (0 symmetric, 1 antisymmetric, 2 neither, 3 given by the application). */
typedef struct ZanWtFilter {
    float* taps;
    int32_t length;
    int32_t offset;
    int32_t symmetry;
} ZanWtFilter;

/* Two analysis and two synthesis filters; wtClass 0 orthogonal,
 * 1 biorthogonal, 3 given by the application. */
typedef struct ZanWtKernel {
    int32_t wtType;
    int32_t par1;
    int32_t par2;
    int32_t wtClass;
    ZanWtFilter filtDecLow;
    ZanWtFilter filtDecHigh;
    ZanWtFilter filtRecLow;
    ZanWtFilter filtRecHigh;
} ZanWtKernel;

ZAN_API ZanStatus zanWtInit(int32_t wtType, int32_t par1, int32_t par2, ZanWtKernel* wtKernel);
ZAN_API ZanStatus zanWtInitUserFilter(const ZanWtFilter* decLow, const ZanWtFilter* decHigh,
                                      const ZanWtFilter* recLow, const ZanWtFilter* recHigh,
                                      ZanWtKernel* wtKernel);
/* filt: decLow, decHigh, recLow, recHigh. */
ZAN_API ZanStatus zanWtInitUserFilter4(const ZanWtFilter* filt, ZanWtKernel* wtKernel);
/* Four taps pointers, lengths and offsets in the order of zanWtInitUserFilter4. */
ZAN_API ZanStatus zanWtInitUserTaps(const float* const* tap_filt, const int32_t* len_filt,
                                    const int32_t* ofs_filt, ZanWtKernel* wtKernel);
ZAN_API ZanStatus zanWtFree(ZanWtKernel* wtKernel);

/* One level of the separable transform of an 8-bit grey image into four
 * 32F subbands of half its size (odd sizes round up), and back. */
ZAN_API ZanStatus zanWtDecompose(const ZanWtKernel* wtKernel, const ZanImage* src,
                                 ZanImage* approxDst, ZanImage* xDetailDst,
                                 ZanImage* yDetailDst, ZanImage* dDetailDst);
ZAN_API ZanStatus zanWtReconstruct(const ZanWtKernel* wtKernel, const ZanImage* approxSrc,
                                   const ZanImage* xDetailSrc, const ZanImage* yDetailSrc,
                                   const ZanImage* dDetailSrc, ZanImage* dst);

/* ------------------------------------------------------------------------ */
/* Measurement                                                              */
/* ------------------------------------------------------------------------ */

#define ZAN_NORM_INF     1
#define ZAN_NORM_L1      2
#define ZAN_NORM_L2      4
#define ZAN_NORM_REL_INF 9
#define ZAN_NORM_REL_L1  10
#define ZAN_NORM_REL_L2  12

/* The norm of an image or of the difference of two (srcImageB may be null);
 * -1.0 division by zero, -2.0 an undefined norm, -3.0 no memory. */
ZAN_API double zanNorm(const ZanImage* srcImageA, const ZanImage* srcImageB, int normType);

/* One entry of the moment table: value is the spatial moment of its order;
 * scale is 1 / region width in entry (1, 0) and 1 / region height in (0, 1). */
typedef struct ZanMoment {
    double scale;
    double value;
} ZanMoment;

/* Spatial moments up to order 3, entry [m][n] for x to the m, y to the n. */
typedef struct ZanMomentTable {
    ZanMoment entry[4][4];
} ZanMomentTable;

ZAN_API void zanMoments(const ZanImage* image, ZanMomentTable* state);
ZAN_API double zanGetSpatialMoment(const ZanMomentTable* state, int m, int n);
ZAN_API double zanGetNormalizedSpatialMoment(const ZanMomentTable* state, int m, int n);
ZAN_API double zanGetCentralMoment(const ZanMomentTable* state, int m, int n);
ZAN_API double zanGetNormalizedCentralMoment(const ZanMomentTable* state, int m, int n);
ZAN_API double zanSpatialMoment(const ZanImage* image, int m, int n);
ZAN_API double zanNormalizedSpatialMoment(const ZanImage* image, int m, int n);
ZAN_API double zanCentralMoment(const ZanImage* image, int m, int n);
ZAN_API double zanNormalizedCentralMoment(const ZanImage* image, int m, int n);

/* The smallest and largest sample of a 32F image in its ROI. */
ZAN_API ZanStatus zanMinMaxFP(const ZanImage* srcImage, float* min, float* max);

/* ------------------------------------------------------------------------ */
/* Noise and test images                                                    */
/* ------------------------------------------------------------------------ */

#define ZAN_NOISE_UNIFORM  0
#define ZAN_NOISE_GAUSSIAN 1

/* Uniform noise: lowInt/highInt (lowFP/highFP at 32F) are the ends of the
 * range; Gaussian noise: the mean and the standard deviation. */
typedef struct ZanNoiseParam {
    uint32_t seed;
    int32_t lowInt;
    int32_t highInt;
    float lowFP;
    float highFP;
} ZanNoiseParam;

ZAN_API void zanNoiseUniformInit(ZanNoiseParam* noiseParam, uint32_t seed, int low, int high);
ZAN_API void zanNoiseUniformInitFP(ZanNoiseParam* noiseParam, uint32_t seed, float low, float high);
ZAN_API void zanNoiseGaussianInit(ZanNoiseParam* noiseParam, uint32_t seed, int mean, int stDev);
ZAN_API void zanNoiseGaussianInitFP(ZanNoiseParam* noiseParam, uint32_t seed, float mean,
                                    float stDev);
ZAN_API ZanStatus zanNoiseImage(ZanImage* image, const ZanNoiseParam* noiseParam, int noise);

/* A new grey image of a circular zone pattern; free it with zanDeallocate. */
ZAN_API ZanImage* zanCreateImageJaehne(uint32_t depth, int width, int height);

#ifdef __cplusplus
}
#endif

#endif /* ZAN_H */
