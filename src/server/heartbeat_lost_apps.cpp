#include "src/server/heartbeat_lost_apps.h"

#include "src/common/never_destroyed.h"

namespace ProcMgr {

HeartBeatLostApps& HeartBeatLostApps::GetInstance() {
    static NeverDestroyed<HeartBeatLostApps> instance;
    return *instance;
}

void HeartBeatLostApps::Update(const std::string& name, AppReportState state,
                               const std::function<void()>& notifyRecovery) {
    MutexLock lock(mutex_);
    switch (state) {
        case AppReportState::HEART_BEAT_LOST:
            names_.insert(name);
            break;
        case AppReportState::HEART_BEAT_RECOVERY:
            names_.erase(name);
            break;
        case AppReportState::SWITCH_ON:
            if (names_.count(name) > 0) {
                notifyRecovery();
                names_.erase(name);
            }
            break;
        default:
            break;
    }
}

}  // namespace ProcMgr
