#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace GrpOwnerDaemon {

struct Options {
    std::string configuration;      // path
    std::string name = "grpowner";  // the owner's process name
    std::map<std::string, std::string> defines;
    std::string runDirectory;  // empty: by the environment
    std::string ssFile;        // empty: the name
    bool enableSs = true;
    std::optional<uint32_t> changeGroup;  // whose members may give every command
    std::string statesFile;               // empty: no system state is known
    std::string eventQueue;               // name; empty: no queue
    bool enableEvents = false;
    bool showProgress = false;
    uint32_t traceSteps = 8192;  // that are kept; 0: none
    std::string traceFile;       // empty: none
    std::string recording;       // path; empty: none
};

/// Reads the command line.
/// @return what to exit with at once (0 after --help, 2 for wrong usage); nothing: go on
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

}  // namespace GrpOwnerDaemon
