#include "tests/support/scripted_pm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerTest {

using Lock = std::unique_lock<std::mutex>;

ScriptedPm::ScriptedPm(uint64_t seed) : random_(seed), worker_([this] { Work(); }) {
    GrpOwnerMemory::SetSendHook(
        [this](const GrpOwnerMemory::SentRecord& record) { Receive(record.bytes); });
}

ScriptedPm::~ScriptedPm() {
    GrpOwnerMemory::SetSendHook(nullptr);
    {
        const Lock lock(mutex_);
        stop_ = true;
        changed_.notify_all();
    }
    worker_.join();
}

void ScriptedPm::SetHabits(const Habits& habits) {
    const Lock lock(mutex_);
    habits_ = habits;
}

void ScriptedPm::SetFate(const std::string& name, Fate fate) {
    const Lock lock(mutex_);
    fates_[name] = fate;
}

void ScriptedPm::SetReadiness(std::set<std::string> names,
                              std::function<void(const std::string& name, uint32_t pid)> say) {
    const Lock lock(mutex_);
    reporting_ = std::move(names);
    say_ = std::move(say);
}

void ScriptedPm::SetOvertaker(std::function<void(uint32_t type)> overtake) {
    const Lock lock(mutex_);
    overtake_ = std::move(overtake);
}

void ScriptedPm::Hold() {
    const Lock lock(mutex_);
    held_ = true;
}

void ScriptedPm::Release() {
    const Lock lock(mutex_);
    held_ = false;
    changed_.notify_all();
}

void ScriptedPm::Report(const std::vector<PmReport>& reports) {
    std::vector<Answer> answers;
    for (const PmReport& report : reports) {
        answers.push_back({report, false});
    }
    Give(answers);
}

bool ScriptedPm::WaitIdle() {
    return GrpOwnerMemory::WaitUntil([this] {
        const Lock lock(mutex_);
        return answers_.empty() && !busy_;
    });
}

std::vector<PmEvent> ScriptedPm::Events() const {
    const Lock lock(mutex_);
    return events_;
}

size_t ScriptedPm::Count(PmEvent::Kind kind, const std::string& name) const {
    const Lock lock(mutex_);
    return static_cast<size_t>(std::count_if(
        events_.begin(), events_.end(),
        [&](const PmEvent& event) { return event.kind == kind && event.name == name; }));
}

uint32_t ScriptedPm::PidOf(const std::string& name) const {
    const Lock lock(mutex_);
    const auto found = pids_.find(name);
    return found == pids_.end() ? 0 : found->second;
}

PmAppRequest ScriptedPm::LastRequest(const std::string& name) const {
    const Lock lock(mutex_);
    const auto found = requests_.find(name);
    return found == requests_.end() ? PmAppRequest() : found->second;
}

void ScriptedPm::Receive(const std::string& bytes) {
    std::vector<Answer> atOnce;
    try {
        const PmRequest request = DecodeRequest(bytes);
        if (const auto overtake = TakeOvertaker()) {
            overtake(request.type);
        }
        if (!request.asked.empty()) {
            AnswerQuery();
            return;
        }
        const Lock lock(mutex_);
        for (const PmAppRequest& app : request.apps) {
            TakeRequest(request.type, app, atOnce);
        }
        changed_.notify_all();
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();  // nothing may leave the pipe's C interface
    }
    for (const Answer& answer : atOnce) {
        Give({answer});
    }
}

std::function<void(uint32_t)> ScriptedPm::TakeOvertaker() {
    const Lock lock(mutex_);
    return std::exchange(overtake_, nullptr);
}

// Whatever was asked: everybody who was ever started is in the answer.
void ScriptedPm::AnswerQuery() {
    std::vector<std::pair<std::string, uint32_t>> states;
    {
        const Lock lock(mutex_);
        for (const auto& [name, pid] : pids_) {
            states.emplace_back(name, pid == 0 ? 1 : 0);
        }
    }
    (void)GrpOwnerMemory::Deliver(EncodeQueryAnswer(states));  // unheard when the pipe is closed
}

