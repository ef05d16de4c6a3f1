#include "tests/fuzz/scripted_peer.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace GrpOwnerFuzz {

std::vector<std::string> PacketsOf(const uint8_t* bytes, size_t size) {
    FuzzedDataProvider input(bytes, size);
    std::vector<std::string> packets;
    while (input.remaining_bytes() > 0) {
        packets.push_back(input.ConsumeRandomLengthString());
    }
    return packets;
}

void SendPackets(int socket, const std::vector<std::string>& packets, int descriptor) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(descriptor))] = {};
    for (size_t i = 0; i < packets.size(); ++i) {
        iovec part{const_cast<char*>(packets[i].data()), packets[i].size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (i == 1 && descriptor >= 0) {
            message.msg_control = control;
            message.msg_controllen = sizeof(control);
            cmsghdr* header = CMSG_FIRSTHDR(&message);
            *header = {CMSG_LEN(sizeof(descriptor)), SOL_SOCKET, SCM_RIGHTS};
            std::memcpy(CMSG_DATA(header), &descriptor, sizeof(descriptor));
        }
        (void)sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

SocketPair::SocketPair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        std::abort();
    }
    ours = ends[0];
    theirs = ends[1];
}

SocketPair::~SocketPair() {
    close(ours);
}

void SocketPair::Say(const std::vector<std::string>& packets) const {
    SendPackets(ours, packets);
    shutdown(ours, SHUT_WR);
}

ScriptedPeer::ScriptedPeer() : directory_("/tmp/grpowner-fuzz-XXXXXX") {
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    const bool isMade = mkdtemp(directory_.data()) != nullptr;
    Path().copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (!isMade || bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener_, 8) != 0) {
        std::abort();
    }
}

ScriptedPeer::~ScriptedPeer() {
    close(listener_);
    unlink(Path().c_str());
    rmdir(directory_.c_str());
}

void ScriptedPeer::Expect(std::vector<std::string> packets, int descriptor) {
    thread_ = std::thread([this, packets = std::move(packets), descriptor] {
        const int peer = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        SendPackets(peer, packets, descriptor);
        shutdown(peer, SHUT_WR);
        char ignored[64];  // what is said to us, until the other end is closed
        while (recv(peer, ignored, sizeof(ignored), 0) > 0) {
        }
        close(peer);
    });
}

}  // namespace GrpOwnerFuzz
