#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/listening_socket.h"
#include "platform/linux/virtual_file_rights.h"

namespace GrpOwnerLinux {

/// A peer of a service. Its functions are called by one thread at a time.
class ServedConnection {
public:
    ServedConnection() = default;
    virtual ~ServedConnection() = default;
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

    virtual VirtualFileRights Rights() const = 0;

    /// Whether this very process is the peer.
    virtual bool IsOwn() const = 0;

    /// Does all that there is to do for the peer, until it goes away.
    virtual void Serve() = 0;

    /// Tells the peer why it is not served.
    virtual void Refuse(int32_t code, std::string_view reason) = 0;
};

/// A socket whose peers are served side by side: one thread accepts, one serves each connection.
/// The mutex guards the count; the rest is constant once it runs. Never destroyed once it has been
/// started: its threads go on while the process exits.
class ConnectionServer {
public:
    /// Takes the peer's socket over.
    using Maker = std::function<std::shared_ptr<ServedConnection>(int socket)>;

    /// @param what a connection is called in messages, with its name: "readers of news"
    /// @param type of the socket
    ConnectionServer(std::string what, Maker make, int type = SOCK_SEQPACKET)
        : what_(std::move(what)), make_(std::move(make)), socket_(type) {}

    /// Serves the socket from now on, in the place of one that a dead process left behind. An
    /// orderly end of the process removes it.
    /// @param reason in words, when the result is negative
    /// @return 0 or negative errno
    static int Offer(std::unique_ptr<ConnectionServer> server, const std::string& path,
                     std::string& reason);

    void Remove() { socket_.Remove(); }

private:
    int Start(const std::string& path, std::string& reason);
    void Accept(int listener);
    bool Admit(ServedConnection& connection);
    void Start(std::shared_ptr<ServedConnection> connection);
    void Serve(ServedConnection& connection) const;
    void Leave();

    const std::string what_;
    const Maker make_;
    ListeningSocket socket_;
    std::mutex mutex_;
    size_t connections_ = 0;
};

/// Logs at the platform's level for errors.
void LogServiceError(const std::string& text);

/// Whether a service of this name can have a socket.
bool IsServiceName(const char* name);

}  // namespace GrpOwnerLinux
