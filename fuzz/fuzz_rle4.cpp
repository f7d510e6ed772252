// libFuzzer target: the BI_RLE4 decoder on any stream.
#include "fuzz_rle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzRleDecoder(data, size, 4, BI_RLE4);
    return 0;
}
