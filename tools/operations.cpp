// Small sequences of library calls that more than one subcommand uses.
#include "operations.h"

#include <array>
#include <cstring>
#include <vector>

namespace zantool {

void equalizeHistogram(const ZanImage* source, ZanImage* result)
{
    const int channels = source->nChannels;
    std::vector<std::array<int, 257>> keys(channels), values(channels), factors(channels);
    std::vector<ZanLUT> tables(channels);
    std::vector<ZanLUT*> lut(channels);
    for (int c = 0; c < channels; ++c) {
        for (int v = 0; v <= 256; ++v)
            keys[c][v] = v;
        tables[c] = {257, keys[c].data(), values[c].data(), factors[c].data(), ZAN_LUT_STEP};
        lut[c] = &tables[c];
    }
    zanComputeHisto(source, lut.data());
    if (zanGetErrStatus() >= 0)
        zanHistoEqualize(source, result, lut.data());
}

void labelModel(ZanImage* image, const char* letters)
{
    std::memset(image->colorModel, 0, sizeof image->colorModel);
    std::memset(image->channelSeq, 0, sizeof image->channelSeq);
    std::memcpy(image->colorModel, letters, std::strlen(letters));
    std::memcpy(image->channelSeq, letters, std::strlen(letters));
}

}  // namespace zantool
