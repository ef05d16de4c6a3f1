#include "platform/linux/configuration_checks.h"

#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"
#include "platform/linux/value_reader.h"

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLargestRecord = 3955;  // bytes of one request to the process manager
constexpr size_t kMostSteps = 12;        // of a cycle that are told

/// Finds the cycles, each by the dependency that closes it on the way down from the first
/// application of the file: without these there is none left. Its own stack, since a chain of
/// dependencies may be as long as the file.
class CycleFinder {
public:
    CycleFinder(const std::vector<ApplicationEntry>& entries,
                const std::unordered_map<std::string_view, size_t>& numbers, Findings& findings)
        : entries_(entries), numbers_(numbers), findings_(findings), state_(entries.size()) {}

    void Find() {
        for (size_t root = 0; root < entries_.size(); ++root) {
            if (state_[root] == State::kNew) {
                Descend(root);
            }
        }
    }

private:
    enum class State : uint8_t { kNew, kOnPath, kDone };
    struct Step {
        size_t application;
        size_t next = 0;  // which of its dependencies comes next
    };

    void Descend(size_t root) {
        Enter(root);
        while (!path_.empty()) {
            Step& step = path_.back();
            const std::vector<Dependency>& depends = entries_[step.application].depends;
            if (step.next == depends.size()) {
                state_[step.application] = State::kDone;
                path_.pop_back();
                continue;
            }
            const auto found = numbers_.find(depends[step.next++].name);
            if (found == numbers_.end()) {
                continue;
            }
            if (state_[found->second] == State::kNew) {
                Enter(found->second);
            } else if (state_[found->second] == State::kOnPath) {
                Tell(depth_[found->second]);
            }
        }
    }

    void Enter(size_t application) {
        state_[application] = State::kOnPath;
        depth_[application] = path_.size();
        path_.push_back({application});
    }

    const Dependency& Taken(const Step& step) const {
        return entries_[step.application].depends[step.next - 1];
    }

    std::string NameOf(const Step& step) const {
        return Escaped(entries_[step.application].fields.appName);
    }

    // The cycle begins at this depth of the path and is closed by the last step.
    void Tell(size_t begin) {
        const std::string first = NameOf(path_[begin]);
        std::string chain = first;
        std::string lines;
        const size_t length = path_.size() - begin;
        for (size_t i = 0; i < length; ++i) {
            if (length > kMostSteps && i >= kMostSteps / 2 && i + kMostSteps / 2 < length) {
                if (i == kMostSteps / 2) {
                    chain += " -> ...";
                    lines += ", ...";
                }
                continue;
            }
            const Step& step = path_[begin + i];
            const std::string next = Escaped(Taken(step).name);
            chain += " -> " + next;
            lines += (lines.empty() ? "line " : ", line ") +
                     std::to_string(Taken(step).place.line) + " (" + NameOf(step) + " needs " +
                     next + ")";
        }
        findings_.Error(Taken(path_[begin]).place, "`" + first + "` depends on itself: " + chain,
                        "none of them could ever start; remove one of these steps: " + lines);
    }

    const std::vector<ApplicationEntry>& entries_;
    const std::unordered_map<std::string_view, size_t>& numbers_;
    Findings& findings_;
    std::vector<State> state_;
    std::unordered_map<size_t, size_t> depth_;  // on the path
    std::vector<Step> path_;
};

size_t Digits(size_t number) {
    return std::to_string(number).size();
}

}  // namespace

void CheckDependencies(const std::vector<ApplicationEntry>& entries, bool isWholeFile,
                       Findings& findings) {
    std::unordered_map<std::string_view, size_t> numbers;
    std::vector<std::string_view> names;
    for (const ApplicationEntry& entry : entries) {
        numbers.emplace(entry.fields.appName, names.size());
        names.push_back(entry.fields.appName);
    }
    Suggester suggester(std::move(names));
    for (const ApplicationEntry& entry : entries) {
        for (const Dependency& dependency : entry.depends) {
            const auto known = numbers.find(dependency.name);
            if (known == numbers.end()) {
                if (isWholeFile) {
                    findings.Error(dependency.place,
                                   "there is no application " + Quote(dependency.name),
                                   DidYouMean(suggester.Nearest(dependency.name)));
                }
            } else if (entry.fields.isAutoBoot && !entries[known->second].fields.isAutoBoot) {
                const std::string name = Quote(entry.fields.appName);
                findings.Warning(dependency.place,
                                 name + " starts with the group, but needs " +
                                     Quote(dependency.name) + ", which does not",
                                 name +
                                     " will not come up with the group, and the start of the "
                                     "group counts as failed: let " +
                                     Quote(dependency.name) + " start with the group too");
            }
        }
    }
    CycleFinder(entries, numbers, findings).Find();
}

void CheckRecordSizes(const std::vector<ApplicationEntry>& entries, Findings& findings) {
    for (const ApplicationEntry& entry : entries) {
        const std::vector<std::string>& arguments = entry.fields.arguments;
        // name, number of arguments, arguments, number of parameters: each with its separator
        size_t size = entry.fields.appName.size() + 1 + Digits(arguments.size()) + 1 + 2;
        for (const std::string& argument : arguments) {
            size += argument.size() + 1;
        }
        if (size > kLargestRecord) {
            findings.Error(entry.args ? *entry.args : entry.place,
                           "the start record of " + Quote(entry.fields.appName) + " would take " +
                               std::to_string(size) + " bytes; " + std::to_string(kLargestRecord) +
                               " is the most",
                           "give long texts in a file, or in `environment`");
        }
    }
}

void CheckLoadRecord(const std::string& path, const ParseAndDepend::MatchData& matchData,
                     Findings& findings) {
    std::string reason;
    if (!FitsRecord(path, reason)) {
        findings.Error({}, "the path of the file cannot hold " + reason);
    }
    size_t size = path.size() + 1 + Digits(matchData.size()) + 1;
    for (const auto& [name, value] : matchData) {
        size += name.size() + value.size() + 2;
        if (!FitsRecord(name, reason) || !FitsRecord(value, reason)) {
            findings.Error({}, "the replacement " + Quote(name) + " cannot hold " + reason);
        }
    }
    if (size > kLargestRecord) {
        findings.Error({}, "path and replacements take " + std::to_string(size) + " bytes; " +
                               std::to_string(kLargestRecord) + " is the most");
    }
}

}  // namespace GrpOwnerLinux
