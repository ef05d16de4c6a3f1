#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "client/owned_descriptor.h"

namespace GrpOwnerClient {

/// The memory in which events lie, mapped for reading. Whoever has sent the descriptor is not
/// believed: memory that could shrink under the reader is refused, and every place is checked.
class EventMemory {
public:
    /// @return empty when the descriptor is no such memory; the mapping outlives it
    static std::optional<EventMemory> Map(const OwnedDescriptor& descriptor);

    ~EventMemory();
    EventMemory(EventMemory&& other) noexcept;
    EventMemory& operator=(EventMemory&& other) noexcept;
    EventMemory(const EventMemory&) = delete;
    EventMemory& operator=(const EventMemory&) = delete;

    /// A copy of these bytes; empty when they do not lie in the memory.
    std::optional<std::string> Read(uint64_t offset, size_t length) const;

private:
    EventMemory(const char* bytes, size_t size) : bytes_(bytes), size_(size) {}

    const char* bytes_ = nullptr;
    size_t size_ = 0;
};

}  // namespace GrpOwnerClient
