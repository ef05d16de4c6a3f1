#pragma once

#include <functional>
#include <map>
#include <string>

#include "src/common/sync_seeded.h"
#include "tests/schedules/watch.h"

namespace Schedules {

/// Does things at their times, one after the other, on a thread of its own. Callable on every
/// thread of the run.
class Agenda {
public:
    explicit Agenda(const std::string& name);
    /// What is left is not done.
    ~Agenda();
    Agenda(const Agenda&) = delete;
    Agenda& operator=(const Agenda&) = delete;

    void After(Milliseconds delay, std::function<void()> action);

private:
    void Work();

    ProcMgr::Mutex mutex_;
    ProcMgr::CondVar changed_;
    std::multimap<ProcMgr::TimePoint, std::function<void()>> actions_ GUARDED_BY(mutex_);
    bool isOver_ GUARDED_BY(mutex_) = false;
    ProcMgr::Seeded::RunningThread thread_;
};

/// A process manager with processes that take their time, and the link to it. Requests come on the
/// owner's threads, reports go out on two threads of its own: what the manager says and, in a
/// storm, what takes a detour. Without locks, because only one thread runs and its functions have
/// no points of their own before they are through with its tables.
class ProcessManager {
public:
    ProcessManager(Weather weather, uint64_t seed, Watch& watch);
    ~ProcessManager();
    ProcessManager(const ProcessManager&) = delete;
    ProcessManager& operator=(const ProcessManager&) = delete;

    /// An application of the group.
    void Know(const std::string& name, bool isReporting) { processes_[name].says = isReporting; }
    bool Runs(const std::string& name) { return processes_[name].state == State::kUp; }

    /// One mishap at random: an application ends, the pipe is busy or refuses, the process manager
    /// dies for a while, and its processes with it or not.
    void Mishap();
    /// From here on all goes well and soon.
    void CalmDown();

    /// The longest that busy pipes may have held the owner so far.
    Milliseconds BusyTime() const { return busyTime_; }

private:
    enum class State { kDown, kComing, kUp, kEnding };
    struct Process {
        State state = State::kDown;
        uint32_t pid = 0;
        uint32_t next = kNothing;  // the request that waits for its end
        uint64_t life = 0;         // what was planned for an earlier one is off
        bool says = false;         // itself that it runs
        ProcMgr::TimePoint ended{};
    };
    static constexpr uint32_t kNothing = UINT32_MAX;

    void Receive(const std::string& bytes);
    void Serve(uint32_t type, const std::string& name);
    void Launch(const std::string& name, uint32_t type);
    void ComeUp(const std::string& name, uint32_t report);
    void Stop(const std::string& name);
    void End(const std::string& name, uint32_t report);
    void Die();

    /// Plans something for the application's present life.
    void Plan(const std::string& name, std::function<void()> action);
    void Tell(const std::string& name, uint32_t report, uint32_t pid = 0);
    void Deliver(const GrpOwnerTest::PmReport& report);
    Milliseconds SomeTime();

    Weather weather_;
    Random random_;
    Watch& watch_;
    std::map<std::string, Process> processes_;
    uint32_t lastPid_ = 1000;
    bool isDead_ = false;
    Milliseconds busyTime_{0};
    Agenda manager_{"manager"};
    Agenda detour_{"detour"};
};

}  // namespace Schedules
