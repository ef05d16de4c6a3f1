#include "daemons/grpownerd/notify_message.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>

namespace GrpOwnerDaemon {

namespace {

constexpr std::string_view kStatus = "STATUS=";

// The value of a variable in an environment as the kernel shows it; empty when it is not there.
std::string FindVariable(std::string_view environment, std::string_view name) {
    while (!environment.empty()) {
        const size_t end = environment.find('\0');
        const std::string_view entry = environment.substr(0, end);
        if (entry.size() > name.size() && entry.substr(0, name.size()) == name &&
            entry[name.size()] == '=') {
            return std::string(entry.substr(name.size() + 1));
        }
        environment.remove_prefix(end == std::string_view::npos ? environment.size() : end + 1);
    }
    return {};
}

// A negative errno when the process is gone or cannot be looked at. The name stands before it in
// brackets and may hold anything.
pid_t ParentOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    if (!file) {
        return -errno;
    }
    std::string stat;
    std::getline(file, stat, '\0');
    char state = 0;
    pid_t parent = 0;
    std::istringstream(stat.substr(stat.rfind(')') + 1)) >> state >> parent;
    return parent;
}

}  // namespace

NotifyMessage ParseNotifyMessage(std::string_view text) {
    NotifyMessage message;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        message.isReady |= line == "READY=1";
        message.isStopping |= line == "STOPPING=1";
        message.isHeartBeat |= line == "WATCHDOG=1";
        if (line.substr(0, kStatus.size()) == kStatus) {
            message.status = line.substr(kStatus.size());
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return message;
}

NotifySender ResolveSender(pid_t pid, std::string_view owner, pid_t manager) {
    NotifySender sender;
    sender.leader = getpgid(pid);
    if (sender.leader <= 0) {
        return sender;
    }
    const pid_t parent = ParentOf(sender.leader);
    if (parent != manager) {
        sender.error = parent < 0 ? -parent : 0;
        return sender;
    }
    std::ifstream file("/proc/" + std::to_string(sender.leader) + "/environ", std::ios::binary);
    const std::string environment{std::istreambuf_iterator<char>(file), {}};
    if (FindVariable(environment, "GRPOWNER_OWNER") == owner) {
        sender.application = FindVariable(environment, "GRPOWNER_APPLICATION");
    }
    return sender;
}

}  // namespace GrpOwnerDaemon
