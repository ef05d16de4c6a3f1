#pragma once
// How a chain is shown.

#include <string>

#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/timeline/chain.h"

namespace GrpCtl::Timeline {

/// As a tree with one branch: below each application what it waited for.
std::string TextOf(const Story& story, const Chain& chain, const Screen& screen);

Json JsonOf(const Story& story, const Chain& chain);

}  // namespace GrpCtl::Timeline
