#include "tests/schedules/process_manager.h"

#include <cerrno>
#include <utility>

#include "grpowner/procmgr_grp_owner.h"
#include "platform/memory/memory_platform.h"

namespace Schedules {

using GrpOwnerTest::PmReport;
using ProcMgr::Milliseconds;

namespace {

constexpr uint32_t kStartIoFailure = 1;
constexpr uint32_t kSegmentationFault = 512 + 11;
constexpr Milliseconds kCrossing{1000};  // in which a request may be on its way past its answer
constexpr Milliseconds kBusyPause{5};    // the owner's between two tries

}  // namespace

ProcessManager::ProcessManager(Weather weather, uint64_t seed, Watch& watch)
    : weather_(weather), random_(seed), watch_(watch) {
    GrpOwnerMemory::SetSendHook(
        [this](const GrpOwnerMemory::SentRecord& record) { Receive(record.bytes); });
}

ProcessManager::~ProcessManager() {
    GrpOwnerMemory::SetSendHook(nullptr);
}

Milliseconds ProcessManager::SomeTime() {
    constexpr int kSoon[] = {0, 0, 1, 5, 20};
    constexpr int kHonest[] = {0, 1, 20, 300, 1000};
    constexpr int kStormy[] = {0, 1, 300, 500, 900, 2900, 4400, 4500, 4900, 8000};
    switch (weather_) {
        case Weather::kCalm:
            return Milliseconds(OneOf(kSoon, random_));
        case Weather::kHonest:
            return Milliseconds(OneOf(kHonest, random_));
        default:
            return Milliseconds(Chance(random_, 60) ? OneOf(kSoon, random_)
                                                    : OneOf(kStormy, random_));
    }
}

void ProcessManager::Receive(const std::string& bytes) {
    const GrpOwnerTest::PmRequest request = GrpOwnerTest::DecodeRequest(bytes);
    watch_.Request(request);
    if (request.type == GrpOwnerTest::kQuery) {
        if (!Storms() || Chance(random_, 80)) {
            detour_.After(SomeTime(), [this] { Answer(); });
        }
        return;
    }
    for (const auto& app : request.apps) {
        Serve(request.type, app.name);
    }
}

void ProcessManager::Serve(uint32_t type, const std::string& name) {
    Process& process = processes_[name];
    if (Storms() && Chance(random_, 3)) {
        return;
    }
    if (type == GrpOwnerTest::kTerm) {
        process.next = kNothing;
        if (process.state != State::kDown) {
            Stop(process, name);
        } else if (ProcMgr::Now() - process.toldEnd > kCrossing) {
            Plan(name, [=] { Tell({name, 0, GrpOwnerTest::kExited, 0, 0}); });
        }
    } else if (process.state == State::kDown) {
        Launch(process, name, type);
    } else if (type == GrpOwnerTest::kRestart) {
        process.next = type;
        Stop(process, name);
    } else if (process.state == State::kEnding) {
        process.next = type;
    } else if (process.state == State::kUp) {
        Plan(name, [this, name] {
            Tell({name, processes_[name].pid, GrpOwnerTest::kStarted, 0, 0});
        });
    }
}

void ProcessManager::Plan(const std::string& name, std::function<void()> action) {
    const uint64_t life = processes_[name].life;
    manager_.After(SomeTime(), [this, name, life, action = std::move(action)] {
        if (processes_[name].life == life) {
            action();
        }
    });
}

void ProcessManager::Launch(Process& process, const std::string& name, uint32_t type) {
    process.state = State::kComing;
    ++process.life;
    if (weather_ != Weather::kCalm && Chance(random_, 8)) {
        Plan(name, [=] { End(name, GrpOwnerTest::kCrashed, kStartIoFailure); });
    } else {
        Plan(name, [=] { ComeUp(name, type); });
    }
}

void ProcessManager::ComeUp(const std::string& name, uint32_t type) {
    Process& process = processes_[name];
    process.state = State::kUp;
    process.pid = ++lastPid_;
    if (process.isReporting) {
        Plan(name, [this, name, pid = process.pid] { Say(name, pid); });
    }
    if (weather_ != Weather::kCalm && Chance(random_, 8)) {
        Plan(name, [=] { End(name, GrpOwnerTest::kCrashed, kSegmentationFault); });
    }
    Tell({name, process.pid,
          type == GrpOwnerTest::kStart ? GrpOwnerTest::kStarted : GrpOwnerTest::kRestarted, 0, 0});
}

void ProcessManager::Stop(Process& process, const std::string& name) {
    if (std::exchange(process.state, State::kEnding) == State::kEnding) {
        return;
    }
    ++process.life;
    if (weather_ == Weather::kCalm || process.next != kNothing || Chance(random_, 90)) {
        Plan(name, [=] { End(name, GrpOwnerTest::kExited, 0); });
        return;
    }
    Plan(name, [this, name] {
        Process& survivor = processes_[name];
        survivor.state = State::kUp;
        Tell({name, survivor.pid, GrpOwnerTest::kTermTimeOut, 0, 0});
        if (const uint32_t next = std::exchange(processes_[name].next, kNothing);
            next != kNothing) {
            Serve(next, name);
        }
    });
}

// Of one that is to be restarted only the new beginning is told.
void ProcessManager::End(const std::string& name, uint32_t how, uint32_t reason) {
    Process& process = processes_[name];
    const uint32_t pid = std::exchange(process.pid, 0);
    const uint32_t next = std::exchange(process.next, kNothing);
    process.state = State::kDown;
    ++process.life;
    process.toldEnd = ProcMgr::Now();
    if (next != kNothing) {
        Launch(process, name, next);
    }
    if (next != GrpOwnerTest::kRestart) {
        Tell({name, pid, how, reason, 0});
    }
}

void ProcessManager::Tell(const PmReport& report) {
    if (!Storms()) {
        return Deliver(report);
    }
    const unsigned luck = random_() % 100;
    if (luck < 4) {
        return;
    }
    if (luck < 20) {
        detour_.After(SomeTime(), [=] { Deliver(report); });
    }
    if (luck > 12) {
        Deliver(report);
    }
}

void ProcessManager::Deliver(const PmReport& report) {
    if (isDead_) {
        return;
    }
    if (Storms() && Chance(random_, 5)) {
        (void)GrpOwnerMemory::Deliver(GrpOwnerTest::EncodeReports(
            {{"foreign", 1, OneOf({0U, 1U, 3U, 4U}, random_), 0, 0}, {report.name, 0, 77, 0, 0}}));
    }
    watch_.BeginReport(report);
    (void)GrpOwnerMemory::Deliver(GrpOwnerTest::EncodeReports({report}));
    watch_.EndReport(report);
}

void ProcessManager::Answer() {
    std::vector<std::pair<std::string, uint32_t>> states;
    for (const auto& [name, process] : processes_) {
        states.emplace_back(name, process.state == State::kUp ? 0 : 1);
    }
    if (!isDead_) {
        (void)GrpOwnerMemory::Deliver(GrpOwnerTest::EncodeQueryAnswer(states));
    }
}

void ProcessManager::Mishap() {
    const auto held = [this](int calls) {
        busyTime_ += calls * kBusyPause;
        return static_cast<unsigned>(calls);
    };
    const unsigned kind = random_() % (Storms() ? 8 : 4);
    if (kind == 4) {
        GrpOwnerMemory::ScriptPipe(GrpOwnerMemory::PipeCall::kSend, -EAGAIN,
                                   held(OneOf({1, 100, 401}, random_)));
    } else if (kind == 5) {
        GrpOwnerMemory::ScriptPipe(GrpOwnerMemory::PipeCall::kSend, -EPIPE, 1);
    } else if (kind == 6) {
        GrpOwnerMemory::ScriptPipe(GrpOwnerMemory::PipeCall::kTimedCall, -EAGAIN,
                                   held(OneOf({1, 401}, random_)));
    } else if (kind == 7) {
        Die();
    } else {
        const std::string& name =
            std::next(processes_.begin(),
                      static_cast<std::ptrdiff_t>(random_() % processes_.size()))
                ->first;
        manager_.After(Milliseconds(0), [this, name] {
            if (processes_[name].state == State::kUp) {
                Chance(random_, 70) ? End(name, GrpOwnerTest::kCrashed, kSegmentationFault)
                                    : End(name, GrpOwnerTest::kExited, 0);
            }
        });
    }
}

void ProcessManager::Die() {
    isDead_ = true;
    GrpOwnerMemory::CutPipe(true);
    if (Chance(random_, 50)) {
        for (auto& [name, process] : processes_) {
            process.state = State::kDown;
            process.next = kNothing;
            ++process.life;
        }
    }
    detour_.After(SomeTime(), [this] {
        isDead_ = false;
        GrpOwnerMemory::CutPipe(false);
    });
}

void ProcessManager::Say(const std::string& name, uint32_t pid) {
    watch_.OwnWord(name);
    // What it answers has no meaning.
    (void)ProcMgr::ProcMgrGrpOwner::GetInstance().ReportAppStateFromApp(
        name, static_cast<int>(pid), ProcMgr::AppReportState::SWITCH_ON);
    (void)watch_.TakeNotices();
}

void ProcessManager::CalmDown() {
    weather_ = Weather::kCalm;
    isDead_ = false;
    GrpOwnerMemory::CutPipe(false);
    GrpOwnerMemory::ForgetPipeScripts();
}

}  // namespace Schedules
