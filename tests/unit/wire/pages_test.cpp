// The pages of docs/wire are true: what the writers write stands there to the byte, and the readers
// read what stands there, good and bad, as the pages say. Under a locale that groups digits as no
// wire may.

#include <gtest/gtest.h>

#include <cstring>
#include <locale>

#include "client/ss_wire.h"
#include "daemons/grpownerd/notify_message.h"
#include "platform/linux/queue_frame.h"
#include "platform/linux/virtual_file_frame.h"
#include "src/agent/procmgr_agent_serialization.h"
#include "src/agent/query_serialization.h"
#include "src/ss/ss_query_serialization.h"
#include "tests/support/frames.h"
#include "tests/unit/wire/pages.h"

namespace WirePages {
namespace {

namespace Pm = ProcMgrDaemon;
namespace Ss = GrpOwnerClient::SsWire;
using namespace ProcMgr;
using namespace ProcMgr::Serialization;
using GrpOwnerTest::Bytes;
using GrpOwnerTest::PipeFrame;
using Message::RequestMsg;
using Message::RequestType;
using Texts = std::vector<std::string>;

class GroupedDigits : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '#'; }
    std::string do_grouping() const override { return "\3"; }
};

class WirePage : public testing::Test {
protected:
    ~WirePage() override { std::locale::global(before_); }

private:
    const std::locale before_ = std::locale::global(std::locale(std::locale(), new GroupedDigits));
};

// --- In words ------------------------------------------------------------------------------------

std::string InWords(const Texts& texts) {
    std::string words;
    for (const std::string& text : texts) {
        words += (words.empty() ? "'" : " '") + text + "'";
    }
    return words;
}

std::string InWords(const Texts& arguments, const DynamicParas& parameters) {
    std::string words = "(" + InWords(arguments) + ")";
    for (const auto& [index, values] : parameters) {
        words += " [" + std::to_string(index) + ": " + InWords(values) + "]";
    }
    return words;
}

template <typename Numbers>
std::string InWords(const Numbers& numbers) {
    std::string words;
    for (const auto& [name, number] : numbers) {
        words += " '" + name + "'=" + std::to_string(number);
    }
    return words.empty() ? "nothing" : words.substr(1);
}

std::string OrNothing(const std::string& words) {
    return words.empty() ? "nothing" : words;
}

std::string Word(bool flag) {
    return flag ? "yes" : "no";
}

// What a reader answers that believes all or nothing.
template <typename Read, typename Show>
std::string Outcome(const Read& read, Show show) {
    return read ? OrNothing(show(*read)) : "refused";
}

// --- Between the owner and the process manager ---------------------------------------------------

const Page& Manager() {
    static const Page page("process-manager");
    return page;
}

template <typename Info>
std::string Record(RequestType type, bool (*pack)(Info, std::vector<Piece>&),
                   const std::decay_t<Info>& info) {
    std::vector<Piece> pieces;
    std::vector<RequestMsg> records;
    EXPECT_TRUE(pack(info, pieces) && ProcMgrCombinePiecesMsg(type, pieces, records));
    return Bytes(records.at(0));
}

TEST_F(WirePage, RequestsToTheProcessManager) {
    const std::vector<Message::StartAppInfo> starts{{"a", {"x", "y"}, {}},
                                                    {"b", {}, {{2, {"q", "r"}}, {0, {"p"}}}}};
    const std::pair<const char*, std::string> records[] = {
        {"start", Record(RequestType::START_APP, ProcMgrPackStartRequest, starts)},
        {"restart", Record<const std::vector<Message::RestartAppInfo>&>(
                        RequestType::RESTART_APP, ProcMgrPackRestartRequest, {{"c", {""}, {}}})},
        {"terminate", Record<const std::vector<Message::TermAppInfo>&>(
                          RequestType::TERM_APP, ProcMgrPackTermRequest, {{"b"}, {"a"}})},
        {"base-state", Record(RequestType::BASESERVICE_STATE_REPORT,
                              ProcMgrPackBaseServiceStateRequest, {BaseServiceState::TERMINATING})},
        {"execution", Record(RequestType::APP_EXECUTION_REPORT, ProcMgrPackAppExecInfoRequest,
                             {"e", 1234567, 1, UINT32_MAX})},
        {"load", Record(RequestType::LOAD_STARTUP_CFG, ProcMgrPackMatchDataAndPathRequest,
                        {{{"k2", "v2"}, {"k1", ""}}, "/p"})},
        {"reload",
         Record(RequestType::RELOAD_STARTUP_CFG, ProcMgrPackMatchDataAndPathRequest, {{}, "/p"})},
    };
    for (const auto& [name, record] : records) {
        EXPECT_EQ(Dump(record), Manager().Text(name));
    }
    RequestMsg query{};
    ASSERT_TRUE(SerializeMessage({"cam", "x"}, query));
    EXPECT_EQ(Dump(Bytes(query)), Manager().Text("query"));
}

