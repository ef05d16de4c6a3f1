// The verb `timeline`: the picture of what a group has done.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/chrome.h"
#include "client/grpctl/timeline/diff_verb.h"
#include "client/grpctl/timeline/picture.h"
#include "client/grpctl/timeline/read_story.h"
#include "client/grpctl/timeline/story.h"
#include "client/grpctl/timeline/trace_copy.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using std::chrono::nanoseconds;
using Timeline::Story;

void RefuseTerminal(const Options& options) {
    if (isatty(STDOUT_FILENO) == 1) {
        const bool isPicture = options.timelineFormat == "svg";
        throw Failure{kWrongUsage, "this is nothing to read on a terminal", "",
                      "write it to a file: grpctl timeline " +
                          (isPicture ? "> boot.svg"
                                     : "--format " + options.timelineFormat + " > boot." +
                                           (options.timelineFormat == "trace" ? "trace" : "json"))};
    }
}

// The part that was asked for, reckoned from the beginning.
void Clip(Story& story, const Options& options) {
    if (options.from) {
        story.begin = story.origin + nanoseconds(*options.from).count();
    }
    if (options.until) {
        story.end = std::min(story.end, story.origin + nanoseconds(*options.until).count());
    }
    if (story.begin >= story.end) {
        throw Failure{kWrongUsage, "nothing lies between these times", "",
                      "--from and --until count from the first step of the trace"};
    }
}

// A picture without the boot has nothing to do with its chain.
Timeline::Chain VisibleChain(const Story& story) {
    Timeline::Chain chain = Timeline::ChainOfBoot(story);
    const bool isVisible = !chain.empty() && Timeline::BootBegin(story) <= story.end &&
                           story.moves[chain.front().move].done >= story.begin;
    return isVisible ? chain : Timeline::Chain();
}

}  // namespace

int RunTimeline(const Options& options) {
    if (!options.operands.empty()) {
        if (options.operands.front() != "diff") {
            throw Failure{
                kWrongUsage,
                GrpOwnerLinux::Quote(options.operands.front()) + " is no part of `timeline`", "",
                "it draws the whole group, or compares: timeline diff BEFORE [AFTER]"};
        }
        return Timeline::RunDiff(options);
    }
    RefuseTerminal(options);
    if (options.timelineFormat == "trace") {
        Timeline::CopyTrace(options);
        return kDone;
    }
    Story story = Timeline::ReadStory(options);
    if (story.rows.empty()) {
        throw Failure{kFailed, "there is nothing to draw: the trace tells of no application", "",
                      ""};
    }
    Clip(story, options);
    if (options.timelineFormat == "chrome") {
        PutJsonLine(Timeline::ToChrome(story));
    } else {
        Put(Timeline::Draw(story, VisibleChain(story)));
    }
    return kDone;
}

}  // namespace GrpCtl
