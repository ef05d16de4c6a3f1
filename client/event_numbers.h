#pragma once
// How the host daemon numbers system events, for it and for whoever reads them: the kind times the
// step, plus a system state or an application's place in the start configuration, counted from 0.
// The numbers are documented: never change them.

#include <cstdint>

namespace GrpOwnerClient {

constexpr uint32_t kEventKindStep = 10000;
constexpr uint32_t kEventOther = kEventKindStep - 1;  // what has no number of its own

enum class EventKind : uint32_t {
    kStateAccepted = 1,
    kStateReached = 2,
    kStateFailed = 3,
    kCrashed = 4,
    kHeartBeatLost = 5,
    kHeartBeatBack = 6,
};

}  // namespace GrpOwnerClient
