// The zan program from the outside: the demo's files are valid BMP files of
// the size it states, every one round-trips through zan convert, the
// operations give the pixels of their formulas, and every failure is one
// line on standard error with a non-zero exit.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;

Bytes readBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

void writeBytes(const fs::path& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

std::string readText(const fs::path& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

uint32_t le32(const Bytes& b, size_t at)
{
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t{b[at + 3]} << 24;
}

uint16_t le16(const Bytes& b, size_t at)
{
    return uint16_t(b[at] | b[at + 1] << 8);
}

struct Outcome {
    int exit;
    std::string out;
    std::string err;
};

// A line of the demo: "wrote PATH: WxH, B bits, COMPRESSION[, N colours], S bytes: what".
struct Stated {
    std::string path;
    int width, height, bits;
    std::string compression;
    uint32_t colours;
    uint64_t bytes;
};

// Pixels of an uncompressed 1-, 4-, 8- or 24-bit file as red, green, blue,
// top row first, read here from the format alone.
struct Rgb {
    int r, g, b;
    bool operator==(const Rgb&) const = default;
};

std::vector<Rgb> pixelsOf(const Bytes& file)
{
    const int width = int(le32(file, 18));
    const int height = int(le32(file, 22));
    const int bits = le16(file, 28);
    const size_t pixels = le32(file, 10);
    const size_t row = (size_t(width) * bits + 31) / 32 * 4;
    std::vector<Rgb> out;
    for (int y = height - 1; y >= 0; --y)
        for (int x = 0; x < width; ++x) {
            const uint8_t* p = file.data() + pixels + y * row;
            if (bits == 24) {
                out.push_back({p[3 * x + 2], p[3 * x + 1], p[3 * x]});
                continue;
            }
            const int per = 8 / bits;
            const int index = (p[x / per] >> (8 - bits * (x % per + 1))) & ((1 << bits) - 1);
            const uint8_t* entry = file.data() + 54 + 4 * index;
            out.push_back({entry[2], entry[1], entry[0]});
        }
    return out;
}

class ZanTool : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() / ("zan-tool-" + std::to_string(getpid()) + "-" + test->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    Outcome zan(const std::string& arguments) const
    {
        const fs::path out = dir_ / "stdout.txt";
        const fs::path err = dir_ / "stderr.txt";
        const std::string command = std::string("'") + ZAN_TOOL_PATH + "' " + arguments + " >'" + out.string() +
                                    "' 2>'" + err.string() + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(out), readText(err)};
    }

    std::string at(const std::string& name) const { return "'" + (dir_ / name).string() + "'"; }

    // The demo's file NN-name.bmp in out/.
    fs::path demoFile(const std::string& name) const
    {
        for (const auto& entry : fs::directory_iterator(dir_ / "out"))
            if (entry.path().filename().string().ends_with("-" + name + ".bmp"))
                return entry.path();
        ADD_FAILURE() << "no demo file " << name;
        return dir_ / "out" / name;
    }

    // Runs the demo into the folder and reads its lines.
    std::vector<Stated> demo(const std::string& folder)
    {
        const Outcome run = zan("demo " + at(folder));
        EXPECT_EQ(run.exit, 0) << run.err;
        EXPECT_EQ(run.err, "");
        static const std::regex line(
            R"(wrote (.+): (\d+)x(\d+), (\d+) bits, (BI_[A-Z0-9]+)(, (\d+) colours)?, (\d+) bytes: .+)");
        std::vector<Stated> stated;
        std::istringstream lines(run.out);
        for (std::string text; std::getline(lines, text);) {
            std::smatch m;
            EXPECT_TRUE(std::regex_match(text, m, line)) << text;
            if (!m.empty())
                stated.push_back({m[1], std::stoi(m[2]), std::stoi(m[3]), std::stoi(m[4]), m[5],
                                  m[7].matched ? uint32_t(std::stoul(m[7])) : 0u, std::stoull(m[8])});
        }
        return stated;
    }

    fs::path dir_;
};

void expectValidFile(const Stated& s)
{
    SCOPED_TRACE(s.path);
    const Bytes file = readBytes(s.path);
    ASSERT_EQ(file.size(), s.bytes);
    ASSERT_GE(file.size(), 54u);
    EXPECT_EQ(file[0], 'B');
    EXPECT_EQ(file[1], 'M');
    EXPECT_EQ(le32(file, 2), s.bytes);
    EXPECT_EQ(le32(file, 10), 54 + 4 * s.colours);
    EXPECT_EQ(le32(file, 14), 40u);
    EXPECT_EQ(int(le32(file, 18)), s.width);
    EXPECT_EQ(int(le32(file, 22)), s.height);
    EXPECT_EQ(le16(file, 26), 1);
    EXPECT_EQ(le16(file, 28), s.bits);
    EXPECT_EQ(le32(file, 46), s.bits <= 8 ? s.colours : 0u);
    EXPECT_EQ(s.colours != 0, s.bits <= 8);
    const std::map<std::string, uint32_t> codes = {{"BI_RGB", 0}, {"BI_RLE8", 1}, {"BI_RLE4", 2}};
    ASSERT_EQ(codes.count(s.compression), 1u);
    EXPECT_EQ(le32(file, 30), codes.at(s.compression));
    const size_t stream = file.size() - le32(file, 10);
    if (s.compression == "BI_RGB") {
        EXPECT_EQ(stream, (size_t(s.width) * s.bits + 31) / 32 * 4 * s.height);
    } else {
        EXPECT_EQ(le32(file, 34), stream);
        EXPECT_LT(stream, (size_t(s.width) * s.bits + 31) / 32 * 4 * s.height);
        EXPECT_EQ(file[file.size() - 2], 0);
        EXPECT_EQ(file[file.size() - 1], 1);
    }
}

TEST_F(ZanTool, DemoWritesValidFilesOfTheStatedSize)
{
    const std::vector<Stated> stated = demo("out");
    ASSERT_GE(stated.size(), 15u);
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(dir_ / "out"))
        files += entry.path().extension() == ".bmp";
    EXPECT_EQ(files, stated.size());
    std::map<int, int> bitCounts;
    std::map<std::string, int> compressions;
    for (const Stated& s : stated) {
        expectValidFile(s);
        ++bitCounts[s.bits];
        ++compressions[s.compression];
    }
    for (int bits : {1, 4, 8, 16, 24, 32})
        EXPECT_GT(bitCounts[bits], 0) << bits << " bits";
    EXPECT_GT(compressions["BI_RLE8"], 0);
    EXPECT_GT(compressions["BI_RLE4"], 0);
}

