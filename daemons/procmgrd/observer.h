#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/observer_request.h"
#include "daemons/procmgrd/peer.h"

namespace ProcMgrDaemon {

/// What observers ask the daemon.
class ObserverHost {
public:
    virtual ~ObserverHost() = default;

    /// Of the process that owns, or has owned last, the group of this owner.
    virtual std::optional<uid_t> UserOf(const std::string& owner) const = 0;
    virtual bool OwnsAny(uid_t user) const = 0;
    virtual bool HasApplication(const std::string& owner, const std::string& name) const = 0;
};

/// One who reads along. First he asks, by one line; then he is told what is past and, if he wants,
/// what comes. He is told from the journal itself: of a reader who is slow nothing is kept but his
/// place in it and one batch of lines, and what the journal has lost meanwhile he is told as a gap.
class Observer {
public:
    /// @param seesAll  or else only what belongs to an owner of the peer's user
    Observer(EventLoop& loop, ObserverHost& host, Journal& journal, Daemons::UniqueFd socket,
             const Peer& peer, bool seesAll, bool isOutputKept);
    ~Observer();
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

    /// Says what can be said now, a batch at most.
    void Pump();

    bool IsClosed() const { return phase_ == Phase::kClosed; }

    /// One line that says why, to whoever is there.
    static void Refuse(int socket, const char* error, const std::string& reason);

private:
    enum class Phase { kAsking, kTelling, kLeaving, kClosed };
    struct Source;

    void OnEvents(uint32_t events);
    void Read();
    void TakeRequest(std::string_view line);
    bool IsAllowed() const;
    void Begin();
    void FillBatch();
    std::vector<Source> FindSources();
    void TellNextLine(std::vector<Source>& sources);
    const ProcessEvent& NextEvent() const;
    bool IsEventDue() const;
    void TellNextEvent();
    void SkipOtherEvents();
    void LeaveWith(const char* error, const std::string& reason);
    void Send();
    void UpdateInterest();
    void Close();

    EventLoop& loop_;
    ObserverHost& host_;
    Journal& journal_;
    Daemons::UniqueFd socket_;
    const Peer peer_;
    const bool seesAll_;
    const bool isOutputKept_;
    Phase phase_ = Phase::kAsking;
    std::string asked_;  // as far as it has come
    std::optional<EventLoop::TimerId> timer_;
    ObserverRequest request_;
    uint64_t seen_ = 0;   // what has a lower sequence number has been told, or was not asked for
    uint64_t until_ = 0;  // from this sequence number on, nothing is told any more
    uint64_t nextEvent_ = 0;
    std::unordered_map<uint64_t, uint64_t> nextLines_;  // by the log's id; others: the first line
    OutputLine line_;                                   // its room is used again
    std::string batch_;
    size_t sent_ = 0;  // of the batch
    uint32_t interest_;
    bool isDeaf_ = false;  // the peer says no more
    bool isBlocked_ = false;
};

}  // namespace ProcMgrDaemon
