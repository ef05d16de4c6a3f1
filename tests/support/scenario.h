#pragma once
// All that a scenario is told with.

#include "platform/memory/memory_platform.h"
#include "src/manager/application_manager.h"
#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/requests.h"

namespace GrpOwnerTest {

using namespace GrpOwnerMemory;
using ProcMgr::ApplicationManager;
using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using Texts = std::vector<std::string>;

}  // namespace GrpOwnerTest
