#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace GrpOwnerLinux {

/// Finds what somebody who mistyped a name meant: a known name that a few typing mistakes lie
/// apart.
class Suggester {
public:
    explicit Suggester(std::vector<std::string_view> known);

    /// @return the nearest known name; empty when none is near
    std::string_view Nearest(std::string_view typed);

private:
    const std::vector<std::string_view> known_;
    // A file with thousands of unknown names is not a mistyped one; comparing each of them with
    // thousands of known ones would take minutes.
    size_t effortLeft_ = 10000000;
};

/// "did you mean `name`?", or nothing.
std::string DidYouMean(std::string_view name);

/// "did you mean `name`? Use one of: ...", the first half only when there is a near one.
std::string UseOneOf(std::string_view typed, const std::vector<std::string_view>& known);

}  // namespace GrpOwnerLinux
