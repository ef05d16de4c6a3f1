#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>

#include "platform/memory/memory_platform.h"
#include "src/agent/ezcom_retry.h"
#include "src/agent/procmgr_agent_impl.h"
#include "src/common/sync_seeded.h"
#include "tests/support/frames.h"
#include "tests/support/log_assertions.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using namespace GrpOwnerTest;
using Message::RequestType;

class AgentTest : public testing::Test {
protected:
    AgentTest() : agent_(std::make_unique<ProcMgrAgentImpl>()) {
        Reset();
        setenv("PROC_NAME", "owner", 1);
        unsetenv("DATAMASTER_RUN_MODE");
    }

    void Connect() { ASSERT_EQ(agent_->IsOk(), AgentResult::kSuccess); }

    static size_t Beats() {
        size_t beats = 0;
        for (const HeartBeatRecord& record : HeartBeatRecords()) {
            beats += record.call == HeartBeatCall::kSend ? 1 : 0;
        }
        return beats;
    }

    std::unique_ptr<ProcMgrAgentImpl> agent_;
};

TEST_F(AgentTest, OpensThePipeAndThenBeats) {
    setenv("PROC_NAME", std::string(129, 'n').c_str(), 1);
    Connect();
    const OpenCall open = OpenCalls().at(0);
    EXPECT_EQ(open.ownName + ">" + open.targetName, std::string(129, 'n') + ">PROCMGR");
    EXPECT_EQ(open.gid, getgid());
    EXPECT_EQ(
        (std::vector<int>{open.timeoutMs, open.flags, open.version, open.priority, open.affinity}),
        (std::vector<int>{180000, 0, 1, -1, -1}));
    const HeartBeatRecord beat = HeartBeatRecords().at(0);
    EXPECT_EQ(beat.name + ">" + beat.target, std::string(128, 'n') + ">PROCMGR");
    EXPECT_EQ(beat.missedBeats * 10 + beat.periodSeconds, 31U);
}

TEST_F(AgentTest, OneRetryOfABusyOpenAndNoMore) {
    const struct {
        std::vector<int> results;
        uint32_t expected;
        unsigned calls;
    } rows[] = {{{-11}, AgentResult::kSuccess, 2},
                {{-11, -11}, AgentResult::kOpenFailed, 2},
                {{-2}, AgentResult::kOpenFailed, 1},
                {{0}, AgentResult::kOpenFailed, 1}};
    for (const auto& row : rows) {
        Reset();
        for (const int result : row.results) {
            ScriptPipe(PipeCall::kOpen, result);
        }
        EXPECT_EQ(ProcMgrAgentImpl().IsOk(), row.expected);
        EXPECT_EQ(PipeCalls(PipeCall::kOpen), row.calls);
        EXPECT_EQ(Beats(), row.expected == AgentResult::kSuccess ? 1U : 0U);
        EXPECT_EQ(CountLog(kError, "ProcMgrAgent : EzcomOpen failed, try again"), row.calls - 1);
    }
}

// Waiting for a busy pipe is counted, not timed: 401 calls 5 ms apart, 10 calls 100 ms apart.
TEST_F(AgentTest, BusyPipe) {
    Connect();
    const int fd = OpenPipe();
    EzcomRequest request{"x", 1};
    EzcomResponse response{};
    const std::pair<PipeCall, std::function<int()>> rows[] = {
        {PipeCall::kSend, [&] { return ProcMgrEzcomSendRequest(fd, &request); }},
        {PipeCall::kRespond, [&] { return ProcMgrEzcomSendResponse(fd, &response); }},
        {PipeCall::kCall, [&] { return ProcMgrEzcomRPCSync(fd, &request, &response); }},
        {PipeCall::kTimedCall,
         [&] { return ProcMgrEzcomTimedRPCSync(fd, &request, &response, 9); }},
        {PipeCall::kClose, [&] { return ProcMgrEzcomClosePipe(fd); }},
    };
    for (const auto& [call, run] : rows) {
        const bool closes = call == PipeCall::kClose;
        const int busy = closes ? -16 : -11;
        const unsigned most = closes ? 10 : 401;
        const TimePoint begin = Now();
        ScriptPipe(call, busy, most);
        EXPECT_EQ(run(), busy);
        EXPECT_EQ(PipeCalls(call), most);
        EXPECT_EQ(Now() - begin, Milliseconds(closes ? 900 : 2000));
        ScriptPipe(call, -5);  // an error that does not pass
        EXPECT_EQ(run(), -5);
        ScriptPipe(call, busy, most - 1);
        EXPECT_EQ(run(), 0);
    }
}

