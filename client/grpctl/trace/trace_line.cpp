#include "client/grpctl/trace/trace_line.h"

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::Result;
using Json = nlohmann::json;
using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceKind;
using ProcMgr::TraceRequest;
using ProcMgr::Message::ReportAppStateType;

constexpr uint64_t kSchema = 1;

// Each in the order of its enumeration.
using Word = std::string_view;
constexpr std::array<Word, 13> kKinds{
    "request", "request_end", "phase",      "phase_end", "time_out", "released", "sent",
    "report",  "said",        "transition", "result",    "limiter",  "heartbeat"};
constexpr std::array<Word, 10> kRequests{"boot",     "change", "set-state", "reload", "dump",
                                         "stop-all", "list",   "verify",    "query",  "restart"};
constexpr std::array<Word, 6> kStates{"INITSTATE",  "RUNNING",     "STARTING",
                                      "RESTARTING", "TERMINATING", "TERMINATED"};
constexpr std::array<Word, 3> kOperations{"start", "term", "restart"};
constexpr std::array<Word, 6> kReports{
    "RUNNING_NORMAL_START",   "RUNNING_NORMAL_RESTART",   "RUNNING_ABNORMAL_TERM_TIMEOUT",
    "TERMINATED_NORMAL_EXIT", "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE"};
constexpr std::array<Word, 7> kResults{
    "SUCCESS", "TERM_FAILED", "START_FAILED",       "RESTART_FAILED",
    "INIT",    "PROCESSING",  "START_FAILED_BY_EIO"};
constexpr std::array<Word, 2> kSaid{"SWITCH_ON", "SWITCH_OFF"};
constexpr std::array<Word, 5> kProcessKinds{"spawned", "executed", "signal", "exited", "failed"};

template <size_t Size>
std::optional<size_t> PlaceOf(Word word, const std::array<Word, Size>& words) {
    const auto found = std::find(words.begin(), words.end(), word);
    return found == words.end() ? std::nullopt : std::optional<size_t>(found - words.begin());
}

/// The members of one object. The first one that is not as it should be is kept as the error.
class Members {
public:
    explicit Members(const Json& object) : object_(object) {}

    const std::string& GetError() const { return error_; }

    bool Has(const char* key) const { return object_.contains(key); }

    template <typename Integer>
    Integer Number(const char* key, Integer least = std::numeric_limits<Integer>::min()) {
        const auto member = object_.find(key);
        if (member == object_.end() || !member->is_number_integer()) {
            return Refuse(key, "is no whole number"), Integer{};
        }
        // Only what is negative is not unsigned.
        const bool isFit =
            member->is_number_unsigned()
                ? IsWithin(member->template get<uint64_t>(),
                           static_cast<uint64_t>(std::max<Integer>(least, 0)),
                           static_cast<uint64_t>(std::numeric_limits<Integer>::max()))
                : std::is_signed_v<Integer> &&
                      member->template get<int64_t>() >= static_cast<int64_t>(least);
        if (!isFit) {
            return Refuse(key, "is out of its range"), Integer{};
        }
        return member->template get<Integer>();
    }

    /// 0 when there is none.
    int Pid(const char* key = "pid") { return Has(key) ? std::max(Number<int32_t>(key), 0) : 0; }

    /// Nanoseconds; far from overflow, so that they can be reckoned with.
    int64_t Time(const char* key) {
        constexpr int64_t kMost = std::numeric_limits<int64_t>::max() / 4;
        const auto time = Number<int64_t>(key, 0);
        return time <= kMost ? time : (Refuse(key, "is out of its range"), 0);
    }

    bool Flag(const char* key) {
        const auto member = object_.find(key);
        if (member == object_.end() || !member->is_boolean()) {
            return Refuse(key, "is neither true nor false"), false;
        }
        return member->get<bool>();
    }

    std::string Text(const char* key) {
        const auto member = object_.find(key);
        if (member == object_.end() || !member->is_string()) {
            return Refuse(key, "is no text"), std::string();
        }
        return member->get<std::string>();
    }

    std::string Name(const char* key) {
        constexpr size_t kLongest = 255;
        std::string name = Text(key);
        if (name.empty() || name.size() > kLongest) {
            Refuse(key, "is no name");
        }
        return name;
    }

