// What observers are told by a real process manager.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "client/line_stream.h"
#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using GrpOwnerClient::LineStream;

constexpr std::chrono::milliseconds kPatience{30000};

class ObserverTest : public GroupTest {
protected:
    void BootAndKeep(const std::string& applications, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--capture", "65536"});
        Boot(applications, std::move(options));
    }

    LineStream Observe(const std::string& request) const {
        auto stream =
            LineStream::Open(Path("run/PROCMGR.observe"), "process manager", request, kPatience);
        EXPECT_TRUE(stream) << stream.GetError().message;
        return std::move(*stream);
    }

    std::string FirstOf(const std::string& request) const {
        LineStream stream = Observe(request);
        return Next(stream);
    }

    static std::string Next(LineStream& stream) {
        const auto line = stream.Next(kPatience);
        return line ? *line : line.GetError().message;
    }

    /// One line for each text, which holds it.
    static void ExpectNext(LineStream& stream, const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const std::string line = Next(stream);
            EXPECT_NE(line.find(text), std::string::npos) << text << "\n" << line;
        }
    }
};

uint64_t NumberIn(const std::string& line, const std::string& key) {
    return std::stoull(line.substr(line.find("\"" + key + "\":") + key.size() + 3));
}

// What is past comes first, in order and no more than was asked for, then what happens.
TEST_F(ObserverTest, TellsThePastAndThenWhatComes) {
    BootAndKeep(
        "  app: {command: [/bin/sh, -c, 'echo one; echo two >&2; printf half; kill -SEGV $$$$']}\n"
        "  other: {command: [/bin/echo, no]}\n"
        "  lost: {command: /nowhere/to/be/found}\n");
    for (const char* const name : {"app", "other"}) {
        owner->Start({name});
        owner->Next();
        owner->Next();
    }
    const std::string request = "owner=rover application=app application=lost lines=2 events=2";
    const std::vector<std::string> past{"\"kind\":\"hello\"", "\"kind\":\"executed\"",
                                        "\"text\":\"two\"}", "\"text\":\"half\"}",
                                        "\"signal\":11,\"name\":\"SIGSEGV\","};
    LineStream live = Observe(request + " follow");
    ExpectNext(live, past);
    ExpectNext(live, {"{\"kind\":\"live\""});
    LineStream once = Observe(request);
    ExpectNext(once, past);
    ExpectNext(once, {"{\"kind\":\"end\"", "has ended the connection"});

    owner->Start({"app", "other", "lost"});
    ExpectNext(live, {"\"kind\":\"spawned\"", "\"kind\":\"executed\"",
                      "\"step\":\"execute the program\",\"errno\":2,", "\"text\":\"one\"",
                      "\"text\":\"two\"", "\"text\":\"half\"", "\"kind\":\"exited\""});
}

// Who does not read hinders nobody, and learns how much he has missed.
TEST_F(ObserverTest, TellsASlowReaderOfHisGap) {
    constexpr uint64_t kLines = 200000;
    BootAndKeep("  app: {command: [/usr/bin/seq, '" + std::to_string(kLines) + "']}\n");
    LineStream slow = Observe("owner=rover application=app lines=0 events=0 follow");
    ExpectNext(slow, {"\"hello\"", "\"live\""});
    owner->Start({"app"});
    Expect("app", Kind::kStarted);
    Expect("app", Kind::kNormalExit);
    uint64_t next = 1;
    bool hasGap = false;
    std::string line;
    while (line.find("\"exited\"") == std::string::npos && !HasFailure()) {
        line = Next(slow);
        if (line.find("\"kind\":\"gap\"") != std::string::npos) {
            EXPECT_NE(line.find("\"of\":\"output\""), std::string::npos) << line;
            next += NumberIn(line, "missed");
            hasGap = true;
        } else if (line.find("\"kind\":\"output\"") != std::string::npos) {
            ASSERT_EQ(line.substr(line.find("\"text\"")),
                      "\"text\":\"" + std::to_string(next) + "\"}");
            ++next;
        }
    }
    EXPECT_EQ(next, kLines + 1);
    EXPECT_TRUE(hasGap);
}

TEST_F(ObserverTest, RefusesWithAReason) {
    BootAndKeep("  app: {command: probe}\n");
    const std::pair<const char*, const char*> requests[] = {
        {"owner=rover lines=-1", "\"malformed\",\"reason\":\"`lines=-1` is no word"},
        {"{\"owner\":\"rover\"}", "\"malformed\""},
        {"application=app", "\"malformed\",\"reason\":\"applications are named without"},
        {"owner=nobody", "\"unknown-owner\",\"reason\":\"no owner `nobody`"},
        {"owner=rover application=ap\xff", "\"unknown-application\""},
    };
    for (const auto& [request, answer] : requests) {
        EXPECT_NE(FirstOf(request).find(
                      std::string("{\"schema\":1,\"kind\":\"refused\",\"error\":") + answer),
                  std::string::npos)
            << request;
    }
    EXPECT_NE(FirstOf(std::string(100000, ' ')).find("too long"), std::string::npos);
}

// Strangers learn nothing; the user of an owner sees what is its and no more.
TEST_F(ObserverTest, LooksAtWhoAsks) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    BootAndKeep("  app: {command: probe}\n", {"--group", "daemon"});
    constexpr uid_t kStranger = 65534;
    ASSERT_EQ(seteuid(kStranger), 0);
    const std::string asStranger = FirstOf("owner=rover lines=1");
    ASSERT_EQ(seteuid(0) + setegid(1) + seteuid(kStranger), 0);
    Owner foreign(Path("run"), "foreign");
    const std::string asMember = FirstOf("owner=rover lines=1");
    ASSERT_EQ(seteuid(0) + setegid(0) + seteuid(kStranger), 0);
    const std::string asOwner = FirstOf("owner=foreign lines=1");
    const std::string asOtherOwner = FirstOf("owner=rover lines=1");
    const std::string ofAll = FirstOf("lines=1");
    ASSERT_EQ(seteuid(0), 0);
    for (const std::string& answer : {asStranger, asOtherOwner, ofAll}) {
        EXPECT_NE(answer.find("\"not-allowed\""), std::string::npos) << answer;
    }
    for (const std::string& answer : {asMember, asOwner}) {
        EXPECT_NE(answer.find("\"hello\""), std::string::npos) << answer;
    }
}

}  // namespace
}  // namespace ProcMgrTest
