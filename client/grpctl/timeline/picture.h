#pragma once
// The picture of a story: a row for each application, times to the right.

#include <string>

#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

/// As SVG that needs nothing but itself, for light and dark surroundings.
/// @param chain which is shown as the one that decided how long the boot took
std::string Draw(const Story& story, const Chain& chain);

}  // namespace GrpCtl::Timeline
