// What the host does about system states, events, signals and its end.
#include <csignal>

#include "client/event_reader.h"
#include "platform/linux/host.h"
#include "tests/e2e/group.h"

namespace EndToEnd {

namespace {

using GrpOwnerClient::EventReader;
using GrpOwnerClient::SsClient;
using ProcessTest::HasInOrder;

constexpr char kApplications[] =
    "  bus: {command: [probe, late], readiness: notify}\n"
    "  top: {command: probe, autostart: false, depends_on: [low]}\n"
    "  low: {command: probe, autostart: false, depends_on: [bus]}\n";

}  // namespace

class Host : public Group {
protected:
    // Until the application `bus` is told to be ready, the boot is not over.
    std::unique_ptr<Daemon> Begin() {
        Manage();
        auto owner = Own(kApplications, {"DATAMASTER_RUN_MODE=1"},
                         {"--states", Write("states.yaml", "working: [low, top]\nsuspend: []\n"),
                          "--events", "news"});
        EXPECT_TRUE(manager_->Says("begun bus")) << owner->Output();
        return owner;
    }

    void LetBootEnd(Daemon& owner) {
        EXPECT_TRUE(manager_->Says("own/bus: runs, pid "));
        kill(PidBehind(manager_->Output(), "own/bus: runs, pid "), SIGUSR2);
        EXPECT_TRUE(owner.Says("Done, 1 of 1")) << owner.Output();
    }
};

// States are accepted during the boot and change nothing before its end; then the newest counts.
TEST_F(Host, TheNewestSystemStateWins) {
    const auto owner = Begin();
    SsClient client = Connect();
    EXPECT_TRUE(*client.SetSystemState(1, kLong));
    EXPECT_TRUE(*client.SetSystemState(2, kLong));
    EXPECT_FALSE(*client.SetSystemState(3, kLong));
    EXPECT_TRUE(owner->Says("the system state UPGRADE (3) is not known"));
    LetBootEnd(*owner);
    EXPECT_TRUE(owner->Says("the system state SUSPEND (2) is reached")) << owner->Output();
    EndAll(*owner);
    EXPECT_EQ(manager_->Output().find("begun low"), std::string::npos);
}

TEST_F(Host, StatesEventsAndTheEndKeepTheirOrder) {
    const auto owner = Begin();
    LetBootEnd(*owner);
    SsClient client = Connect();
    auto reader = EventReader::Open(GrpOwnerLinux::QueuePath(Path("run"), "news"), kLong);
    ASSERT_TRUE(reader) << reader.GetError().message;
    const auto next = [&reader] {
        const auto event = reader->Next(kLong);
        return event ? *event : event.GetError().message;
    };
    EXPECT_TRUE(*client.SetSystemState(1, kLong));
    EXPECT_EQ(next(), "10001");
    EXPECT_EQ(next(), "20001");
    ASSERT_TRUE(manager_->Says("begun top") && manager_->Says("begun low"));
    const std::string pid = "top  running   pid ";
    const pid_t first = PidBehind(owner->Output(), pid);
    kill(first, SIGKILL);
    EXPECT_EQ(next(), "40001");
    ASSERT_TRUE(owner->Says("   was " + std::to_string(first))) << owner->Output();
    // Before it has begun, a signal is its end without a word.
    const pid_t second = PidBehind(owner->Output(), pid);
    ASSERT_TRUE(manager_->Says("begun top, pid " + std::to_string(second)));
    EXPECT_TRUE(*client.SetSystemState(2, kLong));
    EXPECT_EQ(next(), "10002");
    EXPECT_EQ(next(), "20002");
    std::string states;
    const auto statuses = client.Query({"bus", "low", "top"}, kLong);
    for (const auto& status : *statuses) {
        states += status.name + " " + std::to_string(status.state) + " ";
    }
    EXPECT_EQ(states, "bus 0 low 1 top 1 ");
    EndAll(*owner);
    EXPECT_TRUE(HasInOrder(manager_->Output(),
                           {"own/low: runs", "own/top: runs", "down top", "down low", "down bus"}))
        << manager_->Output();
}

TEST_F(Host, ReloadsAndDumpsAtSignals) {
    const auto owner = Begin();
    LetBootEnd(*owner);
    owner->Signal(SIGUSR2);
    EXPECT_TRUE(owner->Says("Dump Info: ")) << owner->Output();
    EXPECT_TRUE(owner->Says("the state of the group is in the log"));
    Write("group.yaml", "version: 1\napplications: {bus: {comand: /bus}}\n");
    owner->Signal(SIGHUP);
    EXPECT_TRUE(owner->Says("did you mean `command`?"));
    EXPECT_TRUE(owner->Says("the configuration is not read again: it has errors"));
    Write("group.yaml", "version: 1\napplications: {bus: {command: /bus}, new: {command: /new}}\n");
    owner->Signal(SIGHUP);
    EXPECT_TRUE(owner->Says("the configuration has been read again")) << owner->Output();
    const auto list = Connect().List();
    ASSERT_TRUE(list) << list.GetError().message;
    EXPECT_EQ(list->names, (std::vector<std::string>{"bus", "new"}));
    EndAll(*owner);
}

// It would take the other one's requests for its own, its end included.
TEST_F(Host, AnOwnerWhoseVirtualFileIsAnothersDoesNotStart) {
    const auto owner = Begin();
    LetBootEnd(*owner);
    Daemon second({GRPOWNERD, "--run-dir", Path("run"), "--name", "second", "--ss-file", "own",
                   Path("group.yaml")});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_TRUE(second.Says("own.vfs belongs to another process, the owner `own`"))
        << second.Output();
    EndAll(*owner);
}

}  // namespace EndToEnd
