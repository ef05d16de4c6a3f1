// The progress of a change: what the owner's steps make of its applications, and how windows of
// any size show that.
#include <gtest/gtest.h>

#include <algorithm>

#include "client/grpctl/progress/progress_frame.h"
#include "client/grpctl/progress/progress_words.h"

namespace GrpCtl {

using ProcMgr::OptionType;
using ProcMgr::TraceRequest;

constexpr int kOwnPid = 77;
constexpr int64_t kMs = 1'000'000;

/// Takes the lines of a trace as the owner writes them.
class Story {
public:
    explicit Story(std::vector<Task> tasks, TraceRequest request = TraceRequest::CHANGE)
        : model(request, std::move(tasks), kOwnPid) {}

    /// @param members besides sequence, time and cause
    Story& Step(int ms, const std::string& kind, const std::string& members, uint64_t cause = 0) {
        const auto item = ReadTraceLine(
            R"({"seq":)" + std::to_string(++sequence_) + R"(,"time":)" + std::to_string(ms * kMs) +
            R"(,"kind":")" + kind + R"(","cause":)" + std::to_string(cause) + "," + members + "}");
        if (item && std::holds_alternative<TraceStep>(*item)) {
            model.Take(std::get<TraceStep>(*item));
        } else {
            ADD_FAILURE() << kind << ": " << members << item.GetError().message;
        }
        return *this;
    }
    Story& Request(int ms, const std::string& request = "change", int pid = kOwnPid) {
        Step(ms, "request",
             R"("request":")" + request + R"(","uid":0,"pid":)" + std::to_string(pid));
        request_ = sequence_;
        return *this;
    }
    Story& Phase(int ms, const std::string& phase) {
        return Step(ms, "phase", R"("phase":")" + phase + R"(","count":1,"wait_ms":500)");
    }
    Story& Release(int ms, const std::string& phase, const std::string& name) {
        return Step(ms, "released", R"("phase":")" + phase + R"(","application":")" + name + '"');
    }
    Story& Report(int ms, const std::string& name, int pid) {
        return Step(ms, "report",
                    R"("report":"RUNNING_NORMAL_START","reason":0,"application":")" + name +
                        R"(","pid":)" + std::to_string(pid));
    }
    Story& Move(int ms, const std::string& name, const std::string& from, const std::string& to) {
        return Step(ms, "transition",
                    R"("from":")" + from + R"(","to":")" + to + R"(","application":")" + name +
                        R"(","pid":9)");
    }
    Story& Result(int ms, const std::string& phase, const std::string& name,
                  const std::string& result, int lateMs = 0) {
        return Step(ms, "result",
                    R"("phase":")" + phase + R"(","application":")" + name + R"(","result":")" +
                        result + R"(","late_ms":)" + std::to_string(lateMs));
    }
    Story& End(int ms) {
        return Step(ms, "request_end", R"("request":"change","success":false)", request_);
    }

    /// Each task's name, word and note.
    std::string Told() const {
        std::string text;
        for (const TaskProgress& task : model.Tasks()) {
            const std::string note = NoteOf(model, task);
            text += (text.empty() ? "" : "; ") + task.task.name + " " + WordOf(task) +
                    (note.empty() ? "" : ", " + note);
        }
        return text;
    }

    ProgressModel model;

private:
    uint64_t sequence_ = 0;
    uint64_t request_ = 0;
};

Task Make(const std::string& name, OptionType option, Names needs = {}, bool saysReady = false) {
    return {name, option, std::move(needs), saysReady, 5};
}

