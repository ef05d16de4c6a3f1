#include "daemons/common/json_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Daemons {
namespace {

using namespace std::string_literals;

struct Case {
    std::string text, written;
};

// Whatever an application prints, the line is one line of valid JSON and hides nothing.
TEST(JsonLine, WritesAnyText) {
    const std::vector<Case> cases{
        {"a\"b\\c", R"({"t":"a\"b\\c"})"},
        {"\x1b[31m\r\n\t\0\x7f"s, R"({"t":"\u001b[31m\r\n\t\u0000\u007f"})"},
        {"grün \u2028\u0085", R"({"t":"grün \u2028\u0085"})"},
        {"\\x41\xff", R"({"t":"\\\\x41\\xff","t_escaped":true})"},
        {"cut \xe2\x82", R"({"t":"cut \\xe2\\x82","t_escaped":true})"},
        {"\xed\xa0\x80\xc0\xaf", R"({"t":"\\xed\\xa0\\x80\\xc0\\xaf","t_escaped":true})"},
    };
    for (const Case& one : cases) {
        std::string out;
        JsonLine(out).Text("t", one.text);
        EXPECT_EQ(out, one.written + "\n");
    }
}

TEST(JsonLine, JoinsMembers) {
    std::string out;
    JsonLine(out)
        .Number("least", INT64_MIN)
        .Number("most", UINT64_MAX)
        .Flag("yes", true)
        .Texts("none", std::vector<std::string>())
        .Texts("two", std::vector<std::string>{"a", "\xff"});
    EXPECT_EQ(out, R"({"least":-9223372036854775808,"most":18446744073709551615,"yes":true,)"
                   R"("none":[],"two":["a","\\xff"],"two_escaped":true})"
                   "\n");
}

}  // namespace
}  // namespace Daemons
