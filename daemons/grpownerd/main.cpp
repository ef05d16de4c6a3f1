#include <malloc.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "daemons/grpownerd/host.h"
#include "daemons/grpownerd/options.h"
#include "daemons/grpownerd/recorded_owner.h"
#include "platform/linux/host.h"

namespace {

using GrpOwnerDaemon::Options;

int RunDaemon(const Options& options) {
    const GrpOwnerLinux::Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(options.configuration, options.defines);
    std::fputs(GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics).c_str(), stderr);
    if (!configuration.Ok()) {
        return EXIT_FAILURE;
    }
    GrpOwnerDaemon::StateFile states;
    if (!options.statesFile.empty()) {
        states = GrpOwnerDaemon::ReadStateFile(options.statesFile, options.defines,
                                               configuration.manifests);
        std::fputs(GrpOwnerLinux::RenderDiagnostics(states.diagnostics).c_str(), stderr);
        if (!states.isOk) {
            return EXIT_FAILURE;
        }
    }
    if (!options.runDirectory.empty()) {
        setenv("GRPOWNER_RUN_DIR", options.runDirectory.c_str(), 1);
    }
    std::string error;
    const std::string runDirectory = GrpOwnerLinux::RunDirectory(error);
    if (runDirectory.empty()) {
        std::fprintf(stderr, "error: no directory for the sockets: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    // The library takes both from its environment, the process manager the path as it is.
    setenv("STARTUP_ENTRY_PATH", std::filesystem::canonical(options.configuration).c_str(), 1);
    setenv("PROC_NAME", options.name.c_str(), 1);
    GrpOwnerLinux::SetMatchData(options.defines);
    GrpOwnerLinux::PrepareConfiguration(std::filesystem::canonical(options.configuration),
                                        configuration);
    if (!options.recording.empty() && !GrpOwnerDaemon::StartRecording(options.recording, error)) {
        std::fprintf(stderr, "error: cannot record into %s: %s\n", options.recording.c_str(),
                     error.c_str());
        return EXIT_FAILURE;
    }
    // Never destroyed: until the process is gone the library's threads may have notices for it.
    static GrpOwnerDaemon::Host& host =
        *std::make_unique<GrpOwnerDaemon::Host>(options, std::filesystem::canonical(runDirectory),
                                                configuration, std::move(states.states))
             .release();
    const int status = host.Run();
    GrpOwnerDaemon::EndRecording();  // before static objects end: some of them are the library's
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    (void)std::signal(SIGPIPE, SIG_IGN);  // whoever reads the progress may go
    (void)std::signal(SIGXFSZ, SIG_IGN);  // and a log file may not grow
    // Many threads that allocate little and seldom at once: a heap for each would lie idle.
    (void)mallopt(M_ARENA_MAX, 1);
    // Small pieces that are free join, so that whole pages of them can be given back.
    (void)mallopt(M_MXFAST, 0);
    try {
        Options options;
        const std::optional<int> status = GrpOwnerDaemon::ReadOptions(argc, argv, options);
        return status ? *status : RunDaemon(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
