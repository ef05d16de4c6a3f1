// Tells in words why an application is in its state.

#include <unistd.h>

#include <chrono>
#include <optional>
#include <vector>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/wall_clock.h"
#include "client/grpctl/trace/last_words.h"
#include "client/grpctl/trace/why.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppStateType;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// What is known of one application, and where it can be seen.
struct Answer {
    Why why;
    WallClock clock;
    int64_t now = 0;
    uint64_t first = 0;              // the oldest step that is kept
    std::vector<std::string> needs;  // that do not run: "camera (starting)"
    bool startsWithGroup = false;
    std::string policy;
    AllLastWords lastWords;
};

bool IsDown(AppStateType state) {
    return state == AppStateType::INITSTATE || state == AppStateType::TERMINATED;
}

std::string List(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::string Headline(const Answer& answer) {
    const TraceState& state = answer.why.state;
    if (state.state == AppStateType::INITSTATE) {
        return state.application + " has never been started";
    }
    const bool isDown = state.state == AppStateType::TERMINATED && answer.why.isDown;
    const auto age =
        std::chrono::duration_cast<milliseconds>(nanoseconds(answer.now - state.since));
    return state.application + " is " + (isDown ? "down" : WordOf(state.state)) + " since " +
           answer.clock.Short(state.since) + " (" + ShowAge(age) + ")" +
           (state.lateMs > 0 ? ", " + LateWords(state.lateMs) : "") +
           (IsDown(state.state) || state.pid <= 0 ? "" : ", pid " + std::to_string(state.pid));
}

// What does not belong to one moment.
std::vector<std::string> Remarks(const Answer& answer) {
    const Why& why = answer.why;
    std::vector<std::string> remarks;
    if (!why.waitsFor.empty()) {
        remarks.push_back("waits for " + why.waitsFor);
    }
    if (!answer.needs.empty()) {
        const bool isWaiting = why.isBooting && answer.startsWithGroup && !why.isKnown;
        remarks.push_back((isWaiting ? "waits for " : "needs ") + List(answer.needs));
    }
    if (why.isDown && answer.policy == "no") {
        remarks.emplace_back("is never restarted by itself (restart: no)");
    }
    return remarks;
}

std::string TextOf(const Answer& answer, const Screen& screen) {
    using GrpOwnerLinux::PrintableLine;
    std::string text =
        Paint(PrintableLine(Headline(answer)), Style::kHead, screen.isColored) + "\n";
    for (const std::string& remark : Remarks(answer)) {
        text += "  " + PrintableLine(remark) + "\n";
    }
    for (const WhyStep& step : answer.why.chain) {
        text += "  " + Paint(answer.clock.Exact(step.time), Style::kFaint, screen.isColored) +
                "  " + PrintableLine(step.text) + "\n";
    }
    if (!answer.why.isWhole) {
        text += "  What led to it is no longer kept: the oldest step is number " +
                std::to_string(answer.first) + ".\n";
    }
    return text + TextOf(answer.lastWords, screen);
}

Json JsonOf(const Answer& answer) {
    const TraceState& state = answer.why.state;
    Json json = NewObject();
    json["application"] = state.application;
    json["state"] = NameOf(state.state);
    json["since"] = state.since > 0 ? Json(answer.clock.Utc(state.since)) : Json();
    json["pid"] = state.pid > 0 && !IsDown(state.state) ? Json(state.pid) : Json();
    json["lateMs"] = state.lateMs;
    json["crashed"] = answer.why.isDown;
    json["remarks"] = Remarks(answer);
    json["chain"] = Json::array();
    for (const WhyStep& step : answer.why.chain) {
        Json entry;
        entry["seq"] = step.sequence;
        entry["time"] = answer.clock.Utc(step.time);
        entry["text"] = step.text;
        json["chain"].push_back(std::move(entry));
    }
    json["complete"] = answer.why.isWhole;
    json["firstKept"] = answer.first;
    const auto words = answer.lastWords.find(state.application);
    json["lastOutput"] =
        words == answer.lastWords.end() ? Json::array() : Json(words->second.lines);
    return json;
}

// What the running owner and its configuration add.
void AddLive(const Group& group, const Explanation& explanation, Answer& answer) {
    const Application& application = group.At(answer.why.state.application);
    if (!application.manifest) {
        return;
    }
    answer.policy = application.manifest->GetRestart();
    answer.startsWithGroup = application.manifest->GetIsAutoBoot();
    if (!IsDown(answer.why.state.state)) {
        return;
    }
    for (const std::string& need : application.manifest->GetDependList()) {
        const AppStateType state = explanation.StateOf(need);
        if (state != AppStateType::RUNNING) {
            answer.needs.push_back(need + " (" + WordOf(state) + ")");
        }
    }
}

bool HasFailed(const Why& why) {
    return why.isDown || (!why.chain.empty() && why.state.state == AppStateType::INITSTATE);
}

Answer Explain(const Trace& trace, const Explanation& explanation, const std::string& name) {
    Answer answer;
    answer.why = explanation.Of(name);
    answer.clock = WallClock(trace.hello.time, trace.hello.utc);
    answer.now =
        trace.states.empty() && !trace.steps.empty() ? trace.steps.back().time : trace.hello.time;
    answer.first = trace.steps.empty() ? trace.hello.next : trace.steps.front().sequence;
    return answer;
}

void Show(const Answer& answer, const Options& options) {
    if (options.format == Format::kJson) {
        PutJson(JsonOf(answer));
    } else {
        Put(TextOf(answer, Screen::Of(STDOUT_FILENO, options.color)));
    }
}

int RunOnFile(const Options& options, const std::string& name) {
    const Trace trace = ReadTrace(options);
    const Answer answer = Explain(trace, Explanation(trace, {}), name);
    if (!answer.why.isKnown && answer.why.chain.empty()) {
        throw Failure{kNoSuchApplication,
                      "the trace tells nothing of " + GrpOwnerLinux::Quote(name), "", ""};
    }
    Show(answer, options);
    return kDone;
}

}  // namespace

int RunWhy(const Options& options) {
    const std::string& name = options.operands.front();
    if (!options.traceFile.empty()) {
        return RunOnFile(options, name);
    }
    Session session(options);
    const Group group = Group::Learn(session.Client());
    group.Check(options.operands);
    const Trace trace = ReadTrace(options);
    const std::optional<ApplicationManifest>& manifest = group.At(name).manifest;
    const Explanation explanation(trace,
                                  manifest ? Policies{{name, manifest->GetRestart()}} : Policies{});
    Answer answer = Explain(trace, explanation, name);
    AddLive(group, explanation, answer);
    if (HasFailed(answer.why)) {
        answer.lastWords = AskForLastWords(session.Socket(), trace.hello.owner, {name}, {});
        if (answer.lastWords[name].lines.empty()) {
            answer.lastWords.clear();  // how it ended stands above
        }
    }
    Show(answer, options);
    return kDone;
}

}  // namespace GrpCtl
