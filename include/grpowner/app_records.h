#pragma once
// Records of a change request and a state query, shared by whoever decodes, carries out and answers
// them.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "grpowner/enumerations.h"

namespace ProcMgr {

/// Parameter index (0 to 2) to values.
using DynamicParas = std::map<int32_t, std::vector<std::string>>;

/// One application of a change request.
struct AppInfoForServer {
    std::string name;
    std::vector<std::string> argv;  // start arguments; none: the manifest's own
    DynamicParas dynamicParas;      // always empty for terminations
};

/// One result line of a change request.
struct AppChangeInfo {
    std::string name;
    AppChangeState state = AppChangeState::INIT;
};

/// One answer line of a state query.
struct AppStatus {
    std::string name;
    int32_t pid = -1;    // -1: unknown
    uint32_t state = 1;  // detail state of the process; 1 for an unknown name
};

}  // namespace ProcMgr
