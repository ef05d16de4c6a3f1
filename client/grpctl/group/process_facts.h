#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace GrpCtl {

/// When a process was started, in clock ticks since the machine's start.
/// @param stat content of its /proc/<pid>/stat; the name in it may hold blanks and brackets
std::optional<uint64_t> StartTicks(std::string_view stat);

/// How long a process has been there. Nothing: there is none.
std::optional<std::chrono::milliseconds> AgeOf(int pid);

}  // namespace GrpCtl
