#pragma once

#include "platform/linux/findings.h"
#include "platform/linux/yaml_node.h"

namespace GrpOwnerLinux {

/// Reads a YAML file of one document. Where it is not well formed, the tree holds what stands
/// before that place; its open nodes are marked as incomplete then.
YamlTree ReadYaml(const SourceText& text, Findings& findings);

}  // namespace GrpOwnerLinux
