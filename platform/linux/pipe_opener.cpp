#include "platform/linux/pipe_opener.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>

#include "platform/linux/host.h"
#include "platform/linux/pipe_frame.h"
#include "platform/log_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogError = 3;
constexpr int kLargestErrno = 4095;

/// A socket that is closed unless it is taken.
class Socket {
public:
    explicit Socket(int fd) : fd_(fd) {}
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Get() const { return fd_; }
    int Take() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

void Complain(const std::string& text) {
    if (CheckLogLevel(kLogModule, kLogError) == 1) {
        DlogInner(kLogModule, kLogError, "%s", text.c_str());
    }
}

int Connect(int socket, const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return -ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(socket, generic, sizeof(address)) == 0 ? 0 : -errno;
}

// Whoever serves the socket decides what runs as our applications: only root and our own user may.
int CheckPeer(int socket, const std::string& path) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return -errno;
    }
    if (peer.uid == 0 || peer.uid == geteuid()) {
        return 0;
    }
    Complain(path + " is served by user " + std::to_string(peer.uid) +
             ", but only root and our own user may serve it");
    return -EACCES;
}

int SayHello(int socket, std::string_view name, uint32_t gid) {
    const PipeHello hello{gid, static_cast<uint32_t>(name.size())};
    const PipeFrameHeader header{kPipeMagic, static_cast<uint32_t>(PipeFrameKind::kHello), 0,
                                 static_cast<uint32_t>(sizeof(hello) + name.size()), 0};
    std::string frame(reinterpret_cast<const char*>(&header), sizeof(header));
    frame.append(reinterpret_cast<const char*>(&hello), sizeof(hello)).append(name);
    const bool isSent = send(socket, frame.data(), frame.size(), MSG_NOSIGNAL) >= 0;
    // Who hangs up on everybody for the time being has said so before.
    return isSent || errno == EPIPE ? 0 : -errno;
}

int AwaitWelcome(int socket, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd readable{socket, POLLIN, 0};
    int ready = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        ready = poll(&readable, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) {
        return ready == 0 ? -ETIMEDOUT : -errno;
    }
    struct {
        PipeFrameHeader header;
        int32_t result;
    } welcome{};
    ssize_t received = recv(socket, &welcome, sizeof(welcome), MSG_TRUNC);
    if (received < 0 && errno == ECONNRESET) {
        // The peer went without reading our hello. What it had said itself comes after this error.
        received = recv(socket, &welcome, sizeof(welcome), MSG_TRUNC);
    }
    if (received <= 0) {
        return received == 0 ? -ECONNRESET : -errno;
    }
    constexpr size_t kExpected = sizeof(PipeFrameHeader) + sizeof(int32_t);
    const bool isWelcome = static_cast<size_t>(received) == kExpected &&
                           welcome.header.magic == kPipeMagic &&
                           welcome.header.kind == static_cast<uint32_t>(PipeFrameKind::kWelcome) &&
                           welcome.header.size == sizeof(int32_t);
    if (!isWelcome || welcome.result > 0 || welcome.result < -kLargestErrno) {
        return -EPROTO;
    }
    return welcome.result;
}

int OpenTo(const std::string& path, const EzcomOpenParams& params) {
    // Non-blocking while connecting: a full backlog is then a clean "busy".
    Socket socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.Get() < 0) {
        return -errno;
    }
    int result = Connect(socket.Get(), path);
    if (result == 0) {
        result = CheckPeer(socket.Get(), path);
    }
    if (result == 0) {
        result = SayHello(socket.Get(), params.ownName, params.gid);
    }
    if (result == 0) {
        result = AwaitWelcome(socket.Get(), params.timeoutMs);
    }
    if (result == 0 && fcntl(socket.Get(), F_SETFL, 0) != 0) {
        result = -errno;
    }
    return result == 0 ? socket.Take() : result;
}

}  // namespace

int OpenPipeSocket(const EzcomOpenParams& params) {
    const std::string_view ownName(params.ownName);
    const std::string_view target(params.targetName);
    if (ownName.empty() || ownName.size() > kMaxProcessName || target.empty() ||
        target.find('/') != std::string_view::npos) {
        return -EINVAL;
    }
    std::string reason;
    const std::string directory = RunDirectory(reason);
    if (directory.empty()) {
        Complain("pipe to " + std::string(target) + ": " + reason);
        return -ENOENT;
    }
    const std::string path = PipePath(directory, target);
    const int result = OpenTo(path, params);
    if (result < 0) {
        Complain("no pipe through " + path + ": " + std::strerror(-result));
    }
    return result;
}

}  // namespace GrpOwnerLinux
