#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/linux/host.h"

namespace GrpOwnerLinux {

namespace {

constexpr mode_t kSharedMode = 0755;
constexpr mode_t kPrivateMode = 0700;

// Makes the directory when it is missing, and refuses one in which somebody else could exchange
// the sockets.
bool Prepare(const std::string& path, mode_t mode, std::string& error) {
    const bool isNew = mkdir(path.c_str(), mode) == 0;
    if (!isNew && errno != EEXIST) {
        error = "cannot make the directory " + path + ": " + std::strerror(errno);
        return false;
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        error = path + " is not a directory; remove it, or name a directory in GRPOWNER_RUN_DIR";
        return false;
    }
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        error = path + " belongs to another user; remove it, or name a directory in " +
                "GRPOWNER_RUN_DIR";
        return false;
    }
    if (!isNew && (status.st_mode & S_IWOTH) != 0) {
        error = path + " may be written by everybody; take that right away (chmod o-w), or name " +
                "another directory in GRPOWNER_RUN_DIR";
        return false;
    }
    // The umask of whoever came first must not lock the others out, nor an old folder let them in.
    const bool mustChange = isNew || (mode == kPrivateMode && (status.st_mode & 0777) != mode);
    if (mustChange && chmod(path.c_str(), mode) != 0) {
        error = "cannot set the rights of " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

const char* NonEmpty(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

std::string SocketPath(std::string_view runDirectory, std::string_view name,
                       std::string_view ending) {
    std::string path(runDirectory);
    path += '/';
    path += name;
    path += ending;
    return path;
}

}  // namespace

std::string RunDirectory(std::string& error) {
    if (const char* named = NonEmpty("GRPOWNER_RUN_DIR")) {
        return Prepare(named, kSharedMode, error) ? named : std::string();
    }
    std::string shared;
    if (geteuid() == 0) {
        shared = "/run/grpowner";
    } else if (const char* runtime = NonEmpty("XDG_RUNTIME_DIR")) {
        shared = std::string(runtime) + "/grpowner";
    }
    std::string whyNotShared;
    if (!shared.empty() && Prepare(shared, kSharedMode, whyNotShared)) {
        return shared;
    }
    const char* temporary = NonEmpty("TMPDIR");
    std::string own = std::string(temporary == nullptr ? "/tmp" : temporary) + "/grpowner-" +
                      std::to_string(geteuid());
    std::string whyNotOwn;
    if (Prepare(own, kPrivateMode, whyNotOwn)) {
        return own;
    }
    error = whyNotShared.empty() ? whyNotOwn : whyNotShared + "; " + whyNotOwn;
    return {};
}

std::string PipePath(std::string_view runDirectory, std::string_view processName) {
    return SocketPath(runDirectory, processName, ".pipe");
}

std::string VirtualFilePath(std::string_view runDirectory, std::string_view name) {
    return SocketPath(runDirectory, name, ".vfs");
}

std::string QueuePath(std::string_view runDirectory, std::string_view name) {
    return SocketPath(runDirectory, name, ".queue");
}

}  // namespace GrpOwnerLinux
