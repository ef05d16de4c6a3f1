#include "daemons/procmgrd/application.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include "daemons/procmgrd/exit_reason.h"
#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

namespace {

// How long a request may be on its way past the report that answers it. Longer, and it is a new one
// of an owner that the report has not reached.
constexpr std::chrono::milliseconds kCrossing{1000};

constexpr size_t kLastWords = 5;  // lines of output in the log of an abnormal exit

}  // namespace

Application::Application(Workplace& workplace, ApplicationListener& listener, std::string owner,
                         ApplicationManifest manifest)
    : workplace_(workplace),
      listener_(listener),
      id_(std::make_shared<ApplicationId>(ApplicationId{std::move(owner), manifest.GetAppName()})),
      manifest_(std::move(manifest)) {}

Application::~Application() {
    if (clock_) {
        workplace_.loop.Cancel(*clock_);
    }
    workplace_.children.Forget(pid_);
}

void Application::Start(const LaunchRequest& request) {
    switch (state_) {
        case State::kDown:
            Launch(request, ReportKind::kStarted);
            break;
        case State::kRunning:
            // It outlived a termination and is wanted again: its exit counts again.
            termRequested_ = false;
            Tell(ReportKind::kStarted);
            break;
        case State::kTerminating:
            next_ = std::make_unique<LaunchRequest>(request);
            break;
        case State::kRestarting:
            break;
    }
}

void Application::Restart(const LaunchRequest& request) {
    if (state_ == State::kDown) {
        Launch(request, ReportKind::kRestarted);
        return;
    }
    const bool stopsAlready = state_ == State::kTerminating || state_ == State::kRestarting;
    state_ = State::kRestarting;
    next_ = std::make_unique<LaunchRequest>(request);
    if (!stopsAlready) {
        Stop();
    }
}

void Application::Terminate() {
    if (state_ == State::kDown) {
        if (!HasJustToldEnd()) {
            Tell(ReportKind::kNormalExit);
        }
        return;
    }
    const bool stopsAlready = state_ == State::kTerminating || state_ == State::kRestarting;
    state_ = State::kTerminating;
    next_.reset();
    termRequested_ = true;
    if (!stopsAlready) {
        Stop();
    }
}

void Application::EndForGood() {
    if (state_ == State::kDown) {
        return;
    }
    forGood_ = true;
    Terminate();
}

void Application::Stop() {
    // A stopped process has to go on to be able to end.
    Signal(manifest_.GetIsForceTerm() ? SIGKILL : SIGTERM, forGood_ ? SignalReason::kGroupEnd
                                                           : state_ == State::kRestarting
                                                               ? SignalReason::kRestart
                                                               : SignalReason::kStop);
    Signal(SIGCONT);
    clock_ = workplace_.loop.After(std::chrono::milliseconds(manifest_.GetTermTimeOut()),
                                   [this] { OnClock(); });
}

void Application::OnClock() {
    clock_.reset();
    if (state_ == State::kRestarting || forGood_) {
        LogWarning(Label() + ": still runs after " + std::to_string(manifest_.GetTermTimeOut()) +
                   " ms and is killed");
        Signal(SIGKILL, SignalReason::kStopTimeOut);
        return;
    }
    LogWarning(Label() + ": still runs after " + std::to_string(manifest_.GetTermTimeOut()) +
               " ms and is left alone");
    state_ = State::kRunning;
    Tell(ReportKind::kTermTimeOut);
    if (next_) {
        const auto request = std::move(next_);
        Start(*request);
    }
}

void Application::Signal(int number) {
    // The whole group, so that a shell and what it runs end together. A group that is gone already
    // is what was wanted.
    if (pid_ > 0) {  // 0 would be our own group
        (void)kill(-pid_, number);
    }
}

void Application::Signal(int number, SignalReason reason) {
    ProcessEvent event = NewEvent(ProcessEventKind::kSignal, std::chrono::steady_clock::now());
    event.number = static_cast<uint16_t>(number);
    event.reason = reason;
    workplace_.journal.Add(std::move(event));
    Signal(number);
}

ProcessEvent Application::NewEvent(ProcessEventKind kind,
                                   std::chrono::steady_clock::time_point when) const {
    ProcessEvent event;
    event.application = id_;
    event.time = Nanoseconds(when);
    event.pid = pid_;
    event.kind = kind;
    return event;
}

