// Verbs that ask.

#include <poll.h>
#include <unistd.h>

#include <algorithm>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/group/process_facts.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/typed/verb_runs.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// What can be shown without it is shown.
void MentionMissingConfiguration(const Group& group, const Options& options) {
    if (!group.ConfigurationError().empty()) {
        Say(options, "warning: who needs whom is not known: " + group.ConfigurationError());
    }
}

std::vector<Application> Chosen(const Group& group, const Options& options) {
    std::vector<Application> chosen;
    for (const std::string& name : options.operands) {
        chosen.push_back(group.At(name));
    }
    return options.operands.empty() ? group.Applications() : chosen;
}

Json JsonOf(const std::vector<Application>& applications) {
    Json list = Json::array();
    for (const Application& application : applications) {
        list.push_back(JsonOf(application));
    }
    return list;
}

Json OwnerJson(const GrpOwnerClient::Facts& facts, const std::string& socket) {
    Json json = NewObject();
    json["owner"] = facts.owner;
    json["ownerPid"] = facts.ownerPid;
    json["configuration"] = facts.configuration;
    json["socket"] = socket;
    json["mayChange"] = facts.mayChange;
    return json;
}

std::string Counts(const Group& group) {
    std::string text;
    for (const AppState state : {AppState::kRunning, AppState::kChanging, AppState::kUnknown,
                                 AppState::kStopped, AppState::kTemplate}) {
        const auto count = std::count_if(
            group.Applications().begin(), group.Applications().end(),
            [state](const Application& application) { return application.state == state; });
        if (count > 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " +
                    std::string(WordOf(state));
        }
    }
    return text.empty() ? "none" : text;
}

// What has come after its time-out is no failure, but worth a word.
std::vector<Row> LateOnes(const Group& group) {
    std::vector<Row> rows;
    for (const Application& application : group.Applications()) {
        if (application.lateMs > 0) {
            rows.push_back(
                {rows.empty() ? "late" : "", application.name + " " + StateWords(application)});
        }
    }
    return rows;
}

std::string Overview(const Session& session, const Group& group, const Screen& screen) {
    const GrpOwnerClient::Facts& facts = session.Facts();
    Row head{{facts.owner, Style::kHead},
             {"running", Style::kGood},
             "pid " + std::to_string(facts.ownerPid)};
    if (const auto age = AgeOf(facts.ownerPid)) {
        head.emplace_back("up " + ShowAge(*age));
    }
    std::vector<Row> rows{{"applications", Counts(group)}};
    const std::vector<Row> late = LateOnes(group);
    rows.insert(rows.end(), late.begin(), late.end());
    rows.insert(rows.end(), {{"configuration", facts.configuration},
                             {"socket", session.Socket()},
                             {"you may", facts.mayChange ? "ask and change" : "ask only"}});
    return LayOut({head}, screen.isColored) + LayOut(rows, false, "  ");
}

bool AllRun(const std::vector<Application>& applications) {
    return std::all_of(applications.begin(), applications.end(), [](const auto& application) {
        return application.state == AppState::kRunning;
    });
}

void ShowStatus(const Session& session, const Group& group, const Options& options) {
    const std::vector<Application> chosen = Chosen(group, options);
    const Screen screen = Screen::Of(STDOUT_FILENO, options.color);
    if (options.format == Format::kJson) {
        Json json = OwnerJson(session.Facts(), session.Socket());
        json["applications"] = JsonOf(chosen);
        PutJson(json);
    } else if (options.format == Format::kName || options.format == Format::kPid) {
        Put(Lines(chosen, options.format));
    } else if (options.operands.empty()) {
        Put(Overview(session, group, screen));
    } else {
        for (const Application& application : chosen) {
            Put(DetailsOf(group, application, screen));
        }
    }
}

// A word for each.
void ShowStates(const Group& group, const Options& options) {
    const std::vector<Application> chosen = Chosen(group, options);
    if (options.format == Format::kJson) {
        Json json = NewObject();
        json["running"] = AllRun(chosen);
        json["applications"] = JsonOf(chosen);
        PutJson(json);
    } else if (options.format == Format::kName || options.format == Format::kPid) {
        Put(Lines(chosen, options.format));
    } else if (!options.isQuiet) {
        std::vector<Row> rows;
        rows.reserve(chosen.size());
        for (const Application& application : chosen) {
            rows.push_back({application.name,
                            {std::string(WordOf(application.state)), StyleOf(application.state)}});
        }
        Put(LayOut(rows, Screen::Of(STDOUT_FILENO, options.color).isColored));
    }
}

// Whether the wait is over.
bool IsReached(const Group& group, const Options& options) {
    return std::all_of(options.operands.begin(), options.operands.end(), [&](const auto& name) {
        const Application& application = group.At(name);
        return options.isForStopped ? !application.IsAlive()
                                    : application.state == AppState::kRunning;
    });
}

Failure NotReached(const Group& group, const Options& options) {
    std::string states;
    for (const std::string& name : options.operands) {
        states += (states.empty() ? "" : ", ") + name + " is " +
                  std::string(WordOf(group.At(name).state));
    }
    return {kNoAnswer,
            std::string(options.isForStopped ? "not stopped" : "not running") + " within " +
                ShowDuration(options.Timeout()),
            states, "give it longer with --timeout"};
}

void Pause(int interruptDescriptor) {
    constexpr int kPollMs = 100;
    pollfd interrupt{interruptDescriptor, POLLIN, 0};
    if (poll(&interrupt, 1, kPollMs) > 0) {
        throw Failure{kInterrupted, "interrupted", "", ""};
    }
}

}  // namespace

int RunList(const Options& options) {
    Session session(options);
    Group group = Group::Learn(session.Client());
    group.Refresh(session.Client(), options);
    MentionMissingConfiguration(group, options);
    if (options.format == Format::kJson) {
        Json json = OwnerJson(session.Facts(), session.Socket());
        json["applications"] = JsonOf(group.Applications());
        PutJson(json);
    } else if (options.format == Format::kName || options.format == Format::kPid) {
        Put(Lines(group.Applications(), options.format));
    } else {
        Put(TableOf(group, group.Applications(), options.format == Format::kWide,
                    Screen::Of(STDOUT_FILENO, options.color)));
    }
    return kDone;
}

int RunStatus(const Options& options) {
    Session session(options);
    Group group = Group::Learn(session.Client());
    group.Check(options.operands);
    group.Refresh(session.Client(), options,
                  Names(options.operands.begin(), options.operands.end()));
    group.RefreshLate(session.Socket());
    MentionMissingConfiguration(group, options);
    ShowStatus(session, group, options);
    return options.operands.empty() || AllRun(Chosen(group, options)) ? kDone : kNotRunning;
}

int RunIsRunning(const Options& options) {
    Session session(options);
    Group group = Group::Learn(session.Client());
    group.Check(options.operands);
    group.Refresh(session.Client(), options,
                  Names(options.operands.begin(), options.operands.end()));
    ShowStates(group, options);
    return AllRun(Chosen(group, options)) ? kDone : kNotRunning;
}

int RunWait(const Options& options) {
    Session session(options);
    Group group = Group::Learn(session.Client());
    group.Check(options.operands);
    const Names names(options.operands.begin(), options.operands.end());
    const Clock::time_point deadline = Clock::now() + options.Timeout();
    while (true) {
        group.Refresh(session.Client(), options, names);
        if (IsReached(group, options)) {
            ShowStates(group, options);
            return kDone;
        }
        if (Clock::now() >= deadline) {
            throw NotReached(group, options);
        }
        Pause(session.InterruptDescriptor());
    }
}

}  // namespace GrpCtl
