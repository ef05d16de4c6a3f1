// The heartbeat service: one thread that sends our own beat, one that checks those of others. Both
// begin with the first use.

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "platform/heartbeat_service.h"
#include "platform/linux/heartbeat_monitor.h"
#include "platform/linux/host.h"
#include "platform/linux/pipe_service.h"
#include "platform/linux/recorder.h"
#include "platform/linux/service_thread.h"

namespace GrpOwnerLinux {

namespace {

/// Sends this process's heartbeat. The mutex guards what is registered.
class Sender {
public:
    int Register(std::string target, std::chrono::seconds period) {
        std::lock_guard<std::mutex> lock(mutex_);
        target_ = std::move(target);
        period_ = period;
        isRegistered_ = true;
        changed_.notify_all();
        if (!isRunning_) {
            try {
                StartServiceThread([this] { Run(); }).detach();
            } catch (const std::system_error&) {
                isRegistered_ = false;
                return -EAGAIN;
            }
            isRunning_ = true;
        }
        return 0;
    }

    void Unregister() {
        std::lock_guard<std::mutex> lock(mutex_);
        isRegistered_ = false;
    }

private:
    void Run() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (true) {
            changed_.wait(lock, [this] { return isRegistered_; });
            // Under the lock, so that none goes out after Unregister; sending never blocks. A beat
            // that fails is a missed one.
            (void)SendPipeHeartBeat(target_);
            changed_.wait_for(lock, period_);
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string target_;
    std::chrono::seconds period_{1};
    bool isRegistered_ = false;
    bool isRunning_ = false;
};

/// The monitor and the thread that tells its changes. The mutex guards the wake-up.
class Checker {
public:
    HeartBeatMonitor monitor;

    int Start() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!isRunning_) {
            try {
                StartServiceThread([this] { Run(); }).detach();
            } catch (const std::system_error&) {
                return -EAGAIN;
            }
            isRunning_ = true;
        }
        return 0;
    }

    void Wake() {
        std::lock_guard<std::mutex> lock(mutex_);
        isWoken_ = true;
        wake_.notify_all();
    }

private:
    void Run() {
        while (true) {
            const auto next = monitor.TellChanges(HeartBeatClock::now());
            std::unique_lock<std::mutex> lock(mutex_);
            const auto isWoken = [this] { return isWoken_; };
            if (next) {
                wake_.wait_until(lock, *next, isWoken);
            } else {
                wake_.wait(lock, isWoken);
            }
            isWoken_ = false;
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    bool isWoken_ = false;
    bool isRunning_ = false;
};

// Never destroyed: their threads go on while the process exits.
Sender& OwnHeart() {
    static Sender& sender = *new Sender;
    return sender;
}

Checker& OtherHearts() {
    static Checker& checker = *new Checker;
    return checker;
}

}  // namespace

void SetHeartBeatPeriod(const std::string& name, uint32_t periodMs) {
    OtherHearts().monitor.SetPeriod(name, periodMs);
    OtherHearts().Wake();
}

void HeartBeatArrived(const std::string& name, uint32_t pid) {
    if (OtherHearts().monitor.Beat(name, pid, HeartBeatClock::now())) {
        OtherHearts().Wake();
    }
}

}  // namespace GrpOwnerLinux

using GrpOwnerLinux::HeartBeatClock;
using GrpOwnerLinux::OtherHearts;
using GrpOwnerLinux::OwnHeart;
using GrpOwnerLinux::RecordAsk;

int RegisterSendHeartBeat(const char* ownName, size_t ownNameLength, const char* targetName,
                          size_t targetNameLength, const HeartBeatSendParams* params) {
    const auto record = RecordAsk("beat-send", [](auto& /*fields*/) {});
    if (ownName == nullptr || ownNameLength == 0 || targetName == nullptr ||
        targetNameLength == 0 || params == nullptr || params->periodSeconds == 0) {
        return record.Result(-EINVAL);
    }
    return record.Result(OwnHeart().Register(std::string(targetName, targetNameLength),
                                             std::chrono::seconds(params->periodSeconds)));
}

int UnregisterSendHeartBeat(void) {
    const auto record = RecordAsk("beat-stop", [](auto& /*fields*/) {});
    OwnHeart().Unregister();
    return record.Result(0);
}

int RegisterCheckHeartBeat(const char* name, size_t nameLength, uint32_t /*gid*/,
                           HeartBeatCheckCallback callback) {
    if (name == nullptr || nameLength == 0 || callback == nullptr) {
        return -EINVAL;
    }
    const std::string checked(name, nameLength);
    const auto record = RecordAsk("beat-check", [&](auto& fields) { fields(checked); });
    const int result = OtherHearts().Start();
    if (result == 0) {
        OtherHearts().monitor.Register(checked, callback, HeartBeatClock::now());
        OtherHearts().Wake();  // an early beat is counted from now on
    }
    return record.Result(result);
}

int UnregisterCheckHeartBeat(const char* name, size_t nameLength) {
    if (name == nullptr || nameLength == 0) {
        return -EINVAL;
    }
    const std::string checked(name, nameLength);
    const auto record = RecordAsk("beat-uncheck", [&](auto& fields) { fields(checked); });
    OtherHearts().monitor.Unregister(checked);
    return record.Result(0);
}

int DisableAllCheckHeartBeat(void) {
    const auto record = RecordAsk("beat-uncheck-all", [](auto& /*fields*/) {});
    OtherHearts().monitor.UnregisterAll();
    return record.Result(0);
}
