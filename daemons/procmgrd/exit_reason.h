#pragma once
// The reason number of an abnormal exit, as owners see it.
//   1             the program could not be started: something about its file (an owner tells this
//                 apart, since another try may help)
//   256 + status  it ended with this exit status
//   512 + signal  it was ended by this signal
//   1024 + errno  it could not be started for another reason: rights, limits, an unknown name

#include <sys/wait.h>

#include <cerrno>
#include <cstdint>
#include <string>

namespace ProcMgrDaemon {

inline constexpr uint32_t kReasonStartIoFailure = 1;
inline constexpr uint32_t kReasonStatus = 256;
inline constexpr uint32_t kReasonSignal = 512;
inline constexpr uint32_t kReasonStartFailure = 1024;

/// Of a start that failed.
inline uint32_t StartFailureReason(int error) {
    switch (error) {
        case EIO:
        case ENOENT:
        case EACCES:
        case ENOEXEC:
        case ENOTDIR:
        case EISDIR:
        case ELOOP:
        case ENAMETOOLONG:
        case ETXTBSY:
        case ELIBBAD:
        case ENODEV:
        case ENXIO:
        case ESTALE:
            return kReasonStartIoFailure;
        default:
            return kReasonStartFailure + static_cast<uint32_t>(error);
    }
}

/// Of a process that ran, by its wait status.
inline uint32_t ExitReason(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? kReasonSignal + static_cast<uint32_t>(WTERMSIG(waitStatus))
                                   : kReasonStatus + static_cast<uint32_t>(WEXITSTATUS(waitStatus));
}

inline std::string ExitText(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? "signal " + std::to_string(WTERMSIG(waitStatus))
                                   : "status " + std::to_string(WEXITSTATUS(waitStatus));
}

}  // namespace ProcMgrDaemon
