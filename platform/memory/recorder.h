#pragma once
// What the services in memory share: telling waiters that something was recorded, and scripts of
// results.

#include <deque>
#include <map>
#include <new>
#include <optional>
#include <string_view>

namespace GrpOwnerMemory {

/// Wakes WaitUntil. To be called without a service's lock.
void TellWaiters();

/// Queues of results, one for each kind of call. Its owner guards it.
template <typename Call>
class Script {
public:
    void Add(Call call, int result, unsigned times) {
        results_[call].insert(results_[call].end(), times, result);
    }

    /// The next scripted result; nothing when the call is to succeed.
    std::optional<int> Next(Call call) {
        std::deque<int>& queue = results_[call];
        if (queue.empty()) {
            return std::nullopt;
        }
        const int result = queue.front();
        queue.pop_front();
        return result;
    }

private:
    std::map<Call, std::deque<int>> results_;
};

/// The one object of a service. Never destroyed, because threads and the destructors of others may
/// use a service until the very end of the process.
template <typename State>
State& Immortal() {
    alignas(State) static unsigned char storage[sizeof(State)];
    static State& state = *::new (static_cast<void*>(storage)) State();
    return state;
}

/// What the call hook says about a call.
std::optional<int> AskCallHook(std::string_view function, std::string_view what = {});

void ResetLog();
void ResetPipe();
void ResetHeartBeat();
void ResetManifest();
void ResetMessaging();

}  // namespace GrpOwnerMemory
