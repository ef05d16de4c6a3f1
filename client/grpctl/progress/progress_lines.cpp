// The progress of a change, a line for each step of it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "client/grpctl/progress/progress_sink.h"
#include "client/grpctl/progress/progress_words.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNeverAgain{3600'000};

void Write(const std::string& text) {
    (void)std::fwrite(text.data(), 1, text.size(), stderr);  // progress that nobody gets is no loss
}

void Pad(std::string& line, const std::string& cell, size_t width) {
    line += cell + std::string(width - std::min(width, cell.size()), ' ') + "   ";
}

class PlainSink : public ProgressSink {
public:
    PlainSink(const ProgressModel& model, std::string did, bool isKept)
        : did_(std::move(did)), isKept_(isKept), wordWidth_(WidthOfWords(model)) {
        for (const TaskProgress& task : model.Tasks()) {
            nameWidth_ = std::max(nameWidth_, task.task.name.size());
        }
    }

    milliseconds Update(ProgressModel& model) override {
        std::string text;
        for (const size_t index : model.TakeChangedTasks()) {
            const TaskProgress& task = model.Tasks()[index];
            // What was not come to, the report says.
            if (task.ended != 0 && task.stage != Stage::kSkipped && task.ended != told_[index]) {
                told_[index] = task.ended;
                text += LineOf(model, task);
            }
        }
        for (const size_t index : model.TakeChangedRemarks()) {
            const Remark& remark = model.Remarks()[index];
            text += Line(Between(model.Begun(), remark.when), remark.name, WordOf(remark),
                         remark.pid > 0 ? "pid " + std::to_string(remark.pid) : "",
                         "not of this change");
        }
        Write(text);
        return kNeverAgain;
    }

    void End(ProgressModel& model) override {
        (void)Update(model);
        if (isKept_ && model.HasBegun()) {
            Write(did_ + " " + std::to_string(model.Done()) + " of " +
                  std::to_string(model.Tasks().size()) + " in " +
                  ShowDuration(Between(model.Begun(), MonotonicNow())) + "\n");
        }
    }

private:
    std::string LineOf(const ProgressModel& model, const TaskProgress& task) const {
        const std::string note = NoteOf(model, task);
        return Line(Between(model.Begun(), task.ended), task.task.name, WordOf(task), PidsOf(task),
                    note, TimeOf(task, task.ended));
    }

    std::string Line(milliseconds when, const std::string& name, const std::string& word,
                     const std::string& pids, const std::string& note,
                     std::optional<milliseconds> took = std::nullopt) const {
        std::string line;
        Pad(line, "+" + ShowSeconds(when) + "s", 0);
        Pad(line, GrpOwnerLinux::PrintableLine(name), nameWidth_);
        Pad(line, word, wordWidth_);
        for (const std::string& part :
             {pids, note, took ? "+" + ShowDuration(*took) : std::string()}) {
            line += part + (part.empty() ? "" : "   ");
        }
        return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }

    const std::string did_;
    const bool isKept_;
    const size_t wordWidth_;
    size_t nameWidth_ = 0;
    std::unordered_map<size_t, int64_t> told_;
};

const char* NameOf(Stage stage) {
    switch (stage) {
        case Stage::kWaiting:
            return "waiting";
        case Stage::kGoing:
            return "going";
        case Stage::kDone:
            return "done";
        case Stage::kFailed:
            return "failed";
        case Stage::kTimedOut:
            return "late";
        case Stage::kSkipped:
            break;
    }
    return "skipped";
}

class JsonSink : public ProgressSink {
public:
    explicit JsonSink(std::string verb) : verb_(std::move(verb)) {}

    milliseconds Update(ProgressModel& model) override {
        if (model.HasBegun() && !hasBegun_) {
            hasBegun_ = true;
            Begin(model);
        }
        for (const size_t index : model.TakeChangedTasks()) {
            WriteTask(model, model.Tasks()[index]);
        }
        for (const size_t index : model.TakeChangedRemarks()) {
            const Remark& remark = model.Remarks()[index];
            Json json = Line("remark", model, remark.when);
            json["name"] = remark.name;
            json["state"] = GrpCtl::NameOf(remark.state);
            json["pid"] = remark.pid > 0 ? Json(remark.pid) : Json();
            Write(TextOf(json));
        }
        return kNeverAgain;
    }

    void End(ProgressModel& model) override {
        (void)Update(model);
        if (!hasBegun_) {
            return;
        }
        Json json = Line("end", model, MonotonicNow());
        json["done"] = model.Done();
        json["failed"] = model.Failed();
        json["missedSteps"] = model.Missed();
        Write(TextOf(json));
    }

private:
    void Begin(const ProgressModel& model) const {
        Json json = Line("begin", model, model.Begun());
        json["command"] = verb_;
        json["applications"] = Json::array();
        for (const TaskProgress& task : model.Tasks()) {
            json["applications"].push_back({{"name", task.task.name},
                                            {"option", OptionOf(task)},
                                            {"waitsFor", task.task.needs}});
        }
        Write(TextOf(json));
    }

    static void WriteTask(const ProgressModel& model, const TaskProgress& task) {
        Json json = Line("task", model, std::max(task.begun, task.ended));
        json["name"] = task.task.name;
        json["option"] = OptionOf(task);
        json["stage"] = NameOf(task.stage);
        json["pid"] = task.pid > 0 ? Json(task.pid) : Json();
        if (task.ended != 0) {
            const std::optional<milliseconds> took = TimeOf(task, task.ended);
            json["tookMs"] = took ? Json(took->count()) : Json();
            json["lateMs"] = task.lateMs;
            json["result"] = ProcMgr::GetAppState(static_cast<uint64_t>(task.result));
        }
        Write(TextOf(json));
    }

    static std::string OptionOf(const TaskProgress& task) {
        return ProcMgr::GetOptionType(static_cast<uint64_t>(task.task.option));
    }

    static Json Line(const char* kind, const ProgressModel& model, int64_t when) {
        Json json = NewObject();
        json["kind"] = kind;
        json["elapsedMs"] = Between(model.Begun(), when).count();
        return json;
    }

    static std::string TextOf(const Json& json) {
        return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }

    const std::string verb_;
    bool hasBegun_ = false;
};

}  // namespace

std::unique_ptr<ProgressSink> MakePlainSink(const ProgressModel& model, const Headline& headline,
                                            bool isKept) {
    std::string did = headline.did;
    did.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(did.front())));
    return std::make_unique<PlainSink>(model, did, isKept);
}

std::unique_ptr<ProgressSink> MakeJsonSink(const std::string& verb) {
    return std::make_unique<JsonSink>(verb);
}

}  // namespace GrpCtl
