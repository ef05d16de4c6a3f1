#include "client/grpctl/text/screen.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

constexpr char kEscape = '\033';
constexpr char kPlainAgain[] = "\033[0m";

// Bytes of a character, or of a colour, which takes no room.
size_t FirstPiece(std::string_view text) {
    if (text.front() == kEscape) {
        return std::min(text.find('m'), text.size() - 1) + 1;
    }
    uint32_t value = 0;
    return std::max<size_t>(GrpOwnerLinux::DecodeCharacter(text, value), 1);
}

bool IsSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool IsDumb() {
    const char* const terminal = std::getenv("TERM");
    return terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
}

size_t WidthOf(int descriptor) {
    constexpr size_t kLeast = 40;
    constexpr size_t kMost = 100;  // a time far from its name is hard to read
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return Screen().width;
    }
    return std::clamp<size_t>(size.ws_col, kLeast, kMost);
}

const char* CodeOf(Style style) {
    switch (style) {
        case Style::kGood:
            return "\033[32m";
        case Style::kBad:
            return "\033[31m";
        case Style::kBusy:
            return "\033[33m";
        case Style::kFaint:
            return "\033[2m";
        case Style::kHead:
            return "\033[1m";
        case Style::kPlain:
            break;
    }
    return "";
}

}  // namespace

Screen Screen::Of(int descriptor, Color color) {
    Screen screen;
    screen.isTerminal = isatty(descriptor) == 1;
    screen.isClever = screen.isTerminal && !IsDumb();
    screen.isColored = color == Color::kAlways || (color == Color::kAuto && screen.isTerminal &&
                                                   !IsSet("NO_COLOR") && !IsDumb());
    screen.isUtf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    screen.width = screen.isTerminal ? WidthOf(descriptor) : screen.width;
    return screen;
}

std::string Screen::Mark(bool isGood) const {
    const char* const good = isUtf8 ? "✔" : "[ok]";
    const char* const bad = isUtf8 ? "✘" : "[!!]";
    return Paint(isGood ? good : bad, isGood ? Style::kGood : Style::kBad, isColored);
}

std::string Paint(const std::string& text, Style style, bool isColored) {
    const std::string code = isColored && !text.empty() ? CodeOf(style) : "";
    return code.empty() ? text : code + text + kPlainAgain;
}

std::string Stretch(const std::string& left, const std::string& right, const Screen& screen) {
    const size_t rightWidth = CountVisible(right);
    const size_t room = screen.width - std::min(screen.width, rightWidth + 2);
    const std::string cut = CutVisible(left, room, screen.isUtf8);
    return cut + std::string(room + 1 - CountVisible(cut), ' ') + right + "\n";
}

size_t CountVisible(std::string_view text) {
    size_t count = 0;
    for (; !text.empty(); text.remove_prefix(FirstPiece(text))) {
        count += text.front() == kEscape ? 0 : 1;
    }
    return count;
}

std::string CutVisible(const std::string& text, size_t width, bool isUtf8) {
    if (CountVisible(text) <= width) {
        return text;
    }
    const std::string ellipsis = isUtf8 ? "…" : "...";
    const size_t room = width - std::min(width, CountVisible(ellipsis));
    std::string cut;
    size_t count = 0;
    bool isPainted = false;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view piece = rest.substr(0, FirstPiece(rest));
        rest.remove_prefix(piece.size());
        if (piece.front() == kEscape) {
            isPainted = piece != kPlainAgain;
        } else if (++count > room) {
            break;
        }
        cut += piece;
    }
    return cut + (isPainted ? kPlainAgain : "") +
           ellipsis.substr(0, width > room ? std::string::npos : 0);
}

void Say(const Options& options, const std::string& line) {
    if (!options.isQuiet) {
        std::fputs((GrpOwnerLinux::PrintableLine(line) + "\n").c_str(), stderr);
    }
}

void Put(const std::string& text) {
    (void)std::fwrite(text.data(), 1, text.size(), stdout);  // main looks at the stream's state
}

}  // namespace GrpCtl
