#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "grpowner/trace.h"
#include "src/common/sync.h"

namespace ProcMgr::Trace {

/// What is kept of one application, by sequence; 0: never.
struct Record {
    TraceApplication shown;
    uint32_t index = 0;
    uint64_t released = 0;
    uint64_t result = 0;
    AppChangeState state = AppChangeState::INIT;  // of that result
    uint64_t sent = 0;           // the one that the process manager still owes an answer to
    uint64_t heartBeatLost = 0;  // unless it is back
    int32_t pid = 0;             // of whom was spoken last
};

/// Nanoseconds on the monotonic clock.
int64_t WhenNow();

/// A step as it is told.
struct Step {
    TraceKind kind;
    int64_t when = WhenNow();
    uint8_t what = 0;
    uint64_t cause = 0;
    uint32_t value = 0;
    uint32_t extra = 0;
    int32_t pid = 0;
};

/// The ring and the applications.
class Store {
public:
    /// The one of the process. Never destroyed: service threads may still tell of steps at exit.
    static Store& GetInstance();

    void Open(size_t capacity, std::function<TraceRequester()> requester) EXCLUDES(mutex_);
    std::function<TraceRequester()> Requester() const EXCLUDES(mutex_);

    TraceSnapshot Snapshot() const EXCLUDES(mutex_);
    std::vector<TraceEvent> Read(uint64_t from, size_t most) const EXCLUDES(mutex_);
    bool Wait(uint64_t sequence, TimePoint deadline) EXCLUDES(mutex_);
    void Wake() EXCLUDES(mutex_);

    /// Holds the store while a step is thought out and written down. The analysis does not see that
    /// the lock is the object's own.
    class Writing {
    public:
        Writing() : lock_(store_.mutex_) {}

        /// Made on first use.
        Record& Of(const std::string& name) NO_THREAD_SAFETY_ANALYSIS;
        /// Null when there was no step of it yet.
        const Record* Find(const std::string& name) const NO_THREAD_SAFETY_ANALYSIS;
        /// @param record whose step it is; null: the group's
        /// @return its sequence
        uint64_t Append(const Step& step, const Record* record = nullptr) NO_THREAD_SAFETY_ANALYSIS;

    private:
        Store& store_ = Store::GetInstance();
        MutexLock lock_;
    };

private:
    /// A step at rest: half the size of what readers get, for there are many.
    struct Entry {
        int64_t when;
        uint32_t index;  // of the application; kGroup
        uint32_t back;   // how many steps before this one its cause came; 0: none
        uint32_t value;
        uint32_t extra;
        int32_t pid;
        TraceKind kind;
        uint8_t what;
    };
    static constexpr uint32_t kGroup = UINT32_MAX;

    uint64_t FirstLocked() const REQUIRES(mutex_) { return next_ - ring_.size(); }
    size_t PlaceLocked(uint64_t sequence) const REQUIRES(mutex_) {
        return (sequence - base_) % capacity_;
    }
    TraceEvent EventLocked(uint64_t sequence) const REQUIRES(mutex_);

    mutable Mutex mutex_;  // a leaf
    CondVar come_;
    std::function<TraceRequester()> requester_ GUARDED_BY(mutex_);
    size_t capacity_ GUARDED_BY(mutex_) = 1;
    uint64_t base_ GUARDED_BY(mutex_) = 1;       // the sequence that lies at the ring's beginning
    std::deque<Entry> ring_ GUARDED_BY(mutex_);  // grows to its capacity, then turns
    uint64_t next_ GUARDED_BY(mutex_) = 1;
    size_t waiting_ GUARDED_BY(mutex_) = 0;
    uint64_t wakings_ GUARDED_BY(mutex_) = 0;
    std::deque<Record> records_ GUARDED_BY(mutex_);
    std::unordered_map<std::string_view, Record*> byName_ GUARDED_BY(mutex_);  // of their own names
};

}  // namespace ProcMgr::Trace
