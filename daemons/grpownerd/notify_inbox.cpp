#include "daemons/grpownerd/notify_inbox.h"

#include <algorithm>
#include <utility>

namespace GrpOwnerDaemon {

namespace {

// Anybody may write to the socket, so what waits may be nobody's. Those of our group wait until the
// pipe has been read, however long a report keeps its thread busy.
constexpr size_t kMostWaiting = 1024;
constexpr std::chrono::seconds kPatience{60};

}  // namespace

NotifyInbox::NotifyInbox(Finder finder, Handler handler)
    : finder_(std::move(finder)), handler_(std::move(handler)) {}

void NotifyInbox::Take(pid_t leader, const NotifyMessage& message) {
    const Waiting taken{leader, Clock::now(), message};
    DropOld(taken.since);
    if (!Waits(leader) && Handle(taken)) {
        return;
    }
    if (waiting_.size() == kMostWaiting) {
        waiting_.pop_front();
    }
    waiting_.push_back(taken);
    isAnybodyWaiting_ = true;
    LookAt(leader);  // once more: nobody tells of what has become known before that was set
}

// Those of one leader; 0: all.
void NotifyInbox::LookAt(pid_t leader) {
    DropOld(Clock::now());
    std::deque<Waiting> before;
    before.swap(waiting_);
    for (const Waiting& one : before) {
        if ((leader != 0 && leader != one.leader) || !Handle(one)) {
            waiting_.push_back(one);
        }
    }
    isAnybodyWaiting_ = !waiting_.empty();
}

bool NotifyInbox::Handle(const Waiting& waiting) const {
    const NotifySender sender{waiting.leader, finder_(waiting.leader, waiting.since)};
    if (sender.application.empty()) {
        return false;
    }
    handler_(sender, waiting.message);
    return true;
}

void NotifyInbox::DropOld(Clock::time_point now) {
    while (!waiting_.empty() && waiting_.front().since + kPatience < now) {
        waiting_.pop_front();
    }
}

bool NotifyInbox::Waits(pid_t leader) const {
    return std::any_of(waiting_.begin(), waiting_.end(),
                       [leader](const Waiting& one) { return one.leader == leader; });
}

}  // namespace GrpOwnerDaemon
