#pragma once

#include <cstdint>

namespace Schedules {

/// Everything that a seed makes happen, in a process that has not had an owner yet. Ends the
/// process when a rule is broken.
/// @return the digest of all that happened
uint64_t Tell(uint64_t seed, bool isPrinting);

}  // namespace Schedules
