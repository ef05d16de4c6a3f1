#include "platform/linux/queue_connection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "platform/linux/queue_frame.h"
#include "platform/log_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogInfo = 1;

/// The one descriptor that a frame may carry.
struct alignas(cmsghdr) DescriptorSpace {
    char bytes[CMSG_SPACE(sizeof(int))] = {};
};

void Attach(msghdr& message, DescriptorSpace& space, int descriptor) {
    message.msg_control = space.bytes;
    message.msg_controllen = sizeof(space.bytes);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(descriptor));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof(descriptor));
}

// Never waits: -EAGAIN when the reader has not taken what was sent before.
int SendNow(int socket, const msghdr& message) {
    return sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 ? -errno : 0;
}

int SendGreeting(int socket, int32_t code, std::string_view reason) {
    QueueGreeting greeting;
    greeting.code = code;
    greeting.length = static_cast<uint32_t>(std::min(reason.size(), kMaxQueueReason));
    iovec parts[] = {{&greeting, sizeof(greeting)},
                     {const_cast<char*>(reason.data()), greeting.length}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return SendNow(socket, message);
}

void LogInfo(const std::string& queue, const std::string& text) {
    if (CheckLogLevel(kLogModule, kLogInfo) == 1) {
        DlogInner(kLogModule, kLogInfo, "queue %s %s", queue.c_str(), text.c_str());
    }
}

}  // namespace

QueueConnection::QueueConnection(int socket, std::string name, uint64_t handle)
    : socket_(socket), name_(std::move(name)), file_{name_.c_str(), handle} {}

QueueConnection::~QueueConnection() {
    (void)close(socket_);  // nothing is buffered that could be lost
}

void QueueConnection::Serve(const IAMQueueOperations& operations) {
    const int code = operations.open == nullptr ? 0 : operations.open(&file_);
    if (code < 0) {
        Refuse(code, name_ + " cannot be opened, code " + std::to_string(code));
        return;
    }
    try {
        Greet();
        TakeReturns();
    } catch (const std::exception& error) {
        LogInfo(name_, std::string("drops a reader: ") + error.what());
    }
    End();
    if (operations.close != nullptr) {
        (void)operations.close(&file_);  // the reader is gone already
    }
}

void QueueConnection::Greet() {
    std::lock_guard<std::mutex> lock(mutex_);
    (void)GreetLocked();  // who does not hear it has gone, which is noticed next
}

void QueueConnection::Refuse(int32_t code, std::string_view reason) {
    LogInfo(name_, "refuses with " + std::to_string(code) + ": " + std::string(reason));
    std::lock_guard<std::mutex> lock(mutex_);
    isOver_ = true;
    (void)SendGreeting(socket_, code, reason);  // the end of the connection says the rest
}

int QueueConnection::Enqueue(uint64_t pool, uint64_t block) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (isOver_) {
        return -EPIPE;
    }
    // An event may be reported as soon as the file is open, before the opening thread goes on.
    int result = GreetLocked();
    PlacedBlock placed;
    if (result == 0) {
        result = SharedPools::Instance().HandOver(pool, block, placed);
    }
    if (result != 0) {
        return result;
    }
    const auto entry = blocks_.emplace_hint(blocks_.end(), lastSequence_ + 1, block);
    result = SendLocked(placed);
    if (result != 0) {
        blocks_.erase(entry);
        SharedPools::Instance().TakeBack(block);
        return result;
    }
    ++lastSequence_;
    memory_ = placed.memory;
    return 0;
}

int QueueConnection::GreetLocked() {
    if (isGreeted_) {
        return 0;
    }
    const int result = SendGreeting(socket_, 0, {});
    isGreeted_ = result == 0;
    return result;
}

int QueueConnection::SendLocked(const PlacedBlock& placed) {
    QueueEvent event;
    event.length = placed.length;
    event.offset = placed.offset;
    event.sequence = lastSequence_ + 1;
    iovec part{&event, sizeof(event)};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    DescriptorSpace space;
    if (placed.memory != memory_) {
        Attach(message, space, placed.memory->Descriptor());
    }
    return SendNow(socket_, message);
}

void QueueConnection::TakeReturns() {
    QueueReturn given;
    while (true) {
        const ssize_t received = recv(socket_, &given, sizeof(given), MSG_TRUNC);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return;
        }
        if (received != sizeof(given) || given.magic != kQueueMagic || !TakeBack(given.sequence)) {
            LogInfo(name_, "drops a reader that has sent something but the return of its block");
            return;
        }
    }
}

bool QueueConnection::TakeBack(uint64_t sequence) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = blocks_.find(sequence);
    if (entry == blocks_.end()) {
        return false;
    }
    SharedPools::Instance().FreeHandedOver(entry->second);
    blocks_.erase(entry);
    return true;
}

void QueueConnection::End() {
    std::lock_guard<std::mutex> lock(mutex_);
    isOver_ = true;
    (void)shutdown(socket_, SHUT_RDWR);  // who still waits at the other end learns at once
    for (const auto& [sequence, block] : blocks_) {
        SharedPools::Instance().FreeHandedOver(block);
    }
    blocks_.clear();
}

}  // namespace GrpOwnerLinux
