#pragma once
// Builds the graphs of a batch from the dependencies. Both take time and memory near-linear in
// the part of the map that they visit.

#include <string>
#include <vector>

#include "platform/manifest_service.h"
#include "platform/portable/dependencies.h"

/// The requested names and all that they depend on; a vertex waits for what it depends on. Names
/// that the map does not know go to `unknown`. What only an unknown dependency would need is no
/// vertex: nothing waits for it.
DependGraph BuildStartGraph(const Dependencies& depends, const std::vector<std::string>& names,
                            std::vector<std::string>& unknown);

/// The requested known names only; a vertex waits for those that depend on it, directly or through
/// applications that are not requested.
DependGraph BuildTermGraph(const Dependencies& depends, const std::vector<std::string>& names,
                           std::vector<std::string>& unknown);
