#pragma once

#include <unistd.h>

#include <utility>

namespace GrpOwnerClient {

/// Owns an open descriptor, or none (-1).
class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int fd) : fd_(fd) {}
    ~OwnedDescriptor() { Close(); }
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        if (this != &other) {
            Close();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int Get() const { return fd_; }

private:
    void Close() {
        if (fd_ >= 0) {
            (void)close(fd_);  // nothing is buffered that could be lost
        }
    }

    int fd_ = -1;
};

}  // namespace GrpOwnerClient
