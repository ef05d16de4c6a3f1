#include "daemons/procmgrd/observer.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "daemons/procmgrd/event_lines.h"
#include "daemons/procmgrd/output_log.h"
#include "platform/linux/utf8.h"

namespace ProcMgrDaemon {

namespace {

constexpr std::chrono::milliseconds kRequestTimeOut{5000};
constexpr size_t kLongestRequest = 64 * 1024;  // names of a thousand applications
constexpr size_t kBatch = 16 * 1024;

}  // namespace

/// What is left to be told of one log.
struct Observer::Source {
    const OutputLog* log;
    uint64_t* next;  // the number of the line
    OutputRing::Reader reader;

    uint64_t Sequence() const { return reader.Sequence(); }
    static bool IsLater(const Source& one, const Source& other) {
        return one.Sequence() > other.Sequence();
    }
};

Observer::Observer(EventLoop& loop, ObserverHost& host, Journal& journal, Daemons::UniqueFd socket,
                   const Peer& peer, bool seesAll, bool isOutputKept)
    : loop_(loop),
      host_(host),
      journal_(journal),
      socket_(std::move(socket)),
      peer_(peer),
      seesAll_(seesAll),
      isOutputKept_(isOutputKept),
      interest_(EPOLLIN) {
    loop_.Watch(socket_.Get(), interest_, [this](uint32_t events) { OnEvents(events); });
    timer_ = loop_.After(kRequestTimeOut, [this] {
        timer_.reset();
        LeaveWith("malformed", "nothing was asked; send one line");
    });
}

Observer::~Observer() {
    Close();
}

void Observer::Refuse(int socket, const char* error, const std::string& reason) {
    std::string line;
    AppendRefusal(line, error, reason);
    (void)send(socket, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);  // or it has gone
}

void Observer::OnEvents(uint32_t events) {
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        Close();
        return;
    }
    if ((events & EPOLLOUT) != 0) {
        isBlocked_ = false;
    }
    if ((events & EPOLLIN) != 0) {
        Read();
    }
}

