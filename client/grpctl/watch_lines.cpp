#include "client/grpctl/watch_lines.h"

#include <algorithm>
#include <utility>

#include "client/grpctl/duration.h"
#include "client/grpctl/name_list.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceKind;
using ProcMgr::TraceRequest;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr size_t kNameGap = 3;
constexpr size_t kWordWidth = 13;

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

// Of the applications that a phase has released, those without a result.
std::vector<std::string> OnTheirWay(uint64_t phase, const Chronicle& chronicle) {
    std::vector<std::string> names;
    const auto& steps = chronicle.Steps();
    for (auto step = steps.rbegin(); step != steps.rend() && step->sequence > phase; ++step) {
        const bool isEnd = step->kind == TraceKind::RESULT;
        if (!isEnd && step->kind != TraceKind::RELEASED) {
            continue;
        }
        // Backwards: the last word on each application comes first.
        names.push_back((isEnd ? "" : "+") + step->application);
    }
    std::set<std::string> done;
    std::vector<std::string> open;
    for (const std::string& name : names) {
        if (name.front() != '+') {
            done.insert(name);
        } else if (done.insert(name.substr(1)).second) {
            open.push_back(name.substr(1));
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
    const std::string asked = facts.request ? AskedWords(*facts.request, hello_.pid) : "";
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
    return {hello_.owner, "", WordOf(step.operation) + " timed out", Style::kBad, details, ""};
}

std::optional<WatchLines::Line> WatchLines::LineOf(const TraceStep& step, const StepFacts& facts,
                                                   const Chronicle& chronicle) {
    const std::string subject = step.application.empty() ? hello_.owner : step.application;
    const std::string request(NameOf(step.request));
    switch (step.kind) {
        case TraceKind::REQUEST:
            if (!IsShown(step.request)) {
                break;
            }
            return Line{subject, "", request, Style::kHead, "by " + Requester(step, hello_.pid),
                        ""};
        case TraceKind::REQUEST_END:
            if (!IsShown(step.request) || step.request == TraceRequest::DUMP) {
                break;
            }
            return Line{subject,
                        "",
                        request + (step.isGood ? " done" : " failed"),
                        step.isGood ? Style::kHead : Style::kBad,
                        facts.took ? "+" + Show(*facts.took) : "",
                        ""};
        case TraceKind::TIME_OUT:
            return TimeOut(step, chronicle);
        case TraceKind::SENT:
            if (step.error == 0) {
                break;
            }
            return Line{subject,
                        "",
                        WordOf(step.operation) + " not sent",
                        Style::kBad,
                        "error " + std::to_string(step.error),
                        ""};
        case TraceKind::TRANSITION:
            return Transition(step, facts);
        case TraceKind::RESULT: {
            const bool isGood = step.result == AppChangeState::SUCCESS;
            if (isGood && step.lateMs == 0) {
                break;
            }
            return Line{subject,
                        "",
                        WordOf(step.operation) + (isGood ? " done" : " failed"),
                        isGood ? Style::kBusy : Style::kBad,
                        step.lateMs > 0 ? LateWords(step.lateMs) : "",
                        ""};
        }
        case TraceKind::LIMITER:
            if (step.isGood) {
                break;
            }
            words_[step.application] = "terminated";
            return Line{subject,
                        "",
                        "not restarted",
                        Style::kBad,
                        RefusalWords(step),
                        "start it again with: grpctl start " + step.application};
        case TraceKind::HEARTBEAT: {
            const bool isLost = step.said == AppReportState::HEART_BEAT_LOST;
            return Line{subject,
                        "",
                        isLost ? "heartbeat lost" : "heartbeat back",
                        isLost ? Style::kBad : Style::kGood,
                        step.pid > 0 ? "pid " + std::to_string(step.pid) : "",
                        ""};
        }
        case TraceKind::PHASE:
        case TraceKind::PHASE_END:
        case TraceKind::RELEASED:
        case TraceKind::REPORT:
        case TraceKind::SAID:
            break;
    }
    return std::nullopt;
}

std::string WatchLines::Of(const TraceStep& step, const StepFacts& facts,
                           const Chronicle& chronicle) {
    if (!names_.empty() && !IsWanted(step.application)) {
        return "";
    }
    const std::optional<Line> line = LineOf(step, facts, chronicle);
    return line ? Put(step.time, *line) : "";
}

std::string WatchLines::Of(const ProcessEvent& event) {
    // Everything else stands in the owner's steps.
    if (!IsWanted(event.application) || event.time < hello_.time ||
        event.kind != ProcessEvent::Kind::kSignal || event.text != "stop-time-out") {
        return "";
    }
    return Put(event.time, {event.application, "", "killed", Style::kBad,
                            "it did not stop in time, pid " + std::to_string(event.pid), ""});
}

std::string WatchLines::Of(const TraceGap& gap) {
    const std::string what = gap.isOfProcesses ? " events of processes were missed"
                             : gap.missed == 1 ? " step was missed"
                                               : " steps were missed";
    return Paint("-- " + std::to_string(gap.missed) + what + " --", Style::kBad,
                 screen_.isColored) +
           "\n";
}

std::string WatchLines::Put(int64_t time, const Line& line) {
    using GrpOwnerLinux::PrintableLine;
    const std::string subject = PrintableLine(line.subject);
    const size_t begin = 14 + std::max<size_t>(nameWidth_, hello_.owner.size()) + kNameGap;
    const size_t column = begin + kWordWidth + 3 + kWordWidth;
    std::string text = Paint(clock_.Exact(time), Style::kFaint, screen_.isColored) + "  " +
                       Padded(subject, begin - 14);
    std::string words;
    if (line.from.empty()) {
        words = Paint(line.to, line.style, screen_.isColored) +
                Padded("", column - begin).substr(std::min(line.to.size(), column - begin - 1));
    } else {
        words = Padded(line.from, kWordWidth) + "-> " +
                Paint(line.to, line.style, screen_.isColored) +
                Padded("", kWordWidth).substr(std::min(line.to.size(), kWordWidth - 1));
    }
    std::string details = PrintableLine(line.details);
    text += words;
    while (screen_.isTerminal && column + details.size() > screen_.width) {
        const size_t room = screen_.width > column + 8 ? screen_.width - column : 8;
        const size_t cut = details.rfind(' ', room);
        if (cut == std::string::npos || cut == 0) {
            break;
        }
        text += details.substr(0, cut) + "\n" + std::string(column, ' ');
        details.erase(0, cut + 1);
    }
    text += details;
    text.erase(text.find_last_not_of(' ') + 1);
    text += "\n";
    if (!line.help.empty()) {
        text += std::string(begin, ' ') + PrintableLine(line.help) + "\n";
    }
    return text;
}

}  // namespace GrpCtl
