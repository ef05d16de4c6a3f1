#pragma once

#include "client/grpctl/timeline/story.h"
#include "client/grpctl/typed/options.h"

namespace GrpCtl::Timeline {

/// Reads the trace that the options name and says what is amiss with it.
Story ReadStory(const Options& options);

}  // namespace GrpCtl::Timeline
