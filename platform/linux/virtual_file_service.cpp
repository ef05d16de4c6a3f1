// The virtual-file service over Unix-domain sockets: one thread for each virtual file accepts, one
// for each connection serves.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/host.h"
#include "platform/linux/listening_socket.h"
#include "platform/linux/service_thread.h"
#include "platform/linux/virtual_file_connection.h"
#include "platform/log_service.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogError = 3;

constexpr size_t kMaxConnections = 64;
// Fewer for those who may only ask, so that they cannot keep out who may change.
constexpr size_t kMaxQueryConnections = 48;

void LogError(const std::string& text) {
    if (CheckLogLevel(kLogModule, kLogError) == 1) {
        DlogInner(kLogModule, kLogError, "%s", text.c_str());
    }
}

/// Serves one virtual file. The mutex guards the count; the rest is constant once it runs.
class VirtualFileServer {
public:
    explicit VirtualFileServer(OfferedFile file) : file_(std::move(file)) {}

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
    using ConnectionPtr = std::shared_ptr<VirtualFileConnection>;

    void Accept(int listener) {
        for (int peer = AcceptNext(listener); peer >= 0; peer = AcceptNext(listener)) {
            const auto connection = std::make_shared<VirtualFileConnection>(peer, file_);
            if (Admit(*connection)) {
                Start(connection);
            }
        }
    }

    bool Admit(VirtualFileConnection& connection) {
        const size_t limit = connection.Rights() == VirtualFileRights::kChange
                                 ? kMaxConnections
                                 : kMaxQueryConnections;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (connections_ < limit) {
                ++connections_;
                return true;
            }
        }
        connection.Refuse(-EBUSY, "too many connections to " + file_.name + ": " +
                                      std::to_string(limit) +
                                      " are open; try again when one of them has ended");
        return false;
    }

    void Start(const ConnectionPtr& connection) {
        try {
            StartServiceThread([this, connection = ConnectionPtr(connection)]() mutable {
                Serve(*connection);
                connection.reset();
                Leave();
            }).detach();
        } catch (const std::system_error&) {
            connection->Refuse(-EAGAIN, "the owner has no thread to serve this connection");
            Leave();
        }
    }

    void Serve(VirtualFileConnection& connection) {
        try {
            connection.Serve();
        } catch (const std::exception& error) {
            LogError("a connection to " + file_.name + " has ended: " + error.what());
        }
    }

    void Leave() {
        std::lock_guard<std::mutex> lock(mutex_);
        --connections_;
    }

    const OfferedFile file_;
    ListeningSocket socket_;
    std::mutex mutex_;
    size_t connections_ = 0;
};

/// The virtual files of this process.
struct VirtualFiles {
    std::mutex mutex;
    VirtualFileOptions options;
    std::vector<std::unique_ptr<VirtualFileServer>> servers;
    pid_t process = 0;  // that has registered; its forked children own none of the sockets
};

// Never destroyed: connections are served while the process exits.
VirtualFiles& AllFiles() {
    static VirtualFiles& files = *new VirtualFiles;
    return files;
}

// An orderly end leaves no socket behind; what a crash leaves is removed by the next owner.
void RemoveSockets() {
    VirtualFiles& files = AllFiles();
    std::lock_guard<std::mutex> lock(files.mutex);
    if (files.process == getpid()) {
        for (const auto& server : files.servers) {
            server->Remove();
        }
    }
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
        std::string pair = name;
        AddFact(facts, "define", pair.append("=").append(value));
    }
    return facts;
}

bool IsUsable(const IAMServiceDescriptor* descriptor) {
    if (descriptor == nullptr || descriptor->name == nullptr || descriptor->operations == nullptr) {
        return false;
    }
    const std::string_view name(descriptor->name);
    return !name.empty() && name.find('/') == std::string_view::npos;
}

int Register(const IAMServiceDescriptor& descriptor, std::string& reason) {
    const std::string directory = RunDirectory(reason);
    if (directory.empty()) {
        return -ENOENT;
    }
    VirtualFiles& files = AllFiles();
    std::lock_guard<std::mutex> lock(files.mutex);
    auto server = std::make_unique<VirtualFileServer>(
        OfferedFile{descriptor.name, descriptor.operations, descriptor.timeout, files.options,
                    geteuid(), Facts(files.options)});
    const int result = server->Start(VirtualFilePath(directory, descriptor.name), reason);
    if (result < 0) {
        return result;
    }
    if (files.servers.empty()) {
        files.process = getpid();
        (void)std::atexit(RemoveSockets);  // without it the next owner removes them
    }
    files.servers.push_back(std::move(server));
    return 0;
}

}  // namespace

void SetVirtualFileOptions(VirtualFileOptions options) {
    VirtualFiles& files = AllFiles();
    std::lock_guard<std::mutex> lock(files.mutex);
    files.options = std::move(options);
}

}  // namespace GrpOwnerLinux

int IAMRegisterService(const IAMServiceDescriptor* descriptor) {
    if (!GrpOwnerLinux::IsUsable(descriptor)) {
        return -EINVAL;
    }
    std::string reason;
    const int result = GrpOwnerLinux::Register(*descriptor, reason);
    if (result < 0) {
        GrpOwnerLinux::LogError(std::string("virtual file ") + descriptor->name + ": " + reason);
    }
    return result;
}
