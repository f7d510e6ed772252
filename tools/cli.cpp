// Parsing a zan command line, help texts and the helpers every subcommand
// shares.
#include "cli.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace zantool {

namespace {

const Option* findOption(const Command& command, const std::string& name)
{
    for (const Option& option : command.options)
        if (name == option.name)
            return &option;
    return nullptr;
}

// Splits the words after the subcommand's name; "--name=value" and
// "--name value" both give a value.
bool parseArgs(const Command& command, int argc, char** argv, Args& args, bool& help, int& status)
{
    for (int i = 0; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--help" || word == "-h") {
            help = true;
            return true;
        }
        if (word.size() < 2 || word.compare(0, 2, "--") != 0 || word == "--") {
            args.operands.push_back(word);
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const Option* option = findOption(command, name);
        if (!option) {
            status = usageError(command, "unknown option " + name);
            return false;
        }
        if (!option->valueName) {
            if (equals != std::string::npos) {
                status = usageError(command, name + " takes no value");
                return false;
            }
            args.options[name] = "";
        } else if (equals != std::string::npos) {
            args.options[name] = word.substr(equals + 1);
        } else if (i + 1 < argc) {
            args.options[name] = argv[++i];
        } else {
            status = usageError(command, name + " needs a value " + option->valueName);
            return false;
        }
    }
    if (static_cast<int>(args.operands.size()) != command.operandCount) {
        status = usageError(command, std::string("expects ") + command.operands);
        return false;
    }
    return true;
}

// "  --name VALUE    help", the help wrapped into a column of its own.
void printOption(const std::string& left, const std::string& help)
{
    constexpr size_t kColumn = 19;
    constexpr size_t kWidth = 79 - kColumn;
    std::string line;
    std::string text = help + " ";
    bool first = true;
    for (size_t start = 0, space; (space = text.find(' ', start)) != std::string::npos; start = space + 1) {
        const std::string word = text.substr(start, space - start);
        if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
            std::printf("  %-16s %s\n", first ? left.c_str() : "", line.c_str());
            first = false;
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    std::printf("  %-16s %s\n", first ? left.c_str() : "", line.c_str());
}

void printHelp(const Command& command)
{
    std::printf("usage: zan %s %s%s\n\n%s\n", command.name, command.operands,
                command.options.empty() ? "" : " [options]", command.details);
    if (!command.options.empty())
        std::printf("\noptions:\n");
    for (const Option& option : command.options) {
        const std::string value = option.valueName ? std::string(" ") + option.valueName : "";
        printOption(option.name + value, option.help);
    }
    printOption("--help", "show this text");
}

void printOverview()
{
    std::printf("usage: zan COMMAND ARGUMENTS...\n\n"
                "Reads and writes BMP files with the zan image library.\n\ncommands:\n");
    for (const Command& command : commands())
        std::printf("  %-10s %s\n", command.name, command.summary);
    std::printf("\n'zan COMMAND --help' tells more about a command.\n"
                "Start with: zan demo out\n");
}

}  // namespace

std::vector<Option> outputOptions()
{
    return {
        {"--bits", "N",
         "bits a pixel in the written file: 1, 4, 8, 16, 24 or 32 (default: the input's for convert, else 1 for a "
         "1-bit picture, 8 for gray, 24 for colour)"},
        {"--rle", nullptr, "run-length encode the file (with --bits 4 or 8); kept only if smaller"},
        {"--palette", "P",
         "keep, standard or median-cut (default: keep for convert at the input's bits, else standard for gray, "
         "median-cut for colour)"},
        {"--dither", "D", "fs, jjh, stucki, bayer or none: reduce the levels before writing (default: none)"},
    };
}

std::vector<Option> outputOptionsBut(const char* name)
{
    std::vector<Option> options = outputOptions();
    std::erase_if(options, [name](const Option& option) { return std::strcmp(option.name, name) == 0; });
    return options;
}

int fail(const Command& command, const std::string& message)
{
    std::fprintf(stderr, "zan %s: %s\n", command.name, message.c_str());
    return kExitFailure;
}

int usageError(const Command& command, const std::string& message)
{
    std::fprintf(stderr, "zan %s: %s (see zan %s --help)\n", command.name, message.c_str(), command.name);
    return kExitUsage;
}

bool readNumber(const Command& command, const Args& args, const char* name, int low, int high, int& value)
{
    if (!args.has(name))
        return true;
    const std::string& text = args.value(name);
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < low || number > high) {
        usageError(command, std::string(name) + " wants a whole number from " + std::to_string(low) + " to " +
                                std::to_string(high) + ", not '" + text + "'");
        return false;
    }
    value = number;
    return true;
}

