#pragma once

#include <string>
#include <vector>

namespace GrpCtl {

/// What a shell asks while a line is typed: writes the words that may stand in the last one's
/// place, one a line, with a tab and a summary behind those that have one. A single line ":files"
/// leaves the choice to the shell. Says nothing of what goes wrong.
/// @param words of the line behind the program's name; the last is being typed and may be empty
void Complete(const std::vector<std::string>& words);

}  // namespace GrpCtl
