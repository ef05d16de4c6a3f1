#include "client/ss_wire.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace std::string_literals;

namespace GrpOwnerClient::SsWire {
namespace {

using ProcMgr::OptionType;

// One word for whatever a call ends with, so that tables compare.
template <typename Value, typename Show>
std::string Outcome(const Result<Value>& result, Show show) {
    if (result) {
        return show(*result);
    }
    switch (result.GetError().kind) {
        case ErrorKind::kUsage:
            return "usage";
        case ErrorKind::kTooLarge:
            return "too large";
        case ErrorKind::kMalformed:
            return "malformed";
        default:
            return "refused " + std::to_string(result.GetError().code);
    }
}

std::string Same(const std::string& text) {
    return text;
}

TEST(SsWire, RefusesWhatMustNeverLeave) {
    const std::vector<std::string> many(kMaxEntries + 1);
    const struct {
        std::vector<Change> changes;
        std::string payload;
    } rows[] = {
        {{}, "0#"},
        {{{"a#b", OptionType::START, {}, {}}}, "usage"},
        {{{"", OptionType::START, {}, {}}}, "usage"},
        {{{"a\0b"s, OptionType::START, {}, {}}}, "usage"},
        {{{"a", OptionType::START, {"one\ntwo"}, {}}}, "usage"},
        {{{"a", OptionType::START, {}, {{1, {"#"}}}}}, "usage"},
        {{{"a", OptionType::START, {}, {{-1, {"x"}}}}}, "usage"},
        {{{"a", OptionType::START, {}, {{3, {"x"}}}}}, "usage"},
        {{{"a", OptionType::START, many, {}}}, "too large"},
        {{{"a", OptionType::START, {}, {{0, many}}}}, "too large"},
        {{{std::string(kLongestName + 1, 'n'), OptionType::START, {}, {}}}, "usage"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Outcome(PackChange(row.changes), Same), row.payload);
    }
}

// The last byte of a record is used, the one after it is refused with the numbers.
TEST(SsWire, FillsARecordToItsEnd) {
    const auto full = MakeRecord(std::string(3988, 'x'), 0x01020304, 7);
    ASSERT_TRUE(full);
    EXPECT_EQ(std::string(full->begin(), full->begin() + 13), "\x94\x0f\0\0\0\0\0\0\4\3\2\1x"s);
    EXPECT_EQ(full->size(), 4000U);
    EXPECT_EQ(full->back(), 'x');
    const auto beyond = MakeRecord(std::string(3989, 'x'), 1, 7);
    EXPECT_EQ(Outcome(beyond, [](const Record&) { return "fits"; }), "too large");
    EXPECT_EQ(beyond.GetError().message,
              "the request needs 3989 bytes for 7 applications, a record holds 3988 bytes and 1024 "
              "applications");
}

// A name costs its answer twelve bytes and its own, and an answer has room for 3983.
TEST(SsWire, SplitsNamesByWhatTheirAnswersNeed) {
    const auto sizes = [](const std::vector<size_t>& lengths) {
        std::vector<std::string> names;
        for (const size_t length : lengths) {
            names.emplace_back(length, 'n');
        }
        return Outcome(SplitQuery(names), [](const auto& parts) {
            std::string text;
            for (const auto& part : parts) {
                text += std::to_string(part.size()) + " ";
            }
            return text;
        });
    };
    EXPECT_EQ(sizes({1979, 1980, 1980, 1980, 1}), "2 1 2 ");
    EXPECT_EQ(sizes({1, kLongestName, 1}), "1 1 1 ");
    EXPECT_EQ(sizes({kLongestName + 1}), "usage");
}

// The operation's result, the claimed size and the record must agree before anything is read.
TEST(SsWire, ChecksTheRecordAgainstTheResult) {
    const auto answer = [](int code, uint64_t size, size_t length = kRecordSize) {
        IoctlAnswer made{code, std::vector<uint8_t>(length, 'd')};
        std::memcpy(made.buffer.data(), &size, std::min(length, sizeof(size)));
        return Outcome(TakePayload(made), Same);
    };
    EXPECT_EQ(answer(10, 2), "dd");
    EXPECT_EQ(answer(3996, 3988), std::string(3988, 'd'));
    EXPECT_EQ(answer(3997, 3989), "malformed");
    EXPECT_EQ(answer(10, 3), "malformed");
    EXPECT_EQ(answer(7, UINT64_MAX), "malformed");
    EXPECT_EQ(answer(10, 2, 3999), "malformed");
    EXPECT_EQ(answer(8, 0, 4), "malformed");
    EXPECT_EQ(answer(-15794176, 2), "refused -15794176");
    EXPECT_EQ(answer(-15794179, 5000), "refused -15794179");
}

}  // namespace
}  // namespace GrpOwnerClient::SsWire
