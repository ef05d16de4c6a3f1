#include "daemons/procmgrd/pm_wire.h"

#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace ProcMgrDaemon {
namespace {

using GrpOwnerTest::RecordBytes;

TEST(PmWire, RefusesALengthBeyondTheRecord) {
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
