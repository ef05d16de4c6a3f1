#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/grpctl/change/change_set.h"

namespace GrpCtl {

/// A change set from a YAML file.
struct ChangeFile {
    bool isOk = false;
    std::string complaints;  // as people read them
    std::vector<std::string> stops;
    std::vector<std::string> starts;
    std::vector<std::string> restarts;
    std::map<std::string, Launch> launches;
};

/// @param path "-": standard input
ChangeFile ReadChangeFile(const std::string& path);

/// @param place for the complaints
ChangeFile ParseChangeFile(const std::string& place, std::string text);

}  // namespace GrpCtl
