#pragma once

#include <map>
#include <string>

#include "tests/schedules/agenda.h"
#include "tests/schedules/watch.h"
#include "tests/schedules/weather.h"

namespace Schedules {

/// A process manager with processes that take their time, and the link to it. Requests come on the
/// owner's threads, reports go out on two threads of its own: what the manager says and, in a
/// storm, what gets lost on the way. Without locks, because only one thread runs and its functions
/// have no points of their own before they are through with its tables.
class ProcessManager {
public:
    ProcessManager(Weather weather, uint64_t seed, Watch& watch);
    ~ProcessManager();
    ProcessManager(const ProcessManager&) = delete;
    ProcessManager& operator=(const ProcessManager&) = delete;

    /// An application of the group.
    void Know(const ManifestFields& app) { processes_[app.appName].isReporting = app.isReporting; }

    /// One mishap at random: an application ends, the pipe is busy or refuses, the process manager
    /// dies for a while, and its processes with it or not.
    void Mishap();

    /// From here on all goes well and soon.
    void CalmDown();

    /// Whether nothing is to happen any more but what was delayed on purpose.
    bool Runs(const std::string& name) { return processes_[name].state == State::kUp; }

    /// The longest that busy pipes may have held the owner so far.
    ProcMgr::Milliseconds BusyTime() const { return busyTime_; }

private:
    enum class State { kDown, kComing, kUp, kEnding };
    struct Process {
        State state = State::kDown;
        uint32_t pid = 0;
        uint32_t next = kNothing;  // the request that waits for its end
        uint64_t life = 0;         // what was planned for an earlier one is off
        bool isReporting = false;
        ProcMgr::TimePoint toldEnd{};
    };
    static constexpr uint32_t kNothing = UINT32_MAX;

    void Receive(const std::string& bytes);
    void Serve(uint32_t type, const std::string& name);
    void Launch(Process& process, const std::string& name, uint32_t type);
    void ComeUp(const std::string& name, uint32_t type);
    void Stop(Process& process, const std::string& name);
    void End(const std::string& name, uint32_t how, uint32_t reason);
    void Answer();
    void Die();

    /// Plans something for the application's present life.
    void Plan(const std::string& name, std::function<void()> action);
    void Tell(const GrpOwnerTest::PmReport& report);
    void Deliver(const GrpOwnerTest::PmReport& report);
    void Say(const std::string& name, uint32_t pid);
    ProcMgr::Milliseconds SomeTime();
    bool Storms() const { return weather_ == Weather::kStormy; }

    Weather weather_;
    Random random_;
    Watch& watch_;
    std::map<std::string, Process> processes_;
    uint32_t lastPid_ = 1000;
    bool isDead_ = false;
    ProcMgr::Milliseconds busyTime_{0};
    Agenda manager_{"manager"};
    Agenda detour_{"detour"};
};

}  // namespace Schedules
