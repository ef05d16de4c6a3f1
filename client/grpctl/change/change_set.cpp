#include "client/grpctl/change/change_set.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "client/grpctl/change/change_output.h"
#include "client/grpctl/change/forecast_output.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/progress/progress.h"
#include "client/grpctl/progress/progress_subject.h"
#include "client/grpctl/text/failure.h"
#include "client/ss_wire.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Change;
using GrpOwnerClient::ChangeAnswer;
using GrpOwnerClient::Result;
using GrpOwnerClient::SsClient;
using GrpOwnerLinux::Quote;
using ProcMgr::OptionType;

std::string Quoted(const Names& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + Quote(name);
    }
    return text;
}

/// One change set on its way. Lives for one command.
class Carrier {
public:
    Carrier(const Options& options, Order order)
        : options_(options),
          order_(std::move(order)),
          session_(options),
          group_(Group::Learn(session_.Client())) {}

    int Run() {
        group_.Check(order_.names);
        ReadDependencies();
        group_.Refresh(session_.Client(), options_, Concerned());
        DropIdleTemplates();
        plan_ = MakePlan(order_.wish, dependencies_, group_.Running(), group_.Alive());
        RefuseBereaving();
        Announce();
        if (options_.isDryRun) {
            return TryOut();
        }
        return plan_.IsEmpty() ? ShowNothing() : Send();
    }

private:
    void ReadDependencies() {
        const Wish& wish = order_.wish;
        const bool mustKnow = !wish.isWithoutDependencies &&
                              (!wish.starts.empty() || (!wish.stops.empty() && !wish.isForced));
        if (mustKnow || group_.HasDependencies()) {
            dependencies_ = group_.GetDependencies();
        }
    }

    // Whose states have a say.
    Names Concerned() const {
        Names names(order_.names.begin(), order_.names.end());
        Names concerned = dependencies_.AllNeeds(order_.wish.starts);
        concerned.merge(dependencies_.AllNeeding(order_.wish.stops));
        concerned.merge(names);
        return concerned;
    }

    // A template that has no instance cannot be stopped; to ask for it would make one.
    void DropIdleTemplates() {
        for (const std::string& name : order_.names) {
            if (group_.At(name).state == AppState::kTemplate && order_.wish.stops.erase(name) > 0) {
                Say(options_, Quote(name) + " does not run");
            }
        }
    }

    void RefuseBereaving() const {
        if (plan_.bereft.empty()) {
            return;
        }
        const std::vector<std::string> needing = dependencies_.InOrder(plan_.bereft);
        const bool isOne = order_.wish.stops.size() == 1;
        const bool isOneNeeding = needing.size() == 1;
        const std::string count =
            isOneNeeding ? "a running application needs "
                         : std::to_string(needing.size()) + " running applications need ";
        std::string too = "--with-dependents";
        if (order_.verb == "stop") {
            too = "grpctl stop";
            for (const std::string& name : order_.names) {
                too += " " + name;
            }
            too += " --with-dependents";
        }
        throw Failure{kWrongUsage, count + Quoted(NeededStops()) + ": " + Joined(needing), "",
                      "stop " + std::string(isOneNeeding ? "it" : "them") + " too with `" + too +
                          "`, or only " + (isOne ? *order_.wish.stops.begin() : "these") +
                          " with --force"};
    }

    // Of what is to be stopped, that which somebody needs who would go on.
    Names NeededStops() const {
        Names needed;
        for (const std::string& name : order_.wish.stops) {
            const Names needing = dependencies_.AllNeeding({name});
            if (std::any_of(needing.begin(), needing.end(), [this](const std::string& one) {
                    return plan_.bereft.count(one) > 0;
                })) {
                needed.insert(name);
            }
        }
        return needed;
    }

    // What will be done beyond what was typed, or not done although it was.
    void Announce() const {
        if (!plan_.alreadyUp.empty()) {
            Say(options_, "already running: " + Joined(dependencies_.InOrder(plan_.alreadyUp)));
        }
        if (options_.isDryRun) {
            return;  // it shows all that
        }
        if (!plan_.addedStops.empty()) {
            Say(options_, "also stopping what needs " + Quoted(order_.wish.stops) + ": " +
                              Joined(dependencies_.InOrder(plan_.addedStops)));
        }
        if (!plan_.addedStarts.empty()) {
            Say(options_, "also starting what " + Quoted(Asked()) +
                              " needs: " + Joined(dependencies_.InOrder(plan_.addedStarts)));
        }
    }

    Names Asked() const {
        Names asked;
        for (const std::string& name : plan_.starts) {
            if (plan_.addedStarts.count(name) == 0) {
                asked.insert(name);
            }
        }
        return asked;
    }

