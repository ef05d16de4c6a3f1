#pragma once
// The lines at the end of a terminal's output that are painted over in place.

#include <cstddef>
#include <string>
#include <vector>

namespace GrpCtl {

struct WindowSize {
    size_t columns = 80;
    size_t rows = 24;
};

/// Makes the bytes that bring the terminal from what it shows to what it is to show. Between two
/// frames the cursor is visible and stands below the lines: whatever ends the process leaves a
/// terminal in order.
class LiveArea {
public:
    /// @param lines no longer than a line of the window, no more than it has
    /// @return empty when nothing is to be changed
    std::string Show(const std::vector<std::string>& lines, WindowSize size);

    /// Takes the lines away.
    std::string Erase();

    /// Somebody else has written below: what stands there stays, and the next lines come under it.
    void Forget() { shown_.clear(); }

    bool IsEmpty() const { return shown_.empty(); }

private:
    std::string ToTop() const;

    std::vector<std::string> shown_;
    WindowSize size_;
};

}  // namespace GrpCtl
