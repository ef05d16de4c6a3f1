#include "platform/linux/connection_server.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/service_thread.h"
#include "platform/log_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogError = 3;

constexpr size_t kMaxConnections = 64;
// Fewer for others, so that they cannot keep this process out of itself, which orders its own end
// this way; and fewer still for those who may not change anything, so that they cannot keep out who
// may.
constexpr size_t kMaxOthers = 56;
constexpr size_t kMaxStrangers = 48;

size_t LimitFor(const ServedConnection& connection) {
    if (connection.IsOwn()) {
        return kMaxConnections;
    }
    return connection.Rights() == VirtualFileRights::kChange ? kMaxOthers : kMaxStrangers;
}

/// The servers of this process.
struct Servers {
    std::mutex mutex;
    std::vector<std::unique_ptr<ConnectionServer>> offered;
    pid_t process = 0;  // that offers; its forked children own none of the sockets
};

Servers& AllServers() {
    static Servers& servers = *new Servers;
    return servers;
}

// An orderly end leaves no socket behind; what a crash leaves is removed by the next owner.
void RemoveSockets() {
    Servers& servers = AllServers();
    std::lock_guard<std::mutex> lock(servers.mutex);
    if (servers.process == getpid()) {
        for (const auto& server : servers.offered) {
            server->Remove();
        }
    }
}

}  // namespace

int ConnectionServer::Offer(std::unique_ptr<ConnectionServer> server, const std::string& path,
                            std::string& reason) {
    Servers& servers = AllServers();
    std::lock_guard<std::mutex> lock(servers.mutex);
    const int result = server->Start(path, reason);
    if (result < 0) {
        return result;
    }
    if (servers.offered.empty()) {
        servers.process = getpid();
        (void)std::atexit(RemoveSockets);  // without it the next owner removes them
    }
    servers.offered.push_back(std::move(server));
    return 0;
}

int ConnectionServer::Start(const std::string& path, std::string& reason) {
    const int listener = socket_.Open(path, reason);
    if (listener < 0) {
        return listener;
    }
    try {
        StartServiceThread([this, listener] { Accept(listener); }).detach();
    } catch (const std::system_error& error) {
        socket_.Remove();
        reason = std::string("no thread for ") + path + ": " + error.what();
        return -EAGAIN;
    }
    return 0;
}

void ConnectionServer::Accept(int listener) {
    for (int peer = AcceptNext(listener); peer >= 0; peer = AcceptNext(listener)) {
        auto connection = make_(peer);
        if (Admit(*connection)) {
            Start(std::move(connection));
        }
    }
}

bool ConnectionServer::Admit(ServedConnection& connection) {
    const size_t limit = LimitFor(connection);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (connections_ < limit) {
            ++connections_;
            return true;
        }
    }
    connection.Refuse(-EBUSY, "too many " + what_ + ": " + std::to_string(limit) +
                                  " are there; try again when one of them has gone");
    return false;
}

void ConnectionServer::Start(std::shared_ptr<ServedConnection> connection) {
    try {
        StartServiceThread([this, connection]() mutable {
            Serve(*connection);
            connection.reset();
            Leave();
        }).detach();
    } catch (const std::system_error&) {
        connection->Refuse(-EAGAIN, "the owner has no thread to serve this connection");
        Leave();
    }
}

void ConnectionServer::Serve(ServedConnection& connection) const {
    try {
        connection.Serve();
    } catch (const std::exception& error) {
        LogServiceError("one of the " + what_ + " has been let go: " + error.what());
    }
}

void ConnectionServer::Leave() {
    std::lock_guard<std::mutex> lock(mutex_);
    --connections_;
}

void LogServiceError(const std::string& text) {
    if (CheckLogLevel(kLogModule, kLogError) == 1) {
        DlogInner(kLogModule, kLogError, "%s", text.c_str());
    }
}

bool IsServiceName(const char* name) {
    const std::string_view text(name == nullptr ? "" : name);
    return !text.empty() && text.find('/') == std::string_view::npos;
}

}  // namespace GrpOwnerLinux
