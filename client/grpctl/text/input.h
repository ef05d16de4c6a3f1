#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace GrpCtl {

/// All bytes of a file; "-" is standard input. Throws a Failure when it cannot be read.
std::vector<uint8_t> ReadInput(const std::string& path);

}  // namespace GrpCtl
