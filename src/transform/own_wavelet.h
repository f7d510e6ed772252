// Wavelet kernels and the one-level transforms: the filter check they share.
#pragma once

#include "core/own_core.h"
#include "zan.h"

// Reports a fault through zanError and gives its status back.
ZanStatus ownWtFail(const OwnSite& site, ZanStatus status, const char* text);

// Reports the first fault of a filter, named as the caller's messages name
// it ("(*decLow)", "filt[2]", "wtKernel->filtDecLow"), with the given status;
// returns that status, or ZAN_STATUS_OK for a sound filter.
ZanStatus ownWtCheckFilter(const OwnSite& site, const ZanWtFilter& filter, const char* name,
                           ZanStatus status);
