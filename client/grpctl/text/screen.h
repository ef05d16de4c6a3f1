#pragma once

#include <string>
#include <string_view>

#include "client/grpctl/typed/options.h"

namespace GrpCtl {

enum class Style { kPlain, kGood, kBad, kBusy, kFaint, kHead };

/// What a stream can show.
struct Screen {
    bool isTerminal = false;
    bool isColored = false;
    bool isUtf8 = false;
    size_t width = 80;  // characters of a line

    /// @param descriptor of the stream: each is asked for itself
    static Screen Of(int descriptor, Color color);

    /// Whether it understands cursor moves: TERM is not "dumb".
    bool isClever = false;

    /// Before a line that says how something went.
    std::string Mark(bool isGood) const;
};

std::string Paint(const std::string& text, Style style, bool isColored);

/// A line with something at either end; the left one is cut when there is no room.
std::string Stretch(const std::string& left, const std::string& right, const Screen& screen);

/// How many characters a painted text shows.
size_t CountVisible(std::string_view text);

/// A painted text, cut to so many characters; an ellipsis says so.
std::string CutVisible(const std::string& text, size_t width, bool isUtf8);

/// A message to people, unless they asked for quiet.
void Say(const Options& options, const std::string& line);

/// A result.
void Put(const std::string& text);

}  // namespace GrpCtl
