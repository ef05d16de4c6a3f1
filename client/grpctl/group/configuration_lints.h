#pragma once

#include <string>
#include <vector>

#include "client/grpctl/group/dependencies.h"
#include "client/grpctl/group/dependency_study.h"
#include "platform/linux/configuration_reader.h"

namespace GrpCtl {

/// What a good configuration amounts to.
struct Overview {
    std::vector<std::string> names;  // in the order of the file
    Dependencies dependencies;
    size_t autostarts = 0;
    size_t templates = 0;
    std::vector<std::string> leftDown;  // to start with the group, but what they need does not
    std::vector<std::string> deepest;   // the longest chain, each needing the one behind it
    std::string mostNeeded;  // whose fall takes most with it; empty: nobody needs anybody
};

/// Looks for what is allowed, but hardly meant, and adds it to the file's complaints.
/// @param file without errors
Overview Lint(GrpOwnerLinux::ConfigurationFile& file);

}  // namespace GrpCtl
