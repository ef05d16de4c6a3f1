#include "client/event_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <utility>

#include "platform/linux/queue_frame.h"

namespace GrpOwnerClient {

std::optional<EventMemory> EventMemory::Map(const OwnedDescriptor& descriptor) {
    const int seals = fcntl(descriptor.Get(), F_GET_SEALS);
    struct stat status {};
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || fstat(descriptor.Get(), &status) != 0 ||
        status.st_size <= 0 ||
        static_cast<uint64_t>(status.st_size) > GrpOwnerLinux::kMaxQueueMemory) {
        return std::nullopt;
    }
    const auto size = static_cast<size_t>(status.st_size);
    void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor.Get(), 0);
    if (mapped == MAP_FAILED) {
        return std::nullopt;
    }
    return EventMemory(static_cast<const char*>(mapped), size);
}

EventMemory::~EventMemory() {
    if (bytes_ != nullptr) {
        (void)munmap(const_cast<char*>(bytes_), size_);
    }
}

EventMemory::EventMemory(EventMemory&& other) noexcept
    : bytes_(std::exchange(other.bytes_, nullptr)), size_(std::exchange(other.size_, 0)) {}

EventMemory& EventMemory::operator=(EventMemory&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    std::swap(size_, other.size_);
    return *this;
}

std::optional<std::string> EventMemory::Read(uint64_t offset, size_t length) const {
    if (offset > size_ || length > size_ - offset) {
        return std::nullopt;
    }
    return std::string(bytes_ + offset, length);
}

}  // namespace GrpOwnerClient
