#pragma once

#include <string>
#include <vector>

#include "grpowner/app_records.h"

namespace GrpOwnerBench {

using AppList = std::vector<ProcMgr::AppInfoForServer>;

constexpr size_t kGroupSize = 1024;

/// The first `count` applications of a shape: "wide" depend on nothing, of "chain" each depends on
/// the one before it.
AppList Apps(const std::string& shape, size_t count);

/// The one group of this process, over the platform in memory: kGroupSize applications of each
/// shape, none of them started. The process manager answers at once, the log is silent.
void NeedGroup();

/// Carries a change set out; its CPU time in seconds. All of it happens on the calling thread, and
/// other time would be that of a busy machine.
/// @throw std::runtime_error when it fails
double Change(const AppList& term, const AppList& start, const AppList& restart);

}  // namespace GrpOwnerBench
