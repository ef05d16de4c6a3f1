#pragma once
// What the limiter of restarts will do next.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "client/grpctl/trace/trace_reader.h"

namespace GrpCtl {

enum class NextFailure {
    kUnknown,         // the policy is not known
    kStaysDown,       // the policy never restarts
    kAlwaysRestarts,  // nobody counts
    kRestarts,
    kRefused,  // for the next `left` of the window; after that it restarts
};

/// How many restarts of an application are used, and what that means.
struct Limit {
    std::string application;
    std::string policy;                            // as configured; empty: not known
    uint32_t used = 0;                             // restarts in the window
    std::optional<std::chrono::milliseconds> age;  // of the window; nothing: none is open
    NextFailure next = NextFailure::kUnknown;
    std::chrono::milliseconds left{0};  // kRefused: until the window's end

    uint32_t Left() const;
};

/// @param now on the monotonic clock, in nanoseconds
Limit LimitOf(const std::string& application, const std::string& policy, const Trace& trace,
              int64_t now);

}  // namespace GrpCtl
