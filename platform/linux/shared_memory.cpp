#include "platform/linux/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLongestName = 200;  // the kernel takes 249

bool Seal(int fd) {
    constexpr int kFixedSize = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
    if (fcntl(fd, F_ADD_SEALS, kFixedSize | F_SEAL_FUTURE_WRITE) == 0) {
        return true;
    }
    // A kernel before 5.1: a reader can then spoil what it reads itself, and nothing else.
    return errno == EINVAL && fcntl(fd, F_ADD_SEALS, kFixedSize) == 0;
}

}  // namespace

std::shared_ptr<SharedMemory> SharedMemory::Make(const std::string& name, size_t size) {
    const int fd =
        memfd_create(name.substr(0, kLongestName).c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) {
        return nullptr;
    }
    std::shared_ptr<SharedMemory> memory(new SharedMemory(fd, size));
    return memory->Reserve() ? memory : nullptr;
}

bool SharedMemory::Reserve() {
    if (const int code = posix_fallocate(fd_, 0, static_cast<off_t>(size_)); code != 0) {
        errno = code;
        return false;
    }
    void* mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
    if (mapped == MAP_FAILED) {
        return false;
    }
    bytes_ = static_cast<char*>(mapped);
    return Seal(fd_);
}

SharedMemory::~SharedMemory() {
    const int code = errno;  // of what has failed in Make
    if (bytes_ != nullptr) {
        (void)munmap(bytes_, size_);
    }
    (void)close(fd_);  // nothing is buffered that could be lost
    errno = code;
}

}  // namespace GrpOwnerLinux
