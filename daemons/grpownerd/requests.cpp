#include "daemons/grpownerd/requests.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/portable/manifest_fields.h"

namespace GrpOwnerDaemon {

namespace {

using Kind = EventReporter::Kind;
using GrpOwnerLinux::Configuration;

// Commands that change nothing: list, verify, query.
const std::set<uint32_t> kOpenCommands{6, 8, 9};

void Say(const std::string& what) {
    std::fprintf(stderr, "grpownerd: %s\n", what.c_str());
}

}  // namespace

Requests::Requests(const Options& options, const std::string& runDirectory,
                   const Configuration& configuration, StateTable states, GroupView& view)
    : options_(options),
      view_(view),
      manifests_(configuration.manifests),
      self_(GrpOwnerLinux::VirtualFilePath(runDirectory, options.ssFile)),
      changer_(GrpOwnerLinux::VirtualFilePath(runDirectory, options.ssFile), std::move(states),
               {[this] { return Manifests(); },
                [this](int state) { events_.TellState(Kind::kStateAccepted, state); },
                [this](int state, const std::string& trouble) { StateEnded(state, trouble); }}) {}

bool Requests::Prepare() {
    GrpOwnerLinux::VirtualFileOptions file;
    file.owner = options_.name;
    file.configuration = std::filesystem::canonical(options_.configuration);
    file.matchData = options_.defines;
    file.openCommands = kOpenCommands;
    file.changeGroup = options_.changeGroup;
    GrpOwnerLinux::SetVirtualFileOptions(std::move(file));
    if (options_.eventQueue.empty()) {
        return true;
    }
    const int result = events_.Open(options_.eventQueue, manifests_);
    if (result < 0) {
        std::fprintf(stderr,
                     "error: cannot offer the event queue %s: %s\n"
                     " help: the log above says more; another name can be given with --events\n",
                     options_.eventQueue.c_str(), std::strerror(-result));
    }
    return result >= 0;
}

bool Requests::CheckThatServed() const {
    const std::string trouble = options_.enableSs ? self_.Check() : "";
    if (!trouble.empty()) {
        std::fprintf(stderr,
                     "error: cannot serve requests\n"
                     "  why: %s\n"
                     " help: the log above may say more; choose another file with --ss-file, or "
                     "serve none with --no-ss\n",
                     trouble.c_str());
    }
    return trouble.empty();
}

void Requests::BootIsOver() {
    changer_.Release();
}

bool Requests::SetSystemState(int state, int timeoutMs) {
    const bool isKnown = changer_.Want(state, timeoutMs);
    if (!isKnown) {
        Say("the system state " + StateName(state) + " is not known" +
            (options_.statesFile.empty() ? ": there is no --states"
                                         : " to " + options_.statesFile));
    }
    return isKnown;
}

bool Requests::AreServed(const char* what) const {
    if (!options_.enableSs) {
        Say(std::string(what) + " is without effect with --no-ss");
    }
    return options_.enableSs;
}

void Requests::Reload() {
    if (AreServed("reload (HUP)")) {
        commands_.Do([this] { ReloadNow(); });
    }
}

// The owner says nothing of mistakes, so they are looked for here first.
void Requests::ReloadNow() {
    const Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(options_.configuration, options_.defines);
    std::fputs(GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics).c_str(), stderr);
    const std::string trouble = configuration.Ok() ? self_.Reload() : "it has errors";
    if (!trouble.empty()) {
        Say("the configuration is not read again: " + trouble);
        return;
    }
    for (const ApplicationManifest& manifest : configuration.manifests) {
        GrpOwnerLinux::SetHeartBeatPeriod(manifest.GetAppName(),
                                          manifest.Fields().heartBeatPeriodMs);
    }
    view_.Learn(configuration.manifests);
    Say("the configuration has been read again");
}

void Requests::Dump() {
    if (!AreServed("dump (USR2)")) {
        return;
    }
    commands_.Do([this] {
        const std::string trouble = self_.Dump();
        Say(trouble.empty() ? "the state of the group is in the log" : "no dump: " + trouble);
    });
}

bool Requests::StopAll(std::function<void()> done) {
    if (!options_.enableSs) {
        return false;
    }
    Say("stopping all applications; a second signal leaves at once");
    commands_.Do([this, done = std::move(done)] {
        changer_.Stop();
        const std::string trouble = self_.StopAll();
        if (!trouble.empty()) {
            Say(trouble + "; the process manager stops what still runs");
        }
        done();
    });
    return true;
}

// The file as it stands now: the owner may have been told by anybody to read it again. While it
// has errors, nobody can have done that.
std::vector<ApplicationManifest> Requests::Manifests() {
    Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(options_.configuration, options_.defines);
    if (configuration.Ok()) {
        manifests_ = std::move(configuration.manifests);
    }
    return manifests_;
}

void Requests::StateEnded(int state, const std::string& trouble) {
    const bool isReached = trouble.empty();
    Say("the system state " + StateName(state) +
        (isReached ? " is reached" : " is not reached: " + trouble));
    events_.TellState(isReached ? Kind::kStateReached : Kind::kStateFailed, state);
}

}  // namespace GrpOwnerDaemon
