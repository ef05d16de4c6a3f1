#pragma once
// How applications are shown.

#include "client/grpctl/group/group.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/screen.h"

namespace GrpCtl {

Style StyleOf(AppState state);

/// "a, b, c"; "-" for none.
std::string Joined(const std::vector<std::string>& names);
std::string Joined(const Names& names);

/// Names or pids, one a line. For Format::kName and kPid only.
std::string Lines(const std::vector<Application>& applications, Format format);

std::string TableOf(const Group& group, const std::vector<Application>& applications, bool isWide,
                    const Screen& screen);

/// "running", "running, 1.3s after the time-out".
std::string StateWords(const Application& application);

/// All that is known of one.
std::string DetailsOf(const Group& group, const Application& application, const Screen& screen);

Json JsonOf(const Application& application);

}  // namespace GrpCtl
