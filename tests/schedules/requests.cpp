#include "tests/schedules/requests.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>

#include "src/common/wait_ladder.h"
#include "tests/support/group.h"
#include "tests/support/requests.h"

namespace Schedules {

using GrpOwnerTest::Group;
using ProcMgr::Milliseconds;

namespace {

constexpr unsigned kSetSystemState = 2;
constexpr Milliseconds kLongestWait{9500};  // of the time-outs below
constexpr Milliseconds kSoon{2500};         // what is not held up takes less

std::vector<std::string> Fields(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> fields;
    for (std::string field; std::getline(stream, field, '#');) {
        fields.push_back(field);
    }
    return fields;
}

void Append(Names& list, const Names& names) {
    const std::set<std::string> sorted(names.begin(), names.end());
    list.insert(list.end(), sorted.begin(), sorted.end());
}

bool Has(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool Runs(const std::string& name) {
    const auto application = Group::Find(name);
    return application != nullptr && application->IsAppRunning();
}

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
    const std::string answer = GrpOwnerTest::Ask(command, payload, timeout);
    Check(ProcMgr::Now() - begin <= bound + manager_.BusyTime(),
          "command " + std::to_string(command) + " took longer than its bound");
    Check(answer.find("error") == answer.npos, "no answer: " + answer);
    return answer;
}

Names Requester::Change(const Names& term, const Names& start, const Names& restart, int timeout) {
    std::string payload = std::to_string(term.size() + start.size() + restart.size()) + "#";
    Milliseconds bound{0};
    Names expected[3];
    const auto add = [&](const Names& names, const char* option) {
        bound += names.empty()  ? Milliseconds(0)
                 : timeout <= 0 ? kLongestWait
                                : ProcMgr::EffectiveWait(timeout);
        for (const std::string& name : names) {
            payload += name + option;
        }
    };
    add(term, "#1#0#0#");
    add(start, "#0#0#0#");
    add(restart, "#2#0#0#");
    (void)watch_.TakeNotices();
    const auto fields = Fields(Ask(GrpOwnerTest::kChangeApps, payload, timeout, bound));
    Names notices;
    for (const std::string& name : term) {
        notices.push_back(name + " 5");
    }
    Check(watch_.TakeNotices() == notices, "not each termination was told before the change set");
    Names told, failed;
    for (size_t i = 2; i + 1 < fields.size(); i += 2) {
        told.push_back(fields[i]);
        if (fields[i + 1] != "0") {
            failed.push_back(fields[i]);
        }
    }
    Check(fields.at(0) == std::to_string(told.size() + 1), "a wrong number of results");
    Append(expected[0], term);
    Append(expected[1], start);
    Append(expected[1], term);
    expected[2] = expected[1];
    Append(expected[2], restart);
    Check(fields.at(1) == (failed.empty() && told == expected[2] ? "1" : "0") ||
              (fields.at(1) == "0" && told.empty()),
          "a result that its parts do not give");
    if (fields.at(1) == "0" && told.empty()) {
        return {"refused"};
    }
    Check(std::find(std::begin(expected), std::end(expected), told) != std::end(expected),
          "not each application once in each result list");
    return failed;
}

// Of what is up and of what is asked for, all can succeed whose dependencies are among them; one
// that is up blocks those above it when what it depends on is down.
void Requester::CheckSuccess(const Names& failed, const Names& term, const Names& start) {
    const auto depends = ParseAndDepend::GetInstance().GetApplicationDependsMap();
    const std::function<bool(const std::string&)> canRun = [&](const std::string& name) {
        const auto& needed = depends.at(name);
        return std::all_of(needed.begin(), needed.end(), [&](const std::string& other) {
            return (Has(start, other) || Runs(other)) && canRun(other);
        });
    };
    for (const std::string& name : failed) {
        Check(Has(start, name) && !canRun(name), name + " failed without a reason");
    }
    for (const std::string& name : start) {
        Check(Runs(name) || Has(failed, name), name + " does not run, against the answer");
    }
    for (const std::string& name : term) {
        Check(!Runs(name) || Has(start, name), name + " still runs");
    }
}

void Requester::Change() {
    constexpr int kTimeouts[] = {-1, 0, 50, 500, 1000, 3000, 5000, 10000};
    if (weather_ != Weather::kCalm) {
        (void)Change(Some(), Some(), Some(), OneOf(kTimeouts, random_));
        return;
    }
    const Names term = Some(), start = Some();
    Names restart = Some();
    restart.erase(std::remove_if(restart.begin(), restart.end(),
                                 [&](const std::string& name) {
                                     return !Runs(name) || Has(term, name) || ++restarts_[name] > 4;
                                 }),
                  restart.end());
    const auto begin = ProcMgr::Now();
    CheckSuccess(Change(term, start, restart, 5000), term, start);
    Check(ProcMgr::Now() - begin < kSoon, "a change set was held up");
}

void Requester::Query(const Names& names) {
    const std::string answer = [&] {
        const auto begin = ProcMgr::Now();
        const std::string text = GrpOwnerTest::AskStates(names);
        Check(ProcMgr::Now() - begin <= 4 * ProcMgr::EffectiveWait(5000) + manager_.BusyTime(),
              "a query took longer than its bound");
        return text;
    }();
    const auto number = [&answer](size_t place) {
        uint32_t value = 0;
        Check(place + sizeof(value) <= answer.size(), "a short answer to a query");
        std::memcpy(&value, answer.data() + place, sizeof(value));
        return value;
    };
    std::multiset<std::string> told;
    size_t place = 5;
    for (uint32_t left = number(1); left > 0; --left) {
        const uint32_t length = number(place);
        told.insert(answer.substr(place + 4, length));
        place += 12 + length;
    }
    Check(told == std::multiset<std::string>(names.begin(), names.end()) || answer.at(0) == 0,
          "not each application once in the answer to a query");
    Check(answer.at(0) == 1 || weather_ == Weather::kStormy, "a query that failed");
}

bool Requester::StopAll() {
    return Ask(GrpOwnerTest::kStopAll, "", 5000,
               6 * (ProcMgr::EffectiveWait(5000) + Milliseconds(1000))) == "1";
}

bool Requester::Reload() {
    return Ask(GrpOwnerTest::kReloadConfiguration, "", 5000, Milliseconds(0)) == "1";
}

void Requester::AskOnly() {
    const unsigned kind = random_() % 6;
    if (kind < 2) {
        return Query(names_);
    }
    if (kind == 2) {
        const auto fields = Fields(Ask(GrpOwnerTest::kListApps, "", 5000, Milliseconds(0)));
        Check(std::set<std::string>(fields.begin(), fields.end()).size() == fields.size(),
              "an application twice in the list");
        return;
    }
    constexpr unsigned kCommands[] = {GrpOwnerTest::kDump, GrpOwnerTest::kVerifyApps,
                                      kSetSystemState};
    const std::string answer = Ask(OneOf(kCommands, random_), "1#" + OneOf(names_, random_) + "#0#",
                                   5000, Milliseconds(0));
    Check(answer == "0" || answer == "1" || answer == "0#", "an odd answer: " + answer);
}

void Requester::AskAnything() {
    const unsigned kind = random_() % 10;
    if (kind < 5) {
        Change();
    } else if (kind == 5) {
        (void)Reload();  // refused while anything else is in progress
    } else if (kind == 6 && weather_ != Weather::kCalm) {
        (void)StopAll();  // may fail
    } else {
        AskOnly();
    }
}

}  // namespace Schedules
