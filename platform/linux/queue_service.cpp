// The queue service over Unix-domain sockets: a reader has a thread of its own, which opens its
// file, takes back its blocks and closes it.

#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/connection_server.h"
#include "platform/linux/host.h"
#include "platform/linux/queue_connection.h"
#include "platform/linux/virtual_file_rights.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

namespace {

using ConnectionPtr = std::shared_ptr<QueueConnection>;

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

/// A reader as the server of its queue serves it.
class Reader : public ServedConnection {
public:
    Reader(int socket, const std::string& name, const IAMQueueOperations& operations)
        : operations_(operations),
          peer_(ReadPeerCredentials(socket)),
          handle_(AllReaders().NextHandle()),
          connection_(std::make_shared<QueueConnection>(socket, name, handle_)) {}

    VirtualFileRights Rights() const override {
        return peer_ ? RightsOf(*peer_, geteuid(), std::nullopt) : VirtualFileRights::kNone;
    }

    bool IsOwn() const override { return peer_ && peer_->process == getpid(); }

    void Serve() override {
        if (!peer_) {
            Refuse(-EACCES, "the system does not tell who connects");
            return;
        }
        const Entry entry(handle_, connection_);
        connection_->Serve(operations_);
    }

    void Refuse(int32_t code, std::string_view reason) override {
        connection_->Refuse(code, reason);
    }

private:
    /// Among all readers for a scope.
    class Entry {
    public:
        Entry(uint64_t handle, const ConnectionPtr& connection) : handle_(handle) {
            AllReaders().Add(handle, connection);
        }
        ~Entry() { AllReaders().Remove(handle_); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        const uint64_t handle_;
    };

    const IAMQueueOperations& operations_;
    const std::optional<PeerCredentials> peer_;
    const uint64_t handle_;
    const ConnectionPtr connection_;
};

// The time-out of the descriptor has no meaning here: nothing that the service does for a reader
// waits.
int Register(const IAMQueueDescriptor& descriptor, std::string& reason) {
    const std::string directory = RunDirectory(reason);
    if (directory.empty()) {
        return -ENOENT;
    }
    const std::string name = descriptor.name;
    auto server = std::make_unique<ConnectionServer>(
        "readers of " + name, [name, operations = descriptor.operations](int socket) {
            return std::make_shared<Reader>(socket, name, *operations);
        });
    return ConnectionServer::Offer(std::move(server), QueuePath(directory, name), reason);
}

}  // namespace

}  // namespace GrpOwnerLinux

int IAMRegisterQueueService(const IAMQueueDescriptor* descriptor) {
    if (descriptor == nullptr || descriptor->operations == nullptr || descriptor->flags != 0 ||
        !GrpOwnerLinux::IsServiceName(descriptor->name)) {
        return -EINVAL;
    }
    std::string reason;
    const int result = GrpOwnerLinux::Register(*descriptor, reason);
    if (result < 0) {
        GrpOwnerLinux::LogServiceError(std::string("queue ") + descriptor->name + ": " + reason);
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
