// Shows how many restarts are left, and what the next failure will do.

#include <unistd.h>

#include <vector>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/text/wall_clock.h"
#include "client/grpctl/trace/limits.h"
#include "client/grpctl/typed/verb_runs.h"
#include "src/common/restart_window.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

// Nobody counts where the policy does not.
bool IsCounted(const Limit& limit) {
    return limit.next == NextFailure::kRestarts || limit.next == NextFailure::kRefused;
}

std::string WordsOf(const Limit& limit) {
    switch (limit.next) {
        case NextFailure::kStaysDown:
            return "never restarts";
        case NextFailure::kAlwaysRestarts:
            return "always restarts";
        case NextFailure::kRestarts:
            return limit.Left() == 0 ? "restarts, and a new window begins behind it" : "restarts";
        case NextFailure::kRefused:
            return "stays down until started (for " + ShowAge(limit.left + milliseconds(999)) +
                   " more)";
        case NextFailure::kUnknown:
            break;
    }
    return "not known";
}

const char* NameOf(NextFailure next) {
    constexpr const char* kNames[] = {"UNKNOWN", "STAYS_DOWN", "ALWAYS_RESTARTS", "RESTARTS",
                                      "REFUSED"};
    return kNames[static_cast<size_t>(next)];
}

Style StyleOf(NextFailure next) {
    return next == NextFailure::kRefused     ? Style::kBad
           : next == NextFailure::kStaysDown ? Style::kBusy
                                             : Style::kPlain;
}

std::string TableOf(const std::vector<Limit>& limits, const Screen& screen) {
    std::vector<Row> rows(1);
    for (const char* title : {"NAME", "POLICY", "USED", "LEFT", "WINDOW", "NEXT FAILURE"}) {
        rows.front().emplace_back(title, Style::kHead);
    }
    for (const Limit& limit : limits) {
        const bool isCounted = IsCounted(limit);
        rows.push_back({limit.application,
                        limit.policy.empty() ? "?" : limit.policy,
                        isCounted ? std::to_string(limit.used) : "-",
                        isCounted ? std::to_string(limit.Left()) : "-",
                        isCounted && limit.age ? ShowAge(*limit.age) : "-",
                        {WordsOf(limit), StyleOf(limit.next)}});
    }
    return LayOut(rows, screen.isColored);
}

Json JsonOf(const std::vector<Limit>& limits) {
    Json json = NewObject();
    json["limit"] = ProcMgr::kRestartLimit;
    json["windowMs"] = ProcMgr::kRestartWindow;
    json["applications"] = Json::array();
    for (const Limit& limit : limits) {
        const bool isCounted = IsCounted(limit);
        Json entry;
        entry["name"] = limit.application;
        entry["restart"] = limit.policy.empty() ? Json() : Json(limit.policy);
        entry["used"] = isCounted ? Json(limit.used) : Json();
        entry["left"] = isCounted ? Json(limit.Left()) : Json();
        entry["windowAgeMs"] = isCounted && limit.age ? Json(limit.age->count()) : Json();
        entry["nextFailure"] = NameOf(limit.next);
        entry["refusedForMs"] =
            limit.next == NextFailure::kRefused ? Json(limit.left.count()) : Json();
        json["applications"].push_back(std::move(entry));
    }
    return json;
}

}  // namespace

int RunLimits(const Options& options) {
    Session session(options);
    const Group group = Group::Learn(session.Client());
    group.Check(options.operands);
    const Trace trace = ReadTrace(options);
    const Names names(options.operands.begin(), options.operands.end());
    std::vector<Limit> limits;
    for (const Application& application : group.Applications()) {
        if (names.empty() || names.count(application.name) > 0) {
            limits.push_back(LimitOf(application.name,
                                     application.manifest ? application.manifest->GetRestart() : "",
                                     trace, NowNs()));
        }
    }
    if (options.format == Format::kJson) {
        PutJson(JsonOf(limits));
    } else {
        Put(TableOf(limits, Screen::Of(STDOUT_FILENO, options.color)));
    }
    return kDone;
}

}  // namespace GrpCtl
