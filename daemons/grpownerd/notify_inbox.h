#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <string>

#include "daemons/grpownerd/notify_message.h"

namespace GrpOwnerDaemon {

/// Finds out which application has sent a message. A process may be faster than the process
/// manager's word of it: its messages wait for that a moment, in their order. Used by one thread
/// but for what is marked.
class NotifyInbox {
public:
    using Clock = std::chrono::steady_clock;

    /// The application whose process that was then, and still is; empty: none known.
    using Finder = std::function<std::string(pid_t leader, Clock::time_point when)>;
    using Handler = std::function<void(const NotifySender&, const NotifyMessage&)>;

    NotifyInbox(Finder finder, Handler handler);

    /// @param leader of the sender's process group, which the sender belonged to just now
    void Take(pid_t leader, const NotifyMessage& message);

    /// To be called when a new process may have become known and somebody waits.
    void LookAgain() { LookAt(0); }

    /// For any thread. Whoever makes a process known and asks then misses nobody.
    bool IsAnybodyWaiting() const { return isAnybodyWaiting_; }

private:
    struct Waiting {
        pid_t leader = 0;
        Clock::time_point since;
        NotifyMessage message;
    };

    bool Handle(const Waiting& waiting) const;
    void LookAt(pid_t leader);
    void DropOld(Clock::time_point now);
    bool Waits(pid_t leader) const;

    const Finder finder_;
    const Handler handler_;
    std::deque<Waiting> waiting_;  // the oldest first
    std::atomic<bool> isAnybodyWaiting_{false};
};

}  // namespace GrpOwnerDaemon
