#include "platform/memory/recorder.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <utility>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerMemory {

namespace {

struct Waiters {
    std::mutex mutex;
    std::condition_variable changed;
    uint64_t count = 0;  // of things recorded so far
};

struct CallHook {
    std::mutex mutex;
    std::function<std::optional<int>(const PlatformCall&)> hook;
};

// Predicates may look at what is not recorded here, an application's state for example.
constexpr std::chrono::milliseconds kAskAgain{5};

}  // namespace

void TellWaiters() {
    Waiters& waiters = Immortal<Waiters>();
    const std::lock_guard<std::mutex> lock(waiters.mutex);
    ++waiters.count;
    waiters.changed.notify_all();
}

bool WaitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds deadline) {
    Waiters& waiters = Immortal<Waiters>();
    const auto end = std::chrono::steady_clock::now() + deadline;
    std::unique_lock<std::mutex> lock(waiters.mutex);
    for (;;) {
        const uint64_t seen = waiters.count;
        lock.unlock();
        if (predicate()) {
            return true;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) {
            return false;
        }
        lock.lock();
        waiters.changed.wait_until(lock, std::min(end, now + kAskAgain),
                                   [&] { return waiters.count != seen; });
    }
}

void SetCallHook(std::function<std::optional<int>(const PlatformCall&)> hook) {
    CallHook& calls = Immortal<CallHook>();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    calls.hook = std::move(hook);
}

std::optional<int> AskCallHook(std::string_view function, std::string_view what) {
    std::function<std::optional<int>(const PlatformCall&)> hook;
    {
        CallHook& calls = Immortal<CallHook>();
        const std::lock_guard<std::mutex> lock(calls.mutex);
        hook = calls.hook;
    }
    return hook ? hook({function, what}) : std::nullopt;
}

void Reset() {
    SetCallHook(nullptr);
    ResetPipe();
    ResetHeartBeat();
    ResetManifest();
    ResetMessaging();
    ResetLog();
}

}  // namespace GrpOwnerMemory
