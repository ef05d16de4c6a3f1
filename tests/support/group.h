#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "grpowner/procmgr_grp_owner.h"
#include "platform/portable/manifest_fields.h"
#include "src/application/application.h"
#include "tests/support/scripted_pm.h"

namespace GrpOwnerTest {

/// The virtual file on which the owner of a group takes requests.
constexpr char kRequestFile[] = "owner";

/// The real owner of a group over the platform in memory, with a process manager by script. One for
/// each scenario.
class Group {
public:
    /// Applications that report themselves do so when the process manager has started them.
    explicit Group(const std::vector<ManifestFields>& manifests, uint64_t seed = 1);

    /// Connects and reads the configuration; whether that succeeded.
    [[nodiscard]] bool Enable();
    /// Starts the base applications; whether all of them run.
    [[nodiscard]] bool Start() { return owner.StartAutoStartApp(); }
    /// Both, and waits until the process manager has nothing left to answer.
    [[nodiscard]] bool EnableAndStart() { return Enable() && Start() && pm.WaitIdle(); }

    /// Lets the application say that it runs.
    void SayReady(const std::string& name, uint32_t pid);

    /// The record of a name; null when there is none.
    static std::shared_ptr<ProcMgr::Application> Find(const std::string& name);
    static ProcMgr::AppStateType State(const std::string& name);
    static bool Runs(const std::string& name);

    /// What the subscriber was told and which state the application was in then:
    /// "name pid NOTICE STATE".
    std::vector<std::string> Notices() const;
    void ForgetNotices();

private:
    mutable std::mutex mutex_;  // guards the notices
    std::vector<std::string> notices_;

public:
    ProcMgr::ProcMgrGrpOwner& owner;
    ScriptedPm pm;  // the last member: its thread uses the others until it is gone
};

}  // namespace GrpOwnerTest
