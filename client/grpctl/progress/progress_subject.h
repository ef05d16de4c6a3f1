#pragma once

#include <string>

#include "client/grpctl/change/plan.h"
#include "client/grpctl/group/group.h"
#include "client/grpctl/progress/progress.h"

namespace GrpCtl {

/// A change set, as its progress needs it: each application with what it waits for.
/// @param group with the states before
Subject SubjectOf(const std::string& verb, const std::string& did, const Plan& plan,
                  const Dependencies& dependencies, const Group& group);

/// The same for a stop of everything that is alive.
Subject SubjectOfStopAll(const Group& group);

}  // namespace GrpCtl
