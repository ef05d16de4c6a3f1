#include "src/manager/batch_results.h"

#include "src/common/logging.h"

namespace ProcMgr {

namespace {

std::string NameOf(AppChangeState state) {
    return GetAppState(static_cast<uint64_t>(state));
}

}  // namespace

void MarkUntouched(BatchResults& results, const char* what, AppChangeState failed,
                   Trace::Phase& phase) {
    for (auto& [name, state] : results) {
        GRP_INFO("%s appName=%s state=%s", what, name.c_str(), NameOf(state).c_str());
        if (state == AppChangeState::INIT) {
            state = failed;
            phase.Result(name, failed);
            GRP_ERROR("mark %s to %s", name.c_str(), NameOf(failed).c_str());
        }
    }
}

bool AppendResults(const BatchResults& results, const char* what,
                   std::vector<AppChangeInfo>& lines) {
    bool isAllDone = true;
    for (const auto& [name, state] : results) {
        lines.push_back({name, state});
        if (state != AppChangeState::SUCCESS) {
            GRP_ERROR("%s app failed. (name=%s,result=%s)", what, name.c_str(),
                      NameOf(state).c_str());
            isAllDone = false;
        }
    }
    return isAllDone;
}

}  // namespace ProcMgr