bool readDither(const Command& command, const std::string& text, int& dither)
{
    static const std::map<std::string, int> names = {{"none", ZAN_DITHER_NONE},     {"fs", ZAN_DITHER_FS},
                                                     {"jjh", ZAN_DITHER_JJH},       {"stucki", ZAN_DITHER_STUCKEY},
                                                     {"bayer", ZAN_DITHER_BAYER}};
    const auto found = names.find(text);
    if (found == names.end()) {
        usageError(command, "--dither wants fs, jjh, stucki, bayer or none, not '" + text + "'");
        return false;
    }
    dither = found->second;
    return true;
}

bool readOutputOptions(const Command& command, const Args& args, WriteOptions& options, bool ditherIsOutput)
{
    if (!readNumber(command, args, "--bits", 1, 32, options.bits))
        return false;
    if (args.has("--bits") && options.bits != 1 && options.bits != 4 && options.bits != 8 && options.bits != 16 &&
        options.bits != 24 && options.bits != 32) {
        usageError(command, "unsupported bit count " + args.value("--bits") + " (1, 4, 8, 16, 24 or 32)");
        return false;
    }
    options.rle = args.has("--rle");
    if (args.has("--palette")) {
        static const std::map<std::string, int> names = {{"keep", ZAN_PALETTE_KEEP},
                                                         {"standard", ZAN_PALETTE_STANDARD},
                                                         {"median-cut", ZAN_PALETTE_MEDIAN_CUT}};
        const auto found = names.find(args.value("--palette"));
        if (found == names.end()) {
            usageError(command, "--palette wants keep, standard or median-cut, not '" + args.value("--palette") + "'");
            return false;
        }
        options.palette = found->second;
    }
    return !ditherIsOutput || !args.has("--dither") || readDither(command, args.value("--dither"), options.dither);
}

bool readWorkingPicture(const Command& command, const std::string& path, Picture& picture)
{
    std::string error;
    if (readPicture(path, picture, error) && makeWorkingImage(picture, error))
        return true;
    fail(command, path + ": " + error);
    return false;
}

bool writeAndReport(const Command& command, const ZanImage* image, const std::string& path,
                    const WriteOptions& options)
{
    Written written;
    std::string error;
    if (!writePicture(image, path, options, written, error)) {
        fail(command, path + ": " + error);
        return false;
    }
    std::printf("wrote %s: %s\n", path.c_str(), describe(written).c_str());
    return true;
}

int runCommandLine(int argc, char** argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 ||
        std::strcmp(argv[1], "help") == 0) {
        printOverview();
        return argc < 2 ? kExitUsage : kExitOk;
    }
    for (const Command& command : commands()) {
        if (std::strcmp(argv[1], command.name) != 0)
            continue;
        Args args;
        bool help = false;
        int status = kExitOk;
        if (!parseArgs(command, argc - 2, argv + 2, args, help, status))
            return status;
        if (help) {
            printHelp(command);
            return kExitOk;
        }
        captureLibraryReports();
        return command.run(command, args);
    }
    std::fprintf(stderr, "zan: unknown command '%s' (see zan --help)\n", argv[1]);
    return kExitUsage;
}

}  // namespace zantool
