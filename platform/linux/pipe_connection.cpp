#include "platform/linux/pipe_connection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/linux/service_thread.h"

namespace GrpOwnerLinux {

PipeConnection::PipeConnection(int handle, int socket, std::string target,
                               EzcomRequestHandler handler, int timeoutMs,
                               PipeEndHandler endHandler)
    : handle_(handle),
      socket_(socket),
      target_(std::move(target)),
      handler_(handler),
      timeoutMs_(timeoutMs),
      endHandler_(std::move(endHandler)) {}

PipeConnection::~PipeConnection() {
    close(socket_);
}

int PipeConnection::PeerPid() const {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(socket_, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

void PipeConnection::Start() {
    std::lock_guard<std::mutex> lock(mutex_);
    reader_ = StartServiceThread([self = shared_from_this()] { self->Read(); });
    handling_ = StartServiceThread([self = shared_from_this()] { self->Handle(); });
}

int PipeConnection::Send(PipeFrameKind kind, uint64_t sequence, const void* data, uint32_t size) {
    if (isDead_) {
        return -EPIPE;
    }
    if (size > kMaxPipePayload) {
        return -EMSGSIZE;
    }
    PipeFrameHeader header{kPipeMagic, static_cast<uint32_t>(kind), sequence, size, 0};
    iovec parts[] = {{&header, sizeof(header)}, {const_cast<void*>(data), size}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = size > 0 ? 2 : 1;
    if (sendmsg(socket_, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
        return 0;
    }
    const int error = errno;
    if (error == EPIPE || error == ECONNRESET || error == ENOTCONN) {
        isDead_ = true;  // the reading thread says so to the others
        return -EPIPE;
    }
    return -error;
}

int PipeConnection::Call(const EzcomRequest& request, int timeoutMs, std::vector<char>& answer) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    WaitingCall call;
    std::unique_lock<std::mutex> lock(mutex_);
    const uint64_t sequence = ++lastSequence_;
    calls_[sequence] = &call;
    lock.unlock();
    int result = Send(PipeFrameKind::kCall, sequence, request.data, request.size);
    lock.lock();
    while (result == 0 && !call.isDone) {
        if (hasEnded_ || isClosed_) {
            result = -EPIPE;
        } else if (answered_.wait_until(lock, deadline) == std::cv_status::timeout &&
                   !call.isDone && !hasEnded_ && !isClosed_) {
            result = -ETIMEDOUT;
        }
    }
    // From here on an answer finds nobody and is dropped.
    calls_.erase(sequence);
    if (result == 0) {
        answer = std::move(call.answer);
    }
    return result;
}

int PipeConnection::Close() {
    std::thread reader;
    std::thread handling;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const bool isOwnHandler = handling_.get_id() == std::this_thread::get_id();
        if (isHandling_ && !isOwnHandler) {
            return -EBUSY;
        }
        isClosed_ = true;
        isDead_ = true;
        requests_.clear();
        reader = std::move(reader_);
        if (isOwnHandler) {
            handling_.detach();
        } else {
            handling = std::move(handling_);
        }
    }
    (void)shutdown(socket_, SHUT_RDWR);  // wakes the reading thread; fails when the peer is gone
    answered_.notify_all();
    queued_.notify_all();
    for (std::thread* thread : {&reader, &handling}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
    return 0;
}

void PipeConnection::Read() {
    // One byte more than a frame may have, so that a longer one is seen.
    std::vector<char> buffer(sizeof(PipeFrameHeader) + kMaxPipePayload + 1);
    std::string reason;
    while (ReadFrame(buffer, reason)) {
    }
    End(reason);
}

bool PipeConnection::ReadFrame(std::vector<char>& buffer, std::string& reason) {
    const ssize_t received = recv(socket_, buffer.data(), buffer.size(), 0);
    if (received < 0 && errno == EINTR) {
        return true;
    }
    if (received < 0 && errno == ECONNRESET && !isReset_) {
        // The peer went without reading all that we said. What it had said itself comes after this
        // error, and then the end.
        isReset_ = true;
        return true;
    }
    if (received <= 0) {
        reason = received == 0 || isReset_
                     ? "the peer has closed the pipe"
                     : std::string("the pipe is broken: ") + std::strerror(errno);
        return false;
    }
    PipeFrameHeader header{};
    const auto length = static_cast<size_t>(received);
    if (length < sizeof(header)) {
        reason = "the peer has sent half a frame";
        return false;
    }
    std::memcpy(&header, buffer.data(), sizeof(header));
    if (header.magic != kPipeMagic || header.reserved != 0 || header.size > kMaxPipePayload ||
        header.size != length - sizeof(header)) {
        reason = "the peer has sent a frame that is none";
        return false;
    }
    return Accept(header, buffer.data() + sizeof(header), reason);
}

bool PipeConnection::Accept(const PipeFrameHeader& header, const char* payload,
                            std::string& reason) {
    switch (static_cast<PipeFrameKind>(header.kind)) {
        case PipeFrameKind::kAnswer:
            Complete(header.sequence, payload, header.size);
            return true;
        case PipeFrameKind::kRequest: {
            if (header.sequence != 0) {
                reason = "the peer has sent a request with the number of a call";
                return false;
            }
            std::lock_guard<std::mutex> lock(mutex_);
            requests_.emplace_back(payload, payload + header.size);
            queued_.notify_one();
            return true;
        }
        default:
            reason = "the peer has sent a frame of an unknown kind";
            return false;
    }
}

void PipeConnection::Complete(uint64_t sequence, const char* payload, uint32_t size) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = calls_.find(sequence);
    if (entry != calls_.end()) {
        entry->second->answer.assign(payload, payload + size);
        entry->second->isDone = true;
        answered_.notify_all();
    }
}

void PipeConnection::End(const std::string& reason) {
    isDead_ = true;
    (void)shutdown(socket_, SHUT_RDWR);  // a peer that broke the rules learns of it
    std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
    endReason_ = reason;
    answered_.notify_all();
    queued_.notify_all();
}

void PipeConnection::Handle() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isClosed_) {
        if (!requests_.empty()) {
            const std::vector<char> record = std::move(requests_.front());
            requests_.pop_front();
            isHandling_ = true;
            lock.unlock();
            const EzcomRequest request{record.data(), static_cast<uint32_t>(record.size())};
            handler_(handle_, &request);
            lock.lock();
            isHandling_ = false;
        } else if (hasEnded_) {
            isHandling_ = true;
            lock.unlock();
            TellEnd();
            lock.lock();
            isHandling_ = false;
            ReleaseThreadsLocked();
            return;
        } else {
            queued_.wait(lock);
        }
    }
}

// Both threads are at their end; unless a close has taken them over, nobody need ever join them.
void PipeConnection::ReleaseThreadsLocked() {
    for (std::thread* thread : {&reader_, &handling_}) {
        if (thread->joinable()) {
            thread->detach();
        }
    }
}

void PipeConnection::TellEnd() {
    if (endHandler_) {
        endHandler_(handle_, endReason_);
    }
}

}  // namespace GrpOwnerLinux