template <typename Decoder, typename Show>
Page::Reader ByManager(Decoder decode, Show show) {
    return [=](const std::string& bytes) {
        const auto record = Pm::ReadRecord(bytes);
        return record ? Outcome(decode(record->Payload()), show) : "no record";
    };
}

TEST_F(WirePage, TheProcessManagerReads) {
    const auto wrap = [](const std::string& payload) {
        return GrpOwnerTest::RecordBytes(RequestType::START_APP, payload);
    };
    const auto check = [&wrap](const char* fence, auto decode, auto show) {
        Manager().Check(fence, wrap, ByManager(decode, show));
    };
    check("start, restart", Pm::DecodeLaunches, [](const auto& launches) {
        std::string words;
        for (const auto& launch : launches) {
            words += (words.empty() ? "'" : " '") + launch.name + "'" +
                     InWords(launch.arguments, launch.parameters);
        }
        return words;
    });
    check("terminate", Pm::DecodeTerminations, [](const Texts& names) { return InWords(names); });
    check("base-state", Pm::DecodeBaseState, [](uint32_t state) { return std::to_string(state); });
    check("execution", Pm::DecodeExecution, [](const Pm::ExecutionReport& report) {
        return "'" + report.name + "' " + std::to_string(report.numbers[0]) + " " +
               std::to_string(report.numbers[1]) + " " + std::to_string(report.numbers[2]);
    });
    check("load, reload", Pm::DecodeConfiguration, [](const Pm::ConfigurationRequest& request) {
        std::string words = "'" + request.path + "'";
        for (const auto& [key, value] : request.matchData) {
            words += " '" + key + "'='" + value + "'";
        }
        return words;
    });
    check("query", Pm::DecodeQuery, [](const Texts& names) { return InWords(names); });
}

TEST_F(WirePage, AnswersOfTheProcessManager) {
    Pm::Record record{};
    EXPECT_EQ(EncodeReports({{"cam", 1234567, Pm::ReportKind::kStarted, 0},
                             {"nav", 0, Pm::ReportKind::kAbnormalExit, 523}},
                            record),
              2U);
    EXPECT_EQ(Dump(Bytes(record)), Manager().Text("reports"));
    const auto states = Pm::EncodeStates(
        {{"cam", Pm::QueriedState::kRunning}, {"x", Pm::QueriedState::kNotRunning}});
    EXPECT_EQ(Dump(Bytes(states.at(0))), Manager().Text("query-answer"));
}

// A record as it arrives, with what must not be read behind its payload.
template <typename Arrived>
Arrived ArrivedFrom(const std::string& payload, uint64_t Arrived::*size) {
    Arrived record;
    std::memset(&record, '7', sizeof(record));
    record.*size = payload.size();
    std::memcpy(record.data, payload.data(), payload.size());
    return record;
}

