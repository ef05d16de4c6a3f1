#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "grpowner/enumerations.h"
#include "platform/manifest_service.h"
#include "src/common/sync.h"

namespace ProcMgr {

/// The term batch. Results and graph have a mutex each, which are never held together, and nothing
/// else is taken under either.
struct TermAppInfo {
    /// No batch is waiting: its first pass does not wait.
    void SetNotified() EXCLUDES(resultMutex);

    /// Records a result, the first one, and takes the name out of the graph whatever the result: a
    /// failed termination also frees what it depended on.
    void Report(const std::string& name, AppChangeState state) EXCLUDES(resultMutex, graphMutex);

    mutable Mutex resultMutex;
    std::map<std::string, AppChangeState> termAppsResult GUARDED_BY(resultMutex);
    mutable Mutex graphMutex;
    DependGraph termGraph GUARDED_BY(graphMutex);
    CondVar condition;
    bool notified GUARDED_BY(resultMutex) = true;
    std::atomic<uint32_t> timeout{0};  // milliseconds

private:
    bool Record(const std::string& name, AppChangeState state) EXCLUDES(resultMutex);
};

}  // namespace ProcMgr
