// The table of verbs and switches, through the parser that is made from it.

#include "client/grpctl/typed/command_line.h"

#include <gtest/gtest.h>

#include "client/grpctl/typed/verbs.h"

namespace GrpCtl {
namespace {

std::optional<Options> Read(const std::string& line) {
    std::vector<std::string> words = Split("grpctl " + line, ' ');
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    return ReadCommandLine(static_cast<int>(pointers.size()), pointers.data());
}

// A misspelt verb in the table would make its switch vanish without a word.
TEST(GrpctlCommandLine, SwitchesBelongToVerbsThatThereAre) {
    for (const Switch& entry : Switches()) {
        for (const std::string& verb : Split(entry.verbs, ' ')) {
            EXPECT_TRUE(entry.verbs.empty() || FindVerb(verb) != nullptr) << entry.spelling;
        }
    }
}

TEST(GrpctlCommandLine, ReadsWhatPeopleType) {
    const auto start =
        Read("-q start recorder --param 0=a,b --param 0=c --param 2=x -o wide -- --fps -9");
    ASSERT_TRUE(start);
    EXPECT_TRUE(start->isQuiet);
    EXPECT_EQ(start->operands, std::vector<std::string>{"recorder"});
    EXPECT_EQ(start->arguments, (std::vector<std::string>{"--fps", "-9"}));
    EXPECT_EQ(start->parameters, (Parameters{{0, {"a", "b", "c"}}, {2, {"x"}}}));
    EXPECT_EQ(start->format, Format::kWide);

    const auto change = Read("change --stop a,b --stop c --start=d --timeout 250ms");
    ASSERT_TRUE(change);
    EXPECT_EQ(change->stops, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(change->starts, std::vector<std::string>{"d"});
    EXPECT_EQ(change->Timeout().count(), 250);

    // Behind the dashes even a negative number is an operand.
    const auto state = Read("set-state -- -1");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->operands, std::vector<std::string>{"-1"});
}

}  // namespace
}  // namespace GrpCtl
