#pragma once
// Bounds-checked memory functions, with the semantics of C11 Annex K.
//
// On failure the whole destination is zeroed where it is usable (not null and not absurdly large)
// and a non-zero error number is returned; errno is not set. A count of 0 succeeds.

#include <cstddef>

#include "platform/export.h"

extern "C" {

/// Copies `count` bytes into a destination of `destinationSize` bytes. The two must not overlap.
[[nodiscard]] GRPOWNER_PLATFORM_EXPORT int memcpy_s(void* destination, size_t destinationSize,
                                                    const void* source, size_t count);

/// Sets the first `count` bytes of a destination of `destinationSize` bytes.
[[nodiscard]] GRPOWNER_PLATFORM_EXPORT int memset_s(void* destination, size_t destinationSize,
                                                    int value, size_t count);
}
