#include "tests/support/isolated.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerTest {

namespace {

constexpr unsigned kLongestScenario = 120;  // seconds; a good one takes a few at most

[[noreturn]] void RunChild(const std::function<void()>& body) {
    alarm(kLongestScenario);
    try {
        body();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "an exception left the scenario: " << error.what();
    }
    const bool failed = testing::Test::HasFailure();
    if (failed) {
        std::printf("--- log of the owner ---\n");
        for (const GrpOwnerMemory::LogLine& line : GrpOwnerMemory::LogLines()) {
            std::printf("%2d %s:%d %s\n", line.level, line.file.c_str(), line.line,
                        line.text.c_str());
        }
    }
    std::fflush(nullptr);
    std::exit(failed ? 1 : 0);
}

}  // namespace

void RunIsolated(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0) << "cannot fork";
    if (child == 0) {
        RunChild(body);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_FALSE(WIFSIGNALED(status)) << "ended by signal " << WTERMSIG(status);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "exit status " << WEXITSTATUS(status);
}

void ForSeeds(uint64_t count, const std::function<void(uint64_t seed)>& body) {
    const char* wanted = std::getenv("GRPOWNER_TEST_SEED");
    const uint64_t first = wanted == nullptr ? 1 : std::strtoull(wanted, nullptr, 10);
    const uint64_t last = wanted == nullptr ? count : first;
    for (uint64_t seed = first; seed <= last && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("GRPOWNER_TEST_SEED=" + std::to_string(seed));
        RunIsolated([&] { body(seed); });
    }
}

}  // namespace GrpOwnerTest
