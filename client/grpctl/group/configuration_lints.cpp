#include "client/grpctl/group/configuration_lints.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerLinux::ApplicationEntry;
using GrpOwnerLinux::ConfigurationFile;
using GrpOwnerLinux::Dependency;
using GrpOwnerLinux::Findings;
using GrpOwnerLinux::Quote;
using Entries = std::vector<ApplicationEntry>;

NeedsByNumber Number(const Entries& entries) {
    std::unordered_map<std::string_view, size_t> numbers;
    for (const ApplicationEntry& entry : entries) {
        numbers.emplace(entry.fields.appName, numbers.size());
    }
    NeedsByNumber needs;
    for (const ApplicationEntry& entry : entries) {
        needs.emplace_back();
        for (const Dependency& dependency : entry.depends) {
            needs.back().push_back(numbers.at(dependency.name));
        }
    }
    return needs;
}

void TellRedundant(const Entries& entries, const NeedsByNumber& needs,
                   const std::vector<RedundantNeed>& redundant, Findings& findings) {
    for (const RedundantNeed& one : redundant) {
        const std::vector<size_t>& list = needs[one.application];
        const auto place = std::find(list.begin(), list.end(), one.needed) - list.begin();
        const Dependency& dependency = entries[one.application].depends[static_cast<size_t>(place)];
        findings.Warning(dependency.place,
                         Quote(entries[one.application].fields.appName) + " needs " +
                             Quote(dependency.name) + " already through " +
                             Quote(entries[one.through].fields.appName),
                         "nothing changes when it is left out here");
    }
}

// What starts with the group and needs a template has been complained about by the reader.
void TellTemplates(const Entries& entries, const NeedsByNumber& needs, Findings& findings) {
    for (size_t number = 0; number < entries.size(); ++number) {
        const ApplicationEntry& entry = entries[number];
        for (size_t index = 0; index < needs[number].size(); ++index) {
            if (entry.fields.isAutoBoot || !entries[needs[number][index]].fields.isDynamicPara) {
                continue;
            }
            const std::string name = Quote(entry.fields.appName);
            const std::string needed = Quote(entry.depends[index].name);
            std::string message = entry.fields.isDynamicPara ? "the template " : "";
            message += name + " is out of reach until somebody starts the template ";
            std::string help = "who starts only " + name + " gets ";
            help += needed + " without parameters, or nothing";
            findings.Warning(entry.depends[index].place, message + needed, std::move(help));
        }
    }
}

std::vector<std::string> LeftDown(const Entries& entries, const Dependencies& dependencies) {
    Names down;
    for (const ApplicationEntry& entry : entries) {
        if (!entry.fields.isAutoBoot) {
            down.insert(entry.fields.appName);
        }
    }
    const Names needing = dependencies.AllNeeding(down);  // but not those themselves
    std::vector<std::string> names;
    for (const ApplicationEntry& entry : entries) {
        if (needing.count(entry.fields.appName) > 0) {
            names.push_back(entry.fields.appName);
        }
    }
    return names;
}

Overview LookOver(const Entries& entries, const DependencyStudy& study) {
    Overview overview;
    Dependencies::Map needs;
    for (const ApplicationEntry& entry : entries) {
        overview.names.push_back(entry.fields.appName);
        needs[entry.fields.appName] = entry.fields.depends;
        overview.autostarts += entry.fields.isAutoBoot ? 1 : 0;
        overview.templates += entry.fields.isDynamicPara ? 1 : 0;
    }
    overview.dependencies = Dependencies(std::move(needs));
    overview.leftDown = LeftDown(entries, overview.dependencies);
    for (const size_t number : study.deepest) {
        overview.deepest.push_back(overview.names[number]);
    }
    const auto most = std::max_element(study.falls.begin(), study.falls.end());
    if (most != study.falls.end() && *most > 0) {
        overview.mostNeeded = overview.names[static_cast<size_t>(most - study.falls.begin())];
    }
    return overview;
}

}  // namespace

Overview Lint(ConfigurationFile& file) {
    const Entries& entries = file.Applications();
    const NeedsByNumber needs = Number(entries);
    const DependencyStudy study = Study(needs);
    TellRedundant(entries, needs, study.redundant, file.Complaints());
    TellTemplates(entries, needs, file.Complaints());
    return LookOver(entries, study);
}

}  // namespace GrpCtl
