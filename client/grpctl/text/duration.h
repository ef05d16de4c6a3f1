#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace GrpCtl {

/// A time with its unit: "250ms", "3s", "1.5s", "2m", "1h". Nothing: not of that form, zero, or
/// longer than a day.
std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text);

/// As short as it stays useful: "38ms", "1.18s", "3s", "2m14s", "3h05m", "2d04h".
std::string ShowDuration(std::chrono::milliseconds duration);

/// The same in whole seconds: of what runs, nobody wants to know more.
std::string ShowAge(std::chrono::milliseconds age);

/// "1.180": for JSON and plain lines.
std::string ShowSeconds(std::chrono::milliseconds duration);

}  // namespace GrpCtl
