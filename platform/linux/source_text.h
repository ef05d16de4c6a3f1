#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace GrpOwnerLinux {

/// A place in a file: line and column count from 1, column and length in characters. Line 0: the
/// file as a whole.
struct Span {
    uint32_t line = 0;
    uint32_t column = 0;
    uint32_t length = 1;
};

/// The bytes of a configuration file and its lines, split where YAML splits them, so that the
/// places of the parser and the lines shown to people agree. Immutable after construction.
class SourceText {
public:
    explicit SourceText(std::string bytes);

    std::string_view Bytes() const { return bytes_; }

    /// Without its line break; empty when there is no such line.
    std::string_view Line(uint32_t line) const;

    /// From one place to another; to the end of its line when that lies on a later one.
    Span Between(uint32_t line, uint32_t column, uint32_t endLine, uint32_t endColumn) const;

    /// @return whether there is a character that no YAML file may hold, or none at all
    bool FindBadCharacter(Span& place, std::string& message) const;

private:
    struct Range {
        size_t begin, end;
    };

    std::string bytes_;
    std::vector<Range> lines_;
};

/// The largest file that is read.
inline constexpr size_t kLargestFile = 1024 * 1024;

/// @param error in words, when the result is false
bool ReadFile(const std::string& path, std::string& bytes, std::string& error);

}  // namespace GrpOwnerLinux
