#include "src/ss/ss_to_owner_server_impl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "platform/memory/memory_platform.h"
#include "src/common/logging.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::Logged;

constexpr int kBadArgument = -15794176;
constexpr int kCopyFailed = -15794179;
constexpr size_t kRecord = 4000;
const std::string kFile = "ss";

/// A client's record, at an odd address and full of sevens where nothing was written.
struct Record {
    explicit Record(const std::string& payload) { Put(payload); }

    void Put(const std::string& payload) {
        const uint64_t size = payload.size();
        bytes.replace(1, sizeof(size), reinterpret_cast<const char*>(&size), sizeof(size));
        bytes.replace(13, payload.size(), payload);
    }

    std::string bytes = std::string(1 + kRecord, '7');
};

constexpr int32_t kTimeout = 0x37373737;  // four sevens

/// Gives a command on an open file. All of the record but the answer is to stay as it was.
bool Answers(VirtualFileClient& client, unsigned command, const std::string& payload,
             const std::string& answer) {
    Record record(payload);
    Record expected = record;
    expected.Put(answer);
    const int result = client.Ioctl(command, record.bytes.data() + 1, kRecord);
    EXPECT_EQ(record.bytes, expected.bytes);
    return result == static_cast<int>(answer.size()) + 8;
}

SsToOwnerServer& Server() {
    return SsToOwnerServer::GetInstance();
}

std::string g_told;

auto Tell(const char* what) {
    return [what](auto&&...) { return g_told += what, true; };
}

const auto kTellChange = [](auto& term, auto& start, auto& restart, auto& results, int timeout) {
    for (const auto& apps : {term, start, restart}) {
        for (const AppInfoForServer& app : apps) {
            g_told += app.name + std::to_string(app.argv.size() * 10 + app.dynamicParas.size());
        }
        g_told += "|";
    }
    results = {{"t", AppChangeState::TERM_FAILED}};
    return timeout != kTimeout;
};

const auto kTellQuery = [](auto& names, auto& states, int timeout) {
    g_told += names.at(0);
    states = {{"x", -1, 2}};
    return timeout == kTimeout;
};

const auto kTellState = [](int state, int timeout) {
    return g_told += std::to_string(state), timeout == kTimeout;
};

SCENARIO(SsServer, EveryCommandReachesItsCallback) {
    // Of two callbacks for the same only the one with the time-out is called.
    Server().RegSsChangeAppCallBackImpl(Tell("without time-out"), kFile);
    Server().RegSetSystemStateCallBackImpl(Tell("without time-out"), kFile);
    Server().RegSsChangeAppTimeoutCallBackImpl(kTellChange, kFile);
    Server().RegSetSystemStateTimeoutCallBackImpl(kTellState, kFile);
    Server().RegReloadCallBackImpl(Tell("reload"), kFile);
    Server().RegDumpCallBackImpl(Tell("dump"), kFile);
    Server().RegStopAllAppCallBackImpl(Tell("stop"), kFile);
    std::vector<std::string> list{"cam", "nav"};
    Server().RegQueryAppListCallBackImpl([&](auto& names) { return names = list, true; }, kFile);
    Server().RegSsVerifyAppCallBackImpl([](auto& changes) { return changes.at("a") != 2; }, kFile);
    Server().RegSsQueryAppStateCallBackImpl(kTellQuery, kFile);
    ASSERT_EQ(OfferedServices().size(), 1U);
    EXPECT_EQ(OfferedServices()[0].timeoutMs, 5000);

    VirtualFileClient client(kFile);
    const auto check = [&client](unsigned command, const std::string& payload,
                                 const std::string& answer, const std::string& expected) {
        g_told.clear();
        EXPECT_TRUE(Answers(client, command, payload, answer));
        EXPECT_EQ(g_told, expected);
    };
    // Parameters of a termination are dropped, and so is an option that nobody knows.
    check(0, "4#s#0#1#x#1#0#1#p#t#1#1#x#1#0#1#p#r#2#0#1#0#1#p#u#7#0#0#", "2#0#t#1#", "t10|s11|r1|");
    check(0, "9999#", "2#0#t#1#", "|||");  // refused, yet carried out as far as it goes
    check(1, "x", "", "");
    check(2, "", "1#", "-1");
    check(3, "", "1", "reload");
    check(4, "", "1", "dump");
    check(5, "", "1", "stop");
    check(6, "", "1#cam#nav#", "");
    check(7, "x", "", "");
    check(8, "2#a#0#a#2#", "0", "");
    check(9, std::string("\1\0\0\0\1\0\0\0x", 9),
          std::string("\1\1\0\0\0\1\0\0\0x\377\377\377\377\2\0\0\0", 18), "x");
    check(9, "\1", "", "");
    check(0x80000000, "x", "", "");
    // An answer of exactly a record, then a byte more: the length stays, 3989.
    list = {std::string(3985, 'n')};
    check(6, "", "1#" + list[0] + "#", "");
    list[0] += "n";
    Record tooLong("x");
    EXPECT_EQ(client.Ioctl(6, tooLong.bytes.data() + 1, kRecord), kCopyFailed);
    EXPECT_EQ(tooLong.bytes,
              "7" + std::string("\x95\x0F\0\0\0\0\0\0", 8) + "7777" + std::string(3988, '\0'));
    EXPECT_EQ(client.Ioctl(2, tooLong.bytes.data() + 1, kRecord - 1), kBadArgument);
    EXPECT_EQ(client.Ioctl(2, nullptr, kRecord), kBadArgument);
    EXPECT_EQ(SsToOwnerServerImpl::MyIoctl(nullptr, 2, nullptr), kBadArgument);
    Record lie("1");
    lie.bytes.replace(1, 8, 8, '\xFF');
    g_told.clear();
    EXPECT_EQ(client.Ioctl(2, lie.bytes.data() + 1, kRecord), 10);
    EXPECT_EQ(g_told, "-1");
}

