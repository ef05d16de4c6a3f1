#include "daemons/grpownerd/state_changer.h"

#include <algorithm>
#include <utility>

#include "daemons/grpownerd/self_commands.h"
#include "daemons/grpownerd/state_plan.h"

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerClient::Change;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::SsClient;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kDefaultTimeout{5000};

// Nobody tells the end of a running change, so it is asked for, less and less often: each refusal
// is a line in the owner's log. The longest thing to wait for is a stop of everything.
constexpr milliseconds kFirstPause{100};
constexpr milliseconds kLongestPause{1000};
constexpr milliseconds kPatience{60000};

}  // namespace

StateChanger::StateChanger(std::string path, StateTable states, Hooks hooks)
    : path_(std::move(path)),
      states_(std::move(states)),
      hooks_(std::move(hooks)),
      thread_([this] { Run(); }) {}

void StateChanger::Release() {
    std::lock_guard<std::mutex> lock(mutex_);
    isReleased_ = true;
    changed_.notify_all();
}

bool StateChanger::Want(int state, int timeoutMs) {
    if (states_.count(state) == 0) {
        return false;
    }
    hooks_.accepted(state);
    std::lock_guard<std::mutex> lock(mutex_);
    next_ = Request{state, timeoutMs > 0 ? milliseconds(timeoutMs) : kDefaultTimeout};
    changed_.notify_all();
    return true;
}

void StateChanger::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        isStopped_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void StateChanger::Run() {
    while (true) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isStopped_ || (isReleased_ && next_); });
        if (isStopped_) {
            return;
        }
        const Request request = *std::exchange(next_, std::nullopt);
        lock.unlock();
        Reach(request);
    }
}

bool StateChanger::Pause(milliseconds duration) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !changed_.wait_for(lock, duration, [this] { return isStopped_ || next_; });
}

void StateChanger::Reach(const Request& request) {
    const auto deadline = steady_clock::now() + kPatience;
    milliseconds pause = kFirstPause;
    std::string trouble;
    Step step = Try(request, trouble);
    while (step == Step::kBusy && steady_clock::now() < deadline) {
        if (!Pause(pause)) {
            trouble = "a newer state is wanted";
            break;
        }
        pause = std::min(pause * 2, kLongestPause);
        step = Try(request, trouble);
    }
    hooks_.ended(request.state, step == Step::kDone ? "" : trouble);
}

// Asks anew who runs each time: the change that was waited for has changed that.
StateChanger::Step StateChanger::Try(const Request& request, std::string& trouble) {
    auto client = ConnectToSelf(path_);
    if (!client) {
        trouble = client.GetError().message;
        return Step::kFailed;
    }
    const std::vector<std::string> driving = DrivingApplications(hooks_.manifests());
    const auto statuses = client->Query(driving, request.timeout);
    if (!statuses) {
        trouble = statuses.GetError().message;
        return Step::kFailed;
    }
    if (!AreSettled(*statuses)) {
        trouble = "an application has neither started nor stopped yet";
        return Step::kBusy;
    }
    return Apply(*client, PlanState(driving, *statuses, states_.at(request.state)), request,
                 trouble);
}

StateChanger::Step StateChanger::Apply(SsClient& client, const std::vector<Change>& changes,
                                       const Request& request, std::string& trouble) {
    const auto answer = client.ChangeApps(changes, request.timeout);
    if (!answer && answer.GetError().kind == ErrorKind::kTooLarge && changes.size() > 1) {
        const auto half = changes.begin() + static_cast<ptrdiff_t>(changes.size() / 2);
        const Step step = Apply(client, {changes.begin(), half}, request, trouble);
        return step == Step::kDone ? Apply(client, {half, changes.end()}, request, trouble) : step;
    }
    if (!answer) {
        trouble = answer.GetError().message;
        return Step::kFailed;
    }
    if (answer->isOk) {
        return Step::kDone;
    }
    if (answer->results.empty()) {
        trouble = "another change or a reload has not ended";
        return Step::kBusy;
    }
    trouble.clear();
    for (const auto& result : answer->results) {
        if (result.state != static_cast<uint32_t>(AppChangeState::SUCCESS)) {
            trouble += (trouble.empty() ? "" : ", ") + result.name + " " +
                       ProcMgr::GetAppState(result.state);
        }
    }
    return Step::kFailed;
}

}  // namespace GrpOwnerDaemon
