// The subcommands of the zan tool, each a few library calls between reading
// and writing BMP files.
#include "bmp_file.h"
#include "cli.h"
#include "demo.h"
#include "operations.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace zantool {

namespace {

// A new image of the working image's shape, for an operation's result.
Image resultLike(const Command& command, const ZanImage* image, uint32_t depth = ZAN_DEPTH_8U)
{
    std::string error;
    Image result = newImage(image->nChannels, depth, image->colorModel, image->channelSeq, image->width,
                            image->height, image->origin, error);
    if (!result)
        fail(command, error);
    return result;
}

// Ends an operation: reports the library's failure, or writes the result.
int finish(const Command& command, const ZanImage* result, const std::string& path, const WriteOptions& options)
{
    std::string error;
    if (libraryFailed(error))
        return fail(command, error);
    return writeAndReport(command, result, path, options) ? kExitOk : kExitFailure;
}

std::string orderText(const ZanImage* image)
{
    return image->dataOrder == ZAN_DATA_ORDER_PIXEL ? "pixel order" : "plane order";
}

int runInfo(const Command& command, const Args& args)
{
    const std::string& path = args.operands[0];
    std::vector<uint8_t> file;
    std::string error;
    if (!readFile(path, file, error))
        return fail(command, path + ": " + error);
    Picture picture;
    if (!readPicture(path, picture, error))
        return fail(command, path + ": " + error);
    const DibFields f = readFields(picture.dib.data());
    std::printf("%s: BMP file of %zu bytes, header of %u bytes\n", path.c_str(), file.size(),
                readFields(file.data() + kFileHeaderBytes).size);
    std::printf("  %dx%d, %d bits, %s, %s\n", f.width, f.height < 0 ? -f.height : f.height, f.bitCount,
                compressionName(f.compression), f.height < 0 ? "top-down" : "bottom-up");
    if (f.bitCount <= 8)
        std::printf("  palette of %u entries\n", f.clrUsed);
    std::printf("  pixels: %llu bytes\n", static_cast<unsigned long long>(pixelBytes(f)));
    const ZanImage* image = picture.image.get();
    const bool shared = sharesDib(picture);
    std::printf("  zan image: %d channel%s of %s, %.4s/%.4s, %s, %s origin, %s\n", image->nChannels,
                image->nChannels == 1 ? "" : "s", image->depth == ZAN_DEPTH_1U ? "1 bit" : "8 bits",
                image->colorModel, image->channelSeq, orderText(image).c_str(),
                image->origin == ZAN_ORIGIN_TOP_LEFT ? "top-left" : "bottom-left",
                shared ? "pixels shared with the file's DIB" : "pixels of its own");
    return kExitOk;
}

int runConvert(const Command& command, const Args& args)
{
    WriteOptions options;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    Picture picture;
    std::string error;
    if (!readPicture(args.operands[0], picture, error))
        return fail(command, args.operands[0] + ": " + error);
    const int inputBits = readFields(picture.dib.data()).bitCount;
    if (!options.bits)
        options.bits = inputBits;
    if (options.palette == kPaletteByImage && options.bits == inputBits && inputBits <= 8)
        options.palette = ZAN_PALETTE_KEEP;
    options.paletteFrom = &picture.dib;
    // A gray picture that the library copied came through its gray weights,
    // which take every level but 0 one down; against the kept palette its
    // colours, read as they are, find their own entries again.
    const bool copiedGray = picture.image->nChannels == 1 && !sharesDib(picture);
    if (options.palette == ZAN_PALETTE_KEEP && copiedGray && !readAsColour(picture, error))
        return fail(command, args.operands[0] + ": " + error);
    return writeAndReport(command, picture.image.get(), args.operands[1], options) ? kExitOk : kExitFailure;
}

int runGray(const Command& command, const Args& args)
{
    WriteOptions options;
    Picture picture;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    if (!readWorkingPicture(command, args.operands[0], picture))
        return kExitFailure;
    const ZanImage* source = picture.image.get();
    if (source->nChannels == 1)
        return finish(command, source, args.operands[1], options);
    std::string error;
    Image gray = newImage(1, ZAN_DEPTH_8U, "GRAY", "G", source->width, source->height, source->origin, error);
    if (!gray)
        return fail(command, error);
    clearLibraryReport();
    zanColorToGray(source, gray.get());
    return finish(command, gray.get(), args.operands[1], options);
}

// The road of an operation on one picture: read it, make a result of its
// shape, apply the library's call, write the result.
template <typename Apply>
int runOnPicture(const Command& command, const std::string& in, const std::string& out, WriteOptions options,
                 Apply apply)
{
    Picture picture;
    if (!readWorkingPicture(command, in, picture))
        return kExitFailure;
    Image result = resultLike(command, picture.image.get());
    if (!result)
        return kExitFailure;
    clearLibraryReport();
    apply(picture.image.get(), result.get(), options);
    return finish(command, result.get(), out, options);
}

int runThreshold(const Command& command, const Args& args)
{
    WriteOptions options;
    int level = 128;
    if (!readOutputOptions(command, args, options) || !readNumber(command, args, "--level", 0, 255, level))
        return kExitUsage;
    return runOnPicture(command, args.operands[0], args.operands[1], options,
                        [level](ZanImage* source, ZanImage* result, WriteOptions& written) {
                            if (!written.bits && result->nChannels == 1)
                                written.bits = 1;
                            zanThreshold(source, result, level);
                        });
}

int runDither(const Command& command, const Args& args)
{
    WriteOptions options;
    int levels = 2;
    int noise = 0;
    int dither = ZAN_DITHER_FS;
    if (!readOutputOptions(command, args, options, false) || !readNumber(command, args, "--levels", 2, 256, levels) ||
        !readNumber(command, args, "--noise", 0, 100, noise) ||
        (args.has("--dither") && !readDither(command, args.value("--dither"), dither)))
        return kExitUsage;
    return runOnPicture(command, args.operands[0], args.operands[1], options,
                        [=](ZanImage* source, ZanImage* result, WriteOptions&) {
                            zanReduceBits(source, result, noise, dither, levels);
                        });
}

int runEqualize(const Command& command, const Args& args)
{
    WriteOptions options;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    return runOnPicture(command, args.operands[0], args.operands[1], options,
                        [](ZanImage* source, ZanImage* result, WriteOptions&) { equalizeHistogram(source, result); });
}

int runNot(const Command& command, const Args& args)
{
    WriteOptions options;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    return runOnPicture(command, args.operands[0], args.operands[1], options,
                        [](ZanImage* source, ZanImage* result, WriteOptions&) { zanNot(source, result); });
}

// The colour models that have 8-bit conversions both ways.
struct ModelPair {
    const char* name;
    const char* letters;
    void (*forward)(const ZanImage*, ZanImage*);
    void (*back)(const ZanImage*, ZanImage*);
};

const ModelPair kModels[] = {
    {"hsv", "HSV", zanRGB2HSV, zanHSV2RGB},       {"hls", "HLS", zanRGB2HLS, zanHLS2RGB},
    {"xyz", "XYZ", zanRGB2XYZ, zanXYZ2RGB},       {"yuv", "YUV", zanRGB2YUV, zanYUV2RGB},
    {"ycrcb", "YCr", zanRGB2YCrCb, zanYCrCb2RGB},
};

int runModel(const Command& command, const Args& args)
{
    const ModelPair* model = nullptr;
    for (const ModelPair& candidate : kModels)
        if (args.operands[0] == candidate.name)
            model = &candidate;
    if (!model)
        return usageError(command, "unknown colour model '" + args.operands[0] + "' (hsv, hls, xyz, yuv or ycrcb)");
    WriteOptions options;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    // The file's red, green and blue hold the model's three channels.
    const bool back = args.has("--back");
    return runOnPicture(command, args.operands[1], args.operands[2], options,
                        [model, back](ZanImage* source, ZanImage* result, WriteOptions&) {
                            if (back) {
                                labelModel(source, model->letters);
                                model->back(source, result);
                            } else {
                                model->forward(source, result);
                                labelModel(result, "RGB");
                            }
                        });
}

// The operations of two images into a third.
struct BinaryOperation {
    const char* name;
    void (*run)(const ZanImage*, const ZanImage*, ZanImage*);
};

const BinaryOperation kBinaryOperations[] = {
    {"add", zanAdd}, {"subtract", zanSubtract}, {"multiply", zanMultiply},
    {"and", zanAnd}, {"or", zanOr},             {"xor", zanXor},
};

int runBinary(const Command& command, const Args& args)
{
    WriteOptions options;
    if (!readOutputOptions(command, args, options))
        return kExitUsage;
    Picture a;
    Picture b;
    if (!readWorkingPicture(command, args.operands[0], a) || !readWorkingPicture(command, args.operands[1], b))
        return kExitFailure;
    if (a.image->origin != b.image->origin)
        return fail(command, "the two files store their rows in different orders; 'zan convert' one of them first");
    Image result = resultLike(command, a.image.get());
    if (!result)
        return kExitFailure;
    clearLibraryReport();
    for (const BinaryOperation& operation : kBinaryOperations)
        if (std::strcmp(operation.name, command.name) == 0)
            operation.run(a.image.get(), b.image.get(), result.get());
    return finish(command, result.get(), args.operands[2], options);
}

std::vector<Option> withOutput(std::vector<Option> options, std::vector<Option> output = outputOptions())
{
    options.insert(options.end(), output.begin(), output.end());
    return options;
}

Command binaryCommand(const char* name, const char* summary, const char* details)
{
    return {name, "A.bmp B.bmp OUT.bmp", 3, summary, details, outputOptions(), runBinary};
}

}  // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> table = {
        {"demo", "OUTDIR", 1, "make test pictures and run a showcase pipeline, writing BMP files",
         "Makes a zone plate, a colour ramp and noise, runs them through colour\n"
         "conversions, arithmetic, thresholds, dithering, palettes and run-length\n"
         "encoding, and writes each result into OUTDIR (made if missing) as a BMP\n"
         "file, printing one line a file. The pictures are the same on every run.",
         {}, runDemo},
        {"info", "FILE.bmp", 1, "describe a BMP file and how zan reads it",
         "Prints the file's format (size, bits, compression, row order, palette)\n"
         "and the image that zanTranslateDIB makes of it.",
         {}, runInfo},
        {"convert", "IN.bmp OUT.bmp", 2, "rewrite a BMP file with other bits, palette, dither or RLE",
         "Reads IN.bmp through zanTranslateDIB and writes OUT.bmp through\n"
         "zanConvertToDIB. Without --bits the input's bit count is kept, and with it\n"
         "the input's palette; --rle compresses 4- and 8-bit files.\n"
         "Example: zan convert photo.bmp small.bmp --bits 4 --palette median-cut --dither fs",
         outputOptions(), runConvert},
        {"gray", "IN.bmp OUT.bmp", 2, "colour to gray (zanColorToGray)",
         "Writes the gray of a colour picture, (54 R + 183 G + 18 B) / 256. A gray\n"
         "picture is written as it is.",
         outputOptions(), runGray},
        {"threshold", "IN.bmp OUT.bmp", 2, "two levels per channel (zanThreshold)",
         "Samples below the level become 0, the others 255, channel by channel.\n"
         "A gray result is written with 1 bit a pixel unless --bits says otherwise.",
         withOutput({{"--level", "N", "the threshold, 0 to 255 (default 128)"}}), runThreshold},
        {"dither", "IN.bmp OUT.bmp", 2, "reduce to a few levels with a dither (zanReduceBits)",
         "Reduces every channel to --levels levels, spreading the error by the\n"
         "chosen dither, and writes the 8-bit result.",
         withOutput({{"--levels", "N", "levels to keep, 2 to 256 (default 2)"},
                     {"--dither", "D", "fs, jjh, stucki, bayer or none (default fs)"},
                     {"--noise", "P", "percent of noise added to the thresholds, 0 to 100 (default 0)"}},
                    outputOptionsBut("--dither")),
         runDither},
        {"equalize", "IN.bmp OUT.bmp", 2, "histogram equalisation (zanComputeHisto, zanHistoEqualize)",
         "Counts each channel's values and maps them so that they spread evenly.", outputOptions(), runEqualize},
        {"model", "MODEL IN.bmp OUT.bmp", 3, "RGB to hsv, hls, xyz, yuv or ycrcb, or back with --back",
         "Converts a colour picture into the colour model and stores its three\n"
         "channels as the file's red, green and blue; --back reads a file made so\n"
         "and converts it back to RGB.\n"
         "Example: zan model hsv in.bmp hsv.bmp && zan model hsv --back hsv.bmp again.bmp",
         withOutput({{"--back", nullptr, "convert from the model to RGB"}}), runModel},
        binaryCommand("add", "saturated sum of two pictures (zanAdd)",
                      "Adds two pictures of the same size and kind, saturating at 255."),
        binaryCommand("subtract", "saturated difference A - B (zanSubtract)",
                      "Subtracts B from A, saturating at 0."),
        binaryCommand("multiply", "saturated product (zanMultiply)", "Multiplies two pictures, saturating at 255."),
        binaryCommand("and", "bitwise and (zanAnd)", "The bits set in both pictures."),
        binaryCommand("or", "bitwise or (zanOr)", "The bits set in either picture."),
        binaryCommand("xor", "bitwise exclusive or (zanXor)", "The bits set in one picture only."),
        {"not", "IN.bmp OUT.bmp", 2, "bitwise not, the negative (zanNot)", "Inverts every bit: the negative.",
         outputOptions(), runNot},
    };
    return table;
}

}  // namespace zantool
