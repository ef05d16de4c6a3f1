#pragma once
// What a child tells its parent, in memory that both see, before it has become the program.

#include <array>
#include <cstddef>
#include <cstdint>

namespace ProcMgrDaemon {

enum class LaunchStep {
    kControlGroup,
    kStreams,
    kAffinity,
    kPriority,
    kIdentity,
    kParent,
    kExec,
};

struct LaunchStatus {
    LaunchStep step;
    int error;     // errno
    bool isFatal;  // or else a warning, the start goes on
};

struct ChildReport {
    std::array<LaunchStatus, 16>
        shortfalls;  // more than there are steps; the fatal one is the last
    size_t count = 0;
};

inline const char* StepText(LaunchStep step) {
    switch (step) {
        case LaunchStep::kControlGroup:
            return "enter the control group";
        case LaunchStep::kStreams:
            return "set up its streams";
        case LaunchStep::kAffinity:
            return "set the processor affinity";
        case LaunchStep::kPriority:
            return "set real-time priority";
        case LaunchStep::kIdentity:
            return "change user and group";
        case LaunchStep::kParent:
            return "outlive the process manager";
        case LaunchStep::kExec:
            return "execute the program";
    }
    return "start";
}

}  // namespace ProcMgrDaemon
