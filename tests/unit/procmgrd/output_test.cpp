#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "daemons/procmgrd/output_log.h"

namespace ProcMgrDaemon {
namespace {

using namespace std::string_literals;

struct Piece {
    std::string text;
    bool isCut;

    bool operator==(const Piece& other) const { return text == other.text && isCut == other.isCut; }
};

std::ostream& operator<<(std::ostream& out, const Piece& piece) {
    return out << piece.text.size() << " `" << piece.text.substr(0, 30) << "`"
               << (piece.isCut ? " cut" : "");
}

std::vector<Piece> Read(const OutputRing& ring, uint64_t from = 0) {
    std::vector<Piece> pieces;
    OutputLine line;
    for (OutputRing::Reader reader(ring, from); !reader.IsAtEnd(); reader.Advance()) {
        reader.Read(line);
        pieces.push_back({line.text, line.isCut});
    }
    return pieces;
}

// However the bytes arrive, lines come out as they were written, and a cut is told.
TEST(OutputLog, CutsLines) {
    const std::string most(OutputRing::kLongestLine, 'x');
    const std::string allButTwo(OutputRing::kLongestLine - 2, 'x');
    struct Case {
        std::vector<std::string> chunks;
        std::vector<Piece> pieces;
    };
    const std::vector<Case> cases{
        {{"a\n\nb", "c\n"}, {{"a", false}, {"", false}, {"bc", false}}},
        {{"a\0\xff\n"s}, {{"a\0\xff"s, false}}},
        {{most + "\n"}, {{most, false}}},
        {{most, "y\n"}, {{most, true}, {"y", false}}},
        {{most + most, "z"}, {{most, true}, {most, true}, {"z", false}}},
        {{allButTwo + "\u20ac\n"}, {{allButTwo, true}, {"\u20ac", false}}},
    };
    for (const Case& one : cases) {
        Journal journal(64 * 1024);
        OutputLog log(journal, nullptr, 64 * 1024);
        for (const std::string& bytes : one.chunks) {
            log.Take(bytes, 1);
        }
        log.EndLine(false);
        EXPECT_EQ(Read(log.Ring()), one.pieces);
    }
}

// The newest lines are whole, whatever their sizes; the numbers say how many went before them.
TEST(OutputRing, KeepsTheNewest) {
    OutputBudget budget;
    OutputRing ring(budget, 1);
    std::vector<std::string> written;
    OutputLine line;
    for (size_t number = 0; number < 3000; ++number) {
        line.sequence = number;
        written.emplace_back(number * 37 % 600, static_cast<char>('a' + number % 26));
        ring.Push(line, written.back());
    }
    ring.Push(line, std::string(OutputRing::kLongestLine + 1, 'L'));
    EXPECT_EQ(ring.End(), 3001U);
    const std::vector<Piece> kept = Read(ring);
    ASSERT_EQ(kept.size(), ring.End() - ring.First());
    EXPECT_GT(kept.size(), 5U);
    for (size_t i = 0; i + 1 < kept.size(); ++i) {
        EXPECT_EQ(kept[i].text, written[ring.First() + i]);
    }
    EXPECT_EQ(kept.back().text.size(), OutputRing::kLongestLine);
    EXPECT_EQ(Read(ring, ring.End() - 3).size(), 3U);
    EXPECT_EQ(OutputRing::Reader(ring, 0).Number(), ring.First());
    EXPECT_EQ(OutputRing::Reader(ring, 2996).Sequence(), 2996U);
}

// Beyond what all may have together everybody keeps the least, and what one gives up another gets.
TEST(OutputRing, SharesTheBudget) {
    const auto fill = [](OutputRing& ring) {
        for (int i = 0; i < 1000; ++i) {
            ring.Push({}, std::string(100, 'x'));
        }
        return ring.End() - ring.First();
    };
    OutputBudget budget{64 * 1024};
    {
        OutputRing first(budget, 64 * 1024);
        EXPECT_GT(fill(first), 400U);
        OutputRing second(budget, 64 * 1024);
        const uint64_t least = fill(second);
        EXPECT_GT(least, 50U);
        EXPECT_LT(least, 70U);
    }
    EXPECT_EQ(budget.bytesLeft, 64 * 1024);
}

}  // namespace
}  // namespace ProcMgrDaemon
