#pragma once
// What a child tells its parent through a close-on-exec pipe before it has become the program: the
// end of the pipe without a fatal word means that it has.

#include <cstdint>

namespace ProcMgrDaemon {

enum class LaunchStep : uint32_t {
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
    int32_t error;   // errno
    uint32_t fatal;  // 0: a warning, the start goes on
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
