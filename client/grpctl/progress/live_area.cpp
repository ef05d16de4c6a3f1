#include "client/grpctl/progress/live_area.h"

#include <algorithm>

#include "client/grpctl/text/screen.h"

namespace GrpCtl {

namespace {

constexpr char kHideCursor[] = "\033[?25l";
constexpr char kShowCursor[] = "\033[?25h";
constexpr char kClearLine[] = "\033[K";
constexpr char kClearBelow[] = "\033[J";

}  // namespace

std::string LiveArea::Show(const std::vector<std::string>& lines, WindowSize size) {
    const bool isSameSize = size.columns == size_.columns && size.rows == size_.rows;
    size_ = size;
    if (isSameSize && lines == shown_) {
        return "";
    }
    std::string bytes = kHideCursor + ToTop();
    if (!isSameSize) {
        bytes += kClearBelow;
        shown_.clear();
    }
    for (size_t index = 0; index < lines.size(); ++index) {
        if (index >= shown_.size() || lines[index] != shown_[index]) {
            bytes += lines[index] + kClearLine;
        }
        bytes += '\n';
    }
    shown_ = lines;
    return bytes + kClearBelow + kShowCursor;
}

std::string LiveArea::Erase() {
    if (shown_.empty()) {
        return "";
    }
    std::string bytes = ToTop() + kClearBelow;
    shown_.clear();
    return bytes;
}

// A window that has become narrower has broken the lines; nearly all terminals do so.
std::string LiveArea::ToTop() const {
    size_t rows = 0;
    for (const std::string& line : shown_) {
        const size_t length = CountVisible(line);
        rows += std::max<size_t>((length + size_.columns - 1) / size_.columns, 1);
    }
    return rows == 0 ? "\r" : "\r\033[" + std::to_string(rows) + "A";
}

}  // namespace GrpCtl
