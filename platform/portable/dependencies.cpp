#include "platform/portable/dependencies.h"

#include <algorithm>

Dependencies::Dependencies(const std::vector<ApplicationManifest>& manifests) {
    entries_.reserve(manifests.size());
    for (const ApplicationManifest& manifest : manifests) {
        entries_.push_back({&manifest.GetAppName(), &manifest.GetDependList()});
    }
    std::sort(entries_.begin(), entries_.end(),
              [](const Entry& left, const Entry& right) { return *left.name < *right.name; });
}

Dependencies::Dependencies(const ParseAndDepend::DependsMap& depends) {
    entries_.reserve(depends.size());
    for (const auto& [name, needed] : depends) {
        entries_.push_back({&name, &needed});
    }
}

const Dependencies::Entry* Dependencies::Find(const std::string& name) const {
    const auto found = std::lower_bound(
        entries_.begin(), entries_.end(), name,
        [](const Entry& entry, const std::string& wanted) { return *entry.name < wanted; });
    return found != entries_.end() && *found->name == name ? &*found : nullptr;
}

ParseAndDepend::DependsMap Dependencies::ToMap() const {
    ParseAndDepend::DependsMap depends;
    for (const Entry& entry : entries_) {
        depends.emplace_hint(depends.end(), *entry.name, *entry.depends);
    }
    return depends;
}
