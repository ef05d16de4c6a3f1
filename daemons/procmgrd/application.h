#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "daemons/procmgrd/children.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/launch_plan.h"
#include "daemons/procmgrd/output_capture.h"
#include "daemons/procmgrd/pm_wire.h"
#include "daemons/procmgrd/spawner.h"
#include "platform/manifest_service.h"

namespace ProcMgrDaemon {

/// What all applications of all groups share.
struct Workplace {
    EventLoop& loop;
    Children& children;
    Surroundings surroundings;
    Outputs& outputs;
    Spawner& spawner;
    Journal& journal;
    Accounts accounts;
};

class Application;

class ApplicationListener {
public:
    virtual ~ApplicationListener() = default;
    virtual void OnReport(const Report& report) = 0;

    /// Its process has just become the program, or has ended and is not known by its pid any more:
    /// then it is down.
    virtual void OnProcess(const Application& application) = 0;

    /// The process has ended and no other follows. The application may be destroyed in here.
    virtual void OnDown(Application& application) = 0;
};

/// One application of a group and, while it has one, its process.
///
///   kDown         no process
///   kRunning      is the program (or outlived a termination, and nobody asked again)
///   kTerminating  asked to end, clock running; next_ holds a start that came meanwhile
///   kRestarting   asked to end, clock running; next_ is started as soon as it has
///
/// Commands, by state; "stop" is SIGTERM to the process group (SIGKILL where the manifest forces
/// it) and the clock:
///             kDown         kRunning      kTerminating   kRestarting
///   Start     launch        started!      next_ = it     -
///   Restart   launch        stop, next_   next_ = it; goes to kRestarting
///   Terminate normal exit*  stop          forget next_   to kTerminating
///
/// "!" is a report at once, "*" too unless an end was told a moment ago; "-" is answered by the
/// report that comes anyway. Commands that come again neither send a second signal nor set the
/// clock back: a waiting owner offers the same name again and again, also when the report of its
/// end is already on its way, and would take a second one for the end of what it has started since.
/// Exactly one report ends each command:
///   the launch succeeds                 started or restarted, as it was asked for
///   the launch fails                    abnormal exit; 1 when the program's file is to blame
///   the process ends in kRunning        normal or abnormal exit; normal after any Terminate
///   the process ends in kTerminating    normal exit, then next_ is launched
///   the process ends in kRestarting     none, next_ is launched
///   the clock runs out in kTerminating  time-out, back to kRunning: the process lives on
///   the clock runs out in kRestarting   none, SIGKILL
///
/// EndForGood is a termination that no owner asked for: SIGKILL when the clock runs out, and no
/// report of the exit when a new owner's start waits in next_.
class Application {
public:
    enum class State { kDown, kRunning, kTerminating, kRestarting };

    Application(Workplace& workplace, ApplicationListener& listener, std::string owner,
                ApplicationManifest manifest);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    void Start(const LaunchRequest& request);
    void Restart(const LaunchRequest& request);
    void Terminate();
    void EndForGood();

    /// For the next start and the next termination.
    void SetManifest(ApplicationManifest manifest) { manifest_ = std::move(manifest); }

    const ApplicationManifest& Manifest() const { return manifest_; }
    const std::string& Name() const { return id_->name; }
    State GetState() const { return state_; }
    pid_t Pid() const { return pid_; }

    /// When its process was about to be made.
    std::chrono::steady_clock::time_point Begun() const { return begun_; }
    OutputCapture* Output() { return output_ ? &*output_ : nullptr; }

private:
    void Launch(const LaunchRequest& request, ReportKind answer);
    void Stop();
    void OnClock();
    void Signal(int number);
    void Signal(int number, SignalReason reason);
    ProcessEvent NewEvent(ProcessEventKind kind, std::chrono::steady_clock::time_point when) const;
    void OnEnded(int waitStatus);
    void TellUnaskedEnd(int waitStatus);
    void NoteStart();
    void TellFailedStart(int error, const char* step);
    bool HasJustToldEnd() const;
    void Tell(ReportKind kind, uint32_t reason = 0);
    std::string Label() const { return id_->owner + "/" + id_->name; }

    Workplace& workplace_;
    ApplicationListener& listener_;
    const std::shared_ptr<const ApplicationId> id_;
    ApplicationManifest manifest_;
    std::optional<OutputCapture> output_;

    State state_ = State::kDown;
    pid_t pid_ = 0;
    std::chrono::steady_clock::time_point begun_;
    std::unique_ptr<LaunchRequest> next_;
    std::optional<EventLoop::TimerId> clock_;
    std::optional<std::chrono::steady_clock::time_point> endTold_;  // since the last launch
    bool termRequested_ = false;
    bool forGood_ = false;
};

}  // namespace ProcMgrDaemon
