#pragma once
// What the picture says where the mouse rests.

#include <string>

#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

/// Of the whole: "rover: boot in 1.490s".
std::string TitleOf(const Story& story, const Chain& chain);

/// Of a request or a phase.
std::string TitleOf(const Story& story, const Band& band);

// Of a row, and of what is in it.
std::string TitleOf(const Story& story, size_t row);
std::string TitleOf(const Story& story, size_t row, const Span& span);
std::string TitleOf(const Story& story, size_t row, const Mark& mark);

/// What a start spent its time on, if more is known than its length: "spawn 14ms, exec 2ms,
/// READY=1 604ms".
std::string SpentOn(const Move& move);

}  // namespace GrpCtl::Timeline
