#include "src/agent/procmgr_agent_serialization.h"

#include <gtest/gtest.h>

#include <cstring>
#include <locale>

#include "platform/memory/memory_platform.h"
#include "tests/support/log_assertions.h"

namespace ProcMgr::Serialization {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::Logged;
using Message::RequestMsg;
using Message::RequestType;

std::string Payload(const RequestMsg& record) {
    return std::string(record.data, record.length);
}

RequestMsg RecordOf(const std::string& payload) {
    RequestMsg record{};
    std::memcpy(record.data, payload.data(), payload.size());
    record.length = payload.size();
    return record;
}

// A host's locale must not reach the wire, least of all one that groups digits like this.
class GroupedDigits : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '#'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(SerializationTest, GoldenPiecesInAForeignLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale(), new GroupedDigits));
    std::vector<Piece> pieces;
    EXPECT_TRUE(ProcMgrPackStartRequest(
        {{"a", {"x", "y"}, {}}, {"b", {}, {{2, {"q", "r"}}, {0, {"p"}}, {-1000, {}}}}}, pieces));
    EXPECT_TRUE(ProcMgrPackRestartRequest({{"c", {""}, {}}}, pieces));
    EXPECT_TRUE(ProcMgrPackTermRequest({{"d"}}, pieces));
    EXPECT_TRUE(ProcMgrPackBaseServiceStateRequest({static_cast<BaseServiceState>(3)}, pieces));
    EXPECT_TRUE(ProcMgrPackAppExecInfoRequest({"e", 1234567, 1, UINT32_MAX}, pieces));
    EXPECT_TRUE(ProcMgrPackMatchDataAndPathRequest({{{"k2", "v2"}, {"k1", ""}}, "/p"}, pieces));
    std::vector<Message::AppStateInfo> apps;
    const RequestMsg report = RecordOf("1#cam#1234567#4#1#9#");
    EXPECT_TRUE(ProcMgrUnpackedAppStateRequest(&report, apps));
    std::locale::global(before);
    const std::vector<std::string> expected{
        "a#2#x#y#0#", "b#0#3#-1000#0#0#1#p#2#2#q#r#", "c#1##0#",        "d#",
        "3#",         "e#1234567#1#4294967295#",      "/p#2#k1##k2#v2#"};
    ASSERT_EQ(pieces.size(), expected.size());
    for (size_t i = 0; i < pieces.size(); ++i) {
        EXPECT_EQ(pieces[i], Piece(expected[i].size(), expected[i]));
    }
    ASSERT_EQ(apps.size(), 1U);
    EXPECT_EQ(apps[0].name, "cam");
    EXPECT_EQ((std::vector<uint32_t>{apps[0].pid, apps[0].type, apps[0].reason, apps[0].spare}),
              (std::vector<uint32_t>{1234567, 4, 1, 9}));
}

// Pieces go by size, then text, as many into a record as 3955 bytes hold with their count in front;
// what is too long is dropped without a failure, with all behind it.
TEST(SerializationTest, CombineSortsGroupsAndDrops) {
    using Sizes = std::vector<uint32_t>;
    const struct {
        Sizes sizes, counts;
        uint32_t dropped;
    } rows[] = {
        {{600, 1500, 2000}, {2, 1}, 0},
        {{1955, 2000}, {2}, 0},
        {{1956, 2000}, {1, 1}, 0},
        {{3955}, {1}, 0},
        {{3956}, {}, 3956},
        {{10, 20, 3957, 3959}, {2}, 3957},
        {Sizes(3955, 1), {3955}, 0},
        {Sizes(3956, 1), {3955, 1}, 0},
    };
    for (const auto& row : rows) {
        Reset();
        std::vector<Piece> pieces;
        for (const uint32_t size : row.sizes) {
            pieces.emplace_back(size, std::string(size, 'x'));
        }
        std::vector<RequestMsg> records;
        EXPECT_TRUE(ProcMgrCombinePiecesMsg(RequestType::START_APP, pieces, records));
        Sizes counts;
        for (const RequestMsg& record : records) {
            counts.push_back(static_cast<uint32_t>(std::stoul(Payload(record))));
        }
        EXPECT_EQ(counts, row.counts);
        EXPECT_EQ(CountLog(kWarning, "packedRequest=" + std::to_string(row.dropped) +
                                         " bytes beyond the PM_PIPE_BUF_MAX!"),
                  row.dropped == 0 ? 0U : 1U);
    }
    std::vector<Piece> pieces{{4, "bbb#"}, {4, "aaa#"}, {2, "c#"}};
    std::vector<RequestMsg> records;
    EXPECT_TRUE(ProcMgrCombinePiecesMsg(RequestType::START_APP, pieces, records));
    EXPECT_EQ(Payload(records.at(0)), "3#c#aaa#bbb#");
    pieces.clear();
    EXPECT_FALSE(ProcMgrCombinePiecesMsg(RequestType::START_APP, pieces, records));
    EXPECT_TRUE(Logged(kError, "CombinePiecesMsg failed: packedRequest is empty!!"));
    ProcMgrCombineMsg(RequestType::START_APP, 1, std::string(3963, 'x'), records);
    EXPECT_EQ(records.size(), 1U);
    EXPECT_EQ(LogLines().back().text.rfind(
                  "ProcMgrCombineMsg failed memcpy_s failed: strSize=3965 bytes, ret=", 0),
              0U);
}

// What is missing keeps its default; an empty and an odd name are names; blanks before a separator
// are skipped and any character is one.
TEST(SerializationTest, ReportThatRunsDry) {
    const RequestMsg record = RecordOf("4##1#2#3#4#b b#5 ;6#7#8#c#9#");
    std::vector<Message::AppStateInfo> apps;
    EXPECT_TRUE(ProcMgrUnpackedAppStateRequest(&record, apps));
    ASSERT_EQ(apps.size(), 4U);
    std::string text;
    for (const auto& app : apps) {
        text += "[" + app.name;
        for (const uint32_t number : {app.pid, app.type, app.reason, app.spare}) {
            text += " " + std::to_string(number);
        }
        text += "]";
    }
    EXPECT_EQ(text, "[ 1 2 3 4][b b 5 6 7 8][c 9 0 0 0][ 0 0 0 0]");
}

}  // namespace
}  // namespace ProcMgr::Serialization
