#include "client/grpctl/trace/watch_lines.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/name_list.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using ProcMgr::TraceKind;
using ProcMgr::TraceRequest;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr size_t kTimeWidth = sizeof("12:04:31.207  ") - 1;
constexpr size_t kNameGap = 3;
constexpr std::string_view kArrow = "-> ";
constexpr size_t kWordWidth = 12;

std::string Padded(const std::string& text, size_t width) {
    const size_t used = GrpOwnerLinux::CountCharacters(text);
    return text + std::string(width > used ? width - used : 1, ' ');
}

Style StyleOf(AppStateType state) {
    switch (state) {
        case AppStateType::RUNNING:
            return Style::kGood;
        case AppStateType::STARTING:
        case AppStateType::RESTARTING:
        case AppStateType::TERMINATING:
            return Style::kBusy;
        case AppStateType::INITSTATE:
        case AppStateType::TERMINATED:
            break;
    }
    return Style::kFaint;
}

// Requests that only ask would hide what happens; why the owner itself restarts one application
// stands in the change that follows.
bool IsShown(TraceRequest request) {
    return request != TraceRequest::LIST && request != TraceRequest::VERIFY &&
           request != TraceRequest::QUERY && request != TraceRequest::RESTART;
}

// What goes as it should is told by the changes of state alone.
bool IsShown(const TraceStep& step) {
    switch (step.kind) {
        case TraceKind::REQUEST:
            return IsShown(step.request);
        case TraceKind::REQUEST_END:
            return IsShown(step.request) && step.request != TraceRequest::DUMP;
        case TraceKind::SENT:
            return step.error != 0;
        case TraceKind::RESULT:
            return step.result != AppChangeState::SUCCESS || step.lateMs > 0;
        case TraceKind::LIMITER:
            return !step.isGood;
        case TraceKind::TIME_OUT:
        case TraceKind::TRANSITION:
        case TraceKind::HEARTBEAT:
            return true;
        case TraceKind::PHASE:
        case TraceKind::PHASE_END:
        case TraceKind::RELEASED:
        case TraceKind::REPORT:
        case TraceKind::SAID:
            break;
    }
    return false;
}

// Of the applications that a phase has released, those without a result.
std::vector<std::string> OnTheirWay(uint64_t phase, const Chronicle& chronicle) {
    const auto& steps = chronicle.Steps();
    std::set<std::string> seen;  // backwards: the last word on each application comes first
    std::vector<std::string> open;
    for (auto step = steps.rbegin(); step != steps.rend() && step->sequence > phase; ++step) {
        const bool isRelease = step->kind == TraceKind::RELEASED;
        if ((isRelease || step->kind == TraceKind::RESULT) &&
            seen.insert(step->application).second && isRelease) {
            open.push_back(step->application);
        }
    }
    std::sort(open.begin(), open.end());
    return open;
}

}  // namespace

WatchLines::WatchLines(Policies policies, const std::vector<std::string>& names, Screen screen)
    : policies_(std::move(policies)), names_(names.begin(), names.end()), screen_(screen) {
    for (const auto& [name, policy] : policies_) {
        if (IsWanted(name)) {
            nameWidth_ = std::max<size_t>(nameWidth_, name.size());
        }
    }
}

bool WatchLines::IsWanted(const std::string& application) const {
    return names_.empty() || names_.count(application) > 0;
}

std::string WatchLines::Begin(const TraceHello& hello, const std::vector<TraceState>& states) {
    hello_ = hello;
    clock_ = WallClock(hello.time, hello.utc);
    std::vector<TraceState> sorted;
    for (const TraceState& state : states) {
        if (IsWanted(state.application)) {
            nameWidth_ =
                std::max<size_t>(nameWidth_, GrpOwnerLinux::CountCharacters(state.application));
            sorted.push_back(state);
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.since < b.since; });
    std::string text;
    for (const TraceState& state : sorted) {
        words_[state.application] = WordOf(state.state);
        Line line{state.application, "", WordOf(state.state), StyleOf(state.state), "", ""};
        const bool isAlive = state.state != AppStateType::TERMINATED && state.pid > 0;
        line.details = isAlive ? "pid " + std::to_string(state.pid) + ", " : "";
        line.details += "for " + ShowAge(std::chrono::duration_cast<milliseconds>(
                                     nanoseconds(std::max<int64_t>(hello.time - state.since, 0))));
        line.details += state.lateMs > 0 ? ", " + LateWords(state.lateMs) : "";
        text += Put(state.since, line);
    }
    return text;
}

