#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/heartbeat_service.h"

namespace GrpOwnerLinux {

using HeartBeatClock = std::chrono::steady_clock;

/// Checks the heartbeats of applications: three missed beats are a loss, the next beat is the way
/// back, and each change is told once.
///
/// Registrations and beats come on any thread; the callbacks are called by whoever calls
/// TellChanges, one thread at a time, with no lock held. The mutex guards everything.
class HeartBeatMonitor {
public:
    using TimePoint = HeartBeatClock::time_point;

    /// How long a beat that overtakes its registration is kept.
    static constexpr std::chrono::seconds kEarlyBeatLife{2};

    /// Begins to check, or begins anew. An application that beats already, or whose first beat came
    /// at most two seconds ago, is counted from now on, any other from its next beat.
    void Register(const std::string& name, HeartBeatCheckCallback callback, TimePoint now);

    /// After the return no callback for the name begins. Waits for one that runs, unless it is the
    /// caller's own.
    void Unregister(const std::string& name);
    void UnregisterAll();

    /// 0: the application is never lost.
    void SetPeriod(const std::string& name, uint32_t periodMs);

    /// @return whether TellChanges has to look now: the beat ends a loss or is the first one. Any
    ///         other only puts off what is due, which it finds out by itself
    bool Beat(const std::string& name, uint32_t pid, TimePoint now);

    /// Tells all changes up to `now`.
    /// @return when the next loss is due, if nothing beats until then
    std::optional<TimePoint> TellChanges(TimePoint now);

private:
    struct Check {
        HeartBeatCheckCallback callback = nullptr;
        std::optional<TimePoint> lastBeat;  // none: nothing is counted yet
        uint32_t firstPid = 0;              // of the beat that began the counting
        uint32_t pid = 0;                   // of the last beat
        bool isLost = false;                // as it is
        bool isToldLost = false;            // as it was told last
    };

    /// A beat of a process whose registration is still to come.
    struct EarlyBeat {
        TimePoint time;
        uint32_t pid = 0;
    };

    static void Tell(const std::string& name, const Check& change);
    bool NextChange(TimePoint now, std::string& name, Check& change);
    std::optional<TimePoint> Due(const std::string& name, const Check& check) const;
    void WaitForCallback(std::unique_lock<std::mutex>& lock, const std::string* name);

    std::mutex mutex_;
    std::map<std::string, Check> checks_;
    std::map<std::string, EarlyBeat> earlyBeats_;
    std::map<std::string, uint32_t> periodsMs_;
    std::optional<std::string> calling_;  // the name whose callback runs
    std::optional<std::thread::id> caller_;
    std::condition_variable called_;
};

}  // namespace GrpOwnerLinux