void Application::Launch(const LaunchRequest& request, ReportKind answer) {
    endTold_.reset();
    termRequested_ = false;
    forGood_ = false;
    if (!output_) {
        output_.emplace(workplace_.outputs, id_);
    }
    LaunchPlan plan;
    if (const int error = MakeLaunchPlan(workplace_.surroundings, workplace_.accounts, id_->owner,
                                         manifest_, request, plan)) {
        TellFailedStart(error, "start");
        return;
    }
    Spawned spawned;
    begun_ = std::chrono::steady_clock::now();
    const int error = workplace_.spawner.Spawn(plan, output_->WriteEnd(), spawned);
    for (const LaunchStatus& shortfall : spawned.shortfalls) {
        if (!shortfall.isFatal) {
            LogWarning(Label() + ": could not " + StepText(shortfall.step) + ": " +
                       ErrorText(shortfall.error));
        }
    }
    if (error != 0) {
        TellFailedStart(
            error, spawned.shortfalls.empty() ? "start" : StepText(spawned.shortfalls.back().step));
        return;
    }
    pid_ = spawned.pid;
    NoteStart();
    output_->SetProcess(pid_);
    state_ = State::kRunning;
    listener_.OnProcess(*this);
    workplace_.children.Expect(pid_, [this](int waitStatus) { OnEnded(waitStatus); });
    Tell(answer);
}

void Application::NoteStart() {
    const auto now = std::chrono::steady_clock::now();
    workplace_.journal.Add(NewEvent(ProcessEventKind::kSpawned, begun_));
    ProcessEvent executed = NewEvent(ProcessEventKind::kExecuted, now);
    executed.duration = std::chrono::nanoseconds(now - begun_).count();
    workplace_.journal.Add(std::move(executed));
}

void Application::OnEnded(int waitStatus) {
    if (clock_) {
        workplace_.loop.Cancel(*clock_);
        clock_.reset();
    }
    output_->Finish();
    const auto now = std::chrono::steady_clock::now();
    ProcessEvent exited = NewEvent(ProcessEventKind::kExited, now);
    exited.duration = std::chrono::nanoseconds(now - begun_).count();
    exited.number = static_cast<uint16_t>(waitStatus);
    workplace_.journal.Add(std::move(exited));
    const State before = state_;
    const auto next = std::move(next_);
    state_ = State::kDown;
    listener_.OnProcess(*this);
    if (before == State::kTerminating && !(forGood_ && next)) {
        LogInfo(Label() + ": ended, " + ExitText(waitStatus) + ", as asked");
        Tell(ReportKind::kNormalExit);
    } else if (before == State::kRunning) {
        TellUnaskedEnd(waitStatus);
    }
    pid_ = 0;
    if (next) {
        Launch(*next, before == State::kRestarting ? ReportKind::kRestarted : ReportKind::kStarted);
    }
    if (state_ == State::kDown) {
        listener_.OnDown(*this);  // the last thing done: this object may be gone now
    }
}

void Application::TellUnaskedEnd(int waitStatus) {
    if (termRequested_ || waitStatus == 0) {
        LogInfo(Label() + ": ended, " + ExitText(waitStatus));
        Tell(ReportKind::kNormalExit);
        return;
    }
    const std::string lines = output_->LastLines(kLastWords);
    LogWarning(Label() + ": pid " + std::to_string(pid_) + " ended, " + ExitText(waitStatus) +
               (lines.empty() ? "" : "; its last lines:\n" + lines));
    Tell(ReportKind::kAbnormalExit, ExitReason(waitStatus));
}

void Application::TellFailedStart(int error, const char* step) {
    ProcessEvent failed = NewEvent(ProcessEventKind::kFailed, std::chrono::steady_clock::now());
    failed.number = static_cast<uint16_t>(error);
    failed.step = step;
    workplace_.journal.Add(std::move(failed));
    const std::string& path =
        manifest_.GetIsSo() ? manifest_.GetProcessBindPath() : manifest_.GetBinPath();
    LogError(Label() + ": could not " + step + " (" + path + "): " + ErrorText(error));
    Tell(ReportKind::kAbnormalExit, StartFailureReason(error));
}

bool Application::HasJustToldEnd() const {
    return endTold_ && std::chrono::steady_clock::now() - *endTold_ < kCrossing;
}

void Application::Tell(ReportKind kind, uint32_t reason) {
    if (kind == ReportKind::kStarted || kind == ReportKind::kRestarted) {
        LogInfo(Label() + ": runs, pid " + std::to_string(pid_));
    } else if (kind != ReportKind::kTermTimeOut) {
        endTold_ = std::chrono::steady_clock::now();
    }
    listener_.OnReport({Name(), static_cast<uint32_t>(pid_), kind, reason});
}

}  // namespace ProcMgrDaemon