// A pipe that is busy for a while takes the record in the end; a load may take five seconds.
TEST_F(AgentTest, SendsRecordsOfTheirType) {
    Connect();
    ScriptPipe(PipeCall::kSend, -11, 5);
    EXPECT_EQ(agent_->ReportAppExecState({"cam", 7, 1, 2}), 0U);
    EXPECT_EQ(SentRecords().at(0).bytes, RecordBytes(5, "1#cam#7#1#2#"));
    EXPECT_EQ(agent_->LoadStartupCfgInfo({{{"k", "v"}}, "/cfg"}), 0U);
    EXPECT_EQ(SentRecords().at(1).bytes, RecordBytes(6, "1#/cfg#1#k#v#"));
    EXPECT_EQ(SentRecords().at(1).timeoutMs, 5000);
    EXPECT_EQ(agent_->QueryAppState({"a"}), 0U);
    EXPECT_EQ(SentRecords().at(2).bytes, RecordBytes(9, std::string("\1\0\0\0\1\0\0\0a", 9)));
}

// Requests check in the same order: connection, content, size, pipe.
TEST_F(AgentTest, RequestsThatFail) {
    using Results = std::vector<uint32_t>;
    const auto sendAll = [this](const std::string& name) {
        const Message::StartAppInfo start{name, {}, {}};
        const Message::RestartAppInfo restart{name, {}, {}};
        return Results{agent_->QueryAppState({name}),
                       agent_->ReportBaseServiceState({}),
                       agent_->StartApp({start}),
                       agent_->RestartApp({restart}),
                       agent_->TermApp({{name}}),
                       agent_->ReportAppExecState({name, 0, 0, 0}),
                       agent_->LoadStartupCfgInfo({{}, name})};
    };
    EXPECT_EQ(sendAll("a"), Results(7, 0xF10501));
    EXPECT_EQ((Results{agent_->StartApp({}), agent_->RestartApp({}), agent_->TermApp({}),
                       agent_->QueryAppState({})}),
              Results(4, 0xF10001));
    Connect();
    ScriptPipe(PipeCall::kSend, -32, 8);
    ScriptPipe(PipeCall::kTimedCall, -32);
    EXPECT_EQ(sendAll("a"),
              (Results{0xF10503, 0xF10503, 0xF10503, 0xF10503, 0xF10503, 0xF10503, 0xF1000A}));
    // Of a query that is too long nothing is sent, yet it is a success: kept.
    EXPECT_EQ(sendAll(std::string(3960, 'n')),
              (Results{0, 0xF10503, 0xF10502, 0xF10502, 0xF10502, 0xF10502, 0xF10502}));
    EXPECT_EQ(agent_->StartApp({{std::string(3952, 'n'), {}, {}}}), 0xF10503U);  // but packed
    EXPECT_EQ(PipeCalls(PipeCall::kSend), 7U);
}

TEST_F(AgentTest, AnswersToALoad) {
    Connect();
    const struct {
        std::optional<std::string> answer;
        uint32_t expected;
    } rows[] = {
        {" 0", 0},      {std::string("0\0", 2), 0}, {"-7", 0xF10505},         {"yes", 0xF10505},
        {"", 0xF10505}, {"99999999999", 0xF10505},  {std::nullopt, 0xF10504},
    };
    for (const auto& row : rows) {
        SetAnswer([&](const SentRecord&) { return row.answer; });
        EXPECT_EQ(agent_->LoadStartupCfgInfo({}), row.expected) << row.answer.value_or("none");
    }
    ScriptPipe(PipeCall::kTimedCall, -110);
    EXPECT_EQ(agent_->ReLoadStartupCfgInfo({}), 0xF1000AU);
    EXPECT_EQ(agent_->RpcSyncAndGetResult({}), 0xF10000U);
    setenv("DATAMASTER_RUN_MODE", "1", 1);
    SetAnswer(nullptr);
    EXPECT_EQ(agent_->LoadStartupCfgInfo({}), 0U);
    EXPECT_EQ(SentRecords().back().timeoutMs, 1800000);
    Connect();
    EXPECT_EQ(OpenCalls().back().timeoutMs, 1800000);
}

