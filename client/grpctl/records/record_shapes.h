#pragma once
// What can stand in the data of a record, as data: a row for each field.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace GrpCtl {

/// How fields are written: as text that ends in '#', or numbers in the host's order and texts
/// behind their length.
enum class Coding { kText, kBinary };

enum class FieldType {
    kText,
    kNumber,
    kByte,      // one byte, of binary data alone
    kList,      // a number of items, then the items
    kPieces,    // one more than there will be items
    kItems,     // as many items as there are pieces, less one
    kUntilEnd,  // items for as long as there is data
    kLast,      // a number that needs no '#'
};

struct FieldShape {
    const char* name;
    FieldType type;
    uint64_t most = UINT32_MAX;                  // of a number, or of items
    std::string (*meaning)(uint64_t) = nullptr;  // of a number; empty: it has none
    const FieldShape* items = nullptr;           // ends in one without a name
    bool isSigned = false;                       // a negative number is good whatever `most` is
};

struct PayloadShape {
    const char* name;  // as it is typed, or as it is shown
    Coding coding;
    const FieldShape* fields;  // ends in one without a name
};

/// By the type that stands in a record of the process manager; null: none of that number.
const PayloadShape* PmShape(uint32_t type);

/// By the name that is typed for a record of the system-state manager; null: none of that name.
const PayloadShape* SsShape(std::string_view name);

}  // namespace GrpCtl
