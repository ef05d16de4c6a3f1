#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "daemons/procmgrd/application.h"
#include "daemons/procmgrd/end_order.h"
#include "daemons/procmgrd/faults.h"
#include "daemons/procmgrd/report_queue.h"

namespace ProcMgrDaemon {

/// The applications of one owner, by its configuration, and what is to be reported of them. It is
/// there as long as the owner is connected or anything of it is alive.
/// A new configuration leaves processes alone; what it no longer names keeps its manifest as long
/// as it lives, and can be restarted and terminated.
class Group : public ApplicationListener {
public:
    /// Is told of each process that has begun or ended.
    using ProcessHandler = std::function<void(const Application&)>;

    Group(Workplace& workplace, Faults& faults, std::string owner, ProcessHandler processHandler);
    ~Group() override;

    /// Makes these the group's applications.
    void Configure(const std::vector<ApplicationManifest>& manifests);

    // In the order of the record.
    void Start(const std::vector<LaunchRequest>& requests);
    void Restart(const std::vector<LaunchRequest>& requests);
    void Terminate(const std::vector<std::string>& names);
    std::vector<std::pair<std::string, QueriedState>> Query(
        const std::vector<std::string>& names) const;

    /// Tells of each process that there is.
    void TellProcesses() const;

    /// Ends all applications, dependants first; over when nothing is alive.
    void End();

    /// An owner has come back: what has not been ended yet goes on.
    void Keep() { ending_ = false; }

    bool Has(const std::string& name) const { return applications_.count(name) > 0; }
    bool IsAlive() const { return AliveCount() > 0; }
    size_t AliveCount() const;
    ReportQueue& Reports() { return reports_; }
    const std::string& Owner() const { return owner_; }

    /// What there is, in words, for the log.
    std::string Dump();
    void ReopenLogFiles();

private:
    void OnReport(const Report& report) override;
    void OnProcess(const Application& application) override;
    void OnDown(Application& application) override;

    template <typename Act>
    void ForEach(const std::vector<LaunchRequest>& requests, Act act);
    void Deliver(const Report& report);
    void EndNext();
    std::set<std::string> Alive() const;

    Workplace& workplace_;
    Faults& faults_;
    const std::string owner_;
    const ProcessHandler processHandler_;
    std::map<std::string, std::unique_ptr<Application>> applications_;
    std::set<std::string> leftOver_;  // alive, but no longer in the configuration
    ReportQueue reports_;
    std::set<EventLoop::TimerId> delayed_;  // reports that a fault holds back
    bool ending_ = false;
};

}  // namespace ProcMgrDaemon
