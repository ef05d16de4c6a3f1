#include "platform/secure_memory.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// No object is larger: a greater size is a negative number that lost its sign.
constexpr size_t kLargestSize = SIZE_MAX / 2;

bool Overlap(const void* destination, const void* source, size_t count) {
    const auto to = reinterpret_cast<uintptr_t>(destination);
    const auto from = reinterpret_cast<uintptr_t>(source);
    return to < from + count && from < to + count;
}

int Zeroed(void* destination, size_t size, int error) {
    std::memset(destination, 0, size);
    return error;
}

}  // namespace

int memcpy_s(void* destination, size_t destinationSize, const void* source, size_t count) {
    if (destination == nullptr || destinationSize > kLargestSize) {
        return EINVAL;
    }
    if (count == 0) {
        return 0;
    }
    if (source == nullptr) {
        return Zeroed(destination, destinationSize, EINVAL);
    }
    if (count > destinationSize) {
        return Zeroed(destination, destinationSize, ERANGE);
    }
    if (Overlap(destination, source, count)) {
        return Zeroed(destination, destinationSize, EINVAL);
    }
    std::memcpy(destination, source, count);
    return 0;
}

int memset_s(void* destination, size_t destinationSize, int value, size_t count) {
    if (destination == nullptr || destinationSize > kLargestSize) {
        return EINVAL;
    }
    if (count > destinationSize) {
        return Zeroed(destination, destinationSize, ERANGE);
    }
    std::memset(destination, value, count);
    return 0;
}
