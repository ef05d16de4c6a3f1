#pragma once
// A story in the form that trace viewers open.

#include "client/grpctl/text/json_output.h"
#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

/// Chrome's trace event format: the group is a process, each application a thread of it, requests
/// are threads of a second process, causes are flows.
Json ToChrome(const Story& story);

}  // namespace GrpCtl::Timeline
