#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "grpowner/enumerations.h"
#include "src/common/sync.h"

namespace ProcMgr {

/// The restart batch. It wakes once, when all its applications are done. Nothing else is taken
/// under its mutex.
struct RestartAppsInfo {
    void ClearNotified() EXCLUDES(mutex);

    /// Records a result, the first one.
    void Report(const std::string& name, AppChangeState state) EXCLUDES(mutex);

    mutable Mutex mutex;
    std::map<std::string, AppChangeState> restartAppsResult GUARDED_BY(mutex);
    CondVar condition;
    bool notified GUARDED_BY(mutex) = false;
    std::atomic<uint32_t> timeout{0};  // milliseconds

private:
    bool IsDoneLocked() const REQUIRES(mutex);
};

}  // namespace ProcMgr