void ScriptedPm::TakeRequest(uint32_t type, const PmAppRequest& app, std::vector<Answer>& atOnce) {
    constexpr PmEvent::Kind kKinds[] = {PmEvent::kAskedStart, PmEvent::kAskedRestart,
                                        PmEvent::kAskedTerm};
    events_.push_back({kKinds[type], app.name});
    if (type != kTerm) {
        requests_[app.name] = app;
    }
    const auto fate = fates_.find(app.name);
    if (fate != fates_.end() && fate->second == Fate::kStaysSilent) {
        return;
    }
    if (type != kTerm) {
        ended_.erase(app.name);
    } else if (!ended_.insert(app.name).second) {
        return;  // a process ends once, however often that is asked for
    }
    const PmReport report = ReportFor(type, app.name);
    const bool runs = report.type == kStarted || report.type == kRestarted;
    std::vector<Answer>& target = Chance(habits_.inside) ? atOnce : answers_;
    target.push_back({report, false});
    if (runs && say_ != nullptr && reporting_.count(app.name) != 0) {
        target.push_back({report, true});
    }
}

PmReport ScriptedPm::ReportFor(uint32_t type, const std::string& name) {
    constexpr uint32_t kStartIoFailure = 1;
    constexpr uint32_t kSegmentationFault = 512 + 11;
    const auto fate = fates_.find(name);
    uint32_t& pid = pids_[name];
    const auto end = [&pid, &name](uint32_t how, uint32_t reason) {
        return PmReport{name, std::exchange(pid, 0), how, reason};
    };
    if (type == kTerm) {
        return end(kExited, 0);
    }
    if (type == kRestart || pid == 0) {
        pid = nextPid_++;
    }
    switch (fate == fates_.end() ? Fate::kRuns : fate->second) {
        case Fate::kCrashes:
            return end(kCrashed, kSegmentationFault);
        case Fate::kCannotStart:
            return end(kCrashed, kStartIoFailure);
        case Fate::kExits:
            return end(kExited, 0);
        default:
            return {name, pid, type == kStart ? kStarted : kRestarted};
    }
}

void ScriptedPm::Give(const std::vector<Answer>& answers) {
    std::vector<PmReport> reports;
    std::function<void(const std::string&, uint32_t)> say;
    {
        const Lock lock(mutex_);
        say = say_;
        for (const Answer& answer : answers) {
            const PmReport& report = answer.report;
            const bool started = report.type == kStarted || report.type == kRestarted;
            if (answer.isOwnWord || (started && reporting_.count(report.name) == 0)) {
                events_.push_back({PmEvent::kRunning, report.name});
            }
            if (!answer.isOwnWord) {
                reports.push_back(report);
            }
        }
    }
    if (!reports.empty()) {
        (void)GrpOwnerMemory::Deliver(EncodeReports(reports));  // unheard when the pipe is closed
    }
    for (const Answer& answer : answers) {
        if (answer.isOwnWord) {
            say(answer.report.name, answer.report.pid);
        }
    }
}

std::vector<ScriptedPm::Answer> ScriptedPm::TakeAnswers() {
    std::vector<Answer> taken;
    const size_t most = 1 + (habits_.together > 1 ? random_() % habits_.together : 0);
    while (taken.size() < most && !answers_.empty()) {
        const size_t place = habits_.shuffled ? random_() % answers_.size() : 0;
        taken.push_back(answers_[place]);
        answers_.erase(answers_.begin() + static_cast<std::ptrdiff_t>(place));
    }
    return taken;
}

void ScriptedPm::Work() {
    Lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stop_ || (!held_ && !answers_.empty()); });
        if (stop_) {
            return;
        }
        const std::vector<Answer> taken = TakeAnswers();
        busy_ = true;
        lock.unlock();
        Give(taken);
        lock.lock();
        busy_ = false;
    }
}

bool ScriptedPm::Chance(unsigned percent) {
    return percent > 0 && random_() % 100 < percent;
}

}  // namespace GrpOwnerTest
