#pragma once

#include <map>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "grpowner/enumerations.h"
#include "src/trace/trace.h"

namespace ProcMgr {

/// What has become of each application of a batch.
using BatchResults = std::map<std::string, AppChangeState>;

/// Turns what is still untouched into `failed`; logs every entry.
/// @param what "Start", "Term" or "Restart"
void MarkUntouched(BatchResults& results, const char* what, AppChangeState failed,
                   Trace::Phase& phase);

/// Appends a line for each entry; logs those that did not succeed.
/// @return whether all of them succeeded
bool AppendResults(const BatchResults& results, const char* what,
                   std::vector<AppChangeInfo>& lines);

}  // namespace ProcMgr
