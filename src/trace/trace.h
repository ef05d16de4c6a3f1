#pragma once
// What the core tells of itself while a host observes. Every call costs one look at a flag when
// nobody does; the mutex behind it is a leaf, so a step may be told with any lock held.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "grpowner/trace.h"
#include "src/agent/messages.h"
#include "src/common/sync.h"

namespace ProcMgr::Trace {

/// Set once and for all by the host.
extern std::atomic<bool> g_isOpen;  // NOLINT(readability-identifier-naming)

inline bool IsOpen() {
    return g_isOpen.load(std::memory_order_relaxed);
}

/// What the calling thread does in this scope, it does because of that step; 0 changes nothing.
class Cause {
public:
    explicit Cause(uint64_t sequence);
    ~Cause();
    Cause(const Cause&) = delete;
    Cause& operator=(const Cause&) = delete;

private:
    const uint64_t before_;
};

/// A request, from its construction to its destruction; what its thread does is caused by it.
class Request {
public:
    explicit Request(TraceRequest what, const std::string& application = {});
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    /// Keeps the result, and hands it through.
    bool Done(bool result) {
        isDone_ = result;
        return result;
    }

private:
    const TraceRequest what_;
    const std::string application_;
    const uint64_t sequence_;
    const Cause cause_;
    bool isDone_ = false;
};

/// One batch at work. The thread of the batch begins, releases and ends; the threads of reports
/// bring results.
class Phase {
public:
    explicit Phase(OptionType what) : what_(what) {}
    Phase(const Phase&) = delete;
    Phase& operator=(const Phase&) = delete;

    void Begin(size_t applications, Milliseconds wait);
    void TimeOut();
    void End(bool isDone);
    /// Nothing in the way of it any more; only the first time in a phase counts.
    /// @param before whose results it may have waited for
    void Release(const std::string& name, const std::set<std::string>& before);
    /// A result for the batch. Behind the end of the phase it is one only if the phase was given up
    /// while that application was on its way.
    void Result(const std::string& name, AppChangeState state);

private:
    const OptionType what_;
    std::atomic<bool> isRunning_{false};
    std::atomic<uint64_t> begin_{0};
    std::atomic<uint64_t> end_{0};
    std::atomic<uint32_t> waitMs_{0};
    std::atomic<int64_t> timeOut_{0};  // when; 0: not
};

/// The step in which the name was released last; 0 when closed.
uint64_t ReleaseOf(const std::string& name);

/// To be told before a request to the process manager leaves, for its answer may arrive while it is
/// being sent. A termination that is offered once more counts for nothing.
void Sent(OptionType what, const std::string& name, uint32_t result = 0);

template <typename Apps>
void Sent(OptionType what, const Apps& apps, uint32_t result = 0) {
    if (IsOpen()) {
        for (const auto& app : apps) {
            Sent(what, app.name, result);
        }
    }
}

/// It has failed after all, unless the result is 0.
template <typename Apps>
void NotSent(OptionType what, const Apps& apps, uint32_t result) {
    if (result != 0) {
        Sent(what, apps, result);
    }
}

// Each answers its sequence, 0 when closed.
uint64_t Report(const Message::AppStateInfo& report);
uint64_t Said(const std::string& name, int pid, AppReportState state);
uint64_t HeartBeat(const std::string& name, int pid, AppReportState state);

void Transition(const std::string& name, AppStateType from, AppStateType to, int32_t pid);

/// What follows on this thread, in the scope of its present cause, follows from this decision.
void Limiter(const std::string& name, bool isAllowed, uint32_t restarts, int64_t windowMs);

}  // namespace ProcMgr::Trace
