// libFuzzer target: the BI_RLE8 decoder on any stream.
#include "fuzz_rle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzRleDecoder(data, size, 8, BI_RLE8);
    return 0;
}
