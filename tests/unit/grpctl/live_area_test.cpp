// Painting in place, looked at through a small terminal.
#include <gtest/gtest.h>

#include <algorithm>

#include "client/grpctl/progress/live_area.h"

namespace GrpCtl {

/// What a terminal shows: it scrolls, wraps too long lines, and when its window becomes narrower it
/// breaks lines anew. Knows the sequences that are used, no others.
class Terminal {
public:
    Terminal(size_t columns, size_t rows) : columns_(columns), rows_(rows), lines_(1) {}

    void Take(const std::string& bytes) {
        for (size_t at = 0; at < bytes.size(); ++at) {
            if (bytes[at] == '\r') {
                column_ = 0;
            } else if (bytes[at] == '\n') {  // and a carriage return, as the line discipline does
                column_ = 0;
                Down();
            } else if (bytes[at] == '\033') {
                const size_t end = bytes.find_first_of("AJKhlm", at);
                ASSERT_NE(end, std::string::npos);
                Obey(bytes.substr(at + 2, end - at - 2), bytes[end]);
                at = end;
            } else {
                Put(bytes[at]);
            }
        }
    }

    void Narrow(size_t columns) {
        std::vector<std::string> broken;
        for (const std::string& line : lines_) {
            for (size_t at = 0; at == 0 || at < line.size(); at += columns) {
                broken.push_back(line.substr(at, columns));
            }
        }
        row_ += broken.size() - lines_.size();
        lines_ = std::move(broken);
        columns_ = columns;
    }

    bool isCursorShown = true;

    std::string Shown() const {
        std::string text;
        for (const std::string& line : lines_) {
            text += line + "|";
        }
        return text;
    }

private:
    void Obey(const std::string& number, char command) {
        if (command == 'A') {
            const size_t top = lines_.size() - std::min(lines_.size(), rows_);
            const size_t up = std::stoul(number);
            row_ = row_ - std::min(row_ - top, up);
        } else if (command == 'J') {
            lines_.resize(row_ + 1);
            lines_[row_].resize(std::min(lines_[row_].size(), column_));
        } else if (command == 'K') {
            lines_[row_].resize(std::min(lines_[row_].size(), column_));
        } else if (number == "?25") {
            isCursorShown = command == 'h';
        }
    }
    void Down() {
        if (++row_ == lines_.size()) {
            lines_.emplace_back();
        }
    }
    void Put(char character) {
        if (column_ == columns_) {
            column_ = 0;
            Down();
        }
        lines_[row_].resize(std::max(lines_[row_].size(), column_ + 1), ' ');
        lines_[row_][column_++] = character;
    }

    size_t columns_;
    const size_t rows_;
    std::vector<std::string> lines_;  // with those that have left the window
    size_t row_ = 0;
    size_t column_ = 0;
};

TEST(LiveArea, PaintsOverItselfAndNothingElse) {
    Terminal terminal(20, 5);
    LiveArea area;
    const auto show = [&](const std::vector<std::string>& lines, WindowSize size) {
        terminal.Take(area.Show(lines, size));
        EXPECT_TRUE(terminal.isCursorShown);
        return terminal.Shown();
    };
    terminal.Take("$ grpctl\nabove\n");
    EXPECT_EQ(show({"head 0/2", "a waiting"}, {20, 5}), "$ grpctl|above|head 0/2|a waiting||");
    EXPECT_EQ(area.Show({"head 0/2", "a waiting"}, {20, 5}), "") << "nothing has changed";
    // More lines than are left below: the window scrolls. A shorter line leaves no rest.
    EXPECT_EQ(show({"head 1/2", "a up", "b waiting", "c"}, {20, 5}),
              "$ grpctl|above|head 1/2|a up|b waiting|c||");
    terminal.Take("^C");  // the echo of a key
    EXPECT_EQ(show({"head 2/2", "a up"}, {20, 5}), "$ grpctl|above|head 2/2|a up||");
    EXPECT_EQ(show({"0123456789012345678", "b"}, {20, 5}),
              "$ grpctl|above|0123456789012345678|b||");
    terminal.Narrow(10);
    EXPECT_EQ(show({"012345678", "b"}, {10, 5}), "$ grpctl|above|012345678|b||");
    area.Forget();
    terminal.Take("fg\n");
    EXPECT_EQ(show({"c"}, {10, 5}), "$ grpctl|above|012345678|b|fg|c||");
    terminal.Take(area.Erase() + "done\n");
    EXPECT_EQ(terminal.Shown(), "$ grpctl|above|012345678|b|fg|done||");
}

}  // namespace GrpCtl
