// The progress of a change, painted in place.

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>

#include "client/grpctl/progress/live_area.h"
#include "client/grpctl/progress/progress_sink.h"
#include "client/grpctl/text/screen.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// What ends sooner is shown by its report alone: no flicker.
constexpr milliseconds kFirst{80};
constexpr milliseconds kLeast{50};  // between two frames
constexpr milliseconds kTurn{100};  // the marks turn and the times go on

// Stopped by Ctrl-C's neighbour and gone on since: the shell has written meanwhile.
volatile std::sig_atomic_t hasGoneOn = 0;

void NoteGoneOn(int /*signal*/) {
    hasGoneOn = 1;
}

WindowSize SizeOfWindow() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    constexpr size_t kLeastColumns = 10;
    return {std::max<size_t>(size.ws_col, kLeastColumns), size.ws_row};
}

// In the background a painter would write over what the shell shows.
bool IsInForeground() {
    const pid_t foreground = tcgetpgrp(STDERR_FILENO);
    return foreground < 0 || foreground == getpgrp();  // unknown: not the controlling terminal
}

void Write(const std::string& bytes) {
    for (size_t begin = 0; begin < bytes.size();) {
        const ssize_t written = write(STDERR_FILENO, bytes.data() + begin, bytes.size() - begin);
        if (written < 0 && errno != EINTR) {
            return;  // a terminal that is gone needs no picture
        }
        begin += static_cast<size_t>(std::max<ssize_t>(written, 0));
    }
}

class TerminalSink : public ProgressSink {
public:
    TerminalSink(const Headline& headline, Color color, bool isKept)
        : headline_(headline),
          screen_(Screen::Of(STDERR_FILENO, color)),
          isKept_(isKept),
          begun_(Clock::now()),
          begunNs_(MonotonicNow()),
          next_(begun_ + kFirst) {
        struct sigaction action {};
        action.sa_handler = NoteGoneOn;
        action.sa_flags = SA_RESTART;
        (void)sigaction(SIGCONT, &action, nullptr);  // fails for wrong arguments only
    }

    milliseconds Update(ProgressModel& model) override {
        const bool hasChanged =
            !model.TakeChangedTasks().empty() || !model.TakeChangedRemarks().empty();
        const auto now = Clock::now();
        if (now >= next_ || (hasChanged && !area_.IsEmpty() && now >= painted_ + kLeast)) {
            Paint(model);
            painted_ = now;
            next_ = now + kTurn;
            isDue_ = false;
        } else if (hasChanged && !area_.IsEmpty() && !isDue_) {
            next_ = painted_ + kLeast;
            isDue_ = true;
        }
        return std::max(std::chrono::duration_cast<milliseconds>(next_ - Clock::now()),
                        milliseconds(1));
    }

    void End(ProgressModel& model) override {
        if (isKept_ && model.HasBegun()) {
            Paint(model);
        } else {
            Write(area_.Erase());
        }
    }

    // Of a request that was refused there is nothing to see. Else the lines stay, and the echo of
    // Ctrl-C below them goes: a message will stand there.
    void Abandon(ProgressModel& model) override {
        if (!model.HasBegun()) {
            Write(area_.Erase());
        } else if (!area_.IsEmpty()) {
            Write("\r\033[K");
        }
    }

private:
    void Paint(ProgressModel& model) {
        if (!IsInForeground()) {
            area_.Forget();
            return;
        }
        if (hasGoneOn != 0) {
            hasGoneOn = 0;
            area_.Forget();
        }
        const WindowSize size = SizeOfWindow();
        const int64_t now = MonotonicNow();
        const Moment moment{now, model.Begun() != 0 ? model.Begun() : begunNs_,
                            static_cast<size_t>((now - begunNs_) / 100'000'000)};
        Write(area_.Show(FrameOf(model, headline_, moment, screen_, size), size));
    }

    const Headline headline_;
    const Screen screen_;
    const bool isKept_;
    const Clock::time_point begun_;
    const int64_t begunNs_;
    Clock::time_point next_;
    Clock::time_point painted_;
    bool isDue_ = false;
    LiveArea area_;
};

}  // namespace

std::unique_ptr<ProgressSink> MakeTerminalSink(const Headline& headline, Color color, bool isKept) {
    return std::make_unique<TerminalSink>(headline, color, isKept);
}

}  // namespace GrpCtl
