#include "client/grpctl/timeline/svg.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "platform/linux/utf8.h"

namespace GrpCtl::Timeline {

namespace {

// What no XML may hold.
bool IsForbidden(uint32_t value) {
    return (GrpOwnerLinux::IsControl(value) && value != '\n') || value == 0xFFFE || value == 0xFFFF;
}

}  // namespace

std::string EscapeXml(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        uint32_t value = 0;
        const size_t length = GrpOwnerLinux::DecodeCharacter(text, value);
        if (length == 0 || IsForbidden(value)) {
            escaped += '?';
        } else if (value == '&') {
            escaped += "&amp;";
        } else if (value == '<') {
            escaped += "&lt;";
        } else if (value == '>') {
            escaped += "&gt;";
        } else if (value == '"') {
            escaped += "&quot;";
        } else {
            escaped += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return escaped;
}

std::string Cut(std::string_view text, size_t most) {
    if (GrpOwnerLinux::CountCharacters(text) <= most) {
        return std::string(text);
    }
    size_t kept = 0;
    for (size_t count = 0; count + 1 < most; ++count) {
        uint32_t value = 0;
        kept += std::max<size_t>(GrpOwnerLinux::DecodeCharacter(text.substr(kept), value), 1);
    }
    return std::string(text.substr(0, kept)) + "…";
}

double WidthOf(std::string_view text, double fontSize) {
    constexpr double kShare = 0.6;  // of usual fonts, and rather too much than too little
    return kShare * fontSize * GrpOwnerLinux::CountCharacters(text);
}

std::string Coordinate(double value) {
    const int64_t tenths = std::llround(value * 10);
    std::string text = (tenths < 0 ? "-" : "") + std::to_string(std::abs(tenths) / 10);
    if (tenths % 10 != 0) {
        text += "." + std::to_string(std::abs(tenths) % 10);
    }
    return text;
}

void Svg::Close(std::string_view name, std::string_view title) {
    if (title.empty()) {
        text_ += "/>\n";
        return;
    }
    text_ += "><title>" + EscapeXml(title) + "</title></" + std::string(name) + ">\n";
}

void Svg::Rect(std::string_view style, double x, double y, double width, double height,
               std::string_view title) {
    text_ += "<rect class=\"" + std::string(style) + "\" x=\"" + Coordinate(x) + "\" y=\"" +
             Coordinate(y) + "\" width=\"" + Coordinate(std::max(width, 0.0)) + "\" height=\"" +
             Coordinate(height) + "\"";
    Close("rect", title);
}

void Svg::Text(std::string_view style, double x, double y, std::string_view words,
               std::string_view title) {
    text_ += "<text class=\"" + std::string(style) + "\" x=\"" + Coordinate(x) + "\" y=\"" +
             Coordinate(y) + "\">" + EscapeXml(words);
    if (!title.empty()) {
        text_ += "<title>" + EscapeXml(title) + "</title>";
    }
    text_ += "</text>\n";
}

void Svg::Path(std::string_view style, std::string_view way, std::string_view title) {
    text_ += "<path class=\"" + std::string(style) + "\" d=\"" + std::string(way) + "\"";
    Close("path", title);
}

void Svg::Use(std::string_view shape, double x, double y, std::string_view title) {
    text_ += "<use href=\"#" + std::string(shape) + "\" x=\"" + Coordinate(x) + "\" y=\"" +
             Coordinate(y) + "\"";
    Close("use", title);
}

}  // namespace GrpCtl::Timeline
