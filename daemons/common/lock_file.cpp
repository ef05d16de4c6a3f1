#include "daemons/common/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Daemons {

namespace {

bool IsStillThere(int fd, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

}  // namespace

LockFile::LockFile(std::string path, const std::string& whenHeld) : path_(std::move(path)) {
    do {
        file_.Reset(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file_ || flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
            if (file_ && errno == EWOULDBLOCK) {
                throw std::runtime_error(whenHeld);
            }
            throw std::system_error(errno, std::generic_category(), "cannot lock " + path_);
        }
    } while (!IsStillThere(file_.Get(), path_));
}

LockFile::~LockFile() {
    // While the lock is held; who waits for it looks whether its file is still the one with the
    // name.
    (void)unlink(path_.c_str());
}

}  // namespace Daemons
