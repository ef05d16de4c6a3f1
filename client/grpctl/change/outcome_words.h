#pragma once

#include <cstdint>
#include <string>

namespace GrpCtl {

/// Why an application's part of a change has failed, for people.
/// @param result AppChangeState, but any number may arrive
std::string ReasonOf(uint32_t result);

}  // namespace GrpCtl
