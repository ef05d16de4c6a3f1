#include "client/grpctl/timeline/story.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>
#include <utility>

#include "client/grpctl/timeline/words.h"
#include "client/grpctl/trace/trace_words.h"

namespace GrpCtl::Timeline {

namespace {

using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceKind;
using ProcMgr::TraceRequest;
using ProcMgr::Message::ReportAppStateType;

using Place = std::optional<size_t>;

std::optional<Stage> StageOf(AppStateType state) {
    switch (state) {
        case AppStateType::RUNNING:
            return Stage::kRunning;
        case AppStateType::STARTING:
            return Stage::kStarting;
        case AppStateType::RESTARTING:
            return Stage::kRestarting;
        case AppStateType::TERMINATING:
            return Stage::kStopping;
        case AppStateType::INITSTATE:
        case AppStateType::TERMINATED:
            break;
    }
    return std::nullopt;
}

bool IsGoal(OptionType what, AppStateType state) {
    return what == OptionType::TERM
               ? state == AppStateType::TERMINATED || state == AppStateType::INITSTATE
               : state == AppStateType::RUNNING;
}

// Questions change nothing, and somebody who watches asks many.
bool IsShown(TraceRequest request) {
    return request != TraceRequest::LIST && request != TraceRequest::VERIFY &&
           request != TraceRequest::QUERY && request != TraceRequest::DUMP;
}

/// Goes through the steps once.
class Teller {
public:
    explicit Teller(const Trace& trace) : trace_(trace) {
        story_.owner = trace.hello.owner;
        story_.utcOffset = trace.hello.utc - trace.hello.time;
        story_.missed = trace.missed;
        if (!trace.steps.empty()) {
            story_.origin = story_.begin = trace.steps.front().time;
            story_.end = trace.steps.back().time;
        }
    }

    Story Tell() {
        for (const ProcessEvent& event : trace_.processes) {
            ends_.Add(event);
        }
        TakeOver();
        for (const TraceStep& step : trace_.steps) {
            Take(step);
        }
        Finish();
        JoinProcesses();
        return std::move(story_);
    }

private:
    /// What is known of a row while the steps go by.
    struct Current {
        AppStateType state = AppStateType::INITSTATE;
        Place move;  // under way
        int32_t pid = -1;
        bool hasSteps = false;
    };

    size_t RowOf(const std::string& name) {
        const auto [found, isNew] = rows_.emplace(name, story_.rows.size());
        if (isNew) {
            story_.rows.emplace_back().name = name;
            current_.emplace_back();
        }
        return found->second;
    }

    // Those of which no step was kept are as they were found.
    void TakeOver() {
        for (const TraceState& found : trace_.states) {
            const bool hasSteps =
                std::any_of(trace_.steps.begin(), trace_.steps.end(), [&](const TraceStep& step) {
                    return step.kind == TraceKind::TRANSITION &&
                           step.application == found.application;
                });
            if (!hasSteps && StageOf(found.state)) {
                const size_t row = RowOf(found.application);
                current_[row].hasSteps = true;
                Enter(row, found.state, story_.begin, found.pid);
            }
        }
    }

    void Take(const TraceStep& step) {
        switch (step.kind) {
            case TraceKind::REQUEST:
                return TakeRequest(step);
            case TraceKind::REQUEST_END:
                return End(step, requests_, story_.requests);
            case TraceKind::PHASE:
                return TakePhase(step);
            case TraceKind::PHASE_END:
                return End(step, phases_, story_.phases);
            case TraceKind::TIME_OUT:
                if (const Place phase = Find(phases_, step.cause)) {
                    story_.phases[*phase].timeOut = step.time;
                }
                return;
            case TraceKind::RELEASED:
                return TakeRelease(step);
            case TraceKind::SENT:
                return TakeSent(step);
            case TraceKind::REPORT:
                return TakeReport(step);
            case TraceKind::SAID:
                return TakeSaid(step);
            case TraceKind::TRANSITION:
                return TakeTransition(step);
            case TraceKind::RESULT:
                return TakeResult(step);
            case TraceKind::LIMITER:
                return TakeLimiter(step);
            case TraceKind::HEARTBEAT:
                return TakeHeartBeat(step);
        }
    }

    Place& LastPhase(OptionType what) { return lastPhase_[static_cast<size_t>(what)]; }

    using Places = std::unordered_map<uint64_t, size_t>;

    static Place Find(const Places& places, uint64_t sequence) {
        const auto found = places.find(sequence);
        return found == places.end() ? std::nullopt : Place(found->second);
    }

    void TakeRequest(const TraceStep& step) {
        if (!IsShown(step.request)) {
            return;
        }
        Band band;
        band.words = NameOf(step.request);
        if (!step.application.empty()) {
            band.words += " of " + step.application;
        }
        band.begin = step.time;
        band.asker = Requester(step, trace_.hello.pid);
        requests_[step.sequence] = story_.requests.size();
        story_.requests.push_back(std::move(band));
    }

