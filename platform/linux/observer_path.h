#pragma once

#include <string>
#include <string_view>

namespace GrpOwnerLinux {

/// The socket at which a process tells observers what it does.
inline std::string ObserverPath(std::string_view runDirectory, std::string_view processName) {
    return std::string(runDirectory).append("/").append(processName).append(".observe");
}

}  // namespace GrpOwnerLinux
