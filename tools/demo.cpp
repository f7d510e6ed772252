// zan demo: makes the test pattern, a colour ramp and noise, runs them through
// the library's operations and writes every result as a BMP file. Every
// step is deterministic, and the pictures are small enough to be quick.
#include "demo.h"

#include "operations.h"

#include <cstdio>
#include <filesystem>

namespace zantool {

namespace {

constexpr int kWidth = 250;
constexpr int kHeight = 170;

unsigned char* row(const ZanImage* image, int y)
{
    return reinterpret_cast<unsigned char*>(image->imageData) + static_cast<size_t>(y) * image->widthStep;
}

// The library's test pattern: a circular zone plate whose rings get closer
// with the distance from the centre.
void fillZonePlate(ZanImage* image)
{
    Image pattern(zanCreateImageJaehne(ZAN_DEPTH_8U, image->width, image->height));
    if (pattern)
        zanCopy(pattern.get(), image);
}

// Red grows to the right, green downward, blue to the left.
void fillColourRamp(ZanImage* image)
{
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x) {
            unsigned char* pixel = row(image, y) + 3 * x;
            pixel[0] = static_cast<unsigned char>(255 * x / (image->width - 1));
            pixel[1] = static_cast<unsigned char>(255 * y / (image->height - 1));
            pixel[2] = static_cast<unsigned char>(255 - pixel[0]);
        }
}

// Uniform noise over the whole 8-bit range from the library's generator,
// with a fixed seed.
void fillNoise(ZanImage* image)
{
    ZanNoiseParam param;
    zanNoiseUniformInit(&param, 1999, 0, 255);
    zanSet(image, 0);
    zanNoiseImage(image, &param, ZAN_NOISE_UNIFORM);
}

// The pictures of a run, its folder and its count of files.
class Demo {
public:
    Demo(const Command& command, std::string folder) : command_(command), folder_(std::move(folder)) {}

    bool makeFolder()
    {
        std::error_code error;
        std::filesystem::create_directories(folder_, error);
        if (error)
            fail(command_, folder_ + ": cannot make the folder: " + error.message());
        return !error;
    }

    Image gray(uint32_t depth = ZAN_DEPTH_8U) { return make(1, depth, "GRAY", "G"); }
    Image colour() { return make(3, ZAN_DEPTH_8U, "RGB", "RGB"); }

    // Checks the library calls since the last step, then writes NN-name.bmp.
    bool write(const char* name, const ZanImage* image, const char* what, const WriteOptions& options = {})
    {
        std::string error;
        if (!image || libraryFailed(error)) {
            fail(command_, std::string(name) + ": " + error);
            return false;
        }
        char file[64];
        std::snprintf(file, sizeof file, "%02d-%s.bmp", ++count_, name);
        const std::string path = (std::filesystem::path(folder_) / file).string();
        Written written;
        if (!writePicture(image, path, options, written, error)) {
            fail(command_, path + ": " + error);
            return false;
        }
        std::printf("wrote %s: %s: %s\n", path.c_str(), describe(written).c_str(), what);
        clearLibraryReport();
        return true;
    }

private:
    Image make(int channels, uint32_t depth, const char* model, const char* sequence)
    {
        std::string error;
        Image image = newImage(channels, depth, model, sequence, kWidth, kHeight, ZAN_ORIGIN_TOP_LEFT, error);
        if (!image)
            fail(command_, error);
        return image;
    }