TEST_F(ZanTool, DemoIsTheSameOnEveryRun)
{
    const std::vector<Stated> first = demo("a");
    const std::vector<Stated> second = demo("b");
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i)
        EXPECT_EQ(readBytes(first[i].path), readBytes(second[i].path)) << first[i].path;
}

TEST_F(ZanTool, ConvertRoundTripsEveryDemoFile)
{
    for (const Stated& s : demo("out")) {
        SCOPED_TRACE(s.path);
        const std::string options = s.compression == "BI_RGB" ? "" : " --rle";
        const Outcome run = zan("convert '" + s.path + "' " + at("again.bmp") + options);
        ASSERT_EQ(run.exit, 0) << run.err;
        EXPECT_EQ(readBytes(dir_ / "again.bmp"), readBytes(s.path));
    }
}

TEST_F(ZanTool, SixteenBitsKeepTheTopFiveBitsOfEachChannel)
{
    demo("out");
    ASSERT_EQ(zan("convert " + at("out/02-colour-ramp.bmp") + " " + at("16.bmp") + " --bits 16").exit, 0);
    ASSERT_EQ(zan("convert " + at("16.bmp") + " " + at("24.bmp") + " --bits 24").exit, 0);
    const std::vector<Rgb> original = pixelsOf(readBytes(dir_ / "out/02-colour-ramp.bmp"));
    const std::vector<Rgb> again = pixelsOf(readBytes(dir_ / "24.bmp"));
    ASSERT_EQ(original.size(), again.size());
    for (size_t i = 0; i < original.size(); ++i)
        ASSERT_EQ(again[i], (Rgb{original[i].r & 0xF8, original[i].g & 0xF8, original[i].b & 0xF8})) << i;
}