    void TakePhase(const TraceStep& step) {
        Band band;
        band.words = WordOf(step.operation) + " of " + std::to_string(step.count);
        band.begin = step.time;
        band.request = Find(requests_, step.cause);
        band.stage = step.operation == OptionType::START  ? Stage::kStarting
                     : step.operation == OptionType::TERM ? Stage::kStopping
                                                          : Stage::kRestarting;
        phases_[step.sequence] = story_.phases.size();
        LastPhase(step.operation) = story_.phases.size();
        story_.phases.push_back(std::move(band));
    }

    static void End(const TraceStep& step, const Places& places, std::vector<Band>& bands) {
        if (const Place place = Find(places, step.cause)) {
            bands[*place].end = step.time;
            bands[*place].isDone = step.isGood;
        }
    }

    size_t BeginMove(size_t row, OptionType what, int64_t when) {
        Move move;
        move.row = row;
        move.what = what;
        move.begin = when;
        const size_t place = story_.moves.size();
        story_.moves.push_back(move);
        story_.rows[row].moves.push_back(place);
        current_[row].move = place;
        return place;
    }

    void TakeRelease(const TraceStep& step) {
        const OptionType what = step.operation;
        const size_t row = RowOf(step.application);
        Move& move = story_.moves[BeginMove(row, what, step.time)];
        move.waitedFor = Find(results_, step.cause);
        move.phase = Find(phases_, step.cause);
        if (move.waitedFor) {
            move.phase = story_.moves[*move.waitedFor].phase;
        } else if (!move.phase) {
            move.phase = LastPhase(what);
        }
        const bool isUp = what == OptionType::START && !StageOf(current_[row].state);
        if (isUp && move.phase && story_.phases[*move.phase].begin < step.time) {
            Span span;
            span.stage = Stage::kWaiting;
            span.begin = story_.phases[*move.phase].begin;
            span.end = step.time;
            span.move = current_[row].move;
            auto& spans = story_.rows[row].spans;
            span.begin = spans.empty() ? span.begin : std::max(span.begin, spans.back().end);
            spans.push_back(span);
        }
    }

    Move* MoveOf(size_t row) {
        return current_[row].move ? &story_.moves[*current_[row].move] : nullptr;
    }

    void TakeSent(const TraceStep& step) {
        const size_t row = RowOf(step.application);
        Move* move = MoveOf(row);
        if (move == nullptr || move->what != step.operation) {
            move = &story_.moves[BeginMove(row, step.operation, step.time)];
        }
        if (step.error == 0) {
            move->sent = step.time;
        } else {
            move->failed = step.time;
        }
    }

    void TakeReport(const TraceStep& step) {
        const size_t row = RowOf(step.application);
        const bool isUp = step.report == ReportAppStateType::RUNNING_NORMAL_START ||
                          step.report == ReportAppStateType::RUNNING_NORMAL_RESTART;
        if (!isUp) {
            return;
        }
        current_[row].pid = step.pid;
        auto& spans = story_.rows[row].spans;
        if (!spans.empty() && spans.back().isOpen) {
            spans.back().pid = step.pid;
        }
        if (Move* const move = MoveOf(row); move != nullptr && move->IsStart()) {
            move->reported = step.time;
            move->pid = step.pid;
        }
    }

    void TakeSaid(const TraceStep& step) {
        Move* const move = MoveOf(RowOf(step.application));
        if (step.said == AppReportState::SWITCH_ON && move != nullptr) {
            move->said = step.time;
        }
    }

    void Leave(size_t row, int64_t when) {
        auto& spans = story_.rows[row].spans;
        if (!spans.empty() && spans.back().isOpen) {
            spans.back().end = when;
            spans.back().isOpen = false;
        }
    }

    void Enter(size_t row, AppStateType state, int64_t when, int32_t pid) {
        Leave(row, when);
        Current& current = current_[row];
        current.state = state;
        if (const auto stage = StageOf(state)) {
            Span span;
            span.stage = *stage;
            span.begin = when;
            span.pid = pid;
            span.move = current.move;
            span.isOpen = true;
            story_.rows[row].spans.push_back(span);
        }
    }

    void TakeTransition(const TraceStep& step) {
        const AppStateType to = step.to;
        const AppStateType from = step.from;
        const size_t row = RowOf(step.application);
        if (!std::exchange(current_[row].hasSteps, true)) {
            Enter(row, from, story_.begin, step.pid);  // the step into it was not kept
        }
        current_[row].pid = step.pid > 0 ? step.pid : current_[row].pid;
        if (to == AppStateType::RESTARTING && MoveOf(row) == nullptr) {
            BeginMove(row, OptionType::RESTART, step.time);  // which nobody has asked the owner for
        }
        if (to == AppStateType::TERMINATED) {
            MarkEnd(row, from, step);
        }
        Enter(row, to, step.time, step.pid);
        if (Move* const move = MoveOf(row); move != nullptr && IsGoal(move->what, to)) {
            move->done = step.time;
            move->pid = step.pid > 0 ? step.pid : move->pid;
        } else if (move != nullptr && to == AppStateType::TERMINATED) {
            move->failed = step.time;
        }
        if (to == AppStateType::RUNNING || to == AppStateType::TERMINATED) {
            lastMove_[row] = current_[row].move ? current_[row].move : lastMove_[row];
            current_[row].move.reset();
        }
    }

