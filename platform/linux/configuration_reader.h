#pragma once

#include <vector>

#include "platform/linux/application_entry.h"
#include "platform/linux/value_reader.h"

namespace GrpOwnerLinux {

/// Reads the level of the file, `defaults` and each application by itself.
/// @return in the order of the file, the good and the bad
std::vector<ApplicationEntry> ReadApplications(const YamlTree& tree, ValueReader& values);

}  // namespace GrpOwnerLinux
