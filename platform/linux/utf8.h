#pragma once
// Characters of a text that comes from outside and may hold anything.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace GrpOwnerLinux {

/// The first character of a non-empty `text`.
/// @param value its number
/// @return its bytes; 0 when it is not valid UTF-8
size_t DecodeCharacter(std::string_view text, uint32_t& value);

/// Whether a character of that number steers a terminal or ends a line.
bool IsControl(uint32_t value);

/// How many characters; a byte that belongs to none counts as one.
uint32_t CountCharacters(std::string_view text);

/// Fit for a terminal, character by character: what would not print is a question mark, a tab
/// stays.
std::string PrintableLine(std::string_view text);

/// As a message names it: cut when long, what would not print as an escape.
std::string Escaped(std::string_view text);

/// The same in backticks.
std::string Quote(std::string_view text);

}  // namespace GrpOwnerLinux
