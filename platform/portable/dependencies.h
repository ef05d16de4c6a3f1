#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/manifest_service.h"

/// Which application depends on which: a view of what is kept elsewhere, constant and sorted by
/// name.
class Dependencies {
public:
    struct Entry {
        const std::string* name;
        const std::set<std::string>* depends;
    };

    Dependencies() = default;
    /// @param manifests of different names
    explicit Dependencies(const std::vector<ApplicationManifest>& manifests);
    Dependencies(const ParseAndDepend::DependsMap& depends);  // NOLINT: the same, seen otherwise

    /// Null when there is none of that name.
    const Entry* Find(const std::string& name) const;

    ParseAndDepend::DependsMap ToMap() const;

private:
    std::vector<Entry> entries_;
};
