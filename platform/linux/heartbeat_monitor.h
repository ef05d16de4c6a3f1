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

    /// Begins to check, or begins anew: counting starts with the next beat.
    void Register(const std::string& name, HeartBeatCheckCallback callback);

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
        uint32_t pid = 0;
        bool isLost = false;      // as it is
        bool isToldLost = false;  // as it was told last
    };

    bool NextChange(TimePoint now, std::string& name, Check& change);
    std::optional<TimePoint> Due(const std::string& name, const Check& check) const;
    void WaitForCallback(std::unique_lock<std::mutex>& lock, const std::string* name);

    std::mutex mutex_;
    std::map<std::string, Check> checks_;
    std::map<std::string, uint32_t> periodsMs_;
    std::optional<std::string> calling_;  // the name whose callback runs
    std::optional<std::thread::id> caller_;
    std::condition_variable called_;
};

}  // namespace GrpOwnerLinux