    // The process manager knows more of it than its report can hold.
    std::string EndOf(const TraceStep& report) const {
        const ProcessEvent* const end = ends_.Find(report.application, report.pid);
        const auto byReason = end == nullptr ? EndByReason(report) : *end;
        return byReason ? WordsOf(*byReason) : "";
    }

    void MarkEnd(size_t row, AppStateType from, const TraceStep& step) {
        if (from == AppStateType::TERMINATING) {
            return;
        }
        const TraceStep* const cause = trace_.At(step.cause);
        const bool isReport = cause != nullptr && cause->kind == TraceKind::REPORT;
        const bool isCrash =
            isReport && cause->report == ReportAppStateType::TERMINATED_ABNORMAL_EXIT;
        const bool wasUp = from == AppStateType::RUNNING;
        Mark mark;
        mark.kind = !wasUp ? MarkKind::kStartFailed : isCrash ? MarkKind::kCrash : MarkKind::kEnd;
        mark.when = step.time;
        mark.pid = step.pid > 0 ? step.pid : current_[row].pid;
        mark.words = !wasUp ? "ended before it was ready" : isCrash ? "crashed" : "ended by itself";
        const std::string reason = isCrash ? EndOf(*cause) : "";
        mark.words += reason.empty() ? "" : ": " + reason;
        story_.rows[row].marks.push_back(std::move(mark));
    }

    void TakeResult(const TraceStep& step) {
        const size_t row = RowOf(step.application);
        if (const Move* const move = MoveOf(row);
            move != nullptr && move->sent == 0 && step.result == AppChangeState::SUCCESS) {
            // It was there already: what it waited for is how it came there.
            story_.rows[row].moves.pop_back();
            current_[row].move.reset();
        }
        const Place move = current_[row].move ? current_[row].move : lastMove_[row];
        if (!move) {
            return;
        }
        results_[step.sequence] = *move;
        if (step.result != AppChangeState::SUCCESS && story_.moves[*move].failed == 0) {
            story_.moves[*move].failed = step.time;
        }
    }

    void TakeLimiter(const TraceStep& step) {
        if (step.isGood) {
            return;
        }
        Mark mark;
        mark.kind = MarkKind::kNotRestarted;
        mark.when = step.time;
        mark.words = "not restarted: " + RefusalWords(step);
        story_.rows[RowOf(step.application)].marks.push_back(std::move(mark));
    }

    void TakeHeartBeat(const TraceStep& step) {
        const bool isLost = step.said == AppReportState::HEART_BEAT_LOST;
        Mark mark;
        mark.kind = isLost ? MarkKind::kHeartBeatLost : MarkKind::kHeartBeatBack;
        mark.when = step.time;
        mark.pid = step.pid;
        mark.words = isLost ? "heartbeat lost" : "heartbeat back";
        story_.rows[RowOf(step.application)].marks.push_back(std::move(mark));
    }

    // What still goes on, goes on until the trace was read.
    void Finish() {
        const bool isPending = std::any_of(current_.begin(), current_.end(),
                                           [](const Current& one) { return one.move; });
        if (isPending) {
            story_.end = std::max(story_.end, trace_.hello.time);
        }
        for (Row& row : story_.rows) {
            if (!row.spans.empty() && row.spans.back().isOpen) {
                row.spans.back().end = story_.end;
            }
        }
        for (std::vector<Band>* bands : {&story_.requests, &story_.phases}) {
            for (Band& band : *bands) {
                band.end = band.isDone ? band.end : story_.end;
            }
        }
    }

    void JoinProcesses() {
        using Key = std::pair<std::string, int>;
        std::map<Key, Move*> starts;
        for (Move& move : story_.moves) {
            if (move.IsStart() && move.pid > 0) {
                starts[Key(story_.rows[move.row].name, move.pid)] = &move;
            }
        }
        for (const ProcessEvent& event : trace_.processes) {
            const auto start = starts.find(Key(event.application, event.pid));
            if (start == starts.end() || event.time < start->second->begin) {
                continue;
            }
            if (event.kind == ProcessEvent::Kind::kSpawned) {
                start->second->spawned = event.time;
            } else if (event.kind == ProcessEvent::Kind::kExecuted) {
                start->second->executed = event.time;
            }
        }
    }

    const Trace& trace_;
    ProcessEnds ends_;
    Story story_;
    std::unordered_map<std::string, size_t> rows_;
    std::vector<Current> current_;                // of the rows
    std::unordered_map<size_t, Place> lastMove_;  // of a row, ended
    Places requests_;
    Places phases_;
    Places results_;                  // to moves
    std::array<Place, 3> lastPhase_;  // of each kind
};

}  // namespace

std::optional<size_t> Story::FindRow(const std::string& name) const {
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.name == name; });
    return found == rows.end() ? std::nullopt : Place(static_cast<size_t>(found - rows.begin()));
}

Story Tell(const Trace& trace) {
    return Teller(trace).Tell();
}

}  // namespace GrpCtl::Timeline
