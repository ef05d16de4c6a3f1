#include "platform/linux/listening_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/log_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kBacklog = 64;
constexpr mode_t kForEverybody = 0666;
constexpr int kPauseMs = 100;
constexpr int kLogModule = 27;
constexpr int kLogError = 3;

std::string LockPath(const std::string& path) {
    return path + ".lock";
}

bool IsStillThere(int fd, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

void CloseAndForget(int& fd) {
    if (fd >= 0) {
        (void)close(fd);  // nothing is buffered that could be lost
        fd = -1;
    }
}

int Explain(int code, const std::string& what, std::string& reason) {
    reason = what + ": " + std::strerror(code);
    return -code;
}

}  // namespace

int ListeningSocket::Open(const std::string& path, std::string& reason) {
    sockaddr_un address{};
    if (path.size() >= sizeof(address.sun_path)) {
        return Explain(ENAMETOOLONG, "cannot listen on " + path, reason);
    }
    path_ = path;
    int result = Lock(reason);
    if (result != 0) {
        CloseAndForget(lock_);
        return result;
    }
    result = Bind(reason);
    if (result < 0) {
        CloseAndForget(socket_);
        Remove();
    }
    return result;
}

int ListeningSocket::Lock(std::string& reason) {
    const std::string path = LockPath(path_);
    do {
        CloseAndForget(lock_);
        lock_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (lock_ < 0) {
            return Explain(errno, "cannot open " + path, reason);
        }
        if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) {
                return Explain(errno, "cannot lock " + path, reason);
            }
            reason = path_ + " is served already; its lock is held";
            return -EADDRINUSE;
        }
        // Who held it before us may have removed it meanwhile.
    } while (!IsStillThere(lock_, path));
    return 0;
}

int ListeningSocket::Bind(std::string& reason) {
    if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
        return Explain(errno, "cannot remove the old " + path_, reason);
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path_.data(), path_.size());
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    socket_ = socket(AF_UNIX, type_ | SOCK_CLOEXEC, 0);
    if (socket_ < 0 || bind(socket_, generic, sizeof(address)) != 0 ||
        chmod(path_.c_str(), kForEverybody) != 0 || listen(socket_, kBacklog) != 0) {
        return Explain(errno, "cannot listen on " + path_, reason);
    }
    return socket_;
}

void ListeningSocket::Remove() {
    if (lock_ < 0) {
        return;
    }
    // Both while the lock is held; who waits for it looks whether its file still has the name.
    (void)unlink(path_.c_str());
    (void)unlink(LockPath(path_).c_str());
    // Ends who waits for peers. Its descriptor stays, so that nobody accepts from another one.
    (void)shutdown(socket_, SHUT_RDWR);
    CloseAndForget(lock_);
}

int AcceptNext(int listener) {
    bool isTold = false;
    while (true) {
        const int peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (peer >= 0) {
            return peer;
        }
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            if (!isTold && CheckLogLevel(kLogModule, kLogError) == 1) {
                DlogInner(kLogModule, kLogError,
                          "no connection can be accepted until something has gone: %s",
                          std::strerror(errno));
                isTold = true;
            }
            (void)poll(nullptr, 0, kPauseMs);
        } else if (errno == EBADF || errno == EINVAL || errno == ENOTSOCK) {
            return -errno;
        }
    }
}

}  // namespace GrpOwnerLinux
