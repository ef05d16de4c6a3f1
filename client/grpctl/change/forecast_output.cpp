#include "client/grpctl/change/forecast_output.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/name_list.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/text/table.h"
#include "grpowner/enumerations.h"

namespace GrpCtl {

namespace {

using ProcMgr::OptionType;

constexpr size_t kNamesWidth = 30;

// Unless all are wanted.
constexpr size_t kMostLines = 4;    // of names for one reason
constexpr size_t kMostReasons = 8;  // of one wave
constexpr size_t kMostWaves = 20;

std::string_view VerbOf(OptionType option) {
    return option == OptionType::TERM ? "stop" : option == OptionType::START ? "start" : "restart";
}

std::string Count(size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// Names of one wave that have the same reason.
using Reasons = std::vector<std::pair<std::string, std::vector<std::string>>>;

Reasons ByReason(const std::vector<PlannedStep>& wave) {
    Reasons reasons;
    for (const PlannedStep& step : wave) {
        const auto same = std::find_if(reasons.begin(), reasons.end(), [&](const auto& entry) {
            return entry.first == step.reason;
        });
        if (same == reasons.end()) {
            reasons.push_back({step.reason, {step.name}});
        } else {
            same->second.push_back(step.name);
        }
    }
    return reasons;
}

void AppendWave(const std::vector<PlannedStep>& wave, std::string number, bool isWhole,
                std::vector<Row>& rows) {
    const Reasons reasons = ByReason(wave);
    const bool isCut = !isWhole && reasons.size() > kMostReasons;
    size_t left = wave.size();
    for (size_t index = 0; index < (isCut ? kMostReasons - 1 : reasons.size()); ++index) {
        const auto& [reason, names] = reasons[index];
        std::string told = reason;
        for (const std::string& line : Wrapped(names, kNamesWidth, isWhole ? 0 : kMostLines)) {
            rows.push_back({number, line, told});
            number.clear();
            told.clear();
        }
        left -= names.size();
    }
    if (isCut) {
        rows.push_back({"", "... " + std::to_string(left) + " more"});
    }
}

// Of a long way the ends say most.
std::string WavesText(const Phase& phase, bool isWhole) {
    const size_t count = phase.waves.size();
    const bool isCut = !isWhole && count > kMostWaves;
    std::vector<Row> rows;
    for (size_t index = 0; index < count; ++index) {
        if (isCut && index == kMostWaves / 2) {
            rows.push_back({"...", std::to_string(count - kMostWaves + 1) + " more waves"});
            index = count - kMostWaves / 2 + 1;
        }
        AppendWave(phase.waves[index], std::to_string(index + 1), isWhole, rows);
    }
    return LayOut(rows, false, "  ");
}

std::string PhaseText(const Phase& phase, bool isFirst, bool isWhole) {
    std::string head = std::string(isFirst ? "Would " : "Then ") +
                       std::string(VerbOf(phase.option)) + " " +
                       Count(phase.Count(), "application");
    if (phase.option != OptionType::RESTART) {
        head += " in " + Count(phase.waves.size(), "wave");
    }
    return head + (isFirst ? " (nothing was changed)" : "") + ":\n" + WavesText(phase, isWhole);
}

std::string TimesText(const Forecast& forecast) {
    const auto longest = forecast.Longest();
    if (longest.count() == 0) {
        return "";
    }
    std::string parts;
    for (const Phase& phase : forecast.phases) {
        parts += (parts.empty() ? "" : ", ") + std::string(VerbOf(phase.option)) + " " +
                 ShowDuration(phase.Longest());
    }
    std::string text = "The owner answers within " + ShowDuration(longest) +
                       (forecast.phases.size() > 1 ? ": " + parts : "") +
                       (forecast.patience.isLongRun ? " (long run mode)" : "") + ".\n";
    if (longest > forecast.patience.OfClient()) {
        text += "This command itself waits " + ShowDuration(forecast.patience.OfClient()) +
                " at most.\n";
    }
    return text;
}

std::string WarningText(const Forecast& forecast, bool isColored) {
    std::string text;
    for (const Phase& phase : forecast.phases) {
        if (!phase.IsTooShort()) {
            continue;
        }
        text += Paint("warning", Style::kBusy, isColored) + ": the " +
                std::string(VerbOf(phase.option)) + " can take " + ShowDuration(phase.own) +
                ", but with a time-out of " + ShowDuration(forecast.patience.timeout) +
                " the owner gives up after " + ShowDuration(phase.limit) +
                (&phase == &forecast.phases.back() ? "\n" : "\n         and skips the rest\n");
    }
    return text.empty() ? text
                        : text + "   help: `--timeout " + ShowDuration(forecast.Enough()) +
                              "` is long enough\n";
}

Json JsonOf(const Phase& phase) {
    Json waves = Json::array();
    for (const std::vector<PlannedStep>& wave : phase.waves) {
        Json steps = Json::array();
        for (const PlannedStep& step : wave) {
            steps.push_back(
                {{"name", step.name}, {"asked", step.isAsked}, {"reason", step.reason}});
        }
        waves.push_back(std::move(steps));
    }
    return {{"option", ProcMgr::GetOptionType(static_cast<uint64_t>(phase.option))},
            {"limitMs", phase.limit.count()},
            {"stopTimeMs", phase.own.count()},
            {"longestMs", phase.Longest().count()},
            {"waves", std::move(waves)}};
}

Json NamesOf(const Forecast& forecast, OptionType option) {
    Json names = Json::array();
    for (const Phase& phase : forecast.phases) {
        if (phase.option != option) {
            continue;
        }
        for (const std::vector<PlannedStep>& wave : phase.waves) {
            Json part = Json::array();
            for (const PlannedStep& step : wave) {
                part.push_back(step.name);
            }
            names.push_back(std::move(part));
        }
    }
    return names;
}

Json JsonOf(const Order& order, const Plan& plan, const Forecast& forecast,
            std::optional<bool> isAccepted) {
    Json json = NewObject();
    json["command"] = order.verb;
    json["dryRun"] = true;
    json["accepted"] = isAccepted ? Json(*isAccepted) : Json();
    json["stop"] = NamesOf(forecast, OptionType::TERM);
    json["start"] = NamesOf(forecast, OptionType::START);
    json["restart"] = plan.restarts;
    json["alreadyRunning"] = plan.alreadyUp;
    json["timeoutMs"] = forecast.patience.timeout.count();
    json["timeoutIsEnough"] = !forecast.IsTooShort();
    json["longestMs"] = forecast.Longest().count();
    json["phases"] = Json::array();
    for (const Phase& phase : forecast.phases) {
        json["phases"].push_back(JsonOf(phase));
    }
    return json;
}

}  // namespace

void ShowForecast(const Options& options, const Order& order, const Plan& plan,
                  const Forecast& forecast, std::optional<bool> isAccepted) {
    if (options.format == Format::kJson) {
        PutJson(JsonOf(order, plan, forecast, isAccepted));
        return;
    }
    if (plan.IsEmpty()) {
        Put("nothing to " + order.verb + "\n");
        return;
    }
    std::string text;
    for (const Phase& phase : forecast.phases) {
        text += PhaseText(phase, text.empty(), options.format == Format::kWide);
    }
    text += TimesText(forecast) +
            WarningText(forecast, Screen::Of(STDOUT_FILENO, options.color).isColored);
    if (isAccepted) {
        text += *isAccepted ? "The owner accepts this change set.\n"
                            : "The owner refuses this change set; its log says why.\n";
    }
    Put(text);
}

}  // namespace GrpCtl
