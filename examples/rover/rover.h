#pragma once
// What the programs of the demo group share: a tick, numbers in files, and a few words to the
// owner.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

namespace Rover {

inline volatile std::sig_atomic_t isEnding = 0;

/// Says a line of the NOTIFY_SOCKET protocol, if somebody listens.
inline void Notify(const std::string& line) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path == nullptr || std::strlen(path) >= sizeof(address.sun_path)) {
        return;
    }
    std::strcpy(address.sun_path, path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    (void)sendto(fd, line.data(), line.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(fd);
}

inline std::string FileOf(const std::string& name) {
    const char* data = std::getenv("ROVER_DATA");
    return std::string(data == nullptr ? "." : data) + "/" + name;
}

inline void Put(const std::string& name, double value) {
    std::ofstream(FileOf(name)) << value;
}

inline double Get(const std::string& name) {
    double value = 0;
    std::ifstream(FileOf(name)) >> value;
    return value;
}

/// Does `step` with the number of the tick until SIGTERM arrives.
inline int Run(const char* name, useconds_t periodMicroseconds,
               const std::function<void(long)>& step) {
    struct sigaction action {};
    action.sa_handler = [](int) { isEnding = 1; };
    sigaction(SIGTERM, &action, nullptr);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("%s: here, pid %d\n", name, static_cast<int>(getpid()));
    for (long tick = 0; isEnding == 0; ++tick) {
        step(tick);
        usleep(periodMicroseconds);
    }
    Notify("STOPPING=1");
    std::printf("%s: good night\n", name);
    return 0;
}

}  // namespace Rover
