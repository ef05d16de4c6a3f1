// State queries.

#include "src/common/never_destroyed.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

namespace {

/// The wait for the process manager's answer; one for all managers, as there is one pipe.
struct QueryResponse {
    Mutex queryAppStateRespMutex_;
    CondVar waitQueryAppStateRespConditionVar_;
};

QueryResponse& Response() {
    static NeverDestroyed<QueryResponse> response;
    return *response;
}

}  // namespace

// The querying thread holds the mutex from before it sends until it sleeps: with a lock and an
// unlock the wake-up cannot fall in between.
void ApplicationManager::NotifyQueryAppState() {
    QueryResponse& response = Response();
    { MutexLock lock(response.queryAppStateRespMutex_); }
    response.waitQueryAppStateRespConditionVar_.NotifyOne();
}

}  // namespace ProcMgr
