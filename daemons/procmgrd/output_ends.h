#pragma once

namespace ProcMgrDaemon {

/// What becomes stdout and stderr of a process; -1: it has the process manager's own.
struct OutputEnds {
    int out = -1;
    int err = -1;
};

}  // namespace ProcMgrDaemon
