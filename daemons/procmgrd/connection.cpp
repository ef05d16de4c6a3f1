#include "daemons/procmgrd/connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

using GrpOwnerLinux::kMaxPipePayload;
using GrpOwnerLinux::kMaxProcessName;
using GrpOwnerLinux::kPipeMagic;
using GrpOwnerLinux::PipeFrameHeader;
using GrpOwnerLinux::PipeFrameKind;
using GrpOwnerLinux::PipeHello;
using GrpOwnerLinux::PipeProcess;

namespace {

constexpr std::chrono::milliseconds kHelloTimeOut{5000};
constexpr std::chrono::milliseconds kHeartTimeOut{3000};  // three beats of a second
constexpr int kFramesPerRound = 32;                       // then others have their turn
constexpr size_t kMaxWaitingReports = 20'000;
constexpr size_t kMaxWaitingFrames = 256;

// A name becomes part of a file's name, and of lines in the log.
bool IsOwnerName(std::string_view name) {
    constexpr std::string_view kAllowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
    return !name.empty() && name.size() <= kMaxProcessName && name.front() != '.' &&
           name.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::string_view Bytes(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

std::string_view Bytes(const int32_t& number) {
    return {reinterpret_cast<const char*>(&number), sizeof(number)};
}

std::string MakeFrame(PipeFrameKind kind, uint64_t sequence, std::string_view payload) {
    const PipeFrameHeader header{kPipeMagic, static_cast<uint32_t>(kind), sequence,
                                 static_cast<uint32_t>(payload.size()), 0};
    std::string frame(reinterpret_cast<const char*>(&header), sizeof(header));
    return frame.append(payload);
}

}  // namespace

Connection::Connection(EventLoop& loop, ConnectionHandler& handler, Daemons::UniqueFd socket,
                       const Peer& peer)
    : loop_(loop), handler_(handler), socket_(std::move(socket)), peer_(peer), interest_(EPOLLIN) {
    loop_.Watch(socket_.Get(), interest_, [this](uint32_t events) { OnEvents(events); });
    Rearm(kHelloTimeOut, [this] { Close("said no hello"); });
}

Connection::~Connection() {
    if (timer_) {
        loop_.Cancel(*timer_);
    }
    loop_.Forget(socket_.Get());
}

void Connection::Refuse(int socket, int32_t result) {
    const std::string frame = MakeFrame(PipeFrameKind::kWelcome, 0, Bytes(result));
    (void)send(socket, frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);  // or it has gone
}

void Connection::Rearm(std::chrono::milliseconds delay, std::function<void()> action) {
    if (timer_) {
        loop_.Cancel(*timer_);
    }
    timer_ = loop_.After(delay, std::move(action));
}

void Connection::OnEvents(uint32_t events) {
    if ((events & EPOLLOUT) != 0) {
        blocked_ = false;
    }
    if ((events & (EPOLLHUP | EPOLLERR)) != 0 && deaf_) {
        Close("hung up");
    }
    // Also after the other end is gone: what it said before that still counts.
    if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
        for (int left = kFramesPerRound; left > 0 && !closed_ && !deaf_ && ReadFrame(); --left) {
            Flush();  // a frame may start many programs: the owner hears of these before the next
        }
    }
}

bool Connection::ReadFrame() {
    char packet[sizeof(PipeFrameHeader) + kMaxPipePayload];
    const ssize_t got = recv(socket_.Get(), packet, sizeof(packet), MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0 && errno == ECONNRESET && !reset_) {
        // The owner went without reading all that we said; what it had said itself comes next.
        reset_ = true;
        return true;
    }
    if (got < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            Close(ErrorText(errno));
        }
        return false;
    }
    if (got == 0) {
        Close("hung up");
        return false;
    }
    const auto size = static_cast<size_t>(got);
    PipeFrameHeader header{};
    if (size >= sizeof(header) && size <= sizeof(packet)) {
        std::memcpy(&header, packet, sizeof(header));
    }
    if (header.magic != kPipeMagic || header.size != size - sizeof(header)) {
        Close("sent what is no frame");
        return false;
    }
    HandleFrame(header, {packet + sizeof(header), header.size});
    return true;
}

void Connection::HandleFrame(const PipeFrameHeader& header, std::string_view payload) {
    const auto kind = static_cast<PipeFrameKind>(header.kind);
    if (welcome_ == (kind == PipeFrameKind::kHello)) {
        Close(welcome_ ? "said hello twice" : "did not begin with a hello");
        return;
    }
    switch (kind) {
        case PipeFrameKind::kHello:
            HandleHello(payload);
            return;
        case PipeFrameKind::kRequest:
            if (const auto record = ReadRecord(payload)) {
                handler_.OnRecord(*this, *record);
                return;
            }
            break;
        case PipeFrameKind::kCall:
            if (header.sequence > 0) {
                HandleCall(header.sequence, payload);
                return;
            }
            break;
        case PipeFrameKind::kHeartBeat:
            HandleHeartBeat();
            return;
        default:
            break;
    }
    Close("sent a frame of kind " + std::to_string(header.kind) + " that makes no sense");
}

