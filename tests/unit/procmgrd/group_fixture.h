#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/procmgrd/owner.h"
#include "tests/unit/procmgrd/process_manager.h"

namespace ProcMgrTest {

/// A process manager, an owner "rover" with its ear, and a configuration of probes.
class GroupTest : public testing::Test {
protected:
    /// @param applications lines of the configuration: "name: {...}"; `probe` in them is the probe
    void Boot(const std::vector<std::string>& applications, std::vector<std::string> options = {}) {
        manager.emplace(scratch.Path(), std::move(options));
        ear.emplace(scratch.Path());
        owner.emplace(scratch.Path());
        if (owner->Load(Configure(applications)) != "0") {
            manager->Kill(SIGTERM);
            manager->Wait();
            throw std::runtime_error("the configuration is refused: " + manager->Printed());
        }
    }

    std::string Configure(const std::vector<std::string>& applications) const {
        std::string text = "version: 1\napplications:\n";
        for (std::string line : applications) {
            const size_t place = line.find("[probe,");
            if (place != std::string::npos) {
                line.replace(place, 6, "[" PROBE);
            }
            text += "  " + line + "\n";
        }
        return scratch.Write("group.yaml", text);
    }

    /// Starts one and waits until it runs and has said so itself.
    pid_t StartAndHear(const std::string& name) {
        owner->Start({name});
        ear->Await("up " + name);
        return Expect(name, kStarted);
    }

    pid_t Expect(const std::string& name, Kind kind, uint32_t reason = 0) {
        const Told told = owner->Next();
        EXPECT_EQ(told.name, name);
        EXPECT_EQ(told.kind, static_cast<uint32_t>(kind));
        EXPECT_EQ(told.reason, reason);
        return static_cast<pid_t>(told.pid);
    }

    Scratch scratch;
    std::optional<ProcessManager> manager;
    std::optional<Ear> ear;
    std::optional<Owner> owner;
};

}  // namespace ProcMgrTest
