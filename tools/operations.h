// Small sequences of library calls that more than one subcommand uses.
#pragma once

#include "zan.h"

namespace zantool {

// Histogram equalisation of every channel: zanComputeHisto into one table a
// channel of 256 one-value intervals, then zanHistoEqualize.
void equalizeHistogram(const ZanImage* source, ZanImage* result);

// Names the image's colour model and channel sequence (up to 3 letters),
// so that its channels are read as another model's.
void labelModel(ZanImage* image, const char* letters);

}  // namespace zantool
