#pragma once
// The environment, read the way the whole library reads it.

#include <optional>
#include <string>

namespace ProcMgr {

/// A variable's value; nothing when it is unset.
std::optional<std::string> GetEnvironment(const char* name);

/// Whether "DATAMASTER_RUN_MODE" is "1": time-outs are then stretched for debugging.
bool IsLongRunMode();

}  // namespace ProcMgr
