#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "daemons/procmgrd/faults.h"
#include "daemons/procmgrd/outputs.h"

namespace ProcMgrDaemon {

struct Options {
    std::string runDirectory;  // empty: the usual place
    std::optional<gid_t> group;
    std::chrono::milliseconds ownerGrace{2000};
    CaptureOptions capture;
    std::vector<std::string> passedVariables;
    bool quiet = false;
    Faults faults;
};

/// Reads the command line.
/// @return nothing when the process is to go on, else the status to exit with; what there is to be
///         said has been said then
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

}  // namespace ProcMgrDaemon