void Connection::HandleHello(std::string_view payload) {
    PipeHello hello{};
    if (payload.size() >= sizeof(hello)) {
        std::memcpy(&hello, payload.data(), sizeof(hello));
        payload.remove_prefix(sizeof(hello));
    }
    int32_t result = -EINVAL;
    if (hello.nameLength == payload.size() && IsOwnerName(payload)) {
        owner_ = payload;
        result = handler_.OnHello(*this);
    }
    Queue(PipeFrameKind::kWelcome, 0, Bytes(result), 0);
    if (result != 0) {
        Flush();
        Close("was refused: " + ErrorText(-result));
        return;
    }
    welcome_ = true;
    loop_.Cancel(*timer_);
    timer_.reset();
    handler_.OnWelcomed(*this);
}

void Connection::HandleCall(uint64_t sequence, std::string_view payload) {
    const auto record = ReadRecord(payload);
    const int32_t answer = record ? handler_.OnCall(*this, *record) : -EINVAL;
    Queue(PipeFrameKind::kAnswer, sequence, std::to_string(answer), 0);
}

void Connection::HandleHeartBeat() {
    if (heartLost_) {
        LogInfo(owner_ + ": its heartbeat is back");
    }
    heartLost_ = false;
    // Told, not acted on: an owner that is only slow must not lose its group.
    Rearm(kHeartTimeOut, [this] {
        timer_.reset();
        heartLost_ = true;
        LogWarning(owner_ + ": no heartbeat for " + std::to_string(kHeartTimeOut.count()) + " ms");
    });
}

void Connection::QueueRecord(const Record& record) {
    Queue(PipeFrameKind::kRequest, 0, Bytes(record), reports_ != nullptr ? reports_->Pushed() : 0);
}

// At once: the process may be about to say something to the owner.
void Connection::TellProcess(pid_t pid, std::chrono::steady_clock::time_point begun,
                             std::string_view application) {
    const std::chrono::nanoseconds sinceBoot = begun.time_since_epoch();
    const PipeProcess process{static_cast<uint64_t>(sinceBoot.count()), static_cast<uint32_t>(pid),
                              static_cast<uint32_t>(application.size())};
    std::string payload(reinterpret_cast<const char*>(&process), sizeof(process));
    Queue(PipeFrameKind::kProcess, 0, payload.append(application), 0);
    while (!closed_ && !blocked_ && IsFrameDue() && SendFrame()) {
    }
}

void Connection::Queue(PipeFrameKind kind, uint64_t sequence, std::string_view payload,
                       uint64_t afterReports) {
    outgoing_.push_back({MakeFrame(kind, sequence, payload), afterReports});
}

void Connection::Flush() {
    while (!closed_ && !blocked_ && SendNext()) {
    }
    if (!closed_) {
        UpdateInterest();
    }
}

// Whether there was something to send, and it is out.
bool Connection::SendNext() {
    if (IsFrameDue()) {
        return SendFrame();
    }
    if (!ReportsWait() || !welcome_) {
        return false;
    }
    Record record{};
    const size_t count = EncodeReports(reports_->Reports(), record);
    if (!Send(MakeFrame(PipeFrameKind::kRequest, 0, Bytes(record)))) {
        return false;
    }
    reports_->PopFront(count);
    return true;
}

bool Connection::ReportsWait() const {
    return reports_ != nullptr && !reports_->Reports().empty();
}

bool Connection::IsFrameDue() const {
    return !outgoing_.empty() &&
           (!ReportsWait() || outgoing_.front().afterReports <= reports_->Popped());
}

bool Connection::SendFrame() {
    const bool sent = Send(outgoing_.front().frame);
    if (sent) {
        outgoing_.pop_front();
    }
    return sent;
}

bool Connection::Send(const std::string& frame) {
    if (send(socket_.Get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
        return true;
    }
    if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM || errno == EINTR) {
        blocked_ = true;
    } else {
        Close(ErrorText(errno));
    }
    return false;
}

void Connection::UpdateInterest() {
    const bool congested = outgoing_.size() > kMaxWaitingFrames ||
                           (reports_ != nullptr && reports_->Reports().size() > kMaxWaitingReports);
    uint32_t interest = 0;
    if (!congested && !deaf_) {
        interest |= EPOLLIN;
    }
    if (blocked_) {
        interest |= EPOLLOUT;
    }
    if (interest != interest_) {
        interest_ = interest;
        loop_.Change(socket_.Get(), interest);
    }
}

void Connection::Close(const std::string& reason) {
    if (closed_) {
        return;
    }
    closed_ = true;
    reports_ = nullptr;
    loop_.Forget(socket_.Get());
    (void)shutdown(socket_.Get(), SHUT_RDWR);  // the peer may have been first
    LogInfo((owner_.empty() ? "a connection" : owner_) + " of pid " + std::to_string(peer_.pid) +
            ": " + reason);
    handler_.OnClosed(*this);
}

}  // namespace ProcMgrDaemon
