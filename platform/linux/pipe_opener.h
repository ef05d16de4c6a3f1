#pragma once

#include <string>

#include "platform/pipe_service.h"

namespace GrpOwnerLinux {

/// Connects to the target's socket, checks who serves it, says hello and waits for its welcome.
/// @return a connected socket, or negative errno (-EAGAIN: the target is busy accepting others)
int OpenPipeSocket(const EzcomOpenParams& params);

}  // namespace GrpOwnerLinux
