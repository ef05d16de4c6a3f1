#pragma once
// What has become of a change so far, told by the steps of the owner's trace.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/grpctl/group/dependencies.h"
#include "client/grpctl/trace/trace_line.h"
#include "grpowner/enumerations.h"

namespace GrpCtl {

/// One application's part of a change.
struct Task {
    std::string name;
    ProcMgr::OptionType option = ProcMgr::OptionType::START;
    Names needs;             // whose parts of the same kind come first
    bool saysReady = false;  // its start ends with its own word
    int pidBefore = -1;
};

enum class Stage {
    kWaiting,
    kGoing,  // released by the owner, without a result yet
    kDone,
    kFailed,
    kTimedOut,
    kSkipped,  // the request has ended before the owner came to it
};

struct TaskProgress {
    Task task;
    Stage stage = Stage::kWaiting;
    int pid = -1;          // of the process that was started
    bool isAgain = false;  // the owner starts it once more by itself
    int64_t begun = 0;    // when it was released, and when its result came: of the monotonic clock,
    int64_t ended = 0;    // in nanoseconds; 0: not yet, or never
    uint32_t lateMs = 0;  // behind the time-out of its batch
    AppChangeState result = AppChangeState::INIT;
};

/// A change of state that is no part of the change.
struct Remark {
    std::string name;
    ProcMgr::AppStateType state = ProcMgr::AppStateType::INITSTATE;
    int pid = -1;
    int64_t when = 0;
};

/// Belongs to one thread. A step costs one look-up, however many applications there are.
class ProgressModel {
public:
    /// @param request what the owner calls it
    /// @param tasks in the order in which they are shown
    /// @param ownPid of the process that brings the request
    ProgressModel(ProcMgr::TraceRequest request, std::vector<Task> tasks, int ownPid);

    void Take(const TraceStep& step);
    void TakeGap(uint64_t missed) { missed_ += missed; }

    /// The owner works at it: a request that it refuses at once never gets there.
    bool HasBegun() const { return hasBegun_; }
    bool HasEnded() const { return hasEnded_; }
    int64_t Begun() const { return begun_; }
    uint64_t Missed() const { return missed_; }
    size_t Done() const { return done_; }
    size_t Failed() const { return failed_; }

    const std::vector<TaskProgress>& Tasks() const { return tasks_; }
    /// The last one of each application, in the order of their first ones.
    const std::vector<Remark>& Remarks() const { return remarks_; }

    /// What a waiting task waits for: those of its needs that are not done. Empty when it is the
    /// turn of another kind of step, or when nothing is in its way.
    std::vector<std::string> WaitsFor(const TaskProgress& task) const;
    /// One of its needs that has failed, for a task that the owner did not come to; may be empty.
    std::string FailedNeedOf(const TaskProgress& task) const;
    /// The kind of step that the owner is at.
    ProcMgr::OptionType Phase() const { return phase_; }

    /// Numbers of tasks and of remarks that have changed since the last call, oldest first; one
    /// that has changed twice is there twice.
    std::vector<size_t> TakeChangedTasks();
    std::set<size_t> TakeChangedRemarks();

private:
    void TakeOurs(const TraceStep& step);
    void TakeTransition(const TraceStep& step);
    void AddRemark(const TraceStep& step);
    void End(size_t index, Stage stage, const TraceStep& step);
    void EndAll(Stage from, Stage to, const TraceStep& step);
    void Move(size_t index, Stage stage);
    size_t Find(const std::string& name, ProcMgr::OptionType option) const;
    size_t FindGoing(const std::string& name) const;

    static constexpr size_t kNone = static_cast<size_t>(-1);

    const ProcMgr::TraceRequest request_;
    const int ownPid_;
    std::vector<TaskProgress> tasks_;
    std::unordered_map<std::string, std::vector<size_t>> byName_;  // one is in it up to three times
    std::vector<Remark> remarks_;
    std::unordered_map<std::string, size_t> remarkOf_;
    std::vector<size_t> changedTasks_;
    std::set<size_t> changedRemarks_;  // one that changes again is told once
    ProcMgr::OptionType phase_ = ProcMgr::OptionType::TERM;
    uint64_t sequence_ = 0;  // of the request; 0: it has not come yet
    int64_t begun_ = 0;
    uint64_t missed_ = 0;
    size_t done_ = 0;
    size_t failed_ = 0;
    bool hasBegun_ = false;
    bool hasEnded_ = false;
};

}  // namespace GrpCtl
