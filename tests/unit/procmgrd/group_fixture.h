#pragma once

#include <csignal>
#include <optional>
#include <stdexcept>

#include "tests/support/process/managed_test.h"
#include "tests/unit/procmgrd/owner.h"

namespace ProcMgrTest {

using ProcessTest::Daemon;
using ProcessTest::HasEnded;
using ProcessTest::HasInOrder;

/// A process manager, an owner "rover", and a configuration of probes.
class GroupTest : public ProcessTest::ManagedTest {
protected:
    void Boot(const std::string& applications, std::vector<std::string> options = {},
              std::vector<std::string> environment = {}) {
        Manage(std::move(options), std::move(environment));
        owner.emplace(Path("run"));
        if (owner->Load(Configure(applications)) != "0") {
            throw std::runtime_error("the configuration is refused: " + manager_->Output());
        }
    }

    /// Starts one and waits until it runs and has said so itself.
    pid_t StartAndHear(const std::string& name) {
        owner->Start({name});
        const pid_t pid = Expect(name, Kind::kStarted);
        EXPECT_TRUE(manager_->Says("begun " + name + ", pid " + std::to_string(pid) + "\n"));
        return pid;
    }

    pid_t Expect(const std::string& name, Kind kind, uint32_t reason = 0) {
        const Report told = owner->Next();
        EXPECT_EQ(told.name, name);
        EXPECT_EQ(static_cast<int>(told.kind), static_cast<int>(kind)) << name;
        EXPECT_EQ(told.reason, reason) << name;
        return static_cast<pid_t>(told.pid);
    }

    std::optional<Owner> owner;
};

}  // namespace ProcMgrTest
