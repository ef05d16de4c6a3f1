#include "client/grpctl/trace/trace_reader.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include "client/grpctl/group/session.h"
#include "client/grpctl/text/failure.h"
#include "client/line_stream.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::LineStream;
using GrpOwnerClient::Result;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kPatience{5000};
constexpr int kLongestWaitMs = 60000;
constexpr size_t kMostSteps = size_t{1} << 18;
constexpr size_t kMostProcesses = size_t{1} << 16;

// Beside the owner's own socket.
std::string TracePath(const std::string& ownerSocket) {
    const size_t end = ownerSocket.rfind('.');
    return ownerSocket.substr(0, end) + ".trace";
}

std::string ProcessManagerPath(const std::string& ownerSocket) {
    const size_t slash = ownerSocket.rfind('/');
    return (slash == std::string::npos ? "" : ownerSocket.substr(0, slash + 1)) + "PROCMGR.observe";
}

Result<LineStream> OpenOwner(const std::string& ownerSocket, int64_t from, bool isFollowing,
                             milliseconds timeout) {
    return LineStream::Open(
        TracePath(ownerSocket), "group owner",
        (from < 0 ? "from=now" : "from=" + std::to_string(from)) + (isFollowing ? " follow" : ""),
        timeout);
}

// Nothing but a missing detail when it cannot be reached.
std::optional<LineStream> OpenProcessManager(const std::string& ownerSocket,
                                             const std::string& owner, bool isFollowing,
                                             milliseconds timeout) {
    Result<LineStream> stream = LineStream::Open(
        ProcessManagerPath(ownerSocket), "process manager",
        "owner=" + owner + " events=4096" + (isFollowing ? " follow" : ""), timeout);
    return stream ? std::optional(std::move(*stream)) : std::nullopt;
}

bool IsEnd(const TraceStep& step) {
    using Type = ProcMgr::Message::ReportAppStateType;
    return step.kind == ProcMgr::TraceKind::REPORT &&
           (step.report == Type::TERMINATED_NORMAL_EXIT ||
            step.report == Type::TERMINATED_ABNORMAL_EXIT);
}

Failure ToTraceFailure(const Error& error) {
    switch (error.kind) {
        case ErrorKind::kUnreachable:
            return {kUnreachable, "cannot reach the trace of a group owner", error.message,
                    "an owner that was started with --trace 0 keeps none; `grpctl status` tells "
                    "whether one is there"};
        case ErrorKind::kRefused:
            return {kFailed, "cannot read the trace", error.message, ""};
        default:
            return ToFailure(error);
    }
}

/// Puts items into a Trace.
class Collector {
public:
    void Take(Result<TraceItem> item) {
        if (item) {
            std::visit([this](auto& value) { Put(std::move(value)); }, *item);
        } else if (item.GetError().kind != ErrorKind::kMalformed) {
            throw ToTraceFailure(item.GetError());
        } else if (trace_.unreadable++ == 0) {
            trace_.firstUnreadable = item.GetError().message;
        }
    }

    const TraceHello& Hello() const { return trace_.hello; }
    bool HasHello() const { return hasHello_; }
    bool IsAtEnd() const { return isAtEnd_; }

    Trace Finish() {
        Trace trace = std::move(trace_);
        const auto isForeign = [&](const ProcessEvent& event) {
            return event.owner != trace.hello.owner;
        };
        trace.processes.erase(
            std::remove_if(trace.processes.begin(), trace.processes.end(), isForeign),
            trace.processes.end());
        std::stable_sort(trace.processes.begin(), trace.processes.end(),
                         [](const auto& a, const auto& b) { return a.time < b.time; });
        if (!trace.steps.empty()) {
            trace.missed = trace.steps.back().sequence - trace.steps.size();
        }
        return trace;
    }

private:
    void Put(TraceOther) {}
    void Put(TraceGap) {}  // the sequences tell the same
    void Put(TraceEnd) { isAtEnd_ = true; }
    void Put(TraceState state) { trace_.states.push_back(std::move(state)); }

    // In a file, a new start of the owner: its numbers begin anew.
    void Put(TraceHello hello) {
        hasHello_ = true;
        trace_.hello = std::move(hello);
        trace_.states.clear();
        trace_.steps.clear();
        trace_.missed = 0;
    }

    void Put(TraceStep step) {
        if (!trace_.steps.empty() && step.sequence <= trace_.steps.back().sequence) {
            Take(Error{ErrorKind::kMalformed, "step " + std::to_string(step.sequence) +
                                                  " does not follow the one before it"});
            return;
        }
        trace_.steps.push_back(std::move(step));
        if (trace_.steps.size() > kMostSteps) {
            trace_.steps.pop_front();
        }
    }

