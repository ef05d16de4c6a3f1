#include "client/grpctl/change/change_output.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>
#include <utility>

#include "client/grpctl/change/outcome_words.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/group/process_facts.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/typed/verbs.h"
#include "grpowner/enumerations.h"

namespace GrpCtl {

namespace {

using ProcMgr::OptionType;
using std::chrono::milliseconds;

bool IsGood(const Outcome& outcome) {
    return outcome.result == static_cast<uint32_t>(AppChangeState::SUCCESS);
}

std::string ResultName(uint32_t result) {
    const std::string name = ProcMgr::GetAppState(result);
    return name.empty() ? std::to_string(result) : name;
}

/// Shows the parts of one report. Lives for one call.
class ReportShower {
public:
    ReportShower(const Dependencies* dependencies, const Group& group, const Report& report)
        : dependencies_(dependencies), group_(group), report_(report) {
        for (const Outcome& outcome : report.outcomes) {
            if (!IsGood(outcome) && outcome.option == OptionType::START) {
                failedStarts_.insert(outcome.name);
            }
        }
    }

    std::string WordFor(const Outcome& outcome) const {
        if (!IsGood(outcome)) {
            return "failed";
        }
        return std::string(report_.isStateKnown ? WordOf(StateOf(outcome)) : "done");
    }

    // What is worth a remark besides.
    std::string Detail(const Outcome& outcome) const {
        const int pid = report_.isStateKnown ? group_.At(outcome.name).pid : -1;
        std::string text = pid > 0 ? "pid " + std::to_string(pid) : "";
        const auto before = report_.pidsBefore.find(outcome.name);
        if (outcome.option == OptionType::RESTART && pid > 0 &&
            before != report_.pidsBefore.end() && before->second > 0) {
            text += "   was " + std::to_string(before->second);
        }
        if (!IsGood(outcome)) {
            text += (text.empty() ? "" : "   ") + Why(outcome);
        }
        return text;
    }

    const Seen* SeenOf(const Outcome& outcome) const {
        const auto found = report_.seen.find({outcome.name, outcome.option});
        return found == report_.seen.end() ? nullptr : &found->second;
    }

    // How long its part took; empty when the owner did not come to it.
    std::string TimeOf(const Outcome& outcome) const {
        const Seen* const seen = SeenOf(outcome);
        const std::optional<milliseconds> time = seen != nullptr ? seen->took : When(outcome);
        return time ? ShowDuration(*time) : "";
    }

    // When it had come so far; without a trace: when its process was there, counted from the
    // change's begin; for what has none, its end.
    milliseconds When(const Outcome& outcome) const {
        if (const Seen* const seen = SeenOf(outcome)) {
            return seen->when;
        }
        const int pid = report_.isStateKnown ? group_.At(outcome.name).pid : -1;
        const std::optional<milliseconds> age = pid > 0 ? AgeOf(pid) : std::nullopt;
        const auto since =
            std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - end_);
        return age ? std::clamp(report_.duration + since - *age, milliseconds(0), report_.duration)
                   : report_.duration;
    }

    Style StyleFor(const Outcome& outcome) const {
        return !IsGood(outcome)       ? Style::kBad
               : report_.isStateKnown ? StyleOf(StateOf(outcome))
                                      : Style::kPlain;
    }

private:
    // A template whose instance is gone is stopped.
    AppState StateOf(const Outcome& outcome) const {
        const AppState state = group_.At(outcome.name).state;
        return state == AppState::kTemplate ? AppState::kStopped : state;
    }

    std::string Why(const Outcome& outcome) const {
        if (outcome.option == OptionType::START && dependencies_ != nullptr) {
            for (const std::string& needed : dependencies_->AllNeeds({outcome.name})) {
                if (failedStarts_.count(needed) > 0) {
                    return "needs " + needed + ", which failed";
                }
            }
        }
        return ReasonOf(outcome.result);
    }

