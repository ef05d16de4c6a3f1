#include "client/grpctl/group/session.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/host.h"

namespace GrpCtl {

namespace {

namespace fs = std::filesystem;
using GrpOwnerClient::SsClient;

// Where sockets may lie: one's own directory, then that of the system.
std::vector<std::string> Directories() {
    constexpr char kShared[] = "/run/grpowner";
    std::string error;
    const std::string own = GrpOwnerLinux::RunDirectory(error);
    if (own.empty()) {
        throw Failure{kUnreachable, "cannot reach the group owner", error,
                      "name the socket with --socket PATH"};
    }
    const char* const named = std::getenv("GRPOWNER_RUN_DIR");
    if ((named != nullptr && *named != '\0') || own == kShared) {
        return {own};
    }
    return {own, kShared};
}

std::vector<fs::path> SocketsIn(const std::string& directory, const std::string& ending) {
    std::vector<fs::path> sockets;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ending) {
            sockets.push_back(entry->path());
        }
    }
    std::sort(sockets.begin(), sockets.end());
    return sockets;
}

struct Kind {
    const char* ending;
    std::string (*path)(std::string_view directory, std::string_view name);
    const char* many;     // "group owners"
    const char* choice;   // how to choose one
    const char* missing;  // what to say when there is none
    const char* help;     // and what to do then
};

constexpr Kind kOwners{".vfs",
                       GrpOwnerLinux::VirtualFilePath,
                       "group owners",
                       "--owner NAME",
                       "cannot reach the group owner",
                       "start the demo with `./dev demo`, or name the socket with --socket PATH"};
constexpr Kind kQueues{".queue",
                       GrpOwnerLinux::QueuePath,
                       "event queues",
                       "`grpctl events NAME`",
                       "there is no event queue",
                       "an owner offers events when it is started with --events NAME"};

std::string FindNamed(const std::string& name, const Kind& kind) {
    const std::vector<std::string> directories = Directories();
    for (const std::string& directory : directories) {
        std::string path = kind.path(directory, name);
        std::error_code error;
        if (fs::exists(path, error)) {
            return path;
        }
    }
    return kind.path(directories.front(), name);  // the attempt to connect says the rest
}

Failure SeveralOf(const std::vector<fs::path>& sockets, const Kind& kind) {
    std::string names;
    for (const fs::path& socket : sockets) {
        names.append(names.empty() ? "" : ", ").append(socket.stem().string());
    }
    return {kWrongUsage, std::string("there are several ") + kind.many + ": " + names, "",
            std::string("choose one with ") + kind.choice};
}

std::string FindOnly(const Kind& kind) {
    const std::vector<std::string> directories = Directories();
    for (const std::string& directory : directories) {
        const std::vector<fs::path> sockets = SocketsIn(directory, kind.ending);
        if (sockets.size() > 1) {
            throw SeveralOf(sockets, kind);
        }
        if (sockets.size() == 1) {
            return sockets.front();
        }
    }
    throw Failure{kUnreachable, kind.missing,
                  std::string("there is no *") + kind.ending + " in " + directories.front(),
                  kind.help};
}

SsClient Connect(const std::string& path) {
    auto client = SsClient::Connect(path);
    if (!client && client.GetError().kind == GrpOwnerClient::ErrorKind::kTimeout) {
        throw Failure{kNoAnswer, "the group owner does not answer", client.GetError().message, ""};
    }
    return Need(std::move(client));
}

}  // namespace

std::string FindOwnerSocket(const Options& options) {
    if (!options.socket.empty()) {
        return options.socket;
    }
    return options.owner.empty() ? FindOnly(kOwners) : FindNamed(options.owner, kOwners);
}

std::vector<std::string> OwnerNames() {
    std::vector<std::string> names;
    for (const std::string& directory : Directories()) {
        for (const fs::path& socket : SocketsIn(directory, kOwners.ending)) {
            names.push_back(socket.stem().string());
        }
    }
    return names;
}

std::string FindQueueSocket(const Options& options, const std::string& name) {
    if (!name.empty()) {
        return name.find('/') == std::string::npos ? FindNamed(name, kQueues) : name;
    }
    return options.owner.empty() ? FindOnly(kQueues) : FindNamed(options.owner, kQueues);
}

Session::Session(const Options& options)
    : options_(options), socket_(FindOwnerSocket(options)), client_(Connect(socket_)) {
    client_.SetInterrupt(interrupt_.Descriptor());
}

}  // namespace GrpCtl
