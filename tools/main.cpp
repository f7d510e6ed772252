// zan: reads and writes BMP files with the zan image library.
#include "cli.h"

int main(int argc, char** argv)
{
    return zantool::runCommandLine(argc, argv);
}
