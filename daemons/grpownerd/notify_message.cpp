#include "daemons/grpownerd/notify_message.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "daemons/common/unique_fd.h"

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

/// What the kernel shows of a process, or a negative errno when it is gone or cannot be looked at.
int ReadOf(pid_t pid, const char* file, std::string& text) {
    char path[64];
    (void)std::snprintf(path, sizeof(path), "/proc/%d/%s", pid, file);
    const Daemons::UniqueFd opened(open(path, O_RDONLY | O_CLOEXEC));
    if (!opened) {
        return -errno;
    }
    char chunk[4096];
    ssize_t count = 0;
    text.clear();
    while ((count = read(opened.Get(), chunk, sizeof(chunk))) > 0) {
        text.append(chunk, static_cast<size_t>(count));
    }
    return count < 0 ? -errno : 0;
}

// The name stands before it in brackets and may hold anything.
pid_t ParentOf(pid_t pid) {
    std::string stat;
    if (const int error = ReadOf(pid, "stat", stat)) {
        return error;
    }
    const size_t bracket = stat.rfind(')');
    pid_t parent = 0;
    const bool isRead = bracket != std::string::npos &&
                        std::sscanf(stat.c_str() + bracket, ") %*c %d", &parent) == 1;
    return isRead ? parent : -ESRCH;
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
    std::string environment;
    sender.error = -ReadOf(sender.leader, "environ", environment);
    if (FindVariable(environment, "GRPOWNER_OWNER") == owner) {
        sender.application = FindVariable(environment, "GRPOWNER_APPLICATION");
    }
    return sender;
}

}  // namespace GrpOwnerDaemon
