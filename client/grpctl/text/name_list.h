#pragma once
// Lists of names that may be long.

#include <string>
#include <vector>

namespace GrpCtl {

/// One line of about that many characters: "a, b, c", or "a, b and 998 more". Never less than one
/// name.
std::string Abridged(const std::vector<std::string>& names, size_t width,
                     const std::string& separator = ", ");

/// Lines of about that many characters; what does not fit into the most lines is counted. 0: all
/// lines that it takes.
std::vector<std::string> Wrapped(const std::vector<std::string>& names, size_t width,
                                 size_t mostLines);

}  // namespace GrpCtl
