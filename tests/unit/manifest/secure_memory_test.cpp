#include "platform/secure_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

namespace {

constexpr size_t kHuge = SIZE_MAX / 2 + 1;

// A refusal empties the destination, unless its size is absurd; nothing is written beyond it.
TEST(SecureMemory, WritesAllOrZerosAndNeverBeyond) {
    const char kSource[] = "123456789";
    const std::string kZeros(8, '\0');
    const struct {
        const char* what;
        std::function<int(char*)> write;
        bool isGood;
        std::string content;
    } kRows[] = {
        {"a part", [&](char* to) { return memcpy_s(to, 8, kSource, 3); }, true, "123DEFGH"},
        {"all", [&](char* to) { return memcpy_s(to, 8, kSource, 8); }, true, "12345678"},
        {"nothing", [](char* to) { return memcpy_s(to, 8, nullptr, 0); }, true, "ABCDEFGH"},
        {"no room", [&](char* to) { return memcpy_s(to, 0, kSource, 0); }, true, "ABCDEFGH"},
        {"one too many", [&](char* to) { return memcpy_s(to, 8, kSource, 9); }, false, kZeros},
        {"no source", [](char* to) { return memcpy_s(to, 8, nullptr, 1); }, false, kZeros},
        {"all there is", [&](char* to) { return memcpy_s(to, 8, kSource, SIZE_MAX); }, false,
         kZeros},
        {"huge", [&](char* to) { return memcpy_s(to, kHuge, kSource, 3); }, false, "ABCDEFGH"},
        {"a neighbour", [](char* to) { return memcpy_s(to, 4, to + 4, 4); }, true, "EFGHEFGH"},
        {"itself", [](char* to) { return memcpy_s(to, 8, to, 8); }, false, kZeros},
        {"from behind", [](char* to) { return memcpy_s(to, 4, to + 3, 4); }, false,
         std::string(4, '\0') + "EFGH"},
        {"from before", [](char* to) { return memcpy_s(to + 3, 4, to, 4); }, false,
         "ABC" + std::string(4, '\0') + "H"},
        {"set all", [](char* to) { return memset_s(to, 8, 'x', 8); }, true, "xxxxxxxx"},
        {"set a part", [](char* to) { return memset_s(to, 8, 'x', 2); }, true, "xxCDEFGH"},
        {"set too many", [](char* to) { return memset_s(to, 8, 'x', 9); }, false, kZeros},
        {"set huge", [](char* to) { return memset_s(to, kHuge, 'x', 2); }, false, "ABCDEFGH"},
    };
    for (const auto& row : kRows) {
        char guarded[] = "<ABCDEFGH>";
        EXPECT_EQ(row.write(guarded + 1) == 0, row.isGood) << row.what;
        EXPECT_EQ(std::string(guarded, 10), "<" + row.content + ">") << row.what;
    }
    EXPECT_NE(memcpy_s(nullptr, 8, kSource, 3), 0);
    EXPECT_NE(memset_s(nullptr, 8, 'x', 1), 0);
}

}  // namespace
