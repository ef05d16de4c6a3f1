#include "tests/schedules/requester.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "src/common/wait_ladder.h"
#include "tests/support/requests.h"

namespace Schedules {

namespace {

constexpr unsigned kSetSystemState = 2;
constexpr Milliseconds kWait = ProcMgr::EffectiveWait(5000);

Names Fields(const std::string& text) {
    std::istringstream stream(text);
    Names fields;
    for (std::string field; std::getline(stream, field, '#');) {
        fields.push_back(field);
    }
    return fields;
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
    const Names fields = Fields(Ask(GrpOwnerTest::kChangeApps, payload, timeout, bound));

    Names notices(term);
    std::for_each(notices.begin(), notices.end(), [](std::string& name) { name += " 5"; });
    Check(watch_.TakeNotices() == notices, "not each termination was told before the change set");
    Names told, failed;
    for (size_t i = 2; i + 1 < fields.size(); i += 2) {
        told.push_back(fields[i]);
        if (fields[i + 1] != "0") {
            failed.push_back(fields[i]);
        }
    }
    Names expected(starts.begin(), starts.end());
    expected.insert(expected.end(), terms.begin(), terms.end());
    const bool areStarted = told == expected, areTermed = told == Names(terms.begin(), terms.end());
    expected.insert(expected.end(), restarts.begin(), restarts.end());
    Check(fields.at(0) == std::to_string(told.size() + 1) &&
              (told == expected || areStarted || areTermed || told.empty()),
          "not each application once in each result list");
    const bool isDone = fields.at(1) == "1";
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
    const auto number = [&answer](size_t place) {
        uint32_t value = 0;
        answer.copy(reinterpret_cast<char*>(&value), sizeof(value), place);
        return value;
    };
    size_t place = 5;
    for (uint32_t left = number(1); left > 0; --left) {
        told.insert(answer.substr(place + 4, number(place)));
        place += 12 + number(place);
    }
    Check(answer.at(0) == 1 ? told == std::multiset<std::string>(names_.begin(), names_.end())
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
            const Names list = Fields(Ask(GrpOwnerTest::kListApps));
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
