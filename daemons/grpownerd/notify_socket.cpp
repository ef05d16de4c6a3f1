#include "daemons/grpownerd/notify_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

namespace GrpOwnerDaemon {

namespace {

constexpr size_t kLargestMessage = 4096;  // bytes
constexpr size_t kMostDescriptors = 64;   // that one message may carry
constexpr int kMessagesPerRound = 64;     // then signals and the pipe have their turn

void Require(bool isDone, const std::string& what) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

struct Ancillary {
    ucred sender{};
    std::vector<Daemons::UniqueFd> descriptors;
};

Ancillary TakeAncillary(msghdr& message) {
    Ancillary taken;
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET) {
            continue;
        }
        if (part->cmsg_type == SCM_CREDENTIALS) {
            std::memcpy(&taken.sender, CMSG_DATA(part), sizeof(taken.sender));
        } else if (part->cmsg_type == SCM_RIGHTS) {
            const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (size_t index = 0; index < count; ++index) {
                int fd = -1;
                std::memcpy(&fd, CMSG_DATA(part) + index * sizeof(int), sizeof(int));
                taken.descriptors.emplace_back(fd);
            }
        }
    }
    return taken;
}

}  // namespace

NotifySocket::NotifySocket(std::string path, const std::string& owner) : path_(std::move(path)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    errno = ENAMETOOLONG;
    Require(path_.size() < sizeof(address.sun_path), path_);
    std::memcpy(address.sun_path, path_.c_str(), path_.size());
    lock_.emplace(path_ + ".lock", "a group owner named `" + owner + "` serves " + path_ +
                                       " already; stop it, or choose another name with --name");
    socket_.Reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    Require(socket_.Get() >= 0, "socket");
    const int on = 1;
    Require(setsockopt(socket_.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)) == 0,
            "SO_PASSCRED");
    (void)unlink(path_.c_str());  // of an owner of this name that was killed
    Require(bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0,
            path_);
    // Applications may run as anybody; who they are is told by their credentials.
    Require(chmod(path_.c_str(), 0666) == 0, path_);
}

void NotifySocket::Close() {
    if (socket_) {
        (void)unlink(path_.c_str());
        socket_.Reset();
        lock_.reset();
    }
}

void NotifySocket::ReadSome(const Handler& handler) {
    for (int left = kMessagesPerRound; left > 0 && ReadOne(handler); --left) {
    }
}

bool NotifySocket::ReadOne(const Handler& handler) {
    char text[kLargestMessage];
    alignas(cmsghdr) char
        control[CMSG_SPACE(sizeof(ucred)) + CMSG_SPACE(kMostDescriptors * sizeof(int))];
    iovec part{text, sizeof(text)};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t length = recvmsg(socket_.Get(), &message, MSG_CMSG_CLOEXEC);
    if (length < 0) {
        return errno == EINTR;
    }
    // Its descriptors are closed at the end of this function.
    const Ancillary ancillary = TakeAncillary(message);
    const pid_t sender = ancillary.sender.pid;               // 0: of no process that we can see
    const pid_t leader = sender > 0 ? getpgid(sender) : -1;  // -1: it has gone
    if (leader > 0) {
        handler(leader, ParseNotifyMessage(std::string_view(text, static_cast<size_t>(length))));
    }
    return true;
}

}  // namespace GrpOwnerDaemon
