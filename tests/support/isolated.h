#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

namespace GrpOwnerTest {

/// Runs a scenario in a child process. The owner's instances live as long as their process, so each
/// scenario gets a fresh one; and their end at exit, with all that a sanitizer says then, belongs
/// to the test. The child prints the owner's log when it fails and is ended when it hangs.
void RunIsolated(const std::function<void()>& body);

/// The same for the seeds 1 to `count`. Ends at the first seed that fails and prints it;
/// GRPOWNER_TEST_SEED=<n> runs that one alone.
void ForSeeds(uint64_t count, const std::function<void(uint64_t seed)>& body);

}  // namespace GrpOwnerTest

/// A test whose body is a scenario.
#define SCENARIO(suite, name)                                \
    static void suite##_##name##_Body();                     \
    TEST(suite, name) {                                      \
        ::GrpOwnerTest::RunIsolated(&suite##_##name##_Body); \
    }                                                        \
    static void suite##_##name##_Body()
