#include "src/trace/trace_store.h"

#include <algorithm>
#include <utility>

#include "src/common/never_destroyed.h"

namespace ProcMgr::Trace {

int64_t WhenNow() {
    return std::chrono::nanoseconds(Now().time_since_epoch()).count();
}

Store& Store::GetInstance() {
    static NeverDestroyed<Store> store;
    return *store;
}

void Store::Open(size_t capacity, std::function<TraceRequester()> requester) {
    MutexLock lock(mutex_);
    capacity_ = std::max<size_t>(capacity, 1);
    ring_.clear();
    ring_.shrink_to_fit();
    base_ = next_;
    requester_.swap(requester);
}

std::function<TraceRequester()> Store::Requester() const {
    MutexLock lock(mutex_);
    return requester_;
}

Record& Store::Writing::Of(const std::string& name) {
    const auto entry = store_.byName_.find(name);
    if (entry != store_.byName_.end()) {
        return *entry->second;
    }
    Record& record = store_.records_.emplace_back();
    record.shown.name = name;
    record.index = static_cast<uint32_t>(store_.records_.size() - 1);
    store_.byName_[record.shown.name] = &record;
    return record;
}

const Record* Store::Writing::Find(const std::string& name) const {
    const auto entry = store_.byName_.find(name);
    return entry == store_.byName_.end() ? nullptr : entry->second;
}

uint64_t Store::Writing::Append(const Step& step, const Record* record) {
    const uint64_t sequence = store_.next_;
    const uint64_t back = step.cause == 0 ? 0 : sequence - step.cause;
    const Entry entry{step.when,
                      record == nullptr ? kGroup : record->index,
                      back > UINT32_MAX ? 0 : static_cast<uint32_t>(back),
                      step.value,
                      step.extra,
                      step.pid,
                      step.kind,
                      step.what};
    if (store_.ring_.size() < store_.capacity_) {
        store_.ring_.push_back(entry);
    } else {
        store_.ring_[store_.PlaceLocked(sequence)] = entry;
    }
    ++store_.next_;  // once it is kept: memory may run out
    if (store_.waiting_ > 0) {
        store_.come_.NotifyAll();
    }
    return sequence;
}

TraceSnapshot Store::Snapshot() const {
    MutexLock lock(mutex_);
    TraceSnapshot snapshot;
    snapshot.first = FirstLocked();
    snapshot.next = next_;
    snapshot.applications.reserve(records_.size());
    for (const Record& record : records_) {
        snapshot.applications.push_back(record.shown);
    }
    return snapshot;
}

TraceEvent Store::EventLocked(uint64_t sequence) const {
    const Entry& entry = ring_[PlaceLocked(sequence)];
    return {sequence,
            entry.back == 0 ? 0 : sequence - entry.back,
            entry.when,
            entry.kind,
            entry.what,
            entry.value,
            entry.extra,
            entry.pid,
            entry.index == kGroup ? std::string() : records_[entry.index].shown.name};
}

std::vector<TraceEvent> Store::Read(uint64_t from, size_t most) const {
    MutexLock lock(mutex_);
    std::vector<TraceEvent> events;
    for (uint64_t at = std::max(from, FirstLocked()); at < next_ && events.size() < most; ++at) {
        events.push_back(EventLocked(at));
    }
    return events;
}

bool Store::Wait(uint64_t sequence, TimePoint deadline) {
    MutexLock lock(mutex_);
    const uint64_t wakings = wakings_;
    ++waiting_;
    while (next_ <= sequence && wakings == wakings_ && come_.WaitUntil(mutex_, deadline)) {
    }
    --waiting_;
    return next_ > sequence;
}

void Store::Wake() {
    MutexLock lock(mutex_);
    ++wakings_;
    come_.NotifyAll();
}

}  // namespace ProcMgr::Trace
