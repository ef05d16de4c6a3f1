#include "client/grpctl/progress/progress_model.h"

#include <algorithm>
#include <utility>

namespace GrpCtl {

using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceKind;

namespace {

bool IsFailure(Stage stage) {
    return stage == Stage::kFailed || stage == Stage::kTimedOut || stage == Stage::kSkipped;
}

}  // namespace

ProgressModel::ProgressModel(ProcMgr::TraceRequest request, std::vector<Task> tasks, int ownPid)
    : request_(request), ownPid_(ownPid) {
    tasks_.reserve(tasks.size());
    for (Task& task : tasks) {
        byName_[task.name].push_back(tasks_.size());
        tasks_.emplace_back();
        tasks_.back().task = std::move(task);
    }
}

void ProgressModel::Take(const TraceStep& step) {
    if (hasEnded_) {
        return;
    }
    // The pid of a peer in another pid namespace is 0.
    const bool isOurs = step.kind == TraceKind::REQUEST && sequence_ == 0 &&
                        step.request == request_ && (step.pid == ownPid_ || step.pid == 0);
    if (isOurs) {
        sequence_ = step.sequence;
        begun_ = step.time;
    } else if (sequence_ != 0) {
        TakeOurs(step);
    }
}

void ProgressModel::TakeOurs(const TraceStep& step) {
    size_t index = kNone;
    switch (step.kind) {
        case TraceKind::REQUEST_END:
            if (step.cause == sequence_) {
                EndAll(Stage::kGoing, Stage::kTimedOut, step);
                EndAll(Stage::kWaiting, Stage::kSkipped, step);
                hasEnded_ = true;
            }
            break;
        case TraceKind::PHASE:
            phase_ = step.operation;
            hasBegun_ = true;
            break;
        case TraceKind::TIME_OUT:
            EndAll(Stage::kGoing, Stage::kTimedOut, step);
            break;
        case TraceKind::RELEASED:
            // What failed in one pass of a stop-all is tried again in the next one.
            if (index = Find(step.application, step.operation); index != kNone) {
                tasks_[index].begun = step.time;
                tasks_[index].ended = 0;
                Move(index, Stage::kGoing);
            }
            break;
        case TraceKind::REPORT:
            if (index = FindGoing(step.application);
                index != kNone && step.pid > 0 && tasks_[index].task.option != OptionType::TERM) {
                tasks_[index].pid = step.pid;
                changedTasks_.push_back(index);
            }
            break;
        case TraceKind::RESULT:
            if (index = Find(step.application, step.operation); index != kNone) {
                const bool isGood = step.result == AppChangeState::SUCCESS;
                tasks_[index].result = step.result;
                tasks_[index].lateMs = step.lateMs;
                End(index, isGood ? Stage::kDone : Stage::kFailed, step);
            }
            break;
        case TraceKind::TRANSITION:
            TakeTransition(step);
            break;
        default:
            break;
    }
}

// Of a task on its way a transition says nothing new, unless the owner starts it by itself: its
// restart policy works within a change as well.
void ProgressModel::TakeTransition(const TraceStep& step) {
    const size_t index = FindGoing(step.application);
    if (index == kNone) {
        AddRemark(step);
    } else if (step.to == AppStateType::RESTARTING &&
               tasks_[index].task.option == OptionType::START) {
        tasks_[index].isAgain = true;
        changedTasks_.push_back(index);
    }
}

void ProgressModel::AddRemark(const TraceStep& step) {
    // Behind a time-out the late result says the same.
    const auto found = byName_.find(step.application);
    if (found != byName_.end() &&
        std::any_of(found->second.begin(), found->second.end(),
                    [this](size_t index) { return tasks_[index].stage == Stage::kTimedOut; })) {
        return;
    }
    const auto [entry, isNew] = remarkOf_.emplace(step.application, remarks_.size());
    if (isNew) {
        remarks_.emplace_back();
    }
    remarks_[entry->second] = {step.application, step.to, step.pid, step.time};
    changedRemarks_.insert(entry->second);
}

void ProgressModel::End(size_t index, Stage stage, const TraceStep& step) {
    TaskProgress& task = tasks_[index];
    task.ended = step.time;
    Move(index, stage);
}

void ProgressModel::EndAll(Stage from, Stage to, const TraceStep& step) {
    for (size_t index = 0; index < tasks_.size(); ++index) {
        if (tasks_[index].stage == from) {
            End(index, to, step);
        }
    }
}

void ProgressModel::Move(size_t index, Stage stage) {
    Stage& present = tasks_[index].stage;
    done_ -= present == Stage::kDone ? 1 : 0;
    failed_ -= IsFailure(present) ? 1 : 0;
    present = stage;
    done_ += present == Stage::kDone ? 1 : 0;
    failed_ += IsFailure(present) ? 1 : 0;
    changedTasks_.push_back(index);
}

size_t ProgressModel::Find(const std::string& name, OptionType option) const {
    const auto found = byName_.find(name);
    if (found != byName_.end()) {
        for (const size_t index : found->second) {
            if (tasks_[index].task.option == option) {
                return index;
            }
        }
    }
    return kNone;
}

size_t ProgressModel::FindGoing(const std::string& name) const {
    const auto found = byName_.find(name);
    if (found != byName_.end()) {
        for (const size_t index : found->second) {
            if (tasks_[index].stage == Stage::kGoing) {
                return index;
            }
        }
    }
    return kNone;
}

std::vector<std::string> ProgressModel::WaitsFor(const TaskProgress& task) const {
    std::vector<std::string> names;
    if (task.task.option != phase_) {
        return names;
    }
    for (const std::string& need : task.task.needs) {
        const size_t index = Find(need, task.task.option);
        if (index != kNone && tasks_[index].stage != Stage::kDone) {
            names.push_back(need);
        }
    }
    return names;
}

std::string ProgressModel::FailedNeedOf(const TaskProgress& task) const {
    for (const std::string& need : task.task.needs) {
        const size_t index = Find(need, task.task.option);
        if (task.begun == 0 && index != kNone && IsFailure(tasks_[index].stage)) {
            return need;
        }
    }
    return "";
}

std::vector<size_t> ProgressModel::TakeChangedTasks() {
    return std::exchange(changedTasks_, {});
}

std::set<size_t> ProgressModel::TakeChangedRemarks() {
    return std::exchange(changedRemarks_, {});
}

}  // namespace GrpCtl
