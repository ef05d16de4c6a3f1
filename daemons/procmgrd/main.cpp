#include <malloc.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "daemons/procmgrd/daemon.h"
#include "daemons/procmgrd/log.h"
#include "daemons/procmgrd/options.h"
#include "platform/linux/host.h"

namespace {

int RunDaemon(const ProcMgrDaemon::Options& options) {
    using namespace ProcMgrDaemon;
    if (options.quiet) {
        SetLogThreshold(LogLevel::kWarning);
    }
    if (!options.runDirectory.empty()) {
        setenv("GRPOWNER_RUN_DIR", options.runDirectory.c_str(), 1);
    }
    std::string error;
    const std::string runDirectory = GrpOwnerLinux::RunDirectory(error);
    if (runDirectory.empty()) {
        LogError("no directory for the sockets: " + error);
        return 1;
    }
    // Absolute, since applications, which have another working directory, are told of it.
    return Daemon(options, std::filesystem::canonical(runDirectory)).Run();
}

}  // namespace

int main(int argc, char** argv) {
    // Small pieces that are free join, so that whole pages of them can be given back.
    (void)mallopt(M_MXFAST, 0);
    try {
        ProcMgrDaemon::Options options;
        const std::optional<int> status = ProcMgrDaemon::ReadOptions(argc, argv, options);
        return status ? *status : RunDaemon(options);
    } catch (const std::exception& error) {
        ProcMgrDaemon::LogError(error.what());
        return 1;
    }
}
