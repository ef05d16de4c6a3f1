#include "daemons/procmgrd/pm_wire.h"

#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace ProcMgrDaemon {
namespace {

using std::string_literals::operator""s;
using GrpOwnerTest::RecordBytes;

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
    EXPECT_EQ(DecodeBaseState("1#2#"), 2U);
    EXPECT_EQ(DecodeExecution("1#a#7#1#4294967295#").value().numbers[2], UINT32_MAX);
    EXPECT_FALSE(DecodeConfiguration("1#/x#2#K#v#"));
    for (const std::string& bytes :
         {""s, "\1\0\0"s, "\1\0\0\0"s, "\1\0\0\0\0\0\0\0"s, "\1\0\0\0\2\0\0\0a"s,
          "\1\0\0\0\xff\xff\xff\xff"
          "a"s,
          "\xff\xff\xff\xff\1\0\0\0a"s, "\1\0\0\0\1\0\0\0ab"s}) {
        EXPECT_FALSE(DecodeQuery(bytes));
    }
    std::string bytes = RecordBytes(RecordType::kTerminate, std::string(3964, 'x'));
    ASSERT_TRUE(ReadRecord(bytes));
    bytes[8] = static_cast<char>(bytes[8] + 1);  // one byte more than there is room for
    EXPECT_FALSE(ReadRecord(bytes));
}

// As many as fit and an owner accepts, never one more; the rest keeps its order for the next
// record.
TEST(PmWire, SplitsReportsAndStatesOverRecords) {
    Record record{};
    EXPECT_EQ(EncodeReports(std::deque<Report>(3000, {"", 0, ReportKind::kStarted, 0}), record),
              439U);  // 9 bytes each; limited by room
    EXPECT_LE(record.length, 3964U);
    EXPECT_EQ(record.Payload().substr(0, 5), "439##");
    const std::deque<Report> large(3, {std::string(1024, 'n'), 1, ReportKind::kStarted, 0});
    EXPECT_EQ(EncodeReports(large, record), 3U);
    const auto states = EncodeStates({300, {"eight_by", QueriedState::kInBetween}});
    ASSERT_EQ(states.size(), 2U);  // (3964 - 4) / 16 = 247 in the first
    EXPECT_EQ(static_cast<unsigned char>(states[0].data[0]), 247);
    EXPECT_EQ(static_cast<unsigned char>(states[1].data[0]), 53);
}

}  // namespace
}  // namespace ProcMgrDaemon
