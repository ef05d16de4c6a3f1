// What people type and read: times, tables, bytes, and the process facts behind an up-time.

#include <gtest/gtest.h>
#include <unistd.h>

#include "client/grpctl/group/process_facts.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/table.h"

namespace GrpCtl {
namespace {

using std::chrono::milliseconds;

// A time without a unit, of zero or of more than a day is refused: the owner takes 0 for "as
// before".
TEST(GrpctlText, ReadsTimesWithTheirUnit) {
    const struct {
        const char* text;
        int64_t count;  // -1: refused
    } rows[] = {
        {"500ms", 500},  {"3s", 3000},      {"1.5s", 1500},
        {"1h", 3600000}, {"24h", 86400000}, {"1.5ms", 1},
        {"5", -1},       {"0s", -1},        {"0.1ms", -1},
        {"25h", -1},     {"1.s", -1},       {"3 s", -1},
        {"", -1},        {"ms", -1},        {"99999999999999999999ms", -1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ParseDuration(row.text).value_or(milliseconds(-1)).count(), row.count)
            << row.text;
    }
}

// Columns are as wide as their characters, not their bytes; colours take no room; what would change
// the terminal is not let through.
TEST(GrpctlText, LaysTablesOut) {
    EXPECT_EQ(LayOut({{"NAME", "PID"}, {"grün", "7"}, {"x", ""}, {"a\033[2Jb", "9"}}, false),
              "NAME     PID\n"
              "grün     7\n"
              "x\n"
              "a?[2Jb   9\n");
    EXPECT_EQ(LayOut({{{"up", Style::kGood}, "1"}}, true), "\033[32mup\033[0m   1\n");
}

// The name is the program's own choice and may look like the fields behind it.
TEST(GrpctlText, FindsTheStartOfAProcess) {
    const std::string fields = " S 1 2 3 0 -1 4194560 1 0 0 0 1 2 0 0 20 0 1 0 4711 99 5";
    EXPECT_EQ(StartTicks("42 (sh)" + fields), 4711U);
    EXPECT_EQ(StartTicks("42 (a) S 1 (b) R)" + fields), 4711U);
    EXPECT_EQ(StartTicks("42 (sh) S 1 2 3"), std::nullopt);
    EXPECT_EQ(StartTicks(""), std::nullopt);
    EXPECT_EQ(AgeOf(-1), std::nullopt);
    EXPECT_LT(AgeOf(getpid()).value_or(std::chrono::hours(1)), std::chrono::minutes(30));
}

}  // namespace
}  // namespace GrpCtl
