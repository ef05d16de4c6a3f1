#pragma once

#include <string_view>

#include "platform/linux/application_entry.h"
#include "platform/linux/value_reader.h"

namespace GrpOwnerLinux {

/// Reads the keys of one application, or of `defaults`, into the entry. Keys that begin with "x-"
/// are not looked at.
void ReadApplicationKeys(ValueReader& values, const YamlNode& map, bool isDefaults,
                         ApplicationEntry& entry);

/// Whether a key is left to whoever wrote the file.
bool IsExtension(std::string_view key);

}  // namespace GrpOwnerLinux
