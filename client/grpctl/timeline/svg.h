#pragma once
// The few elements of SVG that pictures here are made of.

#include <string>
#include <string_view>

namespace GrpCtl::Timeline {

/// Fit for an element's text and for an attribute, whatever it holds.
std::string EscapeXml(std::string_view text);

/// Shortened to so many characters.
std::string Cut(std::string_view text, size_t most);

/// About how wide a line is at that size, with whatever font.
double WidthOf(std::string_view text, double fontSize);

/// Collects elements. A title is what is shown when the mouse rests there; it may have lines.
class Svg {
public:
    void Rect(std::string_view style, double x, double y, double width, double height,
              std::string_view title = {});
    void Text(std::string_view style, double x, double y, std::string_view words,
              std::string_view title = {});
    void Path(std::string_view style, std::string_view way, std::string_view title = {});
    /// A shape that was defined before.
    void Use(std::string_view shape, double x, double y, std::string_view title = {});
    /// As it is.
    void Raw(std::string_view text) { text_ += text; }

    const std::string& Get() const { return text_; }

private:
    void Close(std::string_view name, std::string_view title);

    std::string text_;
};

/// As short as it stays exact enough for a picture.
std::string Coordinate(double value);

}  // namespace GrpCtl::Timeline
