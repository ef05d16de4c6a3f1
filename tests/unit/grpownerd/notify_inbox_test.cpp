// Messages that overtake the process manager's word of their process, and those of strangers.

#include "daemons/grpownerd/notify_inbox.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace GrpOwnerDaemon {

namespace {

using Lines = std::vector<std::string>;

TEST(NotifyInbox, MessagesWaitInOrderForTheWordOfTheirProcess) {
    std::map<pid_t, std::string> known{{1, "bus"}};
    std::map<pid_t, std::string> learnsMeanwhile;
    Lines handled;
    NotifyInbox inbox(
        [&](pid_t leader, NotifyInbox::Clock::time_point) {
            const auto found = known.find(leader);
            const std::string name = found == known.end() ? "" : found->second;
            known.merge(learnsMeanwhile);
            return name;
        },
        [&](const NotifySender& sender, const NotifyMessage& message) {
            handled.push_back(sender.application + (message.isReady ? " ready" : " beats"));
        });
    const auto say = [&inbox](pid_t leader, const char* words) {
        inbox.Take(leader, ParseNotifyMessage(words));
    };
    constexpr pid_t kStranger = 9;
    say(kStranger, "READY=1\nSTATUS=I am bus");
    say(2, "READY=1");
    say(1, "STATUS=up\nREADY=1\n");
    EXPECT_EQ(handled, Lines{"bus ready"});
    EXPECT_TRUE(inbox.IsAnybodyWaiting());
    known[2] = "camera";
    say(2, "WATCHDOG=1");  // before anybody has looked again
    EXPECT_EQ(handled, (Lines{"bus ready", "camera ready", "camera beats"}));
    say(3, "READY=1");
    known[3] = "lidar";
    inbox.LookAgain();
    learnsMeanwhile[4] = "radar";  // between the look and the wait for a word of it
    say(4, "READY=1");
    EXPECT_EQ(Lines(handled.begin() + 3, handled.end()), (Lines{"lidar ready", "radar ready"}));
    for (int i = 0; i < 1024; ++i) {
        say(5, "READY=1");
    }
    known[kStranger] = "bus";  // whose message has given way
    inbox.LookAgain();
    EXPECT_EQ(handled.size(), 5U);
}

}  // namespace

}  // namespace GrpOwnerDaemon
