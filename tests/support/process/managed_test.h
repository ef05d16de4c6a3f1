#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/process/daemon.h"

namespace ProcessTest {

/// A real process manager in a directory of its own, which is removed at the end. What the
/// applications print comes into its output, in the order in which it happened.
class ManagedTest : public testing::Test {
protected:
    ManagedTest();
    ~ManagedTest() override;

    void Manage(std::vector<std::string> options = {}, std::vector<std::string> environment = {});

    /// Writes a configuration; in these lines below `applications`, `probe` stands for its path.
    std::string Configure(const std::string& applications) const;

    std::string Path(const std::string& name) const { return directory_ + "/" + name; }
    std::string Write(const std::string& name, const std::string& text) const;

    std::unique_ptr<Daemon> manager_;

private:
    std::string directory_;
};

/// Whether a text holds all of these, one behind the other.
bool HasInOrder(const std::string& text, const std::vector<std::string>& parts);

}  // namespace ProcessTest