    void Put(ProcessEvent event) {
        trace_.hasProcesses = true;
        trace_.processes.push_back(std::move(event));
        if (trace_.processes.size() > kMostProcesses) {
            trace_.processes.pop_front();
        }
    }

    Trace trace_;
    bool hasHello_ = false;
    bool isAtEnd_ = false;
};

// Up to its "end", or to the end of the stream.
void CollectOwner(LineStream& stream, Collector& collector, milliseconds timeout) {
    while (!collector.IsAtEnd()) {
        const Result<std::string> line = stream.Next(timeout);
        if (!line) {
            throw ToTraceFailure(line.GetError());
        }
        collector.Take(ReadTraceLine(*line));
    }
}

bool CollectProcesses(LineStream& stream, Collector& collector, milliseconds timeout) {
    while (true) {
        const Result<std::string> line = stream.Next(timeout);
        if (!line) {
            return line.GetError().kind == ErrorKind::kUnreachable && line.GetError().code == 0;
        }
        Result<TraceItem> item = ReadTraceLine(*line);
        if (!item && item.GetError().kind != ErrorKind::kMalformed) {
            return false;  // refused
        }
        collector.Take(std::move(item));
    }
}

// A last line without its end is still being written.
Trace ReadFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw Failure{kFailed, "cannot read the file " + GrpOwnerLinux::Quote(path), "", ""};
    }
    Collector collector;
    std::string line;
    while (std::getline(file, line) && !file.eof()) {
        collector.Take(line.size() <= LineStream::kLongestLine
                           ? ReadTraceLine(line)
                           : Error{ErrorKind::kMalformed, "a line is too long"});
    }
    if (!collector.HasHello()) {
        throw Failure{kFailed, GrpOwnerLinux::Quote(path) + " holds no trace",
                      "there is no `hello` in it", "grpownerd writes one with --trace-file FILE"};
    }
    return collector.Finish();
}

}  // namespace

const TraceStep* Trace::At(uint64_t sequence) const {
    const auto step = std::lower_bound(
        steps.begin(), steps.end(), sequence,
        [](const TraceStep& entry, uint64_t number) { return entry.sequence < number; });
    return step == steps.end() || step->sequence != sequence ? nullptr : &*step;
}

Trace ReadTrace(const Options& options) {
    if (!options.traceFile.empty()) {
        return ReadFile(options.traceFile);
    }
    const std::string socket = FindOwnerSocket(options);
    const milliseconds timeout = options.timeout.value_or(kPatience);
    Result<LineStream> owner = OpenOwner(socket, 0, false, timeout);
    if (!owner) {
        throw ToTraceFailure(owner.GetError());
    }
    Collector collector;
    CollectOwner(*owner, collector, timeout);
    bool hasProcesses = false;
    if (auto stream = OpenProcessManager(socket, collector.Hello().owner, false, timeout)) {
        hasProcesses = CollectProcesses(*stream, collector, timeout);
    }
    Trace trace = collector.Finish();
    trace.hasProcesses = hasProcesses;
    return trace;
}

std::optional<Trace> ReadSnapshot(const std::string& ownerSocket, milliseconds timeout) {
    Result<LineStream> owner = OpenOwner(ownerSocket, -1, false, timeout);
    if (!owner) {
        return std::nullopt;
    }
    Collector collector;
    try {
        CollectOwner(*owner, collector, timeout);
    } catch (const Failure&) {
        return std::nullopt;
    }
    return collector.Finish();
}

/// Both sides, and the items that are on their way from here to the caller.
struct TraceReader::Streams {
    std::string socket;
    milliseconds patience{0};
    LineStream owner;
    std::optional<LineStream> processes;
    std::deque<Result<TraceItem>> waiting;
    ProcessEnds ends;
    int64_t toldUntil = 0;  // by the process manager
    milliseconds endPatience = kEndPatience;

    void TakeProcesses();
    void TakeProcess(Result<TraceItem> item);
    void TakeOwner(const std::string& line);
    std::optional<Error> Await(const GrpOwnerClient::Patience& limits) const;
    void AwaitEnd(const TraceStep& step);

    static constexpr milliseconds kEndPatience{200};
};

// All that has come from the process manager.
void TraceReader::Streams::TakeProcesses() {
    while (processes) {
        const Result<std::string> line = processes->Next(milliseconds(0));
        if (line) {
            TakeProcess(ReadTraceLine(*line));
            continue;
        }
        if (line.GetError().kind != ErrorKind::kTimeout) {
            processes.reset();
        }
        return;
    }
}