    template <typename Enumeration, size_t Size>
    Enumeration OneOf(const char* key, const std::array<Word, Size>& words) {
        const std::optional<size_t> place = PlaceOf(Text(key), words);
        if (!place) {
            return Refuse(key, "is no word that is known"), Enumeration{};
        }
        return static_cast<Enumeration>(*place);
    }

private:
    static bool IsWithin(uint64_t value, uint64_t least, uint64_t most) {
        return value >= least && value <= most;
    }

    void Refuse(const char* key, const char* why) {
        if (error_.empty()) {
            error_ = std::string("`").append(key).append("` ").append(why);
        }
    }

    const Json& object_;
    std::string error_;
};

TraceHello ReadHello(Members& members) {
    TraceHello hello;
    hello.owner = members.Name("owner");
    hello.pid = members.Pid();
    hello.first = members.Number<uint64_t>("first");
    hello.next = members.Number<uint64_t>("next");
    hello.time = members.Time("time");
    hello.utc = members.Time("utc");
    return hello;
}

TraceState ReadState(Members& members) {
    TraceState state;
    state.application = members.Name("application");
    state.state = members.OneOf<AppStateType>("state", kStates);
    state.pid = members.Pid();
    state.since = members.Time("since");
    state.cause = members.Number<uint64_t>("cause");
    state.lateMs = members.Number<uint32_t>("late_ms");
    state.restarts = members.Number<uint32_t>("restarts");
    state.windowBegin = members.Time("window_begin");
    return state;
}

void ReadRequestStep(Members& members, TraceStep& step) {
    step.request = members.OneOf<TraceRequest>("request", kRequests);
    if (step.kind == TraceKind::REQUEST) {
        step.uid = members.Number<uint32_t>("uid");
    } else {
        step.isGood = members.Flag("success");
    }
}

void ReadPhaseStep(Members& members, TraceStep& step) {
    step.operation = members.OneOf<OptionType>("phase", kOperations);
    if (step.kind == TraceKind::PHASE) {
        step.count = members.Number<uint32_t>("count");
    }
    if (step.kind == TraceKind::PHASE || step.kind == TraceKind::TIME_OUT) {
        step.waitMs = members.Number<uint32_t>("wait_ms");
    } else if (step.kind == TraceKind::PHASE_END) {
        step.isGood = members.Flag("success");
    } else if (step.kind == TraceKind::RESULT) {
        step.result = members.OneOf<AppChangeState>("result", kResults);
        step.lateMs = members.Number<uint32_t>("late_ms");
    }
}

void ReadReport(Members& members, TraceStep& step) {
    // The process manager may send any number: those without a name are told as nothing.
    const std::optional<size_t> report = PlaceOf(members.Text("report"), kReports);
    step.report = report ? static_cast<ReportAppStateType>(*report)
                         : ReportAppStateType::INVALID_INTERMEDIATE_STATE;
    step.reason = members.Number<uint32_t>("reason");
}

void ReadRest(Members& members, TraceStep& step) {
    switch (step.kind) {
        case TraceKind::REQUEST:
        case TraceKind::REQUEST_END:
            return ReadRequestStep(members, step);
        case TraceKind::PHASE:
        case TraceKind::PHASE_END:
        case TraceKind::TIME_OUT:
        case TraceKind::RELEASED:
        case TraceKind::RESULT:
            return ReadPhaseStep(members, step);
        case TraceKind::SENT:
            step.operation = members.OneOf<OptionType>("operation", kOperations);
            step.error = members.Number<uint32_t>("result");
            return;
        case TraceKind::REPORT:
            return ReadReport(members, step);
        case TraceKind::SAID:
            step.said = members.OneOf<AppReportState>("said", kSaid);
            return;
        case TraceKind::TRANSITION:
            step.from = members.OneOf<AppStateType>("from", kStates);
            step.to = members.OneOf<AppStateType>("to", kStates);
            return;
        case TraceKind::LIMITER:
            step.isGood = members.Flag("allowed");
            step.restarts = members.Number<uint32_t>("restarts");
            step.windowMs = members.Number<uint32_t>("window_ms");
            return;
        case TraceKind::HEARTBEAT:
            constexpr std::array<Word, 2> kWords{"lost", "back"};
            step.said = members.OneOf<size_t>("heartbeat", kWords) == 0
                            ? AppReportState::HEART_BEAT_LOST
                            : AppReportState::HEART_BEAT_RECOVERY;
            return;
    }
}

bool IsOfGroup(TraceKind kind) {
    return kind <= TraceKind::TIME_OUT;
}

