#include "daemons/procmgrd/pm_wire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include "daemons/procmgrd/exit_reason.h"
#include "tests/unit/procmgrd/owner.h"

namespace ProcMgrDaemon {
namespace {

using std::string_literals::operator""s;
using ProcMgrTest::RecordBytes;

// A start as an owner writes it, byte for byte: names, arguments and parameters arrive.
TEST(PmWire, DecodesLaunches) {
    const auto requests = DecodeLaunches("2#a#2#x##0#b#0#2#0#1#p q#2#2#r#s#");
    ASSERT_TRUE(requests);
    ASSERT_EQ(requests->size(), 2U);
    EXPECT_EQ((*requests)[0].name, "a");
    EXPECT_EQ((*requests)[0].arguments, (std::vector<std::string>{"x", ""}));
    EXPECT_TRUE((*requests)[0].parameters.empty());
    EXPECT_EQ((*requests)[1].name, "b");
    EXPECT_EQ((*requests)[1].parameters, (Parameters{{0, {"p q"}}, {2, {"r", "s"}}}));
}

TEST(PmWire, DecodesTheOtherTexts) {
    EXPECT_EQ(DecodeTerminations("2#a#b#"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(DecodeBaseState("1#2#"), 2U);
    const auto execution = DecodeExecution("1#a#7#1#4294967295#");
    ASSERT_TRUE(execution);
    EXPECT_EQ(execution->numbers[2], UINT32_MAX);
    const auto configuration = DecodeConfiguration("1#/x.yaml#2#K#v#L##");
    ASSERT_TRUE(configuration);
    EXPECT_EQ(configuration->path, "/x.yaml");
    EXPECT_EQ(configuration->matchData,
              (std::map<std::string, std::string>{{"K", "v"}, {"L", ""}}));
    EXPECT_EQ(DecodeQuery("\2\0\0\0\1\0\0\0a\2\0\0\0bc"s), (std::vector<std::string>{"a", "bc"}));
}

// A payload is used whole or not at all, and a count cannot make us reserve what cannot follow.
TEST(PmWire, RefusesWhatIsNotExactlyAsPromised) {
    for (const char* const text :
         {"", "1", "#", "x#", "-1#", " 1#a#0#0#", "1#a#0#0", "1#a#0#", "2#a#0#0#", "1#a#0#0#b#",
          "1#a#4294967295#x#0#", "1#a#0#1#x#0#", "4294967296#", "99999999999999999999#",
          "4000000000#a#0#0#", "1#a#1#x#0#\n"}) {
        EXPECT_FALSE(DecodeLaunches(text)) << text;
    }
    EXPECT_FALSE(DecodeTerminations("2#a#"));
    EXPECT_FALSE(DecodeBaseState("2#1#2#"));
    EXPECT_FALSE(DecodeExecution("1#a#1#2#"));
    EXPECT_FALSE(DecodeConfiguration("1#/x#2#K#v#"));
    for (const std::string& bytes :
         {""s, "\1\0\0"s, "\1\0\0\0"s, "\1\0\0\0\0\0\0\0"s, "\1\0\0\0\2\0\0\0a"s,
          "\1\0\0\0\xff\xff\xff\xff"
          "a"s,
          "\xff\xff\xff\xff\1\0\0\0a"s, "\1\0\0\0\1\0\0\0ab"s}) {
        EXPECT_FALSE(DecodeQuery(bytes));
    }
}

TEST(PmWire, RefusesRecordsOfOtherSizesAndLengths) {
    std::string bytes = RecordBytes(2, std::string(3964, 'x'));
    ASSERT_TRUE(ReadRecord(bytes));
    EXPECT_EQ(ReadRecord(bytes)->Payload(), std::string(3964, 'x'));
    EXPECT_FALSE(ReadRecord(bytes + "x"));
    EXPECT_FALSE(ReadRecord(bytes.substr(1)));
    bytes[8] = static_cast<char>(bytes[8] + 1);  // one byte more than there is room for
    EXPECT_FALSE(ReadRecord(bytes));
}

TEST(PmWire, EncodesReportsByteForByte) {
    Record record{};
    EXPECT_EQ(EncodeReports(
                  {{"a", 12, ReportKind::kStarted, 0}, {"bc", 345, ReportKind::kAbnormalExit, 523}},
                  record),
              2U);
    const std::string expected = RecordBytes(4, "2#a#12#0#0#0#bc#345#4#523#0#");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&record), sizeof(record)), expected);
}

// As many as fit and an owner accepts, never one more; the rest keeps its order for the next
// record.
TEST(PmWire, BatchesReportsUpToBothLimits) {
    Record record{};
    EXPECT_EQ(EncodeReports(std::deque<Report>(3000, {"", 0, ReportKind::kStarted, 0}), record),
              439U);  // 9 bytes each; limited by room
    EXPECT_LE(record.length, 3964U);
    EXPECT_EQ(record.Payload().substr(0, 5), "439##");
    const std::deque<Report> large(3, {std::string(1024, 'n'), 1, ReportKind::kStarted, 0});
    EXPECT_EQ(EncodeReports(large, record), 3U);
}

TEST(PmWire, SplitsStatesOverRecords) {
    const auto small = EncodeStates({{"a", QueriedState::kNotRunning}});
    ASSERT_EQ(small.size(), 1U);
    EXPECT_EQ(small[0].Payload(), "\1\0\0\0\1\0\0\0a\1\0\0\0"s);
    const auto large = EncodeStates({300, {"eight_by", QueriedState::kInBetween}});
    ASSERT_EQ(large.size(), 2U);  // (3964 - 4) / 16 = 247 in the first
    EXPECT_EQ(static_cast<unsigned char>(large[0].data[0]), 247);
    EXPECT_EQ(static_cast<unsigned char>(large[1].data[0]), 53);
}

// 1 is for a program that could not be executed, and never for one that ran.
TEST(ExitReasons, KeepOneForFilesThatCannotBeExecuted) {
    for (const int error : {EIO, ENOENT, EACCES, ENOEXEC}) {
        EXPECT_EQ(StartFailureReason(error), 1U);
    }
    EXPECT_EQ(StartFailureReason(EPERM), 1024U + EPERM);
    EXPECT_EQ(ExitReason(1 << 8), 257U);
    EXPECT_EQ(ExitReason(SIGKILL), 512U + SIGKILL);
}

}  // namespace
}  // namespace ProcMgrDaemon