// What is no record, or none for the owner, reaches no callback; the next good one does.
TEST_F(AgentTest, RefusesWhatIsNoRecord) {
    Connect();
    std::vector<std::string> heard;
    EXPECT_EQ(agent_->RegAppStateChangeCallBackImpl(
                  [&](const auto& apps) { heard.push_back(apps.at(0).name); }),
              0U);
    EXPECT_EQ(agent_->RegQueryAppStateCallBackImpl([&](const auto&) { heard.push_back("state"); }),
              0U);
    const EzcomRequest empty{nullptr, 3984};
    EXPECT_TRUE(DeliverRaw(nullptr));
    EXPECT_TRUE(DeliverRaw(&empty));
    const std::string zeroLength("\1\0\0\0\0\0\0\0\2\0\0\0", 12);
    for (const std::string& record :
         {std::string(3983, '\0'), std::string(3985, '\0'), RecordBytes(4, "0#"),
          RecordBytes(4, "2000#a#1#1#1#1#"), RecordBytes(10, ""),
          RecordBytes(10, std::string(4, '\0')), RecordBytes(10, zeroLength)}) {
        EXPECT_TRUE(Deliver(record));
    }
    ClearLog();
    for (const uint32_t type : {0U, 8U, 11U, UINT32_MAX}) {
        EXPECT_TRUE(Deliver(RecordBytes(type, "1#a#1#1#1#1#")));
    }
    EXPECT_TRUE(LogLines().empty());
    EXPECT_TRUE(heard.empty());
    EXPECT_TRUE(Deliver(RecordBytes(4, "1#a#1#1#1#1#")));
    EXPECT_EQ(heard, std::vector<std::string>{"a"});
}

// A callback is kept although its registration says "not connected".
TEST_F(AgentTest, CallbacksMayComeFirst) {
    std::vector<std::string> heard;
    Connect();
    EXPECT_TRUE(Deliver(RecordBytes(4, "1#a#1#0#0#0#")));
    const std::string answer("\1\0\0\0\1\0\0\0a\2\0\0\0", 13);
    EXPECT_TRUE(Deliver(RecordBytes(10, answer)));
    EXPECT_EQ(agent_->StopOwnerHeart(), 0U);
    EXPECT_EQ(agent_->RegAppStateChangeCallBackImpl(nullptr), 0xF10001U);
    EXPECT_EQ(agent_->RegQueryAppStateCallBackImpl(nullptr), 0xF10001U);
    EXPECT_EQ(agent_->RegAppStateChangeCallBackImpl([&](const auto& apps) {
        heard.push_back(apps.at(0).name + std::to_string(apps.at(0).pid));
        throw std::runtime_error("a host's mistake");
    }),
              0xF10501U);
    EXPECT_EQ(agent_->RegQueryAppStateCallBackImpl([&](const auto& states) {
        heard.push_back("state " + std::to_string(states.at("a")));
    }),
              0xF10501U);
    EXPECT_TRUE(Deliver(RecordBytes(4, "1#a#7#0#0#0#")));
    EXPECT_TRUE(Deliver(RecordBytes(10, answer)));
    EXPECT_EQ(heard, (std::vector<std::string>{"a7", "state 2"}));
}

// The end of the agent waits for a running callback; what arrives later finds nobody.
TEST_F(AgentTest, EndsAfterItsHandlers) {
    const Seeded::Run run({});
    Connect();
    bool isIn = false;
    bool isOut = false;
    EXPECT_EQ(agent_->RegAppStateChangeCallBackImpl([&](const auto&) {
        for (isIn = true; ProcMgrAgentImpl::GetThis() != nullptr;) {
            Sleep(Milliseconds(1));
        }
        Sleep(Milliseconds(1));
        isOut = true;
    }),
              0U);
    const Seeded::RunningThread report =
        Seeded::Begin("pipe", [] { EXPECT_TRUE(Deliver(RecordBytes(4, "1#a#1#0#0#0#"))); });
    while (!isIn) {
        Sleep(Milliseconds(1));
    }
    agent_.reset();
    EXPECT_TRUE(isOut);
    EXPECT_EQ(HeartBeatRecords().back().call, HeartBeatCall::kStopSend);
    ClearLog();
    EXPECT_TRUE(Deliver(RecordBytes(4, "1#a#1#0#0#0#")));
    EXPECT_TRUE(LogLines().empty());
}

}  // namespace
}  // namespace ProcMgr
