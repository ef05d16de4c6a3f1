#include "platform/secure_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

constexpr size_t kSize = 8;
constexpr size_t kHuge = SIZE_MAX / 2 + 1;

// In a destination of 8 bytes "ABCDEFGH" between two guards.
struct Area {
    char bytes[kSize + 3] = "<ABCDEFGH>";
    char* Destination() { return bytes + 1; }
    std::string Content() const { return std::string(bytes + 1, kSize); }
    bool AreGuardsUp() const { return bytes[0] == '<' && bytes[kSize + 1] == '>'; }
};

TEST(SecureMemory, Copy) {
    const std::string zeros(kSize, '\0');
    const char source[] = "123456789";
    const struct {
        const char* what;
        bool hasDestination, hasSource;
        size_t size, count;
        bool isGood;
        std::string content;
    } kRows[] = {
        {"a part", true, true, 8, 3, true, "123DEFGH"},
        {"all of it", true, true, 8, 8, true, "12345678"},
        {"nothing", true, true, 8, 0, true, "ABCDEFGH"},
        {"nothing from nowhere", true, false, 8, 0, true, "ABCDEFGH"},
        {"nothing into no room", true, true, 0, 0, true, "ABCDEFGH"},
        {"one too many", true, true, 8, 9, false, zeros},
        {"no source", true, false, 8, 1, false, zeros},
        {"absurd count", true, true, 8, SIZE_MAX, false, zeros},
        {"absurd size", true, true, kHuge, 3, false, "ABCDEFGH"},
        {"no destination", false, true, 8, 3, false, "ABCDEFGH"},
    };
    for (const auto& row : kRows) {
        Area area;
        const int result = memcpy_s(row.hasDestination ? area.Destination() : nullptr, row.size,
                                    row.hasSource ? source : nullptr, row.count);
        EXPECT_EQ(result == 0, row.isGood) << row.what;
        EXPECT_EQ(area.Content(), row.content) << row.what;
        EXPECT_TRUE(area.AreGuardsUp()) << row.what;
    }
}

TEST(SecureMemory, CopyRefusesOverlapOnBothSides) {
    for (const int shift : {-3, 0, 3}) {
        char bytes[] = "0123456789abcdefghijklmnop";
        EXPECT_NE(memcpy_s(bytes + 8, 4, bytes + 8 + shift, 4), 0) << shift;
        EXPECT_EQ(std::string(bytes + 8, 4), std::string(4, '\0')) << shift;
    }
    char neighbours[] = "abcdefgh";
    EXPECT_EQ(memcpy_s(neighbours, 4, neighbours + 4, 4), 0);
    EXPECT_STREQ(neighbours, "efghefgh");
}

TEST(SecureMemory, Set) {
    const struct {
        size_t size, count;
        bool isGood;
        std::string content;
    } kRows[] = {
        {8, 8, true, "xxxxxxxx"},
        {8, 2, true, "xxCDEFGH"},
        {8, 0, true, "ABCDEFGH"},
        {8, 9, false, std::string(kSize, '\0')},
        {8, SIZE_MAX, false, std::string(kSize, '\0')},
        {kHuge, 2, false, "ABCDEFGH"},
    };
    for (const auto& row : kRows) {
        Area area;
        EXPECT_EQ(memset_s(area.Destination(), row.size, 'x', row.count) == 0, row.isGood);
        EXPECT_EQ(area.Content(), row.content);
        EXPECT_TRUE(area.AreGuardsUp());
    }
    EXPECT_NE(memset_s(nullptr, 8, 'x', 1), 0);
}

}  // namespace
