// From lines of a trace, friendly and hostile, to what people read.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "client/grpctl/trace/limits.h"
#include "client/grpctl/trace/watch_lines.h"
#include "client/grpctl/trace/why.h"

namespace GrpCtl {
namespace {

constexpr char kHello[] =
    R"({"kind":"hello","schema":1,"owner":"own","pid":7,"first":1,"next":1,"time":100000000000,"utc":100000000000,"states":0})";

std::string Step(int sequence, int milliseconds, const std::string& rest) {
    return "{\"seq\":" + std::to_string(sequence) +
           ",\"time\":" + std::to_string(100000000000 + int64_t{1000000} * milliseconds) + "," +
           rest + "}";
}

// What `watch` shows of each line, one behind the other.
TEST(GrpctlWatch, ShowsOneLineForEachChangeAndBelievesNone) {
    (void)setenv("TZ", "UTC", 1);
    tzset();
    const struct {
        std::string line;
        std::string shown;  // without the time of day; of an error, its words
    } rows[] = {
        {kHello, ""},
        {Step(1, 0, R"("kind":"request","request":"change","uid":0,"pid":99,"cause":0)"),
         "own      change                     by root, pid 99\n"},
        {Step(2, 1, R"("kind":"request","request":"query","uid":0,"pid":99,"cause":0)"), ""},
        {Step(3, 1, R"("kind":"phase","phase":"start","count":2,"wait_ms":500,"cause":1)"), ""},
        {Step(4, 1, R"("kind":"released","application":"camera","phase":"start","cause":3)"), ""},
        {Step(
             5, 2,
             R"("kind":"transition","application":"camera","from":"INITSTATE","to":"STARTING","pid":-1,"cause":4)"),
         "camera   not started -> starting    asked by root, pid 99\n"},
        {Step(6, 501, R"("kind":"time_out","phase":"start","wait_ms":500,"cause":3)"),
         "own      start timed out            after 500ms, still on the way: camera\n"},
        {Step(
             7, 700,
             R"("kind":"report","application":"camera","report":"RUNNING_NORMAL_START","pid":50,"reason":0,"cause":0)"),
         ""},
        {Step(
             8, 702,
             R"("kind":"transition","application":"camera","from":"STARTING","to":"RUNNING","pid":49,"cause":7)"),
         "camera   starting    -> running     pid 50, +700ms\n"},
        {Step(
             9, 702,
             R"("kind":"result","application":"camera","phase":"start","result":"SUCCESS","late_ms":1300,"cause":7)"),
         "camera   start done                 1.3s after the time-out\n"},
        {R"({"seq":3,"time":101000000000,"kind":"exited","owner":"own","application":"camera","pid":50,"signal":11,"name":"SIGSEGV","core":true,"uptime_ns":134000000000})",
         ""},
        {Step(
             10, 1000,
             R"("kind":"report","application":"camera","report":"TERMINATED_ABNORMAL_EXIT","pid":50,"reason":523,"cause":0)"),
         ""},
        {Step(
             11, 1000,
             R"("kind":"transition","application":"camera","from":"RUNNING","to":"TERMINATED","pid":50,"cause":10)"),
         "camera   running     -> terminated  SIGSEGV, core dumped, pid 50, up 2m14s\n"},
        {Step(
             12, 1001,
             R"("kind":"limiter","application":"camera","allowed":true,"restarts":1,"window_ms":0,"cause":10)"),
         ""},
        {Step(
             13, 1001,
             R"("kind":"transition","application":"camera","from":"TERMINATED","to":"RESTARTING","pid":50,"cause":12)"),
         "camera   terminated  -> restarting  restart 1 of 5 in 60s (on-failure)\n"},
        {R"({"kind":"gap","missed":17,"next":31})", "-- 17 steps were missed --\n"},
        {Step(
             31, 29000,
             R"("kind":"limiter","application":"camera","allowed":false,"restarts":0,"window_ms":28000,"cause":30)"),
         "camera   not restarted              6 crashes in 28s, limit 5 in 60s\n"
         "                       start it again with: grpctl start camera\n"},
        {Step(
             32, 30000,
             R"("kind":"heartbeat","application":"e\u001b[2J","heartbeat":"lost","pid":5,"cause":0)"),
         "e?[2J    heartbeat lost             pid 5\n"},
        {Step(
             33, 30000,
             R"("kind":"report","application":"a","report":"SOMETHING","pid":5,"reason":0,"cause":99)"),
         ""},
        {R"({"kind":"tomorrow","schema":1})", ""},
        // Hostile ones.
        {"", "no JSON object"},
        {"[1,2]", "no JSON object"},
        {"{\"kind\":", "no JSON object"},
        {std::string(2000, '['), "no JSON object"},
        {R"({"kind":7})", "`kind` is no text"},
        {R"({"kind":"hello","schema":2})", "schema 2"},
        {R"({"kind":"refused","reason":"who are you?"})", "who are you?"},
        {Step(40, 0, R"("kind":"transition","application":"a","from":"RUNNING","to":"FLYING")"),
         "`to` is no word"},
        {Step(41, 0, R"("kind":"transition","from":"RUNNING","to":"RUNNING")"),
         "`application` is no text"},
        {Step(0, 0, R"("kind":"request","request":"list","uid":0)"), "`seq` is out"},
        {Step(42, 0, R"("kind":"request","request":"list","uid":-1)"), "`uid` is out"},
        {Step(43, 0, R"("kind":"request","request":"list","uid":4294967296)"), "`uid` is out"},
        {Step(44, 0, R"("kind":"request","request":"list","uid":1e3)"), "`uid` is no whole"},
        {R"({"seq":18446744073709551616,"time":1,"kind":"said"})", "`seq` is no whole"},
        {R"({"seq":1,"time":9223372036854775807,"kind":"request","request":"list","uid":0})",
         "`time` is out"},
        {Step(45, 0,
              R"("kind":"said","application":")" + std::string(300, 'x') +
                  R"(","said":"SWITCH_ON")"),
         "`application` is no name"},
    };
    WatchLines lines({{"camera", "on-failure"}}, {}, Screen());
    Chronicle chronicle;
    ProcessEnds ends;
    for (const auto& [line, shown] : rows) {
        const auto item = ReadTraceLine(line);
        std::string told;
        if (!item) {
            EXPECT_FALSE(shown.empty()) << item.GetError().message;
            EXPECT_NE(item.GetError().message.find(shown), std::string::npos)
                << item.GetError().message;
            continue;
        }
        if (const auto* const hello = std::get_if<TraceHello>(&*item)) {
            told = lines.Begin(*hello, {});
        } else if (const auto* const step = std::get_if<TraceStep>(&*item)) {
            told = lines.Of(*step, chronicle.Take(*step, ends), chronicle);
        } else if (const auto* const gap = std::get_if<TraceGap>(&*item)) {
            told = lines.Of(*gap);
        } else if (const auto* const event = std::get_if<ProcessEvent>(&*item)) {
            ends.Add(*event);
        }
        constexpr size_t kTime = sizeof("00:01:40.000  ") - 1;
        EXPECT_EQ(told.compare(0, 6, "00:01:") == 0 || told.compare(0, 6, "00:02:") == 0
                      ? told.substr(kTime)
                      : told,
                  shown)
            << line;
    }
}

// Of a file, the last start of the owner counts; causes lead from a restart over the crash to who
// had asked; a cause in the future leads nowhere; where the file begins too late, that is said.
TEST(GrpctlWatch, LeadsBackToTheCausesInAFile) {
    const std::string path = testing::TempDir() + "/trace." + std::to_string(getpid());
    std::ofstream(path)
        << kHello << '\n'
        << Step(
               900, 0,
               R"("kind":"transition","application":"old","from":"INITSTATE","to":"STARTING","pid":-1,"cause":0)")
        << '\n'
        << kHello << "\nnonsense\n"
        << Step(1, 0, R"("kind":"request","request":"boot","uid":0,"pid":7,"cause":0)") << '\n'
        << Step(
               2, 0,
               R"("kind":"result","application":"b","phase":"start","result":"SUCCESS","late_ms":0,"cause":1)")
        << '\n'
        << Step(3, 0, R"("kind":"released","application":"a","phase":"start","cause":2)") << '\n'
        << Step(
               4, 0,
               R"("kind":"transition","application":"a","from":"INITSTATE","to":"STARTING","pid":-1,"cause":3)")
        << '\n'
        << Step(
               5, 9,
               R"("kind":"transition","application":"a","from":"STARTING","to":"RUNNING","pid":50,"cause":0)")
        << '\n'
        << Step(
               6, 20,
               R"("kind":"report","application":"a","report":"TERMINATED_ABNORMAL_EXIT","pid":50,"reason":523,"cause":0)")
        << '\n'
        << Step(
               7, 20,
               R"("kind":"transition","application":"a","from":"RUNNING","to":"TERMINATED","pid":50,"cause":6)")
        << '\n'
        << Step(
               8, 20,
               R"("kind":"limiter","application":"a","allowed":true,"restarts":2,"window_ms":5,"cause":6)")
        << '\n'
        << Step(
               9, 20,
               R"("kind":"transition","application":"a","from":"TERMINATED","to":"RESTARTING","pid":50,"cause":8)")
        << '\n'
        << Step(
               20, 30,
               R"("kind":"transition","application":"c","from":"INITSTATE","to":"STARTING","pid":-1,"cause":21)")
        << '\n'
        << R"({"seq":21,"time":)";  // being written
    Options options;
    options.traceFile = path;
    const Trace trace = ReadTrace(options);
    std::filesystem::remove(path);
    EXPECT_EQ(trace.unreadable, 1u);
    EXPECT_EQ(trace.missed, 10u);
    const Explanation explanation(trace, {});
    std::string told;
    const Why why = explanation.Of("a");
    for (const WhyStep& step : why.chain) {
        told += step.text + "\n";
    }
    EXPECT_EQ(told,
              "it was started again: restart 2 of 5 in 60s\n"
              "it ended by itself: SIGSEGV, pid 50, up 11ms\n"
              "it was started, released by b\n"
              "the group was booted\n");
    EXPECT_TRUE(why.isWhole);
    EXPECT_FALSE(explanation.Of("c").isWhole);
    EXPECT_FALSE(explanation.Of("old").isKnown);
}

// By the limiter's true rules: the window does not slide, and only the attempt after the fifth
// looks at its age.
TEST(GrpctlWatch, TellsWhatTheNextFailureWillDo) {
    constexpr int64_t kSecond = 1'000'000'000;
    const struct {
        const char* policy;
        uint32_t restarts;
        int64_t age;  // seconds; -1: no window
        NextFailure next;
    } rows[] = {
        {"no", 0, -1, NextFailure::kStaysDown},
        {"on-forever", 0, -1, NextFailure::kAlwaysRestarts},
        {"", 0, -1, NextFailure::kUnknown},
        {"on-failure", 0, -1, NextFailure::kRestarts},
        {"on-failure", 4, 1, NextFailure::kRestarts},
        {"on-failure", 5, 59, NextFailure::kRefused},
        {"on-failure", 5, 60, NextFailure::kRefused},
        {"on-failure", 5, 61, NextFailure::kRestarts},
    };
    for (const auto& row : rows) {
        Trace trace;
        trace.states.emplace_back();
        trace.states.back().application = "a";
        trace.states.back().restarts = row.restarts;
        trace.states.back().windowBegin = row.age < 0 ? 0 : kSecond;
        const int64_t now = (1 + row.age) * kSecond;
        EXPECT_EQ(LimitOf("a", row.policy, trace, now).next, row.next) << row.policy << row.age;
        trace.steps.emplace_back();
        trace.steps.back().kind = ProcMgr::TraceKind::REQUEST_END;
        trace.steps.back().request = ProcMgr::TraceRequest::RELOAD;
        trace.steps.back().isGood = true;
        EXPECT_EQ(LimitOf("a", row.policy, trace, now).used, 0u) << "closed by a reload";
    }
}

}  // namespace
}  // namespace GrpCtl
