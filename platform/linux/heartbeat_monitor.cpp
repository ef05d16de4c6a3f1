#include "platform/linux/heartbeat_monitor.h"

#include "platform/linux/recorder.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kMissedBeats = 3;
constexpr int kStatusBack = 0;
constexpr int kStatusLost = 1;

}  // namespace

// An application's own word reaches us on another way than the process manager's report that leads
// to the registration. Whichever is first, one that hangs right after its word is found out.
void HeartBeatMonitor::Register(const std::string& name, HeartBeatCheckCallback callback,
                                TimePoint now) {
    std::lock_guard<std::mutex> lock(mutex_);
    Check& check = checks_[name];
    uint32_t pid = check.lastBeat && !check.isLost ? check.pid : 0;
    const auto early = earlyBeats_.find(name);
    if (early != earlyBeats_.end()) {
        if (now - early->second.time <= kEarlyBeatLife) {
            pid = early->second.pid;
        }
        earlyBeats_.erase(early);
    }
    check = {callback, std::nullopt, pid, pid, false, false};
    if (pid != 0) {
        check.lastBeat = now;
    }
}

void HeartBeatMonitor::Unregister(const std::string& name) {
    std::unique_lock<std::mutex> lock(mutex_);
    checks_.erase(name);
    WaitForCallback(lock, &name);
}

void HeartBeatMonitor::UnregisterAll() {
    std::unique_lock<std::mutex> lock(mutex_);
    checks_.clear();
    earlyBeats_.clear();
    WaitForCallback(lock, nullptr);
}

void HeartBeatMonitor::WaitForCallback(std::unique_lock<std::mutex>& lock,
                                       const std::string* name) {
    called_.wait(lock, [this, name] {
        return !calling_ || (name != nullptr && *calling_ != *name) ||
               caller_ == std::this_thread::get_id();
    });
}

void HeartBeatMonitor::SetPeriod(const std::string& name, uint32_t periodMs) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (periodMs == 0) {
        periodsMs_.erase(name);
    } else {
        periodsMs_[name] = periodMs;
    }
}

bool HeartBeatMonitor::Beat(const std::string& name, uint32_t pid, TimePoint now) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = checks_.find(name);
    const bool isOfCheck =
        entry != checks_.end() && (!entry->second.lastBeat || entry->second.firstPid == pid);
    if (!isOfCheck && periodsMs_.count(name) != 0) {
        earlyBeats_[name] = {now, pid};
    }
    if (entry == checks_.end()) {
        return false;
    }
    Check& check = entry->second;
    const bool mustLook = check.isLost || !check.lastBeat;
    if (!check.lastBeat) {
        check.firstPid = pid;
    }
    check.lastBeat = now;
    check.pid = pid;
    check.isLost = false;
    return mustLook;
}

std::optional<HeartBeatMonitor::TimePoint> HeartBeatMonitor::Due(const std::string& name,
                                                                 const Check& check) const {
    const auto period = periodsMs_.find(name);
    if (!check.lastBeat || check.isLost || period == periodsMs_.end()) {
        return std::nullopt;
    }
    return *check.lastBeat + kMissedBeats * std::chrono::milliseconds(period->second);
}

bool HeartBeatMonitor::NextChange(TimePoint now, std::string& name, Check& change) {
    for (auto& [checked, check] : checks_) {
        const auto due = Due(checked, check);
        if (due && *due <= now) {
            check.isLost = true;
        }
        if (check.isLost != check.isToldLost) {
            check.isToldLost = check.isLost;
            name = checked;
            change = check;
            return true;
        }
    }
    return false;
}

void HeartBeatMonitor::Tell(const std::string& name, const Check& change) {
    const int status = change.isLost ? kStatusLost : kStatusBack;
    const ThreadRole role("heartbeat");
    const auto record =
        RecordIn("heartbeat", [&](auto& fields) { fields(name)(change.pid)(status); });
    record.Result(change.callback(name.data(), name.size(), change.pid, status));
}

std::optional<HeartBeatMonitor::TimePoint> HeartBeatMonitor::TellChanges(TimePoint now) {
    std::string name;
    Check change;
    std::unique_lock<std::mutex> lock(mutex_);
    while (NextChange(now, name, change)) {
        calling_ = name;
        caller_ = std::this_thread::get_id();
        lock.unlock();
        Tell(name, change);
        lock.lock();
        calling_.reset();
        caller_.reset();
        called_.notify_all();
    }
    std::optional<TimePoint> next;
    for (const auto& [checked, check] : checks_) {
        const auto due = Due(checked, check);
        if (due && (!next || *due < *next)) {
            next = due;
        }
    }
    return next;
}

}  // namespace GrpOwnerLinux
