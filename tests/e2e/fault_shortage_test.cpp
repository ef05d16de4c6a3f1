// The machine has no more: no room for logs, no descriptors.
#include <csignal>
#include <filesystem>
#include <regex>

#include "client/connection.h"
#include "tests/e2e/fault.h"

namespace EndToEnd {

namespace fs = std::filesystem;

// One log is on a disk without room, another may not grow; what applications print is lost to the
// files alone, and nobody is stopped or killed for it.
TEST_F(Fault, LogsWithoutRoomStopNobody) {
    fs::create_directory(Path("logs"));
    fs::create_symlink("/dev/full", Path("logs/base.log"));
    Write("logs/tall.log", std::string(1023, 'x'));
    manager_ = std::make_unique<Daemon>(
        Limited("-f 2", {PROCMGRD, "--run-dir", Path("run"), "--log-dir", Path("logs")}));
    ASSERT_TRUE(manager_->Says("procmgrd: ready on ")) << manager_->Output();
    const auto owner = Boot("  base: {command: probe}\n  tall: {command: probe}\n",
                            {"GRPOWNER_LOG_LEVEL=debug", "GRPOWNER_LOG_FILE=/dev/full"});
    EXPECT_TRUE(manager_->Says("cannot write " + Path("logs/base.log") +
                               ": No space left on device; what follows is lost to it until "
                               "SIGHUP opens it anew"))
        << manager_->Output();
    EXPECT_TRUE(manager_->Says("cannot write " + Path("logs/tall.log") + ": File too large"));
    EXPECT_EQ(fs::file_size(Path("logs/tall.log")), 1024U);
    fs::remove(Path("logs/base.log"));
    manager_->Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&] { return fs::exists(Path("logs/base.log")); }));
    ExpectThatItLives(*owner);
    EXPECT_TRUE(Eventually([&] { return fs::file_size(Path("logs/base.log")) > 0; }));
    EndAll(*owner);
}

// From far too few descriptors to just enough: whatever fails does so soon and says why.
class Descriptors : public Fault, public testing::WithParamInterface<const char*> {
protected:
    // With so many for the one of the two that is meant.
    bool Boots(const std::string& limit) {
        const bool isOwner = GetParam() == std::string("Owner");
        manager_.reset();
        manager_ = std::make_unique<Daemon>(
            Limited(isOwner ? "-f unlimited" : limit,
                    {PROCMGRD, "--run-dir", Path("run"), "--capture", "0"}));
        if (!manager_->Says("procmgrd: ready on ")) {
            EXPECT_TRUE(manager_->Says(kTooMany)) << manager_->Output();
            EXPECT_EQ(manager_->Wait(), 1);
            return false;
        }
        Daemon owner(
            Limited(isOwner ? limit : "-f unlimited",
                    {GRPOWNERD, "--run-dir", Path("run"), "--name", "own", "--progress", "--events",
                     "news", Configure("  base: {command: [probe, ready], readiness: notify}\n")}));
        const std::regex outcome("Done, 1 of 1|Not all started|error: |error while loading");
        EXPECT_TRUE(Eventually([&] { return std::regex_search(owner.Output(), outcome); }));
        const bool isUp = owner.Output().find("Done, 1 of 1") != std::string::npos;
        EXPECT_TRUE(isUp || (isOwner ? owner : *manager_).Says(kTooMany))
            << owner.Output() << manager_->Output();
        if (isUp && isOwner) {
            ExpectThatItTellsOfMore(owner);
        }
        return isUp;
    }

    void ExpectThatItTellsOfMore(Daemon& owner) {
        const auto one = GrpOwnerClient::Connection::Open(Path("run/own.vfs"), kLong);
        const auto another = GrpOwnerClient::Connection::Open(Path("run/own.vfs"), kLong);
        EXPECT_TRUE(one && another);
        EXPECT_TRUE(owner.Says("until something has gone: Too many open files"));
    }

    static constexpr char kTooMany[] = "Too many open files";
};

INSTANTIATE_TEST_SUITE_P(Fault, Descriptors, testing::Values("ProcessManager", "Owner"),
                         [](const auto& process) { return std::string(process.param); });

TEST_P(Descriptors, AreTooFewOrEnough) {
    int limit = 6;  // which a program needs to be loaded
    while (limit < 64 && !Boots("-n " + std::to_string(limit))) {
        ++limit;
    }
    EXPECT_LT(limit, 64);
}

}  // namespace EndToEnd
