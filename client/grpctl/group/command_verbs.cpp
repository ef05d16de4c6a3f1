// Verbs that pass one command on.

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <optional>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/typed/verb_runs.h"
#include "client/grpctl/typed/verbs.h"
#include "grpowner/enumerations.h"
#include "platform/linux/host.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerLinux::Quote;
using ProcMgr::OptionType;
using ProcMgr::SysState;

constexpr SysState kStates[] = {SysState::OFF,         SysState::WORKING,
                                SysState::SUSPEND,     SysState::UPGRADE,
                                SysState::CALIBRATION, SysState::DELAY_BIND_CORE};

template <typename Number>
std::optional<Number> ToNumber(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return number;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string StateName(SysState state) {
    return Lower(ProcMgr::GetSysState(static_cast<uint64_t>(state)));
}

int ToSystemState(const std::string& text) {
    for (const SysState state : kStates) {
        if (Lower(text) == StateName(state)) {
            return static_cast<int>(state);
        }
    }
    if (const auto number = ToNumber<int>(text)) {
        return *number;
    }
    const std::vector<std::string> names = SystemStateNames();
    throw Failure{kWrongUsage, Quote(text) + " is not a system state", "",
                  GrpOwnerLinux::UseOneOf(text, {names.begin(), names.end()}) + ", or a number"};
}

std::pair<std::string, uint32_t> ToVerifyEntry(const std::string& text) {
    const size_t equals = text.find('=');
    const std::string option = equals == std::string::npos ? "start" : text.substr(equals + 1);
    const std::string name = text.substr(0, equals);
    if (option == "start") {
        return {name, static_cast<uint32_t>(OptionType::START)};
    }
    if (option == "stop") {
        return {name, static_cast<uint32_t>(OptionType::TERM)};
    }
    if (option == "restart") {
        return {name, static_cast<uint32_t>(OptionType::RESTART)};
    }
    if (const auto number = ToNumber<uint32_t>(option)) {
        return {name, *number};
    }
    throw Failure{kWrongUsage, Quote(option) + " is not an option", "",
                  GrpOwnerLinux::UseOneOf(option, {"start", "stop", "restart"}) + ", or a number"};
}

// One word of the owner.
void ShowFlag(const Options& options, const std::string& key, bool isSo, const std::string& text) {
    if (options.format == Format::kJson) {
        Json json = NewObject();
        json["command"] = options.verb;
        json[key] = isSo;
        PutJson(json);
    } else if (isSo && !options.isQuiet) {
        Put(text + "\n");
    }
}

// The owner says no without a reason. A broken configuration is the first that comes to mind.
Failure WhyNotReloaded(const GrpOwnerClient::Facts& facts) {
    const GrpOwnerLinux::Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(facts.configuration, facts.matchData);
    if (configuration.Ok()) {
        return {kInTransition, "refused: a change set or another reload is in progress", "",
                "try again when it has ended; the owner's log says more"};
    }
    std::fputs(GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics).c_str(), stderr);
    return {kFailed, "the owner keeps its configuration: the new one has errors", "", ""};
}

}  // namespace

std::vector<std::string> SystemStateNames() {
    std::vector<std::string> names;
    for (const SysState state : kStates) {
        names.push_back(StateName(state));
    }
    return names;
}

int RunSetState(const Options& options) {
    const int state = ToSystemState(options.operands.front());
    Session session(options);
    const bool isAccepted = Need(session.Client().SetSystemState(state, options.Timeout()));
    std::string name = state < 0 ? "" : Lower(ProcMgr::GetSysState(static_cast<uint64_t>(state)));
    name = name.empty() ? std::to_string(state) : name + " (" + std::to_string(state) + ")";
    ShowFlag(options, "accepted", isAccepted, "the owner accepts the state " + name);
    if (!isAccepted) {
        throw Failure{kFailed, "the owner does not accept the state " + name, "",
                      "its host decides which states there are; its log says more"};
    }
    return kDone;
}

int RunVerify(const Options& options) {
    std::map<std::string, uint32_t> changes;
    for (const std::string& operand : options.operands) {
        changes.insert(ToVerifyEntry(operand));
    }
    Session session(options);
    const bool isAccepted = Need(session.Client().Verify(changes));
    ShowFlag(options, "accepted", isAccepted, "the owner accepts this change set");
    if (!isAccepted) {
        std::vector<std::string> names;
        names.reserve(changes.size());
        for (const auto& [name, option] : changes) {
            names.push_back(name);
        }
        Group::Learn(session.Client()).Check(names);
        throw Failure{kFailed, "the owner refuses this change set", "",
                      "its log names each offender"};
    }
    return kDone;
}

int RunReload(const Options& options) {
    Session session(options);
    const bool isDone = Need(session.Client().Reload());
    ShowFlag(options, "ok", isDone, "the owner has read " + session.Facts().configuration);
    if (!isDone) {
        throw WhyNotReloaded(session.Facts());
    }
    return kDone;
}

int RunDump(const Options& options) {
    Session session(options);
    const bool isDone = Need(session.Client().Dump());
    ShowFlag(options, "ok", isDone, "the owner has written its state into its log");
    if (!isDone) {
        throw Failure{kFailed, "the owner refuses to write its state", "", ""};
    }
    return kDone;
}

}  // namespace GrpCtl
