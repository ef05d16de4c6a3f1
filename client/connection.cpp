#include "client/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace GrpOwnerClient {

namespace {

using std::chrono::milliseconds;

std::string InWords(milliseconds duration) {
    return std::to_string(duration.count()) + " ms";
}

Error CannotConnect(const std::string& path, int code, milliseconds timeout,
                    const Listener& listener) {
    const std::string name(listener.name);
    switch (code) {
        case ENOENT:
        case ENOTDIR:
            return {ErrorKind::kUnreachable,
                    "nothing listens on " + path + ": there is no such socket (does the " + name +
                        " run?)",
                    code};
        case ECONNREFUSED:
            return {
                ErrorKind::kUnreachable,
                "nothing listens on " + path + ": the " + name + " that made this socket is gone",
                code};
        case EACCES:
        case EPERM:
            return {ErrorKind::kNotAllowed,
                    "no right to reach " + path + ": look at the rights of its directory", code};
        case EAGAIN:
            return {ErrorKind::kTimeout,
                    "the " + name + " at " + path + " has not accepted the connection within " +
                        InWords(timeout),
                    code};
        default:
            return {ErrorKind::kUnreachable, "cannot reach " + path + ": " + std::strerror(code),
                    code};
    }
}

Error Broken(int code) {
    return {ErrorKind::kUnreachable,
            std::string("the connection to the owner is broken: ") + std::strerror(code), code};
}

Error Ended() {
    return {ErrorKind::kUnreachable, "the owner has ended the connection", 0};
}

timeval ToTimeval(milliseconds duration) {
    // Zero would mean for ever.
    const int64_t count = std::max<int64_t>(duration.count(), 1);
    return {static_cast<time_t>(count / 1000), static_cast<suseconds_t>(count % 1000 * 1000)};
}

int MillisecondsUntil(std::chrono::steady_clock::time_point deadline) {
    const auto left =
        std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}

/// Room for the one descriptor that a packet may carry.
struct DescriptorSpace {
    alignas(cmsghdr) char bytes[CMSG_SPACE(sizeof(int))] = {};

    void AddTo(msghdr& message) {
        message.msg_control = bytes;
        // Without the padding, into which the kernel would put a second one.
        message.msg_controllen = CMSG_LEN(sizeof(int));
    }
};

OwnedDescriptor TakeDescriptor(msghdr& message) {
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS ||
        header->cmsg_len != CMSG_LEN(sizeof(int))) {
        return OwnedDescriptor();
    }
    int fd = -1;
    std::memcpy(&fd, CMSG_DATA(header), sizeof(fd));
    return OwnedDescriptor(fd);
}

// Takes a packet that is there. Its whole length, however short the buffer; -1 with errno.
ssize_t TakePacket(int socket, std::vector<uint8_t>& packet, OwnedDescriptor* descriptor) {
    iovec part{packet.data(), packet.size()};
    DescriptorSpace space;
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor != nullptr) {
        space.AddTo(message);
    }
    const ssize_t received = recvmsg(socket, &message, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
    if (received >= 0 && descriptor != nullptr) {
        *descriptor = TakeDescriptor(message);
    }
    return received;
}

}  // namespace

Result<Connection> Connection::Open(const std::string& path, milliseconds timeout,
                                    const Listener& listener) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return Error{ErrorKind::kUsage,
                     "the path of a socket has 1 to " +
                         std::to_string(sizeof(address.sun_path) - 1) + " bytes, but \"" + path +
                         "\" has " + std::to_string(path.size()),
                     ENAMETOOLONG};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    Connection connection(socket(AF_UNIX, listener.type | SOCK_CLOEXEC, 0));
    if (!connection.IsOpen()) {
        return Error{ErrorKind::kUnreachable,
                     std::string("no socket to be had: ") + std::strerror(errno), errno};
    }
    // Limits the wait for a listener whose backlog is full. What follows waits by poll.
    const timeval limit = ToTimeval(timeout);
    (void)setsockopt(connection.fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    while (connect(connection.fd_, generic, sizeof(address)) != 0) {
        if (errno != EINTR) {
            return CannotConnect(path, errno, timeout, listener);
        }
    }
    return connection;
}

Connection& Connection::operator=(Connection&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

void Connection::Close() {
    if (fd_ >= 0) {
        (void)close(fd_);  // nothing is buffered that could be lost
        fd_ = -1;
    }
}

std::optional<Error> Connection::Await(short events, const Patience& patience) const {
    while (true) {
        pollfd both[] = {{fd_, events, 0}, {patience.interruptFd, POLLIN, 0}};
        const int ready = poll(both, 2, MillisecondsUntil(patience.deadline));
        if (ready < 0 && errno != EINTR) {
            return Broken(errno);
        }
        if (ready == 0) {
            return Error{ErrorKind::kTimeout,
                         "no answer within " + InWords(patience.timeout) +
                             "; the owner may still carry the request out",
                         ETIMEDOUT};
        }
        if (ready > 0 && both[0].revents != 0) {
            return std::nullopt;  // what is there is taken, even if the caller gives up meanwhile
        }
        if (ready > 0) {
            return Error{ErrorKind::kInterrupted,
                         "given up while waiting; the owner may still carry the request out",
                         EINTR};
        }
    }
}

std::optional<Error> Connection::Send(const void* head, size_t headSize,
                                      const std::vector<uint8_t>& body, const Patience& patience) {
    iovec parts[] = {{const_cast<void*>(head), headSize},
                     {const_cast<uint8_t*>(body.data()), body.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = body.empty() ? 1 : 2;
    while (sendmsg(fd_, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        if (errno == EPIPE) {
            return Ended();
        }
        if (errno != EAGAIN && errno != EINTR) {
            return Broken(errno);
        }
        if (auto error = Await(POLLOUT, patience)) {
            return error;
        }
    }
    return std::nullopt;
}

Result<std::vector<uint8_t>> Connection::Receive(size_t limit, const Patience& patience,
                                                 OwnedDescriptor* descriptor) {
    std::vector<uint8_t> packet(limit);
    bool isReset = false;
    while (true) {
        const ssize_t received = TakePacket(fd_, packet, descriptor);
        if (received == 0) {
            return Ended();
        }
        if (received > 0 && static_cast<size_t>(received) > limit) {
            return Error{ErrorKind::kMalformed,
                         "the owner has sent " + std::to_string(received) +
                             " bytes at once, more than any answer has",
                         EMSGSIZE};
        }
        if (received > 0) {
            packet.resize(static_cast<size_t>(received));
            return packet;
        }
        if (errno == ECONNRESET && !isReset) {
            // The owner has closed without reading all. What it said before comes after this.
            isReset = true;
        } else if (errno == EAGAIN) {
            if (auto error = Await(POLLIN, patience)) {
                return *error;
            }
        } else if (errno != EINTR) {
            return Broken(errno);
        }
    }
}

}  // namespace GrpOwnerClient
