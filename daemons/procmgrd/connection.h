#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/peer.h"
#include "daemons/procmgrd/pm_wire.h"
#include "daemons/procmgrd/report_queue.h"
#include "platform/linux/pipe_frame.h"

namespace ProcMgrDaemon {

class Connection;

class ConnectionHandler {
public:
    virtual ~ConnectionHandler() = default;

    /// @return what the welcome says: 0, or a negative errno, and then the connection ends
    virtual int32_t OnHello(Connection& connection) = 0;

    /// The welcome is on its way, and whatever is said from here on comes behind it.
    virtual void OnWelcomed(Connection& connection) = 0;
    virtual void OnRecord(Connection& connection, const Record& record) = 0;
    virtual int32_t OnCall(Connection& connection, const Record& record) = 0;

    /// Said once. The connection may not be destroyed in here.
    virtual void OnClosed(Connection& connection) = 0;
};

/// Our end of one owner's pipe. Nothing in here ever waits: what the socket does not take stays in
/// the queues until it is writable again. An owner that does not take what it is sent is not
/// listened to either once too much has gathered, so no memory is lost to it, and no report.
class Connection {
public:
    Connection(EventLoop& loop, ConnectionHandler& handler, Daemons::UniqueFd socket,
               const Peer& peer);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Welcomes nobody: says why to whoever has connected, hello or not.
    /// @param result negative errno
    static void Refuse(int socket, int32_t result);

    /// The reports that go out here, those of the group that this connection owns; null: none.
    void SetReports(ReportQueue* reports) { reports_ = reports; }

    /// Queues a record that overtakes no report made before it.
    void QueueRecord(const Record& record);

    /// Says which application's process that is, before anything that may still wait for reports.
    /// @param begun  not after the process was made
    /// @param application  empty: none any more
    void TellProcess(pid_t pid, std::chrono::steady_clock::time_point begun,
                     std::string_view application);

    /// Sends what can be sent now.
    void Flush();

    /// A fault for tests: reads nothing any more.
    void StopReading() { deaf_ = true; }

    int Socket() const { return socket_.Get(); }
    const Peer& GetPeer() const { return peer_; }
    const std::string& Owner() const { return owner_; }
    bool IsClosed() const { return closed_; }
    bool IsWelcome() const { return welcome_; }

private:
    struct Outgoing {
        std::string frame;
        uint64_t afterReports = 0;  // not before so many of the group's reports are out
    };

    void OnEvents(uint32_t events);
    bool ReadFrame();
    void HandleFrame(const GrpOwnerLinux::PipeFrameHeader& header, std::string_view payload);
    void HandleHello(std::string_view payload);
    void HandleCall(uint64_t sequence, std::string_view payload);
    void HandleHeartBeat();
    void Queue(GrpOwnerLinux::PipeFrameKind kind, uint64_t sequence, std::string_view payload,
               uint64_t afterReports);
    bool SendNext();
    bool ReportsWait() const;
    bool IsFrameDue() const;
    bool SendFrame();
    bool Send(const std::string& frame);
    void UpdateInterest();
    void Close(const std::string& reason);
    void Rearm(std::chrono::milliseconds delay, std::function<void()> action);

    EventLoop& loop_;
    ConnectionHandler& handler_;
    Daemons::UniqueFd socket_;
    const Peer peer_;
    std::string owner_;  // known since the hello
    ReportQueue* reports_ = nullptr;
    std::deque<Outgoing> outgoing_;
    std::optional<EventLoop::TimerId> timer_;  // of the hello, later of the heartbeat
    uint32_t interest_;
    bool welcome_ = false;
    bool blocked_ = false;  // the socket is full
    bool deaf_ = false;
    bool reset_ = false;  // the peer went with something unread
    bool closed_ = false;
    bool heartLost_ = false;
};

}  // namespace ProcMgrDaemon
