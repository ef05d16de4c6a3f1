#include "client/grpctl/text/table.h"

#include <algorithm>

#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

constexpr size_t kGap = 3;

std::vector<size_t> Widths(const std::vector<Row>& rows) {
    std::vector<size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] =
                std::max<size_t>(widths[column], GrpOwnerLinux::CountCharacters(row[column].text));
        }
    }
    return widths;
}

}  // namespace

std::string LayOut(const std::vector<Row>& rows, bool isColored, const std::string& indent) {
    const std::vector<size_t> widths = Widths(rows);
    std::string text;
    for (const Row& row : rows) {
        size_t last = row.size();
        while (last > 0 && row[last - 1].text.empty()) {
            --last;
        }
        text += indent;
        for (size_t column = 0; column < last; ++column) {
            const std::string shown = GrpOwnerLinux::PrintableLine(row[column].text);
            text += Paint(shown, row[column].style, isColored);
            if (column + 1 < last) {
                text.append(widths[column] - GrpOwnerLinux::CountCharacters(shown) + kGap, ' ');
            }
        }
        text += '\n';
    }
    return text;
}

}  // namespace GrpCtl
