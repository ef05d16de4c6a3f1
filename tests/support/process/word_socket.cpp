#include "tests/support/process/word_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace ProcessTest {

WordSocket::WordSocket(const std::string& path)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("cannot bind " + path);
    }
}

WordSocket::~WordSocket() {
    close(socket_);
}

std::string WordSocket::Hear() const {
    char word[1024];
    pollfd ready{socket_, POLLIN, 0};
    const ssize_t size = poll(&ready, 1, 60'000) == 1 ? recv(socket_, word, sizeof(word), 0) : 0;
    return std::string(word, size > 0 ? static_cast<size_t>(size) : 0);
}

}  // namespace ProcessTest
