#include "client/grpctl/text/interrupt.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace GrpCtl {

namespace {

sigset_t EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace

Interrupt::Interrupt() {
    const sigset_t signals = EndSignals();
    fd_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd_ >= 0) {
        (void)sigprocmask(SIG_BLOCK, &signals, nullptr);  // fails for wrong arguments only
    }
}

Interrupt::~Interrupt() {
    if (fd_ >= 0) {
        // Unblocking lets a signal that is still pending end the process before its exit code is
        // known, so the signals stay blocked.
        (void)close(fd_);
    }
}

}  // namespace GrpCtl
