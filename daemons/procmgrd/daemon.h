#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "daemons/common/lock_file.h"
#include "daemons/common/supervisor.h"
#include "daemons/procmgrd/connection.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/group.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/observers.h"
#include "daemons/procmgrd/options.h"
#include "daemons/procmgrd/outputs.h"
#include "daemons/procmgrd/server_socket.h"

namespace ProcMgrDaemon {

/// The process manager: connections come and go, groups belong to names of owners. The newest
/// connection of a name owns its group; older ones are heard no more. When the newest is lost, a
/// new one may take over within the grace; then the group is ended, dependants first.
/// Everything happens on the one thread that runs the loop.
class Daemon : public ConnectionHandler, public ObserverHost {
public:
    /// @param runDirectory exists
    Daemon(const Options& options, const std::string& runDirectory);
    ~Daemon() override;

    /// Returns when all has ended after SIGTERM or SIGINT.
    /// @return the status to exit with
    int Run();

private:
    struct Owned {
        std::unique_ptr<Group> group;
        Connection* connection = nullptr;  // the newest one, while it is open
        std::optional<EventLoop::TimerId> grace;
        uid_t user = 0;  // of the newest connection, also when it is lost
    };

    void OnAccepted(Daemons::UniqueFd socket);
    int32_t OnHello(Connection& connection) override;
    void OnWelcomed(Connection& connection) override;
    void OnRecord(Connection& connection, const Record& record) override;
    int32_t OnCall(Connection& connection, const Record& record) override;
    void OnClosed(Connection& connection) override;

    std::optional<uid_t> UserOf(const std::string& owner) const override;
    bool OwnsAny(uid_t user) const override;
    bool HasApplication(const std::string& owner, const std::string& name) const override;

    Owned* OwnedBy(const Connection& connection);
    bool Dispatch(Group& group, Connection& connection, const Record& record);
    void AnswerQuery(Group& group, Connection& connection, const std::vector<std::string>& names);
    int32_t LoadConfigurationOf(Group& group, const Record& record);
    void LoseOwner(Owned& owned);
    void OnSignals();
    void OnSignal(int number);
    void BeginShutdown();
    void OnRoundEnd();
    void ForgetEnded();
    void TellStatusSoon();
    void TellStatus();
    void BeatWatchdog();

    const Options options_;
    Daemons::UniqueFd signals_;
    Spawner spawner_;  // after the signals, before all that takes descriptors
    const size_t mostConnections_;
    Faults faults_;
    Daemons::Supervisor supervisor_;
    EventLoop loop_;
    Children children_{loop_};
    Journal journal_;
    Outputs outputs_{loop_, options_.capture, journal_};
    Workplace workplace_;
    std::map<std::string, Owned> owned_;  // by the owner's name
    std::vector<std::unique_ptr<Connection>> connections_;
    std::optional<Daemons::LockFile> lock_;  // of the run directory's sockets
    std::unique_ptr<ServerSocket> server_;
    std::optional<Observers> observers_;
    std::optional<EventLoop::TimerId> statusTimer_;
    // Owners and reports when the status was last told.
    std::optional<std::pair<size_t, uint64_t>> statusOf_;
    std::string status_;
    bool shuttingDown_ = false;
};

}  // namespace ProcMgrDaemon
