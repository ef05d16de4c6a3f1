#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace GrpOwnerLinux {

/// Memory that other processes can map: a memfd of a fixed size and our mapping of it. Constant
/// after construction; what lies in it is its user's to synchronise.
class SharedMemory {
public:
    /// All of it is there from the start, so that no later access fails for want of memory.
    /// @return empty on failure, with errno set
    static std::shared_ptr<SharedMemory> Make(const std::string& name, size_t size);

    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// For readers: neither its size nor, through them, its bytes can be changed.
    int Descriptor() const { return fd_; }
    char* Bytes() const { return bytes_; }

private:
    SharedMemory(int fd, size_t size) : fd_(fd), size_(size) {}
    bool Reserve();

    const int fd_;
    const size_t size_;
    char* bytes_ = nullptr;
};

}  // namespace GrpOwnerLinux
