#include "client/grpctl/progress/progress_words.h"

#include <algorithm>
#include <vector>

#include "client/grpctl/change/outcome_words.h"
#include "client/grpctl/text/duration.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using std::chrono::milliseconds;

std::string Reason(AppChangeState result) {
    return ReasonOf(static_cast<uint32_t>(result));
}

std::string GoingWord(OptionType option) {
    return option == OptionType::TERM      ? "stopping"
           : option == OptionType::RESTART ? "restarting"
                                           : "starting";
}

std::string WaitNote(const ProgressModel& model, const TaskProgress& task) {
    if (!model.HasBegun()) {
        return "";
    }
    if (model.Phase() != task.task.option) {
        return model.Phase() == OptionType::TERM ? "for the stops" : "for the starts";
    }
    const std::vector<std::string> names = model.WaitsFor(task);
    constexpr size_t kMost = 3;
    std::string text;
    for (size_t index = 0; index < std::min(names.size(), kMost); ++index) {
        text += (index == 0 ? "for " : ", ") + names[index];
    }
    return names.size() <= kMost ? text
                                 : text + " and " + std::to_string(names.size() - kMost) + " more";
}

std::string GoingNote(const TaskProgress& task) {
    if (task.task.option == OptionType::TERM) {
        return "";
    }
    const std::string again = task.isAgain ? "once more" : "";
    const std::string ready = task.pid > 0 && task.task.saysReady ? "waiting for READY=1" : "";
    return again + (again.empty() || ready.empty() ? "" : ", ") + ready;
}

}  // namespace

std::string WordOf(const TaskProgress& task) {
    switch (task.stage) {
        case Stage::kWaiting:
            return "waiting";
        case Stage::kGoing:
            return GoingWord(task.task.option);
        case Stage::kDone:
            return task.task.option == OptionType::TERM ? "stopped" : "running";
        case Stage::kTimedOut:
            return "late";
        case Stage::kSkipped:
            return "skipped";
        case Stage::kFailed:
            break;
    }
    return "failed";
}

Style StyleOf(const TaskProgress& task) {
    switch (task.stage) {
        case Stage::kWaiting:
            return Style::kFaint;
        case Stage::kGoing:
            return Style::kBusy;
        case Stage::kDone:
            return task.task.option == OptionType::TERM ? Style::kFaint : Style::kGood;
        default:
            return Style::kBad;
    }
}

std::string WordOf(const Remark& remark) {
    switch (remark.state) {
        case AppStateType::RUNNING:
            return "running";
        case AppStateType::STARTING:
            return "starting";
        case AppStateType::RESTARTING:
            return "restarting";
        case AppStateType::TERMINATING:
            return "stopping";
        case AppStateType::INITSTATE:
            return "stopped";
        case AppStateType::TERMINATED:
            break;
    }
    return "ended";
}

std::string PidsOf(const TaskProgress& task) {
    const bool isStop = task.task.option == OptionType::TERM;
    const int pid = isStop && task.stage == Stage::kGoing ? task.task.pidBefore : task.pid;
    std::string text = pid > 0 ? "pid " + std::to_string(pid) : "";
    if (task.task.option == OptionType::RESTART && pid > 0 && task.task.pidBefore > 0) {
        text += "   was " + std::to_string(task.task.pidBefore);
    }
    return text;
}

std::string NoteOf(const ProgressModel& model, const TaskProgress& task) {
    switch (task.stage) {
        case Stage::kWaiting:
            return WaitNote(model, task);
        case Stage::kGoing:
            return GoingNote(task);
        case Stage::kDone:
            return task.lateMs == 0
                       ? ""
                       : ShowDuration(milliseconds(task.lateMs)) + " after the time-out";
        case Stage::kTimedOut:
            return Reason(AppChangeState::PROCESSING);
        case Stage::kSkipped:
            return Reason(AppChangeState::INIT);
        case Stage::kFailed:
            break;
    }
    const std::string need = model.FailedNeedOf(task);
    return need.empty() ? Reason(task.result) : "needs " + need + ", which failed";
}

size_t WidthOfWords(const ProgressModel& model) {
    size_t width = 0;
    for (const TaskProgress& task : model.Tasks()) {
        width = std::max(width, GoingWord(task.task.option).size());
    }
    return width;
}

milliseconds Between(int64_t fromNs, int64_t toNs) {
    return std::chrono::duration_cast<milliseconds>(
        std::chrono::nanoseconds(std::max<int64_t>(toNs - fromNs, 0)));
}

std::optional<milliseconds> TimeOf(const TaskProgress& task, int64_t now) {
    if (task.begun == 0) {
        return std::nullopt;
    }
    return Between(task.begun, task.stage == Stage::kGoing ? now : task.ended);
}

}  // namespace GrpCtl