// Each operation against its formula, per pixel, on the demo's pictures.
TEST_F(ZanTool, OperationsGiveTheirFormulas)
{
    demo("out");
    const std::string zone = at("out/01-zone-plate.bmp");
    const std::string ramp = at("out/02-colour-ramp.bmp");
    struct Case {
        std::string arguments;
        std::string source;
        Rgb (*formula)(Rgb);
    };
    const Case cases[] = {
        {"not " + zone, "01-zone-plate.bmp", [](Rgb p) { return Rgb{255 - p.r, 255 - p.g, 255 - p.b}; }},
        {"add " + zone + " " + zone, "01-zone-plate.bmp",
         [](Rgb p) { return Rgb{std::min(2 * p.r, 255), std::min(2 * p.g, 255), std::min(2 * p.b, 255)}; }},
        {"subtract " + ramp + " " + ramp, "02-colour-ramp.bmp", [](Rgb) { return Rgb{0, 0, 0}; }},
        {"threshold --level 100 " + zone, "01-zone-plate.bmp",
         [](Rgb p) { return p.r >= 100 ? Rgb{255, 255, 255} : Rgb{0, 0, 0}; }},
        {"gray " + ramp, "02-colour-ramp.bmp",
         [](Rgb p) {
             const int v = (54 * p.r + 183 * p.g + 18 * p.b) >> 8;
             return Rgb{v, v, v};
         }},
        {"xor " + ramp + " " + ramp + " --bits 24", "02-colour-ramp.bmp", [](Rgb) { return Rgb{0, 0, 0}; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Outcome run = zan(c.arguments + " " + at("result.bmp"));
        ASSERT_EQ(run.exit, 0) << run.err;
        const std::vector<Rgb> source = pixelsOf(readBytes(dir_ / "out" / c.source));
        const std::vector<Rgb> result = pixelsOf(readBytes(dir_ / "result.bmp"));
        ASSERT_EQ(source.size(), result.size());
        for (size_t i = 0; i < source.size(); ++i)
            ASSERT_EQ(result[i], c.formula(source[i])) << "pixel " << i;
    }
}

TEST_F(ZanTool, FailuresAreOneLineAndNonZero)
{
    demo("out");
    writeBytes(dir_ / "text.bmp", Bytes{'h', 'e', 'l', 'l', 'o', '\n'});
    Bytes file = readBytes(dir_ / "out/02-colour-ramp.bmp");
    writeBytes(dir_ / "cut.bmp", Bytes(file.begin(), file.begin() + 1000));
    file[28] = 2;
    writeBytes(dir_ / "two-bits.bmp", file);
    file[28] = 24;
    file[14] = 41;
    writeBytes(dir_ / "header.bmp", file);
    Bytes rle = readBytes(demoFile("threshold-rle8"));
    ASSERT_EQ(le32(rle, 30), 1u);
    std::fill(rle.begin() + le32(rle, 10), rle.end(), uint8_t{0});  // ends of rows at column 0
    writeBytes(dir_ / "bad-stream.bmp", rle);
    const std::string ramp = at("out/02-colour-ramp.bmp");
    const std::string missing = (dir_ / "missing.bmp").string();
    struct Case {
        std::string arguments;
        int exit;
        std::string error;  // the whole line, or its start when it ends with "..."
    };
    const Case cases[] = {
        {"info " + at("missing.bmp"), 1, "zan info: " + missing + ": cannot open: No such file or directory"},
        {"info " + at("text.bmp"), 1, "zan info: " + (dir_ / "text.bmp").string() +
                                          ": not a BMP file (it does not start with \"BM\")"},
        {"info " + at("cut.bmp"), 1, "zan info: " + (dir_ / "cut.bmp").string() +
                                         ": truncated BMP file: the pixels need 127840 bytes from byte 54, the "
                                         "file has 1000"},
        {"convert " + at("two-bits.bmp") + " " + at("x.bmp"), 1,
         "zan convert: " + (dir_ / "two-bits.bmp").string() +
             ": unsupported bit count 2 (1, 4, 8, 16, 24 and 32 are read)"},
        {"gray " + at("header.bmp") + " " + at("x.bmp"), 1,
         "zan gray: " + (dir_ / "header.bmp").string() + ": corrupt BMP file: header size 41"},
        {"info " + at("bad-stream.bmp"), 1,
         "zan info: " + (dir_ / "bad-stream.bmp").string() + ": cannot read the pixels: ..."},
        {"convert " + ramp + " " + at("x.bmp") + " --bits 3", 2,
         "zan convert: unsupported bit count 3 (1, 4, 8, 16, 24 or 32) (see zan convert --help)"},
        {"convert " + ramp + " " + at("x.bmp") + " --rle", 1,
         "zan convert: " + (dir_ / "x.bmp").string() + ": run-length encoding needs 4 or 8 bits, not 24"},
        {"convert " + ramp + " " + at("x.bmp") + " --palette some", 2,
         "zan convert: --palette wants keep, standard or median-cut, not 'some' (see zan convert --help)"},
        {"convert " + ramp + " " + at("x.bmp") + " --bits 8 --palette keep", 1,
         "zan convert: " + (dir_ / "x.bmp").string() + ": --palette keep needs an input of 8 bits with a palette"},
        {"convert " + ramp, 2, "zan convert: expects IN.bmp OUT.bmp (see zan convert --help)"},
        {"convert " + ramp + " " + at("x.bmp") + " --fast", 2,
         "zan convert: unknown option --fast (see zan convert --help)"},
        {"threshold --level 300 " + ramp + " " + at("x.bmp"), 2,
         "zan threshold: --level wants a whole number from 0 to 255, not '300' (see zan threshold --help)"},
        {"add " + ramp + " " + at("out/01-zone-plate.bmp") + " " + at("x.bmp"), 1, "zan add: zanAdd: ..."},
        {"model lab " + ramp + " " + at("x.bmp"), 2,
         "zan model: unknown colour model 'lab' (hsv, hls, xyz, yuv or ycrcb) (see zan model --help)"},
        {"frobnicate", 2, "zan: unknown command 'frobnicate' (see zan --help)"},
        {"", 2, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Outcome run = zan(c.arguments);
        EXPECT_EQ(run.exit, c.exit);
        if (c.error.empty())
            continue;
        ASSERT_FALSE(run.err.empty());
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        const std::string line = run.err.substr(0, run.err.size() - 1);
        if (c.error.ends_with("..."))
            EXPECT_TRUE(line.starts_with(c.error.substr(0, c.error.size() - 3))) << line;
        else
            EXPECT_EQ(line, c.error);
    }
}

TEST_F(ZanTool, EveryCommandHasHelp)
{
    const Outcome overview = zan("--help");
    ASSERT_EQ(overview.exit, 0);
    std::vector<std::string> names;
    static const std::regex line(R"(  ([a-z]+) +\S.*)");
    std::istringstream lines(overview.out);
    for (std::string text; std::getline(lines, text);) {
        std::smatch m;
        if (std::regex_match(text, m, line))
            names.push_back(m[1]);
    }
    for (const char* expected : {"demo", "info", "convert", "gray", "threshold", "add"})
        EXPECT_NE(std::find(names.begin(), names.end(), expected), names.end()) << expected;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const Outcome help = zan(name + " --help");
        EXPECT_EQ(help.exit, 0);
        EXPECT_TRUE(help.out.starts_with("usage: zan " + name + " ")) << help.out;
        EXPECT_NE(help.out.find("--help"), std::string::npos);
        EXPECT_EQ(help.err, "");
    }
}

TEST_F(ZanTool, ReadmeOneLinerWorks)
{
    demo("out");
    const Outcome run = zan("convert " + at("out/05-blend.bmp") + " " + at("small.bmp") +
                        " --bits 4 --palette median-cut --dither fs");
    ASSERT_EQ(run.exit, 0) << run.err;
    const Bytes file = readBytes(dir_ / "small.bmp");
    ASSERT_GE(file.size(), 54u);
    EXPECT_EQ(le16(file, 28), 4);
    EXPECT_EQ(run.out, "wrote " + (dir_ / "small.bmp").string() + ": 250x170, 4 bits, BI_RGB, " +
                           std::to_string(le32(file, 46)) + " colours, " + std::to_string(file.size()) + " bytes\n");
}

TEST_F(ZanTool, InfoTellsTheFormat)
{
    demo("out");
    const Outcome run = zan("info " + at("out/01-zone-plate.bmp"));
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_NE(run.out.find("250x170, 8 bits, BI_RGB, bottom-up"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("palette of 256 entries"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("1 channel of 8 bits, GRAY/G"), std::string::npos) << run.out;
}

}  // namespace
