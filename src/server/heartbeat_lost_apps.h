#pragma once

#include <functional>
#include <set>
#include <string>

#include "grpowner/enumerations.h"
#include "src/common/sync.h"

namespace ProcMgr {

/// The applications whose heartbeat is lost: in with a lost notice, out with a recovery notice or
/// with the next start. Its mutex is left of all others.
class HeartBeatLostApps {
public:
    /// The one of the process. Never destroyed: the heartbeat service may still call at exit.
    static HeartBeatLostApps& GetInstance();

    /// @param notifyRecovery called, with the mutex held, when an application starts whose
    /// heartbeat
    ///        is still lost: the subscriber learns of the recovery even if no notice ever comes
    void Update(const std::string& name, AppReportState state,
                const std::function<void()>& notifyRecovery) EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::set<std::string> names_ GUARDED_BY(mutex_);
};

}  // namespace ProcMgr