    int ShowNothing() const {
        ShowReport(options_, order_, plan_, group_, {});
        return kDone;
    }

    int TryOut() {
        const Result<bool> isAccepted = AskWhetherAccepted();
        Known known;
        for (const Application& application : group_.Applications()) {
            known[application.name] = application;
        }
        const Patience patience{options_.Timeout(),
                                session_.Facts().serviceTimeout > SsClient::kPlainLimit};
        ShowForecast(options_, order_, plan_,
                     Foresee(plan_, dependencies_, order_.launches, known, patience),
                     isAccepted ? std::optional<bool>(*isAccepted) : std::nullopt);
        return Need(isAccepted) ? kDone : kFailed;
    }

    // A change that does not fit a record is shown all the same.
    Result<bool> AskWhetherAccepted() {
        const std::vector<Change> changes = ToChanges(plan_, order_.launches);
        if (changes.empty()) {
            return true;
        }
        std::map<std::string, uint32_t> options;
        for (const Change& change : changes) {
            options[change.name] = static_cast<uint32_t>(change.option);
        }
        const Result<std::string> request = GrpOwnerClient::SsWire::PackChange(changes);
        if (!request) {
            return request.GetError();
        }
        const auto record = GrpOwnerClient::SsWire::MakeRecord(*request, 1, changes.size());
        if (!record) {
            return record.GetError();
        }
        return session_.Client().Verify(options);
    }

    ChangeAnswer Ask() {
        const std::vector<Change> changes = ToChanges(plan_, order_.launches);
        const Result<ChangeAnswer> answer =
            session_.Client().ChangeApps(changes, options_.Timeout());
        if (answer) {
            return *answer;
        }
        Failure failure = ToFailure(answer.GetError());
        if (failure.code == kInterrupted) {
            failure.what = "interrupted; the change goes on in the owner";
            failure.help = "`grpctl list` shows what becomes of it";
        }
        throw failure;
    }

    int Send() {
        Report report;
        for (const Application& application : group_.Applications()) {
            report.pidsBefore[application.name] = application.pid;
        }
        Progress progress(options_, session_.Socket(),
                          SubjectOf(order_.verb, order_.did, plan_, dependencies_, group_));
        const auto begin = std::chrono::steady_clock::now();
        const ChangeAnswer answer = Ask();
        report.duration = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
        if (!answer.isOk && answer.results.empty()) {
            throw InTransition();
        }
        report.seen = progress.End();
        report.outcomes = Match(plan_, dependencies_, answer.results);
        LookAfter(report);
        const std::vector<std::string> failed = Failed(report);
        if (!failed.empty() && !options_.isQuiet) {
            report.lastWords =
                AskForLastWords(session_.Socket(), session_.Facts().owner, failed, begin);
        }
        ShowReport(options_, order_, plan_, group_, report);
        Complain(failed, report.outcomes.size());
        return kDone;
    }

    // The change is done: whatever goes wrong now is no failure of it.
    void LookAfter(Report& report) {
        Names names = plan_.stops;
        names.insert(plan_.starts.begin(), plan_.starts.end());
        names.insert(plan_.restarts.begin(), plan_.restarts.end());
        try {
            group_.Refresh(session_.Client(), options_, names);
        } catch (const Failure& failure) {
            report.isStateKnown = false;
            Say(options_, "the states afterwards are not known: " + failure.what);
        }
    }

    static void Complain(const std::vector<std::string>& failed, size_t count) {
        if (!failed.empty()) {
            throw Failure{kFailed,
                          std::to_string(failed.size()) + " of " + std::to_string(count) +
                              " failed: " + Joined(failed),
                          "", ""};
        }
    }

    const Options& options_;
    Order order_;
    Session session_;
    Group group_;
    Dependencies dependencies_;
    Plan plan_;
};

void Add(const Names& names, OptionType option, const std::map<std::string, Launch>& launches,
         std::vector<Change>& changes) {
    for (const std::string& name : names) {
        Change change;
        change.name = name;
        change.option = option;
        const auto launch = launches.find(name);
        if (launch != launches.end() && option != OptionType::TERM) {
            change.arguments = launch->second.arguments;
            change.dynamicParameters = launch->second.parameters;
        }
        changes.push_back(std::move(change));
    }
}

}  // namespace

std::vector<Change> ToChanges(const Plan& plan, const std::map<std::string, Launch>& launches) {
    std::vector<Change> changes;
    Add(plan.stops, OptionType::TERM, launches, changes);
    Add(plan.starts, OptionType::START, launches, changes);
    Add(plan.restarts, OptionType::RESTART, launches, changes);
    return changes;
}

int CarryOut(const Options& options, Order order) {
    return Carrier(options, std::move(order)).Run();
}

}  // namespace GrpCtl
