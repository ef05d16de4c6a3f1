// A host daemon in forty lines: it owns the group of one file and says what becomes of each
// application. When it ends, the process manager stops the group.
#include <grpowner/procmgr_grp_owner.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: host FILE\n", stderr);
        return 2;
    }
    sigset_t ends;  // blocked before there are threads, so that only sigwait takes them
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    setenv("PROC_NAME", "host", 0);  // the owner's name at the process manager

    ProcMgr::GrpOwnerCfg configuration;  // the process manager reads the same file
    configuration.startupEntry = std::filesystem::absolute(argv[1]);
    auto& owner = ProcMgr::ProcMgrGrpOwner::GetInstance();
    (void)owner.GrpOwnerConfig(configuration);
    (void)owner.SubscribeAppState([](const std::string& name, int, ProcMgr::AppReportState state) {
        std::printf("%s %u\n", name.c_str(), static_cast<unsigned>(state));
        return std::fflush(stdout) == 0;
    });
    if (owner.GrpOwnerEnable() != 0 || owner.ReportSelfStateToPm(true) != 0) {
        return 1;  // the log on standard error says why
    }
    std::puts(owner.StartAutoStartApp() ? "all run" : "not all run");
    std::fflush(stdout);

    int number = 0;
    sigwait(&ends, &number);
    return owner.GrpOwnerDisable();
}
