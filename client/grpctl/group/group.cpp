#include "client/grpctl/group/group.h"

#include <algorithm>
#include <chrono>
#include <tuple>
#include <utility>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/trace/trace_reader.h"
#include "platform/linux/host.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Facts;
using GrpOwnerClient::ListAnswer;
using GrpOwnerClient::Result;
using GrpOwnerClient::SsClient;
using GrpOwnerClient::Status;

constexpr int kListTooLong = -15794179;

// A query answers what the process manager says.
AppState ToState(uint32_t answered) {
    switch (answered) {
        case 0:
            return AppState::kRunning;
        case 1:
            return AppState::kStopped;
        case 2:
            return AppState::kChanging;
        default:
            return AppState::kUnknown;
    }
}

int RankOf(const Application& application) {
    if (!application.manifest) {
        return 1;
    }
    return application.IsTemplate() ? 2 : application.manifest->GetIsAutoBoot() ? 0 : 1;
}

}  // namespace

std::string_view WordOf(AppState state) {
    constexpr std::string_view kWords[] = {"running", "stopped", "changing", "unknown", "template"};
    return kWords[static_cast<size_t>(state)];
}

std::string_view NameOf(AppState state) {
    constexpr std::string_view kNames[] = {"RUNNING", "NOT_RUNNING", "IN_BETWEEN", "UNKNOWN",
                                           "TEMPLATE"};
    return kNames[static_cast<size_t>(state)];
}

void Group::ReadConfiguration(const Facts& facts) {
    GrpOwnerLinux::Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(facts.configuration, facts.matchData);
    if (!configuration.Ok()) {
        const auto error = std::find_if(
            configuration.diagnostics.begin(), configuration.diagnostics.end(), [](const auto& d) {
                return d.severity == GrpOwnerLinux::Diagnostic::Severity::kError;
            });
        configurationError_ = error->file +
                              (error->line > 0 ? ":" + std::to_string(error->line) : "") + ": " +
                              error->message;
        return;
    }
    manifests_ = std::move(configuration.manifests);
    Dependencies::Map needs;
    for (const ApplicationManifest& manifest : manifests_) {
        needs[manifest.GetAppName()] = manifest.GetDependList();
    }
    dependencies_ = Dependencies(std::move(needs));
}

void Group::Fill(const Result<ListAnswer>& list) {
    std::map<std::string, Application> byName;
    for (const ApplicationManifest& manifest : manifests_) {
        byName[manifest.GetAppName()].manifest = manifest;
    }
    if (list) {
        listed_ = Names(list->names.begin(), list->names.end());
        for (const std::string& name : listed_) {
            byName[name];
        }
    }
    for (auto& [name, application] : byName) {
        application.name = name;
        applications_.push_back(std::move(application));
    }
    std::stable_sort(applications_.begin(), applications_.end(),
                     [](const auto& a, const auto& b) { return RankOf(a) < RankOf(b); });
    for (size_t index = 0; index < applications_.size(); ++index) {
        index_[applications_[index].name] = index;
    }
}

Group Group::Learn(SsClient& client) {
    Group group;
    group.ReadConfiguration(client.GetFacts());
    const Result<ListAnswer> list = client.List();
    group.isListWhole_ = list.Ok();
    if (!list && list.GetError().code != kListTooLong) {
        throw ToFailure(list.GetError());
    }
    if (!list && !group.HasDependencies()) {
        throw Failure{kFailed, "the owner's list does not fit its answer",
                      "and the configuration cannot be read: " + group.configurationError_, ""};
    }
    group.Fill(list);
    return group;
}

void Group::Refresh(SsClient& client, const Options& options, const Names& names) {
    std::vector<std::string> asked;
    for (Application& application : applications_) {
        // The owner would warn in its log of templates that it has no instance of.
        const bool isAsked = names.empty() || names.count(application.name) > 0;
        const bool isThere = !isListWhole_ || listed_.count(application.name) > 0 ||
                             names.count(application.name) > 0;
        if (isAsked && isThere) {
            asked.push_back(application.name);
        }
        if (isAsked) {
            application.pid = -1;
            application.state = application.IsTemplate() ? AppState::kTemplate : AppState::kStopped;
        }
    }
    if (asked.empty()) {
        return;
    }
    for (const Status& status : Need(client.Query(asked, options.Timeout()))) {
        Application& application = applications_[index_.at(status.name)];
        const AppState state = ToState(status.state);
        if (state != AppState::kStopped) {
            application.state = state;
            application.pid = status.pid > 0 ? status.pid : -1;
        }
    }
}

void Group::RefreshLate(const std::string& ownerSocket) {
    constexpr std::chrono::milliseconds kPatience{500};  // a courtesy
    const std::optional<Trace> trace = ReadSnapshot(ownerSocket, kPatience);
    if (!trace) {
        return;
    }
    for (const TraceState& state : trace->states) {
        const auto known = index_.find(state.application);
        if (known != index_.end()) {
            applications_[known->second].lateMs = state.lateMs;
        }
    }
}

void Group::Check(const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
        if (index_.count(name) > 0) {
            continue;
        }
        std::vector<std::string_view> known;
        for (const Application& application : applications_) {
            known.emplace_back(application.name);
        }
        std::string help = GrpOwnerLinux::DidYouMean(GrpOwnerLinux::Suggester(known).Nearest(name));
        help += (help.empty() ? "" : " ") + std::string("`grpctl list` shows all ") +
                std::to_string(known.size());
        throw Failure{kNoSuchApplication,
                      "this group has no application " + GrpOwnerLinux::Quote(name), "", help};
    }
}

const Dependencies& Group::GetDependencies() const {
    if (!HasDependencies()) {
        throw Failure{
            kFailed, "who needs whom is not known", configurationError_,
            "mend the configuration, or do without it: --no-deps starts and --force stops "
            "exactly what you type"};
    }
    return dependencies_;
}

Names Group::Running() const {
    Names names;
    for (const Application& application : applications_) {
        if (application.state == AppState::kRunning) {
            names.insert(application.name);
        }
    }
    return names;
}

Names Group::Alive() const {
    Names names;
    for (const Application& application : applications_) {
        if (application.IsAlive()) {
            names.insert(application.name);
        }
    }
    return names;
}

}  // namespace GrpCtl