void Observer::Read() {
    char chunk[4096];
    const ssize_t got = recv(socket_.Get(), chunk, sizeof(chunk), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    isDeaf_ = got <= 0;  // half closed: it may read on
    if (phase_ != Phase::kAsking) {
        return;
    }
    asked_.append(chunk, static_cast<size_t>(std::max<ssize_t>(got, 0)));
    const size_t end = asked_.find('\n');
    if (end != std::string::npos || isDeaf_) {
        TakeRequest(std::string_view(asked_).substr(0, end));
    } else if (asked_.size() > kLongestRequest) {
        LeaveWith("malformed", "the request is too long");
    }
}

void Observer::TakeRequest(std::string_view line) {
    const std::string wrong = ReadRequest(line, request_);
    if (!wrong.empty()) {
        LeaveWith("malformed", wrong);
        return;
    }
    if (!IsAllowed()) {
        LeaveWith("not-allowed", "user " + std::to_string(peer_.uid) +
                                     " may read along only with an owner of its own");
        return;
    }
    if (!request_.owner.empty() && !host_.UserOf(request_.owner)) {
        LeaveWith("unknown-owner", "no owner " + GrpOwnerLinux::Quote(request_.owner) + " is here");
        return;
    }
    for (const std::string& name : request_.applications) {
        if (!host_.HasApplication(request_.owner, name)) {
            LeaveWith("unknown-application", GrpOwnerLinux::Quote(request_.owner) +
                                                 " has no application " +
                                                 GrpOwnerLinux::Quote(name));
            return;
        }
    }
    Begin();
}

// Also asked later: an owner of the same name may be another user's.
bool Observer::IsAllowed() const {
    return seesAll_ || (!request_.owner.empty() &&
                        host_.UserOf(request_.owner).value_or(peer_.uid) == peer_.uid);
}

void Observer::Begin() {
    phase_ = Phase::kTelling;
    loop_.Cancel(*timer_);
    timer_.reset();
    std::string().swap(asked_);
    const std::vector<OutputLog*> logs(journal_.GetLogs().begin(), journal_.GetLogs().end());
    for (OutputLog* const log : logs) {
        if (request_.lines && request_.IsAbout(log->Application())) {
            log->EndLine(true);  // what has no line end yet is shown as well
            const uint64_t end = log->Ring().End();
            nextLines_[log->Id()] = end - std::min(*request_.lines, end);
        }
    }
    nextEvent_ = journal_.EndEvent();
    for (uint64_t left = request_.events.value_or(0);
         left > 0 && nextEvent_ > journal_.FirstEvent();) {
        left -= request_.IsAbout(*journal_.EventAt(--nextEvent_).application) ? 1 : 0;
    }
    const uint64_t next = journal_.NextSequence();
    until_ = request_.isFollowing ? UINT64_MAX : next;
    const bool hasEvents = journal_.FirstEvent() < journal_.EndEvent();
    AppendHello(batch_, hasEvents ? journal_.EventAt(journal_.FirstEvent()).sequence : next, next,
                isOutputKept_);
}

void Observer::Pump() {
    if (phase_ == Phase::kTelling && !IsAllowed()) {
        Close();
    }
    if (phase_ == Phase::kTelling && !isBlocked_ && batch_.empty()) {
        FillBatch();
    }
    if (!isBlocked_ && !batch_.empty()) {
        Send();
    }
    if (phase_ == Phase::kLeaving && batch_.empty()) {
        Close();
    }
    if (phase_ != Phase::kClosed) {
        UpdateInterest();
    }
}

void Observer::FillBatch() {
    const uint64_t now = journal_.NextSequence();
    if (seen_ == now) {
        return;
    }
    std::vector<Source> sources = FindSources();
    SkipOtherEvents();
    while (batch_.size() < kBatch && (IsEventDue() || !sources.empty())) {
        if (IsEventDue() &&
            (sources.empty() || NextEvent().sequence < sources.front().Sequence())) {
            TellNextEvent();
        } else {
            TellNextLine(sources);
        }
    }
    if (IsEventDue() || !sources.empty()) {
        return;
    }
    if (seen_ == 0) {
        AppendTurn(batch_, request_.isFollowing, std::min(now, until_));
        phase_ = request_.isFollowing ? phase_ : Phase::kLeaving;
    }
    seen_ = now;
}

// A heap, the lowest sequence number on top.
std::vector<Observer::Source> Observer::FindSources() {
    std::vector<Source> sources;
    if (!request_.lines) {
        return sources;
    }
    for (const OutputLog* const log : journal_.GetLogs()) {
        if (log->LastSequence() < seen_) {
            break;  // and neither has any log behind it something new
        }
        if (!request_.IsAbout(log->Application())) {
            continue;
        }
        uint64_t& next = nextLines_[log->Id()];
        if (next < log->Ring().End()) {
            const Source source{log, &next, OutputRing::Reader(log->Ring(), next)};
            if (source.Sequence() < until_) {
                sources.push_back(source);
            }
        }
    }
    std::make_heap(sources.begin(), sources.end(), Source::IsLater);
    return sources;
}

void Observer::TellNextLine(std::vector<Source>& sources) {
    std::pop_heap(sources.begin(), sources.end(), Source::IsLater);
    Source& source = sources.back();
    source.reader.Read(line_);
    if (*source.next < source.reader.Number()) {
        AppendLine(batch_, Gap{&source.log->Application(), source.reader.Number() - *source.next,
                               line_.sequence, line_.time});
    }
    AppendLine(batch_, source.log->Application(), line_);
    source.reader.Advance();
    *source.next = source.reader.Number();
    if (source.reader.IsAtEnd() || source.Sequence() >= until_) {
        sources.pop_back();
    } else {
        std::push_heap(sources.begin(), sources.end(), Source::IsLater);
    }
}

const ProcessEvent& Observer::NextEvent() const {
    return journal_.EventAt(std::max(nextEvent_, journal_.FirstEvent()));
}

bool Observer::IsEventDue() const {
    return request_.events && nextEvent_ < journal_.EndEvent() && NextEvent().sequence < until_;
}

void Observer::TellNextEvent() {
    if (nextEvent_ < journal_.FirstEvent()) {
        AppendLine(batch_, Gap{nullptr, journal_.FirstEvent() - nextEvent_, NextEvent().sequence,
                               NextEvent().time});
        nextEvent_ = journal_.FirstEvent();
    } else {
        AppendLine(batch_, NextEvent());
        ++nextEvent_;
    }
    SkipOtherEvents();
}

// A gap comes first: of what was in it nobody knows.
void Observer::SkipOtherEvents() {
    while (nextEvent_ >= journal_.FirstEvent() && nextEvent_ < journal_.EndEvent() &&
           !request_.IsAbout(*NextEvent().application)) {
        ++nextEvent_;
    }
}

void Observer::LeaveWith(const char* error, const std::string& reason) {
    AppendRefusal(batch_, error, reason);
    phase_ = Phase::kLeaving;
}

void Observer::Send() {
    const ssize_t count = send(socket_.Get(), batch_.data() + sent_, batch_.size() - sent_,
                               MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0) {
        isBlocked_ = errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM;
        if (!isBlocked_ && errno != EINTR) {
            Close();
        }
        return;
    }
    sent_ += static_cast<size_t>(count);
    if (sent_ == batch_.size()) {
        batch_.clear();
        sent_ = 0;
    }
}

// While it is behind, it goes on as soon as the socket takes something: at once, or later.
void Observer::UpdateInterest() {
    const bool isBehind =
        !batch_.empty() || (phase_ == Phase::kTelling && seen_ != journal_.NextSequence());
    const uint32_t interest =
        (isDeaf_ ? 0U : uint32_t{EPOLLIN}) | (isBehind ? uint32_t{EPOLLOUT} : 0U);
    if (interest != interest_) {
        interest_ = interest;
        loop_.Change(socket_.Get(), interest);
    }
}

void Observer::Close() {
    if (phase_ == Phase::kClosed) {
        return;
    }
    phase_ = Phase::kClosed;
    if (timer_) {
        loop_.Cancel(*timer_);
    }
    loop_.Forget(socket_.Get());
    socket_.Reset();
}

}  // namespace ProcMgrDaemon
