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
            handled.push_back(sender.application + " " + message.status);
        });
    const auto say = [&inbox](pid_t leader, const std::string& status) {
        inbox.Take(leader, ParseNotifyMessage("STATUS=" + status));
    };
    constexpr pid_t kStranger = 9;
    say(kStranger, "I am bus");
    say(2, "early");
    say(1, "known");
    EXPECT_EQ(handled, Lines{"bus known"});
    EXPECT_TRUE(inbox.IsAnybodyWaiting());
    known[2] = "camera";
    say(2, "late");  // before anybody has looked again
    EXPECT_EQ(handled, (Lines{"bus known", "camera early", "camera late"}));
    say(3, "early");
    known[3] = "lidar";
    inbox.LookAgain();
    learnsMeanwhile[4] = "radar";  // between the look and the wait for a word of it
    say(4, "early");
    EXPECT_EQ(Lines(handled.begin() + 3, handled.end()), (Lines{"lidar early", "radar early"}));
    for (int i = 0; i < 1024; ++i) {
        say(5, "flood");
    }
    known[kStranger] = "bus";  // whose message has given way
    inbox.LookAgain();
    EXPECT_EQ(handled.size(), 5U);
}

}  // namespace

}  // namespace GrpOwnerDaemon
