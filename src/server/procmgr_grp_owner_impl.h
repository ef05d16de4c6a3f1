#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "grpowner/procmgr_grp_owner.h"
#include "src/common/sync.h"
#include "src/server/grp_owner_server.h"

namespace ProcMgr {

/// The façade: keeps the configuration and the coordinator and wires them to the process manager's
/// agent. Takes no lock; no exception leaves it.
class ProcMgrGrpOwnerImpl : public ProcMgrGrpOwner {
public:
    ProcMgrGrpOwnerImpl() = default;
    ~ProcMgrGrpOwnerImpl() override;
    ProcMgrGrpOwnerImpl(const ProcMgrGrpOwnerImpl&) = delete;
    ProcMgrGrpOwnerImpl& operator=(const ProcMgrGrpOwnerImpl&) = delete;

    int GrpOwnerConfig(const GrpOwnerCfg& cfg) override;
    int GrpOwnerEnable() override;
    int GrpOwnerDisable() override;
    bool StartAutoStartApp() override;
    bool CheckAppExisted(const std::string& name) const override;
    int QueryAppInfo(const std::string& name, ApplicationInfo& out) const override;
    int ReportAppStateFromApp(const std::string& name, int pid,
                              AppReportState state) const override;
    int ReportEventFromApp(const unsigned char* data, unsigned int length) const override;
    int SubscribeSystemState(const SystemStateCallback& callback) override;
    int SubscribeAppState(const AppStateCallback& callback) override;
    int ReportSelfStateToPm(bool ok) override;
    int ChangeAppState(const std::vector<std::string>& term, const std::vector<std::string>& start,
                       const std::vector<std::string>& restart,
                       std::map<std::string, bool>& results) override;
    int GrpOwnerRestartApp(const std::string& name) override;

private:
    bool GroupOwnerRegCb();
    void RegisterRequestHandlers();

    static uint64_t logOutput_;
    static Mutex fdMutex_;

    std::string startupEntry_;
    std::string spareName_;
    std::string ssResFileName_;
    bool enableEvent_ = false;
    bool enableSsServer_ = false;
    const std::shared_ptr<GrpOwnerServer> server_ = std::make_shared<GrpOwnerServer>();
};

}  // namespace ProcMgr