void TraceReader::Streams::TakeProcess(Result<TraceItem> item) {
    if (!item && item.GetError().kind != ErrorKind::kMalformed) {
        processes.reset();  // it does not serve us
        return;
    }
    if (const auto* const event = item ? std::get_if<ProcessEvent>(&*item) : nullptr) {
        ends.Add(*event);
        toldUntil = std::max(toldUntil, event->time);
    }
    if (!item || !std::holds_alternative<TraceOther>(*item)) {
        waiting.push_back(std::move(item));
    }
}

// The process manager tells the owner and its observers at about the same time. When it does not,
// the next ends are waited for less and less: nobody may fall behind the owner because of it.
void TraceReader::Streams::AwaitEnd(const TraceStep& step) {
    const Clock::time_point deadline = Clock::now() + endPatience;
    const auto isKnown = [&] {
        constexpr int64_t kNew = 1'000'000'000;  // of an earlier process with that number otherwise
        const ProcessEvent* const end = ends.Find(step.application, step.pid);
        return end != nullptr && end->time > step.time - kNew;
    };
    TakeProcesses();
    while (processes && !isKnown() && toldUntil <= step.time) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        pollfd entry{processes->Descriptor(), POLLIN, 0};
        if (left.count() <= 0 || poll(&entry, 1, static_cast<int>(left.count())) == 0) {
            break;
        }
        TakeProcesses();
    }
    endPatience = isKnown() ? kEndPatience : endPatience / 2;
}

std::optional<Error> TraceReader::Streams::Await(const GrpOwnerClient::Patience& limits) const {
    while (true) {
        pollfd entries[] = {{owner.Descriptor(), POLLIN, 0},
                            {processes ? processes->Descriptor() : -1, POLLIN, 0},
                            {limits.interruptFd, POLLIN, 0}};
        const auto left = std::chrono::ceil<milliseconds>(limits.deadline - Clock::now());
        const int wait = static_cast<int>(std::clamp<int64_t>(left.count(), 0, kLongestWaitMs));
        if (poll(entries, std::size(entries), wait) < 0 && errno != EINTR) {
            return Error{ErrorKind::kUnreachable,
                         std::string("cannot wait for the trace: ") + std::strerror(errno), errno};
        }
        if (entries[2].revents != 0) {
            return Error{ErrorKind::kInterrupted, "given up while waiting for the trace"};
        }
        if (entries[0].revents != 0 || entries[1].revents != 0) {
            return std::nullopt;
        }
        if (left.count() <= 0) {
            return Error{ErrorKind::kTimeout, "nothing has happened"};
        }
    }
}

void TraceReader::Streams::TakeOwner(const std::string& line) {
    Result<TraceItem> item = ReadTraceLine(line);
    if (item && std::holds_alternative<TraceHello>(*item) && !processes) {
        // It is known by its name only now.
        processes = OpenProcessManager(socket, std::get<TraceHello>(*item).owner, true, patience);
    }
    if (const auto* const step = item ? std::get_if<TraceStep>(&*item) : nullptr) {
        if (IsEnd(*step)) {
            AwaitEnd(*step);
        }
    }
    if (!item || !std::holds_alternative<TraceOther>(*item)) {
        waiting.push_back(std::move(item));
    }
}

TraceReader::TraceReader(std::unique_ptr<Streams> streams) : streams_(std::move(streams)) {}
TraceReader::TraceReader(TraceReader&&) noexcept = default;
TraceReader& TraceReader::operator=(TraceReader&&) noexcept = default;
TraceReader::~TraceReader() = default;

TraceReader TraceReader::Follow(const Options& options, int64_t from) {
    auto streams = std::make_unique<Streams>();
    streams->socket = FindOwnerSocket(options);
    streams->patience = kPatience;
    Result<LineStream> owner = OpenOwner(streams->socket, from, true, kPatience);
    if (!owner) {
        throw ToTraceFailure(owner.GetError());
    }
    streams->owner = std::move(*owner);
    return TraceReader(std::move(streams));
}

const ProcessEnds& TraceReader::Ends() const {
    return streams_->ends;
}

bool TraceReader::HasProcesses() const {
    return streams_->processes.has_value();
}

Result<TraceItem> TraceReader::Next(milliseconds timeout, int interruptFd) {
    const GrpOwnerClient::Patience patience{timeout, interruptFd};
    while (true) {
        streams_->TakeProcesses();
        if (streams_->waiting.empty()) {
            const Result<std::string> line = streams_->owner.Next(milliseconds(0));
            if (line) {
                streams_->TakeOwner(*line);
            } else if (line.GetError().kind != ErrorKind::kTimeout) {
                return line.GetError();
            } else if (std::optional<Error> error = streams_->Await(patience)) {
                return *error;
            }
        }
        if (!streams_->waiting.empty()) {
            Result<TraceItem> item = std::move(streams_->waiting.front());
            streams_->waiting.pop_front();
            return item;
        }
    }
}

}  // namespace GrpCtl
