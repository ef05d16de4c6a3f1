#pragma once

#include "client/ss_client.h"
#include "tests/support/process/managed_test.h"

namespace EndToEnd {

using ProcessTest::Daemon;

constexpr std::chrono::milliseconds kLong{60000};

/// Real owners of a real process manager.
class Group : public ProcessTest::ManagedTest {
protected:
    /// An owner of this configuration, whose applications need only say what differs from
    /// `command: probe`.
    std::unique_ptr<Daemon> Own(const std::string& applications,
                                const std::vector<std::string>& environment = {},
                                const std::vector<std::string>& options = {},
                                const std::string& name = "own");

    /// The same, and all of its base applications run.
    std::unique_ptr<Daemon> Boot(const std::string& applications,
                                 const std::vector<std::string>& environment = {},
                                 const std::vector<std::string>& options = {},
                                 const std::string& name = "own");

    GrpOwnerClient::SsClient Connect() const;

    /// Ends owner, then process manager, and expects that nothing is left.
    void EndAll(Daemon& owner);
};

/// The pid behind the last "<before>" in a text. It throws when there is none: as a
/// signal's target, 0 would be the test itself.
pid_t PidBehind(const std::string& text, const std::string& before);

}  // namespace EndToEnd
