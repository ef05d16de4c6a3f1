#pragma once

#include "client/grpctl/typed/options.h"

namespace GrpCtl::Timeline {

/// What `timeline diff` does; the exit code tells whether something is worse.
int RunDiff(const Options& options);

}  // namespace GrpCtl::Timeline
