#include "daemons/procmgrd/observers.h"

#include <sys/socket.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "daemons/procmgrd/peer.h"

namespace ProcMgrDaemon {

namespace {

constexpr size_t kMostObservers = 64;

void RefuseForWantOfRoom(int socket) {
    Observer::Refuse(socket, "too-many", "too many read along already; try again later");
}

constexpr ServerSocketKind kSocket{SOCK_STREAM, 0666, "observers", RefuseForWantOfRoom};

}  // namespace

Observers::Observers(EventLoop& loop, ObserverHost& host, Journal& journal, const std::string& path,
                     const Options& options)
    : loop_(loop),
      host_(host),
      journal_(journal),
      options_(options),
      server_(loop, path, kSocket, std::nullopt,
              [this](Daemons::UniqueFd socket) { OnAccepted(std::move(socket)); }) {}

void Observers::OnAccepted(Daemons::UniqueFd socket) {
    const std::optional<Peer> peer = PeerOf(socket.Get());
    if (!peer) {
        return;
    }
    const bool seesAll = MayOwn(socket.Get(), *peer, options_.group);
    if (!seesAll && !host_.OwnsAny(peer->uid)) {
        // At once: strangers must not take the room of others.
        Observer::Refuse(socket.Get(), "not-allowed",
                         "user " + std::to_string(peer->uid) +
                             " may not read along; only root, the process manager's own user, " +
                             "members of its --group and the users of owners may");
    } else if (observers_.size() >= kMostObservers) {
        RefuseForWantOfRoom(socket.Get());
    } else {
        observers_.push_back(std::make_unique<Observer>(loop_, host_, journal_, std::move(socket),
                                                        *peer, seesAll,
                                                        options_.capture.ringBytes > 0));
    }
}

void Observers::Pump() {
    for (const auto& observer : observers_) {
        observer->Pump();
    }
    observers_.erase(std::remove_if(observers_.begin(), observers_.end(),
                                    [](const auto& observer) { return observer->IsClosed(); }),
                     observers_.end());
}

}  // namespace ProcMgrDaemon