template <typename Arrived>
Arrived Copied(const std::string& bytes) {
    Arrived record;
    EXPECT_EQ(bytes.size(), sizeof(record));
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

TEST_F(WirePage, TheOwnerReadsTheProcessManager) {
    const auto wrap = [](const std::string& payload) {
        return Bytes(ArrivedFrom(payload, &RequestMsg::length));
    };
    Manager().Check("reports", wrap, [](const std::string& bytes) {
        const auto record = Copied<RequestMsg>(bytes);
        std::vector<Message::AppStateInfo> apps;
        if (!ProcMgrUnpackedAppStateRequest(&record, apps)) {
            return std::string("refused");
        }
        std::string words;
        for (const auto& app : apps) {
            words += (words.empty() ? "'" : " '") + app.name + "'";
            for (const uint32_t number : {app.pid, app.type, app.reason, app.spare}) {
                words += " " + std::to_string(number);
            }
        }
        return OrNothing(words);
    });
    Manager().Check("query-answer", wrap, [](const std::string& bytes) {
        std::map<std::string, uint32_t> states;
        const bool isGood = DeserializeMessage(Copied<RequestMsg>(bytes), states);
        return (isGood ? "" : "refused, with ") + InWords(states);
    });
}

// --- Between the system-state manager and the owner ----------------------------------------------

const Page& SystemState() {
    static const Page page("system-state-manager");
    return page;
}

std::string Sent(const std::string& payload) {
    const auto record = *Ss::MakeRecord(payload, 3000, 1);
    return {record.begin(), record.end()};
}

TEST_F(WirePage, RequestsOfTheSystemStateManager) {
    const std::pair<const char*, std::string> records[] = {
        {"change",
         Sent(*Ss::PackChange({{"cam", OptionType::START, {"-a", "-b"}, {{0, {"x"}}}},
                               {"nav", OptionType::TERM, {}, {}},
                               {"rec", OptionType::RESTART, {""}, {{0, {}}, {2, {"v"}}}}}))},
        {"set-state", Sent("1")},
        {"verify", Sent(*Ss::PackVerify({{"nav", 2}, {"cam", 7}}))},
        {"empty", Sent("")},
        {"query", Sent(Ss::PackQuery({"cam", "x"}))},
    };
    for (const auto& [name, record] : records) {
        EXPECT_EQ(Dump(record), SystemState().Text(name));
    }
}

using ToOwner = SS::SsToOwnerRequestMsg;

TEST_F(WirePage, TheOwnerReadsTheSystemStateManager) {
    const auto wrap = [](const std::string& payload) {
        return Bytes(ArrivedFrom(payload, &ToOwner::size));
    };
    SystemState().Check("change", wrap, [](const std::string& bytes) {
        std::vector<SS::AppInfo> apps;
        const bool isGood = UnPackChangeAppInfoRequestMsg(Copied<ToOwner>(bytes), apps);
        std::string words;
        for (const auto& app : apps) {
            words += (words.empty() ? "'" : " '") + app.name + "' " +
                     std::to_string(app.optionType) + InWords(app.argv, app.dynamicParas);
        }
        return (isGood ? "" : "refused, with ") + OrNothing(words);
    });
    SystemState().Check("set-state", wrap, [](const std::string& bytes) {
        int state = -1;
        EXPECT_TRUE(UnPackSetSystemStateRequest(Copied<ToOwner>(bytes), state));
        return std::to_string(state);
    });
    SystemState().Check("verify", wrap, [](const std::string& bytes) {
        std::map<std::string, uint32_t> changes;
        const bool isGood = UnPackVerifyRequest(Copied<ToOwner>(bytes), changes);
        return (isGood ? "" : "refused, with ") + InWords(changes);
    });
    SystemState().Check("query", wrap, [](const std::string& bytes) {
        Texts names;
        const bool isGood = SS::DeserializeMessage(Copied<ToOwner>(bytes), names);
        return isGood ? OrNothing(InWords(names)) : "refused";
    });
}

// The client's own buffer, of which the owner overwrites size and data.
std::string Answered(const SS::SsToOwnerResponseMsg& response) {
    std::string buffer = Sent("");
    std::memcpy(buffer.data(), &response.size, sizeof(response.size));
    return buffer.replace(Ss::kDataOffset, response.size, response.data, response.size);
}

std::string Answered(const std::string& text) {
    SS::SsToOwnerResponseMsg response;
    EXPECT_EQ(SS::PutText(text, response), 0);
    return Answered(response);
}

TEST_F(WirePage, AnswersToTheSystemStateManager) {
    SS::SsToOwnerResponseMsg change;
    ASSERT_TRUE(PackChangeAppInfoResponse(
        false, {{"cam", AppChangeState::SUCCESS}, {"nav", AppChangeState::START_FAILED}}, change));
    SS::SsToOwnerResponseMsg setState;
    ASSERT_TRUE(SS::PackSetSystemStateResponse(true, setState));
    SS::SsToOwnerResponseMsg query;
    ASSERT_TRUE(SS::SerializeMessage(true, {{"cam", 77, 0}, {"x", -1, 1}}, query));
    const std::pair<const char*, std::string> records[] = {
        {"change-answer", Answered(change)},
        {"set-state-answer", Answered(setState)},
        {"result", Answered(SS::ResultText(true))},
        {"list-answer", Answered(SS::NameListText(true, {"cam", "nav"}))},
        {"query-answer", Answered(query)},
    };
    for (const auto& [name, record] : records) {
        EXPECT_EQ(Dump(record), SystemState().Text(name));
    }
}

TEST_F(WirePage, TheClientReads) {
    const auto check = [](const char* fence, auto unpack, auto show) {
        const auto wrap = [](const std::string& payload) { return Answered(payload); };
        SystemState().Check(fence, wrap, [=](const std::string& bytes) {
            uint64_t size = 0;
            std::memcpy(&size, bytes.data(), sizeof(size));
            const auto payload =
                Ss::TakePayload({static_cast<int>(size + 8), {bytes.begin(), bytes.end()}});
            EXPECT_TRUE(payload);
            return Outcome(unpack(*payload), show);
        });
    };
    check("change-answer", Ss::UnpackChange, [](const auto& answer) {
        std::vector<std::pair<std::string, uint32_t>> results;
        for (const auto& result : answer.results) {
            results.emplace_back(result.name, result.state);
        }
        return Word(answer.isOk) + ", " + InWords(results);
    });
    check("set-state-answer", Ss::UnpackSetState, Word);
    check("result", Ss::UnpackFlag, Word);
    check("list-answer", Ss::UnpackList, [](const auto& answer) {
        return Word(answer.isOk) + ", " + OrNothing(InWords(answer.names));
    });
    check("query-answer", Ss::UnpackQuery, [](const auto& answer) {
        std::string words = Word(answer.isOk) + ",";
        for (const auto& entry : answer.entries) {
            words += " '" + entry.name + "' pid " + std::to_string(entry.pid) + " state " +
                     std::to_string(entry.state);
        }
        return words;
    });
}

// --- Our own frames ------------------------------------------------------------------------------

TEST_F(WirePage, Frames) {
    using namespace GrpOwnerLinux;
    const int32_t result = 0;
    const Page pipe("pipe");
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kHello, 0, GrpOwnerTest::HelloBytes("rover"))),
              pipe.Text("hello"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kWelcome, 0, Bytes(result))), pipe.Text("welcome"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kRequest, 0, Manager().Bytes("terminate"))),
              pipe.Text("request"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kCall, 1, Manager().Bytes("load"))), pipe.Text("call"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kAnswer, 1, "-22")), pipe.Text("answer"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kHeartBeat, 0, "")), pipe.Text("heartbeat"));
    EXPECT_EQ(Dump(PipeFrame(PipeFrameKind::kProcess, 0,
                             Bytes(PipeProcess{123456789012, 48213, 6}, "camera"))),
              pipe.Text("process"));

    const Page file("virtual-file");
    using std::string_literals::operator""s;
    const std::string facts = "owner=rover\0pid=48102\0configuration=/etc/rover.yaml\0"s;
    EXPECT_EQ(Dump(Bytes(VirtualFileGreeting{kVirtualFileMagic, VirtualFileRights::kChange, 5000,
                                             static_cast<uint32_t>(facts.size())},
                         facts)),
              file.Text("greeting"));
    EXPECT_EQ(Dump(Bytes(VirtualFileRequest{kVirtualFileMagic, 6, 1, 4000},
                         SystemState().Bytes("empty"))),
              file.Text("request"));
    EXPECT_EQ(
        Dump(Bytes(VirtualFileAnswer{kVirtualFileMagic, 1, VirtualFileOutcome::kDone, 18, 4000},
                   SystemState().Bytes("list-answer"))),
        file.Text("answer"));
    const std::string reason = "rover takes no commands";
    EXPECT_EQ(Dump(Bytes(VirtualFileAnswer{kVirtualFileMagic, 1, VirtualFileOutcome::kRefused, -25,
                                           static_cast<uint32_t>(reason.size())},
                         reason)),
              file.Text("refusal"));

    const Page queue("queue");
    EXPECT_EQ(Dump(Bytes(QueueGreeting{})), queue.Text("greeting"));
    EXPECT_EQ(Dump(Bytes(QueueEvent{kQueueMagic, 5, 64, 1})), queue.Text("event"));
    EXPECT_EQ(Dump(Bytes(QueueReturn{kQueueMagic, 0, 1})), queue.Text("return"));
}

TEST_F(WirePage, WordsOfApplications) {
    const auto same = [](const std::string& text) { return text; };
    Page("notify").Check("message", same, [](const std::string& text) {
        const auto message = GrpOwnerDaemon::ParseNotifyMessage(text);
        const std::string words = std::string(message.isReady ? " ready" : "") +
                                  (message.isHeartBeat ? " beat" : "") +
                                  (message.isStopping ? " stopping" : "");
        return words.empty() ? "nothing" : words.substr(1);
    });
}

}  // namespace
}  // namespace WirePages
