#pragma once

#include <csignal>
#include <thread>
#include <utility>

namespace GrpOwnerLinux {

/// While it lives, the calling thread takes no signal; what it starts inherits that.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

/// A thread of the services. Signals are the daemon's: none may land here, whatever mask the opener
/// had. Throws std::system_error when there is no thread to be had.
template <typename Body>
std::thread StartServiceThread(Body&& body) {
    const SignalsBlocked blocked;
    return std::thread(std::forward<Body>(body));
}

}  // namespace GrpOwnerLinux