TraceStep ReadStep(Members& members, TraceKind kind) {
    TraceStep step;
    step.kind = kind;
    step.sequence = members.Number<uint64_t>("seq", 1);
    step.time = members.Time("time");
    step.cause = members.Has("cause") ? members.Number<uint64_t>("cause") : 0;
    step.pid = members.Pid();
    if (!IsOfGroup(kind) || members.Has("application")) {
        step.application = members.Name("application");
    }
    ReadRest(members, step);
    return step;
}

ProcessEvent ReadProcessEvent(Members& members, ProcessEvent::Kind kind) {
    ProcessEvent event;
    event.kind = kind;
    event.owner = members.Name("owner");
    event.application = members.Name("application");
    event.pid = members.Pid();
    event.time = members.Time("time");
    switch (kind) {
        case ProcessEvent::Kind::kSpawned:
            break;
        case ProcessEvent::Kind::kExecuted:
            event.duration = members.Time("took_ns");
            break;
        case ProcessEvent::Kind::kSignal:
            event.signal = members.Number<int>("signal", 0);
            event.text = members.Text("reason");
            break;
        case ProcessEvent::Kind::kExited:
            event.duration = members.Time("uptime_ns");
            if (members.Has("signal")) {
                event.signal = members.Number<int>("signal", 1);
                event.hasCore = members.Has("core") && members.Flag("core");
            } else {
                event.status = members.Number<int>("status", 0);
            }
            break;
        case ProcessEvent::Kind::kFailed:
            event.text = members.Text("step") + ": " + members.Text("error");
            break;
    }
    return event;
}

TraceGap ReadGap(Members& members) {
    TraceGap gap;
    gap.missed = members.Number<uint64_t>("missed");
    gap.isOfProcesses = members.Has("of");
    return gap;
}

std::optional<Error> CheckSchema(Members& members) {
    if (!members.Has("schema")) {
        return std::nullopt;
    }
    const auto schema = members.Number<uint64_t>("schema");
    if (schema <= kSchema) {
        return std::nullopt;
    }
    return Error{ErrorKind::kRefused,
                 "the lines have schema " + std::to_string(schema) + ", this program reads " +
                     std::to_string(kSchema) + "; use the grpctl that came with the daemons",
                 -1};
}

Result<TraceItem> ReadMembers(Members& members) {
    if (std::optional<Error> error = CheckSchema(members)) {
        return *error;
    }
    const std::string kind = members.Text("kind");
    if (const auto place = PlaceOf(kind, kKinds)) {
        return TraceItem(ReadStep(members, static_cast<TraceKind>(*place)));
    }
    if (const auto place = PlaceOf(kind, kProcessKinds)) {
        return TraceItem(ReadProcessEvent(members, static_cast<ProcessEvent::Kind>(*place)));
    }
    if (kind == "state") {
        return TraceItem(ReadState(members));
    }
    if (kind == "gap") {
        return TraceItem(ReadGap(members));
    }
    if (kind == "end") {
        return TraceItem(TraceEnd{members.Number<uint64_t>("next")});
    }
    if (kind == "hello" && !members.Has("service")) {  // the process manager greets otherwise
        return TraceItem(ReadHello(members));
    }
    if (kind == "refused") {
        return Error{ErrorKind::kNotAllowed, members.Text("reason"), -1};
    }
    if (kind == "error") {
        return Error{ErrorKind::kRefused, members.Text("text"), -1};
    }
    return TraceItem(TraceOther{});
}

}  // namespace

Result<TraceItem> ReadTraceLine(std::string_view line) {
    const Json object = Json::parse(line, nullptr, false);
    if (!object.is_object()) {
        return Error{ErrorKind::kMalformed,
                     "a line is no JSON object: " + GrpOwnerLinux::Quote(line)};
    }
    Members members(object);
    Result<TraceItem> item = ReadMembers(members);
    if (!members.GetError().empty()) {
        return Error{ErrorKind::kMalformed,
                     members.GetError() + " in the line " + GrpOwnerLinux::Quote(line)};
    }
    return item;
}

std::string_view NameOf(AppStateType state) {
    return kStates[static_cast<size_t>(state)];
}

std::string_view NameOf(TraceRequest request) {
    return kRequests[static_cast<size_t>(request)];
}

std::string_view NameOf(TraceKind kind) {
    return kKinds[static_cast<size_t>(kind)];
}

std::string_view NameOf(OptionType operation) {
    return kOperations[static_cast<size_t>(operation)];
}

}  // namespace GrpCtl
