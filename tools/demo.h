// zan demo: test pictures through a showcase pipeline into BMP files.
#pragma once

#include "cli.h"

namespace zantool {

int runDemo(const Command& command, const Args& args);

}  // namespace zantool
