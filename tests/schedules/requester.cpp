#include "tests/schedules/requester.h"

#include <algorithm>
#include <cstring>

#include "client/ss_wire.h"
#include "src/common/wait_ladder.h"
#include "tests/support/requests.h"

namespace Schedules {

namespace SsWire = GrpOwnerClient::SsWire;

namespace {

constexpr unsigned kSetSystemState = 2;
constexpr Milliseconds kWait = ProcMgr::EffectiveWait(5000);

}  // namespace

Names Requester::Some() {
    Names some;
    for (const std::string& name : names_) {
        for (unsigned percent = 35; Chance(random_, percent); percent = 5) {
            some.push_back(name);
        }
    }
    if (weather_ != Weather::kCalm && Chance(random_, 5)) {
        some.emplace_back("nobody");
    }
    std::shuffle(some.begin(), some.end(), random_);
    return some;
}

std::string Requester::Ask(unsigned command, const std::string& payload, int timeout,
                           Milliseconds bound) {
    const auto begin = ProcMgr::Now();
    std::string answer = GrpOwnerTest::Ask(command, payload, timeout);
    Check(ProcMgr::Now() - begin <= bound + manager_.BusyTime(),
          "command " + std::to_string(command) + " took longer than its bound");
    Check(answer.find("error") == answer.npos, "no answer: " + answer);
    return answer;
}

Names Requester::Change(const Names& term, const Names& start, const Names& restart, int timeout) {
    std::string payload = std::to_string(term.size() + start.size() + restart.size()) + "#";
    Milliseconds bound{0};
    const auto add = [&](const Names& names, const char* option) {
        // Without a time-out the one before holds: 10000 at most.
        bound += ProcMgr::EffectiveWait(timeout > 0 ? timeout : 10000) * (names.empty() ? 0 : 1);
        for (const std::string& name : names) {
            payload += name + option;
        }
        return std::set<std::string>(names.begin(), names.end());
    };
    const auto terms = add(term, "#1#0#0#"), starts = add(start, "#0#0#0#"),
               restarts = add(restart, "#2#0#0#");
    bound = weather_ == Weather::kCalm ? Milliseconds(2500) : bound;
    (void)watch_.TakeNotices();
    const auto answer =
        SsWire::UnpackChange(Ask(GrpOwnerTest::kChangeApps, payload, timeout, bound));
    Check(answer.Ok(), "an answer that nobody can read");

    Names notices(term);
    std::for_each(notices.begin(), notices.end(), [](std::string& name) { name += " 5"; });
    Check(watch_.TakeNotices() == notices, "not each termination was told before the change set");
    Names told, failed;
    for (const auto& [name, state] : answer->results) {
        told.push_back(name);
        if (state != 0) {
            failed.push_back(name);
        }
    }
    Names expected(starts.begin(), starts.end());
    expected.insert(expected.end(), terms.begin(), terms.end());
    const bool areStarted = told == expected, areTermed = told == Names(terms.begin(), terms.end());
    expected.insert(expected.end(), restarts.begin(), restarts.end());
    Check(told == expected || areStarted || areTermed || told.empty(),
          "not each application once in each result list");
    const bool isDone = answer->isOk;
    Check(isDone == (failed.empty() && told == expected) || (!isDone && told.empty()),
          "a result that its parts do not give");
    return isDone || !told.empty() ? failed : Names{"refused"};
}

void Requester::Query() {
    const auto begin = ProcMgr::Now();
    const std::string answer = GrpOwnerTest::AskStates(names_);
    // Three others may be before it.
    Check(ProcMgr::Now() - begin <= 4 * kWait + manager_.BusyTime(), "a query was held up");
    std::multiset<std::string> told;
    const auto read = SsWire::UnpackQuery(answer);
    for (const auto& entry : read->entries) {
        told.insert(entry.name);
    }
    Check(read->isOk ? told == std::multiset<std::string>(names_.begin(), names_.end())
                     : weather_ == Weather::kStormy,
          "not each application once in the answer to a query");
}

bool Requester::Reload() {
    return Ask(GrpOwnerTest::kReloadConfiguration) == "1";
}

void Requester::AskOnly() {
    constexpr unsigned kCommands[] = {GrpOwnerTest::kDump, GrpOwnerTest::kVerifyApps,
                                      kSetSystemState};
    switch (random_() % 4) {
        case 0:
            return Query();
        case 1: {
            const Names list = SsWire::UnpackList(Ask(GrpOwnerTest::kListApps))->names;
            Check(std::set<std::string>(list.begin(), list.end()).size() == list.size(),
                  "an application twice in the list");
            break;
        }
        default:
            (void)Ask(OneOf(kCommands, random_), "1#" + OneOf(names_, random_) + "#0#");
    }
}

void Requester::AskAnything() {
    constexpr int kTimeouts[] = {-1, 0, 50, 500, 1000, 3000, 5000, 10000};
    const auto kind = random_() % 10;
    if (kind < 5) {
        const int timeout = weather_ == Weather::kCalm ? 5000 : OneOf(kTimeouts, random_);
        const Names term = Some(), start = Some();
        (void)Change(term, start, Some(), timeout);
    } else if (kind == 5) {
        (void)Reload();  // refused while anything else is in progress
    } else if (kind == 6 && weather_ != Weather::kCalm) {
        (void)Ask(GrpOwnerTest::kStopAll, {}, 5000, 6 * (kWait + Milliseconds(1000)));
    } else {
        AskOnly();
    }
}

}  // namespace Schedules
