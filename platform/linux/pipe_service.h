#pragma once

#include <string_view>

namespace GrpOwnerLinux {

/// Sends a heartbeat over the newest pipe to the target.
/// @return 0 or negative errno (-ENOTCONN: there is no pipe to it)
int SendPipeHeartBeat(std::string_view target);

}  // namespace GrpOwnerLinux
