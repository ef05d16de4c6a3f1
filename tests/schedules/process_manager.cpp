#include "tests/schedules/process_manager.h"

#include <cerrno>
#include <iterator>
#include <utility>

#include "grpowner/procmgr_grp_owner.h"
#include "platform/memory/memory_platform.h"
#include "src/common/sync_seeded.h"

namespace Schedules {

using namespace GrpOwnerTest;  // the records
using ProcMgr::MutexLock;

Agenda::Agenda(const std::string& name)
    : thread_(ProcMgr::Seeded::Begin(name, [this] { Work(); })) {}

Agenda::~Agenda() {
    {
        MutexLock lock(mutex_);
        isOver_ = true;
        changed_.NotifyAll();
    }
    thread_ = {};
}

void Agenda::After(Milliseconds delay, std::function<void()> action) {
    MutexLock lock(mutex_);
    actions_.emplace(ProcMgr::Now() + delay, std::move(action));
    changed_.NotifyAll();
}

void Agenda::Work() {
    MutexLock lock(mutex_);
    while (!isOver_) {
        const auto first = actions_.begin();
        if (first == actions_.end() || first->first > ProcMgr::Now()) {
            (void)changed_.WaitUntil(
                mutex_, first == actions_.end() ? ProcMgr::TimePoint::max() : first->first);
            continue;
        }
        const std::function<void()> action = std::move(first->second);
        actions_.erase(first);
        mutex_.Unlock();
        action();
        mutex_.Lock();
    }
}

ProcessManager::ProcessManager(Weather weather, uint64_t seed, Watch& watch)
    : weather_(weather), random_(seed), watch_(watch) {
    GrpOwnerMemory::SetSendHook([this](const auto& record) { Receive(record.bytes); });
}

ProcessManager::~ProcessManager() {
    GrpOwnerMemory::SetSendHook(nullptr);
}

Milliseconds ProcessManager::SomeTime() {
    constexpr int kSoon[] = {0, 0, 1, 5, 20};
    constexpr int kLater[] = {0, 1, 20, 300, 1000};
    constexpr int kAnyTime[] = {0, 300, 500, 900, 2900, 4400, 4500, 4900, 8000};
    if (weather_ == Weather::kHonest) {
        return Milliseconds(OneOf(kLater, random_));
    }
    const bool isSoon = weather_ == Weather::kCalm || Chance(random_, 60);
    return Milliseconds(isSoon ? OneOf(kSoon, random_) : OneOf(kAnyTime, random_));
}

void ProcessManager::Plan(const std::string& name, std::function<void()> action) {
    const uint64_t life = processes_[name].life;
    manager_.After(SomeTime(), [this, name, life, action = std::move(action)] {
        if (processes_[name].life == life) {
            action();
        }
    });
}

void ProcessManager::Receive(const std::string& bytes) {
    const PmRequest request = DecodeRequest(bytes);
    watch_.Request(request);
    if (!request.asked.empty() && (weather_ != Weather::kStormy || Chance(random_, 80))) {
        detour_.After(SomeTime(), [] {
            (void)GrpOwnerMemory::Deliver(EncodeQueryAnswer({{"a", 0}, {"nobody", 1}}));
        });
    }
    for (const PmAppRequest& app : request.apps) {
        Serve(request.type, app.name);
    }
}

void ProcessManager::Serve(uint32_t type, const std::string& name) {
    constexpr Milliseconds kCrossing{1000};  // in which a request may pass its own answer
    Process& process = processes_[name];
    if (weather_ == Weather::kStormy && Chance(random_, 3)) {
        return;
    }
    if (type == kTerm && process.state == State::kDown) {
        if (ProcMgr::Now() - process.ended > kCrossing) {
            Plan(name, [=] { Tell(name, kExited); });
        }
    } else if (type == kTerm) {
        process.next = kNothing;
        Stop(name);
    } else if (process.state == State::kDown) {
        Launch(name, type);
    } else if (type == kRestart) {
        process.next = type;
        Stop(name);
    } else if (process.state == State::kEnding) {
        process.next = type;
    } else if (process.state == State::kUp) {
        Plan(name, [=] { Tell(name, kStarted, processes_[name].pid); });
    }
}

void ProcessManager::Launch(const std::string& name, uint32_t type) {
    processes_[name].state = State::kComing;
    ++processes_[name].life;
    const bool isBad = weather_ != Weather::kCalm && Chance(random_, 8);
    Plan(name, [=] {
        isBad ? End(name, kCrashed) : ComeUp(name, type == kStart ? kStarted : kRestarted);
    });
}

void ProcessManager::ComeUp(const std::string& name, uint32_t report) {
    Process& process = processes_[name];
    process.state = State::kUp;
    process.pid = ++lastPid_;
    if (process.says) {
        Plan(name, [this, name, pid = static_cast<int>(lastPid_)] {
            watch_.OwnWord(name);
            (void)ProcMgr::ProcMgrGrpOwner::GetInstance().ReportAppStateFromApp(
                name, pid, ProcMgr::AppReportState::SWITCH_ON);  // what it answers has no meaning
        });
    }
    if (weather_ != Weather::kCalm && Chance(random_, 8)) {
        Plan(name, [=] { End(name, kCrashed); });
    }
    Tell(name, report, process.pid);
}

void ProcessManager::Stop(const std::string& name) {
    Process& process = processes_[name];
    if (std::exchange(process.state, State::kEnding) == State::kEnding) {
        return;
    }
    ++process.life;
    if (weather_ == Weather::kCalm || process.next == kRestart || Chance(random_, 90)) {
        return Plan(name, [=] { End(name, kExited); });
    }
    Plan(name, [=] {
        processes_[name].state = State::kUp;
        const uint32_t next = std::exchange(processes_[name].next, kNothing);
        Tell(name, kTermTimeOut, processes_[name].pid);
        if (next != kNothing) {
            Serve(next, name);
        }
    });
}

// Of one that is to be restarted only the new beginning is told.
void ProcessManager::End(const std::string& name, uint32_t report) {
    Process& process = processes_[name];
    const uint32_t next = std::exchange(process.next, kNothing);
    process.state = State::kDown;
    process.ended = ProcMgr::Now();
    ++process.life;
    if (next != kNothing) {
        Launch(name, next);
    }
    if (next != kRestart) {
        Tell(name, report);
    }
}

void ProcessManager::Tell(const std::string& name, uint32_t report, uint32_t pid) {
    constexpr uint32_t kReasons[] = {1, 512 + 11};  // of a start that failed, and of a signal
    const PmReport record{name, pid, report, OneOf(kReasons, random_)};
    const auto luck = weather_ == Weather::kStormy ? random_() % 100 : 99;
    if (luck >= 4 && luck < 20) {
        detour_.After(SomeTime(), [=] { Deliver(record); });
    }
    if (luck > 12) {
        Deliver(record);
    }
}

void ProcessManager::Deliver(const PmReport& report) {
    if (isDead_) {
        return;
    }
    if (weather_ == Weather::kStormy && Chance(random_, 5)) {
        (void)GrpOwnerMemory::Deliver(
            EncodeReports({{"foreign", 1, static_cast<uint32_t>(random_() % 5)}, {"a", 0, 77}}));
    }
    watch_.BeginReport(report);
    (void)GrpOwnerMemory::Deliver(EncodeReports({report}));
    watch_.EndReport(report);
}

void ProcessManager::Mishap() {
    using GrpOwnerMemory::PipeCall;
    constexpr unsigned kTries[] = {1, 100, 401};
    const unsigned tries = OneOf(kTries, random_);
    switch (random_() % (weather_ == Weather::kStormy ? 7 : 4)) {
        case 4:
            GrpOwnerMemory::ScriptPipe(PipeCall::kSend, -EPIPE);
            break;
        case 5:
            busyTime_ += Milliseconds(5) * tries * 2;
            GrpOwnerMemory::ScriptPipe(PipeCall::kSend, -EAGAIN, tries);
            GrpOwnerMemory::ScriptPipe(PipeCall::kTimedCall, -EAGAIN, tries);
            break;
        case 6:
            return Die();
        default:
            manager_.After(Milliseconds(0), [this, end = Chance(random_, 70) ? kCrashed : kExited,
                                             place = random_() % processes_.size()] {
                const auto victim = std::next(processes_.begin(), static_cast<int>(place));
                if (victim->second.state == State::kUp) {
                    End(victim->first, end);
                }
            });
    }
}

void ProcessManager::Die() {
    isDead_ = true;
    GrpOwnerMemory::CutPipe(true);
    const bool isAlone = Chance(random_, 50);
    for (auto& [name, process] : processes_) {
        if (!isAlone) {
            process = {State::kDown, 0, kNothing, process.life + 1, process.says, {}};
        }
    }
    detour_.After(SomeTime(), [this] {
        isDead_ = false;
        GrpOwnerMemory::CutPipe(false);
    });
}

void ProcessManager::CalmDown() {
    weather_ = Weather::kCalm;
    isDead_ = false;
    GrpOwnerMemory::CutPipe(false);
    GrpOwnerMemory::ForgetPipeScripts();
}

}  // namespace Schedules
