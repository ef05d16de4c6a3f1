#pragma once
// How a comparison is shown.

#include <string>

#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/timeline/diff.h"

namespace GrpCtl::Timeline {

std::string TextOf(const Comparison& comparison, const Noise& noise, const Screen& screen);
Json JsonOf(const Comparison& comparison);

}  // namespace GrpCtl::Timeline
