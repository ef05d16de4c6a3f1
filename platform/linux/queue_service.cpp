// The queue service over Unix-domain sockets: one thread for each queue accepts readers, one for
// each reader opens its file, takes back its blocks and closes it.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/host.h"
#include "platform/linux/listening_socket.h"
#include "platform/linux/queue_connection.h"
#include "platform/linux/service_thread.h"
#include "platform/linux/virtual_file_rights.h"
#include "platform/log_service.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogError = 3;

constexpr size_t kMaxReaders = 64;
// Fewer for strangers, so that they cannot keep out the system's own readers.
constexpr size_t kMaxStrangers = 48;

using ConnectionPtr = std::shared_ptr<QueueConnection>;

void LogError(const std::string& text) {
    if (CheckLogLevel(kLogModule, kLogError) == 1) {
        DlogInner(kLogModule, kLogError, "%s", text.c_str());
    }
}

/// The readers of all queues by their handle, from before their file opens until it is closed.
/// The mutex guards the map and the last handle; nothing is called under it.
class Readers {
public:
    /// @return the handle of the next reader
    uint64_t NextHandle() {
        std::lock_guard<std::mutex> lock(mutex_);
        return ++lastHandle_;
    }

    void Add(uint64_t handle, ConnectionPtr connection) {
        std::lock_guard<std::mutex> lock(mutex_);
        connections_.emplace(handle, std::move(connection));
    }

    void Remove(uint64_t handle) {
        std::lock_guard<std::mutex> lock(mutex_);
        connections_.erase(handle);
    }

    ConnectionPtr Find(uint64_t handle) {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = connections_.find(handle);
        return found == connections_.end() ? nullptr : found->second;
    }

private:
    std::mutex mutex_;
    uint64_t lastHandle_ = 0;
    std::map<uint64_t, ConnectionPtr> connections_;
};

// Never destroyed: readers are served while the process exits.
Readers& AllReaders() {
    static Readers& readers = *new Readers;
    return readers;
}

/// Serves one queue. The mutex guards the count; the rest is constant once it runs.
class QueueServer {
public:
    QueueServer(std::string name, const IAMQueueOperations& operations)
        : name_(std::move(name)), operations_(operations) {}

    int Start(const std::string& path, std::string& reason) {
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

    void Remove() { socket_.Remove(); }

private:
    void Accept(int listener) {
        for (int peer = AcceptNext(listener); peer >= 0; peer = AcceptNext(listener)) {
            const auto credentials = ReadPeerCredentials(peer);
            const uint64_t handle = AllReaders().NextHandle();
            const auto connection = std::make_shared<QueueConnection>(peer, name_, handle);
            if (Admit(credentials, *connection)) {
                Start(handle, connection);
            }
        }
    }

    bool Admit(const std::optional<PeerCredentials>& peer, QueueConnection& connection) {
        if (!peer) {
            connection.Refuse(-EACCES, "the system does not tell who connects");
            return false;
        }
        const auto rights = RightsOf(*peer, geteuid(), std::nullopt);
        const size_t limit = rights == VirtualFileRights::kChange ? kMaxReaders : kMaxStrangers;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (readers_ < limit) {
                ++readers_;
                return true;
            }
        }
        connection.Refuse(-EBUSY, "too many readers of " + name_ + ": " + std::to_string(limit) +
                                      " are there; try again when one of them has gone");
        return false;
    }

    void Start(uint64_t handle, const ConnectionPtr& connection) {
        try {
            StartServiceThread([this, handle, connection = ConnectionPtr(connection)]() mutable {
                Serve(handle, connection);
                connection.reset();
                Leave();
            }).detach();
        } catch (const std::system_error&) {
            connection->Refuse(-EAGAIN, "the owner has no thread to serve this reader");
            Leave();
        }
    }

    void Serve(uint64_t handle, const ConnectionPtr& connection) {
        try {
            AllReaders().Add(handle, connection);
            connection->Serve(operations_);
        } catch (const std::exception& error) {
            LogError("a reader of " + name_ + " has been let go: " + error.what());
        }
        AllReaders().Remove(handle);
    }

    void Leave() {
        std::lock_guard<std::mutex> lock(mutex_);
        --readers_;
    }

    const std::string name_;
    const IAMQueueOperations& operations_;
    ListeningSocket socket_;
    std::mutex mutex_;
    size_t readers_ = 0;
};

/// The queues of this process.
struct Queues {
    std::mutex mutex;
    std::vector<std::unique_ptr<QueueServer>> servers;
    pid_t process = 0;  // that has registered; its forked children own none of the sockets
};

// Never destroyed, like the readers.
Queues& AllQueues() {
    static Queues& queues = *new Queues;
    return queues;
}

// An orderly end leaves no socket behind; what a crash leaves is removed by the next owner.
void RemoveSockets() {
    Queues& queues = AllQueues();
    std::lock_guard<std::mutex> lock(queues.mutex);
    if (queues.process == getpid()) {
        for (const auto& server : queues.servers) {
            server->Remove();
        }
    }
}

bool IsUsable(const IAMQueueDescriptor* descriptor) {
    if (descriptor == nullptr || descriptor->name == nullptr || descriptor->operations == nullptr ||
        descriptor->flags != 0) {
        return false;
    }
    const std::string_view name(descriptor->name);
    return !name.empty() && name.find('/') == std::string_view::npos;
}

// The time-out of the descriptor has no meaning here: nothing that the service does for a reader
// waits.
int Register(const IAMQueueDescriptor& descriptor, std::string& reason) {
    const std::string directory = RunDirectory(reason);
    if (directory.empty()) {
        return -ENOENT;
    }
    Queues& queues = AllQueues();
    std::lock_guard<std::mutex> lock(queues.mutex);
    auto server = std::make_unique<QueueServer>(descriptor.name, *descriptor.operations);
    const int result = server->Start(QueuePath(directory, descriptor.name), reason);
    if (result < 0) {
        return result;
    }
    if (queues.servers.empty()) {
        queues.process = getpid();
        (void)std::atexit(RemoveSockets);  // without it the next owner removes them
    }
    queues.servers.push_back(std::move(server));
    return 0;
}

}  // namespace

}  // namespace GrpOwnerLinux

int IAMRegisterQueueService(const IAMQueueDescriptor* descriptor) {
    if (!GrpOwnerLinux::IsUsable(descriptor)) {
        return -EINVAL;
    }
    std::string reason;
    const int result = GrpOwnerLinux::Register(*descriptor, reason);
    if (result < 0) {
        GrpOwnerLinux::LogError(std::string("queue ") + descriptor->name + ": " + reason);
    }
    return result;
}

int IAMDataEnqueue(uint64_t queue, IAMShmPool* pool, const IAMShmBlock* block) {
    if (pool == nullptr || block == nullptr) {
        return -EINVAL;
    }
    const auto connection = GrpOwnerLinux::AllReaders().Find(queue);
    return connection == nullptr ? -EBADF : connection->Enqueue(pool->handle, block->handle);
}
