#pragma once

#include <string>
#include <vector>

#include "client/grpctl/text/screen.h"

namespace GrpCtl {

struct Cell {
    Cell(std::string cellText, Style cellStyle = Style::kPlain)  // NOLINT: meant to convert
        : text(std::move(cellText)), style(cellStyle) {}
    Cell(const char* cellText) : text(cellText) {}  // NOLINT: meant to convert

    std::string text;
    Style style = Style::kPlain;
};

using Row = std::vector<Cell>;

/// Rows below each other, columns as wide as what stands in them, no blanks at a line's end.
/// @param isColored whether the styles become visible
std::string LayOut(const std::vector<Row>& rows, bool isColored, const std::string& indent = {});

}  // namespace GrpCtl