std::string WatchLines::DetailsOf(const TraceStep& step, const StepFacts& facts) const {
    std::string asked = facts.request ? AskedWords(*facts.request, hello_.pid) : "";
    switch (step.to) {
        case AppStateType::STARTING:
            return facts.releasedBy.empty() ? asked : "released by " + facts.releasedBy;
        case AppStateType::RESTARTING:
            return facts.request    ? asked
                   : facts.decision ? RestartWords(*facts.decision, policies_)
                                    : "";
        case AppStateType::RUNNING: {
            std::string words = facts.pid > 0 ? "pid " + std::to_string(facts.pid) : "";
            if (facts.took) {
                words += (words.empty() ? "+" : ", +") + Show(*facts.took);
            }
            return words;
        }
        case AppStateType::TERMINATED: {
            const auto policy = policies_.find(step.application);
            const bool staysDown = facts.isCrash && step.from == AppStateType::RUNNING &&
                                   policy != policies_.end() && policy->second == "no";
            return EndWords(facts) + (staysDown ? ", stays down (restart: no)" : "");
        }
        case AppStateType::TERMINATING:
        case AppStateType::INITSTATE:
            break;
    }
    return asked;
}

WatchLines::Line WatchLines::Transition(const TraceStep& step, const StepFacts& facts) {
    std::string& word = words_[step.application];
    Line line{step.application,       word.empty() ? WordOf(step.from) : word,
              WordOf(step.to),        StyleOf(step.to),
              DetailsOf(step, facts), ""};
    if (facts.isUnasked) {
        line.to = "terminated";
        line.style = facts.isCrash ? Style::kBad : Style::kFaint;
    }
    word = line.to;
    return line;
}

WatchLines::Line WatchLines::TimeOut(const TraceStep& step, const Chronicle& chronicle) const {
    constexpr size_t kNamesWidth = 40;
    const std::vector<std::string> names = OnTheirWay(step.cause, chronicle);
    std::string details = "after " + ShowDuration(milliseconds(step.waitMs));
    details += names.empty() ? "" : ", still on the way: " + Abridged(names, kNamesWidth);
    return {"", "", WordOf(step.operation) + " timed out", Style::kBad, details, ""};
}

WatchLines::Line WatchLines::Request(const TraceStep& step, const StepFacts& facts) const {
    const std::string request(NameOf(step.request));
    if (step.kind == TraceKind::REQUEST) {
        return {"", "", request, Style::kHead, "by " + Requester(step, hello_.pid), ""};
    }
    return {"",
            "",
            request + (step.isGood ? " done" : " failed"),
            step.isGood ? Style::kHead : Style::kBad,
            facts.took ? "+" + Show(*facts.took) : "",
            ""};
}

WatchLines::Line WatchLines::Result(const TraceStep& step) {
    const bool isGood = step.result == AppChangeState::SUCCESS;
    return {"",
            "",
            WordOf(step.operation) + (isGood ? " done" : " failed"),
            isGood ? Style::kBusy : Style::kBad,
            step.lateMs > 0 ? LateWords(step.lateMs) : "",
            ""};
}

WatchLines::Line WatchLines::HeartBeat(const TraceStep& step) {
    const bool isLost = step.said == AppReportState::HEART_BEAT_LOST;
    return {"",
            "",
            isLost ? "heartbeat lost" : "heartbeat back",
            isLost ? Style::kBad : Style::kGood,
            step.pid > 0 ? "pid " + std::to_string(step.pid) : "",
            ""};
}