    const Dependencies* const dependencies_;
    const Group& group_;
    const Report& report_;
    const std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now();
    Names failedStarts_;
};

std::string PlainText(const Order& order, const Report& report, const ReportShower& shower,
                      size_t good) {
    std::vector<Row> rows;
    for (const Outcome& outcome : report.outcomes) {
        const Seen* const seen = shower.SeenOf(outcome);
        if (seen == nullptr || !seen->isTold) {
            rows.push_back({"+" + ShowSeconds(shower.When(outcome)) + "s", outcome.name,
                            shower.WordFor(outcome), shower.Detail(outcome),
                            seen == nullptr || !seen->took ? "" : "+" + ShowDuration(*seen->took)});
        }
    }
    return LayOut(rows, false) + order.did + " " + std::to_string(good) + " of " +
           std::to_string(report.outcomes.size()) + " in " + ShowDuration(report.duration) + "\n";
}

// As wide as the words of the progress that stood here: nothing moves at the end.
constexpr size_t kWordWidth = std::string_view("starting").size();

std::string TerminalText(const Order& order, const Report& report, const ReportShower& shower,
                         size_t good, const Screen& screen) {
    std::vector<Row> rows;
    for (const Outcome& outcome : report.outcomes) {
        std::string word = shower.WordFor(outcome);
        word.resize(std::max(word.size(), kWordWidth), ' ');
        rows.push_back({outcome.name, {word, shower.StyleFor(outcome)}, shower.Detail(outcome)});
    }
    std::string did = order.did;
    did.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(did.front())));
    const bool isGood = good == report.outcomes.size();
    std::string text = Stretch((isGood ? "[+] " : "[!] ") + did + " " + std::to_string(good) + "/" +
                                   std::to_string(report.outcomes.size()),
                               ShowDuration(report.duration), screen);
    const std::vector<std::string> lines = Split(LayOut(rows, screen.isColored), '\n');
    for (size_t index = 0; index < report.outcomes.size(); ++index) {
        const Outcome& outcome = report.outcomes[index];
        text += Stretch(" " + screen.Mark(IsGood(outcome)) + " " + lines[index],
                        shower.TimeOf(outcome), screen);
    }
    return text;
}

Json JsonOf(const Order& order, const Plan& plan, const Group& group, const Report& report) {
    Json json = NewObject();
    json["command"] = order.verb;
    json["ok"] = Failed(report).empty();
    json["durationMs"] = report.duration.count();
    json["applications"] = Json::array();
    for (const Outcome& outcome : report.outcomes) {
        const Application& application = group.At(outcome.name);
        const auto words = report.lastWords.find(outcome.name);
        const bool isAdded =
            outcome.option == OptionType::TERM
                ? plan.addedStops.count(outcome.name) > 0
                : outcome.option == OptionType::START && plan.addedStarts.count(outcome.name) > 0;
        json["applications"].push_back(
            {{"name", outcome.name},
             {"option", ProcMgr::GetOptionType(static_cast<uint64_t>(outcome.option))},
             {"asked", !isAdded},
             {"result", ResultName(outcome.result)},
             {"state", report.isStateKnown ? Json(NameOf(application.state)) : Json()},
             {"pid", report.isStateKnown && application.pid > 0 ? Json(application.pid) : Json()}});
        if (words != report.lastWords.end()) {
            Json& entry = json["applications"].back();
            entry["end"] = words->second.end.empty() ? Json() : Json(words->second.end);
            entry["output"] = words->second.lines;
        }
    }
    json["alreadyRunning"] = plan.alreadyUp;
    return json;
}

}  // namespace

std::vector<std::string> Failed(const Report& report) {
    std::vector<std::string> names;
    for (const Outcome& outcome : report.outcomes) {
        if (!IsGood(outcome)) {
            names.push_back(outcome.name);
        }
    }
    return names;
}

void ShowReport(const Options& options, const Order& order, const Plan& plan, const Group& group,
                const Report& report) {
    if (options.format == Format::kJson) {
        PutJson(JsonOf(order, plan, group, report));
        return;
    }
    if (options.format == Format::kName || options.format == Format::kPid) {
        std::vector<Application> applications;
        for (const Outcome& outcome : report.outcomes) {
            if (IsGood(outcome)) {
                applications.push_back(group.At(outcome.name));
            }
        }
        Put(Lines(applications, options.format));
        return;
    }
    if (options.isQuiet) {
        return;
    }
    if (report.outcomes.empty()) {
        Put("nothing to " + order.verb + "\n");
        return;
    }
    const Screen screen = Screen::Of(STDOUT_FILENO, options.color);
    const ReportShower shower(group.HasDependencies() ? &group.GetDependencies() : nullptr, group,
                              report);
    const size_t good = report.outcomes.size() - Failed(report).size();
    Put((screen.isTerminal ? TerminalText(order, report, shower, good, screen)
                           : PlainText(order, report, shower, good)) +
        TextOf(report.lastWords, screen));
}

}  // namespace GrpCtl
