#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "daemons/procmgrd/output_log.h"

namespace ProcMgrDaemon {
namespace {

using namespace std::string_literals;

struct Piece {
    OutputStream stream;
    std::string text;
    bool isCut;

    bool operator==(const Piece& other) const {
        return stream == other.stream && text == other.text && isCut == other.isCut;
    }
};

std::ostream& operator<<(std::ostream& out, const Piece& piece) {
    return out << (piece.stream == OutputStream::kErr ? "err " : "out ") << piece.text.size()
               << " `" << piece.text.substr(0, 30) << "`" << (piece.isCut ? " cut" : "");
}

std::vector<Piece> Read(const OutputRing& ring, uint64_t from = 0) {
    std::vector<Piece> pieces;
    OutputLine line;
    for (OutputRing::Reader reader(ring, from); !reader.IsAtEnd(); reader.Advance()) {
        reader.Read(line);
        pieces.push_back({line.stream, line.text, line.isCut});
    }
    return pieces;
}

constexpr auto kOut = OutputStream::kOut;
constexpr auto kErr = OutputStream::kErr;

// However the bytes arrive, lines come out as they were written, and a cut is told.
TEST(OutputLog, CutsLines) {
    const std::string most(OutputRing::kLongestLine, 'x');
    const std::string allButTwo(OutputRing::kLongestLine - 2, 'x');
    struct Case {
        std::vector<std::pair<OutputStream, std::string>> chunks;
        std::vector<Piece> pieces;
    };
    const std::vector<Case> cases{
        {{{kOut, "a\n\nb"}, {kErr, "e\n"}, {kOut, "c\n"}},
         {{kOut, "a", false}, {kOut, "", false}, {kErr, "e", false}, {kOut, "bc", false}}},
        {{{kOut, "a\0\xff\n"s}}, {{kOut, "a\0\xff"s, false}}},
        {{{kOut, most + "\n"}}, {{kOut, most, false}}},
        {{{kOut, most}, {kOut, "y\n"}}, {{kOut, most, true}, {kOut, "y", false}}},
        {{{kOut, most + most}, {kOut, "z"}},
         {{kOut, most, true}, {kOut, most, true}, {kOut, "z", false}}},
        {{{kOut, allButTwo + "\u20ac\n"}}, {{kOut, allButTwo, true}, {kOut, "\u20ac", false}}},
    };
    for (const Case& one : cases) {
        Journal journal(64 * 1024);
        OutputLog log(journal, nullptr, 64 * 1024);
        for (const auto& [stream, bytes] : one.chunks) {
            log.Take(stream, bytes, 1);
        }
        log.EndLines(false);
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
