#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace GrpCtl {

/// Appends the bytes of "0a1B…"; false when that is no pairs of hexadecimal digits.
bool AppendHex(std::string_view text, std::vector<uint8_t>& bytes);

/// Sixteen bytes a line: offset, bytes, printable characters. Lines equal to the one above are
/// shown as one "*".
std::string HexDump(const std::vector<uint8_t>& bytes);

std::string ToHex(const std::vector<uint8_t>& bytes);

}  // namespace GrpCtl