WatchLines::Line WatchLines::LineOf(const TraceStep& step, const StepFacts& facts,
                                    const Chronicle& chronicle) {
    switch (step.kind) {
        case TraceKind::TIME_OUT:
            return TimeOut(step, chronicle);
        case TraceKind::SENT:
            return {"",
                    "",
                    WordOf(step.operation) + " not sent",
                    Style::kBad,
                    "error " + std::to_string(step.error),
                    ""};
        case TraceKind::TRANSITION:
            return Transition(step, facts);
        case TraceKind::RESULT:
            return Result(step);
        case TraceKind::LIMITER:
            return {"",
                    "",
                    "not restarted",
                    Style::kBad,
                    RefusalWords(step),
                    "start it again with: grpctl start " + step.application};
        case TraceKind::HEARTBEAT:
            return HeartBeat(step);
        default:
            return Request(step, facts);
    }
}

std::string WatchLines::Of(const TraceStep& step, const StepFacts& facts,
                           const Chronicle& chronicle) {
    if (!names_.empty() && !IsWanted(step.application)) {
        return "";
    }
    if (!IsShown(step)) {
        return "";
    }
    Line line = LineOf(step, facts, chronicle);
    line.subject = step.application.empty() ? hello_.owner : step.application;
    return Put(step.time, line);
}

std::string WatchLines::Of(const ProcessEvent& event) const {
    // Everything else stands in the owner's steps.
    if (!IsWanted(event.application) || event.time < hello_.time ||
        event.kind != ProcessEvent::Kind::kSignal || event.text != "stop-time-out") {
        return "";
    }
    return Put(event.time, {event.application, "", "killed", Style::kBad,
                            "it did not stop in time, pid " + std::to_string(event.pid), ""});
}

std::string WatchLines::Of(const TraceGap& gap) const {
    const std::string what = gap.isOfProcesses ? " events of processes were missed"
                             : gap.missed == 1 ? " step was missed"
                                               : " steps were missed";
    return Paint("-- " + std::to_string(gap.missed) + what + " --", Style::kBad,
                 screen_.isColored) +
           "\n";
}

std::string WatchLines::Put(int64_t time, const Line& line) const {
    using GrpOwnerLinux::PrintableLine;
    const size_t begin = kTimeWidth + std::max(nameWidth_, hello_.owner.size()) + kNameGap;
    const size_t column = begin + kWordWidth + kArrow.size() + kWordWidth;
    std::string text = Paint(clock_.Exact(time), Style::kFaint, screen_.isColored) + "  " +
                       Padded(PrintableLine(line.subject), begin - kTimeWidth);
    const std::string before =
        line.from.empty() ? "" : Padded(line.from, kWordWidth) + std::string(kArrow);
    const std::string padded = Padded(before + line.to, column - begin);
    text += before + Paint(line.to, line.style, screen_.isColored) +
            padded.substr(before.size() + line.to.size());
    text += Fold(PrintableLine(line.details), column);
    text.erase(text.find_last_not_of(' ') + 1);
    text += "\n";
    if (!line.help.empty()) {
        text += std::string(begin, ' ') + PrintableLine(line.help) + "\n";
    }
    return text;
}

// A terminal that is too narrow gets the details in several lines below each other.
std::string WatchLines::Fold(std::string details, size_t column) const {
    constexpr size_t kLeast = 20;
    const size_t room = std::max(screen_.width, column + kLeast) - column;
    std::string text;
    while (screen_.isTerminal && details.size() > room) {
        const size_t comma = details.rfind(", ", room - 1);
        const size_t cut = comma < room ? comma + 1 : details.rfind(' ', room);
        if (cut == std::string::npos || cut == 0) {
            break;
        }
        text += details.substr(0, cut) + "\n" + std::string(column, ' ');
        details.erase(0, cut + 1);
    }
    return text + details;
}

}  // namespace GrpCtl
