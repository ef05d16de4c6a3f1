#include "src/trace/trace.h"

#include <algorithm>
#include <utility>

#include "src/trace/trace_store.h"

namespace ProcMgr {

void OwnerTrace::Open(size_t capacity, std::function<TraceRequester()> requester) {
    Trace::Store::GetInstance().Open(capacity, std::move(requester));
    Trace::g_isOpen = true;
}

TraceSnapshot OwnerTrace::Snapshot() {
    return Trace::Store::GetInstance().Snapshot();
}

std::vector<TraceEvent> OwnerTrace::Read(uint64_t from, size_t most) {
    return Trace::Store::GetInstance().Read(from, most);
}

bool OwnerTrace::Wait(uint64_t sequence, std::chrono::milliseconds timeout) {
    return Trace::Store::GetInstance().Wait(sequence, Now() + timeout);
}

void OwnerTrace::Wake() {
    Trace::Store::GetInstance().Wake();
}

namespace Trace {

std::atomic<bool> g_isOpen{false};

namespace {

using Writing = Store::Writing;

constexpr int32_t kNoProcess = -1;
constexpr int64_t kNanosecondsAMillisecond = 1000000;

// What the calling thread does, it does because of this step.
thread_local uint64_t currentCause = 0;

template <typename Enumeration>
uint8_t What(Enumeration value) {
    return static_cast<uint8_t>(value);
}

// Whoever asks, the host itself included; with no lock held, for this leaves the library.
uint64_t BeginRequest(TraceRequest what, const std::string& application) {
    if (!IsOpen()) {
        return 0;
    }
    const auto source = Store::GetInstance().Requester();
    const TraceRequester requester = source ? source() : TraceRequester{};
    Writing writing;
    Step step{TraceKind::REQUEST};
    step.what = What(what);
    step.value = requester.uid;
    step.pid = requester.pid;
    step.cause = currentCause;
    if (application.empty()) {
        return writing.Append(step);
    }
    const Record& record = writing.Of(application);
    step.cause = record.heartBeatLost;
    return writing.Append(step, &record);
}

}  // namespace

Cause::Cause(uint64_t sequence) : before_(currentCause) {
    if (sequence != 0) {
        currentCause = sequence;
    }
}

Cause::~Cause() {
    currentCause = before_;
}

Request::Request(TraceRequest what, const std::string& application)
    : what_(what),
      application_(application),
      sequence_(BeginRequest(what, application)),
      cause_(sequence_) {}

Request::~Request() {
    if (sequence_ == 0) {
        return;
    }
    Writing writing;
    Step step{TraceKind::REQUEST_END};
    step.what = What(what_);
    step.value = isDone_ ? 1 : 0;
    step.cause = sequence_;
    (void)writing.Append(step, application_.empty() ? nullptr : &writing.Of(application_));
}

uint64_t ReleaseOf(const std::string& name) {
    if (!IsOpen()) {
        return 0;
    }
    Writing writing;
    const Record* const record = writing.Find(name);
    return record == nullptr ? 0 : record->released;
}

void Sent(OptionType what, const std::string& name, uint32_t result) {
    if (!IsOpen()) {
        return;
    }
    Writing writing;
    Record& record = writing.Of(name);
    const bool isRepeated =
        what == OptionType::TERM && result == 0 && record.sent > record.released;
    if (isRepeated) {
        return;
    }
    Step step{TraceKind::SENT};
    step.what = What(what);
    step.value = result;
    step.cause = std::max(currentCause, record.released);
    const uint64_t sequence = writing.Append(step, &record);
    record.sent = result == 0 ? sequence : 0;
}

uint64_t Report(const Message::AppStateInfo& report) {
    if (!IsOpen()) {
        return 0;
    }
    Writing writing;
    Record& record = writing.Of(report.name);
    Step step{TraceKind::REPORT};
    step.what = static_cast<uint8_t>(std::min<uint32_t>(report.type, UINT8_MAX));
    step.value = report.reason;
    step.pid = static_cast<int32_t>(report.pid);
    step.cause = record.sent;
    record.pid = step.pid;
    return writing.Append(step, &record);
}

uint64_t Said(const std::string& name, int pid, AppReportState state) {
    if (!IsOpen()) {
        return 0;
    }
    Writing writing;
    Record& record = writing.Of(name);
    Step step{TraceKind::SAID};
    step.what = What(state);
    step.pid = pid;
    step.cause = record.sent;
    record.pid = step.pid;
    return writing.Append(step, &record);
}

uint64_t HeartBeat(const std::string& name, int pid, AppReportState state) {
    if (!IsOpen()) {
        return 0;
    }
    Writing writing;
    Record& record = writing.Of(name);
    Step step{TraceKind::HEARTBEAT};
    step.what = What(state);
    step.pid = pid;
    step.cause = state == AppReportState::HEART_BEAT_RECOVERY ? currentCause : 0;
    const uint64_t sequence = writing.Append(step, &record);
    record.heartBeatLost = state == AppReportState::HEART_BEAT_LOST ? sequence : 0;
    return sequence;
}

void Transition(const std::string& name, AppStateType from, AppStateType to, int32_t pid) {
    if (!IsOpen()) {
        return;
    }
    Writing writing;
    Record& record = writing.Of(name);
    Step step{TraceKind::TRANSITION};
    step.what = What(to);
    step.value = static_cast<uint32_t>(from);
    // The application's own is the last one's until the process manager has told the new one, and
    // it may say that it runs before that.
    step.pid = to == AppStateType::STARTING                    ? kNoProcess
               : to == AppStateType::RUNNING && record.pid > 0 ? record.pid
                                                               : pid;
    step.cause = currentCause;
    const uint64_t sequence = writing.Append(step, &record);
    record.shown.state = to;
    record.shown.pid = step.pid;
    record.shown.since = step.when;
    record.shown.cause = sequence;
    record.shown.lateBy = 0;  // its result has not come yet
    if (to == AppStateType::RUNNING || to == AppStateType::TERMINATED) {
        record.sent = 0;
        record.heartBeatLost = 0;
    }
}

void Limiter(const std::string& name, bool isAllowed, uint32_t restarts, int64_t windowMs) {
    if (!IsOpen()) {
        return;
    }
    Writing writing;
    Record& record = writing.Of(name);
    Step step{TraceKind::LIMITER};
    step.what = isAllowed ? 1 : 0;
    step.value = restarts;
    step.extra = static_cast<uint32_t>(std::clamp<int64_t>(windowMs, 0, UINT32_MAX));
    step.cause = currentCause;
    currentCause = writing.Append(step, &record);
    record.shown.restarts = restarts;
    record.shown.windowBegin = restarts == 0 ? 0 : step.when - windowMs * kNanosecondsAMillisecond;
}

void Phase::Begin(size_t applications, Milliseconds wait) {
    if (!IsOpen()) {
        return;
    }
    Writing writing;
    Step step{TraceKind::PHASE};
    step.what = What(what_);
    step.value = static_cast<uint32_t>(applications);
    step.extra = static_cast<uint32_t>(wait.count());
    step.cause = currentCause;
    begin_ = writing.Append(step);
    waitMs_ = step.extra;
    timeOut_ = 0;
    isRunning_ = true;
}

void Phase::TimeOut() {
    if (!isRunning_) {
        return;
    }
    Writing writing;
    Step step{TraceKind::TIME_OUT};
    step.what = What(what_);
    step.value = waitMs_;
    step.cause = begin_;
    (void)writing.Append(step);
    timeOut_ = step.when;
}

void Phase::End(bool isDone) {
    if (!isRunning_.exchange(false)) {
        return;
    }
    Writing writing;
    Step step{TraceKind::PHASE_END};
    step.what = What(what_);
    step.value = isDone ? 1 : 0;
    step.cause = begin_;
    end_ = writing.Append(step);
}

void Phase::Release(const std::string& name, const std::set<std::string>& before) {
    if (!isRunning_) {
        return;
    }
    Writing writing;
    Record& record = writing.Of(name);
    if (record.released > begin_) {
        return;
    }
    Step step{TraceKind::RELEASED};
    step.what = What(what_);
    step.cause = begin_;
    for (const std::string& other : before) {
        const Record* const waitedFor = writing.Find(other);
        step.cause = std::max(step.cause, waitedFor == nullptr ? 0 : waitedFor->result);
    }
    record.released = writing.Append(step, &record);
}

void Phase::Result(const std::string& name, AppChangeState state) {
    if (!isRunning_ && timeOut_ == 0) {
        return;
    }
    Writing writing;
    Record& record = writing.Of(name);
    const bool isRepeated =
        record.result > std::max(record.released, begin_.load()) && record.state == state;
    if (isRepeated) {
        return;  // polling and the report may both bring it
    }
    Step step{TraceKind::RESULT};
    if (!isRunning_) {
        const bool wasOnItsWay =
            record.released > begin_ && record.released < end_ && record.result < record.released;
        if (!wasOnItsWay) {
            return;
        }
        const int64_t late = (step.when - timeOut_) / kNanosecondsAMillisecond;
        step.extra = static_cast<uint32_t>(std::clamp<int64_t>(late, 1, UINT32_MAX));
    }
    step.what = What(what_);
    step.value = static_cast<uint32_t>(state);
    // The transition that the report, or who asked, has brought about; polling sees nothing but
    // that.
    step.cause = std::max(currentCause, record.shown.cause);
    record.result = writing.Append(step, &record);
    record.state = state;
    record.shown.lateBy = step.extra;
}

}  // namespace Trace

}  // namespace ProcMgr