TEST(ProgressModel, FollowsAChangeThroughItsPhases) {
    Story story({Make("old", OptionType::TERM), Make("low", OptionType::START, {}, true),
                 Make("top", OptionType::START, {"low"}), Make("it", OptionType::RESTART)});
    // Steps of somebody else's request before ours are not ours.
    story.Request(0, "change", 1).Phase(0, "start").Release(1, "start", "low");
    EXPECT_FALSE(story.model.HasBegun());
    story.Request(2).Phase(3, "term").Release(3, "term", "old");
    EXPECT_EQ(story.Told(),
              "old stopping; low waiting, for the stops; top waiting, for the stops; "
              "it waiting, for the stops");
    story.Result(5, "term", "old", "SUCCESS").Phase(6, "start").Release(6, "start", "low");
    story.Report(7, "low", 40);
    EXPECT_EQ(story.Told(),
              "old stopped; low starting, waiting for READY=1; top waiting, for low; "
              "it waiting, for the starts");
    // Its policy starts it again while the change waits; another application crashes meanwhile.
    story.Move(8, "low", "STARTING", "RESTARTING").Move(9, "other", "RUNNING", "TERMINATED");
    EXPECT_EQ(NoteOf(story.model, story.model.Tasks()[1]), "once more, waiting for READY=1");
    ASSERT_EQ(story.model.Remarks().size(), 1U);
    EXPECT_EQ(WordOf(story.model.Remarks()[0]), "ended");
    story.Result(20, "start", "low", "SUCCESS").Release(20, "start", "top");
    story.Step(500, "time_out", R"("phase":"start","wait_ms":500)");
    story.Move(900, "top", "STARTING", "RUNNING").Result(900, "start", "top", "SUCCESS", 400);
    story.End(901);
    EXPECT_EQ(story.Told(),
              "old stopped; low running; top running, 400ms after the time-out; "
              "it skipped, the owner did not come to it");
    EXPECT_EQ(story.model.Done(), 3U);
    EXPECT_EQ(story.model.Failed(), 1U);
    EXPECT_TRUE(story.model.HasEnded());
    EXPECT_EQ(story.model.Remarks().size(), 1U) << "a late result is no remark";
    EXPECT_EQ(TimeOf(story.model.Tasks()[1], 0), std::chrono::milliseconds(14));
    EXPECT_EQ(TimeOf(story.model.Tasks()[3], 0), std::nullopt);
}

TEST(ProgressModel, ALaterPassOfAStopOfEverythingTriesAgain) {
    Story story({Make("deaf", OptionType::TERM)}, TraceRequest::STOP_ALL);
    story.Request(0).Request(1, "stop-all").Phase(1, "term").Release(1, "term", "deaf");
    story.Result(2, "term", "deaf", "TERM_FAILED");
    EXPECT_EQ(story.Told() + std::to_string(story.model.Failed()), "deaf failed, did not stop1");
    story.Phase(1000, "term").Release(1000, "term", "deaf");
    EXPECT_EQ(story.Told() + std::to_string(story.model.Failed()), "deaf stopping0");
    story.Result(1100, "term", "deaf", "SUCCESS");
    EXPECT_EQ(TimeOf(story.model.Tasks()[0], 0), std::chrono::milliseconds(100));
}

TEST(ProgressFrame, ShowsWhatMattersInAWindowOfAnySize) {
    std::vector<Task> tasks;
    tasks.reserve(1000);
    for (int index = 0; index < 1000; ++index) {
        tasks.push_back(Make("app" + std::to_string(index), OptionType::START, {}, true));
    }
    Story story(std::move(tasks));
    story.Request(0).Phase(0, "start");
    for (int index = 0; index < 990; ++index) {
        const std::string name = "app" + std::to_string(index);
        story.Release(1, "start", name).Report(2, name, 1000 + index);
        if (index != 500) {
            story.Result(3, "start", name, index == 700 ? "START_FAILED" : "SUCCESS");
        }
    }
    story.Move(4, "stranger\\u001b[2J", "RUNNING", "RESTARTING");
    const auto show = [&](WindowSize size) {
        const Moment moment{1234 * kMs, 0, 0};
        const auto lines = FrameOf(story.model, {"Starting", "Started", false}, moment, {}, size);
        EXPECT_LT(lines.size(), size.rows);
        std::string text;
        for (const std::string& line : lines) {
            EXPECT_LT(line.size(), size.columns) << line;
            text += line + "\n";
        }
        return text;
    };
    EXPECT_EQ(show({40, 9}),
              "[!] Starting 988/1000, 1 failed    1.2s\n"
              " [- ] app500       starting fo...  1.2s\n"
              " [!!] app700       failed   did...  2ms\n"
              " [..] app990       waiting\n"
              " [..] app991       waiting\n"
              " [..] app992       waiting\n"
              " ... 995 more: 7 waiting, 988 done\n"
              " [ !] stranger?[2J restarting not of...\n");
    EXPECT_EQ(show({12, 3}), "[!...  1.2s\n ... 100...\n");
    EXPECT_EQ(show({12, 2}), "[!...  1.2s\n");
}

}  // namespace GrpCtl
