#pragma once

#include <string>

namespace GrpCtl {

/// The sections of the manual page that tell what can be typed, as scdoc reads them.
std::string Manual();

}  // namespace GrpCtl
