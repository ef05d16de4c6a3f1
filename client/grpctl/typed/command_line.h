#pragma once

#include <optional>

#include "client/grpctl/typed/options.h"

namespace GrpCtl {

/// Reads the command line after the table of verbs and switches. Throws a Failure for wrong usage.
/// @return nothing when help or version was asked for and has been shown
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace GrpCtl
