// `timeline diff`: for people who look for what a change has cost, and for scripts that refuse it.

#include <unistd.h>

#include <chrono>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/timeline/diff.h"
#include "client/grpctl/timeline/diff_output.h"
#include "client/grpctl/timeline/diff_verb.h"
#include "client/grpctl/timeline/read_story.h"
#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

namespace {

Story TellFile(const Options& options, size_t operand) {
    Options one = options;
    one.traceFile = operand < options.operands.size() ? options.operands[operand] : "";
    return ReadStory(one);
}

}  // namespace

int RunDiff(const Options& options) {
    if (options.operands.size() < 2) {
        throw Failure{kWrongUsage, "`timeline diff` needs a trace to compare with", "",
                      "grpctl timeline diff BEFORE.trace [AFTER.trace]"};
    }
    Noise noise;
    if (options.threshold) {
        noise = {std::chrono::nanoseconds(*options.threshold).count(), 0};
    }
    const Story before = TellFile(options, 1);
    const Comparison comparison = Compare(before, TellFile(options, 2), noise);
    if (options.format == Format::kJson) {
        PutJson(JsonOf(comparison));
    } else {
        Put(TextOf(comparison, noise, Screen::Of(STDOUT_FILENO, options.color)));
    }
    return comparison.IsWorse() ? kFailed : kDone;
}

}  // namespace GrpCtl::Timeline
