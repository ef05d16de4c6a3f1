#include "daemons/grpownerd/state_table.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "grpowner/enumerations.h"
#include "platform/linux/application_keys.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"
#include "platform/linux/value_reader.h"
#include "platform/linux/yaml_reader.h"

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerLinux::Findings;
using GrpOwnerLinux::Quote;
using GrpOwnerLinux::SourceText;
using GrpOwnerLinux::Span;
using GrpOwnerLinux::ValueReader;
using GrpOwnerLinux::YamlNode;
using GrpOwnerLinux::YamlTree;
using ProcMgr::SysState;

constexpr SysState kNamedStates[] = {SysState::OFF,         SysState::WORKING,
                                     SysState::SUSPEND,     SysState::UPGRADE,
                                     SysState::CALIBRATION, SysState::DELAY_BIND_CORE};

constexpr std::string_view kExample = "working: [camera, fusion]";

// As people write it: the names of the log are in capitals.
std::string LowerName(SysState state) {
    std::string name = ProcMgr::GetSysState(static_cast<uint64_t>(state));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return name;
}

bool IsSame(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char left, char right) {
        return std::tolower(static_cast<unsigned char>(left)) ==
               std::tolower(static_cast<unsigned char>(right));
    });
}

/// Reads one file. Lives for one call.
class Reader {
public:
    Reader(ValueReader& values, const std::vector<ApplicationManifest>& manifests)
        : values_(values), suggester_(NamesOf(manifests)) {
        for (const ApplicationManifest& manifest : manifests) {
            applications_[manifest.GetAppName()] = &manifest;
        }
    }

    StateTable Read(const YamlTree& tree) {
        StateTable table;
        if (tree.root == nullptr || tree.root->IsEmpty()) {
            if (!values_.Complaints().HasErrors()) {
                values_.Complaints().Error({1, 1, 1}, "the file is empty",
                                           "for example `" + std::string(kExample) + "`");
            }
            return table;
        }
        if (!values_.IsMapping({"the file", kExample, *tree.root})) {
            return table;
        }
        for (const auto& [key, value] : tree.root->entries) {
            if (!GrpOwnerLinux::IsExtension(key->text)) {
                ReadState(*key, *value, table);
            }
        }
        return table;
    }

private:
    struct Member {
        std::string name;
        Span place;
    };

    static std::vector<std::string_view> NamesOf(
        const std::vector<ApplicationManifest>& manifests) {
        std::vector<std::string_view> names;
        names.reserve(manifests.size());
        for (const ApplicationManifest& manifest : manifests) {
            names.emplace_back(manifest.GetAppName());
        }
        return names;
    }

    void Error(const Span& place, std::string message, std::string help = {}) {
        values_.Complaints().Error(place, std::move(message), std::move(help));
    }

    std::optional<int> ReadNumber(const YamlNode& key) {
        std::vector<std::string> names;
        for (const SysState state : kNamedStates) {
            names.push_back(LowerName(state));
            if (IsSame(key.text, names.back())) {
                return static_cast<int>(state);
            }
        }
        int number = -1;
        const char* const end = key.text.data() + key.text.size();
        const auto [rest, error] = std::from_chars(key.text.data(), end, number);
        if (error == std::errc() && rest == end && number >= 0) {
            return number;
        }
        Error(key.place, Quote(key.text) + " is not a system state",
              GrpOwnerLinux::UseOneOf(key.text, {names.begin(), names.end()}) + ", or a number");
        return std::nullopt;
    }

    void ReadState(const YamlNode& key, const YamlNode& value, StateTable& table) {
        const std::optional<int> state = ReadNumber(key);
        if (!values_.IsSequence({key.text, kExample, value})) {
            return;
        }
        std::vector<Member> members;
        for (const YamlNode* item : value.items) {
            const auto name = values_.Text({key.text, kExample, *item});
            if (name && IsMember(*name, item->place)) {
                members.push_back({*name, item->place});
            }
        }
        std::set<std::string> names;
        for (const Member& member : members) {
            if (!names.insert(member.name).second) {
                Error(member.place, Quote(member.name) + " stands twice in one state");
            }
        }
        if (value.isComplete) {
            CheckNeeds(members, names);
        }
        if (state && !table.emplace(*state, std::move(names)).second) {
            Error(key.place, "the state " + StateName(*state) + " stands twice in this file",
                  "remove one of them");
        }
    }

    // Whether a state has a say about it.
    bool IsMember(const std::string& name, const Span& place) {
        const auto found = applications_.find(name);
        if (found == applications_.end()) {
            Error(place, "there is no application " + Quote(name),
                  GrpOwnerLinux::DidYouMean(suggester_.Nearest(name)));
            return false;
        }
        if (found->second->GetIsDynamicPara()) {
            Error(place, Quote(name) + " is a template",
                  "templates are started on request, with parameters; remove it here");
            return false;
        }
        if (found->second->GetIsAutoBoot()) {
            values_.Complaints().Warning(place, Quote(name) + " starts with the group",
                                         "it runs in every state; naming it here has no effect");
            return false;
        }
        return true;
    }

    // All other driving applications stop: what a member needs must be one as well.
    void CheckNeeds(const std::vector<Member>& members, const std::set<std::string>& names) {
        for (const Member& member : members) {
            for (const std::string& needed : applications_[member.name]->GetDependList()) {
                const auto found = applications_.find(needed);
                if (found != applications_.end() && !found->second->GetIsAutoBoot() &&
                    names.count(needed) == 0) {
                    Error(member.place,
                          Quote(member.name) + " needs " + Quote(needed) +
                              ", which does not run in this state",
                          "add " + Quote(needed));
                }
            }
        }
    }

    ValueReader& values_;
    GrpOwnerLinux::Suggester suggester_;
    std::map<std::string, const ApplicationManifest*> applications_;
};

StateTable Read(const SourceText& text, const ParseAndDepend::MatchData& matchData,
                const std::vector<ApplicationManifest>& manifests, Findings& findings) {
    Span place;
    std::string message;
    if (text.FindBadCharacter(place, message)) {
        findings.Error(place, message, "save the file as UTF-8 text");
        return {};
    }
    const YamlTree tree = GrpOwnerLinux::ReadYaml(text, findings);
    ValueReader values(findings, matchData);
    return Reader(values, manifests).Read(tree);
}

}  // namespace

StateFile ReadStateFile(const std::string& path, const ParseAndDepend::MatchData& matchData,
                        const std::vector<ApplicationManifest>& manifests) {
    std::string bytes;
    std::string error;
    const bool isRead = GrpOwnerLinux::ReadFile(path, bytes, error);
    const SourceText text(isRead ? std::move(bytes) : std::string());
    Findings findings(path, text);
    StateFile file;
    if (isRead) {
        file.states = Read(text, matchData, manifests, findings);
    } else {
        findings.Error({}, "cannot read this file: " + error);
    }
    file.isOk = !findings.HasErrors();
    file.diagnostics = findings.Take();
    if (!file.isOk) {
        file.states.clear();
    }
    return file;
}

std::string StateName(int state) {
    const std::string number = std::to_string(state);
    const std::string name = state < 0 ? "" : ProcMgr::GetSysState(static_cast<uint64_t>(state));
    return name.empty() ? number : name + " (" + number + ")";
}

}  // namespace GrpOwnerDaemon
