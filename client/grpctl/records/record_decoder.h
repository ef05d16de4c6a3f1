#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace GrpCtl {

/// A piece of a record.
struct DecodedField {
    size_t offset = 0;
    size_t size = 0;
    std::string name;
    std::string type;                // "u32", "text#"…
    std::optional<uint64_t> number;  // of a number
    std::string bytes;               // of everything else
    std::string meaning;             // of a number; may be empty
};

struct DecodedProblem {
    size_t offset = 0;
    std::string what;
};

struct DecodedRecord {
    std::string title;
    std::vector<DecodedField> fields;  // all bytes of the record, in order, each once
    std::vector<DecodedProblem> problems;
};

/// Takes any bytes apart that are as long as a record: by its type one between owner and process
/// manager (3984), by the name of its payload one between system-state manager and owner (4000).
/// @param shape empty: the payload is shown as it is
/// @return nothing for another length, or a shape that nobody knows
std::optional<DecodedRecord> DecodeRecord(std::string_view bytes, std::string_view shape);

}  // namespace GrpCtl
