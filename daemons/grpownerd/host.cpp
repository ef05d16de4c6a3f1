#include "daemons/grpownerd/host.h"

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "daemons/grpownerd/trace_service.h"
#include "grpowner/trace.h"
#include "platform/portable/manifest_fields.h"

namespace GrpOwnerDaemon {

namespace {

using ProcMgr::AppReportState;

constexpr char kProcessManager[] = "PROCMGR";

// Without one of these the loop would be deaf to what it stands for.
Daemons::UniqueFd Need(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return Daemons::UniqueFd(descriptor);
}

Daemons::UniqueFd BlockSignals() {
    sigset_t served;
    sigemptyset(&served);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR2}) {
        sigaddset(&served, number);
    }
    pthread_sigmask(SIG_BLOCK, &served, nullptr);
    return Need(signalfd(-1, &served, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

void Raise(const Daemons::UniqueFd& event) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(event.Get(), &one, sizeof(one));
}

bool IsRaised(const Daemons::UniqueFd& event) {
    uint64_t count = 0;
    return read(event.Get(), &count, sizeof(count)) > 0;
}

}  // namespace

Host::Host(const Options& options, const std::string& runDirectory,
           const GrpOwnerLinux::Configuration& configuration, StateTable states)
    : options_(options),
      runDirectory_(runDirectory),
      recordedOwner_(options.recording.empty() ? nullptr : std::make_unique<RecordedOwner>()),
      owner_(recordedOwner_ ? *recordedOwner_ : ProcMgr::ProcMgrGrpOwner::GetInstance()),
      signals_(BlockSignals()),
      pipeEnd_(Need(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      processBegun_(Need(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      allStopped_(Need(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      view_(configuration.manifests, options.showProgress),
      requests_(options, runDirectory, configuration, std::move(states), view_),
      inbox_(
          [](pid_t leader, NotifyInbox::Clock::time_point when) {
              return GrpOwnerLinux::ApplicationOf(kProcessManager, leader, when);
          },
          [this](const NotifySender& sender, const NotifyMessage& message) {
              OnNotify(sender, message);
          }),
      notify_(runDirectory + "/" + options.name + ".notify", options.name) {
    for (const ApplicationManifest& manifest : configuration.manifests) {
        GrpOwnerLinux::SetHeartBeatPeriod(manifest.GetAppName(),
                                          manifest.Fields().heartBeatPeriodMs);
    }
}

// Without eyes the group runs as well: what is missing is said, and that is all.
void Host::BeginTrace() {
    if (options_.traceSteps == 0) {
        return;
    }
    RecordTrace(options_.traceSteps);
    ProcMgr::OwnerTrace::Open(options_.traceSteps, [] {
        const GrpOwnerLinux::Requester requester = GrpOwnerLinux::CurrentRequester();
        return requester.process == 0 ? ProcMgr::TraceRequester{geteuid(), getpid()}
                                      : ProcMgr::TraceRequester{requester.user, requester.process};
    });
    const std::string trouble = OfferTrace(runDirectory_, options_.name);
    if (!trouble.empty()) {
        std::fprintf(stderr, "grpownerd: nobody can watch: %s\n", trouble.c_str());
    }
    if (!options_.traceFile.empty()) {
        traceFile_ = std::make_unique<TraceFile>(options_.traceFile, options_.name);
    }
}

int Host::Run() {
    BeginTrace();
    if (!Enable()) {
        notify_.Close();
        return EXIT_FAILURE;
    }
    booter_ = std::make_unique<Booter>(owner_, view_, [this](bool isAllUp) {
        requests_.BootIsOver();
        (void)malloc_trim(0);  // what reading the configuration and the start of all have taken
        supervisor_.TellPatiently("READY=1\nSTATUS=" + view_.Status());
        if (!isAllUp) {
            std::fprintf(stderr, "grpownerd: not all base applications have started: %s\n",
                         view_.Status().c_str());
        }
    });
    return End(Loop());
}

bool Host::Enable() {
    if (!requests_.Prepare()) {
        return false;
    }
    ProcMgr::GrpOwnerCfg cfg;
    cfg.ssResFileName = options_.ssFile;
    cfg.enableEvent = options_.enableEvents;
    cfg.enableSsServer = options_.enableSs;
    (void)owner_.GrpOwnerConfig(cfg);  // always 0, as are the subscriptions
    (void)owner_.SubscribeSystemState(
        [this](int state, int timeout) { return requests_.SetSystemState(state, timeout); });
    (void)owner_.SubscribeAppState([this](const std::string& name, int pid, AppReportState state) {
        return OnAppState(name, pid, state);
    });
    GrpOwnerLinux::SetPipeEndHandler([this](int, const std::string& reason) { OnPipeEnd(reason); });
    GrpOwnerLinux::SetProcessHandler([this] {
        if (inbox_.IsAnybodyWaiting()) {
            Raise(processBegun_);
        }
    });
    if (owner_.GrpOwnerEnable() != 0) {
        const std::string path = GrpOwnerLinux::PipePath(runDirectory_, kProcessManager);
        std::fprintf(stderr, "error: cannot own the group\n");
        if (access(path.c_str(), F_OK) != 0) {
            std::fprintf(stderr,
                         "  why: no process manager serves %s\n"
                         " help: start `procmgrd` first, or name its directory with --run-dir\n",
                         path.c_str());
        } else {
            std::fprintf(stderr,
                         "  why: the process manager at %s does not answer, or refuses the "
                         "configuration\n"
                         " help: the log above and that of `procmgrd` say more\n",
                         path.c_str());
        }
        return false;
    }
    if (!requests_.CheckThatServed()) {
        return false;
    }
    (void)owner_.ReportSelfStateToPm(true);  // a lost process manager ends the loop anyway
    return true;
}

int Host::Loop() {
    std::array<pollfd, 5> watched{
        pollfd{signals_.Get(), POLLIN, 0}, pollfd{pipeEnd_.Get(), POLLIN, 0},
        pollfd{allStopped_.Get(), POLLIN, 0}, pollfd{notify_.Get(), POLLIN, 0},
        pollfd{processBegun_.Get(), POLLIN, 0}};
    const auto interval = supervisor_.WatchdogInterval().count();
    while (true) {
        (void)poll(watched.data(), watched.size(), interval > 0 ? static_cast<int>(interval) : -1);
        if (interval > 0) {
            supervisor_.Tell("WATCHDOG=1");
        }
        if (watched[3].revents != 0) {
            notify_.ReadSome([this](pid_t leader, const NotifyMessage& message) {
                inbox_.Take(leader, message);
            });
        }
        if (watched[4].revents != 0 && IsRaised(processBegun_)) {
            inbox_.LookAgain();
        }
        if (watched[1].revents != 0 && IsRaised(pipeEnd_)) {
            std::lock_guard<std::mutex> lock(reasonMutex_);
            std::fprintf(stderr,
                         "error: the process manager is gone: %s\n"
                         " help: its applications have ended with it; start `procmgrd`, then this "
                         "owner again\n",
                         pipeEndReason_.c_str());
            return EXIT_FAILURE;
        }
        if ((watched[2].revents != 0 && IsRaised(allStopped_)) ||
            (watched[0].revents != 0 && HandleSignals())) {
            return EXIT_SUCCESS;
        }
    }
}

bool Host::HandleSignals() {
    signalfd_siginfo info{};
    while (read(signals_.Get(), &info, sizeof(info)) == sizeof(info)) {
        if (info.ssi_signo == SIGHUP) {
            requests_.Reload();
        } else if (info.ssi_signo == SIGUSR2) {
            requests_.Dump();
        } else if (!isEnding_) {
            return BeginEnd();
        }
    }
    return false;
}

// Applications still speak while they stop, so the loop goes on. A second signal ends the process
// at once: from here on they are let through.
bool Host::BeginEnd() {
    isEnding_ = true;
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
    supervisor_.TellPatiently("STOPPING=1");
    return !requests_.StopAll([this] { Raise(allStopped_); });
}

int Host::End(int exitCode) {
    (void)owner_.GrpOwnerDisable();  // always 0
    EndRecording();
    traceFile_.reset();  // with its last steps
    if (!booter_->Stop()) {
        // A start that still waits cannot be interrupted, and would meet what exit destroys.
        notify_.Close();
        std::fflush(nullptr);
        std::_Exit(exitCode);
    }
    notify_.Close();
    return exitCode;
}

void Host::OnPipeEnd(const std::string& reason) {
    {
        std::lock_guard<std::mutex> lock(reasonMutex_);
        pipeEndReason_ = reason;
    }
    Raise(pipeEnd_);
}

bool Host::OnAppState(const std::string& name, int pid, AppReportState state) {
    switch (state) {
        case AppReportState::SWITCH_ON:
            view_.Running(name, pid);
            view_.Settled(name, pid);  // the owner tells of it when it has taken it in
            break;
        case AppReportState::SWITCH_OFF:
            view_.Down(name, pid, "stopped");
            break;
        case AppReportState::ABNORMAL_EXIT:
            view_.Down(name, pid, "crashed");
            requests_.Events().TellApplication(EventReporter::Kind::kCrashed, name);
            break;
        case AppReportState::HEART_BEAT_LOST:
            view_.Remark(name, "heartbeat lost");
            requests_.Events().TellApplication(EventReporter::Kind::kHeartBeatLost, name);
            // Not from within the notice: the policy decides, on a thread that may call the
            // library.
            restarts_.Do([this, name] {
                if (!isEnding_) {
                    (void)owner_.GrpOwnerRestartApp(name);
                }
            });
            break;
        case AppReportState::HEART_BEAT_RECOVERY:
            view_.Remark(name, "heartbeat back");
            requests_.Events().TellApplication(EventReporter::Kind::kHeartBeatBack, name);
            break;
        case AppReportState::ACTIVELY_EXIT:
            view_.Remark(name, "is being stopped");
            break;
    }
    return true;
}

// READY=1 may overtake the process manager's report of the start. That does no harm: the owner has
// sent the start, so the application counts as running, and the report then brings the pid.
void Host::OnNotify(const NotifySender& sender, const NotifyMessage& message) {
    if (message.isReady) {
        // Shown first: the owner releases those that wait for it at once.
        view_.Running(sender.application, sender.leader);
        (void)owner_.ReportAppStateFromApp(sender.application, sender.leader,
                                           AppReportState::SWITCH_ON);
        view_.Settled(sender.application, sender.leader);
    }
    if (message.isReady || message.isHeartBeat) {
        GrpOwnerLinux::HeartBeatArrived(sender.application, static_cast<uint32_t>(sender.leader));
    }
    if (message.isStopping) {
        (void)owner_.ReportAppStateFromApp(sender.application, sender.leader,
                                           AppReportState::SWITCH_OFF);
    }
}

}  // namespace GrpOwnerDaemon
