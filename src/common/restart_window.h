#pragma once

#include <cstdint>

namespace ProcMgr {

// How often an application with `on-failure` is started again by itself.
inline constexpr int64_t kRestartWindow = 60000;  // milliseconds
inline constexpr uint32_t kRestartLimit = 5;      // restarts in a window

}  // namespace ProcMgr