// Without any callback and with callbacks that throw.
SCENARIO(SsServer, CallbacksThatAreMissingOrThrow) {
    Server().RegReloadCallBackImpl(nullptr, kFile);
    VirtualFileClient client(kFile);
    const auto fail = [](auto&&...) -> bool { throw std::runtime_error("out of order"); };
    for (const char* text : {"Reload cfg failed, callback is nullptr",
                             "ChangeAppState callback failed: out of order"}) {
        for (const auto& [command, answer] : std::vector<std::pair<unsigned, std::string>>{
                 {0, "1#0#"}, {2, "0#"}, {3, "0"}, {4, "0"}, {5, "0"}, {6, "0#"}, {8, "0"}}) {
            EXPECT_TRUE(Answers(client, command, "", answer));
        }
        EXPECT_TRUE(Answers(client, 9, std::string(4, '\0'), std::string(5, '\0')));
        EXPECT_TRUE(Logged(kError, text));
        Server().RegSsChangeAppCallBackImpl(fail, kFile);
        Server().RegSetSystemStateCallBackImpl(fail, kFile);
        Server().RegReloadCallBackImpl([]() -> bool { throw 1; }, kFile);
        Server().RegSsQueryAppStateCallBackImpl(fail, kFile);
    }
}

SCENARIO(SsServer, RegistrationIsTriedUntilItSucceeds) {
    setenv("DATAMASTER_RUN_MODE", "1", 1);
    ScriptMessaging(MessagingCall::kRegisterService, -5);
    EXPECT_EQ(Server().RegSetSystemStateTimeoutCallBackImpl(kTellState, kFile), -5);
    EXPECT_EQ(VirtualFileClient(kFile).OpenResult(), -ENOENT);
    EXPECT_TRUE(
        Logged(kError, "RegSetSystemStateCallBackImpl(with timeout) failed, resFileName=ss"));
    EXPECT_EQ(Server().RegDumpCallBackImpl(nullptr, kFile), 0);
    EXPECT_EQ(Server().RegReloadCallBackImpl(nullptr, "other"), 0);
    ASSERT_EQ(OfferedServices().size(), 2U);
    EXPECT_EQ(OfferedServices()[1].timeoutMs, 30528);
    VirtualFileClient client(kFile);
    EXPECT_TRUE(Answers(client, 2, "1", "1#"));  // what was told although it failed is kept
}

