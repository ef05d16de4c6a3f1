#include "platform/linux/pipe_connection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/linux/recorder.h"
#include "platform/linux/service_thread.h"

namespace GrpOwnerLinux {

PipeConnection::PipeConnection(int handle, int socket, std::string target,
                               EzcomRequestHandler handler, int timeoutMs, PipeHandlers handlers)
    : handle_(handle),
      socket_(socket),
      target_(std::move(target)),
      handler_(handler),
      timeoutMs_(timeoutMs),
      handlers_(std::move(handlers)) {}

PipeConnection::~PipeConnection() {
    close(socket_);
}

void PipeConnection::Start() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (std::thread& thread : threads_) {
        thread = StartServiceThread([self = shared_from_this()] { self->Serve(); });
    }
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
    wanted_.notify_one();  // whoever should read is in the handler, perhaps with this very call
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
    std::array<std::thread, 2> threads;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto self = std::this_thread::get_id();
        if (isHandling_ && handlingBy_ != self) {
            return -EBUSY;
        }
        isClosed_ = true;
        isDead_ = true;
        requests_.clear();
        threads.swap(threads_);
        for (std::thread& thread : threads) {
            if (thread.get_id() == self) {
                thread.detach();
            }
        }
    }
    (void)shutdown(socket_, SHUT_RDWR);  // wakes who reads; fails when the peer is gone
    answered_.notify_all();
    wanted_.notify_all();
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    return 0;
}

// What both threads do. Reading waits while the handler runs, unless somebody waits for an answer.
void PipeConnection::Serve() {
    // One byte more than a frame may have, so that a longer one is seen.
    std::vector<char> buffer(sizeof(PipeFrameHeader) + kMaxPipePayload + 1);
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isClosed_ && !isEndTold_) {
        if (!isHandling_ && !requests_.empty()) {
            HandleOne(lock);
        } else if (!isHandling_ && hasEnded_) {
            TellEnd(lock);
        } else if (!isReading_ && !hasEnded_ && (!isHandling_ || !calls_.empty())) {
            ReadOne(lock, buffer);
        } else {
            wanted_.wait(lock);
        }
    }
    LeaveLocked();
}

void PipeConnection::ReadOne(std::unique_lock<std::mutex>& lock, std::vector<char>& buffer) {
    isReading_ = true;
    lock.unlock();
    std::string reason;
    if (!ReadFrame(buffer, reason)) {
        End(reason);
    }
    lock.lock();
    isReading_ = false;
}

void PipeConnection::HandleOne(std::unique_lock<std::mutex>& lock) {
    const std::vector<char> record = std::move(requests_.front());
    requests_.pop_front();
    isHandling_ = true;
    handlingBy_ = std::this_thread::get_id();
    if (!calls_.empty()) {
        wanted_.notify_one();
    }
    lock.unlock();
    const EzcomRequest request{record.data(), static_cast<uint32_t>(record.size())};
    {
        const ThreadRole role("pm");
        const auto recorded =
            RecordIn("record", [&](auto& fields) { fields.Bytes(request.data, request.size); });
        handler_(handle_, &request);
        recorded.End([](auto& /*fields*/) {});
    }
    lock.lock();
    isHandling_ = false;
}

void PipeConnection::TellEnd(std::unique_lock<std::mutex>& lock) {
    isHandling_ = true;
    handlingBy_ = std::this_thread::get_id();
    lock.unlock();
    if (handlers_.end) {
        handlers_.end(handle_, endReason_);
    }
    lock.lock();
    isHandling_ = false;
    isEndTold_ = true;
    wanted_.notify_all();
}

// Unless a close has taken this thread over, nobody need ever join it.
void PipeConnection::LeaveLocked() {
    for (std::thread& thread : threads_) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        }
    }
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
            return true;
        }
        case PipeFrameKind::kProcess: {
            const auto news = processes_.Take({payload, header.size});
            if (news == ProcessTable::News::kNonsense) {
                reason = "the peer has sent word of a process that makes no sense";
                return false;
            }
            if (news == ProcessTable::News::kBegun && handlers_.process) {
                handlers_.process();
            }
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
}

}  // namespace GrpOwnerLinux
