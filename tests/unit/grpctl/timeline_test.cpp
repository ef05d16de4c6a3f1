// What pictures, chains and comparisons make of a trace: a diamond boots, one of it crashes and
// comes back, and an hour later all stops.

#include <gtest/gtest.h>

#include <cstdio>

#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/chrome.h"
#include "client/grpctl/timeline/diff.h"
#include "client/grpctl/timeline/picture.h"
#include "client/grpctl/timeline/picture_style.h"
#include "client/grpctl/timeline/story.h"
#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {
namespace {

using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceKind;
using ProcMgr::Message::ReportAppStateType;

constexpr int64_t kHour = 3600 * 1000;

/// Writes steps as an owner does; times are in milliseconds.
struct Writer {
    Trace trace;

    TraceStep& Add(int64_t when, TraceKind kind, const std::string& name, uint64_t cause) {
        TraceStep step;
        step.sequence = trace.steps.size() + 1;
        step.time = Milliseconds(1000 + when);
        step.kind = kind;
        step.application = name;
        step.cause = cause;
        trace.steps.push_back(step);
        return trace.steps.back();
    }
    uint64_t Request(int64_t when, ProcMgr::TraceRequest what, OptionType phase, uint32_t count) {
        Add(when, TraceKind::REQUEST, "", 0).request = what;
        TraceStep& step = Add(when, TraceKind::PHASE, "", trace.steps.size());
        step.operation = phase;
        step.count = count;
        return step.sequence;
    }
    uint64_t Transition(int64_t when, const std::string& name, uint64_t cause, AppStateType from,
                        AppStateType to, int pid = 0) {
        TraceStep& step = Add(when, TraceKind::TRANSITION, name, cause);
        step.from = from;
        step.to = to;
        step.pid = pid;
        return step.sequence;
    }
    uint64_t Report(int64_t when, const std::string& name, uint64_t cause, ReportAppStateType what,
                    int pid, uint32_t reason = 0) {
        TraceStep& step = Add(when, TraceKind::REPORT, name, cause);
        step.report = what;
        step.pid = pid;
        step.reason = reason;
        return step.sequence;
    }
    /// Answers its result.
    uint64_t Move(OptionType what, const std::string& name, int64_t begin, int64_t end,
                  uint64_t cause, int pid) {
        const bool isUp = what == OptionType::START;
        const AppStateType under = isUp ? AppStateType::STARTING : AppStateType::TERMINATING;
        const AppStateType goal = isUp ? AppStateType::RUNNING : AppStateType::TERMINATED;
        TraceStep& release = Add(begin, TraceKind::RELEASED, name, cause);
        release.operation = what;
        const uint64_t released = release.sequence;
        Transition(begin, name, released, isUp ? AppStateType::INITSTATE : AppStateType::RUNNING,
                   under, isUp ? 0 : pid);
        TraceStep& sent = Add(begin, TraceKind::SENT, name, released);
        sent.operation = what;
        const uint64_t report = Report(end, name, sent.sequence,
                                       isUp ? ReportAppStateType::RUNNING_NORMAL_START
                                            : ReportAppStateType::TERMINATED_NORMAL_EXIT,
                                       pid);
        Transition(end, name, report, under, goal, pid);
        TraceStep& result = Add(end, TraceKind::RESULT, name, report);
        result.operation = what;
        return result.sequence;
    }
    void CrashAndRestart(const std::string& name, int64_t when, int64_t end, int pid) {
        const uint64_t report =
            Report(when, name, 0, ReportAppStateType::TERMINATED_ABNORMAL_EXIT, pid, 512 + 11);
        Transition(when, name, report, AppStateType::RUNNING, AppStateType::TERMINATED, pid);
        TraceStep& limiter = Add(when, TraceKind::LIMITER, name, report);
        limiter.isGood = true;
        const uint64_t allowed = limiter.sequence;
        Transition(when, name, allowed, AppStateType::TERMINATED, AppStateType::RESTARTING, pid);
        TraceStep& sent = Add(when, TraceKind::SENT, name, allowed);
        sent.operation = OptionType::RESTART;
        const uint64_t again =
            Report(end, name, sent.sequence, ReportAppStateType::RUNNING_NORMAL_RESTART, pid + 100);
        Transition(end, name, again, AppStateType::RESTARTING, AppStateType::RUNNING, pid + 100);
    }
};

/// @param cameraTook, lidarTook how long those started; 0: lidar is not there
Trace Diamond(int64_t cameraTook = 300, int64_t lidarTook = 100) {
    Writer writer;
    const uint64_t boot = writer.Request(0, ProcMgr::TraceRequest::BOOT, OptionType::START, 4);
    const uint64_t logger = writer.Move(OptionType::START, "logger", 0, 40, boot, 11);
    uint64_t last = 0;
    const bool isLidarLast = lidarTook > cameraTook;
    for (const bool isLidar : {!isLidarLast, isLidarLast}) {
        const int64_t took = isLidar ? lidarTook : cameraTook;
        if (took > 0) {
            last = writer.Move(OptionType::START, isLidar ? "lidar" : "camera", 40, 40 + took,
                               logger, isLidar ? 13 : 12);
        }
    }
    const int64_t both = 40 + std::max(cameraTook, lidarTook);
    writer.Move(OptionType::START, "fusion", both, both + 60, last, 14);
    writer.CrashAndRestart("camera", both + 500, both + 550, 12);
    const uint64_t stop =
        writer.Request(kHour, ProcMgr::TraceRequest::STOP_ALL, OptionType::TERM, 2);
    const uint64_t fusion = writer.Move(OptionType::TERM, "fusion", kHour, kHour + 20, stop, 14);
    writer.Move(OptionType::TERM, "camera", kHour + 20, kHour + 50, fusion, 112);
    return writer.trace;
}

std::string Show(const Story& story, const Row& row) {
    const auto at = [&](int64_t when) { return std::to_string((when - story.begin) / 1000000); };
    std::string text = row.name;
    for (const Span& span : row.spans) {
        text += " " + std::string(StyleOf(span.stage)) + " " + at(span.begin) + "-" +
                (span.isOpen ? "" : at(span.end));
    }
    for (const Mark& mark : row.marks) {
        text += " (" + mark.words + " " + at(mark.when) + ")";
    }
    return text;
}

std::string Names(const Story& story, const Chain& chain) {
    std::string names;
    for (const Link& link : chain) {
        names += (names.empty()  ? ""
                  : link.isCause ? " < "
                                 : " ~ ") +
                 story.rows[story.moves[link.move].row].name;
    }
    return names;
}

TEST(Timeline, TellsWhoWasWhereWhen) {
    const Story story = Tell(Diamond());
    const char* const rows[] = {
        "logger starting 0-40 running 40-",
        "lidar waiting 0-40 starting 40-140 running 140-",
        ("camera waiting 0-40 starting 40-340 running 340-840 restarting 840-890 "
         "running 890-3600020 stopping 3600020-3600050 (crashed: SIGSEGV 840)"),
        "fusion waiting 0-340 starting 340-400 running 400-3600000 stopping 3600000-3600020",
    };
    ASSERT_EQ(story.rows.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(Show(story, story.rows[i]), rows[i]);
    }
}

// The ring has lost the boot: who was up then is known by what happened later, or by the snapshot.
TEST(Timeline, BeginsInTheMiddle) {
    Trace trace = Diamond();
    while (trace.steps.front().kind != TraceKind::REPORT ||
           trace.steps.front().report != ReportAppStateType::TERMINATED_ABNORMAL_EXIT) {
        trace.steps.pop_front();
    }
    TraceState lidar;
    lidar.application = "lidar";
    lidar.state = AppStateType::RUNNING;
    trace.states.push_back(lidar);
    const Story story = Tell(trace);
    EXPECT_EQ(Show(story, story.rows[*story.FindRow("lidar")]), "lidar running 0-");
    EXPECT_EQ(Show(story, story.rows[*story.FindRow("fusion")]).substr(0, 17), "fusion running 0-");
    EXPECT_TRUE(ChainOfBoot(story).empty());
}

TEST(Timeline, FollowsWhatWasWaitedFor) {
    const Story story = Tell(Diamond());
    EXPECT_EQ(Names(story, ChainOfBoot(story)), "fusion < camera < logger");
    EXPECT_EQ(Names(story, ChainOf(story, *story.FindRow("lidar"))), "lidar < logger");
    const Story other = Tell(Diamond(100, 300));
    EXPECT_EQ(Names(other, ChainOfBoot(other)), "fusion < lidar < logger");

    // Asked for alone, a start waits for nobody; who ran already only the configuration knows.
    Writer writer{Diamond()};
    const uint64_t change =
        writer.Request(2 * kHour, ProcMgr::TraceRequest::CHANGE, OptionType::START, 1);
    writer.Move(OptionType::START, "planner", 2 * kHour, 2 * kHour + 5, change, 15);
    const Story later = Tell(writer.trace);
    const size_t planner = *later.FindRow("planner");
    EXPECT_EQ(Names(later, ChainOf(later, planner)), "planner");
    EXPECT_EQ(Names(later, ChainOf(later, planner, {{"planner", {"lidar", "logger"}}})),
              "planner ~ lidar < logger");
    EXPECT_EQ(Names(later, ChainOfBoot(later)), "fusion < camera < logger");
}

TEST(Timeline, ComparesBoots) {
    const struct {
        int64_t camera, lidar;
        const char* changes;
        bool isWorse;
    } rows[] = {
        {300, 100, "", false},
        {309, 100, "", false},               // less than 10 ms
        {325, 100, "", false},               // less than 10 %
        {400, 100, "camera2! ", true},       // slower and critical
        {200, 100, "camera3! ", false},      // faster
        {300, 290, "lidar2 ", true},         // slower, but nobody waits for it
        {310, 900, "lidar2! ", true},        // which is the critical one now
        {330, 0, "lidar1 camera2! ", true},  // missing comes first
    };
    const Story before = Tell(Diamond());
    for (const auto& row : rows) {
        const Comparison comparison =
            Compare(before, Tell(Diamond(row.camera, row.lidar)), Noise());
        std::string changes;
        for (const Change& change : comparison.changes) {
            changes += change.name + std::to_string(static_cast<int>(change.verdict)) +
                       (change.isCritical ? "! " : " ");
        }
        EXPECT_EQ(changes, row.changes) << row.camera << " " << row.lidar;
        EXPECT_EQ(comparison.IsWorse(), row.isWorse) << row.camera << " " << row.lidar;
    }
}

/// What a parser that is not ours says to it; -1: there is none.
int Ask(const char* script, const std::string& text) {
    FILE* const parser = popen((std::string("python3 -c '") + script + "'").c_str(), "w");
    (void)std::fwrite(text.data(), 1, text.size(), parser);  // a short text is refused as well
    return pclose(parser);
}

// A thousand applications with a name that hurts, each with its crash, stay one readable file.
TEST(Timeline, DrawsWhatParsersRead) {
    constexpr char kXml[] = R"(
import sys, xml.etree.ElementTree as tree
root = tree.fromstring(sys.stdin.buffer.read())
for node in root.iter("{http://www.w3.org/2000/svg}rect"):
    x, width = float(node.get("x", 0)), float(node.get("width"))
    assert 0 <= x and x + width <= 1000.1, (x, width)
text = "".join(root.itertext())
assert all(word in text for word in ["crash", "critical chain", "SIGSEGV"]), text
)";
    constexpr char kJson[] = R"(
import sys, json, collections
events = json.load(sys.stdin)["traceEvents"]
flows = collections.Counter(e["id"] + e["ph"] for e in events if e["ph"] in "sf")
assert flows and all(flows[i[:-1] + "s"] == flows[i[:-1] + "f"] == 1 for i in flows)
assert all(e["dur"] >= 0 and e["ts"] >= 0 for e in events if e["ph"] == "X")
assert any(e["ph"] == "i" and "SIGSEGV" in e["name"] for e in events)
)";
    Writer writer{Diamond()};
    const uint64_t change =
        writer.Request(2 * kHour, ProcMgr::TraceRequest::CHANGE, OptionType::START, 1000);
    for (int i = 0; i < 1000; ++i) {
        const std::string name = "<&\"\x01\xff\xef\xbf\xbf" + std::to_string(i);
        const int64_t begin = 2 * kHour + i;
        writer.Move(OptionType::START, name, begin, begin + 30, change, 1000 + i);
        writer.CrashAndRestart(name, 2 * kHour + 2000 + i, 2 * kHour + 2040 + i, 1000 + i);
    }
    for (const Trace& trace : {Diamond(), writer.trace}) {
        const Story story = Tell(trace);
        const std::string picture = Draw(story, ChainOfBoot(story));
        EXPECT_LT(picture.size(), 1000000U);
        EXPECT_EQ(Ask(kXml, picture), 0);
        EXPECT_EQ(Ask(kJson, ToChrome(story).dump(-1, ' ', false, Json::error_handler_t::replace)),
                  0);
    }
}

}  // namespace
}  // namespace GrpCtl::Timeline
