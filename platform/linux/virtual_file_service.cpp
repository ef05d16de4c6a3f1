// The virtual-file service over Unix-domain sockets: a connection is an open file with a thread of
// its own.

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/linux/connection_server.h"
#include "platform/linux/host.h"
#include "platform/linux/recorder.h"
#include "platform/linux/virtual_file_connection.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

namespace {

/// What files that are registered from now on tell and allow.
struct CurrentOptions {
    std::mutex mutex;
    VirtualFileOptions options;
};

CurrentOptions& Current() {
    static CurrentOptions& current = *new CurrentOptions;
    return current;
}

// Texts that do not fit any more are left out: a client does without them.
void AddFact(std::string& facts, const std::string& key, const std::string& value) {
    if (facts.size() + key.size() + value.size() + 2 <= kMaxVirtualFileBuffer) {
        facts.append(key).append("=").append(value).push_back('\0');
    }
}

std::string Facts(const VirtualFileOptions& options) {
    std::string facts;
    AddFact(facts, "owner", options.owner);
    AddFact(facts, "pid", std::to_string(getpid()));
    AddFact(facts, "configuration", options.configuration);
    for (const auto& [name, value] : options.matchData) {
        std::string define = name;
        define.append("=").append(value);
        AddFact(facts, "define", define);
    }
    return facts;
}

int Register(const IAMServiceDescriptor& descriptor, std::string& reason) {
    const std::string directory = RunDirectory(reason);
    if (directory.empty()) {
        return -ENOENT;
    }
    VirtualFileOptions options;
    {
        CurrentOptions& current = Current();
        std::lock_guard<std::mutex> lock(current.mutex);
        options = current.options;
    }
    std::string facts = Facts(options);
    const auto file = std::make_shared<const OfferedFile>(
        OfferedFile{descriptor.name, descriptor.operations, descriptor.timeout, std::move(options),
                    geteuid(), std::move(facts)});
    auto server = std::make_unique<ConnectionServer>(
        "connections to " + file->name,
        [file](int socket) { return std::make_shared<VirtualFileConnection>(socket, *file); });
    return ConnectionServer::Offer(std::move(server), VirtualFilePath(directory, file->name),
                                   reason);
}

}  // namespace

void SetVirtualFileOptions(VirtualFileOptions options) {
    CurrentOptions& current = Current();
    std::lock_guard<std::mutex> lock(current.mutex);
    current.options = std::move(options);
}

}  // namespace GrpOwnerLinux

int IAMRegisterService(const IAMServiceDescriptor* descriptor) {
    if (descriptor == nullptr || descriptor->operations == nullptr ||
        !GrpOwnerLinux::IsServiceName(descriptor->name)) {
        return -EINVAL;
    }
    const auto record = GrpOwnerLinux::RecordAsk(
        "serve-file", [descriptor](auto& fields) { fields(descriptor->name); });
    std::string reason;
    const int result = GrpOwnerLinux::Register(*descriptor, reason);
    if (result < 0) {
        GrpOwnerLinux::LogServiceError(std::string("virtual file ") + descriptor->name + ": " +
                                       reason);
    }
    return record.Result(result);
}
