#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerTest {

/// Whether exactly this line was logged at this level.
testing::AssertionResult Logged(int level, const std::string& text);

struct Expected {
    int level;
    std::string text;
};

/// Whether these lines were logged in this order, others between them allowed.
testing::AssertionResult LoggedInOrder(const std::vector<Expected>& lines);

}  // namespace GrpOwnerTest
