#pragma once

#include "client/grpctl/typed/options.h"

namespace GrpCtl::Timeline {

/// Writes what the running owner has kept, line by line, with what the process manager tells of its
/// processes: a trace file.
void CopyTrace(const Options& options);

}  // namespace GrpCtl::Timeline
