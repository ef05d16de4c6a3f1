#include "src/common/environment.h"

#include <cstdlib>

#include "src/common/process_constants.h"

namespace ProcMgr {

std::optional<std::string> GetEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

bool IsLongRunMode() {
    return GetEnvironment(kRunModeEnv) == "1";
}

}  // namespace ProcMgr
