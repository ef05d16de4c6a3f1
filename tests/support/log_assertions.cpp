#include "tests/support/log_assertions.h"

#include <algorithm>

namespace GrpOwnerTest {

using GrpOwnerMemory::LogLine;
using GrpOwnerMemory::LogLines;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

AssertionResult Logged(int level, const std::string& text) {
    return LoggedInOrder({{level, text}});
}

AssertionResult LoggedInOrder(const std::vector<Expected>& lines) {
    const std::vector<LogLine> log = LogLines();
    auto place = log.begin();
    for (const Expected& line : lines) {
        place = std::find_if(place, log.end(), [&](const LogLine& other) {
            return other.level == line.level && other.text == line.text;
        });
        if (place == log.end()) {
            return AssertionFailure()
                   << "not logged in its turn: " << line.level << " \"" << line.text << "\"";
        }
        ++place;
    }
    return AssertionSuccess();
}

}  // namespace GrpOwnerTest
