#include "client/grpctl/timeline/read_story.h"

#include <string>

#include "client/grpctl/text/screen.h"
#include "client/grpctl/trace/trace_reader.h"

namespace GrpCtl::Timeline {

Story ReadStory(const Options& options) {
    const Trace trace = ReadTrace(options);
    if (trace.missed > 0) {
        Say(options, "warning: " + std::to_string(trace.missed) +
                         " steps are missing; `grpownerd --trace NUMBER` keeps more");
    }
    if (trace.unreadable > 0) {
        Say(options, "warning: " + std::to_string(trace.unreadable) +
                         " lines cannot be read; the first: " + trace.firstUnreadable);
    }
    return Tell(trace);
}

}  // namespace GrpCtl::Timeline
