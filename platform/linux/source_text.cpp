#include "platform/linux/source_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr std::string_view kBreaks[] = {"\r\n",     "\n",           "\r",
                                        "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
constexpr std::string_view kFirstOfBreaks = "\n\r\xC2\xE2";

// The bytes of the line break that `text` begins with; 0 for none.
size_t BreakWidth(std::string_view text) {
    for (const std::string_view mark : kBreaks) {
        if (text.substr(0, mark.size()) == mark) {
            return mark.size();
        }
    }
    return 0;
}

bool IsAllowed(uint32_t value) {
    return value == '\t' || value == '\n' || value == '\r' || (value >= 0x20 && value <= 0x7E) ||
           value == 0x85 || (value >= 0xA0 && value <= 0xFFFD) || value >= 0x10000;
}

// At most one byte more than is allowed.
bool ReadAll(int fd, std::string& bytes) {
    char piece[16 * 1024];
    while (bytes.size() <= kLargestFile) {
        const ssize_t got = read(fd, piece, sizeof(piece));
        if (got < 0 && errno != EINTR) {
            return false;
        }
        if (got == 0) {
            break;
        }
        bytes.append(piece, got > 0 ? static_cast<size_t>(got) : 0);
    }
    return true;
}

}  // namespace

SourceText::SourceText(std::string bytes) : bytes_(std::move(bytes)) {
    if (bytes_.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
        bytes_.erase(0, kByteOrderMark.size());
    }
    const std::string_view text = bytes_;
    size_t begin = 0;
    for (size_t place = text.find_first_of(kFirstOfBreaks); place != std::string_view::npos;) {
        const size_t width = BreakWidth(text.substr(place));
        if (width > 0) {
            lines_.push_back({begin, place});
            begin = place + width;
        }
        place = text.find_first_of(kFirstOfBreaks, place + std::max<size_t>(width, 1));
    }
    lines_.push_back({begin, text.size()});
}

std::string_view SourceText::Line(uint32_t line) const {
    if (line == 0 || line > lines_.size()) {
        return {};
    }
    const Range& range = lines_[line - 1];
    return Bytes().substr(range.begin, range.end - range.begin);
}

Span SourceText::Between(uint32_t line, uint32_t column, uint32_t endLine,
                         uint32_t endColumn) const {
    uint32_t end = endColumn;
    if (endLine != line) {
        std::string_view text = Line(line);
        text = text.substr(0, text.find_last_not_of(" \t") + 1);
        end = CountCharacters(text) + 1;
    }
    return {line, column, end > column ? end - column : 1};
}

bool SourceText::FindBadCharacter(Span& place, std::string& message) const {
    const std::string_view text = bytes_;
    uint32_t value = 0;
    for (size_t at = 0, width = 0; at < text.size(); at += width) {
        width = DecodeCharacter(text.substr(at), value);
        if (width > 0 && IsAllowed(value)) {
            continue;
        }
        const auto next =
            std::upper_bound(lines_.begin(), lines_.end(), at,
                             [](size_t byte, const Range& line) { return byte < line.begin; });
        const size_t begin = (next - 1)->begin;
        place.line = static_cast<uint32_t>(next - lines_.begin());
        place.column = CountCharacters(text.substr(begin, at - begin)) + 1;
        char number[16];
        std::snprintf(number, sizeof(number), width == 0 ? "0x%02x" : "U+%04X",
                      width == 0 ? static_cast<uint8_t>(text[at]) : value);
        message = width == 0 ? std::string("the byte ") + number + " is not valid UTF-8"
                             : std::string("the control character ") + number + " is not allowed";
        return true;
    }
    return false;
}

bool ReadFile(const std::string& path, std::string& bytes, std::string& error) {
    // Without O_NONBLOCK, opening a named pipe would wait for its writer.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error = std::generic_category().message(errno);
        return false;
    }
    struct stat info {};
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        error = "it is not a regular file";
    } else if (!ReadAll(fd, bytes)) {
        error = std::generic_category().message(errno);
    } else if (bytes.size() > kLargestFile) {
        error = "it is larger than 1 MiB";
    }
    close(fd);
    return error.empty();
}

}  // namespace GrpOwnerLinux
