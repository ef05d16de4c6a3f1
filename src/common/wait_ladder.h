#pragma once

#include <cstdint>

#include "src/common/sync.h"

namespace ProcMgr {

/// How long a batch or a state query waits for a requested time-out in milliseconds. The margin
/// keeps the group owner's answer inside its caller's own time-out; below 100 the default of 4500
/// holds.
constexpr Milliseconds EffectiveWait(int32_t timeoutMs) {
    if (timeoutMs >= 5000) {
        return Milliseconds(timeoutMs - 500);
    }
    if (timeoutMs >= 1000) {
        return Milliseconds(timeoutMs - 100);
    }
    return Milliseconds(timeoutMs >= 100 ? timeoutMs : 4500);
}

}  // namespace ProcMgr
