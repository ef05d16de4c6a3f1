#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/daemon.h"

namespace EndToEnd {

/// A real process manager and real owners in a directory of their own, removed at the end. What the
/// applications print comes into the process manager's output, in the order in which it happened.
class Group : public testing::Test {
protected:
    Group();
    ~Group() override;

    void Manage(std::vector<std::string> options = {});

    /// An owner named "own" of this configuration, whose applications need only say what differs
    /// from `command: probe`.
    std::unique_ptr<Daemon> Own(const std::string& applications,
                                const std::vector<std::string>& environment = {});
    std::string Path(const std::string& name) const { return directory_ + "/" + name; }
    std::string Write(const std::string& name, const std::string& text) const;

    /// Ends owner, then process manager, and expects that nothing is left.
    void EndAll(Daemon& owner);

    std::unique_ptr<Daemon> manager_;

private:
    std::string directory_;
};

/// The pid behind the last "<before>" in a text; 0 when there is none.
pid_t PidBehind(const std::string& text, const std::string& before);

}  // namespace EndToEnd