const std::string kQueue = "events";

void StartQueue() {
    ASSERT_EQ(Server().InitSysEventServer(kQueue), 0);
    EXPECT_TRUE(g_enableSyslog);
    g_enableSyslog = false;  // back to where a test sees the lines
}

using Events = std::vector<std::string>;

SCENARIO(SystemEventQueue, EveryReaderGetsEveryEvent) {
    StartQueue();
    EXPECT_EQ(Server().ReportSysEvent({1}), 0);  // lost: nobody is there
    QueueReader readers[]{{kQueue, "r0"}, {kQueue, "r1"}, {kQueue, "r2"}};
    EXPECT_EQ(Pools().at(1).blockSize, 160U);
    // The middle one never reads: when its blocks are used up, it alone misses the events.
    for (uint32_t state = 0; state < 1000; ++state) {
        ASSERT_EQ(Server().ReportSysEvent({state}), 0);
        ASSERT_EQ(readers[0].Take(), Events{std::to_string(state)});
    }
    EXPECT_EQ(readers[2].Take().size(), 1000U);
    EXPECT_EQ(Server().ReportSysEvent({UINT32_MAX}), 0x00F10209);
    EXPECT_TRUE(Logged(kError, "ReportSysEvent, Malloc block failed. (err=-11,resfile=r1)"));
    EXPECT_EQ(readers[0].Take(), Events{"4294967295"});
    EXPECT_EQ(readers[2].Take(), Events{"4294967295"});
    readers[1].Close();
    EXPECT_EQ(Pools().size(), 2U);
    EXPECT_EQ(Server().ReportSysEvent({1}), 0);
}

// The first of two readers fails: it holds no block afterwards, and the second is served.
SCENARIO(SystemEventQueue, AReaderThatFails) {
    StartQueue();
    QueueReader readers[]{{kQueue, "r0"}, {kQueue, "r1"}};
    const std::vector<std::pair<MessagingCall, int>> rows{{MessagingCall::kMalloc, 0x00F10209},
                                                          {MessagingCall::kWrite, 0x00F10003},
                                                          {MessagingCall::kEnqueue, 0x00F1020B}};
    for (const auto& [call, status] : rows) {
        ScriptMessaging(call, -7);
        EXPECT_EQ(Server().ReportSysEvent({3}), status);
        EXPECT_EQ(readers[0].Take(), Events{});
        EXPECT_EQ(readers[1].Take(), Events{"3"});
        EXPECT_EQ(Pools().at(0).held, 0U) << status;
    }
    ScriptMessaging(MessagingCall::kDestroyPool, -9);
    readers[0].Close();
    EXPECT_TRUE(Logged(kError, "SsToOwnerServerClose: Free poolHandle failed, err=-9 file=r0"));
    EXPECT_EQ(Server().ReportSysEvent({4}), 0);  // the first is gone all the same
}

/// Reaches the readers, to add one that no platform lets in.
struct Readers : SsToOwnerServerImpl {
    static void AddNull() NO_THREAD_SAFETY_ANALYSIS { (*procQfsFileMap_)[nullptr] = {}; }
};

SCENARIO(SystemEventQueue, ReadersThatDoNotGetIn) {
    ScriptMessaging(MessagingCall::kRegisterQueue, -6);
    EXPECT_EQ(Server().InitSysEventServer(kQueue), -6);
    StartQueue();
    ScriptMessaging(MessagingCall::kRegisterPool, -7);
    EXPECT_EQ(QueueReader(kQueue, "r0").OpenResult(), -7);
    EXPECT_EQ(SsToOwnerServerImpl::SsToOwnerServerOpen(nullptr), -1);
    EXPECT_EQ(Server().ReportSysEvent({1}), 0);
    Readers::AddNull();
    QueueReader reader(kQueue, "r1");
    EXPECT_EQ(Server().ReportSysEvent({2}), 0x00F10001);
    EXPECT_TRUE(Logged(kError, "ReportSysEvent: Please wait to open the resfile"));
    EXPECT_EQ(reader.Take(), Events{"2"});
}

}  // namespace
}  // namespace ProcMgr
