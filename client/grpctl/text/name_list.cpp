#include "client/grpctl/text/name_list.h"

#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

std::string AndMore(size_t count) {
    return " and " + std::to_string(count) + " more";
}

}  // namespace

std::string Abridged(const std::vector<std::string>& names, size_t width,
                     const std::string& separator) {
    std::string line;
    size_t used = 0;
    for (size_t index = 0; index < names.size(); ++index) {
        const std::string piece = (index == 0 ? "" : separator) + names[index];
        used += GrpOwnerLinux::CountCharacters(piece);
        const size_t left = names.size() - index - 1;
        // The tail needs room as well, unless this is the last one.
        if (index > 0 && used + (left > 0 ? AndMore(left).size() : 0) > width) {
            return line + AndMore(left + 1);
        }
        line += piece;
    }
    return line;
}

std::vector<std::string> Wrapped(const std::vector<std::string>& names, size_t width,
                                 size_t mostLines) {
    std::vector<std::string> lines;
    size_t used = 0;
    for (size_t index = 0; index < names.size(); ++index) {
        const size_t left = names.size() - index;
        const std::string piece = names[index] + (left == 1 ? "" : ",");
        const size_t size = GrpOwnerLinux::CountCharacters(piece);
        const bool isLastLine = mostLines > 0 && lines.size() == mostLines;
        const size_t tail = isLastLine && left > 1 ? AndMore(left - 1).size() : 0;
        if (!lines.empty() && used + 1 + size + tail <= width) {
            lines.back() += " " + piece;
            used += 1 + size;
        } else if (isLastLine) {
            lines.back().pop_back();  // the comma
            lines.back() += AndMore(left);
            break;
        } else {
            lines.push_back(piece);
            used = size;
        }
    }
    return lines;
}

}  // namespace GrpCtl
