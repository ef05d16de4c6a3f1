#include "tests/support/log_assertions.h"

#include <algorithm>

namespace GrpOwnerTest {

using GrpOwnerMemory::LogLine;
using GrpOwnerMemory::LogLines;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

namespace {

// Lines that share their beginning or their text, but not all of it.
std::string NearBy(const std::string& text) {
    constexpr size_t kBeginning = 12;
    std::string result;
    for (const LogLine& line : LogLines()) {
        if (line.text.compare(0, kBeginning, text, 0, kBeginning) == 0) {
            result += "\n  " + std::to_string(line.level) + " \"" + line.text + "\"";
        }
    }
    return result.empty() ? ", nor one like it" : "; near it:" + result;
}

}  // namespace

AssertionResult LoggedTimes(int level, const std::string& text, size_t times) {
    const size_t found = GrpOwnerMemory::CountLog(level, text);
    if (found == times) {
        return AssertionSuccess();
    }
    return AssertionFailure() << "logged " << found << " times instead of " << times << ": "
                              << level << " \"" << text << "\"" << NearBy(text);
}

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
            return AssertionFailure() << "not logged in its turn: " << line.level << " \""
                                      << line.text << "\"" << NearBy(line.text);
        }
        ++place;
    }
    return AssertionSuccess();
}

}  // namespace GrpOwnerTest
