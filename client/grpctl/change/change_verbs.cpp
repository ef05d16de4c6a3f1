// Verbs that change what runs.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "client/grpctl/change/change_file.h"
#include "client/grpctl/change/change_set.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/progress/progress.h"
#include "client/grpctl/progress/progress_subject.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/typed/verb_runs.h"

namespace GrpCtl {

namespace {

Names ToNames(const std::vector<std::string>& names) {
    return Names(names.begin(), names.end());
}

Order OrderOf(const Options& options, std::string did) {
    Order order;
    order.names = options.operands;
    order.did = std::move(did);
    order.verb = options.verb;
    order.wish.isWithoutDependencies = options.isWithoutDependencies;
    order.wish.isWithDependents = options.isWithDependents;
    order.wish.isForced = options.isForced;
    if (options.isForced && options.isWithDependents) {
        throw Failure{kWrongUsage, "--force and --with-dependents say different things", "",
                      "leave one of them out"};
    }
    if (options.arguments.empty() && options.parameters.empty()) {
        return order;
    }
    if (order.names.size() != 1) {
        throw Failure{kWrongUsage, "arguments and parameters go with one name only", "",
                      "start the others with a command of their own"};
    }
    order.launches[order.names.front()] = {options.arguments, options.parameters};
    return order;
}

void SetLists(Order& order, const std::vector<std::string>& stops,
              const std::vector<std::string>& starts, const std::vector<std::string>& restarts) {
    order.wish.stops = ToNames(stops);
    order.wish.starts = ToNames(starts);
    order.wish.restarts = ToNames(restarts);
    for (const auto* names : {&stops, &starts, &restarts}) {
        order.names.insert(order.names.end(), names->begin(), names->end());
    }
}

Order OrderFromFile(const Options& options, Order order) {
    ChangeFile file = ReadChangeFile(options.changeFile);
    if (!file.isOk) {
        std::fputs(file.complaints.c_str(), stderr);
        throw Failure{kWrongUsage, "this is no change set: " + options.changeFile, "", ""};
    }
    SetLists(order, file.stops, file.starts, file.restarts);
    order.launches = std::move(file.launches);
    return order;
}

struct StopAllReport {
    std::vector<Application> stopped;
    std::vector<std::string> left;
    std::chrono::milliseconds duration{0};
    bool isOk = false;  // as the owner says
};

void Show(const Options& options, const StopAllReport& report) {
    const size_t count = report.stopped.size() + report.left.size();
    if (options.format == Format::kJson) {
        Json json = NewObject();
        json["command"] = "stop-all";
        json["ok"] = report.isOk;
        json["durationMs"] = report.duration.count();
        json["stopped"] = Json::array();
        for (const Application& application : report.stopped) {
            json["stopped"].push_back(application.name);
        }
        json["left"] = report.left;
        PutJson(json);
    } else if (options.format == Format::kName || options.format == Format::kPid) {
        Put(Lines(report.stopped, options.format));
    } else if (!options.isQuiet) {
        const Screen screen = Screen::Of(STDOUT_FILENO, options.color);
        const std::string time = ShowDuration(report.duration);
        const std::string done = std::to_string(report.stopped.size());
        const std::string all = std::to_string(count);
        Put(screen.isTerminal
                ? Stretch("[+] Stopped " + done + "/" + all + ", driving applications first", time,
                          screen)
                : "stopped " + done + " of " + all + " in " + time + "\n");
    }
}

// With a change set in progress the owner would leave the driving applications out, and perhaps
// stop base ones under them. An empty change set is refused then, and has no effect otherwise.
void RefuseInTransition(Session& session, const Options& options) {
    const GrpOwnerClient::ChangeAnswer answer =
        Need(session.Client().ChangeApps({}, options.Timeout()));
    if (!answer.isOk && answer.results.empty()) {
        throw InTransition();
    }
}

Failure StillRunning(const StopAllReport& report) {
    return {report.isOk ? kInTransition : kFailed, "still running: " + Joined(report.left),
            report.isOk ? "a change set came in between" : "they did not stop in time",
            "try again; `grpctl dump` makes the owner write its state into its log"};
}

bool StopAll(Session& session) {
    const GrpOwnerClient::Result<bool> answer = session.Client().StopAll();
    if (answer) {
        return *answer;
    }
    Failure failure = ToFailure(answer.GetError());
    if (failure.code == kInterrupted) {
        failure.what = "interrupted; the stop goes on in the owner";
        failure.help = "`grpctl list` shows what becomes of it";
    }
    throw failure;
}

}  // namespace

int RunStart(const Options& options) {
    Order order = OrderOf(options, "started");
    order.wish.starts = ToNames(options.operands);
    return CarryOut(options, std::move(order));
}

int RunStop(const Options& options) {
    Order order = OrderOf(options, "stopped");
    order.wish.stops = ToNames(options.operands);
    return CarryOut(options, std::move(order));
}

int RunRestart(const Options& options) {
    Order order = OrderOf(options, "restarted");
    order.wish.restarts = ToNames(options.operands);
    return CarryOut(options, std::move(order));
}

int RunChange(const Options& options) {
    Order order = OrderOf(options, "changed");
    const bool isByFile = !options.changeFile.empty();
    if (isByFile ==
        !(options.stops.empty() && options.starts.empty() && options.restarts.empty())) {
        throw Failure{kWrongUsage, "`change` takes either a file or --stop, --start and --restart",
                      "", "grpctl change --stop planner --start recorder --restart lidar"};
    }
    if (isByFile) {
        return CarryOut(options, OrderFromFile(options, std::move(order)));
    }
    SetLists(order, options.stops, options.starts, options.restarts);
    return CarryOut(options, std::move(order));
}

int RunStopAll(const Options& options) {
    Session session(options);
    Group group = Group::Learn(session.Client());
    group.Refresh(session.Client(), options);
    RefuseInTransition(session, options);
    const std::vector<Application> before = group.Applications();
    Progress progress(options, session.Socket(), SubjectOfStopAll(group));
    const auto begin = std::chrono::steady_clock::now();
    StopAllReport report;
    report.isOk = StopAll(session);
    report.duration = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
    (void)progress.End();  // the report has one line only
    // The owner's word is not enough: it says yes to an empty stop as well.
    group.Refresh(session.Client(), options);
    for (const Application& application : before) {
        if (group.At(application.name).IsAlive()) {
            report.left.push_back(application.name);
        } else if (application.IsAlive()) {
            report.stopped.push_back(application);
        }
    }
    Show(options, report);
    if (report.left.empty()) {
        return kDone;
    }
    throw StillRunning(report);
}

}  // namespace GrpCtl
