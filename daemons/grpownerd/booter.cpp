#include "daemons/grpownerd/booter.h"

#include <utility>

namespace GrpOwnerDaemon {

Booter::Booter(ProcMgr::ProcMgrGrpOwner& owner, GroupView& view,
               std::function<void(bool isAllUp)> afterFirst)
    : owner_(owner), view_(view), afterFirst_(std::move(afterFirst)), thread_([this] { Run(); }) {}

bool Booter::Stop() {
    view_.Stop();
    if (isStarting_) {
        thread_.detach();
        return false;
    }
    thread_.join();
    return true;
}

void Booter::Run() {
    view_.BootBegins();
    bool isAllUp = owner_.StartAutoStartApp();
    size_t settled = view_.SettledBase();
    view_.BootEnds(isAllUp);
    afterFirst_(isAllUp);
    isStarting_ = false;
    while (!isAllUp && view_.WaitForMoreThan(settled)) {
        isStarting_ = true;
        settled = view_.SettledBase();
        isAllUp = owner_.StartAutoStartApp();
        view_.BootEnds(isAllUp);
        isStarting_ = false;
    }
}

}  // namespace GrpOwnerDaemon
