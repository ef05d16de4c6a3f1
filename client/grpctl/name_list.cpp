#include "client/grpctl/name_list.h"

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
    size_t used = width + 1;
    for (size_t index = 0; index < names.size(); ++index) {
        const bool isLast = index + 1 == names.size();
        const std::string piece = names[index] + (isLast ? "" : ",");
        const size_t size = GrpOwnerLinux::CountCharacters(piece);
        if (!lines.empty() && used + 1 + size <= width) {
            lines.back() += " " + piece;
            used += 1 + size;
            continue;
        }
        if (mostLines > 0 && lines.size() == mostLines) {
            lines.back().pop_back();  // the comma
            lines.back() += AndMore(names.size() - index);
            return lines;
        }
        lines.push_back(piece);
        used = size;
    }
    return lines;
}

}  // namespace GrpCtl
