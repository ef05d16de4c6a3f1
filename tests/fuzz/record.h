#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace GrpOwnerFuzz {

/// A record that begins with these bytes.
template <typename Record>
Record RecordOf(const uint8_t* bytes, size_t size) {
    Record record{};
    std::memcpy(&record, bytes, std::min(size, sizeof(record)));
    return record;
}

}  // namespace GrpOwnerFuzz
