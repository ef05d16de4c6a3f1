#pragma once

#include <cstddef>
#include <string>

#include "grpowner/procmgr_grp_owner.h"

namespace GrpOwnerDaemon {

/// Records into the file from now on, the steps of the library's threads included.
/// @param error filled in with the reason when the result is false
bool StartRecording(const std::string& path, std::string& error);
void EndRecording();

/// The owner is observed from here on: that is a step more here and there.
void RecordTrace(size_t capacity);

/// The owner, whose calls are recorded on the way in, and its notices on the way out. Any thread,
/// as the owner itself.
class RecordedOwner : public ProcMgr::ProcMgrGrpOwner {
public:
    RecordedOwner();

    int GrpOwnerConfig(const ProcMgr::GrpOwnerCfg& cfg) override;
    int GrpOwnerEnable() override;
    int GrpOwnerDisable() override;
    bool StartAutoStartApp() override;
    bool CheckAppExisted(const std::string& name) const override;
    int QueryAppInfo(const std::string& name, ProcMgr::ApplicationInfo& out) const override;
    int ReportAppStateFromApp(const std::string& name, int pid,
                              ProcMgr::AppReportState state) const override;
    int ReportEventFromApp(const unsigned char* data, unsigned int length) const override;
    int SubscribeSystemState(const ProcMgr::SystemStateCallback& callback) override;
    int SubscribeAppState(const ProcMgr::AppStateCallback& callback) override;
    int ReportSelfStateToPm(bool ok) override;
    int ChangeAppState(const std::vector<std::string>& term, const std::vector<std::string>& start,
                       const std::vector<std::string>& restart,
                       std::map<std::string, bool>& results) override;
    int GrpOwnerRestartApp(const std::string& name) override;

private:
    ProcMgr::ProcMgrGrpOwner& owner_;
};

}  // namespace GrpOwnerDaemon
