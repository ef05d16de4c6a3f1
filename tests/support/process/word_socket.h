#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace ProcessTest {

/// A socket as NOTIFY_SOCKET names it: hears the words of those who have its path.
class WordSocket {
public:
    explicit WordSocket(const std::string& path)
        : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::runtime_error("cannot bind " + path);
        }
    }
    ~WordSocket() { close(socket_); }
    WordSocket(const WordSocket&) = delete;
    WordSocket& operator=(const WordSocket&) = delete;

    /// The next word; empty after a minute without.
    std::string Hear() const {
        char word[1024];
        pollfd ready{socket_, POLLIN, 0};
        const ssize_t size = poll(&ready, 1, 60'000) == 1 ? read(socket_, word, sizeof(word)) : 0;
        return std::string(word, size > 0 ? static_cast<size_t>(size) : 0);
    }

private:
    int socket_;
};

}  // namespace ProcessTest
