#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerTest {

/// Whether exactly this line was logged at this level; a negative answer names lines that come
/// near.
testing::AssertionResult Logged(int level, const std::string& text);

/// The same, `times` times.
testing::AssertionResult LoggedTimes(int level, const std::string& text, size_t times);

struct Expected {
    int level;
    std::string text;
};

/// Whether these lines were logged in this order, others between them allowed.
testing::AssertionResult LoggedInOrder(const std::vector<Expected>& lines);

}  // namespace GrpOwnerTest
