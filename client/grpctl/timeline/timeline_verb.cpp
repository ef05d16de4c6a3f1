// The verb `timeline`: the picture of what a group has done.

#include <unistd.h>

#include <chrono>

#include "client/grpctl/failure.h"
#include "client/grpctl/screen.h"
#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/chrome.h"
#include "client/grpctl/timeline/picture.h"
#include "client/grpctl/timeline/story.h"
#include "client/grpctl/trace_reader.h"
#include "client/grpctl/verb_runs.h"

namespace GrpCtl {

namespace {

using std::chrono::nanoseconds;
using Timeline::Story;

void RefuseTerminal(const Options& options) {
    if (isatty(STDOUT_FILENO) == 1) {
        throw Failure{kWrongUsage, "a picture is nothing for a terminal", "",
                      options.isForChrome
                          ? "write it to a file: grpctl timeline --format chrome > boot.json"
                          : "write it to a file: grpctl timeline > boot.svg"};
    }
}

// The part that was asked for, reckoned from the beginning.
void Clip(Story& story, const Options& options) {
    const int64_t begin = story.begin;
    if (options.from) {
        story.begin = begin + nanoseconds(*options.from).count();
    }
    if (options.until) {
        story.end = std::min(story.end, begin + nanoseconds(*options.until).count());
    }
    if (story.begin >= story.end) {
        throw Failure{kWrongUsage, "nothing lies between these times", "",
                      "--from and --until count from the first step of the trace"};
    }
}

}  // namespace

int RunTimeline(const Options& options) {
    RefuseTerminal(options);
    Story story = Timeline::Tell(ReadTrace(options));
    if (story.rows.empty()) {
        throw Failure{kFailed, "there is nothing to draw: the trace tells of no application", "",
                      ""};
    }
    Clip(story, options);
    if (options.isForChrome) {
        PutJsonLine(Timeline::ToChrome(story));
    } else {
        Put(Timeline::Draw(story, Timeline::ChainOfBoot(story)));
    }
    return kDone;
}

}  // namespace GrpCtl