    const Command& command_;
    std::string folder_;
    int count_ = 0;
};

WriteOptions bits(int count, int palette = kPaletteByImage, int dither = ZAN_DITHER_NONE, bool rle = false)
{
    WriteOptions options;
    options.bits = count;
    options.palette = palette;
    options.dither = dither;
    options.rle = rle;
    return options;
}

// The sources, colour conversions and arithmetic.
bool colourSteps(Demo& demo, const ZanImage* zone, const ZanImage* ramp, Image& sum)
{
    Image tinted = demo.colour(), halfTint = demo.colour(), halfRamp = demo.colour();
    Image hsv = demo.colour(), back = demo.colour(), negative = demo.colour();
    sum = demo.colour();
    if (!tinted || !halfTint || !halfRamp || !hsv || !back || !negative || !sum)
        return false;
    zanGrayToColor(zone, tinted.get(), 1.0f, 0.75f, 0.5f);
    if (!demo.write("tinted", tinted.get(), "zone plate to colour, zanGrayToColor"))
        return false;
    zanRShiftS(tinted.get(), halfTint.get(), 1);
    zanRShiftS(ramp, halfRamp.get(), 1);
    zanAdd(halfTint.get(), halfRamp.get(), sum.get());
    if (!demo.write("blend", sum.get(), "half of each, zanRShiftS and zanAdd"))
        return false;
    zanRGB2HSV(sum.get(), hsv.get());
    labelModel(hsv.get(), "RGB");
    if (!demo.write("hsv-as-rgb", hsv.get(), "zanRGB2HSV, H S V stored as R G B"))
        return false;
    labelModel(hsv.get(), "HSV");
    zanHSV2RGB(hsv.get(), back.get());
    if (!demo.write("hsv-back", back.get(), "zanHSV2RGB of the previous"))
        return false;
    zanNot(sum.get(), negative.get());
    return demo.write("negative", negative.get(), "zanNot of the blend");
}

// Gray, thresholds, dithering and histograms.
bool toneSteps(Demo& demo, const ZanImage* zone, const ZanImage* noise, const ZanImage* sum, const ZanImage* ramp)
{
    Image gray = demo.gray(), quarterNoise = demo.gray(), noisy = demo.gray(), binary = demo.gray();
    Image diffused = demo.gray(ZAN_DEPTH_1U), ordered = demo.gray(), equalized = demo.gray();
    Image rampGray = demo.gray(), bands = demo.gray(), posterised = demo.gray();
    if (!gray || !quarterNoise || !noisy || !binary || !diffused || !ordered || !equalized || !rampGray ||
        !bands || !posterised)
        return false;
    zanColorToGray(sum, gray.get());
    if (!demo.write("gray", gray.get(), "zanColorToGray of the blend"))
        return false;
    zanRShiftS(noise, quarterNoise.get(), 2);
    zanAdd(zone, quarterNoise.get(), noisy.get());
    if (!demo.write("noisy-zone-plate", noisy.get(), "zone plate plus a quarter of the noise, zanAdd"))
        return false;
    zanThreshold(noisy.get(), binary.get(), 160);
    if (!demo.write("threshold", binary.get(), "zanThreshold at 160, 1 bit", bits(1)) ||
        !demo.write("threshold-rle8", binary.get(), "the same, run-length encoded", bits(8, kPaletteByImage,
                                                                                         ZAN_DITHER_NONE, true)))
        return false;
    zanReduceBits(gray.get(), diffused.get(), 0, ZAN_DITHER_FS, 2);
    if (!demo.write("floyd-steinberg", diffused.get(), "zanReduceBits to 1 bit, Floyd-Steinberg"))
        return false;
    zanReduceBits(gray.get(), ordered.get(), 0, ZAN_DITHER_BAYER, 4);
    if (!demo.write("bayer-4-levels", ordered.get(), "zanReduceBits to 4 levels, Bayer, 4 bits", bits(4)))
        return false;
    equalizeHistogram(gray.get(), equalized.get());
    if (!demo.write("equalized", equalized.get(), "zanHistoEqualize of the gray"))
        return false;
    zanColorToGray(ramp, rampGray.get());
    zanRShiftS(rampGray.get(), bands.get(), 4);
    zanMultiplyS(bands.get(), posterised.get(), 17);
    return demo.write("posterised-rle4", posterised.get(), "16 gray bands of the ramp, run-length encoded",
                      bits(4, kPaletteByImage, ZAN_DITHER_NONE, true));
}

// The blend in every other file format.
bool formatSteps(Demo& demo, const ZanImage* sum)
{
    return demo.write("blend-median-cut-8", sum, "256 colours by median cut", bits(8, ZAN_PALETTE_MEDIAN_CUT)) &&
           demo.write("blend-median-cut-4-fs", sum, "16 colours by median cut, Floyd-Steinberg",
                      bits(4, ZAN_PALETTE_MEDIAN_CUT, ZAN_DITHER_FS)) &&
           demo.write("blend-standard-4-bayer", sum, "the 16 standard colours, Bayer",
                      bits(4, ZAN_PALETTE_STANDARD, ZAN_DITHER_BAYER)) &&
           demo.write("blend-16-bits", sum, "5 bits a channel", bits(16)) &&
           demo.write("blend-32-bits", sum, "8 bits a channel and a spare byte", bits(32));
}

}  // namespace

int runDemo(const Command& command, const Args& args)
{
    Demo demo(command, args.operands[0]);
    if (!demo.makeFolder())
        return kExitFailure;
    Image zone = demo.gray(), ramp = demo.colour(), noise = demo.gray(), sum;
    if (!zone || !ramp || !noise)
        return kExitFailure;
    fillZonePlate(zone.get());
    fillColourRamp(ramp.get());
    fillNoise(noise.get());
    const bool done = demo.write("zone-plate", zone.get(), "the test pattern, 8-bit gray") &&
                      demo.write("colour-ramp", ramp.get(), "red, green and blue ramps") &&
                      demo.write("noise", noise.get(), "uniform noise") &&
                      colourSteps(demo, zone.get(), ramp.get(), sum) &&
                      toneSteps(demo, zone.get(), noise.get(), sum.get(), ramp.get()) && formatSteps(demo, sum.get());
    return done ? kExitOk : kExitFailure;
}

}  // namespace zantool
