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

// Makes the directory when it is missing, and refuses one that belongs to somebody else: whoever
// owns it could exchange the sockets in it.
bool Prepare(const std::string& path, mode_t mode, std::string& error) {
    if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST) {
        error = "cannot make the directory " + path + ": " + std::strerror(errno);
        return false;
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        error = path + " is not a directory";
        return false;
    }
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        error = path + " belongs to another user; remove it, or name a directory in " +
                "GRPOWNER_RUN_DIR";
        return false;
    }
    return true;
}

const char* NonEmpty(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

}  // namespace

std::string RunDirectory(std::string& error) {
    std::string path;
    mode_t mode = kSharedMode;
    if (const char* named = NonEmpty("GRPOWNER_RUN_DIR")) {
        path = named;
    } else if (geteuid() == 0) {
        path = "/run/grpowner";
    } else if (const char* runtime = NonEmpty("XDG_RUNTIME_DIR")) {
        path = std::string(runtime) + "/grpowner";
    } else {
        const char* temporary = NonEmpty("TMPDIR");
        path = std::string(temporary == nullptr ? "/tmp" : temporary) + "/grpowner-" +
               std::to_string(geteuid());
        mode = kPrivateMode;
    }
    return Prepare(path, mode, error) ? path : std::string();
}

std::string PipePath(std::string_view runDirectory, std::string_view processName) {
    std::string path(runDirectory);
    path += '/';
    path += processName;
    path += ".pipe";
    return path;
}

}  // namespace GrpOwnerLinux
