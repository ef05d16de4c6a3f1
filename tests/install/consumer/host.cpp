// A host daemon in small, as somebody else would write it: boots the group and ends.
#include <grpowner/procmgr_grp_owner.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    ProcMgr::GrpOwnerCfg configuration;
    configuration.startupEntry = argv[1];
    ProcMgr::ProcMgrGrpOwner& owner = ProcMgr::ProcMgrGrpOwner::GetInstance();
    (void)owner.GrpOwnerConfig(configuration);
    (void)owner.SubscribeAppState([](const std::string& name, int, ProcMgr::AppReportState state) {
        std::printf("%s %u\n", name.c_str(), static_cast<unsigned>(state));
        return true;
    });
    if (owner.GrpOwnerEnable() != 0) {
        return 3;
    }
    (void)owner.ReportSelfStateToPm(true);
    const bool isUp = owner.StartAutoStartApp();
    (void)owner.GrpOwnerDisable();
    return isUp ? 0 : 1;
}
