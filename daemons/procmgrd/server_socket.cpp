#include "daemons/procmgrd/server_socket.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

namespace {

[[noreturn]] void Fail(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + ErrorText(error));
}

Daemons::UniqueFd Spare() {
    return Daemons::UniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

}  // namespace

ServerSocket::ServerSocket(EventLoop& loop, std::string path, const ServerSocketKind& kind,
                           std::optional<gid_t> group, AcceptHandler handler)
    : loop_(loop), path_(std::move(path)), kind_(kind), handler_(std::move(handler)) {
    Listen(group);
    spare_ = Spare();
    if (!spare_) {
        Fail("cannot open /dev/null", errno);
    }
    loop_.Watch(socket_.Get(), EPOLLIN, [this](uint32_t) { Accept(); });
}

ServerSocket::~ServerSocket() {
    StopAccepting();
    (void)unlink(path_.c_str());
}

void ServerSocket::StopAccepting() {
    if (socket_) {
        loop_.Forget(socket_.Get());
        socket_.Reset();
    }
    for (const auto& timer : {pause_, toldLately_}) {
        if (timer) {
            loop_.Cancel(*timer);
        }
    }
}

void ServerSocket::Listen(std::optional<gid_t> group) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path " + path_ +
                                 " is too long for a socket; choose a shorter " +
                                 "directory with --run-dir");
    }
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    (void)unlink(path_.c_str());
    socket_.Reset(socket(AF_UNIX, kind_.type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_ ||
        bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        Fail("cannot bind " + path_, errno);
    }
    if ((group && chown(path_.c_str(), static_cast<uid_t>(-1), *group) != 0) ||
        chmod(path_.c_str(), kind_.mode) != 0 || listen(socket_.Get(), 64) != 0) {
        Fail("cannot open " + path_ + " to others", errno);
    }
}

void ServerSocket::Accept() {
    Daemons::UniqueFd connection(
        accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (connection) {
        handler_(std::move(connection));
        return;
    }
    if ((errno == EMFILE || errno == ENFILE) && spare_) {
        RefuseNext();
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // Whoever knocks goes on knocking: look away for a moment instead of spinning.
        LogError(std::string("cannot accept ") + kind_.peers + ": " + ErrorText(errno));
        loop_.Change(socket_.Get(), 0);
        pause_ = loop_.After(std::chrono::milliseconds(200),
                             [this] { loop_.Change(socket_.Get(), EPOLLIN); });
    }
}

// An owner that nobody accepts would wait for minutes without knowing for what.
void ServerSocket::RefuseNext() {
    if (!toldLately_) {
        LogError(std::string(kind_.peers) + " are refused: " + ErrorText(errno));
        toldLately_ = loop_.After(std::chrono::seconds(1), [this] { toldLately_.reset(); });
    }
    spare_.Reset();
    {
        const Daemons::UniqueFd refused(
            accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        kind_.refuse(refused.Get());
    }
    spare_ = Spare();
}

}  // namespace ProcMgrDaemon
