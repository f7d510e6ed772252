// The command line of the zan tool: subcommands, their options and help.
#pragma once

#include "picture.h"

#include <map>
#include <string>
#include <vector>

namespace zantool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

struct Option {
    const char* name;       // "--bits"
    const char* valueName;  // "N", or null for a flag
    const char* help;
};

// The words of one subcommand's line after its options are taken out.
struct Args {
    std::vector<std::string> operands;
    std::map<std::string, std::string> options;

    bool has(const std::string& name) const { return options.count(name) != 0; }
    const std::string& value(const std::string& name) const { return options.at(name); }
};

struct Command;
using Runner = int (*)(const Command& command, const Args& args);

struct Command {
    const char* name;
    const char* operands;  // "IN.bmp OUT.bmp"
    int operandCount;
    const char* summary;   // one line for the list of commands
    const char* details;   // the body of --help
    std::vector<Option> options;
    Runner run;
};

// The options of every command that writes a BMP file.
std::vector<Option> outputOptions();
// Those options without --dither, for commands that use it for themselves.
std::vector<Option> outputOptionsBut(const char* name);

// Prints "zan NAME: message" on standard error and returns kExitFailure.
int fail(const Command& command, const std::string& message);
// Prints the usage error and a pointer to --help; returns kExitUsage.
int usageError(const Command& command, const std::string& message);

// Reads --bits, --rle, --palette and, if it is the output's, --dither; false
// after a usage error.
bool readOutputOptions(const Command& command, const Args& args, WriteOptions& options,
                       bool ditherIsOutput = true);
// A whole number from low to high, or false after a usage error.
bool readNumber(const Command& command, const Args& args, const char* name, int low, int high, int& value);
// A dither name (fs, jjh, stucki, bayer, none) as ZAN_DITHER_*.
bool readDither(const Command& command, const std::string& text, int& dither);

// Reads a picture and shapes it for an operation; prints the failure.
bool readWorkingPicture(const Command& command, const std::string& path, Picture& picture);
// Writes an image and prints one line about the file; prints the failure.
bool writeAndReport(const Command& command, const ZanImage* image, const std::string& path,
                    const WriteOptions& options);

const std::vector<Command>& commands();
int runCommandLine(int argc, char** argv);

}  // namespace zantool
