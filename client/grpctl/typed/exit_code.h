#pragma once

namespace GrpCtl {

/// What scripts rely on: never change.
enum ExitCode : int {
    kDone = 0,
    kFailed = 1,  // done, but an application failed, or the owner said no
    kWrongUsage = 2,
    kNotRunning = 3,
    kNoSuchApplication = 4,
    kInTransition = 5,  // another change set or a reload is in progress
    kNotAllowed = 6,
    kUnreachable = 7,
    kNoAnswer = 124,
    kInterrupted = 130,
};

}  // namespace GrpCtl
