#pragma once
// A change on its way, as the lines of a terminal's window.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "client/grpctl/progress/live_area.h"
#include "client/grpctl/progress/progress_model.h"
#include "client/grpctl/text/screen.h"

namespace GrpCtl {

/// What is told of a change besides its applications.
struct Headline {
    std::string doing;  // "Starting"
    std::string did;    // "Started", once it has ended
    bool isStopAll = false;
};

/// One moment of it.
struct Moment {
    int64_t now = 0;  // nanoseconds on the monotonic clock
    int64_t begun = 0;
    size_t turn = 0;  // of the marks that move
};

/// The counts on top, then a line for each application, in their order. Those that a small window
/// has no room for are counted: failed ones and those on their way come first, then waiting ones.
std::vector<std::string> FrameOf(const ProgressModel& model, const Headline& headline,
                                 const Moment& moment, const Screen& screen, WindowSize size);

}  // namespace GrpCtl
