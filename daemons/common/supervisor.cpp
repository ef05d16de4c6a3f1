#include "daemons/common/supervisor.h"

#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace Daemons {

namespace {

std::string Take(const char* name) {
    const char* const value = getenv(name);
    std::string text = value != nullptr ? value : "";
    unsetenv(name);
    return text;
}

}  // namespace

Supervisor::Supervisor() : address_(Take("NOTIFY_SOCKET")) {
    if (IsThere()) {
        socket_.Reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const timeval patience{1, 0};
        (void)setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    }
    const std::string period = Take("WATCHDOG_USEC");
    const std::string pid = Take("WATCHDOG_PID");
    uint64_t microseconds = 0;
    std::from_chars(period.data(), period.data() + period.size(), microseconds);
    if (pid.empty() || pid == std::to_string(getpid())) {
        // Half of it, so that one late beat does no harm.
        interval_ = std::chrono::milliseconds(microseconds / 2000);
    }
}

bool Supervisor::Send(const std::string& lines, int flags) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!IsThere() || address_.size() >= sizeof(address.sun_path)) {
        return true;
    }
    std::memcpy(address.sun_path, address_.data(), address_.size());
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    // A supervisor that does not listen is its own problem.
    return sendto(socket_.Get(), lines.data(), lines.size(), MSG_NOSIGNAL | flags,
                  reinterpret_cast<const sockaddr*>(&address),
                  static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size())) >= 0 ||
           (errno != EAGAIN && errno != ENOBUFS);
}

}  // namespace Daemons
