// Virtual files and queues. The owner's operations run on the thread of whoever opens, commands and
// closes.

#include "platform/messaging_service.h"

#include <cerrno>

#include "platform/memory/messaging_state.h"

namespace GrpOwnerMemory {

namespace {

using Lock = std::lock_guard<std::mutex>;

/// Adds a service to its table unless a script or another one of that name is in the way.
template <typename Descriptor, typename Operations>
int Offer(MessagingCall call, const Descriptor& descriptor,
          std::map<std::string, const Operations*>& table) {
    int result = 0;
    {
        Messaging& messaging = Messaging::State();
        const Lock lock(messaging.mutex);
        if (const std::optional<int> scripted = messaging.script.Next(call)) {
            result = *scripted;
        } else if (!table.emplace(descriptor.name, descriptor.operations).second) {
            result = -EADDRINUSE;
        }
        messaging.offered.push_back({call, descriptor.name, descriptor.timeout, result});
    }
    TellWaiters();
    return result;
}

template <typename Operations>
const Operations* Find(const std::map<std::string, const Operations*>& table,
                       const std::string& name) {
    const Lock lock(Messaging::State().mutex);
    const auto found = table.find(name);
    return found == table.end() ? nullptr : found->second;
}

/// What the owner answers; a service without the operation lets everybody in.
template <typename Operations, typename File>
int OpenFile(const Operations* operations, File& file) {
    if (operations == nullptr) {
        return -ENOENT;
    }
    return operations->open == nullptr ? 0 : operations->open(&file);
}

}  // namespace

void ScriptMessaging(MessagingCall call, int result, unsigned times) {
    const Lock lock(Messaging::State().mutex);
    Messaging::State().script.Add(call, result, times);
}

std::vector<OfferedService> OfferedServices() {
    const Lock lock(Messaging::State().mutex);
    return Messaging::State().offered;
}

void ResetMessaging() {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    messaging.script = {};
    messaging.offered.clear();
    messaging.files.clear();
    messaging.queues.clear();
    messaging.readers.clear();
    messaging.pools.clear();
    messaging.blocks.clear();
}

VirtualFileClient::VirtualFileClient(const std::string& name)
    : name_(name), file_{name_.c_str()}, operations_(Find(Messaging::State().files, name)) {
    openResult_ = OpenFile(operations_, file_);
}

VirtualFileClient::~VirtualFileClient() {
    if (openResult_ >= 0 && operations_->close != nullptr) {
        (void)operations_->close(&file_);  // the client is gone already
    }
}

int VirtualFileClient::Ioctl(unsigned command, void* buffer, size_t length) {
    if (openResult_ < 0 || operations_->ioctl == nullptr) {
        return -EBADF;
    }
    IAMIoctlArg argument{length, buffer};
    return operations_->ioctl(&file_, command, &argument);
}

QueueReader::QueueReader(const std::string& queueName, const std::string& readerName)
    : name_(readerName), operations_(Find(Messaging::State().queues, queueName)) {
    Messaging& messaging = Messaging::State();
    {
        const Lock lock(messaging.mutex);
        file_ = {name_.c_str(), ++messaging.lastHandle};
        messaging.readers[file_.queue];
    }
    openResult_ = OpenFile(operations_, file_);
    if (openResult_ < 0) {
        const Lock lock(messaging.mutex);
        messaging.readers.erase(file_.queue);
    }
}

void QueueReader::Close() {
    if (openResult_ < 0) {
        return;
    }
    if (operations_->close != nullptr) {
        (void)operations_->close(&file_);  // the reader is gone already
    }
    const Lock lock(Messaging::State().mutex);
    Messaging::State().readers.erase(file_.queue);
    openResult_ = -EBADF;
}

std::vector<std::string> QueueReader::Take() {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    std::vector<std::string> taken;
    const auto reader = messaging.readers.find(file_.queue);
    if (reader == messaging.readers.end()) {
        return taken;
    }
    for (const uint64_t handle : reader->second) {
        const auto block = messaging.blocks.find(handle);
        if (block != messaging.blocks.end()) {  // or its pool is gone
            taken.push_back(block->second.bytes);
            messaging.blocks.erase(block);
        }
    }
    reader->second.clear();
    return taken;
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

int IAMRegisterService(const IAMServiceDescriptor* descriptor) {
    if (const auto decided = AskCallHook("IAMRegisterService", descriptor->name)) {
        return *decided;
    }
    return Offer(MessagingCall::kRegisterService, *descriptor, Messaging::State().files);
}

int IAMRegisterQueueService(const IAMQueueDescriptor* descriptor) {
    return Offer(MessagingCall::kRegisterQueue, *descriptor, Messaging::State().queues);
}
