#include "src/agent/procmgr_agent_serialization.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace ProcMgr::Serialization
